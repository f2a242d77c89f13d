/// @file policy/PolicyEvalContext.h
/// The place where evaluation leaves its logs for a client: the log in progress, the stack of route maps in evaluation, and the queue of
/// finished logs. PolicyEval writes it; the client drains the queue, which has no limit.
/// Threading: one evaluation at a time. It has no lock.
#pragma once

#include <utility>

#include "policy/PolicyEvaluationLog.h"
#include "routepolicy_export.h"
#include "substrate/plinth/LinkStack.h"
#include "substrate/plinth/Queue.h"

namespace Routing::Policy {

/// The logs and the timer switch of one client of evaluation.
class ROUTEPOLICY_API PolicyEvalContext : public Quoin::Node {
 public:
   using LogPtr = Quoin::Ptr<PolicyEvaluationLog>;
   using FinishedLogPtr = Quoin::Ptr<const EvaluationLogBase>;
   ~PolicyEvalContext() override;

   /// The log of the evaluation in progress; null for none.
   const LogPtr & log() const noexcept { return log_; }
   /// Installs a log, which may be null, and makes it the only element of the call stack. Installing the same log again changes nothing.
   void logIs( LogPtr log );

   /// The stack of the route maps in evaluation, the innermost on top. An element may hold a null log.
   void callStackPush( const LogPtr & log ) { callStack_.push( log ); }
   /// Removes the top and returns it; null if the stack is empty.
   LogPtr callStackPop() { return callStack_.pop(); }
   /// The log of the element at index count - 1. It is the top unless an element below it was deleted.
   LogPtr callStackPeek() const { return callStack( static_cast<uint32_t>( callStack_.count() ) - 1 ); }
   /// The top and the bottom; null if the stack is empty.
   LogPtr callStackTop() const { return callStack_.top() ? *callStack_.top() : nullptr; }
   LogPtr callStackBottom() const { return callStack_.bottom() ? *callStack_.bottom() : nullptr; }
   /// Makes `log` the only element. The installed log does not change.
   void callStackReset( LogPtr log );
   const Plinth::LinkStack<LogPtr> & callStack() const noexcept { return callStack_; }
   /// The element at an index; null if it does not exist.
   LogPtr callStack( uint32_t index ) const;
   void callStackDel( uint32_t index ) { callStack_.erase( index ); }
   void callStackDelAll() { callStack_.reset(); }

   /// While a LogPause exists, the context has no log. The call stack does not change.
   class LogPause {
    public:
      explicit LogPause( const Quoin::Ptr<PolicyEvalContext> & context ) : context_( context ), log_( std::move( context->log_ ) ) {}
      ~LogPause() {
         if( !context_->log_ ) context_->log_ = std::move( log_ );
      }
      LogPause( const LogPause & ) = delete;
      LogPause & operator=( const LogPause & ) = delete;

    private:
      Quoin::Ptr<PolicyEvalContext> context_;
      LogPtr log_;
   };

   /// Finished logs, oldest first.
   const Plinth::Queue<FinishedLogPtr> & evaluationLog() const noexcept { return evaluationLog_; }
   void evaluationLogEnq( const FinishedLogPtr & log ) { evaluationLog_.enqueue( log ); }
   /// Removes the oldest log and returns it; null if the queue is empty.
   FinishedLogPtr evaluationLogDeq() { return evaluationLog_.dequeue(); }
   /// The oldest and the newest log; null if the queue is empty.
   FinishedLogPtr evaluationLogFront() const { return evaluationLog_.front() ? *evaluationLog_.front() : nullptr; }
   FinishedLogPtr evaluationLogBack() const { return evaluationLog_.back() ? *evaluationLog_.back() : nullptr; }
   void evaluationLogDelAll() { evaluationLog_.clear(); }

   /// Enables the timers of evaluation.
   PLINTH_VALUE( enableTrailmark, enableTrailmarkIs, {}, bool );

 private:
   LogPtr log_;
   Plinth::Queue<FinishedLogPtr> evaluationLog_;
   Plinth::LinkStack<LogPtr> callStack_;
};

}   // namespace Routing::Policy
