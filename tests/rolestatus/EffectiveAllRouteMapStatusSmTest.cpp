#include "rolestatus/EffectiveAllRouteMapStatusSm.h"

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "rolestatus/AllRouteMapStatusSm.h"
#include "tests/compile/Fixtures.h"
#include "tests/model/RandomCases.h"
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
using ScanState = WefterCode::EffectiveAllRouteMapStatusSm::InputSmScanState;
using Outputs = WefterCode::EffectiveAllRouteMapStatusSm::OutputState;

constexpr const char * kRouteMapLine = "routeMapStream = from( routemapAllRmStat.hasMatchAggregateRole ):";
constexpr const char * kGyreLine = "gyreStream = from( gyreAllRmStat.hasMatchAggregateRole ):";
constexpr const char * kMergeLine = "Line 40: merge( routeMapStream, gyreStream ):";
constexpr const char * kInsertTrue = "into( effectiveAllRmStat.hasMatchAggregateRole ): inserting value=true";
constexpr const char * kInsertFalse = "into( effectiveAllRmStat.hasMatchAggregateRole ): inserting value=false";
constexpr const char * kYielding = "Initial scan yielding for child SM EffectiveAllRouteMapStatusSm.";
constexpr const char * kNowScanning = "Initial scan done for child SMs. Now scanning with events triggered.";
constexpr const char * kComplete = "Input scans for effectiveAllRmStatHasMatchAggregateRoleOutput complete";
constexpr const char * kRouteMapScanned = "RoutemapAllRmStatSm1 scan, and parent scan, complete.";
constexpr const char * kGyreScanned = "GyreAllRmStatSm2 scan, and parent scan, complete.";
constexpr const char * kAlreadyReady = "handleEffectiveAllRmStatHasMatchAggregateRoleOutputInputReady already ready, not reconciling.";
constexpr const char * kRouteMapInitial = "routeMapStream initial";
constexpr const char * kGyreInitial = "gyreStream initial";

using Texts = std::vector<std::string>;

const struct {
   const char * name;
   bool routemap, gyre;
} kInputs[] = { { "neither", false, false }, { "route maps", true, false }, { "policy language", false, true }, { "both", true, true } };

class EffectiveAllRouteMapStatusSmTest : public testing::Test {
 protected:
   SmControl scheduled() const { return SmControl( scheduler ); }
   SmControl synchronous() const {
      SmControl control = scheduled();
      control.synchronousIs( true );
      return control;
   }
   void make( const SmControl & control ) { sm = EffectiveAllRouteMapStatusSmIs( routemap, gyre, effective, control ); }
   void inputsAre( bool routemapHas, bool gyreHas ) {
      routemap->hasMatchAggregateRoleIs( routemapHas );
      gyre->hasMatchAggregateRoleIs( gyreHas );
   }
   bool value() const { return effective->hasMatchAggregateRole(); }
   void expectNothingLeft() {
      EXPECT_EQ( routemap->useCount(), 1u );
      EXPECT_EQ( gyre->useCount(), 1u );
      EXPECT_EQ( effective->useCount(), 1u );
      EXPECT_EQ( scheduler->useCount(), 1u );
      EXPECT_TRUE( scheduler->idle() );
   }
   Ptr<AllRouteMapStatus> routemap = AllRouteMapStatusIs(), gyre = AllRouteMapStatusIs(), effective = AllRouteMapStatusIs();
   Ptr<TaskScheduler> scheduler = makeNode<TaskScheduler>();
   Ptr<EffectiveAllRouteMapStatusSm> sm;   // which tests let go of
};

using EffectiveAllRouteMapStatusSmDeathTest = EffectiveAllRouteMapStatusSmTest;

TEST_F( EffectiveAllRouteMapStatusSmTest, holdsItsArgumentsAndMakesItsParts ) {
   make( scheduled() );
   EXPECT_EQ( sm->routemapAllRmStat(), routemap );
   EXPECT_EQ( sm->gyreAllRmStat(), gyre );
   EXPECT_EQ( sm->effectiveAllRmStat(), effective );
   EXPECT_EQ( sm->wefterControl().scheduler(), scheduler );
   ASSERT_TRUE( sm->routemapAllRmStatSm1() && sm->gyreAllRmStatSm2() );
   EXPECT_EQ( sm->routemapAllRmStatSm1()->en(), routemap );
   EXPECT_EQ( sm->gyreAllRmStatSm2()->en(), gyre );
   EXPECT_EQ( sm->routemapAllRmStatSm1()->parent(), sm.get() );
   EXPECT_EQ( sm->gyreAllRmStatSm2()->parent(), sm.get() );
   ASSERT_TRUE( sm->inputSmScanState() && sm->outputState() );
   EXPECT_TRUE( sm->inputSmScanState()->routeMapStreamScan() && sm->inputSmScanState()->gyreStreamScan() );
   EXPECT_FALSE( sm->outputState()->ready() || sm->outputState()->effectiveAllRmStatHasMatchAggregateRoleOutputReady() );
   EXPECT_TRUE( sm->initialized() && sm->hasNotificationActive() );
   EXPECT_EQ( ( std::ostringstream() << *sm << " " << *sm->routemapAllRmStatSm1() << " " << *sm->gyreAllRmStatSm2() ).str(),
              "EffectiveAllRouteMapStatusSm RoutemapAllRmStatSm1 GyreAllRmStatSm2" );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, itsScansAreTasksOfThoseNames ) {
   SmControl control = scheduled();
   control.priorityIs( TaskPriority::low );
   make( control );
   const Task * const task0 = sm->routemapAllRmStatSm1()->task0();
   const Task * const task1 = sm->gyreAllRmStatSm2()->task1();
   ASSERT_TRUE( task0 && task1 );
   EXPECT_EQ( task0->taskName(), "Routing::Policy::EffectiveAllRouteMapStatusSm-RoutemapAllRmStatSm1InputScanTask0" );
   EXPECT_EQ( task1->taskName(), "Routing::Policy::EffectiveAllRouteMapStatusSm-GyreAllRmStatSm2InputScanTask1" );
   for( const Task * task : { task0, task1 } ) {
      EXPECT_EQ( task->taskPriority(), TaskPriority::low );
      EXPECT_TRUE( task->taskScheduled() );
   }
   EXPECT_FALSE( sm->routemapAllRmStatSm1()->shouldYield0() || sm->gyreAllRmStatSm2()->shouldYield1() );
   EXPECT_EQ( scheduler->runUntilIdle(), 2u );
   EXPECT_EQ( sm->routemapAllRmStatSm1()->task0(), nullptr );
   EXPECT_EQ( sm->gyreAllRmStatSm2()->task1(), nullptr );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, eitherInputMakesItTrue ) {
   for( const auto & control : { synchronous(), scheduled() } )
      for( const bool before : { false, true } )
         for( const auto & row : kInputs ) {
            SCOPED_TRACE( std::string( row.name ) + ( before ? ", stale" : "" ) );
            inputsAre( row.routemap, row.gyre );
            effective->hasMatchAggregateRoleIs( before );
            Reaction told( *effective );
            make( control );
            scheduler->runUntilIdle();
            EXPECT_TRUE( sm->ready() && sm->idle() );
            EXPECT_EQ( value(), row.routemap || row.gyre );
            EXPECT_EQ( told.take(), before != ( row.routemap || row.gyre ) );
            sm = nullptr;
         }
}

TEST_F( EffectiveAllRouteMapStatusSmTest, followsEveryChangeOfEitherInput ) {
   for( const auto & control : { synchronous(), scheduled() } ) {
      make( control );
      scheduler->runUntilIdle();
      for( const auto & from : kInputs )
         for( const auto & to : kInputs ) {
            SCOPED_TRACE( std::string( from.name ) + " to " + to.name );
            inputsAre( from.routemap, from.gyre );
            Reaction told( *effective );
            routemap->hasMatchAggregateRoleIs( to.routemap );
            EXPECT_EQ( value(), to.routemap || from.gyre );
            gyre->hasMatchAggregateRoleIs( to.gyre );
            EXPECT_EQ( value(), to.routemap || to.gyre );
            const bool values[] = { from.routemap || from.gyre, to.routemap || from.gyre, to.routemap || to.gyre };
            EXPECT_EQ( told.take(), ( values[ 0 ] != values[ 1 ] ) + ( values[ 1 ] != values[ 2 ] ) );
         }
   }
}

// An event of either stream computes the output from both inputs, whatever value it carries.
TEST_F( EffectiveAllRouteMapStatusSmTest, theValueOfAnEventIsNotTaken ) {
   make( synchronous() );
   for( const auto & row : kInputs )
      for( const bool carried : { false, true } ) {
         SCOPED_TRACE( row.name );
         inputsAre( row.routemap, row.gyre );
         const struct {
            const char * name;
            std::function<void()> event;
         } events[] = {
            { "route maps", [ & ] { sm->eventToRouteMapStream( carried ); } },
            { "policy language", [ & ] { sm->eventToGyreStream( carried ); } },
            { "merged", [ & ] { sm->eventToWeft_pipeline0(); } },
         };
         for( const auto & event : events ) {
            effective->hasMatchAggregateRoleIs( !( row.routemap || row.gyre ) );
            event.event();
            EXPECT_EQ( value(), row.routemap || row.gyre ) << event.name;
         }
      }
}

TEST_F( EffectiveAllRouteMapStatusSmTest, theStartUpOfASynchronousOneIsTracedInOrder ) {
   gyre->hasMatchAggregateRoleIs( true );
   TraceLog traces( "EffectiveAllRouteMapStatusSm" );
   make( synchronous() );
   EXPECT_THAT( traces.take(),
                ElementsAre( "create local SMs", "create non-public arg SMs", kRouteMapInitial, kRouteMapLine, kGyreInitial, kGyreLine,
                             "initialized", kNowScanning, kRouteMapInitial, kRouteMapLine, kMergeLine, kInsertTrue, kRouteMapScanned,
                             kGyreInitial, kGyreLine, kMergeLine, kInsertTrue, kGyreScanned, kComplete, kAlreadyReady ) );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, theStartUpOfAScheduledOneIsTracedInOrder ) {
   TraceLog traces( "EffectiveAllRouteMapStatusSm" );
   make( scheduled() );
   EXPECT_THAT( traces.take(), ElementsAre( "create local SMs", "create non-public arg SMs", "initialized", kYielding ) );
   scheduler->runOne();
   EXPECT_THAT( traces.take(), ElementsAre( kRouteMapInitial, kRouteMapLine, kYielding ) );
   scheduler->runOne();
   EXPECT_THAT( traces.take(),
                ElementsAre( kGyreInitial, kGyreLine, kNowScanning, kRouteMapInitial, kRouteMapLine, kMergeLine, kInsertFalse,
                             kRouteMapScanned, kGyreInitial, kGyreLine, kMergeLine, kInsertFalse, kGyreScanned, kComplete,
                             kAlreadyReady ) );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, eachEventIsTraced ) {
   make( synchronous() );
   TraceLog traces( "EffectiveAllRouteMapStatusSm" );
   routemap->hasMatchAggregateRoleIs( true );
   EXPECT_THAT( traces.take(), ElementsAre( kRouteMapLine, kMergeLine, kInsertTrue ) );
   gyre->hasMatchAggregateRoleIs( true );
   EXPECT_THAT( traces.take(), ElementsAre( kGyreLine, kMergeLine, kInsertTrue ) );
   routemap->hasMatchAggregateRoleIs( false );
   EXPECT_THAT( traces.take(), ElementsAre( kRouteMapLine, kMergeLine, kInsertTrue ) );
   gyre->hasMatchAggregateRoleIs( false );
   EXPECT_THAT( traces.take(), ElementsAre( kGyreLine, kMergeLine, kInsertFalse ) );
   gyre->hasMatchAggregateRoleIs( false );
   EXPECT_THAT( traces.take(), IsEmpty() );
   sm->eventToWeft_pipeline0();
   EXPECT_THAT( traces.take(), ElementsAre( kMergeLine, kInsertFalse ) );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, eventsBeforeTheScansEndShowInTheOutputBehindThem ) {
   for( int steps = 0; steps < 2; ++steps )
      for( const auto & row : kInputs ) {
         SCOPED_TRACE( std::string( row.name ) + " behind " + std::to_string( steps ) + " steps" );
         inputsAre( false, false );
         effective->hasMatchAggregateRoleIs( false );
         make( scheduled() );
         for( int i = 0; i < steps; ++i ) scheduler->runOne();
         Reaction told( *effective );
         TraceLog traces( "EffectiveAllRouteMapStatusSm" );
         inputsAre( row.routemap, row.gyre );
         Texts expected;   // no word of a merge
         if( row.routemap ) expected.push_back( kRouteMapLine );
         if( row.gyre ) expected.push_back( kGyreLine );
         EXPECT_EQ( traces.take(), expected );
         sm->eventToWeft_pipeline0();
         EXPECT_THAT( traces.take(), IsEmpty() );
         EXPECT_FALSE( value() );
         EXPECT_EQ( told.take(), 0 );
         scheduler->runUntilIdle();
         EXPECT_EQ( value(), row.routemap || row.gyre );
         EXPECT_EQ( told.take(), row.routemap || row.gyre );
         sm = nullptr;
      }
}

TEST_F( EffectiveAllRouteMapStatusSmTest, whatChangesAndChangesBackBeforeTheScansEndIsNeverSeen ) {
   make( scheduled() );
   Reaction told( *effective );
   gyre->hasMatchAggregateRoleIs( true );
   scheduler->runOne();
   gyre->hasMatchAggregateRoleIs( false );
   scheduler->runUntilIdle();
   EXPECT_TRUE( sm->ready() );
   EXPECT_FALSE( value() );
   EXPECT_EQ( told.take(), 0 );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, readyIsToldOfBeforeTheOutputsFlagAndIdleBehindBoth ) {
   make( scheduled() );
   ChangeLog<> outputs( *sm->outputState() ), scans( *sm->inputSmScanState() );
   Texts order;
   Reaction scan( *sm->inputSmScanState(), [ & ]( const Quoin::Change & ) { order.push_back( sm->idle() ? "idle" : "scanned" ); } );
   Reaction ready( *sm->outputState(), [ & ]( const Quoin::Change & ) { order.push_back( "ready" ); } );
   scheduler->runOne();
   EXPECT_THAT( order, IsEmpty() ) << "the first scan of one input";
   scheduler->runOne();
   EXPECT_THAT( order, ElementsAre( "scanned", "scanned", "ready", "ready", "idle" ) );
   EXPECT_THAT( outputs.take(), ElementsAre( FieldId( Outputs::Field::ready ), FieldId( Outputs::Field::firstOutput ) ) );
   const FieldId first = FieldId( ScanState::Field::firstScan );
   EXPECT_THAT( scans.take(), ElementsAre( first, FieldId( first + 1 ), FieldId( ScanState::Field::idle ) ) );
   EXPECT_TRUE( sm->outputState()->effectiveAllRmStatHasMatchAggregateRoleOutputReady() );
   EXPECT_FALSE( sm->inputSmScanState()->routeMapStreamScan() || sm->inputSmScanState()->gyreStreamScan() );
}

TEST( EffectiveAllRouteMapStatusSmStates, areWrittenByTheirNames ) {
   const auto scans = makeNode<ScanState>();
   ChangeLog<> log( *scans );
   scans->gyreStreamScanIs( false );
   EXPECT_TRUE( scans->routeMapStreamScan() && !scans->gyreStreamScan() );
   scans->routeMapStreamScanIs( false );
   EXPECT_TRUE( scans->scansFinished() );
   const FieldId first = FieldId( ScanState::Field::firstScan );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( first + 1 ), first ) );
   const auto outputs = makeNode<Outputs>();
   ChangeLog<> outputLog( *outputs );
   outputs->effectiveAllRmStatHasMatchAggregateRoleOutputReadyIs( true );
   EXPECT_TRUE( outputs->ready() && outputs->effectiveAllRmStatHasMatchAggregateRoleOutputReady() );
   EXPECT_THAT( outputLog.take(), ElementsAre( FieldId( Outputs::Field::ready ), FieldId( Outputs::Field::firstOutput ) ) );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, theInputReadyHandlerOnlyTracesBehindReady ) {
   gyre->hasMatchAggregateRoleIs( true );
   make( synchronous() );
   effective->hasMatchAggregateRoleIs( false );
   Reaction told( *effective );
   TraceLog traces( "EffectiveAllRouteMapStatusSm" );
   sm->handleEffectiveAllRmStatHasMatchAggregateRoleOutputInputReady();
   EXPECT_THAT( traces.take(), ElementsAre( kAlreadyReady ) );
   sm->handleInitialScanDone();
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( told.take(), 0 );
   EXPECT_FALSE( value() );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, aStreamWhoseScanIsNotPendingIsTracedAndNotScanned ) {
   const Texts routeMapScan{ kRouteMapInitial, kRouteMapLine, kMergeLine, kInsertTrue, kRouteMapScanned };
   const Texts gyreScan{ kGyreInitial, kGyreLine, kMergeLine, kInsertTrue, kGyreScanned };
   for( unsigned skipped = 0; skipped < 4; ++skipped ) {
      SCOPED_TRACE( skipped );
      inputsAre( true, true );
      effective->hasMatchAggregateRoleIs( false );
      make( scheduled() );
      if( skipped & 1 ) sm->inputSmScanState()->routeMapStreamScanIs( false );
      if( skipped & 2 ) sm->inputSmScanState()->gyreStreamScanIs( false );
      scheduler->runOne();
      TraceLog traces( "EffectiveAllRouteMapStatusSm" );
      scheduler->runOne();
      Texts expected{ kGyreInitial, kGyreLine, kNowScanning };
      const auto add = [ & ]( bool skip, const Texts & scan, const char * isFalse ) {
         if( skip )
            expected.push_back( isFalse );
         else
            expected.insert( expected.end(), scan.begin(), scan.end() );
      };
      add( skipped & 1, routeMapScan, " routeMapStream scan is false" );
      add( skipped & 2, gyreScan, " gyreStream scan is false" );
      expected.push_back( kComplete );
      expected.push_back( kAlreadyReady );
      EXPECT_EQ( traces.take(), expected );
      EXPECT_TRUE( sm->ready() && sm->idle() && value() );
      sm = nullptr;
   }
}

TEST_F( EffectiveAllRouteMapStatusSmTest, scansByHandDoWhatTheirTasksWould ) {
   gyre->hasMatchAggregateRoleIs( true );
   make( scheduled() );
   sm->gyreAllRmStatSm2()->doInputScan1();   // in the other order
   EXPECT_FALSE( sm->initialScanDone() || value() );
   sm->routemapAllRmStatSm1()->doInputScan0();
   EXPECT_TRUE( sm->ready() && sm->idle() && value() );
   EXPECT_TRUE( scheduler->idle() );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, anEventIsANotificationOfItsInput ) {
   make( synchronous() );
   std::vector<std::pair<bool, bool>> seen;
   Reaction reaction( *effective, [ & ]( const Quoin::Change & ) {
      seen.emplace_back( sm->routemapAllRmStatSm1()->inReactor(), sm->gyreAllRmStatSm2()->inReactor() );
   } );
   inputsAre( true, false );
   inputsAre( false, false );
   inputsAre( false, true );
   EXPECT_THAT( seen, ElementsAre( std::pair( true, false ), std::pair( true, false ), std::pair( false, true ) ) );
   EXPECT_FALSE( sm->routemapAllRmStatSm1()->inReactor() || sm->gyreAllRmStatSm2()->inReactor() );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, theReactorsMarkTheirInputForTheSpanOfTheEvent ) {
   routemap->hasMatchAggregateRoleIs( true );
   make( synchronous() );
   effective->hasMatchAggregateRoleIs( false );   // so that the events are seen
   std::vector<std::pair<bool, bool>> in;
   Reaction reaction( *effective, [ & ]( const Quoin::Change & ) {
      if( effective->hasMatchAggregateRole() )
         in.emplace_back( sm->routemapAllRmStatSm1()->inReactor(), sm->gyreAllRmStatSm2()->inReactor() );
   } );
   sm->routemapAllRmStatSm1()->handleHasMatchAggregateRole0Reactor();
   effective->hasMatchAggregateRoleIs( false );
   sm->gyreAllRmStatSm2()->handleHasMatchAggregateRole1Reactor();
   EXPECT_THAT( in, ElementsAre( std::pair( true, false ), std::pair( false, true ) ) );
   EXPECT_FALSE( sm->routemapAllRmStatSm1()->inReactor() || sm->gyreAllRmStatSm2()->inReactor() );
   const auto first = sm->routemapAllRmStatSm1();
   const auto second = sm->gyreAllRmStatSm2();
   sm = nullptr;
   effective->hasMatchAggregateRoleIs( false );
   first->handleHasMatchAggregateRole0Reactor();
   second->handleHasMatchAggregateRole1Reactor();
   EXPECT_FALSE( effective->hasMatchAggregateRole() ) << "without their machine there is no event";
}

TEST_F( EffectiveAllRouteMapStatusSmTest, bothInputsMayBeTheSame ) {
   gyre = routemap;
   make( scheduled() );
   scheduler->runUntilIdle();
   Reaction told( *effective );
   routemap->hasMatchAggregateRoleIs( true );
   EXPECT_TRUE( value() );
   routemap->hasMatchAggregateRoleIs( false );
   EXPECT_FALSE( value() );
   EXPECT_EQ( told.take(), 2 );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, nothingIsLeftOfAMachineThatHasGone ) {
   const struct {
      const char * name;
      bool synchronous;
      int steps;
   } rows[] = {
      { "synchronous", true, 0 }, { "before its tasks run", false, 0 }, { "between its tasks", false, 1 }, { "ready", false, 2 }
   };
   for( const auto & row : rows )
      for( const bool byHand : { false, true } ) {
         SCOPED_TRACE( std::string( row.name ) + ( byHand ? ", doDeleteAll" : "" ) );
         inputsAre( true, true );
         effective->hasMatchAggregateRoleIs( false );
         make( row.synchronous ? synchronous() : scheduled() );
         for( int i = 0; i < row.steps; ++i ) scheduler->runOne();
         const bool left = row.synchronous || row.steps == 2;
         EXPECT_EQ( sm->ready(), left );
         if( byHand ) {
            sm->doDeleteAll();
            EXPECT_TRUE( scheduler->idle() );
            EXPECT_EQ( sm->routemapAllRmStatSm1()->task0(), nullptr );
            EXPECT_EQ( sm->gyreAllRmStatSm2()->task1(), nullptr );
            EXPECT_EQ( sm->inputSmScanState(), nullptr );
            EXPECT_EQ( sm->outputState(), nullptr );
            EXPECT_FALSE( sm->ready() || sm->idle() );
            inputsAre( false, false );
            EXPECT_EQ( value(), left );
         }
         sm = nullptr;
         expectNothingLeft();
         inputsAre( false, false );
         EXPECT_EQ( value(), left ) << "nobody writes it any more";
      }
}

TEST_F( EffectiveAllRouteMapStatusSmTest, inputMachinesThatAreHeldDoNothingWithoutTheMachine ) {
   make( scheduled() );
   const auto routemapSm = sm->routemapAllRmStatSm1();
   const auto gyreSm = sm->gyreAllRmStatSm2();
   sm = nullptr;
   EXPECT_EQ( routemapSm->task0(), nullptr );
   EXPECT_EQ( gyreSm->task1(), nullptr );
   EXPECT_TRUE( scheduler->idle() );
   inputsAre( true, true );
   EXPECT_FALSE( value() );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, aSubscriberOfTheOutputMayDropTheMachine ) {
   for( const bool inAnEvent : { false, true } )
      for( const bool byHand : { false, true } ) {
         SCOPED_TRACE( std::string( inAnEvent ? "in an event" : "in the second scan" ) + ( byHand ? ", doDeleteAll" : "" ) );
         inputsAre( !inAnEvent, !inAnEvent );
         effective->hasMatchAggregateRoleIs( false );
         make( scheduled() );
         if( inAnEvent ) scheduler->runUntilIdle();
         Reaction tearDown( *effective, [ & ]( const Quoin::Change & ) {
            if( byHand )
               sm->doDeleteAll();
            else
               sm = nullptr;
         } );
         if( inAnEvent )
            gyre->hasMatchAggregateRoleIs( true );
         else
            scheduler->runUntilIdle();
         inputsAre( false, false );
         EXPECT_EQ( tearDown.take(), 1 );
         EXPECT_TRUE( value() );
         sm = nullptr;
         expectNothingLeft();
      }
}

TEST_F( EffectiveAllRouteMapStatusSmDeathTest, everyArgumentIsRequired ) {
   const std::string text = " && \"Pointer SM args cannot be null unless they are marked Optional\"";
   for( const auto & control : { synchronous(), scheduled() } ) {
      EXPECT_DEATH( EffectiveAllRouteMapStatusSmIs( nullptr, gyre, effective, control ),
                    HasSubstr( "Assertion failed: routemapAllRmStat()" + text ) );
      EXPECT_DEATH( EffectiveAllRouteMapStatusSmIs( routemap, nullptr, effective, control ),
                    HasSubstr( "Assertion failed: gyreAllRmStat()" + text ) );
      EXPECT_DEATH( EffectiveAllRouteMapStatusSmIs( routemap, gyre, nullptr, control ),
                    HasSubstr( "Assertion failed: effectiveAllRmStat()" + text ) );
   }
}

TEST_F( EffectiveAllRouteMapStatusSmDeathTest, aScanOfANullInputEndsTheProcess ) {
   const char * const text = "Assertion failed: Sm args can only be null if marked as Optional in the SM type declaration";
   make( synchronous() );
   EXPECT_DEATH( makeNode<RoutemapAllRmStatSm1>( *sm, nullptr ), text );
   EXPECT_DEATH( makeNode<GyreAllRmStatSm2>( *sm, nullptr ), text );
   make( scheduled() );
   const auto routemapSm = makeNode<RoutemapAllRmStatSm1>( *sm, nullptr );
   const auto gyreSm = makeNode<GyreAllRmStatSm2>( *sm, nullptr );
   EXPECT_DEATH( routemapSm->doInputScan0(), text );
   EXPECT_DEATH( gyreSm->doInputScan1(), text );
}

/// Both pipelines as an agent joins them: what the first writes is what the second reads.
class JoinedPipelinesTest : public EffectiveAllRouteMapStatusSmTest {
 protected:
   void makeFirst( const SmControl & control ) { first = AllRouteMapStatusSmIs( users, routemap, control ); }
   Ptr<MatchAggregateRoleUsers> users = makeNode<MatchAggregateRoleUsers>();
   Ptr<AllRouteMapStatusSm> first;
};

TEST_F( JoinedPipelinesTest, aNameReachesTheEffectiveStatus ) {
   const SmControl controls[] = { synchronous(), scheduled() };
   for( const auto & ofFirst : controls )
      for( const auto & ofSecond : controls )
         for( const bool secondFirst : { false, true } ) {   // in either order of making
            users->mapNameDelAll();
            inputsAre( false, false );
            effective->hasMatchAggregateRoleIs( false );
            users->mapNameIs( "RM1" );
            if( secondFirst ) make( ofSecond );
            makeFirst( ofFirst );
            if( !secondFirst ) make( ofSecond );
            scheduler->runUntilIdle();
            EXPECT_TRUE( first->ready() && sm->ready() );
            EXPECT_TRUE( routemap->hasMatchAggregateRole() && value() );
            Reaction told( *effective );
            users->mapNameIs( "RM2" );
            gyre->hasMatchAggregateRoleIs( true );
            users->mapNameDelAll();
            EXPECT_FALSE( routemap->hasMatchAggregateRole() );
            EXPECT_TRUE( value() ) << "the policy language's still has it";
            EXPECT_EQ( told.take(), 0 );
            gyre->hasMatchAggregateRoleIs( false );
            EXPECT_FALSE( value() );
            EXPECT_EQ( told.take(), 1 );
            users->mapNameIs( "RM1" );
            EXPECT_TRUE( value() );
            EXPECT_EQ( told.take(), 1 );
            first = nullptr;
            sm = nullptr;
         }
   EXPECT_EQ( users->useCount(), 1u );
}

TEST_F( JoinedPipelinesTest, theFirstOneMayGoAndComeBack ) {
   make( synchronous() );
   makeFirst( synchronous() );
   users->mapNameIs( "RM1" );
   first = nullptr;
   users->mapNameDelAll();
   EXPECT_TRUE( value() ) << "nobody has said otherwise";
   makeFirst( scheduled() );
   EXPECT_TRUE( value() );
   scheduler->runUntilIdle();
   EXPECT_FALSE( value() );
}

TEST_F( JoinedPipelinesTest, anEventOfTheFirstMayEndBoth ) {
   makeFirst( synchronous() );
   make( synchronous() );
   Reaction tearDown( *effective, [ & ]( const Quoin::Change & ) {
      first = nullptr;
      sm = nullptr;
   } );
   users->mapNameIs( "RM1" );
   EXPECT_EQ( tearDown.take(), 1 );
   EXPECT_EQ( users->useCount(), 1u );
   expectNothingLeft();
}

/// One pipeline of a random program, and what its output is to be: the formula from its being ready on, and until then, and
/// without it, what it was.
template <class Sm>
struct Modelled {
   Ptr<Sm> sm;
   bool expected = false;
   bool torn = false;   // doDeleteAll by hand
   void follow( bool formula ) {
      if( sm && !torn && sm->ready() ) expected = formula;
   }
};

TEST_F( JoinedPipelinesTest, aRandomProgramSaysWhatTheFormulaSays ) {
   std::map<std::string, size_t> seen;
   forRandomCases( 20, [ & ]( Random & random ) {
      users = makeNode<MatchAggregateRoleUsers>();
      routemap = AllRouteMapStatusIs();
      gyre = AllRouteMapStatusIs();
      effective = AllRouteMapStatusIs();
      scheduler = makeNode<TaskScheduler>();
      scheduler->budgetIs( [ & ]( const Task & ) { return oneIn( random, 2 ); } );
      Modelled<AllRouteMapStatusSm> one;
      Modelled<EffectiveAllRouteMapStatusSm> two;
      bool ofRoutemap = false, ofEffective = false;   // as they were told last
      Reaction tellsRoutemap( *routemap, [ & ]( const Quoin::Change & ) {
         ofRoutemap = !ofRoutemap;
         ASSERT_EQ( ofRoutemap, routemap->hasMatchAggregateRole() ) << "a real change only";
      } );
      Reaction tellsEffective( *effective, [ & ]( const Quoin::Change & ) {
         ofEffective = !ofEffective;
         ASSERT_EQ( ofEffective, value() ) << "a real change only";
      } );
      std::ostringstream program;
      const auto name = [ & ] { return "RM" + std::to_string( below( random, 6 ) ); };
      const auto control = [ & ] {
         SmControl c = oneIn( random, 2 ) ? synchronous() : scheduled();
         c.priorityIs( TaskPriority( below( random, 6 ) ) );
         program << ( c.synchronous() ? "(synchronous)" : "(scheduled)" );
         return c;
      };
      for( int step = 0; step < 60; ++step ) {
         const std::string n = name();
         switch( below( random, 16 ) ) {
            case 0:
            case 1:
            case 2:
               program << " +" << n;
               users->mapNameIs( n );
               break;
            case 3:
            case 4:
            case 5:
            case 6:
               program << " -" << n;
               users->mapNameDel( n );
               break;
            case 7:
               program << " -all";
               users->mapNameDelAll();
               break;
            case 8: {
               const bool has = oneIn( random, 3 );
               program << " gyre=" << has;
               gyre->hasMatchAggregateRoleIs( has );
               break;
            }
            case 9:
               if( !oneIn( random, 2 ) ) break;
               program << " first";
               one.sm = nullptr;
               one.sm = AllRouteMapStatusSmIs( users, routemap, control() );
               one.torn = false;
               break;
            case 10:
               if( !oneIn( random, 2 ) ) break;
               program << " second";
               two.sm = nullptr;
               two.sm = EffectiveAllRouteMapStatusSmIs( routemap, gyre, effective, control() );
               two.torn = false;
               break;
            case 11:
               if( !oneIn( random, 4 ) ) break;
               program << " drop";
               if( oneIn( random, 2 ) )
                  one.sm = nullptr;
               else
                  two.sm = nullptr;
               break;
            case 12:
               if( !oneIn( random, 4 ) ) break;
               program << " deleteAll";
               if( oneIn( random, 2 ) ) {
                  if( one.sm ) one.sm->doDeleteAll();
                  one.torn = true;
               } else {
                  if( two.sm ) two.sm->doDeleteAll();
                  two.torn = true;
               }
               break;
            case 13:
               program << " handlers";
               if( one.sm ) one.sm->handleAllRmStatHasMatchAggregateRoleOutputInputReady();
               if( two.sm ) two.sm->handleEffectiveAllRmStatHasMatchAggregateRoleOutputInputReady();
               break;
            default: program << " step"; scheduler->runOne();
         }
         one.follow( !users->mapName().empty() );
         two.follow( one.expected || gyre->hasMatchAggregateRole() );
         ASSERT_EQ( routemap->hasMatchAggregateRole(), one.expected ) << program.str();
         ASSERT_EQ( value(), two.expected ) << program.str();
         ASSERT_EQ( ofRoutemap, one.expected ) << program.str();
         ASSERT_EQ( ofEffective, two.expected ) << program.str();
         for( const bool ready : { one.sm && one.sm->ready(), two.sm && two.sm->ready() } ) ++seen[ ready ? "ready" : "not ready" ];
         ++seen[ two.expected ? "true" : "false" ];
         if( one.sm && !one.torn && !one.sm->ready() ) ++seen[ "scanning" ];
      }
      scheduler->runUntilIdle();
      for( const bool ready : { !one.sm || one.torn || one.sm->ready(), !two.sm || two.torn || two.sm->ready() } ) ASSERT_TRUE( ready );
      one.follow( !users->mapName().empty() );
      two.follow( one.expected || gyre->hasMatchAggregateRole() );
      ASSERT_EQ( value(), two.expected ) << program.str();
      one.sm = nullptr;
      two.sm = nullptr;
      ASSERT_EQ( users->useCount(), 1u ) << program.str();
      expectNothingLeft();
   } );
   for( const char * what : { "ready", "not ready", "true", "false", "scanning" } ) EXPECT_GT( seen[ what ], 1000u ) << what;
}

}   // namespace
