/// @file agent/live/AgentRoot.h
#pragma once

#include "compile/PolicyRoot.h"
#include "live/Step.h"

namespace Agent {

/// The tables of symbols of this agent: the library's, one for IPv6 access lists, and one for steps. Threading: the activity thread.
class AgentRoot final : public Routing::Policy::PolicyRoot {
 public:
   using AccessListTable = Routing::RouteMap::IpAccessListSymbolDedupTable;
   const Quoin::Ptr<AccessListTable> & ipv6AclListTable() const noexcept { return ipv6AclListTable_; }
   const Quoin::Ptr<StepTable> & stepTable() const noexcept { return stepTable_; }

 private:
   const Quoin::Ptr<AccessListTable> ipv6AclListTable_ = Quoin::makeNode<AccessListTable>();
   const Quoin::Ptr<StepTable> stepTable_ = Quoin::makeNode<StepTable>();
};

}   // namespace Agent
