// What commands answer about the filters of a neighbor, and about a list.
#include "command/Target.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

#include "live/ValueTests.h"
#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

constexpr char kPolicy[] = "ip prefix-list CUSTOMERS permit 10.0.0.0/8 le 24\n"
                           "access-list NEAR permit 10.0.0.0/16\n"
                           "bgp as-path access-list GOOD permit ^65001\n"
                           "route-map IN deny 10\n"
                           " match tag 5\n"
                           "route-map IN permit 20\n"
                           " match ip address prefix-list CUSTOMERS\n"
                           " set metric 10\n"
                           "router bgp 65000\n"
                           " neighbor 192.0.2.1 remote-as 65001\n"
                           " neighbor 192.0.2.2 remote-as 65002\n"
                           " neighbor 2001:db8::1 remote-as internal\n"
                           " neighbor 192.0.2.1 prefix-list CUSTOMERS in\n"
                           " neighbor 192.0.2.1 filter-list GOOD in\n"
                           " neighbor 192.0.2.1 route-map IN in\n"
                           " neighbor 192.0.2.1 distribute-list NEAR out\n"
                           " address-family ipv6 unicast\n"
                           "  neighbor 192.0.2.1 activate\n"
                           "  neighbor 192.0.2.1 route-map IN in\n"
                           "router bgp 65000 vrf RED\n"
                           " neighbor 192.0.2.1 remote-as internal\n";
constexpr char kTable[] = "10.1.0.0/16 as-path 65001 65002\n"
                          "10.2.0.0/16 tag 5 as-path 65001\n"
                          "10.3.0.0/16 as-path 65002\n"
                          "192.0.2.0/24 as-path 65001\n"
                          "2001:db8::/32 as-path 65001\n";

TargetOptions neighbor( const char * name, const char * direction, const char * vrf = "" ) {
   TargetOptions target;
   target.neighbor = { name, direction };
   target.vrf = vrf;
   return target;
}

CommandOutput evaluated(
   const TargetOptions & target, const std::function<void( EvalOptions & )> & set = []( EvalOptions & ) {} ) {
   const PolicyFile table( kTable );
   return outputOf( kPolicy, [ & ]( const std::string & file, Console & console ) {
      EvalOptions options;
      options.files = { file };
      options.target = target;
      options.tables = { table.name() };
      options.dialect = Dialect::frr;
      set( options );
      return eval( options, console );
   } );
}

std::string explained( const TargetOptions & target, const char * prefix, const char * asPath, bool json = false ) {
   return outputOf( kPolicy,
                    [ & ]( const std::string & file, Console & console ) {
                       ExplainOptions options;
                       options.files = { file };
                       options.target = target;
                       options.prefix = prefix;
                       options.fields = { { "as-path", asPath } };
                       options.json = json;
                       options.dialect = Dialect::frr;
                       return explain( options, console );
                    } )
      .out;
}

TEST( Target, evalTellsWhichFilterDenies ) {
   EXPECT_EQ( evaluated( neighbor( "192.0.2.1", "in" ) ).out,
              "permit  10.1.0.0/16  metric 10  by IN 20\n"
              "deny    10.2.0.0/16  by IN 10\n"
              "deny    10.3.0.0/16  by filter-list GOOD (ipv4 unicast, in)\n"
              "deny    192.0.2.0/24  by prefix-list CUSTOMERS (ipv4 unicast, in)\n"
              "deny    2001:db8::/32  by route-map IN (ipv6 unicast, in)\n" );
   EXPECT_EQ( evaluated( neighbor( "192.0.2.1", "out" ) ).out,
              "deny    10.1.0.0/16  by distribute-list NEAR (ipv4 unicast, out)\n"
              "deny    10.2.0.0/16  by distribute-list NEAR (ipv4 unicast, out)\n"
              "deny    10.3.0.0/16  by distribute-list NEAR (ipv4 unicast, out)\n"
              "deny    192.0.2.0/24  by distribute-list NEAR (ipv4 unicast, out)\n"
              "deny    2001:db8::/32  by bgp ebgp-requires-policy (ipv6 unicast, out)\n" );
}

TEST( Target, evalOfAnInternalNeighborWithoutFilters ) {
   for( const auto & target : { neighbor( "2001:DB8:0::1", "in" ), neighbor( "192.0.2.1", "in", "RED" ) } ) {
      const std::string name = target.vrf.empty() ? "2001:db8::1" : "192.0.2.1";
      const std::string out = evaluated( target ).out;
      EXPECT_EQ( out.substr( 0, out.find( '\n' ) ), "permit  10.1.0.0/16  by neighbor " + name + " (ipv4 unicast, in)" );
      EXPECT_TRUE( out.ends_with( "deny    2001:db8::/32  by neighbor " + name + ", where ipv6 unicast is not active\n" ) ) << out;
   }
}

TEST( Target, evalCountsFilters ) {
   const auto summary = [ & ]( bool json ) {
      return evaluated( neighbor( "192.0.2.1", "in" ),
                        [ & ]( EvalOptions & options ) {
                           options.summary = true;
                           options.json = json;
                        } )
         .out;
   };
   EXPECT_EQ( summary( false ),
              "5 routes, 1 permitted, 4 denied\n"
              "\n"
              "route map                                   sequence  action        routes\n"
              "prefix-list CUSTOMERS (ipv4 unicast, in)              deny               1\n"
              "filter-list GOOD (ipv4 unicast, in)                   deny               1\n"
              "route-map IN (ipv4 unicast, in)                       deny               0\n"
              "route-map IN (ipv6 unicast, in)                       deny               1\n"
              "IN                                                10  deny               1\n"
              "IN                                                20  permit             1\n"
              "                                                none  deny               0\n" );
   const auto json = nlohmann::json::parse( summary( true ) );
   EXPECT_EQ( json[ "sequences" ][ 0 ].dump(), R"j({"action":"deny","filter":"prefix-list CUSTOMERS (ipv4 unicast, in)","routes":1})j" );
   EXPECT_EQ( json[ "sequences" ][ 5 ].dump(), R"j({"action":"permit","routeMap":"IN","routes":1,"sequence":20})j" );
}

TEST( Target, evalAsJson ) {
   const std::string out = evaluated( neighbor( "192.0.2.1", "in" ), []( EvalOptions & options ) { options.json = true; } ).out;
   EXPECT_NE( out.find( R"j("verdict":"deny","sequences":[{"filter":"filter-list GOOD (ipv4 unicast, in)"}]})j" ), out.npos ) << out;
}

TEST( Target, explain ) {
   EXPECT_EQ( explained( neighbor( "192.0.2.1", "in" ), "10.1.0.0/16", "65001" ),
              "10.1.0.0/16, as-path 65001: permitted, with metric 10\n"
              "neighbor 192.0.2.1 in permits\n"
              "   prefix-list CUSTOMERS (ipv4 unicast, in) permits\n"
              "   filter-list GOOD (ipv4 unicast, in) permits\n"
              "   route-map IN (ipv4 unicast, in)\n"
              "      IN permits\n"
              "         10    deny    does not hold: match tag 5\n"
              "         20    permit  matches: sets metric 10\n" );
   EXPECT_EQ( explained( neighbor( "192.0.2.1", "in" ), "10.1.0.0/16", "65002" ),
              "10.1.0.0/16, as-path 65002: denied\n"
              "neighbor 192.0.2.1 in denies\n"
              "   prefix-list CUSTOMERS (ipv4 unicast, in) permits\n"
              "   filter-list GOOD (ipv4 unicast, in) denies\n" );
   EXPECT_EQ( explained( neighbor( "192.0.2.1", "in" ), "2001:db8::/32", "65001" ),
              "2001:db8::/32, as-path 65001: denied\n"
              "neighbor 192.0.2.1 in denies\n"
              "   route-map IN (ipv6 unicast, in)\n"
              "      IN denies: no sequence matches\n"
              "         10    deny    does not hold: match tag 5\n"
              "         20    permit  does not hold: match ip address prefix-list CUSTOMERS\n" );
   const auto json = nlohmann::json::parse( explained( neighbor( "192.0.2.1", "in" ), "10.1.0.0/16", "65002", true ) );
   EXPECT_EQ( json[ "routemap" ][ "seqs" ][ "filter-list GOOD (ipv4 unicast, in)" ][ "action" ], "deny" ) << json;
}

TEST( Target, diff ) {
   std::string changed = kPolicy;
   changed.replace( changed.find( "^65001" ), 6, "65002$" );
   const PolicyFile other( changed ), table( kTable );
   const auto output = outputOf( kPolicy, [ & ]( const std::string & file, Console & console ) {
      DiffOptions options;
      options.oldFiles = { file };
      options.newFiles = { other.name() };
      options.target = neighbor( "192.0.2.1", "in" );
      options.tables = { table.name() };
      options.dialect = Dialect::frr;
      return diff( options, console );
   } );
   EXPECT_EQ( output.status, kExitFindings );
   EXPECT_EQ( output.out,
              "1 of 5 routes changes\n"
              "\n"
              "1: deny by filter-list GOOD (ipv4 unicast, in) -> permit by IN 20\n"
              "   10.3.0.0/16  newly permitted, with metric 10\n" );
}

TEST( Target, aListAlone ) {
   for( const Dialect dialect : { Dialect::frr, Dialect::native } ) {
      TargetOptions prefixList, accessList;
      prefixList.prefixList = "CUSTOMERS";
      accessList.accessList = "NEAR";
      const auto set = [ & ]( EvalOptions & options ) { options.dialect = dialect; };
      EXPECT_EQ( evaluated( prefixList, set ).out,
                 "permit  10.1.0.0/16  by prefix-list CUSTOMERS (ipv4 unicast)\n"
                 "permit  10.2.0.0/16  by prefix-list CUSTOMERS (ipv4 unicast)\n"
                 "permit  10.3.0.0/16  by prefix-list CUSTOMERS (ipv4 unicast)\n"
                 "deny    192.0.2.0/24  by prefix-list CUSTOMERS (ipv4 unicast)\n"
                 "deny    2001:db8::/32  by prefix-list CUSTOMERS (ipv6 unicast), which is undefined\n" );
      EXPECT_TRUE( evaluated( accessList, set ).out.starts_with( "deny    10.1.0.0/16  by access-list NEAR (ipv4 unicast)\n" ) );
   }
}

TEST( Target, errors ) {
   TargetOptions two = neighbor( "192.0.2.1", "in" ), vrf, list;
   two.routeMap = "IN";
   vrf.routeMap = "IN";
   vrf.vrf = "RED";
   list.accessList = "CUSTOMERS";
   EXPECT_EQ( evaluated( two ).error, "--neighbor cannot be used with --route-map" );
   EXPECT_EQ( evaluated( {} ).error, "--route-map, --neighbor, --prefix-list or --access-list is required" );
   EXPECT_EQ( evaluated( vrf ).error, "--vrf needs --neighbor" );
   EXPECT_EQ( evaluated( list ).error, "unknown access list CUSTOMERS" );
   EXPECT_EQ( evaluated( neighbor( "192.0.2.1", "both" ) ).error,
              "--neighbor: expected \"in\" or \"out\" behind the neighbor, found \"both\"" );
   EXPECT_EQ( evaluated( neighbor( "192.0.2.7", "in" ) ).error,
              "unknown neighbor 192.0.2.7; the router has 192.0.2.1, 192.0.2.2, 2001:db8::1" );
   EXPECT_EQ( evaluated( neighbor( "192.0.2.1", "in", "BLUE" ) ).error, "--vrf: the policy has no \"router bgp\" of VRF BLUE" );
   EXPECT_EQ( evaluated( neighbor( "192.0.2.1", "in" ), []( EvalOptions & options ) { options.dialect = Dialect::native; } ).error,
              "--neighbor cannot be used with --dialect native: use --dialect frr" );
}

// The route map of a neighbor is no nested call: ten below it are followed.
TEST( Target, theNeighborIsNoLevelOfCalls ) {
   std::string policy = "router bgp 1\n neighbor N peer-group\n neighbor N route-map M0 in\n neighbor TOO-DEEP peer-group\n"
                        " neighbor TOO-DEEP route-map TOO-DEEP in\nroute-map TOO-DEEP permit 10\n call M0\n";
   for( int i = 0; i < 10; ++i ) policy += "route-map M" + std::to_string( i ) + " permit 10\n call M" + std::to_string( i + 1 ) + '\n';
   policy += "route-map M10 permit 10\n";
   const PolicyFile table( "10.0.0.0/8\n" );
   const auto asked = [ & ]( const char * name ) {
      return outputOf( policy, [ & ]( const std::string & file, Console & console ) {
         EvalOptions options;
         options.files = { file };
         options.target = neighbor( name, "in" );
         options.tables = { table.name() };
         options.dialect = Dialect::frr;
         return eval( options, console );
      } );
   };
   EXPECT_TRUE( asked( "N" ).out.starts_with( "permit  10.0.0.0/8  by M0 10" ) ) << asked( "N" ).error;
   EXPECT_EQ( asked( "TOO-DEEP" ).error,
              "route map neighbor TOO-DEEP in is not in force: its calls go deeper than 10; see \"routepolicy check\"" );
}

constexpr char kPeers[] = "router bgp 65000\n"
                          " no bgp ebgp-requires-policy\n"
                          " neighbor 192.0.2.1 remote-as 65001\n"
                          " neighbor 2001:db8::1 remote-as 65002\n"
                          " neighbor GROUP peer-group\n"
                          " neighbor eth0 interface remote-as 65003\n"
                          " neighbor 192.0.2.1 route-map PEER in\n"
                          " neighbor 192.0.2.1 route-map PEER out\n"
                          " neighbor GROUP route-map PEER out\n"
                          "route-map PEER permit 10\n"
                          " match peer 192.0.2.1\n"
                          "route-map PEER permit 20\n"
                          " match src-peer 192.0.2.2\n"
                          "route-map SOURCE permit 10\n"
                          " match ip route-source NEAR\n"
                          "access-list NEAR permit 192.0.2.1/32\n";
constexpr char kRoutesOfPeers[] = "10.1.0.0/16 peer 192.0.2.1\n"
                                  "10.2.0.0/16 peer 192.0.2.2\n"
                                  "10.3.0.0/16 peer local\n"
                                  "10.4.0.0/16 peer 192.0.2.2\n";

CommandOutput askedOfPeers(
   const TargetOptions & target, std::string_view routes, std::string_view policy = kPeers,
   const std::function<void( EvalOptions & )> & set = []( EvalOptions & ) {} ) {
   const PolicyFile table( routes );
   auto output = outputOf( policy, [ & ]( const std::string & file, Console & console ) {
      EvalOptions options;
      options.files = { file };
      options.target = target;
      options.tables = { table.name() };
      set( options );
      return eval( options, console );
   } );
   output.messages = table.withoutName( output.messages );
   return output;
}

TEST( Target, routesOfOtherPeersAreLeftOut ) {
   const auto in = askedOfPeers( neighbor( "192.0.2.1", "in" ), kRoutesOfPeers );
   EXPECT_EQ( in.out, "permit  10.1.0.0/16  by PEER 10\n" );
   EXPECT_EQ( in.messages, "FILE: left out: 3 routes of other peers\n" );
   EXPECT_EQ( in.status, kExitOk );
   const auto untold =
      askedOfPeers( neighbor( "2001:DB8::1", "in" ), "10.1.0.0/16\n10.2.0.0/16 peer 2001:db8:0::1\n10.3.0.0/16 peer 192.0.2.1\n" );
   EXPECT_EQ( untold.out,
              "permit  10.1.0.0/16  by neighbor 2001:db8::1 (ipv4 unicast, in)\n"
              "permit  10.2.0.0/16  by neighbor 2001:db8::1 (ipv4 unicast, in)\n" );
   EXPECT_EQ( untold.messages, "FILE: left out: 1 route of other peers\n" );
}

TEST( Target, aTableOfOtherPeersOnly ) {
   const auto asked = askedOfPeers( neighbor( "2001:db8::1", "in" ), kRoutesOfPeers );
   EXPECT_EQ( asked.out, "" );
   EXPECT_EQ( asked.messages, "FILE: no route is of neighbor 2001:db8::1; the peers of the table are local, 192.0.2.1, 192.0.2.2\n" );
   EXPECT_EQ( asked.status, kExitOk ) << "as a table without routes";
   std::string many;
   for( int i = 1; i < 9; ++i ) many += "10.0.0.0/8 peer 198.51.100." + std::to_string( i ) + '\n';
   EXPECT_EQ( askedOfPeers( neighbor( "192.0.2.1", "in" ), many ).messages,
              "FILE: no route is of neighbor 192.0.2.1; the peers of the table are 198.51.100.1, 198.51.100.2, 198.51.100.3, 198.51.100.4, "
              "198.51.100.5 and 3 more\n" );
   const auto empty = askedOfPeers( neighbor( "192.0.2.1", "in" ), "" );
   EXPECT_EQ( empty.messages.find( "peer" ), std::string::npos ) << empty.messages;
}

TEST( Target, routesAreSentBack ) {
   const auto out = askedOfPeers( neighbor( "192.0.2.1", "out" ), kRoutesOfPeers );
   EXPECT_EQ( out.out,
              "deny    10.1.0.0/16  by route-map PEER (ipv4 unicast, out)\n"
              "permit  10.2.0.0/16  by PEER 20\n"
              "deny    10.3.0.0/16  by route-map PEER (ipv4 unicast, out)\n"
              "permit  10.4.0.0/16  by PEER 20\n" );
   EXPECT_EQ( out.messages, "" );
}

TEST( Target, aNeighborWithoutAnAddressHasAllRoutes ) {
   for( const char * direction : { "in", "out" } )
      for( const char * name : { "GROUP", "eth0" } ) {
         const auto asked = askedOfPeers( neighbor( name, direction ), kRoutesOfPeers, kPeers, []( EvalOptions & options ) {
            options.summary = true;
            EXPECT_EQ( options.assumptions.add( "peer=no-match" ), std::nullopt );
         } );
         EXPECT_TRUE( asked.out.starts_with( "4 routes" ) ) << name << direction << asked.error;
         EXPECT_EQ( asked.messages, "" ) << name << direction;
      }
}

TEST( Target, aSentRouteHasNoPeer ) {
   TargetOptions routeMap;
   routeMap.routeMap = "SOURCE";
   EXPECT_EQ( askedOfPeers( routeMap, "10.2.0.0/16 peer 192.0.2.2\n" ).out, "deny    10.2.0.0/16  by no sequence\n" );
   routeMap.routeMap = "PEER";
   EXPECT_EQ( askedOfPeers( routeMap, kRoutesOfPeers ).out,
              "permit  10.1.0.0/16  by PEER 10\n"
              "permit  10.2.0.0/16  by PEER 20\n"
              "deny    10.3.0.0/16  by no sequence\n"
              "permit  10.4.0.0/16  by PEER 20\n" );
   for( const char * clause : { "peer 192.0.2.1", "peer 192.0.2.2", "peer local", "peer GROUP", "ip route-source NEAR" } ) {
      const std::string policy = std::string( kPeers ) + "no route-map PEER\nroute-map PEER permit 10\n match " + clause + '\n';
      for( const char * name : { "192.0.2.1", "GROUP" } )
         EXPECT_EQ(
            askedOfPeers( neighbor( name, "out" ), "10.2.0.0/16 peer 192.0.2.2\n10.3.0.0/16 peer local\n10.4.0.0/16\n", policy ).out,
            "deny    10.2.0.0/16  by route-map PEER (ipv4 unicast, out)\n"
            "deny    10.3.0.0/16  by route-map PEER (ipv4 unicast, out)\n"
            "deny    10.4.0.0/16  by route-map PEER (ipv4 unicast, out)\n" )
            << clause << " to " << name;
   }
}

TEST( Target, defaultsAreFilledInBeforeRoutesAreLeftOut ) {
   const auto asked = askedOfPeers( neighbor( "192.0.2.1", "in" ), "10.1.0.0/16\n10.2.0.0/16 peer 192.0.2.1\n", kPeers,
                                    []( EvalOptions & options ) { EXPECT_EQ( options.defaults.add( "peer=192.0.2.2" ), std::nullopt ); } );
   EXPECT_EQ( asked.out, "permit  10.2.0.0/16  by PEER 10\n" );
}

TEST( Target, leavingOutDoesNotDependOnThreads ) {
   std::string routes;
   for( int i = 0; i < 10'000; ++i )
      routes +=
         "10." + std::to_string( i / 256 ) + '.' + std::to_string( i % 256 ) + ".0/24 peer 192.0.2." + std::to_string( i % 3 ) + '\n';
   const auto asked = [ & ]( unsigned threads ) {
      return askedOfPeers( neighbor( "192.0.2.1", "in" ), routes, kPeers, [ = ]( EvalOptions & options ) { options.threads = threads; } );
   };
   const auto one = asked( 1 ), three = asked( 3 );
   EXPECT_EQ( std::ranges::count( one.out, '\n' ), 3333 );
   EXPECT_EQ( one.messages, "FILE: left out: 6667 routes of other peers\n" );
   EXPECT_EQ( one.out, three.out );
   EXPECT_EQ( one.messages, three.messages );
}

TEST( Target, explainLeavesThemOut ) {
   const PolicyFile table( kRoutesOfPeers );
   const auto asked = [ & ]( const TargetOptions & target, const char * prefix, const char * peer ) {
      auto output = outputOf( kPeers, [ & ]( const std::string & file, Console & console ) {
         ExplainOptions options;
         options.files = { file };
         options.target = target;
         options.prefix = prefix;
         if( peer )
            options.fields = { { "peer", peer } };
         else
            options.tables = { table.name() };
         return explain( options, console );
      } );
      output.messages = table.withoutName( output.messages );
      return output;
   };
   const auto in = neighbor( "192.0.2.1", "in" ), out = neighbor( "192.0.2.1", "out" );
   EXPECT_TRUE( asked( in, "10.1.0.0/16", nullptr ).out.starts_with( "10.1.0.0/16, peer 192.0.2.1: permitted\n" ) );
   EXPECT_EQ( asked( in, "10.1.0.0/16", nullptr ).messages, "FILE: left out: 3 routes of other peers\n" );
   EXPECT_EQ( asked( in, "10.2.0.0/16", nullptr ).error, "10.2.0.0/16 is not among the other routes of the table" );
   EXPECT_EQ( asked( in, "10.2.0.1", nullptr ).error, "no other route of the table contains 10.2.0.1" );
   EXPECT_EQ( asked( in, "10.2.0.0/16", "192.0.2.2" ).error, "peer 192.0.2.2 announced the route, not neighbor 192.0.2.1" );
   EXPECT_EQ( asked( in, "10.2.0.0/16", "local" ).error, "this router announced the route, not neighbor 192.0.2.1" );
   EXPECT_TRUE( asked( out, "10.2.0.0/16", "192.0.2.1" ).out.starts_with( "10.2.0.0/16, peer 192.0.2.1: denied\n" ) );
   EXPECT_TRUE( asked( out, "10.2.0.0/16", "192.0.2.2" ).out.starts_with( "10.2.0.0/16, peer 192.0.2.2: permitted\n" ) );
   EXPECT_TRUE( asked( in, "10.2.0.0/16", "192.0.2.1" ).out.starts_with( "10.2.0.0/16, peer 192.0.2.1: permitted\n" ) );
}

TEST( Target, explainTellsPeerAndStateAsJson ) {
   const auto out = outputOf( kPeers, []( const std::string & file, Console & console ) {
                       ExplainOptions options;
                       options.files = { file };
                       options.target.routeMap = "PEER";
                       options.prefix = "10.0.0.0/8";
                       options.fields = { { "peer", "2001:db8::1" }, { "rpki", "notfound" } };
                       options.json = true;
                       EXPECT_EQ( explain( options, console ), kExitOk );
                       options.fields = { { "peer", "local" } };
                       return explain( options, console );
                    } ).out;
   const auto first = nlohmann::json::parse( out.substr( 0, out.find( '\n' ) ) ),
              second = nlohmann::json::parse( out.substr( out.find( '\n' ) ) );
   EXPECT_EQ( first.at( "peer" ), "2001:db8::1" );
   EXPECT_EQ( first.at( "rpki" ), "notfound" );
   EXPECT_EQ( second.at( "peer" ), "0.0.0.0" );
   EXPECT_FALSE( second.contains( "rpki" ) );
}

TEST( Target, diffLeavesThemOut ) {
   const PolicyFile other( std::string( kPeers ) + "route-map PEER deny 5\n" ), table( kRoutesOfPeers );
   const auto output = outputOf( kPeers, [ & ]( const std::string & file, Console & console ) {
      DiffOptions options;
      options.oldFiles = { file };
      options.newFiles = { other.name() };
      options.target = neighbor( "192.0.2.1", "in" );
      options.tables = { table.name() };
      return diff( options, console );
   } );
   EXPECT_TRUE( output.out.starts_with( "1 of 1 route changes\n" ) ) << output.out;
   EXPECT_EQ( table.withoutName( output.messages ), "FILE: left out: 3 routes of other peers\n" );
}

}   // namespace
}   // namespace Agent
