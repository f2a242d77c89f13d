/// @file policy/RouteMapSeqStatus.h
/// One sequence of a compiled route map: what evaluation reads of it.
/// Ownership: route maps, snapshots and logs share it; it shares its matchers, setters and sub route map.
/// Threading: compilation writes it before it is published; from then on it is read only, by any number of threads.
#pragma once

#include "policy/Matcher.h"
#include "policy/PolicyTypes.h"
#include "policy/Setter.h"
#include "routepolicy_export.h"
#include "substrate/acl/MatchPermit.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/zeugma/BaseNotifyingType.h"
#include "substrate/zeugma/DumpContext.h"

namespace Routing::Policy {

class RouteMapStatus;

class ROUTEPOLICY_API RouteMapSeqStatus final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { matcher, subRouteMap, aggRoleAttrMap, setter, continueSeq, subInvert, matchAction };
   // Most sequences have one of each: it stands in the object, a pointer less to follow.
   using Matchers = Plinth::RbTreeMap<MatchOption, Quoin::Ptr<const Matcher>, 1>;
   using Setters = Plinth::RbTreeMap<SetOption, Quoin::Ptr<const Setter>, 1>;

   explicit RouteMapSeqStatus( uint32_t seqno );
   ~RouteMapSeqStatus() override;

   /// A new sequence of that number with the other attributes of `src`; of a null, with the defaults.
   static Quoin::Ptr<RouteMapSeqStatus> newFrom( const Quoin::Ptr<const RouteMapSeqStatus> & src, uint32_t seqno );
   void clone( const Zeugma::BaseNotifyingType & source ) override;

   /// The key in the route map; the lowest is tried first.
   uint32_t seqno() const noexcept { return seqno_; }

   /// Called behind the matchers; null for none.
   const Quoin::Ptr<const RouteMapStatus> & subRouteMap() const noexcept { return subRouteMap_.value; }
   void subRouteMapIs( Quoin::Ptr<const RouteMapStatus> map );   // out of line, as below: the type is not known here
   const RouteMapStatus * subRouteMapRawPtr() const noexcept { return subRouteMap_.value.get(); }
   /// Applied to aggregates elsewhere; evaluation does not read it.
   const Quoin::Ptr<const RouteMapStatus> & aggRoleAttrMap() const noexcept { return aggRoleAttrMap_.value; }
   void aggRoleAttrMapIs( Quoin::Ptr<const RouteMapStatus> map );
   const RouteMapStatus * aggRoleAttrMapRawPtr() const noexcept { return aggRoleAttrMap_.value.get(); }

   /// The union over matchers, setters and the sub route map. What is applied to aggregates does not count.
   RouteMapFeatures getFeatures() const;
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;

   /// All must hold; tried in ascending order of option, up to the first that fails.
   PLINTH_COLLECTION( matcher, matcherIs, matcherDel, matcherDelAll, Field::matcher, Matchers );
   /// Run for a permitted route, in ascending order of option.
   PLINTH_COLLECTION( setter, setterIs, setterDel, setterDelAll, Field::setter, Setters );
   /// Where evaluation goes on behind a permit; only its number counts. Null ends the route map there.
   PLINTH_ATTR( continueSeq, continueSeqIs, Field::continueSeq, Quoin::Ptr<const RouteMapSeqStatus> );

 private:
   Plinth::Attr<Quoin::Ptr<const RouteMapStatus>> subRouteMap_;
   Plinth::Attr<Quoin::Ptr<const RouteMapStatus>> aggRoleAttrMap_;
   uint32_t seqno_;

   /// The sub route map passes the sequence when it denies.
   PLINTH_ATTR( subInvert, subInvertIs, Field::subInvert, bool );
   PLINTH_ATTR( matchAction, matchActionIs, Field::matchAction, Acl::MatchPermit );
};

}   // namespace Routing::Policy
