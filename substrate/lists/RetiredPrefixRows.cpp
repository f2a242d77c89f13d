#include "substrate/lists/RetiredPrefixRows.h"

#include <atomic>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

// What is released of a list: tries, and the nodes of the last of them whose blocks are not freed yet, and with them all that is below.
struct Tries {
   std::vector<ReleasedPrefixRows> left;
   const PrefixListRows * heir;
   std::vector<PrefixRowNode> nodes = {};

   bool isDone() const noexcept { return left.empty(); }
   // Frees the block of at most one node.
   void freeOne() {
      if( nodes.empty() ) {
         add( left.back().root );
      } else {
         const PrefixRowNode node = nodes.back();
         nodes.pop_back();
         for( unsigned i = 0; i < node.wideCount(); ++i ) add( node.children()[ i ] );
         ::operator delete( node.memory() );
      }
      if( nodes.empty() ) left.pop_back();
   }
   void add( const PrefixRowNode & node ) {
      if( !node.isEmpty() && node.header().birth > left.back().shared ) nodes.push_back( node );
   }
};

// All that is not freed yet.
struct Waiting {
   std::mutex mutex;
   std::vector<Tries> tries;
   std::vector<RetiredBlocks> blocks;
   std::atomic<bool> any = false;

   // The heirs of finished tries are added to `heirs`.
   void freeSome( size_t atMost, std::vector<const PrefixListRows *> & heirs ) {
      for( ; atMost != 0 && !tries.empty(); --atMost ) {
         Tries & last = tries.back();
         last.freeOne();
         if( !last.isDone() ) continue;
         if( last.heir ) heirs.push_back( last.heir );
         tries.pop_back();
      }
      for( ; atMost != 0 && !blocks.empty(); --atMost ) {
         ::operator delete( blocks.back().takeOne() );
         if( blocks.back().empty() ) blocks.pop_back();
      }
      any.store( !tries.empty() || !blocks.empty(), std::memory_order_relaxed );
   }
};

// Never destroyed: lists may be released at the very end of the process.
Waiting & waiting() {
   static Waiting & rows = *new Waiting;
   return rows;
}

}   // namespace

bool RetiredPrefixRows::letGo( size_t atMost ) noexcept {
   Waiting & rows = waiting();
   if( !rows.any.load( std::memory_order_relaxed ) ) return true;
   std::vector<const PrefixListRows *> heirs;
   {
      const std::unique_lock lock( rows.mutex, std::try_to_lock );
      if( !lock ) return false;
      Quoin::whole( "a release", [ & ] { rows.freeSome( atMost, heirs ); } );
   }
   joinFreed();
   for( const auto * heir : heirs ) heir->decUseImpl();   // may release it, and wait for it here again
   return !rows.any.load( std::memory_order_relaxed );
}

void RetiredPrefixRows::joinFreed() noexcept {
   void * volatile large = ::operator new( 4096, std::nothrow );   // volatile: or the compiler would leave out both calls
   ::operator delete( large );
}

void RetiredPrefixRows::take( std::vector<ReleasedPrefixRows> tries, const PrefixListRows * heir ) noexcept {
   Waiting & rows = waiting();
   const std::lock_guard lock( rows.mutex );
   Quoin::whole( "a release", [ & ] { rows.tries.push_back( { std::move( tries ), heir } ); } );
   rows.any.store( true, std::memory_order_relaxed );
}

void RetiredPrefixRows::take( RetiredBlocks blocks ) noexcept {
   Waiting & rows = waiting();
   const std::lock_guard lock( rows.mutex );
   Quoin::whole( "a release", [ & ] { rows.blocks.push_back( std::move( blocks ) ); } );
   rows.any.store( true, std::memory_order_relaxed );
}

}   // namespace Routing::RouteMap
