#include "text/Printable.h"

#include <algorithm>

namespace Agent {

namespace {

constexpr size_t kLongestWord = 64;
constexpr size_t kLongestName = 200;
constexpr size_t kLongestLine = 256;

}   // namespace

std::string printable( std::string_view text, size_t maxLength ) {
   static constexpr char kDigits[] = "0123456789abcdef";
   std::string result;
   for( const char c : text.substr( 0, maxLength ) ) {
      const auto byte = static_cast<unsigned char>( c );
      if( byte >= ' ' && byte < 0x7f )
         result += c;
      else
         ( ( result += "\\x" ) += kDigits[ byte >> 4 ] ) += kDigits[ byte & 15 ];
   }
   if( text.size() > maxLength ) result += "...";
   return result;
}

std::string printable( std::string_view text ) {
   return printable( text, kLongestWord );
}

std::string printableLine( std::string_view line ) {
   std::string text( line.substr( 0, kLongestLine + 1 ) );
   std::replace( text.begin(), text.end(), '\t', ' ' );
   return printable( text, kLongestLine );
}

std::string printableName( const std::string & name ) {
   return printable( name, kLongestName );
}

std::string inQuotes( std::string_view text ) {
   return '"' + printable( text ) + '"';
}

std::string alternatives( std::span<const std::string_view> words ) {
   std::string result;
   for( size_t i = 0; i < words.size(); ++i ) {
      if( i != 0 ) result += i + 1 == words.size() ? " or " : ", ";
      result += inQuotes( words[ i ] );
   }
   return result;
}

}   // namespace Agent
