#include "command/RouteEvaluator.h"

#include <utility>

#include "command/PolicyFiles.h"
#include "dialect/Numbers.h"
#include "live/Step.h"
#include "policy/DecisionObserver.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/RouteMapStatusList.h"
#include "text/Printable.h"

namespace Agent {

using Acl::MatchPermit;
using Quoin::Ptr;
using namespace Routing::Policy;

namespace {

// Keeps the deciding sequence of the evaluated route map, and of its last callee.
struct DecidingSequence final : DecisionObserver {
   void decided( const Decision & decision ) override {
      if( decision.depth == 0 ) sequence = decision.sequence;
      if( decision.depth == 1 ) ofCallee = decision.sequence;
   }
   const RouteMapSeqStatus * sequence = nullptr;
   const RouteMapSeqStatus * ofCallee = nullptr;
};

}   // namespace

bool sameRoute( const AgentResult & a, const AgentResult & b ) {
   return a.preference() == b.preference() && a.metric() == b.metric() && a.tag() == b.tag() && a.route == b.route;
}

RouteEvaluator::RouteEvaluator( const Ptr<const RouteMapStatus> & routeMap, Dialect dialect, EvaluatorContext context )
      : dialect_( dialect ),
        isOfFilters_( context.filters ),
        isSent_( context.isSent ),
        leftOut_( std::move( context.leftOut ) ),
        routeMap_( routeMap ) {
   if( context.filters ) {
      addFilters( *context.filters );
      addCallees( *routeMap_ );
   } else {
      addSequences( *routeMap_ );
   }
}

// A filter that lets a route pass is not told. A route map is told by its own sequences, and as a filter only if it denies at its end.
void RouteEvaluator::addFilters( const RouteMapText & filters ) {
   const std::string name( routeMap_->name().view() );
   for( auto i = routeMap_->seqStatus().first(); i; i.next() ) {
      const uint32_t number = dialect_ == Dialect::frr ? operatorsNumber( i.key() ) : i.key();
      const auto found = filters.sequences.find( number );
      if( found == filters.sequences.end() || found->second.continueTo ) continue;
      const SequenceText & text = found->second;
      if( text.call && i.key() != afterCallNumber( number ) ) continue;
      const auto index = static_cast<uint32_t>( sequences_.size() );
      indexOf_.emplace( i.value().get(), index );
      if( const auto * step = stepOf( *i.value() ) ) indexOfStep_.emplace( step, index );
      sequences_.push_back( { name, text.description, 0, text.action == MatchPermit::permit && !text.call } );
   }
}

void RouteEvaluator::addSequences( const RouteMapStatus & routeMap ) {
   const std::string name( routeMap.name().view() ), shown = printableName( name );
   for( auto i = routeMap.seqStatus().first(); i; i.next() )
      if( !addSequence( name, shown, *i.value() ) ) return;   // the route map has been visited already
   addCallees( routeMap );
}

void RouteEvaluator::addCallees( const RouteMapStatus & routeMap ) {
   for( auto i = routeMap.seqStatus().first(); i; i.next() )
      if( const auto * called = i.value()->subRouteMapRawPtr() ) addSequences( *called );
}

// Returns false if the sequence has been added before. The compiled sequences of one operator's sequence share its index.
bool RouteEvaluator::addSequence( const std::string & routeMap, const std::string & shownName, const RouteMapSeqStatus & sequence ) {
   const bool isFrr = dialect_ == Dialect::frr;
   const uint32_t number = isFrr ? operatorsNumber( sequence.seqno() ) : sequence.seqno();
   if( isFrr && number == 0 ) return true;   // the end of the route map
   const bool follows = isFrr && sequence.seqno() == afterCallNumber( number );
   const auto index = static_cast<uint32_t>( follows ? sequences_.size() - 1 : sequences_.size() );
   if( !indexOf_.emplace( &sequence, index ).second ) return false;
   if( follows ) return true;
   sequences_.push_back( { routeMap, shownName, number, sequence.matchAction() == MatchPermit::permit } );
   if( const auto * step = stepOf( sequence ) ) indexOfStep_.emplace( step, index );
   return true;
}

void RouteEvaluator::evaluate( const TableRoute & route, RouteAnswer & answer ) const {
   answer.sequences.clear();
   answer.working.routeIs( route, isSent_ );
   MatchedRouteMapSequences matched;
   DecidingSequence deciding;
   answer.permitted = eval_.evalRouteMapMatchers( &answer.working.input(), routeMap_.get(), &matched, deciding );
   if( answer.permitted ) return permitted( matched, route, answer );
   if( isOfFilters_ && tell( indexOf_, deciding.ofCallee, answer ) ) return;
   tell( indexOf_, deciding.sequence, answer );
}

template <class Indices, class Key>
bool RouteEvaluator::tell( const Indices & indices, const Key * sequence, RouteAnswer & answer ) {
   const auto found = indices.find( sequence );
   if( found != indices.end() ) answer.sequences.push_back( found->second );
   return found != indices.end();
}

void RouteEvaluator::permitted( const Sequences & matched, const TableRoute & route, RouteAnswer & answer ) const {
   if( dialect_ == Dialect::native ) {
      for( const auto * sequence : matched ) tell( indexOf_, sequence, answer );
      answer.result.routeIs( route );
      eval_.applyPolicySetters( &matched, &answer.result );
   } else {
      for( const auto * step : answer.working.applied() ) tell( indexOfStep_, step, answer );
      answer.result.routeIs( answer.working.route() );
      answer.result.preferenceIs( answer.working.distance() );
   }
}

Ptr<const PolicyEvaluationLog> RouteEvaluator::logOf( const TableRoute & route, WorkingRoute & working ) const {
   working.routeIs( route, isSent_ );
   PolicyEval eval;
   eval.contextIs( Quoin::makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   const auto policy = Quoin::makeNode<RouteMapStatusList>();
   policy->rmStatusIs( Routing::RouteMap::RmPrecedence::routeMapPrecedence, routeMap_ );
   AgentResult result( route );
   eval.eval( &working.input(), policy, &result );
   return Quoin::dynamicPtrCast<const PolicyEvaluationLog>( eval.context()->evaluationLogDeq() );
}

}   // namespace Agent
