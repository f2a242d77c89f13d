#include "substrate/lists/RetiredPrefixRows.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

// What RetiredPrefixRows has not freed yet: nodes with all that is below them, and single blocks.
struct Waiting {
   std::mutex mutex;
   std::vector<PrefixRowNode> nodes;
   std::vector<std::vector<PrefixListRows::Retired>> blocks;
   std::atomic<bool> any = false;

   bool freeSome( size_t atMost ) noexcept {
      for( ; atMost != 0 && !nodes.empty(); --atMost ) {
         const PrefixRowNode node = nodes.back();
         nodes.pop_back();
         for( unsigned i = 0; i < node.childCount(); ++i )
            if( const auto & child = node.children()[ i ]; child.hasBlock() )
               Quoin::whole( "a release", [ & ] { nodes.push_back( child ); } );
         ::operator delete( node.children() );
      }
      for( ; atMost != 0 && !blocks.empty(); --atMost ) {
         auto & last = blocks.back();
         ::operator delete( last.back().block );
         last.pop_back();
         if( last.empty() ) blocks.pop_back();
      }
      any.store( !nodes.empty() || !blocks.empty(), std::memory_order_relaxed );
      return !any;
   }
};

// Never destroyed: lists may go at the very end of the process.
Waiting & waiting() {
   static Waiting & rows = *new Waiting;
   return rows;
}

}   // namespace

bool RetiredPrefixRows::letGo( size_t atMost ) noexcept {
   Waiting & rows = waiting();
   if( !rows.any.load( std::memory_order_relaxed ) ) return true;
   const std::lock_guard lock( rows.mutex );
   return rows.freeSome( atMost );
}

void RetiredPrefixRows::take( const PrefixRowNode & root ) noexcept {
   Waiting & rows = waiting();
   const std::lock_guard lock( rows.mutex );
   Quoin::whole( "a release", [ & ] { rows.nodes.push_back( root ); } );
   rows.any.store( true, std::memory_order_relaxed );
}

void RetiredPrefixRows::take( std::vector<PrefixListRows::Retired> blocks ) noexcept {
   Waiting & rows = waiting();
   const std::lock_guard lock( rows.mutex );
   Quoin::whole( "a release", [ & ] { rows.blocks.push_back( std::move( blocks ) ); } );
   rows.any.store( true, std::memory_order_relaxed );
}

}   // namespace Routing::RouteMap
