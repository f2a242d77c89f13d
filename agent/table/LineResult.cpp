#include "table/LineResult.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "substrate/quoin/Exception.h"
#include "table/TextReader.h"

namespace Agent {

namespace {

constexpr size_t kLongestText = 64;   // a prefix has at most 49 characters

// The reason of the value class, or a general one if that text is not printable.
std::string whyNot( std::string_view text, const char * reason ) {
   const auto printsAsItIs = []( char c ) { return c > ' ' && c < 0x7f; };
   if( text.size() <= kLongestText && std::all_of( text.begin(), text.end(), printsAsItIs ) ) return reason;
   return "\"" + printable( text, kLongestText ) + "\": not an address";
}

// Most addresses of a table have this form, and a table has many. Nothing for any other text, which may be an address, too.
std::optional<Ferule::IpGenAddr> dottedQuad( std::string_view text ) noexcept {
   char terminated[ INET_ADDRSTRLEN ] = {};
   if( text.size() >= sizeof terminated || text.find( '\0' ) != text.npos ) return std::nullopt;
   text.copy( terminated, text.size() );
   in_addr address{};
   if( inet_pton( AF_INET, terminated, &address ) != 1 ) return std::nullopt;
   return Ferule::IpAddr( ntohl( address.s_addr ) );
}

template <class Value>
std::optional<Value> parse( std::string_view text, std::string & reason ) {
   try {
      if( text.size() <= kLongestText ) return Value( text );
      reason = whyNot( text, "" );
   } catch( const Quoin::RangeException & e ) { reason = whyNot( text, e.what() ); }
   return std::nullopt;
}

}   // namespace

std::optional<Ferule::IpGenPrefix> parsePrefix( std::string_view text, std::string & reason ) {
   auto prefix = parse<Ferule::IpGenPrefix>( text, reason );
   if( prefix && !prefix->isCanonical() ) {
      reason =
         std::string( text ) + ": bits are set after the prefix length; did you mean " + std::string( prefix->subnet().toStrep() ) + "?";
      prefix.reset();
   }
   return prefix;
}

std::optional<Ferule::IpGenAddr> parseAddress( std::string_view text, std::string & reason ) {
   if( const auto address = dottedQuad( text ) ) return address;
   return parse<Ferule::IpGenAddr>( text, reason );
}

Ferule::IpGenAddr addressOf( Ferule::AddressFamily af, std::string_view bytes ) noexcept {
   Ferule::Bits128 bits;
   for( size_t i = 0; i < bytes.size(); ++i )
      ( i < 8 ? bits.high : bits.low ) |= uint64_t( static_cast<unsigned char>( bytes[ i ] ) ) << ( 56 - 8 * ( i % 8 ) );
   if( af == Ferule::AddressFamily::ipv4 ) return Ferule::IpAddr( static_cast<uint32_t>( bits.high >> 32 ) );
   return Ferule::Ip6Addr( bits );
}

std::optional<uint64_t> parseNumber( std::string_view text, uint64_t max ) noexcept {
   uint64_t value = 0;
   const char * end = text.data() + text.size();
   const auto [ stop, error ] = std::from_chars( text.data(), end, value );
   if( error != std::errc() || stop != end || value > max ) return std::nullopt;
   return value;
}

const SegmentStyle * segmentStyle( uint32_t type ) noexcept {
   static constexpr SegmentStyle kStyles[] = { { "{", ",", "}" }, { "", " ", "" }, { "(", " ", ")" }, { "[", ",", "]" } };
   return type >= 1 && type <= std::size( kStyles ) ? &kStyles[ type - 1 ] : nullptr;
}

void appendNumber( std::string & text, uint32_t number ) {
   char digits[ 10 ];
   text.append( digits, std::to_chars( digits, digits + sizeof digits, number ).ptr );
}

void appendSegment( std::string & asPath, const SegmentStyle & style, const std::vector<uint32_t> & ases ) {
   if( !asPath.empty() ) asPath += ' ';
   asPath += style.open;
   for( size_t i = 0; i < ases.size(); ++i ) {
      if( i != 0 ) asPath += style.between;
      appendNumber( asPath, ases[ i ] );
   }
   asPath += style.close;
}

uint32_t originAsOf( std::string_view asPath ) noexcept {
   const auto blank = asPath.rfind( ' ' );
   return static_cast<uint32_t>( parseNumber( asPath.substr( blank == asPath.npos ? 0 : blank + 1 ), kMax32 ).value_or( 0 ) );
}

}   // namespace Agent
