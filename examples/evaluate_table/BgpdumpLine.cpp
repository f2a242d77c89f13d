#include "BgpdumpLine.h"

#include <array>
#include <limits>

#include "TextReader.h"

namespace RouteTable {

namespace {

constexpr uint64_t kMax32 = std::numeric_limits<uint32_t>::max();

// Those that are read, by their place; each has a bar behind it.
enum Field : size_t { kRecord = 0, kKind = 2, kPrefix = 5, kPath = 6, kNextHop = 8, kMed = 10 };
constexpr size_t kFieldCount = 14;

bool isRecordName( std::string_view text ) noexcept {
   return text == "TABLE_DUMP2" || text == "TABLE_DUMP" || text == "BGP4MP" || text == "BGP4MP_ET";
}

uint32_t lastAs( std::string_view path ) noexcept {
   const auto blank = path.rfind( ' ' );
   return static_cast<uint32_t>( parseNumber( path.substr( blank == path.npos ? 0 : blank + 1 ), kMax32 ).value_or( 0 ) );
}

}   // namespace

bool looksLikeBgpdump( std::string_view line ) noexcept {
   if( line.starts_with( "TABLE_DUMP" ) || line.starts_with( "BGP4MP" ) ) return true;
   return line.substr( 0, line.find_first_of( " \t#" ) ).find( '|' ) != line.npos;
}

LineResult parseBgpdumpLine( std::string_view line, TableRoute & route ) {
   std::array<std::string_view, kFieldCount> field{};
   size_t ended = 0;   // fields with a bar behind them; what follows the last one is of no interest
   std::string_view rest = line;
   for( ; ended < kFieldCount; ++ended ) {
      const auto bar = rest.find( '|' );
      if( bar == rest.npos ) break;
      field[ ended ] = rest.substr( 0, bar );
      rest.remove_prefix( bar + 1 );
   }
   const auto cutShort = [ & ]( size_t expected ) {
      return LineResult::broken( "cut short: " + std::to_string( ended ) + " of " + std::to_string( expected ) + " fields" );
   };
   if( ended == 0 ) return cutShort( kFieldCount );
   if( !isRecordName( field[ kRecord ] ) )
      return LineResult::broken( "\"" + printable( field[ kRecord ], 24 ) + "\": neither TABLE_DUMP2 nor BGP4MP" );
   if( ended <= kKind ) return cutShort( kFieldCount );

   std::string reason;
   const auto kind = field[ kKind ];
   if( kind == "STATE" ) return LineResult::passedOver();
   if( kind == "W" ) {
      if( ended < kPrefix ) return cutShort( kPrefix + 1 );
      if( ended == kPrefix ) field[ kPrefix ] = rest;   // no bar behind the last field here
      if( !parsePrefix( field[ kPrefix ], reason ) ) return LineResult::broken( std::move( reason ) );
      return LineResult::passedOver();
   }
   if( kind != "B" && kind != "A" )
      return LineResult::broken( "kind \"" + printable( kind, 24 ) + "\": neither a table entry nor an announcement" );
   if( ended < kFieldCount ) return cutShort( kFieldCount );

   const auto prefix = parsePrefix( field[ kPrefix ], reason );
   if( !prefix ) return LineResult::broken( std::move( reason ) );
   route = {};
   route.prefix = *prefix;
   if( !field[ kNextHop ].empty() ) {
      const auto nextHop = parseAddress( field[ kNextHop ], reason );
      if( !nextHop ) return LineResult::broken( "next hop: " + reason );
      route.nextHop = *nextHop;
   }
   if( !field[ kMed ].empty() ) {
      const auto med = parseNumber( field[ kMed ], kMax32 );
      if( !med ) return LineResult::broken( "MED \"" + printable( field[ kMed ], 24 ) + "\": not a number of 32 bits" );
      route.metric = *med;
   }
   route.tag = lastAs( field[ kPath ] );
   route.origin = RouteOrigin::bgp;
   return LineResult::route();
}

}   // namespace RouteTable
