#include "compile/RmConfigSymbolReactor.h"

#include <cstdint>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using CompileFixtures::Reaction;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using Quoin::String;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Field = RmConfigSymbolReactor::Field;

constexpr FieldId kUpdate = FieldId( Field::pendingUpdate ), kReevaluate = FieldId( Field::reevaluate );

TEST( RmConfigSymbolReactor, isEmptyAtFirst ) {
   for( const auto & reactor : { makeNode<RmConfigSymbolReactor>( "RM1" ), rmConfigSymbolReactorFactory( "RM1" ) } ) {
      EXPECT_EQ( reactor->name(), "RM1" );
      EXPECT_EQ( reactor->reevaluate(), 0 );
      EXPECT_TRUE( reactor->pendingUpdate().empty() );
      EXPECT_EQ( reactor->pendingUpdate( 10 ), nullptr );
   }
}

TEST( RmConfigSymbolReactor, twoWritesOfOneUpdatePublishOnceAndReturnTheSameObject ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   ChangeLog<uint32_t> log( *reactor );
   const auto update = reactor->pendingUpdateIs( 10 );
   ASSERT_TRUE( update );
   EXPECT_EQ( update->seqno(), 10u );
   EXPECT_THAT( log.take(), ElementsAre( kUpdate ) );
   EXPECT_EQ( reactor->pendingUpdateIs( 10 ), update );
   EXPECT_THAT( log.take(), IsEmpty() );
   update->matcherChangeIs( MatchOption::matchTag );
   EXPECT_EQ( reactor->pendingUpdateIs( 10 ), update );
   EXPECT_THAT( log.take(), IsEmpty() ) << "part of the batch";
   EXPECT_NE( reactor->pendingUpdateIs( 0 ), update );
   EXPECT_NE( reactor->pendingUpdateIs( 4294967295u ), update );
   EXPECT_THAT( log.take(), ElementsAre( kUpdate, kUpdate ) );
   EXPECT_THAT( log.keys, ElementsAre( 10u, 0u, 4294967295u ) );
   EXPECT_EQ( reactor->pendingUpdate().count(), 3u );
   EXPECT_EQ( reactor->pendingUpdate( 10 ), update );
}

TEST( RmConfigSymbolReactor, aDeletedUpdateIsPublishedAndReturned ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   const auto update = reactor->pendingUpdateIs( 10 );
   update->hasSubRouteMapUpdateIs( true );
   ChangeLog<uint32_t> log( *reactor );
   Reaction reader( *reactor, [ & ]( const Quoin::Change & change ) {
      EXPECT_EQ( reactor->pendingUpdate( 10 ), nullptr ) << "deleted before it is published";
      EXPECT_EQ( *static_cast<const Ptr<PendingSymbolUpdate> *>( change.oldValue ), update );
   } );
   EXPECT_EQ( reactor->pendingUpdateDel( 10 ), update );
   EXPECT_EQ( reader.heard, 1 );
   EXPECT_THAT( log.take(), ElementsAre( kUpdate ) );
   EXPECT_THAT( log.keys, ElementsAre( 10u ) );
   EXPECT_TRUE( update->hasSubRouteMapUpdate() );
}

TEST( RmConfigSymbolReactor, theDeletionOfAnAbsentUpdatePublishesNothing ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   reactor->pendingUpdateIs( 10 );
   ChangeLog<uint32_t> log( *reactor );
   EXPECT_EQ( reactor->pendingUpdateDel( 20 ), nullptr );
   EXPECT_THAT( log.take(), IsEmpty() );
   EXPECT_EQ( reactor->pendingUpdate().count(), 1u );
   reactor->pendingUpdateDel( 10 );
   log.take();
   EXPECT_EQ( reactor->pendingUpdateDel( 10 ), nullptr );
   EXPECT_THAT( log.take(), IsEmpty() );
}

TEST( RmConfigSymbolReactor, anUpdateMayBeDeletedInsideItsPublication ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   Reaction take( *reactor, [ & ]( const Quoin::Change & ) { reactor->pendingUpdateDel( 10 ); } );
   const auto update = reactor->pendingUpdateIs( 10 );
   ASSERT_TRUE( update );
   EXPECT_EQ( update->seqno(), 10u );
   EXPECT_TRUE( reactor->pendingUpdate().empty() );
   EXPECT_EQ( take.heard, 2 );
}

TEST( RmConfigSymbolReactor, theUpdateReturnedIsTheStoredOne ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   bool first = true;
   Reaction replace( *reactor, [ & ]( const Quoin::Change & ) {
      if( !std::exchange( first, false ) ) return;
      reactor->pendingUpdateDel( 10 );
      reactor->pendingUpdateIs( 10 );
   } );
   const auto update = reactor->pendingUpdateIs( 10 );
   ASSERT_TRUE( update );
   EXPECT_EQ( reactor->pendingUpdate( 10 ), update ) << "what is written into it is not lost";
   EXPECT_EQ( replace.heard, 3 );
}

TEST( RmConfigSymbolReactor, allUpdatesAreDeletedAtOnce ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   reactor->pendingUpdateIs( 10 );
   reactor->pendingUpdateIs( 20 );
   ChangeLog<uint32_t> log( *reactor );
   Reaction reader( *reactor, [ & ]( const Quoin::Change & ) { EXPECT_TRUE( reactor->pendingUpdate().empty() ); } );
   reactor->pendingUpdateDelAll();
   EXPECT_THAT( log.take(), ElementsAre( kUpdate, kUpdate ) );
   EXPECT_THAT( log.keys, UnorderedElementsAre( 10u, 20u ) );
   reactor->pendingUpdateDelAll();
   EXPECT_THAT( log.take(), IsEmpty() );
}

TEST( RmConfigSymbolReactor, removingTheLastChangeLeavesAnEmptyUpdate ) {
   for( const bool matcherLast : { true, false } ) {
      SCOPED_TRACE( matcherLast ? "a matcher is the last" : "a setter is the last" );
      const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
      const auto update = reactor->pendingUpdateIs( 10 );
      update->matcherChangeIs( MatchOption::matchTag );
      update->setterChangeIs( SetOption::setTag );
      ChangeLog<uint32_t> log( *reactor );
      reactor->removePendingMatcherForSeq( 10, MatchOption::matchTagSet );   // absent
      reactor->removePendingSetterForSeq( 10, SetOption::setMetric );
      EXPECT_EQ( update->matcherChange().count(), 1u );
      EXPECT_EQ( update->setterChange().count(), 1u );
      for( const bool matcher : { !matcherLast, matcherLast } ) {
         EXPECT_FALSE( update->hasNoPendingChanges() );
         if( matcher )
            reactor->removePendingMatcherForSeq( 10, MatchOption::matchTag );
         else
            reactor->removePendingSetterForSeq( 10, SetOption::setTag );
         EXPECT_EQ( update->matcherChange().empty(), matcher || !matcherLast );
         EXPECT_EQ( update->setterChange().empty(), !matcher || matcherLast );
      }
      EXPECT_TRUE( update->hasNoPendingChanges() );
      EXPECT_EQ( reactor->pendingUpdate( 10 ), update ) << "the record stays";
      EXPECT_THAT( log.take(), IsEmpty() );
   }
}

TEST( RmConfigSymbolReactor, removingFromAnAbsentUpdateDoesNothing ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   reactor->pendingUpdateIs( 20 )->matcherChangeIs( MatchOption::matchTag );
   ChangeLog<uint32_t> log( *reactor );
   reactor->removePendingMatcherForSeq( 10, MatchOption::matchTag );
   reactor->removePendingSetterForSeq( 10, SetOption::setTag );
   EXPECT_EQ( reactor->pendingUpdate( 10 ), nullptr ) << "none is created";
   EXPECT_EQ( reactor->pendingUpdate( 20 )->matcherChange().count(), 1u );
   EXPECT_THAT( log.take(), IsEmpty() );
}

TEST( RmConfigSymbolReactor, theCounterPublishesRealChanges ) {
   const auto reactor = rmConfigSymbolReactorFactory( "RM1" );
   ChangeLog<uint32_t> log( *reactor );
   const struct {
      const char * name;
      bool inc;
      uint8_t by;
      int counter;
      size_t published;
   } rows[] = {
      { "one more", true, 1, 1, 1 },        { "several more", true, 4, 5, 1 },     { "nothing more", true, 0, 5, 0 },
      { "the same", false, 5, 5, 0 },       { "written", false, 255, 255, 1 },     { "wrapped", true, 1, 0, 1 },
      { "written up", false, 200, 200, 1 }, { "wrapped again", true, 100, 44, 1 }, { "written down", false, 43, 43, 1 },
   };
   for( const auto & row : rows ) {
      if( row.inc )
         reactor->reevaluateInc( row.by );
      else
         reactor->reevaluateIs( row.by );
      EXPECT_EQ( reactor->reevaluate(), row.counter ) << row.name;
      EXPECT_EQ( log.take(), std::vector<FieldId>( row.published, kReevaluate ) ) << row.name;
   }
   EXPECT_THAT( log.keys, IsEmpty() );
}

TEST( RmConfigSymbolReactor, mayBeReleasedInsideItsPublication ) {
   for( const bool update : { true, false } ) {
      Fixtures::Dropper dropper( rmConfigSymbolReactorFactory( "RM1" ) );
      if( update )
         EXPECT_EQ( dropper.object->pendingUpdateIs( 10 )->seqno(), 10u );
      else
         dropper.object->reevaluateInc( 1 );
      EXPECT_EQ( dropper.heard, 1 );
   }
}

// --- RmConfigSymbolReactorColl

TEST( RmConfigSymbolReactorColl, findsOrCreatesAReactorByName ) {
   const auto coll = makeNode<RmConfigSymbolReactorColl>();
   ChangeLog<String> log( *coll );
   EXPECT_TRUE( coll->reactor().empty() );
   EXPECT_EQ( coll->reactor( "RM1" ), nullptr );
   const auto one = coll->reactorIs( "RM1" );
   EXPECT_EQ( one->name(), "RM1" );
   EXPECT_EQ( coll->reactorIs( String( std::string( "RM1" ) ) ), one ) << "names compare as text";
   EXPECT_NE( coll->reactorIs( "RM2" ), one );
   EXPECT_EQ( coll->reactor( "RM1" ), one );
   EXPECT_EQ( coll->reactor().count(), 2u );
   EXPECT_THAT( log.keys, ElementsAre( String( "RM1" ), String( "RM2" ) ) );
   const auto field = FieldId( RmConfigSymbolReactorColl::Field::reactor );
   EXPECT_THAT( log.take(), ElementsAre( field, field ) );
   coll->reactorDel( "RM2" );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   coll->reactorDelAll();
   EXPECT_THAT( log.take(), ElementsAre( field ) );
}

TEST( RmConfigSymbolReactorColl, aDeletedReactorLivesWhileItIsHeld ) {
   const auto coll = makeNode<RmConfigSymbolReactorColl>();
   const auto one = coll->reactorIs( "RM1" );
   one->pendingUpdateIs( 10 );
   ChangeLog<String> log( *coll );
   EXPECT_EQ( coll->reactorDel( "RM1" ), one );
   EXPECT_EQ( coll->reactorDel( "RM1" ), nullptr );
   EXPECT_EQ( log.take().size(), 1u );
   EXPECT_EQ( coll->reactor( "RM1" ), nullptr );
   EXPECT_EQ( one->pendingUpdate().count(), 1u );
   const auto next = coll->reactorIs( "RM1" );
   EXPECT_NE( next, one );
   EXPECT_TRUE( next->pendingUpdate().empty() );
}

}   // namespace
