/// @file compile/SequenceSettersSm.h
#pragma once

#include <set>

#include "compile/RouteMapSeqConfigSmBase.h"
#include "compile/SetterTable.h"

namespace Routing::Policy {

/// Records the changes of an agent's set clauses for the next compilation of one sequence. It is nested in the machine of the sequence,
/// whose records must exist.
/// Threading: the activity thread.
class ROUTEPOLICY_API SequenceSettersSm final : public Zeugma::BaseOutputSm {
 public:
   SequenceSettersSm( const RmSeqConfigSymbolSmBase & sequence, const Quoin::Ptr<const SequenceSetters> & setters );
   ~SequenceSettersSm() override { stop(); }

 private:
   void handleChangeMissed() override;
   void handleSetters( const Quoin::Change & change ) { recordClause( Plinth::keyOf<SetOption>( change ) ); }
   void recordClause( SetOption option );

   const RmSeqConfigSymbolSmBase & sequence_;
   Quoin::Ptr<const SequenceSetters> setters_;
   std::set<SetOption> recorded_;   // options that the compiled sequence has, or will have
   Zeugma::Reactor<SequenceSettersSm> settersReactor_{ *this, &SequenceSettersSm::handleSetters };
};

}   // namespace Routing::Policy
