/// @file agent/analysis/LeftOut.h
/// Finds the lines, left out by a lenient loader, on which an answer may depend. The commands mark such answers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "analysis/References.h"

namespace Agent {

/// The left-out lines on which the answers of these route maps and lists may depend: those about one of them, about a list that such a route
/// map names, or about a callee, direct or indirect. Ordered as in the text. Cost: one walk over the references, unless no line was left out.
std::vector<const LeftOut *> leftOutOf( const PolicyText & text, const std::vector<std::string> & names );

/// The left-out lines about one thing.
std::vector<const LeftOut *> leftOutAbout( const PolicyText & text, std::string_view name );

/// Their places as text: "edge.conf:12".
std::vector<std::string> placesOf( const PolicyText & text, const std::vector<const LeftOut *> & lines );

}   // namespace Agent
