#include "substrate/trailmark/Trailmark.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Trailmark {

namespace {
std::atomic<uint32_t> lastId{ 0 };
using NameWords = std::array<uint64_t, Record::kNameSize / 8>;
}   // namespace

MsgDesc::MsgDesc( const char * text ) noexcept : id_( lastId.fetch_add( 1, std::memory_order_relaxed ) + 1 ), text_( text ) {}

std::string Record::text() const {
   std::string out = message->text();
   if( timed() ) return out + " took " + std::to_string( took.count() ) + " ns";
   std::vector<std::string> named{ name, std::to_string( value ) };
   if( label ) named.emplace_back( label );
   size_t at = 0;
   for( const std::string & with : named ) {
      at = out.find( "{}", at );
      if( at == out.npos ) break;
      out.replace( at, 2, with );
      at += with.size();
   }
   return out;
}

void Handle::write( const MsgDesc & message, std::chrono::nanoseconds took, std::string_view name, uint64_t value,
                    const char * label ) noexcept {
   const uint64_t number = written_.fetch_add( 1, std::memory_order_acq_rel ) + 1;
   Slot & slot = slots_[ number % kRecords ];
   uint64_t before = slot.number.load( std::memory_order_relaxed );
   // Each slot has one writer at a time. Two writers in one slot would mix their records; the second one gives up.
   if( before > number ||
       !slot.number.compare_exchange_strong( before, kBeingWritten, std::memory_order_acq_rel, std::memory_order_relaxed ) )
      return;
   slot.message.store( &message, std::memory_order_release );
   slot.tookNs.store( took.count(), std::memory_order_release );
   slot.value.store( value, std::memory_order_release );
   slot.label.store( label, std::memory_order_release );
   NameWords words{};
   if( !name.empty() ) std::memcpy( words.data(), name.data(), std::min( name.size(), Record::kNameSize ) );
   for( size_t i = 0; i < words.size(); ++i ) slot.name[ i ].store( words[ i ], std::memory_order_release );
   slot.number.store( number, std::memory_order_release );
}

std::vector<Record> Handle::read() const {
   std::vector<Record> records;
   const uint64_t all = written();
   const uint64_t gone = all > kRecords ? all - kRecords : 0;   // a late writer may leave a record with a number up to this
   for( const Slot & slot : slots_ ) {
      const uint64_t number = slot.number.load( std::memory_order_acquire );
      if( number <= gone || number == kBeingWritten ) continue;
      Record record{
         number, slot.message.load( std::memory_order_acquire ), std::chrono::nanoseconds( slot.tookNs.load( std::memory_order_acquire ) ),
         {},     slot.value.load( std::memory_order_acquire ),   slot.label.load( std::memory_order_acquire )
      };
      NameWords words;
      for( size_t i = 0; i < words.size(); ++i ) words[ i ] = slot.name[ i ].load( std::memory_order_acquire );
      if( slot.number.load( std::memory_order_acquire ) != number ) continue;
      const auto * bytes = reinterpret_cast<const char *>( words.data() );
      record.name.assign( bytes, strnlen( bytes, Record::kNameSize ) );
      records.push_back( std::move( record ) );
   }
   std::sort( records.begin(), records.end(), []( const Record & a, const Record & b ) { return a.number < b.number; } );
   return records;
}

Handle & defaultTrailmarkHandle() {
   static Handle handle;
   return handle;
}

}   // namespace Trailmark
