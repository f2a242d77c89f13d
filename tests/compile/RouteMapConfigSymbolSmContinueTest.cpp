// How the machine of a route map links continues.

#include "compile/RouteMapConfigSymbolSm.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::CompileFixtures;
using Fixtures::deny;
using testing::Contains;

class RouteMapConfigSymbolSmContinueTest : public testing::Test {
 protected:
   Agent agent;
   Compiled rm{ agent, "RM" };
   Ptr<MapEntry> entry( uint32_t seqno ) { return rm.map->mapEntryIs( seqno ); }
};

TEST_F( RouteMapConfigSymbolSmContinueTest, aContinueLinksItsNumberOrTheNext ) {
   constexpr uint32_t none = 4294967294;
   const struct {
      const char * name;
      uint32_t origin, target, expected;
   } rows[] = {
      { "no continue", 10, none, 0 },
      { "to the next", 10, 0, 20 },
      { "to the next, one above", 20, 0, 21 },
      { "to a number", 10, 30, 30 },
      { "to the number after it", 10, 20, 20 },
      { "to the top", 10, 4294967295u, 4294967295u },
      { "to the next, of the last but one", 30, 0, 4294967295u },
      { "to a number that does not exist", 10, 25, 0 },
      { "to a number above most", 30, 50, 0 },
      { "to itself", 20, 20, 0 },
      { "backwards", 30, 10, 0 },
   };
   for( const auto & row : rows ) {
      Compiled one( agent, "ONE" );
      withSequences( one, { 10, 20, 21, 30, 4294967295u } );
      if( row.target != none ) continues( one.map->mapEntry( row.origin ), row.target );
      EXPECT_EQ( one.start(), 1 ) << row.name;
      EXPECT_EQ( one.next( row.origin ), row.expected ) << row.name;
      EXPECT_EQ( one.sm->targetSeqnoForOrigin( row.origin ), row.expected ) << row.name;
      if( row.expected ) { EXPECT_EQ( one.seq( row.origin )->continueSeq(), one.seq( row.expected ) ) << row.name; }
   }
}

TEST_F( RouteMapConfigSymbolSmContinueTest, thePlainContinueOfTheLastSequenceHasNoTarget ) {
   withSequences( rm, { 10, 20 } );
   continues( entry( 20 ) );
   rm.start();
   ASSERT_TRUE( rm.sm->continueSeqMap()->continueSeqGet( 20 ) ) << "the continue exists";
   EXPECT_EQ( rm.sm->targetSeqnoForOrigin( 20 ), 0u );
   EXPECT_EQ( rm.seq( 20 )->continueSeq(), nullptr );
   entry( 30 );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.next( 20 ), 30u );
   const auto old = rm.seq( 20 );
   rm.map->mapEntryDel( 30 );
   EXPECT_EQ( rm.publications(), 1 );
   EXPECT_NE( rm.seq( 20 ), old );
   EXPECT_EQ( rm.seq( 20 )->continueSeq(), nullptr );
}

TEST_F( RouteMapConfigSymbolSmContinueTest, theHighestNumberHasNoTarget ) {
   withSequences( rm, { 0, 10, 4294967295u } );
   continues( entry( 4294967295u ) );
   rm.start();
   EXPECT_EQ( rm.sm->targetSeqnoForOrigin( 4294967295u ), 0u );
   EXPECT_EQ( rm.next( 4294967295u ), 0u );
   continues( entry( 10 ) );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.next( 10 ), 4294967295u );
}

TEST_F( RouteMapConfigSymbolSmContinueTest, aContinueThatDoesNotGoForwardIsIgnored ) {
   withSequences( rm, { 10, 20, 30 } );
   continues( entry( 20 ), 30 );
   rm.start();
   EXPECT_EQ( rm.next( 20 ), 30u );
   TraceLog log( "RouteMapConfigSymbolSm" );
   entry( 20 )->continueSeqIs( 10 );
   EXPECT_EQ( rm.raise(), 1 );
   int traced = 0;
   for( const auto & text : log.take() ) traced += text.find( "does not go forward" ) != text.npos;
   EXPECT_EQ( traced, 1 );
   EXPECT_EQ( rm.next( 20 ), 0u );
   EXPECT_FALSE( rm.sm->continueSeqMap()->continueSeqGet( 20 ) );
   entry( 20 )->continueSeqIs( 30 );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.next( 20 ), 30u );
}

TEST_F( RouteMapConfigSymbolSmContinueTest, aContinueSwitchedOffRemovesTheLink ) {
   withSequences( rm, { 10, 20 } );
   continues( entry( 10 ) );
   rm.start();
   EXPECT_EQ( rm.next( 10 ), 20u );
   entry( 10 )->setFlagsIs( 0 );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.seq( 10 )->continueSeq(), nullptr );
   EXPECT_FALSE( rm.sm->continueSeqMap()->continueSeqGet( 10 ) );
}

TEST_F( RouteMapConfigSymbolSmContinueTest, aTargetAddedLaterIsLinked ) {
   withSequences( rm, { 10, 20 } );
   continues( entry( 10 ), 30 );
   rm.start();
   EXPECT_EQ( rm.next( 10 ), 0u );
   entry( 30 );
   EXPECT_EQ( rm.next( 10 ), 0u );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.seq( 10 )->continueSeq(), rm.seq( 30 ) );
}

TEST_F( RouteMapConfigSymbolSmContinueTest, aReplacedTargetReplacesOnlyTheChainToIt ) {
   List list( agent, "PL" );
   withSequences( rm, { 5, 10, 20, 30, 40 } );
   entry( 30 )->matchRuleIs( matchPrefixList( "PL" ) );
   continues( entry( 10 ), 20 );
   continues( entry( 20 ) );
   continues( entry( 5 ), 40 );
   rm.start();
   std::vector<Ptr<const RouteMapSeqStatus>> old;
   for( const uint32_t seqno : { 5, 10, 20, 30, 40 } ) old.push_back( rm.seq( seqno ) );
   list.publish();
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_NE( rm.seq( 30 ), old[ 3 ] );
   EXPECT_NE( rm.seq( 20 ), old[ 2 ] );
   EXPECT_NE( rm.seq( 10 ), old[ 1 ] );
   EXPECT_EQ( rm.seq( 5 ), old[ 0 ] ) << "its target stays";
   EXPECT_EQ( rm.seq( 40 ), old[ 4 ] );
   EXPECT_EQ( rm.seq( 10 )->continueSeq(), rm.seq( 20 ) );
   EXPECT_EQ( rm.seq( 20 )->continueSeq(), rm.seq( 30 ) );
   EXPECT_EQ( old[ 1 ]->continueSeq(), old[ 2 ] ) << "a published sequence is not written again";
   EXPECT_EQ( old[ 2 ]->continueSeq(), old[ 3 ] );
}

TEST_F( RouteMapConfigSymbolSmContinueTest, manyOriginsMayShareATarget ) {
   List list( agent, "PL" );
   for( uint32_t seqno = 1; seqno <= 50; ++seqno ) continues( entry( seqno ), 100 );
   entry( 100 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.start();
   list.publish();
   EXPECT_EQ( rm.run(), 1 );
   for( uint32_t seqno = 1; seqno <= 50; ++seqno ) EXPECT_EQ( rm.seq( seqno )->continueSeq(), rm.seq( 100 ) ) << seqno;
}

TEST_F( RouteMapConfigSymbolSmContinueTest, aDeletedTargetIsSkippedOrEndsTheContinue ) {
   for( const bool plain : { true, false } ) {
      Compiled one( agent, "ONE" );
      withSequences( one, { 10, 20, 30, 40 } );
      continues( one.map->mapEntry( 10 ), 20 );
      continues( one.map->mapEntry( 20 ), plain ? 0 : 30 );
      one.start();
      const auto first = one.seq( 10 ), second = one.seq( 20 ), last = one.seq( 40 );
      one.map->mapEntryDel( 30 );
      EXPECT_EQ( one.publications(), 1 ) << plain;
      EXPECT_NE( one.seq( 20 ), second ) << plain;
      EXPECT_EQ( one.next( 20 ), plain ? 40u : 0u );
      EXPECT_EQ( one.seq( 10 )->continueSeq(), one.seq( 20 ) ) << plain;
      EXPECT_NE( one.seq( 10 ), first ) << plain;
      EXPECT_EQ( one.seq( 40 ), last ) << plain;
      EXPECT_EQ( second->continueSeq()->seqno(), 30u ) << "a published sequence is not written again";
   }
}

TEST_F( RouteMapConfigSymbolSmContinueTest, aSequenceAddedBetweenBecomesTheNext ) {
   withSequences( rm, { 10, 30 } );
   continues( entry( 10 ) );
   rm.start();
   EXPECT_EQ( rm.next( 10 ), 30u );
   entry( 20 );
   rm.raise();
   EXPECT_EQ( rm.next( 10 ), 20u );
   rm.map->mapEntryDel( 20 );
   EXPECT_EQ( rm.seq( 10 )->continueSeq(), rm.seq( 30 ) );
}

TEST_F( RouteMapConfigSymbolSmContinueTest, aTargetCountsWhileAStatusHoldsIt ) {
   for( const uint32_t number : { 0u, 20u } ) {
      Compiled one( agent, "ONE" );
      withSequences( one, { 10 } );
      continues( one.map->mapEntry( 10 ), number );
      one.start();
      const auto & list = one.sm->modifiedRmSeqStatusList();
      one.map->mapEntryIs( 20 );
      EXPECT_EQ( one.sm->targetSeqnoForOrigin( 10 ), 20u ) << "listed; " << number;
      list->seqStatusDel( { 20 } );
      EXPECT_EQ( one.sm->targetSeqnoForOrigin( 10 ), 0u ) << "a machine alone does not count; " << number;
      list->seqStatusIs( ModifiedRouteMapSeqStatus( { 20 } ) );
      EXPECT_EQ( one.sm->targetSeqnoForOrigin( 10 ), 20u ) << "a tombstone does; " << number;
      list->seqStatusDelAll();
      one.raise();
      one.map->mapEntryDel( 20 );
      EXPECT_EQ( one.sm->targetSeqnoForOrigin( 10 ), 0u ) << "without a machine; " << number;
   }
}

TEST_F( RouteMapConfigSymbolSmContinueTest, tracesItsTargets ) {
   withSequences( rm, { 10, 20 } );
   continues( entry( 10 ) );
   TraceLog log( "RouteMapConfigSymbolSm" );
   rm.start();
   const auto traces = log.take();
   EXPECT_THAT( traces, Contains( "originSeqno: 10" ) );
   EXPECT_THAT( traces, Contains( "seqno: 10, targetSeqno: 20" ) );
}

using RouteMapConfigSymbolSmDeathTest = RouteMapConfigSymbolSmContinueTest;

TEST_F( RouteMapConfigSymbolSmDeathTest, brokenContinuesEndTheProcess ) {
   withSequences( rm, { 10, 20, 30 } );
   rm.start();
   const auto compileWith = [ & ]( uint32_t origin, uint32_t target ) {
      rm.sm->continueSeqMap()->continueSeqIs( origin, target );
      rm.map->mapEntryDel( 30 );
   };
   EXPECT_DEATH( compileWith( 15, 0 ), "nullptr != rmSeqStatus" ) << "an unknown sequence";
   EXPECT_DEATH( compileWith( 20, 10 ), "targetSeqno > originSeqno" );
   EXPECT_DEATH( compileWith( 10, 10 ), "targetSeqno > originSeqno" );
}

TEST_F( RouteMapConfigSymbolSmDeathTest, anUnknownTargetEndsTheProcess ) {
   withSequences( rm, { 10, 30 } );
   continues( entry( 10 ), 20 );
   rm.start();
   const auto compile = [ & ] {
      entry( 20 );
      entry( 10 )->permitIs( deny );
      rm.map->mapEntryIs( 20 );
      rm.sm->hasNotificationActiveIs( false );   // the machine of 20 stays
      rm.sm->handleVersion();
   };
   compile();
   EXPECT_EQ( rm.next( 10 ), 20u );
   const auto broken = [ & ] {
      rm.sm->modifiedRmSeqStatusList()->seqStatusIs( ModifiedRouteMapSeqStatus(
         { 10 }, RouteMapSeqStatus::newFrom( rm.seq( 10 ), 10 ), rm.sm->seqConfigSm().find( 10 )->get()->undefinedRefsTracker() ) );
      rm.sm->modifiedRmSeqStatusList()->seqStatusIs( ModifiedRouteMapSeqStatus( { 20 } ) );
      rm.symbol->rmStatusIs( Fixtures::routeMap( "RM", { Fixtures::seq( 10 ) } ) );   // without the target
      rm.sm->handleRouteMapSymbolUpdateTask();
   };
   EXPECT_DEATH( broken(), "nullptr != targetSeq" );
}

}   // namespace
