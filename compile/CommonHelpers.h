/// @file compile/CommonHelpers.h
/// The machines of a sequence for agents that need the common match options only, and the two helpers that make them. An agent with
/// options of its own derives from the machines, adds a machine for each option, and has the same helpers make what it derived.
/// Threading: the activity thread.
#pragma once

#include <tuple>

#include "compile/CommonComponentRmSeqConfigFilterSm.h"
#include "compile/CommonComponentSymbolSeqSm.h"
#include "compile/RouteMapConfigSymbolSm.h"

namespace Routing::Policy {

/// What compiles a sequence of the common component.
class ROUTEPOLICY_API CommonRmSeqConfigSymbolSm : public RmSeqConfigSymbolSmBase {
 public:
   CommonRmSeqConfigSymbolSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                              const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                              const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                              const Quoin::Ptr<PolicyRoot> & policyRoot );
   ~CommonRmSeqConfigSymbolSm() override;
   bool matchRuleSupported( MatchOption option ) const override { return config_.machine()->matchRuleSupported( option ); }
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) override {
      config_.machine()->handleMatcherApplied( change, symbols );
   }

 private:
   Zeugma::NestedSm<CommonComponentRmSeqConfigSymbolSm> config_{ *this };
   Zeugma::NestedSm<CommonComponentSymbolSeqSm> symbols_{ *this };
};

/// What copies a sequence of the common component.
class ROUTEPOLICY_API CommonRmSeqConfigFilterSm : public RmSeqConfigFilterSmBase {
 public:
   CommonRmSeqConfigFilterSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                              const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig,
                              Routing::RouteMap::Config * filteredRmConfig,
                              const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                              const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier );
   ~CommonRmSeqConfigFilterSm() override;
   bool matchRuleSupported( MatchOption option ) const override { return filter_.machine()->matchRuleSupported( option ); }

 private:
   Zeugma::NestedSm<CommonComponentRmSeqConfigFilterSm> filter_{ *this };
};

/// Makes machines of the class `Sm`, whose constructor takes what createSeqConfigSm() is given, and `extra` behind that.
template <class Sm, class... Extra>
class RmConfigSymbolSmHelperOf final : public RmConfigSymbolSmHelperBase {
 public:
   explicit RmConfigSymbolSmHelperOf( const Extra &... extra ) : extra_( extra... ) {}
   Quoin::Ptr<RmSeqConfigSymbolSmBase>
   createSeqConfigSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                      const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                      const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier ) override {
      return std::apply(
         [ & ]( const Extra &... extra ) {
            return Zeugma::makeSm<Sm>( rmName, seqConfig, rmSymbol, rmConfigSymbolReactor, routeMapOpModeNotifier, extra... );
         },
         extra_ );
   }

 private:
   std::tuple<Extra...> extra_;
};

/// The same for the filter.
template <class Sm>
class RmConfigFilterSmHelperOf final : public RmConfigFilterSmHelperBase {
 public:
   Quoin::Ptr<RmSeqConfigFilterSmBase>
   createSeqConfigSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                      const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig, Routing::RouteMap::Config * filteredRmConfig,
                      const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                      const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier ) override {
      return Zeugma::makeSm<Sm>( rmName, seqConfig, filteredSeqConfig, filteredRmConfig, routeMapBlockedSequenceList,
                                 routeMapUpdateNotifier );
   }
};

/// Takes the root whose tables the sequences' symbols live in.
using CommonRmConfigSymbolSmHelper = RmConfigSymbolSmHelperOf<CommonRmSeqConfigSymbolSm, Quoin::Ptr<PolicyRoot>>;
using CommonRmConfigFilterSmHelper = RmConfigFilterSmHelperOf<CommonRmSeqConfigFilterSm>;

}   // namespace Routing::Policy
