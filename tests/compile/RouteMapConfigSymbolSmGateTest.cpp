// How the machine of a route map waits for pending changes, and how often it publishes.

#include "compile/RouteMapConfigSymbolSm.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::CompileFixtures;
using Fixtures::deny;
using Fixtures::permit;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class RouteMapConfigSymbolSmGateTest : public testing::Test {
 protected:
   Agent agent;
   Compiled rm{ agent, "RM" };
   Ptr<MapEntry> entry( uint32_t seqno ) { return rm.map->mapEntryIs( seqno ); }
};

// --- the gate

using Symbol = Ptr<const Routing::RouteMap::PolicySymbol>;

void useMatchSymbols( BareSeqSm & sm, std::initializer_list<Symbol> symbols ) {
   const auto list = makeNode<PolicyMatchSymbolList>( prefixListOption );
   for( const auto & symbol : symbols ) list->policySymbolIs( symbol );
   sm.matchSymSeq()->policySymbolListIs( prefixListOption, list );
}

void useSetSymbol( BareSeqSm & sm, const Symbol & symbol ) {
   const auto list = makeNode<PolicySetSymbolList>( SetOption::setCommunityList );
   list->policySymbolIs( symbol );
   sm.setSymSeq()->policySymbolListIs( SetOption::setCommunityList, list );
}

TEST_F( RouteMapConfigSymbolSmGateTest, eachPendingThingHoldsItAndIsTraced ) {
   const auto helper = makeNode<BareHelper>();
   const auto list = agent.root->ipv4PrefixListTable()->symbol( "PL" ), current = agent.root->ipv4PrefixListTable()->symbol( "CURRENT" );
   const auto sub = agent.root->routeMapTable()->symbol( "SUB" );
   const struct {
      const char * name;
      std::function<void( Compiled &, BareSeqSm & )> hold;   // by sequence 20
      const char * trace;                                    // null for a gate that is open
   } rows[] = {
      { "nothing", []( auto &, auto & ) {}, nullptr },
      { "pending update", []( auto & one, auto & ) { one.reactor->pendingUpdateIs( 20 ); }, "there are pending updates" },
      { "modification", []( auto &, auto & sm ) { sm.sequenceChange()->permitChangeIs( true ); }, "20 has unprocessed modifications" },
      { "match symbol",
        [ & ]( auto &, auto & sm ) {
           useMatchSymbols( sm, { current, list } );
        },
        "20 matchIpPrefixList is not complete" },
      { "set symbol", [ & ]( auto &, auto & sm ) { useSetSymbol( sm, list ); }, "20 setCommunityList is not complete" },
      { "sub route map", [ & ]( auto &, auto & sm ) { sm.subRmSymSeq()->symbolIs( sub ); }, "20 sub-rm is not complete" },
      { "role attributes", [ & ]( auto &, auto & sm ) { sm.aggRoleAttrMapSymSeq()->symbolIs( sub ); }, nullptr },
   };
   for( const auto & row : rows ) {
      list->statusCurrentIs( false );
      sub->statusCurrentIs( false );
      Compiled one( agent, "ONE", helper );
      withSequences( one, { 10, 20, 30 } );
      one.start();
      row.hold( one, one.bare( 20 ) );
      TraceLog log( "RouteMapConfigSymbolSm" );
      one.map->mapEntryDel( 10 );
      const auto traces = log.take();
      EXPECT_EQ( one.publications(), row.trace ? 0 : 1 ) << row.name;
      EXPECT_EQ( one.symbol->statusCurrent(), !row.trace ) << row.name;
      EXPECT_EQ( countOf( traces, "ONE processing not complete" ), row.trace ? 1 : 0 ) << row.name;
      EXPECT_EQ( one.sm->hasRmPolicySymbolProcessingCompleted(), !row.trace ) << row.name;
      EXPECT_EQ( one.listed(), row.trace ? std::vector<long>{ -10 } : std::vector<long>{} ) << row.name << ": nothing is lost";
      EXPECT_EQ( countOf( traces, row.trace ? row.trace : "" ), row.trace ? 1 : 0 ) << row.name;
      one.sm = nullptr;
   }
}

TEST_F( RouteMapConfigSymbolSmGateTest, checksInOrderAndStopsAtTheFirstThatHolds ) {
   rm.helper = makeNode<BareHelper>();
   withSequences( rm, { 10, 20 } );
   rm.start();
   const auto symbol = agent.root->ipv4PrefixListTable()->symbol( "PL" );
   const auto sub = agent.root->routeMapTable()->symbol( "SUB" );
   symbol->statusCurrentIs( false );
   sub->statusCurrentIs( false );
   for( const uint32_t seqno : { 10, 20 } ) {
      useMatchSymbols( rm.bare( seqno ), { symbol } );
      useSetSymbol( rm.bare( seqno ), symbol );
      rm.bare( seqno ).subRmSymSeq()->symbolIs( sub );
      rm.bare( seqno ).sequenceChange()->permitChangeIs( true );
   }
   rm.reactor->pendingUpdateIs( 10 );
   const struct {
      const char * trace;
      std::function<void()> release;
   } rows[] = {
      { "there are pending updates", [ & ] { rm.reactor->pendingUpdateDel( 10 ); } },
      { "10 has unprocessed modifications", [ & ] { rm.bare( 10 ).sequenceChange()->permitChangeIs( false ); } },
      { "10 matchIpPrefixList is not complete", [ & ] { rm.bare( 10 ).matchSymSeq()->policySymbolListDelAll(); } },
      { "10 setCommunityList is not complete", [ & ] { rm.bare( 10 ).setSymSeq()->policySymbolListDelAll(); } },
      { "10 sub-rm is not complete", [ & ] { rm.bare( 10 ).subRmSymSeq()->symbolIs( nullptr ); } },
      { "20 has unprocessed modifications", [ & ] { rm.bare( 20 ).sequenceChange()->permitChangeIs( false ); } },
      { "20 matchIpPrefixList is not complete", [ & ] { symbol->statusCurrentIs( true ); } },
      { "20 sub-rm is not complete", [ & ] { sub->statusCurrentIs( true ); } },
   };
   TraceLog log( "RouteMapConfigSymbolSm" );
   for( const auto & row : rows ) {
      EXPECT_FALSE( rm.sm->hasRmPolicySymbolProcessingCompleted() ) << row.trace;
      EXPECT_THAT( log.take(), ElementsAre( row.trace ) );
      row.release();
   }
   EXPECT_TRUE( rm.sm->hasRmPolicySymbolProcessingCompleted() );
   EXPECT_THAT( log.take(), IsEmpty() );
}

/// Creates sequences whose mailbox is not that of the route map; null for none.
struct OtherReactorHelper final : RmConfigSymbolSmHelperBase {
   explicit OtherReactorHelper( Ptr<RmConfigSymbolReactor> r ) : reactor( std::move( r ) ) {}
   Ptr<RmSeqConfigSymbolSmBase> createSeqConfigSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                   const Ptr<RouteMapSymbol> & rmSymbol, const Ptr<RmConfigSymbolReactor> &,
                                                   const Ptr<const RouteMapOpModeNotifier> & ) override {
      return Zeugma::makeSm<BareSeqSm>( rmName, seqConfig, rmSymbol, reactor );
   }
   Ptr<RmConfigSymbolReactor> reactor;
};

TEST_F( RouteMapConfigSymbolSmGateTest, aSequenceWithAnotherMailboxIsAskedItself ) {
   for( const auto & other : { Ptr<RmConfigSymbolReactor>(), rmConfigSymbolReactorFactory( "OTHER" ) } ) {
      SCOPED_TRACE( other ? "another mailbox" : "no mailbox" );
      Compiled one( agent, "ONE", makeNode<OtherReactorHelper>( other ) );
      withSequences( one, { 10 } );
      EXPECT_EQ( one.start(), 1 );
      EXPECT_EQ( one.raise(), 0 ) << "nothing is recorded";
      const auto sub = agent.root->routeMapTable()->symbol( "SUB" );
      sub->statusCurrentIs( false );
      one.map->mapEntry( 10 )->permitIs( deny );
      one.bare( 10 ).sequenceChange()->permitChangeIs( true );
      one.bare( 10 ).subRmSymSeq()->symbolIs( sub );
      EXPECT_EQ( one.raise(), 0 ) << "the callee is not current";
      EXPECT_FALSE( one.bare( 10 ).isModified() ) << "the change is applied";
      sub->statusCurrentIs( true );
      EXPECT_EQ( one.run(), 1 );
      EXPECT_EQ( one.seq( 10 )->matchAction(), deny );
   }
}

TEST_F( RouteMapConfigSymbolSmGateTest, anIncompleteListHoldsAChangeAndBothArePublishedOnce ) {
   List list( agent, "PL" );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   list.publish();
   rm.start();
   list.edit();
   entry( 10 )->permitIs( deny );
   EXPECT_EQ( rm.raise(), 0 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_EQ( rm.seq( 10 )->matchAction(), permit );
   list.publish();
   EXPECT_EQ( rm.publications(), 0 ) << "not inside the write";
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_EQ( rm.seq( 10 )->matchAction(), deny );
   EXPECT_EQ( listOf( rm.seq( 10 ) ), list.symbol->status().get() );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST_F( RouteMapConfigSymbolSmGateTest, aSymbolCurrentAgainWithoutAVersionSchedulesTheTask ) {
   List list( agent, "PL" );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   list.publish();
   rm.start();
   for( const bool versionFollows : { false, true } ) {
      list.symbol->statusCurrentIs( false );
      entry( 10 )->permitIs( versionFollows ? permit : deny );
      EXPECT_EQ( rm.raise(), 0 );
      list.symbol->statusCurrentIs( true );
      EXPECT_EQ( rm.publications(), 0 ) << "not inside the write";
      if( versionFollows ) list.publish();
      EXPECT_EQ( rm.run(), 1 ) << versionFollows;
      EXPECT_EQ( rm.seq( 10 )->matchAction(), versionFollows ? permit : deny );
      EXPECT_EQ( listOf( rm.seq( 10 ) ), list.symbol->status().get() );
      EXPECT_TRUE( rm.symbol->statusCurrent() );
   }
}

TEST_F( RouteMapConfigSymbolSmGateTest, oneOfTwoHoldersIsNotEnough ) {
   List a( agent, "A" ), b( agent, "B" );
   entry( 10 )->matchRuleIs( matchPrefixList( "A" ) );
   entry( 20 )->matchRuleIs( matchPrefixList( "B" ) );
   rm.start();
   a.symbol->statusCurrentIs( false );
   b.symbol->statusCurrentIs( false );
   entry( 10 )->permitIs( deny );
   EXPECT_EQ( rm.raise(), 0 );
   a.symbol->statusCurrentIs( true );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   b.symbol->statusCurrentIs( true );
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

// A symbol that the machine watches stays in its table. A later list of this name would find it, never current.
TEST_F( RouteMapConfigSymbolSmGateTest, aDeletedSequenceReleasesTheSymbolThatItAwaited ) {
   for( const bool alone : { true, false } ) {
      SCOPED_TRACE( alone ? "the only sequence" : "one of two" );
      auto list = agent.root->ipv4PrefixListTable()->symbol( "PL" );
      list->statusCurrentIs( false );
      Compiled one( agent, "ONE" );
      one.map->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      if( !alone ) one.map->mapEntryIs( 20 );
      ASSERT_EQ( one.start(), 0 );
      list = nullptr;
      one.map->mapEntryDel( 10 );
      EXPECT_EQ( agent.root->ipv4PrefixListTable()->count(), 0u );
      EXPECT_EQ( one.run(), alone ? 0 : 1 ) << "nothing else holds the rest";
      EXPECT_TRUE( one.symbol->statusCurrent() );
   }
}

TEST_F( RouteMapConfigSymbolSmGateTest, aListPublishedAfterItsClauseWasRecordedIsReadAtTheVersion ) {
   for( const bool definedBefore : { false, true } ) {
      SCOPED_TRACE( definedBefore );
      List list( agent, definedBefore ? "A" : "B" );
      if( definedBefore ) list.publish();
      Compiled one( agent, "ONE" );
      withSequences( one, { 10 } );
      one.start();
      one.map->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( definedBefore ? "A" : "B" ) );
      list.publish();
      EXPECT_EQ( one.raise() + one.run(), 1 );
      EXPECT_EQ( listOf( one.seq( 10 ) ), list.symbol->status().get() );
      EXPECT_EQ( one.undefined(), 0 );
   }
}

// --- the task

TEST_F( RouteMapConfigSymbolSmGateTest, theTaskAppliesAPendingUpdateAndSharesTheOtherSequences ) {
   List list( agent, "PL" );
   withSequences( rm, { 10, 20, 30 } );
   entry( 20 )->matchRuleIs( matchPrefixList( "PL" ) );
   entry( 20 )->matchRuleIs( matchTag( 3 ) );
   rm.start();
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::prefixListUndefined );
   const auto before = rm.status();
   const auto old = rm.seq( 20 );
   list.publish();
   EXPECT_EQ( rm.publications(), 0 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   EXPECT_TRUE( rm.sm->routeMapSymbolUpdateTask().taskScheduled() );
   TraceLog log( "RouteMapConfigSymbolSm" );
   EXPECT_EQ( rm.run(), 1 );
   const auto traces = log.take();
   ASSERT_FALSE( traces.empty() );
   EXPECT_EQ( traces.front(), "RM symbol update task" );
   EXPECT_THAT( traces, Contains( "symbol updates added to RM, seqno 20" ) );
   EXPECT_EQ( rm.undefined(), 0 );
   EXPECT_NE( rm.status(), before );
   EXPECT_NE( rm.seq( 20 ), old );
   EXPECT_EQ( rm.seq( 20 )->matcher( tagOption ), old->matcher( tagOption ) );
   EXPECT_EQ( rm.seq( 10 ), before->seqStatus( 10 ) );
   EXPECT_EQ( rm.seq( 30 ), before->seqStatus( 30 ) );
   EXPECT_EQ( listOf( old ), nullptr );
   EXPECT_EQ( rm.sm->routeMapSymbolUpdateTask().taskWorkCount(), 0u );
}

TEST_F( RouteMapConfigSymbolSmGateTest, anEmptyPendingUpdateIsTracedAndSettles ) {
   withSequences( rm, { 10 } );
   rm.start();
   rm.reactor->pendingUpdateIs( 10 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   TraceLog log( "RouteMapConfigSymbolSm" );
   EXPECT_EQ( rm.run(), 0 );
   const auto traces = log.take();
   EXPECT_THAT( traces, Contains( "seqno 10 has no changes" ) );
   EXPECT_THAT( traces, Contains( "No change to route map" ) );
   EXPECT_TRUE( rm.reactor->pendingUpdate().empty() );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
   EXPECT_THAT( rm.listed(), IsEmpty() );
}

TEST_F( RouteMapConfigSymbolSmGateTest, aWithdrawnPendingUpdateIsSettledByTheTask ) {
   withSequences( rm, { 10 } );
   rm.start();
   rm.reactor->pendingUpdateIs( 10 );
   rm.run();
   rm.reactor->pendingUpdateIs( 10 );
   rm.symbol->statusCurrentIs( true );
   rm.reactor->pendingUpdateDel( 10 );
   EXPECT_FALSE( rm.symbol->statusCurrent() ) << "a deletion is a change too";
   EXPECT_TRUE( rm.sm->routeMapSymbolUpdateTask().taskScheduled() );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST_F( RouteMapConfigSymbolSmGateTest, aPendingUpdateOfADeletedSequenceIsDropped ) {
   List list( agent, "PL" );
   withSequences( rm, { 10, 20 } );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.start();
   list.publish();
   ASSERT_TRUE( rm.reactor->pendingUpdate( 10 ) );
   rm.map->mapEntryDel( 10 );
   EXPECT_EQ( rm.publications(), 1 );
   EXPECT_FALSE( rm.reactor->pendingUpdate( 10 ) );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 20 ) );
   EXPECT_EQ( rm.undefined(), 0 );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST_F( RouteMapConfigSymbolSmGateTest, oneRunAppliesAllPendingUpdates ) {
   List a( agent, "A" ), b( agent, "B" );
   for( uint32_t seqno = 1; seqno <= 40; ++seqno ) entry( seqno )->matchRuleIs( matchPrefixList( seqno % 2 ? "A" : "B" ) );
   rm.start();
   a.publish();
   b.publish();
   a.publish();
   agent.scheduler->budgetIs( []( const Zeugma::Task & ) { return true; } );   // it does not yield
   EXPECT_TRUE( agent.scheduler->runOne() );
   EXPECT_EQ( rm.publications(), 1 );
   for( uint32_t seqno = 1; seqno <= 40; ++seqno )
      EXPECT_EQ( listOf( rm.seq( seqno ) ), ( seqno % 2 ? a : b ).symbol->status().get() ) << seqno;
   EXPECT_EQ( rm.run(), 0 );
}

// --- how often, through route maps that call each other

class RouteMapConfigSymbolSmPublicationTest : public testing::Test {
 protected:
   /// Adds a route map that calls these, in sequences 10, 20, ..., and then matches `list`, if given.
   Compiled & add( const char * name, std::initializer_list<const char *> calls, const char * list = nullptr ) {
      maps.push_back( std::make_unique<Compiled>( agent, name ) );
      auto & one = *maps.back();
      uint32_t seqno = 0;
      for( const char * callee : calls ) one.map->mapEntryIs( seqno += 10 )->subRouteMapIs( { callee, false } );
      if( list || calls.size() == 0 ) {
         const auto last = one.map->mapEntryIs( seqno + 10 );
         if( list ) last->matchRuleIs( matchPrefixList( list ) );
      }
      return one;
   }
   void start() {
      for( const auto & one : maps ) one->start();
      settle();
   }
   void settle() {
      agent.scheduler->runUntilIdle();
      for( const auto & one : maps ) one->publications();
   }
   /// How often each was published, in the order of creation. Checks each map against its callees.
   std::vector<int> counts() {
      agent.scheduler->runUntilIdle();
      std::vector<int> all;
      for( const auto & one : maps ) {
         all.push_back( one->publications() );
         EXPECT_TRUE( one->symbol->statusCurrent() ) << one->map->name();
         for( const auto & [ seqno, seq ] : one->status()->seqStatus() ) {
            const auto & callee = one->map->mapEntry( seqno )->subRouteMap().name;
            if( !callee.empty() ) { EXPECT_EQ( seq->subRouteMap(), agent.root->routeMapTable()->symbol( callee )->rmStatus() ) << seqno; }
         }
      }
      return all;
   }
   /// A change of a leaf's configuration.
   void flip( Compiled & one ) {
      const auto first = one.map->mapEntry().first().value();
      first->permitIs( first->permit() == permit ? deny : permit );
      one.map->versionIs( one.map->version() + 1 );
   }
   Agent agent;
   std::vector<std::unique_ptr<Compiled>> maps;
};

TEST_F( RouteMapConfigSymbolSmPublicationTest, aChangeOfALeafIsPublishedOncePerMap ) {
   using Shape = std::vector<std::pair<const char *, std::vector<const char *>>>;
   const struct {
      const char * name;
      Shape shape;   // the leaf first
   } rows[] = {
      { "chain", { { "LEAF", {} }, { "A", { "LEAF" } }, { "B", { "A" } }, { "C", { "B" } }, { "D", { "C" } } } },
      { "called twice by one", { { "LEAF", {} }, { "A", { "LEAF", "LEAF" } } } },
      { "diamond", { { "LEAF", {} }, { "L", { "LEAF" } }, { "R", { "LEAF" } }, { "TOP", { "L", "R" } } } },
      { "paths that differ by one", { { "LEAF", {} }, { "MID", { "LEAF" } }, { "TOP", { "LEAF", "MID" } } } },
      { "the long path first", { { "LEAF", {} }, { "MID", { "LEAF" } }, { "TOP", { "MID", "LEAF" } } } },
      { "fan", { { "LEAF", {} }, { "A", { "LEAF" } }, { "B", { "LEAF" } }, { "C", { "LEAF" } }, { "TOP", { "A", "B", "C" } } } },
      { "diamond on a chain",
        { { "LEAF", {} }, { "A", { "LEAF" } }, { "L", { "A" } }, { "R", { "A" } }, { "TOP", { "L", "R" } }, { "OVER", { "TOP" } } } },
   };
   for( const auto & row : rows )
      for( const bool leafFirst : { true, false } ) {
         SCOPED_TRACE( std::string( row.name ) + ( leafFirst ? "" : ", built from the top" ) );
         maps.clear();
         for( const auto & [ name, calls ] : row.shape ) {
            add( name, {} );
            uint32_t seqno = 0;
            for( const char * callee : calls ) maps.back()->map->mapEntryIs( seqno += 10 )->subRouteMapIs( { callee, false } );
         }
         Compiled & leaf = *maps.front();
         if( !leafFirst ) std::reverse( maps.begin(), maps.end() );
         start();
         counts();
         flip( leaf );
         EXPECT_THAT( counts(), Each( 1 ) );
         flip( leaf );
         EXPECT_THAT( counts(), Each( 1 ) );
      }
}

TEST_F( RouteMapConfigSymbolSmPublicationTest, aBurstOfVersionsReachesTheCallersOnce ) {
   auto & leaf = add( "LEAF", {} );
   add( "A", { "LEAF" } );
   add( "B", { "A" } );
   start();
   for( int i = 0; i < 5; ++i ) flip( leaf );
   EXPECT_THAT( counts(), ElementsAre( 5, 1, 1 ) ) << "the leaf publishes in each version";
}

TEST_F( RouteMapConfigSymbolSmPublicationTest, aSharedListCausesOnePublicationEach ) {
   List list( agent, "PL" );
   add( "LEAF", {}, "PL" );
   add( "A", { "LEAF" }, "PL" );
   add( "B", { "A" }, "PL" );
   start();
   for( int i = 0; i < 2; ++i ) {
      list.publish();
      EXPECT_THAT( counts(), ElementsAre( 1, 1, 1 ) ) << i;
   }
   for( int i = 0; i < 4; ++i ) list.publish();
   EXPECT_THAT( counts(), ElementsAre( 1, 1, 1 ) ) << "a burst";
   list.edit();
   flip( *maps[ 0 ] );
   EXPECT_EQ( maps[ 0 ]->run(), 0 );
   list.publish();
   EXPECT_THAT( counts(), ElementsAre( 1, 1, 1 ) ) << "with a configuration change that it held";
}

TEST_F( RouteMapConfigSymbolSmPublicationTest, aLeafInProgressHoldsAChangeOfItsCaller ) {
   List list( agent, "PL" );
   auto & leaf = add( "LEAF", {}, "PL" );
   auto & top = add( "TOP", { "LEAF" } );
   start();
   list.publish();
   flip( top );
   EXPECT_EQ( top.publications(), 0 ) << "the leaf is in progress";
   EXPECT_FALSE( top.symbol->statusCurrent() );
   EXPECT_THAT( counts(), ElementsAre( 1, 1 ) );
   EXPECT_EQ( top.seq( 10 )->matchAction(), deny );
   EXPECT_EQ( top.seq( 10 )->subRouteMap(), leaf.status() );
}

TEST_F( RouteMapConfigSymbolSmPublicationTest, undefinedReferencesReachTheCallers ) {
   List list( agent, "PL" );
   add( "LEAF", {}, "PL" );
   auto & a = add( "A", { "LEAF" } );
   auto & b = add( "B", { "A" } );
   start();
   EXPECT_EQ( a.undefined(), UndefinedPolicyReferenceBitfield::prefixListUndefined );
   EXPECT_EQ( b.undefined(), UndefinedPolicyReferenceBitfield::prefixListUndefined );
   list.publish();
   EXPECT_THAT( counts(), ElementsAre( 1, 1, 1 ) );
   EXPECT_EQ( b.undefined(), 0 );
}

TEST_F( RouteMapConfigSymbolSmPublicationTest, aCalleeWithoutStatusIsUndefinedInItsCaller ) {
   auto & leaf = add( "LEAF", {} );
   auto & top = add( "TOP", { "LEAF" } );
   start();
   leaf.sm = nullptr;
   leaf.symbol->updateAndNotify( nullptr );
   EXPECT_EQ( top.run(), 1 );
   EXPECT_EQ( top.seq( 10 )->subRouteMap(), nullptr );
   EXPECT_EQ( top.undefined(), UndefinedPolicyReferenceBitfield::subRouteMapUndefined );
}

TEST_F( RouteMapConfigSymbolSmPublicationTest, mapsThatCallEachOtherWaitForEver ) {
   auto & a = add( "A", { "B" } );
   auto & b = add( "B", {} );
   start();
   b.map->mapEntry( 10 )->subRouteMapIs( { "A", false } );   // no filter stands before these machines
   a.symbol->statusCurrentIs( false );
   b.symbol->statusCurrentIs( false );
   a.map->mapEntry( 10 )->permitIs( deny );
   EXPECT_EQ( a.raise(), 0 );
   EXPECT_EQ( b.raise(), 0 );
   EXPECT_EQ( a.run(), 0 );
   EXPECT_EQ( b.run(), 0 );
   EXPECT_FALSE( a.symbol->statusCurrent() );
   EXPECT_FALSE( b.symbol->statusCurrent() );
}

// --- subscribers

using RouteMapConfigSymbolSmSubscriberTest = RouteMapConfigSymbolSmGateTest;

TEST_F( RouteMapConfigSymbolSmSubscriberTest, aMapWhoseSymbolHasNoNotifierIsCompiled ) {
   List list( agent, "PL" );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.symbol->notifierIs( nullptr );
   rm.start();
   ASSERT_TRUE( rm.seq( 10 ) );
   list.publish();
   rm.run();
   EXPECT_EQ( listOf( rm.seq( 10 ) ), list.symbol->status().get() );
   rm.map->mapEntryDel( 10 );
   EXPECT_THAT( rm.seqnos(), IsEmpty() );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST_F( RouteMapConfigSymbolSmSubscriberTest, mayBeReleasedInsideItsPublication ) {
   const auto edit = []( Compiled & one ) { one.map->mapEntry( 10 )->permitIs( deny ); };
   const struct {
      const char * name;
      std::function<void( Compiled &, List & )> change;
   } rows[] = {
      { "version", [ & ]( auto & one, auto & ) { edit( one ), one.map->versionIs( 99 ); } },
      { "deletion", []( auto & one, auto & ) { one.map->mapEntryDel( 20 ); } },
      { "all deleted", []( auto & one, auto & ) { one.map->mapEntryDelAll(); } },
      { "reevaluation", [ & ]( auto & one, auto & ) { edit( one ), one.reactor->reevaluateInc( 1 ); } },
      { "task", []( auto & one, auto & list ) { list.publish(), one.agent.scheduler->runUntilIdle(); } },
   };
   for( const auto & row : rows ) {
      List list( agent, "PL" );
      Compiled one( agent, "ONE" );
      withSequences( one, { 10, 20 } )->mapEntry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      one.start();
      Reaction dropper( *one.symbol->notifier(), [ & ]( const Quoin::Change & ) { one.sm = nullptr; } );
      row.change( one, list );
      EXPECT_EQ( one.publications(), 1 ) << row.name;
      EXPECT_EQ( one.sm, nullptr ) << row.name;
      EXPECT_TRUE( agent.scheduler->idle() ) << row.name;
   }
}

TEST_F( RouteMapConfigSymbolSmSubscriberTest, mayBeReleasedWhenItsSymbolIsNoLongerCurrent ) {
   const auto version = []( Compiled & one ) { one.map->mapEntry( 10 )->permitIs( deny ), one.map->versionIs( 99 ); };
   const struct {
      const char * name;
      std::function<void( Compiled &, List & )> change;
   } rows[] = {
      { "pending update", []( auto & one, auto & ) { one.reactor->pendingUpdateIs( 10 ); } },
      { "list", []( auto &, auto & list ) { list.publish(); } },
      { "held version", [ & ]( auto & one, auto & list ) { list.edit(), one.symbol->statusCurrentIs( true ), version( one ); } },
      { "held version, traced",
        [ & ]( auto & one, auto & list ) {
           const TraceLog log( "RouteMapConfigSymbolSm" );
           list.edit(), version( one );
        } },
      { "held deletion", []( auto & one, auto & list ) { list.edit(), one.map->mapEntryDel( 20 ); } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      // In its own process, since a fault here damages memory.
      const auto change = [ & ] {
         List list( agent, "PL" );
         Compiled one( agent, "ONE" );
         withSequences( one, { 10, 20 } )->mapEntry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
         one.start();
         Reaction dropper( *one.symbol, [ & ]( const Quoin::Change & change ) {
            if( change.field == Quoin::FieldId( RouteMapSymbol::Field::statusCurrent ) && !one.symbol->statusCurrent() ) one.sm = nullptr;
         } );
         row.change( one, list );
         std::_Exit( !one.sm && agent.scheduler->idle() && one.publications() == 0 ? 0 : 1 );
      };
      EXPECT_EXIT( change(), testing::ExitedWithCode( 0 ), "" );
   }
}

TEST_F( RouteMapConfigSymbolSmSubscriberTest, aSubscriberMayEditTheConfiguration ) {
   List list( agent, "PL" );
   withSequences( rm, { 10, 20 } );
   entry( 20 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.start();
   int rounds = 0;
   Reaction editor( *rm.symbol->notifier(), [ & ]( const Quoin::Change & ) {
      if( ++rounds > 3 ) return;
      if( rounds == 1 ) entry( 10 )->permitIs( deny );
      if( rounds == 2 ) entry( 30 );
      if( rounds == 3 ) return rm.map->mapEntryDel( 20 ), void();
      rm.map->versionIs( rm.map->version() + 1 );
   } );
   list.publish();
   EXPECT_EQ( rm.run(), 4 ) << "the list's, and one for each edit";
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10, 30 ) );
   EXPECT_EQ( rm.seq( 10 )->matchAction(), deny );
   EXPECT_THAT( rm.listed(), IsEmpty() );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST_F( RouteMapConfigSymbolSmSubscriberTest, aReleasedMachineLeavesTheStatusAndDropsItsTask ) {
   List list( agent, "PL" );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.start();
   const auto status = rm.status();
   list.publish();
   EXPECT_FALSE( agent.scheduler->idle() );
   rm.sm = nullptr;
   EXPECT_TRUE( agent.scheduler->idle() );
   EXPECT_EQ( rm.status(), status );
   EXPECT_EQ( rm.reactor->modifiedRmSeqStatusList(), nullptr );
   rm.map->versionIs( 7 );
   rm.map->mapEntryIs( 20 );
   list.publish();
   EXPECT_EQ( rm.run(), 0 );
}

}   // namespace
