/// @file agent/text/Expression.h
/// The regular expressions of community and AS path lists.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "text/Dialect.h"

namespace re2 {
class RE2;
}

namespace Agent {

/// Translates an expression of the native dialect for RE2. A "_" outside of brackets and not after a backslash stands for the start, the end,
/// a blank, a comma, a brace, a parenthesis or a square bracket (sets of a confederation are printed in those).
std::string expressionOf( std::string_view text );

/// Translates an expression of FRR, a POSIX extended one as glibc reads it, for RE2 with POSIX syntax. Each "_", wherever it is, first becomes
/// (^|[,{}() ]|$). Errors: std::invalid_argument with a reason.
std::string posixExpressionOf( std::string_view text );

/// Compiles it. Errors: std::invalid_argument as above; others are those of RE2.
std::unique_ptr<const re2::RE2> compileExpression( std::string_view text, Dialect dialect );

/// An expression that asks for one word of a text: "_64500_", "^64500_", "_64500$", "^64500$" or "^$". Both dialects read these in the same
/// way, except for what separates words.
struct WordExpression {
   std::string_view word;   // letters, digits, ":" and "-"
   bool begins;             // the word begins the text
   bool ends;               // it ends the text
};
/// Nothing for any other expression.
std::optional<WordExpression> wordExpressionOf( std::string_view expression ) noexcept;

/// Whether "_" matches the character.
constexpr bool separatesWords( char c, Dialect dialect ) noexcept {
   switch( c ) {
      case ' ':
      case ',':
      case '{':
      case '}':
      case '(':
      case ')': return true;
      case '[':
      case ']': return dialect == Dialect::native;
      default: return false;
   }
}
/// Calls `visit( word, begins, ends )` for each word of the text, and once for an empty text. A WordExpression matches the text if it asks
/// for one of these.
template <class Visit>
void forEachWord( std::string_view text, Dialect dialect, Visit && visit ) {
   for( size_t at = 0, end = 0; end <= text.size(); at = ++end ) {
      while( end < text.size() && !separatesWords( text[ end ], dialect ) ) ++end;
      if( end != at || text.empty() ) visit( text.substr( at, end - at ), at == 0, end == text.size() );
   }
}

}   // namespace Agent
