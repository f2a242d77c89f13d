#include "live/ExpressionLines.h"

#include <functional>

#include "text/Expression.h"

namespace Agent {

size_t wordHash( std::string_view word ) noexcept {
   return std::hash<std::string_view>()( word );
}

void ExpressionLines::put( uint32_t number, MatchPermit action, const std::string & expression ) {
   if( const auto word = wordExpressionOf( expression ) )
      lines_.put( wordHash( word->word ), number, { action, word->begins, word->ends, std::string( word->word ) } );
   else
      lines_.putOther( number, { action, CompiledExpression( expression, dialect_ ) } );
}

void ExpressionLines::erase( uint32_t number, std::string_view expression ) {
   if( const auto word = wordExpressionOf( expression ) )
      lines_.erase( wordHash( word->word ), number );
   else
      lines_.eraseOther( number );
}

bool ExpressionLines::permits( std::string_view text ) const {
   LowestLine lowest;
   if( lines_.hasKeys() )
      forEachWord( text, dialect_, [ & ]( std::string_view word, bool begins, bool ends ) {
         if( const auto * const lines = lines_.find( wordHash( word ) ) )
            lowest.seek( *lines, [ & ]( const WordLine & line ) {
               return line.word == word && ( begins || !line.begins ) && ( ends || !line.ends );
            } );
      } );
   lowest.seek( lines_.others(), [ & ]( const OtherLine & line ) { return line.expression.matches( text ); } );
   return lowest.permits();
}

}   // namespace Agent
