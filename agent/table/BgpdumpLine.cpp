#include "table/BgpdumpLine.h"

#include <algorithm>
#include <array>
#include <optional>

#include "table/TextReader.h"
#include "text/Community.h"

namespace Agent {

namespace {

// The fields that are read, by position. Each ends with a bar. Those behind the prefix move by one where a path identifier follows it.
enum Field : size_t {
   kRecord = 0,
   kKind = 2,
   kPeer = 3,
   kPrefix = 5,
   kPath = 6,
   kOrigin = 7,
   kNextHop = 8,
   kLocalPreference = 9,
   kMed = 10,
   kCommunities = 11
};
constexpr size_t kFieldCount = 14;   // without a path identifier

constexpr std::string_view kWithPathIdentifier = "_AP";

std::string_view withoutPathIdentifier( std::string_view record ) noexcept {
   if( record.ends_with( kWithPathIdentifier ) ) record.remove_suffix( kWithPathIdentifier.size() );
   return record;
}

bool isRecordName( std::string_view text ) noexcept {
   text = withoutPathIdentifier( text );
   for( const std::string_view name : { "TABLE_DUMP2", "TABLE_DUMP", "BGP4MP", "BGP4MP_ET", "BGP4MP_LOCAL", "BGP4MP_ET_LOCAL" } )
      if( text == name ) return true;
   return false;
}

bool isOfSent( std::string_view record ) noexcept {
   return withoutPathIdentifier( record ).ends_with( "_LOCAL" );
}

// An empty field is absent.
bool parseField32( std::string_view text, const char * name, std::optional<uint64_t> & value, std::string & reason ) {
   if( text.empty() ) return true;
   value = parseNumber( text, kMax32 );
   if( !value ) reason = std::string( name ) + " \"" + printable( text, 24 ) + "\": not a number of 32 bits";
   return value.has_value();
}

// Skips words that are not communities.
void readCommunities( std::string_view text, TableRoute & route ) {
   while( !text.empty() ) {
      const auto word = text.substr( 0, text.find( ' ' ) );
      if( const auto community = communityOf( word ) )
         route.communities.push_back( *community );
      else if( const auto large = largeCommunityOf( word ) )
         route.largeCommunities.push_back( *large );
      text.remove_prefix( std::min( word.size() + 1, text.size() ) );
   }
   sortCommunities( route.communities );
   sortCommunities( route.largeCommunities );
}

}   // namespace

bool looksLikeBgpdump( std::string_view line ) noexcept {
   if( line.starts_with( "TABLE_DUMP" ) || line.starts_with( "BGP4MP" ) ) return true;
   // By hand: every line of a table comes here, and a search for a set of characters takes longer than parsing most lines.
   for( const char c : line ) {
      if( c == '|' ) return true;
      if( c == ' ' || c == '\t' || c == '#' ) return false;
   }
   return false;
}

LineResult parseBgpdumpLine( std::string_view line, TableRoute & route ) {
   std::array<std::string_view, kFieldCount> field{};
   size_t ended = 0;   // complete fields, without the path identifier; what follows the last one is ignored
   bool hasPathIdentifier = false;
   std::string_view pathIdentifier = "0";
   std::string_view rest = line;
   for( ; ended < kFieldCount; ++ended ) {
      if( ended == kPath && hasPathIdentifier ) {
         const auto bar = rest.find( '|' );
         if( bar == rest.npos ) break;
         pathIdentifier = rest.substr( 0, bar );
         rest.remove_prefix( bar + 1 );
      }
      const auto bar = rest.find( '|' );
      if( bar == rest.npos ) break;
      field[ ended ] = rest.substr( 0, bar );
      rest.remove_prefix( bar + 1 );
      if( ended == kRecord ) hasPathIdentifier = field[ kRecord ].ends_with( kWithPathIdentifier );
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
   if( kind == "STATE" ) return LineResult::skipped();
   if( kind == "W" ) {
      if( ended < kPrefix ) return cutShort( kPrefix + 1 );
      if( ended == kPrefix ) field[ kPrefix ] = rest;   // the last field has no bar here
      if( !parsePrefix( field[ kPrefix ], reason ) ) return LineResult::broken( std::move( reason ) );
      return LineResult::skipped();
   }
   if( kind != "B" && kind != "A" )
      return LineResult::broken( "kind \"" + printable( kind, 24 ) + "\": neither a table entry nor an announcement" );
   if( ended < kFieldCount ) return cutShort( kFieldCount );
   if( !parseNumber( pathIdentifier, kMax32 ) )
      return LineResult::broken( "path identifier \"" + printable( pathIdentifier, 24 ) + "\": not a number of 32 bits" );

   const auto prefix = parsePrefix( field[ kPrefix ], reason );
   if( !prefix ) return LineResult::broken( std::move( reason ) );
   route.clear();
   route.prefix = *prefix;
   if( !field[ kNextHop ].empty() ) {
      const auto nextHop = parseAddress( field[ kNextHop ], reason );
      if( !nextHop ) return LineResult::broken( "next hop: " + reason );
      route.nextHop = *nextHop;
   }
   // A message that the router itself has sent does not tell the peer that announced the route.
   if( !field[ kPeer ].empty() && !isOfSent( field[ kRecord ] ) ) {
      const bool isNextHop = field[ kPeer ] == field[ kNextHop ];   // as in most tables
      const auto peer = isNextHop ? route.nextHop : parseAddress( field[ kPeer ], reason );
      if( !peer ) return LineResult::broken( "peer: " + reason );
      route.peer = *peer;
   }
   std::optional<uint64_t> med, preference;
   if( !parseField32( field[ kMed ], "MED", med, reason ) ||
       !parseField32( field[ kLocalPreference ], "local preference", preference, reason ) )
      return LineResult::broken( std::move( reason ) );
   if( med ) route.metric = *med;
   if( preference && *preference != 0 ) route.localPreference = static_cast<uint32_t>( *preference );
   route.asPath = field[ kPath ];
   route.tag = originAsOf( route.asPath );
   route.origin = originOf( field[ kOrigin ] );
   readCommunities( field[ kCommunities ], route );
   route.protocol = SourceProtocol::bgp;
   return LineResult::route();
}

}   // namespace Agent
