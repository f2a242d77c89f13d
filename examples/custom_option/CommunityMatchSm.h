/// @file examples/custom_option/CommunityMatchSm.h
#pragma once

#include "CommunityList.h"
#include "compile/RouteMapSeqConfigSmBase.h"

namespace BgpAgent {

/// Compiles the clause "match community" of one sequence, and follows the list that the clause refers to. What is compiled it does not
/// touch: it writes down what has become of the clause, and of the list. Threading: the activity thread.
class CommunityMatchSm final : public Zeugma::BaseOutputSm {
 public:
   static constexpr auto kOption = MatchOption::matchCommunity;
   /// Whether a change of a MapEntry is one of this clause.
   static bool isClause( const Quoin::Change & change );

   /// Nested in `sequence`, whose records are made already.
   CommunityMatchSm( const RmSeqConfigSymbolSmBase & sequence, const Quoin::Ptr<CommListSymbolDedupTable> & lists );
   ~CommunityMatchSm() override { stop(); }
   /// The sequence's, handed on: the clause goes into the next generation.
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols );

 private:
   void handleChangeMissed() override { recordClause(); }
   void handleEntry( const Quoin::Change & change ) {
      if( isClause( change ) ) recordClause();
   }
   void handleList( const Quoin::Change & change );
   void recordClause();
   void matcherIs( MatcherChange & change );

   const RmSeqConfigSymbolSmBase & sequence_;
   Quoin::Ptr<CommListSymbolDedupTable> lists_;
   Quoin::Ptr<const CommListSymbol> list_;     // the compiled clause's; null for none
   Quoin::Ptr<const CommListStatus> madeOf_;   // what the last matcher was made of
   Zeugma::Reactor<CommunityMatchSm> entryReactor_{ *this, &CommunityMatchSm::handleEntry };
   Zeugma::Reactor<CommunityMatchSm> listReactor_{ *this, &CommunityMatchSm::handleList };
};

}   // namespace BgpAgent
