#include "live/AgentMatchers.h"

#include <gtest/gtest.h>

#include "tests/agent/LiveFixture.h"

namespace Agent {

namespace {

using Quoin::makeNode;

TEST( AgentMatchers, theInputOfAnotherAgentMatchesNothing ) {
   Routing::Policy::MatchInput_ other;
   other.prefixIs( Ferule::IpGenPrefix( "10.0.0.0/8" ) );
   CommunityListText communities;
   communities.lines = { { 5, { kPermit, {}, {}, {} } } };
   AsPathListText paths;
   paths.lines = { { 5, { kPermit, ".*", {} } } };
   const Quoin::Ptr<const Matcher> matchers[] = {
      makeNode<InterfaceNameMatcher>( "eth0" ),
      makeNode<CommunityMatcher>( "C", makeNode<CommunityList>( "C", communities, Dialect::native ) ),
      makeNode<AsPathMatcher>( "P", makeNode<AsPathList>( "P", paths, Dialect::native ) ),
   };
   TableRoute route = routeTo( "10.0.0.0/8" );
   route.interface = "eth0";
   const AgentRoute own( route );
   for( const auto & matcher : matchers ) {
      EXPECT_FALSE( matcher->match( &other, nullptr ) ) << matcher->toStrep();
      EXPECT_TRUE( matcher->match( &own, nullptr ) ) << matcher->toStrep();
   }
}

TEST( AgentMatchers, anUndefinedListMatchesNothing ) {
   TableRoute route = routeTo( "10.0.0.0/8" );
   route.nextHop = Ferule::IpGenAddr( "192.0.2.1" );
   const AgentRoute input( route );
   EXPECT_FALSE( CommunityMatcher( "C", nullptr ).match( &input, nullptr ) );
   EXPECT_FALSE( AsPathMatcher( "P", nullptr ).match( &input, nullptr ) );
   EXPECT_FALSE( NexthopAccessListMatcher( "A", nullptr ).match( &input, nullptr ) );
}

TEST( AgentMatchers, textsNameTheOperand ) {
   EXPECT_EQ( InterfaceNameMatcher( "eth0" ).toStrep(), "InterfaceNameMatcher interface eth0" );
   EXPECT_EQ( NexthopAccessListMatcher( "A", nullptr ).toStrep(), "NexthopAccessListMatcher access-list A" );
   EXPECT_EQ( CommunityMatcher( "C", nullptr ).toStrep(), "RouteListMatcher list C" );
}

}   // namespace

}   // namespace Agent
