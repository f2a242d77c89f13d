/// @file compile/CommonHelpers.h
/// The machines of a sequence as most agents need them, and the two helpers that create them. An agent passes the helpers to
/// RouteMapConfigSm, which compiles route maps. An agent with options of its own passes a row per match option (MatchOptions.h) and the
/// table of its set clauses (SetterTable.h) to the helpers. An agent whose options need more than a row derives from the bases of these
/// machines and of the helpers.
/// Threading: the activity thread.
#pragma once

#include <memory>
#include <span>

#include "compile/CommonComponentRmSeqConfigFilterSm.h"
#include "compile/CommonComponentSymbolSeqSm.h"
#include "compile/RouteMapConfigSymbolSm.h"
#include "compile/SequenceSettersSm.h"

namespace Routing::Policy {

/// The options that an agent adds to the common options.
struct AgentOptions {
   /// The agent's match options. They outlive the machines.
   std::span<const MatchOptionRow> match{};
   /// The agent's set clauses; null for none.
   Quoin::Ptr<SetterTable> set{};
};

/// Compiles one sequence: joins the machines of its configuration, of its symbols and of the agent's set clauses. The machine of the
/// symbols exists from the first clause that names a list or a route map.
/// Errors: a symbol that belongs to a table of another root ends the process, because the callees and lists would never arrive.
class ROUTEPOLICY_API CommonRmSeqConfigSymbolSm : public RmSeqConfigSymbolSmBase {
 public:
   CommonRmSeqConfigSymbolSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                              const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                              const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                              const Quoin::Ptr<PolicyRoot> & policyRoot, const AgentOptions & options = {} );
   ~CommonRmSeqConfigSymbolSm() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override { return config_.machine()->matchRuleSupported( option ); }
   /// The rows of the agent.
   std::span<const MatchOptionRow> ownOptions() const noexcept { return config_.machine()->ownOptions(); }
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) override {
      config_.machine()->handleMatcherApplied( change, symbols );
   }
   void handleSymbolNamed() override;

 private:
   Zeugma::NestedSm<CommonComponentRmSeqConfigSymbolSm> config_{ *this };
   std::unique_ptr<Zeugma::NestedSm<CommonComponentSymbolSeqSm>> symbols_;   // null until the first name
   std::unique_ptr<Zeugma::NestedSm<SequenceSettersSm>> setters_;            // null without set clauses of the agent
};

/// Copies one sequence into the filtered configuration.
class ROUTEPOLICY_API CommonRmSeqConfigFilterSm : public RmSeqConfigFilterSmBase {
 public:
   CommonRmSeqConfigFilterSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                              const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig,
                              Routing::RouteMap::Config * filteredRmConfig,
                              const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                              const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier,
                              std::span<const MatchOptionRow> ownOptions = {} );
   ~CommonRmSeqConfigFilterSm() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override { return filter_.machine()->matchRuleSupported( option ); }

 private:
   Zeugma::NestedSm<CommonComponentRmSeqConfigFilterSm> filter_{ *this };
};

/// Creates the machines that compile sequences. The symbols of their callees and lists are in the tables of `policyRoot`, which must be the
/// root of the RouteMapConfigSm. Errors: with another root, the first sequence ends the process.
class ROUTEPOLICY_API CommonRmConfigSymbolSmHelper final : public RmConfigSymbolSmHelperBase {
 public:
   explicit CommonRmConfigSymbolSmHelper( const Quoin::Ptr<PolicyRoot> & policyRoot, AgentOptions options = {} );
   Quoin::Ptr<RmSeqConfigSymbolSmBase>
   createSeqConfigSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                      const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                      const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier ) override;

 private:
   Quoin::Ptr<PolicyRoot> policyRoot_;
   AgentOptions options_;
};

/// Creates the machines that copy sequences. `ownOptions`: the match options of the agent, the same as for the other helper.
class ROUTEPOLICY_API CommonRmConfigFilterSmHelper final : public RmConfigFilterSmHelperBase {
 public:
   explicit CommonRmConfigFilterSmHelper( std::span<const MatchOptionRow> ownOptions = {} ) noexcept : ownOptions_( ownOptions ) {}
   Quoin::Ptr<RmSeqConfigFilterSmBase>
   createSeqConfigSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                      const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig, Routing::RouteMap::Config * filteredRmConfig,
                      const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                      const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier ) override;

 private:
   std::span<const MatchOptionRow> ownOptions_;
};

}   // namespace Routing::Policy
