/// @file substrate/routemap/MapEntry.h
/// One configured sequence of a route map.
/// A writer changes attributes, each of which is told of at once, and raises the version of the Map last.
/// Ownership: a Map shares it. Threading: the activity thread.
#pragma once

#include "substrate/acl/MatchPermit.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/routemap/MatchRule.h"

namespace Routing::RouteMap {

class ROUTEPOLICY_API MapEntry final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { matchRule, subRouteMap, setFlags, description, distance, continueSeq, permit };
   using MatchRules = Plinth::RbTreeMap<MatchOption, MatchRule>;
   using Descriptions = Plinth::RbTreeMap<uint32_t, Quoin::String>;
   /// Set clauses that have no value of their own.
   using SetFlags = uint32_t;
   static constexpr SetFlags continueSeqSet = 0x10000;   // `continueSeq` is configured

   explicit MapEntry( uint32_t seqno ) : seqno_( seqno ) { permit_.value = Acl::MatchPermit::permit; }
   ~MapEntry() override;

   /// The key in the Map; never changes.
   uint32_t seqno() const noexcept { return seqno_; }

   /// The match clauses, at most one per option. The key is the rule's option; a rule that is missing reads as one of option `none`.
   const MatchRules & matchRule() const noexcept { return matchRule_; }
   MatchRule matchRule( MatchOption option ) const { return Plinth::memberOf( matchRule_, option ); }
   void matchRuleIs( MatchRule rule );   // by value: it may stand in another entry, which a reaction edits
   void matchRuleDel( MatchOption option );

   /// The route map that is called, if any.
   PLINTH_ATTR( subRouteMap, subRouteMapIs, Field::subRouteMap, SubRouteMap );
   PLINTH_ATTR( setFlags, setFlagsIs, Field::setFlags, SetFlags );
   /// Lines of free text by their number; one that is missing reads as empty.
   PLINTH_COLLECTION( description, descriptionIs, descriptionDel, descriptionDelAll, Field::description, Descriptions );
   /// The administrative distance to set; 0 for none.
   PLINTH_ATTR( distance, distanceIs, Field::distance, uint32_t );
   /// Where `continue` goes. It means something only while `setFlags` has `continueSeqSet`, and stays readable without.
   PLINTH_ATTR( continueSeq, continueSeqIs, Field::continueSeq, uint32_t );
   /// What the sequence does with a route that it matches; a new one permits.
   PLINTH_ATTR( permit, permitIs, Field::permit, Acl::MatchPermit );

 private:
   uint32_t seqno_;
   MatchRules matchRule_;
};

}   // namespace Routing::RouteMap
