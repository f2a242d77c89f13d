#include "live/AgentRoute.h"

#include <gtest/gtest.h>

#include "compile/CommonComponent.h"
#include "tests/agent/LiveFixture.h"

namespace Agent {

namespace {

using Routing::RouteProto;

TableRoute fullRoute() {
   TableRoute route = routeTo( "10.0.0.0/8" );
   route.nextHop = Ferule::IpGenAddr( "192.0.2.1" );
   route.metric = 5;
   route.tag = 6;
   route.localPreference = 7;
   route.protocol = SourceProtocol::bgp;
   route.ospfInstance = 8;
   route.isisInstance = 9;
   route.communities = { community( 1, 1 ) };
   return route;
}

TEST( AgentRoute, givesPolicyTheAttributesOfTheTable ) {
   const TableRoute route = fullRoute();
   const AgentRoute input( route );
   EXPECT_EQ( *input.getPrefixPointer(), route.prefix );
   EXPECT_EQ( input.getNexthop(), route.nextHop );
   EXPECT_EQ( input.getMetric(), route.metric );
   EXPECT_EQ( input.getTag(), 6u );
   EXPECT_EQ( input.getOspfInstance(), 8u );
   EXPECT_EQ( input.getIsisInstance(), 9u );
   EXPECT_EQ( &input.route(), &route );
}

TEST( AgentRoute, aProtocolIsTheOneThatItsClauseAsksFor ) {
   TableRoute route = fullRoute();
   for( unsigned n = 0; n <= 9; ++n ) {
      route.protocol = SourceProtocol( n );
      const AgentRoute input( route );
      const auto expected = n == 0 ? RouteProto( 0 ) : Routing::Policy::routeMapProtocolToRouteProto( Routing::RouteMap::Protocol( n ) );
      EXPECT_EQ( input.getProtocol(), expected ) << n;
   }
}

TEST( AgentRoute, anotherRouteReplacesAllAttributes ) {
   const TableRoute first = fullRoute(), second = routeTo( "10.1.0.0/16" );
   AgentRoute input( first );
   input.routeIs( second );
   const AgentRoute fresh( second );
   EXPECT_EQ( static_cast<const Routing::Policy::MatchInput_ &>( input ), fresh );
   EXPECT_EQ( &input.route(), &second );
}

TEST( AgentResult, beginsWithWhatTheRouteHas ) {
   const TableRoute route = fullRoute();
   const AgentResult result( route );
   EXPECT_EQ( result.metric(), route.metric );
   EXPECT_EQ( result.tag(), 6u );
   EXPECT_EQ( result.route.localPreference, 7u );
   EXPECT_EQ( result.route.communities, route.communities );
   EXPECT_EQ( result.preference(), 0 );
}

TEST( AgentResult, startsOverWithAnotherRoute ) {
   AgentResult result( fullRoute() );
   result.preferenceIs( 20 );
   result.routeIs( routeTo( "10.1.0.0/16" ) );
   EXPECT_FALSE( result.metric().present() );
   EXPECT_EQ( result.tag(), 0u );
   EXPECT_EQ( result.route.localPreference, std::nullopt );
   EXPECT_TRUE( result.route.communities.empty() );
   EXPECT_EQ( result.preference(), 0 );
}

}   // namespace

}   // namespace Agent
