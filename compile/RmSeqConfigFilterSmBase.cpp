#include "compile/RmSeqConfigFilterSmBase.h"

namespace Routing::Policy {

using Routing::RouteMap::Config;
using Routing::RouteMap::MapEntry;

RmSeqConfigFilterSmBase::RmSeqConfigFilterSmBase( const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig,
                                                  const Quoin::Ptr<MapEntry> & filteredSeqConfig, Config * filteredRmConfig,
                                                  const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                                                  const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier )
      : rmName_( rmName ),
        seqConfig_( seqConfig ),
        filteredSeqConfig_( filteredSeqConfig ),
        filteredRmConfig_( filteredRmConfig ),
        routeMapBlockedSequenceList_( routeMapBlockedSequenceList ),
        routeMapUpdateNotifier_( routeMapUpdateNotifier ) {}

RmSeqConfigFilterSmBase::~RmSeqConfigFilterSmBase() = default;
RmConfigFilterSmHelperBase::~RmConfigFilterSmHelperBase() = default;

}   // namespace Routing::Policy
