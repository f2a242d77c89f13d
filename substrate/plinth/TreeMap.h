/// @file substrate/plinth/TreeMap.h
/// The ordered collection for members that are written in any order: a balanced tree. Configuration and state machines use it;
/// plinth/RbTreeMap.h is the array for data that is written in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

#include "substrate/plinth/Version.h"

namespace Plinth {

/// Members in ascending order of key, by the key's `<`. The interface is that of RbTreeMap. An insertion at any place costs O(log n), and
/// a walk follows pointers. Threading: any number of readers, or one writer.
template <class K, class V>
class TreeMap {
   using Tree = std::map<K, V>;

 public:
   using Key = K;
   using Value = V;
   using Member = typename Tree::value_type;

   size_t count() const noexcept { return tree_.size(); }
   bool empty() const noexcept { return tree_.empty(); }
   /// Increases with every real change, and never otherwise.
   uint32_t version() const noexcept { return version_; }

   /// The value under `key`, or null. Valid until this member is removed.
   const V * find( const K & key ) const {
      auto i = tree_.find( key );
      return i == tree_.end() ? nullptr : &i->second;
   }

   /// Inserts or replaces. Returns false, and changes nothing, if the key has an equal value already.
   bool put( const K & key, V value ) {
      auto [ i, inserted ] = tree_.try_emplace( key, value );
      if( !inserted ) {
         if( i->second == value ) return false;
         std::swap( i->second, value );   // the old value is destroyed when the new state is complete
      }
      ++version_;
      return true;
   }

   /// Removes the member under `key`. Returns false if the key has no member.
   bool erase( const K & key ) {
      auto gone = tree_.extract( key );   // as above
      if( gone.empty() ) return false;
      ++version_;
      return true;
   }

   /// Empties the collection and returns its members.
   Tree takeAll() {
      Tree gone;
      if( tree_.empty() ) return gone;
      gone.swap( tree_ );
      ++version_;
      return gone;
   }
   void clear() { takeAll(); }

   /// A position in the collection. A change does not invalidate it: next() then continues at the next higher key. value() is valid only
   /// while its member exists.
   class Iterator {
    public:
      explicit operator bool() const noexcept { return member_ != nullptr; }
      const K & key() const noexcept { return key_; }
      const V & value() const noexcept { return member_->second; }
      void next() {
         if( version_ == map_->version_ ) [[likely]]
            stand( ++at_ );
         else
            stand( map_->tree_.upper_bound( key_ ) );
      }

    private:
      friend class TreeMap;
      Iterator( const TreeMap * map, typename Tree::const_iterator at ) : map_( map ) { stand( at ); }
      void stand( typename Tree::const_iterator at ) {
         at_ = at;
         version_ = map_->version_;
         member_ = at == map_->tree_.end() ? nullptr : &*at;
         if( member_ ) key_ = member_->first;
      }
      const TreeMap * map_;
      typename Tree::const_iterator at_;
      const Member * member_ = nullptr;   // null after the last member
      uint32_t version_ = 0;
      K key_{};   // a copy: the member may be gone when next() needs it
   };

   Iterator first() const { return Iterator( this, tree_.begin() ); }
   /// The first member whose key is not less than `key`.
   Iterator lowerBound( const K & key ) const { return Iterator( this, tree_.lower_bound( key ) ); }

   /// For range-for. An iterator is valid while its member exists.
   auto begin() const noexcept { return tree_.begin(); }
   auto end() const noexcept { return tree_.end(); }
   auto rbegin() const noexcept { return tree_.rbegin(); }
   auto rend() const noexcept { return tree_.rend(); }

 private:
   Tree tree_;
   Version version_;
};

}   // namespace Plinth
