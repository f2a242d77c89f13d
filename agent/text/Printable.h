/// @file agent/text/Printable.h
/// Makes any bytes fit for a message.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace Agent {

/// Printable ASCII: at most `maxLength` bytes of the text, unprintable bytes as \xNN, and "..." if bytes were left out.
std::string printable( std::string_view text, size_t maxLength );
/// The same, cut to the length of a readable word.
std::string printable( std::string_view text );
/// The same for a line, which may be longer; a tab becomes a blank.
std::string printableLine( std::string_view line );
/// A name of a policy for messages: printable and of bounded length.
std::string printableName( const std::string & name );
/// A word in quotation marks.
std::string inQuotes( std::string_view text );
/// "a", "b" or "c", each in quotation marks.
std::string alternatives( std::span<const std::string_view> words );
inline std::string alternatives( std::initializer_list<std::string_view> words ) {
   return alternatives( std::span( words.begin(), words.size() ) );
}

}   // namespace Agent
