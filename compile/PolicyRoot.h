/// @file compile/PolicyRoot.h
#pragma once

#include "compile/RouteMapSymbol.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::Policy {

/// The tables of all symbols of one agent. The machines of compilation and the agent look up names here, so that all references to a name
/// share one symbol. A route map and a peer filter of the same name have different symbols; so have the kinds of community list, and the
/// two families of prefix list. The constructor creates the tables, which are never replaced. An agent with further kinds of list derives a
/// root with further tables.
/// Ownership: the agent. Each symbol keeps its table alive. Threading: the activity thread.
class ROUTEPOLICY_API PolicyRoot : public Quoin::Node {
 public:
   PolicyRoot();
   ~PolicyRoot() override;

   // clang-format off
#define POLICY_ROOT_TABLE( foo, ... )                                                  \
 private:                                                                              \
   Quoin::Ptr<__VA_ARGS__> foo##_ = Quoin::makeNode<__VA_ARGS__>();                     \
                                                                                       \
 public:                                                                               \
   const Quoin::Ptr<__VA_ARGS__> & foo() const noexcept { return foo##_; }

   POLICY_ROOT_TABLE( routeMapTable, RouteMapSymbolDedupTable );
   POLICY_ROOT_TABLE( peerFilterTable, RouteMapSymbolDedupTable );
   POLICY_ROOT_TABLE( commListTable, Routing::RouteMap::CommListSymbolDedupTable );
   POLICY_ROOT_TABLE( extCommListTable, Routing::RouteMap::CommListSymbolDedupTable );
   POLICY_ROOT_TABLE( largeCommListTable, Routing::RouteMap::CommListSymbolDedupTable );
   POLICY_ROOT_TABLE( ipv4PrefixListTable, Routing::RouteMap::PrefixListSymbolDedupTable );
   POLICY_ROOT_TABLE( ipv6PrefixListTable, Routing::RouteMap::PrefixListSymbolDedupTable );
   POLICY_ROOT_TABLE( ipv4AclListTable, Routing::RouteMap::IpAccessListSymbolDedupTable );
   POLICY_ROOT_TABLE( asPathListTable, Routing::RouteMap::AsPathListSymbolDedupTable );
   POLICY_ROOT_TABLE( dynPrefixListTable, Routing::RouteMap::DynPrefixListSymbolDedupTable );
   POLICY_ROOT_TABLE( roaTableDedupTable, Routing::RouteMap::RoaTableSymbolDedupTable );
   POLICY_ROOT_TABLE( tunnelRibTable, Routing::RouteMap::TunnelRibSymbolDedupTable );
   POLICY_ROOT_TABLE( tagSetTable, Routing::RouteMap::TagSetSymbolDedupTable );
#undef POLICY_ROOT_TABLE
   // clang-format on
};

}   // namespace Routing::Policy
