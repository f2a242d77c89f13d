/// @file substrate/weft/Pipeline.h
/// What pipelines have in common: inputs are scanned and then watched, each event computes the output anew from all inputs, and
/// the output is written.
///
/// A pipeline goes through three states and never back: constructed; scanning; ready. Its inputs are scanned twice. The first scan
/// goes through what there is, in tasks that yield unless the pipeline is synchronous; events are swallowed meanwhile. The second,
/// when all have finished the first, goes through the inputs at once and with events on, so that nothing is lost.
///
/// Ownership: a pipeline holds its inputs and its output, and owns its input machines. Threading: the activity thread.
#pragma once

#include <memory>

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/weft/InputStateMachine.h"
#include "substrate/weft/SmControl.h"

namespace Weft::Gen {

/// Which streams of a pipeline still have their scan ahead of them. Derived classes name the streams.
class ROUTEPOLICY_API InputSmScanState : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { idle, firstScan };   // the scan of stream s is firstScan + s
   ~InputSmScanState() override;

   /// All scans have finished.
   PLINTH_ATTR( idle, idleIs, Field::idle, bool );

   /// Says whether the pipeline is idle by the present scans.
   void handleIdle() { idleIs( scansFinished() ); }
   bool scansFinished() const noexcept { return pending_ == 0; }
   bool scanPending( unsigned stream ) const noexcept { return pending_ >> stream & 1; }
   void scanPendingIs( unsigned stream, bool pending );

 protected:
   /// All of them are pending.
   explicit InputSmScanState( unsigned streams ) noexcept : pending_( ( 1u << streams ) - 1 ) {}

 private:
   unsigned pending_;
};

/// Which outputs of a pipeline are ready. Derived classes name the outputs.
class ROUTEPOLICY_API OutputState : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { ready, firstOutput };   // output o is firstOutput + o
   ~OutputState() override;

   /// All outputs are.
   PLINTH_ATTR( ready, readyIs, Field::ready, bool );

   bool outputReady( unsigned output ) const noexcept { return !( notReady_ >> output & 1 ); }
   /// Writes `ready` as well, which is told of first.
   void outputReadyIs( unsigned output, bool ready );

 protected:
   /// None is.
   explicit OutputState( unsigned outputs ) noexcept : notReady_( ( 1u << outputs ) - 1 ) {}

 private:
   unsigned notReady_;
};

class Pipeline;

/// Watches one attribute of one input for a pipeline.
class ROUTEPOLICY_API InputSm : public InputStateMachine {
 public:
   /// What a derived class is called in traces. All literals.
   struct Texts {
      const char * name;
      const char * stream;     // that it feeds
      const char * taskName;   // of its scan
   };
   ~InputSm() override;

   /// Null when the pipeline has been torn down: nothing is scanned or heard from then on.
   Pipeline * parent() const noexcept { return parent_; }
   unsigned stream() const noexcept { return stream_; }
   const char * streamName() const noexcept { return texts_.stream; }
   bool synchronous() const noexcept { return synchronous_; }
   /// The first scan has finished.
   bool initialScanDone() const noexcept { return initialScanDone_; }

   void handleInitialized() final;
   /// Scans in the scan's task while there is one, else at once.
   void doInputScan();
   /// Drops the task and watches no longer.
   void doDeleteAll();
   void formatDerivedType( std::ostream & os ) const final { os << texts_.name; }

 protected:
   /// Looks at changes of `field` only. A null input can be held; a scan of it ends the process.
   InputSm( Pipeline & parent, unsigned stream, const Texts & texts, const Quoin::Ptr<const Quoin::Node> & input, Quoin::FieldId field );

   /// The attribute has changed.
   virtual void handleInput() = 0;
   /// Feeds each member of the attribute to the stream, from where the last walk yielded; false if this one yields.
   virtual bool scanInput() = 0;
   /// Says in the trace that the next event comes from a scan.
   void traceInitial() const;

   /// Scans at once.
   void runScan();
   /// Reacts to a change, saying so in inReactor().
   void runReactor();
   /// Whether a scan must stop here.
   bool shouldYield() const { return task_ && task_->taskShouldYield(); }
   /// The scan's; null behind the first scan, and in a synchronous pipeline.
   const Zeugma::Task * task() const noexcept { return task_.get(); }

 private:
   void handleChangeMissed() final { handleInput(); }
   void handleChange( const Quoin::Change & change );

   Pipeline * parent_;
   Texts texts_;
   std::unique_ptr<Zeugma::Task> task_;
   Zeugma::Reactor<InputSm> reactor_{ *this, &InputSm::handleChange };
   unsigned stream_;
   Quoin::FieldId field_;
   bool synchronous_;
   bool initialScanDone_ = false;
};

/// The machine itself, with one output.
class ROUTEPOLICY_API Pipeline : public InputStateMachine {
 public:
   /// What a derived class is called in traces. All literals.
   struct Texts {
      const char * name;
      const char * output;              // whose ready flag it is
      const char * inputReadyHandler;   // the function's name
      const char * into;                // what is written
   };
   ~Pipeline() override;

   const SmControl & wefterControl() const noexcept { return wefterControl_; }
   /// handleInitialized() has finished.
   bool initialized() const noexcept { return initialized_; }
   /// The first scans of all inputs have finished; events now flow.
   bool initialScanDone() const noexcept { return initialScanDone_; }
   /// The output stands for what the inputs say.
   bool ready() const noexcept { return outputState_ && outputState_->ready(); }
   /// No scan is left to do.
   bool idle() const noexcept { return inputSmScanState_ && inputSmScanState_->idle(); }

   void handleInitialized() final;
   void handleInitialScanDone();
   /// Drops the input machines' tasks and subscriptions, and the two states. The output stays as it is from then on.
   void doDeleteAll();
   /// Errors: MutatorArgNullPointerException on null.
   void trailmarkHandleIs( Trailmark::Handle * handle ) { wefterControl_.trailmarkHandleIs( handle ); }
   void formatDerivedType( std::ostream & os ) const final { os << texts_.name; }

 protected:
   Pipeline( const SmControl & wefterControl, const Plinth::TraceHandle & trace, const Texts & texts );

   // What makes a pipeline.
   virtual Quoin::Ptr<InputSmScanState> makeInputSmScanState() const = 0;
   virtual Quoin::Ptr<OutputState> makeOutputState() const = 0;
   virtual void checkArgs() const = 0;
   virtual void makeInputSms() = 0;
   /// The output's value, of all inputs as they stand.
   virtual bool value() const = 0;
   virtual void outputIs( bool value ) = 0;

   /// Takes an input machine in, and switches it on.
   void inputSmIs( const Quoin::Ptr<InputSm> & inputSm ) { inputSms_.put( inputSm->stream(), inputSm ); }
   Quoin::Ptr<InputSm> inputSm( unsigned stream ) const { return inputSms_.find( stream ); }
   /// Goes on with what is left to do until the output is ready. After that, events alone move the output.
   void handleInputReady();
   /// Writes what the inputs say into the output.
   void insert();

   const Plinth::TraceHandle & trace() const noexcept { return trace_; }
   Quoin::Ptr<InputSmScanState> inputSmScanStateNode() const noexcept { return inputSmScanState_; }
   Quoin::Ptr<OutputState> outputStateNode() const noexcept { return outputState_; }

 private:
   friend class InputSm;
   void handleChangeMissed() final {}   // it watches nothing but through its input machines
   bool inputsScanned() const;
   void scanPending();
   void reconcile();

   const Plinth::TraceHandle & trace_;
   Texts texts_;
   SmControl wefterControl_;
   Quoin::Ptr<InputSmScanState> inputSmScanState_;
   Quoin::Ptr<OutputState> outputState_;
   Zeugma::NestedSms<unsigned, InputSm> inputSms_{ *this };   // by stream
   bool initialized_ = false;
   bool initialScanDone_ = false;
   bool busy_ = false;   // in the second scans, or in what comes behind them
};

/// Checks an argument of a pipeline, which has a reader of its name.
#define WEFT_REQUIRED_ARG( arg ) QUOIN_ASSERT( arg(), #arg "() && \"Pointer SM args cannot be null unless they are marked Optional\"" )

}   // namespace Weft::Gen
