#include "command/RouteEvaluator.h"

#include "command/PolicyFiles.h"
#include "text/Printable.h"

namespace Agent {

using Acl::MatchPermit;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::Policy::MatchedRouteMapSequences;
using Routing::Policy::RouteMapSeqStatus;
using Routing::Policy::RouteMapStatus;

namespace {

// The route map with permits in place of its own denies. An evaluation tells which sequences permitted, not which one denied: on the
// twin the denying sequence comes last among those that matched.
Ptr<const RouteMapStatus> twinOf( const RouteMapStatus & routeMap ) {
   const auto twin = makeNode<RouteMapStatus>( routeMap.name() );
   twin->updateFeaturesOnSeqStatusChangeIs( false );
   for( auto i = routeMap.seqStatus().first(); i; i.next() ) {
      if( i.value()->matchAction() == MatchPermit::permit ) {
         twin->seqStatusIs( i.value() );
         continue;
      }
      const auto permitting = RouteMapSeqStatus::newFrom( i.value(), i.key() );
      permitting->matchActionIs( MatchPermit::permit );
      permitting->continueSeqIs( nullptr );   // a deny ends the route map
      twin->seqStatusIs( permitting );
   }
   return twin;
}

}   // namespace

bool sameRoute( const AgentResult & a, const AgentResult & b ) {
   return a.preference() == b.preference() && a.metric() == b.metric() && a.tag() == b.tag() && a.localPreference == b.localPreference &&
      a.communities == b.communities;
}

RouteEvaluator::RouteEvaluator( const Ptr<const RouteMapStatus> & routeMap ) : routeMap_( routeMap ), twin_( twinOf( *routeMap ) ) {
   addSequences( *routeMap_ );
   for( auto i = twin_->seqStatus().first(); i; i.next() ) {
      const auto real = routeMap_->seqStatus( i.key() );
      indexOf_.emplace( i.value().get(), indexOf_.at( real.get() ) );
   }
}

void RouteEvaluator::addSequences( const RouteMapStatus & routeMap ) {
   const std::string name( routeMap.name().view() ), shown = printableName( name );
   for( auto i = routeMap.seqStatus().first(); i; i.next() ) {
      const bool isNew = indexOf_.emplace( i.value().get(), static_cast<uint32_t>( sequences_.size() ) ).second;
      if( !isNew ) return;   // a route map that was met before
      sequences_.push_back( { name, shown, i.key(), i.value()->matchAction() == MatchPermit::permit } );
   }
   for( auto i = routeMap.seqStatus().first(); i; i.next() )
      if( const auto * called = i.value()->subRouteMapRawPtr() ) addSequences( *called );
}

void RouteEvaluator::evaluate( const TableRoute & route, RouteAnswer & answer ) const {
   answer.sequences.clear();
   answer.permitted = false;
   const AgentRoute input( route );
   MatchedRouteMapSequences matched;
   if( !eval_.evalRouteMapMatchers( &input, twin_.get(), &matched ) ) return;
   const uint32_t last = indexOf_.find( matched.back() )->second;
   if( !sequences_[ last ].permits ) {
      answer.sequences.push_back( last );
      return;
   }
   answer.permitted = true;
   for( const auto * sequence : matched ) answer.sequences.push_back( indexOf_.find( sequence )->second );
   answer.result.routeIs( route );
   eval_.applyPolicySetters( &matched, &answer.result );
}

}   // namespace Agent
