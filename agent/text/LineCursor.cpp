#include "text/LineCursor.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>

namespace Agent {

namespace {

constexpr size_t kLongestText = 64;
constexpr size_t kLongestLine = 256;

constexpr bool isBlank( char c ) noexcept {
   return c == ' ' || c == '\t' || c == '\r';
}

std::string_view withoutTrailingBlanks( std::string_view line ) noexcept {
   while( !line.empty() && isBlank( line.back() ) ) line.remove_suffix( 1 );
   return line;
}

std::string printableStart( std::string_view text, size_t longest ) {
   std::string result;
   for( const char c : text.substr( 0, longest ) ) {
      if( c >= ' ' && c < 0x7f )
         result += c;
      else
         fmt::format_to( std::back_inserter( result ), "\\x{:02x}", static_cast<unsigned char>( c ) );
   }
   if( text.size() > longest ) result += "...";
   return result;
}

}   // namespace

std::string printable( std::string_view text ) {
   return printableStart( text, kLongestText );
}

std::string printableLine( std::string_view line ) {
   std::string text( line.substr( 0, kLongestLine + 1 ) );
   std::replace( text.begin(), text.end(), '\t', ' ' );
   return printableStart( text, kLongestLine );
}

std::string inQuotes( std::string_view text ) {
   return '"' + printable( text ) + '"';
}

std::string alternatives( std::initializer_list<std::string_view> words ) {
   std::string result;
   for( const auto * word = words.begin(); word != words.end(); ++word ) {
      if( word != words.begin() ) result += word + 1 == words.end() ? " or " : ", ";
      result += inQuotes( *word );
   }
   return result;
}

void throwExpected( std::string_view what, const Token & found ) {
   throw LineError{ found.column,
                    fmt::format( "expected {}, found {}", what, found.text.empty() ? "the end of the line" : inQuotes( found.text ) ) };
}

LineCursor::LineCursor( std::string_view line, uint32_t file, uint32_t number ) noexcept
      : line_( withoutTrailingBlanks( line ) ), file_( file ), number_( number ), next_( tokenAt( 0 ) ), start_( next_.column ) {}

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

void LineCursor::expectEnd() const {
   if( !atEnd() ) throwExpected( "the end of the line", next_ );
}

void LineCursor::expectNoControlBytes() const {
   for( size_t at = 0; at < line_.size(); ++at ) {
      const char c = line_[ at ];
      if( ( static_cast<unsigned char>( c ) < ' ' && !isBlank( c ) ) || c == 0x7f )
         throwExpected( "text", { line_.substr( at, 1 ), static_cast<uint32_t>( at + 1 ) } );
   }
}

}   // namespace Agent
