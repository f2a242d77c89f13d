#include "policy/IsisInstanceMatcher.h"

#include <cstdint>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;

TEST( IsisInstanceMatcher, matchesItsInstanceOnly ) {
   const uint32_t values[] = { 0, 1, 255, 256, 65536, 0x7fffffff, 0x80000000, 0xffffffff };
   for( uint32_t a : values ) {
      for( uint32_t b : values ) {
         MatchInput_ input;
         input.isisInstanceIs( b );
         EXPECT_EQ( matches( *makeNode<IsisInstanceMatcher>( a ), input ), a == b ) << a << " and " << b;
      }
   }
}

TEST( IsisInstanceMatcher, looksAtNothingElse ) {
   MatchInput_ input;
   input.ospfInstanceIs( 7 );
   EXPECT_FALSE( matches( *makeNode<IsisInstanceMatcher>( 7 ), input ) );
   EXPECT_TRUE( matches( *makeNode<IsisInstanceMatcher>( 0 ), input ) );
}

TEST( IsisInstanceMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      uint32_t getIsisInstance() const override { return 7; }
   } input;
   input.isisInstanceIs( 8 );
   EXPECT_TRUE( matches( *makeNode<IsisInstanceMatcher>( 7 ), input ) );
   EXPECT_FALSE( matches( *makeNode<IsisInstanceMatcher>( 8 ), input ) );
}

TEST( IsisInstanceMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<IsisInstanceMatcher>( 4294967295u );
   EXPECT_EQ( matcher->isisInstance(), 4294967295u );
   EXPECT_EQ( matcher->toStrep(), "IsisInstanceMatcher instance 4294967295" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "IsisInstanceMatcher instance 4294967295" );
   EXPECT_EQ( makeNode<IsisInstanceMatcher>( 0 )->toStrep(), "IsisInstanceMatcher instance 0" );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
