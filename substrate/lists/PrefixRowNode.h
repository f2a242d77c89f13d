/// @file substrate/lists/PrefixRowNode.h
/// The nodes of the trie of PrefixListRows, and the blocks that hold them.
///
/// A node covers six bits of the address. Three bitmaps mark what it has:
///    `inner`  prefixes that end after 0 to 5 of these bits (see substrate/routing/SixBits.h)
///    `near`   values of the six bits below which few rows stand, or one prefix: these rows are in the block of this node
///    `wide`   values of the six bits below which more rows stand: each has a node of its own
///
/// The block of a node has, one behind the other:
///    nodes    one for each wide child
///    header
///    slots    one word for each near child, and then for each inner prefix: its only row, or where its run of rows is
///    runs     the rows of the other slots, in the order of the slots
/// The index of a node or a slot is the number of one bits in front of its bit. Example: 10 permit 0.0.0.0/0 le 32, 20 permit 10.0.0.0/8,
/// 30 deny 10.1.0.0/16
///    root     inner "" (the /0), near 000010 (both others)
///    block    header | slot of 000010: two rows from word 2 on | slot of "": row 10 | row 20, rest 10 | row 30, rest 1000000001
///
/// The words:
///    row      63..32 number | 31..24 ge | 23..16 le | 15..2 note | 1 permit        | 0 one
///    run      63..32 at     | 31..4 rows            | 3 one prefix | 2..1 step     | 0 zero
///
/// The rows of a run are in ascending order of their prefixes; those of one prefix are in ascending order of their numbers. A row of a near
/// child needs the rest of its prefix. If that is short for all rows of the child, it is the note of the row (PrefixRest). Otherwise each row
/// has the length of its prefix as its note, and is followed by the address, in one word if all rows have up to 64 bits, else in two.
///
/// The trie of a given set of rows has one form only, unless memory was short during an edit; look-ups do not depend on it. Threading: a
/// block that several generations share is not written.
#pragma once

#include <cstddef>
#include <cstdint>

#include "substrate/lists/PrefixRow.h"
#include "substrate/routing/SixBits.h"

namespace Routing::RouteMap {

/// The part of a block in front of its slots.
struct PrefixRowHeader {
   uint64_t birth : 40;      // the generation that the block was made in
   uint64_t runWords : 24;   // the size of the runs
};

/// A word of a block: a row, or a run of rows.
class PrefixRowSlot {
 public:
   explicit constexpr PrefixRowSlot( uint64_t word ) noexcept : word_( word ) {}
   /// A run of rows. `at`: its index, counted in words from the first slot. `step`: the words of a row, 1 to 3.
   static constexpr PrefixRowSlot run( unsigned at, unsigned rows, unsigned step, bool isOnePrefix ) noexcept {
      return PrefixRowSlot( uint64_t( at ) << 32 | uint64_t( rows ) << 4 | uint64_t( isOnePrefix ) << 3 | step << 1 );
   }
   constexpr bool isRow() const noexcept { return word_ & PrefixRow::kIsRow; }
   constexpr uint64_t word() const noexcept { return word_; }
   constexpr PrefixRowSlot movedTo( unsigned at ) const noexcept {
      return PrefixRowSlot( uint64_t( at ) << 32 | static_cast<uint32_t>( word_ ) );
   }
   // The following is for runs; words() is 0 for a row.
   constexpr unsigned at() const noexcept { return static_cast<unsigned>( word_ >> 32 ); }
   constexpr unsigned rows() const noexcept { return word_ >> 4 & 0xFFF'FFFF; }
   constexpr bool isOnePrefix() const noexcept { return word_ & 8; }
   constexpr unsigned step() const noexcept { return word_ >> 1 & 3; }
   constexpr unsigned words() const noexcept { return isRow() ? 0 : rows() * step(); }

 private:
   uint64_t word_;
};

/// A node.
struct PrefixRowNode {
   using Bits128 = Ferule::Bits128;
   static constexpr unsigned kMostNear = 8;     // rows of a near child with several prefixes
   static constexpr unsigned kNearPlace = 64;   // a place names a slot: a bit of `inner`, or this plus the six bits of a near child
   static constexpr uint64_t kReaches = uint64_t( 1 ) << 63;   // in `inner`: not all inner rows admit the length of their own prefix only

   uint64_t inner = 0;
   uint64_t near = 0;
   uint64_t wide = 0;
   uint64_t * block = nullptr;   // the address of the header; null of a node without anything

   bool isEmpty() const noexcept { return block == nullptr; }
   bool isNear( unsigned v ) const noexcept { return near >> v & 1; }
   bool isWide( unsigned v ) const noexcept { return wide >> v & 1; }
   bool reaches() const noexcept { return inner & kReaches; }
   unsigned wideCount() const noexcept { return SixBits::count( wide ); }
   unsigned slotCount() const noexcept { return SixBits::count( near ) + SixBits::count( inner & ~kReaches ); }

   bool hasPlace( unsigned place ) const noexcept { return place < kNearPlace ? inner >> place & 1 : isNear( place - kNearPlace ); }
   unsigned slotIndex( unsigned place ) const noexcept {
      return place < kNearPlace ? SixBits::count( near ) + SixBits::rank( inner, place ) : SixBits::rank( near, place - kNearPlace );
   }

   // Of a node that is not empty.
   PrefixRowNode * children() const noexcept { return reinterpret_cast<PrefixRowNode *>( block ) - wideCount(); }
   PrefixRowNode & child( unsigned v ) const noexcept {
      return *( reinterpret_cast<PrefixRowNode *>( block ) - SixBits::count( wide >> v ) );
   }
   PrefixRowHeader & header() const noexcept { return *reinterpret_cast<PrefixRowHeader *>( block ); }
   uint64_t * slots() const noexcept { return block + 1; }
   uint64_t * runs() const noexcept { return slots() + slotCount(); }
   PrefixRowSlot slot( unsigned place ) const noexcept { return PrefixRowSlot( slots()[ slotIndex( place ) ] ); }
   void * memory() const noexcept { return children(); }
   size_t blockBytes() const noexcept {
      return wideCount() * sizeof( PrefixRowNode ) + sizeof( PrefixRowHeader ) + ( slotCount() + header().runWords ) * sizeof( uint64_t );
   }

   /// Calls `visit( row )` for each row of an inner prefix, until `visit` returns true.
   template <class Visit>
   void visitInner( unsigned place, Visit && visit ) const {
      const PrefixRowSlot s = slot( place );
      if( s.isRow() ) return void( visit( PrefixRow( s.word() ) ) );
      const uint64_t * row = slots() + s.at();
      for( const uint64_t * const end = row + s.rows(); row != end; ++row )
         if( visit( PrefixRow( *row ) ) ) return;
   }

   /// Calls `onRow( row, bits, length )` for each row of this block, with the bits and the length of its prefix, and `onWide( v, bits )` for
   /// each wide child; all in ascending order. `bits`: those in front of the node; `depth`: their number.
   template <class OnRow, class OnWide>
   void visitAll( Bits128 bits, unsigned depth, OnRow && onRow, OnWide && onWide ) const {
      for( unsigned v = 0; v < SixBits::kValues; ++v ) {
         const Bits128 here = bits ^ SixBits::placed( v, depth );
         for( unsigned r = 0; r < SixBits::kStride; ++r ) {
            const unsigned place = SixBits::innerBit( r, v );
            if( SixBits::innerValue( place ) == v && hasPlace( place ) ) visitPlace( place, bits, depth, onRow );
         }
         if( isNear( v ) ) visitPlace( kNearPlace + v, bits, depth, onRow );
         if( isWide( v ) ) onWide( v, here );
      }
   }
   /// The same for the rows of one place.
   template <class OnRow>
   void visitPlace( unsigned place, Bits128 bits, unsigned depth, OnRow && onRow ) const {
      if( place < kNearPlace ) {
         const Bits128 here = bits ^ SixBits::placed( SixBits::innerValue( place ), depth );
         visitInner( place, [ & ]( PrefixRow row ) {
            onRow( row, here, depth + SixBits::innerLength( place ) );
            return false;
         } );
         return;
      }
      const Bits128 here = bits ^ SixBits::placed( place - kNearPlace, depth );
      const auto visitShort = [ & ]( PrefixRow row ) {
         const uint64_t rest = PrefixRest::bits( row.note() );
         onRow( row.bare(), here ^ SixBits::behind( depth + SixBits::kStride, rest << ( 64 - PrefixRest::kMostBits ) ),
                depth + SixBits::kStride + PrefixRest::length( row.note() ) );
      };
      const PrefixRowSlot s = slot( place );
      if( s.isRow() ) return visitShort( PrefixRow( s.word() ) );
      const uint64_t * row = slots() + s.at();
      for( unsigned i = 0; i < s.rows(); ++i, row += s.step() )
         if( s.step() == 1 )
            visitShort( PrefixRow( *row ) );
         else
            onRow( PrefixRow( *row ).bare(), Bits128{ row[ 1 ], s.step() == 3 ? row[ 2 ] : 0 }, PrefixRow( *row ).note() );
   }
};
static_assert( sizeof( PrefixRowNode ) == 32 && sizeof( PrefixRowHeader ) == 8 );

/// A trie to be freed, but for the blocks that were born in generation `shared` or before.
struct ReleasedPrefixRows {
   PrefixRowNode root;
   uint64_t shared;
};

}   // namespace Routing::RouteMap
