#include "substrate/lists/PrefixListRows.h"

#include <algorithm>
#include <array>
#include <typeinfo>
#include <utility>

#include "substrate/lists/PrefixListEntryData.h"
#include "substrate/lists/PrefixListRowsEditor.h"
#include "substrate/lists/PrefixRowLineage.h"

namespace Routing::RouteMap {

namespace {

using Ferule::Bits128;
using SixBits::kStride;

// The row with the lowest number so far.
class Best {
 public:
   // Of equal numbers, the row of the shorter prefix stays. No branch: which row it is cannot be predicted.
   void offerIf( bool fits, PrefixRow row ) noexcept {
      const uint64_t number = row.seqno() | ( uint64_t( fits ) - 1 );
      const bool isLower = number < number_;
      number_ = isLower ? number : number_;
      row_ = isLower ? row.word() : row_;
   }
   void offer( PrefixRow row ) noexcept { offerIf( true, row ); }
   PrefixListRows::Answer answer() const noexcept {
      if( number_ == kNone ) return {};
      return { static_cast<uint32_t>( number_ ), true, PrefixRow( row_ ).permit() };
   }

 private:
   static constexpr uint64_t kNone = uint64_t( 1 ) << 32;   // above all numbers
   uint64_t number_ = kNone;
   uint64_t row_ = 0;
};

// Visits the rows of a near child whose prefixes contain `prefix`; see descend(). `rest`: the bits of the prefix from `depth` on.
template <class Visit>
inline void visitNear( const PrefixRowNode & node, unsigned v, unsigned depth, const Ferule::IpGenPrefix & prefix, uint64_t rest,
                       Visit && visit ) {
   const PrefixRowSlot slot = node.slot( PrefixRowNode::kNearPlace + v );
   const PrefixRest::Search search( rest, prefix.length() - depth );
   const auto visitShort = [ & ]( PrefixRow row ) {
      return search.finds( row.note() ) && visit( row, depth + PrefixRest::length( row.note() ) );
   };
   const auto visitLong = [ & ]( const uint64_t * words ) {
      const PrefixRow row( *words );
      const Bits128 bits{ words[ 1 ], slot.step() == 3 ? words[ 2 ] : 0 };
      return row.note() <= prefix.length() && SixBits::samePrefix( bits, prefix.ipGenAddr().bits(), row.note() ) &&
         visit( row, row.note() );
   };
   if( slot.isRow() ) return void( visitShort( PrefixRow( slot.word() ) ) );
   const uint64_t * row = node.slots() + slot.at();
   const uint64_t * const end = row + slot.words();
   for( ; row != end; row += slot.step() )
      if( ( slot.step() == 1 ? visitShort( PrefixRow( *row ) ) : visitLong( row ) ) && slot.isOnePrefix() ) return;
}

// Offers those of `rows` rows of `step` words that `fits` tells, four at once. The last row may be offered several times.
template <unsigned step, class Fits>
inline void offerRun( const uint64_t * row, unsigned rows, Best & best, Fits fits ) {
   for( unsigned i = 0; i < rows; i += 4 )
      for( unsigned k = i; k < i + 4; ++k ) {
         const uint64_t * const words = row + size_t( step ) * std::min( k, rows - 1 );
         best.offerIf( fits( words ), PrefixRow( *words ) );
      }
}

// Offers the rows of a near child whose prefixes contain `prefix`, and that admit its length; see visitNear(). Where there are few prefixes,
// all are compared, without a branch on the result.
inline void offerNear( const PrefixRowNode & node, unsigned v, unsigned depth, const Ferule::IpGenPrefix & prefix, uint64_t rest,
                       Best & best ) {
   const uint64_t * const first = node.slots() + SixBits::rank( node.near, v );
   const PrefixRowSlot slot( *first );
   const unsigned length = prefix.length();
   const PrefixRest::Search search( rest, length - depth );
   const auto fitsShort = [ & ]( const uint64_t * words ) {
      return both( search.finds( PrefixRow( *words ).note() ), PrefixRow( *words ).admits( length ) );
   };
   if( slot.isRow() ) return best.offerIf( fitsShort( first ), PrefixRow( *first ) );
   const uint64_t * const run = node.slots() + slot.at();
   if( slot.isOnePrefix() || slot.step() == 3 )
      return visitNear( node, v, depth, prefix, rest, [ & ]( const PrefixRow & row, unsigned ) {
         if( !row.admits( length ) ) return false;
         best.offer( row );
         return true;
      } );
   if( slot.step() == 1 ) return offerRun<1>( run, slot.rows(), best, fitsShort );
   const uint64_t address = prefix.ipGenAddr().bits().high;
   offerRun<2>( run, slot.rows(), best, [ & ]( const uint64_t * words ) {
      const unsigned bits = PrefixRow( *words ).note();   // those of a prefix: 6 to 64
      return both( both( bits <= length, ( words[ 1 ] ^ address ) >> ( 64 - bits ) == 0 ), PrefixRow( *words ).admits( length ) );
   } );
}

}   // namespace

PrefixListRows::PrefixListRows( Ferule::AddressFamily af ) : af_( af ) {}

PrefixListRows::PrefixListRows( Ferule::AddressFamily af, const PrefixRowNode & root, const Counts & counts, uint64_t generation,
                                const Quoin::Ptr<PrefixRowLineage> & lineage, RetiredBlocks & retired )
      : root_( root ),
        af_( af ),
        prefixCount_( counts.prefixes ),
        entryCount_( counts.entries ),
        bytes_( counts.bytes ),
        generation_( generation ),
        lineage_( lineage ) {
   lineage->generationIs( *this, retired );
}

PrefixListRows::~PrefixListRows() {
   if( lineage_ ) lineage_->generationDel( *this );
}

// Calls `visit( row, length )` for the rows of the prefixes that contain `prefix`, the shortest prefix first. If `visit` returns true,
// further rows of this prefix may be left out. Unless `anyBounds`, rows that do not admit the length may be left out, too.
template <bool anyBounds, class Visit, class VisitNear>
inline void PrefixListRows::descend( const Ferule::IpGenPrefix & prefix, Visit && visit, VisitNear && visitNearRows ) const {
   const unsigned length = prefix.length();
   const PrefixRowNode * node = &root_;
   Bits128 rest = prefix.ipGenAddr().bits();   // the bits from `depth` on
   for( unsigned depth = 0;; depth += kStride ) {
      const auto v = static_cast<unsigned>( rest.high >> ( 64 - kStride ) );
      const unsigned left = length - depth;
      uint64_t hits = node->inner & SixBits::kInnerPath[ v ];
      if( left < kStride ) hits &= SixBits::innerUpTo( left );
      if( !anyBounds && !node->reaches() ) hits &= left < kStride ? uint64_t( 1 ) << SixBits::innerBit( left, v ) : 0;
      for( ; hits; hits &= hits - 1 ) {
         const auto place = static_cast<unsigned>( std::countr_zero( hits ) );
         node->visitInner( place, [ & ]( const PrefixRow & row ) { return visit( row, depth + SixBits::innerLength( place ) ); } );
      }
      if( left < kStride ) return;
      rest = SixBits::after( rest );
      if( node->isNear( v ) ) return visitNearRows( *node, v, depth + kStride, rest.high );
      if( !node->isWide( v ) ) return;
      node = &node->child( v );
   }
}

template <bool anyBounds, class Visit>
inline void PrefixListRows::descend( const Ferule::IpGenPrefix & prefix, Visit && visit ) const {
   descend<anyBounds>( prefix, visit, [ & ]( const PrefixRowNode & node, unsigned v, unsigned depth, uint64_t rest ) {
      visitNear( node, v, depth, prefix, rest, visit );
   } );
}

PrefixListRows::Answer PrefixListRows::governing( const Ferule::IpGenPrefix & prefix ) const noexcept {
   Best best;
   const unsigned length = prefix.length();
   descend<false>(
      prefix,
      [ & ]( const PrefixRow & row, unsigned ) {
         if( !row.admits( length ) ) return false;
         best.offer( row );
         return true;
      },
      [ & ]( const PrefixRowNode & node, unsigned v, unsigned depth, uint64_t rest ) { offerNear( node, v, depth, prefix, rest, best ); } );
   return best.answer();
}

PrefixListRows::Answer PrefixListRows::governing( const Ferule::IpGenPrefix & prefix, uint32_t from ) const noexcept {
   Best best;
   const unsigned length = prefix.length();
   descend<false>( prefix, [ & ]( const PrefixRow & row, unsigned ) {
      if( row.seqno() < from || !row.admits( length ) ) return false;
      best.offer( row );
      return true;
   } );
   return best.answer();
}

PrefixListRows::Answer PrefixListRows::covering( const Ferule::IpGenPrefix & prefix ) const noexcept {
   Best best;
   descend<true>( prefix, [ & ]( const PrefixRow & row, unsigned ) {
      best.offer( row );
      return true;
   } );
   return best.answer();
}

// The prefixes go down one node in turn. The memory of a node has arrived when its prefix has its next turn. Few branches depend on the
// prefix: those of the look-up itself mislead the processor often enough.
void PrefixListRows::prefetch( std::span<const Ferule::IpGenPrefix * const> prefixes ) const noexcept {
   struct Descent {
      const PrefixRowNode * node;
      Bits128 rest;    // the bits of the prefix that the nodes in front have not read
      unsigned left;   // their number
   };
   std::array<Descent, kMostPrefetched> descents;
   struct Near {
      const uint64_t * slots;
      unsigned index;
   };
   std::array<Near, kMostPrefetched + 1> near;
   size_t going = 0, ended = 0;
   for( const auto * const prefix : prefixes.first( std::min( prefixes.size(), kMostPrefetched ) ) )
      if( prefix->af() == af_ ) descents[ going++ ] = { &root_, prefix->ipGenAddr().bits(), prefix->length() };
   while( going != 0 ) {
      const size_t count = std::exchange( going, 0 );
      for( size_t i = 0; i < count; ++i ) {
         const auto [ node, rest, left ] = descents[ i ];
         if( node->isEmpty() ) continue;
         const auto v = static_cast<unsigned>( rest.high >> ( 64 - kStride ) );
         const unsigned goesOn = left >= kStride;
         const uint64_t * const slots = node->slots();
         const PrefixRowNode & child = node->child( v );
         near[ ended ] = { slots, SixBits::rank( node->near, v ) };
         __builtin_prefetch( slots + near[ ended ].index );
         ended += goesOn & unsigned( node->isNear( v ) );
         __builtin_prefetch( slots + SixBits::count( node->near ) );
         __builtin_prefetch( &child );
         descents[ going ] = { &child, SixBits::after( rest ), left - kStride };
         going += goesOn & unsigned( node->isWide( v ) );
      }
   }
   asm volatile( "" );   // otherwise the compiler sees a function without an effect, and removes its calls
   for( size_t i = 0; i < ended; ++i ) {
      const PrefixRowSlot slot( near[ i ].slots[ near[ i ].index ] );
      if( !slot.isRow() ) __builtin_prefetch( near[ i ].slots + slot.at() );
   }
}

void PrefixListRows::ancestorWalk( const Ferule::IpGenPrefix & prefix, PatriciaTrieWalkCb * walker ) const {
   std::vector<std::pair<PrefixRow, unsigned>> rows;
   descend<true>( prefix, [ & ]( const PrefixRow & row, unsigned length ) {
      rows.emplace_back( row, length );
      return false;
   } );
   for( auto next = rows.begin(); next != rows.end(); ) {
      const unsigned length = next->second;
      const auto first = next;
      next = std::find_if( first, rows.end(), [ = ]( const auto & row ) { return row.second != length; } );
      Quoin::Ptr<const PrefixData> chain;
      for( auto at = next; at != first; ) {
         const PrefixRow & row = ( --at )->first;
         const auto action = row.permit() ? Acl::MatchPermit::permit : Acl::MatchPermit::deny;
         chain = chained( Quoin::makeNode<PrefixListEntryData>( row.seqno(), action, uint8_t( length ), row.ge(), row.le() ), chain );
      }
      if( !walker->handlePrefixData( Ferule::IpGenPrefix( prefix.ipGenAddr(), uint8_t( length ) ).subnet(), chain.get() ) ) return;
   }
}

Quoin::Ptr<const PrefixListRows> PrefixListRows::ofTrie( const PatriciaTrieWithNodeData & trie ) {
   if( trie.source() ) return Quoin::Ptr( dynamic_cast<const PrefixListRows *>( trie.source().get() ) );
   bool isPlain = true;   // and in the order of a list that was built
   std::vector<PrefixListRowsEditor::Item> items;
   items.reserve( trie.entryCount() );
   trie.visitAll( [ & ]( const Ferule::IpGenPrefix & prefix, const PrefixData * head ) {
      uint32_t lowest = 0;
      for( auto * entry = static_cast<const PrefixListEntryData *>( head ); entry; entry = entry->nextEntry() ) {
         isPlain &=
            typeid( *entry ) == typeid( PrefixListEntryData ) && entry->prefixLength() == prefix.length() && entry->seqno() >= lowest;
         lowest = entry->seqno();
         items.push_back( { prefix.ipGenAddr().bits(), prefix.length(),
                            PrefixRow( entry->seqno(), entry->PrefixListEntryData::isPrefixEntryPermit(), uint8_t( entry->ge() ),
                                       uint8_t( entry->le() ) ) } );
      }
   } );
   if( !isPlain ) return nullptr;
   PrefixListRowsEditor editor( trie.af() );
   editor.rowsAre( items.size(), [ & ]( size_t i ) { return items[ i ]; } );
   return editor.publish();
}

}   // namespace Routing::RouteMap
