/// @file agent/analysis/ShadowedLines.h
#pragma once

#include <cstdint>
#include <vector>

#include "text/PolicyText.h"

namespace Agent {

/// A line of a prefix list that decides nothing, because one with a lower number takes all prefixes that it speaks of.
///
///    5 permit 10.0.0.0/8 le 24
///    10 deny 10.1.0.0/16           all of it is in line 5
///    15 deny 10.1.0.0/16 le 32     is not: line 5 takes no length above 24
struct ShadowedLine {
   uint32_t number = 0;
   uint32_t by = 0;   // the lowest such line
   friend bool operator==( const ShadowedLine &, const ShadowedLine & ) = default;
};

/// Ascending. What only several lines together take is not found. Cost: of sorting the lines, whatever they are.
std::vector<ShadowedLine> shadowedLinesOf( const PrefixListText & list );

}   // namespace Agent
