/// @file substrate/routing/Arena.h
/// An array that is divided into blocks of elements, addressed by index; a block grows by one element at a time. The trie stores its
/// nodes and its data in two of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "routepolicy_export.h"

namespace Routing {

/// A block of n elements occupies the indices [base, base + n). A freed block is kept in the list of its size and reused by the next block
/// that grows to this size. The user of a block must know its size. Threading: any number of readers, or one writer.
template <class T, size_t MaxBlock>
class Arena {
 public:
   const T & operator[]( size_t at ) const noexcept { return row_[ at ]; }
   T & operator[]( size_t at ) noexcept { return row_[ at ]; }
   const T * data() const noexcept { return row_.data(); }
   size_t size() const noexcept { return row_.size(); }
   /// The memory of the array, including unused capacity.
   size_t bytes() const noexcept { return row_.capacity() * sizeof( T ); }
   void reserve( size_t n ) { row_.reserve( n ); }
   /// Removes the last element of the array, whichever block it belongs to.
   void popBack() noexcept { row_.pop_back(); }
   /// Frees unused capacity if less than half of the capacity is in use.
   void trim() {
      if( row_.size() < row_.capacity() / 2 ) row_.shrink_to_fit();
   }
   void shrinkToFit() { row_.shrink_to_fit(); }

   /// Returns the base of a block of `n` default-built elements; `n` is at most MaxBlock.
   uint32_t allocate( size_t n ) {
      auto & waiting = free_[ n ];
      if( !waiting.empty() ) {
         const uint32_t base = waiting.back();
         waiting.pop_back();
         return base;
      }
      const uint32_t base = static_cast<uint32_t>( row_.size() );
      row_.resize( row_.size() + n );
      return base;
   }

   /// Moves the block of `n` elements at `base` to a block of n + 1 elements and inserts `value` at index `at` of the block. Returns the
   /// new base. Errors: std::bad_alloc; the array is then unchanged, since all memory is allocated first.
   uint32_t grow( uint32_t base, size_t n, size_t at, T value ) {
      if( auto & waiting = free_[ n ]; waiting.size() == waiting.capacity() ) waiting.reserve( 2 * waiting.size() + 1 );
      const uint32_t to = allocate( n + 1 );
      for( size_t i = 0; i < n; ++i ) row_[ to + i + ( i >= at ) ] = std::exchange( row_[ base + i ], T{} );
      row_[ to + at ] = std::move( value );
      if( n ) free_[ n ].push_back( base );
      return to;
   }

 private:
   std::vector<T> row_;
   std::vector<uint32_t> free_[ MaxBlock + 1 ];
};

}   // namespace Routing
