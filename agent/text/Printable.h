/// @file agent/text/Printable.h
/// Any bytes as they may stand in a message.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace Agent {

/// As printable ASCII: at most `maxLength` bytes of it, whatever is not printable as \xNN, and "..." for those that are left out.
std::string printable( std::string_view text, size_t maxLength );
/// No longer than a word can be read.
std::string printable( std::string_view text );
/// The same of a whole line, of which more can be read; a tab is a blank.
std::string printableLine( std::string_view line );
/// A name out of a policy, as messages show it: printable, and of bounded length.
std::string printableName( const std::string & name );
/// The same as of a word, in quotation marks.
std::string inQuotes( std::string_view text );
/// "a", "b" or "c", each in quotation marks.
std::string alternatives( std::span<const std::string_view> words );
inline std::string alternatives( std::initializer_list<std::string_view> words ) {
   return alternatives( std::span( words.begin(), words.size() ) );
}

}   // namespace Agent
