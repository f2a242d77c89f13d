/// @file substrate/routing/SixBits.h
/// The arithmetic of tries whose nodes cover six bits of an address. The bitmap `inner` of a node marks the prefixes that end after 0 to 5 of
/// these bits; each trie says for itself where the other prefixes stand.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "substrate/ferule/IpAddr.h"

namespace Routing::SixBits {

using Ferule::Bits128;

constexpr unsigned kStride = 6;
constexpr unsigned kValues = 1u << kStride;

/// 64 bits of an address from bit `depth` on, below 128; bits after the last bit are 0.
constexpr uint64_t from( Bits128 bits, unsigned depth ) noexcept {
   if( depth >= 64 ) return bits.low << ( depth - 64 );
   return depth == 0 ? bits.high : bits.high << depth | bits.low >> ( 64 - depth );
}
/// Six bits of an address from bit `depth` on.
constexpr unsigned at( Bits128 bits, unsigned depth ) noexcept {
   return static_cast<unsigned>( from( bits, depth ) >> ( 64 - kStride ) );
}

/// An address that has these 64 bits from bit `depth` on, below 128, and no other.
constexpr Bits128 behind( unsigned depth, uint64_t bits ) noexcept {
   if( depth >= 64 ) return { 0, bits >> ( depth - 64 ) };
   return { bits >> depth, depth == 0 ? 0 : bits << ( 64 - depth ) };
}
/// An address that has the six bits `v` from bit `depth` on, and no other.
constexpr Bits128 placed( unsigned v, unsigned depth ) noexcept {
   return behind( depth, uint64_t( v ) << ( 64 - kStride ) );
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
