/// @file policy/Policy.h
/// Applies compiled policy to a route: PolicyEval matches the route against route maps, and then runs their setters, which change the
/// route. The policy comes from compilation (RouteMapStatus, RouteMapStatusList). The route and its changes belong to the agent
/// (MatchInput_, Result_).
#pragma once

#include <span>

#include "policy/MatchInput.h"
#include "policy/PolicyEvalContext.h"
#include "policy/Result.h"
#include "policy/RouteMapStatusList.h"
#include "routepolicy_export.h"
#include "substrate/gyre/Eval.h"

namespace Routing::Policy {

class DecisionObserver;                   // policy/DecisionObserver.h: reports which sequence decided
class MatchedRouteMapSequences;           // policy/MatchedRouteMapSequences.h: a match before its setters run
class MatchedRouteMapSequencesSnapshot;   // the same header: a match that may be kept

/// Evaluates routes. An agent creates one PolicyEval and reuses it. Between calls, the object holds only its two attributes. Evaluation
/// never changes the policy. Without a log, it allocates nothing while at most 16 sequences match.
/// Errors: a null list, route map, match or result ends the process, except where null has a meaning; so does a route map that calls
/// itself. An exception of a matcher or setter reaches the caller. Afterwards no setter is deferred, and no log that the evaluation
/// installed remains in the context. Evaluation of callees (route maps that a sequence calls) is recursive: the stack of the thread limits
/// the depth of calls (8 MB hold 20,000 levels).
/// Threading: without a context, any number of threads may use one PolicyEval on one policy at once. With a context, only one thread may
/// use it.
class ROUTEPOLICY_API PolicyEval : public Quoin::Node {
 public:
   using ContextMap = Quoin::Ptr<Gyre::Eval::GyreEvalContextMap>;
   ~PolicyEval() override;

   /// Matches and applies: returns whether the list permits the route. A permit runs the setters on `result`; a deny leaves it unchanged.
   /// A list with functions of the policy language (`gyreStatus`, `gyreStatusMaint`) needs contexts for them: use evalPolicyMatchers().
   bool eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result ) const;

   /// One route of evalBatch(): what eval() takes, and its answer.
   struct BatchRoute {
      const MatchInput_ * input = nullptr;
      Result_ * result = nullptr;
      bool permitted = false;
   };
   /// eval() for each route, in order, by the policy that `list` holds at the call. Faster where the lists of the policy leave the caches of the
   /// processor: the accesses to memory of up to 16 routes overlap. The getter of the prefix may be called for these before the first of them
   /// is evaluated; the evaluation of one route must not change the input of another.
   /// Errors: as eval(). After an exception, `permitted` of each route that has no answer is as the caller left it.
   void evalBatch( std::span<BatchRoute> routes, const Quoin::Ptr<const RouteMapStatusList> & list ) const;

   /// Whether the list permits the route. Appends the matched sequences to `matched`; applyPolicySetters() runs their setters. Functions
   /// run on the contexts of `gyreCtxMap`. Before a function runs, the setters of the sequences matched so far run on the result of its
   /// context.
   bool evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                            MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap ) const;

   /// Whether a route map permits the route, as the only policy of a point of application. No setter runs. A null route map, or one without
   /// sequences, permits here.
   bool evalPeerFilter( const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input ) const;

   /// Whether a function permits, as the only policy of a point of application.
   bool evalGyre( const Quoin::Ptr<const Gyre::FunctionStatusBase> & function, const Quoin::Ptr<Gyre::Eval::EvalContextBase> & ctx ) const;

   /// Whether one route map permits the route. Appends the matched sequences to `matched`, the sequences of a callee before the calling
   /// sequence. After a deny, the content of `matched` is meaningless. A route map without sequences denies.
   bool evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus, MatchedRouteMapSequences * matched ) const;

   /// Runs the setters of the sequences in order, then each deferred setter once.
   void applyPolicySetters( const MatchedRouteMapSequences * matched, Result_ * result ) const;

   /// The same calls with a report of each decision to `observer`; see DecisionObserver. Answers, setters, `matched`, logs and timers are
   /// the same as without an observer, and reports allocate nothing. evalGyre() has no such form, because only its function can decide.
   bool eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result,
              DecisionObserver & observer ) const;
   bool evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                            MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap, DecisionObserver & observer ) const;
   bool evalPeerFilter( const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input, DecisionObserver & observer ) const;
   bool evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus, MatchedRouteMapSequences * matched,
                              DecisionObserver & observer ) const;

   /// Matches only, and returns a match that may be kept and applied later; null on a deny.
   Quoin::Ptr<const MatchedRouteMapSequencesSnapshot>
   evalRouteMapMatchersSnapshot( const MatchInput_ & input, const Quoin::Ptr<const RouteMapStatus> & rmStatus ) const;
   /// Runs the setters of a kept match on `result`, which is changed although the reference is const. A null snapshot (a deny) changes
   /// nothing.
   void applyPolicySettersSnapshot( const Quoin::Ptr<const MatchedRouteMapSequencesSnapshot> & snapshot, const Result_ & result );

   /// Whether evaluation of a list writes logs: of functions, and of the route map at `routeMapPrecedence`. Without a context, no log is
   /// written. A change of this switch empties the queue.
   bool shouldLogEval() const noexcept { return shouldLogEval_; }
   void shouldLogEvalIs( bool shouldLog );
   /// Empties the queue of finished logs.
   void resetEvaluationLog();
   /// The finished logs, oldest first; null without a context.
   const Plinth::Queue<PolicyEvalContext::FinishedLogPtr> * evaluationLogs() const noexcept;

   /// The context receives the logs and has the timers. Null: no logs and no timers.
   PLINTH_VALUE( context, contextIs, {}, Quoin::Ptr<PolicyEvalContext> );

 private:
   bool shouldLogEval_ = false;
};

}   // namespace Routing::Policy
