/// @file compile/PolicyRoot.h
#pragma once

#include "compile/RouteMapSymbol.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::Policy {

/// The tables in which the symbols of one agent live, so that all who refer to one name share one symbol.
/// A route map and a peer filter of one name are different symbols; so are the kinds of community list, and the two families of prefix
/// list. The tables are made here and never replaced.
/// An agent with further kinds of list derives a root that has their tables too.
/// Ownership: the agent's; each symbol keeps its table alive. Threading: the activity thread.
class ROUTEPOLICY_API PolicyRoot : public Quoin::Node {
 public:
   PolicyRoot();
   ~PolicyRoot() override;

   // clang-format off
#define POLICY_ROOT_TABLE( foo, ... )                                                  \
 private:                                                                              \
   Quoin::Ptr<__VA_ARGS__> foo##_;                                                     \
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

 private:
   void handleInitialized();
};

}   // namespace Routing::Policy
