#include "policy/DistanceSetter.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;
using Routing::RoutePreference;

TEST( DistanceSetter, setsThePreferenceAndNothingElse ) {
   for( int distance : { 0, 1, 65, 127, 128, 255 } ) {
      Result_ result;
      result.preferenceIs( 77 );
      result.tagIs( 5 );
      result.metricIs( 6 );
      Result_ expected = result;
      expected.preferenceStorageIs( RoutePreference( distance ) );
      makeNode<DistanceSetter>( RoutePreference( distance ) )->setValue( &result );
      EXPECT_EQ( result, expected );
   }
}

TEST( DistanceSetter, goesThroughTheAccessorOfTheResult ) {
   struct Told : Result_ {
      void setPreference( RoutePreference preference ) override { told.push_back( preference ); }
      std::vector<int> told;
   } result;
   makeNode<DistanceSetter>( 200 )->setValue( &result );
   EXPECT_THAT( result.told, testing::ElementsAre( 200 ) );
   EXPECT_EQ( result.preferenceStorage(), 0 );
}

TEST( DistanceSetter, itsTextShowsANumber ) {
   const struct {
      RoutePreference distance;
      const char * text;
   } rows[] = { { 0, "DistanceSetter distance 0" },
                { 10, "DistanceSetter distance 10" },
                { 65, "DistanceSetter distance 65" },
                { 255, "DistanceSetter distance 255" } };
   for( const auto & row : rows ) {
      const auto setter = makeNode<DistanceSetter>( row.distance );
      EXPECT_EQ( setter->distance(), row.distance );
      EXPECT_EQ( setter->toStrep(), row.text );
      EXPECT_EQ( textOnOddStream( static_cast<const Setter *>( setter.get() ) ), row.text );
   }
}

TEST( DistanceSetter, hasNoFeaturesAndDoesNotDefer ) {
   const auto setter = makeNode<DistanceSetter>( 1 );
   EXPECT_EQ( setter->getFeatures(), 0u );
   Result_ result;
   setter->testFullSetValue( result );
   EXPECT_EQ( result.preference(), 1 );
   EXPECT_EQ( result.dps(), nullptr );
}

TEST( DistanceSetterDeathTest, aDistanceThatARouteCannotHoldEndsTheProcess ) {
   for( const int64_t distance : { int64_t( 256 ), int64_t( 300 ), int64_t( -1 ), int64_t( 65536 ), INT64_MAX, INT64_MIN } )
      EXPECT_DEATH( makeNode<DistanceSetter>( distance ), testing::HasSubstr( "Assertion failed: a distance is not in 0 to 255\n" ) )
         << distance;
   const uint32_t ofConfiguration = 300;
   EXPECT_DEATH( makeNode<DistanceSetter>( ofConfiguration ), testing::HasSubstr( "a distance is not in 0 to 255" ) );
   EXPECT_DEATH( makeNode<DistanceSetter>( UINT64_MAX ), testing::HasSubstr( "a distance is not in 0 to 255" ) );
}

}   // namespace
