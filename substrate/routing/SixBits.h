/// @file substrate/routing/SixBits.h
/// The arithmetic of tries whose nodes cover six bits of an address. A node marks in two bitmaps the prefixes that end in it: `inner` those
/// after 0 to 5 of its bits, `full` those after all six.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "substrate/ferule/IpAddr.h"

namespace Routing::SixBits {

using Ferule::Bits128;

constexpr unsigned kStride = 6;
constexpr unsigned kValues = 1u << kStride;

/// Six bits of an address from bit `depth` on; bits after the last bit are 0.
inline unsigned at( Bits128 bits, unsigned depth ) noexcept {
   uint64_t v;
   if( depth <= 58 )
      v = bits.high >> ( 58 - depth );
   else if( depth < 64 )
      v = bits.high << ( depth - 58 ) | bits.low >> ( 122 - depth );
   else
      v = depth <= 122 ? bits.low >> ( 122 - depth ) : bits.low << ( depth - 122 );
   return v & 63;
}

/// An address that has the six bits `v` from bit `depth` on, and no other.
constexpr Bits128 placed( unsigned v, unsigned depth ) noexcept {
   const uint64_t six = v;
   if( depth <= 58 ) return { six << ( 58 - depth ), 0 };
   if( depth < 64 ) return { six >> ( depth - 58 ), six << ( 122 - depth ) };
   return { 0, depth <= 122 ? six << ( 122 - depth ) : six >> ( depth - 122 ) };
}

/// The bits of an address after the first six.
constexpr Bits128 after( Bits128 bits ) noexcept {
   return { bits.high << kStride | bits.low >> ( 64 - kStride ), bits.low << kStride };
}

/// The bit of `inner` for the prefix of `r` bits, 0 to 5, that contains the six bits `v`.
constexpr unsigned innerBit( unsigned r, unsigned v ) noexcept {
   return ( 1u << r ) - 1 + ( v >> ( kStride - r ) );
}
/// The number of bits of the prefix that the bit `bit` of `inner` marks.
constexpr unsigned innerLength( unsigned bit ) noexcept {
   return static_cast<unsigned>( std::bit_width( bit + 1 ) ) - 1;
}
/// The first six bits of that prefix; its further bits are 0.
constexpr unsigned innerValue( unsigned bit ) noexcept {
   const unsigned r = innerLength( bit );
   return ( bit + 1 - ( 1u << r ) ) << ( kStride - r );
}
/// The bits of `inner` for prefix lengths up to `r`, 0 to 5.
constexpr uint64_t innerUpTo( unsigned r ) noexcept {
   return ( uint64_t( 1 ) << ( ( 2u << r ) - 1 ) ) - 1;
}
/// The bits of `inner` for the prefixes of 0 to 5 bits that contain the six bits `v`.
constexpr uint64_t innerPathOf( unsigned v ) noexcept {
   uint64_t path = 0;
   for( unsigned r = 0; r < kStride; ++r ) path |= uint64_t( 1 ) << innerBit( r, v );
   return path;
}
inline constexpr auto kInnerPath = [] {
   std::array<uint64_t, kValues> paths{};
   for( unsigned v = 0; v < kValues; ++v ) paths[ v ] = innerPathOf( v );
   return paths;
}();

constexpr unsigned count( uint64_t bitmap ) noexcept {
   return static_cast<unsigned>( std::popcount( bitmap ) );
}
/// The number of one bits below the bit `bit`.
constexpr unsigned rank( uint64_t bitmap, unsigned bit ) noexcept {
   return count( bitmap & ( ( uint64_t( 1 ) << bit ) - 1 ) );
}

constexpr bool samePrefix( Bits128 a, Bits128 b, unsigned length ) noexcept {
   return ( ( a ^ b ) & Bits128::leadingOnes( length ) ).none();
}

}   // namespace Routing::SixBits
