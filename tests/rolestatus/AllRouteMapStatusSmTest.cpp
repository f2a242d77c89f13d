#include "rolestatus/AllRouteMapStatusSm.h"

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using CompileFixtures::Reaction;
using CompileFixtures::TraceLog;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Weft::SmControl;
using Zeugma::Task;
using Zeugma::TaskPriority;
using Zeugma::TaskScheduler;
using ScanState = WefterCode::AllRouteMapStatusSm::InputSmScanState;
using Outputs = WefterCode::AllRouteMapStatusSm::OutputState;

constexpr const char * kLine = "Line 22: from( users.{{ mapName[] }} ): matchAggUsers={}";
constexpr const char * kInsertTrue = "into( allRmStat.hasMatchAggregateRole ): inserting value=true";
constexpr const char * kInsertFalse = "into( allRmStat.hasMatchAggregateRole ): inserting value=false";
constexpr const char * kYielding = "Initial scan yielding for child SM AllRouteMapStatusSm.";
constexpr const char * kNowScanning = "Initial scan done for child SMs. Now scanning with events triggered.";
constexpr const char * kComplete = "Input scans for allRmStatHasMatchAggregateRoleOutput complete";
constexpr const char * kScanned = "UsersSm0 scan, and parent scan, complete.";
constexpr const char * kAlreadyReady = "handleAllRmStatHasMatchAggregateRoleOutputInputReady already ready, not reconciling.";
constexpr const char * kInitial = "weft_pipeline0 initial";

using Texts = std::vector<std::string>;

class AllRouteMapStatusSmTest : public testing::Test {
 protected:
   SmControl scheduled() const { return SmControl( scheduler ); }
   SmControl synchronous() const {
      SmControl control = scheduled();
      control.synchronousIs( true );
      return control;
   }
   void make( const SmControl & control ) { sm = AllRouteMapStatusSmIs( users, stat, control ); }
   void yieldAfterEach() {
      scheduler->budgetIs( []( const Task & ) { return true; } );
   }
   Ptr<MatchAggregateRoleUsers> users = makeNode<MatchAggregateRoleUsers>();
   Ptr<AllRouteMapStatus> stat = AllRouteMapStatusIs();
   Ptr<TaskScheduler> scheduler = makeNode<TaskScheduler>();
   Ptr<AllRouteMapStatusSm> sm;
};

using AllRouteMapStatusSmDeathTest = AllRouteMapStatusSmTest;

TEST_F( AllRouteMapStatusSmTest, createsItsParts ) {
   make( scheduled() );
   EXPECT_EQ( sm->users(), users );
   EXPECT_EQ( sm->allRmStat(), stat );
   EXPECT_EQ( sm->wefterControl().scheduler(), scheduler );
   ASSERT_TRUE( sm->usersSm0() );
   EXPECT_EQ( sm->usersSm0()->en(), users );
   EXPECT_EQ( sm->usersSm0()->parent(), sm.get() );
   ASSERT_TRUE( sm->inputSmScanState() && sm->outputState() );
   EXPECT_TRUE( sm->inputSmScanState()->weft_pipeline0Scan() );
   EXPECT_FALSE( sm->inputSmScanState()->idle() );
   EXPECT_FALSE( sm->outputState()->ready() || sm->outputState()->allRmStatHasMatchAggregateRoleOutputReady() );
   EXPECT_TRUE( sm->initialized() && sm->hasNotificationActive() && sm->usersSm0()->hasNotificationActive() );
   EXPECT_EQ( ( std::ostringstream() << *sm << " " << *sm->usersSm0() ).str(), "AllRouteMapStatusSm UsersSm0" );
   scheduler->runUntilIdle();
   EXPECT_TRUE( sm->inputSmScanState()->idle() && !sm->inputSmScanState()->weft_pipeline0Scan() );
   EXPECT_TRUE( sm->outputState()->ready() && sm->outputState()->allRmStatHasMatchAggregateRoleOutputReady() );
}

TEST_F( AllRouteMapStatusSmTest, theInitialScanWritesTheOutputOnce ) {
   for( const auto & control : { synchronous(), scheduled() } )
      for( const bool before : { false, true } )
         for( const int names : { 0, 1, 2 } ) {
            SCOPED_TRACE( testing::Message() << names << " names, output " << before );
            users->mapNameDelAll();
            for( int i = 0; i < names; ++i ) users->mapNameIs( std::to_string( i ) );
            stat->hasMatchAggregateRoleIs( before );
            Reaction told( *stat );
            make( control );
            scheduler->runUntilIdle();
            EXPECT_TRUE( sm->ready() && sm->idle() );
            EXPECT_EQ( stat->hasMatchAggregateRole(), names != 0 );
            EXPECT_EQ( told.take(), before != ( names != 0 ) );
            sm = nullptr;
         }
}

TEST_F( AllRouteMapStatusSmTest, itsScanIsANamedTask ) {
   SmControl control = scheduled();
   control.priorityIs( TaskPriority::routeMap );
   make( control );
   const Task * const task = sm->usersSm0()->task0();
   ASSERT_NE( task, nullptr );
   EXPECT_EQ( task->taskName(), "Routing::Policy::AllRouteMapStatusSm-UsersSm0InputScanTask0" );
   EXPECT_EQ( task->taskPriority(), TaskPriority::routeMap );
   EXPECT_TRUE( task->taskScheduled() );
   EXPECT_EQ( scheduler->dueCount(), 1u );
   EXPECT_FALSE( sm->usersSm0()->synchronous() );
   scheduler->runUntilIdle();
   EXPECT_EQ( sm->usersSm0()->task0(), nullptr );
   make( synchronous() );
   EXPECT_EQ( sm->usersSm0()->task0(), nullptr );
   EXPECT_TRUE( sm->usersSm0()->synchronous() );
}

TEST_F( AllRouteMapStatusSmTest, theFirstNameMakesItTrueAndTheLastOneFalse ) {
   for( const auto & control : { synchronous(), scheduled() } ) {
      make( control );
      scheduler->runUntilIdle();
      const struct {
         const char * name;
         std::function<void()> write;
         bool value;
         int told;
      } rows[] = {
         { "a first name", [ & ] { users->mapNameIs( "RM1" ); }, true, 1 },
         { "a second name", [ & ] { users->mapNameIs( "RM2" ); }, true, 0 },
         { "the second again", [ & ] { users->mapNameIs( "RM2" ); }, true, 0 },
         { "one goes", [ & ] { users->mapNameDel( "RM1" ); }, true, 0 },
         { "both have gone", [ & ] { users->mapNameDel( "RM2" ); }, false, 1 },
         { "another comes", [ & ] { users->mapNameIs( "RM3" ); }, true, 1 },
         { "many come",
           [ & ] {
              for( int i = 0; i < 50; ++i ) users->mapNameIs( std::to_string( i ) );
           },
           true, 0 },
         { "all go at once", [ & ] { users->mapNameDelAll(); }, false, 1 },
      };
      Reaction told( *stat );
      for( const auto & row : rows ) {
         SCOPED_TRACE( row.name );
         row.write();
         EXPECT_EQ( stat->hasMatchAggregateRole(), row.value );
         EXPECT_EQ( told.take(), row.told );
      }
   }
}

TEST_F( AllRouteMapStatusSmTest, aSynchronousStartIsTraced ) {
   TraceLog traces( "AllRouteMapStatusSm" );
   make( synchronous() );
   EXPECT_THAT(
      traces.take(),
      ElementsAre( "create local SMs", "create non-public arg SMs", "initialized", kNowScanning, kScanned, kComplete, kAlreadyReady ) );
   users->mapNameIs( "RM1" );
   traces.take();
   make( synchronous() );
   EXPECT_THAT( traces.take(),
                ElementsAre( "create local SMs", "create non-public arg SMs", kInitial, "initialized", kNowScanning, kInitial, kLine,
                             kInsertTrue, kScanned, kComplete, kAlreadyReady ) );
}

TEST_F( AllRouteMapStatusSmTest, aScheduledStartIsTraced ) {
   users->mapNameIs( "RM1" );
   users->mapNameIs( "RM2" );
   yieldAfterEach();
   TraceLog traces( "AllRouteMapStatusSm" );
   make( scheduled() );
   EXPECT_THAT( traces.take(), ElementsAre( "create local SMs", "create non-public arg SMs", "initialized", kYielding ) );
   scheduler->runOne();
   EXPECT_THAT( traces.take(), ElementsAre( kInitial ) );
   scheduler->runOne();
   EXPECT_THAT( traces.take(),
                ElementsAre( kInitial, kNowScanning, kInitial, kLine, kInsertTrue, kInitial, kLine, kInsertTrue, kScanned, kComplete,
                             kAlreadyReady ) );
   EXPECT_TRUE( scheduler->idle() );
}

TEST_F( AllRouteMapStatusSmTest, eachEventIsTraced ) {
   make( synchronous() );
   TraceLog traces( "AllRouteMapStatusSm" );
   users->mapNameIs( "RM1" );
   EXPECT_THAT( traces.take(), ElementsAre( kLine, kInsertTrue ) );
   users->mapNameDel( "RM1" );
   EXPECT_THAT( traces.take(), ElementsAre( kLine, kInsertFalse ) );
   sm->eventToWeft_pipeline0();
   EXPECT_THAT( traces.take(), ElementsAre( kLine, kInsertFalse ) );
}

TEST_F( AllRouteMapStatusSmTest, eventsAreTracedFromLevelSevenOn ) {
   make( synchronous() );
   for( const int level : { 6, 7 } ) {
      TraceLog traces( "AllRouteMapStatusSm", level );
      sm->eventToWeft_pipeline0();
      sm->handleAllRmStatHasMatchAggregateRoleOutputInputReady();   // at level 8
      EXPECT_EQ( traces.take(), level == 7 ? ( Texts{ kLine, kInsertFalse } ) : Texts() ) << level;
   }
}

TEST_F( AllRouteMapStatusSmTest, anEventBeforeTheEndOfTheScansShowsAfterThem ) {
   make( scheduled() );
   Reaction told( *stat );
   {
      TraceLog traces( "AllRouteMapStatusSm" );
      users->mapNameIs( "RM1" );
      sm->eventToWeft_pipeline0();
      sm->usersSm0()->handleMapName0();
      EXPECT_THAT( traces.take(), IsEmpty() );
   }
   EXPECT_FALSE( stat->hasMatchAggregateRole() );
   EXPECT_EQ( told.take(), 0 );
   scheduler->runUntilIdle();
   EXPECT_TRUE( stat->hasMatchAggregateRole() );
   EXPECT_EQ( told.take(), 1 );
}

TEST_F( AllRouteMapStatusSmTest, namesMayChangeBetweenTheStepsOfAScan ) {
   yieldAfterEach();
   const auto four = [ & ] {
      for( const char * name : { "RM1", "RM2", "RM3", "RM4" } ) users->mapNameIs( name );
   };
   const struct {
      const char * name;
      std::function<void()> write;
      bool value;
   } rows[] = {
      { "nothing", [] {}, true },
      { "one added", [ & ] { users->mapNameIs( "new" ); }, true },
      { "all deleted", [ & ] { users->mapNameDelAll(); }, false },
      { "all deleted, one added", [ & ] { users->mapNameDelAll(), users->mapNameIs( "new" ); }, true },
      { "all deleted and added", [ & ] { users->mapNameDelAll(), four(); }, true },
   };
   for( const auto & row : rows )
      for( int steps = 0; steps < 4; ++steps ) {
         SCOPED_TRACE( std::string( row.name ) + " behind " + std::to_string( steps ) + " steps" );
         four();
         stat->hasMatchAggregateRoleIs( false );
         make( scheduled() );
         for( int i = 0; i < steps; ++i ) scheduler->runOne();
         EXPECT_FALSE( sm->ready() );
         Reaction told( *stat );
         row.write();
         EXPECT_EQ( told.heard, 0 ) << "swallowed";
         scheduler->runUntilIdle();
         EXPECT_TRUE( sm->ready() && sm->idle() );
         EXPECT_EQ( stat->hasMatchAggregateRole(), row.value );
         EXPECT_EQ( told.take(), row.value ? 1 : 0 );
         sm = nullptr;
         users->mapNameDelAll();
      }
}

TEST_F( AllRouteMapStatusSmTest, aScanYieldsAfterEachNameButTheLast ) {
   yieldAfterEach();
   for( const char * name : { "RM1", "RM2", "RM3" } ) users->mapNameIs( name );
   make( scheduled() );
   EXPECT_FALSE( sm->usersSm0()->shouldYield0() ) << "only inside its task";
   EXPECT_EQ( scheduler->runUntilIdle(), 3u );
   EXPECT_TRUE( sm->ready() );
   make( scheduled() );
   scheduler->budgetIs( []( const Task & ) { return false; } );
   EXPECT_EQ( scheduler->runUntilIdle(), 1u );
   EXPECT_TRUE( sm->ready() );
}

TEST( AllRouteMapStatusSmStates, haveAWriterPerName ) {
   const auto scans = makeNode<ScanState>();
   EXPECT_TRUE( scans->weft_pipeline0Scan() );
   ChangeLog<> log( *scans );
   scans->weft_pipeline0ScanIs( true );
   scans->weft_pipeline0ScanIs( false );
   EXPECT_FALSE( scans->weft_pipeline0Scan() );
   EXPECT_TRUE( scans->scansFinished() );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( ScanState::Field::firstScan ) ) );
   const auto outputs = makeNode<Outputs>();
   ChangeLog<> outputLog( *outputs );
   outputs->allRmStatHasMatchAggregateRoleOutputReadyIs( true );
   EXPECT_TRUE( outputs->ready() && outputs->allRmStatHasMatchAggregateRoleOutputReady() );
   EXPECT_THAT( outputLog.take(), ElementsAre( FieldId( Outputs::Field::ready ), FieldId( Outputs::Field::firstOutput ) ) );
   outputs->allRmStatHasMatchAggregateRoleOutputReadyIs( false );
   EXPECT_FALSE( outputs->ready() || outputs->allRmStatHasMatchAggregateRoleOutputReady() );
}

TEST_F( AllRouteMapStatusSmTest, theInputReadyHandlerOnlyTracesAfterReady ) {
   users->mapNameIs( "RM1" );
   make( synchronous() );
   stat->hasMatchAggregateRoleIs( false );   // only an event changes the output now
   Reaction told( *stat );
   TraceLog traces( "AllRouteMapStatusSm" );
   sm->handleAllRmStatHasMatchAggregateRoleOutputInputReady();
   EXPECT_THAT( traces.take(), ElementsAre( kAlreadyReady ) );
   sm->handleInitialScanDone();
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( told.take(), 0 );
   EXPECT_FALSE( stat->hasMatchAggregateRole() );
   users->mapNameIs( "RM2" );
   EXPECT_TRUE( stat->hasMatchAggregateRole() );
}

TEST_F( AllRouteMapStatusSmTest, aStreamWhoseScanIsNotPendingIsTracedAndNotScanned ) {
   users->mapNameIs( "RM1" );
   make( scheduled() );
   sm->inputSmScanState()->weft_pipeline0ScanIs( false );
   TraceLog traces( "AllRouteMapStatusSm" );
   scheduler->runUntilIdle();
   EXPECT_THAT( traces.take(), ElementsAre( kInitial, kNowScanning, " weft_pipeline0 scan is false", kComplete, kAlreadyReady ) );
   EXPECT_TRUE( sm->ready() && sm->idle() );
   EXPECT_TRUE( stat->hasMatchAggregateRole() );
}

TEST_F( AllRouteMapStatusSmTest, aSubscriberMayScanInsideAScan ) {
   for( const char * name : { "RM1", "RM2", "RM3" } ) users->mapNameIs( name );
   make( scheduled() );
   Reaction reaction( *stat, [ & ]( const Quoin::Change & ) { sm->usersSm0()->doInputScan0(); } );
   scheduler->runUntilIdle();
   EXPECT_EQ( reaction.take(), 1 );
   EXPECT_TRUE( sm->ready() && sm->idle() && stat->hasMatchAggregateRole() );
}

TEST_F( AllRouteMapStatusSmTest, theReactorMarksItsInputAndRaisesEventsWhileTheMachineExists ) {
   users->mapNameIs( "RM1" );
   make( synchronous() );
   const auto input = sm->usersSm0();
   bool marked = false;
   Reaction reaction( *stat, [ & ]( const Quoin::Change & ) { marked = input->inReactor(); } );
   for( const bool exists : { true, false } ) {
      if( !exists ) sm = nullptr;
      stat->hasMatchAggregateRoleIs( false );
      input->handleMapName0Reactor();
      EXPECT_EQ( stat->hasMatchAggregateRole(), exists );
      EXPECT_EQ( marked, exists );
   }
}

TEST_F( AllRouteMapStatusSmTest, aReleasedMachineWritesNothing ) {
   yieldAfterEach();
   for( const int steps : { 0, 2, 3 } )   // of the scan: before it, in it, ready
      for( const bool byHand : { false, true } ) {
         SCOPED_TRACE( testing::Message() << steps << " steps" << ( byHand ? ", doDeleteAll" : "" ) );
         for( const char * name : { "RM1", "RM2", "RM3" } ) users->mapNameIs( name );
         stat->hasMatchAggregateRoleIs( false );
         make( scheduled() );
         for( int i = 0; i < steps; ++i ) scheduler->runOne();
         EXPECT_EQ( stat->hasMatchAggregateRole(), steps == 3 );
         const auto input = sm->usersSm0();
         if( byHand ) {
            sm->doDeleteAll();
            EXPECT_TRUE( !sm->inputSmScanState() && !sm->outputState() );
         }
         sm = nullptr;
         EXPECT_EQ( input->task0(), nullptr );
         EXPECT_TRUE( scheduler->idle() );
         users->mapNameDelAll();
         EXPECT_EQ( stat->hasMatchAggregateRole(), steps == 3 );
      }
}

TEST_F( AllRouteMapStatusSmDeathTest, everyArgumentIsRequired ) {
   const std::string text = " && \"Pointer SM args cannot be null unless they are marked Optional\"";
   for( const auto & control : { synchronous(), scheduled() } ) {
      EXPECT_DEATH( AllRouteMapStatusSmIs( nullptr, stat, control ), HasSubstr( "Assertion failed: users()" + text ) );
      EXPECT_DEATH( AllRouteMapStatusSmIs( users, nullptr, control ), HasSubstr( "Assertion failed: allRmStat()" + text ) );
      EXPECT_DEATH( AllRouteMapStatusSmIs( nullptr, nullptr, control ), HasSubstr( "Assertion failed: users()" + text ) );
   }
}

TEST_F( AllRouteMapStatusSmDeathTest, aScanOfANullInputEndsTheProcess ) {
   const char * const text = "Assertion failed: Sm args can only be null if marked as Optional in the SM type declaration";
   make( synchronous() );
   EXPECT_DEATH( makeNode<UsersSm0>( *sm, nullptr ), text );
   make( scheduled() );
   const auto input = makeNode<UsersSm0>( *sm, nullptr );   // it can be held
   EXPECT_EQ( input->en(), nullptr );
   EXPECT_DEATH( input->doInputScan0(), text );
   EXPECT_DEATH( scheduler->runUntilIdle(), text );
}

}   // namespace
