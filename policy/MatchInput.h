/// @file policy/MatchInput.h
/// A route as an agent describes it to policy. Agents derive from it to compute a field late: matchers read the route through
/// the virtual getters, and directly no more than the switches. Threading: a plain value; one evaluation reads it at a time, unless
/// its getters stand more.
#pragma once

#include <iosfwd>

#include "policy/ResolvedNexthopInfoSet.h"
#include "routepolicy_export.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/routing/RouteTypes.h"
#include "substrate/zeugma/MaybeU63.h"

namespace Routing::Policy {

class ROUTEPOLICY_API MatchInput_ {
 public:
   virtual ~MatchInput_();
   virtual Zeugma::MaybeU63 getMetric() const { return metric_; }
   virtual RouteProto getProtocol() const { return protocol_; }
   /// Good for as long as the input stands unchanged.
   virtual const Ferule::IpGenPrefix * getPrefixPointer() const { return &prefix_; }
   virtual Ferule::IpGenAddr getNexthop() const { return nexthop_; }
   virtual Ferule::IpAddr getRouterId() const { return routerId_; }
   /// A reference, so that a look costs no count; it stays good for the evaluation.
   virtual const Quoin::Ptr<const ResolvedNexthopInfoSet> & getResolvedNexthopInfoSet() const { return resolvedNexthopInfoSet_; }
   virtual RouteTag getTag() const { return tag_; }
   virtual uint32_t getOspfInstance() const { return ospfInstance_; }
   virtual uint32_t getIsisInstance() const { return isisInstance_; }

   friend ROUTEPOLICY_API bool operator==( const MatchInput_ & a, const MatchInput_ & b );
   static bool isEq( const void * a, const void * b ) {
      return *static_cast<const MatchInput_ *>( a ) == *static_cast<const MatchInput_ *>( b );
   }
   /// True when the value differs from a default-built one.
   explicit operator bool() const;
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const MatchInput_ & input );

   /// Lower is better; absent when the route has none.
   PLINTH_VALUE( metric, metricIs, {}, Zeugma::MaybeU63 );
   /// Where the route comes from.
   PLINTH_VALUE( protocol, protocolIs, {}, RouteProto );
   /// What the route leads to.
   PLINTH_VALUE( prefix, prefixIs, {}, Ferule::IpGenPrefix );
   PLINTH_VALUE( nexthop, nexthopIs, {}, Ferule::IpGenAddr );
   /// The router that originated the route.
   PLINTH_VALUE( routerId, routerIdIs, {}, Ferule::IpAddr );
   PLINTH_VALUE( tag, tagIs, {}, RouteTag );
   /// Where the next hop resolves to; null when the agent does not know.
   PLINTH_VALUE( resolvedNexthopInfoSet, resolvedNexthopInfoSetIs, {}, Quoin::Ptr<const ResolvedNexthopInfoSet> );
   PLINTH_VALUE( ospfInstance, ospfInstanceIs, {}, uint32_t );
   PLINTH_VALUE( isisInstance, isisInstanceIs, {}, uint32_t );
   /// The agent resolves interfaces: without it, every interface matches.
   PLINTH_VALUE( matchInterface, matchInterfaceIs, {}, bool );
   /// The agent resolves next hops: without it, every resolved next hop matches.
   PLINTH_VALUE( matchResolvedNexthopInfo, matchResolvedNexthopInfoIs, {}, bool );
   /// No resolved next hop matches. Wins over matchResolvedNexthopInfo.
   PLINTH_VALUE( denyResolvedNexthop, denyResolvedNexthopIs, {}, bool );
};

}   // namespace Routing::Policy
