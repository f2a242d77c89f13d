#include "substrate/trailmark/Trailmark.h"

#include <algorithm>

namespace Trailmark {

namespace {
std::atomic<uint32_t> lastId{ 0 };
}

MsgDesc::MsgDesc( const char * text ) noexcept : id_( lastId.fetch_add( 1, std::memory_order_relaxed ) + 1 ), text_( text ) {}

void Handle::write( const MsgDesc & message, std::chrono::nanoseconds took ) noexcept {
   const uint64_t number = written_.fetch_add( 1, std::memory_order_acq_rel ) + 1;
   Slot & slot = slots_[ number % kRecords ];
   uint64_t before = slot.number.load( std::memory_order_relaxed );
   // One writer at a time: two whose numbers fall on one slot would leave a record that is neither's.
   if( before > number ||
       !slot.number.compare_exchange_strong( before, kBeingWritten, std::memory_order_acq_rel, std::memory_order_relaxed ) )
      return;
   slot.message.store( &message, std::memory_order_release );
   slot.tookNs.store( took.count(), std::memory_order_release );
   slot.number.store( number, std::memory_order_release );
}

std::vector<Record> Handle::read() const {
   std::vector<Record> records;
   const uint64_t all = written();
   const uint64_t gone = all > kRecords ? all - kRecords : 0;   // a late writer may leave one of these behind
   for( const Slot & slot : slots_ ) {
      const uint64_t number = slot.number.load( std::memory_order_acquire );
      const Record record{ number, slot.message.load( std::memory_order_acquire ),
                           std::chrono::nanoseconds( slot.tookNs.load( std::memory_order_acquire ) ) };
      if( number > gone && number != kBeingWritten && slot.number.load( std::memory_order_acquire ) == number ) records.push_back( record );
   }
   std::sort( records.begin(), records.end(), []( const Record & a, const Record & b ) { return a.number < b.number; } );
   return records;
}

Handle & defaultTrailmarkHandle() {
   static Handle handle;
   return handle;
}

}   // namespace Trailmark
