/// @file policy/MatchInput.h
/// A route as an agent describes it to policy: matchers read it during an evaluation. An agent may derive a class that computes fields on
/// demand: matchers read the route through the virtual getters, and read only the three switches at the end directly. The plan of a route
/// map calls a getter at most once (getOwnKeys() may be called several times), and may call one whose field no visited sequence tests.
/// Threading: a plain value. One evaluation reads it at a time, unless the getters of a derived class are thread-safe.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>

#include "policy/ResolvedNexthopInfoSet.h"
#include "routepolicy_export.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/routing/RouteTypes.h"
#include "substrate/zeugma/MaybeU63.h"

namespace Routing::Policy {

/// The input of an evaluation: one route.
class ROUTEPOLICY_API MatchInput_ {
 public:
   virtual ~MatchInput_();
   virtual Zeugma::MaybeU63 getMetric() const { return metric_; }
   virtual RouteProto getProtocol() const { return protocol_; }
   /// Valid until the input changes.
   virtual const Ferule::IpGenPrefix * getPrefixPointer() const { return &prefix_; }
   virtual Ferule::IpGenAddr getNexthop() const { return nexthop_; }
   virtual Ferule::IpAddr getRouterId() const { return routerId_; }
   /// A reference, so that reading it changes no reference count. It must stay valid during the evaluation.
   virtual const Quoin::Ptr<const ResolvedNexthopInfoSet> & getResolvedNexthopInfoSet() const { return resolvedNexthopInfoSet_; }
   virtual RouteTag getTag() const { return tag_; }
   virtual uint32_t getOspfInstance() const { return ospfInstance_; }
   virtual uint32_t getIsisInstance() const { return isisInstance_; }
   /// What the route has for matchers of the agent, as MatchKey::own() tells it: communities, for instance. Each once, in any order. Plans may
   /// read it several times in an evaluation. Valid until the input changes.
   virtual std::span<const uint64_t> getOwnKeys() const { return {}; }

   friend ROUTEPOLICY_API bool operator==( const MatchInput_ & a, const MatchInput_ & b );
   static bool isEq( const void * a, const void * b ) {
      return *static_cast<const MatchInput_ *>( a ) == *static_cast<const MatchInput_ *>( b );
   }
   /// Whether the value differs from a default-constructed one.
   explicit operator bool() const;
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const MatchInput_ & input );

   /// Lower is better; absent if the route has no metric.
   PLINTH_VALUE( metric, metricIs, {}, Zeugma::MaybeU63 );
   /// The protocol that the route comes from.
   PLINTH_VALUE( protocol, protocolIs, {}, RouteProto );
   /// The destination of the route. Every value is allowed; IpGenPrefix::isCanonical() tells whether a prefix has bits after its length,
   /// and subnet() clears these bits. Prefix lists ignore them: 10.0.0.1/8 matches as 10.0.0.0/8. So do the rules of access lists whose
   /// source is a prefix; any other rule compares all bits of the address under its mask.
   PLINTH_VALUE( prefix, prefixIs, {}, Ferule::IpGenPrefix );
   /// The next hop of the route, before resolution.
   PLINTH_VALUE( nexthop, nexthopIs, {}, Ferule::IpGenAddr );
   /// The router that originated the route.
   PLINTH_VALUE( routerId, routerIdIs, {}, Ferule::IpAddr );
   PLINTH_VALUE( tag, tagIs, {}, RouteTag );
   /// The interfaces and addresses that the next hop resolves to; null if unknown.
   PLINTH_VALUE( resolvedNexthopInfoSet, resolvedNexthopInfoSetIs, {}, Quoin::Ptr<const ResolvedNexthopInfoSet> );
   PLINTH_VALUE( ospfInstance, ospfInstanceIs, {}, uint32_t );
   PLINTH_VALUE( isisInstance, isisInstanceIs, {}, uint32_t );
   /// Whether the agent resolves interfaces. If not, every interface matches.
   PLINTH_VALUE( matchInterface, matchInterfaceIs, {}, bool );
   /// Whether the agent resolves next hops. If not, every resolved next hop matches.
   PLINTH_VALUE( matchResolvedNexthopInfo, matchResolvedNexthopInfoIs, {}, bool );
   /// Whether no resolved next hop matches. Takes priority over matchResolvedNexthopInfo.
   PLINTH_VALUE( denyResolvedNexthop, denyResolvedNexthopIs, {}, bool );
};

}   // namespace Routing::Policy
