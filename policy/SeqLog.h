/// @file policy/SeqLog.h
/// The record of one sequence that an evaluation visited. Threading: one thread until the log is queued, read only from then on.
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

class ROUTEPOLICY_API SeqLog : public Quoin::Node {
 public:
   explicit SeqLog( uint32_t seqno );
   ~SeqLog() override;

   uint32_t seqno() const noexcept { return seqno_; }
   /// The log of the sequence's sub route map; null when it has none.
   const Quoin::Ptr<PolicyEvaluationLog> & subPolicyEvaluationLog() const noexcept { return subPolicyEvaluationLog_; }
   void subPolicyEvaluationLogIs( const Quoin::Ptr<PolicyEvaluationLog> & log );

   /// Indented text, a line per fact; `level` is the depth, three columns each. For debugging.
   Quoin::String toStrep( uint32_t level ) const;
   /// The structured form, as the next member of an object that is open. The status supplies the matchers.
   void toJson( Gloss::RendererV2 * renderer, const Quoin::Ptr<const RouteMapSeqStatus> & seqStatus ) const;

   /// The target of a continue that was followed; 0 when none was.
   PLINTH_VALUE( continueSeq, continueSeqIs, {}, uint32_t );
   /// The matcher that failed; none of them did when it is 0.
   PLINTH_VALUE( failedMatcher, failedMatcherIs, {}, MatchOption );
   PLINTH_VALUE( hadNoMatchers, hadNoMatchersIs, {}, bool );
   /// What the sub route map answered.
   PLINTH_VALUE( subRouteMapResult, subRouteMapResultIs, {}, bool );
   /// The sequence matched and denies.
   PLINTH_VALUE( matchActionDeny, matchActionDenyIs, {}, bool );
   /// The sequence's own answer.
   PLINTH_VALUE( permitResult, permitResultIs, {}, bool );
   /// The sequence inverts its sub route map's answer.
   PLINTH_VALUE( subRouteMapInvertResult, subRouteMapInvertResultIs, {}, bool );

 private:
   uint32_t seqno_;
   Quoin::Ptr<PolicyEvaluationLog> subPolicyEvaluationLog_;
};

}   // namespace Routing::Policy
