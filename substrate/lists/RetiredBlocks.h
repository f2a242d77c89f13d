/// @file substrate/lists/RetiredBlocks.h
/// Blocks of prefix lists that edits have replaced. They go from generation to generation, until no generation has them.
///
/// The blocks stand in chunks, so that millions of them are added and handed over without a pause: a chunk that grows is small, and a large
/// one goes from owner to owner as a whole.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "routepolicy_export.h"

namespace Routing::RouteMap {

/// In no order. Ownership: the owner frees the blocks. Threading: one thread at a time.
class RetiredBlocks {
 public:
   struct Block {
      void * memory;
      uint64_t birth;   // the first generation that has it
   };
   size_t size() const noexcept { return size_; }
   bool empty() const noexcept { return size_ == 0; }
   /// Makes room for `n` calls of add(). Errors: std::bad_alloc.
   void reserve( size_t n ) {
      if( !chunks_.empty() ) {
         auto & last = chunks_.back().blocks;
         if( last.capacity() - last.size() >= n ) return;
         if( last.size() < kChunk ) return last.reserve( 2 * last.size() + n );
      }
      Chunk next;
      next.blocks.reserve( n );
      chunks_.push_back( std::move( next ) );
   }
   /// There is room.
   void add( const Block & block ) noexcept {
      chunks_.back().add( block );
      ++size_;
   }
   /// Makes room for `from.handOver( *this, generation )`. Errors: std::bad_alloc.
   void reserveFor( const RetiredBlocks & from, uint64_t generation ) {
      size_t single = 0;
      for( const auto & chunk : from.chunks_ )
         if( !chunk.goesWhole( generation ) ) single += chunk.blocks.size();
      const size_t chunks = chunks_.size() + from.chunks_.size() + 1;
      if( chunks > chunks_.capacity() ) chunks_.reserve( 2 * chunks );
      reserve( single );
   }
   /// Moves the blocks that were born in `generation` or before to `heir`. Errors: std::bad_alloc, unless room was made; a part may then have
   /// been moved.
   void handOver( RetiredBlocks & heir, uint64_t generation ) {
      for( auto & chunk : chunks_ ) {
         if( chunk.goesWhole( generation ) )
            heir.take( chunk );
         else
            for( const auto & block : chunk.blocks )
               if( block.birth <= generation ) {
                  heir.reserve( 1 );
                  heir.add( block );
               }
      }
      forget( generation );
   }
   /// Removes the blocks that were born in `generation` or before. Others have them.
   void forget( uint64_t generation ) noexcept {
      for( auto & chunk : chunks_ ) chunk.forget( generation );
      std::erase_if( chunks_, []( const Chunk & chunk ) { return chunk.blocks.empty(); } );
      size_ = 0;
      for( const auto & chunk : chunks_ ) size_ += chunk.blocks.size();
   }
   /// Removes all blocks; the owner of a trie frees them with it.
   void clear() noexcept {
      chunks_.clear();
      size_ = 0;
   }
   /// Removes one of at least one block, and returns its memory.
   void * takeOne() noexcept {
      while( chunks_.back().blocks.empty() ) chunks_.pop_back();
      void * const memory = chunks_.back().blocks.back().memory;
      chunks_.back().blocks.pop_back();
      --size_;
      return memory;
   }

 private:
   static constexpr size_t kChunk = 4096;   // blocks of a chunk that gets no more

   struct Chunk {
      std::vector<Block> blocks;
      uint64_t lastBirth = 0;   // no block was born later

      bool goesWhole( uint64_t generation ) const noexcept { return blocks.size() >= kChunk && lastBirth <= generation; }
      void add( const Block & block ) noexcept {
         blocks.push_back( block );
         lastBirth = std::max( lastBirth, block.birth );
      }
      void forget( uint64_t generation ) noexcept {
         if( lastBirth <= generation )
            blocks.clear();
         else
            std::erase_if( blocks, [ = ]( const Block & block ) { return block.birth <= generation; } );
      }
   };
   // The last chunk stays the last one: it has room.
   void take( Chunk & chunk ) {
      size_ += chunk.blocks.size();
      chunks_.insert( chunks_.empty() ? chunks_.end() : std::prev( chunks_.end() ), std::exchange( chunk, {} ) );
   }

   std::vector<Chunk> chunks_;
   size_t size_ = 0;
};

}   // namespace Routing::RouteMap
