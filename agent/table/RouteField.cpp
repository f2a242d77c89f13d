#include "table/RouteField.h"

#include <algorithm>
#include <span>
#include <type_traits>

#include "table/LineResult.h"
#include "table/TextReader.h"
#include "text/Community.h"
#include "text/Spelling.h"

namespace Agent {

namespace {

using Fault = std::optional<std::string>;

std::string quoted( std::string_view value ) {
   return "\"" + printable( value, 64 ) + "\"";
}

std::string notANumber( std::string_view value, uint64_t max ) {
   return quoted( value ) + ": not a number from 0 to " + std::to_string( max );
}

std::string expectedOneOf( std::string_view value, std::span<const std::string_view> names ) {
   std::string all;
   for( const auto & name : names ) all.append( all.empty() ? "" : ", " ).append( name );
   return quoted( value ) + ": expected one of " + all;
}

template <auto Address>   // of TableRoute
Fault setAddress( TableRoute & route, std::string_view value ) {
   std::string reason;
   const auto address = parseAddress( value, reason );
   if( !address ) return reason;
   route.*Address = *address;
   return {};
}

// One of the names, which are in the order of the values.
template <auto Keyword, const auto & names>   // of TableRoute
Fault setKeyword( TableRoute & route, std::string_view value ) {
   const auto at = std::ranges::find( names, value );
   if( at == std::end( names ) ) return expectedOneOf( value, names );
   using Value = std::remove_reference_t<decltype( *( route.*Keyword ) )>;
   route.*Keyword = Value( at - std::begin( names ) );
   return {};
}
constexpr std::string_view kOrigins[] = { "igp", "egp", "incomplete" };   // as in Origin

Fault setPeer( TableRoute & route, std::string_view value ) {
   if( value == "local" ) value = "0.0.0.0";
   return setAddress<&TableRoute::peer>( route, value );
}

template <auto Number>   // of TableRoute
Fault setNumber( TableRoute & route, std::string_view value ) {
   const auto number = parseNumber( value, kMax32 );
   if( !number ) return notANumber( value, kMax32 );
   route.*Number = static_cast<uint32_t>( *number );
   return {};
}

Fault setMetric( TableRoute & route, std::string_view value ) {
   constexpr uint64_t kMax = Zeugma::MaybeU63::kAbsent - 1;
   const auto metric = parseNumber( value, kMax );
   if( !metric ) return notANumber( value, kMax );
   route.metric = *metric;
   return {};
}

Fault setProtocol( TableRoute & route, std::string_view value ) {
   const auto protocol = sourceProtocol( value );
   if( !protocol ) { return expectedOneOf( value, sourceProtocolNames() ); }
   route.protocol = *protocol;
   return {};
}

Fault setInterface( TableRoute & route, std::string_view value ) {
   const bool isName = std::none_of( value.begin(), value.end(), []( char c ) { return isSpace( static_cast<unsigned char>( c ) ); } );
   if( value.empty() || !isName ) return quoted( value ) + ": not the name of an interface";
   route.interface = value;
   return {};
}

// Values with commas between. Allocates nothing for a route that had as many.
template <auto Member, auto Parse>
Fault setCommunities( TableRoute & route, std::string_view value, const char * what ) {
   const auto each = [ value ]( auto && take ) {
      for( size_t begin = 0; begin <= value.size(); ) {
         const auto word = value.substr( begin, value.find( ',', begin ) - begin );
         if( !take( word, Parse( word ) ) ) return false;
         begin += word.size() + 1;
      }
      return true;
   };
   std::string_view wrong;
   const auto isCommunity = [ & ]( std::string_view word, const auto & community ) {
      wrong = word;
      return community.has_value();
   };
   if( !each( isCommunity ) ) return quoted( wrong ) + ": not " + what;
   ( route.*Member ).clear();
   each( [ & ]( std::string_view, const auto & community ) {
      ( route.*Member ).push_back( *community );
      return true;
   } );
   return {};
}

Fault setCommunity( TableRoute & route, std::string_view value ) {
   auto fault = setCommunities<&TableRoute::communities, communityOf>( route, value, "a community, such as 64500:1 or no-export" );
   sortCommunities( route.communities );
   return fault;
}

Fault setLargeCommunity( TableRoute & route, std::string_view value ) {
   auto fault = setCommunities<&TableRoute::largeCommunities, largeCommunityOf>( route, value, "a large community, such as 64500:1:2" );
   sortCommunities( route.largeCommunities );
   return fault;
}

constexpr std::optional<ExtCommunity> ( &kExtCommunityOf )( std::string_view ) = extCommunityOf;

Fault setExtCommunity( TableRoute & route, std::string_view value ) {
   return setCommunities<&TableRoute::extCommunities, kExtCommunityOf>( route, value, "an extended community, such as rt:64500:1" );
}

// With one blank between words, as in a table dump, so that expressions match it.
Fault setAsPath( TableRoute & route, std::string_view value ) {
   constexpr std::string_view kDigits = "0123456789";
   if( value.find_first_not_of( "0123456789 \t{}()[]," ) != value.npos ) return quoted( value ) + ": not an AS path";
   for( size_t begin = value.find_first_of( kDigits ); begin != value.npos; ) {
      const size_t end = std::min( value.find_first_not_of( kDigits, begin ), value.size() );
      const auto as = value.substr( begin, end - begin );
      if( !parseNumber( as, kMax32 ) ) return "AS " + notANumber( as, kMax32 );
      begin = value.find_first_of( kDigits, end );
   }
   route.asPath.clear();
   for( const char c : value ) {
      const bool isBlank = isSpace( c );
      if( isBlank && ( route.asPath.empty() || route.asPath.back() == ' ' ) ) continue;
      route.asPath += isBlank ? ' ' : c;
   }
   if( route.asPath.ends_with( ' ' ) ) route.asPath.pop_back();
   return {};
}

struct Field {
   std::string_view name;
   std::string_view letters;   // of the name
   Fault ( *set )( TableRoute & route, std::string_view value );
   void ( *fill )( TableRoute & route, const TableRoute & from );   // takes the value of `from` if the route has none
};

template <auto Member>   // of TableRoute
void fill( TableRoute & route, const TableRoute & from ) {
   static const TableRoute kNone;
   if( route.*Member == kNone.*Member ) route.*Member = from.*Member;
}

constexpr Field kFields[] = {
   { "next-hop", "nexthop", setAddress<&TableRoute::nextHop>, fill<&TableRoute::nextHop> },
   { "tag", "tag", setNumber<&TableRoute::tag>, fill<&TableRoute::tag> },
   { "metric", "metric", setMetric, fill<&TableRoute::metric> },
   { "protocol", "protocol", setProtocol, fill<&TableRoute::protocol> },
   { "interface", "interface", setInterface, fill<&TableRoute::interface> },
   { "local-preference", "localpreference", setNumber<&TableRoute::localPreference>, fill<&TableRoute::localPreference> },
   { "community", "community", setCommunity, fill<&TableRoute::communities> },
   { "large-community", "largecommunity", setLargeCommunity, fill<&TableRoute::largeCommunities> },
   { "extcommunity", "extcommunity", setExtCommunity, fill<&TableRoute::extCommunities> },
   { "ospf-instance", "ospfinstance", setNumber<&TableRoute::ospfInstance>, fill<&TableRoute::ospfInstance> },
   { "isis-instance", "isisinstance", setNumber<&TableRoute::isisInstance>, fill<&TableRoute::isisInstance> },
   { "origin", "origin", setKeyword<&TableRoute::origin, kOrigins>, fill<&TableRoute::origin> },
   { "peer", "peer", setPeer, fill<&TableRoute::peer> },
   { "rpki", "rpki", setKeyword<&TableRoute::rpki, kRpkiStates>, fill<&TableRoute::rpki> },
   { "as-path", "aspath", setAsPath, fill<&TableRoute::asPath> },
};

const Field * fieldOf( std::string_view name ) noexcept {
   const auto * const at = std::find_if( std::begin( kFields ), std::end( kFields ), [ & ]( const Field & f ) { return f.name == name; } );
   return at == std::end( kFields ) ? nullptr : at;
}

bool takes( std::string_view field, std::string_view value ) {
   TableRoute route;
   return !fieldOf( field )->set( route, value );
}

// The names that other tools use.
constexpr struct {
   std::string_view letters;
   std::string_view field;
} kOtherWords[] = {
   { "via", "next-hop" },
   { "gateway", "next-hop" },
   { "gw", "next-hop" },
   { "proto", "protocol" },
   { "med", "metric" },
   { "dev", "interface" },
   { "lp", "local-preference" },
   { "pref", "local-preference" },
   { "localpref", "local-preference" },
   { "comm", "community" },
   { "communities", "community" },
};

constexpr size_t kLongestMistake = 24;

// Ignores case and hyphens.
std::string lettersOf( std::string_view word ) {
   std::string letters = lowerCase( word );
   std::erase_if( letters, []( char c ) { return c == '-' || c == '_'; } );
   return letters;
}

}   // namespace

std::string_view fieldMeantBy( std::string_view word, std::string_view value ) {
   if( value.empty() || word.size() > kLongestMistake || isFieldName( word ) ) return {};
   const std::string letters = lettersOf( word );
   for( const auto & other : kOtherWords )
      if( letters == other.letters && takes( other.field, value ) ) return other.field;
   for( const auto & field : kFields ) {
      if( letters == field.letters ) return field.name;
      const size_t limit = std::min<size_t>( 2, field.letters.size() / 3 );
      if( editDistance( letters, field.letters, limit ) <= limit && takes( field.name, value ) ) return field.name;
   }
   return {};
}

bool isFieldName( std::string_view key ) noexcept {
   return fieldOf( key ) != nullptr;
}

std::string fieldNames() {
   std::string names;
   for( const auto & field : kFields ) names.append( names.empty() ? "" : ", " ).append( field.name );
   return names;
}

std::optional<std::string> setField( TableRoute & route, std::string_view key, std::string_view value ) {
   const Field * field = fieldOf( key );
   if( !field ) {
      const auto meant = fieldMeantBy( key, value );
      return quoted( key ) + ": expected one of " + fieldNames() + ( meant.empty() ? "" : "; did you mean " + std::string( meant ) + '?' );
   }
   auto fault = field->set( route, value );
   if( fault ) fault->insert( 0, std::string( key ) + ": " );
   return fault;
}

std::optional<std::string> RouteDefaults::add( std::string_view attribute ) {
   const size_t equals = attribute.find( '=' );
   if( equals == attribute.npos ) return "expected NAME=VALUE, found " + quoted( attribute );
   const auto name = attribute.substr( 0, equals );
   auto fault = setField( values_, name, attribute.substr( equals + 1 ) );
   if( !fault ) fills_.push_back( fieldOf( name )->fill );
   return fault;
}

bool RouteDefaults::has( std::string_view name ) const {
   return std::ranges::find( fills_, fieldOf( name )->fill ) != fills_.end();
}

void RouteDefaults::fill( TableRoute & route ) const {
   for( const auto fillOne : fills_ ) fillOne( route, values_ );
}

}   // namespace Agent
