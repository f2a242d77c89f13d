#include "compile/CommonHelpers.h"

namespace Routing::Policy {

using Routing::RouteMap::Config;
using Routing::RouteMap::MapEntry;

CommonRmSeqConfigSymbolSm::CommonRmSeqConfigSymbolSm( const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig,
                                                      const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
                                                      const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                                                      const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                                                      const Quoin::Ptr<PolicyRoot> & policyRoot )
      : RmSeqConfigSymbolSmBase( rmName, seqConfig, rmSymbol, rmConfigSymbolReactor ) {
   handleInitialized();
   config_.machineIs( commonComponentRmSeqConfigSymbolSmFactory( rmName, seqConfig, rmSymbol, policyRoot, sequenceChange(),
                                                                 sequenceChangeSym(), routeMapOpModeNotifier ) );
   symbols_.machineIs( commonComponentSymbolSeqSmFactory( seqConfig, rmSymbol, matchSymSeq(), subRmSymSeq(), rmConfigSymbolReactor,
                                                          routeMapOpModeNotifier ) );
}

CommonRmSeqConfigSymbolSm::~CommonRmSeqConfigSymbolSm() {
   stop();
}

CommonRmSeqConfigFilterSm::CommonRmSeqConfigFilterSm( const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig,
                                                      const Quoin::Ptr<MapEntry> & filteredSeqConfig, Config * filteredRmConfig,
                                                      const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                                                      const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier )
      : RmSeqConfigFilterSmBase( rmName, seqConfig, filteredSeqConfig, filteredRmConfig, routeMapBlockedSequenceList,
                                 routeMapUpdateNotifier ) {
   filter_.machineIs( commonComponentRmSeqConfigFilterSmFactory( rmName, seqConfig, filteredSeqConfig, filteredRmConfig,
                                                                 routeMapBlockedSequenceList, routeMapUpdateNotifier ) );
}

CommonRmSeqConfigFilterSm::~CommonRmSeqConfigFilterSm() {
   stop();
}

}   // namespace Routing::Policy
