#include "table/PrefixLine.h"

#include <algorithm>

#include "table/RouteField.h"
#include "table/TextReader.h"

namespace Agent {

namespace {

bool isBlank( char c ) noexcept {
   return c != '\n' && isSpace( static_cast<unsigned char>( c ) );
}

bool isDigit( char c ) noexcept {
   return c >= '0' && c <= '9';
}

// Takes the next column off the line; empty at its end, and where a comment begins.
std::string_view takeColumn( std::string_view & line ) {
   const auto begin = std::find_if_not( line.begin(), line.end(), isBlank );
   line.remove_prefix( static_cast<size_t>( begin - line.begin() ) );
   if( line.starts_with( '#' ) ) line = {};
   const auto end = std::find_if( line.begin(), line.end(), isBlank );
   const auto column = line.substr( 0, static_cast<size_t>( end - line.begin() ) );
   line.remove_prefix( column.size() );
   return column;
}

// What there is before a comment.
std::string_view takeRest( std::string_view & line ) {
   auto rest = line;
   for( size_t at = rest.find( '#' ); at != rest.npos; at = rest.find( '#', at + 1 ) )
      if( at == 0 || isBlank( rest[ at - 1 ] ) ) rest = rest.substr( 0, at );
   line = {};
   return rest;
}

// The columns from the first name on. Returns what is wrong with them, else nothing.
std::string parseFields( std::string_view name, std::string_view & line, TableRoute & route ) {
   for( ; !name.empty(); name = takeColumn( line ) ) {
      const auto value = name == "as-path" ? takeRest( line ) : takeColumn( line );
      if( auto fault = setField( route, name, value ) ) return std::move( *fault );
   }
   return {};
}

}   // namespace

LineResult parsePrefixLine( std::string_view line, TableRoute & route ) {
   const auto prefixText = takeColumn( line );
   if( prefixText.empty() ) return LineResult::nothing();
   std::string reason;
   const auto prefix = parsePrefix( prefixText, reason );
   if( !prefix ) return LineResult::broken( std::move( reason ) );

   route.clear();
   route.prefix = *prefix;
   auto column = takeColumn( line );
   if( !column.empty() && std::all_of( column.begin(), column.end(), isDigit ) ) {
      const auto tag = parseNumber( column, kMax32 );
      if( !tag ) return LineResult::broken( "tag " + printable( column, 24 ) + ": above " + std::to_string( kMax32 ) );
      route.tag = static_cast<uint32_t>( *tag );
      column = takeColumn( line );
   }
   if( isFieldName( column ) ) reason = parseFields( column, line, route );
   return reason.empty() ? LineResult::route() : LineResult::broken( std::move( reason ) );
}

}   // namespace Agent
