/// @file agent/text/Spelling.h
/// How near one word comes to another: what a mistyped one was most likely meant to be.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Agent {

/// How many bytes must be put in, taken out or replaced to make one of the other. Stops counting above `limit`.
size_t editDistance( std::string_view a, std::string_view b, size_t limit );

/// ASCII letters only; all else stays.
std::string lowerCase( std::string_view text );

}   // namespace Agent
