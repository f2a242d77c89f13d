#include "PrefixLine.h"

#include <limits>

#include "TextReader.h"

namespace RouteTable {

namespace {

constexpr std::string_view kBlanks = " \t\v\f\r";

// Takes the next column off the line; empty at its end, and where a comment begins.
std::string_view takeColumn( std::string_view & line ) {
   line.remove_prefix( std::min( line.find_first_not_of( kBlanks ), line.size() ) );
   if( line.starts_with( '#' ) ) return {};
   const auto column = line.substr( 0, line.find_first_of( kBlanks ) );
   line.remove_prefix( column.size() );
   return column;
}

}   // namespace

LineResult parsePrefixLine( std::string_view line, TableRoute & route ) {
   const auto prefixText = takeColumn( line );
   if( prefixText.empty() ) return LineResult::nothing();
   std::string reason;
   const auto prefix = parsePrefix( prefixText, reason );
   if( !prefix ) return LineResult::broken( std::move( reason ) );

   route = {};
   route.prefix = *prefix;
   const auto tagText = takeColumn( line );
   if( !tagText.empty() && tagText.find_first_not_of( "0123456789" ) == tagText.npos ) {
      constexpr uint64_t kMaxTag = std::numeric_limits<uint32_t>::max();
      const auto tag = parseNumber( tagText, kMaxTag );
      if( !tag ) return LineResult::broken( "tag " + printable( tagText, 24 ) + ": above " + std::to_string( kMaxTag ) );
      route.tag = static_cast<uint32_t>( *tag );
   }
   return LineResult::route();
}

}   // namespace RouteTable
