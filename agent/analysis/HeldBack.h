/// @file agent/analysis/HeldBack.h
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "text/PolicyText.h"

namespace Agent {

/// A route map with deeper nested calls is not compiled: each level of calls takes stack in an evaluation. FRR follows ten; what it answers
/// to a deeper route map depends on what it has evaluated before.
constexpr size_t deepestCalls( Dialect dialect ) noexcept {
   return dialect == Dialect::frr ? 10 : 1000;
}

/// A route map whose evaluation may make more calls is not compiled either. Each call evaluates its callee again: twenty
/// nested route maps with two calls each make two million calls.
constexpr size_t kMostCalls = 100'000;

/// Why a route map is held back. If several reasons apply, the first of them.
enum class HeldBackBy : uint8_t {
   cycle,   // it is a member of a cycle of calls, or calls one, directly or not
   depth,   // its calls go deeper than deepestCalls()
   number   // one evaluation of it may make more than kMostCalls calls
};

/// The route maps that must not be compiled, with the reason; calls of undefined route maps do not count. The result depends on the
/// text only, not on the order of edits. Cost: linear in the route maps and their sequences.
std::map<std::string, HeldBackBy> routeMapsHeldBack( const PolicyText::ByName<RouteMapText> & routeMaps, Dialect dialect );

}   // namespace Agent
