#include "live/ExpressionLines.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <string>

#include "tests/model/RandomCases.h"
#include "text/Expression.h"

namespace Agent {

namespace {

/// The same lines, each of which is tried in turn.
struct LinesInTurn {
   struct Line {
      MatchPermit action;
      std::string text;
      CompiledExpression expression;
   };
   bool permits( const std::string & text ) const {
      for( const auto & [ number, line ] : lines )
         if( line.expression.matches( text ) ) return line.action == MatchPermit::permit;
      return false;
   }
   /// The hashes of the words, one of which a text must have; nothing if an expression asks for no word.
   std::optional<std::set<size_t>> words() const {
      std::set<size_t> words;
      for( const auto & [ number, line ] : lines ) {
         const auto expression = wordExpressionOf( line.text );
         if( !expression ) return std::nullopt;
         words.insert( wordHash( expression->word ) );
      }
      return words;
   }
   std::map<uint32_t, Line> lines;
};

std::optional<std::set<size_t>> wordsOf( const ExpressionLines & lines ) {
   if( !lines.words() ) return std::nullopt;
   std::set<size_t> words;
   for( const auto & word : *lines.words() ) words.insert( word.first );
   return words;
}

std::string someWord( Random & random ) {
   return anyOf<std::string>( random, { "1", "2", "12", "0:1", "65001", "no-export", "RT:1:2", "01" } );
}

std::string someExpression( Random & random ) {
   if( oneIn( random, 10 ) ) return anyOf<std::string>( random, { "^$", "__", "_", "^", "_$", "^_", "$", ".*", "(", "^_$" } );
   const std::string word =
      oneIn( random, 6 ) ? anyOf<std::string>( random, { "", "1|2", "1_2", "1 2", "1.", "[12]", "1+", "\\w" } ) : someWord( random );
   return anyOf<std::string>( random, { "^", "_", "_", "_", "" } ) + word + anyOf<std::string>( random, { "$", "_", "_", "_", "" } );
}

std::string someText( Random & random ) {
   std::string text;
   for( auto n = below( random, 5 ); n; --n ) {
      if( !text.empty() || oneIn( random, 8 ) )
         text += anyOf<std::string>( random, { " ", " ", ",", " {", "} ", "(", ") ", " [", "] ", "  ", "\n", "_", "\xc3" } );
      text += someWord( random );
   }
   if( oneIn( random, 8 ) ) text += anyOf<std::string>( random, { " ", "}", "]", ")", "," } );
   return text;
}

TEST( ExpressionLinesModel, theyAnswerAsIfTriedInTurn ) {
   forRandomCases( 5, []( Random & random ) {
      const auto dialect = oneIn( random, 2 ) ? Dialect::frr : Dialect::native;
      struct Generation {
         ExpressionLines lines;
         LinesInTurn model;
      } present{ ExpressionLines( dialect ), {} }, kept = present;
      for( int step = 0; step < 40; ++step ) {
         if( oneIn( random, 5 ) ) kept = present;
         const auto number = static_cast<uint32_t>( below( random, 8 ) );
         if( const auto at = present.model.lines.find( number ); at != present.model.lines.end() ) {
            present.lines.erase( number, at->second.text );
            present.model.lines.erase( at );
         } else {
            const auto action = oneIn( random, 2 ) ? MatchPermit::permit : MatchPermit::deny;
            const std::string expression = someExpression( random );
            present.lines.put( number, action, expression );
            present.model.lines.insert( { number, { action, expression, CompiledExpression( expression, dialect ) } } );
         }
         ASSERT_EQ( wordsOf( present.lines ), present.model.words() );
         for( int i = 0; i < 5; ++i ) {
            const std::string text = someText( random );
            for( const auto & generation : { present, kept } )
               ASSERT_EQ( generation.lines.permits( text ), generation.model.permits( text ) ) << '"' << text << '"';
         }
      }
   } );
}

}   // namespace

}   // namespace Agent
