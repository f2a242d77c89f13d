/// @file agent/text/ListRuns.h
/// Finds neighboring lines that add numbered lines to one list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Agent {

/// If the first line adds a numbered line to a prefix list, a community list or an AS path list and is not indented, its bytes up to the
/// number: "ip prefix-list NAME seq ". Else nothing.
std::string_view numberedStart( std::string_view lines );

struct ListRun {
   std::string_view bytes;   // whole lines that begin alike up to their numbers
   uint32_t line = 0;        // the number of the first
   uint32_t count = 0;       // of lines
};

/// The runs of at least `least` lines, ascending. The number of the first of `lines` is `line`. A run ends above each of the lines `ends`,
/// which ascend. Cost: a look at each line.
std::vector<ListRun> listRuns( std::string_view lines, uint32_t line, const std::vector<uint32_t> & ends, size_t least );

}   // namespace Agent
