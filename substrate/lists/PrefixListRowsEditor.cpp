#include "substrate/lists/PrefixListRowsEditor.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <stdexcept>
#include <tuple>

#include "substrate/lists/PrefixRowLineage.h"
#include "substrate/lists/RetiredPrefixRows.h"
#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

namespace {

using Item = PrefixListRowsEditor::Item;
using SixBits::kStride;

constexpr unsigned kNearPlace = PrefixRowNode::kNearPlace;
constexpr unsigned kPlaces = kNearPlace + SixBits::kValues;
constexpr size_t kDeepest = 128 / kStride + 1;   // nodes on a path

void checkRunWords( size_t words ) {
   if( words > ( 1u << 24 ) - 1 ) throw std::length_error( "too many entries of a prefix list are in one node" );
}

unsigned placeOf( unsigned r, unsigned v ) {
   return r < kStride ? SixBits::innerBit( r, v ) : kNearPlace + v;
}

PrefixRowNode withPlace( PrefixRowNode node, unsigned place, bool has ) {
   uint64_t & bitmap = place < kNearPlace ? node.inner : node.near;
   const uint64_t bit = uint64_t( 1 ) << place % 64;
   bitmap = has ? bitmap | bit : bitmap & ~bit;
   return node;
}

PrefixRowNode withWide( PrefixRowNode node, unsigned v, bool has ) {
   const uint64_t bit = uint64_t( 1 ) << v;
   node.wide = has ? node.wide | bit : node.wide & ~bit;
   return node;
}

bool isSame( const Item & a, const Item & b ) {
   return a.length == b.length && a.bits == b.bits;
}

auto inOrder( const Item & item ) {
   return std::tuple( item.bits, item.length, item.row.seqno() );
}

// The words that a row of a run takes.
unsigned stepOf( std::span<const Item> items, unsigned place, unsigned depth ) {
   const auto isShort = [ = ]( const Item & item ) { return item.length <= depth + kStride + PrefixRest::kMostBits; };
   if( place < kNearPlace || std::ranges::all_of( items, isShort ) ) return 1;
   return std::ranges::all_of( items, []( const Item & item ) { return item.length <= 64; } ) ? 2 : 3;
}

// What the slot of a place has to be for these rows. If it is a run, its words are added to `runs`; it begins `at` words behind the first
// slot.
PrefixRowSlot encoded( std::span<const Item> items, unsigned place, unsigned depth, size_t at, std::vector<uint64_t> & runs ) {
   const unsigned step = stepOf( items, place, depth );
   const auto rowOf = [ & ]( const Item & item ) {
      if( step > 1 ) return item.row.with( item.length ).word();
      if( place < kNearPlace ) return item.row.bare().word();
      const uint64_t rest = SixBits::from( item.bits, depth + kStride ) >> ( 64 - PrefixRest::kMostBits );
      return item.row.with( PrefixRest::note( unsigned( rest ), item.length - depth - kStride ) ).word();
   };
   if( items.size() == 1 && step == 1 ) return PrefixRowSlot( rowOf( items.front() ) );
   for( const Item & item : items ) {
      runs.push_back( rowOf( item ) );
      if( step > 1 ) runs.push_back( item.bits.high );
      if( step > 2 ) runs.push_back( item.bits.low );
   }
   return PrefixRowSlot::run( unsigned( at ), unsigned( items.size() ), step, isSame( items.front(), items.back() ) );
}

// Whether a row of an inner prefix may admit a length other than that of its prefix.
bool reaches( const PrefixRowNode & node, unsigned depth ) {
   bool does = false;
   for( uint64_t left = node.inner & ~PrefixRowNode::kReaches; left && !does; left &= left - 1 ) {
      const auto place = static_cast<unsigned>( std::countr_zero( left ) );
      const unsigned length = depth + SixBits::innerLength( place );
      node.visitInner( place, [ & ]( PrefixRow row ) { return does = row.ge() != length || row.le() != length; } );
   }
   return does;
}

// The index of the first run of the slots from `slot` on.
unsigned runIndex( const PrefixRowNode & node, unsigned slot ) {
   const unsigned count = node.slotCount();
   for( ; slot < count; ++slot )
      if( const PrefixRowSlot s( node.slots()[ slot ] ); !s.isRow() ) return s.at() - count;
   return node.isEmpty() ? 0 : node.header().runWords;
}

size_t rowCount( const PrefixRowNode & node ) {
   size_t rows = 0;
   for( const uint64_t word : std::span( node.slots(), node.slotCount() ) )
      rows += PrefixRowSlot( word ).isRow() ? 1 : PrefixRowSlot( word ).rows();
   return rows;
}

bool hasOnePrefix( const PrefixRowNode & node ) {
   if( node.wide || node.slotCount() != 1 ) return false;
   const PrefixRowSlot slot( *node.slots() );
   return slot.isRow() || slot.isOnePrefix();
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

// A block of the present generation, and room to retire another one. Its elements are still to be written.
uint64_t * PrefixListRowsEditor::allocate( unsigned children, unsigned slots, unsigned runWords ) {
   retired_.reserve( 1 );
   const size_t bytes = children * sizeof( Node ) + sizeof( PrefixRowHeader ) + ( slots + runWords ) * sizeof( uint64_t );
   auto * const header = reinterpret_cast<uint64_t *>( static_cast<Node *>( ::operator new( bytes ) ) + children );
   new( header ) PrefixRowHeader{ generation_, runWords };
   counts_.bytes += bytes;
   return header;
}

// The heap joins few freed blocks at a time: see RetiredPrefixRows::joinFreed().
void PrefixListRowsEditor::freeBlock( void * memory ) noexcept {
   ::operator delete( memory );
   if( ++freedBlocks_ % kFreedTogether == 0 ) RetiredPrefixRows::joinFreed();
}

// The present rows no longer have the block of the node.
void PrefixListRowsEditor::retire( const Node & node ) noexcept {
   if( node.isEmpty() ) return;
   counts_.bytes -= node.blockBytes();
   if( node.header().birth == generation_ )
      freeBlock( node.memory() );
   else
      retired_.add( { node.memory(), node.header().birth } );
}

void PrefixListRowsEditor::replace( Node & node, const Node & next ) noexcept {
   retire( node );
   node = next;
}

// Makes the block of a node one that may be written.
void PrefixListRowsEditor::makeWritable( Node & node ) {
   if( node.header().birth != generation_ ) splice( node, node, {}, {}, {} );
}

// Moves the node to a new block for these bitmaps. Copies all elements, but leaves out `out` of them and leaves a gap of `in` at each splice.
// The caller fills the gaps.
void PrefixListRowsEditor::splice( Node & node, const Node & bitmaps, Splice children, Splice slots, Splice runs ) {
   const auto copy = []( const auto * from, unsigned count, const Splice & change, auto * to ) {
      std::copy_n( from, change.at, to );
      std::copy( from + change.at + change.out, from + count, to + change.at + change.in );
   };
   const unsigned hadWords = node.isEmpty() ? 0 : unsigned( node.header().runWords );
   const size_t words = size_t( hadWords ) - runs.out + runs.in;
   checkRunWords( words );
   if( bitmaps.wideCount() == 0 && bitmaps.slotCount() == 0 ) return replace( node, {} );
   const unsigned had = node.slotCount(), has = bitmaps.slotCount();
   Node next = bitmaps;
   next.block = allocate( next.wideCount(), has, unsigned( words ) );
   if( !node.isEmpty() ) {
      copy( node.children(), node.wideCount(), children, next.children() );
      copy( node.slots(), had, slots, next.slots() );
      copy( node.runs(), hadWords, runs, next.runs() );
      for( unsigned i = 0; i < has; ++i ) {
         const PrefixRowSlot s( next.slots()[ i ] );
         if( ( i >= slots.at && i < slots.at + slots.in ) || s.isRow() ) continue;
         const unsigned at = s.at() - had;
         next.slots()[ i ] = s.movedTo( has + ( at < runs.at ? at : at - runs.out + runs.in ) ).word();
      }
   }
   replace( node, next );
}

// Gives a place of the node these rows; none: the place goes. `bitmaps`: those of the node afterwards. `children`: the wide child that comes
// or goes with it.
void PrefixListRowsEditor::slotIs( Node & node, const Node & bitmaps, Splice children, unsigned place, unsigned depth,
                                   const Items & items ) {
   const unsigned index = node.slotIndex( place );
   const bool had = node.hasPlace( place ), has = bitmaps.hasPlace( place );
   const unsigned run = runIndex( node, index );
   std::vector<uint64_t> words;
   PrefixRowSlot slot( PrefixRow::kIsRow );
   if( has ) slot = encoded( items, place, depth, bitmaps.slotCount() + run, words );
   splice( node, bitmaps, children, { index, had, has }, { run, had ? node.slot( place ).words() : 0, unsigned( words.size() ) } );
   if( has ) {
      node.slots()[ index ] = slot.word();
      std::ranges::copy( words, node.runs() + run );
   }
   if( place < kNearPlace ) node.inner = ( node.inner & ~Node::kReaches ) | ( reaches( node, depth ) ? Node::kReaches : 0 );
}

// ---- the rows of a place

// `bits`: an address below the node.
PrefixListRowsEditor::Items PrefixListRowsEditor::itemsOf( const Node & node, unsigned place, unsigned depth, Bits128 bits ) {
   Items items;
   if( node.hasPlace( place ) )
      node.visitPlace( place, bits & Bits128::leadingOnes( depth ), depth, [ & ]( PrefixRow row, Bits128 at, unsigned length ) {
         items.push_back( { at, length, row } );
      } );
   return items;
}

void PrefixListRowsEditor::placeIs( Node & node, unsigned place, unsigned depth, const Items & items ) {
   if( place >= kNearPlace && items.size() > Node::kMostNear && !isSame( items.front(), items.back() ) )
      widen( node, place - kNearPlace, depth, items );
   else
      slotIs( node, withPlace( node, place, !items.empty() ), {}, place, depth, items );
}

// Makes a near child a wide one with these rows.
void PrefixListRowsEditor::widen( Node & node, unsigned v, unsigned depth, const Items & items ) {
   Node child;
   try {
      build( child, 0, items.size(), depth + kStride, [ & ]( size_t i ) { return items[ i ]; } );
      const Node bitmaps = withWide( withPlace( node, kNearPlace + v, false ), v, true );
      slotIs( node, bitmaps, { SixBits::rank( node.wide, v ), 0, 1 }, kNearPlace + v, depth, {} );
   } catch( ... ) {
      deleteTrie( child );
      throw;
   }
   node.child( v ) = child;
}

// Makes a wide child a near one if it has few rows; false if it has more. There is room to retire a block.
bool PrefixListRowsEditor::narrow( Node & node, unsigned v, unsigned depth, Bits128 bits ) {
   const Node child = node.child( v );
   Items items;
   if( !child.isEmpty() ) {
      if( child.wide || ( rowCount( child ) > Node::kMostNear && !hasOnePrefix( child ) ) ) return false;
      child.visitAll(
         bits & Bits128::leadingOnes( depth + kStride ), depth + kStride,
         [ & ]( PrefixRow row, Bits128 at, unsigned length ) {
            items.push_back( { at, length, row } );
         },
         []( unsigned, Bits128 ) {} );
   }
   const Node bitmaps = withWide( withPlace( node, kNearPlace + v, !items.empty() ), v, false );
   slotIs( node, bitmaps, { SixBits::rank( node.wide, v ), 1, 0 }, kNearPlace + v, depth, items );
   retire( child );
   return true;
}

// ---- edits

void PrefixListRowsEditor::rowIs( const Item & item ) {
   Node * node = &root_;
   unsigned depth = 0, v = SixBits::at( item.bits, 0 );
   for( ; item.length - depth >= kStride && node->isWide( v ); v = SixBits::at( item.bits, depth ) ) {
      makeWritable( *node );
      node = &node->child( v );
      depth += kStride;
   }
   const unsigned place = placeOf( item.length - depth, v );
   Items items = itemsOf( *node, place, depth, item.bits );
   const bool isNew = std::ranges::none_of( items, [ & ]( const Item & other ) { return isSame( item, other ); } );
   items.insert( std::ranges::upper_bound( items, inOrder( item ), {}, inOrder ), item );
   placeIs( *node, place, depth, items );
   counts_.prefixes += isNew;
   ++counts_.entries;
}

bool PrefixListRowsEditor::rowDel( const Item & item ) {
   const Bits128 bits = item.bits;
   const unsigned length = item.length;
   const Node * found = &root_;
   unsigned depth = 0, v = SixBits::at( bits, 0 );
   for( ; length - depth >= kStride && found->isWide( v ); v = SixBits::at( bits, depth ) ) {
      found = &found->child( v );
      depth += kStride;
   }
   const unsigned place = placeOf( length - depth, v );
   Items items = itemsOf( *found, place, depth, bits );
   const auto row = std::ranges::find( items, item );
   if( row == items.end() ) return false;
   items.erase( row );

   retired_.reserve( 3 * kDeepest );
   std::array<Node *, kDeepest> path;   // the nodes above
   Node * node = &root_;
   for( unsigned above = 0; above < depth; above += kStride ) {
      makeWritable( *node );
      path[ above / kStride ] = node;
      node = &node->child( SixBits::at( bits, above ) );
   }
   placeIs( *node, place, depth, items );
   counts_.prefixes -= std::ranges::none_of( items, [ & ]( const Item & other ) { return isSame( item, other ); } );
   --counts_.entries;
   try {
      for( ; depth != 0; depth -= kStride ) {
         const unsigned above = depth - kStride;
         if( !narrow( *path[ above / kStride ], SixBits::at( bits, above ), above, bits ) ) break;
      }
   } catch( const std::exception & ) {}   // the rows are right; only the trie is larger than it need be
   return true;
}

// ---- all rows at once

void PrefixListRowsEditor::rowsAre( size_t count, const std::function<Item( size_t )> & item ) {
   QUOIN_ASSERT( root_.isEmpty(), "root_.isEmpty()" );
   if( count == 0 ) return;
   try {
      counts_.prefixes = build( root_, 0, count, 0, item );
   } catch( ... ) {
      deleteTrie( root_ );
      throw;
   }
   counts_.entries = count;
}

void PrefixListRowsEditor::deleteTrie( Node & node ) noexcept {
   if( !node.isEmpty() )
      for( unsigned i = 0; i < node.wideCount(); ++i ) deleteTrie( node.children()[ i ] );
   replace( node, {} );
}

// Makes an empty node the trie of the rows `from` to `to` - 1, which agree in their first `depth` bits. Returns the number of prefixes.
size_t PrefixListRowsEditor::build( Node & node, size_t from, size_t to, unsigned depth, const std::function<Item( size_t )> & item ) {
   struct Run {
      size_t from = 0, to = 0;
   };
   std::array<Run, kPlaces> slots;
   std::array<Run, SixBits::kValues> children;
   Node bitmaps;
   for( size_t i = from; i < to; ) {
      const Item head = item( i );
      const unsigned v = SixBits::at( head.bits, depth );
      const unsigned place = placeOf( std::min( head.length - depth, kStride ), v );
      size_t end = i + 1;
      for( size_t beyond = to; end < beyond; ) {
         const size_t middle = ( end + beyond ) / 2;
         const Item other = item( middle );
         if( place < kNearPlace ? isSame( head, other ) : SixBits::at( other.bits, depth ) == v )
            end = middle + 1;
         else
            beyond = middle;
      }
      if( place < kNearPlace || end - i <= Node::kMostNear || isSame( head, item( end - 1 ) ) ) {
         bitmaps = withPlace( bitmaps, place, true );
         slots[ place ] = { i, end };
      } else {
         bitmaps = withWide( bitmaps, v, true );
         children[ v ] = { i, end };
      }
      i = end;
   }

   size_t prefixes = 0;
   std::vector<uint64_t> slotWords, runs;
   Items items;
   for( unsigned n = 0; n < kPlaces; ++n ) {
      const unsigned place = ( n + kNearPlace ) % kPlaces;   // near children stand first
      const auto [ begin, end ] = slots[ place ];
      if( begin == end ) continue;
      items.clear();
      for( size_t i = begin; i < end; ++i ) {
         items.push_back( item( i ) );
         prefixes += i == begin || !isSame( items[ items.size() - 2 ], items.back() );
      }
      slotWords.push_back( encoded( items, place, depth, bitmaps.slotCount() + runs.size(), runs ).word() );
   }
   checkRunWords( runs.size() );
   splice( node, bitmaps, { 0, 0, bitmaps.wideCount() }, { 0, 0, bitmaps.slotCount() }, { 0, 0, unsigned( runs.size() ) } );
   std::fill_n( node.children(), node.wideCount(), Node{} );
   std::ranges::copy( slotWords, node.slots() );
   std::ranges::copy( runs, node.runs() );
   if( reaches( node, depth ) ) node.inner |= Node::kReaches;
   Node * child = node.children();
   for( const auto & [ begin, end ] : children )
      if( begin != end ) prefixes += build( *child++, begin, end, depth + kStride, item );
   return prefixes;
}

}   // namespace Routing::RouteMap
