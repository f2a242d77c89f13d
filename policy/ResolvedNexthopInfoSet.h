/// @file policy/ResolvedNexthopInfoSet.h
/// The interfaces and addresses that the next hop of a route resolves to. Agents write it into a MatchInput_; matchers read it.
/// Threading: any number of readers, or one writer.
#pragma once

#include "routepolicy_export.h"
#include "substrate/ferule/IntfId.h"
#include "substrate/ferule/IpAddr.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/Node.h"

namespace Routing::Policy {

/// The resolution of one next hop.
class ROUTEPOLICY_API ResolvedNexthopInfoSet : public Quoin::Node {
 public:
   using Interfaces = Plinth::HashSet2018<Ferule::IntfId>;
   using Nexthops = Plinth::RbTreeMap<Ferule::IpGenAddr, bool>;
   ~ResolvedNexthopInfoSet() override;

   /// The interfaces. Writers return whether the set has changed.
   const Interfaces & intfId() const noexcept { return intfId_; }
   bool intfIdIs( Ferule::IntfId intf ) { return intfId_.put( intf ); }
   bool intfIdDel( Ferule::IntfId intf ) { return intfId_.erase( intf ); }
   void intfIdDelAll() { intfId_.clear(); }

   /// The addresses, in ascending order. The meaning of the flag is up to the agent. Writers return whether the map has changed.
   const Nexthops & resolvedNexthop() const noexcept { return resolvedNexthop_; }
   bool resolvedNexthopIs( Ferule::IpGenAddr address, bool flag ) { return resolvedNexthop_.put( address, flag ); }
   bool resolvedNexthopDel( Ferule::IpGenAddr address ) { return resolvedNexthop_.erase( address ); }
   void resolvedNexthopDelAll() { resolvedNexthop_.clear(); }

 private:
   Interfaces intfId_;
   Nexthops resolvedNexthop_;
};

}   // namespace Routing::Policy
