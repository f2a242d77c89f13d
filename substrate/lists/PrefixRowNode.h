/// @file substrate/lists/PrefixRowNode.h
/// The nodes of the trie of PrefixListRows, and the blocks that hold them.
///
/// A node is one of these:
///    inner node   three bitmaps (see substrate/routing/SixBits.h; `child` marks the six bits below which the trie goes on), and a block:
///                 the nodes of the children, a header, the first row of each prefix that ends here, and the further rows of these
///                 prefixes. The index of a child or a first row is the number of one bits in front of its bit.
///    lone row     a subtree with one prefix, which has one row: the prefix and the row itself
///    lone rows    a subtree with one prefix, which has several rows: the prefix, and a block of a header and the rows
///
/// The rows of a prefix are in the order in which a look-up tries them. The trie of a given set of rows has one form only, unless memory was
/// short during an edit; look-ups do not depend on it. Threading: a block that several generations share is not written.
#pragma once

#include <cstddef>
#include <cstdint>

#include "substrate/lists/PrefixRow.h"
#include "substrate/routing/SixBits.h"

namespace Routing::RouteMap {

/// The part of a block in front of its rows.
struct PrefixRowHeader {
   uint64_t birth : 40;     // the generation that the block was made in
   uint64_t further : 24;   // the number of further rows; in a block of lone rows, of all rows
};

/// A node of one of the three kinds.
struct PrefixRowNode {
   using Bits128 = Ferule::Bits128;
   static constexpr unsigned kFullPlace = 64;   // the place of a prefix of six bits; see place()
   static constexpr uint64_t kLoneRows = 2;     // in `tail`, beside the address of a block

   // Of a lone node, the first three are the address and the length of the prefix.
   uint64_t inner = 0;
   uint64_t full = 0;
   uint64_t child = 0;
   uint64_t tail = 0;   // a row, or the address of the block; 0 of a node without anything

   static PrefixRowNode lone( Bits128 bits, unsigned length, uint64_t tail ) noexcept { return { bits.high, bits.low, length, tail }; }
   bool isLone() const noexcept { return tail & ( PrefixRow::kIsRow | kLoneRows ); }
   bool hasBlock() const noexcept { return tail != 0 && !( tail & PrefixRow::kIsRow ); }
   bool isEmpty() const noexcept { return tail == 0; }

   Bits128 loneBits() const noexcept { return { inner, full }; }
   unsigned loneLength() const noexcept { return static_cast<unsigned>( child ); }

   unsigned childCount() const noexcept { return isLone() ? 0 : SixBits::count( child ); }
   unsigned firstCount() const noexcept { return isLone() ? 0 : SixBits::count( inner ) + SixBits::count( full ); }
   unsigned childIndex( unsigned v ) const noexcept { return SixBits::rank( child, v ); }
   bool hasChild( unsigned v ) const noexcept { return child >> v & 1; }

   /// The place of the prefix whose last bits in this node are the first `r` of the six bits `v`.
   static constexpr unsigned place( unsigned r, unsigned v ) noexcept {
      return r == SixBits::kStride ? kFullPlace + v : SixBits::innerBit( r, v );
   }
   bool hasPlace( unsigned place ) const noexcept { return ( place < kFullPlace ? inner >> place : full >> ( place - kFullPlace ) ) & 1; }
   unsigned rowIndex( unsigned place ) const noexcept {
      return place < kFullPlace ? SixBits::rank( inner, place ) : SixBits::count( inner ) + SixBits::rank( full, place - kFullPlace );
   }

   // Of a node with a block.
   PrefixRowNode * children() const noexcept { return reinterpret_cast<PrefixRowNode *>( tail & ~kLoneRows ); }
   PrefixRowHeader & header() const noexcept { return *reinterpret_cast<PrefixRowHeader *>( children() + childCount() ); }
   PrefixRow * rows() const noexcept { return reinterpret_cast<PrefixRow *>( &header() + 1 ); }
   PrefixRow * furtherRows() const noexcept { return rows() + firstCount(); }
   unsigned rowCount() const noexcept { return firstCount() + static_cast<unsigned>( header().further ); }
   size_t blockBytes() const noexcept {
      return childCount() * sizeof( PrefixRowNode ) + sizeof( PrefixRowHeader ) + rowCount() * sizeof( PrefixRow );
   }

   /// The index in furtherRows() of the first row of `place`, or of where it would stand.
   unsigned furtherIndex( unsigned place ) const noexcept {
      unsigned low = 0, high = static_cast<unsigned>( header().further );
      while( low < high ) {
         const unsigned middle = ( low + high ) / 2;
         if( furtherRows()[ middle ].place() < place )
            low = middle + 1;
         else
            high = middle;
      }
      return low;
   }

   /// Calls `visit( row )` for each row of a prefix that ends in this node, until `visit` returns true.
   template <class Visit>
   void visitRows( unsigned place, Visit && visit ) const {
      const PrefixRow first = rows()[ rowIndex( place ) ];
      if( visit( first ) || !first.hasMore() ) return;
      const PrefixRow * const end = furtherRows() + header().further;
      for( const PrefixRow * row = furtherRows() + furtherIndex( place ); row != end && row->place() == place; ++row )
         if( visit( *row ) ) return;
   }
   /// The same for the rows of a lone node.
   template <class Visit>
   void visitLoneRows( Visit && visit ) const {
      if( !hasBlock() ) return void( visit( PrefixRow( tail ) ) );
      for( const PrefixRow * row = rows(); row != rows() + header().further; ++row )
         if( visit( *row ) ) return;
   }
};
static_assert( sizeof( PrefixRowNode ) == 32 && sizeof( PrefixRowHeader ) == 8 );

}   // namespace Routing::RouteMap
