/// @file agent/dialect/CompiledRules.h
/// A policy in the rules of the library, compiled from a policy in the operator's dialect. Plain values: LivePolicy compares two of them and
/// edits the live configuration by their differences.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "text/PolicyText.h"

namespace Agent {

/// The match option of steps. It is the highest option that the library leaves free: a step is asked after all other matchers of a sequence.
inline constexpr MatchOption kMatchStep{ 130 };

/// A list that steps share, and later compilations while it is unchanged. Null: the list is undefined or has no lines.
template <class Text>
struct SharedList {
   std::shared_ptr<const Text> text;
   friend bool operator==( const SharedList & a, const SharedList & b ) {
      return a.text == b.text || ( a.text && b.text && *a.text == *b.text );
   }
};

/// The lists that the set clauses of a step name: a step changes when one of them does.
struct SetLists {
   SharedList<CommunityListText> communities;
   SharedList<LargeCommunityListText> largeCommunities;
   SharedList<ExtCommunityListText> extCommunities;
   SharedList<AsPathListText> ases;
   friend bool operator==( const SetLists &, const SetLists & ) = default;
};

/// A match clause that the step tests.
struct StepTest {
   MatchOption option = MatchOption::none;
   MatchClause clause;
   std::optional<bool> assumed;   // the answer if the route has none
   bool foreign = false;          // the daemon does not have the clause
   std::string place;             // "edge.conf:12:3" if it may stay without an answer
   friend bool operator==( const StepTest &, const StepTest & ) = default;
};

/// What a compiled sequence does when all its other matches and its tests hold.
struct StepText {
   enum class Kind : uint8_t {
      permits,    // applies the set clauses; the sequences behind it match the changed route
      denies,     // marks the route as denied, for the callers of the route map
      afterCall   // matches if the callee has denied the route
   };
   Kind kind = Kind::permits;
   std::vector<StepTest> tests;
   SetClauses set;
   SetLists lists;
   std::string routeMap;   // whose sequence it serves, with its number there; empty for steps that all route maps share
   uint32_t number = 0;
   friend bool operator==( const StepText &, const StepText & ) = default;
};

struct CompiledRules {
   template <class Text>
   using SharedLists = PolicyText::ByName<SharedList<Text>>;
   PolicyText::ByName<RouteMapText> routeMaps;
   PolicyText::ByName<StepText> steps;   // by the name that clauses of kMatchStep have
   // The lists of the steps.
   SharedLists<CommunityListText> communityLists;
   SharedLists<LargeCommunityListText> largeCommunityLists;
   SharedLists<ExtCommunityListText> extCommunityLists;
   SharedLists<AsPathListText> asPathLists;
   friend bool operator==( const CompiledRules &, const CompiledRules & ) = default;
};

}   // namespace Agent
