/// @file substrate/weft/InputStateMachine.h
#pragma once

#include "substrate/zeugma/BaseOutputSm.h"

namespace Weft::Gen {

/// The base of the machines that a pipeline is made of. Threading: the activity thread.
class ROUTEPOLICY_API InputStateMachine : public Zeugma::BaseOutputSm {
 public:
   ~InputStateMachine() override;

   /// The last step of construction.
   virtual void handleInitialized() = 0;

   /// Whether the machine stands inside a notification of what it watches.
   bool inReactor() const noexcept { return inReactor_; }
   void inReactorIs( bool in ) noexcept { inReactor_ = in; }

 protected:
   /// Says so for the span of a block.
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
