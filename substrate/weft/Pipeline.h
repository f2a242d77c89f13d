/// @file substrate/weft/Pipeline.h
/// A pipeline computes one output from several inputs and keeps it up to date: it scans its inputs, then watches them, and each event
/// computes the output again from all inputs. The pipelines of rolestatus/ derive from it. `Weft` is pipelines.
///
/// A pipeline has three states, in this order, and never goes back: constructed; scanning; ready. Its inputs are scanned twice. The first
/// scan visits all members; it runs in tasks that yield, unless the pipeline is synchronous, and events are ignored meanwhile. When all
/// inputs have finished the first scan, the second scan visits all inputs at once, with events on, so that no change is lost.
///
/// Ownership: a pipeline holds its inputs and its output, and owns its input machines. Threading: the activity thread.
#pragma once

#include <memory>

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/weft/InputStateMachine.h"
#include "substrate/weft/SmControl.h"

namespace Weft::Gen {

/// The scans of a pipeline that are pending, by stream. A stream is the path of one input. Derived classes name the streams.
class ROUTEPOLICY_API InputSmScanState : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { idle, firstScan };   // the scan of stream s is firstScan + s
   ~InputSmScanState() override;

   /// Whether all scans have finished, as published by handleIdle().
   PLINTH_ATTR( idle, idleIs, Field::idle, bool );

   /// Sets `idle` from the present scans.
   void handleIdle() { idleIs( scansFinished() ); }
   bool scansFinished() const noexcept { return pending_ == 0; }
   bool scanPending( unsigned stream ) const noexcept { return pending_ >> stream & 1; }
   /// Publishes a change of the stream's scan.
   void scanPendingIs( unsigned stream, bool pending );

 protected:
   /// Initially all scans are pending.
   explicit InputSmScanState( unsigned streams ) noexcept : pending_( ( 1u << streams ) - 1 ) {}

 private:
   unsigned pending_;
};

/// The outputs of a pipeline that are ready. Derived classes name the outputs.
class ROUTEPOLICY_API OutputState : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { ready, firstOutput };   // output o is firstOutput + o
   ~OutputState() override;

   /// Whether all outputs are ready.
   PLINTH_ATTR( ready, readyIs, Field::ready, bool );

   bool outputReady( unsigned output ) const noexcept { return !( notReady_ >> output & 1 ); }
   /// Sets one output's flag, and `ready` accordingly. Publishes `ready` first.
   void outputReadyIs( unsigned output, bool ready );

 protected:
   /// Initially no output is ready.
   explicit OutputState( unsigned outputs ) noexcept : notReady_( ( 1u << outputs ) - 1 ) {}

 private:
   unsigned notReady_;
};

class Pipeline;

/// Watches one attribute of one input for a pipeline.
class ROUTEPOLICY_API InputSm : public InputStateMachine {
 public:
   /// Names for traces. All are string literals.
   struct Texts {
      const char * name;       // of the input machine
      const char * stream;     // of the stream that it feeds
      const char * taskName;   // of the task of its scan
   };
   ~InputSm() override;

   /// The pipeline; null after doDeleteAll(). From then on, the machine neither scans nor reacts.
   Pipeline * parent() const noexcept { return parent_; }
   unsigned stream() const noexcept { return stream_; }
   const char * streamName() const noexcept { return texts_.stream; }
   bool synchronous() const noexcept { return synchronous_; }
   /// Whether the first scan has finished.
   bool initialScanDone() const noexcept { return initialScanDone_; }

   void handleInitialized() final;
   /// Schedules the task of the scan; scans at once if the task does not exist.
   void doInputScan();
   /// Deletes the task and stops watching the input.
   void doDeleteAll();
   void formatDerivedType( std::ostream & os ) const final { os << texts_.name; }

 protected:
   /// Reacts only to changes of `field`. `input` may be null, but a scan then ends the process.
   InputSm( Pipeline & parent, unsigned stream, const Texts & texts, const Quoin::Ptr<const Quoin::Node> & input, Quoin::FieldId field );

   /// The attribute has changed.
   virtual void handleInput() = 0;
   /// Feeds the members of the attribute to the stream, and continues where the previous call yielded. Returns false if this call yields.
   virtual bool scanInput() = 0;
   /// Traces that the next event comes from a scan.
   void traceInitial() const;

   /// Scans at once.
   void runScan();
   /// Reacts to a change; inReactor() is true meanwhile.
   void runReactor();
   /// Whether a scan must yield now.
   bool shouldYield() const { return task_ && task_->taskShouldYield(); }
   /// The task of the scan; null after the first scan, and in a synchronous pipeline.
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

/// A pipeline with one boolean output.
class ROUTEPOLICY_API Pipeline : public InputStateMachine {
 public:
   /// Names for traces. All are string literals.
   struct Texts {
      const char * name;                // of the pipeline
      const char * output;              // of the output that becomes ready
      const char * inputReadyHandler;   // of the function that handles ready inputs
      const char * into;                // of the attribute that is written
   };
   ~Pipeline() override;

   const SmControl & wefterControl() const noexcept { return wefterControl_; }
   /// Whether construction is complete: the input machines exist.
   bool initialized() const noexcept { return initialized_; }
   /// Whether the first scans of all inputs have finished; events are then processed.
   bool initialScanDone() const noexcept { return initialScanDone_; }
   /// Whether the output agrees with the inputs.
   bool ready() const noexcept { return outputState_ && outputState_->ready(); }
   /// Whether no scan is pending.
   bool idle() const noexcept { return inputSmScanState_ && inputSmScanState_->idle(); }

   void handleInitialized() final;
   /// Begins the second scan if all first scans have finished.
   void handleInitialScanDone();
   /// Tears the pipeline down: deletes the tasks and subscriptions of the input machines, and the two states. The output then no longer
   /// changes.
   void doDeleteAll();
   /// Sets the ring that receives this pipeline's records. Not owned. Errors: MutatorArgNullPointerException on null.
   void trailmarkHandleIs( Trailmark::Handle * handle ) { wefterControl_.trailmarkHandleIs( handle ); }
   void formatDerivedType( std::ostream & os ) const final { os << texts_.name; }

 protected:
   Pipeline( const SmControl & wefterControl, const Plinth::TraceHandle & trace, const Texts & texts );

   // A derived class supplies the parts of the pipeline. handleInitialized() calls these functions in this order.

   /// Creates the state of the scans.
   virtual Quoin::Ptr<InputSmScanState> makeInputSmScanState() const = 0;
   /// Creates the state of the outputs.
   virtual Quoin::Ptr<OutputState> makeOutputState() const = 0;
   /// Ends the process if a required argument is null; see WEFT_REQUIRED_ARG.
   virtual void checkArgs() const = 0;
   /// Creates the input machines, and adds each with inputSmIs().
   virtual void makeInputSms() = 0;
   /// Computes the output from the present inputs.
   virtual bool value() const = 0;
   /// Writes the output. It may be called with the present value.
   virtual void outputIs( bool value ) = 0;

   /// Adds an input machine and switches it on.
   void inputSmIs( const Quoin::Ptr<InputSm> & inputSm ) { inputSms_.put( inputSm->stream(), inputSm ); }
   Quoin::Ptr<InputSm> inputSm( unsigned stream ) const { return inputSms_.find( stream ); }
   /// Does the next steps until the output is ready. Afterwards, only events change the output.
   void handleInputReady();
   /// Computes the output and writes it.
   void insert();

   const Plinth::TraceHandle & trace() const noexcept { return trace_; }
   Quoin::Ptr<InputSmScanState> inputSmScanStateNode() const noexcept { return inputSmScanState_; }
   Quoin::Ptr<OutputState> outputStateNode() const noexcept { return outputState_; }

 private:
   friend class InputSm;
   void handleChangeMissed() final {}   // only its input machines watch objects
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
   bool busy_ = false;   // the second scan, or the first write of the output, is in progress
};

/// Ends the process if the argument `arg` of a pipeline is null. The pipeline has a reader of that name.
#define WEFT_REQUIRED_ARG( arg ) QUOIN_ASSERT( arg(), #arg "() && \"Pointer SM args cannot be null unless they are marked Optional\"" )

}   // namespace Weft::Gen
