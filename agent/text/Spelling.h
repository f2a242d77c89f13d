/// @file agent/text/Spelling.h
/// The similarity of words, to guess what a mistyped word was meant to be.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Agent {

/// The number of bytes to insert, remove or replace to turn one word into the other. `limit` + 1 if it is above `limit`.
size_t editDistance( std::string_view a, std::string_view b, size_t limit );

/// Changes ASCII letters only.
std::string lowerCase( std::string_view text );

}   // namespace Agent
