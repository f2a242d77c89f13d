#include "substrate/ferule/IpAddr.h"

#include <arpa/inet.h>

#include <array>
#include <optional>
#include <ostream>
#include <string>

#include "substrate/quoin/Exception.h"
#include "substrate/zeugma/HashMix.h"

namespace Ferule {

namespace {

using Bytes = std::array<unsigned char, 16>;

// Parses an address; no value if the text is not an address. A text that contains a zero byte is not an address.
std::optional<Bytes> parseBytes( int family, std::string_view text ) {
   char buffer[ INET6_ADDRSTRLEN ];
   if( text.size() >= sizeof buffer || text.find( '\0' ) != text.npos ) return std::nullopt;
   buffer[ text.copy( buffer, text.size() ) ] = '\0';   // not memcpy: the data of an empty view may be null
   Bytes bytes{};
   if( inet_pton( family, buffer, bytes.data() ) != 1 ) return std::nullopt;
   return bytes;
}

Quoin::String printBytes( int family, const Bytes & bytes ) {
   char buffer[ INET6_ADDRSTRLEN ];
   return Quoin::String( inet_ntop( family, bytes.data(), buffer, sizeof buffer ) );
}

uint64_t word( const Bytes & bytes, size_t at ) {
   uint64_t value = 0;
   for( size_t i = 0; i < 8; ++i ) value = value << 8 | bytes[ at + i ];
   return value;
}

Bytes toBytes( Bits128 bits ) {
   Bytes bytes{};
   for( size_t i = 0; i < 8; ++i ) {
      bytes[ i ] = static_cast<unsigned char>( bits.high >> ( 56 - 8 * i ) );
      bytes[ 8 + i ] = static_cast<unsigned char>( bits.low >> ( 56 - 8 * i ) );
   }
   return bytes;
}

Bits128 toBits( const Bytes & bytes ) {
   return { word( bytes, 0 ), word( bytes, 8 ) };
}

[[noreturn]] void throwNotAnAddress( const char * what, std::string_view text ) {
   throw Quoin::RangeException( std::string( what ) + " \"" + std::string( text ) + "\": not an address" );
}

}   // namespace

IpAddr::IpAddr( std::string_view text ) {
   auto bytes = parseBytes( AF_INET, text );
   if( !bytes ) throwNotAnAddress( "IPv4 address", text );
   value_ = static_cast<uint32_t>( word( *bytes, 0 ) >> 32 );
}

uint32_t IpAddr::hash() const noexcept {
   return IpGenAddr( *this ).hash();
}

Quoin::String IpAddr::toStrep() const {
   return printBytes( AF_INET, toBytes( { uint64_t( value_ ) << 32, 0 } ) );
}

Ip6Addr::Ip6Addr( std::string_view text ) {
   auto bytes = parseBytes( AF_INET6, text );
   if( !bytes ) throwNotAnAddress( "IPv6 address", text );
   bits_ = toBits( *bytes );
}

uint32_t Ip6Addr::hash() const noexcept {
   return IpGenAddr( *this ).hash();
}

Quoin::String Ip6Addr::toStrep() const {
   return printBytes( AF_INET6, toBytes( bits_ ) );
}

IpGenAddr::IpGenAddr( std::string_view text ) {
   if( auto v4 = parseBytes( AF_INET, text ) ) {
      bits_ = toBits( *v4 );
      af_ = AddressFamily::ipv4;
   } else if( auto v6 = parseBytes( AF_INET6, text ) ) {
      bits_ = toBits( *v6 );
      af_ = AddressFamily::ipv6;
   } else {
      throwNotAnAddress( "address", text );
   }
}

uint32_t IpGenAddr::hash() const noexcept {
   Zeugma::HashMix mix( static_cast<uint32_t>( af_ ) );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( &bits_.high ) );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( &bits_.low ) );
   return mix;
}

Quoin::String IpGenAddr::toStrep() const {
   switch( af_ ) {
      case AddressFamily::ipv4: return v4Addr().toStrep();
      case AddressFamily::ipv6: return v6Addr().toStrep();
      case AddressFamily::unset: break;
   }
   return "unset";
}

Quoin::String stringValue( AddressFamily af ) {
   switch( af ) {
      case AddressFamily::ipv4: return "ipv4";
      case AddressFamily::ipv6: return "ipv6";
      case AddressFamily::unset: return "unset";
   }
   return std::to_string( unsigned( af ) );
}
std::ostream & operator<<( std::ostream & os, AddressFamily af ) {
   return os << stringValue( af );
}
std::ostream & operator<<( std::ostream & os, const IpAddr & a ) {
   return os << a.toStrep();
}
std::ostream & operator<<( std::ostream & os, const Ip6Addr & a ) {
   return os << a.toStrep();
}
std::ostream & operator<<( std::ostream & os, const IpGenAddr & a ) {
   return os << a.toStrep();
}

}   // namespace Ferule
