/// @file substrate/plinth/RbTreeMap.h
/// The ordered collection: a map in ascending order of key. It holds the clauses that evaluation walks for every route.
///
/// Members are stored in one sorted array of (key, value): 10:a 20:b 30:c. A walk reads memory in sequence, and a look-up is a binary
/// search. Appending in order costs O(1); any other insertion or removal moves the members after it. This fits the use: the compiler
/// writes these collections in order, and evaluation walks them for every route. plinth/TreeMap.h fits many members, and writes in any
/// order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "substrate/plinth/InlineRow.h"
#include "substrate/plinth/Version.h"

namespace Plinth {

/// Members in ascending order of key, by the key's `<`. Up to `Inline` members are stored in the object itself.
/// `version()` increases with every real change, and never otherwise. Threading: any number of readers, or one writer.
template <class K, class V, size_t Inline = 0>
class RbTreeMap {
 public:
   using Key = K;
   using Value = V;
   using Member = std::pair<K, V>;
   using Row = InlineRow<Member, Inline>;

   size_t count() const noexcept { return row_.size(); }
   bool empty() const noexcept { return row_.empty(); }
   uint32_t version() const noexcept { return version_; }

   /// The value under `key`, or null. Valid until the next change.
   const V * find( const K & key ) const noexcept {
      auto i = lowerBoundImpl( key );
      return i != row_.end() && !( key < i->first ) ? &i->second : nullptr;
   }

   /// Inserts or replaces. Returns false, and changes nothing, if the key has an equal value already.
   bool put( const K & key, V value ) { return store( key, value ) != Stored::nothing; }
   /// As put(). `value` is then the former value if it was replaced, and moved from if the key had no member or if memory ran out.
   Stored store( const K & key, V & value ) {
      auto i = row_.empty() || row_.back().first < key ? row_.end() : lowerBoundImpl( key );
      if( i == row_.end() || key < i->first ) {
         // The member is built before any other moves: `key` may alias a member's key.
         row_.insert( indexOf( i ), Member( key, std::move( value ) ) );
      } else {
         V & stored = row_[ indexOf( i ) ].second;
         if( stored == value ) return Stored::nothing;
         std::swap( stored, value );   // the caller destroys the old value, when the new state is complete
         ++version_;
         return Stored::replaced;
      }
      ++version_;
      return Stored::added;
   }

   /// Removes the member under `key`. Returns false if the key has no member.
   bool erase( const K & key ) { return take( key ).has_value(); }
   /// Removes the member under `key` and returns its value, which is destroyed when the new state is complete.
   std::optional<V> take( const K & key ) {
      auto i = lowerBoundImpl( key );
      if( i == row_.end() || key < i->first ) return {};
      std::optional<V> gone( std::move( row_[ indexOf( i ) ].second ) );
      row_.erase( indexOf( i ) );
      ++version_;
      return gone;
   }

   /// Empties the collection and returns its members.
   auto takeAll() {
      Row gone;
      if( row_.empty() ) return gone;
      gone.swap( row_ );
      ++version_;
      return gone;
   }
   void clear() { takeAll(); }

   /// A position in the collection. A change does not invalidate it: next() then continues at the next higher key. value() is valid only
   /// until the next change.
   class Iterator {
    public:
      explicit operator bool() const noexcept { return at_ != end_; }
      const K & key() const noexcept { return key_; }
      const V & value() const noexcept { return at_->second; }

      void next() noexcept {
         if( version_ == map_->version_ ) [[likely]]
            ++at_;
         else
            *this = Iterator( map_, map_->upperBoundImpl( key_ ) );
         if( at_ != end_ ) key_ = at_->first;
      }

    private:
      friend class RbTreeMap;
      Iterator( const RbTreeMap * map, const Member * at ) noexcept
            : map_( map ), at_( at ), end_( map->row_.end() ), version_( map->version_ ) {
         if( at_ != end_ ) key_ = at_->first;
      }
      const RbTreeMap * map_;
      const Member * at_;
      const Member * end_;
      uint32_t version_;
      K key_{};   // a copy: the member may be gone when next() needs it
   };

   Iterator first() const noexcept { return Iterator( this, row_.begin() ); }
   /// The first member whose key is not less than `key`.
   Iterator lowerBound( const K & key ) const noexcept { return Iterator( this, lowerBoundImpl( key ) ); }

   /// For range-for. Any change of the collection invalidates these iterators.
   auto begin() const noexcept { return row_.begin(); }
   auto end() const noexcept { return row_.end(); }

 private:
   size_t indexOf( const Member * member ) const noexcept { return static_cast<size_t>( member - row_.data() ); }
   // The first member for which `isBefore` is false; `isBefore` is true for all members in front of it.
   template <class IsBefore>
   const Member * partitionPoint( IsBefore isBefore ) const noexcept {
      const Member * at = row_.data();
      for( size_t left = row_.size(); left != 0; ) {
         const size_t half = left / 2;
         if( isBefore( at[ half ] ) ) {
            at += half + 1;
            left -= half + 1;
         } else {
            left = half;
         }
      }
      return at;
   }
   const Member * lowerBoundImpl( const K & key ) const noexcept {
      return partitionPoint( [ & ]( const Member & m ) { return m.first < key; } );
   }
   const Member * upperBoundImpl( const K & key ) const noexcept {
      return partitionPoint( [ & ]( const Member & m ) { return !( key < m.first ); } );
   }

   Row row_;
   Version version_;
};

}   // namespace Plinth
