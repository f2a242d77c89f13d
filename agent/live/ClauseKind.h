/// @file agent/live/ClauseKind.h
#pragma once

#include <span>

#include "compile/PolicyRoot.h"
#include "compile/SequenceChange.h"
#include "substrate/routemap/MatchRule.h"
#include "text/PolicyText.h"

namespace Agent {

/// Where the symbols of the lists live that the agent's own clauses refer to.
struct ListTables {
   Quoin::Ptr<Routing::Policy::PolicyRoot> root;
   Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> ipv6AccessLists;   // the root has none for them
};

/// What becomes of a match clause of the agent's own.
struct ClauseKind {
   using MatchRule = Routing::RouteMap::MatchRule;
   using PolicySymbol = Routing::RouteMap::PolicySymbol;

   MatchOption option;
   /// The symbol of the list that the clause refers to; null where it refers to none.
   Quoin::Ptr<const PolicySymbol> ( *symbolOf )( const MatchRule & rule, const ListTables & tables );
   /// Writes the matcher, of the list as it is now, and what is undefined. `symbol` is what symbolOf() gave.
   void ( *matcherIs )( Routing::Policy::MatcherChange & change, const MatchRule & rule, const PolicySymbol * symbol );
};

/// All of them.
std::span<const ClauseKind> ownClauseKinds() noexcept;
/// Null for an option that is not the agent's own.
const ClauseKind * ownClauseKind( MatchOption option ) noexcept;

/// A clause as the MapEntry has it.
Routing::RouteMap::MatchRule matchRuleOf( MatchOption option, const MatchClause & clause );

}   // namespace Agent
