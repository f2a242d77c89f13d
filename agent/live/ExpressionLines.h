/// @file agent/live/ExpressionLines.h
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "live/CompiledExpression.h"
#include "live/IndexedLines.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// Under which a word is looked up.
size_t wordHash( std::string_view word ) noexcept;

/// The lines of an AS path list or of an expanded community list. An expression that asks for one word, such as "_64500_", is not compiled:
/// it is looked up for each word of the text. The other expressions are tried in turn, up to the lowest line that was found.
/// A copy shares the memory, as IndexedLines. Threading: any number of readers, or one writer.
class ExpressionLines {
 public:
   explicit ExpressionLines( Dialect dialect ) noexcept : dialect_( dialect ) {}
   /// An expression that cannot be compiled matches nothing. `number` has no line yet.
   void put( uint32_t number, MatchPermit action, const std::string & expression );
   /// The line has this expression.
   void erase( uint32_t number, std::string_view expression );
   /// Whether the lowest line that matches the text, or a part of it, permits. False if none matches.
   bool permits( std::string_view text ) const;
   /// The lines by word, if only a text with one of these words can match any of them; else null.
   const auto * words() const noexcept { return lines_.others().empty() ? &lines_.keys() : nullptr; }

 private:
   // Under the hash of the word.
   struct WordLine {
      MatchPermit action;
      bool begins, ends;
      std::string word;
      friend bool operator==( const WordLine &, const WordLine & ) = default;
   };
   struct OtherLine {
      MatchPermit action;
      CompiledExpression expression;
      friend bool operator==( const OtherLine &, const OtherLine & ) = default;
   };
   Dialect dialect_;
   IndexedLines<size_t, WordLine, OtherLine> lines_;
};

}   // namespace Agent
