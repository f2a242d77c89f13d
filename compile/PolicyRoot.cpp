#include "compile/PolicyRoot.h"

namespace Routing::Policy {

PolicyRoot::PolicyRoot() {
   handleInitialized();
}

PolicyRoot::~PolicyRoot() = default;

void PolicyRoot::handleInitialized() {
   const auto make = []<class Table>( Quoin::Ptr<Table> & table ) { table = Quoin::makeNode<Table>(); };
   make( routeMapTable_ );
   make( peerFilterTable_ );
   make( commListTable_ );
   make( extCommListTable_ );
   make( largeCommListTable_ );
   make( ipv4AclListTable_ );
   make( ipv4PrefixListTable_ );
   make( ipv6PrefixListTable_ );
   make( asPathListTable_ );
   make( dynPrefixListTable_ );
   make( roaTableDedupTable_ );
   make( tunnelRibTable_ );
   make( tagSetTable_ );
}

}   // namespace Routing::Policy
