/// @file agent/live/HeldBack.h
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "text/PolicyText.h"

namespace Agent {

/// Calls deeper than this one in another are not put into force: each takes its share of the stack in an evaluation.
constexpr size_t kDeepestCalls = 1000;

enum class HeldBackBy : uint8_t {
   cycle,   // it lies on a cycle of calls, or comes to one
   depth    // its calls go deeper than kDeepestCalls
};

/// The route maps that are not to be put into force, and why. Which of the calls came last does not enter, so that the same text
/// always means the same. Cost: linear in the route maps and their sequences.
std::map<std::string, HeldBackBy> routeMapsHeldBack( const PolicyText::ByName<RouteMapText> & routeMaps );

}   // namespace Agent
