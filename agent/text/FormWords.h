/// @file agent/text/FormWords.h
/// Finds the form of a clause by the words of a line.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/Dialect.h"
#include "text/LineCursor.h"

namespace Agent {

/// The words that may follow `begun`, which is empty or ends with a blank: after "ip ", these are "address" and "next-hop".
/// Of the clauses of that dialect, or of all clauses.
template <class Forms>
std::vector<std::string_view> wordsBehind( const Forms & forms, std::string_view begun, std::optional<Dialect> dialect = std::nullopt ) {
   std::vector<std::string_view> words;
   for( const auto & form : forms ) {
      if( !form.words.starts_with( begun ) || ( dialect && !isIn( *dialect, form.only ) ) ) continue;
      const auto rest = form.words.substr( begun.size() );
      const auto word = rest.substr( 0, rest.find( ' ' ) );
      if( std::ranges::find( words, word ) == words.end() ) words.push_back( word );
   }
   return words;
}

/// Takes the words of a form off the line. Errors: LineError if the line begins with no form of its dialect.
template <class Forms>
const auto & takeForm( LineCursor & line, const Forms & forms ) {
   for( const auto & form : forms )
      if( isIn( line.dialect(), form.only ) && line.takeWords( form.words ) ) return form;
   std::string begun;   // the words of the line with which a form begins
   const auto next = [ & ] { return begun + std::string( line.peek().text ) + ' '; };
   while( !line.atEnd() && !wordsBehind( forms, next(), line.dialect() ).empty() ) {
      begun = next();
      line.take();
   }
   throwExpected( alternatives( wordsBehind( forms, begun, line.dialect() ) ), line.peek() );
}

}   // namespace Agent
