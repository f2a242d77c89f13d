/// @file substrate/lists/ChunkedRow.h
/// A row of plain elements that grows without a pause. The rules of a compiled access list, and their index, stand in such rows.
///
/// The elements lie in chunks, which stay where they are: only the first chunk moves while it is smaller than a whole chunk. A vector of
/// a million rules would copy all of them each time that it grows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "routepolicy_export.h"

namespace Routing::RouteMap {

/// A chunk has 2 to the power of `Bits` elements. Threading: any number of readers, or one writer.
template <class T, unsigned Bits>
class ChunkedRow {
   static_assert( std::is_trivially_copyable_v<T> );

 public:
   size_t size() const noexcept { return size_; }
   const T & operator[]( size_t at ) const noexcept { return chunks_[ at >> Bits ][ at & kLast ]; }
   T & operator[]( size_t at ) noexcept { return chunks_[ at >> Bits ][ at & kLast ]; }
   /// The memory of the chunks.
   size_t bytes() const noexcept { return chunks_.empty() ? 0 : ( ( ( chunks_.size() - 1 ) << Bits ) + room_ ) * sizeof( T ); }

   /// Adds `n` elements that lie in one chunk, and skips the end of a chunk in which they have no room. Returns the index of the first.
   /// The elements are not initialized. Errors: std::bad_alloc; the row is then unchanged.
   size_t extend( size_t n ) {
      const size_t at = ( size_ & kLast ) + n <= kChunk ? size_ : ( size_ | kLast ) + 1;
      const size_t used = ( at & kLast ) + n;   // of the last chunk
      if( at >> Bits == chunks_.size() ) {
         const size_t room = chunks_.empty() ? std::max( used, kSmallest ) : kChunk;
         chunks_.push_back( std::make_unique_for_overwrite<T[]>( room ) );
         room_ = room;
      } else if( used > room_ ) {
         roomIs( std::min( kChunk, std::max( used, 2 * room_ ) ) );
      }
      size_ = at + n;
      return at;
   }
   void append( T value ) { ( *this )[ extend( 1 ) ] = value; }
   /// Frees the unused memory of the last chunk.
   void trim() {
      if( const size_t used = ( ( size_ - 1 ) & kLast ) + 1; size_ != 0 && used < room_ ) roomIs( used );
   }
   /// Frees the last chunk with its elements. Returns false if the row is empty already.
   bool dropChunk() noexcept {
      if( chunks_.empty() ) return false;
      chunks_.pop_back();
      size_ = std::min( size_, chunks_.size() << Bits );
      room_ = kChunk;
      return true;
   }

 private:
   static constexpr size_t kChunk = size_t( 1 ) << Bits;
   static constexpr size_t kLast = kChunk - 1;
   static constexpr size_t kSmallest = 4;

   void roomIs( size_t room ) {
      auto chunk = std::make_unique_for_overwrite<T[]>( room );
      std::copy_n( chunks_.back().get(), std::min( room, room_ ), chunk.get() );
      chunks_.back() = std::move( chunk );
      room_ = room;
   }

   std::vector<std::unique_ptr<T[]>> chunks_;
   size_t size_ = 0;
   size_t room_ = 0;   // of the last chunk; all others are whole
};

}   // namespace Routing::RouteMap
