#include "substrate/zeugma/Task.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Assert.h"

namespace Zeugma {

namespace {

// The time `duration` from now; the latest possible time if the sum overflows.
std::chrono::steady_clock::time_point after( std::chrono::steady_clock::duration duration ) {
   const auto now = std::chrono::steady_clock::now();
   return duration > now.max() - now ? now.max() : now + duration;
}

}   // namespace

TaskScheduler::TaskScheduler() = default;
TaskScheduler::~TaskScheduler() = default;

bool TaskScheduler::runOne() {
   for( const Level & level : levels_ ) {
      if( level.empty() ) continue;
      run( **level.begin() );
      return true;
   }
   return false;
}

size_t TaskScheduler::runUntilIdle() {
   const Quoin::Ptr<TaskScheduler> self( this );   // a task may drop the last other handle
   size_t runs = 0;
   while( runOne() ) ++runs;
   return runs;
}

size_t TaskScheduler::runFor( Clock::duration duration ) {
   const Quoin::Ptr<TaskScheduler> self( this );
   const auto end = after( duration );
   struct Turn {
      TaskScheduler & scheduler;
      ~Turn() { scheduler.turnEnds_ = Clock::time_point::max(); }
   } turn{ *this };
   turnEnds_ = end;
   size_t runs = 0;
   do {
      if( !runOne() ) break;
      ++runs;
   } while( Clock::now() < end );
   return runs;
}

void TaskScheduler::run( Task & task ) {
   QUOIN_ASSERT( !inRun_, "!inRun_" );
   const Quoin::Ptr<TaskScheduler> self( this );
   dequeue( task );
   ++task.runs_;
   // The function may destroy its task. The function must survive that, so it is moved out of the task during the run.
   struct Run {
      TaskScheduler & scheduler;
      std::function<void()> handler;
      ~Run() {
         if( scheduler.running_ ) scheduler.running_->handler_ = std::move( handler );
         scheduler.running_ = nullptr;
         scheduler.inRun_ = false;
      }
   } now{ *this, std::move( task.handler_ ) };
   running_ = &task;
   inRun_ = true;
   runEnds_ = std::min( after( quantum_ ), turnEnds_ );
   Quoin::whole( "a task", now.handler );
}

bool TaskScheduler::shouldYield( const Task & task ) const {
   return spent_ ? spent_( task ) : Clock::now() >= runEnds_;
}

bool TaskScheduler::RunsBefore::operator()( const Task * a, const Task * b ) const noexcept {
   return std::tie( a->rank_, a->number_ ) < std::tie( b->rank_, b->number_ );
}

void TaskScheduler::schedule( Task & task, int64_t rank ) {
   if( task.due_ ) return;
   task.rank_ = rank;
   enqueue( task );
   if( dueCount_ != 1 || inRun_ || !wakeUp_ ) return;
   Quoin::whole( "a wake-up", wakeUp_ );   // without it, the task would never run
}

void TaskScheduler::enqueue( Task & task ) noexcept {
   task.due_ = true;
   task.number_ = ++enqueued_;
   levels_[ size_t( task.priority_ ) ].insert( std::move( task.place_ ) );
   ++dueCount_;
}

void TaskScheduler::dequeue( Task & task ) noexcept {
   if( !task.due_ ) return;
   task.place_ = levels_[ size_t( task.priority_ ) ].extract( &task );
   task.due_ = false;
   --dueCount_;
}

Quoin::Ptr<TaskScheduler> TaskSchedulerRoot::findOrCreateScheduler() {
   static const auto & scheduler = *new Quoin::Ptr( Quoin::makeNode<TaskScheduler>() );   // never deleted: static destructors may use it
   return scheduler;
}

Task::Task( Quoin::Ptr<TaskScheduler> scheduler, TaskPriority priority, const Quoin::String & name, std::function<void()> handler )
      : scheduler_( std::move( scheduler ) ), handler_( std::move( handler ) ), name_( name ), priority_( priority ) {
   if( !scheduler_ ) Plinth::throwMutatorArgNullPointerException( "Task" );
   QUOIN_ASSERT( priority <= TaskPriority::idle, "priority <= TaskPriority::idle" );
   TaskScheduler::Level own{ this };   // allocates the place once, so that the task can always become due
   place_ = own.extract( own.begin() );
}

Task::~Task() {
   scheduler_->dequeue( *this );
   if( scheduler_->running_ == this ) scheduler_->running_ = nullptr;
}

void Task::taskPriorityIs( TaskPriority priority ) {
   QUOIN_ASSERT( priority <= TaskPriority::idle, "priority <= TaskPriority::idle" );
   if( priority == priority_ ) return;
   const bool due = due_;
   scheduler_->dequeue( *this );
   priority_ = priority;
   if( due ) scheduler_->enqueue( *this );
}

}   // namespace Zeugma
