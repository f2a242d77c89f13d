// What those who hear of a route map's symbol may do inside the notification, and what may come and go while a machine is being made.

#include "compile/RouteMapConfigSymbolSm.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "compile/RouteMapConfigSm.h"
#include "policy/DistanceSetter.h"
#include "tests/compile/FilterFixtures.h"
#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::CompileFixtures;
using Fixtures::deny;
using Fixtures::FixedMatcher;
using Fixtures::permit;
using Routing::RouteMap::PolicySymbol;
using Routing::RouteMap::PrefixListStatus;
using Routing::RouteMap::PrefixListSymbol;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/// Runs a function once: the first time that a symbol says that it is current, or that it is not.
struct Once {
   Once( const PolicySymbol & symbol, bool current, std::function<void()> what )
         : reaction( symbol, [ this, &symbol, current, what = std::move( what ) ]( const Quoin::Change & change ) {
              if( change.field != Quoin::FieldId( PolicySymbol::Field::statusCurrent ) || symbol.statusCurrent() != current ) return;
              if( !std::exchange( ran, true ) ) what();
           } ) {}
   Reaction reaction;
   bool ran = false;
};

/// Each sequence with how many match and set clauses it has: "10:1+0 20:0+0".
std::string shapeOf( const RouteMapStatus & status ) {
   std::string text;
   for( const auto & [ seqno, seq ] : status.seqStatus() )
      text += ( text.empty() ? "" : " " ) + std::to_string( seqno ) + ":" + std::to_string( seq->matcher().count() ) + "+" +
         std::to_string( seq->setter().count() );
   return text;
}

/// The shapes that a route map was published with.
struct Generations {
   explicit Generations( const Compiled & rm )
         : reaction( *rm.symbol->notifier(), [ this, &rm ]( const Quoin::Change & ) { shapes.push_back( shapeOf( *rm.status() ) ); } ) {}
   Reaction reaction;
   Texts shapes;
};

class RouteMapConfigSymbolSmReactionTest : public testing::Test {
 protected:
   Agent agent;
   List list{ agent, "PL" };
   Compiled rm{ agent, "RM" };
   Ptr<MapEntry> entry( uint32_t seqno ) { return rm.map->mapEntryIs( seqno ); }
   /// Sequence 10 uses the list, sequence 20 nothing.
   void startWithList() {
      list.publish();
      entry( 20 );
      entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      rm.start();
      EXPECT_TRUE( rm.symbol->statusCurrent() );
   }
   /// As that, but the clause is recorded and waits for the version; and the symbol is current, since a sequence has come and gone.
   /// So it says that it is not while the clause is taken in.
   void startWithListRecorded() {
      list.publish();
      withSequences( rm, { 5, 10, 20 } );
      rm.start();
      entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      entry( 99 );
      rm.map->mapEntryDel( 99 );
      EXPECT_TRUE( rm.symbol->statusCurrent() );
   }
   const PrefixListStatus * present() const { return list.symbol->status().get(); }
   bool nothingPending() const { return rm.reactor->pendingUpdate().empty(); }
   static void expectSettled( const Compiled & one ) {
      EXPECT_TRUE( one.reactor->pendingUpdate().empty() );
      EXPECT_THAT( one.listed(), IsEmpty() );
      EXPECT_TRUE( one.symbol->statusCurrent() );
      EXPECT_TRUE( one.agent.scheduler->idle() );
   }
   void expectSettled() const { expectSettled( rm ); }
};

// --- what goes or comes while a machine is being made

TEST_F( RouteMapConfigSymbolSmReactionTest, aMachineMadeAgainLeavesOutWhatTheConfigurationHasNoLonger ) {
   const struct {
      const char * name;
      std::vector<uint32_t> gone, left;
      int undefined;
   } rows[] = {
      { "one", { 20 }, { 10, 30 }, 0 },
      { "the highest", { 30 }, { 10, 20 }, 0 },
      { "all", { 10, 20, 30 }, {}, 255 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Compiled one( agent, "ONE" );
      withSequences( one, { 10, 20, 30 } );
      continues( one.map->mapEntry( 10 ) );
      one.start();
      one.sm = nullptr;
      for( const uint32_t seqno : row.gone ) one.map->mapEntryDel( seqno );
      EXPECT_EQ( one.start(), 1 );
      EXPECT_EQ( one.seqnos(), row.left );
      EXPECT_EQ( one.next( 10 ), row.left.empty() ? 0u : row.left[ 1 ] );
      EXPECT_EQ( one.undefined(), row.undefined );
      EXPECT_TRUE( one.symbol->statusCurrent() );
      EXPECT_EQ( one.run() + one.raise(), 0 );
      EXPECT_EQ( one.seqnos(), row.left );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayGoWhileItsMachineIsBeingMade ) {
   withSequences( rm, { 5 } );
   rm.start();
   Once gone( *rm.symbol, false, [ & ] { rm.map->mapEntryDel( 10 ); } );
   entry( 10 );
   EXPECT_TRUE( gone.ran );
   EXPECT_FALSE( rm.sm->seqConfigSm().find( 10 ) );
   rm.raise();
   rm.run();
   EXPECT_THAT( rm.seqnos(), ElementsAre( 5 ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayGoAndComeAnewWhileItsMachineIsBeingMade ) {
   withSequences( rm, { 5 } );
   rm.start();
   Once anew( *rm.symbol, false, [ & ] {
      rm.map->mapEntryDel( 10 );
      entry( 10 )->distanceIs( 7 );
   } );
   const Ptr<const MapEntry> first = entry( 10 );
   EXPECT_TRUE( anew.ran );
   ASSERT_TRUE( rm.sm->seqConfigSm().find( 10 ) );
   EXPECT_EQ( ( *rm.sm->seqConfigSm().find( 10 ) )->seqConfig(), rm.map->mapEntry( 10 ) ) << "the one that stands";
   entry( 10 )->matchRuleIs( matchTag( 7 ) );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:1+1" );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayComeAnewInTheFirstPublication ) {
   withSequences( rm, { 5, 10 } );
   Once anew( *rm.symbol, true, [ & ] {
      ASSERT_TRUE( rm.status() );
      rm.map->mapEntryDel( 10 );
      entry( 10 )->matchRuleIs( matchTag( 7 ) );
      rm.raise();
   } );
   rm.start();
   EXPECT_TRUE( anew.ran );
   rm.run();
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:1+0" );
   EXPECT_EQ( ( *rm.sm->seqConfigSm().find( 10 ) )->seqConfig(), rm.map->mapEntry( 10 ) );
   entry( 10 )->distanceIs( 8 );
   EXPECT_EQ( rm.raise(), 1 ) << "it is the new one that is watched";
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:1+1" );
   expectSettled();
}

// --- what goes while a change of its list, or of the map that it calls, is being recorded

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayGoWhileAChangeOfItsListIsBeingRecorded ) {
   startWithList();
   Once gone( *rm.symbol, false, [ & ] { rm.map->mapEntryDel( 10 ); } );
   list.publish();
   EXPECT_TRUE( gone.ran );
   EXPECT_TRUE( nothingPending() ) << "nobody would take it in";
   rm.run();
   EXPECT_THAT( rm.seqnos(), ElementsAre( 20 ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayGoWhileAChangeOfItsCalledMapIsBeingRecorded ) {
   Compiled sub( agent, "SUB" );
   withSequences( sub, { 1 } );
   sub.start();
   withSequences( rm, { 10, 20 } )->mapEntry( 10 )->subRouteMapIs( { "SUB", false } );
   rm.start();
   Once gone( *rm.symbol, false, [ & ] { rm.map->mapEntryDel( 10 ); } );
   sub.map->mapEntryIs( 2 );
   sub.raise();
   EXPECT_TRUE( gone.ran );
   EXPECT_TRUE( nothingPending() );
   rm.run();
   EXPECT_THAT( rm.seqnos(), ElementsAre( 20 ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aCallMayGoWhileAChangeOfTheCalledMapIsBeingRecorded ) {
   for( const bool raises : { false, true } ) {
      SCOPED_TRACE( raises ? "with a version" : "without" );
      Compiled sub( agent, "SUB" ), one( agent, "ONE" );
      withSequences( sub, { 1 } );
      sub.start();
      withSequences( one, { 10 } )->mapEntry( 10 )->subRouteMapIs( { "SUB", false } );
      one.start();
      Once gone( *one.symbol, false, [ & ] {
         one.map->mapEntry( 10 )->subRouteMapIs( {} );
         if( raises ) one.map->versionIs( 50 );
      } );
      sub.map->mapEntryIs( 2 );
      sub.raise();
      EXPECT_TRUE( gone.ran );
      EXPECT_EQ( one.reactor->pendingUpdate().empty(), raises ) << "with its version, the configuration has the last word";
      one.run();
      one.raise();
      one.run();
      EXPECT_EQ( one.seq( 10 )->subRouteMap(), nullptr );
      EXPECT_EQ( one.undefined(), 0 );
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, anUpdateOfASequenceThatIsNotThereIsDropped ) {
   withSequences( rm, { 10 } );
   rm.start();
   rm.reactor->pendingUpdateIs( 30 )->matcherChangeIs( tagOption )->matcherIs( makeNode<FixedMatcher>( true ) );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10 ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aClauseMayGoWhileAChangeOfItsListIsBeingRecorded ) {
   const struct {
      const char * name;
      bool raises;
      bool otherList;   // or none
   } rows[] = {
      { "removed", false, false },
      { "removed, with a version", true, false },
      { "another list", false, true },
      { "another list, with a version", true, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      List old( agent, "OLD" ), other( agent, "OTHER" );
      old.publish();
      other.publish();
      Compiled one( agent, "ONE" );
      one.map->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( "OLD" ) );
      one.start();
      ASSERT_EQ( listOf( one.seq( 10 ) ), old.symbol->status().get() );
      Once edit( *one.symbol, false, [ & ] {
         if( row.otherList )
            one.map->mapEntry( 10 )->matchRuleIs( matchPrefixList( "OTHER" ) );
         else
            one.map->mapEntry( 10 )->matchRuleDel( prefixListOption );
         if( row.raises ) one.map->versionIs( 50 );
      } );
      old.publish();
      EXPECT_TRUE( edit.ran );
      const auto pending = one.reactor->pendingUpdate( 10 );
      const bool last = row.raises || !row.otherList;
      EXPECT_TRUE( !last || !pending || pending->matcherChange().empty() ) << "the configuration has the last word";
      one.run();
      one.raise();
      one.run();
      EXPECT_EQ( shapeOf( *one.status() ), row.otherList ? "10:1+0" : "10:0+0" );
      EXPECT_EQ( listOf( one.seq( 10 ) ), row.otherList ? other.symbol->status().get() : nullptr );
      expectSettled( one );
   }
}

// --- a clause that is being recorded

// The name is too long to be kept inside the rule.
constexpr const char * longName = "a-name-of-a-prefix-list-that-is-long-enough-for-memory-of-its-own";

TEST_F( RouteMapConfigSymbolSmReactionTest, aClauseMayGoWhileItIsBeingRecorded ) {
   withSequences( rm, { 10 } );
   rm.start();
   Once gone( *rm.symbol, false, [ & ] { entry( 10 )->matchRuleDel( prefixListOption ); } );
   entry( 10 )->matchRuleIs( matchPrefixList( longName ) );
   EXPECT_TRUE( gone.ran );
   EXPECT_TRUE( entry( 10 )->matchRule().empty() );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( shapeOf( *rm.status() ), "10:0+0" );
   EXPECT_EQ( rm.undefined(), 0 );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, otherClausesMayComeWhileOneIsBeingRecorded ) {
   withSequences( rm, { 10 } );
   rm.start();
   Once others( *rm.symbol, false, [ & ] {   // many, so that the rules find another place in memory
      entry( 10 )->matchRuleIs( matchTag( 5 ) );
      for( unsigned number = 3; number <= 100; ++number ) entry( 10 )->matchRuleIs( listRule( MatchOption( number ), "OTHER" ) );
   } );
   entry( 10 )->matchRuleIs( matchPrefixList( longName ) );
   EXPECT_TRUE( others.ran );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.run(), 0 );
   const auto matcher = dynamic_cast<const PrefixListMatcher *>( rm.seq( 10 )->matcher( prefixListOption ).get() );
   ASSERT_TRUE( matcher );
   EXPECT_EQ( matcher->name(), longName );
   EXPECT_TRUE( rm.seq( 10 )->matcher( tagOption ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aVersionRaisedWhileAClauseIsBeingRecordedDoesNotLoseTheClause ) {
   list.publish();
   for( const auto & rule : { matchTag( 5 ), matchPrefixList( "PL" ) } ) {
      SCOPED_TRACE( textOf( rule ) );
      Compiled one( agent, "ONE" );
      withSequences( one, { 10 } );
      one.start();
      Once raises( *one.symbol, false, [ & ] { one.raise(); } );
      one.map->mapEntry( 10 )->matchRuleIs( rule );
      EXPECT_TRUE( raises.ran );
      one.run();
      one.raise();
      one.run();
      EXPECT_EQ( shapeOf( *one.status() ), "10:1+0" );
      EXPECT_EQ( listOf( one.seq( 10 ) ), rule.option == prefixListOption ? present() : nullptr );
      expectSettled( one );
   }
}

// --- while changes are being taken in

TEST_F( RouteMapConfigSymbolSmReactionTest, aVersionRaisedWhileChangesAreTakenInPublishesNothingHalf ) {
   startWithListRecorded();
   entry( 10 )->distanceIs( 9 );
   entry( 20 )->matchRuleIs( matchTag( 5 ) );
   rm.symbol->statusCurrentIs( true );
   Generations published( rm );
   Once raises( *rm.symbol, false, [ & ] { rm.map->versionIs( 50 ); } );
   rm.raise();
   EXPECT_TRUE( raises.ran );
   rm.run();
   EXPECT_THAT( published.shapes, ElementsAre( "5:0+0 10:1+1 20:1+0" ) );
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, whatIsWrittenWhileChangesAreTakenInWaitsForTheNextVersion ) {
   startWithListRecorded();
   Generations published( rm );
   Once edit( *rm.symbol, false, [ & ] {
      entry( 10 )->matchRuleIs( matchTag( 7 ) );
      entry( 10 )->distanceIs( 9 );
      continues( entry( 10 ) );
      entry( 10 )->subRouteMapIs( { "SUB", true } );
   } );
   rm.raise();
   EXPECT_TRUE( edit.ran );
   rm.run();
   EXPECT_THAT( published.shapes, IsEmpty() ) << "half of the edit would be in it";
   EXPECT_FALSE( rm.symbol->statusCurrent() ) << "an edit is under way";
   rm.raise();
   rm.run();
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:2+1 20:0+0" ) << "nothing of it is lost";
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   EXPECT_EQ( rm.next( 10 ), 20u );
   EXPECT_TRUE( rm.seq( 10 )->subInvert() );
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::subRouteMapUndefined );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, anEditWithItsVersionWhileChangesAreTakenInIsPublished ) {
   startWithListRecorded();
   Once edit( *rm.symbol, false, [ & ] {
      entry( 10 )->matchRuleIs( matchTag( 7 ) );
      entry( 5 )->distanceIs( 9 );   // already walked
      entry( 20 )->distanceIs( 9 );
      rm.map->versionIs( 50 );
   } );
   rm.raise();
   EXPECT_TRUE( edit.ran );
   rm.run();
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+1 10:2+0 20:0+1" );
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayGoWhileChangesAreTakenIn ) {
   const struct {
      const char * name;
      uint32_t gone;
      const char * left;
   } rows[] = {
      { "the one before", 5, "10:1+0 20:0+0" },
      { "itself", 10, "5:0+0 20:0+0" },
      { "the next", 20, "5:0+0 10:1+0" },
   };
   list.publish();
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Compiled one( agent, "ONE" );
      withSequences( one, { 5, 10, 20 } );
      one.start();
      one.map->mapEntry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      one.symbol->statusCurrentIs( true );
      Generations published( one );
      Once gone( *one.symbol, false, [ & ] { one.map->mapEntryDel( row.gone ); } );
      one.raise();
      EXPECT_TRUE( gone.ran );
      one.run();
      EXPECT_THAT( published.shapes, ElementsAre( row.left ) );
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayGoAndComeAnewWhileItsChangesAreTakenIn ) {
   startWithListRecorded();
   Once anew( *rm.symbol, false, [ & ] {
      rm.map->mapEntryDel( 10 );
      entry( 10 )->distanceIs( 4 );
   } );
   rm.raise();
   EXPECT_TRUE( anew.ran );
   rm.run();
   rm.raise();
   rm.run();
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:0+1 20:0+0" ) << "nothing of the old one";
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayComeWhileChangesAreTakenIn ) {
   for( const uint32_t seqno : { 1u, 15u, 30u } ) {
      SCOPED_TRACE( seqno );
      Compiled one( agent, "ONE" );
      list.publish();
      withSequences( one, { 5, 10, 20 } );
      one.start();
      one.map->mapEntry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      one.symbol->statusCurrentIs( true );
      Once comes( *one.symbol, false, [ & ] { one.map->mapEntryIs( seqno )->distanceIs( 4 ); } );
      one.raise();
      EXPECT_TRUE( comes.ran );
      one.run();
      one.raise();
      one.run();
      ASSERT_TRUE( one.seq( seqno ) );
      EXPECT_EQ( one.seq( seqno )->setter().count(), 1u );
      EXPECT_EQ( listOf( one.seq( 10 ) ), present() );
      EXPECT_EQ( one.seqnos().size(), 4u );
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, theLoopMayBeRunWhileChangesAreTakenIn ) {
   List early( agent, "EARLY" );
   early.publish();
   list.publish();
   withSequences( rm, { 5, 10, 20 } )->mapEntry( 5 )->matchRuleIs( matchPrefixList( "EARLY" ) );
   rm.start();
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.symbol->statusCurrentIs( true );
   Generations published( rm );
   Once runs( *rm.symbol, false, [ & ] {
      early.publish();   // of a sequence that has been walked already
      agent.scheduler->runUntilIdle();
   } );
   rm.raise();
   EXPECT_TRUE( runs.ran );
   EXPECT_THAT( published.shapes, IsEmpty() ) << "a list is still to be taken in";
   EXPECT_FALSE( agent.scheduler->idle() ) << "the run that was put off comes again";
   rm.run();
   EXPECT_THAT( published.shapes, ElementsAre( "5:1+0 10:1+0 20:0+0" ) );
   EXPECT_EQ( listOf( rm.seq( 5 ) ), early.symbol->status().get() );
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aVersionRaisedWhileAnUpdateIsTakenInDoesNotSayCurrentTooEarly ) {
   startWithList();
   list.publish();
   Texts order;
   Reaction onReactor( *rm.reactor, [ & ]( const Quoin::Change & change ) {
      if( change.field != Quoin::FieldId( RmConfigSymbolReactor::Field::pendingUpdate ) || rm.reactor->pendingUpdate( 10 ) ) return;
      order.push_back( "taken" );
      rm.map->versionIs( 50 );
      order.push_back( rm.symbol->statusCurrent() ? "current" : "not yet" );
   } );
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_THAT( order, ElementsAre( "taken", "not yet" ) );
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   expectSettled();
}

// --- while the next generation is being put together

class RouteMapConfigSymbolSmUsersTest : public RouteMapConfigSymbolSmReactionTest {
 protected:
   Compiled bare{ agent, "BARE", makeNode<BareHelper>() };
   static void actionIs( Compiled & one, Acl::MatchPermit action ) {
      one.map->mapEntry( 10 )->permitIs( action );
      one.bare( 10 ).sequenceChange()->permitChangeIs( true );
   }
   static void start( Compiled & one ) {
      withSequences( one, { 10, 20 } );
      one.start();
   }
   /// Sequence 10 denies, and begins to match an aggregate role: the users hear of that while the generation is made.
   static int publishRole( Compiled & one ) {
      actionIs( one, deny );
      const auto change = one.bare( 10 ).sequenceChange()->matcherChangeIs( tagOption );
      change->matcherIs( makeNode<FixedMatcher>( true, RouteMapFeatures( RouteMapFeatures::matchAggregateRole ) ) );
      return one.raise();
   }
};

TEST_F( RouteMapConfigSymbolSmUsersTest, whoHearsOfTheRoleMayDeleteASequence ) {
   for( const uint32_t gone : { 10u, 20u } ) {
      SCOPED_TRACE( gone );
      const Agent own;
      Compiled one( own, "ONE", makeNode<BareHelper>() );
      start( one );
      bool ran = false;
      Reaction onUsers( *own.users, [ & ]( const Quoin::Change & ) {
         if( !std::exchange( ran, true ) ) one.map->mapEntryDel( gone );
      } );
      publishRole( one );
      EXPECT_TRUE( ran );
      one.run();
      EXPECT_THAT( one.seqnos(), ElementsAre( gone == 10 ? 20u : 10u ) );
      EXPECT_EQ( own.users->mapNameHas( "ONE" ), gone == 20 ) << "as the last generation says";
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmUsersTest, whoHearsOfTheRoleMayRaiseTheVersion ) {
   start( bare );
   std::vector<Acl::MatchPermit> actions;
   Reaction onVersion( *bare.symbol->notifier(), [ & ]( const Quoin::Change & ) { actions.push_back( bare.seq( 10 )->matchAction() ); } );
   bool ran = false;
   Reaction onUsers( *agent.users, [ & ]( const Quoin::Change & ) {
      if( std::exchange( ran, true ) ) return;
      actionIs( bare, permit );
      bare.map->versionIs( 50 );
   } );
   EXPECT_EQ( publishRole( bare ), 2 );
   EXPECT_TRUE( ran );
   EXPECT_THAT( actions, ElementsAre( deny, permit ) ) << "the later edit is published last";
   EXPECT_TRUE( bare.seq( 10 )->matcher( tagOption ) );
   expectSettled( bare );
}

TEST_F( RouteMapConfigSymbolSmUsersTest, whoHearsOfTheRoleMayRunTheLoop ) {
   start( bare );
   const auto old = makeNode<DistanceSetter>( 5 ), later = makeNode<DistanceSetter>( 6 );
   bare.bare( 20 ).sequenceChange()->setterChangeIs( distanceOption )->setterIs( old );
   bare.raise();
   bool ran = false;
   Reaction onUsers( *agent.users, [ & ]( const Quoin::Change & ) {
      if( std::exchange( ran, true ) ) return;
      bare.reactor->pendingUpdateIs( 20 )->setterChangeIs( distanceOption )->setterIs( later );
      agent.scheduler->runUntilIdle();
   } );
   publishRole( bare );
   EXPECT_TRUE( ran );
   bare.run();
   EXPECT_EQ( shapeOf( *bare.status() ), "10:1+0 20:0+1" );
   EXPECT_EQ( bare.seq( 20 )->setter( distanceOption ), later );
   expectSettled( bare );
}

// --- whether it is current

TEST_F( RouteMapConfigSymbolSmReactionTest, isNotCurrentWhileAnUpdateIsPendingWhateverComesAndGoes ) {
   startWithList();
   Compiled caller( agent, "CALLER" );
   caller.map->mapEntryIs( 10 )->subRouteMapIs( { "RM", false } );
   caller.start();
   list.publish();
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   entry( 30 );
   rm.map->mapEntryDel( 30 );
   EXPECT_FALSE( rm.symbol->statusCurrent() ) << "a sequence that was never published has gone";
   EXPECT_FALSE( nothingPending() );
   caller.map->mapEntry( 10 )->permitIs( deny );
   EXPECT_EQ( caller.raise(), 0 ) << "it waits";
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_EQ( caller.run(), 1 ) << "both changes at once";
   EXPECT_EQ( caller.seq( 10 )->subRouteMap(), rm.status() );
   EXPECT_EQ( caller.seq( 10 )->matchAction(), deny );
   EXPECT_TRUE( caller.symbol->statusCurrent() );
   expectSettled();
}

// --- machines that have been given up

TEST_F( RouteMapConfigSymbolSmReactionTest, aMachineThatWasGivenUpAndIsHeldRunsNoTask ) {
   const struct {
      const char * name;
      bool list;     // or the called map
      bool before;   // changes before the route map goes
   } rows[] = {
      { "a list, before", true, true },
      { "a list, behind", true, false },
      { "a called map, before", false, true },
      { "a called map, behind", false, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto root = makeNode<PolicyRoot>();
      const Agent own{ root, makeNode<Zeugma::TaskScheduler>(), makeNode<RouteMapOpModeNotifier>(), makeNode<MatchAggregateRoleUsers>() };
      const auto config = makeNode<Routing::RouteMap::Config>();
      const auto all =
         routeMapConfigSmFactory( config, makeNode<Routing::RouteMap::Config>(), root, makeNode<CommonRmConfigFilterSmHelper>(),
                                  makeNode<CommonRmConfigSymbolSmHelper>( root ), own.scheduler, own.users );
      List used( own, "USED" );
      used.publish();
      config->routeMapIs( "SUB" )->mapEntryIs( 1 );
      config->routeMapIs( "SUB" )->versionIs( 1 );
      config->routeMapIs( "RM" )->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( "USED" ) );
      config->routeMapIs( "RM" )->mapEntryIs( 20 )->subRouteMapIs( { "SUB", false } );
      config->routeMapIs( "RM" )->versionIs( 1 );
      own.scheduler->runUntilIdle();
      const auto symbol = root->routeMapTable()->symbol( "RM" );
      const auto held = *all->routeMapConfigSymbolSm().find( "RM" );
      ASSERT_TRUE( symbol->rmStatus() );
      ASSERT_EQ( symbol->rmStatus()->seqStatus().count(), 2u );
      const auto change = [ & ] {
         if( row.list ) return used.publish();
         config->routeMap( "SUB" )->mapEntryIs( 2 );
         config->routeMap( "SUB" )->versionIs( 2 );
      };
      if( row.before ) change();
      config->routeMapDel( "RM" );
      if( !row.before ) change();
      own.scheduler->runUntilIdle();
      EXPECT_TRUE( held->zombieReactors() );
      EXPECT_EQ( symbol->rmStatus(), nullptr ) << "it does not come back";
      EXPECT_TRUE( held->modifiedRmSeqStatusList()->seqStatus().empty() );
      change();
      own.scheduler->runUntilIdle();
      EXPECT_EQ( symbol->rmStatus(), nullptr );
      EXPECT_TRUE( own.scheduler->idle() );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aMachineThatIsGoingTakesNoUpdateIn ) {
   startWithList();
   const auto before = rm.status();
   list.publish();
   rm.sm->hasNotificationActiveIs( false );   // as its owner does that gives it up
   rm.sm->plinthDoZombieReactors( true );
   TraceLog log( "RouteMapConfigSymbolSm" );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_THAT( log.take(), Not( Contains( "RM symbol update task" ) ) );
   EXPECT_EQ( rm.status(), before );
   EXPECT_THAT( rm.listed(), IsEmpty() );
   EXPECT_TRUE( rm.reactor->pendingUpdate( 10 ) ) << "a successor finds it";
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aMachineThatGoesLeavesItsSuccessorsListInTheReactor ) {
   withSequences( rm, { 10 } );
   rm.start();
   auto first = rm.sm;
   rm.start();
   ASSERT_NE( rm.sm, first );
   EXPECT_EQ( rm.reactor->modifiedRmSeqStatusList(), rm.sm->modifiedRmSeqStatusList() );
   first = nullptr;
   EXPECT_EQ( rm.reactor->modifiedRmSeqStatusList(), rm.sm->modifiedRmSeqStatusList() );
   rm.sm = nullptr;
   EXPECT_EQ( rm.reactor->modifiedRmSeqStatusList(), nullptr );
}

// --- what throws

TEST_F( RouteMapConfigSymbolSmReactionTest, aWakeUpThatThrowsOnceDoesNotLoseTheNextChange ) {
   for( const bool ofList : { true, false } ) {
      SCOPED_TRACE( ofList ? "list" : "called map" );
      Agent own;
      List used( own, "USED" );
      used.publish();
      Compiled sub( own, "SUB" ), one( own, "ONE" );
      withSequences( sub, { 1 } );
      sub.start();
      one.map->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( "USED" ) );
      one.map->mapEntryIs( 20 )->subRouteMapIs( { "SUB", false } );
      one.start();
      bool threw = false;
      own.scheduler->wakeUpCallbackIs( [ & ] {
         if( !std::exchange( threw, true ) ) throw 1;
      } );
      const auto change = [ & ] {
         if( ofList ) return used.publish();
         sub.map->mapEntryIs( sub.map->version() + 2 );
         sub.raise();
      };
      EXPECT_THROW( change(), int );
      EXPECT_TRUE( threw );
      EXPECT_TRUE( one.reactor->pendingUpdate().empty() ) << "nobody has been asked to take it in";
      one.run();
      change();
      EXPECT_FALSE( own.scheduler->idle() );
      EXPECT_EQ( one.run(), 1 );
      EXPECT_EQ( listOf( one.seq( 10 ) ), used.symbol->status().get() );
      EXPECT_EQ( one.seq( 20 )->subRouteMap(), sub.status() );
      EXPECT_TRUE( one.symbol->statusCurrent() );
   }
}

TEST( RouteMapSymbolReaction, theVersionMovesAlsoWhereSomebodyThrowsAtBeingCurrent ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   const auto status = Fixtures::routeMap( "RM" );
   symbol->statusCurrentIs( false );
   Once throws( *symbol, true, [] { throw 1; } );
   Reaction onVersion( *symbol->notifier() );
   EXPECT_THROW( symbol->updateAndNotify( status ), int );
   EXPECT_EQ( symbol->notifierVersion(), 1u );
   EXPECT_EQ( onVersion.heard, 1 );
   EXPECT_EQ( symbol->rmStatus(), status );
   EXPECT_TRUE( symbol->statusCurrent() );
}

TEST( RouteMapSymbolReaction, theFirstThatIsThrownComesOut ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   symbol->statusCurrentIs( false );
   Once throws( *symbol, true, [] { throw 1; } );
   Reaction onVersion( *symbol->notifier(), []( const Quoin::Change & ) { throw std::string( "second" ); } );
   EXPECT_THROW( symbol->updateAndNotify( nullptr ), int );
   EXPECT_EQ( onVersion.heard, 1 );
   EXPECT_THROW( symbol->updateAndNotify( nullptr ), std::string ) << "it was current before";
}

TEST_F( RouteMapConfigSymbolSmReactionTest, theCallerHearsOfAPublicationWhereSomebodyThrowsAtBeingCurrent ) {
   withSequences( rm, { 10 } );
   rm.start();
   Compiled caller( agent, "CALLER" );
   caller.map->mapEntryIs( 10 )->subRouteMapIs( { "RM", false } );
   caller.start();
   entry( 10 )->distanceIs( 7 );
   Once throws( *rm.symbol, true, [] { throw 1; } );
   EXPECT_THROW( rm.raise(), int );
   EXPECT_TRUE( throws.ran );
   EXPECT_EQ( rm.publications(), 1 );
   EXPECT_EQ( shapeOf( *rm.status() ), "10:0+1" );
   EXPECT_EQ( caller.run(), 1 );
   EXPECT_EQ( caller.seq( 10 )->subRouteMap(), rm.status() );
   entry( 10 )->permitIs( deny );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( caller.run(), 1 );
   expectSettled();
}

// --- what goes between the scan and the switching on

class CommonComponentRmSeqConfigSymbolSmReactionTest : public testing::Test {
 protected:
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 );
   Ptr<RouteMapSymbol> rmSymbol = makeNode<RouteMapSymbol>( "RM" );
   Ptr<SequenceChange> change = makeNode<SequenceChange>( 10 );
   Ptr<SequenceChangeSymbol> changeSym = makeNode<SequenceChangeSymbol>( 10 );
};

TEST_F( CommonComponentRmSeqConfigSymbolSmReactionTest, whatGoesBeforeItIsSwitchedOnIsRecordedAsGone ) {
   entry->matchRuleIs( matchTag( 5 ) );
   entry->matchRuleIs( matchPrefixList( "PL" ) );
   entry->distanceIs( 5 );
   entry->subRouteMapIs( { "SUB", false } );
   continues( entry, 20 );
   const auto sm = makeNode<CommonComponentRmSeqConfigSymbolSm>( "RM", entry, rmSymbol, root, change, changeSym, nullptr );
   ASSERT_TRUE( change->matcherChange( tagOption ) && change->matcherChange( tagOption )->matcher() );
   change->matcherChangeDelAll();   // as if all that is recorded had been applied
   change->setterChangeDelAll();
   change->continueChangeIs( nullptr );
   changeSym->matcherChangeSymbolDelAll();
   changeSym->subRouteMapChangeSymbolIs( nullptr );
   for( const auto option : { tagOption, prefixListOption } ) entry->matchRuleDel( option );
   entry->distanceIs( 0 );
   entry->subRouteMapIs( {} );
   entry->setFlagsIs( 0 );
   EXPECT_TRUE( change->matcherChange().empty() && change->setterChange().empty() ) << "it hears nothing yet";
   sm->hasNotificationActiveIs( true );
   for( const auto option : { tagOption, prefixListOption } ) {
      SCOPED_TRACE( option );
      ASSERT_TRUE( change->matcherChange( option ) );
      EXPECT_EQ( change->matcherChange( option )->matcher(), nullptr );
      ASSERT_TRUE( changeSym->matcherChangeSymbol( option ) );
      EXPECT_TRUE( changeSym->matcherChangeSymbol( option )->matchSymbol().empty() );
   }
   ASSERT_TRUE( change->setterChange( distanceOption ) );
   EXPECT_EQ( change->setterChange( distanceOption )->setter(), nullptr );
   ASSERT_TRUE( changeSym->subRouteMapChangeSymbol() );
   EXPECT_EQ( changeSym->subRouteMapChangeSymbol()->symbol(), nullptr );
   ASSERT_TRUE( change->continueChange() );
   EXPECT_FALSE( change->continueChange()->enabled() );
}

class CommonComponentSymbolSeqSmReactionTest : public testing::Test {
 protected:
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 );
   Ptr<RouteMapSymbol> rmSymbol = makeNode<RouteMapSymbol>( "RM" ), called = makeNode<RouteMapSymbol>( "SUB" );
   Ptr<MatchSymbolSeq> matchSymbols = makeNode<MatchSymbolSeq>( 10 );
   Ptr<SubRouteMapSymbolSeq> subSymbol = makeNode<SubRouteMapSymbolSeq>( 10 );
   Ptr<RmConfigSymbolReactor> reactor = makeNode<RmConfigSymbolReactor>( "RM" );
   Ptr<PrefixListSymbol> list = makeNode<PrefixListSymbol>( "PL" );

   void useList() {
      entry->matchRuleIs( matchPrefixList( "PL" ) );
      const auto used = makeNode<PolicyMatchSymbolList>( prefixListOption );
      used->policySymbolIs( list );
      matchSymbols->policySymbolListIs( prefixListOption, used );
   }
   void settle() {
      reactor->pendingUpdateDelAll();
      rmSymbol->statusCurrentIs( true );
   }
   void publishList() {
      list->statusIs( makeNode<PrefixListStatus>( "PL", Ferule::AddressFamily::ipv4 ) );
      list->notifier()->versionInc( 1 );
   }
   Ptr<CommonComponentSymbolSeqSm> make() const {
      return commonComponentSymbolSeqSmFactory( entry, rmSymbol, matchSymbols, subSymbol, reactor, nullptr );
   }
   void expectNothingRecorded() const {
      EXPECT_TRUE( reactor->pendingUpdate().empty() );
      EXPECT_TRUE( rmSymbol->statusCurrent() );
   }
};

TEST_F( CommonComponentSymbolSeqSmReactionTest, symbolsThatGoBeforeItIsSwitchedOnAreFollowedNoLonger ) {
   useList();
   subSymbol->symbolIs( called );
   const auto sm =
      makeNode<CommonComponentSymbolSeqSm>( entry, rmSymbol, matchSymbols, subSymbol, reactor, Ptr<const RouteMapOpModeNotifier>() );
   ASSERT_TRUE( sm->matchSymNotifierMap().contains( prefixListOption ) );
   matchSymbols->policySymbolListDel( prefixListOption );
   subSymbol->symbolIs( nullptr );
   settle();
   sm->hasNotificationActiveIs( true );
   EXPECT_TRUE( sm->matchSymbolNotifierColl().empty() );
   EXPECT_TRUE( sm->matchSymNotifierMap().empty() );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   publishList();
   called->updateAndNotify( Fixtures::routeMap( "SUB" ) );
   expectNothingRecorded();
   EXPECT_EQ( list->notifier()->useCount(), 1u );
   EXPECT_EQ( called->notifier()->useCount(), 1u );
}

TEST_F( CommonComponentSymbolSeqSmReactionTest, symbolsThatComeBeforeItIsSwitchedOnAreFollowed ) {
   const auto sm =
      makeNode<CommonComponentSymbolSeqSm>( entry, rmSymbol, matchSymbols, subSymbol, reactor, Ptr<const RouteMapOpModeNotifier>() );
   useList();
   subSymbol->symbolIs( called );
   EXPECT_TRUE( sm->matchSymNotifierMap().empty() );
   sm->hasNotificationActiveIs( true );
   EXPECT_TRUE( sm->matchSymNotifierMap().contains( prefixListOption ) );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), called->notifier() );
   settle();
   publishList();
   ASSERT_TRUE( reactor->pendingUpdate( 10 ) );
   EXPECT_TRUE( reactor->pendingUpdate( 10 )->matcherChange( prefixListOption ) );
}

// --- who holds what is nested in a machine

TEST_F( CommonComponentSymbolSeqSmReactionTest, whatWasNestedInItIsDeadWhereSomebodyHoldsIt ) {
   for( const bool machineGoes : { true, false } ) {
      SCOPED_TRACE( machineGoes ? "the machine goes" : "the clause goes" );
      useList();
      auto sm = make();
      const auto nested = *sm->matchSymNotifierMap().find( prefixListOption );
      const auto member = *nested->matchSymNotifier().find( list );
      const Ptr<const Quoin::Node> map = nested->notifier();
      ASSERT_TRUE( map && member );
      settle();
      if( machineGoes )
         sm = nullptr;
      else
         matchSymbols->policySymbolListDel( prefixListOption );
      EXPECT_EQ( nested->notifier(), nullptr );
      EXPECT_EQ( member->notifier(), nullptr );
      EXPECT_TRUE( nested->matchSymNotifier().empty() );
      publishList();
      expectNothingRecorded();
      const_cast<PolicyMatchSymbolNotifierMap &>( static_cast<const PolicyMatchSymbolNotifierMap &>( *map ) )
         .policyMatchSymbolNotifierDelAll();
      expectNothingRecorded();
      EXPECT_EQ( list->notifier()->useCount(), 1u );
   }
}

// --- without

TEST_F( CommonComponentSymbolSeqSmReactionTest, withoutASequenceAListThatChangesIsStale ) {
   useList();
   settle();
   const auto sm = commonComponentSymbolSeqSmFactory( nullptr, rmSymbol, matchSymbols, subSymbol, reactor, nullptr );
   EXPECT_EQ( sm->seqno(), 0u );
   EXPECT_TRUE( sm->matchSymNotifierMap().contains( prefixListOption ) );
   publishList();
   expectNothingRecorded();
}

TEST_F( CommonComponentSymbolSeqSmReactionTest, withoutWhatIsToBeFollowedItsHandlersDoNothing ) {
   entry->matchRuleIs( matchPrefixList( "PL" ) );
   const auto sm = commonComponentSymbolSeqSmFactory( entry, rmSymbol, nullptr, nullptr, reactor, nullptr );
   for( unsigned number = 1; number <= Routing::RouteMap::kMatchOptionMax; ++number ) sm->handleMatchSymbolSeq( MatchOption( number ) );
   sm->handleSubRouteMapSymbol();
   sm->handleInitialized();
   EXPECT_TRUE( sm->matchSymbolNotifierColl().empty() );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   expectNothingRecorded();
}

TEST( RmSeqConfigSymbolSmBaseReaction, isNotModifiedBeforeItsRecordsAreMade ) {
   const auto entry = makeNode<MapEntry>( 10 );
   const auto sm =
      makeNode<RmSeqConfigSymbolSmBase>( "RM", entry, makeNode<RouteMapSymbol>( "RM" ), makeNode<RmConfigSymbolReactor>( "RM" ) );
   EXPECT_FALSE( sm->isModified() );
   sm->sequenceChangeIs( 10 );
   sm->sequenceChange()->permitChangeIs( true );
   EXPECT_FALSE( sm->isModified() ) << "half of the records";
   sm->sequenceChangeSymIs( 10 );
   EXPECT_TRUE( sm->isModified() );
}

// --- switched off for a time

TEST_F( RouteMapConfigSymbolSmReactionTest, whatIsWrittenWhileItIsSwitchedOffRecordsNothing ) {
   Compiled sub( agent, "SUB" );
   withSequences( sub, { 1 } );
   sub.start();
   entry( 20 )->subRouteMapIs( { "SUB", false } );
   startWithList();
   const auto before = rm.status();
   rm.sm->hasNotificationActiveIs( false );
   const auto nothing = [ & ]( const char * when ) {
      EXPECT_TRUE( nothingPending() ) << when;
      EXPECT_FALSE( rm.sm->hasModifiedSequence() ) << when;
      EXPECT_TRUE( rm.symbol->statusCurrent() ) << when;
      EXPECT_EQ( rm.run(), 0 ) << when;
      EXPECT_EQ( rm.status(), before ) << when;
   };
   list.publish();
   nothing( "list" );
   sub.map->mapEntryIs( 2 );
   EXPECT_EQ( sub.raise(), 1 );
   nothing( "called map" );
   entry( 10 )->distanceIs( 5 );
   entry( 10 )->matchRuleIs( matchTag( 5 ) );
   nothing( "clauses" );
   entry( 30 );
   rm.map->versionIs( 7 );
   rm.reactor->reevaluateInc( 1 );
   nothing( "version" );
   rm.sm->hasNotificationActiveIs( true );
   nothing( "on again" );
   EXPECT_FALSE( rm.sm->seqConfigSm().find( 30 ) );
   list.publish();
   sub.map->mapEntryIs( 3 );
   sub.raise();
   EXPECT_EQ( rm.run(), 1 ) << "from now on it hears again";
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   EXPECT_EQ( rm.seq( 20 )->subRouteMap(), sub.status() );
   entry( 10 )->distanceIs( 6 );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.seq( 10 )->setter().count(), 1u );
   expectSettled();
}

}   // namespace
