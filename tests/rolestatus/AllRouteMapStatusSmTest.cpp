#include "rolestatus/AllRouteMapStatusSm.h"

#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
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
   void expectNothingLeft() {
      EXPECT_EQ( users->useCount(), 1u );
      EXPECT_EQ( stat->useCount(), 1u );
      EXPECT_EQ( scheduler->useCount(), 1u );
      EXPECT_TRUE( scheduler->idle() );
   }
   Ptr<MatchAggregateRoleUsers> users = makeNode<MatchAggregateRoleUsers>();
   Ptr<AllRouteMapStatus> stat = AllRouteMapStatusIs();
   Ptr<TaskScheduler> scheduler = makeNode<TaskScheduler>();
   Ptr<AllRouteMapStatusSm> sm;   // which tests let go of
};

using AllRouteMapStatusSmDeathTest = AllRouteMapStatusSmTest;

TEST_F( AllRouteMapStatusSmTest, holdsItsArgumentsAndMakesItsParts ) {
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
}

TEST_F( AllRouteMapStatusSmTest, itsScanIsATaskOfThatName ) {
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

TEST_F( AllRouteMapStatusSmTest, noNameYieldsFalseWithoutAPublication ) {
   Reaction told( *stat );
   for( const auto & control : { synchronous(), scheduled() } ) {
      make( control );
      scheduler->runUntilIdle();
      EXPECT_TRUE( sm->ready() && sm->idle() );
      EXPECT_FALSE( stat->hasMatchAggregateRole() );
      EXPECT_EQ( told.take(), 0 );
   }
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

TEST_F( AllRouteMapStatusSmTest, namesThatStandAtTheStartAreScanned ) {
   users->mapNameIs( "RM1" );
   users->mapNameIs( "RM2" );
   for( const auto & control : { synchronous(), scheduled() } ) {
      stat->hasMatchAggregateRoleIs( false );
      Reaction told( *stat );
      make( control );
      scheduler->runUntilIdle();
      EXPECT_TRUE( stat->hasMatchAggregateRole() );
      EXPECT_EQ( told.take(), 1 );
   }
}

TEST_F( AllRouteMapStatusSmTest, theStartUpOfASynchronousOneIsTracedInOrder ) {
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

TEST_F( AllRouteMapStatusSmTest, theStartUpOfAScheduledOneIsTracedInOrder ) {
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

TEST_F( AllRouteMapStatusSmTest, anEventBeforeTheScansEndShowsInTheOutputBehindThem ) {
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

TEST_F( AllRouteMapStatusSmTest, namesThatComeAndGoBetweenTheStepsOfAScan ) {
   yieldAfterEach();
   const struct {
      const char * name;
      std::function<void()> write;
      bool value;
   } rows[] = {
      { "nothing", [] {}, true },
      { "one comes", [ & ] { users->mapNameIs( "new" ); }, true },
      { "all go", [ & ] { users->mapNameDelAll(); }, false },
      { "all go and one comes",
        [ & ] {
           users->mapNameDelAll();
           users->mapNameIs( "new" );
        },
        true },
      { "all go and come",
        [ & ] {
           users->mapNameDelAll();
           for( const char * name : { "RM1", "RM2", "RM3", "RM4" } ) users->mapNameIs( name );
        },
        true },
   };
   for( const auto & row : rows )
      for( int steps = 0; steps < 4; ++steps ) {
         SCOPED_TRACE( std::string( row.name ) + " behind " + std::to_string( steps ) + " steps" );
         for( const char * name : { "RM1", "RM2", "RM3", "RM4" } ) users->mapNameIs( name );
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

TEST_F( AllRouteMapStatusSmTest, aScanYieldsBehindEachNameButTheLast ) {
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

TEST_F( AllRouteMapStatusSmTest, aStaleOutputOfNoNamesIsPutRightOnce ) {
   for( const auto & control : { synchronous(), scheduled() } ) {
      stat->hasMatchAggregateRoleIs( true );
      Reaction told( *stat );
      make( control );
      scheduler->runUntilIdle();
      EXPECT_FALSE( stat->hasMatchAggregateRole() );
      EXPECT_EQ( told.take(), 1 );
   }
}

TEST_F( AllRouteMapStatusSmTest, readyIsToldOfBeforeTheOutputsFlagAndIdleBehindBoth ) {
   users->mapNameIs( "RM1" );
   make( scheduled() );
   ChangeLog<> outputs( *sm->outputState() ), scans( *sm->inputSmScanState() );
   Texts order;
   Reaction idle( *sm->inputSmScanState(), [ & ]( const Quoin::Change & c ) {
      const bool isIdle = c.field == FieldId( ScanState::Field::idle );
      order.push_back( isIdle ? "idle" : "scanned" );
      EXPECT_EQ( sm->ready(), isIdle );
   } );
   Reaction ready( *sm->outputState(), [ & ]( const Quoin::Change & ) {
      order.push_back( "ready" );
      EXPECT_TRUE( stat->hasMatchAggregateRole() ) << "the output stands";
      EXPECT_FALSE( sm->idle() );
   } );
   scheduler->runUntilIdle();
   EXPECT_THAT( order, ElementsAre( "scanned", "ready", "ready", "idle" ) );
   EXPECT_THAT( outputs.take(), ElementsAre( FieldId( Outputs::Field::ready ), FieldId( Outputs::Field::firstOutput ) ) );
   EXPECT_THAT( scans.take(), ElementsAre( FieldId( ScanState::Field::firstScan ), FieldId( ScanState::Field::idle ) ) );
   EXPECT_TRUE( sm->outputState()->ready() && sm->outputState()->allRmStatHasMatchAggregateRoleOutputReady() );
   EXPECT_TRUE( sm->inputSmScanState()->idle() && !sm->inputSmScanState()->weft_pipeline0Scan() );
}

TEST( AllRouteMapStatusSmStates, areWrittenByTheirNames ) {
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

TEST_F( AllRouteMapStatusSmTest, theInputReadyHandlerOnlyTracesBehindReady ) {
   users->mapNameIs( "RM1" );
   make( synchronous() );
   stat->hasMatchAggregateRoleIs( false );   // by another hand: only an event moves the output now
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

TEST_F( AllRouteMapStatusSmTest, aScanByHandDoesWhatItsTaskWould ) {
   users->mapNameIs( "RM1" );
   make( scheduled() );
   sm->usersSm0()->doInputScan0();
   EXPECT_TRUE( sm->ready() && stat->hasMatchAggregateRole() );
   EXPECT_TRUE( scheduler->idle() );
   TraceLog traces( "AllRouteMapStatusSm" );
   sm->usersSm0()->doInputScan0();
   EXPECT_THAT( traces.take(), ElementsAre( kInitial, kLine, kInsertTrue, kScanned ) );
   EXPECT_TRUE( sm->ready() && sm->idle() );
}

TEST_F( AllRouteMapStatusSmTest, aReactionInTheMidstOfAScanMayScanByHand ) {
   for( const char * name : { "RM1", "RM2", "RM3" } ) users->mapNameIs( name );
   make( scheduled() );
   Reaction reaction( *stat, [ & ]( const Quoin::Change & ) { sm->usersSm0()->doInputScan0(); } );
   scheduler->runUntilIdle();
   EXPECT_EQ( reaction.take(), 1 );
   EXPECT_TRUE( sm->ready() && sm->idle() && stat->hasMatchAggregateRole() );
}

TEST_F( AllRouteMapStatusSmTest, anEventIsANotificationOfItsInput ) {
   make( synchronous() );
   Reaction inside( *stat, [ & ]( const Quoin::Change & ) { EXPECT_TRUE( sm->usersSm0()->inReactor() ); } );
   users->mapNameIs( "RM1" );
   users->mapNameDel( "RM1" );
   EXPECT_EQ( inside.take(), 2 );
   EXPECT_FALSE( sm->usersSm0()->inReactor() );
}

TEST_F( AllRouteMapStatusSmTest, theReactorMarksItsInputForTheSpanOfTheEvent ) {
   users->mapNameIs( "RM1" );
   make( synchronous() );
   stat->hasMatchAggregateRoleIs( false );   // so that the event is seen
   std::vector<bool> in;
   Reaction reaction( *stat, [ & ]( const Quoin::Change & ) {
      if( stat->hasMatchAggregateRole() ) in.push_back( sm->usersSm0()->inReactor() );
   } );
   sm->usersSm0()->handleMapName0Reactor();
   EXPECT_TRUE( stat->hasMatchAggregateRole() );
   stat->hasMatchAggregateRoleIs( false );
   sm->usersSm0()->handleMapName0();   // unmarked
   EXPECT_THAT( in, ElementsAre( true, false ) );
   EXPECT_FALSE( sm->usersSm0()->inReactor() );
   const auto held = sm->usersSm0();
   sm = nullptr;
   stat->hasMatchAggregateRoleIs( false );
   held->handleMapName0Reactor();
   EXPECT_FALSE( stat->hasMatchAggregateRole() ) << "without its machine there is no event";
}

TEST_F( AllRouteMapStatusSmTest, aSubscriberOfTheOutputMayThrow ) {
   users->mapNameIs( "RM1" );
   make( scheduled() );
   bool thrown = false;
   Reaction reaction( *stat, [ & ]( const Quoin::Change & ) {
      if( !std::exchange( thrown, true ) ) throw std::runtime_error( "no" );
   } );
   EXPECT_THROW( scheduler->runUntilIdle(), std::runtime_error );
   EXPECT_FALSE( sm->ready() || sm->idle() );
   users->mapNameIs( "RM2" );
   EXPECT_TRUE( sm->ready() && sm->idle() && stat->hasMatchAggregateRole() );
   users->mapNameDelAll();
   EXPECT_FALSE( stat->hasMatchAggregateRole() );
}

TEST_F( AllRouteMapStatusSmTest, aReactionOfTheOutputMayWriteNames ) {
   make( synchronous() );
   std::vector<bool> seen;
   Reaction reaction( *stat, [ & ]( const Quoin::Change & ) {
      seen.push_back( stat->hasMatchAggregateRole() );
      users->mapNameDelAll();
   } );
   users->mapNameIs( "RM1" );
   EXPECT_THAT( seen, ElementsAre( true, false ) );
   EXPECT_FALSE( stat->hasMatchAggregateRole() );
}

TEST_F( AllRouteMapStatusSmTest, twoMachinesMayShareTheirNames ) {
   make( synchronous() );
   const auto otherStat = AllRouteMapStatusIs();
   auto other = AllRouteMapStatusSmIs( users, otherStat, scheduled() );
   scheduler->runUntilIdle();
   users->mapNameIs( "RM1" );
   EXPECT_TRUE( stat->hasMatchAggregateRole() && otherStat->hasMatchAggregateRole() );
   other = nullptr;
   users->mapNameDel( "RM1" );
   EXPECT_FALSE( stat->hasMatchAggregateRole() );
   EXPECT_TRUE( otherStat->hasMatchAggregateRole() ) << "left as it was";
}

TEST_F( AllRouteMapStatusSmTest, nothingIsLeftOfAMachineThatHasGone ) {
   const struct {
      const char * name;
      bool synchronous;
      int steps;   // of the scan, that yields behind each name
   } rows[] = {
      { "synchronous", true, 0 },
      { "before its task runs", false, 0 },
      { "in the midst of a yielded scan", false, 2 },
      { "ready", false, 3 },
   };
   yieldAfterEach();
   for( const auto & row : rows )
      for( const bool byHand : { false, true } ) {
         SCOPED_TRACE( std::string( row.name ) + ( byHand ? ", doDeleteAll" : "" ) );
         for( const char * name : { "RM1", "RM2", "RM3" } ) users->mapNameIs( name );
         stat->hasMatchAggregateRoleIs( false );
         make( row.synchronous ? synchronous() : scheduled() );
         for( int i = 0; i < row.steps; ++i ) scheduler->runOne();
         const bool value = row.synchronous || row.steps == 3;
         EXPECT_EQ( sm->ready(), value );
         EXPECT_EQ( stat->hasMatchAggregateRole(), value );
         if( byHand ) {
            sm->doDeleteAll();
            EXPECT_TRUE( scheduler->idle() );
            EXPECT_EQ( sm->usersSm0()->task0(), nullptr );
            EXPECT_EQ( sm->inputSmScanState(), nullptr );
            EXPECT_EQ( sm->outputState(), nullptr );
            EXPECT_FALSE( sm->ready() || sm->idle() );
            users->mapNameDelAll();
            EXPECT_EQ( stat->hasMatchAggregateRole(), value );
         }
         sm = nullptr;
         expectNothingLeft();
         users->mapNameDelAll();
         EXPECT_EQ( stat->hasMatchAggregateRole(), value ) << "nobody writes it any more";
      }
}

TEST_F( AllRouteMapStatusSmTest, aSubscriberOfTheOutputMayDropTheMachine ) {
   const struct {
      const char * name;
      bool inAnEvent, byHand;
   } rows[] = {
      { "in an event", true, false },
      { "in an event, doDeleteAll", true, true },
      { "in the second scan", false, false },
      { "in the second scan, doDeleteAll", false, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      if( !row.inAnEvent )
         for( const char * name : { "RM1", "RM2", "RM3" } ) users->mapNameIs( name );
      make( scheduled() );
      if( row.inAnEvent ) scheduler->runUntilIdle();
      Reaction tearDown( *stat, [ & ]( const Quoin::Change & ) {
         if( row.byHand )
            sm->doDeleteAll();
         else
            sm = nullptr;
      } );
      if( row.inAnEvent )
         users->mapNameIs( "RM1" );
      else
         scheduler->runUntilIdle();
      EXPECT_EQ( tearDown.take(), 1 );
      users->mapNameDelAll();
      EXPECT_TRUE( stat->hasMatchAggregateRole() );
      EXPECT_EQ( tearDown.take(), 0 );
      tearDown.function = {};
      sm = nullptr;
      expectNothingLeft();
      stat->hasMatchAggregateRoleIs( false );
   }
}

TEST_F( AllRouteMapStatusSmTest, anInputMachineThatIsHeldDoesNothingWithoutTheMachine ) {
   make( scheduled() );
   const auto input = sm->usersSm0();
   sm = nullptr;
   EXPECT_EQ( input->task0(), nullptr );
   EXPECT_TRUE( scheduler->idle() );
   users->mapNameIs( "RM1" );
   EXPECT_FALSE( stat->hasMatchAggregateRole() );
}

TEST_F( AllRouteMapStatusSmTest, theMachineKeepsWhatNobodyElseHolds ) {
   make( scheduled() );
   auto * const rawUsers = users.get();
   users = nullptr;
   rawUsers->mapNameIs( "RM1" );
   scheduler->runUntilIdle();
   EXPECT_TRUE( stat->hasMatchAggregateRole() );
   auto * const rawStat = stat.get();
   Reaction drop( *stat, [ & ]( const Quoin::Change & ) {
      sm = nullptr;   // and the names, and the output that tells of this
   } );
   stat = nullptr;
   EXPECT_EQ( rawStat->useCount(), 1u );
   rawUsers->mapNameDel( "RM1" );
   EXPECT_EQ( drop.take(), 1 );
   EXPECT_FALSE( sm );
   EXPECT_EQ( scheduler->useCount(), 1u );
}

TEST_F( AllRouteMapStatusSmTest, itsNameIsThatOfItsTraces ) {
   make( synchronous() );
   EXPECT_EQ( ( std::ostringstream() << *sm ).str(), "AllRouteMapStatusSm" );
   EXPECT_EQ( ( std::ostringstream() << *sm->usersSm0() ).str(), "UsersSm0" );
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
