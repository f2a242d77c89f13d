/// @file agent/analysis/LeftOut.h
/// What the lines that a lenient loader left out can change.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "analysis/References.h"

namespace Agent {

/// The left-out lines on which the answers of a route map may depend: those about the route map itself, about a list that it names, or about
/// a callee, direct or indirect. Ordered as in the text. Cost: one walk over the references, unless no line was left out.
std::vector<const LeftOut *> leftOutOf( const PolicyText & text, std::string_view routeMap );

/// The left-out lines about one thing.
std::vector<const LeftOut *> leftOutAbout( const PolicyText & text, std::string_view name );

/// Their places as text: "edge.conf:12".
std::vector<std::string> placesOf( const PolicyText & text, const std::vector<const LeftOut *> & lines );

}   // namespace Agent
