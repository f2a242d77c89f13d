#include "compile/CommonHelpers.h"

#include <utility>

namespace Routing::Policy {

using Quoin::Ptr;
using Quoin::String;
using Routing::RouteMap::Config;
using Routing::RouteMap::MapEntry;

CommonRmSeqConfigSymbolSm::CommonRmSeqConfigSymbolSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                      const Ptr<RouteMapSymbol> & rmSymbol,
                                                      const Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                                                      const Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                                                      const Ptr<PolicyRoot> & policyRoot, const AgentOptions & options )
      : RmSeqConfigSymbolSmBase( rmName, seqConfig, rmSymbol, rmConfigSymbolReactor ) {
   handleInitialized();
   config_.machineIs( commonComponentRmSeqConfigSymbolSmFactory( rmName, seqConfig, rmSymbol, policyRoot, sequenceChange(),
                                                                 sequenceChangeSym(), routeMapOpModeNotifier, options.match ) );
   if( options.set ) setters_.machineIs( Zeugma::makeSm<SequenceSettersSm>( *this, options.set->of( rmName, seqno() ) ) );
}

CommonRmSeqConfigSymbolSm::~CommonRmSeqConfigSymbolSm() {
   stop();
}

void CommonRmSeqConfigSymbolSm::handleSymbolNamed() {
   if( symbols_.machine() ) return;
   symbols_.machineIs( commonComponentSymbolSeqSmFactory( seqConfig(), rmSymbol(), matchSymSeq(), subRmSymSeq(), rmConfigSymbolReactor(),
                                                          config_.machine()->routeMapOpModeNotifier(), ownOptions() ) );
}

CommonRmSeqConfigFilterSm::CommonRmSeqConfigFilterSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                      const Ptr<MapEntry> & filteredSeqConfig, Config * filteredRmConfig,
                                                      const Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                                                      const Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier,
                                                      std::span<const MatchOptionRow> ownOptions )
      : RmSeqConfigFilterSmBase( rmName, seqConfig, filteredSeqConfig, filteredRmConfig, routeMapBlockedSequenceList,
                                 routeMapUpdateNotifier ) {
   filter_.machineIs( commonComponentRmSeqConfigFilterSmFactory( rmName, seqConfig, filteredSeqConfig, filteredRmConfig,
                                                                 routeMapBlockedSequenceList, routeMapUpdateNotifier, ownOptions ) );
}

CommonRmSeqConfigFilterSm::~CommonRmSeqConfigFilterSm() {
   stop();
}

CommonRmConfigSymbolSmHelper::CommonRmConfigSymbolSmHelper( const Ptr<PolicyRoot> & policyRoot, AgentOptions options )
      : policyRoot_( policyRoot ), options_( std::move( options ) ) {}

CommonRmConfigSymbolSmHelper::~CommonRmConfigSymbolSmHelper() = default;

Ptr<RmSeqConfigSymbolSmBase> CommonRmConfigSymbolSmHelper::createSeqConfigSm(
   const String & rmName, const Ptr<const MapEntry> & seqConfig, const Ptr<RouteMapSymbol> & rmSymbol,
   const Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor, const Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier ) {
   return Zeugma::makeSm<CommonRmSeqConfigSymbolSm>( rmName, seqConfig, rmSymbol, rmConfigSymbolReactor, routeMapOpModeNotifier,
                                                     policyRoot_, options_ );
}

CommonRmConfigFilterSmHelper::~CommonRmConfigFilterSmHelper() = default;

Ptr<RmSeqConfigFilterSmBase>
CommonRmConfigFilterSmHelper::createSeqConfigSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                 const Ptr<MapEntry> & filteredSeqConfig, Config * filteredRmConfig,
                                                 const Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                                                 const Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier ) {
   return Zeugma::makeSm<CommonRmSeqConfigFilterSm>( rmName, seqConfig, filteredSeqConfig, filteredRmConfig, routeMapBlockedSequenceList,
                                                     routeMapUpdateNotifier, ownOptions_ );
}

}   // namespace Routing::Policy
