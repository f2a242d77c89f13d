/// @file agent/analysis/CallCycles.h
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "analysis/References.h"

namespace Agent {

/// Route maps that call each other in a ring.
struct CallCycle {
   /// One route map of the ring calling the next, or the last calling the first.
   struct Step {
      std::string_view routeMap;
      std::vector<uint32_t> sequences;   // that call; ascending
      std::string_view callee;
      Place place;   // of the first of these calls
   };
   std::vector<Step> steps;   // from the route map whose name is the least
   /// The route maps that this keeps out of force, ascending: those on the ring, and those that call one that is kept out. One that
   /// several rings keep out is told of with the first of them only.
   std::vector<std::string_view> notInForce;
};

/// Enough of the cycles that every call that is part of one is in one of them, each once. A policy can have more cycles than anyone
/// could read; with these gone there are no others. In the order of their first route maps' names. What they refer to is the
/// references'. Cost: near linear in the references, but for route maps that call each other in many rings.
std::vector<CallCycle> callCyclesOf( const References & references );

}   // namespace Agent
