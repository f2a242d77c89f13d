#include "substrate/lists/PrefixRowLineage.h"

#include <utility>

#include "substrate/lists/RetiredPrefixRows.h"
#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

constexpr size_t kSmall = 8192;   // blocks that are freed at once
constexpr size_t kMany = 256;     // and so many that the heap should join them
constexpr size_t kSmallBytes = kSmall * 64;

// Frees the blocks of a trie that are younger than the generation `shared`, which has all others.
void freeYounger( const PrefixRowNode & node, uint64_t shared ) noexcept {
   if( node.isEmpty() || node.header().birth <= shared ) return;
   for( unsigned i = 0; i < node.wideCount(); ++i ) freeYounger( node.children()[ i ], shared );
   ::operator delete( node.memory() );
}

}   // namespace

PrefixRowLineage::~PrefixRowLineage() = default;

// Frees blocks, or leaves them to the heir, the newest generation in use that may have them; null for none.
void PrefixRowLineage::handOver( PrefixListRows * heir, RetiredBlocks & retired ) noexcept {
   if( heir ) Quoin::whole( "a release", [ & ] { retired.handOver( heir->retired_, heir->generation_ ); } );
   if( retired.size() > kSmall ) return RetiredPrefixRows::take( std::exchange( retired, {} ) );
   const bool areMany = retired.size() > kMany;
   while( !retired.empty() ) ::operator delete( retired.takeOne() );
   if( areMany ) RetiredPrefixRows::joinFreed();
}

// The newest trie is released. `heir`: the newest generation in use, which owns its whole trie from now on; null for none. `younger`: what
// is to be freed first, because it shares blocks with that trie.
void PrefixRowLineage::release( const PrefixRowNode & root, size_t bytes, PrefixListRows * heir,
                                std::vector<ReleasedPrefixRows> younger ) noexcept {
   const uint64_t shared = heir ? heir->generation_ : 0;
   if( heir ) heir->retired_.clear();   // they are blocks of its trie, which it owns now
   if( bytes <= kSmallBytes && younger.empty() ) return freeYounger( root, shared );
   Quoin::whole( "a release", [ & ] { younger.insert( younger.begin(), { root, shared } ); } );
   if( !heir || heir->incUseUnlessGone() )   // it must not free what it shares before the other blocks are freed
      RetiredPrefixRows::take( std::move( younger ), heir );
   else
      heir->younger_ = std::move( younger );   // it is being released, and waits for our lock
}

void PrefixRowLineage::generationIs( PrefixListRows & generation, RetiredBlocks & retired ) {
   {
      const std::lock_guard lock( mutex_ );
      if( newest_ ) newest_->retired_.reserveFor( retired );   // nothing throws from here on
      handOver( newest_, retired );
      generation.older_ = newest_;
      if( newest_ ) newest_->newer_ = &generation;
      newest_ = &generation;
   }
   RetiredPrefixRows::letGo();
}

void PrefixRowLineage::generationDel( PrefixListRows & generation ) noexcept {
   {
      const std::lock_guard lock( mutex_ );   // also while a trie is walked: no other generation frees what this one shares with it
      PrefixListRows * const older = generation.older_;
      if( older ) older->newer_ = generation.newer_;
      if( generation.newer_ )
         generation.newer_->older_ = older;
      else
         newest_ = older;
      handOver( older, generation.retired_ );
      if( !generation.newer_ && !isEdited_ ) release( generation.root_, generation.bytes_, older, std::move( generation.younger_ ) );
   }
   RetiredPrefixRows::letGo();
}

void PrefixRowLineage::editorDel( const PrefixRowNode & root, size_t bytes, RetiredBlocks & retired ) noexcept {
   {
      const std::lock_guard lock( mutex_ );
      isEdited_ = false;
      // The newest generation that has a block keeps it.
      if( newest_ ) retired.forget( newest_->generation_ );
      handOver( nullptr, retired );
      release( root, bytes, newest_, {} );
   }
   RetiredPrefixRows::letGo();
}

}   // namespace Routing::RouteMap
