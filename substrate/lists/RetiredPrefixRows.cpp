#include "substrate/lists/RetiredPrefixRows.h"

#include <atomic>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

// A trie that is released: the nodes whose blocks are not freed yet, and with them all that is below.
struct Trie {
   std::vector<PrefixRowNode> nodes;
   const PrefixListRows * heir;
   uint64_t shared;

   // Frees the block of one node.
   void freeOne() {
      const PrefixRowNode node = nodes.back();
      nodes.pop_back();
      for( unsigned i = 0; i < node.wideCount(); ++i ) add( node.children()[ i ] );
      ::operator delete( node.memory() );
   }
   void add( const PrefixRowNode & node ) {
      if( !node.isEmpty() && node.header().birth > shared ) nodes.push_back( node );
   }
};

// All that is not freed yet.
struct Waiting {
   std::mutex mutex;
   std::vector<Trie> tries;
   std::vector<RetiredBlocks> blocks;
   std::atomic<bool> any = false;

   // The heirs of finished tries are added to `heirs`.
   void freeSome( size_t atMost, std::vector<const PrefixListRows *> & heirs ) {
      for( ; atMost != 0 && !tries.empty(); --atMost ) {
         Trie & trie = tries.back();
         if( !trie.nodes.empty() ) trie.freeOne();
         if( !trie.nodes.empty() ) continue;
         if( trie.heir ) heirs.push_back( trie.heir );
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

void RetiredPrefixRows::take( const PrefixRowNode & root, const PrefixListRows * heir, uint64_t shared ) noexcept {
   Waiting & rows = waiting();
   const std::lock_guard lock( rows.mutex );
   Quoin::whole( "a release", [ & ] {
      Trie trie{ {}, heir, shared };
      trie.add( root );
      rows.tries.push_back( std::move( trie ) );
   } );
   rows.any.store( true, std::memory_order_relaxed );
}

void RetiredPrefixRows::take( RetiredBlocks blocks ) noexcept {
   Waiting & rows = waiting();
   const std::lock_guard lock( rows.mutex );
   Quoin::whole( "a release", [ & ] { rows.blocks.push_back( std::move( blocks ) ); } );
   rows.any.store( true, std::memory_order_relaxed );
}

}   // namespace Routing::RouteMap
