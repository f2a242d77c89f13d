/// @file policy/PolicyEvalContext.h
/// Where a client of evaluation finds the logs: the one being written, the stack of route maps being evaluated, and the queue
/// of those finished. The queue has no limit: the client drains it.
/// Threading: one evaluation at a time, without a lock.
#pragma once

#include <utility>

#include "policy/PolicyEvaluationLog.h"
#include "routepolicy_export.h"
#include "substrate/plinth/LinkStack.h"
#include "substrate/plinth/Queue.h"

namespace Routing::Policy {

class ROUTEPOLICY_API PolicyEvalContext : public Quoin::Node {
 public:
   using LogPtr = Quoin::Ptr<PolicyEvaluationLog>;
   using FinishedLogPtr = Quoin::Ptr<const EvaluationLogBase>;
   ~PolicyEvalContext() override;

   /// The log of the evaluation under way; null for none.
   const LogPtr & log() const noexcept { return log_; }
   /// Installs a log, null too, as the only element of the call stack. The log that is installed already changes nothing.
   void logIs( LogPtr log );

   /// The route maps being evaluated, innermost on top. An element may hold a null log.
   void callStackPush( const LogPtr & log ) { callStack_.push( log ); }
   /// Takes the top off; null, and nothing happens, when there is none.
   LogPtr callStackPop() { return callStack_.pop(); }
   /// The log of the element whose index is the count less one: the top, as long as none has been deleted below it.
   LogPtr callStackPeek() const { return callStack( static_cast<uint32_t>( callStack_.count() ) - 1 ); }
   LogPtr callStackTop() const { return callStack_.top() ? *callStack_.top() : nullptr; }
   LogPtr callStackBottom() const { return callStack_.bottom() ? *callStack_.bottom() : nullptr; }
   /// Leaves `log` as the only element; the installed log stays.
   void callStackReset( LogPtr log );
   const Plinth::LinkStack<LogPtr> & callStack() const noexcept { return callStack_; }
   /// Null when there is none of that index.
   LogPtr callStack( uint32_t index ) const;
   void callStackDel( uint32_t index ) { callStack_.erase( index ); }
   void callStackDelAll() { callStack_.reset(); }

   /// While one stands, the context has no log; the call stack stays as it is.
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
   /// Null when there is none.
   FinishedLogPtr evaluationLogDeq() { return evaluationLog_.dequeue(); }
   FinishedLogPtr evaluationLogFront() const { return evaluationLog_.front() ? *evaluationLog_.front() : nullptr; }
   FinishedLogPtr evaluationLogBack() const { return evaluationLog_.back() ? *evaluationLog_.back() : nullptr; }
   void evaluationLogDelAll() { evaluationLog_.clear(); }

   /// Turns on the timers of evaluation.
   PLINTH_VALUE( enableTrailmark, enableTrailmarkIs, {}, bool );

 private:
   LogPtr log_;
   Plinth::Queue<FinishedLogPtr> evaluationLog_;
   Plinth::LinkStack<LogPtr> callStack_;
};

}   // namespace Routing::Policy
