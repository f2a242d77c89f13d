/// @file agent/text/ParseWhole.h
#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace Agent {

/// The number that the text is; nothing for a text that is no decimal number, or one that is too large.
template <class Number>
std::optional<Number> parseWhole( std::string_view text ) noexcept {
   Number number = 0;
   const char * const end = text.data() + text.size();
   const auto [ stop, error ] = std::from_chars( text.data(), end, number );
   if( error != std::errc() || stop != end ) return std::nullopt;
   return number;
}

}   // namespace Agent
