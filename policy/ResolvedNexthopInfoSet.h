/// @file policy/ResolvedNexthopInfoSet.h
/// Where the next hop of a route resolves to. Agents fill it; matchers read it.
/// Threading: any number of readers, or one writer.
#pragma once

#include "routepolicy_export.h"
#include "substrate/ferule/IntfId.h"
#include "substrate/ferule/IpAddr.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/Node.h"

namespace Routing::Policy {

class ROUTEPOLICY_API ResolvedNexthopInfoSet : public Quoin::Node {
 public:
   using Interfaces = Plinth::HashSet2018<Ferule::IntfId>;
   using Nexthops = Plinth::RbTreeMap<Ferule::IpGenAddr, bool>;
   ~ResolvedNexthopInfoSet() override;

   /// The interfaces. Writers return false, and do nothing, when nothing changes.
   const Interfaces & intfId() const noexcept { return intfId_; }
   bool intfIdIs( Ferule::IntfId intf ) { return intfId_.put( intf ); }
   bool intfIdDel( Ferule::IntfId intf ) { return intfId_.erase( intf ); }
   void intfIdDelAll() { intfId_.clear(); }

   /// The addresses, in ascending order. The flag is the agent's own.
   const Nexthops & resolvedNexthop() const noexcept { return resolvedNexthop_; }
   bool resolvedNexthopIs( Ferule::IpGenAddr address, bool flag ) { return resolvedNexthop_.put( address, flag ); }
   bool resolvedNexthopDel( Ferule::IpGenAddr address ) { return resolvedNexthop_.erase( address ); }
   void resolvedNexthopDelAll() { resolvedNexthop_.clear(); }

 private:
   Interfaces intfId_;
   Nexthops resolvedNexthop_;
};

}   // namespace Routing::Policy
