/// @file agent/live/MatchClausesSm.h
#pragma once

#include "compile/RouteMapSeqConfigSmBase.h"
#include "live/ClauseKind.h"

namespace Agent {

/// The option of the clause that a change of a MapEntry is one of, if that is the agent's own; else null.
const ClauseKind * ownClauseOf( const Quoin::Change & change );

class MatchClausesSm;

/// Follows the list that one compiled clause refers to. Threading: the activity thread.
class ListFollower final : public Zeugma::BaseOutputSm {
 public:
   using MatchRule = Routing::RouteMap::MatchRule;
   using List = Quoin::Ptr<const Routing::RouteMap::PolicySymbol>;

   /// Nested in `clauses`.
   ListFollower( MatchClausesSm & clauses, const ClauseKind & kind, const MatchRule & rule, const List & list )
         : clauses_( clauses ), kind_( kind ), rule_( rule ), list_( list ) {
      listReactor_.notifierIs( list->notifier() );
   }
   ~ListFollower() override { stop(); }
   MatchOption option() const noexcept { return kind_.option; }
   /// The clause's matcher, of the list as it is now.
   void matcherIs( Routing::Policy::MatcherChange & change ) const { kind_.matcherIs( change, rule_, list_.get() ); }

 private:
   void handleChangeMissed() override;
   void handleList( const Quoin::Change & ) { handleChangeMissed(); }

   MatchClausesSm & clauses_;
   const ClauseKind & kind_;
   const MatchRule rule_;
   const List list_;
   Zeugma::Reactor<ListFollower> listReactor_{ *this, &ListFollower::handleList };
};

/// Compiles the agent's own match clauses of one sequence, and follows the lists that they refer to. What is compiled it does not touch:
/// it writes down what has become of the clauses, and of the lists. Threading: the activity thread.
class MatchClausesSm final : public Zeugma::BaseOutputSm {
 public:
   /// Nested in `sequence`, whose records are made already.
   MatchClausesSm( const Routing::Policy::RmSeqConfigSymbolSmBase & sequence, const ListTables & tables );
   ~MatchClausesSm() override;
   /// The sequence's, handed on: the clause goes into the next generation, and its list is followed from now on.
   void handleMatcherApplied( Routing::Policy::MatcherChange & change, const Routing::Policy::MatcherChangeSymbol * symbols );
   /// A list has another version.
   void handleList( const ListFollower & follower );

 private:
   void handleChangeMissed() override;
   void handleEntry( const Quoin::Change & change );
   void recordClause( const ClauseKind & kind );

   const Routing::Policy::RmSeqConfigSymbolSmBase & sequence_;
   ListTables tables_;
   Zeugma::Reactor<MatchClausesSm> entryReactor_{ *this, &MatchClausesSm::handleEntry };
   Zeugma::NestedSms<MatchOption, ListFollower> followers_{ *this };
};

}   // namespace Agent
