#include "compile/RouteMapConfigSm.h"

#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/compile/FilterFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::Config;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::RouteMapOpModeType;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Log = std::vector<std::string>;

static_assert( std::is_base_of_v<Zeugma::BaseOutputSm, RouteMapConfigSm> );

class RouteMapConfigSmTest : public testing::Test {
 protected:
   /// Tasks go on until they are done, whatever the clock says.
   RouteMapConfigSmTest() {
      scheduler->budgetIs( []( const Zeugma::Task & ) { return false; } );
   }
   void start() { machine = routeMapConfigSmFactory( raw, filtered, root, filterHelper, symbolHelper, scheduler, users ); }
   /// One sequence, and a version.
   Ptr<Map> add( const char * name, uint32_t version = 1 ) const {
      const auto map = raw->routeMapIs( name );
      map->mapEntryIs( 10 );
      map->versionIs( version );
      return map;
   }
   void call( const char * name, const char * target ) const {
      const auto map = raw->routeMap( name );
      map->mapEntryIs( 10 )->subRouteMapIs( { target, false } );
      map->versionIs( map->version() + 1 );
   }
   void del( const char * name ) const { raw->routeMapDel( name ); }
   void yieldAfterEach() const {
      scheduler->budgetIs( []( const Zeugma::Task & ) { return true; } );
   }
   Ptr<RouteMapSymbol> symbol( const char * name ) const { return root->routeMapTable()->symbol( name ); }
   Ptr<const RouteMapStatus> status( const char * name ) const { return symbol( name )->rmStatus(); }
   bool live( const char * name ) const { return filtered->routeMap().find( name ); }
   /// Whether all that a route map has is there; or nothing of it.
   testing::AssertionResult whole( const char * name, bool there ) const {
      const std::pair<const char *, bool> parts[] = {
         { "filtered", live( name ) },
         { "filter machine", machine->routeMapConfigFilterSm().find( name ) != nullptr },
         { "symbol machine", machine->routeMapConfigSymbolSm().find( name ) != nullptr },
         { "reactor", machine->rmConfigSymbolReactorColl()->reactor().find( name ) != nullptr },
         { "symbol", machine->allRmSymbol()->symbol().find( name ) != nullptr },
      };
      for( const auto & [ what, is ] : parts )
         if( is != there ) return testing::AssertionFailure() << name << ": " << what << ( is ? " is there" : " is not there" );
      return testing::AssertionSuccess();
   }
   const Zeugma::Task & task() const { return *machine->routeMapDeleteTask(); }

   Ptr<Config> raw = makeNode<Config>(), filtered = makeNode<Config>();
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<RmConfigFilterSmHelperBase> filterHelper = makeNode<CommonRmConfigFilterSmHelper>();
   Ptr<RmConfigSymbolSmHelperBase> symbolHelper = makeNode<CommonRmConfigSymbolSmHelper>( root );
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<MatchAggregateRoleUsers> users;
   Ptr<RouteMapConfigSm> machine;
};

// ---- the start

TEST_F( RouteMapConfigSmTest, withoutRouteMapsItMakesWhatAllShareAndLeavesTheCopyEmpty ) {
   start();
   EXPECT_TRUE( filtered->routeMap().empty() );
   ASSERT_TRUE( machine->routeMapOpModeNotifier() );
   ASSERT_TRUE( machine->routeMapUpdateNotifier() );
   ASSERT_TRUE( machine->rmConfigSymbolReactorColl() );
   ASSERT_TRUE( machine->allRmSymbol() );
   ASSERT_TRUE( machine->routeMapDeleteTask() );
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), 0u );
   EXPECT_TRUE( machine->allRmSymbol()->symbol().empty() );
   EXPECT_TRUE( machine->rmConfigSymbolReactorColl()->reactor().empty() );
   EXPECT_TRUE( machine->pendingDelete().empty() );
   EXPECT_TRUE( machine->deferredCreates().empty() );
   EXPECT_TRUE( machine->routeMapConfigFilterSm().empty() );
   EXPECT_TRUE( machine->routeMapConfigSymbolSm().empty() );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( root->routeMapTable()->count(), 0u );
}

TEST_F( RouteMapConfigSmTest, holdsWhatItWasGiven ) {
   start();
   EXPECT_EQ( machine->rmConfig(), raw );
   EXPECT_EQ( machine->filteredRmConfig(), filtered );
   EXPECT_EQ( machine->policyRoot(), root );
   EXPECT_EQ( machine->rmUpdateTaskScheduler(), scheduler );
   EXPECT_TRUE( machine->hasNotificationActive() );
}

TEST_F( RouteMapConfigSmTest, theDeleteTaskHasItsNameItsPriorityAndTheScheduler ) {
   start();
   EXPECT_EQ( task().taskName(), "RouteMapDelete" );
   EXPECT_EQ( int( task().taskPriority() ), 3 );
   EXPECT_EQ( task().taskScheduler(), scheduler );
   EXPECT_FALSE( task().taskScheduled() );
}

TEST_F( RouteMapConfigSmTest, whatStandsIsBuiltInsideTheConstructionByAscendingName ) {
   for( const char * name : { "b", "a", "C" } ) add( name );
   raw->routeMapOpModeIs( RouteMapOpModeType( 2 ) );
   Log steps;
   const Reaction ofCopy( *filtered, [ & ]( const Quoin::Change & change ) {
      if( Config::Field( change.field ) == Config::Field::routeMapOpMode )
         steps.push_back( "mode" );
      else
         steps.push_back( std::string( Plinth::keyOf<Quoin::String>( change ).view() ) );
   } );
   machine = makeNode<RouteMapConfigSm>( raw, filtered, root, filterHelper, symbolHelper, scheduler, users );   // not switched on
   EXPECT_THAT( steps, ElementsAre( "mode", "C", "a", "b" ) );
   for( const char * name : { "a", "b", "C" } ) {
      EXPECT_TRUE( whole( name, true ) );
      ASSERT_TRUE( status( name ) ) << name;
      EXPECT_EQ( status( name )->seqStatus().count(), 1u );
      EXPECT_TRUE( symbol( name )->statusCurrent() );
   }
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), 3u ) << "a version copied for each";
}

TEST_F( RouteMapConfigSmTest, outputOfAnEarlierLifeIsWipedAlsoOfNamesThatThereAre ) {
   add( "RM1" );
   const auto old = filtered->routeMapIs( "RM1" );
   old->mapEntryIs( 99 );
   old->versionIs( 77 );
   filtered->routeMapIs( "RM2" );
   start();
   EXPECT_NE( filtered->routeMap( "RM1" ), old );
   EXPECT_FALSE( filtered->routeMap( "RM1" )->mapEntry( 99 ) );
   EXPECT_EQ( filtered->routeMap( "RM1" )->version(), 1u );
   EXPECT_FALSE( live( "RM2" ) );
   EXPECT_EQ( status( "RM1" )->seqStatus().count(), 1u );
}

TEST_F( RouteMapConfigSmTest, theWalkGoesOnWhenTheRouteMapsChangeUnderIt ) {
   for( const char * name : { "a", "b", "d" } ) add( name );
   const Reaction reaction( *filtered, [ & ]( const Quoin::Change & change ) {
      if( Config::Field( change.field ) != Config::Field::routeMap || Plinth::keyOf<Quoin::String>( change ) != "a" ) return;
      raw->routeMapDel( "b" );
      add( "c" );
      add( "e" );
   } );
   start();
   EXPECT_TRUE( whole( "a", true ) );
   EXPECT_TRUE( whole( "b", false ) );
   for( const char * name : { "c", "d", "e" } ) EXPECT_TRUE( whole( name, true ) );
   EXPECT_TRUE( scheduler->idle() );
}

using RouteMapConfigSmDeathTest = RouteMapConfigSmTest;

TEST_F( RouteMapConfigSmDeathTest, aRequiredPointerThatIsNullEndsTheProcess ) {
   struct Row {
      const char * text;
      std::function<void()> drop;
   };
   const Row rows[] = {
      { "rmConfig\\(\\)", [ & ] { raw = nullptr; } },
      { "filteredRmConfig\\(\\)", [ & ] { filtered = nullptr; } },
      { "policyRoot\\(\\)", [ & ] { root = nullptr; } },
      { "rmConfigFilterHelper\\(\\)", [ & ] { filterHelper = nullptr; } },
      { "rmConfigSymbolHelper\\(\\)", [ & ] { symbolHelper = nullptr; } },
      { "rmUpdateTaskScheduler\\(\\)", [ & ] { scheduler = nullptr; } },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.text );
      EXPECT_DEATH( ( row.drop(), start() ), std::string( "Assertion failed: " ) + row.text );
   }
   start();   // without users
   EXPECT_TRUE( machine );
}

// ---- route maps come

TEST_F( RouteMapConfigSmTest, aRouteMapIsBuiltInTheWriteThatAddsIt ) {
   start();
   const auto known = symbol( "RM1" );   // somebody refers to it already
   known->statusCurrentIs( true );
   Log steps;
   const auto note = [ & ]( const char * what ) {
      return [ &, what ]( const Quoin::Change & ) {
         steps.push_back( std::string( what ) + ( known->statusCurrent() ? " current" : " not current" ) +
                          ( live( "RM1" ) ? " filtered" : "" ) + ( machine->routeMapConfigFilterSm().find( "RM1" ) ? " filter" : "" ) +
                          ( machine->routeMapConfigSymbolSm().find( "RM1" ) ? " compiled" : "" ) );
      };
   };
   const Reaction ofSymbols( *machine->allRmSymbol(), note( "symbol" ) ), ofCopy( *filtered, note( "copy" ) ),
      ofReactors( *machine->rmConfigSymbolReactorColl(), note( "reactor" ) );
   raw->routeMapIs( "RM1" );
   EXPECT_THAT( steps, ElementsAre( "symbol not current", "copy not current filtered", "reactor not current filtered filter" ) );
   EXPECT_TRUE( whole( "RM1", true ) );
   EXPECT_EQ( machine->allRmSymbol()->symbol( "RM1" ), known ) << "the table's";
   EXPECT_EQ( machine->routeMapConfigSymbolSm( "RM1" )->rmSymbol(), known );
   EXPECT_EQ( ( *machine->routeMapConfigSymbolSm().find( "RM1" ) )->routeMap(), filtered->routeMap( "RM1" ) ) << "the filtered one";
   EXPECT_EQ( ( *machine->routeMapConfigFilterSm().find( "RM1" ) )->routeMap(), raw->routeMap( "RM1" ) );
   EXPECT_EQ( ( *machine->routeMapConfigFilterSm().find( "RM1" ) )->filteredRmConfig(), filtered->routeMap( "RM1" ) );
   EXPECT_EQ( ( *machine->routeMapConfigSymbolSm().find( "RM1" ) )->rmConfigSymbolReactor(),
              machine->rmConfigSymbolReactorColl()->reactor( "RM1" ) );
}

/// Helpers of an agent: they note each sequence that they make, with what its machine stands on.
struct NotingFilterHelper final : RmConfigFilterSmHelperBase {
   Ptr<RmSeqConfigFilterSmBase> createSeqConfigSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry,
                                                   const Ptr<MapEntry> & copy, Config * config,
                                                   const Ptr<RouteMapBlockedSequenceList> & list,
                                                   const Ptr<const RouteMapUpdateNotifier> & update ) override {
      made.push_back( "filter " + std::string( rmName.view() ) + " " + std::to_string( entry->seqno() ) );
      root = config;
      notifier = update;
      return common->createSeqConfigSm( rmName, entry, copy, config, list, update );
   }
   Log made;
   Config * root = nullptr;
   Ptr<const RouteMapUpdateNotifier> notifier;
   Ptr<CommonRmConfigFilterSmHelper> common = makeNode<CommonRmConfigFilterSmHelper>();
};

struct NotingSymbolHelper final : RmConfigSymbolSmHelperBase {
   explicit NotingSymbolHelper( const Ptr<PolicyRoot> & root ) : common( makeNode<CommonRmConfigSymbolSmHelper>( root ) ) {}
   Ptr<RmSeqConfigSymbolSmBase> createSeqConfigSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry,
                                                   const Ptr<RouteMapSymbol> & rmSymbol, const Ptr<RmConfigSymbolReactor> & reactor,
                                                   const Ptr<const RouteMapOpModeNotifier> & mode ) override {
      made.push_back( "symbol " + std::string( rmName.view() ) + " " + std::to_string( entry->seqno() ) );
      entries.push_back( entry );
      notifier = mode;
      return common->createSeqConfigSm( rmName, entry, rmSymbol, reactor, mode );
   }
   Log made;
   std::vector<Ptr<const MapEntry>> entries;
   Ptr<const RouteMapOpModeNotifier> notifier;
   Ptr<CommonRmConfigSymbolSmHelper> common;
};

TEST_F( RouteMapConfigSmTest, anAgentsHelpersMakeEverySequenceOfBothStages ) {
   const auto ofFilter = makeNode<NotingFilterHelper>();
   const auto ofSymbol = makeNode<NotingSymbolHelper>( root );
   filterHelper = ofFilter;
   symbolHelper = ofSymbol;
   add( "RM1" );
   start();
   EXPECT_THAT( std::exchange( ofFilter->made, {} ), ElementsAre( "filter RM1 10" ) );
   EXPECT_THAT( std::exchange( ofSymbol->made, {} ), ElementsAre( "symbol RM1 10" ) );
   EXPECT_EQ( ofFilter->root, filtered.get() );
   EXPECT_EQ( ofFilter->notifier, machine->routeMapUpdateNotifier() ) << "one for all route maps";
   EXPECT_EQ( ofSymbol->notifier, machine->routeMapOpModeNotifier() );
   EXPECT_THAT( ofSymbol->entries, ElementsAre( filtered->routeMap( "RM1" )->mapEntry( 10 ) ) ) << "the filtered one";
   add( "RM2" )->mapEntryIs( 20 );
   EXPECT_THAT( ofFilter->made, ElementsAre( "filter RM2 10", "filter RM2 20" ) );
   EXPECT_THAT( ofSymbol->made, ElementsAre( "symbol RM2 10", "symbol RM2 20" ) );
}

TEST_F( RouteMapConfigSmTest, aNameThatIsLiveIsNoWork ) {
   add( "RM1" );
   start();
   TraceLog traces( "RouteMapConfigSm" );
   const auto filter = *machine->routeMapConfigFilterSm().find( "RM1" );
   machine->handleRouteMap( "RM1" );
   machine->handleRouteMap( "RM2" );   // in neither
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( *machine->routeMapConfigFilterSm().find( "RM1" ), filter );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_TRUE( whole( "RM2", false ) );
}

TEST_F( RouteMapConfigSmTest, aSymbolThatIsCalledBeforeItsRouteMapExistsIsTheOneThatIsFilled ) {
   start();
   raw->routeMapIs( "RM1" );
   call( "RM1", "RM2" );
   scheduler->runUntilIdle();
   const auto called = symbol( "RM2" );
   EXPECT_FALSE( called->rmStatus() );
   add( "RM2" );
   scheduler->runUntilIdle();
   EXPECT_EQ( machine->allRmSymbol()->symbol( "RM2" ), called );
   ASSERT_TRUE( called->rmStatus() );
   EXPECT_EQ( status( "RM1" )->seqStatus( 10 )->subRouteMap(), called->rmStatus() );
}

TEST_F( RouteMapConfigSmTest, existsFromTheMomentItsNameIsInTheFilteredConfiguration ) {
   start();
   filtered->routeMapIs( "RM1" );   // not by the machine
   raw->routeMapIs( "RM1" );
   EXPECT_FALSE( machine->routeMapConfigFilterSm().find( "RM1" ) ) << "asked is the filtered configuration, not the machines";
   del( "RM1" );
   EXPECT_EQ( machine->pendingDelete().count(), 1u );
   const uint32_t before = machine->routeMapUpdateNotifier()->version();
   scheduler->runUntilIdle();
   EXPECT_FALSE( live( "RM1" ) );
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), before + 1 );
}

// ---- route maps go

TEST_F( RouteMapConfigSmTest, aRouteMapThatGoesKeepsItsStatusUntilTheTaskHasRun ) {
   add( "RM1" );
   start();
   const auto kept = symbol( "RM1" );
   const auto old = kept->rmStatus();
   ASSERT_TRUE( old );
   const uint32_t version = machine->routeMapUpdateNotifier()->version(), symbolVersion = kept->notifier()->version();
   del( "RM1" );
   EXPECT_TRUE( whole( "RM1", true ) );
   EXPECT_EQ( kept->rmStatus(), old );
   EXPECT_EQ( machine->pendingDelete().count(), 1u );
   EXPECT_TRUE( *machine->pendingDelete().find( "RM1" ) );
   EXPECT_TRUE( task().taskScheduled() );
   scheduler->runUntilIdle();
   EXPECT_TRUE( whole( "RM1", false ) );
   EXPECT_FALSE( kept->rmStatus() );
   EXPECT_TRUE( kept->statusCurrent() );
   EXPECT_EQ( kept->notifier()->version(), symbolVersion + 1 );
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), version + 1 );
   EXPECT_TRUE( machine->pendingDelete().empty() );
   EXPECT_EQ( task().taskWorkCount(), 1u );
   EXPECT_EQ( task().taskWorkPending(), 0u );
   EXPECT_EQ( task().taskRuns(), 1u );
}

TEST_F( RouteMapConfigSmTest, aRouteMapIsTakenDownInOrder ) {
   users = makeNode<MatchAggregateRoleUsers>();
   add( "RM1" );
   start();
   users->mapNameIs( "RM1" );
   const auto kept = symbol( "RM1" );
   Log steps;
   const auto note = [ & ]( const char * what ) {
      return [ &, what ]( const Quoin::Change & ) {
         steps.push_back( std::string( what ) + ( live( "RM1" ) ? " filtered" : "" ) +
                          ( machine->routeMapConfigFilterSm().find( "RM1" ) ? " filter" : "" ) +
                          ( machine->routeMapConfigSymbolSm().find( "RM1" ) ? " compiled" : "" ) + ( kept->rmStatus() ? " status" : "" ) +
                          ( machine->pendingDelete().find( "RM1" ) ? " pending" : "" ) );
      };
   };
   const Reaction ofCopy( *filtered, note( "copy:" ) ), ofReactors( *machine->rmConfigSymbolReactorColl(), note( "reactor:" ) ),
      ofSymbols( *machine->allRmSymbol(), note( "symbol:" ) ), ofUsers( *users, note( "user:" ) ),
      ofStatus( *kept->notifier(), note( "status:" ) ), ofUpdate( *machine->routeMapUpdateNotifier(), note( "version:" ) );
   del( "RM1" );
   scheduler->runUntilIdle();
   EXPECT_THAT( steps,
                ElementsAre( "copy: filter compiled status pending", "reactor: status pending", "symbol: status pending",
                             "user: status pending", "status: pending", "version: pending" ) );
   EXPECT_FALSE( users->mapNameHas( "RM1" ) );
}

TEST_F( RouteMapConfigSmTest, whoCallsARouteMapThatGoesFindsItUndefined ) {
   add( "RM2" );
   raw->routeMapIs( "RM1" );
   call( "RM1", "RM2" );
   start();
   scheduler->runUntilIdle();
   ASSERT_TRUE( status( "RM1" )->seqStatus( 10 )->subRouteMap() );
   EXPECT_EQ( status( "RM1" )->undefinedReferences().value, 0u );
   del( "RM2" );
   scheduler->runUntilIdle();
   EXPECT_FALSE( status( "RM1" )->seqStatus( 10 )->subRouteMap() );
   EXPECT_NE( status( "RM1" )->undefinedReferences().value, 0u );
}

TEST_F( RouteMapConfigSmTest, pendingDeleteIsSchedulesForANewValueOnly ) {
   start();
   int woken = 0;
   scheduler->wakeUpCallbackIs( [ & ] { ++woken; } );
   machine->pendingDeleteIs( "RM1", true );
   EXPECT_EQ( woken, 1 );
   EXPECT_TRUE( task().taskScheduled() );
   machine->pendingDeleteDel( "RM1" );
   scheduler->runUntilIdle();
   machine->pendingDeleteIs( "RM1", false );
   EXPECT_EQ( woken, 2 ) << "a value where there was none";
   machine->pendingDeleteDel( "RM1" );
   scheduler->runUntilIdle();

   machine->pendingDeleteIs( "RM1", true );
   EXPECT_EQ( woken, 3 );
   bool again = false, other = false;
   scheduler->budgetIs( [ & ]( const Zeugma::Task & ) { return false; } );
   // Inside the run the task is not due; what asks for it again is seen.
   const Reaction reaction( *machine->routeMapUpdateNotifier(), [ & ]( const Quoin::Change & ) {
      machine->pendingDeleteIs( "RM1", true );
      again = task().taskScheduled();
      machine->pendingDeleteIs( "RM1", false );
      other = task().taskScheduled();
   } );
   scheduler->runOne();
   EXPECT_FALSE( again ) << "the same value";
   EXPECT_TRUE( other ) << "another value";
   EXPECT_TRUE( machine->pendingDelete().empty() );
}

TEST_F( RouteMapConfigSmTest, deferredCreatesIsSchedulesNothing ) {
   start();
   machine->deferredCreatesIs( "RM1", true );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( machine->deferredCreates().count(), 1u );
   machine->deferredCreatesDel( "RM1" );
   EXPECT_TRUE( machine->deferredCreates().empty() );
}

TEST_F( RouteMapConfigSmTest, goneAndBackBeforeTheTaskRunsItIsBuiltAnew ) {
   add( "RM1" );
   start();
   const Ptr<RouteMapConfigFilterSm> filter = *machine->routeMapConfigFilterSm().find( "RM1" );
   const Ptr<RouteMapConfigSymbolSm> compiler = *machine->routeMapConfigSymbolSm().find( "RM1" );
   const auto copy = filtered->routeMap( "RM1" );
   const auto reactor = machine->rmConfigSymbolReactorColl()->reactor( "RM1" );
   const auto kept = symbol( "RM1" );
   const auto old = kept->rmStatus();
   del( "RM1" );
   const auto map = raw->routeMapIs( "RM1" );
   EXPECT_TRUE( *machine->deferredCreates().find( "RM1" ) );
   EXPECT_TRUE( *machine->pendingDelete().find( "RM1" ) ) << "the delete stands";
   EXPECT_EQ( *machine->routeMapConfigFilterSm().find( "RM1" ), filter );
   map->mapEntryIs( 10 );
   map->mapEntryIs( 20 );
   map->versionIs( 5 );
   EXPECT_EQ( kept->rmStatus(), old );
   Log versions;
   const Reaction ofStatus( *kept->notifier(), [ & ]( const Quoin::Change & ) {
      versions.push_back( kept->rmStatus() ? std::to_string( kept->rmStatus()->seqStatus().count() ) + " sequences" : "undefined" );
   } );
   scheduler->runUntilIdle();
   EXPECT_THAT( versions, ElementsAre( "undefined", "2 sequences" ) );
   EXPECT_TRUE( whole( "RM1", true ) );
   EXPECT_NE( *machine->routeMapConfigFilterSm().find( "RM1" ), filter );
   EXPECT_NE( *machine->routeMapConfigSymbolSm().find( "RM1" ), compiler );
   EXPECT_NE( filtered->routeMap( "RM1" ), copy );
   EXPECT_NE( machine->rmConfigSymbolReactorColl()->reactor( "RM1" ), reactor );
   EXPECT_EQ( machine->allRmSymbol()->symbol( "RM1" ), kept ) << "somebody kept it";
   EXPECT_TRUE( machine->deferredCreates().empty() );
   EXPECT_EQ( task().taskWorkCount(), 2u ) << "one gone, one made";
   EXPECT_FALSE( filter->hasNotificationActive() );
   EXPECT_FALSE( compiler->hasNotificationActive() );
}

TEST_F( RouteMapConfigSmTest, goneAndBackItHasANewSymbolIfNobodyKeptTheOldOne ) {
   add( "RM1" );
   start();
   struct Gone final : Quoin::Subscriber {
      void onChange( const Quoin::Change & ) override {}
   } watcher;
   symbol( "RM1" )->publisher()->subscriberAdd( &watcher );
   del( "RM1" );
   add( "RM1", 2 );
   EXPECT_TRUE( watcher.subscribed() );
   scheduler->runUntilIdle();
   EXPECT_FALSE( watcher.subscribed() ) << "the old symbol has gone";
   EXPECT_TRUE( machine->allRmSymbol()->symbol( "RM1" ) );
   EXPECT_TRUE( status( "RM1" ) );
   EXPECT_EQ( root->routeMapTable()->count(), 1u );
}

TEST_F( RouteMapConfigSmTest, backAndGoneAgainNothingIsBuilt ) {
   add( "RM1" );
   start();
   del( "RM1" );
   add( "RM1" );
   del( "RM1" );
   EXPECT_EQ( machine->deferredCreates().count(), 1u ) << "emptied by the task alone";
   scheduler->runUntilIdle();
   EXPECT_TRUE( whole( "RM1", false ) );
   EXPECT_TRUE( machine->deferredCreates().empty() );
   EXPECT_EQ( task().taskWorkCount(), 2u );
   EXPECT_EQ( task().taskRuns(), 1u );
}

TEST_F( RouteMapConfigSmTest, theTaskYieldsBetweenTwoRouteMaps ) {
   add( "RM1" );
   add( "RM2" );
   start();
   yieldAfterEach();
   del( "RM1" );
   del( "RM2" );
   ASSERT_TRUE( scheduler->runOne() );
   EXPECT_EQ( machine->pendingDelete().count(), 1u );
   EXPECT_EQ( task().taskWorkCount(), 1u );
   EXPECT_EQ( task().taskWorkPending(), 1u );
   EXPECT_TRUE( task().taskScheduled() );
   EXPECT_EQ( live( "RM1" ) + live( "RM2" ), 1 );
   const char * left = live( "RM1" ) ? "RM1" : "RM2";
   EXPECT_TRUE( whole( left, true ) ) << "never half of one";
   ASSERT_TRUE( scheduler->runOne() );
   EXPECT_TRUE( machine->pendingDelete().empty() );
   EXPECT_EQ( task().taskWorkCount(), 2u );
   EXPECT_EQ( task().taskWorkPending(), 0u );
   EXPECT_FALSE( task().taskScheduled() );
   EXPECT_TRUE( whole( left, false ) );
}

TEST_F( RouteMapConfigSmTest, aCreationNeverOvertakesADeletion ) {
   for( const char * name : { "RM1", "RM2", "RM3" } ) add( name );
   start();
   yieldAfterEach();
   for( const char * name : { "RM1", "RM2", "RM3" } ) del( name );
   for( const char * name : { "RM1", "RM2", "RM3" } ) add( name, 2 );
   TraceLog traces( "RouteMapConfigSm" );
   struct Left {
      size_t deletes, creates;
      bool operator==( const Left & ) const = default;
   };
   std::vector<Left> seen;
   std::vector<uint64_t> pending;
   Log verbs;
   while( task().taskScheduled() ) {
      const uint64_t before = task().taskWorkCount();
      while( task().taskWorkCount() == before ) ASSERT_TRUE( scheduler->runOne() );
      seen.push_back( { machine->pendingDelete().count(), machine->deferredCreates().count() } );
      pending.push_back( task().taskWorkPending() );
      for( const auto & text : traces.take() )
         if( text.starts_with( "deleting" ) || text.starts_with( "deferred create" ) || text.starts_with( "creating rmName" ) )
            verbs.push_back( text.substr( 0, text.find( " rmName" ) ) );
   }
   EXPECT_EQ( seen, ( std::vector<Left>{ { 2, 3 }, { 1, 3 }, { 0, 3 }, { 0, 2 }, { 0, 1 }, { 0, 0 } } ) );
   EXPECT_THAT( pending, ElementsAre( 5, 4, 3, 2, 1, 0 ) );
   EXPECT_THAT( verbs,
                ElementsAre( "deleting", "deleting", "deleting", "deferred create", "creating", "deferred create", "creating",
                             "deferred create", "creating" ) );
   EXPECT_EQ( task().taskWorkCount(), 6u );
   for( const char * name : { "RM1", "RM2", "RM3" } ) EXPECT_TRUE( whole( name, true ) );
}

TEST_F( RouteMapConfigSmTest, goneOnceMoreBeforeItWasBuiltAgainNothingIsLeftOfIt ) {
   add( "RM1" );
   start();
   yieldAfterEach();
   del( "RM1" );
   add( "RM1", 2 );
   scheduler->runOne();   // taken down, not yet built
   EXPECT_TRUE( machine->pendingDelete().empty() );
   EXPECT_EQ( machine->deferredCreates().count(), 1u );
   EXPECT_TRUE( whole( "RM1", false ) );
   del( "RM1" );
   EXPECT_TRUE( machine->pendingDelete().empty() ) << "there is nothing to take down";
   scheduler->runUntilIdle();
   EXPECT_TRUE( whole( "RM1", false ) );
   EXPECT_TRUE( machine->deferredCreates().empty() );
}

TEST_F( RouteMapConfigSmTest, comesBackInAnotherWriteOnceItIsTakenDown ) {
   add( "RM1" );
   start();
   yieldAfterEach();
   del( "RM1" );
   add( "RM1", 2 );
   scheduler->runOne();
   raw->routeMapDel( "RM1" );
   add( "RM1", 3 );   // nothing is pending: built at once
   EXPECT_TRUE( whole( "RM1", true ) );
   const Ptr<RouteMapConfigFilterSm> filter = *machine->routeMapConfigFilterSm().find( "RM1" );
   scheduler->runUntilIdle();
   EXPECT_EQ( *machine->routeMapConfigFilterSm().find( "RM1" ), filter ) << "the deferred create finds it live";
   EXPECT_TRUE( machine->deferredCreates().empty() );
}

TEST_F( RouteMapConfigSmTest, aDeletionThatComesUpWhileTheTaskRunsIsDoneToo ) {
   add( "RM1" );
   add( "RM2" );
   start();
   const Reaction reaction( *machine->routeMapUpdateNotifier(), [ & ]( const Quoin::Change & ) { del( "RM2" ); } );
   del( "RM1" );
   scheduler->runUntilIdle();
   EXPECT_TRUE( whole( "RM1", false ) );
   EXPECT_TRUE( whole( "RM2", false ) );
   EXPECT_EQ( task().taskWorkCount(), 2u );
   EXPECT_EQ( task().taskWorkPending(), 0u );
}

TEST_F( RouteMapConfigSmTest, aDeletedRouteMapFreesWhoIsBlockedByIt ) {
   raw->routeMapIs( "A" );
   raw->routeMapIs( "B" );
   call( "B", "A" );
   start();
   call( "A", "B" );
   scheduler->runUntilIdle();
   const auto list = ( *machine->routeMapConfigFilterSm().find( "A" ) )->routeMapBlockedSequenceList();
   ASSERT_TRUE( list->sequence( 10 ) );
   del( "B" );
   EXPECT_TRUE( list->sequence( 10 ) ) << "the filtered B still calls";
   scheduler->runUntilIdle();
   EXPECT_TRUE( list->sequence().empty() );
   EXPECT_EQ( filtered->routeMap( "A" )->version(), raw->routeMap( "A" )->version() );
   EXPECT_FALSE( status( "A" )->seqStatus( 10 )->subRouteMap() ) << "B is undefined";
   EXPECT_TRUE( symbol( "A" )->statusCurrent() );
}

TEST_F( RouteMapConfigSmTest, aRouteMapThatIsDeferredForEverComesFreeWhenItIsRebuilt ) {
   start();
   raw->routeMapIs( "A" );
   call( "A", "A" );
   raw->routeMap( "A" )->mapEntryDel( 10 );
   raw->routeMap( "A" )->versionIs( 9 );
   EXPECT_EQ( filtered->routeMap( "A" )->version(), 0u );
   del( "A" );
   add( "A", 10 );
   scheduler->runUntilIdle();
   EXPECT_EQ( filtered->routeMap( "A" )->version(), 10u );
   EXPECT_TRUE( status( "A" ) );
}

// ---- the mode

TEST_F( RouteMapConfigSmTest, aModeGoesToTheCopyThenToTheNotifierThenToTheRouteMaps ) {
   add( "RM1" );
   start();
   raw->routeMap( "RM1" )->mapEntryIs( 10 )->distanceIs( 5 );   // marked, its version has not moved
   const auto kept = symbol( "RM1" );
   Log steps;
   const auto note = [ & ]( const char * what ) {
      return [ &, what ]( const Quoin::Change & ) {
         steps.push_back( std::string( what ) + " copy " + textOf( filtered->routeMapOpMode() ) + " notifier " +
                          textOf( machine->routeMapOpModeNotifier()->routeMapOpMode() ) );
      };
   };
   const Reaction ofCopy( *filtered, note( "copy:" ) ), ofNotifier( *machine->routeMapOpModeNotifier(), note( "notifier:" ) ),
      ofStatus( *kept->notifier(), note( "status:" ) );
   TraceLog traces( "RouteMapConfigSm" );
   raw->routeMapOpModeIs( RouteMapOpModeType( 2 ) );
   EXPECT_THAT( steps, ElementsAre( "copy: copy 2 notifier 0", "notifier: copy 2 notifier 2", "status: copy 2 notifier 2" ) );
   EXPECT_THAT( traces.take(), ElementsAre( "RouteMapOpMode updated to: 2" ) );
   EXPECT_EQ( status( "RM1" )->seqStatus( 10 )->setter().count(), 1u ) << "compiled at once";
   EXPECT_TRUE( scheduler->idle() ) << "and without a task";
   steps.clear();
   raw->routeMapOpModeIs( RouteMapOpModeType( 2 ) );
   EXPECT_THAT( steps, IsEmpty() );
}

TEST_F( RouteMapConfigSmTest, aModeReachesEveryRouteMapAndNoFilter ) {
   for( const char * name : { "RM1", "RM2", "RM3" } ) add( name );
   start();
   for( const char * name : { "RM1", "RM2", "RM3" } ) raw->routeMap( name )->mapEntryIs( 10 )->distanceIs( 5 );
   TraceLog traces( "RouteMapConfigFilterSm" );
   filtered->routeMap( "RM1" )->versionIs( 0 );   // a filter that were called would mend it
   raw->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   for( const char * name : { "RM1", "RM2", "RM3" } ) EXPECT_EQ( status( name )->seqStatus( 10 )->setter().count(), 1u ) << name;
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( filtered->routeMap( "RM1" )->version(), 0u );
}

TEST_F( RouteMapConfigSmTest, aModeWithoutRouteMapsIsOnlyPassedOn ) {
   start();
   raw->routeMapOpModeIs( RouteMapOpModeType( 7 ) );
   EXPECT_EQ( filtered->routeMapOpMode(), RouteMapOpModeType( 7 ) );
   EXPECT_EQ( machine->routeMapOpModeNotifier()->routeMapOpMode(), RouteMapOpModeType( 7 ) );
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), 0u );
   EXPECT_TRUE( filtered->routeMap().empty() );
   EXPECT_TRUE( scheduler->idle() );
}

// ---- traces

TEST_F( RouteMapConfigSmTest, tracesWhatComesAndGoes ) {
   start();
   TraceLog traces( "RouteMapConfigSm" );
   raw->routeMapIs( "RM1" );
   const std::string identity = Quoin::DisplayPointer::toString( symbol( "RM1" ).get() );
   EXPECT_THAT( traces.take(), ElementsAre( "creating rmName: RM1", "RM1 rmSymbol=" + identity, "creating routeMapConfigSymbolSm RM1" ) );
   del( "RM1" );
   EXPECT_THAT( traces.take(), ElementsAre( "deferring deletion of rmName: RM1" ) );
   raw->routeMapIs( "RM1" );
   EXPECT_THAT( traces.take(), ElementsAre( "deferring creation of rmName: RM1" ) );
   scheduler->runUntilIdle();
   EXPECT_THAT( traces.take(),
                ElementsAre( "deleting rmName: RM1", "deferred create rmName: RM1", "creating rmName: RM1", StartsWith( "RM1 rmSymbol=0x" ),
                             "creating routeMapConfigSymbolSm RM1" ) );
}

// ---- the end

/// All that a configuration can hold: lists, calls, a blocked call, a continue, calls of what there is not.
void fill( const Ptr<Config> & raw ) {
   for( const char * name : { "A", "B", "C" } ) {
      const auto map = raw->routeMapIs( name );
      const auto entry = map->mapEntryIs( 10 );
      entry->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "PL1" ) );
      entry->matchRuleIs( listRule( MatchOption::matchTagSet, "TS1" ) );
      entry->matchRuleIs( listRule( MatchOption::matchIpAccessList, "ACL1" ) );
      entry->continueSeqIs( 20 );
      entry->setFlagsIs( MapEntry::continueSeqSet );
      map->mapEntryIs( 20 )->subRouteMapIs( { name[ 0 ] == 'A' ? "B" : name[ 0 ] == 'B' ? "C" : "A", false } );   // C's is blocked
      map->mapEntryIs( 30 )->subRouteMapIs( { "MISSING", false } );
      map->versionIs( map->version() + 1 );
   }
}

size_t symbolsOf( const PolicyRoot & root ) {
   return root.routeMapTable()->count() + root.ipv4PrefixListTable()->count() + root.tagSetTable()->count() +
      root.ipv4AclListTable()->count();
}

TEST_F( RouteMapConfigSmTest, nothingIsLeftOfWhatHasGone ) {
   start();
   const auto uses = [ & ] {
      return std::vector<uint32_t>{ raw->useCount(),
                                    filtered->useCount(),
                                    root->useCount(),
                                    scheduler->useCount(),
                                    filterHelper->useCount(),
                                    symbolHelper->useCount(),
                                    machine->useCount(),
                                    machine->routeMapUpdateNotifier()->useCount(),
                                    machine->routeMapOpModeNotifier()->useCount(),
                                    machine->rmConfigSymbolReactorColl()->useCount(),
                                    machine->allRmSymbol()->useCount() };
   };
   const auto before = uses();
   for( int round = 0; round < 3; ++round ) {
      SCOPED_TRACE( round );
      fill( raw );
      if( round > 0 ) scheduler->runUntilIdle();
      if( round == 1 ) raw->routeMap( "C" )->mapEntryDel( 20 );   // the blocked one
      EXPECT_EQ( symbolsOf( *root ), 7u ) << "three route maps, one that is missing, three lists";
      if( round == 2 ) yieldAfterEach();
      raw->routeMapDelAll();
      scheduler->runUntilIdle();
      EXPECT_EQ( symbolsOf( *root ), 0u );
      EXPECT_TRUE( filtered->routeMap().empty() );
      EXPECT_TRUE( machine->allRmSymbol()->symbol().empty() );
      EXPECT_TRUE( machine->rmConfigSymbolReactorColl()->reactor().empty() );
      EXPECT_TRUE( machine->routeMapConfigFilterSm().empty() );
      EXPECT_TRUE( machine->routeMapConfigSymbolSm().empty() );
      EXPECT_TRUE( machine->pendingDelete().empty() );
      EXPECT_TRUE( machine->deferredCreates().empty() );
      EXPECT_EQ( uses(), before );
   }
}

TEST_F( RouteMapConfigSmTest, theMachineThatGoesDoesNoMoreWorkAndHoldsNothingAtWhateverPoint ) {
   struct Row {
      const char * what;
      std::function<void()> reach;
   };
   const Row rows[] = {
      { "without route maps", [] {} },
      { "with route maps, one of them blocked", [ & ] { fill( raw ); } },
      { "settled", [ & ] { fill( raw ), scheduler->runUntilIdle(); } },
      { "with edits under way",
        [ & ] { fill( raw ), scheduler->runUntilIdle(), raw->routeMap( "A" )->mapEntryIs( 10 )->distanceIs( 1 ); } },
      { "with a deletion due", [ & ] { fill( raw ), scheduler->runUntilIdle(), del( "B" ); } },
      { "with a creation deferred", [ & ] { fill( raw ), del( "B" ), add( "B" ); } },
      { "half of the deletions done", [ & ] { fill( raw ), yieldAfterEach(), del( "A" ), del( "B" ), scheduler->runOne(); } },
      { "with updates of callers due", [ & ] { fill( raw ), scheduler->runUntilIdle(), call( "B", "" ); } },
      { "going already", [ & ] { fill( raw ), machine->plinthDoZombieReactors( true ); } },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      raw->routeMapDelAll();
      start();
      row.reach();
      const uint32_t before = machine->routeMapUpdateNotifier()->version();
      const auto update = machine->routeMapUpdateNotifier();
      machine = nullptr;
      EXPECT_TRUE( scheduler->idle() ) << "no task is left";
      EXPECT_EQ( symbolsOf( *root ), 0u );
      EXPECT_EQ( raw->useCount(), 1u );
      EXPECT_EQ( filtered->useCount(), 1u );
      EXPECT_EQ( scheduler->useCount(), 1u );
      EXPECT_EQ( filterHelper->useCount(), 1u );
      EXPECT_EQ( symbolHelper->useCount(), 1u );
      EXPECT_EQ( update->useCount(), 1u );
      add( "D" );
      raw->routeMapOpModeIs( RouteMapOpModeType( unsigned( raw->routeMapOpMode() ) + 1 ) );
      EXPECT_FALSE( live( "D" ) );
      EXPECT_EQ( update->version(), before );
   }
}

TEST_F( RouteMapConfigSmTest, aMachineThatIsGoingHearsNothing ) {
   start();
   machine->plinthDoZombieReactors( true );
   add( "RM1" );
   raw->routeMapOpModeIs( RouteMapOpModeType( 3 ) );
   EXPECT_TRUE( filtered->routeMap().empty() );
   EXPECT_EQ( filtered->routeMapOpMode(), RouteMapOpModeType( 0 ) );
}

TEST_F( RouteMapConfigSmTest, whatChangesBehindTheScanIsFoundWhenItIsSwitchedOn ) {
   add( "RM1" );
   machine = makeNode<RouteMapConfigSm>( raw, filtered, root, filterHelper, symbolHelper, scheduler, users );
   del( "RM1" );
   add( "RM2" );
   raw->routeMapOpModeIs( RouteMapOpModeType( 3 ) );
   EXPECT_FALSE( live( "RM2" ) );
   machine->hasNotificationActiveIs( true );
   scheduler->runUntilIdle();
   EXPECT_TRUE( whole( "RM1", false ) );
   EXPECT_TRUE( whole( "RM2", true ) );
   EXPECT_EQ( filtered->routeMapOpMode(), RouteMapOpModeType( 3 ) );
}

TEST_F( RouteMapConfigSmTest, aRouteMapThatIsReplacedBehindTheScanIsBuiltAnew ) {
   add( "RM1" );
   machine = makeNode<RouteMapConfigSm>( raw, filtered, root, filterHelper, symbolHelper, scheduler, users );
   del( "RM1" );
   add( "RM1", 2 )->mapEntryIs( 20 );
   machine->hasNotificationActiveIs( true );
   scheduler->runUntilIdle();
   EXPECT_EQ( filtered->routeMap( "RM1" )->version(), 2u );
   EXPECT_EQ( status( "RM1" )->seqStatus().count(), 2u ) << "not that of the route map that has gone";
}

TEST_F( RouteMapConfigSmTest, aRouteMapThatGoesWhileItIsBuiltIsTakenDownAgain ) {
   start();
   struct Row {
      const char * what;
      const char * name;
      Ptr<const Quoin::Node> watched;
      bool replaced;
   };
   const Row rows[] = {
      { "at its copy", "copy", filtered, false },
      { "at its reactor", "reactor", machine->rmConfigSymbolReactorColl(), false },
      { "at its symbol", "symbol", machine->allRmSymbol(), false },
      { "at its copy, and comes back", "copyBack", filtered, true },
      { "at its reactor, and comes back", "reactorBack", machine->rmConfigSymbolReactorColl(), true },
      { "at its symbol, and comes back", "symbolBack", machine->allRmSymbol(), true },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      bool done = false;
      {
         const Reaction reaction( *row.watched, [ & ]( const Quoin::Change & ) {
            if( std::exchange( done, true ) ) return;
            del( row.name );
            if( row.replaced ) add( row.name, 7 );
         } );
         raw->routeMapIs( row.name );
      }
      scheduler->runUntilIdle();
      EXPECT_TRUE( done );
      EXPECT_TRUE( whole( row.name, row.replaced ) );
      EXPECT_EQ( status( row.name ) ? status( row.name )->seqStatus().count() : 0, row.replaced ? 1u : 0u );
      del( row.name );
      scheduler->runUntilIdle();
      EXPECT_TRUE( whole( row.name, false ) );
   }
}

TEST_F( RouteMapConfigSmTest, itMayGoInWhateverItBringsAbout ) {
   struct Row {
      const char * what;
      std::function<Ptr<const Quoin::Node>()> watched;
      std::function<void()> act;
   };
   const auto copies = [ & ] { return filtered; };
   const auto symbols = [ & ] { return machine->allRmSymbol(); };
   const auto reactors = [ & ] { return machine->rmConfigSymbolReactorColl(); };
   const auto update = [ & ] { return machine->routeMapUpdateNotifier(); };
   const auto mode = [ & ] { return machine->routeMapOpModeNotifier(); };
   const auto ofStatus = [ & ] { return symbol( "A" )->notifier(); };
   const auto creates = [ & ] { raw->routeMapIs( "NEW" ); };
   const auto deletes = [ & ] { del( "A" ), scheduler->runUntilIdle(); };
   const auto changesMode = [ & ] { raw->routeMapOpModeIs( RouteMapOpModeType( unsigned( raw->routeMapOpMode() ) + 1 ) ); };
   const auto compiles = [ & ] { raw->routeMap( "A" )->mapEntryIs( 10 )->distanceIs( 9 ), raw->routeMap( "A" )->versionIs( 99 ); };
   const Row rows[] = {
      { "a new symbol", symbols, creates },
      { "a new copy", copies, creates },
      { "a new reactor", reactors, creates },
      { "a copy that goes", copies, deletes },
      { "a reactor that goes", reactors, deletes },
      { "a symbol that goes", symbols, deletes },
      { "a status that goes", ofStatus, deletes },
      { "the version behind a deletion", update, deletes },
      { "the copy's mode", copies, changesMode },
      { "the notifier's mode", mode, changesMode },
      { "a status that the mode brings", ofStatus, [ & ] { raw->routeMap( "A" )->mapEntryIs( 10 )->distanceIs( 9 ), changesMode(); } },
      { "a new status", ofStatus, compiles },
      { "a version of the copies", update, compiles },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      raw->routeMapDelAll();
      filtered->routeMapDelAll();
      start();
      fill( raw );
      scheduler->runUntilIdle();
      {
         const Ptr<const Quoin::Node> watched = row.watched();
         const Reaction drop( *watched, [ & ]( const Quoin::Change & ) { machine = nullptr; } );
         row.act();
         EXPECT_EQ( machine, nullptr );
      }
      EXPECT_TRUE( scheduler->idle() );
      EXPECT_EQ( symbolsOf( *root ), 0u );
      EXPECT_EQ( raw->useCount(), 1u );
      EXPECT_EQ( filtered->useCount(), 1u );
      EXPECT_EQ( scheduler->useCount(), 1u );
      EXPECT_EQ( filterHelper->useCount(), 1u );
      EXPECT_EQ( symbolHelper->useCount(), 1u );
      machine = nullptr;
   }
}

}   // namespace
}   // namespace Routing::Policy
