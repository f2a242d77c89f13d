/// @file agent/text/Place.h
#pragma once

#include <cstdint>
#include <string>

namespace Agent {

/// Where something stands in the configuration's text. Lines and columns (bytes) count from 1; line 0 is nowhere.
struct Place {
   uint32_t file = 0;   // index into PolicyText::files
   uint32_t line = 0;
   uint32_t column = 0;
   // Where something stands is no part of what it says.
   friend constexpr bool operator==( const Place &, const Place & ) noexcept { return true; }
};

/// What is wrong with a text, and where.
struct TextError {
   Place place;
   std::string reason;   // one line, printable
};

}   // namespace Agent
