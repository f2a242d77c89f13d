#include "live/CompileRouteMaps.h"

#include "compile/CommonHelpers.h"
#include "live/MatchClausesSm.h"

namespace Agent {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;
using Zeugma::makeSm;

namespace {

/// The first stage: copies a sequence, also the match clauses that the common component leaves out.
class SeqFilterSm final : public CommonRmSeqConfigFilterSm {
 public:
   SeqFilterSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry, const Ptr<MapEntry> & filteredEntry, Config * filtered,
                const Ptr<RouteMapBlockedSequenceList> & blocked, const Ptr<const RouteMapUpdateNotifier> & updates )
         : CommonRmSeqConfigFilterSm( rmName, entry, filteredEntry, filtered, blocked, updates ) {
      entryReactor_.notifierIs( entry );
      copyClauses();
   }
   ~SeqFilterSm() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override {
      return ownClauseKind( option ) || CommonRmSeqConfigFilterSm::matchRuleSupported( option );
   }

 private:
   void handleChangeMissed() override { copyClauses(); }
   void handleEntry( const Quoin::Change & change ) {
      if( const auto * kind = ownClauseOf( change ) ) copyClause( kind->option );
   }
   void copyClauses() {
      for( const auto & kind : ownClauseKinds() ) copyClause( kind.option );
   }
   void copyClause( MatchOption option ) {
      const auto * rule = seqConfig()->matchRule().find( option );
      if( rule )
         filteredSeqConfig()->matchRuleIs( *rule );
      else
         filteredSeqConfig()->matchRuleDel( option );
   }

   Zeugma::Reactor<SeqFilterSm> entryReactor_{ *this, &SeqFilterSm::handleEntry };
};

/// The second stage: what the library compiles, and the machines of the agent's own clauses.
class SeqSymbolSm final : public CommonRmSeqConfigSymbolSm {
 public:
   SeqSymbolSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry, const Ptr<RouteMapSymbol> & rmSymbol,
                const Ptr<RmConfigSymbolReactor> & reactor, const Ptr<const RouteMapOpModeNotifier> & mode, const ListTables & tables,
                const Ptr<SetClauseTable> & setClauses )
         : CommonRmSeqConfigSymbolSm( rmName, entry, rmSymbol, reactor, mode, tables.root ) {
      match_.machineIs( makeSm<MatchClausesSm>( *this, tables ) );
      set_.machineIs( makeSm<SetClausesSm>( *this, setClauses->of( rmName, seqno() ) ) );
   }
   ~SeqSymbolSm() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override {
      return ownClauseKind( option ) || CommonRmSeqConfigSymbolSm::matchRuleSupported( option );
   }
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) override {
      CommonRmSeqConfigSymbolSm::handleMatcherApplied( change, symbols );   // each looks for its own options
      match_.machine()->handleMatcherApplied( change, symbols );
   }

 private:
   Zeugma::NestedSm<MatchClausesSm> match_{ *this };
   Zeugma::NestedSm<SetClausesSm> set_{ *this };
};

}   // namespace

Ptr<RouteMapConfigSm> compileRouteMaps( const Ptr<const Config> & config, const Ptr<SetClauseTable> & setClauses, const ListTables & tables,
                                        const Ptr<Zeugma::TaskScheduler> & scheduler ) {
   using SymbolHelper = RmConfigSymbolSmHelperOf<SeqSymbolSm, ListTables, Ptr<SetClauseTable>>;
   return routeMapConfigSmFactory( config, makeNode<Config>(), tables.root, makeNode<RmConfigFilterSmHelperOf<SeqFilterSm>>(),
                                   makeNode<SymbolHelper>( tables, setClauses ), scheduler, nullptr );
}

}   // namespace Agent
