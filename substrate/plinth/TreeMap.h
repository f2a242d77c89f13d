/// @file substrate/plinth/TreeMap.h
/// The ordered collection for many members, and for members that are written in any order: configuration, state machines, and the sequences
/// of a published route map. plinth/RbTreeMap.h is the single array for the few clauses of a sequence.
///
/// Members are stored in sorted blocks of up to 64, and the blocks in one sorted row: [ 10:a 20:b ... ] [ 650:c 660:d ... ]. A look-up is a
/// binary search in the row, then in one block. An insertion or removal moves members of one block; now and then it splits a full block,
/// joins two blocks or deletes an empty one, which moves the row. Insertions in ascending or descending order leave full blocks behind.
/// The first block grows as its members come: a collection of a few members costs one small piece of memory, an empty one costs none.
/// A copy shares the blocks of its original. The first write to a shared block copies that block.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "substrate/plinth/InlineRow.h"
#include "substrate/plinth/Version.h"
#include "substrate/quoin/Ptr.h"

namespace Plinth {

/// Members in ascending order of key, by the key's `<`. The interface is that of RbTreeMap. A change invalidates pointers to members.
/// Errors: std::bad_alloc, and exceptions of the copy of a member in a shared block; the collection is then unchanged. takeAll() and
/// clear() need no memory. erase() and take() need memory only if the block of the member is shared with a copy.
/// Threading: any number of readers, or one writer. This holds for each copy by itself; the use counts of shared blocks follow
/// ThreadControl.
/// Invariant: no block is empty; each block has room for 64 members, unless it is the only one.
template <class K, class V>
class TreeMap {
   class Block;
   using Handle = Quoin::Ptr<Block>;

 public:
   using Key = K;
   using Value = V;
   using Member = std::pair<K, V>;

   TreeMap() = default;
   TreeMap( const TreeMap & ) = default;
   TreeMap( TreeMap && from ) noexcept
         : row_( std::move( from.row_ ) ), count_( std::exchange( from.count_, 0 ) ), version_( std::move( from.version_ ) ) {}
   TreeMap & operator=( const TreeMap & from ) { return *this = TreeMap( from ); }
   TreeMap & operator=( TreeMap && from ) noexcept {
      TreeMap other( std::move( from ) );   // receives the old members, which are destroyed when the new state is complete
      row_.swap( other.row_ );
      std::swap( count_, other.count_ );
      ++version_;
      return *this;
   }
   /// Destroys the members from the last to the first.
   ~TreeMap() {
      while( !row_.empty() ) row_.erase( row_.size() - 1 );
   }

   size_t count() const noexcept { return count_; }
   bool empty() const noexcept { return count_ == 0; }
   /// Increases with every real change, and never otherwise.
   uint32_t version() const noexcept { return version_; }

   /// The value under `key`, or null. Valid until the next change.
   const V * find( const K & key ) const {
      const Member * found = memberAt( placeOf( key ), key );
      return found ? &found->second : nullptr;
   }

   /// Inserts or replaces. Returns false, and changes nothing, if the key has an equal value already.
   bool put( const K & key, V value ) { return store( key, value ) != Stored::nothing; }
   /// As put(). `value` is then the former value if it was replaced, and moved from if the key had no member or if memory ran out.
   Stored store( const K & key, V & value ) {
      const Place at = placeOf( key );
      if( const Member * found = memberAt( at, key ) ) {
         if( found->second == value ) return Stored::nothing;
         const Handle former = own( at.block, 0 );
         std::swap( row_[ at.block ]->at( at.index ).second, value );   // the caller destroys the old value, when the new state is complete
         ++version_;
         return Stored::replaced;
      }
      insert( at, Member( key, std::move( value ) ) );   // built before any member moves: `key` may alias a member's key
      return Stored::added;
   }

   /// Removes the member under `key`. Returns false if the key has no member.
   bool erase( const K & key ) { return take( key ).has_value(); }
   /// Removes the member under `key` and returns its value, which is destroyed when the new state is complete.
   std::optional<V> take( const K & key ) {
      std::optional<V> gone;
      const Place at = placeOf( key );
      const Member * found = memberAt( at, key );
      if( !found ) return gone;
      Handle former;
      if( Block & block = *row_[ at.block ]; block.size() == 1 ) {
         block.isShared() ? gone.emplace( found->second ) : gone.emplace( std::move( block.at( 0 ).second ) );
         former = std::move( row_[ at.block ] );
         row_.erase( at.block );
      } else {
         former = own( at.block, 0 );
         gone.emplace( row_[ at.block ]->take( at.index ).second );
         join( at.block );
      }
      --count_;
      ++version_;
      return gone;
   }

   /// Empties the collection and returns its members.
   TreeMap takeAll() noexcept { return empty() ? TreeMap() : TreeMap( std::move( *this ) ); }
   void clear() noexcept { takeAll(); }

   /// For range-for. Any change of the collection invalidates it.
   class MemberIterator {
    public:
      using iterator_category = std::bidirectional_iterator_tag;
      using value_type = Member;
      using difference_type = std::ptrdiff_t;
      using pointer = const Member *;
      using reference = const Member &;

      MemberIterator() = default;
      explicit operator bool() const noexcept { return at_ != nullptr; }   // whether there is a member
      const Member & operator*() const noexcept { return *at_; }
      const Member * operator->() const noexcept { return at_; }
      MemberIterator & operator++() noexcept {
         if( ++at_ == end_ ) [[unlikely]]
            stand( block_ + 1, 0 );
         return *this;
      }
      MemberIterator & operator--() noexcept {
         if( !at_ || at_ == map_->blockAt( block_ ).begin() )
            stand( block_ - 1, map_->blockAt( block_ - 1 ).size() - 1 );
         else
            --at_;
         return *this;
      }
      MemberIterator operator++( int ) noexcept {
         MemberIterator before( *this );
         ++*this;
         return before;
      }
      MemberIterator operator--( int ) noexcept {
         MemberIterator before( *this );
         --*this;
         return before;
      }
      friend bool operator==( const MemberIterator & a, const MemberIterator & b ) noexcept { return a.at_ == b.at_; }

    private:
      friend class TreeMap;
      void toNextBlock() noexcept { stand( block_ + 1, 0 ); }
      MemberIterator( const TreeMap * map, size_t block, size_t index ) noexcept : map_( map ) { stand( block, index ); }
      void stand( size_t block, size_t index ) noexcept {
         const size_t blocks = map_->row_.size();
         if( block != blocks && index == map_->blockAt( block ).size() ) {
            ++block;
            index = 0;
         }
         block_ = block;
         at_ = block != blocks ? map_->blockAt( block ).begin() + index : nullptr;
         end_ = block != blocks ? map_->blockAt( block ).end() : nullptr;
      }
      const TreeMap * map_ = nullptr;
      size_t block_ = 0;
      const Member * at_ = nullptr;   // null after the last member
      const Member * end_ = nullptr;
   };

   MemberIterator begin() const noexcept {
      MemberIterator first;
      first.map_ = this;
      if( row_.empty() ) return first;
      first.at_ = blockAt( 0 ).begin();
      first.end_ = blockAt( 0 ).end();
      return first;
   }
   MemberIterator end() const noexcept { return MemberIterator( this, row_.size(), 0 ); }
   auto rbegin() const noexcept { return std::reverse_iterator( end() ); }
   auto rend() const noexcept { return std::reverse_iterator( begin() ); }

   /// Calls `visit( old, now )` with the members of each key whose values differ; null for a key that one collection does not have. Blocks
   /// that both share are passed over: the cost is that of the blocks that differ, and a step for each other block.
   template <class Visit>
   static void differences( const TreeMap & before, const TreeMap & after, Visit && visit ) {
      MemberIterator a = before.begin(), b = after.begin();
      while( a.at_ || b.at_ ) {
         if( a.at_ && b.at_ && a.at_ == b.at_ ) {   // the same member of the same block
            a.toNextBlock();
            b.toNextBlock();
         } else if( !b.at_ || ( a.at_ && a->first < b->first ) ) {
            visit( &*a, static_cast<const Member *>( nullptr ) );
            ++a;
         } else if( !a.at_ || b->first < a->first ) {
            visit( static_cast<const Member *>( nullptr ), &*b );
            ++b;
         } else {
            if( !( a->second == b->second ) ) visit( &*a, &*b );
            ++a;
            ++b;
         }
      }
   }

   /// A position in the collection. A change does not invalidate it: next() then continues at the next higher key. value() is the present
   /// value of its member, which must exist; the reference is valid until the next change.
   class Iterator {
    public:
      explicit operator bool() const noexcept { return at_.at_ != nullptr; }
      const K & key() const noexcept { return key_; }
      const V & value() const noexcept {
         if( isCurrent() ) [[likely]]
            return at_->second;
         return *at_.map_->find( key_ );
      }
      /// The member. Valid only if the collection has not changed since first(), lowerBound() or next(); value() is valid always.
      const Member & operator*() const noexcept { return *at_; }
      void next() {
         if( isCurrent() && at_.at_ + 1 != at_.end_ ) [[likely]]
            key_ = ( ++at_.at_ )->first;
         else
            *this = after( *this );
      }

    private:
      friend class TreeMap;
      explicit Iterator( const MemberIterator & at ) : at_( at ), version_( at.map_->version_ ) {
         if( *this ) key_ = at_->first;
      }
      bool isCurrent() const noexcept { return version_ == at_.map_->version_; }
      // Takes and returns values: the iterator of a walk stays in registers.
      [[gnu::noinline]] static Iterator after( Iterator from ) {
         return Iterator( from.isCurrent() ? ++from.at_ : from.at_.map_->above( from.key_ ) );
      }
      MemberIterator at_;
      uint32_t version_;
      K key_{};   // a copy: the member may be gone when next() needs it
   };

   [[gnu::always_inline]] Iterator first() const { return Iterator( begin() ); }
   /// The first member whose key is not less than `key`.
   Iterator lowerBound( const K & key ) const { return Iterator( membersFrom( key ) ); }
   MemberIterator membersFrom( const K & key ) const { return iteratorAt( placeOf( key ) ); }

 private:
   static constexpr size_t kFull = 64;

   // Up to kFull members, in one piece of memory. It is no Quoin::Node: a Quoin::ReleaseScope must not delay the end of its members.
   class alignas( std::max( alignof( Member ),
                            alignof( uint32_t ) ) ) Block {   // one alignas: some compilers read only the last of several
    public:
      static constexpr bool kCopies = std::is_nothrow_copy_constructible_v<Member>;
      static Handle make( size_t capacity ) {
         static_assert( std::is_nothrow_move_constructible_v<Member> && alignof( Member ) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ );
         static_assert( sizeof( Block ) % alignof( Member ) == 0 );
         return Handle::adopt( new( ::operator new( sizeof( Block ) + capacity * sizeof( Member ) ) ) Block( capacity ) );
      }
      Block( const Block & ) = delete;
      Block & operator=( const Block & ) = delete;

      void incUse() noexcept { uses_.inc(); }
      void decUseImpl() noexcept {
         if( !uses_.dec() ) return;
         while( size_ != 0 ) begin()[ --size_ ].~Member();
         ::operator delete( this );
      }
      bool isShared() const noexcept { return !uses_.isOne(); }

      size_t size() const noexcept { return size_; }
      size_t capacity() const noexcept { return capacity_; }
      Member * begin() noexcept { return reinterpret_cast<Member *>( this + 1 ) + first_; }
      Member * end() noexcept { return begin() + size_; }
      Member & at( size_t index ) noexcept { return begin()[ index ]; }

      // For these functions the caller has made the block its own, with room.
      void insert( size_t index, Member && member ) noexcept { new( open( index, 1 ) ) Member( std::move( member ) ); }
      // Leaves the room of an empty block in front: members will be added there.
      void fillFromTheEnd() noexcept { first_ = capacity_; }
      Member take( size_t index ) noexcept {
         Member taken( std::move( at( index ) ) );
         at( index ).~Member();
         --size_;
         if( index < size_ - index ) {
            for( size_t i = index; i != 0; --i ) relocate( begin() + i, begin() + i - 1 );
            ++first_;
         } else {
            for( size_t i = index; i != size_; ++i ) relocate( begin() + i, begin() + i + 1 );
         }
         return taken;
      }
      // Moves the members from `index` on behind the members of `to`.
      void moveTail( size_t index, Block & to ) noexcept {
         for( size_t i = index; i != size_; ++i ) relocate( to.begin() + to.size_++, begin() + i );
         size_ = static_cast<uint16_t>( index );
      }
      // Puts the members of `from` in front of the own members or behind them. A shared block keeps its members.
      void join( Block & from, bool inFront ) noexcept {
         Member * to = open( inFront ? 0 : size_, from.size_ );
         if( !from.isShared() ) {
            for( size_t i = 0; i != from.size_; ++i ) relocate( to++, from.begin() + i );
            from.size_ = 0;
         } else if constexpr( kCopies ) {
            for( const Member & member : from ) new( to++ ) Member( member );
         }
      }

    private:
      explicit Block( size_t capacity ) noexcept : capacity_( static_cast<uint16_t>( capacity ) ) {}
      static void relocate( Member * to, Member * from ) noexcept {
         new( to ) Member( std::move( *from ) );
         from->~Member();
      }
      // Opens a gap at `index`, which the caller fills. Moves the members on one side of the gap: where there is room, or else the fewer
      // ones. There is always room on one side: two blocks are joined only if they fill half of one.
      Member * open( size_t index, size_t count ) noexcept {
         const bool isFullBehind = first_ + size_ + count > capacity_;
         if( count <= first_ && ( isFullBehind || index < size_ - index ) ) {
            for( size_t i = 0; i != index; ++i ) relocate( begin() + i - count, begin() + i );
            first_ = static_cast<uint16_t>( first_ - count );
         } else {
            for( size_t i = size_; i != index; --i ) relocate( begin() + i + count - 1, begin() + i - 1 );
         }
         size_ = static_cast<uint16_t>( size_ + count );
         return begin() + index;
      }

      Quoin::UseCount uses_;
      uint16_t size_ = 0;
      uint16_t capacity_;
      uint16_t first_ = 0;   // the place of the first member: the rest of the room is in front of the members and behind them
   };

   struct Place {
      size_t block, index;   // `index` may be the size of the block
   };

   Block & blockAt( size_t block ) const noexcept { return *row_.begin()[ block ]; }
   MemberIterator iteratorAt( Place at ) const noexcept { return MemberIterator( this, at.block, at.index ); }

   // The first number below `count` for which `isBefore` is false; `isBefore` is true for all lower numbers.
   template <class IsBefore>
   static size_t partitionPoint( size_t count, IsBefore isBefore ) {
      size_t at = 0;
      while( count != 0 ) {
         const size_t half = count / 2;
         if( isBefore( at + half ) ) {
            at += half + 1;
            count -= half + 1;
         } else {
            count = half;
         }
      }
      return at;
   }
   // The last block that begins at or below `key`, or else the first block.
   size_t blockOf( const K & key ) const {
      return partitionPoint( row_.size() - 1, [ & ]( size_t i ) { return !( key < blockAt( i + 1 ).begin()->first ); } );
   }
   // The place where `key` is or belongs. Both ends are tried first: most members are added there, and looked up soon afterwards.
   Place placeOf( const K & key ) const {
      if( row_.empty() ) return { 0, 0 };
      Block & last = *row_.back();
      if( const K & highest = last.at( last.size() - 1 ).first; !( key < highest ) )
         return { row_.size() - 1, last.size() - ( highest < key ? 0 : 1 ) };
      if( !( blockAt( 0 ).at( 0 ).first < key ) ) return { 0, 0 };
      const size_t block = blockOf( key );
      Block & in = blockAt( block );
      return { block, partitionPoint( in.size(), [ & ]( size_t i ) { return in.at( i ).first < key; } ) };
   }
   // The first member whose key is greater than `key`.
   MemberIterator above( const K & key ) const {
      if( row_.empty() ) return end();
      const size_t block = blockOf( key );
      Block & in = blockAt( block );
      return { this, block, partitionPoint( in.size(), [ & ]( size_t i ) { return !( key < in.at( i ).first ); } ) };
   }
   // The member at the place of `key`; null if the key has none.
   const Member * memberAt( Place at, const K & key ) const {
      if( at.block == row_.size() || at.index == blockAt( at.block ).size() ) return nullptr;
      const Member & member = blockAt( at.block ).at( at.index );
      return key < member.first ? nullptr : &member;
   }

   // Makes a block this collection's own, with room for `count` members, and returns the former block if that took another one. It is the
   // last step of a change that can fail: the version does not show it.
   [[nodiscard]] Handle own( size_t block, size_t count ) {
      Handle & now = row_[ block ];
      const bool isShared = now->isShared();
      if( !isShared && count <= now->capacity() ) return nullptr;
      auto made = Block::make( count <= now->capacity() ? now->capacity() : std::min( 2 * now->capacity(), kFull ) );
      if( isShared )
         for( const Member & member : *now ) made->insert( made->size(), Member( member ) );
      else
         now->moveTail( 0, *made );
      return std::exchange( now, std::move( made ) );
   }

   void insert( Place at, Member member ) {
      Handle former;
      const bool isFull = !row_.empty() && row_[ at.block ]->size() == kFull;
      const bool isBehind = isFull && at.index == kFull;
      if( isBehind && at.block + 1 != row_.size() && row_[ at.block + 1 ]->size() != kFull ) {
         at = { at.block + 1, 0 };
      } else if( isFull || row_.empty() ) {
         auto made = Block::make( isFull ? kFull : 1 );
         row_.reserve( row_.size() + 1 );
         size_t place = at.block;   // in front of all
         if( isBehind ) {
            place = at.block + 1;
            at = { place, 0 };
         } else if( at.index == 0 ) {
            if( isFull ) made->fillFromTheEnd();
         } else {
            former = own( at.block, kFull );
            row_[ at.block ]->moveTail( kFull / 2, *made );
            place = at.block + 1;
            if( at.index > kFull / 2 ) at = { place, at.index - kFull / 2 };
         }
         row_.insert( place, std::move( made ) );
      }
      const Handle smaller = own( at.block, row_[ at.block ]->size() + 1 );
      row_[ at.block ]->insert( at.index, std::move( member ) );
      ++count_;
      ++version_;
   }

   // Joins a block that was written with a neighbour, if both fill at most half a block together.
   void join( size_t block ) noexcept {
      const auto joins = [ this, block ]( size_t other ) {
         if( other >= row_.size() || row_[ block ]->size() + row_[ other ]->size() > kFull / 2 ) return false;
         return Block::kCopies || !row_[ other ]->isShared();
      };
      const bool inFront = block != 0 && joins( block - 1 );
      if( !inFront && !joins( block + 1 ) ) return;
      const size_t other = inFront ? block - 1 : block + 1;
      row_[ block ]->join( *row_[ other ], inFront );
      row_.erase( other );
   }

   InlineRow<Handle, 1> row_;
   uint32_t count_ = 0;
   Version version_;
};

}   // namespace Plinth
