/// @file substrate/plinth/DynArray.h
/// The sparse array: values at 32-bit indices, where some indices are unset. It is one of the collections that attributes hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "substrate/plinth/Version.h"
#include "substrate/quoin/Assert.h"

namespace Plinth {

/// A default-built value counts as unset; iteration skips it. Threading: any number of readers, or one writer.
template <class V>
class DynArray {
 public:
   /// Every index must be below this number.
   static constexpr uint32_t kMaxEntries = 2003004;

   DynArray() = default;
   DynArray( const DynArray & ) = default;
   DynArray( DynArray && from ) noexcept
         : entries_( std::exchange( from.entries_, {} ) ),
           first_( std::exchange( from.first_, 0 ) ),
           count_( std::exchange( from.count_, 0 ) ),
           version_( std::move( from.version_ ) ) {}
   DynArray & operator=( const DynArray & from ) { return *this = DynArray( from ); }
   DynArray & operator=( DynArray && from ) noexcept {
      const auto gone = std::exchange( entries_, std::exchange( from.entries_, {} ) );   // destroyed when the new state is complete
      first_ = std::exchange( from.first_, 0 );
      count_ = std::exchange( from.count_, 0 );
      version_ = std::move( from.version_ );
      return *this;
   }

   /// The lowest index that is set; 0 if none is.
   uint32_t firstIndex() const noexcept { return first_; }
   /// One above the highest index that is set; 0 if none is.
   uint32_t size() const noexcept { return first_ + static_cast<uint32_t>( entries_.size() ); }
   /// The number of entries that are set.
   uint32_t count() const noexcept { return count_; }
   bool empty() const noexcept { return count_ == 0; }
   /// Increases with every real change, and never otherwise.
   uint32_t version() const noexcept { return version_; }

   /// The value at `index`; default-built if the entry is unset.
   const V & operator[]( uint32_t index ) const noexcept {
      static const V kUnset{};
      return index - first_ < entries_.size() ? entries_[ index - first_ ] : kUnset;
   }

   /// Sets the entry at `index`; a default-built value unsets it. Returns false if the entry has that value already. The array takes
   /// memory for all indices between the lowest and the highest that are set.
   /// Errors: an index of kMaxEntries or above ends the process.
   bool put( uint32_t index, V value ) {
      const uint32_t newEntries = index;
      QUOIN_ASSERT( newEntries < kMaxEntries, "newEntries < 2003004" );
      if( ( *this )[ index ] == value ) return false;
      reach( index );
      V & entry = entries_[ index - first_ ];
      std::swap( entry, value );   // the old value is destroyed when the new state is complete
      if( entry == V{} ) {
         --count_;
         trim();
      } else if( value == V{} ) {
         ++count_;
      }
      ++version_;
      return true;
   }

   /// Unsets the entry at `index`. Returns false if it is unset already.
   bool erase( uint32_t index ) { return index - first_ < entries_.size() && put( index, V{} ); }

   /// Unsets all entries.
   void clear() {
      if( entries_.empty() ) return;
      std::vector<V> gone;
      gone.swap( entries_ );
      first_ = 0;
      if( std::exchange( count_, 0 ) ) ++version_;
   }

   /// Visits the set entries in ascending order. Changes do not invalidate it: it also visits entries that are set ahead of it
   /// meanwhile, and value() is default-built if its own entry is unset meanwhile.
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

   std::vector<V> entries_;   // from the lowest to the highest set entry
   uint32_t first_ = 0;
   uint32_t count_ = 0;
   Version version_;
};

}   // namespace Plinth
