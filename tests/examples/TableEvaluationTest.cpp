#include "examples/evaluate_table/TableEvaluation.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace EvaluateTable {
namespace {

using Ferule::AddressFamily;
using RouteTable::TableRoute;

TableRoute routeOf( std::string_view prefix, uint32_t tag = 64501 ) {
   TableRoute route;
   route.prefix = Ferule::IpGenPrefix( prefix );
   route.tag = tag;
   route.origin = RouteTable::RouteOrigin::bgp;
   return route;
}

TEST( TableEvaluationTest, countsByFamilyAndBySequence ) {
   TableEvaluation evaluation( makeEdgePolicy() );
   for( const auto & route : { routeOf( "198.18.0.0/20" ), routeOf( "198.18.16.0/20", 64500 ), routeOf( "2001:db8:100::/40", 64500 ),
                               routeOf( "198.51.100.0/24" ), routeOf( "192.0.2.0/24", 65535 ), routeOf( "2001:db8::/64" ),
                               routeOf( "10.0.0.0/8" ), routeOf( "::/0" ) } )
      evaluation.evaluate( route );
   EXPECT_EQ( evaluation.counts( AddressFamily::ipv4 ).permitted, 3u );
   EXPECT_EQ( evaluation.counts( AddressFamily::ipv4 ).denied, 2u );
   EXPECT_EQ( evaluation.counts( AddressFamily::ipv4 ).read(), 5u );
   EXPECT_EQ( evaluation.counts( AddressFamily::ipv6 ).permitted, 1u );
   EXPECT_EQ( evaluation.counts( AddressFamily::ipv6 ).denied, 2u );
   const std::pair<uint32_t, uint64_t> expected[] = { { 10, 1 }, { 20, 1 }, { 30, 3 }, { 40, 1 }, { 50, 2 }, { 60, 2 }, { 70, 0 } };
   for( const auto & [ seqno, routes ] : expected ) EXPECT_EQ( evaluation.routesOf( seqno ), routes ) << seqno;
}

TEST( TableEvaluationTest, aSequenceOfACalledRouteMapIsNotTakenForOneOfTheCaller ) {
   TableEvaluation evaluation( makeEdgePolicy() );
   evaluation.evaluate( routeOf( "198.18.0.0/20" ) );   // CUSTOMERS 10 permits it, and EDGE-IN has a 10 as well
   EXPECT_EQ( evaluation.routesOf( 10 ), 0u );
   EXPECT_EQ( evaluation.routesOf( 30 ), 1u );
}

TEST( TableEvaluationTest, oneChangeForEachWayThroughThePolicy ) {
   TableEvaluation evaluation( makeEdgePolicy() );
   for( const char * prefix : { "198.18.0.0/20", "198.18.16.0/20", "198.51.100.0/24", "203.0.113.0/24" } )
      evaluation.evaluate( routeOf( prefix ) );
   evaluation.evaluate( routeOf( "198.18.32.0/20", 64500 ) );
   evaluation.evaluate( routeOf( "10.0.0.0/8" ) );
   struct Row {
      const char * prefix;
      unsigned distance;
      Zeugma::MaybeU63 metric;
   };
   const Row expected[] = { { "198.18.0.0/20", 20, 100 }, { "198.51.100.0/24", 180, {} }, { "198.18.32.0/20", 20, 10 } };
   ASSERT_EQ( evaluation.changes().size(), std::size( expected ) );
   for( size_t i = 0; i < std::size( expected ); ++i ) {
      const auto & change = evaluation.changes()[ i ];
      EXPECT_EQ( change.route.prefix.toStrep(), expected[ i ].prefix );
      EXPECT_EQ( change.before.preference(), 200 );
      EXPECT_FALSE( change.before.metric().present() );
      EXPECT_EQ( change.after.preference(), expected[ i ].distance );
      EXPECT_EQ( change.after.metric(), expected[ i ].metric );
   }
}

TEST( TableEvaluationTest, telltaleRoutesAreTheFirstOfThoseThatShowMost ) {
   TableEvaluation evaluation( makeEdgePolicy() );
   EXPECT_FALSE( evaluation.telltalePermit() );
   EXPECT_FALSE( evaluation.telltaleDeny() );
   const auto plain = routeOf( "198.51.100.0/24" );
   const auto best = routeOf( "198.18.0.0/20", 64500 );
   const auto reserved = routeOf( "198.51.100.0/24", 65535 );
   const auto bogon = routeOf( "10.0.0.0/8" );
   for( const auto & route : { plain, reserved } ) evaluation.evaluate( route );
   EXPECT_EQ( evaluation.telltalePermit(), plain );
   EXPECT_EQ( evaluation.telltaleDeny(), reserved );
   for( const auto & route : { best, bogon, routeOf( "198.18.16.0/20", 64500 ), routeOf( "10.1.0.0/16" ), plain, reserved } )
      evaluation.evaluate( route );
   EXPECT_EQ( evaluation.telltalePermit(), best );
   EXPECT_EQ( evaluation.telltaleDeny(), bogon );
}

TEST( TableEvaluationTest, explanationHoldsBothRenderingsOfTheLog ) {
   TableEvaluation evaluation( makeEdgePolicy() );
   const auto permit = evaluation.explain( routeOf( "198.18.0.0/20", 64500 ) );
   EXPECT_TRUE( permit.permitted );
   for( const char * part :
        { "Route Map Name: EDGE-IN\n", "Route Map Name: CUSTOMERS\n", "Continue triggered to seq 60\n", "result was permit\nend EDGE-IN" } )
      EXPECT_NE( permit.text.find( part ), std::string::npos ) << part << " in\n" << permit.text;
   const auto json = nlohmann::json::parse( permit.json );
   const auto & map = json.at( "routemap" );
   EXPECT_EQ( map.at( "rmname" ), "EDGE-IN" );
   EXPECT_EQ( map.at( "result" ), true );
   EXPECT_EQ( map.at( "seqs" ).at( "30" ).at( "continue" ), 60 );
   EXPECT_EQ( map.at( "seqs" ).at( "30" ).at( "subRouteMap" ).at( "rmname" ), "CUSTOMERS" );
   EXPECT_EQ( map.at( "seqs" ).size(), 4u ) << "10, 20, 30, 60";

   const auto deny = evaluation.explain( routeOf( "10.0.0.0/8" ) );
   EXPECT_FALSE( deny.permitted );
   for( const char * part : { "Sub route map inverted\n", "Explicitly denied\n", "result was deny\nend EDGE-IN" } )
      EXPECT_NE( deny.text.find( part ), std::string::npos ) << part << " in\n" << deny.text;
   EXPECT_EQ( nlohmann::json::parse( deny.json ).at( "routemap" ).at( "seqs" ).at( "50" ).at( "matchActionDeny" ), true );
}

TEST( TableEvaluationTest, explainingCountsNothing ) {
   TableEvaluation evaluation( makeEdgePolicy() );
   evaluation.explain( routeOf( "10.0.0.0/8" ) );
   evaluation.explain( routeOf( "198.18.0.0/20" ) );
   EXPECT_EQ( evaluation.counts( AddressFamily::ipv4 ).read(), 0u );
   EXPECT_EQ( evaluation.routesOf( 50 ), 0u );
}

}   // namespace
}   // namespace EvaluateTable
