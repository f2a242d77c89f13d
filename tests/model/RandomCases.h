/// @file tests/model/RandomCases.h
/// Random cases that a seed reproduces and that shrink when they fail, and random prefixes that often contain each other.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/detail/Configuration.h>

#include "substrate/ferule/IpPrefix.h"
#include "tests/model/Choices.h"
#include "tests/model/Shrinking.h"

using Random = Choices;

/// A number from 0 to n - 1.
inline uint64_t below( Random & random, uint64_t n ) {
   return n <= 0xffffffff ? random.below( static_cast<uint32_t>( n ) ) : random() % n;
}
inline bool oneIn( Random & random, uint64_t n ) {
   return random.oneIn( static_cast<uint32_t>( n ) );
}
template <class T>
const T & anyOf( Random & random, const std::vector<T> & row ) {
   return row[ below( random, row.size() ) ];
}

/// A sanitizer makes a case up to ten times slower, and finds its faults in the first cases: it then runs one case in kCaseShare.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
inline constexpr unsigned kCaseShare = 4;
#else
inline constexpr unsigned kCaseShare = 1;
#endif

/// Runs `body( random )` so many times, until a case fails. The seed is RapidCheck's: RC_PARAMS="seed=1" sets it for everything
/// that is random.
inline void forSomeCases( uint64_t cases, const Shrinking::Case & body ) {
   const uint64_t seed = rc::detail::configuration().testParams.seed;
   for( uint64_t i = 0; i < cases && !testing::Test::HasFailure(); ++i )
      Shrinking::run( seed + i * 0x9e3779b97f4a7c15,
                      "case " + std::to_string( i ) + " of RC_PARAMS=\"seed=" + std::to_string( seed ) + "\"", body );
}

/// `times` as often as a RapidCheck property runs: 100 times unless told, as by RC_PARAMS="max_success=10000".
inline void forRandomCases( uint64_t times, const Shrinking::Case & body ) {
   forSomeCases( times * static_cast<uint64_t>( rc::detail::configuration().testParams.maxSuccess ) / kCaseShare, body );
}

/// The prefix with just these bits, behind its length too.
inline Ferule::IpGenPrefix prefixOf( Ferule::AddressFamily af, Ferule::Bits128 bits, unsigned length ) {
   if( af == Ferule::AddressFamily::ipv6 ) return Ferule::Ip6Prefix{ Ferule::Ip6Addr( bits ), static_cast<uint8_t>( length ) };
   return Ferule::IpGenPrefix( Ferule::IpAddr( static_cast<uint32_t>( bits.high >> 32 ) ), static_cast<uint8_t>( length ) );
}

/// Prefixes around a few addresses, so that many nest, meet at one place or part at a late bit.
class RandomPrefixes {
 public:
   RandomPrefixes( Random & random, Ferule::AddressFamily af ) : random_( random ), af_( af ), bits_( Ferule::addressBits( af ) ) {
      for( auto n = 1 + below( random, 3 ); n; --n )
         trunks_.push_back( oneIn( random, 8 )      ? Ferule::Bits128{}
                               : oneIn( random, 8 ) ? Ferule::Bits128::leadingOnes( 128 )
                                                    : Ferule::Bits128{ random(), random() } );
   }

   Ferule::AddressFamily af() const { return af_; }
   unsigned addressBits() const { return bits_; }

   /// A length that is often 0, the family's, or at a byte.
   unsigned length() {
      switch( below( random_, 8 ) ) {
         case 0: return 0;
         case 1: return bits_;
         case 2:
         case 3:
         case 4: return static_cast<unsigned>( 8 * below( random_, bits_ / 8 + 1 ) );
         default: return static_cast<unsigned>( below( random_, bits_ + 1 ) );
      }
   }

   /// An address that parts from one of the few at most at two bits, or behind a length.
   Ferule::Bits128 address() {
      Ferule::Bits128 bits = anyOf( random_, trunks_ );
      for( auto flips = below( random_, 3 ); flips; --flips ) {
         const auto at = static_cast<unsigned>( below( random_, bits_ ) );
         bits = bits ^ ( Ferule::Bits128::leadingOnes( at ) ^ Ferule::Bits128::leadingOnes( at + 1 ) );
      }
      if( oneIn( random_, 3 ) ) bits = bits ^ ( Ferule::Bits128{ random_(), random_() } & ~Ferule::Bits128::leadingOnes( length() ) );
      return bits & Ferule::Bits128::leadingOnes( bits_ );
   }

   /// Without bits behind its length.
   Ferule::IpGenPrefix network() { return withHostBits().subnet(); }
   Ferule::IpGenPrefix withHostBits() { return prefixOf( af_, address(), length() ); }

   /// One that has to do with `near`: it, below it, above it, beside it.
   Ferule::IpGenPrefix around( const Ferule::IpGenPrefix & near ) {
      Ferule::Bits128 bits = near.ipGenAddr().bits();
      const unsigned length = oneIn( random_, 2 ) ? near.length() : this->length();
      if( oneIn( random_, 2 ) ) bits = bits ^ ( Ferule::Bits128{ random_(), random_() } & ~Ferule::Bits128::leadingOnes( near.length() ) );
      if( oneIn( random_, 8 ) ) bits = bits ^ ( address() ^ bits );
      return prefixOf( af_, bits & Ferule::Bits128::leadingOnes( bits_ ), length );
   }

 private:
   Random & random_;
   Ferule::AddressFamily af_;
   unsigned bits_;
   std::vector<Ferule::Bits128> trunks_;
};
