/// @file examples/custom_option/LocalPreferenceSm.h
#pragma once

#include "LocalPreferenceSetter.h"
#include "SetClauses.h"
#include "compile/RouteMapSeqConfigSmBase.h"

namespace BgpAgent {

/// Compiles the clause "set local-preference" of one sequence. Threading: the activity thread.
class LocalPreferenceSm final : public Zeugma::BaseOutputSm {
 public:
   /// Nested in `sequence`, whose records are made already.
   LocalPreferenceSm( const RmSeqConfigSymbolSmBase & sequence, const Quoin::Ptr<const SequenceSetClauses> & clauses )
         : sequence_( sequence ), clauses_( clauses ) {
      clausesReactor_.notifierIs( clauses );
      if( clauses->localPreference() ) recordClause();
   }
   ~LocalPreferenceSm() override { stop(); }

 private:
   void handleChangeMissed() override { recordClause(); }
   void handleClauses( const Quoin::Change & ) { recordClause(); }
   void recordClause() {
      sequence_.rmSymbol()->statusCurrentIs( false );
      if( zombieReactors() ) return;   // who heard of that has dropped the sequence
      const auto value = clauses_->localPreference();
      sequence_.sequenceChange()
         ->setterChangeIs( SetOption::setLocalPreference )
         ->setterIs( value ? Quoin::makeNode<LocalPreferenceSetter>( *value ) : nullptr );
   }

   const RmSeqConfigSymbolSmBase & sequence_;
   Quoin::Ptr<const SequenceSetClauses> clauses_;
   Zeugma::Reactor<LocalPreferenceSm> clausesReactor_{ *this, &LocalPreferenceSm::handleClauses };
};

}   // namespace BgpAgent
