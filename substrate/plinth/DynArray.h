/// @file substrate/plinth/DynArray.h
/// The sparse array: values at U32 indices, some of which are unset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "substrate/plinth/Version.h"
#include "substrate/quoin/Assert.h"

namespace Plinth {

/// A default-built value is an unset entry; iteration passes over it. Threading: any number of readers, or one writer.
template <class V>
class DynArray {
 public:
   static constexpr uint32_t kMaxEntries = 2003004;   // indices stay below this

   DynArray() = default;
   DynArray( const DynArray & ) = default;
   DynArray( DynArray && from ) noexcept
         : entries_( std::exchange( from.entries_, {} ) ),
           first_( std::exchange( from.first_, 0 ) ),
           count_( std::exchange( from.count_, 0 ) ),
           version_( std::move( from.version_ ) ) {}
   DynArray & operator=( const DynArray & from ) { return *this = DynArray( from ); }
   DynArray & operator=( DynArray && from ) noexcept {
      const auto gone = std::exchange( entries_, std::exchange( from.entries_, {} ) );   // let go of when all is in place
      first_ = std::exchange( from.first_, 0 );
      count_ = std::exchange( from.count_, 0 );
      version_ = std::move( from.version_ );
      return *this;
   }

   /// The lowest index that is set, and one above the highest; 0 where none is.
   uint32_t firstIndex() const noexcept { return first_; }
   uint32_t size() const noexcept { return first_ + static_cast<uint32_t>( entries_.size() ); }
   uint32_t count() const noexcept { return count_; }   // entries that are set
   bool empty() const noexcept { return count_ == 0; }
   uint32_t version() const noexcept { return version_; }

   /// The value at `index`, default-built where none is set.
   const V & operator[]( uint32_t index ) const noexcept {
      static const V kUnset{};
      return index - first_ < entries_.size() ? entries_[ index - first_ ] : kUnset;
   }

   /// Sets, or unsets by a default-built value; false when that value stands there already. Space goes from the first to the last that
   /// is set. Errors: an index of kMaxEntries or above ends the process.
   bool put( uint32_t index, V value ) {
      const uint32_t newEntries = index;
      QUOIN_ASSERT( newEntries < kMaxEntries, "newEntries < 2003004" );
      if( ( *this )[ index ] == value ) return false;
      reach( index );
      V & entry = entries_[ index - first_ ];
      std::swap( entry, value );   // the old value goes when all is in place
      if( entry == V{} ) {
         --count_;
         trim();
      } else if( value == V{} ) {
         ++count_;
      }
      ++version_;
      return true;
   }

   bool erase( uint32_t index ) { return index - first_ < entries_.size() && put( index, V{} ); }

   void clear() {
      if( entries_.empty() ) return;
      std::vector<V> gone;
      gone.swap( entries_ );
      first_ = 0;
      if( std::exchange( count_, 0 ) ) ++version_;
   }

   /// Moves over set entries only, in ascending order; survives changes, and sees what has been set further on. Where it stands may
   /// be unset meanwhile.
   class Iterator {
    public:
      explicit operator bool() const noexcept { return at_ < array_->size(); }
      uint32_t key() const noexcept { return at_; }
      const V & value() const noexcept { return ( *array_ )[ at_ ]; }
      void next() noexcept {
         ++at_;
         skipUnset();
      }

    private:
      friend class DynArray;
      explicit Iterator( const DynArray * array ) noexcept : array_( array ), at_( array->firstIndex() ) { skipUnset(); }
      void skipUnset() noexcept {
         while( at_ < array_->size() && value() == V{} ) ++at_;
      }
      const DynArray * array_;
      uint32_t at_;
   };

   Iterator first() const noexcept { return Iterator( this ); }

 private:
   void reach( uint32_t index ) {
      if( entries_.empty() ) {
         entries_.resize( 1 );
         first_ = index;
      } else if( index >= size() ) {
         entries_.resize( index - first_ + size_t( 1 ) );
      } else if( index < first_ ) {
         entries_.insert( entries_.begin(), first_ - index, V{} );
         first_ = index;
      }
   }
   void trim() {
      if( count_ == 0 ) return clear();
      while( entries_.back() == V{} ) entries_.pop_back();
      size_t unset = 0;
      while( entries_[ unset ] == V{} ) ++unset;
      entries_.erase( entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>( unset ) );
      first_ += static_cast<uint32_t>( unset );
   }

   std::vector<V> entries_;   // from the first that is set to the last
   uint32_t first_ = 0;
   uint32_t count_ = 0;
   Version version_;
};

}   // namespace Plinth
