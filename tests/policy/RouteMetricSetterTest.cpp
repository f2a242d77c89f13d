#include "policy/RouteMetricSetter.h"

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;
using Zeugma::MaybeU63;

TEST( RouteMetricSetter, setsTheMetricAndNothingElse ) {
   for( MaybeU63 metric : { MaybeU63( 0 ), MaybeU63( 7 ), MaybeU63( MaybeU63::kAbsent - 1 ), MaybeU63() } ) {
      Result_ result;
      result.preferenceIs( 77 );
      result.tagIs( 5 );
      result.metricIs( 6 );
      Result_ expected = result;
      expected.metricIs( metric );
      makeNode<RouteMetricSetter>( metric )->setValue( &result );
      EXPECT_EQ( result, expected );
   }
}

TEST( RouteMetricSetter, tellsADerivedResultNothing ) {
   struct Told : Result_ {
      PolicyApplicationType applicationType() const override { return ++told, PolicyApplicationType::bgp; }
      void setPreference( Routing::RoutePreference ) override { ++told; }
      Routing::RoutePreference getPreference() const override { return ++told, Routing::RoutePreference( 1 ); }
      void setTag( Routing::RouteTag ) override { ++told; }
      Routing::RouteTag getTag() const override { return ++told, Routing::RouteTag( 1 ); }
      mutable int told = 0;
   } result;
   makeNode<RouteMetricSetter>( 7 )->setValue( &result );
   EXPECT_EQ( result.told, 0 );
   EXPECT_EQ( result.metric(), MaybeU63( 7 ) );
}

TEST( RouteMetricSetter, itsTextShowsTheMetric ) {
   const auto setter = makeNode<RouteMetricSetter>( 1000000 );
   EXPECT_EQ( setter->metric(), MaybeU63( 1000000 ) );
   EXPECT_EQ( setter->toStrep(), "RouteMetricSetter metric 1000000" );
   EXPECT_EQ( textOnOddStream( static_cast<const Setter *>( setter.get() ) ), "RouteMetricSetter metric 1000000" );
   EXPECT_EQ( makeNode<RouteMetricSetter>( MaybeU63() )->toStrep(), "RouteMetricSetter metric " + MaybeU63().toStrep() );
}

TEST( RouteMetricSetter, hasNoFeaturesAndDoesNotDefer ) {
   const auto setter = makeNode<RouteMetricSetter>( 1 );
   EXPECT_EQ( setter->getFeatures(), 0u );
   Result_ result;
   setter->testFullSetValue( result );
   EXPECT_EQ( result.metric(), MaybeU63( 1 ) );
   EXPECT_EQ( result.dps(), nullptr );
}

}   // namespace
