#include "substrate/zeugma/HashMix.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using Zeugma::HashMix;

const unsigned char * bytesOf( const void * p ) {
   return static_cast<const unsigned char *>( p );
}

unsigned hashOf( const std::vector<uint32_t> & words, uint32_t seed = 0 ) {
   HashMix mix( seed );
   for( uint32_t w : words ) mix.mixBytes4( bytesOf( &w ) );
   return mix;
}

TEST( HashMix, everyWordCountsAndSoDoesItsPlace ) {
   const std::vector<std::vector<uint32_t>> feeds = { {},       { 0 },    { 0, 0 }, { 1 },    { 1, 0 },
                                                      { 0, 1 }, { 1, 1 }, { 1, 2 }, { 2, 1 }, { 0x01000000 } };
   std::set<unsigned> hashes;
   for( const auto & feed : feeds ) hashes.insert( hashOf( feed ) );
   EXPECT_EQ( hashes.size(), feeds.size() );
}

TEST( HashMix, theSeedCounts ) {
   EXPECT_EQ( hashOf( { 1, 2 } ), hashOf( { 1, 2 }, 0 ) );
   EXPECT_NE( hashOf( { 1, 2 }, 1 ), hashOf( { 1, 2 }, 2 ) );
   EXPECT_NE( hashOf( {}, 1 ), hashOf( {}, 2 ) );
}

TEST( HashMix, spreadsNumbersInARow ) {
   constexpr uint32_t kCount = 100000;
   std::set<unsigned> all, lowBits, highBits;
   for( uint32_t i = 0; i < kCount; ++i ) {
      const unsigned h = hashOf( { i } );
      all.insert( h );
      lowBits.insert( h & 0xff );
      highBits.insert( h >> 24 );
   }
   EXPECT_GT( all.size(), kCount - 10 );   // by chance one or two would meet
   EXPECT_EQ( lowBits.size(), 256u );
   EXPECT_EQ( highBits.size(), 256u );
}

RC_GTEST_PROP( HashMix, aSingleBitMakesAnotherHash, ( std::vector<uint32_t> words, uint32_t seed ) ) {
   RC_PRE( !words.empty() );
   const unsigned before = hashOf( words, seed );
   RC_ASSERT( hashOf( words, seed ) == before );
   const auto bit = *rc::gen::inRange<size_t>( 0, 32 * words.size() );
   words[ bit / 32 ] ^= uint32_t( 1 ) << bit % 32;
   RC_ASSERT( hashOf( words, seed ) != before );
}

RC_GTEST_PROP( HashMix, eightBytesAreFourTwice, ( std::pair<uint32_t, uint32_t> pair, uint32_t seed ) ) {
   const uint32_t words[] = { pair.first, pair.second };
   alignas( 4 ) unsigned char shifted[ 1 + sizeof words ];   // the bytes need no alignment
   std::copy_n( bytesOf( words ), sizeof words, shifted + 1 );
   HashMix mix( seed );
   mix.mixBytes8( shifted + 1 );
   RC_ASSERT( unsigned( mix ) == hashOf( { pair.first, pair.second }, seed ) );
}

}   // namespace
