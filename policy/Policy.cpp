#include "policy/Policy.h"

#include <algorithm>
#include <functional>
#include <unordered_set>
#include <utility>

#include "policy/DecisionObserver.h"
#include "policy/MatchedRouteMapSequences.h"
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
   void visit( const Quoin::Ptr<const RouteMapSeqStatus> & ) {}
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
   void visit( const Quoin::Ptr<const RouteMapSeqStatus> & seq ) {
      seq_ = log_.addSeq( seq );
      if( seq->matcher().empty() ) seq_->hadNoMatchersIs( true );
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
   void visit( const Quoin::Ptr<const RouteMapSeqStatus> & seq ) {
      Log::visit( seq );
      visited_ = seq.get();
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
// For a match that never leaves this file. Sixteen inline entries cover ordinary policies with callees, continues and several list
// entries.
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

// ---- one route map

template <class Observer>
bool evalRouteMap( const ContextPtr & context, const MatchInput_ * input, const RouteMapStatus & rmStatus, Matched & matched,
                   Observer observer );

// Whether all matchers match. Stops at the first that does not.
template <class Log>
inline bool matchersPass( const ContextPtr & context, const MatchInput_ * input, const RouteMapSeqStatus & seq, Log & log ) {
   for( auto i = seq.matcher().first(); i; i.next() ) {
      if( i.value()->match( input, context ) ) continue;
      log.matcherFailed( i.key() );
      return false;
   }
   return true;
}

// Whether the callee lets the sequence match. The sequences of the callee stay in `matched` only if it permitted and is not
// inverted.
template <class Log>
bool subRouteMapPasses( const ContextPtr & context, const MatchInput_ * input, const RouteMapStatus & rmStatus,
                        const RouteMapSeqStatus & seq, const RouteMapStatus & sub, Matched & matched, Log & log ) {
   QUOIN_ASSERT( &sub != &rmStatus, "a route map calls itself" );
   return timed( context, evalSubRouteMapMatchersMsg, [ & ] {
      const size_t matchedBefore = matched.size();
      const bool inverted = seq.subInvert();
      typename Log::Call call( log );
      const bool subResult = evalRouteMap( context, input, sub, matched, log.callee( seq, inverted ) );
      call.returned( subResult, inverted );
      if( !subResult || inverted ) matched.resize( matchedBefore );
      return subResult != inverted;
   } );
}

// Walks the sequences of one route map, the same way with and without a log and an observer: `Log` is NoLog, WriteLog, or Noting over one
// of them.
template <class Log>
bool walkSequences( const ContextPtr & context, const MatchInput_ * input, const RouteMapStatus & rmStatus, Matched & matched, Log log ) {
   bool continued = false;
   for( auto cursor = rmStatus.seqStatus().first(); cursor; ) {
      const auto & handle = ( *cursor ).second;
      const RouteMapSeqStatus & seq = *handle;
      log.visit( handle );
      const RouteMapStatus * sub;
      if( !matchersPass( context, input, seq, log ) ||
          ( ( sub = seq.subRouteMapRawPtr() ) && !sub->seqStatus().empty() &&
            !subRouteMapPasses( context, input, rmStatus, seq, *sub, matched, log ) ) ) {
         cursor.next();
         continue;
      }
      if( seq.matchAction() == Acl::MatchPermit::deny ) {   // also after a continue
         log.deny();
         return false;
      }
      log.permit();
      matched.push_back( &seq );
      const RouteMapSeqStatus * target = seq.continueSeq().get();
      if( !target ) return true;
      log.continueTo( target->seqno() );
      continued = true;
      cursor = rmStatus.seqStatus().lowerBound( target->seqno() );   // a deleted target means the next higher sequence
   }
   if( !continued ) log.defaultDeny();
   return continued;
}

template <class Observer>
bool evalRouteMapInContext( const ContextPtr & context, const MatchInput_ * input, const RouteMapStatus & rmStatus, Matched & matched,
                            typename Observer::Ref observer ) {
   return timed( context, evalRouteMapMatchersMsg, [ &, observer ] {
      if( context->log() )
         if( auto log = context->callStackPeek() )
            return walkSequences( context, input, rmStatus, matched, noting( WriteLog( *context, *log ), observer ) );
      return walkSequences( context, input, rmStatus, matched, noting( NoLog{}, observer ) );
   } );
}

// Without a context, no timer and no log is possible. Almost every route takes this path.
template <class Observer>
inline bool evalRouteMap( const ContextPtr & context, const MatchInput_ * input, const RouteMapStatus & rmStatus, Matched & matched,
                          Observer observer ) {
   if( !context ) [[likely]]
      return observer.ended( rmStatus,
                             walkSequences( context, input, rmStatus, matched, noting( NoLog{}, typename Observer::Ref( observer ) ) ) );
   return observer.ended( rmStatus, evalRouteMapInContext<Observer>( context, input, rmStatus, matched, observer ) );
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

void applySetters( const ContextPtr & context, const Matched & matched, Result_ & result ) {
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

// ---- a list

bool evalFunction( const PolicyEval & eval, const Gyre::FunctionStatusBase & function, RmPrecedence p, Matched & matched,
                   const Gyre::Eval::GyreEvalContextMap * gyreCtxMap ) {
   if( function.undefined() ) return false;
   const auto gyreCtx = gyreCtxMap ? gyreCtxMap->context( p ) : nullptr;
   QUOIN_ASSERT( gyreCtx && gyreCtx->result(), "gyreCtx->result()" );
   applySetters( eval.context(), matched, *gyreCtx->result() );
   matched.clear();   // their setters must not run twice
   gyreCtx->shouldLogEvalIs( eval.shouldLogEval() );
   struct Flag {
      Gyre::Eval::EvalContextBase & context;
      bool on;
      ~Flag() {
         if( on ) context.shouldLogEvalIs( false );
      }
   } flag{ *gyreCtx, eval.shouldLogEval() };
   const auto code = function.aet()->evaluate( gyreCtx );
   if( flag.on ) {
      auto log = gyreCtx->takeEvaluationLog();   // null if the context keeps no log
      if( log && eval.context() ) eval.context()->evaluationLogEnq( log );
   }
   return code == Gyre::Eval::ResultCode::permit;
}

template <class Observer>
bool evalListEntry( const PolicyEval & eval, const MatchInput_ * input, RmPrecedence p, const Quoin::Ptr<const RouteMapStatus> & status,
                    Matched & matched, Observer observer ) {
   if( status->seqStatus().empty() ) return true;   // a route map without sequences does not affect the answer
   const ContextPtr & context = eval.context();
   if( !context ) return evalRouteMap( context, input, *status, matched, observer.entry( p ) );
   if( !eval.shouldLogEval() || p != RmPrecedence::routeMapPrecedence ) {
      const PolicyEvalContext::LogPause pause( context );   // a log of the client does not record lists
      return evalRouteMap( context, input, *status, matched, observer.entry( p ) );
   }
   // The destructor uninstalls the log, also after a throw. Only a finished log is queued.
   struct Installed {
      Quoin::Ptr<PolicyEvalContext> context;
      ~Installed() { context->logIs( nullptr ); }
   } installed{ context };
   const auto log = Quoin::makeNode<PolicyEvaluationLog>( status );
   installed.context->logIs( log );
   const bool permit = evalRouteMap( context, input, *status, matched, observer.entry( p ) );
   installed.context->evaluationLogEnq( log );
   return permit;
}

template <class Observer>
bool evalWholeList( const PolicyEval & eval, const MatchInput_ * input, const RouteMapStatusList & list, Matched & matched,
                    const Gyre::Eval::GyreEvalContextMap * gyreCtxMap, Observer observer ) {
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
         const bool permitted = evalFunction( eval, *role.function, role.precedence, matched, gyreCtxMap );
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
      if( !displaced( p ) && !evalListEntry( eval, input, p, i.value(), matched, observer ) ) return false;
      i.next();
   }
   return runPending( ~0u );
}

template <class Observer>
bool evalList( const PolicyEval & eval, const MatchInput_ * input, const RouteMapStatusList & list, Matched & matched,
               const Gyre::Eval::GyreEvalContextMap * gyreCtxMap, Observer observer ) {
   if( !eval.context() && !list.gyreStatus() && !list.gyreStatusMaint() ) [[likely]] {
      for( auto i = list.rmStatus().first(); i; i.next() )
         if( !i.value()->seqStatus().empty() && !evalRouteMap( eval.context(), input, *i.value(), matched, observer.entry( i.key() ) ) )
            return false;
      return true;
   }
   return timed( eval.context(), evalPolicyMatchersMsg,
                 [ &, observer ] { return evalWholeList( eval, input, list, matched, gyreCtxMap, observer ); } );
}

template <class Observer>
inline bool evalAndSet( const PolicyEval & eval, const MatchInput_ * input, const RouteMapStatusList & list, Result_ & result,
                        Observer observer ) {
   Quoin::ReleaseScope scope;
   LocalMatched matched;
   if( !evalList( eval, input, list, matched, nullptr, observer ) ) return false;
   applySetters( eval.context(), matched, result );
   return true;
}

template <class Observer>
inline bool evalAsOnlyEntry( const PolicyEval & eval, const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input,
                             Observer observer ) {
   Quoin::ReleaseScope scope;
   RouteMapStatusList list;
   list.rmStatusIs( RmPrecedence::routeMapPrecedence, rmStatus );
   LocalMatched matched;
   return evalList( eval, input, list, matched, nullptr, observer );
}

}   // namespace

MatchedRouteMapSequencesSnapshot::~MatchedRouteMapSequencesSnapshot() = default;
PolicyEval::~PolicyEval() = default;

// ---- one route map

bool PolicyEval::evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus,
                                       MatchedRouteMapSequences * matched ) const {
   QUOIN_ASSERT( rmStatus && matched, "rmStatus && matched" );
   Quoin::ReleaseScope scope;   // a matcher may release the policy during the walk
   return evalRouteMap( context_, input, *rmStatus, *matched, NoObserver{} );
}

bool PolicyEval::evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus, MatchedRouteMapSequences * matched,
                                       DecisionObserver & observer ) const {
   QUOIN_ASSERT( rmStatus && matched, "rmStatus && matched" );
   Quoin::ReleaseScope scope;
   return evalRouteMap( context_, input, *rmStatus, *matched, Observed( observer ) );
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
   if( !evalRouteMap( context_, &input, *rmStatus, matched, NoObserver{} ) ) return nullptr;
   auto snapshot = Quoin::makeNode<MatchedRouteMapSequencesSnapshot>();
   uint32_t index = 0;
   for( const RouteMapSeqStatus * seq : matched ) snapshot->seqStatusIs( ++index, Quoin::Ptr( seq ) );
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
   return evalAndSet( *this, input, *list, *result, NoObserver{} );
}

bool PolicyEval::eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result,
                       DecisionObserver & observer ) const {
   QUOIN_ASSERT( list && result, "list && result" );
   return evalAndSet( *this, input, *list, *result, Observed( observer ) );
}

bool PolicyEval::evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                                     MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap ) const {
   QUOIN_ASSERT( list && matched, "list && matched" );
   Quoin::ReleaseScope scope;
   return evalList( *this, input, *list, *matched, gyreCtxMap.get(), NoObserver{} );
}

bool PolicyEval::evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                                     MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap,
                                     DecisionObserver & observer ) const {
   QUOIN_ASSERT( list && matched, "list && matched" );
   Quoin::ReleaseScope scope;
   return evalList( *this, input, *list, *matched, gyreCtxMap.get(), Observed( observer ) );
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
   return evalList( *this, nullptr, list, matched, map.get(), NoObserver{} );
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
