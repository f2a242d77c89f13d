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
   DynArray & operator=( const DynArray & ) = default;
   DynArray( DynArray && from ) noexcept
         : entries_( std::exchange( from.entries_, {} ) ),
           count_( std::exchange( from.count_, 0 ) ),
           version_( std::move( from.version_ ) ) {}
   DynArray & operator=( DynArray && from ) noexcept {
      entries_ = std::exchange( from.entries_, {} );
      count_ = std::exchange( from.count_, 0 );
      version_ = std::move( from.version_ );
      return *this;
   }

   /// One above the highest index ever set since the last clear().
   uint32_t size() const noexcept { return static_cast<uint32_t>( entries_.size() ); }
   uint32_t count() const noexcept { return count_; }   // entries that are set
   bool empty() const noexcept { return count_ == 0; }
   uint32_t version() const noexcept { return version_; }

   /// The value at `index`, default-built where none is set.
   const V & operator[]( uint32_t index ) const noexcept {
      static const V kUnset{};
      return index < entries_.size() ? entries_[ index ] : kUnset;
   }

   /// Sets, or unsets by a default-built value; false when that value stands there already.
   /// Errors: an index of kMaxEntries or above ends the process.
   bool put( uint32_t index, V value ) {
      const size_t newEntries = index;
      QUOIN_ASSERT( newEntries < 2003004, "newEntries < 2003004" );
      if( ( *this )[ index ] == value ) return false;
      if( index >= entries_.size() ) entries_.resize( size_t( index ) + 1 );
      std::swap( entries_[ index ], value );
      if( entries_[ index ] == V{} )
         --count_;
      else if( value == V{} )
         ++count_;
      ++version_;
      return true;
   }

   bool erase( uint32_t index ) { return index < entries_.size() && put( index, V{} ); }

   void clear() {
      if( entries_.empty() ) return;
      std::vector<V> gone;
      gone.swap( entries_ );
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
      explicit Iterator( const DynArray * array ) noexcept : array_( array ) { skipUnset(); }
      void skipUnset() noexcept {
         while( at_ < array_->size() && value() == V{} ) ++at_;
      }
      const DynArray * array_;
      uint32_t at_ = 0;
   };

   Iterator first() const noexcept { return Iterator( this ); }

 private:
   std::vector<V> entries_;
   uint32_t count_ = 0;
   Version version_;
};

}   // namespace Plinth
