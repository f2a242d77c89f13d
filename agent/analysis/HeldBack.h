/// @file agent/analysis/HeldBack.h
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "text/PolicyText.h"

namespace Agent {

/// Calls deeper than this one in another are not put into force: each takes its share of the stack in an evaluation.
constexpr size_t kDeepestCalls = 1000;

/// Nor are those that an evaluation may have to follow more often than this: a route map is asked anew by each of its callers, so that
/// two calls in each of twenty route maps, one below the other, come to two million.
constexpr size_t kMostCalls = 100'000;

/// When several hold, the first is told.
enum class HeldBackBy : uint8_t {
   cycle,   // it lies on a cycle of calls, or comes to one
   depth,   // its calls go deeper than kDeepestCalls
   number   // an evaluation of it may come to more than kMostCalls calls
};

/// The route maps that are not to be put into force, and why; calls of those that there are not count for nothing. Which of the calls
/// came last does not enter, so that the same text always means the same. Cost: linear in the route maps and their sequences.
std::map<std::string, HeldBackBy> routeMapsHeldBack( const PolicyText::ByName<RouteMapText> & routeMaps );

}   // namespace Agent
