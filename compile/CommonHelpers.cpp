#include "compile/CommonHelpers.h"

#include <utility>

#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using Quoin::Ptr;
using Quoin::String;
using Routing::RouteMap::Config;
using Routing::RouteMap::MapEntry;

namespace {

// Whether the symbol may belong to the route maps of this root. A symbol in no table may: nothing else finds it by its name.
bool mayBeOf( const PolicyRoot & root, const RouteMapSymbol & symbol ) {
   const auto * table = symbol.getDedupHashTable();
   return !table || table == root.routeMapTable()->dedupHashTable().get() || table == root.peerFilterTable()->dedupHashTable().get();
}

}   // namespace

CommonRmSeqConfigSymbolSm::CommonRmSeqConfigSymbolSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                      const Ptr<RouteMapSymbol> & rmSymbol,
                                                      const Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                                                      const Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                                                      const Ptr<PolicyRoot> & policyRoot, const AgentOptions & options )
      : RmSeqConfigSymbolSmBase( rmName, seqConfig, rmSymbol, rmConfigSymbolReactor ) {
   QUOIN_ASSERT( policyRoot && rmSymbol, "policyRoot && rmSymbol" );
   QUOIN_ASSERT( mayBeOf( *policyRoot, *rmSymbol ), "the symbol of the route map belongs to another PolicyRoot" );
   handleInitialized();
   config_.create( rmName, seqConfig, rmSymbol, policyRoot, sequenceChange(), sequenceChangeSym(), routeMapOpModeNotifier, options.match );
   if( !options.set ) return;
   setters_ = std::make_unique<Zeugma::NestedSm<SequenceSettersSm>>( *this );
   setters_->create( *this, options.set->of( rmName, seqno() ) );
}

void CommonRmSeqConfigSymbolSm::handleSymbolNamed() {
   if( symbols_ ) return;
   symbols_ = std::make_unique<Zeugma::NestedSm<CommonComponentSymbolSeqSm>>( *this );
   symbols_->create( seqConfig(), rmSymbol(), matchSymSeq(), subRmSymSeq(), rmConfigSymbolReactor(),
                     config_.machine()->routeMapOpModeNotifier(), ownOptions() );
}

CommonRmSeqConfigFilterSm::CommonRmSeqConfigFilterSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                      const Ptr<MapEntry> & filteredSeqConfig, Config * filteredRmConfig,
                                                      const Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                                                      const Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier,
                                                      std::span<const MatchOptionRow> ownOptions )
      : RmSeqConfigFilterSmBase( rmName, seqConfig, filteredSeqConfig, filteredRmConfig, routeMapBlockedSequenceList,
                                 routeMapUpdateNotifier ) {
   filter_.create( rmName, seqConfig, filteredSeqConfig, filteredRmConfig, routeMapBlockedSequenceList, routeMapUpdateNotifier,
                   ownOptions );
}

CommonRmConfigSymbolSmHelper::CommonRmConfigSymbolSmHelper( const Ptr<PolicyRoot> & policyRoot, AgentOptions options )
      : policyRoot_( policyRoot ), options_( std::move( options ) ) {}

Ptr<RmSeqConfigSymbolSmBase> CommonRmConfigSymbolSmHelper::createSeqConfigSm(
   const String & rmName, const Ptr<const MapEntry> & seqConfig, const Ptr<RouteMapSymbol> & rmSymbol,
   const Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor, const Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier ) {
   return Zeugma::makeSm<CommonRmSeqConfigSymbolSm>( rmName, seqConfig, rmSymbol, rmConfigSymbolReactor, routeMapOpModeNotifier,
                                                     policyRoot_, options_ );
}

Ptr<RmSeqConfigFilterSmBase>
CommonRmConfigFilterSmHelper::createSeqConfigSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                 const Ptr<MapEntry> & filteredSeqConfig, Config * filteredRmConfig,
                                                 const Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                                                 const Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier ) {
   return Zeugma::makeSm<CommonRmSeqConfigFilterSm>( rmName, seqConfig, filteredSeqConfig, filteredRmConfig, routeMapBlockedSequenceList,
                                                     routeMapUpdateNotifier, ownOptions_ );
}

}   // namespace Routing::Policy
