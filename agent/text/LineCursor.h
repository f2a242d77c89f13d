/// @file agent/text/LineCursor.h
/// Walks over the words of one line and knows the column of each.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "text/Dialect.h"
#include "text/Place.h"
#include "text/Printable.h"

namespace Agent {

/// A word: bytes other than blanks, tabs and carriage returns. Empty: the end of the line.
struct Token {
   std::string_view text;
   uint32_t column = 0;   // of its first byte, from 1; at the end, the column after the last word
};

/// An error in a line. Readers throw it before they change anything.
struct LineError {
   uint32_t column;
   std::string reason;
};

/// A line that FRR refuses: it has no effect. Readers throw it before they change anything, too.
struct RefusedLine {
   std::string_view reason;   // a literal
};

/// A reason for several lines.
constexpr std::string_view kIncomplete = "the line is not complete";

/// "expected WHAT, found ..." at that token.
[[noreturn]] void throwExpected( std::string_view what, const Token & found );

class LineCursor {
 public:
   explicit LineCursor( std::string_view line, uint32_t file = 0, uint32_t number = 1, Dialect dialect = Dialect::native ) noexcept;

   /// The place of the line's first word, and of any word.
   Place place() const noexcept { return { file_, number_, start_ }; }
   Place place( const Token & token ) const noexcept { return { file_, number_, token.column }; }
   /// Whose rules the line follows.
   Dialect dialect() const noexcept { return dialect_; }
   bool indented() const noexcept { return start_ > 1; }
   bool atEnd() const noexcept { return next_.text.empty(); }
   const Token & peek() const noexcept { return next_; }

   Token take() noexcept;
   /// Errors: LineError at the end of the line.
   Token take( std::string_view what );
   /// Takes these words, separated by one blank each, if all of them come next; else none.
   bool takeWords( std::string_view words ) noexcept;
   /// The rest of the line from the next word to the last. Errors: LineError at the end of the line.
   Token takeRest( std::string_view what );
   /// The same as a text; in the dialect of FRR with one blank between two words.
   std::string takeText( std::string_view what );
   /// Errors: LineError if a word is left.
   void expectEnd() const;
   /// Errors: LineError at the first control character: a terminal might obey it. No line of a policy needs one.
   void expectNoControlBytes() const;

 private:
   Token tokenAt( size_t at ) const noexcept;

   std::string_view line_;   // ends with its last word
   uint32_t file_;
   uint32_t number_;
   Dialect dialect_;
   Token next_;
   uint32_t start_;
};

}   // namespace Agent
