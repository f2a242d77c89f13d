#include "examples/asio_loop/AsioLoop.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/examples/ProgramOutput.h"

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using Zeugma::Task;
using Zeugma::TaskPriority;

/// Calls a function when its time has come.
struct Timer final : Plinth::Clock::NotifieeConst {
   Timer( const Ptr<Plinth::Clock> & clock, std::function<void()> a ) : NotifieeConst( clock ), action( std::move( a ) ) {}
   void handleTime() override {
      const auto now = action;   // a copy: this may be gone behind the call
      now();
   }
   std::function<void()> action;
};

class AsioLoopTest : public testing::Test {
 protected:
   std::unique_ptr<Task> task( const std::string & name, const std::function<void()> & action = {} ) {
      return std::make_unique<Task>( scheduler, TaskPriority::normal, name, noting( name, action ) );
   }
   std::unique_ptr<Timer> timer( const std::string & name, const std::function<void()> & action = {} ) {
      auto made = std::make_unique<Timer>( clock, noting( name, action ) );
      made->timeMinIs( Plinth::Clock::Seconds( 0.001 ) );
      return made;
   }
   std::function<void()> noting( const std::string & name, const std::function<void()> & action ) {
      return [ this, name, action ] {
         log.push_back( name );
         if( action ) action();
      };
   }
   /// Until there is nothing to do, which is soon.
   std::vector<std::string> run() {
      io.restart();
      io.run_for( std::chrono::seconds( 20 ) );
      EXPECT_TRUE( io.stopped() ) << "something is still waited for";
      return std::exchange( log, {} );
   }

   std::vector<std::string> log;
   boost::asio::io_context io;
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<Plinth::Clock> clock = makeNode<Plinth::RealClock>();
   std::optional<AsioLoop> loop;   // goes before the rest
};

TEST_F( AsioLoopTest, runsWhatIsAskedForInTheOrderOfTheScheduler ) {
   loop.emplace( io, scheduler, clock );
   const auto a = task( "a" ), b = task( "b", [ & ] { a->scheduleTask(); } );
   EXPECT_THAT( run(), IsEmpty() );
   a->scheduleTask();
   b->scheduleTask();
   EXPECT_THAT( log, IsEmpty() ) << "not inside the asking";
   EXPECT_THAT( run(), ElementsAre( "a", "b", "a" ) );
   EXPECT_TRUE( scheduler->idle() );
   b->scheduleTask();
   EXPECT_THAT( run(), ElementsAre( "b", "a" ) ) << "it wakes up again";
}

TEST_F( AsioLoopTest, runsWhatWasAskedForBeforeItWasMade ) {
   const auto a = task( "a" ), b = task( "b" );
   a->scheduleTask();
   b->scheduleTask();
   const auto t = timer( "t" );
   loop.emplace( io, scheduler, clock );
   EXPECT_THAT( run(), testing::UnorderedElementsAre( "a", "b", "t" ) );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( clock->untilNextCall(), Plinth::Clock::kNever );
}

TEST_F( AsioLoopTest, timedCallsAreMadeAndMayAskAgain ) {
   loop.emplace( io, scheduler, clock );
   int left = 3;
   std::unique_ptr<Timer> t;
   t = timer( "t", [ & ] {
      if( --left ) t->timeMinIs( Plinth::Clock::Seconds( 0 ) );
   } );
   EXPECT_THAT( run(), ElementsAre( "t", "t", "t" ) );
}

TEST_F( AsioLoopTest, aTimedCallThatIsAskedForSoonerIsNotSleptThrough ) {
   loop.emplace( io, scheduler, clock );
   auto late = timer( "late" );
   late->timeMinIs( std::chrono::hours( 1000 ) );
   const auto soon = timer( "soon", [ & ] { late = nullptr; } );
   io.restart();
   while( log.empty() ) io.run_one();
   EXPECT_THAT( log, ElementsAre( "soon" ) );
}

TEST_F( AsioLoopTest, oneThatGoesBeforeTheLoopRunsRunsNothing ) {
   const auto a = task( "a" );
   const auto t = timer( "t" );
   a->scheduleTask();
   loop.emplace( io, scheduler, clock );
   loop.reset();
   EXPECT_THAT( run(), IsEmpty() );
   EXPECT_EQ( scheduler->dueCount(), 1u ) << "it is still asked for";
   EXPECT_EQ( scheduler->useCount(), 2u );
   EXPECT_EQ( clock->useCount(), 2u );
   loop.emplace( io, scheduler, clock );   // its successor
   EXPECT_THAT( run(), testing::UnorderedElementsAre( "a", "t" ) );
}

TEST_F( AsioLoopTest, aTaskMayEndIt ) {
   loop.emplace( io, scheduler, clock );
   const auto a = task( "a", [ & ] { loop.reset(); } );
   const auto t = timer( "t" );
   t->timeMinIs( std::chrono::hours( 1 ) );
   a->scheduleTask();
   EXPECT_THAT( run(), ElementsAre( "a" ) );
   EXPECT_FALSE( loop );
}

TEST_F( AsioLoopTest, aTimedCallMayEndIt ) {
   loop.emplace( io, scheduler, clock );
   const auto t = timer( "t", [ & ] { loop.reset(); } );
   const auto late = timer( "late" );
   late->timeMinIs( std::chrono::hours( 1 ) );
   EXPECT_THAT( run(), ElementsAre( "t" ) );
   EXPECT_FALSE( loop );
}

// The program as its users meet it.
TEST( AsioLoop, countsAgainAfterEachChangeOfTheList ) {
   // A /16 has 1,024 networks of 26 bits, a /10 65,536.
   EXPECT_EQ( programOutput( ASIO_LOOP_PROGRAM ),
              "version 1 of CUSTOMERS: 0 of 200000 routes are permitted\n"
              "entering 10 permit 10.0.0.0/16 le 32\n"
              "version 2 of CUSTOMERS: 1024 of 200000 routes are permitted\n"
              "entering 20 deny 10.1.0.0/17 le 32\n"
              "version 3 of CUSTOMERS: 1024 of 200000 routes are permitted\n"
              "entering 30 permit 10.1.0.0/16 le 32\n"
              "version 4 of CUSTOMERS: 1536 of 200000 routes are permitted\n"
              "entering 40 permit 10.64.0.0/10 le 26\n"
              "version 5 of CUSTOMERS: 67072 of 200000 routes are permitted\n" );
}

}   // namespace
