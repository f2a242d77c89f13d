/// @file substrate/routemap/MapEntry.h
/// One configured sequence of a route map. It belongs to a Map; the machines of compile/ turn it into a RouteMapSeqStatus. An agent changes
/// attributes; subscribers are notified of each change at once. As the last step, the agent changes the version of the Map, which declares
/// the route map consistent.
/// Ownership: held by a Map. Threading: the activity thread.
#pragma once

#include "substrate/acl/MatchPermit.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/routemap/MatchRule.h"

namespace Routing::RouteMap {

class Map;

/// The match clauses, the call and the set clauses of a sequence.
class ROUTEPOLICY_API MapEntry final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { matchRule, subRouteMap, setFlags, description, distance, continueSeq, permit };
   using MatchRules = Plinth::RbTreeMap<MatchOption, MatchRule, 1>;
   using Descriptions = Plinth::RbTreeMap<uint32_t, Quoin::String>;
   /// A set of bits. Each bit says that a set clause is configured, for clauses whose value alone does not show this.
   using SetFlags = uint32_t;
   /// `continueSeq` is configured.
   static constexpr SetFlags continueSeqSet = 0x10000;

   explicit MapEntry( uint32_t seqno ) : seqno_( seqno ) { permit_.value = Acl::MatchPermit::permit; }
   ~MapEntry() override;

   /// The key in the Map. Never changes.
   uint32_t seqno() const noexcept { return seqno_; }

   /// The match clauses, at most one per option. The key is the option of the rule.
   const MatchRules & matchRule() const noexcept { return matchRule_; }
   /// The match clause of one option. If it does not exist, the result is a rule with option `none`.
   MatchRule matchRule( MatchOption option ) const { return Plinth::memberOf( matchRule_, option ); }
   /// Adds or replaces the match clause of the rule's option.
   void matchRuleIs( MatchRule rule );   // by value: `rule` may be stored in another MapEntry that a subscriber edits
   /// Removes the match clause of that option.
   void matchRuleDel( MatchOption option );

   /// The call of another route map; an empty name means no call.
   const SubRouteMap & subRouteMap() const noexcept { return subRouteMap_.value; }
   void subRouteMapIs( SubRouteMap call );
   /// The configured set clauses, as bits.
   PLINTH_ATTR( setFlags, setFlagsIs, Field::setFlags, SetFlags );
   /// Lines of free text by line number. A line that does not exist reads as empty.
   PLINTH_COLLECTION( description, descriptionIs, descriptionDel, descriptionDelAll, Field::description, Descriptions );
   /// The administrative distance to set; 0 for none. A distance has 8 bits: compilation takes the low 8 bits of a greater value, so 300
   /// sets 44. An agent refuses such a value where it reads it.
   PLINTH_ATTR( distance, distanceIs, Field::distance, uint32_t );
   /// The sequence number to which `continue` jumps. It takes effect only while `setFlags` contains `continueSeqSet`.
   PLINTH_ATTR( continueSeq, continueSeqIs, Field::continueSeq, uint32_t );
   /// The action of the sequence for a route that it matches; initially permit.
   PLINTH_ATTR( permit, permitIs, Field::permit, Acl::MatchPermit );

 private:
   friend class Map;

   uint32_t seqno_;
   MatchRules matchRule_;
   Plinth::Attr<SubRouteMap> subRouteMap_;
   Map * map_ = nullptr;   // the route map that holds the sequence
};

}   // namespace Routing::RouteMap
