/// @file policy/SeqLog.h
/// The record of one sequence that an evaluation visited. It is part of a PolicyEvaluationLog, and holds the log of the callee of
/// its sequence.
/// Threading: one thread until the log is queued, read-only afterwards.
#pragma once

#include <cstdint>

#include "policy/PolicyTypes.h"
#include "policy/RouteMapSeqStatus.h"
#include "routepolicy_export.h"
#include "substrate/gloss/RendererV2.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

class PolicyEvaluationLog;

/// The record of one visited sequence.
class ROUTEPOLICY_API SeqLog : public Quoin::Node {
 public:
   explicit SeqLog( uint32_t seqno );
   ~SeqLog() override;

   uint32_t seqno() const noexcept { return seqno_; }
   /// The log of the callee; null if the sequence calls none.
   const Quoin::Ptr<PolicyEvaluationLog> & subPolicyEvaluationLog() const noexcept { return subPolicyEvaluationLog_; }
   void subPolicyEvaluationLogIs( const Quoin::Ptr<PolicyEvaluationLog> & log );

   /// Indented text with one fact per line, for debugging. `level`: indentation, in units of three columns.
   Quoin::String toStrep( uint32_t level ) const;
   /// The structured form, as the next member of the open object. `seqStatus` supplies the matchers.
   void toJson( Gloss::RendererV2 * renderer, const Quoin::Ptr<const RouteMapSeqStatus> & seqStatus ) const;

   /// The sequence where evaluation continued; 0 if it did not continue.
   PLINTH_VALUE( continueSeq, continueSeqIs, {}, uint32_t );
   /// The option of the first matcher that did not match; 0 if all matched.
   PLINTH_VALUE( failedMatcher, failedMatcherIs, {}, MatchOption );
   /// Whether the sequence has no matchers.
   PLINTH_VALUE( hadNoMatchers, hadNoMatchersIs, {}, bool );
   /// The answer of the callee, before inversion.
   PLINTH_VALUE( subRouteMapResult, subRouteMapResultIs, {}, bool );
   /// Whether the sequence matched and denies.
   PLINTH_VALUE( matchActionDeny, matchActionDenyIs, {}, bool );
   /// Whether the sequence matched and permits.
   PLINTH_VALUE( permitResult, permitResultIs, {}, bool );
   /// Whether the sequence inverts the answer of its callee.
   PLINTH_VALUE( subRouteMapInvertResult, subRouteMapInvertResultIs, {}, bool );

 private:
   uint32_t seqno_;
   Quoin::Ptr<PolicyEvaluationLog> subPolicyEvaluationLog_;
};

}   // namespace Routing::Policy
