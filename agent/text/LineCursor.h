/// @file agent/text/LineCursor.h
/// A walk over the words of one line, which knows at what column each stands.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "text/Place.h"
#include "text/Printable.h"

namespace Agent {

/// A word: bytes without blanks, tabs and carriage returns between them. Empty: the line has no more.
struct Token {
   std::string_view text;
   uint32_t column = 0;   // of its first byte, from 1; behind the line's last word if empty
};

/// What is wrong with a line. Thrown by whatever reads one, before it changes anything.
struct LineError {
   uint32_t column;
   std::string reason;
};

/// "expected WHAT, found ..." at that token.
[[noreturn]] void throwExpected( std::string_view what, const Token & found );

class LineCursor {
 public:
   explicit LineCursor( std::string_view line, uint32_t file = 0, uint32_t number = 1 ) noexcept;

   /// Of the line's first word, and of any.
   Place place() const noexcept { return { file_, number_, start_ }; }
   Place place( const Token & token ) const noexcept { return { file_, number_, token.column }; }
   bool indented() const noexcept { return start_ > 1; }
   bool atEnd() const noexcept { return next_.text.empty(); }
   const Token & peek() const noexcept { return next_; }

   Token take() noexcept;
   /// Errors: LineError at the end of the line.
   Token take( std::string_view what );
   /// Takes these words, which one blank parts, if all of them come next; else none.
   bool takeWords( std::string_view words ) noexcept;
   /// The rest of the line from the next word to the last. Errors: LineError when there is none.
   Token takeRest( std::string_view what );
   /// Errors: LineError when something is left.
   void expectEnd() const;
   /// Errors: LineError at the first character that would do something to a terminal. No line of a policy needs one.
   void expectNoControlBytes() const;

 private:
   Token tokenAt( size_t at ) const noexcept;

   std::string_view line_;   // ends with its last word
   uint32_t file_;
   uint32_t number_;
   Token next_;
   uint32_t start_;
};

}   // namespace Agent
