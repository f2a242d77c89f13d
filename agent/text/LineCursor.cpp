#include "text/LineCursor.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace Agent {

namespace {

constexpr bool isBlank( char c ) noexcept {
   return c == ' ' || c == '\t' || c == '\r';
}

std::string_view withoutTrailingBlanks( std::string_view line ) noexcept {
   while( !line.empty() && isBlank( line.back() ) ) line.remove_suffix( 1 );
   return line;
}

// The length in bytes of a control character at the start of the text: of ASCII, or U+0080 to U+009F in UTF-8. 0 if it starts otherwise,
// or with a blank.
size_t controlBytes( std::string_view text ) noexcept {
   const auto byte = [ & ]( size_t at ) { return static_cast<unsigned char>( text[ at ] ); };
   if( ( byte( 0 ) < ' ' && !isBlank( text[ 0 ] ) ) || byte( 0 ) == 0x7f ) return 1;
   return byte( 0 ) == 0xc2 && text.size() > 1 && byte( 1 ) >= 0x80 && byte( 1 ) < 0xa0 ? 2 : 0;
}

}   // namespace

void throwExpected( std::string_view what, const Token & found ) {
   throw LineError{ found.column,
                    fmt::format( "expected {}, found {}", what, found.text.empty() ? "the end of the line" : inQuotes( found.text ) ) };
}

LineCursor::LineCursor( std::string_view line, uint32_t file, uint32_t number, Dialect dialect ) noexcept
      : line_( withoutTrailingBlanks( line ) ),
        file_( file ),
        number_( number ),
        dialect_( dialect ),
        next_( tokenAt( 0 ) ),
        start_( next_.column ) {}

Token LineCursor::tokenAt( size_t at ) const noexcept {
   while( at < line_.size() && isBlank( line_[ at ] ) ) ++at;
   size_t end = at;
   while( end < line_.size() && !isBlank( line_[ end ] ) ) ++end;
   return { line_.substr( at, end - at ), static_cast<uint32_t>( at + 1 ) };
}

Token LineCursor::take() noexcept {
   return std::exchange( next_, tokenAt( next_.column - 1 + next_.text.size() ) );
}

Token LineCursor::take( std::string_view what ) {
   if( atEnd() ) throwExpected( what, next_ );
   return take();
}

bool LineCursor::takeWords( std::string_view words ) noexcept {
   const Token start = next_;
   while( !words.empty() ) {
      const auto word = words.substr( 0, words.find( ' ' ) );
      if( next_.text != word ) {
         next_ = start;
         return false;
      }
      take();
      words.remove_prefix( std::min( word.size() + 1, words.size() ) );
   }
   return true;
}

Token LineCursor::takeRest( std::string_view what ) {
   if( atEnd() ) throwExpected( what, next_ );
   const Token rest{ line_.substr( next_.column - 1 ), next_.column };
   next_ = tokenAt( line_.size() );
   return rest;
}

std::string LineCursor::takeText( std::string_view what ) {
   if( dialect_ != Dialect::frr ) return std::string( takeRest( what ).text );
   std::string text( take( what ).text );
   while( !atEnd() ) text.append( 1, ' ' ).append( take().text );
   return text;
}

void LineCursor::expectEnd() const {
   if( !atEnd() ) throwExpected( "the end of the line", next_ );
}

void LineCursor::expectNoControlBytes() const {
   for( size_t at = 0; at < line_.size(); ++at )
      if( const size_t size = controlBytes( line_.substr( at ) ) )
         throwExpected( "printable text", { line_.substr( at, size ), static_cast<uint32_t>( at + 1 ) } );
}

}   // namespace Agent
