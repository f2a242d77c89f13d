#include "compile/CommonComponentRmSeqConfigFilterSm.h"

#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/FilterFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::MatchRule;
using Routing::RouteMap::SubRouteMap;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using Log = std::vector<std::string>;
using Sm = CommonComponentRmSeqConfigFilterSm;

static_assert( std::is_base_of_v<CommonComponentRmSeqConfigSmBase, Sm> );

constexpr auto deny = Acl::MatchPermit::deny;
constexpr auto permit = Acl::MatchPermit::permit;

/// One sequence of RM1, and the filtered route maps that it may call: RM2, which calls nothing, and RM3, which calls RM1.
class CommonComponentRmSeqConfigFilterSmTest : public testing::Test {
 protected:
   CommonComponentRmSeqConfigFilterSmTest() {
      c.filtered->routeMapIs( "RM2" )->mapEntryIs( 10 );
      c.filtered->routeMapIs( "RM3" )->mapEntryIs( 10 )->subRouteMapIs( { "RM1", false } );
   }
   Ptr<Sm> start() { return commonComponentRmSeqConfigFilterSmFactory( "RM1", entry, copy, c.filtered.get(), list, c.update ); }
   void unblock() { c.filtered->routeMap( "RM3" )->mapEntry( 10 )->subRouteMapIs( {} ); }
   void blockAgain() { c.filtered->routeMap( "RM3" )->mapEntry( 10 )->subRouteMapIs( { "RM1", false } ); }
   Log take() { return std::exchange( log, {} ); }

   FilterCase c;
   Ptr<MapEntry> entry = makeNode<MapEntry>( 20 );
   Ptr<MapEntry> copy = c.filtered->routeMapIs( "RM1" )->mapEntryIs( 20 );
   Ptr<RouteMapBlockedSequenceList> list = makeNode<RouteMapBlockedSequenceList>( "RM1" );
   Log log;
   Reaction toCopy{ *copy, [ this ]( const Quoin::Change & change ) { log.push_back( describe( *copy, change ) ); } };
};

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aNewSequenceIsCopiedInOrder ) {
   entry->matchRuleIs( listRule( MatchOption::matchTagSet, "TS1" ) );
   entry->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "PL1", true ) );
   entry->descriptionIs( 2, "second" );
   entry->descriptionIs( 1, "first" );
   entry->subRouteMapIs( { "RM2", true } );
   entry->distanceIs( 7 );
   entry->continueSeqIs( 40 );
   entry->setFlagsIs( MapEntry::continueSeqSet | 3 );
   entry->permitIs( deny );
   const auto sm = makeNode<Sm>( "RM1", entry, copy, c.filtered.get(), list, c.update );   // not switched on
   EXPECT_THAT( take(),
                ElementsAre( "permit deny", "setFlags 65539", "continueSeq 40", "distance 7", "subRouteMap RM2 invert-result",
                             "description 1 'first'", "description 2 'second'", "matchRule matchIpPrefixList listName PL1 invert-result",
                             "matchRule matchTagSet listName TS1" ) );
   EXPECT_EQ( sm->rmName(), "RM1" );
   EXPECT_EQ( sm->seqno(), 20u );
   EXPECT_EQ( textOf( *sm ), "rmName: RM1 seqno: 20" );
   EXPECT_EQ( sm->routeMapUpdateNotifierSubScriber(), nullptr );
   sm->hasNotificationActiveIs( true );
   EXPECT_THAT( take(), IsEmpty() ) << "nothing was missed";
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, copiesEachAttributeAsItChanges ) {
   const auto call = [ & ]( const char * name, bool invert ) { entry->subRouteMapIs( { name, invert } ); };
   const auto rule = [ & ]( const char * list, bool invert ) {
      entry->matchRuleIs( listRule( MatchOption::matchIpPrefixList, list, invert ) );
   };
   struct Row {
      const char * what;
      std::function<void()> write;
      Log copied;
   };
   const Row rows[] = {
      { "deny", [ & ] { entry->permitIs( deny ); }, { "permit deny" } },
      { "the same again", [ & ] { entry->permitIs( deny ); }, {} },
      { "permit", [ & ] { entry->permitIs( permit ); }, { "permit permit" } },
      { "unknown flags", [ & ] { entry->setFlagsIs( 0xfff ); }, { "setFlags 4095" } },
      { "the flag of the continue", [ & ] { entry->setFlagsIs( MapEntry::continueSeqSet ); }, { "setFlags 65536" } },
      { "a continue", [ & ] { entry->continueSeqIs( 40 ); }, { "continueSeq 40" } },
      { "no flags, the number stays", [ & ] { entry->setFlagsIs( 0 ); }, { "setFlags 0" } },
      { "no number", [ & ] { entry->continueSeqIs( 0 ); }, { "continueSeq 0" } },
      { "a distance", [ & ] { entry->distanceIs( 300 ); }, { "distance 300" } },
      { "no distance", [ & ] { entry->distanceIs( 0 ); }, { "distance 0" } },
      { "a description line", [ & ] { entry->descriptionIs( 3, "x" ); }, { "description 3 'x'" } },
      { "another text", [ & ] { entry->descriptionIs( 3, "y" ); }, { "description 3 'y'" } },
      { "a removed line reads as empty", [ & ] { entry->descriptionDel( 3 ); }, { "description 3 ''" } },
      { "a call", [ & ] { call( "RM2", false ); }, { "subRouteMap RM2" } },
      { "the same call inverted", [ & ] { call( "RM2", true ); }, { "subRouteMap RM2 invert-result" } },
      { "a call of an undefined map", [ & ] { call( "RM9", false ); }, { "subRouteMap RM9" } },
      { "no call", [ & ] { call( "", false ); }, { "subRouteMap " } },
      { "a rule", [ & ] { rule( "PL1", false ); }, { "matchRule matchIpPrefixList listName PL1" } },
      { "another rule", [ & ] { rule( "PL2", true ); }, { "matchRule matchIpPrefixList listName PL2 invert-result" } },
      { "no rule", [ & ] { entry->matchRuleDel( MatchOption::matchIpPrefixList ); }, { "matchRule matchIpPrefixList gone" } },
   };
   const auto sm = start();
   EXPECT_THAT( take(), IsEmpty() ) << "an empty sequence";
   EXPECT_TRUE( list->sequence().empty() );
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      row.write();
      EXPECT_EQ( take(), row.copied );
   }
   EXPECT_TRUE( copy->description().find( 3 ) ) << "written as empty, not deleted";
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, continueAndDistanceCopyTheFlagsToo ) {
   const auto sm = start();
   entry->continueSeqIs( 30 );
   entry->distanceIs( 9 );
   entry->setFlagsIs( 5 );
   struct Row {
      const char * handler;
      std::function<void()> run;
      Log copied;   // the value before the flags
   };
   const Row rows[] = { { "continue", [ & ] { sm->handleContinueSeq(); }, { "continueSeq 30", "setFlags 5" } },
                        { "distance", [ & ] { sm->handleDistance(); }, { "distance 9", "setFlags 5" } },
                        { "flags", [ & ] { sm->handleSetFlags(); }, { "setFlags 5" } } };
   for( const Row & row : rows ) {
      copy->setFlagsIs( 0 );   // as if no notification had arrived yet
      copy->continueSeqIs( 0 );
      copy->distanceIs( 0 );
      take();
      row.run();
      EXPECT_EQ( take(), row.copied ) << row.handler;
   }
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, copiesTheRulesOfTheSupportedOptionsOnly ) {
   const auto sm = start();
   std::vector<unsigned> copied;
   for( unsigned option = 0; option <= 255; ++option ) {
      MatchRule rule;
      rule.option = MatchOption( option );
      rule.numericValue = 4;
      entry->matchRuleIs( rule );
      if( const auto * found = copy->matchRule().find( rule.option ) ) {
         EXPECT_EQ( *found, rule );
         copied.push_back( option );
      }
   }
   EXPECT_THAT( copied, ElementsAre( 1, 2, 106, 113, 115, 116, 131, 132 ) );
   EXPECT_EQ( copy->matchRule().count(), copied.size() );
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, theDeletionOfARuleIsCopiedForEveryOption ) {
   const auto sm = start();
   entry->matchRuleIs( listRule( MatchOption::matchCommunity, "C1" ) );
   copy->matchRuleIs( listRule( MatchOption::matchCommunity, "agent" ) );   // by an agent's own filter
   take();
   entry->matchRuleIs( listRule( MatchOption::matchCommunity, "C2" ) );
   EXPECT_THAT( take(), IsEmpty() ) << "unsupported";
   entry->matchRuleDel( MatchOption::matchCommunity );
   EXPECT_THAT( take(), ElementsAre( "matchRule matchCommunity gone" ) );
   sm->handleMatchRule( MatchOption::matchTag );
   EXPECT_THAT( take(), IsEmpty() ) << "absent from both";
}

// ---- calls

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aCallThatClosesACycleBlocksTheSequenceAndKeepsTheOldCall ) {
   struct Row {
      const char * what;
      SubRouteMap before;
      SubRouteMap after;
      bool blocks;
   };
   const Row rows[] = {
      { "itself", {}, { "RM1", false }, true },
      { "itself inverted", {}, { "RM1", true }, true },
      { "one that calls it", {}, { "RM3", false }, true },
      { "one that calls it, in place of another call", { "RM2", true }, { "RM3", false }, true },
      { "one that calls nothing", {}, { "RM2", false }, false },
      { "one that is not defined", { "RM2", false }, { "RM9", true }, false },
      { "nobody", { "RM2", false }, {}, false },
      { "nobody, inverted", { "RM2", false }, { "", true }, false },
   };
   const auto sm = start();
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      entry->subRouteMapIs( row.before );
      ASSERT_EQ( copy->subRouteMap(), row.before );
      entry->subRouteMapIs( row.after );
      EXPECT_EQ( copy->subRouteMap(), row.blocks ? row.before : row.after );
      EXPECT_EQ( list->sequence( 20 ), row.blocks );
      EXPECT_EQ( list->sequence().count(), row.blocks ? 1u : 0u );
      EXPECT_EQ( sm->routeMapUpdateNotifierSubScriber(), row.blocks ? Ptr<const Quoin::Node>( c.update ) : nullptr );
      EXPECT_EQ( sm->evalSubRouteMap(), !row.blocks );
   }
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aSequenceBlockedAtCreationIsCopiedWithoutItsCall ) {
   entry->subRouteMapIs( { "RM3", false } );
   entry->distanceIs( 4 );
   entry->descriptionIs( 1, "d" );
   const auto sm = start();
   EXPECT_THAT( take(), ElementsAre( "distance 4", "description 1 'd'" ) );
   EXPECT_TRUE( list->sequence( 20 ) );
   EXPECT_EQ( sm->routeMapUpdateNotifierSubScriber(), c.update );
   unblock();
   c.update->versionInc( 1 );
   EXPECT_THAT( take(), ElementsAre( "subRouteMap RM3" ) );
   EXPECT_TRUE( list->sequence().empty() );
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aBlockedSequenceIsCopiedExceptItsCall ) {
   const auto sm = start();
   entry->subRouteMapIs( { "RM3", false } );
   EXPECT_THAT( take(), IsEmpty() );
   entry->permitIs( deny );
   entry->setFlagsIs( 1 );
   entry->continueSeqIs( 50 );
   entry->distanceIs( 2 );
   entry->descriptionIs( 1, "d" );
   entry->matchRuleIs( listRule( MatchOption::matchTagSet, "TS1" ) );
   EXPECT_THAT( take(),
                ElementsAre( "permit deny", "setFlags 1", "continueSeq 50", "distance 2", "description 1 'd'",
                             "matchRule matchTagSet listName TS1" ) );
   EXPECT_TRUE( list->sequence( 20 ) );
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aBlockedSequenceTriesAgainAtEachVersionOfTheNotifierOnly ) {
   const auto sm = start();
   entry->subRouteMapIs( { "RM3", false } );
   c.update->versionInc( 1 );
   EXPECT_EQ( copy->subRouteMap(), SubRouteMap{} ) << "still a cycle";
   EXPECT_TRUE( list->sequence( 20 ) );
   EXPECT_EQ( sm->routeMapUpdateNotifierSubScriber(), c.update ) << "still subscribed";
   unblock();
   EXPECT_TRUE( list->sequence( 20 ) ) << "not notified";
   EXPECT_EQ( copy->subRouteMap(), SubRouteMap{} );
   c.update->versionIs( 0 );   // any change counts, also to a lower version
   EXPECT_EQ( copy->subRouteMap(), ( SubRouteMap{ "RM3", false } ) );
   EXPECT_TRUE( list->sequence().empty() );
   EXPECT_EQ( sm->routeMapUpdateNotifierSubScriber(), nullptr );
   EXPECT_THAT( take(), ElementsAre( "subRouteMap RM3" ) );
   copy->subRouteMapIs( { "RM9", false } );   // would be corrected by another evaluation
   c.update->versionInc( 1 );
   sm->handleRouteMapUpdateNotifier();
   EXPECT_THAT( take(), ElementsAre( "subRouteMap RM9" ) ) << "a sequence that is not blocked ignores the notifier";
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, theNewestCallCounts ) {
   const auto sm = start();
   entry->subRouteMapIs( { "RM3", false } );
   entry->subRouteMapIs( { "RM3", true } );   // still a cycle
   EXPECT_TRUE( list->sequence( 20 ) );
   unblock();
   c.update->versionInc( 1 );
   EXPECT_EQ( copy->subRouteMap(), ( SubRouteMap{ "RM3", true } ) );
   entry->subRouteMapIs( {} );
   blockAgain();
   entry->subRouteMapIs( { "RM3", false } );
   ASSERT_TRUE( list->sequence( 20 ) );
   entry->subRouteMapIs( { "RM2", false } );   // frees it without the notifier
   EXPECT_EQ( copy->subRouteMap(), ( SubRouteMap{ "RM2", false } ) );
   EXPECT_TRUE( list->sequence().empty() );
   EXPECT_EQ( sm->routeMapUpdateNotifierSubScriber(), nullptr );
   take();
   unblock();
   c.update->versionInc( 1 );
   EXPECT_THAT( take(), IsEmpty() ) << "nothing is blocked";
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aSequenceBlockedAgainPublishesNothing ) {
   const auto sm = start();
   Reaction toList( *list );
   entry->subRouteMapIs( { "RM3", false } );
   EXPECT_EQ( toList.take(), 1 );
   entry->subRouteMapIs( { "RM1", false } );
   c.update->versionInc( 1 );
   c.update->versionInc( 1 );
   EXPECT_EQ( toList.take(), 0 ) << "so a cascade ends";
   entry->subRouteMapIs( {} );
   EXPECT_EQ( toList.take(), 1 );
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aFreedSequenceCopiesThenUnsubscribesThenLeavesTheList ) {
   const auto sm = start();
   entry->subRouteMapIs( { "RM3", false } );
   Log steps;
   const auto note = [ & ]( const char * who ) {
      return [ &, who ]( const Quoin::Change & ) {
         steps.push_back( std::string( who ) + ( copy->subRouteMap().name.empty() ? "" : " copied" ) +
                          ( sm->routeMapUpdateNotifierSubScriber() ? " listens" : "" ) + ( list->sequence( 20 ) ? " listed" : "" ) );
      };
   };
   const Reaction ofCopy( *copy, note( "copy:" ) ), ofList( *list, note( "list:" ) );
   unblock();
   c.update->versionInc( 1 );
   EXPECT_THAT( steps, ElementsAre( "copy: copied listens listed", "list: copied" ) );
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, deletesTheEntryOfAnEarlierSequenceOfItsNumber ) {
   list->sequenceIs( 20, true );
   list->sequenceIs( 30, true );
   const auto sm = start();
   EXPECT_TRUE( list->sequence( 20 ) ) << "no call was evaluated";
   entry->subRouteMapIs( { "RM2", false } );
   EXPECT_FALSE( list->sequence().find( 20 ) );
   EXPECT_TRUE( list->sequence( 30 ) ) << "the entry of another sequence";
}

// ---- traces

TEST_F( CommonComponentRmSeqConfigFilterSmTest, tracesWhatBecomesOfACall ) {
   const auto sm = start();
   TraceLog traces( "CommonComponentRmSeqConfigFilterSm" );
   entry->subRouteMapIs( { "RM2", true } );
   EXPECT_THAT( traces.take(), ElementsAre( HasSubstr( "handleSubRouteMap" ), "changing sub-route-map from: to RM2 invert-result" ) );
   entry->subRouteMapIs( { "RM3", false } );
   EXPECT_THAT(
      traces.take(),
      ElementsAre( HasSubstr( "handleSubRouteMap" ), "subscribe to the global route map update", "marking sequence as blocking" ) );
   c.update->versionInc( 1 );
   EXPECT_THAT( traces.take(),
                ElementsAre( "previous sync was deferred due to cycle. Re-evaluating.", "subscribe to the global route map update",
                             "marking sequence as blocking" ) );
   unblock();
   c.update->versionInc( 1 );
   EXPECT_THAT(
      traces.take(),
      ElementsAre( "previous sync was deferred due to cycle. Re-evaluating.", "changing sub-route-map from:RM2 invert-result to RM3" ) );
   entry->subRouteMapIs( {} );
   EXPECT_THAT( traces.take(), ElementsAre( HasSubstr( "handleSubRouteMap" ), "changing sub-route-map from:RM3 to " ) );
   c.update->versionInc( 1 );
   EXPECT_THAT( traces.take(), IsEmpty() );
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, eachHandlerTracesThePlaceInTheSource ) {
   struct Row {
      const char * handler;
      std::function<void( Sm & )> run;
   };
   const Row rows[] = {
      { "handlePermit", []( Sm & sm ) { sm.handlePermit(); } },
      { "handleSetFlags", []( Sm & sm ) { sm.handleSetFlags(); } },
      { "handleDescription", []( Sm & sm ) { sm.handleDescription( 1 ); } },
      { "handleContinueSeq", []( Sm & sm ) { sm.handleContinueSeq(); } },
      { "handleDistance", []( Sm & sm ) { sm.handleDistance(); } },
      { "handleMatchRule", []( Sm & sm ) { sm.handleMatchRule( MatchOption::matchTag ); } },
      { "handleSubRouteMap", []( Sm & sm ) { sm.handleSubRouteMap(); } },
   };
   const auto sm = start();
   TraceLog traces( "CommonComponentRmSeqConfigFilterSm" );
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.handler );
      row.run( *sm );
      const auto texts = traces.take();
      ASSERT_FALSE( texts.empty() );
      EXPECT_THAT( texts.front(), HasSubstr( "CommonComponentRmSeqConfigFilterSm.cpp:" ) );
      EXPECT_THAT( texts.front(), HasSubstr( row.handler ) );
      EXPECT_THAT( texts.front(), EndsWith( "rmName: RM1 seqno: 20" ) );
   }
}

// ---- lifetime

TEST_F( CommonComponentRmSeqConfigFilterSmTest, changesBetweenConstructionAndNotificationAreCopied ) {
   entry->distanceIs( 3 );
   entry->subRouteMapIs( { "RM2", false } );
   entry->descriptionIs( 1, "d" );
   entry->matchRuleIs( listRule( MatchOption::matchTagSet, "TS1" ) );
   const auto sm = makeNode<Sm>( "RM1", entry, copy, c.filtered.get(), list, c.update );
   take();
   entry->distanceIs( 0 );
   entry->subRouteMapIs( { "RM3", false } );
   entry->descriptionDel( 1 );
   entry->matchRuleDel( MatchOption::matchTagSet );
   EXPECT_THAT( take(), IsEmpty() );
   sm->hasNotificationActiveIs( true );
   EXPECT_EQ( copy->distance(), 0u );
   EXPECT_TRUE( list->sequence( 20 ) );
   entry->subRouteMapIs( {} );
   EXPECT_EQ( copy->subRouteMap(), SubRouteMap{} );
   EXPECT_EQ( copy->description( 1 ), "" );
   EXPECT_TRUE( copy->matchRule().empty() );
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, aStoppedMachineCopiesNothing ) {
   auto sm = start();
   entry->subRouteMapIs( { "RM3", false } );
   unblock();
   sm->plinthDoZombieReactors( true );
   entry->distanceIs( 3 );
   c.update->versionInc( 1 );
   EXPECT_THAT( take(), IsEmpty() );
   sm->plinthDoZombieReactors( false );
   sm = nullptr;
   entry->distanceIs( 4 );
   c.update->versionInc( 1 );
   EXPECT_THAT( take(), IsEmpty() );
   EXPECT_TRUE( list->sequence( 20 ) ) << "its entry stays";
}

TEST_F( CommonComponentRmSeqConfigFilterSmTest, mayBeReleasedInAnyOfItsWrites ) {
   const auto call = [ & ]( const char * name, bool invert ) { entry->subRouteMapIs( { name, invert } ); };
   struct Row {
      const char * what;
      const Quoin::Node & watched;
      bool blockedBefore;
      std::function<void()> act;
      SubRouteMap copied;
   };
   const Row rows[] = {
      { "the copy of a call", *copy, false, [ & ] { call( "RM2", false ); }, { "RM2", false } },
      { "the blocking", *list, false, [ & ] { call( "RM3", false ); }, {} },
      { "the end of the blocking", *list, true, [ & ] { call( "RM2", true ); }, { "RM2", true } },
      { "the copy when the notifier frees it", *copy, true, [ & ] { unblock(), c.update->versionInc( 1 ); }, { "RM3", false } },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      entry->subRouteMapIs( {} );
      copy->subRouteMapIs( {} );
      list->sequenceDelAll();
      blockAgain();
      auto sm = start();
      if( row.blockedBefore ) call( "RM3", false );
      const Reaction release( row.watched, [ & ]( const Quoin::Change & ) { sm = nullptr; } );
      row.act();
      EXPECT_EQ( sm, nullptr );
      EXPECT_EQ( copy->subRouteMap(), row.copied );
   }
}

}   // namespace
}   // namespace Routing::Policy
