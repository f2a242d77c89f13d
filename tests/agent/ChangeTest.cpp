#include "live/Change.h"

#include <gtest/gtest.h>

#include "command/RouteEvaluator.h"
#include "command/RouteText.h"
#include "live/LivePolicy.h"
#include "live/ValueTests.h"
#include "table/AsPath.h"
#include "text/LineLoader.h"

namespace Agent {
namespace {

PolicyText textOf( const std::string & lines ) {
   LineLoader loader( Dialect::frr );
   loader.load( "p", lines );
   for( const auto & error : loader.errors() ) ADD_FAILURE() << loader.toString( error );
   return loader.text();
}

TableRoute route() {
   TableRoute route;
   route.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   route.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   route.metric = 10;
   route.asPath = "65001 65002 {65003,65001} 65001";
   route.communities = { 65000u << 16 | 1, 65000u << 16 | 2 };
   route.largeCommunities = { { 1, 2, 3 }, { 4, 5, 6 } };
   route.extCommunities = { *extCommunityOf( "soo", "65000:3" ), *extCommunityOf( "rt", "65000:1" ) };
   return route;
}

/// What the clauses change.
std::string changesBy( const std::string & clauses, const std::string & lists = "", const TableRoute & came = route() ) {
   LivePolicy policy( Dialect::frr );
   policy.apply( textOf( lists + "route-map M permit 10\n" + clauses ) );
   RouteAnswer answer;
   RouteEvaluator( policy.routeMap( "M" ), Dialect::frr ).evaluate( came, answer );
   return answer.permitted ? changesOf( came, answer.result ) : "denied";
}

TEST( Change, setsWhatBgpdSets ) {
   const std::pair<const char *, const char *> rows[] = {
      { "set metric +5", "metric 10 -> 15" },
      { "set metric -50", "metric 10 -> 0" },
      { "set metric 4294967295\nset min-metric 5", "metric 10 -> 4294967295" },
      { "set min-metric 20", "metric 10 -> 20" },
      { "set max-metric 5", "metric 10 -> 5" },
      { "set max-metric 20", "" },
      { "set local-preference +5", "local-preference 105" },
      { "set local-preference -500", "local-preference 0" },
      { "set distance 7", "distance 7" },
      { "set distance 0", "" },
      { "set origin egp", "origin egp" },
      { "set ip next-hop 192.0.2.1", "next-hop 192.0.2.9 -> 192.0.2.1" },
      { "set ipv6 next-hop global 2001:db8::1", "other next-hop 2001:db8::1" },
      { "set as-path prepend 7 4200000000", "as-path 65001 65002 {65003,65001} 65001 -> 7 4200000000 65001 65002 {65003,65001} 65001" },
      { "set as-path prepend last-as 2", "as-path 65001 65002 {65003,65001} 65001 -> 65001 65001 65001 65002 {65003,65001} 65001" },
      { "set as-path exclude 65001", "as-path 65001 65002 {65003,65001} 65001 -> 65002 {65003}" },
      { "set as-path exclude all", "as-path 65001 65002 {65003,65001} 65001 -> none" },
      { "set community 65000:9 additive", "community 65000:1 65000:2 -> 65000:1 65000:2 65000:9" },
      { "set large-community 9:9:9", "large-community 1:2:3 4:5:6 -> 9:9:9" },
      { "set large-community 2:2:2 additive", "large-community 1:2:3 4:5:6 -> 1:2:3 2:2:2 4:5:6" },
      { "set large-community none", "large-community 1:2:3 4:5:6 -> none" },
      { "set extcommunity rt 65000:1 192.0.2.1:4",
        "extcommunity SoO:65000:3 RT:65000:1 -> SoO:65000:3 RT:65000:1 RT:65000:1 RT:192.0.2.1:4" },
      { "set extcommunity color 5", "extcommunity SoO:65000:3 RT:65000:1 -> SoO:65000:3 RT:65000:1 Color:5" },
      { "set extcommunity none\nset extcommunity soo 1:1", "extcommunity SoO:65000:3 RT:65000:1 -> SoO:1:1" },
      { "set extcommunity bandwidth 5\nset extcommunity none", "extcommunity SoO:65000:3 RT:65000:1 -> none" },
   };
   for( const auto & [ clauses, expected ] : rows ) EXPECT_EQ( changesBy( clauses ), expected ) << clauses;
}

TEST( Change, tellsAnAttributeThatNoMatchClauseReadsByItsWords ) {
   const std::pair<const char *, const char *> rows[] = {
      { "set weight 5", "weight 5" },
      { "set atomic-aggregate", "atomic-aggregate true" },
      { "set aggregator as 65010 192.0.2.6", "aggregator as 65010 192.0.2.6" },
      { "set originator-id 192.0.2.5\nset label-index 5", "label-index 5, originator-id 192.0.2.5" },
      { "set sr-te color 5", "sr-te color 5" },
      { "set ipv6 next-hop prefer-global", "ipv6 next-hop prefer-global true" },
      { "set evpn gateway-ip ipv4 192.0.2.1", "evpn gateway-ip ipv4 192.0.2.1" },
   };
   for( const auto & [ clauses, expected ] : rows ) EXPECT_EQ( changesBy( clauses ), expected ) << clauses;
   TableRoute came = route();
   came.otherIs( "weight", "30" );
   EXPECT_EQ( changesBy( "set weight 5", "", came ), "weight 30 -> 5" );
}

TEST( Change, tellsAValueThatOnlyADaemonKnowsByItsWords ) {
   EXPECT_EQ( changesBy( "set metric rtt" ), "metric rtt" );
   EXPECT_EQ( changesBy( "set ip next-hop peer-address" ), "ip next-hop peer-address" );
   EXPECT_EQ( changesBy( "set as-path replace any" ), "as-path replace any" );
   EXPECT_EQ( changesBy( "set as-path replace as-path-access-list L 64501" ), "as-path replace as-path-access-list L 64501" );
   // Another sequence sets a value.
   EXPECT_EQ( changesBy( "set metric igp\non-match next\nroute-map M permit 20\nset metric 5" ), "metric 10 -> 5" );
   EXPECT_EQ( changesBy( "set ip next-hop unchanged\non-match next\nroute-map M permit 20\nset ip next-hop 192.0.2.1" ),
              "next-hop 192.0.2.9 -> 192.0.2.1" );
}

TEST( Change, tellsWhatIsDoneToAValueThatOnlyADaemonKnows ) {
   const auto apart = []( const std::string & first, const std::string & second ) {
      return changesBy( first + "\non-match next\nroute-map M permit 20\n" + second );
   };
   EXPECT_EQ( changesBy( "set as-path replace any\nset as-path prepend 9 9" ), "as-path replace any, then as-path prepend 9 9" );
   EXPECT_EQ( changesBy( "set as-path replace any\nset as-path exclude 65001" ), "as-path replace any, then as-path exclude 65001" );
   EXPECT_EQ( apart( "set as-path replace any 7", "set as-path replace 7 8" ), "as-path replace any 7, then as-path replace 7 8" );
   EXPECT_EQ( changesBy( "set as-path exclude 65001\nset as-path replace any" ),
              "as-path 65001 65002 {65003,65001} 65001 -> 65002 {65003}, as-path replace any" );
   EXPECT_EQ( apart( "set as-path replace any", "set as-path exclude all" ), "as-path 65001 65002 {65003,65001} 65001 -> none" );
   EXPECT_EQ( apart( "set metric rtt", "set metric +5" ), "metric rtt, then metric +5" );
   EXPECT_EQ( apart( "set metric rtt", "set min-metric 5" ), "metric rtt, then min-metric 5" );
}

TEST( Change, aMatchBehindAValueThatOnlyADaemonKnowsHasNoAnswer ) {
   const std::pair<const char *, const char *> rows[] = {
      { "set metric rtt", "match metric 5" },
      { "set ip next-hop peer-address", "match ip next-hop address 192.0.2.1" },
      { "set ipv6 next-hop peer-address", "match ipv6 next-hop address 2001:db8::1" },
      { "set as-path replace any", "match as-path A" },
   };
   const std::string lists = "bgp as-path access-list A permit .\n";
   for( const auto & [ set, match ] : rows ) {
      const std::string behind = std::string( "\non-match next\nroute-map M permit 20\n" ) + match;
      EXPECT_THROW( changesBy( set + behind, lists ), Unanswered ) << set;
   }
   EXPECT_NO_THROW( changesBy( "set ip next-hop unchanged\non-match next\nroute-map M permit 20\nmatch ip next-hop address 192.0.2.9" ) );
}

TEST( Change, aListDeletesEachCommunityThatItPermitsByItself ) {
   const struct {
      const char * list;
      const char * clause;
      const char * expected;
   } rows[] = {
      { "bgp community-list standard L permit 65000:1 65000:9\n", "set comm-list L delete", "community 65000:1 65000:2 -> 65000:2" },
      { "bgp community-list standard L permit internet\n", "set comm-list L delete", "community 65000:1 65000:2 -> none" },
      { "", "set comm-list L delete", "" },
      { "bgp large-community-list standard L deny 1:2:3\nbgp large-community-list standard L permit 1:2:3 4:5:6\n",
        "set large-comm-list L delete", "large-community 1:2:3 4:5:6 -> 1:2:3" },
      { "bgp large-community-list expanded L permit ^1:\n", "set large-comm-list L delete", "large-community 1:2:3 4:5:6 -> 4:5:6" },
      { "bgp extcommunity-list expanded L permit ^RT:\n", "set extended-comm-list L delete",
        "extcommunity SoO:65000:3 RT:65000:1 -> SoO:65000:3" },
      { "bgp extcommunity-list standard L permit soo 65000:3\n", "set extended-comm-list L delete",
        "extcommunity SoO:65000:3 RT:65000:1 -> RT:65000:1" },
      { "bgp as-path access-list L permit ^65001$\n", "set as-path exclude as-path-access-list L",
        "as-path 65001 65002 {65003,65001} 65001 -> 65002 {65003}" },
      { "", "set as-path exclude as-path-access-list L", "" },
   };
   for( const auto & row : rows ) EXPECT_EQ( changesBy( row.clause, row.list ), row.expected ) << row.list << row.clause;
}

TEST( Change, aListThatChangesChangesWhatIsSet ) {
   LivePolicy policy( Dialect::frr );
   const std::string list = "bgp community-list standard L permit 65000:", map = "\nroute-map M permit 10\nset comm-list L delete\n";
   const auto communities = [ & ] {
      RouteAnswer answer;
      RouteEvaluator( policy.routeMap( "M" ), Dialect::frr ).evaluate( route(), answer );
      return changesOf( route(), answer.result );
   };
   policy.apply( textOf( list + "1" + map ) );
   EXPECT_EQ( communities(), "community 65000:1 65000:2 -> 65000:2" );
   const auto report = policy.apply( textOf( list + "2" + map ) );
   EXPECT_EQ( communities(), "community 65000:1 65000:2 -> 65000:1" );
   EXPECT_EQ( report.republished, std::vector<std::string>{ "M" } );
   policy.apply( textOf( map ) );
   EXPECT_EQ( communities(), "" );
}

TEST( Change, aMatchSeesWhatWasSet ) {
   const std::string lists = "bgp large-community-list standard L permit 9:9:9\nbgp large-community-list standard LN permit 1:2:3 9:9:9\n"
                             "bgp extcommunity-list standard X permit rt 9:9\nbgp as-path access-list A permit ^7_\n";
   const auto behind = [ & ]( const std::string & set, const std::string & match ) {
      return changesBy( set + "\non-match next\nroute-map M permit 20\n" + match + "\nset tag 1\nroute-map M permit 30\n", lists )
                .find( "tag 1" ) != std::string::npos;
   };
   EXPECT_TRUE( behind( "set large-community 9:9:9", "match large-community L exact-match" ) );
   EXPECT_FALSE( behind( "set large-community 9:9:9 additive", "match large-community L exact-match" ) );
   EXPECT_TRUE( behind( "set large-community 9:9:9 additive", "match large-community L" ) );
   EXPECT_TRUE( behind( "set large-community 9:9:9", "match large-community LN any" ) );
   EXPECT_FALSE( behind( "set large-community 9:9:9", "match large-community LN" ) );
   EXPECT_TRUE( behind( "set extcommunity rt 9:9", "match extcommunity X" ) );
   EXPECT_FALSE( behind( "set extcommunity soo 9:9", "match extcommunity X" ) );
   EXPECT_TRUE( behind( "set as-path prepend 7", "match as-path A" ) );
   EXPECT_TRUE( behind( "set ipv6 next-hop global 2001:db8::1", "match ipv6 next-hop address 2001:db8::1" ) );
   EXPECT_TRUE( behind( "set ipv6 next-hop global 2001:db8::1", "match ip next-hop address 192.0.2.9" ) );
   EXPECT_TRUE( behind( "set metric +5", "match metric 15" ) );
}

TEST( AsPath, losesAsesInSetsToo ) {
   const struct {
      const char * path;
      const char * left;
   } rows[] = {
      { "", "" },
      { "1", "" },
      { "1 2 1", "2" },
      { "2 {1} 3", "2 3" },
      { "{1} 3", "3" },
      { "{1,2,1,3}", "{2,3}" },
      { "(1 2) 3 [1,4]", "(2) 3 [4]" },
      { "(1) 1 [1]", "" },
      { "4200000000 1", "4200000000" },
   };
   for( const auto & row : rows ) EXPECT_EQ( asPathWithout( row.path, []( uint32_t as ) { return as == 1; } ), row.left ) << row.path;
   EXPECT_EQ( firstAsOf( "64500 1" ), "64500" );
   EXPECT_EQ( firstAsOf( "{1}" ), "" );
}

TEST( ExtCommunity, hasTheTextOfFrr ) {
   const std::pair<uint64_t, const char *> rows[] = {
      { 0x0002fde800000001, "RT:65000:1" },     { 0x0003fde800011170, "SoO:65000:70000" },
      { 0x0102c00002010009, "RT:192.0.2.1:9" }, { 0x0202fa56ea000009, "RT:4200000000:9" },
      { 0x030b000000000005, "Color:5" },        { 0x030bc00000000005, "Color:11:5" },
      { 0x0109c00002010000, "NT:192.0.2.1:0" }, { 0x4004fde84b3ebc20, "0x4004fde84b3ebc20" },
   };
   for( const auto & [ octets, text ] : rows ) {
      EXPECT_EQ( communityText( ExtCommunity( octets ) ), text );
      EXPECT_EQ( extCommunityOf( text ), ExtCommunity( octets ) ) << text;
   }
   for( const char * wrong :
        { "", "RT", "RT:", "RT:1", "RT:1:", "RT:1:2:3", "XX:1:2", "RT:1.2.3:4", "0x12", "0x000000000000000g", "Color:12:5" } )
      EXPECT_EQ( extCommunityOf( wrong ), std::nullopt ) << wrong;
}

}   // namespace
}   // namespace Agent
