/// @file agent/text/Place.h
#pragma once

#include <cstdint>
#include <string>

namespace Agent {

/// A place in the configuration's text. Lines and columns (bytes) count from 1; line 0: no place.
struct Place {
   uint32_t file = 0;   // index into PolicyText::files
   uint32_t line = 0;
   uint32_t column = 0;
   // Places do not take part in comparisons of texts.
   friend constexpr bool operator==( const Place &, const Place & ) noexcept { return true; }
};

/// An error in a text, and its place.
struct TextError {
   Place place;
   std::string reason;   // one line, printable
};

}   // namespace Agent
