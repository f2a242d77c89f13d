// Edit scopes: nothing is published while one is open, and each route map that a batch changes is published once behind its end.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"
#include "policy/DistanceSetter.h"
#include "substrate/plinth/Exception.h"
#include "substrate/routemap/TagSetProducer.h"
#include "tests/compile/Fixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::Config;
using Routing::RouteMap::ConfigEdit;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::RouteMapOpModeType;
using Routing::RouteMap::TagSetProducer;
constexpr auto deny = Acl::MatchPermit::deny;

/// A configuration, its machine, and a count of what is published of each route map.
class ConfigEditTest : public testing::Test {
 protected:
   using Counts = std::map<std::string, int>;

   ConfigEditTest() {
      scheduler->budgetIs( []( const Zeugma::Task & ) { return false; } );
      for( const char * name : { "A", "B", "C", "D", "E" } ) {
         symbols[ name ] = root->routeMapTable()->symbol( name );
         reactions.push_back( std::make_unique<Reaction>( *symbols[ name ]->notifier(), [ this, name ]( const Quoin::Change & ) {
            ++counts[ name ];
            EXPECT_EQ( config ? config->edits() : 0, 0u ) << name << " is published while a scope is open";
            if( const auto now = std::exchange( onPublished, {} ) ) now( name );
         } ) );
      }
   }
   void start() {
      machine = routeMapConfigSmFactory( config, filtered, root, makeNode<CommonRmConfigFilterSmHelper>(),
                                         makeNode<CommonRmConfigSymbolSmHelper>( root ), scheduler, nullptr );
      run();
      take();
   }
   /// What has been published since the last time.
   Counts take() { return std::exchange( counts, {} ); }
   void run() { scheduler->runUntilIdle(); }
   void open() { scopes.push_back( std::make_unique<ConfigEdit>( config ) ); }
   void close() { scopes.pop_back(); }
   Counts closeAndRun() {
      run();
      EXPECT_EQ( take(), Counts{} );
      close();
      run();
      return take();
   }

   Ptr<Map> add( const char * name, const char * callee = "" ) {
      const auto map = config->routeMapIs( name );
      map->mapEntryIs( 10 )->subRouteMapIs( { callee, false } );
      raise( name );
      return map;
   }
   void raise( const char * name ) {
      const auto map = config->routeMap( name );
      map->versionIs( map->version() + 1 );
   }
   Ptr<MapEntry> entry( const char * name, uint32_t seqno = 10 ) { return config->routeMap( name )->mapEntryIs( seqno ); }
   /// An edit of a sequence's distance, with the version.
   void edit( const char * name ) {
      entry( name )->distanceIs( entry( name )->distance() + 1 );
      raise( name );
   }
   Ptr<const RouteMapStatus> status( const char * name ) { return symbols[ name ]->rmStatus(); }
   /// What its first sequence sets; 0 for nothing.
   unsigned distanceOf( const char * name ) {
      const auto seq = status( name )->seqStatus( 10 );
      const auto * setter = seq->setter().find( Routing::RouteMap::SetOption::setDistance );
      return setter ? unsigned( dynamic_cast<const DistanceSetter &>( **setter ).distance() ) : 0;
   }
   bool current( const char * name ) { return symbols[ name ]->statusCurrent(); }
   bool allCurrent() {
      for( const auto & [ name, map ] : config->routeMap() )
         if( !root->routeMapTable()->symbol( name )->statusCurrent() ) return false;
      return true;
   }
   /// Calls have what their callees have published.
   void expectCallsAreUpToDate() {
      for( const auto & [ name, symbol ] : symbols ) {
         if( !symbol->rmStatus() ) continue;
         for( const auto & [ seqno, seq ] : symbol->rmStatus()->seqStatus() ) {
            const auto callee = config->routeMap( name.c_str() )->mapEntry( seqno )->subRouteMap().name;
            if( !callee.empty() ) { EXPECT_EQ( seq->subRouteMap(), root->routeMapTable()->symbol( callee )->rmStatus() ) << name; }
         }
      }
   }

   Ptr<Config> config = makeNode<Config>(), filtered = makeNode<Config>();
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<RouteMapConfigSm> machine;
   std::map<std::string, Ptr<RouteMapSymbol>> symbols;
   std::vector<std::unique_ptr<Reaction>> reactions;
   std::function<void( const std::string & )> onPublished;   // once
   std::vector<std::unique_ptr<ConfigEdit>> scopes;
   Counts counts;
};

// ---- what a batch publishes

TEST_F( ConfigEditTest, aCallerThatIsDeclaredBeforeItsCalleeIsPublishedOnce ) {
   add( "B" );
   add( "A", "B" );
   start();
   edit( "A" );
   edit( "B" );
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 2 }, { "B", 1 } } ) );   // without a scope
   open();
   edit( "A" );
   edit( "B" );
   EXPECT_FALSE( current( "A" ) );
   EXPECT_FALSE( current( "B" ) );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   EXPECT_EQ( status( "A" )->seqStatus( 10 )->subRouteMap(), status( "B" ) );
   EXPECT_EQ( distanceOf( "A" ), 2u );
}

// Each version is taken in when it is raised: what is set by one and removed by the next is not published.
TEST_F( ConfigEditTest, whatALaterVersionRemovesIsNotPublished ) {
   add( "A" );
   start();
   open();
   edit( "A" );
   entry( "A" )->distanceIs( 0 );
   raise( "A" );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   EXPECT_EQ( distanceOf( "A" ), 0u );
}

TEST_F( ConfigEditTest, severalVersionsOfOneRouteMapArePublishedOnce ) {
   add( "A" );
   start();
   open();
   for( int i = 0; i < 3; ++i ) edit( "A" );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
}

// A calls C, C calls D, D calls E; A calls E as well: two ways of different length, and names in the other order.
TEST_F( ConfigEditTest, aCallerThatIsReachedOnSeveralWaysIsPublishedOnce ) {
   add( "E" );
   add( "D", "E" );
   add( "C", "D" );
   add( "A", "C" );
   entry( "A", 5 )->subRouteMapIs( { "E", false } );
   raise( "A" );
   start();
   const Counts onceEach{ { "A", 1 }, { "C", 1 }, { "D", 1 }, { "E", 1 } };
   open();
   edit( "E" );
   EXPECT_EQ( closeAndRun(), onceEach );
   expectCallsAreUpToDate();
   open();
   config->routeMapDel( "E" );
   EXPECT_EQ( closeAndRun(), onceEach );
   expectCallsAreUpToDate();
   open();
   add( "E" );
   EXPECT_EQ( closeAndRun(), onceEach );
   expectCallsAreUpToDate();
}

// The order is that of the calls after the batch, not before it.
TEST_F( ConfigEditTest, callsThatTheBatchTurnsRoundSetTheOrder ) {
   add( "A", "B" );
   add( "B", "C" );
   add( "C" );
   start();
   open();
   for( const char * name : { "A", "B" } ) {
      entry( name )->subRouteMapIs( {} );
      raise( name );
   }
   entry( "C" )->subRouteMapIs( { "B", false } );
   entry( "B" )->subRouteMapIs( { "A", false } );
   raise( "C" );
   raise( "B" );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 }, { "C", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, newRouteMapsArePublishedAtTheEnd ) {
   start();
   open();
   add( "A", "B" );
   add( "B" );
   config->routeMapIs( "C" )->versionIs( 1 );   // empty, and declared
   config->routeMapIs( "D" );                   // empty, and not declared
   EXPECT_FALSE( current( "A" ) );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 }, { "C", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   ASSERT_TRUE( status( "C" ) );
   EXPECT_TRUE( status( "C" )->seqStatus().empty() );
   EXPECT_FALSE( status( "D" ) );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, anAttributeStillWaitsForTheVersion ) {
   add( "A" );
   start();
   open();
   entry( "A" )->distanceIs( 5 );
   EXPECT_EQ( closeAndRun(), Counts{} );
   EXPECT_FALSE( current( "A" ) );
   raise( "A" );
   EXPECT_EQ( take(), ( Counts{ { "A", 1 } } ) );   // at once: no scope is open
   EXPECT_EQ( distanceOf( "A" ), 5u );
}

// A sequence is deleted, and another one waits for the version: so does the route map, and its caller.
TEST_F( ConfigEditTest, aDeletionWaitsForTheVersionOfOtherSequences ) {
   add( "B" );
   add( "A", "B" );
   entry( "B", 20 );
   raise( "B" );
   start();
   open();
   config->routeMap( "B" )->mapEntryDel( 20 );
   entry( "B" )->distanceIs( 5 );
   edit( "A" );
   EXPECT_EQ( closeAndRun(), Counts{} );
   raise( "B" );
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, deletedSequencesArePublishedAtTheEndAlsoWithoutAVersion ) {
   add( "B" );
   add( "A", "B" );
   for( const uint32_t seqno : { 20, 30 } ) entry( "B", seqno );
   raise( "B" );
   start();
   open();
   config->routeMap( "B" )->mapEntryDel( 20 );
   config->routeMap( "B" )->mapEntryDel( 30 );
   EXPECT_TRUE( status( "B" )->seqStatus( 30 ) );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_EQ( status( "B" )->seqStatus().count(), 1u );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, aSequenceThatComesBackIsANewOne ) {
   add( "A" );
   entry( "A" )->distanceIs( 7 );
   raise( "A" );
   start();
   open();
   config->routeMap( "A" )->mapEntryDel( 10 );
   entry( "A" )->permitIs( deny );
   raise( "A" );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   EXPECT_EQ( status( "A" )->seqStatus( 10 )->matchAction(), deny );
   EXPECT_FALSE( status( "A" )->seqStatus( 10 )->setter().find( Routing::RouteMap::SetOption::setDistance ) );
}

TEST_F( ConfigEditTest, aModeChangeCompilesAtTheEnd ) {
   add( "A" );
   add( "B" );
   start();
   open();
   entry( "A" )->permitIs( deny );   // without a version: a mode change compiles it all the same
   config->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   config->routeMapOpModeIs( RouteMapOpModeType( 2 ) );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   EXPECT_EQ( status( "A" )->seqStatus( 10 )->matchAction(), deny );
   EXPECT_TRUE( allCurrent() );
}

TEST_F( ConfigEditTest, aReevaluationCompilesAtTheEnd ) {
   add( "A" );
   start();
   open();
   entry( "A" )->permitIs( deny );
   machine->rmConfigSymbolReactorColl()->reactor( "A" )->reevaluateInc( 1 );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   EXPECT_EQ( status( "A" )->seqStatus( 10 )->matchAction(), deny );
}

// ---- route maps that are deleted

TEST_F( ConfigEditTest, aDeletedRouteMapStaysPublishedUntilTheEnd ) {
   add( "B" );
   add( "A", "B" );
   start();
   const auto before = status( "B" );
   open();
   config->routeMapDel( "B" );
   edit( "A" );
   run();
   EXPECT_EQ( status( "B" ), before );
   EXPECT_TRUE( machine->pendingDelete().find( "B" ) );
   close();
   EXPECT_EQ( status( "B" ), before );   // deletion is a task
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_FALSE( status( "B" ) );
   EXPECT_FALSE( status( "A" )->seqStatus( 10 )->subRouteMap() );
   EXPECT_TRUE( allCurrent() );
}

TEST_F( ConfigEditTest, aDeletionFromBeforeTheScopeIsPutOffToo ) {
   add( "A" );
   start();
   config->routeMapDel( "A" );
   open();
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   EXPECT_FALSE( status( "A" ) );
}

TEST_F( ConfigEditTest, aRouteMapThatIsDeletedAndCreatedAgainIsANewOne ) {
   add( "C" );
   add( "B", "C" );
   add( "A", "B" );
   start();
   open();
   config->routeMapDel( "B" );
   add( "B" );
   entry( "B" )->permitIs( deny );
   raise( "B" );
   EXPECT_TRUE( machine->deferredCreates().find( "B" ) );
   // The deletion is published, and the new one: callers see the second alone.
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 2 } } ) );
   EXPECT_EQ( status( "B" )->seqStatus( 10 )->matchAction(), deny );
   EXPECT_FALSE( status( "B" )->seqStatus( 10 )->subRouteMap() );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, aRouteMapThatComesAndGoesIsNotPublished ) {
   start();
   open();
   add( "A" );
   config->routeMapDel( "A" );
   closeAndRun();
   EXPECT_FALSE( status( "A" ) );
   EXPECT_TRUE( machine->routeMapConfigSymbolSm().empty() );
   EXPECT_TRUE( scheduler->idle() );
}

// ---- lists

TEST_F( ConfigEditTest, listsThatChangeAreTakenInAtTheEnd ) {
   TagSetProducer tags( root->tagSetTable(), "TS" );
   tags.tagIs( 1 );
   tags.publish();
   add( "B" );
   entry( "B" )->matchRuleIs( listRule( MatchOption::matchTagSet, "TS" ) );
   raise( "B" );
   add( "A", "B" );
   entry( "A" )->matchRuleIs( listRule( MatchOption::matchTagSet, "TS" ) );
   raise( "A" );
   start();
   open();
   for( const unsigned tag : { 2u, 3u } ) {
      tags.tagIs( tag );
      tags.publish();
   }
   EXPECT_FALSE( current( "B" ) );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   open();
   tags.tagIs( 4 );
   tags.publish();
   edit( "A" );   // its own version takes the list in, and its callee does so without one
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   open();
   tags.tagIs( 5 );
   edit( "A" );
   EXPECT_EQ( closeAndRun(), Counts{} );   // the list is in progress
   EXPECT_FALSE( current( "A" ) );
   tags.publish();
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

// ---- cycles

TEST_F( ConfigEditTest, aCallThatTheBatchUnblocksIsPublishedWithIt ) {
   add( "A", "B" );
   add( "B" );
   start();
   entry( "B" )->subRouteMapIs( { "A", false } );   // refused
   raise( "B" );
   run();
   EXPECT_EQ( take(), Counts{} );
   open();
   entry( "A" )->subRouteMapIs( {} );
   raise( "A" );
   EXPECT_EQ( filtered->routeMap( "B" )->mapEntry( 10 )->subRouteMap().name, Quoin::String( "A" ) );   // the filter copies at once
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, aCallThatADeletionUnblocksIsPublishedWithIt ) {
   add( "A", "B" );
   add( "B" );
   start();
   entry( "B" )->subRouteMapIs( { "A", false } );
   raise( "B" );
   open();
   config->routeMapDel( "A" );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

// ---- scopes

TEST_F( ConfigEditTest, scopesNest ) {
   add( "A" );
   start();
   open();
   open();
   edit( "A" );
   close();
   run();
   EXPECT_EQ( take(), Counts{} );
   EXPECT_EQ( config->edits(), 1u );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   EXPECT_EQ( config->edits(), 0u );
}

TEST_F( ConfigEditTest, aScopeWithoutEditsSchedulesNothing ) {
   add( "A" );
   start();
   const auto runs = machine->routeMapDeleteTask()->taskRuns();
   open();
   close();
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( machine->routeMapDeleteTask()->taskRuns(), runs );
   edit( "A" );
   EXPECT_EQ( take(), ( Counts{ { "A", 1 } } ) );
}

TEST_F( ConfigEditTest, noTaskIsDueAgainWhileAScopeIsOpen ) {
   add( "B" );
   add( "A", "B" );
   start();
   open();
   edit( "A" );
   config->routeMapDel( "B" );
   size_t runs = 0;
   while( scheduler->runOne() ) ASSERT_LT( ++runs, 10u );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
}

TEST_F( ConfigEditTest, closeEndsTheScopeOnce ) {
   add( "A" );
   start();
   ConfigEdit scope( config );
   open();
   scope.close();
   scope.close();
   EXPECT_EQ( config->edits(), 1u );
   edit( "A" );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
}

TEST_F( ConfigEditTest, aScopeNeedsAConfiguration ) {
   EXPECT_THROW( ConfigEdit( Ptr<Config>() ), Plinth::MutatorArgNullPointerException );
}

TEST_F( ConfigEditTest, aNewScopeBeforeTheTaskPutsItOffAgain ) {
   add( "A" );
   start();
   open();
   edit( "A" );
   close();
   edit( "A" );   // between the scope and its task: put off too
   EXPECT_EQ( take(), Counts{} );
   open();
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   edit( "A" );
   EXPECT_EQ( take(), ( Counts{ { "A", 1 } } ) );   // from now on at once
}

TEST_F( ConfigEditTest, aTaskThatYieldsPublishesEachOnce ) {
   for( const char * name : { "B", "D" } ) add( name );
   add( "C", "B" );
   add( "A", "C" );
   entry( "A", 5 )->subRouteMapIs( { "B", false } );
   raise( "A" );
   start();
   scheduler->budgetIs( []( const Zeugma::Task & ) { return true; } );
   open();
   edit( "A" );
   edit( "B" );
   config->routeMapDel( "D" );
   run();
   close();
   const auto * task = machine->routeMapDeleteTask();
   const auto done = task->taskWorkCount();
   ASSERT_TRUE( scheduler->runOne() );
   EXPECT_EQ( take(), ( Counts{ { "D", 1 } } ) );
   EXPECT_EQ( task->taskWorkPending(), 2u );
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 }, { "B", 1 }, { "C", 1 } } ) );
   EXPECT_GE( task->taskWorkCount(), done + 4 );   // a route map may be asked once more
   EXPECT_EQ( task->taskWorkPending(), 0u );
   expectCallsAreUpToDate();
}

// ---- lifetimes

TEST_F( ConfigEditTest, aMachineThatIsCreatedInsideTheScopePublishesAtItsEnd ) {
   open();
   add( "A", "B" );
   add( "B" );
   start();
   EXPECT_FALSE( status( "A" ) );
   EXPECT_FALSE( current( "A" ) );
   edit( "A" );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, aScopeThatClosesBeforeAMachineIsSwitchedOnIsSeen ) {
   open();
   add( "A" );
   machine = makeNode<RouteMapConfigSm>( config, filtered, root, makeNode<CommonRmConfigFilterSmHelper>(),
                                         makeNode<CommonRmConfigSymbolSmHelper>( root ), scheduler, nullptr );
   close();
   machine->hasNotificationActiveIs( true );
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
}

TEST_F( ConfigEditTest, aMachineThatIsDestroyedInsideTheScopePublishesNothing ) {
   add( "A" );
   start();
   open();
   edit( "A" );
   config->routeMapDel( "A" );
   machine = nullptr;
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( closeAndRun(), Counts{} );
   EXPECT_EQ( config.get()->useCount(), 1u );
}

TEST_F( ConfigEditTest, anotherMachineTakesOverInsideTheScope ) {
   add( "A" );
   start();
   open();
   edit( "A" );
   machine = nullptr;
   start();
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 } } ) );
   EXPECT_EQ( distanceOf( "A" ), 1u );
}

TEST_F( ConfigEditTest, aScopeKeepsItsConfiguration ) {
   add( "A" );
   start();
   open();
   edit( "A" );
   machine = nullptr;
   config = nullptr;
   close();
   run();
   EXPECT_EQ( take(), Counts{} );
}

// ---- reactions

TEST_F( ConfigEditTest, theLastScopeMayCloseInsideAReaction ) {
   add( "A" );
   add( "B" );
   start();
   open();
   edit( "A" );
   Reaction closes( *entry( "B" ), [ this ]( const Quoin::Change & ) { scopes.clear(); } );
   entry( "B" )->permitIs( deny );
   EXPECT_EQ( config->edits(), 0u );
   raise( "B" );
   EXPECT_EQ( take(), Counts{} );
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
}

TEST_F( ConfigEditTest, aScopeThatAPublicationOpensPutsOffTheRest ) {
   add( "B" );
   add( "A", "B" );
   add( "C", "A" );
   start();
   open();
   for( const char * name : { "A", "B", "C" } ) edit( name );
   close();
   onPublished = [ this ]( const std::string & name ) {
      EXPECT_EQ( name, "B" );
      open();
      edit( "B" );
   };
   run();
   EXPECT_EQ( take(), ( Counts{ { "B", 1 } } ) );
   EXPECT_EQ( closeAndRun(), ( Counts{ { "A", 1 }, { "B", 1 }, { "C", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, aScopeThatADeletionOpensPutsOffTheOtherDeletions ) {
   for( const char * name : { "A", "B", "C" } ) add( name );
   start();
   for( const char * name : { "A", "B", "C" } ) config->routeMapDel( name );   // outside of any scope
   onPublished = [ this ]( const std::string & ) { open(); };
   run();
   EXPECT_EQ( take().size(), 1u );
   EXPECT_EQ( closeAndRun().size(), 2u );
   for( const char * name : { "A", "B", "C" } ) EXPECT_EQ( status( name ), nullptr ) << name;
   EXPECT_TRUE( filtered->routeMap().empty() );
}

TEST_F( ConfigEditTest, aPublicationThatOpensAndClosesAScopeHoldsNothingUp ) {
   add( "B" );
   add( "A", "B" );
   start();
   open();
   edit( "B" );
   close();
   onPublished = [ this ]( const std::string & ) {
      const ConfigEdit inside( config );
      edit( "A" );
   };
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 }, { "B", 1 } } ) );
   EXPECT_TRUE( allCurrent() );
}

// E calls C, C calls D. When A is published, B has no call and is listed before D; then B calls E.
TEST_F( ConfigEditTest, callsThatAPublicationAddsOrderTheRestAgain ) {
   for( const char * name : { "A", "B", "D" } ) add( name );
   add( "C", "D" );
   add( "E", "C" );
   start();
   open();
   for( const char * name : { "A", "B", "D" } ) edit( name );
   close();
   onPublished = [ this ]( const std::string & name ) {
      EXPECT_EQ( name, "A" );
      add( "B", "E" );
   };
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 }, { "B", 1 }, { "C", 1 }, { "D", 1 }, { "E", 1 } } ) );
   expectCallsAreUpToDate();
}

TEST_F( ConfigEditTest, theMachineMayBeDroppedByAPublication ) {
   for( const char * name : { "A", "B" } ) add( name );
   start();
   open();
   for( const char * name : { "A", "B" } ) edit( name );
   close();
   onPublished = [ this ]( const std::string & ) { machine = nullptr; };
   run();
   EXPECT_EQ( take(), ( Counts{ { "A", 1 } } ) );
   EXPECT_TRUE( scheduler->idle() );
}

}   // namespace
}   // namespace Routing::Policy
