/// @file compile/PendingSymbolUpdate.h
#pragma once

#include "compile/SequenceChange.h"
#include "policy/RouteMapStatus.h"

namespace Routing::Policy {

/// The changes that the symbols of one sequence have published since the last compilation. The machine of the symbols writes the update,
/// and the machine of the route map applies the update; a burst of changes makes one update. An update replaces existing matchers and
/// setters, and never adds or deletes one.
/// Threading: the activity thread.
class ROUTEPOLICY_API PendingSymbolUpdate final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { matcherChange, setterChange };
   explicit PendingSymbolUpdate( uint32_t seqno ) : seqno_( seqno ) {}
   uint32_t seqno() const noexcept { return seqno_; }

   PLINTH_MADE_NODES( matcherChange, matcherChangeIs, matcherChangeDel, matcherChangeDelAll, Field::matcherChange, MatcherChanges );
   PLINTH_MADE_NODES( setterChange, setterChangeIs, setterChangeDel, setterChangeDelAll, Field::setterChange, SetterChanges );
   /// The new status of the callee, valid while the flag is set. Null means that the callee has lost its status.
   PLINTH_VALUE( subRouteMapStatus, subRouteMapStatusIs, {}, Quoin::Ptr<const RouteMapStatus> );
   PLINTH_VALUE( aggRoleAttrMapStatus, aggRoleAttrMapStatusIs, {}, Quoin::Ptr<const RouteMapStatus> );
   PLINTH_VALUE( hasSubRouteMapUpdate, hasSubRouteMapUpdateIs, {}, bool );
   PLINTH_VALUE( hasAggRoleAttrMapUpdate, hasAggRoleAttrMapUpdateIs, {}, bool );

   /// Whether the update is empty.
   bool hasNoPendingChanges() const noexcept;

 private:
   uint32_t seqno_;
};

/// Applies a pending update to the copy of a sequence. Errors: an update of a clause that the sequence does not have ends the process; a
/// change without a matcher or setter raises MutatorArgNullPointerException.
ROUTEPOLICY_API void addPendingUpdatesToSeqStatus( const Quoin::Ptr<RouteMapSeqStatus> & seqStatus,
                                                   const Quoin::Ptr<const PendingSymbolUpdate> & pendingUpdate );

}   // namespace Routing::Policy
