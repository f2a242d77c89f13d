/// @file tests/substrate/ferule/Bits.h
/// What the address tests share: bits one by one, texts that are nearly addresses, and "any bytes in".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <rapidcheck.h>

#include "substrate/ferule/IpAddr.h"
#include "substrate/quoin/Exception.h"

/// The lengths where something may go wrong.
inline constexpr std::array<unsigned, 14> kLengths{ 0, 1, 7, 8, 31, 32, 33, 63, 64, 65, 126, 127, 128, 255 };

/// Bit `i`, the first being the most significant.
constexpr bool bitAt( Ferule::Bits128 bits, unsigned i ) {
   return ( i < 64 ? bits.high >> ( 63 - i ) : bits.low >> ( 127 - i ) ) & 1;
}

constexpr Ferule::Bits128 withBitFlipped( Ferule::Bits128 bits, unsigned i ) {
   ( i < 64 ? bits.high : bits.low ) ^= uint64_t( 1 ) << ( i < 64 ? 63 - i : 127 - i );
   return bits;
}

inline rc::Gen<Ferule::Bits128> anyBits() {
   const auto word = rc::gen::oneOf( rc::gen::resize( 100, rc::gen::arbitrary<uint64_t>() ),
                                     rc::gen::element<uint64_t>( 0, 1, ~uint64_t( 0 ), uint64_t( 1 ) << 63, 0xffff0a000001 ) );
   return rc::gen::build<Ferule::Bits128>( rc::gen::set( &Ferule::Bits128::high, word ), rc::gen::set( &Ferule::Bits128::low, word ) );
}

inline rc::Gen<Ferule::IpAddr> anyIpAddr() {
   return rc::gen::map( rc::gen::resize( 100, rc::gen::arbitrary<uint32_t>() ), []( uint32_t v ) { return Ferule::IpAddr( v ); } );
}

inline rc::Gen<Ferule::IpGenAddr> anyIpGenAddr() {
   return rc::gen::oneOf( rc::gen::map( anyIpAddr(), []( Ferule::IpAddr a ) { return Ferule::IpGenAddr( a ); } ),
                          rc::gen::map( anyBits(), []( Ferule::Bits128 b ) { return Ferule::IpGenAddr( Ferule::Ip6Addr( b ) ); } ),
                          rc::gen::element( Ferule::IpGenAddr(), Ferule::IpGenAddr( Ferule::AddressFamily::ipv4 ),
                                            Ferule::IpGenAddr( Ferule::AddressFamily::ipv6 ) ) );
}

/// An address as it prints, or with one byte of it changed, taken out, doubled or added; or parts of addresses in any order.
inline rc::Gen<std::string> anyText() {
   static const std::string kLikely = std::string( "0123456789abcdefABCDEF.:/%- x" ) + '\0';
   const auto address = rc::gen::map( anyIpGenAddr(), []( const Ferule::IpGenAddr & a ) { return std::string( a.toStrep() ); } );
   const auto prefix = rc::gen::map( rc::gen::pair( address, rc::gen::inRange( 0, 140 ) ),
                                     []( const auto & p ) { return p.first + "/" + std::to_string( p.second ); } );
   const auto whole = rc::gen::oneOf( address, prefix );
   const auto edited =
      rc::gen::map( rc::gen::tuple( whole, rc::gen::arbitrary<uint32_t>(), rc::gen::inRange( 0, 4 ), rc::gen::elementOf( kLikely ) ),
                    []( const auto & t ) {
                       auto [ text, at, edit, byte ] = t;
                       at %= uint32_t( text.size() );
                       switch( edit ) {
                          case 0: text[ at ] = byte; break;
                          case 1: text.erase( at, 1 ); break;
                          case 2: text.insert( at, 1, text[ at ] ); break;
                          default: text.insert( text.begin() + at, byte ); break;
                       }
                       return text;
                    } );
   const auto parts = rc::gen::map( rc::gen::container<std::vector<std::string>>( rc::gen::element<std::string>(
                                       "0", "1", "01", "255", "256", "ffff", "10000", ".", ".", ":", "::", "/", "32" ) ),
                                    []( const std::vector<std::string> & pieces ) {
                                       std::string text;
                                       for( const auto & p : pieces ) text += p;
                                       return text;
                                    } );
   return rc::gen::oneOf( whole, edited, parts, rc::gen::arbitrary<std::string>() );
}

/// Reads `text`: the value, or nothing if it raised a range fault. Anything else that comes out is for the caller.
template <class Value>
std::optional<Value> tryParse( std::string_view text ) {
   try {
      return Value( text );
   } catch( const Quoin::RangeException & ) { return std::nullopt; }
}
