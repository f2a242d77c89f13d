/// @file substrate/zeugma/Task.h
/// Cooperative tasks: work that must not run inside a write is scheduled here, and the agent's own loop runs it later. State machines
/// schedule their compilation as tasks. `Zeugma` is state machines and tasks.
///
///    scheduler->wakeUpCallbackIs( [ & ] { loop.post( [ & ] { scheduler->runUntilIdle(); } ); } );
///    Zeugma::Task task( scheduler, Zeugma::TaskPriority::routeMap, "RouteMapDelete", [ & ] { work(); } );
///    task.scheduleTask();      // inside the write; `work` runs once, in the loop
///
/// Ownership: a task holds its scheduler; the scheduler does not own tasks. A task that is destroyed is no longer due.
/// Threading: the activity thread.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <set>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Zeugma {

class Task;

/// The task with the lowest value runs first; among equal values, the task with the lowest rank; among equal ranks, the task that became
/// due first.
enum class TaskPriority : uint8_t { urgent = 0, high = 1, normal = 2, routeMap = 3, low = 4, idle = 5 };

/// The queue of due tasks.
class ROUTEPOLICY_API TaskScheduler final : public Quoin::Node {
 public:
   using Clock = std::chrono::steady_clock;
   /// The default of quantumIs(): how long a task may run before taskShouldYield() returns true.
   static constexpr std::chrono::milliseconds kDefaultQuantum{ 10 };

   TaskScheduler();
   ~TaskScheduler() override;   // no task exists any more, since each task holds its scheduler

   /// Whether no task is due.
   bool idle() const noexcept { return dueCount_ == 0; }
   /// The number of due tasks.
   size_t dueCount() const noexcept { return dueCount_; }

   /// Runs the next due task. Returns false if no task is due. A task must not call it; an assertion checks this.
   bool runOne();
   /// Runs tasks until none is due. Returns the number of runs.
   size_t runUntilIdle();
   /// Runs tasks until none is due or the time is over, but at least one. When the time is over, taskShouldYield() returns true in the
   /// task that is running. Returns the number of runs.
   size_t runFor( Clock::duration duration );

   /// Sets a callback for an agent that must wake its loop. It runs when an idle scheduler gets its first due task, inside that
   /// scheduleTask(). It does not run while a task runs: the code that runs the tasks checks idle() afterwards. It must not replace itself.
   void wakeUpCallbackIs( std::function<void()> callback ) { wakeUp_ = std::move( callback ); }
   /// Sets how long a task may run before taskShouldYield() returns true.
   void quantumIs( Clock::duration quantum ) noexcept { quantum_ = quantum; }
   /// Replaces the clock as the answer of taskShouldYield(): `spent` returns true when the task must yield. Null restores the clock. For
   /// tests that step through a run.
   void budgetIs( std::function<bool( const Task & )> spent ) { spent_ = std::move( spent ); }

   /// The task that is running, or null.
   const Task * running() const noexcept { return running_; }

 private:
   friend class Task;
   struct RunsBefore {
      bool operator()( const Task * a, const Task * b ) const noexcept;
   };
   using Level = std::set<Task *, RunsBefore>;
   void schedule( Task & task, int64_t rank );
   void enqueue( Task & task ) noexcept;
   void dequeue( Task & task ) noexcept;
   void run( Task & task );
   bool shouldYield( const Task & task ) const;

   std::array<Level, size_t( TaskPriority::idle ) + 1> levels_;
   size_t dueCount_ = 0;
   uint64_t enqueued_ = 0;   // the number of the last task that became due
   Task * running_ = nullptr;
   bool inRun_ = false;   // stays true if the running task destroys itself
   Clock::duration quantum_ = kDefaultQuantum;
   Clock::time_point runEnds_;
   Clock::time_point turnEnds_ = Clock::time_point::max();   // the end of runFor()
   std::function<void()> wakeUp_;
   std::function<bool( const Task & )> spent_;
};

/// The default scheduler of the process, for pipelines and machines that are given no other.
struct ROUTEPOLICY_API TaskSchedulerRoot {
   /// Returns the default scheduler. The first call creates it.
   static Quoin::Ptr<TaskScheduler> findOrCreateScheduler();
};

/// One piece of work that can be scheduled again and again. Scheduling it twice before it runs gives one run.
class ROUTEPOLICY_API Task final {
 public:
   /// The rank of a task that runs before, or after, all other due tasks of its priority.
   static constexpr int64_t kFirstRank = std::numeric_limits<int64_t>::min(), kLastRank = std::numeric_limits<int64_t>::max();

   /// Errors: MutatorArgNullPointerException without a scheduler.
   Task( Quoin::Ptr<TaskScheduler> scheduler, TaskPriority priority, const Quoin::String & name, std::function<void()> handler );
   ~Task();   // may run inside the task's own run
   Task( const Task & ) = delete;
   Task & operator=( const Task & ) = delete;

   /// Requests one run; inside its own run, one more run. `rank`: the order among due tasks of one priority; a due task keeps its rank.
   void scheduleTask( int64_t rank = 0 ) { scheduler_->schedule( *this, rank ); }
   /// Whether the task is due.
   bool taskScheduled() const noexcept { return due_; }

   const Quoin::String & taskName() const noexcept { return name_; }
   const Quoin::Ptr<TaskScheduler> & taskScheduler() const noexcept { return scheduler_; }
   TaskPriority taskPriority() const noexcept { return priority_; }
   /// Changes the priority. A due task is the last of its rank in its new priority.
   void taskPriorityIs( TaskPriority priority );

   bool taskCurrentlyRunning() const noexcept { return scheduler_->running() == this; }
   /// Whether the running task has used up its time. The task should then schedule itself for the rest of its work and return. Always
   /// false outside of the task's own run.
   bool taskShouldYield() const { return taskCurrentlyRunning() && scheduler_->shouldYield( *this ); }

   /// Units of work done so far. The task's function reports them; the counters serve diagnosis only.
   uint64_t taskWorkCount() const noexcept { return workCount_; }
   void taskWorkCountInc( uint64_t done ) noexcept { workCount_ += done; }
   /// Units of work left, by the last report of the task's function.
   uint64_t taskWorkPending() const noexcept { return workPending_; }
   void taskWorkPendingIs( uint64_t left ) noexcept { workPending_ = left; }
   /// The number of runs so far.
   uint64_t taskRuns() const noexcept { return runs_; }

 private:
   friend class TaskScheduler;

   Quoin::Ptr<TaskScheduler> scheduler_;
   std::function<void()> handler_;
   Quoin::String name_;
   TaskScheduler::Level::node_type place_;   // in the queue; empty while the task is due
   int64_t rank_ = 0;
   uint64_t number_ = 0;   // of the moment when the task became due
   uint64_t workCount_ = 0;
   uint64_t workPending_ = 0;
   uint64_t runs_ = 0;
   TaskPriority priority_;
   bool due_ = false;
};

}   // namespace Zeugma
