#include "policy/RouteMetricMatcher.h"

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;
using Zeugma::MaybeU63;

constexpr uint64_t kMax = MaybeU63::kAbsent - 1;

TEST( RouteMetricMatcher, matchesByPresenceAndThenByValue ) {
   const struct {
      const char * name;
      MaybeU63 matcher, input;
      bool match;
   } rows[] = {
      { "absent value, absent metric", {}, {}, true },
      { "absent value, absent metric, other low bits", {}, MaybeU63( MaybeU63::kAbsent | 9 ), true },
      { "absent value with low bits, absent metric", MaybeU63( ~uint64_t( 0 ) ), {}, true },
      { "absent value, metric 0", {}, 0, false },
      { "absent value with low bits, metric of those bits", MaybeU63( MaybeU63::kAbsent | 9 ), 9, false },
      { "value 0, absent metric", 0, {}, false },
      { "value 9, absent metric with those low bits", 9, MaybeU63( MaybeU63::kAbsent | 9 ), false },
      { "value 0, metric 0", 0, 0, true },
      { "value 9, metric 9", 9, 9, true },
      { "value 9, metric 10", 9, 10, false },
      { "largest value, largest metric", kMax, kMax, true },
      { "same lower half", 1, MaybeU63( 1 + ( uint64_t( 1 ) << 32 ) ), false },
   };
   for( const auto & row : rows ) {
      MatchInput_ input;
      input.metricIs( row.input );
      EXPECT_EQ( matches( *makeNode<RouteMetricMatcher>( row.matcher ), input ), row.match ) << row.name;
   }
}

TEST( RouteMetricMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      MaybeU63 getMetric() const override { return 7; }
   } input;
   EXPECT_TRUE( matches( *makeNode<RouteMetricMatcher>( 7 ), input ) );
   EXPECT_FALSE( matches( *makeNode<RouteMetricMatcher>( MaybeU63() ), input ) );
}

TEST( RouteMetricMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<RouteMetricMatcher>( 1000000 );
   EXPECT_EQ( matcher->metric(), MaybeU63( 1000000 ) );
   EXPECT_EQ( matcher->toStrep(), "RouteMetricMatcher metric 1000000" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "RouteMetricMatcher metric 1000000" );
   EXPECT_EQ( makeNode<RouteMetricMatcher>( kMax )->toStrep(), "RouteMetricMatcher metric 9223372036854775807" );
   EXPECT_EQ( makeNode<RouteMetricMatcher>( MaybeU63() )->toStrep(), "RouteMetricMatcher metric " + MaybeU63().toStrep() );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
