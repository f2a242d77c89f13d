/// @file substrate/lists/RetiredBlocks.h
/// Blocks of prefix lists that edits have replaced. They go from generation to generation, until no generation has them.
///
/// Millions of them are added and handed over without a pause: most of them are in rows of some thousands that are sorted by birth. The
/// first part of such a row may go to an older generation without a copy; both owners then share the row, which stays in memory until all of
/// its blocks are freed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/Ptr.h"

namespace Routing::RouteMap {

/// In no order. Ownership: the owner frees the blocks. Threading: one thread at a time; several owners of one row need not wait for each other.
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
      if( recent_.size() + n <= recent_.capacity() ) return;
      if( recent_.size() >= kRow ) sortRecent();
      recent_.reserve( 2 * recent_.size() + n );
   }
   /// There is room.
   void add( const Block & block ) noexcept {
      recent_.push_back( block );
      ++size_;
   }
   /// Makes room for all that `from.handOver()` may move here. Errors: std::bad_alloc.
   void reserveFor( const RetiredBlocks & from ) {
      reserve( from.recent_.size() );
      if( const size_t needed = parts_.size() + from.parts_.size(); needed > parts_.capacity() ) parts_.reserve( parts_.size() + needed );
   }
   /// Moves the blocks that were born in `generation` or before to `heir`. Errors: std::bad_alloc, and nothing has changed; none if room was
   /// made.
   void handOver( RetiredBlocks & heir, uint64_t generation ) {
      heir.reserveFor( *this );
      for( Part & part : parts_ )
         if( const size_t end = part.endOf( generation ); end != part.begin ) {
            heir.parts_.push_back( { part.row, part.begin, end } );
            heir.size_ += end - part.begin;
         }
      for( const Block & block : recent_ )
         if( block.birth <= generation ) heir.add( block );
      forget( generation );
   }
   /// Removes the blocks that were born in `generation` or before. Others have them.
   void forget( uint64_t generation ) noexcept {
      for( Part & part : parts_ ) part.begin = part.endOf( generation );
      std::erase_if( parts_, []( const Part & part ) { return part.begin == part.end; } );
      std::erase_if( recent_, [ = ]( const Block & block ) { return block.birth <= generation; } );
      size_ = recent_.size();
      for( const Part & part : parts_ ) size_ += part.end - part.begin;
   }
   /// Removes all blocks; the owner of a trie frees them with it.
   void clear() noexcept {
      parts_.clear();
      recent_.clear();
      size_ = 0;
   }
   /// Removes one of at least one block, and returns its memory.
   void * takeOne() noexcept {
      --size_;
      if( !recent_.empty() ) {
         void * const memory = recent_.back().memory;
         recent_.pop_back();
         return memory;
      }
      Part & part = parts_.back();
      void * const memory = part.row->blocks[ --part.end ].memory;
      if( part.begin == part.end ) parts_.pop_back();
      return memory;
   }

 private:
   static constexpr size_t kRow = 2048;   // sorting more would be a pause
   struct Row final : Quoin::Node {
      std::vector<Block> blocks;   // in ascending order of birth
   };

   // The blocks of a row from `begin` to `end`, which other owners do not have. Not empty.
   struct Part {
      Quoin::Ptr<const Row> row;
      size_t begin, end;

      // The end of those that were born in `generation` or before.
      size_t endOf( uint64_t generation ) const noexcept {
         const auto isOld = [ = ]( const Block & block ) { return block.birth <= generation; };
         const Block * const first = row->blocks.data();
         return size_t( std::partition_point( first + begin, first + end, isOld ) - first );
      }
   };
   void sortRecent() {
      const auto row = Quoin::makeNode<Row>();
      parts_.push_back( { row, 0, recent_.size() } );
      row->blocks.swap( recent_ );
      std::ranges::sort( row->blocks, {}, &Block::birth );
   }

   std::vector<Part> parts_;
   std::vector<Block> recent_;
   size_t size_ = 0;
};

}   // namespace Routing::RouteMap
