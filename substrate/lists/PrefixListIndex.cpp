#include "substrate/lists/PrefixListIndex.h"

#include <algorithm>
#include <typeinfo>

namespace Routing::RouteMap {

namespace {

using Slot = PatriciaTrieWithNodeData::Slot;
constexpr Slot kNoSlot = PatriciaTrieWithNodeData::kNoSlot;

const PrefixListEntryData * headOf( const PatriciaTrieWithNodeData & trie, Slot slot ) {
   return static_cast<const PrefixListEntryData *>( trie.slotData( slot ) );
}

}   // namespace

std::unique_ptr<const PrefixListIndex> PrefixListIndex::make( const PatriciaTrieWithNodeData & trie ) {
   bool plain = true;
   trie.visitAll( [ & ]( Slot slot, Slot, unsigned ) {
      for( auto * entry = headOf( trie, slot ); entry; entry = entry->nextEntry() )
         plain &= typeid( *entry ) == typeid( PrefixListEntryData );
   } );
   return std::unique_ptr<const PrefixListIndex>( plain ? new PrefixListIndex( trie ) : nullptr );
}

PrefixListIndex::PrefixListIndex( const PatriciaTrieWithNodeData & trie ) : rows_( trie.slotCount() ), trieVersion_( trie.version() ) {
   // The bound over the entries of a slot and of all slots above it. The slots below use it.
   struct Bound {
      uint32_t seqno = ~uint32_t( 0 );
      uint8_t le = 0;
   };
   std::vector<Bound> bounds( trie.slotCount() );
   trie.visitAll( [ & ]( Slot slot, Slot parent, unsigned ) {
      const Bound above = parent == kNoSlot ? Bound{} : bounds[ parent ];
      Bound & bound = bounds[ slot ] = above;
      const PrefixListEntryData * head = headOf( trie, slot );
      for( auto * entry = head; entry; entry = entry->nextEntry() ) {
         bound.seqno = std::min( bound.seqno, entry->seqno() );
         bound.le = std::max( bound.le, uint8_t( entry->le() ) );
      }
      Row & row = rows_[ slot ];
      row.seqno = head->seqno();
      row.parent = parent;
      row.aboveSeqno = above.seqno;
      row.ge = uint8_t( head->ge() );
      row.le = uint8_t( head->le() );
      row.aboveLe = above.le;
      row.permit = head->PrefixListEntryData::isPrefixEntryPermit();
      row.chained = head->nextEntry();
   } );
}

PrefixListIndex::Answer PrefixListIndex::governing( const PatriciaTrieWithNodeData & trie,
                                                    const Ferule::IpGenPrefix & prefix ) const noexcept {
   const Slot slot = trie.longestMatch( prefix );
   return slot == kNoSlot ? Answer{} : climb( trie, slot, prefix.length() );
}

// Searches upwards. `slot` is the longest prefix of the list that contains the searched prefix, which has `length` bits.
PrefixListIndex::Answer PrefixListIndex::climb( const PatriciaTrieWithNodeData & trie, Slot slot, unsigned length ) const noexcept {
   Answer best;
   // Of entries with equal numbers, the entry with the shorter prefix governs, as in a walk that starts at the shortest prefix.
   auto offer = [ & ]( uint32_t seqno, bool permit ) {
      if( !best.found || seqno <= best.seqno ) best = { seqno, true, permit };
   };
   do {
      const Row & row = rows_[ slot ];
      if( row.chained ) [[unlikely]] {
         const PrefixListEntryData * entry = headOf( trie, slot );
         while( entry && ( length < entry->ge() || length > entry->le() ) ) entry = entry->nextEntry();
         if( entry ) offer( entry->seqno(), entry->PrefixListEntryData::isPrefixEntryPermit() );
      } else if( row.ge <= length && length <= row.le ) {
         offer( row.seqno, row.permit );
      }
      if( row.aboveLe < length || ( best.found && best.seqno < row.aboveSeqno ) ) break;
      slot = row.parent;
   } while( slot != kNoSlot );
   return best;
}

}   // namespace Routing::RouteMap
