#include "substrate/lists/PrefixRowLineage.h"

#include <atomic>
#include <utility>

#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

constexpr size_t kSmall = 8192;   // entries; the blocks of so many are freed at once

// Frees the blocks of a trie that are younger than the generation `shared`, which has all others.
void freeYounger( const PrefixRowNode & node, uint64_t shared ) noexcept {
   if( !node.hasBlock() || node.header().birth <= shared ) return;
   for( unsigned i = 0; i < node.childCount(); ++i ) freeYounger( node.children()[ i ], shared );
   ::operator delete( node.children() );
}

// The tries of RetiredPrefixRows, as nodes whose blocks are not freed yet.
struct Waiting {
   std::mutex mutex;
   std::vector<PrefixRowNode> nodes;
   std::atomic<bool> any = false;

   ~Waiting() {
      for( const auto & node : nodes ) freeYounger( node, 0 );
   }
};

Waiting & waiting() {
   static Waiting tries;
   return tries;
}

}   // namespace

bool RetiredPrefixRows::letGo( size_t atMost ) noexcept {
   Waiting & tries = waiting();
   if( !tries.any.load( std::memory_order_relaxed ) ) return true;
   const std::lock_guard lock( tries.mutex );
   auto & nodes = tries.nodes;
   Quoin::whole( "a release", [ & ] {
      for( ; atMost != 0 && !nodes.empty(); --atMost ) {
         const PrefixRowNode node = nodes.back();
         nodes.pop_back();
         for( unsigned i = 0; i < node.childCount(); ++i )
            if( const auto & child = node.children()[ i ]; child.hasBlock() ) nodes.push_back( child );
         ::operator delete( node.children() );
      }
   } );
   tries.any.store( !nodes.empty(), std::memory_order_relaxed );
   return nodes.empty();
}

void RetiredPrefixRows::take( const PrefixRowNode & root ) noexcept {
   Waiting & tries = waiting();
   const std::lock_guard lock( tries.mutex );
   Quoin::whole( "a release", [ & ] { tries.nodes.push_back( root ); } );
   tries.any.store( true, std::memory_order_relaxed );
}

PrefixRowLineage::~PrefixRowLineage() = default;

// `to`: the youngest generation in use that may have the blocks; null for none.
void PrefixRowLineage::handOver( PrefixListRows * to, const std::vector<Retired> & retired ) noexcept {
   Quoin::whole( "a release", [ & ] {
      for( const auto & block : retired )
         if( to && block.birth <= to->generation_ )
            to->retired_.push_back( block );
         else
            ::operator delete( block.block );
   } );
}

// `heir`: the youngest generation in use, which now owns what it has of the trie; null for none.
void PrefixRowLineage::release( const PrefixRowNode & root, size_t entries, const PrefixListRows * heir ) noexcept {
   if( heir || entries <= kSmall || !root.hasBlock() )
      freeYounger( root, heir ? heir->generation_ : 0 );
   else
      RetiredPrefixRows::take( root );
}

void PrefixRowLineage::publishedIs( PrefixListRows & generation, std::vector<Retired> & retired ) noexcept {
   {
      const std::lock_guard lock( mutex_ );
      handOver( youngest_, retired );
      generation.older_ = youngest_;
      if( youngest_ ) youngest_->younger_ = &generation;
      youngest_ = &generation;
   }
   retired.clear();
   RetiredPrefixRows::letGo();
}

void PrefixRowLineage::generationDel( PrefixListRows & generation ) noexcept {
   {
      const std::lock_guard lock( mutex_ );   // also while the trie is walked: no other generation frees what this one shares with it
      PrefixListRows * const older = generation.older_;
      if( older ) older->younger_ = generation.younger_;
      if( generation.younger_ )
         generation.younger_->older_ = older;
      else
         youngest_ = older;
      handOver( older, generation.retired_ );
      if( !generation.younger_ && !isEdited_ ) {
         release( generation.root_, generation.entryCount_, older );
         if( older ) older->retired_.clear();   // they are in its trie, which it owns now
      }
   }
   RetiredPrefixRows::letGo();
}

void PrefixRowLineage::editorDel( const PrefixRowNode & root, const std::vector<Retired> & retired ) noexcept {
   {
      const std::lock_guard lock( mutex_ );
      isEdited_ = false;
      for( const auto & block : retired )   // the youngest generation that has a block still has it
         if( !youngest_ || block.birth > youngest_->generation_ ) ::operator delete( block.block );
      release( root, ~size_t( 0 ), youngest_ );
   }
   RetiredPrefixRows::letGo();
}

}   // namespace Routing::RouteMap
