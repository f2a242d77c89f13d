/// @file policy/Policy.h
/// Applies compiled policy to a route.
#pragma once

#include "policy/MatchInput.h"
#include "policy/PolicyEvalContext.h"
#include "policy/Result.h"
#include "policy/RouteMapStatusList.h"
#include "routepolicy_export.h"
#include "substrate/gyre/Eval.h"

namespace Routing::Policy {

class DecisionObserver;                   // policy/DecisionObserver.h: for callers who ask what decided
class MatchedRouteMapSequences;           // policy/MatchedRouteMapSequences.h: for callers who keep a match
class MatchedRouteMapSequencesSnapshot;   // also there

/// Evaluates routes. An agent keeps one and reuses it; between calls it holds its two attributes and nothing else.
/// Evaluation reads the policy and never changes it, allocates nothing on the ordinary path, and reports no errors: it answers.
/// What a matcher or setter throws goes through, and leaves no setter deferred, and no log installed but a client's own.
/// Sub route maps are walked recursively; their depth is bounded by the thread's stack (20,000 levels fit into 8 MB).
/// Threading: without a context, any number of threads may use one PolicyEval on one policy at once. With a context it belongs
/// to one thread.
class ROUTEPOLICY_API PolicyEval : public Quoin::Node {
 public:
   using ContextMap = Quoin::Ptr<Gyre::Eval::GyreEvalContextMap>;
   ~PolicyEval() override;

   /// The whole job: whether the list permits the route, and then its changes in `result`. On a deny the result is untouched.
   /// A list with `gyreStatus` needs contexts: it goes through evalPolicyMatchers().
   bool eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result ) const;

   /// Whether the list permits the route; `matched` gets the sequences to apply. Functions run on the contexts of `gyreCtxMap`,
   /// and what route maps matched before one is applied to its result.
   bool evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                            MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap ) const;

   /// Whether a route map, as the only policy of a point, permits; no setter runs. A route map without sequences, or none,
   /// permits here.
   bool evalPeerFilter( const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input ) const;

   /// Whether a function, as the only policy of a point, permits.
   bool evalGyre( const Quoin::Ptr<const Gyre::FunctionStatusBase> & function, const Quoin::Ptr<Gyre::Eval::EvalContextBase> & ctx ) const;

   /// Whether one route map permits the route; `matched` gets the sequences to apply appended, those of sub route maps before
   /// the sequence that calls them. On a deny what is in `matched` means nothing. A route map without sequences denies.
   bool evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus, MatchedRouteMapSequences * matched ) const;

   /// Runs the setters of the sequences in order, and then once those that deferred themselves.
   void applyPolicySetters( const MatchedRouteMapSequences * matched, Result_ * result ) const;

   /// The same, and each decision is reported to `observer`; see DecisionObserver. Answers, setters, `matched`, logs and timers are those of
   /// the calls above, and nothing is allocated either. evalGyre() has no such form: its one function decides.
   bool eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result,
              DecisionObserver & observer ) const;
   bool evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                            MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap, DecisionObserver & observer ) const;
   bool evalPeerFilter( const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input, DecisionObserver & observer ) const;
   bool evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus, MatchedRouteMapSequences * matched,
                              DecisionObserver & observer ) const;

   /// The two steps apart, for a match that is kept. Null on a deny.
   Quoin::Ptr<const MatchedRouteMapSequencesSnapshot>
   evalRouteMapMatchersSnapshot( const MatchInput_ & input, const Quoin::Ptr<const RouteMapStatus> & rmStatus ) const;
   /// Writes to `result`, const or not. A null snapshot, of a deny, changes nothing.
   void applyPolicySettersSnapshot( const Quoin::Ptr<const MatchedRouteMapSequencesSnapshot> & snapshot, const Result_ & result );

   /// Asks for logs of the point's route map and of functions; without a context there are none. A change empties the queue.
   bool shouldLogEval() const noexcept { return shouldLogEval_; }
   void shouldLogEvalIs( bool shouldLog );
   /// Empties the queue of finished logs.
   void resetEvaluationLog();
   /// The finished logs, oldest first; null without a context.
   const Plinth::Queue<PolicyEvalContext::FinishedLogPtr> * evaluationLogs() const noexcept;

   /// Where logs go and timers are asked for; null for neither.
   PLINTH_VALUE( context, contextIs, {}, Quoin::Ptr<PolicyEvalContext> );

 private:
   bool shouldLogEval_ = false;
};

}   // namespace Routing::Policy
