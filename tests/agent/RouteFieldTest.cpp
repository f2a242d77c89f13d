#include "table/RouteField.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

using namespace std::string_view_literals;

TableRoute routeWith( std::string_view key, std::string_view value ) {
   TableRoute route;
   const auto fault = setField( route, key, value );
   EXPECT_FALSE( fault ) << *fault;
   return route;
}

TEST( RouteFieldTest, everyFieldSetsItsAttributeAlone ) {
   TableRoute expected;
   expected.nextHop = Ferule::IpGenAddr( "2001:db8::1" );
   EXPECT_EQ( routeWith( "next-hop", "2001:db8::1" ), expected );
   expected = {};
   expected.tag = 4294967295;
   EXPECT_EQ( routeWith( "tag", "4294967295" ), expected );
   expected = {};
   expected.metric = 0;
   EXPECT_EQ( routeWith( "metric", "0" ), expected );
   expected.metric = ( uint64_t( 1 ) << 63 ) - 1;
   EXPECT_EQ( routeWith( "metric", "9223372036854775807" ), expected );
   expected = {};
   expected.protocol = SourceProtocol::fixed;
   EXPECT_EQ( routeWith( "protocol", "static" ), expected );
   expected = {};
   expected.interface = "eth0.100";
   EXPECT_EQ( routeWith( "interface", "eth0.100" ), expected );
   expected = {};
   expected.localPreference = 0;
   EXPECT_EQ( routeWith( "local-preference", "0" ), expected );
   expected = {};
   expected.ospfInstance = 4294967295;
   EXPECT_EQ( routeWith( "ospf-instance", "4294967295" ), expected );
   expected = {};
   expected.isisInstance = 7;
   EXPECT_EQ( routeWith( "isis-instance", "7" ), expected );
   expected = {};
   expected.communities = { 0x10001, 0x20002, 0xffffff01 };
   EXPECT_EQ( routeWith( "community", "no-export,2:2,65537,2:2" ), expected );
   expected = {};
   expected.largeCommunities = { { 1, 2, 3 }, { 4200000000, 0, 1 } };
   EXPECT_EQ( routeWith( "large-community", "4200000000:0:1,1:2:3,1:2:3" ), expected );
   expected = {};
   expected.extCommunities = { ExtCommunity( 0x0003fde800000001 ), ExtCommunity( 0x0102c00002010002 ), ExtCommunity( 0x4004000000000007 ) };
   EXPECT_EQ( routeWith( "extcommunity", "soo:65000:1,RT:192.0.2.1:2,0x4004000000000007" ), expected );
   expected = {};
   expected.origin = Origin::incomplete;
   EXPECT_EQ( routeWith( "origin", "incomplete" ), expected );
   expected = {};
   expected.asPath = "64500 64501 {64502,64503} (65000) [65001,65002]";
   EXPECT_EQ( routeWith( "as-path", "  64500 64501\t {64502,64503} (65000) [65001,65002] " ), expected );
   EXPECT_EQ( routeWith( "as-path", "" ), TableRoute() );
   EXPECT_EQ( routeWith( "as-path", "(0 4294967295)" ).asPath, "(0 4294967295)" );
   expected = {};
   expected.origin = Origin::incomplete;
   EXPECT_EQ( routeWith( "origin", "incomplete" ), expected );
   expected = {};
   expected.peer = Ferule::IpGenAddr( "2001:db8::1" );
   EXPECT_EQ( routeWith( "peer", "2001:db8::1" ), expected );
   expected.peer = Ferule::IpGenAddr( "0.0.0.0" );
   EXPECT_EQ( routeWith( "peer", "local" ), expected );
   expected = {};
   expected.rpki = RpkiState::invalid;
   EXPECT_EQ( routeWith( "rpki", "invalid" ), expected );
}

TEST( RouteFieldTest, defaultsFillWhatARouteLacks ) {
   RouteDefaults defaults;
   for( const char * attribute :
        { "metric=5", "community=1:1,1:2", "peer=192.0.2.1", "as-path=64500 64501", "rpki=valid", "rpki=invalid" } )
      ASSERT_EQ( defaults.add( attribute ), std::nullopt ) << attribute;
   EXPECT_EQ( defaults.add( "metric" ), "expected NAME=VALUE, found \"metric\"" );
   EXPECT_EQ( defaults.add( "metric=x" ), "metric: \"x\": not a number from 0 to 9223372036854775807" );
   TableRoute route;
   route.metric = 0;
   route.communities = { 7 };
   defaults.fill( route );
   EXPECT_EQ( route.metric, Zeugma::MaybeU63( 0 ) );
   EXPECT_EQ( route.communities, std::vector<uint32_t>{ 7 } );
   EXPECT_EQ( route.peer, Ferule::IpGenAddr( "192.0.2.1" ) );
   EXPECT_EQ( route.asPath, "64500 64501" );
   EXPECT_EQ( route.rpki, RpkiState::invalid );
   EXPECT_EQ( route.origin, std::nullopt );
   TableRoute empty;
   defaults.fill( empty );
   EXPECT_EQ( empty.metric, Zeugma::MaybeU63( 5 ) );
   EXPECT_EQ( empty.communities, ( std::vector<uint32_t>{ 0x10001, 0x10002 } ) );
}

TEST( RouteFieldTest, laterValueTakesThePlaceOfTheFormer ) {
   TableRoute route;
   for( const std::string_view value : { "1:1,1:2", "1:3" } ) ASSERT_FALSE( setField( route, "community", value ) );
   EXPECT_EQ( route.communities, ( std::vector<uint32_t>{ 0x10003 } ) );
   for( const std::string_view value : { "64500 64501", "64502" } ) ASSERT_FALSE( setField( route, "as-path", value ) );
   EXPECT_EQ( route.asPath, "64502" );
}

TEST( RouteFieldTest, wrongValueTellsTheReasonAndChangesNothing ) {
   struct Row {
      std::string_view key;
      std::string_view value;
      std::string reason;
   };
   const std::string noName = ": expected one of next-hop, tag, metric, protocol, interface, local-preference, community, large-community, "
                              "extcommunity, ospf-instance, isis-instance, origin, peer, rpki, as-path";
   const std::string protocols = ": expected one of connected, static, kernel, bgp, ospf, ospf6, isis, rip, ripng, babel, eigrp, nhrp, "
                                 "openfabric, sharp, table, vnc, vnc-direct";
   const Row rows[] = {
      { "origin", "IGP", "origin: \"IGP\": expected one of igp, egp, incomplete" },
      { "peer", "eth0", "peer: address \"eth0\": not an address" },
      { "rpki", "not-found", "rpki: \"not-found\": expected one of valid, notfound, invalid" },
      { "next-hop", "eth0", "next-hop: address \"eth0\": not an address" },
      { "next-hop", "10.0.0.0/8", "next-hop: address \"10.0.0.0/8\": not an address" },
      { "tag", "4294967296", "tag: \"4294967296\": not a number from 0 to 4294967295" },
      { "tag", "-1", "tag: \"-1\": not a number from 0 to 4294967295" },
      { "metric", "9223372036854775808", "metric: \"9223372036854775808\": not a number from 0 to 9223372036854775807" },
      { "metric", "", "metric: \"\": not a number from 0 to 9223372036854775807" },
      { "protocol", "egp", "protocol: \"egp\"" + protocols },
      { "protocol", "", "protocol: \"\"" + protocols },
      { "interface", "", "interface: \"\": not the name of an interface" },
      { "interface", "eth 0", "interface: \"eth 0\": not the name of an interface" },
      { "ospf-instance", "4294967296", "ospf-instance: \"4294967296\": not a number from 0 to 4294967295" },
      { "isis-instance", "x", "isis-instance: \"x\": not a number from 0 to 4294967295" },
      { "local-preference", "high", "local-preference: \"high\": not a number from 0 to 4294967295" },
      { "community", "", "community: \"\": not a community, such as 64500:1 or no-export" },
      { "community", "1:1,", "community: \"\": not a community, such as 64500:1 or no-export" },
      { "community", "1:1,x\x1b,1:2", "community: \"x\\x1b\": not a community, such as 64500:1 or no-export" },
      { "large-community", "1:2:3,1:2", "large-community: \"1:2\": not a large community, such as 64500:1:2" },
      { "extcommunity", "rt:1", "extcommunity: \"rt:1\": not an extended community, such as rt:64500:1" },
      { "origin", "bgp", "origin: \"bgp\": expected one of igp, egp, incomplete" },
      { "as-path", "64500 {1,4294967296}", "as-path: AS \"4294967296\": not a number from 0 to 4294967295" },
      { "as-path", "99999999999999999999 1", "as-path: AS \"99999999999999999999\": not a number from 0 to 4294967295" },
      { "as-path", "64500 AS64501", "as-path: \"64500 AS64501\": not an AS path" },
      { "as-path", "64500\n"sv, "as-path: \"64500\\x0a\": not an AS path" },
      { "weight", "5", "\"weight\"" + noName },
      { "metrc", "5", "\"metrc\"" + noName + "; did you mean metric?" },
      { "", "", "\"\"" + noName },
   };
   TableRoute before;
   before.tag = 5;
   before.communities = { 1 };
   before.asPath = "64500";
   for( const auto & row : rows ) {
      TableRoute route = before;
      EXPECT_EQ( setField( route, row.key, row.value ), row.reason );
      EXPECT_EQ( route, before ) << row.reason;
   }
}

TEST( RouteFieldTest, namesAreThoseThatCanBeSet ) {
   std::string names = fieldNames();
   for( size_t at = 0; at < names.size(); ) {
      const size_t end = std::min( names.find( ", ", at ), names.size() );
      EXPECT_TRUE( isFieldName( names.substr( at, end - at ) ) );
      at = end + 2;
   }
   EXPECT_FALSE( isFieldName( "" ) );
   EXPECT_FALSE( isFieldName( "weight" ) );
}

TEST( RouteFieldTest, aMistypedNameIsToldByItsValue ) {
   struct Row {
      std::string_view word;
      std::string_view value;
      std::string_view meant;
   };
   const Row rows[] = {
      { "nexthop", "192.0.2.1", "next-hop" },
      { "nexthop", "eth0", "next-hop" },   // only the hyphen is missing
      { "Next_Hop", "", "" },
      { "metrc", "5", "metric" },
      { "metrics", "5", "metric" },
      { "METRIC", "high", "metric" },
      { "metro", "ethernet", "" },   // as near, but no metric is called ethernet
      { "matrices", "5", "" },       // three letters
      { "tags", "5", "tag" },
      { "at", "5", "" },   // of three letters one may be wrong
      { "Protocol", "OSPF", "protocol" },
      { "local_pref", "200", "local-preference" },
      { "localpreferense", "200", "local-preference" },
      { "comunity", "64500:1", "community" },
      { "communities", "64500:1,64500:2", "community" },
      { "osfp-instance", "7", "ospf-instance" },
      { "isisinstance", "7", "isis-instance" },
      { "aspath", "64500", "as-path" },
      { "via", "192.0.2.1", "next-hop" },
      { "via", "Rome", "" },
      { "gateway", "192.0.2.1", "next-hop" },
      { "gateway", "Rome", "" },
      { "gw", "2001:db8::1", "next-hop" },
      { "dev", "eth0", "interface" },
      { "lp", "200", "local-preference" },
      { "lp", "vinyl", "" },
      { "pref", "200", "local-preference" },
      { "comm", "64500:1", "community" },
      { "comm", "error", "" },
      { "med", "5", "metric" },
      { "metric", "5", "" },   // a name as it is
      { "customer", "5", "" },
      { "", "5", "" },
   };
   for( const auto & row : rows ) EXPECT_EQ( fieldMeantBy( row.word, row.value ), row.meant ) << row.word << ' ' << row.value;
   EXPECT_EQ( fieldMeantBy( std::string( 1'000'000, 'm' ), "5" ), "" );
}

}   // namespace
}   // namespace Agent
