#include "policy/OspfInstanceMatcher.h"

#include <cstdint>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;

TEST( OspfInstanceMatcher, matchesItsInstanceOnly ) {
   const uint32_t values[] = { 0, 1, 255, 256, 65536, 0x7fffffff, 0x80000000, 0xffffffff };
   for( uint32_t a : values ) {
      for( uint32_t b : values ) {
         MatchInput_ input;
         input.ospfInstanceIs( b );
         EXPECT_EQ( matches( *makeNode<OspfInstanceMatcher>( a ), input ), a == b ) << a << " and " << b;
      }
   }
}

TEST( OspfInstanceMatcher, looksAtNothingElse ) {
   MatchInput_ input;
   input.isisInstanceIs( 7 );
   EXPECT_FALSE( matches( *makeNode<OspfInstanceMatcher>( 7 ), input ) );
   EXPECT_TRUE( matches( *makeNode<OspfInstanceMatcher>( 0 ), input ) );
}

TEST( OspfInstanceMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      uint32_t getOspfInstance() const override { return 7; }
   } input;
   input.ospfInstanceIs( 8 );
   EXPECT_TRUE( matches( *makeNode<OspfInstanceMatcher>( 7 ), input ) );
   EXPECT_FALSE( matches( *makeNode<OspfInstanceMatcher>( 8 ), input ) );
}

TEST( OspfInstanceMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<OspfInstanceMatcher>( 4294967295u );
   EXPECT_EQ( matcher->ospfInstance(), 4294967295u );
   EXPECT_EQ( matcher->toStrep(), "OspfInstanceMatcher instance 4294967295" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "OspfInstanceMatcher instance 4294967295" );
   EXPECT_EQ( makeNode<OspfInstanceMatcher>( 0 )->toStrep(), "OspfInstanceMatcher instance 0" );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
