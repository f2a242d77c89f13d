/// @file agent/live/HeldBack.h
#pragma once

#include <set>
#include <string>

#include "text/PolicyText.h"

namespace Agent {

/// The route maps that a cycle of calls holds back: those on one, and those that call such a route map, be it through others. Which of
/// the calls came last does not enter, so that the same text always means the same. Cost: linear in the route maps and their sequences.
std::set<std::string> routeMapsHeldBack( const PolicyText::ByName<RouteMapText> & routeMaps );

}   // namespace Agent
