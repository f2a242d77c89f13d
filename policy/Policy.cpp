#include "policy/Policy.h"

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <span>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "policy/DecisionObserver.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/PlanPrefetch.h"
#include "policy/PlanSearch.h"
#include "substrate/quoin/Assert.h"
#include "substrate/trailmark/Trailmark.h"

namespace Routing::Policy {

namespace {

// clang-format off
const Trailmark::MsgDesc evalRouteMapMatchersMsg(
   "PolicyEval::evalRouteMapMatchers(const MatchInput*, const Routing::Policy::RouteMapStatus*, Routing::Policy::MatchedRouteMapSequences*) "
   "const" );
const Trailmark::MsgDesc applyPolicySettersMsg(
   "PolicyEval::applyPolicySetters(const Routing::Policy::MatchedRouteMapSequences*, Routing::Policy::Result*) const" );
const Trailmark::MsgDesc evalSubRouteMapMatchersMsg(
   "evalSubRouteMapMatchers(Routing::Policy::PolicyEval::RawPtrConst, Routing::Policy::PolicyEvalContext::Ptr, bool, const MatchInput*, const "
   "Routing::Policy::RouteMapSeqStatus*, Routing::Policy::MatchedRouteMapSequences*)" );
const Trailmark::MsgDesc evalPolicyMatchersMsg(
   "PolicyEval::evalPolicyMatchers(const MatchInput*, const PtrConst&, Routing::Policy::MatchedRouteMapSequences*, const Ptr&) const" );
// clang-format on

// The observer of an evaluation without one.
struct NoObserver {
   using Ref = NoObserver;
   static NoObserver entry( RmPrecedence ) { return {}; }
   template <class Policy>
   static bool ended( const Policy &, bool permitted ) {
      return permitted;
   }
};

// The log of a walk without one: discards every record.
struct NoLog {
   static NoObserver callee( const RouteMapSeqStatus &, bool ) { return {}; }
   void visit( const RouteMapSeqStatus & ) {}
   void matcherFailed( MatchOption ) {}
   struct Call {
      explicit Call( NoLog & ) {}
      void returned( bool, bool ) {}
   };
   void deny() {}
   void permit() {}
   void continueTo( uint32_t ) {}
   void defaultDeny() {}
};

// Writes the records of a walk into the log of its route map, which the caller has put on top of the call stack.
class WriteLog {
 public:
   WriteLog( PolicyEvalContext & context, PolicyEvaluationLog & log ) : context_( context ), log_( log ) {}
   static NoObserver callee( const RouteMapSeqStatus &, bool ) { return {}; }
   void visit( const RouteMapSeqStatus & seq ) {
      seq_ = log_.addSeq( Quoin::Ptr( &seq ) );
      if( seq.matcher().empty() ) seq_->hadNoMatchersIs( true );
   }
   void matcherFailed( MatchOption option ) { seq_->failedMatcherIs( option ); }
   // The call of another route map. Its log is on top of the stack during the call; the destructor removes the log also after a throw.
   class Call {
    public:
      explicit Call( WriteLog & log ) : log_( log ) { log_.context_.callStackPush( log_.seq_->subPolicyEvaluationLog() ); }
      ~Call() { log_.context_.callStackPop(); }
      void returned( bool result, bool inverted ) {
         log_.seq_->subRouteMapResultIs( result );
         log_.seq_->subRouteMapInvertResultIs( inverted );
      }

    private:
      WriteLog & log_;
   };
   void deny() {
      seq_->matchActionDenyIs( true );
      seq_->permitResultIs( false );
      log_.permitResultIs( false );
   }
   void permit() {
      seq_->permitResultIs( true );
      log_.permitResultIs( true );
   }
   void continueTo( uint32_t seqno ) { seq_->continueSeqIs( seqno ); }
   void defaultDeny() { log_.defaultDenyIs( true ); }

 private:
   PolicyEvalContext & context_;
   PolicyEvaluationLog & log_;
   Quoin::Ptr<SeqLog> seq_;   // of the current sequence
};

// Collects the decision of one route map or function, and reports it to an observer.
class Observed {
 public:
   using Ref = std::reference_wrapper<Observed>;
   explicit Observed( DecisionObserver & observer ) : observer_( observer ) {}
   Observed entry( RmPrecedence p ) const {
      Observed entry( observer_ );
      entry.decision_.precedence = p;
      return entry;
   }
   Observed callee( const RouteMapSeqStatus & caller, bool inverted ) const {
      Observed callee( observer_ );
      callee.decision_.caller = &caller;
      callee.decision_.depth = decision_.depth + 1;
      callee.decision_.precedence = decision_.precedence;
      callee.decision_.inverted = inverted;
      return callee;
   }
   // The last sequence that matches decides.
   void matches( const RouteMapSeqStatus * seq ) { decision_.sequence = seq; }
   bool ended( const RouteMapStatus & routeMap, bool permitted ) {
      decision_.routeMap = &routeMap;
      return told( permitted );
   }
   bool ended( const Gyre::FunctionStatusBase & function, bool permitted ) {
      decision_.function = &function;
      return told( permitted );
   }

 private:
   bool told( bool permitted ) {
      decision_.permitted = permitted;
      observer_.decided( decision_ );
      return permitted;
   }

   DecisionObserver & observer_;
   Decision decision_;
};

// Either log, which also records the last matching sequence for an observer.
template <class Log>
class Noting : public Log {
 public:
   Noting( Log log, Observed & observer ) : Log( std::move( log ) ), observer_( observer ) {}
   void visit( const RouteMapSeqStatus & seq ) {
      Log::visit( seq );
      visited_ = &seq;
   }
   void deny() {
      Log::deny();
      observer_.matches( visited_ );
   }
   void permit() {
      Log::permit();
      observer_.matches( visited_ );
   }
   Observed callee( const RouteMapSeqStatus & caller, bool inverted ) const { return observer_.callee( caller, inverted ); }

 private:
   Observed & observer_;
   const RouteMapSeqStatus * visited_ = nullptr;
};

template <class Log>
Log noting( Log log, NoObserver ) {
   return log;
}
template <class Log>
Noting<Log> noting( Log log, std::reference_wrapper<Observed> observer ) {
   return Noting<Log>( std::move( log ), observer );
}

using ContextPtr = Quoin::Ptr<PolicyEvalContext>;
using Matched = boost::container::small_vector_base<const RouteMapSeqStatus *>;   // of any inline capacity
// Sixteen inline entries cover ordinary policies with callees, continues and several list entries.
using LocalMatched = boost::container::small_vector<const RouteMapSeqStatus *, 16>;

// A function of its own, so that the timer takes no space in the stack frame of the path without timers.
template <class Stage>
[[gnu::noinline]] auto underTimer( const Trailmark::MsgDesc & message, Stage & stage ) {
   const Trailmark::BlockTimer timer( message );
   return stage();
}

// Runs a stage of evaluation, under a block timer if the context asks for timers.
template <class Stage>
inline auto timed( const ContextPtr & context, const Trailmark::MsgDesc & message, Stage stage ) {
   if( !context || !context->enableTrailmark() ) [[likely]]
      return stage();
   return underTimer( message, stage );
}

// One evaluation: what all its route maps share.
struct Evaluation {
   const ContextPtr & context;
   Matched & matched;   // the sequences that have permitted
   PlannedRoute & route;
};

// Observers are notified of each call.
template <class Observer>
constexpr bool visitsCalls = !std::is_same_v<Observer, NoObserver>;

// ---- one route map

template <class Observer>
bool evalRouteMap( Evaluation & eval, const RouteMapStatus & rmStatus, Observer observer );

// How a sequence was found: by the walk over all sequences, which knows nothing of it, or by the plan.
struct InTurn {
   static bool hasAnswered( MatchOption ) { return false; }
   static bool leavesRoute( unsigned ) { return false; }
};
struct ByPlan {
   // Whether the route passes the clause of this option. All matchers in front of it are skippable.
   bool hasAnswered( MatchOption option ) const noexcept { return step.left == PlanStep::Left::remainder && step.answered == option; }
   bool leavesRoute( unsigned failed ) const noexcept { return step.leavesRoute( failed ); }

   const PlanStep & step;
};

// The option of the first matcher that does not match, of those that are not answered yet; kAllMatch if there is none.
template <class Log, class By>
inline unsigned failedMatcher( Evaluation & eval, const RouteMapSeqStatus & seq, const By & by, Log & log ) {
   for( auto i = seq.matcher().first(); i; i.next() ) {
      if( by.hasAnswered( i.key() ) ) continue;
      if( i.value()->match( eval.route.input(), eval.context ) ) continue;
      log.matcherFailed( i.key() );
      return unsigned( i.key() );
   }
   return PlanStep::kAllMatch;
}

// Whether the callee lets the sequence match. The sequences of the callee stay in `matched` only if it permitted and is not
// inverted.
template <class Log>
bool subRouteMapPasses( Evaluation & eval, const RouteMapStatus & rmStatus, const RouteMapSeqStatus & seq, const RouteMapStatus & sub,
                        Log & log ) {
   QUOIN_ASSERT( &sub != &rmStatus, "a route map calls itself" );
   return timed( eval.context, evalSubRouteMapMatchersMsg, [ & ] {
      const size_t matchedBefore = eval.matched.size();
      const bool inverted = seq.subInvert();
      typename Log::Call call( log );
      const bool subResult = evalRouteMap( eval, sub, log.callee( seq, inverted ) );
      call.returned( subResult, inverted );
      if( !subResult || inverted ) eval.matched.resize( matchedBefore );
      return subResult != inverted;
   } );
}

// What a visited sequence means for the walk.
enum class Next : uint8_t { sequence, deny, permit, target };

template <class Log, class By>
inline Next visit( Evaluation & eval, const RouteMapStatus & rmStatus, const RouteMapSeqStatus & seq, const By & by, Log & log ) {
   log.visit( seq );
   const unsigned failed = failedMatcher( eval, seq, by, log );
   if( !by.leavesRoute( failed ) ) eval.route.forget();
   if( failed != PlanStep::kAllMatch ) return Next::sequence;
   const RouteMapStatus * const sub = seq.subRouteMapRawPtr();
   if( sub && !sub->seqStatus().empty() && !subRouteMapPasses( eval, rmStatus, seq, *sub, log ) ) return Next::sequence;
   if( seq.matchAction() == Acl::MatchPermit::deny ) {   // also after a continue
      log.deny();
      return Next::deny;
   }
   log.permit();
   eval.matched.push_back( &seq );
   const RouteMapSeqStatus * const target = seq.continueSeq().get();
   if( !target ) return Next::permit;
   log.continueTo( target->seqno() );
   return Next::target;
}

// Walks the sequences of one route map from `cursor` on, the same way with and without a log and an observer: `Log` is NoLog, WriteLog, or
// Noting over one of them. `continued`: whether a sequence in front of them has permitted.
template <class Log>
bool walkSequences( Evaluation & eval, const RouteMapStatus & rmStatus, RouteMapStatus::Sequences::Iterator cursor, bool continued,
                    Log & log ) {
   while( cursor ) {
      const RouteMapSeqStatus & seq = *( *cursor ).second;
      switch( visit( eval, rmStatus, seq, InTurn(), log ) ) {
         case Next::sequence: cursor.next(); break;
         case Next::deny: return false;
         case Next::permit: return true;
         case Next::target:   // a deleted target means the next higher sequence
            cursor = rmStatus.seqStatus().lowerBound( seq.continueSeq()->seqno() );
            continued = true;
      }
   }
   if( !continued ) log.defaultDeny();
   return continued;
}

template <class Log>
[[gnu::noinline]] bool walkAll( Evaluation & eval, const RouteMapStatus & rmStatus, Log log ) {
   return walkSequences( eval, rmStatus, rmStatus.seqStatus().first(), false, log );
}

// As visit(), of a sequence that the plan has found and about which nothing is left to ask.
template <class Log>
inline Next visitDecided( Evaluation & eval, const PlanStep & step, Log & log ) {
   log.visit( *step.seq );
   if( step.left == PlanStep::Left::deny ) {
      log.deny();
      return Next::deny;
   }
   log.permit();
   eval.matched.push_back( step.seq );
   return Next::permit;
}
// As visit(), of a sequence that the plan has found.
template <class Log>
inline Next visitFound( Evaluation & eval, const RouteMapStatus & rmStatus, const PlanStep & step, Log & log ) {
   if( step.isDecided() ) return visitDecided( eval, step, log );
   return visit( eval, rmStatus, *step.seq, ByPlan{ step }, log );
}

// Goes on behind `step`, after a visit that has not ended the walk.
template <class Log>
[[gnu::noinline]] bool walkPlanBehind( Evaluation & eval, const RouteMapStatus & rmStatus, const RouteMapPlan & plan, const PlanStep * step,
                                       Next next, Log & log ) {
   std::optional<PlanSearch> search;
   bool continued = false;
   for( ;; ) {
      continued |= next == Next::target;
      const uint32_t seqno = step->seqno;
      const uint32_t from = next == Next::target ? step->seq->continueSeq()->seqno() : seqno + 1;
      if( from == 0 && next != Next::target ) break;   // behind the highest number
      // If a matcher has changed the policy, or a sequence continues backwards, the plan does not help.
      const bool canSearch = from > seqno && rmStatus.plan() == &plan;
      if( canSearch && !( search && search->isCurrent() ) ) search.emplace( plan, eval.route );
      step = canSearch ? search->from( from ) : nullptr;
      if( !canSearch || search->hasEndedEarly() ) [[unlikely]]
         return walkSequences( eval, rmStatus, rmStatus.seqStatus().lowerBound( from ), continued, log );
      if( !step ) break;
      next = visitFound( eval, rmStatus, *step, log );
      if( next == Next::deny ) return false;
      if( next == Next::permit ) return true;
   }
   if( !continued ) log.defaultDeny();
   return continued;
}

// Visits the sequences that the plan finds, from `step` on. The search is not in the stack frame of the first visit, which may be a call.
template <class Log>
[[gnu::noinline]] bool walkPlanFrom( Evaluation & eval, const RouteMapStatus & rmStatus, const RouteMapPlan & plan, const PlanStep * step,
                                     Log & log ) {
   const Next next = visitFound( eval, rmStatus, *step, log );
   if( next == Next::deny ) return false;
   if( next == Next::permit ) return true;
   return walkPlanBehind( eval, rmStatus, plan, step, next, log );
}

// The same walk as walkSequences(), but it visits only the sequences that the plan finds. Most routes end at the first one.
template <class Log>
inline bool walkPlan( Evaluation & eval, const RouteMapStatus & rmStatus, const RouteMapPlan & plan, Log log ) {
   const PlanStep * const step = firstStep( plan, eval.route );
   if( !step || step == &kNoStep ) {
      log.defaultDeny();
      return false;
   }
   if( !step->isDecided() ) return walkPlanFrom( eval, rmStatus, plan, step, log );
   return visitDecided( eval, *step, log ) == Next::permit;
}

template <class Observer>
[[gnu::noinline]] bool evalRouteMapInContext( Evaluation & eval, const RouteMapStatus & rmStatus, typename Observer::Ref observer ) {
   return timed( eval.context, evalRouteMapMatchersMsg, [ &, observer ] {
      if( eval.context->log() )
         if( auto log = eval.context->callStackPeek() )
            return walkAll( eval, rmStatus, noting( WriteLog( *eval.context, *log ), observer ) );
      return walkAll( eval, rmStatus, noting( NoLog{}, observer ) );
   } );
}

// Without a context, no timer and no log is possible. Almost every route takes this path.
template <class Observer>
inline bool evalRouteMap( Evaluation & eval, const RouteMapStatus & rmStatus, Observer observer ) {
   if( eval.context ) [[unlikely]]
      return observer.ended( rmStatus, evalRouteMapInContext<Observer>( eval, rmStatus, observer ) );
   const auto log = noting( NoLog{}, typename Observer::Ref( observer ) );
   const RouteMapPlan * const plan = rmStatus.plan();
   return observer.ended( rmStatus, plan ? walkPlan( eval, rmStatus, *plan, log ) : walkAll( eval, rmStatus, log ) );
}

// ---- setters

void applyDeferredSetters( Result_ & result ) {
   std::unordered_set<const Setter *> ran;
   while( const auto dps = result.dps() ) {   // a setter may register more setters, remove itself or others, or delete the list
      auto & deferred = dps->setters();
      const auto next = std::find_if( deferred.begin(), deferred.end(), [ & ]( const Setter * s ) { return !ran.contains( s ); } );
      if( next == deferred.end() ) return deferred.clear();
      ran.insert( *next );
      ( *next )->deferredSetValue( &result );
   }
}

[[gnu::noinline]] void runSetters( const ContextPtr & context, std::span<const RouteMapSeqStatus * const> matched, Result_ & result ) {
   try {
      timed( context, applyPolicySettersMsg, [ & ] {
         for( const RouteMapSeqStatus * seq : matched )
            for( auto i = seq->setter().first(); i; i.next() ) i.value()->setValue( &result );
         if( result.dps() ) [[unlikely]]
            applyDeferredSetters( result );
      } );
   } catch( ... ) {
      if( result.dps() ) result.dps()->setters().clear();   // the setters belong to the policy, which the result may outlive
      throw;
   }
}

inline void applySetters( const ContextPtr & context, const Matched & matched, Result_ & result ) {
   const auto hasNone = []( const RouteMapSeqStatus * seq ) { return seq->setter().empty(); };
   if( context || result.dps() || !std::ranges::all_of( matched, hasNone ) )
      runSetters( context, { matched.data(), matched.size() }, result );
}

// ---- a list

bool evalFunction( Evaluation & eval, bool shouldLog, const Gyre::FunctionStatusBase & function, RmPrecedence p,
                   const Gyre::Eval::GyreEvalContextMap * gyreCtxMap ) {
   if( function.undefined() ) return false;
   const auto gyreCtx = gyreCtxMap ? gyreCtxMap->context( p ) : nullptr;
   QUOIN_ASSERT( gyreCtx && gyreCtx->result(), "gyreCtx->result()" );
   applySetters( eval.context, eval.matched, *gyreCtx->result() );
   eval.matched.clear();   // their setters must not run twice
   gyreCtx->shouldLogEvalIs( shouldLog );
   struct Flag {
      Gyre::Eval::EvalContextBase & context;
      bool on;
      ~Flag() {
         if( on ) context.shouldLogEvalIs( false );
      }
   } flag{ *gyreCtx, shouldLog };
   const auto code = function.aet()->evaluate( gyreCtx );
   eval.route.forget();
   if( flag.on ) {
      auto log = gyreCtx->takeEvaluationLog();   // null if the context keeps no log
      if( log && eval.context ) eval.context->evaluationLogEnq( log );
   }
   return code == Gyre::Eval::ResultCode::permit;
}

template <class Observer>
bool evalListEntry( Evaluation & eval, bool shouldLog, RmPrecedence p, const Quoin::Ptr<const RouteMapStatus> & status,
                    Observer observer ) {
   if( status->seqStatus().empty() ) return true;   // a route map without sequences does not affect the answer
   const ContextPtr & context = eval.context;
   if( !context ) return evalRouteMap( eval, *status, observer.entry( p ) );
   if( !shouldLog || p != RmPrecedence::routeMapPrecedence ) {
      const PolicyEvalContext::LogPause pause( context );   // a log of the client does not record lists
      return evalRouteMap( eval, *status, observer.entry( p ) );
   }
   // The destructor uninstalls the log, also after a throw. Only a finished log is queued.
   struct Installed {
      Quoin::Ptr<PolicyEvalContext> context;
      ~Installed() { context->logIs( nullptr ); }
   } installed{ context };
   const auto log = Quoin::makeNode<PolicyEvaluationLog>( status );
   installed.context->logIs( log );
   const bool permit = evalRouteMap( eval, *status, observer.entry( p ) );
   installed.context->evaluationLogEnq( log );
   return permit;
}

template <class Observer>
bool evalWholeList( Evaluation & eval, bool shouldLog, const RouteMapStatusList & list, const Gyre::Eval::GyreEvalContextMap * gyreCtxMap,
                    Observer observer ) {
   const bool gyrePresent = bool( list.gyreStatus() );
   QUOIN_ASSERT( !gyrePresent || gyreCtxMap, "!gyrePresent || gyreCtxMap" );

   // The two functions that take part. Each replaces the route map at its precedence and runs once: before the first entry whose precedence
   // is `before` or higher, or after the last entry.
   struct Role {
      const Gyre::FunctionStatusBase * function;
      RmPrecedence precedence;
      uint8_t before;
      bool pending = function != nullptr;
   } roles[] = { { list.gyreStatus().get(), RmPrecedence::routeMapPrecedence, 4 },
                 { list.gyreStatusMaint().get(), RmPrecedence::routeMapMaintPrecedence, 6 } };
   auto runPending = [ & ]( unsigned precedence ) {
      for( Role & role : roles ) {
         if( !role.pending || precedence < role.before ) continue;
         role.pending = false;
         const bool permitted = evalFunction( eval, shouldLog, *role.function, role.precedence, gyreCtxMap );
         if( !observer.entry( role.precedence ).ended( *role.function, permitted ) ) return false;
      }
      return true;
   };
   auto displaced = [ & ]( RmPrecedence p ) {
      for( const Role & role : roles )
         if( role.function && role.precedence == p ) return true;
      return false;
   };
   for( auto i = list.rmStatus().first(); i; ) {
      const RmPrecedence p = i.key();
      if( !runPending( p.value() ) ) return false;
      i = list.rmStatus().lowerBound( p );   // the function may have changed the list
      if( !i ) break;
      if( i.key() != p ) continue;
      if( !displaced( p ) && !evalListEntry( eval, shouldLog, p, i.value(), observer ) ) return false;
      i.next();
   }
   return runPending( ~0u );
}

// With a context or functions.
template <class Observer>
[[gnu::noinline]] bool evalFullList( Evaluation & eval, bool shouldLog, const RouteMapStatusList & list,
                                     const Gyre::Eval::GyreEvalContextMap * gyreCtxMap, Observer observer ) {
   return timed( eval.context, evalPolicyMatchersMsg,
                 [ &, observer ] { return evalWholeList( eval, shouldLog, list, gyreCtxMap, observer ); } );
}

template <class Observer>
inline bool evalList( Evaluation & eval, bool shouldLog, const RouteMapStatusList & list, const Gyre::Eval::GyreEvalContextMap * gyreCtxMap,
                      Observer observer ) {
   if( eval.context || list.gyreStatus() || list.gyreStatusMaint() ) [[unlikely]]
      return evalFullList( eval, shouldLog, list, gyreCtxMap, observer );
   for( auto i = list.rmStatus().first(); i; i.next() )
      if( !i.value()->seqStatus().empty() && !evalRouteMap( eval, *i.value(), observer.entry( i.key() ) ) ) return false;
   return true;
}

template <class Observer>
inline bool evalOneRouteMap( const ContextPtr & context, const MatchInput_ * input, const RouteMapStatus * rmStatus,
                             MatchedRouteMapSequences * matched, Observer observer ) {
   QUOIN_ASSERT( rmStatus && matched, "rmStatus && matched" );
   Quoin::ReleaseScope scope;   // a matcher may release the policy during the walk
   PlannedRoute route( input, visitsCalls<Observer> );
   Evaluation eval{ context, *matched, route };
   return evalRouteMap( eval, *rmStatus, observer );
}

template <class Observer>
inline bool evalListMatchers( const PolicyEval & policyEval, const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                              MatchedRouteMapSequences * matched, const PolicyEval::ContextMap & gyreCtxMap, Observer observer ) {
   QUOIN_ASSERT( list && matched, "list && matched" );
   Quoin::ReleaseScope scope;
   PlannedRoute route( input, visitsCalls<Observer> );
   Evaluation eval{ policyEval.context(), *matched, route };
   return evalList( eval, policyEval.shouldLogEval(), *list, gyreCtxMap.get(), observer );
}

template <class Observer>
[[gnu::noinline]] bool evalAndSet( const PolicyEval & policyEval, PlannedRoute & route, const RouteMapStatusList & list, Result_ & result,
                                   Observer observer ) {
   LocalMatched matched;
   Evaluation eval{ policyEval.context(), matched, route };
   if( !evalList( eval, policyEval.shouldLogEval(), list, nullptr, observer ) ) return false;
   applySetters( eval.context, eval.matched, result );
   return true;
}

// The plan of the only route map; null if the list has more, or if that has no plan or no sequence.
inline const RouteMapPlan * onlyPlan( const RouteMapStatusList & list ) {
   const RouteMapStatus * const only = list.onlyRouteMap();
   return only && !only->seqStatus().empty() ? only->plan() : nullptr;
}

// Whether nothing is left but to return the verdict of the step. No branch on the verdict: it would be mispredicted.
inline bool decidesAlone( const PlanStep & step, const Result_ & result ) {
   return step.isVerdict() && !result.dps();
}

// What the short way of evalRoute() has read of a route.
struct ReadInFront {
   const Ferule::IpGenPrefix * prefix;   // null if it was not read
   uint64_t key = 0;                     // of the only attribute
   bool isPermitted = false;             // by the only list
};

// Goes on with the first step of the only route map, unless its plan reads several things: then the first step is still to be found.
// `plan`: of the only route map, or null.
[[gnu::noinline]] bool evalFully( const PolicyEval & policyEval, const MatchInput_ * input, const ReadInFront & read,
                                  const RouteMapStatusList & list, Result_ & result, const RouteMapPlan * plan, const PlanStep * first ) {
   PlannedRoute route( input, visitsCalls<NoObserver> );
   route.prefixIs( read.prefix );
   if( !plan ) return evalAndSet( policyEval, route, list, result, NoObserver{} );
   const auto reads = plan->reads();
   if( reads == RouteMapPlan::Reads::oneKey ) route.keyIs( plan->onlyAttribute(), read.key );
   if( reads == RouteMapPlan::Reads::oneList ) route.answerIs( *plan->onlyList(), read.isPermitted );
   if( reads == RouteMapPlan::Reads::several ) first = firstStep( *plan, route );
   if( !first ) return false;
   if( decidesAlone( *first, result ) ) return first->left == PlanStep::Left::permit;
   if( first->left == PlanStep::Left::deny ) return false;
   if( first->left == PlanStep::Left::setters ) {
      runSetters( policyEval.context(), { &first->seq, 1 }, result );
      return true;
   }
   route.firstIs( *plan, first );
   return evalAndSet( policyEval, route, list, result, NoObserver{} );
}

// Most points of application have one route map, whose plan reads one attribute of a route and decides about most routes alone: then nothing
// is collected, and nothing is kept of the route. `prefix`: of the route, if it was read; else null.
[[gnu::always_inline]] inline bool evalRoute( const PolicyEval & policyEval, const MatchInput_ * input, const Ferule::IpGenPrefix * prefix,
                                              const RouteMapStatusList & list, Result_ & result ) {
   const RouteMapPlan * const plan = policyEval.context() ? nullptr : onlyPlan( list );
   ReadInFront read{ prefix };
   PlanStep byRow;
   const PlanStep * step = nullptr;
   switch( plan ? plan->reads() : RouteMapPlan::Reads::several ) {
      case RouteMapPlan::Reads::nothing: step = plan->firstAlways(); break;
      case RouteMapPlan::Reads::oneKey: {
         read.key = MatchKey::of( *input, plan->onlyAttribute() ).value;
         const PlanSteps * const steps = plan->keyedBy( plan->onlyAttribute(), read.key );
         step = firstOf( plan->firstAlways(), steps ? &steps->front() : nullptr );
         break;
      }
      case RouteMapPlan::Reads::oneList:
         if( !read.prefix ) read.prefix = input->getPrefixPointer();
         read.isPermitted = plan->onlyList()->permits( *read.prefix );
         step = plan->firstByOnlyList( read.isPermitted );
         break;
      case RouteMapPlan::Reads::lists:
         if( !read.prefix ) read.prefix = input->getPrefixPointer();
         step = plan->rowsDecide() && !result.dps() ? plan->verdictByRow( *read.prefix, byRow ) : plan->listedFrom( 0, *read.prefix );
         step = firstOf( plan->firstAlways(), step );
         break;
      case RouteMapPlan::Reads::several: return evalFully( policyEval, input, read, list, result, plan, nullptr );
   }
   if( step && decidesAlone( *step, result ) ) [[likely]]
      return step->left == PlanStep::Left::permit;
   return step && evalFully( policyEval, input, read, list, result, plan, step );
}

// As a list with one entry.
template <class Observer>
inline bool evalAsOnlyEntry( const PolicyEval & policyEval, const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input,
                             Observer observer ) {
   Quoin::ReleaseScope scope;
   LocalMatched matched;
   PlannedRoute route( input, visitsCalls<Observer> );
   Evaluation eval{ policyEval.context(), matched, route };
   return timed( eval.context, evalPolicyMatchersMsg, [ & ] {
      return !rmStatus || evalListEntry( eval, policyEval.shouldLogEval(), RmPrecedence::routeMapPrecedence, rmStatus, observer );
   } );
}

}   // namespace

MatchedRouteMapSequencesSnapshot::~MatchedRouteMapSequencesSnapshot() = default;
PolicyEval::~PolicyEval() = default;

// ---- one route map

bool PolicyEval::evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus,
                                       MatchedRouteMapSequences * matched ) const {
   return evalOneRouteMap( context_, input, rmStatus, matched, NoObserver{} );
}

bool PolicyEval::evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus, MatchedRouteMapSequences * matched,
                                       DecisionObserver & observer ) const {
   return evalOneRouteMap( context_, input, rmStatus, matched, Observed( observer ) );
}

// ---- setters

void PolicyEval::applyPolicySetters( const MatchedRouteMapSequences * matched, Result_ * result ) const {
   QUOIN_ASSERT( matched && result, "matched && result" );
   Quoin::ReleaseScope scope;
   applySetters( context_, *matched, *result );
}

// ---- snapshots

Quoin::Ptr<const MatchedRouteMapSequencesSnapshot>
PolicyEval::evalRouteMapMatchersSnapshot( const MatchInput_ & input, const Quoin::Ptr<const RouteMapStatus> & rmStatus ) const {
   QUOIN_ASSERT( rmStatus, "rmStatus" );
   Quoin::ReleaseScope scope;
   LocalMatched matched;
   PlannedRoute route( &input, visitsCalls<NoObserver> );
   Evaluation eval{ context_, matched, route };
   if( !evalRouteMap( eval, *rmStatus, NoObserver{} ) ) return nullptr;
   auto snapshot = Quoin::makeNode<MatchedRouteMapSequencesSnapshot>();
   uint32_t index = 0;
   for( const RouteMapSeqStatus * seq : eval.matched ) snapshot->seqStatusIs( ++index, Quoin::Ptr( seq ) );
   return snapshot;
}

void PolicyEval::applyPolicySettersSnapshot( const Quoin::Ptr<const MatchedRouteMapSequencesSnapshot> & snapshot, const Result_ & result ) {
   if( !snapshot ) return;   // a deny: nothing to apply
   Quoin::ReleaseScope scope;
   LocalMatched matched;
   for( auto i = snapshot->seqStatus().first(); i; i.next() ) matched.push_back( i.value().get() );
   applySetters( context_, matched, const_cast<Result_ &>( result ) );
}

// ---- a list

bool PolicyEval::eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result ) const {
   QUOIN_ASSERT( list && result, "list && result" );
   Quoin::ReleaseScope scope;
   return evalRoute( *this, input, nullptr, *list, *result );
}

bool PolicyEval::eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result,
                       DecisionObserver & observer ) const {
   QUOIN_ASSERT( list && result, "list && result" );
   Quoin::ReleaseScope scope;
   PlannedRoute route( input, visitsCalls<Observed> );
   return evalAndSet( *this, route, *list, *result, Observed( observer ) );
}

void PolicyEval::evalBatch( std::span<BatchRoute> routes, const Quoin::Ptr<const RouteMapStatusList> & list ) const {
   QUOIN_ASSERT( list, "list" );
   // A matcher may change the caller's handle. The policy of the first routes lives as long as their scope; only a longer batch writes its
   // use count.
   const RouteMapStatusList & policy = *list;
   const Quoin::Ptr held( routes.size() > PlanPrefetch::kMostRoutes ? &policy : nullptr );
   const auto evalNext = [ & ]( BatchRoute & next, const Ferule::IpGenPrefix * prefix ) {
      QUOIN_ASSERT( next.result, "result" );
      next.permitted = evalRoute( *this, next.input, prefix, policy, *next.result );
   };
   while( !routes.empty() ) {
      Quoin::ReleaseScope scope;   // not for all routes: what the evaluations release would wait
      std::array<const Ferule::IpGenPrefix *, PlanPrefetch::kMostRoutes> prefixes{};
      const auto group = routes.first( std::min( routes.size(), prefixes.size() ) );
      if( const PlanPrefetch prefetch( context() ? nullptr : &policy ); prefetch.hasLists() ) {
         std::ranges::transform( group, prefixes.begin(), []( const BatchRoute & route ) { return route.input->getPrefixPointer(); } );
         prefetch( std::span( prefixes ).first( group.size() ) );
      }
      for( size_t i = 0; i < group.size(); ++i ) evalNext( group[ i ], prefixes[ i ] );
      routes = routes.subspan( group.size() );
   }
}

bool PolicyEval::evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                                     MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap ) const {
   return evalListMatchers( *this, input, list, matched, gyreCtxMap, NoObserver{} );
}

bool PolicyEval::evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                                     MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap,
                                     DecisionObserver & observer ) const {
   return evalListMatchers( *this, input, list, matched, gyreCtxMap, Observed( observer ) );
}

bool PolicyEval::evalPeerFilter( const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input ) const {
   return evalAsOnlyEntry( *this, rmStatus, input, NoObserver{} );
}

bool PolicyEval::evalPeerFilter( const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input,
                                 DecisionObserver & observer ) const {
   return evalAsOnlyEntry( *this, rmStatus, input, Observed( observer ) );
}

bool PolicyEval::evalGyre( const Quoin::Ptr<const Gyre::FunctionStatusBase> & function,
                           const Quoin::Ptr<Gyre::Eval::EvalContextBase> & ctx ) const {
   Quoin::ReleaseScope scope;
   RouteMapStatusList list;
   list.gyreStatusIs( function );
   const auto map = Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( RmPrecedence::routeMapPrecedence, ctx );
   LocalMatched matched;
   PlannedRoute route( nullptr, visitsCalls<NoObserver> );
   Evaluation eval{ context_, matched, route };
   return evalList( eval, shouldLogEval_, list, map.get(), NoObserver{} );
}

// ---- logs

void PolicyEval::shouldLogEvalIs( bool shouldLog ) {
   if( shouldLog == shouldLogEval_ ) return;
   shouldLogEval_ = shouldLog;
   resetEvaluationLog();
}

void PolicyEval::resetEvaluationLog() {
   if( context_ ) context_->evaluationLogDelAll();
}

const Plinth::Queue<PolicyEvalContext::FinishedLogPtr> * PolicyEval::evaluationLogs() const noexcept {
   return context_ ? &context_->evaluationLog() : nullptr;
}

}   // namespace Routing::Policy
