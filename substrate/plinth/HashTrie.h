/// @file substrate/plinth/HashTrie.h
/// A hash table that shares its memory with its copies. Each generation of a tag set has one, which is a copy of the one before.
///
/// It is a tree of forks with leaves. A fork takes four bits of the hash of a key, the leading ones first, and has one child or none for each
/// value of these bits. A leaf has up to 16 members in no order, or more if all have the same hash. It has a byte of the hash of each of the
/// first 16; a look-up compares these bytes at once. A leaf becomes a fork when a seventeenth member is added; a fork becomes a leaf when
/// only one leaf is left below it.
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
#include <span>
#include <type_traits>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "routepolicy_export.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/UseCount.h"

namespace Plinth {

/// Members in no order. M is K, or a pair of K and a value. A change invalidates iterators and pointers to members.
/// Errors: std::bad_alloc, and exceptions of the copy of a member in a shared node; the table then has the same members. Removal needs
/// memory, too.
/// Threading: any number of readers, or one writer. This holds for each copy by itself; the use counts of shared nodes follow ThreadControl.
/// Invariant: no leaf is empty, and there are two members below each fork.
template <class K, class M, class Hash = KeyHash<K>>
class HashTrie {
   class Node;
   class Leaf;
   class Fork;
   using Handle = Quoin::Ptr<Node>;
   static constexpr unsigned kStride = 4;
   static constexpr unsigned kPlaces = 1 << kStride;
   static constexpr unsigned kLevels = 64 / kStride;   // of forks; below, all hashes of a leaf are equal

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
   /// Null if the key has no member. Inline: the evaluation of a route is hardly more than such a look-up.
   [[gnu::always_inline]] const M * findMember( const K & key ) const noexcept {
      const uint64_t hash = hashOf( key );
      const Node * node = root_.get();
      for( uint64_t rest = hash; node && node->isFork(); rest <<= kStride ) node = node->fork().child( rest ).get();
      return node ? node->leaf().find( key, markOf( hash ) ) : nullptr;
   }

   /// Adds the member, unless its key has one. Returns the member of the key, and whether it is new.
   std::pair<const M *, bool> insert( M member ) {
      const K & key = keyOfMember<K>( member );
      if( const M * const found = findMember( key ) ) return { found, false };
      const uint64_t hash = hashOf( key );
      Handle * at = &root_;
      uint64_t rest = hash;
      for( unsigned level = 0; *at; ++level, rest <<= kStride ) {
         if( !( *at )->isFork() ) {
            if( ( *at )->size() < kMost || level == kLevels ) break;
            *at = Fork::of( ( *at )->leaf(), level );
         }
         at = &childToWrite( *at, rest );
      }
      auto next = Leaf::of( *at, *at ? ( *at )->size() + 1 : 1 );
      next->leaf().append( std::move( member ), markOf( hash ) );
      *at = std::move( next );
      ++size_;
      return { ( *at )->leaf().end() - 1, true };
   }
   /// The member of `key`, to be written; null if it has none. Its key must stay as it is. Valid until the next change or copy.
   M * own( const K & key ) {
      if( !contains( key ) ) return nullptr;
      const uint64_t hash = hashOf( key );
      Handle * at = &root_;
      for( uint64_t rest = hash; ( *at )->isFork(); rest <<= kStride ) at = &childToWrite( *at, rest );
      if( ( *at )->isShared() ) *at = Leaf::of( *at, ( *at )->size() );
      return ( *at )->leaf().find( key, markOf( hash ) );
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
      remove( root_, hashOf( key ), *found );
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
         enter( root );
         toMember();
      }
      void enter( const Node & node ) noexcept {
         if( node.isFork() ) {
            path_[ depth_++ ] = { &node.fork(), 0 };
         } else {
            at_ = node.leaf().begin();
            end_ = node.leaf().end();
         }
      }
      void toMember() noexcept {
         while( at_ == end_ ) {
            if( depth_ == 0 ) {
               at_ = nullptr;
               return;
            }
            auto & [ fork, next ] = path_[ depth_ - 1 ];
            if( next == kPlaces )
               --depth_;
            else if( const auto & child = fork->children()[ next++ ] )
               enter( *child );
         }
      }

      struct Level {
         const Fork * fork;
         unsigned next;   // the child to enter next
      };
      const M * at_ = nullptr;   // null after the last member
      const M * end_ = nullptr;
      unsigned depth_ = 0;
      std::array<Level, kLevels> path_{};   // the first `depth_`
   };
   const_iterator begin() const noexcept { return root_ ? const_iterator( *root_ ) : const_iterator(); }
   const_iterator end() const noexcept { return {}; }
   const_iterator cbegin() const noexcept { return begin(); }
   const_iterator cend() const noexcept { return end(); }

 private:
   static constexpr size_t kMost = 16;   // members of a leaf, unless all have the same hash

   // It is no Quoin::Node: a Quoin::ReleaseScope must not delay the end of the members.
   class Node {
    public:
      Node( const Node & ) = delete;
      Node & operator=( const Node & ) = delete;

      void incUse() noexcept { uses_.inc(); }
      void decUseImpl() noexcept {
         if( !uses_.dec() ) return;
         if( isFork() )
            delete &fork();
         else
            Leaf::destroy( leaf() );
      }
      bool isShared() const noexcept { return !uses_.isOne(); }
      bool isFork() const noexcept { return size_ == kFork; }
      Fork & fork() noexcept { return static_cast<Fork &>( *this ); }
      const Fork & fork() const noexcept { return static_cast<const Fork &>( *this ); }
      Leaf & leaf() noexcept { return static_cast<Leaf &>( *this ); }
      const Leaf & leaf() const noexcept { return static_cast<const Leaf &>( *this ); }
      /// The members of a leaf.
      uint32_t size() const noexcept { return size_; }

    protected:
      static constexpr uint32_t kFork = ~uint32_t( 0 );
      explicit Node( uint32_t size ) noexcept : size_( size ) {}
      ~Node() = default;

      Quoin::UseCount uses_;
      uint32_t size_;
   };

   // In one piece of memory with its members.
   class Leaf : public Node {
    public:
      static_assert( std::is_nothrow_move_constructible_v<M> && alignof( M ) <= alignof( uint64_t ) );
      /// A leaf with room for `most` members. It takes the members of `from`, which may be null, but `skipped`: it copies them if that leaf is
      /// shared.
      static Handle of( const Handle & from, size_t most, const M * skipped = nullptr ) {
         static_assert( sizeof( Leaf ) % alignof( M ) == 0 );
         auto made = Handle::adopt( new( ::operator new( sizeof( Leaf ) + most * sizeof( M ) ) ) Leaf() );
         if( !from ) return made;
         const bool isShared = from->isShared();
         for( auto & member : std::span( from->leaf().begin(), from->leaf().end() ) ) {
            if( &member == skipped ) continue;
            const uint8_t mark = from->leaf().markOf( member );
            if( isShared )
               made->leaf().append( M( member ), mark );
            else
               made->leaf().append( std::move( member ), mark );
         }
         return made;
      }
      static void destroy( Leaf & leaf ) noexcept {
         std::destroy( leaf.begin(), leaf.end() );
         leaf.~Leaf();
         ::operator delete( &leaf );
      }

      M * begin() const noexcept { return reinterpret_cast<M *>( const_cast<Leaf *>( this ) + 1 ); }
      M * end() const noexcept { return begin() + this->size_; }
      uint8_t markOf( const M & member ) const noexcept {
         const auto i = static_cast<size_t>( &member - begin() ) % kMost;   // all hashes are equal if there are more
         return marks_[ i ];
      }
      /// There is room for it.
      void append( M && member, uint8_t mark ) noexcept {
         new( static_cast<void *>( end() ) ) M( std::move( member ) );
         if( this->size_ < kMost ) marks_[ this->size_ ] = mark;
         ++this->size_;
      }
      [[gnu::always_inline]] M * find( const K & key, uint8_t mark ) const noexcept {
         for( unsigned left = marked( mark ); left; left &= left - 1 ) {
            M * const member = begin() + std::countr_zero( left );
            if( keyOfMember<K>( *member ) == key ) return member;
         }
         for( size_t i = kMost; i < this->size_; ++i )
            if( keyOfMember<K>( begin()[ i ] ) == key ) return begin() + i;
         return nullptr;
      }

    private:
      Leaf() noexcept : Node( 0 ) {}
      /// A bit for each of the first members that has this mark.
      unsigned marked( uint8_t mark ) const noexcept {
#ifdef __SSE2__
         const __m128i marks = _mm_loadu_si128( reinterpret_cast<const __m128i *>( marks_.data() ) );
         return static_cast<unsigned>( _mm_movemask_epi8( _mm_cmpeq_epi8( marks, _mm_set1_epi8( static_cast<char>( mark ) ) ) ) );
#else
         unsigned found = 0;
         for( size_t i = 0; i < kMost; ++i ) found |= unsigned( marks_[ i ] == mark ) << i;
         return found;
#endif
      }

      std::array<uint8_t, kMost> marks_{};   // of the first members, above 0x7f; 0 if there are fewer
   };

   class Fork : public Node {
    public:
      Fork( const Fork & from ) noexcept : Node( Node::kFork ), children_( from.children_ ) {}
      /// A fork at a level, counted from the root, with copies of the members.
      static Handle of( const Leaf & leaf, unsigned level ) {
         const auto placeOf = [ level ]( const M & member ) {
            return hashOf( keyOfMember<K>( member ) ) << level * kStride >> ( 64 - kStride );
         };
         std::array<size_t, kPlaces> sizes{};
         for( const auto & member : leaf ) ++sizes[ placeOf( member ) ];
         auto made = Quoin::Ptr<Fork>::adopt( new Fork );
         for( auto & member : leaf ) {
            Handle & child = made->children_[ placeOf( member ) ];
            if( !child ) child = Leaf::of( nullptr, sizes[ placeOf( member ) ] );
            child->leaf().append( M( member ), leaf.markOf( member ) );
         }
         return made;
      }
      const std::array<Handle, kPlaces> & children() const noexcept { return children_; }
      Handle & child( uint64_t rest ) noexcept { return children_[ rest >> ( 64 - kStride ) ]; }
      const Handle & child( uint64_t rest ) const noexcept { return children_[ rest >> ( 64 - kStride ) ]; }
      /// The only child, if that is a leaf; else null.
      Handle onlyLeaf() const noexcept {
         const Handle * only = nullptr;
         for( const auto & child : children_ ) {
            if( !child ) continue;
            if( only || child->isFork() ) return nullptr;
            only = &child;
         }
         return only ? *only : nullptr;
      }

    private:
      Fork() noexcept : Node( Node::kFork ) {}
      std::array<Handle, kPlaces> children_;
   };

   static uint64_t hashOf( const K & key ) noexcept {
      const uint64_t hash = Hash()( key );
      const uint64_t mixed = ( hash ^ hash >> 32 ) * 0x9e3779b97f4a7c15u;   // std::hash of a number may be the number
      return mixed ^ mixed >> 32;
   }
   /// The byte of a hash that a leaf keeps.
   static uint8_t markOf( uint64_t hash ) noexcept {
      return static_cast<uint8_t>( hash | 0x80 );
   }
   // Copies a shared fork. The children of a copy are shared, so they will be copied in their turn.
   static Handle & childToWrite( Handle & fork, uint64_t rest ) {
      if( fork->isShared() ) fork = Handle::adopt( new Fork( fork->fork() ) );
      return fork->fork().child( rest );
   }
   // Removes a member that is below `at`. `rest`: the bits of its hash from there on.
   static void remove( Handle & at, uint64_t rest, const M & member ) {
      if( !at->isFork() ) {
         at = at->size() == 1 ? nullptr : Leaf::of( at, at->size() - 1, &member );
         return;
      }
      remove( childToWrite( at, rest ), rest << kStride, member );
      if( auto only = at->fork().onlyLeaf() ) at = std::move( only );
   }

   Handle root_;
   size_t size_ = 0;
};

/// A HashSet2018 whose copies share their memory.
template <class K>
using SharedHashSet = HashSet2018<K, KeyHash<K>, std::equal_to<K>, HashTrie<K, K>>;

}   // namespace Plinth
