/// @file agent/analysis/Analysis.h
/// Finds mistakes in a policy. `routepolicy check` prints the findings.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/References.h"

namespace Agent {

struct Finding {
   enum class Kind : uint8_t {
      undefined,       // a clause or another stanza names an undefined list or route map
      wrongFamily,     // a clause names a list that is defined for the other family only
      unused,          // no clause names the list, and no other stanza contains its name
      cycle,           // route maps call each other in a cycle
      tooDeep,         // the calls of the route map go deeper than deepestCalls()
      tooManyCalls,    // one evaluation of the route map may make more than kMostCalls calls
      unreachable,     // no route reaches the sequence
      missingTarget,   // a sequence continues to a sequence that does not exist
      contradiction,   // two clauses of a sequence never hold for the same route
      shadowed,        // a line of a prefix list that never decides
      neverPermits,    // a list or called route map that permits nothing, so that a sequence never matches
      noEffect,        // a deny has clauses that take effect in a permit only
      // The loader's doubts (text/Doubts.h):
      skipped,    // a skipped line looks like policy
      replaced,   // a line replaces an earlier line of the same file
      conflict,   // two files say a sequence differently
      netmask,    // a netmask in place of a wildcard
      hostBits,   // one bits behind the length of a prefix
      refused,    // FRR refuses the line: it has no effect
      // A lenient loader's:
      leftOut,   // a wrong line
      // The selection's (analysis/Ignored.h):
      unusedIgnore   // a comment ignores a kind of finding that the line does not have
   };
   Place place;
   Kind kind = Kind::undefined;
   std::string text;   // one line, printable
};
/// The name of a kind in the output: "undefined", "wrong-family", "unused", "cycle", "too-deep", "too-many-calls", "unreachable",
/// "missing-target", "contradiction", "shadowed", "never-permits", "no-effect", "skipped", "replaced", "conflict", "netmask", "host-bits",
/// "refused", "left-out", "unused-ignore".
std::string_view nameOf( Finding::Kind kind ) noexcept;

/// All kinds, in their order.
std::span<const Finding::Kind> findingKinds() noexcept;
void sortByPlace( std::vector<Finding> & findings );

/// All findings, ordered by place. `references` must be the references of `text`. Cost: near linear in the text, unless route maps form
/// many cycles.
std::vector<Finding> findingsOf( const PolicyText & text, const References & references );

/// Whether no sequence calls the route map. Only another stanza can then apply it.
bool isRoot( const References & references, std::string_view routeMap );

/// The place as text: "edge.conf:12:3"; empty for a place without a line.
std::string placeText( const PolicyText & text, const Place & place );

}   // namespace Agent
