#include "substrate/lists/PrefixListRowsEditor.h"

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>

#include "substrate/lists/PrefixRowLineage.h"
#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

using SixBits::kStride;

constexpr unsigned kMostFurther = ( 1u << 24 ) - 1;
constexpr size_t kDeepest = 128 / kStride + 1;   // nodes on a path

[[noreturn]] void throwTooMany() {
   throw std::length_error( "more than 16777215 entries of a prefix list are at one prefix" );
}

unsigned furtherCount( const PrefixRowNode & node ) {
   return node.hasBlock() ? static_cast<unsigned>( node.header().further ) : 0;
}

PrefixRowNode withPlace( PrefixRowNode node, unsigned place, bool has ) {
   uint64_t & bitmap = place < PrefixRowNode::kFullPlace ? node.inner : node.full;
   const uint64_t bit = uint64_t( 1 ) << place % 64;
   bitmap = has ? bitmap | bit : bitmap & ~bit;
   return node;
}

PrefixRowNode withChild( PrefixRowNode node, unsigned v, bool has ) {
   const uint64_t bit = uint64_t( 1 ) << v;
   node.child = has ? node.child | bit : node.child & ~bit;
   return node;
}

bool isSame( const PrefixListRowsEditor::Item & a, const PrefixListRowsEditor::Item & b ) {
   return a.length == b.length && a.bits == b.bits;
}

}   // namespace

PrefixListRowsEditor::PrefixListRowsEditor( Ferule::AddressFamily af ) : af_( af ), lineage_( Quoin::makeNode<PrefixRowLineage>() ) {}

PrefixListRowsEditor::~PrefixListRowsEditor() {
   lineage_->editorDel( root_, counts_.bytes, retired_ );
}

Quoin::Ptr<const PrefixListRows> PrefixListRowsEditor::publish() {
   const auto rows = Quoin::makeNode<PrefixListRows>( af_, root_, counts_, generation_, lineage_, retired_ );
   ++generation_;
   return rows;
}

// ---- blocks

// Room for `n` calls of retire().
void PrefixListRowsEditor::reserve( size_t n ) {
   if( retired_.capacity() - retired_.size() < n ) retired_.reserve( 2 * retired_.size() + n );
}

// A block of the present generation, and room to retire another one.
PrefixListRowsEditor::Node * PrefixListRowsEditor::allocate( unsigned children, unsigned rows, unsigned further ) {
   reserve( 1 );
   const size_t bytes = children * sizeof( Node ) + sizeof( PrefixRowHeader ) + ( rows + further ) * sizeof( PrefixRow );
   auto * const block = static_cast<Node *>( ::operator new( bytes ) );
   new( block + children ) PrefixRowHeader{ generation_, further };
   counts_.bytes += bytes;
   return block;
}

// The present rows no longer have the block of the node.
void PrefixListRowsEditor::retire( const Node & node ) noexcept {
   if( !node.hasBlock() ) return;
   counts_.bytes -= node.blockBytes();
   if( node.header().birth == generation_ )
      ::operator delete( node.children() );
   else
      retired_.push_back( { node.children(), node.header().birth } );
}

void PrefixListRowsEditor::blockIs( Node & node, Node next, const Node * block ) noexcept {
   next.tail |= reinterpret_cast<uint64_t>( block );
   retire( node );
   node = next;
}

// Makes the block of a node one that may be written.
void PrefixListRowsEditor::own( Node & node ) {
   if( !node.hasBlock() || node.header().birth == generation_ ) return;
   Node next = node;
   next.tail &= Node::kLoneRows;
   Node * const block = allocate( node.childCount(), node.firstCount(), furtherCount( node ) );
   std::copy_n( node.children(), node.childCount(), block );
   std::copy_n( node.rows(), node.rowCount(), reinterpret_cast<PrefixRow *>( block + node.childCount() ) + 1 );
   blockIs( node, next, block );
}

// Gives an inner node these bitmaps, and a block with the elements of the present one but for those that go; those that come are not set.
void PrefixListRowsEditor::splice( Node & node, const Node & bitmaps, Splice children, Splice rows, Splice further ) {
   const auto copy = []( const auto * from, unsigned count, const Splice & change, auto * to ) {
      std::copy_n( from, change.at, to );
      std::copy( from + change.at + change.out, from + count, to + change.at + change.in );
   };
   Node next{ bitmaps.inner, bitmaps.full, bitmaps.child, 0 };
   const unsigned hadFurther = furtherCount( node ), nowFurther = hadFurther - further.out + further.in;
   if( nowFurther > kMostFurther ) throwTooMany();
   if( next.childCount() == 0 && next.firstCount() == 0 ) return blockIs( node, {}, nullptr );
   Node * const block = allocate( next.childCount(), next.firstCount(), nowFurther );
   auto * const newRows = reinterpret_cast<PrefixRow *>( block + next.childCount() ) + 1;
   if( node.hasBlock() ) {
      copy( node.children(), node.childCount(), children, block );
      copy( node.rows(), node.firstCount(), rows, newRows );
      copy( node.furtherRows(), hadFurther, further, newRows + next.firstCount() );
   }
   blockIs( node, next, block );
}

// ---- inner nodes

void PrefixListRowsEditor::addChild( Node & node, unsigned v, const Node & child ) {
   splice( node, withChild( node, v, true ), { node.childIndex( v ), 0, 1 }, {}, {} );
   node.children()[ node.childIndex( v ) ] = child;
}

void PrefixListRowsEditor::delChild( Node & node, unsigned v ) {
   splice( node, withChild( node, v, false ), { node.childIndex( v ), 1, 0 }, {}, {} );
}

void PrefixListRowsEditor::addRow( Node & node, unsigned place, PrefixRow row ) {
   const unsigned index = node.rowIndex( place );
   if( !node.hasPlace( place ) ) {
      splice( node, withPlace( node, place, true ), {}, { index, 0, 1 }, {} );
      node.rows()[ index ] = row.bare();
      return;
   }
   PrefixRow first = node.rows()[ index ];
   unsigned further = node.furtherIndex( place );
   if( row.seqno() < first.seqno() )
      std::swap( row, first );
   else
      while( further < furtherCount( node ) && node.furtherRows()[ further ].place() == place &&
             node.furtherRows()[ further ].seqno() < row.seqno() )
         ++further;
   splice( node, node, {}, {}, { further, 0, 1 } );
   node.rows()[ index ] = first.bare().withMore( true );
   node.furtherRows()[ further ] = row.bare().at( place );
}

void PrefixListRowsEditor::delRow( Node & node, unsigned place, uint32_t seqno ) {
   const unsigned index = node.rowIndex( place );
   PrefixRow first = node.rows()[ index ];
   if( !first.hasMore() ) return splice( node, withPlace( node, place, false ), {}, { index, 1, 0 }, {} );
   unsigned further = node.furtherIndex( place );
   if( first.seqno() == seqno )
      first = node.furtherRows()[ further ];
   else
      while( node.furtherRows()[ further ].seqno() != seqno ) ++further;
   splice( node, node, {}, {}, { further, 1, 0 } );
   const unsigned left = node.furtherIndex( place );
   const bool hasMore = left < furtherCount( node ) && node.furtherRows()[ left ].place() == place;
   node.rows()[ index ] = first.bare().withMore( hasMore );
}

// ---- lone nodes

// Gives a lone node these rows, of which there is at least one.
void PrefixListRowsEditor::loneRowsAre( Node & node, const std::vector<PrefixRow> & rows ) {
   if( rows.size() == 1 ) return blockIs( node, Node::lone( node.loneBits(), node.loneLength(), rows.front().bare().word() ), nullptr );
   if( rows.size() > kMostFurther ) throwTooMany();
   Node * const block = allocate( 0, 0, static_cast<unsigned>( rows.size() ) );
   std::ranges::transform( rows, reinterpret_cast<PrefixRow *>( block ) + 1, &PrefixRow::bare );
   blockIs( node, Node::lone( node.loneBits(), node.loneLength(), Node::kLoneRows ), block );
}

std::vector<PrefixRow> PrefixListRowsEditor::loneRows( const Node & node ) {
   std::vector<PrefixRow> rows;
   node.visitLoneRows( [ & ]( const PrefixRow & row ) {
      rows.push_back( row );
      return false;
   } );
   return rows;
}

void PrefixListRowsEditor::addLoneRow( Node & node, const PrefixRow & row ) {
   auto rows = loneRows( node );
   rows.insert( std::ranges::upper_bound( rows, row.seqno(), {}, &PrefixRow::seqno ), row );
   loneRowsAre( node, rows );
}

void PrefixListRowsEditor::delLoneRow( Node & node, uint32_t seqno ) {
   auto rows = loneRows( node );
   std::erase_if( rows, [ = ]( const PrefixRow & row ) { return row.seqno() == seqno; } );
   if( rows.empty() ) return blockIs( node, {}, nullptr );
   loneRowsAre( node, rows );
}

// Makes a lone node an inner node of the same prefix.
void PrefixListRowsEditor::expand( Node & node, unsigned depth ) {
   Node inner;
   const unsigned v = SixBits::at( node.loneBits(), depth );
   const unsigned left = node.loneLength() - depth;
   if( left > kStride ) {
      addChild( inner, v, node );
      node = inner;
      return;
   }
   const auto rows = loneRows( node );
   addRowsOf( inner, Node::place( left, v ), rows );
   retire( node );
   node = inner;
}

// Gives an inner node all rows of a place that it does not have yet.
void PrefixListRowsEditor::addRowsOf( Node & node, unsigned place, const std::vector<PrefixRow> & rows ) {
   reserve( 2 );
   const auto further = static_cast<unsigned>( rows.size() - 1 );
   const unsigned index = node.rowIndex( place ), at = node.hasBlock() ? node.furtherIndex( place ) : 0;
   splice( node, withPlace( node, place, true ), {}, { index, 0, 1 }, { at, 0, further } );
   node.rows()[ index ] = rows.front().bare().withMore( further != 0 );
   for( unsigned i = 0; i < further; ++i ) node.furtherRows()[ at + i ] = rows[ i + 1 ].bare().at( place );
}

// ---- edits

void PrefixListRowsEditor::rowIs( const Item & item ) {
   const auto [ bits, length, row ] = item;
   Node * node = &root_;
   unsigned depth = 0;
   for( ;; depth += kStride ) {
      if( node->isEmpty() ) {
         *node = Node::lone( bits, length, row.bare().word() );
         ++counts_.prefixes;
         break;
      }
      if( node->isLone() && node->loneLength() == length && node->loneBits() == bits ) {
         addLoneRow( *node, row );
         break;
      }
      if( node->isLone() ) expand( *node, depth );
      const unsigned v = SixBits::at( bits, depth );
      const unsigned left = length - depth;
      if( left <= kStride ) {
         const unsigned place = Node::place( left, v );
         const bool isNew = !node->hasPlace( place );
         addRow( *node, place, row );
         counts_.prefixes += isNew;
         break;
      }
      if( !node->hasChild( v ) ) {
         addChild( *node, v, Node::lone( bits, length, row.bare().word() ) );
         ++counts_.prefixes;
         break;
      }
      own( *node );
      node = node->children() + node->childIndex( v );
   }
   ++counts_.entries;
}

bool PrefixListRowsEditor::hasRow( Bits128 bits, unsigned length, uint32_t seqno ) const {
   bool has = false;
   const auto look = [ & ]( const PrefixRow & row ) { return has = row.seqno() == seqno; };
   const Node * node = &root_;
   for( unsigned depth = 0;; depth += kStride ) {
      if( node->isEmpty() ) return false;
      if( node->isLone() ) {
         if( node->loneLength() == length && node->loneBits() == bits ) node->visitLoneRows( look );
         return has;
      }
      const unsigned v = SixBits::at( bits, depth );
      const unsigned left = length - depth;
      if( left <= kStride ) {
         const unsigned place = Node::place( left, v );
         if( node->hasPlace( place ) ) node->visitRows( place, look );
         return has;
      }
      if( !node->hasChild( v ) ) return false;
      node = node->children() + node->childIndex( v );
   }
}

bool PrefixListRowsEditor::rowDel( Bits128 bits, unsigned length, uint32_t seqno ) {
   if( !hasRow( bits, length, seqno ) ) return false;
   reserve( 4 * kDeepest );
   std::array<Node *, kDeepest> path;   // the inner nodes above the one that has the prefix
   size_t steps = 0;
   Node * node = &root_;
   unsigned depth = 0;
   for( ; !node->isLone() && length - depth > kStride; depth += kStride ) {
      own( *node );
      path[ steps++ ] = node;
      node = node->children() + node->childIndex( SixBits::at( bits, depth ) );
   }
   if( node->isLone() ) {
      delLoneRow( *node, seqno );
      counts_.prefixes -= node->isEmpty();
   } else {
      const unsigned place = Node::place( length - depth, SixBits::at( bits, depth ) );
      delRow( *node, place, seqno );
      counts_.prefixes -= !node->hasPlace( place );
   }
   --counts_.entries;
   try {
      tidy( *node, depth, bits );
      for( ; steps != 0; --steps ) {
         depth -= kStride;
         Node & above = *path[ steps - 1 ];
         const unsigned v = SixBits::at( bits, depth );
         if( above.children()[ above.childIndex( v ) ].isEmpty() ) delChild( above, v );
         tidy( above, depth, bits );
      }
   } catch( const std::bad_alloc & ) {}   // the rows are right; some nodes are more than there need be
   return true;
}

// Makes an inner node a lone one if it has one prefix only. `bits`: an address below the node.
void PrefixListRowsEditor::tidy( Node & node, unsigned depth, Bits128 bits ) {
   if( node.isEmpty() || node.isLone() ) return;
   if( node.childCount() == 0 && node.firstCount() == 1 ) {
      const bool isFull = node.full != 0;
      const auto bit = static_cast<unsigned>( std::countr_zero( isFull ? node.full : node.inner ) );
      const unsigned v = isFull ? bit : SixBits::innerValue( bit );
      std::vector<PrefixRow> rows;
      node.visitRows( isFull ? Node::kFullPlace + bit : bit, [ & ]( const PrefixRow & row ) {
         rows.push_back( row );
         return false;
      } );
      Node lone = Node::lone( ( bits & Bits128::leadingOnes( depth ) ) ^ SixBits::placed( v, depth ),
                              depth + ( isFull ? kStride : SixBits::innerLength( bit ) ), PrefixRow::kIsRow );
      loneRowsAre( lone, rows );
      retire( node );
      node = lone;
   } else if( node.firstCount() == 0 && node.childCount() == 1 && node.children()->isLone() ) {
      const Node child = *node.children();
      retire( node );
      node = child;
   }
}

// ---- all rows at once

void PrefixListRowsEditor::rowsAre( size_t count, const std::function<Item( size_t )> & item ) {
   QUOIN_ASSERT( root_.isEmpty(), "root_.isEmpty()" );
   if( count == 0 ) return;
   try {
      build( root_, 0, count, 0, item );
   } catch( ... ) {
      drop( root_ );
      counts_ = {};
      throw;
   }
   counts_.entries = count;
}

void PrefixListRowsEditor::drop( Node & node ) noexcept {
   if( node.hasBlock() )
      for( unsigned i = 0; i < node.childCount(); ++i ) drop( node.children()[ i ] );
   blockIs( node, {}, nullptr );
}

// Makes an empty node the trie of the rows `from` to `to` - 1, which agree in their first `depth` bits.
void PrefixListRowsEditor::build( Node & node, size_t from, size_t to, unsigned depth, const std::function<Item( size_t )> & item ) {
   struct Run {
      size_t from = 0, to = 0;
   };
   const Item first = item( from );
   if( isSame( first, item( to - 1 ) ) ) {
      std::vector<PrefixRow> rows;
      for( size_t i = from; i < to; ++i ) rows.push_back( item( i ).row );
      Node lone = Node::lone( first.bits, first.length, PrefixRow::kIsRow );
      loneRowsAre( lone, rows );
      node = lone;
      ++counts_.prefixes;
      return;
   }
   std::array<Run, 2 * SixBits::kValues> rows;   // by place
   std::array<Run, SixBits::kValues> children;
   Node bitmaps;
   unsigned further = 0;
   for( size_t i = from; i < to; ) {
      const Item head = item( i );
      const unsigned v = SixBits::at( head.bits, depth );
      size_t end = i + 1;
      if( head.length - depth <= kStride ) {
         while( end < to && isSame( head, item( end ) ) ) ++end;
         const unsigned place = Node::place( head.length - depth, v );
         bitmaps = withPlace( bitmaps, place, true );
         rows[ place ] = { i, end };
         further += static_cast<unsigned>( end - i - 1 );
      } else {
         for( size_t beyond = to; end < beyond; ) {
            const size_t middle = ( end + beyond ) / 2;
            if( SixBits::at( item( middle ).bits, depth ) == v )
               end = middle + 1;
            else
               beyond = middle;
         }
         bitmaps = withChild( bitmaps, v, true );
         children[ v ] = { i, end };
      }
      i = end;
   }
   splice( node, bitmaps, { 0, 0, bitmaps.childCount() }, { 0, 0, bitmaps.firstCount() }, { 0, 0, further } );
   std::fill_n( node.children(), node.childCount(), Node{} );
   counts_.prefixes += node.firstCount();
   PrefixRow * row = node.rows();
   PrefixRow * more = node.furtherRows();
   for( unsigned place = 0; place < rows.size(); ++place ) {
      const auto [ begin, end ] = rows[ place ];
      if( begin == end ) continue;
      *row++ = item( begin ).row.bare().withMore( end - begin > 1 );
      for( size_t i = begin + 1; i < end; ++i ) *more++ = item( i ).row.bare().at( place );
   }
   Node * child = node.children();
   for( const auto & [ begin, end ] : children )
      if( begin != end ) build( *child++, begin, end, depth + kStride, item );
}

}   // namespace Routing::RouteMap
