#include "text/NeighborLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/LineLoader.h"

namespace Agent {
namespace {

using testing::ElementsAre;

PolicyText read( std::string_view lines, Dialect dialect = Dialect::frr ) {
   LineLoader loader( dialect );
   loader.load( "frr.conf", lines );
   EXPECT_TRUE( loader.errors().empty() );
   return loader.text();
}

// "ipv4 in: WORD NAME, WORD NAME", for what filters.
std::vector<std::string> filtersOf( const BgpRouter & router, const std::string & neighbor ) {
   std::vector<std::string> result;
   const Neighbor * const who = router.find( neighbor );
   if( !who ) return { "unknown" };
   for( const auto af : { AddressFamily::ipv4, AddressFamily::ipv6 } )
      for( const Direction direction : kDirections ) {
         const NeighborFilters filters = router.filters( *who, af, direction );
         std::string line;
         for( const auto & form : kFilterForms )
            if( const auto & name = filters.*form.name; !name.empty() )
               line += ( line.empty() ? " " : ", " ) + std::string( form.word ) + ' ' + name;
         if( line.empty() ) continue;
         result.push_back( ( af == AddressFamily::ipv4 ? "ipv4 " : "ipv6 " ) + std::string( nameOf( direction ) ) + ':' + line );
      }
   return result;
}

TEST( NeighborLines, everyFilterInEveryPlace ) {
   const PolicyText text = read( R"(router bgp 65000
 neighbor 192.0.2.1 remote-as 65001
 neighbor 192.0.2.1 distribute-list A in
 address-family ipv4 unicast
  neighbor 192.0.2.1 filter-list F in
  neighbor 192.0.2.1 prefix-list P out
 exit-address-family
 address-family ipv6 unicast
  neighbor 192.0.2.1 route-map R6 out
 exit-address-family
 neighbor 192.0.2.1 route-map R in
)" );
   EXPECT_THAT(
      filtersOf( text.routers.at( "" ), "192.0.2.1" ),
      ElementsAre( "ipv4 in: distribute-list A, filter-list F, route-map R", "ipv4 out: prefix-list P", "ipv6 out: route-map R6" ) );
}

TEST( NeighborLines, aRouterForEachVrf ) {
   const PolicyText text = read( R"(router bgp 65000
 neighbor 192.0.2.1 remote-as 65001
 neighbor 192.0.2.1 route-map A in
router bgp 65009 vrf RED
 neighbor 192.0.2.1 remote-as 65009
 neighbor 192.0.2.1 route-map B in
router bgp 65000
 neighbor 192.0.2.1 route-map C out
)" );
   ASSERT_EQ( text.routers.size(), 2u );
   EXPECT_THAT( filtersOf( text.routers.at( "" ), "192.0.2.1" ), ElementsAre( "ipv4 in: route-map A", "ipv4 out: route-map C" ) );
   const BgpRouter & red = text.routers.at( "RED" );
   EXPECT_THAT( filtersOf( red, "192.0.2.1" ), ElementsAre( "ipv4 in: route-map B" ) );
   EXPECT_FALSE( red.isExternal( *red.find( "192.0.2.1" ) ) );
   EXPECT_TRUE( text.routers.at( "" ).isExternal( *text.routers.at( "" ).find( "192.0.2.1" ) ) );
}

TEST( NeighborLines, whatOpensAndClosesAStanza ) {
   struct Row {
      const char * name;
      const char * behind;   // the lines behind the neighbor's
      bool reads;            // a line of the neighbor that follows
   };
   const Row rows[] = {
      { "nothing", "", true },
      { "a comment", "!\n", true },
      { "without indentation", "bgp router-id 192.0.2.254\n", true },
      { "a family and its end", "address-family ipv6 unicast\nexit-address-family\n", true },
      { "a family and exit", "address-family ipv6 unicast\nexit\n", true },
      { "exit", "exit\n", false },
      { "end", "end\n", false },
      { "another router", "router ospf\n", false },
      { "a list", "ip prefix-list P permit any\n", false },
      { "a route map", "route-map R permit 10\nexit\n", false },
      { "a VRF", "vrf RED\n", false },
      { "a family that is not unicast", "address-family ipv4 multicast\n", false },
      { "a family of another kind", "address-family l2vpn evpn\n", false },
   };
   for( const auto & row : rows ) {
      const PolicyText text = read( std::string( "router bgp 65000\nneighbor 192.0.2.1 remote-as 65001\n" ) + row.behind +
                                    "neighbor 192.0.2.1 route-map A in\n" );
      EXPECT_EQ( !filtersOf( text.routers.at( "" ), "192.0.2.1" ).empty(), row.reads ) << row.name;
   }
}

TEST( NeighborLines, whatCreatesANeighbor ) {
   const PolicyText text = read( R"(router bgp 65000
 neighbor 2001:DB8:0::1 remote-as 65001
 neighbor eth0 interface remote-as external
 neighbor eth1 interface v6only peer-group FABRIC
 neighbor FABRIC peer-group
 neighbor FABRIC remote-as internal
 neighbor eth2 interface v6only peer-group FABRIC
 neighbor 192.0.2.9 route-map A in
 neighbor FABRIC route-map F out
 neighbor 192.0.2.7 remote-as 65007
 no neighbor 192.0.2.7 remote-as 65007
)" );
   const BgpRouter & router = text.routers.at( "" );
   std::vector<std::string> names;
   for( const auto & [ name, neighbor ] : router.neighbors ) names.push_back( name );
   EXPECT_THAT( names, ElementsAre( "2001:db8::1", "FABRIC", "eth0", "eth1", "eth2" ) );
   EXPECT_TRUE( router.find( "FABRIC" )->isGroup );
   EXPECT_TRUE( router.isExternal( *router.find( "eth0" ) ) );
   EXPECT_FALSE( router.isExternal( *router.find( "eth2" ) ) );
   EXPECT_THAT( filtersOf( router, "eth2" ), ElementsAre( "ipv4 out: route-map F" ) );
   EXPECT_THAT( filtersOf( router, "eth1" ), ElementsAre() );   // the group did not exist yet
}

TEST( NeighborLines, twoKindsOfListAreADoubt ) {
   const PolicyText text = read( R"(router bgp 65000
 neighbor 192.0.2.1 remote-as 65001
 neighbor 192.0.2.1 prefix-list P in
 neighbor 192.0.2.1 distribute-list A in
 neighbor 192.0.2.1 distribute-list A out
)" );
   EXPECT_THAT( filtersOf( text.routers.at( "" ), "192.0.2.1" ), ElementsAre( "ipv4 in: prefix-list P", "ipv4 out: distribute-list A" ) );
   ASSERT_EQ( text.doubts.size(), 1u );
   EXPECT_EQ( text.doubts[ 0 ].place.line, 4u );
   EXPECT_EQ(
      text.doubts[ 0 ].text,
      "FRR refuses \"neighbor 192.0.2.1 distribute-list A in\": a neighbor has a distribute list or a prefix list, not both; the line "
      "has no effect" );
}

TEST( NeighborLines, onlyInTheDialectOfFrr ) {
   EXPECT_TRUE( read( "router bgp 65000\n neighbor 192.0.2.1 remote-as 65001\n", Dialect::native ).routers.empty() );
}

// No line is an error, whatever is cut off.
TEST( NeighborLines, linesCutShort ) {
   const std::string lines[] = { "router bgp 65000 vrf RED",
                                 "neighbor 192.0.2.1 remote-as 65001",
                                 "neighbor G peer-group",
                                 "neighbor 192.0.2.1 peer-group G",
                                 "address-family ipv4 unicast",
                                 "neighbor 192.0.2.1 route-map A in",
                                 "no neighbor 192.0.2.1 route-map A in",
                                 "no neighbor 192.0.2.1 peer-group G",
                                 "frr version 7.3",
                                 "neighbor eth0 interface v6only remote-as external",
                                 "bgp default ipv4-unicast" };
   for( const auto & line : lines )
      for( size_t at = line.find( ' ' ); at != line.npos; at = line.find( ' ', at + 1 ) )
         EXPECT_LE( read( "router bgp 65000\n neighbor 192.0.2.1 remote-as 1\n " + line.substr( 0, at ) + "\n" ).routers.size(), 2u )
            << line;
}

}   // namespace
}   // namespace Agent
