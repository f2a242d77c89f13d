#include "policy/SimpleMatcher.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "policy/IsisInstanceMatcher.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/TagMatcher.h"
#include "substrate/quoin/Ptr.h"
#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;

// The matchers of one number: how a route gets the number, how a matcher shows it, and a route that computes the number when asked.

struct Tag {
   using Matcher = TagMatcher;
   static constexpr const char * text = "TagMatcher tag ";
   static void set( MatchInput_ & input, uint32_t number ) { input.tagIs( number ); }
   static uint32_t of( const Matcher & matcher ) { return matcher.tag(); }
   struct Late : MatchInput_ {
      Routing::RouteTag getTag() const override { return 7; }
   };
};

struct OspfInstance {
   using Matcher = OspfInstanceMatcher;
   static constexpr const char * text = "OspfInstanceMatcher instance ";
   static void set( MatchInput_ & input, uint32_t number ) { input.ospfInstanceIs( number ); }
   static uint32_t of( const Matcher & matcher ) { return matcher.ospfInstance(); }
   struct Late : MatchInput_ {
      uint32_t getOspfInstance() const override { return 7; }
   };
};

struct IsisInstance {
   using Matcher = IsisInstanceMatcher;
   static constexpr const char * text = "IsisInstanceMatcher instance ";
   static void set( MatchInput_ & input, uint32_t number ) { input.isisInstanceIs( number ); }
   static uint32_t of( const Matcher & matcher ) { return matcher.isisInstance(); }
   struct Late : MatchInput_ {
      uint32_t getIsisInstance() const override { return 7; }
   };
};

template <class Kind>
struct SimpleMatcherTest : testing::Test {};
using Kinds = testing::Types<Tag, OspfInstance, IsisInstance>;
TYPED_TEST_SUITE( SimpleMatcherTest, Kinds );

TYPED_TEST( SimpleMatcherTest, matchesItsNumberAndLooksAtNoOtherField ) {
   const uint32_t numbers[] = { 0, 1, 256, 0x7fffffff, 0x80000000, 0xffffffff };
   for( const uint32_t ofMatcher : numbers )
      for( const uint32_t ofRoute : numbers ) {
         MatchInput_ input;
         for( const auto set : { Tag::set, OspfInstance::set, IsisInstance::set } ) set( input, ofRoute + 1 );
         TypeParam::set( input, ofRoute );
         EXPECT_EQ( matches( *makeNode<typename TypeParam::Matcher>( ofMatcher ), input ), ofMatcher == ofRoute )
            << ofMatcher << " and " << ofRoute;
      }
}

TYPED_TEST( SimpleMatcherTest, readsThroughTheGetter ) {
   typename TypeParam::Late input;
   TypeParam::set( input, 8 );
   EXPECT_TRUE( matches( *makeNode<typename TypeParam::Matcher>( 7 ), input ) );
   EXPECT_FALSE( matches( *makeNode<typename TypeParam::Matcher>( 8 ), input ) );
}

TYPED_TEST( SimpleMatcherTest, showsItsNumberAndHasNoFeature ) {
   for( const uint32_t number : { 0u, 4294967295u } ) {
      const auto matcher = makeNode<typename TypeParam::Matcher>( number );
      const std::string text = TypeParam::text + std::to_string( number );
      EXPECT_EQ( TypeParam::of( *matcher ), number );
      EXPECT_EQ( matcher->toStrep(), text.c_str() );
      EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), text );
      EXPECT_EQ( matcher->getFeatures(), 0u );
   }
}

}   // namespace
