#include "policy/Policy.h"

#include <optional>

#include "substrate/quoin/Assert.h"
#include "substrate/trailmark/Trailmark.h"

namespace Routing::Policy {

namespace {

// A block timer, if timers are asked for.
class Timer {
 public:
   Timer( bool asked, const Trailmark::MsgDesc & message ) {
      if( asked ) [[unlikely]]
         timer_.emplace( message );
   }

 private:
   std::optional<Trailmark::BlockTimer> timer_;
};

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

}  // namespace

MatchedRouteMapSequencesSnapshot::~MatchedRouteMapSequencesSnapshot() = default;
PolicyEval::~PolicyEval() = default;

// ---- one route map

bool PolicyEval::evalRouteMapMatchers( const MatchInput_ * input, const RouteMapStatus * rmStatus, MatchedRouteMapSequences * matched ) const {
   Quoin::ReleaseScope scope;   // a matcher may drop what the walk stands on
   return evalRouteMap( input, *rmStatus, *matched );
}

bool PolicyEval::evalRouteMap( const MatchInput_ * input, const RouteMapStatus & rmStatus, MatchedRouteMapSequences & matched ) const {
   const Timer timer( timed(), evalRouteMapMatchersMsg );
   return walkSequences( input, rmStatus, matched );
}

bool PolicyEval::walkSequences( const MatchInput_ * input, const RouteMapStatus & rmStatus, MatchedRouteMapSequences & matched ) const {
   // The log of this route map: on top of the call stack, since whoever called has put it there.
   const Quoin::Ptr<PolicyEvaluationLog> log = context_ && context_->log() ? context_->callStackPeek() : nullptr;
   bool continued = false;
   for( auto cursor = rmStatus.seqStatus().first(); cursor; ) {
      const RouteMapSeqStatus & seq = *cursor.value();
      SeqLog * seqLog = log ? log->addSeq( cursor.value() ).get() : nullptr;
      if( !matchersPass( input, seq, seqLog ) || !subRouteMapPasses( input, seq, matched, seqLog ) ) {
         cursor.next();
         continue;
      }
      const bool permit = seq.matchAction() != Acl::MatchPermit::deny;
      if( log ) {
         seqLog->matchActionDenyIs( !permit );
         seqLog->permitResultIs( permit );
         log->permitResultIs( permit );
      }
      if( !permit ) return false;   // also behind a continue
      matched.push_back( &seq );
      const RouteMapSeqStatus * target = seq.continueSeq().get();
      if( !target ) return true;
      if( log ) seqLog->continueSeqIs( target->seqno() );
      continued = true;
      cursor = rmStatus.seqStatus().lowerBound( target->seqno() );   // where the target has gone, the next higher
   }
   if( continued ) return true;
   if( log ) log->defaultDenyIs( true );
   return false;
}

// Whether all matchers hold; they are asked up to the first that does not.
inline bool PolicyEval::matchersPass( const MatchInput_ * input, const RouteMapSeqStatus & seq, SeqLog * log ) const {
   if( log && seq.matcher().empty() ) log->hadNoMatchersIs( true );
   for( auto i = seq.matcher().first(); i; i.next() ) {
      if( i.value()->match( input, context_ ) ) continue;
      if( log ) log->failedMatcherIs( i.key() );
      return false;
   }
   return true;
}

// Whether the sequence's sub route map lets it pass. What that matched stays in `matched` only if it permitted and is not inverted.
inline bool PolicyEval::subRouteMapPasses( const MatchInput_ * input, const RouteMapSeqStatus & seq, MatchedRouteMapSequences & matched,
                                           SeqLog * log ) const {
   const RouteMapStatus * sub = seq.subRouteMapRawPtr();
   if( !sub || sub->seqStatus().empty() ) return true;
   const Timer timer( timed(), evalSubRouteMapMatchersMsg );
   const size_t matchedBefore = matched.size();
   if( log ) context_->callStackPush( log->subPolicyEvaluationLog() );
   const bool subResult = evalRouteMap( input, *sub, matched );
   if( log ) {
      context_->callStackPop();
      log->subRouteMapResultIs( subResult );
      log->subRouteMapInvertResultIs( seq.subInvert() );
   }
   if( !subResult || seq.subInvert() ) matched.resize( matchedBefore );
   return subResult != seq.subInvert();
}

// ---- setters

void PolicyEval::applyPolicySetters( const MatchedRouteMapSequences * matched, Result_ * result ) const {
   applySetters( *matched, *result );
}

void PolicyEval::applySetters( const MatchedRouteMapSequences & matched, Result_ & result ) const {
   const Timer timer( timed(), applyPolicySettersMsg );
   for( const RouteMapSeqStatus * seq : matched )
      for( auto i = seq->setter().first(); i; i.next() ) i.value()->setValue( &result );
   if( !result.dps() ) return;
   const Quoin::Ptr<DeferredPolicySetters> dps = result.dps();
   auto & deferred = dps->setters();
   for( size_t i = 0; i < deferred.size(); ++i ) deferred[ i ]->deferredSetValue( &result );   // which may register more
   deferred.clear();
}

// ---- snapshots

Quoin::Ptr<const MatchedRouteMapSequencesSnapshot> PolicyEval::evalRouteMapMatchersSnapshot(
   const MatchInput_ & input, const Quoin::Ptr<const RouteMapStatus> & rmStatus ) const {
   Quoin::ReleaseScope scope;
   MatchedRouteMapSequences matched;
   if( !evalRouteMap( &input, *rmStatus, matched ) ) return nullptr;
   auto snapshot = Quoin::makeNode<MatchedRouteMapSequencesSnapshot>();
   uint32_t index = 0;
   for( const RouteMapSeqStatus * seq : matched ) snapshot->seqStatusIs( ++index, Quoin::Ptr( seq ) );
   return snapshot;
}

void PolicyEval::applyPolicySettersSnapshot( const Quoin::Ptr<const MatchedRouteMapSequencesSnapshot> & snapshot, const Result_ & result ) {
   MatchedRouteMapSequences matched;
   for( auto i = snapshot->seqStatus().first(); i; i.next() ) matched.push_back( i.value().get() );
   applySetters( matched, const_cast<Result_ &>( result ) );
}

// ---- a list

bool PolicyEval::eval( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list, Result_ * result ) const {
   Quoin::ReleaseScope scope;
   MatchedRouteMapSequences matched;
   if( !evalList( input, *list, matched, nullptr ) ) return false;
   applySetters( matched, *result );
   return true;
}

bool PolicyEval::evalPolicyMatchers( const MatchInput_ * input, const Quoin::Ptr<const RouteMapStatusList> & list,
                                     MatchedRouteMapSequences * matched, const ContextMap & gyreCtxMap ) const {
   Quoin::ReleaseScope scope;
   return evalList( input, *list, *matched, gyreCtxMap.get() );
}

bool PolicyEval::evalPeerFilter( const Quoin::Ptr<const RouteMapStatus> & rmStatus, const MatchInput_ * input ) const {
   Quoin::ReleaseScope scope;
   RouteMapStatusList list;
   list.rmStatusIs( RmPrecedence::routeMapPrecedence, rmStatus );
   MatchedRouteMapSequences matched;
   return evalList( input, list, matched, nullptr );
}

bool PolicyEval::evalGyre( const Quoin::Ptr<const Gyre::FunctionStatusBase> & function,
                           const Quoin::Ptr<Gyre::Eval::EvalContextBase> & ctx ) const {
   Quoin::ReleaseScope scope;
   RouteMapStatusList list;
   list.gyreStatusIs( function );
   const auto map = Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( RmPrecedence::routeMapPrecedence, ctx );
   MatchedRouteMapSequences matched;
   return evalList( nullptr, list, matched, map.get() );
}

bool PolicyEval::evalList( const MatchInput_ * input, const RouteMapStatusList & list, MatchedRouteMapSequences & matched,
                           const Gyre::Eval::GyreEvalContextMap * gyreCtxMap ) const {
   constexpr RmPrecedence kRouteMap = RmPrecedence::routeMapPrecedence;
   constexpr RmPrecedence kMaint = RmPrecedence::routeMapMaintPrecedence;
   const Timer timer( timed(), evalPolicyMatchersMsg );
   const bool gyrePresent = bool( list.gyreStatus() );
   const bool gyreMaintPresent = bool( list.gyreStatusMaint() );
   QUOIN_ASSERT( !gyrePresent || gyreCtxMap, "!gyrePresent || gyreCtxMap" );
   bool gyrePending = gyrePresent;
   bool gyreMaintPending = gyreMaintPresent;
   auto runGyre = [ & ] { return evalFunction( *list.gyreStatus(), kRouteMap, matched, gyreCtxMap ); };
   auto runGyreMaint = [ & ] { return evalFunction( *list.gyreStatusMaint(), kMaint, matched, gyreCtxMap ); };

   for( auto i = list.rmStatus().first(); i; i.next() ) {
      const RmPrecedence p = i.key();
      if( gyrePending && p.value() > 3 ) {
         gyrePending = false;
         if( !runGyre() ) return false;
      }
      if( gyreMaintPending && p.value() > 5 ) {
         gyreMaintPending = false;
         if( !runGyreMaint() ) return false;
      }
      // A function stands in for the route map of its role; what has nothing to say neither permits nor denies.
      if( ( gyrePresent && p == kRouteMap ) || ( gyreMaintPresent && p == kMaint ) || i.value()->seqStatus().empty() ) continue;
      if( !evalListEntry( input, p, i.value(), matched ) ) return false;
   }
   if( gyrePending && !runGyre() ) return false;
   return !gyreMaintPending || runGyreMaint();
}

bool PolicyEval::evalListEntry( const MatchInput_ * input, RmPrecedence p, const Quoin::Ptr<const RouteMapStatus> & status,
                                MatchedRouteMapSequences & matched ) const {
   if( !shouldLogEval_ || !context_ || p != RmPrecedence::routeMapPrecedence ) return evalRouteMap( input, *status, matched );
   // The log goes back to null also when a matcher throws; only a finished one is queued.
   struct Installed {
      PolicyEvalContext & context;
      ~Installed() { context.logIs( nullptr ); }
   } installed{ *context_ };
   auto log = Quoin::makeNode<PolicyEvaluationLog>( status );
   context_->logIs( log );
   const bool permit = evalRouteMap( input, *status, matched );
   context_->evaluationLogEnq( log );
   return permit;
}

bool PolicyEval::evalFunction( const Gyre::FunctionStatusBase & function, RmPrecedence p, MatchedRouteMapSequences & matched,
                               const Gyre::Eval::GyreEvalContextMap * gyreCtxMap ) const {
   if( function.undefined() ) return false;
   const auto gyreCtx = gyreCtxMap ? gyreCtxMap->context( p ) : nullptr;
   QUOIN_ASSERT( gyreCtx && gyreCtx->result(), "gyreCtx->result()" );
   applySetters( matched, *gyreCtx->result() );
   matched.clear();   // they must not run a second time
   gyreCtx->shouldLogEvalIs( shouldLogEval_ );
   const auto code = function.aet()->evaluate( gyreCtx );
   if( shouldLogEval_ ) {
      auto log = gyreCtx->takeEvaluationLog();
      if( log && context_ ) context_->evaluationLogEnq( log );
      gyreCtx->shouldLogEvalIs( false );
   }
   return code == Gyre::Eval::ResultCode::permit;
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

}  // namespace Routing::Policy
