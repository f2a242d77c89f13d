/// @file substrate/plinth/HashMap2018.h
/// The unordered collections: a map and a set. An attribute holds one when the order of its members does not matter.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "substrate/plinth/InlineRow.h"
#include "substrate/plinth/Version.h"
#include "substrate/quoin/Assert.h"

namespace Plinth {

/// Calls the key's own hash() if it exists, else std::hash.
template <class K>
struct KeyHash {
   size_t operator()( const K & key ) const noexcept {
      if constexpr( requires { key.hash(); } )
         return key.hash();
      else
         return std::hash<K>()( key );
   }
};

/// The key of a member of a map or of a set.
template <class K, class M>
const K & keyOfMember( const M & member ) noexcept {
   if constexpr( std::is_same_v<K, M> )
      return member;
   else
      return member.first;
}

/// A table of few members in one row, for keys of an enumeration. It has what HashCollection uses of a standard table.
template <class K, class M>
class RowTable {
 public:
   using const_iterator = const M *;
   size_t size() const noexcept { return row_.size(); }
   bool empty() const noexcept { return row_.empty(); }
   const M * begin() const noexcept { return row_.begin(); }
   const M * end() const noexcept { return row_.end(); }
   const M * cbegin() const noexcept { return begin(); }
   const M * cend() const noexcept { return end(); }
   const M * find( const K & key ) const { return begin() + indexOf( key ); }
   bool contains( const K & key ) const { return find( key ) != end(); }

   /// Adds a member of `key`, built from the key and `value`, unless the key has a member.
   template <class... V>
   std::pair<M *, bool> try_emplace( const K & key, V &&... value ) {
      const size_t at = indexOf( key );
      const bool isNew = at == size();
      if( isNew ) row_.insert( at, M( key, std::forward<V>( value )... ) );
      return { &row_[ at ], isNew };
   }
   std::pair<M *, bool> insert( const M & key ) { return try_emplace( key ); }
   /// What extract() has removed.
   struct Extracted {
      std::optional<M> member;
      bool empty() const noexcept { return !member; }
      auto & mapped() noexcept { return member->second; }
   };
   Extracted extract( const K & key ) {
      const size_t at = indexOf( key );
      if( at == size() ) return {};
      Extracted gone{ std::move( row_[ at ] ) };
      row_.erase( at );
      return gone;
   }

 private:
   size_t indexOf( const K & key ) const noexcept {
      const auto at = std::find_if( begin(), end(), [ & ]( const M & member ) { return keyOfMember<K>( member ) == key; } );
      return static_cast<size_t>( at - begin() );
   }
   InlineRow<M, 1> row_;
};

/// Which of the two tables serves the key.
template <class K, class IsEq, class Row, class Buckets>
using TableOf = std::conditional_t<std::is_enum_v<K> && std::is_same_v<IsEq, std::equal_to<K>>, Row, Buckets>;

/// The common part of the map and the set. `Table` is the standard container, a RowTable or a HashTrie; the derived classes add look-up and insertion.
/// An empty collection is one null pointer: the machines of compile/ hold many collections, and most of these are empty most of the time.
template <class K, class Table>
class HashCollection {
 public:
   HashCollection() = default;
   HashCollection( const HashCollection & from )
         : table_( from.table_ ? std::make_unique<Table>( *from.table_ ) : nullptr ), version_( from.version_ ) {}
   HashCollection( HashCollection && from ) noexcept = default;
   HashCollection & operator=( const HashCollection & from ) {
      table_ = from.table_ ? std::make_unique<Table>( *from.table_ ) : nullptr;
      version_ = from.version_;
      return *this;
   }
   HashCollection & operator=( HashCollection && from ) noexcept = default;
   ~HashCollection() = default;

   size_t count() const noexcept { return table_ ? table_->size() : 0; }
   bool empty() const noexcept { return !table_; }
   /// Increases with every real change, and never otherwise.
   uint32_t version() const noexcept { return version_; }
   bool contains( const K & key ) const { return table_ && table_->contains( key ); }

   /// Removes the member under `key`. Returns false if the key has no member.
   bool erase( const K & key ) { return !extract( key ).empty(); }

   /// Empties the collection and returns its members.
   Table takeAll() {
      if( !table_ ) return Table();
      const auto gone = std::exchange( table_, nullptr );
      ++version_;
      return std::move( *gone );
   }
   void clear() { takeAll(); }

   /// The unsafe iterator: fast, but any use of it after a change of the collection ends the process.
   class Iterator {
    public:
      explicit operator bool() const {
         check();
         return at_ != hashMap_->end();
      }
      const auto & operator*() const {
         check();
         return *at_;
      }
      void next() {
         check();
         ++at_;
      }

    private:
      friend class HashCollection;
      explicit Iterator( const HashCollection * map ) : hashMap_( map ), at_( map->begin() ), version_( map->version_ ) {}
      void check() const { QUOIN_ASSERT( version_ == hashMap_->version(), "version_ == hashMap_->version()" ); }
      const HashCollection * hashMap_;
      typename Table::const_iterator at_;
      uint32_t version_;
   };

   /// The safe iterator: visits once each key that existed at the start and still exists when its turn comes. Allocates memory.
   class SafeIterator {
    public:
      explicit operator bool() const noexcept { return at_ < keys_.size(); }
      const K & key() const noexcept { return keys_.data()[ at_ ]; }
      void next() {
         ++at_;
         skipGone();
      }

    private:
      friend class HashCollection;
      explicit SafeIterator( const HashCollection * map ) : hashMap_( map ) {
         for( const auto & member : *map ) keys_.insert( keys_.size(), keyOfMember<K>( member ) );
      }
      void skipGone() {
         while( at_ < keys_.size() && !hashMap_->contains( key() ) ) ++at_;
      }
      const HashCollection * hashMap_;
      InlineRow<K, 4> keys_;
      size_t at_ = 0;
   };

   Iterator iterator() const { return Iterator( this ); }
   SafeIterator safeIterator() const { return SafeIterator( this ); }

   /// For range-for. Any change of the collection invalidates these iterators.
   auto begin() const noexcept { return table_ ? table_->cbegin() : typename Table::const_iterator(); }
   auto end() const noexcept { return table_ ? table_->cend() : typename Table::const_iterator(); }

 protected:
   /// Calls `insertInto( table )` and returns its answer.
   template <class InsertInto>
   auto insert( InsertInto && insertInto ) {
      constexpr bool hasBuckets = requires( Table & table ) {
         table.max_load_factor( 1 );
      };
      if( table_ ) {
         if constexpr( hasBuckets )
            if( table_->size() == kFew ) table_->max_load_factor( 1 );
         return insertInto( *table_ );
      }
      auto table = std::make_unique<Table>();
      if constexpr( hasBuckets ) table->max_load_factor( 12 );
      const auto inserted = insertInto( *table );
      table_ = std::move( table );   // only now: a failed insertion leaves an empty collection
      return inserted;
   }
   /// Removes the member under `key`, and returns a node with it, which is destroyed when the new state is complete.
   auto extract( const K & key ) {
      if( !table_ ) return decltype( table_->extract( key ) )();
      auto gone = table_->extract( key );
      if( gone.empty() ) return gone;
      if( table_->empty() ) table_.reset();
      ++version_;
      return gone;
   }
   std::unique_ptr<Table> table_;   // null, or not empty
   Version version_;

 private:
   // Most collections have one or two members. With a load factor of 12, these few share the one bucket inside the table object, so the
   // table allocates no array of buckets.
   static constexpr size_t kFew = 8;
};

/// Values by key. Threading: any number of readers, or one writer.
template <class K, class V, class Hash = KeyHash<K>, class IsEq = std::equal_to<K>>
class HashMap2018 : public HashCollection<K, TableOf<K, IsEq, RowTable<K, std::pair<K, V>>, std::unordered_map<K, V, Hash, IsEq>>> {
 public:
   using Key = K;
   using Value = V;

   /// The value under `key`, or null. Valid until the next change.
   const V * find( const K & key ) const {
      if( !this->table_ ) return nullptr;
      auto i = this->table_->find( key );
      return i == this->table_->end() ? nullptr : &i->second;
   }

   /// Inserts or replaces. Returns false, and changes nothing, if the key has an equal value already.
   bool put( const K & key, V value ) { return store( key, value ) != Stored::nothing; }
   /// As put(). `value` is then the former value if it was replaced, and moved from if the key had no member or if memory ran out.
   Stored store( const K & key, V & value ) {
      auto [ i, inserted ] = this->insert( [ & ]( auto & table ) { return table.try_emplace( key, std::move( value ) ); } );
      if( !inserted ) {
         if( i->second == value ) return Stored::nothing;
         std::swap( i->second, value );
      }
      ++this->version_;
      return inserted ? Stored::added : Stored::replaced;
   }
   /// Removes the member under `key` and returns its value, which is destroyed when the new state is complete.
   std::optional<V> take( const K & key ) {
      auto member = this->extract( key );
      return member.empty() ? std::nullopt : std::optional<V>( std::move( member.mapped() ) );
   }
};

/// A set of keys. Threading: any number of readers, or one writer.
template <class K, class Hash = KeyHash<K>, class IsEq = std::equal_to<K>,
          class Table = TableOf<K, IsEq, RowTable<K, K>, std::unordered_set<K, Hash, IsEq>>>
class HashSet2018 : public HashCollection<K, Table> {
 public:
   using Key = K;
   /// Inserts the key. Returns false, and changes nothing, if the set contains it already.
   bool put( const K & key ) {
      if( !this->insert( [ & ]( auto & table ) { return table.insert( key ); } ).second ) return false;
      ++this->version_;
      return true;
   }
};

}   // namespace Plinth
