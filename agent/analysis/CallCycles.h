/// @file agent/analysis/CallCycles.h
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "analysis/References.h"

namespace Agent {

/// Route maps that call each other in a cycle.
struct CallCycle {
   /// One route map of the cycle calls the next; the last calls the first.
   struct Step {
      std::string_view routeMap;
      std::vector<uint32_t> sequences;   // with the call; ascending
      std::string_view callee;
      Place place;   // of the first of these calls
   };
   std::vector<Step> steps;   // the route map with the least name comes first
   /// The route maps that are not in force because of this cycle, ascending: its members and all their direct and indirect callers. A route
   /// map that several cycles hold back is listed with the first of them only.
   std::vector<std::string_view> notInForce;
};

/// A selection of the cycles, each once, in which every call occurs that is part of any cycle: a policy can have more cycles than anyone
/// can read. Ordered by the names of their first route maps. The names live as long as `references`. Cost: near linear in the
/// references, except for route maps that form many cycles.
std::vector<CallCycle> callCyclesOf( const References & references );

}   // namespace Agent
