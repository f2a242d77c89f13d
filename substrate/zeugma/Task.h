/// @file substrate/zeugma/Task.h
/// Cooperative tasks: work that must not run inside a write waits here until the agent's own loop runs it.
///
///    scheduler->wakeUpCallbackIs( [ & ] { loop.post( [ & ] { scheduler->runUntilIdle(); } ); } );
///    Zeugma::Task task( scheduler, Zeugma::TaskPriority::routeMap, "RouteMapDelete", [ & ] { work(); } );
///    task.scheduleTask();      // inside the write; `work` runs once, in the loop
///
/// Ownership: a task holds its scheduler; the scheduler knows only the tasks that are due. A task that goes is no longer due.
/// Threading: the activity thread.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Zeugma {

class Task;

/// The lower value runs first; among equals, the one that is due for longer.
enum class TaskPriority : uint8_t { urgent = 0, high = 1, normal = 2, routeMap = 3, low = 4, idle = 5 };

class ROUTEPOLICY_API TaskScheduler final : public Quoin::Node {
 public:
   using Clock = std::chrono::steady_clock;
   /// How long a task may run before taskShouldYield() says so, unless told otherwise.
   static constexpr std::chrono::milliseconds kDefaultQuantum{ 10 };

   TaskScheduler();
   ~TaskScheduler() override;   // no task is left: each holds its scheduler

   bool idle() const noexcept { return dueCount_ == 0; }
   size_t dueCount() const noexcept { return dueCount_; }

   /// Runs the task whose turn it is; false if none is due. Not to be called by a task.
   bool runOne();
   /// Runs tasks until none is due. Gives how many runs there were.
   size_t runUntilIdle();
   /// Runs tasks until none is due or the time is over, after at least one run. A run that is under way at the end is told to yield.
   size_t runFor( Clock::duration duration );

   /// Runs once whenever work comes to an idle scheduler, inside the scheduleTask() that brings it, and not while tasks run: what
   /// those leave behind, their runner sees in idle(). For an agent that must wake its loop. It must not replace itself.
   void wakeUpCallbackIs( std::function<void()> callback ) { wakeUp_ = std::move( callback ); }
   void quantumIs( Clock::duration quantum ) noexcept { quantum_ = quantum; }
   /// Says in place of the clock whether a run must yield; null gives the clock back. For tests that step through a run.
   void budgetIs( std::function<bool( const Task & )> spent ) { spent_ = std::move( spent ); }

   /// The task that runs now; null for none.
   const Task * running() const noexcept { return running_; }

 private:
   friend class Task;
   struct Level {
      Task * first = nullptr;
      Task * last = nullptr;
   };
   void schedule( Task & task );
   void enqueue( Task & task ) noexcept;
   void dequeue( Task & task ) noexcept;
   void run( Task & task );
   bool shouldYield( const Task & task ) const;

   std::array<Level, size_t( TaskPriority::idle ) + 1> levels_;
   size_t dueCount_ = 0;
   Task * running_ = nullptr;
   bool inRun_ = false;   // also where the task that ran has gone
   Clock::duration quantum_ = kDefaultQuantum;
   Clock::time_point runEnds_;
   Clock::time_point turnEnds_ = Clock::time_point::max();   // of runFor()
   std::function<void()> wakeUp_;
   std::function<bool( const Task & )> spent_;
};

/// The process's scheduler, for those who are given none.
struct ROUTEPOLICY_API TaskSchedulerRoot {
   static Quoin::Ptr<TaskScheduler> findOrCreateScheduler();
};

/// One piece of work that comes back. Scheduling it twice before it runs gives one run.
class ROUTEPOLICY_API Task final {
 public:
   /// Errors: MutatorArgNullPointerException without a scheduler.
   Task( Quoin::Ptr<TaskScheduler> scheduler, TaskPriority priority, const Quoin::String & name, std::function<void()> handler );
   ~Task();   // also inside its own run
   Task( const Task & ) = delete;
   Task & operator=( const Task & ) = delete;

   /// Asks for a run. Inside its own run, for one more. What the wake-up callback throws comes out, and nothing has been asked for.
   void scheduleTask() { scheduler_->schedule( *this ); }
   bool taskScheduled() const noexcept { return due_; }

   const Quoin::String & taskName() const noexcept { return name_; }
   const Quoin::Ptr<TaskScheduler> & taskScheduler() const noexcept { return scheduler_; }
   TaskPriority taskPriority() const noexcept { return priority_; }
   /// A task that is due goes to the end of its new level.
   void taskPriorityIs( TaskPriority priority );

   bool taskCurrentlyRunning() const noexcept { return scheduler_->running() == this; }
   /// Whether a run has taken its time and must come to an end, scheduling the rest. Outside of a run there is no limit: false.
   bool taskShouldYield() const { return taskCurrentlyRunning() && scheduler_->shouldYield( *this ); }

   /// Units of work done so far, and those that the last report said were left.
   uint64_t taskWorkCount() const noexcept { return workCount_; }
   void taskWorkCountInc( uint64_t done ) noexcept { workCount_ += done; }
   uint64_t taskWorkPending() const noexcept { return workPending_; }
   void taskWorkPendingIs( uint64_t left ) noexcept { workPending_ = left; }
   uint64_t taskRuns() const noexcept { return runs_; }

 private:
   friend class TaskScheduler;
   Quoin::Ptr<TaskScheduler> scheduler_;
   std::function<void()> handler_;
   Quoin::String name_;
   Task * prev_ = nullptr;
   Task * next_ = nullptr;
   uint64_t workCount_ = 0;
   uint64_t workPending_ = 0;
   uint64_t runs_ = 0;
   TaskPriority priority_;
   bool due_ = false;
};

}   // namespace Zeugma
