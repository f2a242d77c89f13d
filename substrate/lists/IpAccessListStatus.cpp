#include "substrate/lists/IpAccessListStatus.h"

#include "substrate/lists/AccessListRules.h"
#include "substrate/plinth/Exception.h"

namespace Routing::RouteMap {

AclEntryData::~AclEntryData() = default;

void addRule( PatriciaTrieWithNodeData & trie, const AclPrefixEntry & rule ) {
   const Ferule::IpGenPrefix leadingOnes( rule.source.address(), rule.source.leadingOnesOfMask() );
   trie.routeIs( leadingOnes.subnet(), Quoin::makeNode<AclEntryData>( rule ) );
}

IpAccessListStatus::IpAccessListStatus( const Quoin::String & name ) : name_( name ) {
   trieIs( Quoin::makeNode<PatriciaTrieWithNodeData>( Ferule::AddressFamily::ipv4, false ) );
}

IpAccessListStatus::IpAccessListStatus( const Quoin::String & name, const Quoin::Ptr<const AccessListRules> & rules,
                                        const Quoin::Ptr<PatriciaTrieHeir> & heir )
      : name_( name ), rules_( rules ), heir_( heir ) {
   if( !rules ) Plinth::throwMutatorArgNullPointerException( "IpAccessListStatus" );
}

IpAccessListStatus::~IpAccessListStatus() = default;

void IpAccessListStatus::trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie ) {
   if( !trie ) Plinth::throwMutatorArgNullPointerException( "IpAccessListStatus::trieIs" );
   trie_.store( trie.get(), std::memory_order_release );
   trieUse_ = trie;
   rules_ = nullptr;
   seal_.changed();
}

const PatriciaTrieWithNodeData & IpAccessListStatus::createTrie() const {
   std::call_once( created_, [ this ] {
      const auto trie = rules_->makeTrie();
      trie->heirIs( heir_ );
      trieUse_ = trie;
      trie_.store( trie.get(), std::memory_order_release );
   } );
   return *trie_.load( std::memory_order_acquire );
}

}   // namespace Routing::RouteMap
