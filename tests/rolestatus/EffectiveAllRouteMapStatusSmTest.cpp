#include "rolestatus/EffectiveAllRouteMapStatusSm.h"

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "rolestatus/AllRouteMapStatusSm.h"
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
   Ptr<AllRouteMapStatus> routemap = AllRouteMapStatusIs(), gyre = AllRouteMapStatusIs(), effective = AllRouteMapStatusIs();
   Ptr<TaskScheduler> scheduler = makeNode<TaskScheduler>();
   Ptr<EffectiveAllRouteMapStatusSm> sm;
};

using EffectiveAllRouteMapStatusSmDeathTest = EffectiveAllRouteMapStatusSmTest;

TEST_F( EffectiveAllRouteMapStatusSmTest, createsItsParts ) {
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
   scheduler->runUntilIdle();
   EXPECT_FALSE( sm->inputSmScanState()->routeMapStreamScan() || sm->inputSmScanState()->gyreStreamScan() );
   EXPECT_TRUE( sm->ready() && sm->outputState()->effectiveAllRmStatHasMatchAggregateRoleOutputReady() );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, aReleasedMachineWritesNothing ) {
   for( const int steps : { 0, 1, 2 } )   // before its scans, between them, ready
      for( const bool byHand : { false, true } ) {
         SCOPED_TRACE( testing::Message() << steps << " steps" << ( byHand ? ", doDeleteAll" : "" ) );
         inputsAre( true, true );
         effective->hasMatchAggregateRoleIs( false );
         make( scheduled() );
         for( int i = 0; i < steps; ++i ) scheduler->runOne();
         if( byHand ) {
            sm->doDeleteAll();
            EXPECT_TRUE( !sm->inputSmScanState() && !sm->outputState() );
         }
         sm = nullptr;
         EXPECT_TRUE( scheduler->idle() );
         inputsAre( false, false );
         EXPECT_EQ( value(), steps == 2 );
      }
}

TEST_F( EffectiveAllRouteMapStatusSmTest, itsScansAreNamedTasks ) {
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
TEST_F( EffectiveAllRouteMapStatusSmTest, theValueOfAnEventIsIgnored ) {
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

TEST_F( EffectiveAllRouteMapStatusSmTest, aSynchronousStartIsTraced ) {
   gyre->hasMatchAggregateRoleIs( true );
   TraceLog traces( "EffectiveAllRouteMapStatusSm" );
   make( synchronous() );
   EXPECT_THAT( traces.take(),
                ElementsAre( "create local SMs", "create non-public arg SMs", kRouteMapInitial, kRouteMapLine, kGyreInitial, kGyreLine,
                             "initialized", kNowScanning, kRouteMapInitial, kRouteMapLine, kMergeLine, kInsertTrue, kRouteMapScanned,
                             kGyreInitial, kGyreLine, kMergeLine, kInsertTrue, kGyreScanned, kComplete, kAlreadyReady ) );
}

TEST_F( EffectiveAllRouteMapStatusSmTest, aScheduledStartIsTraced ) {
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

TEST_F( EffectiveAllRouteMapStatusSmTest, eventsBeforeTheEndOfTheScansShowAfterThem ) {
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
         Texts expected;   // no merge
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

TEST( EffectiveAllRouteMapStatusSmStates, haveAWriterPerName ) {
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

TEST_F( EffectiveAllRouteMapStatusSmTest, theInputReadyHandlerOnlyTracesAfterReady ) {
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

TEST_F( EffectiveAllRouteMapStatusSmTest, theReactorsRaiseEventsWhileTheMachineExists ) {
   routemap->hasMatchAggregateRoleIs( true );
   make( synchronous() );
   const auto first = sm->routemapAllRmStatSm1();
   const auto second = sm->gyreAllRmStatSm2();
   for( const bool exists : { true, false } ) {
      if( !exists ) sm = nullptr;
      effective->hasMatchAggregateRoleIs( false );
      first->handleHasMatchAggregateRole0Reactor();
      EXPECT_EQ( value(), exists );
      effective->hasMatchAggregateRoleIs( false );
      second->handleHasMatchAggregateRole1Reactor();
      EXPECT_EQ( value(), exists );
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
         for( const bool secondFirst : { false, true } ) {   // in either order of creation
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
            EXPECT_TRUE( value() ) << "the policy language still has it";
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
}

}   // namespace
