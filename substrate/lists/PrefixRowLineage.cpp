#include "substrate/lists/PrefixRowLineage.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "substrate/lists/RetiredPrefixRows.h"
#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

constexpr size_t kSmall = 8192;   // entries, or blocks; so many are freed at once

// Frees the blocks of a trie that are younger than the generation `shared`, which has all others.
void freeYounger( const PrefixRowNode & node, uint64_t shared ) noexcept {
   if( !node.hasBlock() || node.header().birth <= shared ) return;
   for( unsigned i = 0; i < node.childCount(); ++i ) freeYounger( node.children()[ i ], shared );
   ::operator delete( node.children() );
}

}   // namespace

PrefixRowLineage::~PrefixRowLineage() = default;

// Frees blocks, or leaves them to the youngest generation in use that may have them; null for none.
void PrefixRowLineage::handOver( PrefixListRows * to, std::vector<Retired> & retired ) noexcept {
   if( to )
      Quoin::whole( "a release", [ & ] {
         const auto isOf = [ = ]( const Retired & block ) { return block.birth <= to->generation_; };
         std::ranges::copy_if( retired, std::back_inserter( to->retired_ ), isOf );
         std::erase_if( retired, isOf );
      } );
   if( retired.size() > kSmall ) return RetiredPrefixRows::take( std::exchange( retired, {} ) );
   for( const auto & block : retired ) ::operator delete( block.block );
   retired.clear();
}

// The youngest trie goes. `heir`: the youngest generation in use, which owns its whole trie from now on; null for none.
void PrefixRowLineage::release( const PrefixRowNode & root, size_t entries, PrefixListRows * heir ) noexcept {
   if( heir ) {
      freeYounger( root, heir->generation_ );
      heir->retired_.clear();
   } else if( entries <= kSmall || !root.hasBlock() ) {
      freeYounger( root, 0 );
   } else {
      RetiredPrefixRows::take( root );
   }
}

void PrefixRowLineage::publishedIs( PrefixListRows & generation, std::vector<Retired> & retired ) {
   {
      const std::lock_guard lock( mutex_ );
      if( youngest_ ) youngest_->retired_.reserve( youngest_->retired_.size() + retired.size() );   // nothing fails behind this
      handOver( youngest_, retired );
      generation.older_ = youngest_;
      if( youngest_ ) youngest_->younger_ = &generation;
      youngest_ = &generation;
   }
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
      if( !generation.younger_ && !isEdited_ ) { release( generation.root_, generation.entryCount_, older ); }
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
