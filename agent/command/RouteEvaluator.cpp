#include "command/RouteEvaluator.h"

#include "command/PolicyFiles.h"
#include "policy/DecisionObserver.h"
#include "policy/MatchedRouteMapSequences.h"
#include "text/Printable.h"

namespace Agent {

using Acl::MatchPermit;
using Quoin::Ptr;
using namespace Routing::Policy;

namespace {

// Keeps the deciding sequence of the evaluated route map.
struct DecidingSequence final : DecisionObserver {
   void decided( const Decision & decision ) override {
      if( decision.depth == 0 ) sequence = decision.sequence;
   }
   const RouteMapSeqStatus * sequence = nullptr;
};

}   // namespace

bool sameRoute( const AgentResult & a, const AgentResult & b ) {
   return a.preference() == b.preference() && a.metric() == b.metric() && a.tag() == b.tag() && a.localPreference == b.localPreference &&
      a.communities == b.communities;
}

RouteEvaluator::RouteEvaluator( const Ptr<const RouteMapStatus> & routeMap ) : routeMap_( routeMap ) {
   addSequences( *routeMap_ );
}

void RouteEvaluator::addSequences( const RouteMapStatus & routeMap ) {
   const std::string name( routeMap.name().view() ), shown = printableName( name );
   for( auto i = routeMap.seqStatus().first(); i; i.next() ) {
      const bool isNew = indexOf_.emplace( i.value().get(), static_cast<uint32_t>( sequences_.size() ) ).second;
      if( !isNew ) return;   // the route map has been visited already
      sequences_.push_back( { name, shown, i.key(), i.value()->matchAction() == MatchPermit::permit } );
   }
   for( auto i = routeMap.seqStatus().first(); i; i.next() )
      if( const auto * called = i.value()->subRouteMapRawPtr() ) addSequences( *called );
}

void RouteEvaluator::evaluate( const TableRoute & route, RouteAnswer & answer ) const {
   answer.sequences.clear();
   const AgentRoute input( route );
   MatchedRouteMapSequences matched;
   DecidingSequence deciding;
   answer.permitted = eval_.evalRouteMapMatchers( &input, routeMap_.get(), &matched, deciding );
   if( !answer.permitted ) {
      if( deciding.sequence ) answer.sequences.push_back( indexOf_.find( deciding.sequence )->second );
      return;
   }
   for( const auto * sequence : matched ) answer.sequences.push_back( indexOf_.find( sequence )->second );
   answer.result.routeIs( route );
   eval_.applyPolicySetters( &matched, &answer.result );
}

}   // namespace Agent
