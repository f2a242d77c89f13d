/// @file substrate/weft/InputStateMachine.h
/// The base of a pipeline and of its input machines. It extends the state machines of Zeugma by two steps that pipelines need.
#pragma once

#include "substrate/zeugma/BaseOutputSm.h"

namespace Weft::Gen {

/// A state machine with a last step of construction and a mark of running reactions. Threading: the activity thread.
class ROUTEPOLICY_API InputStateMachine : public Zeugma::BaseOutputSm {
 public:
   ~InputStateMachine() override;

   /// The last step of construction: starts the first scan of an input machine, or creates the parts of a pipeline.
   virtual void handleInitialized() = 0;

   /// Whether a notification of a watched object is in progress in this machine.
   bool inReactor() const noexcept { return inReactor_; }
   void inReactorIs( bool in ) noexcept { inReactor_ = in; }

 protected:
   /// Sets inReactor() during a block.
   class InReactor {
    public:
      explicit InReactor( InputStateMachine & sm ) noexcept : sm_( &sm ), before_( sm.inReactor() ) { sm.inReactorIs( true ); }
      ~InReactor() { sm_->inReactorIs( before_ ); }
      InReactor( const InReactor & ) = delete;
      InReactor & operator=( const InReactor & ) = delete;

    private:
      Quoin::Ptr<InputStateMachine> sm_;   // the reaction may drop the machine
      bool before_;
   };

 private:
   bool inReactor_ = false;
};

}   // namespace Weft::Gen
