#include "substrate/lists/PrefixListStatus.h"

#include "substrate/lists/PrefixListIndex.h"
#include "substrate/plinth/Exception.h"

namespace Routing::RouteMap {

PrefixListEntryData::~PrefixListEntryData() = default;

PrefixListStatus::PrefixListStatus( const Quoin::String & name, Ferule::AddressFamily af ) : af_( af ), name_( name ) {
   trieIs( Quoin::makeNode<PatriciaTrieWithNodeData>( af, false ) );
}

PrefixListStatus::~PrefixListStatus() = default;

void PrefixListStatus::trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie ) {
   if( !trie ) Plinth::throwMutatorArgNullPointerException( "PrefixListStatus::trieIs" );
   index_ = PrefixListIndex::make( *trie );
   trie_ = trie;
   af_ = trie->af();
}

const PrefixListIndex * PrefixListStatus::index() const noexcept {
   return index_ && index_->current( *trie_ ) ? index_.get() : nullptr;
}

size_t PrefixListStatus::bytes() const noexcept {
   size_t entries = 0;
   trie_->visitAll( [ & ]( PatriciaTrieWithNodeData::Slot slot, PatriciaTrieWithNodeData::Slot, unsigned ) {
      for( auto * entry = trie_->slotData( slot ); entry; entry = entry->next() ) ++entries;
   } );
   return sizeof *this + sizeof( PatriciaTrieWithNodeData ) + trie_->bytes() + ( index_ ? index_->bytes() : 0 ) +
      entries * sizeof( PrefixListEntryData );
}

}   // namespace Routing::RouteMap
