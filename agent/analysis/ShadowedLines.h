/// @file agent/analysis/ShadowedLines.h
#pragma once

#include <cstdint>
#include <vector>

#include "text/PolicyText.h"

namespace Agent {

/// A line of a prefix list that never decides, because a line with a lower number matches all its prefixes.
///
///    5 permit 10.0.0.0/8 le 24
///    10 deny 10.1.0.0/16           line 5 matches all its prefixes
///    15 deny 10.1.0.0/16 le 32     decides: line 5 matches no length above 24
struct ShadowedLine {
   uint32_t number = 0;
   uint32_t by = 0;   // the lowest line that matches all its prefixes
   friend bool operator==( const ShadowedLine &, const ShadowedLine & ) = default;
};

/// Ascending. A line that only several others together shadow is not found. Cost: sorting the lines.
std::vector<ShadowedLine> shadowedLinesOf( const PrefixListText & list );

}   // namespace Agent
