// The filters of a neighbor against what bgpd did to the routes of real sessions.
#include "dialect/NeighborMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/RouteEvaluator.h"
#include "command/Target.h"
#include "live/LivePolicy.h"
#include "tests/agent/FrrFixture.h"
#include "text/LineLoader.h"

namespace Agent {
namespace {

using testing::ElementsAre;

const std::string kNeighbor = "127.0.0.2";

LineLoader loaded( const std::vector<std::string> & lines, Dialect dialect = Dialect::frr ) {
   std::string bytes;
   for( const auto & line : lines ) bytes += line + '\n';
   LineLoader loader( dialect );
   loader.load( "frr.conf", bytes );
   return loader;
}

// The text with the route map of the neighbor.
PolicyText withNeighbor( PolicyText text, Direction direction, const std::string & neighbor = kNeighbor ) {
   addNeighborMap( text, "neighbor " + neighbor + ' ' + std::string( nameOf( direction ) ), text.routers.at( "" ), neighbor, direction );
   return text;
}

// The first route that the agent answers differently; empty if there is none.
std::string differenceOf( const FrrTable & table, const FrrPolicy & recorded, const LineLoader & loader, Direction direction,
                          const std::string & neighbor = kNeighbor ) {
   if( !loader.errors().empty() ) return loader.toString( loader.errors().front() );
   LivePolicy policy( Dialect::frr );
   policy.apply( withNeighbor( loader.text(), direction, neighbor ) );
   TargetOptions options;
   options.neighbor = { neighbor, std::string( nameOf( direction ) ) };
   const Target target( options, Dialect::frr );
   const RouteEvaluator evaluator = target.evaluator( policy );
   RouteAnswer answer;
   for( size_t i = 0; i < table.routes.size(); ++i ) {
      const TableRoute & route = table.routes[ i ].route;
      if( !target.routes().has( route ) ) return std::string( route.prefix.toStrep().view() ) + ": left out";
      evaluator.evaluate( route, answer );
      const auto & expected = recorded.after[ i ];
      const bool same = answer.permitted == expected.has_value() &&
         ( !expected ||
           ( answer.result.metric() == expected->route.metric && answer.result.route.communities == expected->route.communities ) );
      if( !same ) return std::string( route.prefix.toStrep().view() ) + ( answer.permitted ? ": permitted" : ": denied" );
   }
   return {};
}

TEST( NeighborMap, answersAsBgpdDid ) {
   for( const Direction direction : kDirections ) {
      size_t cases = 0;
      for( const FrrTable & table : readFrrFixture( "neighbors-" + std::string( nameOf( direction ) ) + ".json.gz" ).tables )
         for( const FrrPolicy & recorded : table.policies ) {
            SCOPED_TRACE( recorded.name + " " + std::string( nameOf( direction ) ) + ": " + recorded.row );
            ++cases;
            const LineLoader loader = loaded( recorded.lines );
            const std::string difference = differenceOf( table, recorded, loader, direction );
            EXPECT_EQ( difference, "" );
            const auto & doubts = loader.text().doubts;
            EXPECT_EQ( std::ranges::count_if( doubts, []( const Doubt & d ) { return d.kind == Doubt::Kind::refused; } ),
                       std::ssize( recorded.refused ) );
         }
      EXPECT_EQ( cases, 75u );
   }
}

// Two neighbors get the routes of the first and those of bgpd itself.
TEST( NeighborMap, sendsAsBgpdDid ) {
   const FrrFixture fixture = readFrrFixture( "neighbors-sent.json.gz" );
   ASSERT_EQ( fixture.tables.size(), 2u );
   for( const FrrTable & table : fixture.tables ) {
      EXPECT_EQ( table.policies.size(), 11u );
      for( const FrrPolicy & recorded : table.policies ) {
         SCOPED_TRACE( recorded.name + " to " + table.neighbor + ": " + recorded.row );
         EXPECT_EQ( differenceOf( table, recorded, loaded( recorded.lines ), Direction::out, table.neighbor ), "" );
         EXPECT_EQ( std::ranges::count_if( recorded.after, []( const auto & after ) { return after.has_value(); } ),
                    recorded.name == "match-nothing" ? 10 : 0 );
      }
   }
}

// "permit 5 -> 7: DESCRIPTION".
std::vector<std::string> told( const RouteMapText & map ) {
   std::vector<std::string> result;
   for( const auto & [ number, sequence ] : map.sequences ) {
      std::string line = std::string( stringValue( sequence.action ) ) + ' ' + std::to_string( number );
      if( sequence.continueTo ) line += " -> " + std::to_string( sequence.continueTo->target );
      result.push_back( line + ( sequence.description.empty() ? "" : ": " + sequence.description ) );
   }
   return result;
}

TEST( NeighborMap, describesTheSequencesThatDecide ) {
   const LineLoader loader =
      loaded( { "ip prefix-list CUSTOMERS permit 10.0.0.0/8 le 24", "route-map EDGE-IN permit 10", "router bgp 65000",
                " neighbor 192.0.2.1 remote-as 65001", " address-family ipv4 unicast", "  neighbor 192.0.2.1 prefix-list CUSTOMERS in",
                "  neighbor 192.0.2.1 filter-list 7 in", "  neighbor 192.0.2.1 route-map EDGE-IN in", " exit-address-family",
                " address-family ipv6 unicast", "  neighbor 192.0.2.1 activate" } );
   const PolicyText in = withNeighbor( loader.text(), Direction::in, "192.0.2.1" );
   EXPECT_THAT( told( in.routeMaps.at( "neighbor 192.0.2.1 in" ) ),
                ElementsAre( "permit 1 -> 3", "permit 2 -> 7", "permit 3 -> 5: prefix-list CUSTOMERS (ipv4 unicast, in)",
                             "deny 4: prefix-list CUSTOMERS (ipv4 unicast, in)",
                             "deny 5: filter-list 7 (ipv4 unicast, in), which is undefined",
                             "permit 6: route-map EDGE-IN (ipv4 unicast, in)", "deny 7: bgp ebgp-requires-policy (ipv6 unicast, in)" ) );
   const PolicyText out = withNeighbor( loader.text(), Direction::out, "192.0.2.1" );
   EXPECT_THAT( told( out.routeMaps.at( "neighbor 192.0.2.1 out" ) ),
                ElementsAre( "permit 1 -> 3", "permit 2 -> 4", "deny 3: bgp ebgp-requires-policy (ipv4 unicast, out)",
                             "deny 4: bgp ebgp-requires-policy (ipv6 unicast, out)" ) );
}

TEST( NeighborMap, onlyIpv4IsActiveByDefault ) {
   const LineLoader loader = loaded( { "router bgp 65000", " neighbor 192.0.2.1 remote-as internal" } );
   const PolicyText in = withNeighbor( loader.text(), Direction::in, "192.0.2.1" );
   EXPECT_THAT( told( in.routeMaps.at( "neighbor 192.0.2.1 in" ) ),
                ElementsAre( "permit 1 -> 3", "permit 2 -> 4", "permit 3: neighbor 192.0.2.1 (ipv4 unicast, in)",
                             "deny 4: neighbor 192.0.2.1, where ipv6 unicast is not active" ) );
}

TEST( NeighborMap, aListAlone ) {
   for( const Dialect dialect : { Dialect::frr, Dialect::native } ) {
      PolicyText text = loaded( { "ip prefix-list P permit 10.0.0.0/8 le 24" }, dialect ).text();
      NeighborFilters filters;
      filters.prefixList = "P";
      addFilterMap( text, "prefix-list P", filters );
      EXPECT_THAT( told( text.routeMaps.at( "prefix-list P" ) ),
                   ElementsAre( "permit 1 -> 3", "permit 2 -> 6", "permit 3 -> 5: prefix-list P (ipv4 unicast)",
                                "deny 4: prefix-list P (ipv4 unicast)", "permit 5: prefix-list P (ipv4 unicast)",
                                "deny 6: prefix-list P (ipv6 unicast), which is undefined", "permit 7: prefix-list P (ipv6 unicast)" ) );
      LivePolicy policy( dialect );
      policy.apply( text );
      const RouteEvaluator evaluator( policy.routeMap( "prefix-list P" ), dialect );
      RouteAnswer answer;
      for( const auto & [ prefix, permitted ] : { std::pair( "10.0.0.0/8", true ), std::pair( "10.0.0.0/25", false ),
                                                  std::pair( "192.0.2.0/24", false ), std::pair( "2001:db8::/32", false ) } ) {
         TableRoute route;
         route.prefix = Ferule::IpGenPrefix( prefix );
         evaluator.evaluate( route, answer );
         EXPECT_EQ( answer.permitted, permitted ) << prefix;
      }
   }
}

}   // namespace
}   // namespace Agent
