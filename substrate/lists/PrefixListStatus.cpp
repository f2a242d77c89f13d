#include "substrate/lists/PrefixListStatus.h"

#include "substrate/plinth/Exception.h"

namespace Routing::RouteMap {

PrefixListStatus::PrefixListStatus( const Quoin::String & name, Ferule::AddressFamily af )
      : af_( af ), rows_( Quoin::makeNode<PrefixListRows>( af ) ), name_( name ) {}

PrefixListStatus::PrefixListStatus( const Quoin::String & name, const Quoin::Ptr<const PrefixListRows> & rows )
      : af_( rows ? rows->af() : Ferule::AddressFamily::unset ), rows_( rows ), name_( name ) {
   if( !rows ) Plinth::throwMutatorArgNullPointerException( "PrefixListStatus" );
}

PrefixListStatus::~PrefixListStatus() = default;

const PatriciaTrieWithNodeData & PrefixListStatus::trie() const {
   if( given_ ) return *given_;
   if( !made_.get() ) made_.replace( nullptr, Quoin::makeNode<const PatriciaTrieWithNodeData>( af_, rows_ ) );
   return *made_.get();
}

void PrefixListStatus::trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie ) {
   if( !trie ) Plinth::throwMutatorArgNullPointerException( "PrefixListStatus::trieIs" );
   rows_ = PrefixListRows::ofTrie( *trie );
   given_ = trie;
   givenVersion_ = trie->version();
   af_ = trie->af();
   seal_.changed();
}

size_t PrefixListStatus::bytes() const noexcept {
   const size_t trie =
      given_ ? sizeof *given_ + given_->bytes() + ( given_->source() ? 0 : given_->entryCount() * sizeof( PrefixListEntryData ) ) : 0;
   return sizeof *this + ( rows_ ? sizeof *rows_ + rows_->bytes() : 0 ) + trie;
}

}   // namespace Routing::RouteMap
