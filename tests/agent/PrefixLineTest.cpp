#include "table/PrefixLine.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

using Kind = LineResult::Kind;

TEST( PrefixLineTest, prefixAndTag ) {
   struct Row {
      const char * name;
      std::string_view line;
      std::string_view prefix;
      uint32_t tag;
   };
   const Row rows[] = {
      { "prefix alone", "10.0.0.0/8", "10.0.0.0/8", 0 },
      { "host", "192.0.2.1", "192.0.2.1/32", 0 },
      { "blanks around", "  10.0.0.0/8\t ", "10.0.0.0/8", 0 },
      { "tag behind a tab", "10.0.0.0/8\t64500", "10.0.0.0/8", 64500 },
      { "tag behind blanks", "2001:db8::/32    64500", "2001:db8::/32", 64500 },
      { "greatest tag", "10.0.0.0/8 4294967295", "10.0.0.0/8", 4294967295 },
      { "further columns", "10.0.0.0/8\t64500\tcustomer\t12", "10.0.0.0/8", 64500 },
      { "second column is a word", "10.0.0.0/8 customer 12", "10.0.0.0/8", 0 },
      { "second column only begins as a number", "10.0.0.0/8 12ab", "10.0.0.0/8", 0 },
      { "comment behind the prefix", "10.0.0.0/8 # 64500", "10.0.0.0/8", 0 },
      { "a word near a name, with no value of that", "10.0.0.0/8 64500 Metro Ethernet", "10.0.0.0/8", 64500 },
      { "a word near a name, alone", "10.0.0.0/8 64500 metrics", "10.0.0.0/8", 64500 },
      { "a word near a name, before a comment", "10.0.0.0/8 64500 metrics # 5", "10.0.0.0/8", 64500 },
      { "a word near a name, further on", "10.0.0.0/8 customer metrc 5", "10.0.0.0/8", 0 },
      { "host with a tag above its bits", "192.0.2.1 33", "192.0.2.1/32", 33 },
      { "host of IPv6 likewise", "2001:db8::1 129", "2001:db8::1/128", 129 },
      { "host with a small tag by its name", "192.0.2.1 tag 8", "192.0.2.1/32", 8 },
      { "host with its length, and a small tag", "192.0.2.1/32 8", "192.0.2.1/32", 8 },
      { "prefix with a small tag", "10.0.0.0/8 8", "10.0.0.0/8", 8 },
      { "host and an address", "192.0.2.1 192.0.2.9", "192.0.2.1/32", 0 },
      { "host and a mask with a gap", "192.0.2.1 255.0.255.0", "192.0.2.1/32", 0 },
      { "host of IPv6 and a mask", "2001:db8::1 255.0.0.0", "2001:db8::1/128", 0 },
      { "comment behind the tag", "10.0.0.0/8 5 #x", "10.0.0.0/8", 5 },
   };
   for( const auto & row : rows ) {
      TableRoute route;
      route.tag = 1;
      route.nextHop = Ferule::IpAddr( "192.0.2.9" );   // of the line before: must not survive
      route.communities = { 1 };
      route.asPath = "64500";
      route.ospfInstance = route.isisInstance = 5;
      const auto result = parsePrefixLine( row.line, route );
      EXPECT_EQ( result.kind, Kind::route ) << row.name << ": " << result.reason;
      TableRoute expected;
      expected.prefix = Ferule::IpGenPrefix( row.prefix );
      expected.tag = row.tag;
      EXPECT_TRUE( route == expected ) << row.name;
   }
}

TEST( PrefixLineTest, namesAndValues ) {
   TableRoute all;
   all.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   all.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   all.tag = 7;
   all.metric = 20;
   all.localPreference = 200;
   all.protocol = SourceProtocol::ospf;
   all.interface = "eth0";
   all.ospfInstance = 3;
   all.isisInstance = 4;
   all.communities = { 0x10001, 0xffffff01 };
   all.asPath = "64500 {64501,64502}";
   struct Row {
      const char * name;
      std::string_view line;
   };
   const Row rows[] = {
      { "every one",
        "10.0.0.0/8 next-hop 192.0.2.9 tag 7 metric 20 local-preference 200 protocol ospf interface eth0 "
        "ospf-instance 3 isis-instance 4 community no-export,1:1 as-path 64500 {64501,64502}" },
      { "in any order, with tabs",
        "10.0.0.0/8\tmetric\t20\tcommunity\t1:1,no-export,1:1\tinterface eth0 protocol ospf local-preference 200 "
        "isis-instance 4\tospf-instance\t3 "
        "next-hop 192.0.2.9\ttag 7\tas-path\t64500\t{64501,64502}\t" },
      { "behind a tag",
        "10.0.0.0/8 7 next-hop 192.0.2.9 metric 20 local-preference 200 protocol ospf interface eth0 "
        "ospf-instance 3 isis-instance 4 community no-export,1:1 as-path 64500   {64501,64502}   # tag 8" },
      { "the later one counts",
        "10.0.0.0/8 9 next-hop :: tag 8 tag 7 next-hop 192.0.2.9 metric 20 local-preference 200 protocol ospf "
        "ospf-instance 9 isis-instance 4 ospf-instance 3 interface eth0 community no-export,1:1 as-path 64500 {64501,64502}" },
   };
   for( const auto & row : rows ) {
      TableRoute route;
      const auto result = parsePrefixLine( row.line, route );
      EXPECT_EQ( result.kind, Kind::route ) << row.name << ": " << result.reason;
      EXPECT_EQ( route, all ) << row.name;
   }
}

TEST( PrefixLineTest, namesBehindWhatIsNoneAreARemark ) {
   for( const std::string_view line : { "10.0.0.0/8 5 customer metric is 7", "10.0.0.0/8 5 6 tag 7", "10.0.0.0/8 5 # tag 7" } ) {
      TableRoute route;
      EXPECT_EQ( parsePrefixLine( line, route ).kind, Kind::route ) << line;
      EXPECT_EQ( route.tag, 5u ) << line;
      EXPECT_FALSE( route.metric.present() ) << line;
   }
}

TEST( PrefixLineTest, blanksAndCommentsAreNothing ) {
   for( const std::string_view line : { "", " ", "\t\t", "#", "# 10.0.0.0/8", "  # indented", "#10.0.0.0/8" } ) {
      TableRoute route;
      EXPECT_EQ( parsePrefixLine( line, route ).kind, Kind::nothing ) << "\"" << line << "\"";
   }
}

TEST( PrefixLineTest, brokenLinesTellTheReason ) {
   struct Row {
      std::string_view line;
      std::string reason;
   };
   const std::string noName = ": expected one of next-hop, tag, metric, protocol, interface, local-preference, community, large-community, "
                              "extcommunity, ospf-instance, isis-instance, origin, peer, rpki, as-path";
   const Row rows[] = {
      { "foo", "address \"foo\": not an address" },
      { "10.0.0.0/8#x", "prefix length \"8#x\": not a decimal number" },
      { "10.0.0.0/8,64500", "prefix length \"8,64500\": not a decimal number" },
      { "10.0.0.1/8 5", "10.0.0.1/8: bits are set after the prefix length; did you mean 10.0.0.0/8?" },
      { "10.0.0.0/8 4294967296", "tag 4294967296: above 4294967295" },
      { "10.0.0.0/8 99999999999999999999999999999", "tag 999999999999999999999999...: above 4294967295" },
      { "10.0.0.0/8 tag", "tag: \"\": not a number from 0 to 4294967295" },
      { "10.0.0.0/8 tag # 5", "tag: \"\": not a number from 0 to 4294967295" },
      { "10.0.0.0/8 7 tag 5 weight 3", "\"weight\"" + noName },
      { "10.0.0.0/8 tag 5 7", "\"7\"" + noName },
      { "10.0.0.0/8 tag 5 metrc 7", "\"metrc\"" + noName + "; did you mean metric?" },
      { "10.0.0.0/8 nexthop 192.0.2.1", "\"nexthop\": did you mean next-hop? Remarks can be written after a #" },
      { "10.0.0.0/8 5 metrc 5", "\"metrc\": did you mean metric? Remarks can be written after a #" },
      { "10.0.0.0/8 Community 64500:1 # x", "\"Community\": did you mean community? Remarks can be written after a #" },
      { "10.0.0.0/8 dev eth0", "\"dev\": did you mean interface? Remarks can be written after a #" },
      { "10.0.0.0/8 5 gw 192.0.2.1", "\"gw\": did you mean next-hop? Remarks can be written after a #" },
      { "10.0.0.0/8 next-hop 192.0.2.1 dev eth0", "\"dev\"" + noName + "; did you mean interface?" },
      { "10.0.0.0 8", "10.0.0.0 8: write 10.0.0.0/8 for a prefix, or 10.0.0.0 tag 8 for a host with a tag" },
      { "192.0.2.9\t24\tcustomer", "192.0.2.9 24: write 192.0.2.0/24 for a prefix, or 192.0.2.9 tag 24 for a host with a tag" },
      { "0.0.0.0 0", "0.0.0.0 0: write 0.0.0.0/0 for a prefix, or 0.0.0.0 tag 0 for a host with a tag" },
      { "2001:db8:: 32", "2001:db8:: 32: write 2001:db8::/32 for a prefix, or 2001:db8:: tag 32 for a host with a tag" },
      { "2001:db8::1 128 x", "2001:db8::1 128: write 2001:db8::1/128 for a prefix, or 2001:db8::1 tag 128 for a host with a tag" },
      { "10.0.0.0 255.0.0.0", "10.0.0.0 255.0.0.0: write 10.0.0.0/8 for a prefix" },
      { "0.0.0.0 0.0.0.0", "0.0.0.0 0.0.0.0: write 0.0.0.0/0 for a prefix" },
      { "10.0.0.1 255.255.255.255", "10.0.0.1 255.255.255.255: write 10.0.0.1/32 for a prefix" },
      { "10.0.0.0/8 next-hop tag 5", "next-hop: address \"tag\": not an address" },
      { "10.0.0.0/8 as-path 64500 4294967296", "as-path: AS \"4294967296\": not a number from 0 to 4294967295" },
      { "10.0.0.0/8 as-path 64500 tag 5", "as-path: \" 64500 tag 5\": not an AS path" },
   };
   for( const auto & row : rows ) {
      TableRoute route;
      const auto result = parsePrefixLine( row.line, route );
      EXPECT_EQ( result.kind, Kind::broken ) << row.line;
      EXPECT_EQ( result.reason, row.reason );
   }
}

}   // namespace
}   // namespace Agent
