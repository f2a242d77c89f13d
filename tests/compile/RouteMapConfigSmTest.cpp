#include "compile/RouteMapConfigSm.h"

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/compile/RouteMapConfigSmFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::Config;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::RouteMapOpModeType;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Log = std::vector<std::string>;

static_assert( std::is_base_of_v<Zeugma::BaseOutputSm, RouteMapConfigSm> );

class RouteMapConfigSmTest : public RouteMapConfigSmFixture {
 protected:
   /// With a version.
   void call( const char * name, const char * target ) const {
      RouteMapConfigSmFixture::call( name, target );
      raise( name );
   }
};

// ---- the start

TEST_F( RouteMapConfigSmTest, withoutRouteMapsItIsEmpty ) {
   start();
   EXPECT_TRUE( filtered->routeMap().empty() );
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), 0u );
   EXPECT_TRUE( machine->routeMapOpModeNotifier() && machine->routeMapDeleteTask() );
   EXPECT_TRUE( machine->allRmSymbol()->symbol().empty() && machine->rmConfigSymbolReactorColl()->reactor().empty() );
   EXPECT_TRUE( machine->pendingDelete().empty() && machine->deferredCreates().empty() );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( root->routeMapTable()->count(), 0u );
}

TEST_F( RouteMapConfigSmTest, theDeleteTaskHasItsNameAndPriority ) {
   start();
   EXPECT_EQ( task().taskName(), "RouteMapDelete" );
   EXPECT_EQ( int( task().taskPriority() ), 3 );
   EXPECT_EQ( task().taskScheduler(), scheduler );
   EXPECT_FALSE( task().taskScheduled() );
   machine->deferredCreatesIs( "RM1", true );
   EXPECT_FALSE( task().taskScheduled() ) << "a deferred create schedules nothing";
}

TEST_F( RouteMapConfigSmTest, existingRouteMapsAreCreatedInTheConstructionInOrder ) {
   for( const char * name : { "b", "a", "C" } ) add( name );
   raw->routeMapOpModeIs( RouteMapOpModeType( 2 ) );
   Log steps;
   const Reaction ofCopy( *filtered, [ & ]( const Quoin::Change & change ) {
      if( Config::Field( change.field ) == Config::Field::routeMapOpMode )
         steps.push_back( "mode" );
      else
         steps.push_back( std::string( Plinth::keyOf<Quoin::String>( change ).view() ) );
   } );
   construct();   // not switched on
   EXPECT_THAT( steps, ElementsAre( "mode", "C", "a", "b" ) );
   for( const char * name : { "a", "b", "C" } ) {
      EXPECT_TRUE( whole( name, true ) );
      ASSERT_TRUE( status( name ) ) << name;
      EXPECT_EQ( status( name )->seqStatus().count(), 1u );
      EXPECT_TRUE( symbol( name )->statusCurrent() );
   }
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), 3u ) << "a version copied for each";
}

TEST_F( RouteMapConfigSmTest, oldOutputIsDeletedAtTheStart ) {
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

TEST_F( RouteMapConfigSmTest, theFirstWalkSurvivesChanges ) {
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

TEST_F( RouteMapConfigSmDeathTest, aNullArgumentEndsTheProcess ) {
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

TEST_F( RouteMapConfigSmDeathTest, aHelperOfAnotherRootEndsTheProcessAtTheFirstSequence ) {
   const char * const text = "Assertion failed: the symbol of the route map belongs to another PolicyRoot\n";
   symbolHelper = makeNode<CommonRmConfigSymbolSmHelper>( makeNode<PolicyRoot>() );
   start();
   raw->routeMapIs( "EMPTY" )->versionIs( 1 );
   EXPECT_TRUE( status( "EMPTY" ) );
   EXPECT_DEATH( raw->routeMapIs( "EMPTY" )->mapEntryIs( 10 ), text );
   EXPECT_DEATH( add( "RM1" ), text );
   symbolHelper = makeNode<CommonRmConfigSymbolSmHelper>( nullptr );
   start();
   EXPECT_DEATH( add( "RM1" ), "Assertion failed: policyRoot && rmSymbol\n" );
}

// ---- creating route maps

TEST_F( RouteMapConfigSmTest, aRouteMapIsCreatedInTheWriteThatAddsIt ) {
   start();
   const auto known = symbol( "RM1" );   // a caller holds it already
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
   EXPECT_EQ( compiler( "RM1" )->routeMap(), filtered->routeMap( "RM1" ) ) << "the filtered one";
   EXPECT_EQ( filter( "RM1" )->routeMap(), raw->routeMap( "RM1" ) );
   EXPECT_EQ( filter( "RM1" )->filteredRmConfig(), filtered->routeMap( "RM1" ) );
   EXPECT_EQ( compiler( "RM1" )->rmConfigSymbolReactor(), machine->rmConfigSymbolReactorColl()->reactor( "RM1" ) );
}

/// Helpers of an agent that record the arguments of their calls.
struct NotingFilterHelper final : RmConfigFilterSmHelperBase {
   Ptr<RmSeqConfigFilterSmBase> createSeqConfigSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry,
                                                   const Ptr<MapEntry> & copy, Config * config,
                                                   const Ptr<RouteMapBlockedSequenceList> & list,
                                                   const Ptr<const RouteMapUpdateNotifier> & update ) override {
      calls.emplace_back( rmName, entry, config, update );
      return makeNode<CommonRmConfigFilterSmHelper>()->createSeqConfigSm( rmName, entry, copy, config, list, update );
   }
   std::vector<std::tuple<Quoin::String, Ptr<const MapEntry>, Config *, Ptr<const RouteMapUpdateNotifier>>> calls;
};
struct NotingSymbolHelper final : RmConfigSymbolSmHelperBase {
   explicit NotingSymbolHelper( const Ptr<PolicyRoot> & root ) : common( makeNode<CommonRmConfigSymbolSmHelper>( root ) ) {}
   Ptr<RmSeqConfigSymbolSmBase> createSeqConfigSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry,
                                                   const Ptr<RouteMapSymbol> & rmSymbol, const Ptr<RmConfigSymbolReactor> & reactor,
                                                   const Ptr<const RouteMapOpModeNotifier> & mode ) override {
      calls.emplace_back( rmName, entry, mode );
      return common->createSeqConfigSm( rmName, entry, rmSymbol, reactor, mode );
   }
   std::vector<std::tuple<Quoin::String, Ptr<const MapEntry>, Ptr<const RouteMapOpModeNotifier>>> calls;
   Ptr<CommonRmConfigSymbolSmHelper> common;
};

TEST_F( RouteMapConfigSmTest, theHelpersCreateEverySequenceOfBothStages ) {
   const auto ofFilter = makeNode<NotingFilterHelper>();
   const auto ofSymbol = makeNode<NotingSymbolHelper>( root );
   filterHelper = ofFilter;
   symbolHelper = ofSymbol;
   add( "RM1" );
   start();
   add( "RM2" );
   const auto update = machine->routeMapUpdateNotifier();
   const auto mode = machine->routeMapOpModeNotifier();
   const auto input = [ & ]( const char * name ) { return raw->routeMap( name )->mapEntry( 10 ); };
   const auto copy = [ & ]( const char * name ) { return filtered->routeMap( name )->mapEntry( 10 ); };
   EXPECT_THAT( ofFilter->calls,
                ElementsAre( std::tuple( "RM1", input( "RM1" ), filtered.get(), update ),
                             std::tuple( "RM2", input( "RM2" ), filtered.get(), update ) ) );
   EXPECT_THAT( ofSymbol->calls, ElementsAre( std::tuple( "RM1", copy( "RM1" ), mode ), std::tuple( "RM2", copy( "RM2" ), mode ) ) );
}

TEST_F( RouteMapConfigSmTest, anExistingNameIsNotCreatedAgain ) {
   add( "RM1" );
   start();
   TraceLog traces( "RouteMapConfigSm" );
   const auto oldFilter = filter( "RM1" );
   machine->handleRouteMap( "RM1" );
   machine->handleRouteMap( "RM2" );   // in neither
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( filter( "RM1" ), oldFilter );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_TRUE( whole( "RM2", false ) );
}

TEST_F( RouteMapConfigSmTest, aSymbolCalledBeforeItsRouteMapExistsIsFilled ) {
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

TEST_F( RouteMapConfigSmTest, existsWhileItsNameIsInTheFilteredConfiguration ) {
   start();
   filtered->routeMapIs( "RM1" );   // not by the machine
   raw->routeMapIs( "RM1" );
   EXPECT_FALSE( machine->routeMapConfigFilterSm().find( "RM1" ) ) << "the filtered configuration counts, not the machines";
   del( "RM1" );
   EXPECT_EQ( machine->pendingDelete().count(), 1u );
   const uint32_t before = machine->routeMapUpdateNotifier()->version();
   scheduler->runUntilIdle();
   EXPECT_FALSE( live( "RM1" ) );
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), before + 1 );
}

// ---- deleting route maps

TEST_F( RouteMapConfigSmTest, aDeletedRouteMapKeepsItsStatusUntilTheTaskRan ) {
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

TEST_F( RouteMapConfigSmTest, aRouteMapIsDeletedInOrder ) {
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

TEST_F( RouteMapConfigSmTest, theCallerOfADeletedRouteMapFindsItUndefined ) {
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

TEST_F( RouteMapConfigSmTest, pendingDeleteIsSchedulesOnlyForANewValue ) {
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

TEST_F( RouteMapConfigSmTest, aRouteMapReplacedBeforeTheTaskRunsIsCreatedAgain ) {
   add( "RM1" );
   start();
   const auto oldFilter = filter( "RM1" );
   const auto oldCompiler = compiler( "RM1" );
   const auto copy = filtered->routeMap( "RM1" );
   const auto reactor = machine->rmConfigSymbolReactorColl()->reactor( "RM1" );
   const auto kept = symbol( "RM1" );
   const auto old = kept->rmStatus();
   del( "RM1" );
   const auto map = raw->routeMapIs( "RM1" );
   EXPECT_TRUE( *machine->deferredCreates().find( "RM1" ) );
   EXPECT_TRUE( *machine->pendingDelete().find( "RM1" ) ) << "still pending";
   EXPECT_EQ( filter( "RM1" ), oldFilter );
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
   EXPECT_NE( filter( "RM1" ), oldFilter );
   EXPECT_NE( compiler( "RM1" ), oldCompiler );
   EXPECT_NE( filtered->routeMap( "RM1" ), copy );
   EXPECT_NE( machine->rmConfigSymbolReactorColl()->reactor( "RM1" ), reactor );
   EXPECT_EQ( machine->allRmSymbol()->symbol( "RM1" ), kept ) << "it is still in use";
   EXPECT_TRUE( machine->deferredCreates().empty() );
   EXPECT_EQ( task().taskWorkCount(), 2u ) << "one deletion, one creation";
   EXPECT_FALSE( oldFilter->hasNotificationActive() );
   EXPECT_FALSE( oldCompiler->hasNotificationActive() );
}

TEST_F( RouteMapConfigSmTest, aReplacedRouteMapHasANewSymbolUnlessSomebodyHeldIt ) {
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
   EXPECT_FALSE( watcher.subscribed() ) << "the old symbol is released";
   EXPECT_TRUE( machine->allRmSymbol()->symbol( "RM1" ) );
   EXPECT_TRUE( status( "RM1" ) );
   EXPECT_EQ( root->routeMapTable()->count(), 1u );
}

TEST_F( RouteMapConfigSmTest, aRouteMapDeletedAgainBeforeTheTaskRunsIsNotCreated ) {
   add( "RM1" );
   start();
   del( "RM1" );
   add( "RM1" );
   del( "RM1" );
   EXPECT_EQ( machine->deferredCreates().count(), 1u ) << "left to the task";
   scheduler->runUntilIdle();
   EXPECT_TRUE( whole( "RM1", false ) );
   EXPECT_TRUE( machine->deferredCreates().empty() );
   EXPECT_EQ( task().taskWorkCount(), 2u );
   EXPECT_EQ( task().taskRuns(), 1u );
}

TEST_F( RouteMapConfigSmTest, theTaskYieldsBetweenTwoRouteMaps ) {
   for( const char * name : { "RM1", "RM2" } ) add( name );
   start();
   yieldAfterEach();
   for( const char * name : { "RM1", "RM2" } ) del( name );
   ASSERT_TRUE( scheduler->runOne() );
   EXPECT_EQ( task().taskWorkCount(), 1u );
   EXPECT_EQ( task().taskWorkPending(), 1u );
   EXPECT_TRUE( task().taskScheduled() );
   EXPECT_EQ( live( "RM1" ) + live( "RM2" ), 1 );
   EXPECT_TRUE( whole( live( "RM1" ) ? "RM1" : "RM2", true ) ) << "never half of one";
   ASSERT_TRUE( scheduler->runOne() );
   EXPECT_EQ( task().taskWorkCount(), 2u );
   EXPECT_EQ( task().taskWorkPending(), 0u );
   EXPECT_FALSE( task().taskScheduled() );
   for( const char * name : { "RM1", "RM2" } ) EXPECT_TRUE( whole( name, false ) );
}

TEST_F( RouteMapConfigSmTest, otherTasksRunBetweenTwoRunsOfTheTask ) {
   for( const char * name : { "RM1", "RM2" } ) add( name );
   start();
   yieldAfterEach();
   uint64_t runsBefore = 0;
   Zeugma::Task other( scheduler, Zeugma::TaskPriority::routeMap, "Other", [ & ] { runsBefore = task().taskRuns(); } );
   other.scheduleTask( 1 );
   for( const char * name : { "RM1", "RM2" } ) del( name );
   run();
   EXPECT_EQ( runsBefore, 1u ) << "the first run has priority, the second has not";
   EXPECT_EQ( task().taskRuns(), 2u );
}

TEST_F( RouteMapConfigSmTest, creationsRunAfterAllDeletions ) {
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

TEST_F( RouteMapConfigSmTest, aRouteMapAddedAfterItsDeletionIsCreatedAtOnce ) {
   add( "RM1" );
   start();
   yieldAfterEach();
   del( "RM1" );
   add( "RM1", 2 );
   scheduler->runOne();
   raw->routeMapDel( "RM1" );
   add( "RM1", 3 );   // nothing is pending
   EXPECT_TRUE( whole( "RM1", true ) );
   const auto oldFilter = filter( "RM1" );
   scheduler->runUntilIdle();
   EXPECT_EQ( filter( "RM1" ), oldFilter ) << "the deferred create finds it";
   EXPECT_TRUE( machine->deferredCreates().empty() );
}

TEST_F( RouteMapConfigSmTest, aDeletedRouteMapFreesABlockedSequence ) {
   raw->routeMapIs( "A" );
   raw->routeMapIs( "B" );
   call( "B", "A" );
   start();
   call( "A", "B" );
   scheduler->runUntilIdle();
   const auto list = filter( "A" )->routeMapBlockedSequenceList();
   ASSERT_TRUE( list->sequence( 10 ) );
   del( "B" );
   EXPECT_TRUE( list->sequence( 10 ) ) << "the filtered B still calls";
   scheduler->runUntilIdle();
   EXPECT_TRUE( list->sequence().empty() );
   EXPECT_EQ( filtered->routeMap( "A" )->version(), raw->routeMap( "A" )->version() );
   EXPECT_FALSE( status( "A" )->seqStatus( 10 )->subRouteMap() ) << "B is undefined";
   EXPECT_TRUE( symbol( "A" )->statusCurrent() );
}

// ---- the mode

TEST_F( RouteMapConfigSmTest, aModeIsWrittenToCopyThenNotifierThenRouteMaps ) {
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

TEST_F( RouteMapConfigSmTest, aModeCompilesEveryRouteMapAndRunsNoFilter ) {
   for( const char * name : { "RM1", "RM2", "RM3" } ) add( name );
   start();
   for( const char * name : { "RM1", "RM2", "RM3" } ) raw->routeMap( name )->mapEntryIs( 10 )->distanceIs( 5 );
   TraceLog traces( "RouteMapConfigFilterSm" );
   filtered->routeMap( "RM1" )->versionIs( 0 );   // a filter would correct it
   raw->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   for( const char * name : { "RM1", "RM2", "RM3" } ) EXPECT_EQ( status( name )->seqStatus( 10 )->setter().count(), 1u ) << name;
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( filtered->routeMap( "RM1" )->version(), 0u );
}

// ---- traces

TEST_F( RouteMapConfigSmTest, tracesCreationAndDeletion ) {
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

// ---- lifetime

/// Lists, calls, a blocked call, a continue, calls of an undefined route map.
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

TEST_F( RouteMapConfigSmTest, deletingEverythingLeavesNothing ) {
   start();
   for( int round = 0; round < 3; ++round ) {
      SCOPED_TRACE( round );
      fill( raw );
      if( round > 0 ) scheduler->runUntilIdle();
      if( round == 1 ) raw->routeMap( "C" )->mapEntryDel( 20 );   // the blocked sequence
      EXPECT_EQ( symbolsOf( *root ), 7u ) << "three route maps, an undefined one, three lists";
      if( round == 2 ) yieldAfterEach();
      raw->routeMapDelAll();
      scheduler->runUntilIdle();
      EXPECT_EQ( symbolsOf( *root ), 0u );
      for( const char * name : { "A", "B", "C" } ) EXPECT_TRUE( whole( name, false ) );
      EXPECT_TRUE( machine->pendingDelete().empty() );
      EXPECT_TRUE( machine->deferredCreates().empty() );
   }
}

TEST_F( RouteMapConfigSmTest, aReleasedMachineDropsItsWorkAndItsSymbols ) {
   const auto settled = [ & ] { fill( raw ), scheduler->runUntilIdle(); };
   struct Row {
      const char * what;
      std::function<void()> reach;
   };
   const Row rows[] = {
      { "with route maps, one of them blocked", [ & ] { fill( raw ); } },
      { "with pending edits", [ & ] { settled(), raw->routeMap( "A" )->mapEntryIs( 10 )->distanceIs( 1 ); } },
      { "with a deferred create", [ & ] { settled(), del( "B" ), add( "B" ); } },
      { "with half of the deletions done", [ & ] { fill( raw ), yieldAfterEach(), del( "A" ), del( "B" ), scheduler->runOne(); } },
      { "with pending updates of callers", [ & ] { settled(), call( "B", "" ); } },
      { "stopping already", [ & ] { fill( raw ), machine->plinthDoZombieReactors( true ), add( "RM1" ); } },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      raw->routeMapDelAll();
      start();
      row.reach();
      EXPECT_FALSE( live( "RM1" ) );
      const auto update = machine->routeMapUpdateNotifier();
      const uint32_t before = update->version();
      machine = nullptr;
      EXPECT_TRUE( scheduler->idle() );
      EXPECT_EQ( symbolsOf( *root ), 0u );
      add( "D" );
      raw->routeMapOpModeIs( RouteMapOpModeType( unsigned( raw->routeMapOpMode() ) + 1 ) );
      EXPECT_FALSE( live( "D" ) );
      EXPECT_EQ( update->version(), before );
   }
}

TEST_F( RouteMapConfigSmTest, changesBeforeItIsSwitchedOnAreCompiled ) {
   add( "DELETED" );
   add( "REPLACED" );
   construct();
   del( "DELETED" );
   del( "REPLACED" );
   add( "REPLACED", 2 )->mapEntryIs( 20 );
   add( "NEW" );
   raw->routeMapOpModeIs( RouteMapOpModeType( 3 ) );
   EXPECT_FALSE( live( "NEW" ) );
   machine->hasNotificationActiveIs( true );
   scheduler->runUntilIdle();
   EXPECT_TRUE( whole( "DELETED", false ) );
   EXPECT_TRUE( whole( "NEW", true ) );
   EXPECT_EQ( filtered->routeMap( "REPLACED" )->version(), 2u );
   EXPECT_EQ( status( "REPLACED" )->seqStatus().count(), 2u ) << "not the sequences of the deleted route map";
   EXPECT_EQ( filtered->routeMapOpMode(), RouteMapOpModeType( 3 ) );
}

TEST_F( RouteMapConfigSmTest, aRouteMapMayBeDeletedWhileItIsCreated ) {
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

TEST_F( RouteMapConfigSmTest, mayBeReleasedInAnyOfItsWrites ) {
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
   const auto current = [ & ] { return symbol( "A" ); };   // statusCurrent
   const auto first = [ & ] { return raw->routeMap( "A" )->mapEntry( 10 ); };
   const auto creates = [ & ] { raw->routeMapIs( "NEW" ); };
   const auto deletes = [ & ] { del( "A" ), scheduler->runUntilIdle(); };
   const auto changesMode = [ & ] { raw->routeMapOpModeIs( RouteMapOpModeType( unsigned( raw->routeMapOpMode() ) + 1 ) ); };
   const auto compiles = [ & ] { raw->routeMap( "A" )->mapEntryIs( 10 )->distanceIs( 9 ), raw->routeMap( "A" )->versionIs( 99 ); };
   const Row rows[] = {
      { "a new symbol", symbols, creates },
      { "a new copy", copies, creates },
      { "a new reactor", reactors, creates },
      { "a deleted copy", copies, deletes },
      { "a deleted reactor", reactors, deletes },
      { "a deleted symbol", symbols, deletes },
      { "a deleted status", ofStatus, deletes },
      { "the version after a deletion", update, deletes },
      { "the copy's mode", copies, changesMode },
      { "the notifier's mode", mode, changesMode },
      { "a status published by the mode", ofStatus, [ & ] { raw->routeMap( "A" )->mapEntryIs( 10 )->distanceIs( 9 ), changesMode(); } },
      { "a new status", ofStatus, compiles },
      { "a deleted sequence", ofStatus, [ & ] { raw->routeMap( "A" )->mapEntryDel( 30 ); } },
      { "a new sequence", current, [ & ] { raw->routeMap( "A" )->mapEntryIs( 40 ); } },
      { "a continue", current, [ & ] { first()->continueSeqIs( 30 ); } },
      { "a flag", current, [ & ] { first()->setFlagsIs( 0 ); } },
      { "a distance", current, [ & ] { first()->distanceIs( 3 ); } },
      { "a rule", current, [ & ] { first()->matchRuleIs( valueRule( MatchOption::matchTag, 4 ) ); } },
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
   }
}

}   // namespace
}   // namespace Routing::Policy
