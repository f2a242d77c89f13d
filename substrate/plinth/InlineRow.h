/// @file substrate/plinth/InlineRow.h
/// An array of values whose first few values are stored in the array object itself. The sorted collections keep their members in it:
/// a collection of one or two members then needs no memory from the heap.
/// Ownership: owns its values. Threading: any number of readers, or one writer.
/// Invariant: all values are in the object, or all values are on the heap. They move to the heap when they exceed the room in the object,
/// and do not move back when the row shrinks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "routepolicy_export.h"

namespace Plinth {

/// The room for values inside the object. `Inline` 0 takes no space.
template <class T, size_t Inline>
struct InlineRoom {
   T * room() noexcept { return reinterpret_cast<T *>( bytes ); }
   alignas( T ) unsigned char bytes[ Inline * sizeof( T ) ];
};
template <class T>
struct InlineRoom<T, 0> {
   T * room() noexcept { return nullptr; }
};

/// Up to `Inline` values are stored in the object. An insertion or removal moves the values after it, and invalidates pointers.
/// Errors: std::bad_alloc; the row is then unchanged.
template <class T, size_t Inline>
class InlineRow : private InlineRoom<T, Inline> {
 public:
   using value_type = T;   // as standard containers have them
   using const_iterator = const T *;

   InlineRow() noexcept : at_( this->room() ) {}
   InlineRow( const InlineRow & from ) : InlineRow() {
      reserve( from.size_ );
      for( const T & value : from ) pushBack( value );
   }
   InlineRow( InlineRow && from ) noexcept : InlineRow() { take( from ); }
   // Not one assignment by value: the default assignment of an owner would then be noexcept, and could not report a failed copy.
   InlineRow & operator=( const InlineRow & from ) {
      InlineRow copy( from );
      swap( copy );
      return *this;
   }
   InlineRow & operator=( InlineRow && from ) noexcept {
      InlineRow taken( std::move( from ) );
      swap( taken );
      return *this;
   }
   ~InlineRow() { letGo(); }

   size_t size() const noexcept { return size_; }
   bool empty() const noexcept { return size_ == 0; }
   const T * data() const noexcept { return at_; }
   const T * begin() const noexcept { return at_; }
   const T * end() const noexcept { return at_ + size_; }
   const T & back() const noexcept { return at_[ size_ - 1 ]; }
   T & operator[]( size_t index ) noexcept { return at_[ index ]; }

   /// Makes room for `count` values in all. The next insertions up to this number need no memory.
   void reserve( size_t count ) {
      if( count <= capacity_ ) return;
      const size_t grown = capacity_ + capacity_ * size_t( 3 ) / 5;
      if( count < grown ) count = grown;
      T * to = static_cast<T *>( ::operator new( count * sizeof( T ) ) );
      moveTo( to );
      if( onHeap() ) ::operator delete( at_ );
      at_ = to;
      capacity_ = static_cast<uint32_t>( count );
   }
   /// Inserts `value` in front of the value at `index`; an `index` of size() appends.
   void insert( size_t index, T value ) {
      reserve( size_ + size_t( 1 ) );
      if( index == size_ ) return pushBack( std::move( value ) );
      pushBack( std::move( at_[ size_ - 1 ] ) );
      for( size_t i = size_ - size_t( 2 ); i > index; --i ) at_[ i ] = std::move( at_[ i - 1 ] );
      at_[ index ] = std::move( value );
   }
   void erase( size_t index ) noexcept {
      for( size_t i = index + 1; i < size_; ++i ) at_[ i - 1 ] = std::move( at_[ i ] );
      at_[ --size_ ].~T();
   }
   void swap( InlineRow & other ) noexcept {
      InlineRow mine( std::move( *this ) );
      take( other );
      other.take( mine );
   }

 private:
   bool onHeap() noexcept { return at_ != this->room(); }
   template <class V>
   void pushBack( V && value ) {   // the caller has reserved the room
      new( at_ + size_ ) T( std::forward<V>( value ) );
      ++size_;
   }
   // Moves all values to `to` and destroys the originals.
   void moveTo( T * to ) noexcept {
      static_assert( std::is_nothrow_move_constructible_v<T> && alignof( T ) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ );
      for( T * from = at_; from != at_ + size_; ++from, ++to ) {
         new( to ) T( std::move( *from ) );
         from->~T();
      }
   }
   // Takes over the values of `from`. This row must be empty and not on the heap.
   void take( InlineRow & from ) noexcept {
      if( from.onHeap() ) {
         at_ = std::exchange( from.at_, from.room() );
         capacity_ = std::exchange( from.capacity_, uint32_t( Inline ) );
      } else {
         from.moveTo( at_ );
      }
      size_ = std::exchange( from.size_, 0u );
   }
   void letGo() noexcept {
      for( T * value = at_; value != at_ + size_; ++value ) value->~T();
      if( onHeap() ) ::operator delete( at_ );
   }

   T * at_;
   uint32_t size_ = 0;
   uint32_t capacity_ = Inline;
};

}   // namespace Plinth
