#include "substrate/plinth/Clock.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Ptr.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Plinth::Clock;
using Plinth::ManualClock;
using Plinth::RealClock;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Seconds = Clock::Seconds;

using Log = std::vector<std::string>;

/// Writes its name down and then does what it was told to do.
struct Timer final : Clock::NotifieeConst {
   Timer( const Ptr<Clock> & clock, Log & l, std::string n, std::function<void()> a = {} )
         : NotifieeConst( clock ), log( l ), name( std::move( n ) ), action( std::move( a ) ) {}
   void handleTime() override {
      log.push_back( name );
      if( const auto now = action ) now();   // a copy: this may be gone behind the call
   }
   Log & log;
   std::string name;
   std::function<void()> action;
};

class ClockTest : public testing::Test {
 protected:
   std::unique_ptr<Timer> timer( const std::string & name, double due, std::function<void()> action = {} ) {
      auto made = std::make_unique<Timer>( clock, log, name, std::move( action ) );
      made->timeMinIs( Seconds( due ) );
      return made;
   }
   /// What is called in the turn at `time`; fails unless callDue() gives their number.
   Log callsAt( double time ) {
      clock->advance( Seconds( time ) - clock->now() );
      const size_t called = clock->callDue();
      EXPECT_EQ( called, log.size() );
      return std::exchange( log, {} );
   }
   Log log;
   Ptr<ManualClock> clock = makeNode<ManualClock>();
};

TEST_F( ClockTest, standsStillUntilItIsMoved ) {
   EXPECT_EQ( clock->now(), Seconds( 0 ) );
   const auto a = timer( "a", 1 );
   clock->callDue();
   EXPECT_EQ( clock->now(), Seconds( 0 ) );
   clock->advance( Seconds( 1.5 ) );
   clock->advance( std::chrono::milliseconds( 500 ) );
   EXPECT_EQ( clock->now(), Seconds( 2 ) );
   EXPECT_THAT( log, IsEmpty() );   // moving calls nobody
}

TEST_F( ClockTest, nobodyIsCalledUnlessAsked ) {
   const Timer a( clock, log, "a" );
   EXPECT_EQ( a.clock(), clock );
   EXPECT_TRUE( a.isRegisteredNotifiee() );
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
   EXPECT_THAT( callsAt( 1e9 ), IsEmpty() );
}

TEST_F( ClockTest, askingAllocatesNothing ) {
   const auto a = timer( "a", 2 ), b = timer( "b", 1 );
   log.reserve( 10 );
   const auto before = allocationCount();
   a->timeMinIs( Seconds( 0 ) );
   b->isRegisteredNotifieeIs( false );
   b->isRegisteredNotifieeIs( true );
   b->timeMinIs( Clock::kNever );
   b->timeMinIs( Seconds( 0 ) );
   clock->callDue();
   EXPECT_EQ( allocationCount(), before );
   EXPECT_THAT( log, ElementsAre( "a", "b" ) );
}

TEST_F( ClockTest, callsInTheOrderOfTheTimes ) {
   const auto c = timer( "c", 3 ), a = timer( "a", 1 ), d = timer( "d", 4 ), b = timer( "b", 2 ), b2 = timer( "b2", 2 );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a", "b", "b2", "c" ) );   // among equals, who asked first
   EXPECT_THAT( callsAt( 4 ), ElementsAre( "d" ) );
}

TEST_F( ClockTest, aTimeCountsFromTheAsking ) {
   clock->advance( Seconds( 10 ) );
   const auto a = timer( "a", 2 );
   EXPECT_THAT( callsAt( 11.5 ), IsEmpty() );
   EXPECT_THAT( callsAt( 12 ), ElementsAre( "a" ) );
}

TEST_F( ClockTest, aNewTimeTakesThePlaceOfTheOld ) {
   const auto a = timer( "a", 2 ), b = timer( "b", 3 );
   a->timeMinIs( Seconds( 5 ) );
   EXPECT_THAT( callsAt( 4 ), ElementsAre( "b" ) );
   a->timeMinIs( Seconds( 0.5 ) );
   EXPECT_THAT( callsAt( 4.5 ), ElementsAre( "a" ) );
   EXPECT_THAT( callsAt( 10 ), IsEmpty() );
}

TEST_F( ClockTest, neverCallsOff ) {
   const auto a = timer( "a", 2 ), b = timer( "b", 3 );
   a->timeMinIs( Clock::kNever );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 3 ) );
   b->timeMinIs( Clock::kNever );
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
   EXPECT_THAT( callsAt( 1e9 ), IsEmpty() );
   a->timeMinIs( Seconds( 1 ) );
   EXPECT_THAT( callsAt( 1e9 + 1 ), ElementsAre( "a" ) );
}

TEST_F( ClockTest, untilNextCallIsThatOfTheFirst ) {
   const auto a = timer( "a", 5 );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 5 ) );
   auto b = timer( "b", 2 );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 2 ) );
   clock->advance( Seconds( 1.5 ) );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0.5 ) );
   clock->advance( Seconds( 100 ) );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );   // overdue is not less
   b = nullptr;
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   clock->callDue();
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
}

TEST_F( ClockTest, oneMayAskAgainInItsOwnCall ) {
   std::unique_ptr<Timer> a;
   a = timer( "a", 1, [ & ] { a->timeMinIs( Seconds( 2 ) ); } );
   EXPECT_THAT( callsAt( 1 ), ElementsAre( "a" ) );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 2 ) );
   EXPECT_THAT( callsAt( 2.5 ), IsEmpty() );
   EXPECT_THAT( callsAt( 9 ), ElementsAre( "a" ) );   // once, however late
   EXPECT_EQ( clock->untilNextCall(), Seconds( 2 ) );
}

TEST_F( ClockTest, whatIsAskedForInATurnWaitsForTheNext ) {
   std::unique_ptr<Timer> a, b, newcomer;
   a = timer( "a", 1, [ & ] {
      a->timeMinIs( Seconds( 0 ) );
      newcomer = timer( "newcomer", 0 );
   } );
   b = timer( "b", 2 );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a", "b" ) );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   a->action = {};
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a", "newcomer" ) );
}

TEST_F( ClockTest, oneThatIsPutOffInATurnIsNotCalledInIt ) {
   std::unique_ptr<Timer> a, b, c;
   a = timer( "a", 1, [ & ] {
      b->timeMinIs( Seconds( 0 ) );
      c->timeMinIs( Clock::kNever );
   } );
   b = timer( "b", 2 );
   c = timer( "c", 2 );
   const auto d = timer( "d", 3 );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a", "d" ) );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "b" ) );
}

TEST_F( ClockTest, oneThatIsOffIsNotCalled ) {
   const auto a = timer( "a", 2 ), b = timer( "b", 3 );
   a->isRegisteredNotifieeIs( false );
   EXPECT_FALSE( a->isRegisteredNotifiee() );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 3 ) );
   EXPECT_THAT( callsAt( 2.5 ), IsEmpty() );
   a->isRegisteredNotifieeIs( true );   // fell due meanwhile
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   EXPECT_THAT( log, IsEmpty() );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a", "b" ) );
}

TEST_F( ClockTest, turningOffAndOnKeepsTheTime ) {
   const auto a = timer( "a", 2 );
   clock->advance( Seconds( 1 ) );
   for( const bool on : { false, false, true, true } ) a->isRegisteredNotifieeIs( on );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 1 ) );
   EXPECT_THAT( callsAt( 2 ), ElementsAre( "a" ) );
   a->isRegisteredNotifieeIs( false );
   a->isRegisteredNotifieeIs( true );   // its call has been made
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
}

TEST_F( ClockTest, aTimeMayBeAskedForWhileOff ) {
   const auto a = timer( "a", 2 );
   a->isRegisteredNotifieeIs( false );
   a->timeMinIs( Seconds( 5 ) );
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
   a->isRegisteredNotifieeIs( true );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 5 ) );
   a->isRegisteredNotifieeIs( false );
   a->timeMinIs( Clock::kNever );
   a->isRegisteredNotifieeIs( true );
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
}

TEST_F( ClockTest, oneThatIsTurnedOffInATurnIsNotCalledInIt ) {
   std::unique_ptr<Timer> b;
   const auto a = timer( "a", 1, [ & ] { b->isRegisteredNotifieeIs( false ); } );
   b = timer( "b", 2 );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a" ) );
   b->isRegisteredNotifieeIs( true );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "b" ) );
}

TEST_F( ClockTest, oneThatIsTurnedOnInATurnHoldsUpNoOther ) {
   std::unique_ptr<Timer> off;
   const auto a = timer( "a", 1, [ & ] { off->isRegisteredNotifieeIs( true ); } );
   off = timer( "off", 0.5 );   // due before the rest of the turn
   off->isRegisteredNotifieeIs( false );
   const auto b = timer( "b", 2 );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a", "b" ) );
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "off" ) );
}

TEST_F( ClockTest, oneThatHasGoneIsNotCalled ) {
   auto a = timer( "a", 1 );
   const auto b = timer( "b", 1 );
   a = nullptr;
   EXPECT_THAT( callsAt( 1 ), ElementsAre( "b" ) );
   EXPECT_EQ( clock->useCount(), 2u );
}

TEST_F( ClockTest, oneMayGoInItsOwnCall ) {
   std::unique_ptr<Timer> a;
   a = timer( "a", 1, [ & ] {
      a->timeMinIs( Seconds( 0 ) );
      a = nullptr;
   } );
   const auto b = timer( "b", 2 );
   EXPECT_THAT( callsAt( 2 ), ElementsAre( "a", "b" ) );
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
}

TEST_F( ClockTest, oneMayGoInTheCallOfAnother ) {
   std::unique_ptr<Timer> b, c;
   const auto a = timer( "a", 1, [ & ] { b.reset(), c.reset(); } );
   b = timer( "b", 2 );
   c = timer( "c", 4 );
   const auto d = timer( "d", 3 );
   EXPECT_THAT( callsAt( 4 ), ElementsAre( "a", "d" ) );
   EXPECT_THAT( callsAt( 9 ), IsEmpty() );
}

TEST_F( ClockTest, aNotifieeHoldsItsClock ) {
   auto a = timer( "a", 1 );
   EXPECT_EQ( clock->useCount(), 2u );
   auto & raw = *clock;
   clock = nullptr;
   raw.advance( Seconds( 1 ) );
   EXPECT_EQ( raw.callDue(), 1u );
   EXPECT_THAT( log, ElementsAre( "a" ) );
}

TEST_F( ClockTest, aCallMayDropTheClock ) {
   std::unique_ptr<Timer> a, b;
   a = timer( "a", 1, [ & ] { clock = nullptr, a.reset(), b.reset(); } );
   b = timer( "b", 1 );
   clock->advance( Seconds( 1 ) );
   EXPECT_EQ( clock->callDue(), 1u );
   EXPECT_EQ( clock, nullptr );
   EXPECT_THAT( log, ElementsAre( "a" ) );
}

TEST_F( ClockTest, aCallMayMoveTheTime ) {
   std::unique_ptr<Timer> a;
   a = timer( "a", 1, [ & ] {
      clock->advance( Seconds( 5 ) );
      a->timeMinIs( Seconds( 1 ) );
   } );
   const auto b = timer( "b", 3 );
   EXPECT_THAT( callsAt( 1 ), ElementsAre( "a" ) );   // the turn has the time of its beginning
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   a->action = {};
   EXPECT_THAT( callsAt( 6 ), ElementsAre( "b" ) );
   EXPECT_THAT( callsAt( 7 ), ElementsAre( "a" ) );
}

TEST_F( ClockTest, aTimeThatIsNoNumberIsTheNextTurn ) {
   const auto other = timer( "other", 1 );
   const auto odd = timer( "odd", std::numeric_limits<double>::quiet_NaN() );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   EXPECT_THAT( callsAt( 0 ), ElementsAre( "odd" ) );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 1 ) ) << "the order of the others stands";
   EXPECT_THAT( callsAt( 1 ), ElementsAre( "other" ) );
}

TEST_F( ClockTest, aTimeInThePastIsTheNextTurn ) {
   const auto a = timer( "a", -5 ), b = timer( "b", 0 ), c = timer( "c", -std::numeric_limits<double>::infinity() );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   EXPECT_THAT( callsAt( 0 ), ElementsAre( "a", "b", "c" ) ) << "in the order of asking";
}

TEST_F( ClockTest, neverGoesBack ) {
   clock->advance( Seconds( 5 ) );
   for( const double by : { -10.0, -0.0, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN() } ) {
      clock->advance( Seconds( by ) );
      EXPECT_EQ( clock->now(), Seconds( 5 ) ) << by;
   }
}

TEST_F( ClockTest, whatIsAskedForBeforeTheEndOfTimeIsCalledThere ) {
   const auto a = timer( "a", 1 ), b = timer( "b", 1e300 ), never = timer( "never", std::numeric_limits<double>::infinity() );
   clock->advance( Clock::kNever );
   EXPECT_EQ( clock->callDue(), 2u );
   EXPECT_THAT( log, ElementsAre( "a", "b" ) );
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
}

TEST_F( ClockTest, aCallMayHaveTheOthersCalled ) {
   const auto a = timer( "a", 1, [ & ] { EXPECT_EQ( clock->callDue(), 2u ); } );
   const auto b = timer( "b", 1 ), c = timer( "c", 1 );
   clock->advance( Seconds( 1 ) );
   EXPECT_EQ( clock->callDue(), 1u ) << "the others were called in the turn inside";
   EXPECT_THAT( log, ElementsAre( "a", "b", "c" ) );
   EXPECT_EQ( clock->untilNextCall(), Clock::kNever );
}

TEST_F( ClockTest, aNotifieeNeedsAClock ) {
   EXPECT_THROW( Timer( nullptr, log, "a" ), Plinth::MutatorArgNullPointerException );
}

using ClockDeathTest = ClockTest;

TEST_F( ClockDeathTest, anExceptionOfATimedCallEndsTheProcess ) {
   const auto a = timer( "a", 1, [] { throw std::runtime_error( "no" ); } );
   clock->advance( Seconds( 1 ) );
   EXPECT_DEATH( clock->callDue(), HasSubstr( "exception in a timed call: no\n" ) );
}

TEST_F( ClockDeathTest, anExceptionOfTheWakeUpCallbackEndsTheProcess ) {
   clock->wakeUpCallbackIs( [] { throw std::runtime_error( "no" ); } );
   EXPECT_DEATH( timer( "a", 1 ), HasSubstr( "exception in a wake-up: no\n" ) );
}

class ClockWakeUpTest : public ClockTest {
 protected:
   ClockWakeUpTest() {
      clock->wakeUpCallbackIs( [ this ] { untilNextCall.push_back( clock->untilNextCall().count() ); } );
   }
   std::vector<double> take() { return std::exchange( untilNextCall, {} ); }
   std::vector<double> untilNextCall;   // at each wake-up
};

TEST_F( ClockWakeUpTest, comesWhenACallIsDueSooner ) {
   const auto a = timer( "a", 5 );
   EXPECT_THAT( take(), ElementsAre( 5 ) );
   const auto b = timer( "b", 7 ), c = timer( "c", 5 );
   EXPECT_THAT( take(), IsEmpty() );
   b->timeMinIs( Seconds( 3 ) );
   EXPECT_THAT( take(), ElementsAre( 3 ) );
   a->timeMinIs( Seconds( 0 ) );
   EXPECT_THAT( take(), ElementsAre( 0 ) );
}

TEST_F( ClockWakeUpTest, comesWhenOneIsTurnedOnThatIsDueSooner ) {
   const auto a = timer( "a", 5 ), b = timer( "b", 7 );
   a->isRegisteredNotifieeIs( false );
   take();
   a->isRegisteredNotifieeIs( true );
   EXPECT_THAT( take(), ElementsAre( 5 ) );
}

TEST_F( ClockWakeUpTest, isSilentWhenACallIsPutOff ) {
   const struct {
      const char * name;
      std::function<void( Timer & )> action;
   } rows[] = {
      { "later", []( Timer & t ) { t.timeMinIs( Seconds( 9 ) ); } },
      { "never", []( Timer & t ) { t.timeMinIs( Clock::kNever ); } },
      { "off", []( Timer & t ) { t.isRegisteredNotifieeIs( false ); } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto a = timer( "a", 5 );
      take();
      row.action( *a );
      EXPECT_THAT( take(), IsEmpty() );
   }
}

TEST_F( ClockWakeUpTest, comesInATurnTooForWhatIsDueSooner ) {
   const auto late = timer( "late", 9 );
   std::unique_ptr<Timer> a;
   a = timer( "a", 1, [ & ] { a->timeMinIs( Seconds( 2 ) ); } );
   take();
   EXPECT_THAT( callsAt( 1 ), ElementsAre( "a" ) );
   EXPECT_THAT( take(), ElementsAre( 2 ) );
   a->action = [ & ] { a->timeMinIs( Seconds( 20 ) ); };   // behind `late`
   EXPECT_THAT( callsAt( 3 ), ElementsAre( "a" ) );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST_F( ClockWakeUpTest, mayBeTakenAway ) {
   clock->wakeUpCallbackIs( {} );
   const auto a = timer( "a", 1 );
   EXPECT_THAT( callsAt( 1 ), ElementsAre( "a" ) );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST( RealClock, goesOnByItself ) {
   const auto clock = makeNode<RealClock>();
   const Seconds before = clock->now();
   EXPECT_GE( clock->now(), before );
   Log log;
   Timer next( clock, log, "next" ), late( clock, log, "late" );
   late.timeMinIs( std::chrono::hours( 1 ) );
   EXPECT_EQ( clock->callDue(), 0u );
   EXPECT_LE( clock->untilNextCall(), std::chrono::hours( 1 ) );
   next.timeMinIs( Seconds( 0 ) );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   EXPECT_EQ( clock->callDue(), 1u );
   EXPECT_THAT( log, ElementsAre( "next" ) );
}

}   // namespace
