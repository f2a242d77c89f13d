#include "table/BirdText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "text/Printable.h"

namespace Agent {

namespace {

using Ferule::AddressFamily;

constexpr std::string_view kTypes[] = { "unicast", "blackhole", "unreachable", "prohibited" };

bool isTableName( std::string_view line ) noexcept {
   return line.starts_with( "Table " ) && line.ends_with( ':' );
}

bool isBanner( std::string_view line ) noexcept {
   return line.starts_with( "BIRD " ) || line == "Access restricted" || line == "Network not found";
}

void skipBlanks( std::string_view & text ) {
   text.remove_prefix( std::min( text.find_first_not_of( " \t" ), text.size() ) );
}

std::string_view takeWord( std::string_view & text ) {
   skipBlanks( text );
   const auto word = text.substr( 0, text.find( ' ' ) );
   text.remove_prefix( word.size() );
   return word;
}

// Takes "(1, 2, 3)" off the text; nothing if it begins otherwise.
std::optional<std::array<std::string, 3>> takeTriple( std::string_view & text ) {
   skipBlanks( text );
   const auto end = text.find( ')' );
   if( !text.starts_with( '(' ) || end == text.npos ) return std::nullopt;
   std::array<std::string, 3> triple;
   auto inside = text.substr( 1, end - 1 );
   for( auto & part : triple ) {
      skipBlanks( inside );
      part = inside.substr( 0, inside.find( ',' ) );
      inside.remove_prefix( std::min( part.size() + 1, inside.size() ) );
   }
   if( !inside.empty() ) return std::nullopt;
   text.remove_prefix( end + 1 );
   return triple;
}

// Each with four octets, as "0x43000000".
std::optional<ExtCommunity> genericCommunityOf( const std::string & high, const std::string & low ) {
   const auto octets = []( std::string_view text ) -> std::optional<uint64_t> {
      uint32_t number = 0;
      const char * const end = text.data() + text.size();
      if( !text.starts_with( "0x" ) || std::from_chars( text.data() + 2, end, number, 16 ).ptr != end ) return std::nullopt;
      return number;
   };
   const auto first = octets( high ), second = octets( low );
   if( !first || !second ) return std::nullopt;
   return ExtCommunity( *first << 32 | *second );
}

}   // namespace

bool looksLikeBird( std::string_view line ) noexcept {
   return isBanner( line ) || isTableName( line );
}

void BirdText::lineIs( uint64_t number, std::string_view line ) {
   number_ = number;
   if( line.empty() ) return;
   if( line.front() != '\t' ) {
      finishRoute();
      if( !isBanner( line ) && !isTableName( line ) ) return beginRoute( line );
      prefix_.reset();
      return;
   }
   if( !hasRoute_ ) {
      hasRoute_ = true;
      return faultIs( "an attribute without a route" );
   }
   line.remove_prefix( 1 );
   if( line.starts_with( '\t' ) ) {
      skipBlanks( line );
      if( last_ == Attribute::asPath ) readAsPath( line );
      if( last_ == Attribute::communities ) readCommunities( line );
      if( last_ == Attribute::largeCommunities ) readLargeCommunities( line );
      if( last_ == Attribute::extCommunities ) readExtCommunities( line );
      return;
   }
   last_ = Attribute::other;
   const auto colon = line.find( ": " );
   if( line.starts_with( "via " ) || line.starts_with( "dev " ) )
      readVia( line );
   else if( colon != line.npos )
      readAttribute( line.substr( 0, colon ), line.substr( colon + 2 ) );
}

void BirdText::brokenLineIs( uint64_t number, const std::string & reason ) {
   number_ = number;
   hasRoute_ = true;   // perhaps the line began one
   faultIs( reason );
}

void BirdText::finish( const std::string & fault ) {
   if( hasRoute_ && !fault.empty() ) faultIs( "cut short: " + fault );
   finishRoute();
}

void BirdText::beginRoute( std::string_view line ) {
   hasRoute_ = true;
   hasType_ = hasFrom_ = hasVia_ = hasBgpNextHop_ = false;
   last_ = Attribute::other;
   metric_.reset();
   from_ = via_ = {};
   route_.clear();
   std::string reason;
   if( line.front() != ' ' ) {
      prefix_ = parsePrefix( takeWord( line ), reason );
      if( !prefix_ ) return faultIs( std::move( reason ) );
   }
   if( !prefix_ ) return faultIs( "a route without a prefix" );
   route_.prefix = *prefix_;
   const auto type = takeWord( line );
   skipBlanks( line );
   const bool isType = std::find( std::begin( kTypes ), std::end( kTypes ), type ) != std::end( kTypes );
   if( !isType || !line.starts_with( '[' ) ) return faultIs( "\"" + printable( type, 24 ) + "\": not a type of route" );
   readFrom( line.substr( 0, line.find( ']' ) ) );
}

// "[PEER1 16:32:59.868 from 192.0.2.1"
void BirdText::readFrom( std::string_view origin ) {
   const auto blank = origin.rfind( ' ' );
   constexpr std::string_view kFrom = " from";
   std::string reason;
   if( blank == origin.npos || !origin.substr( 0, blank ).ends_with( kFrom ) ) return;
   hasFrom_ = true;
   if( const auto from = parseAddress( origin.substr( blank + 1 ), reason ) ) from_ = *from;
}

void BirdText::readVia( std::string_view line ) {
   if( hasVia_ ) return;   // of several next hops the first is used
   hasVia_ = true;
   const auto kind = takeWord( line );
   auto word = takeWord( line );
   if( kind == "via" ) {
      std::string reason;
      const auto nextHop = parseAddress( word, reason );
      if( !nextHop ) return faultIs( "via: " + reason );
      via_ = *nextHop;
      if( !hasBgpNextHop_ ) route_.nextHop = *nextHop;
      if( takeWord( line ) != "on" ) return;
      word = takeWord( line );
   }
   route_.interface = word;
}

void BirdText::readAttribute( std::string_view name, std::string_view value ) {
   if( name == "Type" ) {
      hasType_ = true;
      readSource( value );
   } else if( name == "BGP.as_path" ) {
      last_ = Attribute::asPath;
      readAsPath( value );
   } else if( name == "BGP.next_hop" ) {
      std::string reason;
      const auto nextHop = parseAddress( takeWord( value ), reason );
      if( !nextHop ) return faultIs( "BGP.next_hop: " + reason );
      route_.nextHop = *nextHop;
      hasBgpNextHop_ = true;
   } else if( name == "BGP.med" ) {
      readNumber( metric_, "BGP.med", value );
   } else if( name == "BGP.local_pref" ) {
      readNumber( route_.localPreference, "BGP.local_pref", value );
   } else if( name == "BGP.community" ) {
      last_ = Attribute::communities;
      readCommunities( value );
   } else if( name == "BGP.large_community" ) {
      last_ = Attribute::largeCommunities;
      readLargeCommunities( value );
   } else if( name == "BGP.ext_community" ) {
      last_ = Attribute::extCommunities;
      readExtCommunities( value );
   } else if( name == "BGP.origin" ) {
      route_.origin = originOf( value );
   }
}

void BirdText::readSource( std::string_view value ) {
   const auto source = takeWord( value );
   const bool isIpv6 = route_.prefix.af() == AddressFamily::ipv6;
   if( source == "BGP" ) route_.protocol = SourceProtocol::bgp;
   if( source == "static" ) route_.protocol = SourceProtocol::fixed;
   if( source == "device" ) route_.protocol = SourceProtocol::connected;
   if( source == "inherit" ) route_.protocol = SourceProtocol::kernel;
   if( source.starts_with( "OSPF" ) ) route_.protocol = isIpv6 ? SourceProtocol::ospf6 : SourceProtocol::ospf;
   if( source == "RIP" ) route_.protocol = isIpv6 ? SourceProtocol::ripng : SourceProtocol::rip;
}

// The members of a set have blanks between them, and those of a set within a confederation two pairs of brackets.
void BirdText::readAsPath( std::string_view value ) {
   if( value.find_first_not_of( "0123456789 {}()" ) != value.npos )
      return faultIs( "BGP.as_path: \"" + printable( value, 64 ) + "\": not an AS path" );
   std::string & path = route_.asPath;
   if( !path.empty() && !value.empty() ) path += ' ';
   bool inSet = false;
   for( const char c : value ) {
      if( c == '{' ) {
         inSet = true;
         const bool ofConfederation = path.ends_with( '(' );
         if( ofConfederation ) path.pop_back();
         path += ofConfederation ? '[' : '{';
      } else if( c == '}' ) {
         inSet = false;
         const auto open = path.find_last_of( "{[" );
         path += open != path.npos && path[ open ] == '[' ? ']' : '}';
      } else if( c == ')' && path.ends_with( ']' ) ) {
         continue;
      } else {
         path += inSet && c == ' ' ? ',' : c;
      }
   }
}

void BirdText::readCommunities( std::string_view value ) {
   while( !value.empty() ) {
      const auto word = takeWord( value );
      if( word.empty() ) break;
      const auto comma = word.find( ',' );
      const bool isPair = word.starts_with( '(' ) && word.ends_with( ')' ) && comma != word.npos;
      const auto as = isPair ? parseNumber( word.substr( 1, comma - 1 ), 0xffff ) : std::nullopt;
      const auto number = isPair ? parseNumber( word.substr( comma + 1, word.size() - comma - 2 ), 0xffff ) : std::nullopt;
      if( !as || !number ) return faultIs( "BGP.community: \"" + printable( word, 24 ) + "\": not a community" );
      route_.communities.push_back( static_cast<uint32_t>( *as << 16 | *number ) );
   }
}

// "(64500, 1, 2) (64500, 1, 3)"
void BirdText::readLargeCommunities( std::string_view value ) {
   for( auto triple = takeTriple( value ); triple; triple = takeTriple( value ) ) {
      const auto & [ as, data1, data2 ] = *triple;
      const auto community = largeCommunityOf( fmt::format( "{}:{}:{}", as, data1, data2 ) );
      if( !community ) return faultIs( "BGP.large_community: \"" + printable( as, 24 ) + ", ...\": not a community" );
      route_.largeCommunities.push_back( *community );
   }
   if( !value.empty() ) faultIs( "BGP.large_community: \"" + printable( value, 24 ) + "\": not a community" );
}

// "(rt, 64500, 1) (ro, 192.0.2.1, 2) (generic, 0x43000000, 0x1)"
void BirdText::readExtCommunities( std::string_view value ) {
   for( auto triple = takeTriple( value ); triple; triple = takeTriple( value ) ) {
      const auto & [ kind, first, second ] = *triple;
      const auto community = kind == "generic" ? genericCommunityOf( first, second )
                                               : extCommunityOf( kind == "ro" ? "soo" : kind, fmt::format( "{}:{}", first, second ) );
      if( !community ) return faultIs( "BGP.ext_community: \"" + printable( kind, 24 ) + ", ...\": not a community" );
      route_.extCommunities.push_back( *community );
   }
   if( !value.empty() ) faultIs( "BGP.ext_community: \"" + printable( value, 24 ) + "\": not a community" );
}

void BirdText::readNumber( std::optional<uint32_t> & number, const char * name, std::string_view value ) {
   const auto parsed = parseNumber( value, kMax32 );
   if( !parsed ) return faultIs( std::string( name ) + ": \"" + printable( value, 24 ) + "\": not a number of 32 bits" );
   number = static_cast<uint32_t>( *parsed );
}

void BirdText::faultIs( std::string fault ) {
   if( !fault_.empty() ) return;
   fault_ = std::move( fault );
   faultNumber_ = number_;
}

void BirdText::finishRoute() {
   if( !std::exchange( hasRoute_, false ) ) return;
   if( !fault_.empty() ) {
      handler_.handleBroken( faultNumber_, fault_ );
      fault_.clear();
      return;
   }
   if( metric_ ) route_.metric = *metric_;
   if( route_.protocol == SourceProtocol::bgp ) route_.peer = hasFrom_ ? from_ : via_;
   route_.tag = originAsOf( route_.asPath );
   sortCommunities( route_.communities );
   sortCommunities( route_.largeCommunities );
   if( !hasType_ && !std::exchange( hasRemark_, true ) )
      handler_.handleRemark( "some routes have no attributes; `show route all` prints them" );
   handler_.handleRoute( route_ );
}

}   // namespace Agent
