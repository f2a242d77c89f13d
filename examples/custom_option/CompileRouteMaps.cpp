#include "CompileRouteMaps.h"

#include "CommunityMatchSm.h"
#include "LocalPreferenceSm.h"
#include "compile/CommonHelpers.h"

namespace BgpAgent {

using Quoin::makeNode;
using Quoin::Ptr;
using Zeugma::makeSm;

namespace {

/// The first stage: copies a sequence, also the match clause that the common component leaves out.
class SeqFilterSm final : public CommonRmSeqConfigFilterSm {
 public:
   SeqFilterSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry, const Ptr<MapEntry> & filteredEntry, Config * filtered,
                const Ptr<RouteMapBlockedSequenceList> & blocked, const Ptr<const RouteMapUpdateNotifier> & updates )
         : CommonRmSeqConfigFilterSm( rmName, entry, filteredEntry, filtered, blocked, updates ) {
      entryReactor_.notifierIs( entry );
      copyClause();
   }
   ~SeqFilterSm() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override {
      return option == CommunityMatchSm::kOption || CommonRmSeqConfigFilterSm::matchRuleSupported( option );
   }

 private:
   void handleChangeMissed() override { copyClause(); }
   void handleEntry( const Quoin::Change & change ) {
      if( CommunityMatchSm::isClause( change ) ) copyClause();
   }
   void copyClause() {
      const auto * rule = seqConfig()->matchRule().find( CommunityMatchSm::kOption );
      if( rule )
         filteredSeqConfig()->matchRuleIs( *rule );
      else
         filteredSeqConfig()->matchRuleDel( CommunityMatchSm::kOption );
   }

   Zeugma::Reactor<SeqFilterSm> entryReactor_{ *this, &SeqFilterSm::handleEntry };
};

/// The second stage: what the library compiles, and a machine for each option of the agent.
class SeqSymbolSm final : public CommonRmSeqConfigSymbolSm {
 public:
   SeqSymbolSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry, const Ptr<RouteMapSymbol> & rmSymbol,
                const Ptr<RmConfigSymbolReactor> & reactor, const Ptr<const RouteMapOpModeNotifier> & mode, const Ptr<PolicyRoot> & root,
                const Ptr<SetClauses> & setClauses )
         : CommonRmSeqConfigSymbolSm( rmName, entry, rmSymbol, reactor, mode, root ) {
      community_.machineIs( makeSm<CommunityMatchSm>( *this, root->commListTable() ) );
      localPreference_.machineIs( makeSm<LocalPreferenceSm>( *this, setClauses->of( rmName, seqno() ) ) );
   }
   ~SeqSymbolSm() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override {
      return option == CommunityMatchSm::kOption || CommonRmSeqConfigSymbolSm::matchRuleSupported( option );
   }
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) override {
      CommonRmSeqConfigSymbolSm::handleMatcherApplied( change, symbols );   // each looks for its own options
      community_.machine()->handleMatcherApplied( change, symbols );
   }

 private:
   Zeugma::NestedSm<CommunityMatchSm> community_{ *this };
   Zeugma::NestedSm<LocalPreferenceSm> localPreference_{ *this };
};

}   // namespace

Ptr<RouteMapConfigSm> compileRouteMaps( const Ptr<const Config> & config, const Ptr<SetClauses> & setClauses, const Ptr<PolicyRoot> & root,
                                        const Ptr<Zeugma::TaskScheduler> & scheduler ) {
   using SymbolHelper = RmConfigSymbolSmHelperOf<SeqSymbolSm, Ptr<PolicyRoot>, Ptr<SetClauses>>;
   return routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<RmConfigFilterSmHelperOf<SeqFilterSm>>(),
                                   makeNode<SymbolHelper>( root, setClauses ), scheduler, nullptr );
}

}   // namespace BgpAgent
