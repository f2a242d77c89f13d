/// @file policy/RouteMapSeqStatus.h
/// One sequence of a compiled route map. Compilation writes it from a configured sequence; evaluation reads it.
/// Ownership: route maps, snapshots and logs share it. It shares its matchers, setters and callee.
/// Threading: compilation writes it before publication; afterwards it is read-only, for any number of threads.
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

/// A compiled sequence.
class ROUTEPOLICY_API RouteMapSeqStatus final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { matcher, subRouteMap, aggRoleAttrMap, setter, continueSeq, subInvert, matchAction };
   // Most sequences have one of each. The object has room for it, which saves an indirection.
   using Matchers = Plinth::RbTreeMap<MatchOption, Quoin::Ptr<const Matcher>, 1>;
   using Setters = Plinth::RbTreeMap<SetOption, Quoin::Ptr<const Setter>, 1>;

   explicit RouteMapSeqStatus( uint32_t seqno );
   ~RouteMapSeqStatus() override;

   /// A new sequence with this number and the other attributes of `src`. A null `src` gives the defaults.
   static Quoin::Ptr<RouteMapSeqStatus> newFrom( const Quoin::Ptr<const RouteMapSeqStatus> & src, uint32_t seqno );
   /// Copies all attributes but the number.
   void clone( const Zeugma::BaseNotifyingType & source ) override;

   /// The key in the route map. Evaluation tries the lowest first.
   uint32_t seqno() const noexcept { return seqno_; }

   /// The route map that the sequence calls after its matchers; null for none.
   /// A route map that calls itself can be stored. Evaluation ends the process at such a call; if the route map calls itself through
   /// others, evaluation has no end. Compilation publishes no such route map.
   const Quoin::Ptr<const RouteMapStatus> & subRouteMap() const noexcept { return subRouteMap_.value; }
   void subRouteMapIs( Quoin::Ptr<const RouteMapStatus> map );   // out of line: the type is incomplete here
   const RouteMapStatus * subRouteMapRawPtr() const noexcept { return subRouteMap_.value.get(); }
   /// The route map for the attributes of aggregates; null for none. Evaluation does not read it.
   const Quoin::Ptr<const RouteMapStatus> & aggRoleAttrMap() const noexcept { return aggRoleAttrMap_.value; }
   void aggRoleAttrMapIs( Quoin::Ptr<const RouteMapStatus> map );
   const RouteMapStatus * aggRoleAttrMapRawPtr() const noexcept { return aggRoleAttrMap_.value.get(); }

   /// The union of the features of the matchers, the setters and the callee. `aggRoleAttrMap` does not count.
   RouteMapFeatures getFeatures() const;
   /// Prints the attributes, and the route maps that the sequence refers to.
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;

   /// The matchers by option. All must match; evaluation tries them in ascending order of option and stops at the first that does not
   /// match. The option decides the order and is named in logs; what is tested is up to the matcher, which may be of any class.
   PLINTH_COLLECTION( matcher, matcherIs, matcherDel, matcherDelAll, Field::matcher, Matchers );
   /// The setters by option. They run for a permitted route, in ascending order of option.
   PLINTH_COLLECTION( setter, setterIs, setterDel, setterDelAll, Field::setter, Setters );
   /// The sequence where evaluation continues after a permit; only its number is read. Null: a permit ends the route map.
   PLINTH_ATTR( continueSeq, continueSeqIs, Field::continueSeq, Quoin::Ptr<const RouteMapSeqStatus> );

 private:
   Plinth::Attr<Quoin::Ptr<const RouteMapStatus>> subRouteMap_;
   Plinth::Attr<Quoin::Ptr<const RouteMapStatus>> aggRoleAttrMap_;
   uint32_t seqno_;

   /// Inverts the answer of the callee: a deny lets the sequence match.
   PLINTH_ATTR( subInvert, subInvertIs, Field::subInvert, bool );
   /// The answer of the sequence to a route that matches.
   PLINTH_ATTR( matchAction, matchActionIs, Field::matchAction, Acl::MatchPermit );
};

}   // namespace Routing::Policy
