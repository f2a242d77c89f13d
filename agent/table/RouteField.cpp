#include "table/RouteField.h"

#include <algorithm>
#include <limits>

#include "table/LineResult.h"
#include "table/TextReader.h"
#include "text/Community.h"

namespace Agent {

namespace {

using Fault = std::optional<std::string>;

std::string quoted( std::string_view value ) {
   return "\"" + printable( value, 64 ) + "\"";
}

std::string notANumber( std::string_view value, uint64_t max ) {
   return quoted( value ) + ": not a number from 0 to " + std::to_string( max );
}

Fault setNextHop( TableRoute & route, std::string_view value ) {
   std::string reason;
   const auto address = parseAddress( value, reason );
   if( !address ) return reason;
   route.nextHop = *address;
   return {};
}

Fault setTag( TableRoute & route, std::string_view value ) {
   const auto tag = parseNumber( value, kMax32 );
   if( !tag ) return notANumber( value, kMax32 );
   route.tag = static_cast<uint32_t>( *tag );
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
   if( !protocol ) {
      std::string names;
      for( auto p = SourceProtocol::connected; p <= SourceProtocol::ripng; p = SourceProtocol( uint8_t( p ) + 1 ) )
         names.append( names.empty() ? "" : ", " ).append( nameOf( p ) );
      return quoted( value ) + ": none of " + names;
   }
   route.protocol = *protocol;
   return {};
}

Fault setInterface( TableRoute & route, std::string_view value ) {
   const bool isName = std::none_of( value.begin(), value.end(), []( char c ) { return isSpace( static_cast<unsigned char>( c ) ); } );
   if( value.empty() || !isName ) return quoted( value ) + ": not the name of an interface";
   route.interface = value;
   return {};
}

Fault setLocalPreference( TableRoute & route, std::string_view value ) {
   const auto preference = parseNumber( value, kMax32 );
   if( !preference ) return notANumber( value, kMax32 );
   route.localPreference = static_cast<uint32_t>( *preference );
   return {};
}

Fault setCommunities( TableRoute & route, std::string_view value ) {
   const auto each = [ &value ]( auto && take ) {
      for( size_t begin = 0; begin <= value.size(); ) {
         const auto word = value.substr( begin, value.find( ',', begin ) - begin );
         if( !take( word ) ) return false;
         begin += word.size() + 1;
      }
      return true;
   };
   std::string_view wrong;
   const auto isCommunity = [ & ]( std::string_view word ) {
      wrong = word;
      return communityOf( word ).has_value();
   };
   if( !each( isCommunity ) ) return quoted( wrong ) + ": not a community, such as 64500:1 or no-export";
   route.communities.clear();
   each( [ & ]( std::string_view word ) {
      route.communities.push_back( *communityOf( word ) );
      return true;
   } );
   sortCommunities( route.communities );
   return {};
}

// With one blank between its words, so that an expression finds it as a table dump would have it.
Fault setAsPath( TableRoute & route, std::string_view value ) {
   if( value.find_first_not_of( "0123456789 \t{}()[]," ) != value.npos ) return quoted( value ) + ": not an AS path";
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
   Fault ( *set )( TableRoute & route, std::string_view value );
};

constexpr Field kFields[] = {
   { "next-hop", setNextHop },      { "tag", setTag },
   { "metric", setMetric },         { "protocol", setProtocol },
   { "interface", setInterface },   { "local-preference", setLocalPreference },
   { "community", setCommunities }, { "as-path", setAsPath },
};

const Field * fieldOf( std::string_view name ) noexcept {
   const auto * const at = std::find_if( std::begin( kFields ), std::end( kFields ), [ & ]( const Field & f ) { return f.name == name; } );
   return at == std::end( kFields ) ? nullptr : at;
}

}   // namespace

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
   if( !field ) return quoted( key ) + ": none of " + fieldNames();
   auto fault = field->set( route, value );
   if( fault ) fault->insert( 0, std::string( key ) + ": " );
   return fault;
}

}   // namespace Agent
