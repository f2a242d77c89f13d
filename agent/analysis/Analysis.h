/// @file agent/analysis/Analysis.h
/// Finds mistakes in a policy whose text is free of errors.
#pragma once

#include <cstdint>
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
      tooDeep,         // a route map whose calls go deeper than kDeepestCalls
      tooManyCalls,    // a route map of which one evaluation may make more than kMostCalls calls
      unreachable,     // no route reaches the sequence
      missingTarget,   // a sequence continues to a sequence that does not exist
      contradiction,   // a sequence whose clauses cannot hold together
      shadowed,        // a line of a prefix list that never decides
      neverPermits,    // a list or called route map that permits nothing, so that a sequence never matches
      noEffect,        // clauses of a deny that have an effect in permits only
      // The loader's doubts.
      skipped,
      replaced,
      netmask
   };
   Place place;
   Kind kind = Kind::undefined;
   std::string text;   // one line, printable
};
/// "undefined", "wrong-family", "unused", "cycle", "too-deep", "too-many-calls", "unreachable", "missing-target", "contradiction",
/// "shadowed", "never-permits", "no-effect", "skipped", "replaced", "netmask".
std::string_view nameOf( Finding::Kind kind ) noexcept;

/// Ordered by place. `references` belong to `text`. Cost: near linear in the text, except for texts made of cycles.
std::vector<Finding> findingsOf( const PolicyText & text, const References & references );

/// Whether no sequence calls the route map: then only another stanza can apply it.
bool isRoot( const References & references, std::string_view routeMap );

/// "edge.conf:12:3"; empty for a place without a line.
std::string placeText( const PolicyText & text, const Place & place );

}   // namespace Agent
