/// @file substrate/routing/Arena.h
/// Blocks of elements in one row, addressed by index; a block grows one element at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "routepolicy_export.h"

namespace Routing {

/// A block of n elements is the row's [base, base + n). Freed blocks wait in a list of their size for the next block that
/// grows to it. Who holds a block knows its size. Threading: any number of readers, or one writer.
template <class T, size_t MaxBlock>
class Arena {
 public:
   const T & operator[]( size_t at ) const noexcept { return row_[ at ]; }
   T & operator[]( size_t at ) noexcept { return row_[ at ]; }
   const T * data() const noexcept { return row_.data(); }
   size_t size() const noexcept { return row_.size(); }
   size_t bytes() const noexcept { return row_.capacity() * sizeof( T ); }
   void reserve( size_t n ) { row_.reserve( n ); }
   /// Takes off the last element, whosever block it is in.
   void popBack() noexcept { row_.pop_back(); }
   /// Gives back what is reserved where that is more than what is there.
   void trim() {
      if( row_.size() < row_.capacity() / 2 ) row_.shrink_to_fit();
   }
   void shrinkToFit() { row_.shrink_to_fit(); }

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

   /// Moves the block of `n` elements at `base` to one of n + 1, with `value` at its place `at`. Returns the new base.
   /// What it allocates, it allocates first: an exception leaves all as it was.
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
