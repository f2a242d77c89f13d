/// @file substrate/plinth/HashTrie.h
/// A hash table that shares its memory with its copies. Each generation of a tag set has one, which is a copy of the one before.
///
/// A node covers six bits of the hash of a key. Each of its 64 slots has at most one member, and at most one child, where further keys with
/// the same six bits continue with the next six. Two bitmaps tell which slots have a member, and which have a child; the children and the
/// members stand behind them. With a digit in place of six bits:
///
///    add the keys 25, 31 and 27      { 2: 25, 3: 31 } - 2 -> { 7: 27 }
///    remove 25                       { 3: 31 } - 2 -> { 7: 27 }          the slot is free for the next key of 2x
///
/// A copy shares all nodes. A write copies those nodes on the path to its member that are shared, some hundred bytes each. Neither depends
/// on the number of members, but for the length of the path.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/UseCount.h"

namespace Plinth {

/// Members in no order. M is K, or a pair of K and a value. A change invalidates iterators and pointers to members.
/// Errors: std::bad_alloc, and exceptions of the copy of a member in a shared node; the table is then unchanged. Removal needs memory, too.
/// Threading: any number of readers, or one writer. This holds for each copy by itself; the use counts of shared nodes follow ThreadControl.
/// Invariant: no node is empty.
template <class K, class M, class Hash = KeyHash<K>>
class HashTrie {
   class Node;
   using Handle = Quoin::Ptr<Node>;
   static constexpr unsigned kStride = 6;
   static constexpr unsigned kLevels = 64 / kStride + 1;   // below, all hashes of a node are equal, and each node has one slot

 public:
   HashTrie() = default;
   HashTrie( const HashTrie & ) = default;
   HashTrie( HashTrie && from ) noexcept : root_( std::move( from.root_ ) ), size_( std::exchange( from.size_, 0 ) ) {}
   HashTrie & operator=( HashTrie from ) noexcept {
      std::swap( root_, from.root_ );
      std::swap( size_, from.size_ );
      return *this;
   }
   ~HashTrie() = default;

   size_t size() const noexcept { return size_; }
   bool empty() const noexcept { return size_ == 0; }
   bool contains( const K & key ) const noexcept { return findMember( key ) != nullptr; }
   /// Null if the key has no member.
   const M * findMember( const K & key ) const noexcept {
      uint64_t rest = hashOf( key );
      for( const Node * node = root_.get(); node; rest <<= kStride ) {
         const uint64_t slot = slotOf( rest );
         if( node->has( slot, key ) ) return &node->member( slot );
         if( !( node->children() & slot ) ) return nullptr;
         node = node->child( slot ).get();
      }
      return nullptr;
   }

   /// Adds the member, unless its key has one. Returns the member of the key, and whether it is new.
   std::pair<const M *, bool> insert( M member ) {
      if( const M * const found = findMember( keyOfMember<K>( member ) ) ) return { found, false };
      uint64_t rest = hashOf( keyOfMember<K>( member ) );
      Handle * at = &root_;
      while( *at && ( *at )->hasBoth( slotOf( rest ) ) ) at = &step( *at, rest );
      uint64_t slot = slotOf( rest );
      if( !*at ) {
         *at = Node::make( {}, slot, 0, &member );
      } else if( !( ( *at )->members() & slot ) ) {
         *at = Node::make( *at, ( *at )->members() | slot, ( *at )->children(), &member );
      } else {
         const uint64_t below = slotOf( rest << kStride );
         Handle child = Node::make( {}, below, 0, &member );
         *at = Node::make( *at, ( *at )->members(), ( *at )->children() | slot );
         at = &( ( *at )->child( slot ) = std::move( child ) );
         slot = below;
      }
      ++size_;
      return { &( *at )->member( slot ), true };
   }
   /// The member of `key`, to be written; null if it has none. Its key must stay as it is. Valid until the next change or copy.
   M * own( const K & key ) {
      if( !contains( key ) ) return nullptr;
      uint64_t rest = hashOf( key );
      Handle * at = &root_;
      while( !( *at )->has( slotOf( rest ), key ) ) at = &step( *at, rest );
      own( *at );
      return &( *at )->member( slotOf( rest ) );
   }

   /// What extract() has removed.
   struct Extracted {
      std::optional<M> member;
      bool empty() const noexcept { return !member; }
   };
   Extracted extract( const K & key ) {
      const M * const found = findMember( key );
      if( !found ) return {};
      Extracted gone{ *found };
      uint64_t rest = hashOf( key );
      Handle * at = &root_;
      while( !( *at )->hasOne() && !( *at )->has( slotOf( rest ), key ) && !( *at )->child( slotOf( rest ) )->hasOne() )
         at = &step( *at, rest );
      const uint64_t slot = slotOf( rest );
      if( ( *at )->hasOne() )
         *at = nullptr;
      else if( ( *at )->has( slot, key ) )
         *at = Node::make( *at, ( *at )->members() & ~slot, ( *at )->children() );
      else
         *at = Node::make( *at, ( *at )->members(), ( *at )->children() & ~slot );
      --size_;
      return gone;
   }

   /// The members of a table come in the same order each time.
   class const_iterator {
    public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = M;
      using difference_type = std::ptrdiff_t;
      using pointer = const M *;
      using reference = const M &;

      const_iterator() = default;
      const M & operator*() const noexcept { return *at_; }
      const M * operator->() const noexcept { return at_; }
      const_iterator & operator++() noexcept {
         ++at_;
         toMember();
         return *this;
      }
      const_iterator operator++( int ) noexcept {
         const_iterator before( *this );
         ++*this;
         return before;
      }
      friend bool operator==( const const_iterator & a, const const_iterator & b ) noexcept { return a.at_ == b.at_; }

    private:
      friend class HashTrie;
      explicit const_iterator( const Node & root ) noexcept {
         enter( root, 0 );
         toMember();
      }
      // The members of a node come first, and then its children.
      void enter( const Node & node, unsigned depth ) noexcept {
         depth_ = std::min( depth, kLevels );   // a node below has no second child: the place in it is not needed any more
         path_[ depth_ ] = { &node, node.children() };
         at_ = node.begin();
         end_ = node.end();
      }
      void toMember() noexcept {
         while( at_ == end_ ) {
            while( path_[ depth_ ].left == 0 ) {
               if( depth_ == 0 ) {
                  at_ = nullptr;
                  return;
               }
               --depth_;
            }
            auto & [ node, left ] = path_[ depth_ ];
            const uint64_t slot = lowest( left );
            left &= ~slot;
            enter( *node->child( slot ), depth_ + 1 );
         }
      }

      struct Level {
         const Node * node;
         uint64_t left;   // the slots whose children are still to be visited
      };
      const M * at_ = nullptr;   // null after the last member
      const M * end_ = nullptr;
      unsigned depth_ = 0;
      std::array<Level, kLevels + 1> path_{};
   };
   const_iterator begin() const noexcept { return root_ ? const_iterator( *root_ ) : const_iterator(); }
   const_iterator end() const noexcept { return {}; }
   const_iterator cbegin() const noexcept { return begin(); }
   const_iterator cend() const noexcept { return end(); }

 private:
   // In one piece of memory with its children and members. It is no Quoin::Node: a Quoin::ReleaseScope must not delay the end of its
   // members.
   class Node {
    public:
      /// A node with these slots. It takes the members and children of `from`, which may be null, from a node that is not shared, and copies
      /// them from a shared one. A slot that `from` lacks gets `member`, and a child that is null.
      static Handle make( const Handle & from, uint64_t members, uint64_t children, M * member = nullptr ) {
         static_assert( std::is_nothrow_move_constructible_v<M> && alignof( M ) <= alignof( Node ) );
         const size_t bytes = sizeof( Node ) + count( children ) * sizeof( Handle ) + count( members ) * sizeof( M );
         auto made = Handle::adopt( new( ::operator new( bytes ) ) Node( children ) );
         if( !from ) {
            made->append( members, std::move( *member ) );
         } else if( from->isShared() ) {
            made->fill(
               *from, members, member, []( auto & value ) -> const auto & { return value; } );
         } else {
            made->fill(
               *from, members, member, []( auto & value ) -> auto && { return std::move( value ); } );
         }
         return made;
      }
      Node( const Node & ) = delete;
      Node & operator=( const Node & ) = delete;

      void incUse() noexcept { uses_.inc(); }
      void decUseImpl() noexcept {
         if( !uses_.dec() ) return;
         std::destroy( begin(), end() );
         std::destroy_n( childRow(), count( children_ ) );
         ::operator delete( this );
      }
      bool isShared() const noexcept { return !uses_.isOne(); }

      uint64_t members() const noexcept { return members_; }
      uint64_t children() const noexcept { return children_; }
      bool has( uint64_t slot, const K & key ) const noexcept { return ( members_ & slot ) && keyOfMember<K>( member( slot ) ) == key; }
      bool hasBoth( uint64_t slot ) const noexcept { return members_ & children_ & slot; }
      /// Whether there is one member in this node and below.
      bool hasOne() const noexcept {
         const Node * node = this;
         while( node->members_ == 0 && std::has_single_bit( node->children_ ) ) node = node->childRow()->get();
         return node->children_ == 0 && std::has_single_bit( node->members_ );
      }

      // Of a slot that has one.
      Handle & child( uint64_t slot ) const noexcept { return childRow()[ count( children_ & ( slot - 1 ) ) ]; }
      M & member( uint64_t slot ) const noexcept { return begin()[ count( members_ & ( slot - 1 ) ) ]; }
      M * begin() const noexcept { return reinterpret_cast<M *>( childRow() + count( children_ ) ); }
      M * end() const noexcept { return begin() + count( members_ ); }

    private:
      explicit Node( uint64_t children ) noexcept : children_( children ) {
         std::uninitialized_value_construct_n( childRow(), count( children ) );
      }
      static size_t count( uint64_t slots ) noexcept { return static_cast<size_t>( std::popcount( slots ) ); }
      Handle * childRow() const noexcept { return reinterpret_cast<Handle *>( const_cast<Node *>( this ) + 1 ); }
      // In ascending order of the slots.
      template <class From>
      void append( uint64_t slot, From && member ) {
         new( static_cast<void *>( end() ) ) M( std::forward<From>( member ) );
         members_ |= slot;
      }
      // `take` tells whether to copy or to move.
      template <class Take>
      void fill( Node & from, uint64_t members, M * member, Take take ) {
         for( uint64_t left = children_ & from.children_; left; left &= left - 1 )
            child( lowest( left ) ) = take( from.child( lowest( left ) ) );
         for( uint64_t left = members; left; left &= left - 1 ) {
            const uint64_t slot = lowest( left );
            if( from.members_ & slot )
               append( slot, take( from.member( slot ) ) );
            else
               append( slot, std::move( *member ) );
         }
      }

      Quoin::UseCount uses_;
      uint64_t members_ = 0;
      uint64_t children_;
   };

   static uint64_t hashOf( const K & key ) noexcept {
      const uint64_t hash = Hash()( key );
      const uint64_t mixed = ( hash ^ hash >> 32 ) * 0x9e3779b97f4a7c15u;   // std::hash of a number may be the number
      return mixed ^ mixed >> 32;
   }
   static uint64_t lowest( uint64_t slots ) noexcept { return slots & ( ~slots + 1 ); }
   /// The bit of the slot of the next six bits.
   static uint64_t slotOf( uint64_t rest ) noexcept { return uint64_t( 1 ) << ( rest >> ( 64 - kStride ) ); }
   static void own( Handle & node ) {
      if( node->isShared() ) node = Node::make( node, node->members(), node->children() );
   }
   // Copies a shared node, and goes on to the child. The children of a copy are shared, so they will be copied in their turn.
   static Handle & step( Handle & node, uint64_t & rest ) {
      own( node );
      Handle & child = node->child( slotOf( rest ) );
      rest <<= kStride;
      return child;
   }

   Handle root_;
   size_t size_ = 0;
};

/// A HashSet2018 whose copies share their memory.
template <class K>
using SharedHashSet = HashSet2018<K, KeyHash<K>, std::equal_to<K>, HashTrie<K, K>>;

}   // namespace Plinth
