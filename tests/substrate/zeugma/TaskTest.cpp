#include "substrate/zeugma/Task.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
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

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Zeugma::Task;
using Zeugma::TaskPriority;
using Zeugma::TaskScheduler;
using Zeugma::TaskSchedulerRoot;

using Log = std::vector<std::string>;

class TaskTest : public testing::Test {
 protected:
   /// A task that writes its name down and then does what it was told to do.
   std::unique_ptr<Task> task( const std::string & name, TaskPriority priority = TaskPriority::normal,
                               const std::function<void()> & action = {} ) {
      return std::make_unique<Task>( scheduler, priority, name, [ this, name, action ] {
         log.push_back( name );
         if( action ) action();
      } );
   }
   Log take() { return std::exchange( log, {} ); }

   Log log;
   Ptr<TaskScheduler> scheduler = makeNode<TaskScheduler>();
};

using TaskDeathTest = TaskTest;

TEST_F( TaskTest, aNewSchedulerIsIdle ) {
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( scheduler->dueCount(), 0u );
   EXPECT_EQ( scheduler->running(), nullptr );
   EXPECT_FALSE( scheduler->runOne() );
   EXPECT_EQ( scheduler->runUntilIdle(), 0u );
   EXPECT_EQ( scheduler->runFor( std::chrono::hours( 1 ) ), 0u );
}

TEST_F( TaskTest, aNewTaskIsNotDue ) {
   const auto a = task( "a", TaskPriority::low );
   EXPECT_EQ( a->taskName(), "a" );
   EXPECT_EQ( a->taskScheduler(), scheduler );
   EXPECT_EQ( a->taskPriority(), TaskPriority::low );
   EXPECT_FALSE( a->taskScheduled() );
   EXPECT_FALSE( a->taskCurrentlyRunning() );
   EXPECT_FALSE( a->taskShouldYield() );
   EXPECT_EQ( a->taskRuns(), 0u );
   EXPECT_EQ( scheduler->runUntilIdle(), 0u );
   EXPECT_THAT( log, IsEmpty() );
}

TEST_F( TaskTest, twiceBeforeARunGivesOneRun ) {
   const auto a = task( "a" ), b = task( "b" );
   for( Task * t : { a.get(), b.get(), a.get(), a.get() } ) t->scheduleTask();
   EXPECT_EQ( scheduler->dueCount(), 2u );
   EXPECT_EQ( scheduler->runUntilIdle(), 2u );
   EXPECT_THAT( log, ElementsAre( "a", "b" ) );   // asking again moves nobody
   EXPECT_EQ( a->taskRuns(), 1u );
}

TEST_F( TaskTest, theLowerPriorityValueRunsFirst ) {
   const auto idle = task( "idle", TaskPriority::idle ), urgent = task( "urgent", TaskPriority::urgent ),
              routeMap = task( "routeMap", TaskPriority::routeMap ), high = task( "high", TaskPriority::high ),
              low = task( "low", TaskPriority::low ), normal = task( "normal", TaskPriority::normal );
   for( auto * t : { &idle, &urgent, &routeMap, &high, &low, &normal } ) ( *t )->scheduleTask();
   EXPECT_EQ( scheduler->runUntilIdle(), 6u );
   EXPECT_THAT( log, ElementsAre( "urgent", "high", "normal", "routeMap", "low", "idle" ) );
}

TEST_F( TaskTest, amongEqualsTheOneDueForLongerRunsFirst ) {
   const auto a = task( "a" ), b = task( "b" ), c = task( "c" );
   for( auto * t : { &c, &a, &b } ) ( *t )->scheduleTask();
   scheduler->runUntilIdle();
   EXPECT_THAT( take(), ElementsAre( "c", "a", "b" ) );
   for( auto * t : { &b, &a } ) ( *t )->scheduleTask();
   scheduler->runUntilIdle();
   EXPECT_THAT( log, ElementsAre( "b", "a" ) );
}

TEST_F( TaskTest, amongEqualsTheLowestRankRunsFirst ) {
   const auto a = task( "a" ), b = task( "b" ), c = task( "c" ), d = task( "d", TaskPriority::high );
   a->scheduleTask( 5 );
   b->scheduleTask( -1 );
   c->scheduleTask();
   d->scheduleTask( 9 );
   a->scheduleTask( -2 );   // it is due already, and keeps its rank
   scheduler->runUntilIdle();
   EXPECT_THAT( take(), ElementsAre( "d", "b", "c", "a" ) );
   a->scheduleTask();
   b->scheduleTask();
   scheduler->runUntilIdle();
   EXPECT_THAT( take(), ElementsAre( "a", "b" ) );
}

TEST_F( TaskTest, runOneStepsThroughWhatIsDue ) {
   const auto b = task( "b" ), a = task( "a", TaskPriority::high );
   const auto newcomer = task( "newcomer", TaskPriority::urgent );
   b->scheduleTask();
   a->scheduleTask();
   EXPECT_TRUE( scheduler->runOne() );
   EXPECT_THAT( take(), ElementsAre( "a" ) );
   EXPECT_EQ( scheduler->dueCount(), 1u );
   newcomer->scheduleTask();   // passes those that wait
   EXPECT_TRUE( scheduler->runOne() );
   EXPECT_THAT( take(), ElementsAre( "newcomer" ) );
   EXPECT_TRUE( scheduler->runOne() );
   EXPECT_FALSE( scheduler->runOne() );
   EXPECT_THAT( log, ElementsAre( "b" ) );
}

TEST_F( TaskTest, scheduledInsideItsOwnRunItRunsOnceMore ) {
   std::unique_ptr<Task> a;
   int left = 2;
   a = task( "a", TaskPriority::normal, [ & ] {
      EXPECT_FALSE( a->taskScheduled() );
      if( left-- == 0 ) return;
      a->scheduleTask();
      a->scheduleTask();
      EXPECT_TRUE( a->taskScheduled() );
   } );
   const auto b = task( "b" );
   a->scheduleTask();
   b->scheduleTask();
   EXPECT_EQ( scheduler->runUntilIdle(), 4u );
   EXPECT_THAT( log, ElementsAre( "a", "b", "a", "a" ) );   // behind its equals, since it asked later
   EXPECT_EQ( a->taskRuns(), 3u );
}

TEST_F( TaskTest, aTaskMayScheduleOthers ) {
   const auto high = task( "high", TaskPriority::high ), low = task( "low", TaskPriority::low );
   const auto a = task( "a", TaskPriority::normal, [ & ] {
      low->scheduleTask();
      high->scheduleTask();
      log.push_back( "end of a" );
   } );
   const auto b = task( "b" );
   a->scheduleTask();
   b->scheduleTask();
   scheduler->runUntilIdle();
   EXPECT_THAT( log, ElementsAre( "a", "end of a", "high", "b", "low" ) );
}

TEST_F( TaskTest, onlyTheOneThatRunsIsRunning ) {
   std::unique_ptr<Task> a;
   const auto b = task( "b" );
   a = task( "a", TaskPriority::normal, [ & ] {
      EXPECT_TRUE( a->taskCurrentlyRunning() );
      EXPECT_EQ( scheduler->running(), a.get() );
      EXPECT_FALSE( b->taskCurrentlyRunning() );
      EXPECT_EQ( a->taskRuns(), 1u );   // this one is counted
   } );
   a->scheduleTask();
   EXPECT_FALSE( a->taskCurrentlyRunning() );
   scheduler->runUntilIdle();
   EXPECT_FALSE( a->taskCurrentlyRunning() );
   EXPECT_EQ( scheduler->running(), nullptr );
   EXPECT_THAT( log, ElementsAre( "a" ) );
}

TEST_F( TaskTest, aTaskThatGoesWhileDueDoesNotRun ) {
   const struct {
      const char * name;
      size_t gone;
      Log runs;
   } rows[] = { { "first", 0, { "b", "c" } }, { "middle", 1, { "a", "c" } }, { "last", 2, { "a", "b" } } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      std::unique_ptr<Task> tasks[] = { task( "a" ), task( "b" ), task( "c" ) };
      for( auto & t : tasks ) t->scheduleTask();
      tasks[ row.gone ].reset();
      EXPECT_EQ( scheduler->dueCount(), 2u );
      scheduler->runUntilIdle();
      EXPECT_EQ( take(), row.runs );
   }
   auto alone = task( "alone" );
   alone->scheduleTask();
   alone.reset();
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_FALSE( scheduler->runOne() );
}

TEST_F( TaskTest, aTaskMayGoInsideItsOwnRun ) {
   const struct {
      const char * name;
      bool due;   // when it goes
   } rows[] = { { "not due", false }, { "due again", true } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto held = std::make_shared<std::string>( 100, 'x' );   // by the function, which must outlive its task
      std::unique_ptr<Task> a;
      a = std::make_unique<Task>( scheduler, TaskPriority::normal, "a", [ this, &a, &row, held ] {
         if( row.due ) a->scheduleTask();
         a.reset();
         log.push_back( held->substr( 98 ) );
         EXPECT_EQ( scheduler->running(), nullptr );
      } );
      const auto b = task( "b" );
      a->scheduleTask();
      b->scheduleTask();
      EXPECT_EQ( scheduler->runUntilIdle(), 2u );
      EXPECT_THAT( take(), ElementsAre( "xx", "b" ) );
      EXPECT_EQ( held.use_count(), 1 );
   }
}

TEST_F( TaskTest, aTaskThatDestroysItselfMayMakeItsSuccessor ) {
   std::unique_ptr<Task> a, b;
   a = task( "a", TaskPriority::normal, [ & ] {
      a.reset();
      b = task( "b" );
      b->scheduleTask();
   } );
   a->scheduleTask();
   EXPECT_EQ( scheduler->runUntilIdle(), 2u );
   EXPECT_THAT( log, ElementsAre( "a", "b" ) );
   EXPECT_EQ( b->taskRuns(), 1u );
}

TEST_F( TaskTest, theBudgetSaysWhenToYield ) {
   std::unique_ptr<Task> a;
   int left = 0, done = 0;
   const Task * asked = nullptr;
   scheduler->budgetIs( [ & ]( const Task & t ) {
      asked = &t;
      return left-- == 0;
   } );
   a = task( "a", TaskPriority::normal, [ & ] {
      do {
         if( ++done == 10 ) return;
      } while( !a->taskShouldYield() );
      a->scheduleTask();
   } );
   a->scheduleTask();
   const struct {
      int budget, done;
      bool due;
   } rows[] = { { 0, 1, true }, { 2, 4, true }, { 1, 6, true }, { 9, 10, false } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.done );
      left = row.budget;
      ASSERT_TRUE( scheduler->runOne() );
      EXPECT_EQ( done, row.done );
      EXPECT_EQ( a->taskScheduled(), row.due );
   }
   EXPECT_EQ( asked, a.get() );
}

TEST_F( TaskTest, outsideOfARunThereIsNoLimit ) {
   int asked = 0;
   scheduler->budgetIs( [ & ]( const Task & ) { return ++asked > 0; } );
   const auto b = task( "b" );
   const auto a = task( "a", TaskPriority::normal, [ & ] { EXPECT_FALSE( b->taskShouldYield() ); } );   // b does not run
   EXPECT_FALSE( a->taskShouldYield() );
   a->scheduleTask();
   EXPECT_FALSE( a->taskShouldYield() );
   scheduler->runUntilIdle();
   EXPECT_FALSE( a->taskShouldYield() );
   EXPECT_EQ( asked, 0 );
}

TEST_F( TaskTest, theQuantumSaysWhenToYieldWithoutABudget ) {
   std::unique_ptr<Task> a;
   bool yield = false;
   a = task( "a", TaskPriority::normal, [ & ] { yield = a->taskShouldYield(); } );
   const auto runs = [ & ] {
      a->scheduleTask();
      scheduler->runOne();
      return yield;
   };
   scheduler->quantumIs( TaskScheduler::Clock::duration::zero() );
   EXPECT_TRUE( runs() );
   scheduler->quantumIs( std::chrono::hours( 1 ) );
   EXPECT_FALSE( runs() );
   scheduler->budgetIs( []( const Task & ) { return true; } );   // in place of the clock
   EXPECT_TRUE( runs() );
   scheduler->budgetIs( {} );
   EXPECT_FALSE( runs() );
}

TEST_F( TaskTest, theClockIsBackAsSoonAsABudgetIsTakenAway ) {
   scheduler->quantumIs( std::chrono::hours( 1 ) );
   scheduler->budgetIs( []( const Task & ) { return true; } );
   std::unique_ptr<Task> a;
   bool before = false, behind = true;
   a = task( "a", TaskPriority::normal, [ & ] {
      before = a->taskShouldYield();
      scheduler->budgetIs( nullptr );
      behind = a->taskShouldYield();
   } );
   a->scheduleTask();
   scheduler->runOne();
   EXPECT_TRUE( before );
   EXPECT_FALSE( behind );
}

TEST_F( TaskTest, aBudgetHoldsAsSoonAsItIsGiven ) {
   scheduler->quantumIs( std::chrono::hours( 1 ) );
   std::unique_ptr<Task> a;
   bool yield = false;
   a = task( "a", TaskPriority::normal, [ & ] {
      scheduler->budgetIs( []( const Task & ) { return true; } );
      yield = a->taskShouldYield();
   } );
   a->scheduleTask();
   scheduler->runOne();
   EXPECT_TRUE( yield );
}

TEST_F( TaskTest, aTaskNeedsAScheduler ) {
   EXPECT_THROW( Task( nullptr, TaskPriority::normal, "a", [] {} ), Plinth::MutatorArgNullPointerException );
}

TEST( TaskPriority, routeMapsHaveTheNumberThree ) {
   EXPECT_EQ( uint8_t( TaskPriority::routeMap ), 3u );
}

TEST_F( TaskTest, aQuantumWithoutEndNeverSpends ) {
   std::unique_ptr<Task> a;
   bool yield = true;
   a = task( "a", TaskPriority::normal, [ & ] { yield = a->taskShouldYield(); } );
   scheduler->quantumIs( TaskScheduler::Clock::duration::max() );
   a->scheduleTask();
   scheduler->runOne();
   EXPECT_FALSE( yield );
}

TEST_F( TaskTest, runForRunsAtLeastOnceAndLeavesTheRest ) {
   const auto a = task( "a" ), b = task( "b" );
   for( const auto duration : { TaskScheduler::Clock::duration::zero(), TaskScheduler::Clock::duration( -1 ) } ) {
      log.clear();
      a->scheduleTask();
      b->scheduleTask();
      EXPECT_EQ( scheduler->runFor( duration ), 1u );
      EXPECT_THAT( log, ElementsAre( "a" ) );
      EXPECT_EQ( scheduler->dueCount(), 1u );
      EXPECT_EQ( scheduler->runFor( duration ), 1u );
      EXPECT_TRUE( scheduler->idle() );
   }
}

TEST_F( TaskTest, runForEndsWhenNothingIsDue ) {
   std::unique_ptr<Task> a;
   int left = 3;
   a = task( "a", TaskPriority::normal, [ & ] {
      if( --left ) a->scheduleTask();
   } );
   a->scheduleTask();
   EXPECT_EQ( scheduler->runFor( std::chrono::hours( 1 ) ), 3u );
}

TEST_F( TaskTest, runForWithoutEndEndsWhenNothingIsDue ) {
   const auto a = task( "a" ), b = task( "b" );
   a->scheduleTask();
   b->scheduleTask();
   EXPECT_EQ( scheduler->runFor( TaskScheduler::Clock::duration::max() ), 2u );
}

TEST_F( TaskTest, theEndOfRunForTellsTheRunUnderWayToYield ) {
   std::unique_ptr<Task> a;
   bool yield = false;
   a = task( "a", TaskPriority::normal, [ & ] { yield = a->taskShouldYield(); } );
   scheduler->quantumIs( std::chrono::hours( 1 ) );
   a->scheduleTask();
   scheduler->runFor( TaskScheduler::Clock::duration::zero() );
   EXPECT_TRUE( yield );
   a->scheduleTask();
   scheduler->runUntilIdle();   // no longer told
   EXPECT_FALSE( yield );
   a->scheduleTask();
   scheduler->runFor( std::chrono::hours( 1 ) );
   EXPECT_FALSE( yield );
}

class TaskWakeUpTest : public TaskTest {
 protected:
   TaskWakeUpTest() {
      scheduler->wakeUpCallbackIs( [ this ] { ++wakeUps; } );
   }
   int wakeUps = 0;
};

TEST_F( TaskWakeUpTest, comesOnceForWorkThatComesToAnIdleScheduler ) {
   const auto a = task( "a" ), b = task( "b", TaskPriority::urgent );
   EXPECT_EQ( wakeUps, 0 );
   a->scheduleTask();
   EXPECT_EQ( wakeUps, 1 );
   a->scheduleTask();
   b->scheduleTask();
   EXPECT_EQ( wakeUps, 1 );
   scheduler->runOne();
   b->scheduleTask();   // `a` has been due all the time
   EXPECT_EQ( wakeUps, 1 );
   scheduler->runUntilIdle();
   b->scheduleTask();
   EXPECT_EQ( wakeUps, 2 );
}

TEST_F( TaskWakeUpTest, comesAgainWhenTheOnlyDueTaskHasGone ) {
   auto a = task( "a" ), b = task( "b" );
   a->scheduleTask();
   a.reset();
   b->scheduleTask();
   EXPECT_EQ( wakeUps, 2 );
}

TEST_F( TaskWakeUpTest, mayRunWhatIsDue ) {
   scheduler->wakeUpCallbackIs( [ this ] { scheduler->runUntilIdle(); } );
   const auto b = task( "b" );
   const auto a = task( "a", TaskPriority::normal, [ & ] {
      b->scheduleTask();
      log.push_back( "end of a" );
   } );
   a->scheduleTask();
   EXPECT_THAT( log, ElementsAre( "a", "end of a", "b" ) );
}

TEST_F( TaskWakeUpTest, isSilentWhileTasksRun ) {
   std::unique_ptr<Task> a;
   const auto b = task( "b" );
   a = task( "a", TaskPriority::normal, [ & ] {
      b->scheduleTask();
      if( a->taskRuns() == 1 ) a->scheduleTask();
   } );
   a->scheduleTask();
   scheduler->runOne();
   EXPECT_EQ( wakeUps, 1 );
   EXPECT_FALSE( scheduler->idle() );   // which the runner sees
   scheduler->runUntilIdle();
   EXPECT_EQ( wakeUps, 1 );
}

TEST_F( TaskWakeUpTest, isSilentInTheRunOfATaskThatHasGone ) {
   std::unique_ptr<Task> a;
   const auto b = task( "b" );
   a = task( "a", TaskPriority::normal, [ & ] {
      a.reset();
      b->scheduleTask();
   } );
   a->scheduleTask();
   scheduler->runOne();
   EXPECT_EQ( wakeUps, 1 );
   EXPECT_TRUE( b->taskScheduled() );
}

TEST_F( TaskWakeUpTest, isNotRepeatedByAChangeOfPriority ) {
   const auto a = task( "a" );
   a->scheduleTask();
   a->taskPriorityIs( TaskPriority::high );
   EXPECT_TRUE( a->taskScheduled() );
   EXPECT_EQ( wakeUps, 1 );
}

TEST_F( TaskWakeUpTest, mayBeTakenAway ) {
   scheduler->wakeUpCallbackIs( {} );
   const auto a = task( "a" );
   a->scheduleTask();
   EXPECT_EQ( scheduler->runUntilIdle(), 1u );
   EXPECT_EQ( wakeUps, 0 );
}

TEST_F( TaskTest, aDueTaskGoesToTheEndOfItsNewLevel ) {
   const auto a = task( "a" ), b = task( "b" ), c = task( "c", TaskPriority::high ), d = task( "d", TaskPriority::low );
   for( Task * t : { a.get(), b.get(), c.get(), d.get() } ) t->scheduleTask();
   a->taskPriorityIs( TaskPriority::high );
   d->taskPriorityIs( TaskPriority::normal );
   b->taskPriorityIs( TaskPriority::normal );   // the present one moves nobody
   EXPECT_EQ( scheduler->dueCount(), 4u );
   scheduler->runUntilIdle();
   EXPECT_THAT( log, ElementsAre( "c", "a", "b", "d" ) );
   EXPECT_EQ( a->taskPriority(), TaskPriority::high );
}

TEST_F( TaskTest, aPriorityCountsFromTheNextScheduling ) {
   std::unique_ptr<Task> a;
   a = task( "a", TaskPriority::normal, [ & ] {
      a->taskPriorityIs( TaskPriority::idle );
      EXPECT_FALSE( a->taskScheduled() );   // a change of priority asks for no run
      if( a->taskRuns() == 1 ) a->scheduleTask();
   } );
   const auto b = task( "b", TaskPriority::low );
   a->scheduleTask();
   b->scheduleTask();
   scheduler->runUntilIdle();
   EXPECT_THAT( log, ElementsAre( "a", "b", "a" ) );
}

TEST_F( TaskTest, workIsAccountedFor ) {
   const auto a = task( "a" ), b = task( "b" );
   EXPECT_EQ( a->taskWorkCount(), 0u );
   EXPECT_EQ( a->taskWorkPending(), 0u );
   a->taskWorkCountInc( 3 );
   a->taskWorkPendingIs( 7 );
   a->taskWorkCountInc( 4 );
   a->taskWorkCountInc( 0 );
   EXPECT_EQ( a->taskWorkCount(), 7u );
   EXPECT_EQ( a->taskWorkPending(), 7u );
   a->taskWorkPendingIs( 0 );   // the last report, not a sum
   EXPECT_EQ( a->taskWorkPending(), 0u );
   a->taskWorkCountInc( uint64_t( 1 ) << 40 );
   EXPECT_EQ( a->taskWorkCount(), ( uint64_t( 1 ) << 40 ) + 7 );
   EXPECT_EQ( b->taskWorkCount(), 0u );
   a->scheduleTask();
   scheduler->runUntilIdle();   // a run counts itself, not its work
   EXPECT_EQ( a->taskWorkCount(), ( uint64_t( 1 ) << 40 ) + 7 );
}

TEST_F( TaskTest, schedulersAreApart ) {
   const auto other = makeNode<TaskScheduler>();
   Task there( other, TaskPriority::urgent, "there", [ this ] { log.push_back( "there" ); } );
   const auto here = task( "here", TaskPriority::normal, [ & ] { EXPECT_EQ( other->runUntilIdle(), 1u ); } );
   there.scheduleTask();
   here->scheduleTask();
   EXPECT_EQ( other->dueCount(), 1u );
   EXPECT_EQ( scheduler->runUntilIdle(), 1u );
   EXPECT_THAT( log, ElementsAre( "here", "there" ) );
}

TEST_F( TaskTest, aTaskKeepsItsScheduler ) {
   auto * const raw = scheduler.get();
   auto a = task( "a" ), b = task( "b" );
   scheduler = nullptr;
   EXPECT_EQ( raw->useCount(), 2u );
   a->scheduleTask();
   EXPECT_EQ( raw->runUntilIdle(), 1u );
   EXPECT_THAT( log, ElementsAre( "a" ) );
   b.reset();
   EXPECT_EQ( raw->useCount(), 1u );
}

TEST_F( TaskTest, aTaskMayDropItsScheduler ) {
   const struct {
      const char * name;
      std::function<size_t( TaskScheduler & )> run;
   } rows[] = {
      { "runOne", []( TaskScheduler & s ) { return size_t( s.runOne() ); } },
      { "runUntilIdle", []( TaskScheduler & s ) { return s.runUntilIdle(); } },
      { "runFor", []( TaskScheduler & s ) { return s.runFor( std::chrono::hours( 1 ) ); } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      scheduler = makeNode<TaskScheduler>();
      std::unique_ptr<Task> a;
      a = task( "a", TaskPriority::normal, [ & ] {
         scheduler = nullptr;
         a.reset();   // which held the last handle
      } );
      a->scheduleTask();
      auto * const raw = scheduler.get();
      EXPECT_EQ( row.run( *raw ), 1u );
      EXPECT_EQ( a, nullptr );
      EXPECT_THAT( take(), ElementsAre( "a" ) );
   }
}

TEST( TaskSchedulerRoot, theProcessHasOneScheduler ) {
   const auto root = TaskSchedulerRoot::findOrCreateScheduler();
   ASSERT_NE( root, nullptr );
   EXPECT_EQ( TaskSchedulerRoot::findOrCreateScheduler(), root );
   EXPECT_NE( root, makeNode<TaskScheduler>() );
   int runs = 0;
   Task task( root, TaskPriority::routeMap, "task", [ & ] { ++runs; } );
   task.scheduleTask();
   EXPECT_EQ( TaskSchedulerRoot::findOrCreateScheduler()->runUntilIdle(), 1u );
   EXPECT_EQ( runs, 1 );
}

/// Runs a task of the process's scheduler when the process ends.
struct RunAtTheEnd {
   ~RunAtTheEnd() {
      if( !armed ) return;
      Task last( TaskSchedulerRoot::findOrCreateScheduler(), TaskPriority::normal, "last", [] { std::fputs( "the last task", stderr ); } );
      last.scheduleTask();
      TaskSchedulerRoot::findOrCreateScheduler()->runUntilIdle();
   }
   bool armed = false;
};

TEST( TaskSchedulerRootDeathTest, theProcesssSchedulerOutlivesWhateverGoesAtItsEnd ) {
   EXPECT_EXIT(
      {
         static RunAtTheEnd atTheEnd;   // before the scheduler is made
         atTheEnd.armed = true;
         TaskSchedulerRoot::findOrCreateScheduler();
         std::exit( 0 );
      },
      testing::ExitedWithCode( 0 ), "the last task" );
}

TEST_F( TaskDeathTest, aTaskRunsNoOther ) {
   const auto b = task( "b" );
   const struct {
      const char * name;
      std::function<void()> run;
   } rows[] = {
      { "runOne", [ & ] { scheduler->runOne(); } },
      { "runUntilIdle", [ & ] { scheduler->runUntilIdle(); } },
      { "runFor", [ & ] { scheduler->runFor( std::chrono::hours( 1 ) ); } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto a = task( "a", TaskPriority::high, row.run );
      a->scheduleTask();
      b->scheduleTask();
      EXPECT_DEATH( scheduler->runOne(), "Assertion failed: !inRun_" );
   }
}

TEST_F( TaskDeathTest, aTaskThatHasGoneRunsNoOtherInWhatIsLeftOfItsRun ) {
   std::unique_ptr<Task> a;
   const auto b = task( "b" );
   a = task( "a", TaskPriority::high, [ & ] {
      a.reset();
      scheduler->runOne();
   } );
   a->scheduleTask();
   b->scheduleTask();
   EXPECT_DEATH( scheduler->runOne(), "Assertion failed: !inRun_" );
}

TEST_F( TaskDeathTest, anExceptionOfATaskEndsTheProcess ) {
   const auto a = task( "a", TaskPriority::normal, [] { throw std::runtime_error( "no" ); } );
   a->scheduleTask();
   EXPECT_DEATH( scheduler->runOne(), HasSubstr( "exception in a task: no\n" ) );
}

TEST_F( TaskDeathTest, aTaskWithoutAHandlerEndsTheProcess ) {
   Task empty( scheduler, TaskPriority::normal, "empty", {} );
   empty.scheduleTask();
   EXPECT_DEATH( scheduler->runOne(), HasSubstr( "exception in a task: bad_function_call\n" ) );
}

TEST_F( TaskDeathTest, anExceptionOfTheWakeUpCallbackEndsTheProcess ) {
   const auto a = task( "a" );
   scheduler->wakeUpCallbackIs( [] { throw std::runtime_error( "no" ); } );
   EXPECT_DEATH( a->scheduleTask(), HasSubstr( "exception in a wake-up: no\n" ) );
}

TEST_F( TaskDeathTest, aPriorityIsOneOfThose ) {
   const auto beyond = TaskPriority( uint8_t( TaskPriority::idle ) + 1 );
   EXPECT_DEATH( task( "a", beyond ), "Assertion failed: priority <= TaskPriority::idle" );
   const auto a = task( "a" );
   EXPECT_DEATH( a->taskPriorityIs( beyond ), "Assertion failed: priority <= TaskPriority::idle" );
   a->taskPriorityIs( TaskPriority::idle );
   a->taskPriorityIs( TaskPriority::urgent );
}

}   // namespace
