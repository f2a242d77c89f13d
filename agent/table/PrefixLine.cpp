#include "table/PrefixLine.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <string>

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

// Takes the next column off the line; empty at the end or at a comment.
std::string_view takeColumn( std::string_view & line ) {
   const auto begin = std::find_if_not( line.begin(), line.end(), isBlank );
   line.remove_prefix( static_cast<size_t>( begin - line.begin() ) );
   if( line.starts_with( '#' ) ) line = {};
   const auto end = std::find_if( line.begin(), line.end(), isBlank );
   const auto column = line.substr( 0, static_cast<size_t>( end - line.begin() ) );
   line.remove_prefix( column.size() );
   return column;
}

// The line without its comment.
std::string_view takeRest( std::string_view & line ) {
   auto rest = line;
   for( size_t at = rest.find( '#' ); at != rest.npos; at = rest.find( '#', at + 1 ) )
      if( at == 0 || isBlank( rest[ at - 1 ] ) ) rest = rest.substr( 0, at );
   line = {};
   return rest;
}

// Reads the columns from the first name on. Returns the error, or nothing.
std::string parseFields( std::string_view name, std::string_view & line, TableRoute & route ) {
   for( ; !name.empty(); name = takeColumn( line ) ) {
      const auto value = name == "as-path" ? takeRest( line ) : takeColumn( line );
      if( auto fault = setField( route, name, value ) ) return std::move( *fault );
   }
   return {};
}

// The error if a remark was probably meant as an attribute; usually nothing.
std::string mistakenRemark( std::string_view word, std::string_view behind ) {
   const auto meant = fieldMeantBy( word, takeColumn( behind ) );
   if( meant.empty() ) return {};
   return "\"" + printable( word, 24 ) + "\": did you mean " + std::string( meant ) + "? Remarks can be written after a #";
}

// The length of a netmask such as 255.255.255.0.
std::optional<uint64_t> lengthOfNetmask( std::string_view text ) {
   if( std::count( text.begin(), text.end(), '.' ) != 3 || text.find_first_not_of( "0123456789." ) != text.npos ) return std::nullopt;
   std::string reason;
   const auto address = parseAddress( text, reason );
   if( !address ) return std::nullopt;
   const auto mask = static_cast<uint32_t>( address->bits().high >> 32 );
   const int length = std::countl_one( mask );
   return std::popcount( mask ) == length ? std::optional<uint64_t>( length ) : std::nullopt;
}

// The error if the column after an address without a length is probably the length; else nothing.
std::string mistakenLength( std::string_view address, std::string_view column, const TableRoute & route ) {
   const unsigned bits = route.prefix.length();
   const auto number = parseNumber( column, bits );
   const auto length = number ? number : bits == 32 ? lengthOfNetmask( column ) : std::nullopt;
   if( !length ) return {};
   const Ferule::IpGenPrefix meant( std::string( address ) + '/' + std::to_string( *length ) );
   const std::string pair = std::string( address ) + ' ' + printable( column, 24 );
   return pair + ": write " + std::string( meant.subnet().toStrep() ) + " for a prefix" +
      ( number ? ", or " + std::string( address ) + " tag " + std::to_string( *number ) + " for a host with a tag" : "" );
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
   if( prefixText.find( '/' ) == prefixText.npos )
      if( reason = mistakenLength( prefixText, column, route ); !reason.empty() ) return LineResult::broken( std::move( reason ) );
   if( !column.empty() && std::all_of( column.begin(), column.end(), isDigit ) ) {
      const auto tag = parseNumber( column, kMax32 );
      if( !tag ) return LineResult::broken( "tag " + printable( column, 24 ) + ": above " + std::to_string( kMax32 ) );
      route.tag = static_cast<uint32_t>( *tag );
      column = takeColumn( line );
   }
   reason = isFieldName( column ) ? parseFields( column, line, route ) : mistakenRemark( column, line );
   return reason.empty() ? LineResult::route() : LineResult::broken( std::move( reason ) );
}

}   // namespace Agent
