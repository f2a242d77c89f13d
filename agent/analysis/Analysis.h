/// @file agent/analysis/Analysis.h
/// What is wrong with a policy although its text is right.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/References.h"

namespace Agent {

struct Finding {
   enum class Kind : uint8_t {
      undefined,       // a clause names, or another stanza applies, what there is not
      wrongFamily,     // a clause names a list that there is in the other family only
      unused,          // no clause names the list, and no other stanza has the word
      cycle,           // route maps call each other in a ring
      tooDeep,         // a route map whose calls go deeper than is put into force
      tooManyCalls,    // a route map of which an evaluation may come to more calls than that
      unreachable,     // no route ever comes to the sequence
      missingTarget,   // a sequence continues to one that there is not
      contradiction,   // a sequence whose clauses cannot hold together
      shadowed,        // a prefix list's line that never decides
      neverPermits,    // a list or route map that permits nothing, and is asked to
      noEffect,        // clauses of a deny that are for permits only
      // The loader's doubts.
      passedOver,
      replaced,
      netmask
   };
   Place place;
   Kind kind = Kind::undefined;
   std::string text;   // one line, printable
};
/// "undefined", "wrong-family", "unused", "cycle", "too-deep", "too-many-calls", "unreachable", "missing-target", "contradiction",
/// "shadowed", "never-permits", "no-effect", "passed-over", "replaced", "netmask".
std::string_view nameOf( Finding::Kind kind ) noexcept;

/// In the order of their places. `references` are the text's. Cost: near linear in the text, but for texts made of cycles.
std::vector<Finding> findingsOf( const PolicyText & text, const References & references );

/// Whether no sequence calls it: whoever applies policy names it, in another stanza maybe.
bool isRoot( const References & references, std::string_view routeMap );

/// "edge.conf:12:3"; "" for nowhere.
std::string placeText( const PolicyText & text, const Place & place );

}   // namespace Agent
