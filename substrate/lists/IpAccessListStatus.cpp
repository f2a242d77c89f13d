#include "substrate/lists/IpAccessListStatus.h"

#include "substrate/plinth/Exception.h"

namespace Routing::RouteMap {

AclEntryData::~AclEntryData() = default;

IpAccessListStatus::IpAccessListStatus( const Quoin::String & name )
      : name_( name ), trie_( Quoin::makeNode<PatriciaTrieWithNodeData>( Ferule::AddressFamily::ipv4, false ) ) {}

IpAccessListStatus::~IpAccessListStatus() = default;

void IpAccessListStatus::trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie ) {
   if( !trie ) Plinth::throwMutatorArgNullPointerException( "IpAccessListStatus::trieIs" );
   trie_ = trie;
}

}   // namespace Routing::RouteMap
