/// @file compile/PendingSymbolUpdate.h
#pragma once

#include "compile/SequenceChange.h"
#include "policy/RouteMapStatus.h"

namespace Routing::Policy {

/// What the symbols of one sequence have published since the last compile: a burst of changes collapses into one of these.
/// It replaces matchers and setters that the sequence has, and adds or removes none. Threading: the activity thread.
class ROUTEPOLICY_API PendingSymbolUpdate final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { matcherChange, setterChange };
   explicit PendingSymbolUpdate( uint32_t seqno ) : seqno_( seqno ) {}
   ~PendingSymbolUpdate() override;
   uint32_t seqno() const noexcept { return seqno_; }

   PLINTH_MADE_NODES( matcherChange, matcherChangeIs, matcherChangeDel, matcherChangeDelAll, Field::matcherChange, MatcherChanges );
   PLINTH_MADE_NODES( setterChange, setterChangeIs, setterChangeDel, setterChangeDelAll, Field::setterChange, SetterChanges );
   /// Read only while the flag is set: a null is a value, of a route map that has lost its status.
   PLINTH_VALUE( subRouteMapStatus, subRouteMapStatusIs, {}, Quoin::Ptr<const RouteMapStatus> );
   PLINTH_VALUE( aggRoleAttrMapStatus, aggRoleAttrMapStatusIs, {}, Quoin::Ptr<const RouteMapStatus> );
   PLINTH_VALUE( hasSubRouteMapUpdate, hasSubRouteMapUpdateIs, {}, bool );
   PLINTH_VALUE( hasAggRoleAttrMapUpdate, hasAggRoleAttrMapUpdateIs, {}, bool );

   bool hasNoPendingChanges() const noexcept;

 private:
   uint32_t seqno_;
};

/// Writes a pending update into the clone of a sequence. Errors: a clause that the sequence does not have ends the process; a change
/// without a matcher or setter raises MutatorArgNullPointerException.
ROUTEPOLICY_API void addPendingUpdatesToSeqStatus( const Quoin::Ptr<RouteMapSeqStatus> & seqStatus,
                                                   const Quoin::Ptr<const PendingSymbolUpdate> & pendingUpdate );

}   // namespace Routing::Policy
