/// @file agent/text/LineDiff.h
/// Finds the lines in which two texts differ.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace Agent {

/// Neighboring lines that were replaced, removed (`after` is empty) or added (`before` is empty). Whole lines with their line ends; the last
/// line of a text may have none.
struct Hunk {
   std::string_view before;
   std::string_view after;
   uint32_t lineBefore = 0;   // the number of the first of these lines; if there is none, of the next line
   uint32_t lineAfter = 0;
};

/// The number of lines; the last one may have no line end.
uint32_t countLines( std::string_view text ) noexcept;

/// In the order of the texts. Between two hunks, and around them, the lines are the same. The result is not always the shortest: lines that
/// moved far, or that follow many changed lines, are part of a hunk although they are equal.
/// Cost: one comparison of the bytes, and a fixed cost per hunk.
std::vector<Hunk> differingLines( std::string_view before, std::string_view after );

/// The line above this position, which is the start of a line, with its line end; empty at the start of the text.
std::string_view lineAbove( std::string_view text, size_t at ) noexcept;

}   // namespace Agent
