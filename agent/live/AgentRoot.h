/// @file agent/live/AgentRoot.h
#pragma once

#include "compile/PolicyRoot.h"

namespace Agent {

/// The tables of symbols of this agent: the library's, and one for IPv6 access lists. Threading: the activity thread.
class AgentRoot final : public Routing::Policy::PolicyRoot {
 public:
   using AccessListTable = Routing::RouteMap::IpAccessListSymbolDedupTable;
   const Quoin::Ptr<AccessListTable> & ipv6AclListTable() const noexcept { return ipv6AclListTable_; }

 private:
   const Quoin::Ptr<AccessListTable> ipv6AclListTable_ = Quoin::makeNode<AccessListTable>();
};

}   // namespace Agent
