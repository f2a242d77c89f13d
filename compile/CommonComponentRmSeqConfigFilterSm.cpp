#include "compile/CommonComponentRmSeqConfigFilterSm.h"

#include <utility>

#include "compile/RouteMapLoopDetect.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using Routing::RouteMap::Config;
using Routing::RouteMap::MapEntry;

namespace {

const Plinth::TraceHandle trace( "CommonComponentRmSeqConfigFilterSm" );

}   // namespace

CommonComponentRmSeqConfigFilterSm::CommonComponentRmSeqConfigFilterSm(
   const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig, const Quoin::Ptr<MapEntry> & filteredSeqConfig,
   Config * filteredRmConfig, const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier, std::span<const MatchOptionRow> ownOptions )
      : CommonComponentRmSeqConfigSmBase( rmName, seqConfig, ownOptions ),
        filteredSeqConfig_( filteredSeqConfig ),
        filteredRmConfig_( filteredRmConfig ),
        routeMapBlockedSequenceList_( routeMapBlockedSequenceList ),
        routeMapUpdateNotifier_( routeMapUpdateNotifier ) {
   QUOIN_ASSERT( filteredSeqConfig_, "filteredSeqConfig()" );
   QUOIN_ASSERT( filteredRmConfig_, "filteredRmConfig()" );
   QUOIN_ASSERT( routeMapBlockedSequenceList_, "routeMapBlockedSequenceList()" );
   QUOIN_ASSERT( routeMapUpdateNotifier_, "routeMapUpdateNotifier()" );
   handleInitialized();
}

CommonComponentRmSeqConfigFilterSm::~CommonComponentRmSeqConfigFilterSm() {
   stop();
   routeMapUpdateNotifierSubScriberIs( nullptr );
}

void CommonComponentRmSeqConfigFilterSm::routeMapUpdateNotifierSubScriberIs( const Quoin::Ptr<const RouteMapUpdateNotifier> & notifier ) {
   const auto old = std::exchange( updateSubScriber_, notifier );
   if( old == notifier ) return;
   if( old ) old->blockedCallDel( *this );
   if( notifier ) notifier->blockedCallIs( *this, rmName() );
}

void CommonComponentRmSeqConfigFilterSm::handleChangeMissed() {
   CommonComponentRmSeqConfigSmBase::handleChangeMissed();
   if( !seqConfig() ) return;
   for( auto i = filteredSeqConfig_->description().first(); i; i.next() ) handleDescription( i.key() );
}

void CommonComponentRmSeqConfigFilterSm::handlePermit() {
   traceHandler( trace );
   filteredSeqConfig_->permitIs( seqConfig()->permit() );
}

void CommonComponentRmSeqConfigFilterSm::handleSetFlags() {
   traceHandler( trace );
   filteredSeqConfig_->setFlagsIs( seqConfig()->setFlags() );
}

void CommonComponentRmSeqConfigFilterSm::handleDescription( uint32_t key ) {
   traceHandler( trace );
   filteredSeqConfig_->descriptionIs( key, seqConfig()->description( key ) );
}

void CommonComponentRmSeqConfigFilterSm::handleContinueSeq() {
   traceHandler( trace );
   filteredSeqConfig_->continueSeqIs( seqConfig()->continueSeq() );
   filteredSeqConfig_->setFlagsIs( seqConfig()->setFlags() );
}

void CommonComponentRmSeqConfigFilterSm::handleDistance() {
   traceHandler( trace );
   filteredSeqConfig_->distanceIs( seqConfig()->distance() );
   filteredSeqConfig_->setFlagsIs( seqConfig()->setFlags() );
}

void CommonComponentRmSeqConfigFilterSm::handleMatchRule( MatchOption option ) {
   traceHandler( trace );
   const auto * rule = seqConfig()->matchRule().find( option );
   if( !rule ) return filteredSeqConfig_->matchRuleDel( option );
   if( matchRuleSupported( option ) ) filteredSeqConfig_->matchRuleIs( *rule );
}

void CommonComponentRmSeqConfigFilterSm::handleSubRouteMap() {
   traceHandler( trace );
   evalSubRouteMap();
}

bool CommonComponentRmSeqConfigFilterSm::evalSubRouteMap() {
   const auto sub = seqConfig()->subRouteMap();
   const RouteMapLoopDetect detect{ Quoin::Ptr<const Config>( filteredRmConfig_ ) };
   // An empty name calls nothing, even if a route map has an empty name.
   if( !sub.name.empty() && detect.hasLoops( rmName(), sub.name ) ) {
      PLINTH_TRACE( trace, level8 ) << "subscribe to the global route map update";
      routeMapUpdateNotifierSubScriberIs( routeMapUpdateNotifier_ );
      PLINTH_TRACE( trace, level8 ) << "marking sequence as blocking";
      routeMapBlockedSequenceList_->sequenceIs( seqno(), true );
      return false;
   }
   PLINTH_TRACE( trace, level8 ) << "changing sub-route-map from:" << filteredSeqConfig_->subRouteMap() << " to " << sub;
   filteredSeqConfig_->subRouteMapIs( sub );
   // A subscriber may have changed the call again, which is handled by now, or deleted the sequence.
   if( zombieReactors() || seqConfig()->subRouteMap() != sub ) return true;
   routeMapUpdateNotifierSubScriberIs( nullptr );
   routeMapBlockedSequenceList_->sequenceDel( seqno() );
   return true;
}

void CommonComponentRmSeqConfigFilterSm::handleRouteMapUpdateNotifier() {
   if( zombieReactors() || !switchesOnNested() ) return;
   if( !routeMapBlockedSequenceList_->sequence( seqno() ) ) return;
   PLINTH_TRACE( trace, level8 ) << "previous sync was deferred due to cycle. Re-evaluating.";
   evalSubRouteMap();
}

Quoin::Ptr<CommonComponentRmSeqConfigFilterSm> commonComponentRmSeqConfigFilterSmFactory(
   const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig, const Quoin::Ptr<MapEntry> & filteredSeqConfig,
   Config * filteredRmConfig, const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier, std::span<const MatchOptionRow> ownOptions ) {
   return Zeugma::makeSm<CommonComponentRmSeqConfigFilterSm>( rmName, seqConfig, filteredSeqConfig, filteredRmConfig,
                                                              routeMapBlockedSequenceList, routeMapUpdateNotifier, ownOptions );
}

}   // namespace Routing::Policy
