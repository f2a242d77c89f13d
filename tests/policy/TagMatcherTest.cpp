#include "policy/TagMatcher.h"

#include <cstdint>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;

TEST( TagMatcher, matchesItsTagOnly ) {
   const uint32_t values[] = { 0, 1, 255, 256, 65536, 0x7fffffff, 0x80000000, 0xffffffff };
   for( uint32_t a : values ) {
      for( uint32_t b : values ) {
         MatchInput_ input;
         input.tagIs( b );
         EXPECT_EQ( matches( *makeNode<TagMatcher>( a ), input ), a == b ) << a << " and " << b;
      }
   }
}

TEST( TagMatcher, looksAtNothingElse ) {
   MatchInput_ input;
   input.ospfInstanceIs( 7 );
   EXPECT_FALSE( matches( *makeNode<TagMatcher>( 7 ), input ) );
   EXPECT_TRUE( matches( *makeNode<TagMatcher>( 0 ), input ) );
}

TEST( TagMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      Routing::RouteTag getTag() const override { return 7; }
   } input;
   input.tagIs( 8 );
   EXPECT_TRUE( matches( *makeNode<TagMatcher>( 7 ), input ) );
   EXPECT_FALSE( matches( *makeNode<TagMatcher>( 8 ), input ) );
}

TEST( TagMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<TagMatcher>( 4294967295u );
   EXPECT_EQ( matcher->tag(), 4294967295u );
   EXPECT_EQ( matcher->toStrep(), "TagMatcher tag 4294967295" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "TagMatcher tag 4294967295" );
   EXPECT_EQ( makeNode<TagMatcher>( 0 )->toStrep(), "TagMatcher tag 0" );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
