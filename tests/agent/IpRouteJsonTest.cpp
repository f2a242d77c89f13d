#include "table/IpRouteJson.h"

#include "tests/agent/TableFixture.h"

namespace Agent {
namespace {

struct Document final : FormHandler {
   std::vector<TableRoute> routes;
   uint64_t skipped = 0;
   Strings broken;   // "3: reason"
   std::string fault;
   std::string rest;   // what the reader left

   void handleRoute( const TableRoute & route ) override { routes.push_back( route ); }
   void handleSkipped() override { ++skipped; }
   void handleUnknown() override {}
   void handleRemark( std::string_view ) override {}
   void handleBroken( uint64_t entry, std::string_view reason ) override {
      broken.push_back( std::to_string( entry ) + ": " + std::string( reason ) );
   }

   /// "prefix next hop metric", with "-" for what is missing.
   Strings texts() const {
      Strings texts;
      for( const auto & route : routes ) {
         std::string text( route.prefix.toStrep().view() );
         text += route.nextHop.af() == Ferule::AddressFamily::unset ? " -" : " " + std::string( route.nextHop.toStrep() );
         text += route.metric.present() ? " " + std::string( route.metric.toStrep() ) : " -";
         texts.push_back( text );
      }
      return texts;
   }
};

Document documentOf( std::string_view json, size_t maxEntry = 1000 ) {
   MemorySource source( json );
   Input input( source );
   TextReader text( input, 1000 );
   Document document;
   document.fault = readIpRouteJson( text, maxEntry, document );
   for( int c = text.get(); c != TextReader::kEnd; c = text.get() ) document.rest += static_cast<char>( c );
   return document;
}

TEST( IpRouteJsonTest, ipv4Table ) {
   const auto document = documentOf( R"( [
      { "dst": "default", "gateway": "192.0.2.1", "dev": "eth0", "protocol": "static", "metric": 100, "flags": [] },
      { "dst": "198.51.100.0/24", "dev": "eth0", "protocol": "kernel", "scope": "link", "prefsrc": "198.51.100.7", "flags": [ "linkdown" ] },
      { "dst": "203.0.113.5", "via": { "family": "inet6", "host": "fe80::1" }, "dev": "eth0", "flags": [] },
      { "dst": "203.0.113.0/24", "gateway": "192.0.2.2", "dev": "eth0", "protocol": "bgp", "metric": 4294967295, "flags": [] } ] )" );
   EXPECT_EQ( document.fault, "" );
   EXPECT_EQ( document.broken, Strings() );
   EXPECT_EQ(
      document.texts(),
      ( Strings{ "0.0.0.0/0 192.0.2.1 100", "198.51.100.0/24 - -", "203.0.113.5/32 fe80::1 -", "203.0.113.0/24 192.0.2.2 4294967295" } ) );
   ASSERT_EQ( document.routes.size(), 4u );
   EXPECT_EQ( document.routes[ 0 ].protocol, SourceProtocol::fixed );
   EXPECT_EQ( document.routes[ 1 ].protocol, SourceProtocol::connected );
   EXPECT_EQ( document.routes[ 2 ].protocol, SourceProtocol::fixed ) << "of boot, which the tool does not tell";
   EXPECT_EQ( document.routes[ 3 ].protocol, SourceProtocol::bgp );
}

TEST( IpRouteJsonTest, ipv6Table ) {
   const auto document = documentOf(
      R"([{"dst":"2001:db8:1::/64","dev":"eth0","protocol":"kernel","metric":256,"flags":[],"pref":"medium"},)"
      R"({"dst":"default","gateway":"fe80::1","dev":"eth0","protocol":"ra","metric":1024,"expires":1799,"flags":[],"pref":"high"},)"
      R"({"dst":"2001:db8::7","dev":"eth0","metric":0,"flags":[],"pref":"medium"}])" );
   EXPECT_EQ( document.fault, "" );
   EXPECT_EQ( document.texts(), ( Strings{ "2001:db8:1::/64 - 256", "::/0 fe80::1 1024", "2001:db8::7/128 - 0" } ) );
}

TEST( IpRouteJsonTest, familyOfADefaultRoute ) {
   struct Row {
      const char * name;
      std::string_view entries;
      Strings expected;
   };
   const Row rows[] = {
      { "gateway",
        R"({"dst":"default","gateway":"192.0.2.1"},{"dst":"default","gateway":"2001:db8::1"})",
        { "0.0.0.0/0 192.0.2.1 -", "::/0 2001:db8::1 -" } },
      { "via is of the other family", R"({"dst":"default","via":{"family":"inet6","host":"fe80::1"}})", { "0.0.0.0/0 fe80::1 -" } },
      { "the other way round", R"({"dst":"default","via":{"family":"inet","host":"192.0.2.1"}})", { "::/0 192.0.2.1 -" } },
      { "first next hop", R"({"dst":"default","nexthops":[{"gateway":"fe80::1"},{"gateway":"fe80::2"}]})", { "::/0 fe80::1 -" } },
      { "via of the first next hop",
        R"({"dst":"default","nexthops":[{"via":{"family":"inet6","host":"fe80::1"}}]})",
        { "0.0.0.0/0 fe80::1 -" } },
      { "preferred source",
        R"({"dst":"default","dev":"ppp0","prefsrc":"2001:db8::1"},{"dst":"default","prefsrc":"192.0.2.1"})",
        { "::/0 - -", "0.0.0.0/0 - -" } },
      { "pref is told of IPv6 alone", R"({"dst":"default","dev":"tun0","metric":1024,"pref":"medium"})", { "::/0 - 1024" } },
      { "unreachable",
        R"({"type":"unreachable","dst":"default","dev":"lo","metric":4294967295,"pref":"medium"})",
        { "::/0 - 4294967295" } },
      { "nothing to go by", R"({"dst":"default","dev":"ppp0"})", { "0.0.0.0/0 - -" } },
      { "others are IPv6, and come later",
        R"({"dst":"default","dev":"tun0","metric":5},{"dst":"2001:db8::/32"})",
        { "2001:db8::/32 - -", "::/0 - 5" } },
      { "others are IPv4", R"({"dst":"10.0.0.0/8"},{"dst":"default","dev":"tun0"})", { "10.0.0.0/8 - -", "0.0.0.0/0 - -" } },
      { "others differ",
        R"({"dst":"2001:db8::/32"},{"dst":"default","dev":"tun0"},{"dst":"10.0.0.0/8"})",
        { "2001:db8::/32 - -", "10.0.0.0/8 - -", "0.0.0.0/0 - -" } },
   };
   for( const auto & row : rows ) {
      const auto document = documentOf( "[" + std::string( row.entries ) + "]" );
      EXPECT_EQ( document.fault, "" ) << row.name;
      EXPECT_EQ( document.broken, Strings() ) << row.name;
      EXPECT_EQ( document.texts(), row.expected ) << row.name;
   }
}

TEST( IpRouteJsonTest, waitingDefaultsAreNotLostWhenTheDocumentBreaks ) {
   const auto document = documentOf( R"([{"dst":"default","dev":"tun0"},{"dst":"2001:db8::/32"},)" );
   EXPECT_NE( document.fault, "" );
   EXPECT_EQ( document.texts(), ( Strings{ "2001:db8::/32 - -", "::/0 - -" } ) );
}

TEST( IpRouteJsonTest, aMillionDefaultsDoNotWaitForEver ) {
   std::string json = "[";
   for( int i = 0; i < 10'000; ++i ) json += R"({"dst":"default"},)";
   json.back() = ']';
   const auto document = documentOf( json );
   EXPECT_EQ( document.fault, "" );
   EXPECT_EQ( document.routes.size(), 10'000u );
}

TEST( IpRouteJsonTest, multipathIsOneRouteWithTheFirstNextHop ) {
   const auto document = documentOf( R"([{"dst":"198.51.100.0/24","protocol":"ospf","metric":20,"flags":[],"nexthops":[)"
                                     R"({"gateway":"192.0.2.1","dev":"eth0","weight":1,"flags":[]},)"
                                     R"({"gateway":"192.0.2.2","dev":"eth1","weight":1,"flags":["dead"]}]},)"
                                     R"({"dst":"203.0.113.0/24","nexthops":[{"dev":"eth0","weight":1},{"gateway":"192.0.2.2"}]},)"
                                     R"({"dst":"10.0.0.0/8","gateway":"192.0.2.7","nexthops":[{"gateway":"192.0.2.8"}]},)"
                                     R"({"dst":"10.1.0.0/16","nexthops":[]}])" );
   EXPECT_EQ( document.broken, Strings() );
   EXPECT_EQ( document.texts(),
              ( Strings{ "198.51.100.0/24 192.0.2.1 20", "203.0.113.0/24 - -", "10.0.0.0/8 192.0.2.7 -", "10.1.0.0/16 - -" } ) );
   EXPECT_EQ( document.routes[ 0 ].protocol, SourceProtocol::ospf );
}

TEST( IpRouteJsonTest, interfaceIsThatOfTheFirstNextHop ) {
   struct Row {
      const char * name;
      std::string_view entry;
      std::string_view interface;
   };
   const Row rows[] = {
      { "none", R"({"dst":"10.0.0.0/8","gateway":"192.0.2.1"})", "" },
      { "of the route", R"({"dst":"10.0.0.0/8","dev":"eth0"})", "eth0" },
      { "of the first next hop", R"({"dst":"10.0.0.0/8","nexthops":[{"dev":"eth0"},{"dev":"eth1"}]})", "eth0" },
      { "not of the second", R"({"dst":"10.0.0.0/8","nexthops":[{"gateway":"192.0.2.1"},{"dev":"eth1"}]})", "" },
      { "the route's goes first", R"({"dst":"10.0.0.0/8","nexthops":[{"dev":"eth1"}],"dev":"eth0"})", "eth0" },
      { "of a default that waits", R"({"dst":"default","dev":"tun0"})", "tun0" },
   };
   for( const auto & row : rows ) {
      const auto document = documentOf( R"([{"dst":"10.0.0.0/8","dev":"before"},)" + std::string( row.entry ) + "]" );
      ASSERT_EQ( document.routes.size(), 2u ) << row.name;
      EXPECT_EQ( document.routes[ 1 ].interface, row.interface ) << row.name;
   }
}

TEST( IpRouteJsonTest, protocols ) {
   struct Row {
      const char * name;
      std::string_view entry;
      SourceProtocol protocol;
   };
   const Row rows[] = {
      { "on a link", R"({"dst":"10.0.0.0/8","protocol":"kernel","scope":"link"})", SourceProtocol::connected },
      { "the kernel's, elsewhere", R"({"dst":"10.0.0.0/8","protocol":"kernel"})", SourceProtocol::kernel },
      { "IPv6 on a link", R"({"dst":"2001:db8::/64","dev":"eth0","protocol":"kernel","pref":"medium"})", SourceProtocol::connected },
      { "IPv6 with a gateway", R"({"dst":"2001:db8::/64","gateway":"fe80::1","protocol":"kernel"})", SourceProtocol::kernel },
      { "IPv6 that discards", R"({"type":"unreachable","dst":"2001:db8::/64","dev":"lo","protocol":"kernel"})", SourceProtocol::kernel },
      { "a scope says nothing of others", R"({"dst":"10.0.0.0/8","protocol":"static","scope":"link"})", SourceProtocol::fixed },
      { "none is boot", R"({"dst":"10.0.0.0/8"})", SourceProtocol::fixed },
      { "number", R"({"dst":"10.0.0.0/8","protocol":"186"})", SourceProtocol::bgp },
      { "unknown", R"({"dst":"10.0.0.0/8","protocol":"whatever"})", SourceProtocol::none },
      { "empty", R"({"dst":"10.0.0.0/8","protocol":""})", SourceProtocol::none },
   };
   for( const auto & row : rows ) {
      const auto document = documentOf( R"([{"dst":"10.0.0.0/8","protocol":"rip","scope":"link"},)" + std::string( row.entry ) + "]" );
      ASSERT_EQ( document.routes.size(), 2u ) << row.name;
      EXPECT_EQ( document.routes[ 1 ].protocol, row.protocol ) << row.name;
   }
}

TEST( IpRouteJsonTest, discardingRoutesHaveNoNextHop ) {
   const auto document =
      documentOf( R"([{"type":"blackhole","dst":"10.0.0.0/8","gateway":"192.0.2.1"},)"
                  R"({"type":"unreachable","dst":"2001:db8::/32","dev":"lo","metric":1024,"error":-101,"pref":"medium"},)"
                  R"({"type":"prohibit","dst":"10.1.0.0/16"},{"type":"unicast","dst":"10.2.0.0/16","gateway":"192.0.2.1"}])" );
   EXPECT_EQ( document.broken, Strings() );
   EXPECT_EQ( document.texts(), ( Strings{ "10.0.0.0/8 - -", "2001:db8::/32 - 1024", "10.1.0.0/16 - -", "10.2.0.0/16 192.0.2.1 -" } ) );
}

TEST( IpRouteJsonTest, theHostsOwnAddressesAreSkipped ) {
   const auto document =
      documentOf( R"([{"type":"local","dst":"192.0.2.7"},{"type":"broadcast","dst":"192.0.2.255"},{"type":"anycast","dst":"2001:db8::"},)"
                  R"({"type":"multicast","dst":"ff00::/8"},{"type":"throw","dst":"10.0.0.0/8"},{},{"dst":"10.0.0.0/8"}])" );
   EXPECT_EQ( document.skipped, 6u );
   EXPECT_EQ( document.broken, Strings() );
   EXPECT_EQ( document.texts(), Strings{ "10.0.0.0/8 - -" } );
}

TEST( IpRouteJsonTest, emptyTables ) {
   for( const std::string_view json : { "[]", "[ ]", "[\n]" } ) {
      const auto document = documentOf( json );
      EXPECT_EQ( document.fault, "" );
      EXPECT_TRUE( document.routes.empty() );
   }
}

TEST( IpRouteJsonTest, brokenEntriesAreReportedByIndexAndTheOthersAreRead ) {
   struct Row {
      const char * name;
      std::string_view entry;
      std::string_view reason;
   };
   const Row rows[] = {
      { "no dst", R"({"gateway":"192.0.2.1"})", "no \"dst\"" },
      { "dst of another kind", R"({"dst":10})", "\"dst\" is not a string" },
      { "dst null", R"({"dst":null})", "\"dst\" is not a string" },
      { "dst array", R"({"dst":["10.0.0.0/8"]})", "\"dst\" is not a string" },
      { "dst object", R"({"dst":{"dst":"10.0.0.0/8"}})", "\"dst\" is not a string" },
      { "dst no prefix", R"({"dst":"10.0.0/8"})", "\"dst\": address \"10.0.0\": not an address" },
      { "dst with host bits", R"({"dst":"10.0.0.1/8"})",
        "\"dst\": 10.0.0.1/8: bits are set after the prefix length; did you mean 10.0.0.0/8?" },
      { "dst with an escape", R"({"dst":"\u001b[2J"})", "\"dst\": \"\\x1b[2J\": not an address" },
      { "gateway", R"({"dst":"10.0.0.0/8","gateway":"eth0"})", "\"gateway\": address \"eth0\": not an address" },
      { "gateway of another kind", R"({"dst":"10.0.0.0/8","gateway":false})", "\"gateway\" is not a string" },
      { "gateway of a default", R"({"dst":"default","gateway":""})", "\"gateway\": address \"\": not an address" },
      { "via host", R"({"dst":"10.0.0.0/8","via":{"family":"inet6","host":"x"}})", "\"via\": address \"x\": not an address" },
      { "via host of another kind", R"({"dst":"10.0.0.0/8","via":{"host":7}})", "\"host\" of \"via\" is not a string" },
      { "via of another kind", R"({"dst":"10.0.0.0/8","via":"192.0.2.1"})", "\"via\" is not an object" },
      { "interface of another kind", R"({"dst":"10.0.0.0/8","dev":{"dst":"x"}})", "\"dev\" is not a string" },
      { "metric negative", R"({"dst":"10.0.0.0/8","metric":-1})", "\"metric\" is not a number of 32 bits" },
      { "metric fraction", R"({"dst":"10.0.0.0/8","metric":1.5})", "\"metric\" is not a number of 32 bits" },
      { "metric text", R"({"dst":"10.0.0.0/8","metric":"1"})", "\"metric\" is not a number of 32 bits" },
      { "metric too great", R"({"dst":"10.0.0.0/8","metric":4294967296})", "\"metric\" is not a number of 32 bits" },
      { "next hops of another kind", R"({"dst":"10.0.0.0/8","nexthops":{"gateway":"192.0.2.1"}})", "\"nexthops\" is not an array" },
      { "next hop of another kind", R"({"dst":"10.0.0.0/8","nexthops":["192.0.2.1"]})",
        "\"nexthops\" holds a value that is not an object" },
      { "next hop array", R"({"dst":"10.0.0.0/8","nexthops":[[{"gateway":"x"}]]})", "\"nexthops\" holds a value that is not an object" },
      { "next hop gateway", R"({"dst":"10.0.0.0/8","nexthops":[{"gateway":"x"}]})", "\"gateway\": address \"x\": not an address" },
      { "next hop gateway kind", R"({"dst":"10.0.0.0/8","nexthops":[{"gateway":1}]})", "\"gateway\" of a next hop is not a string" },
      { "next hop interface kind", R"({"dst":"10.0.0.0/8","nexthops":[{"dev":1}]})", "\"dev\" of a next hop is not a string" },
      { "next hop via kind", R"({"dst":"10.0.0.0/8","nexthops":[{"via":1}]})", "\"via\" of a next hop is not an object" },
      { "next hop via host kind", R"({"dst":"10.0.0.0/8","nexthops":[{"via":{"host":[]}}]})", "\"host\" of \"via\" is not a string" },
      { "number", "5", "not an object" },
      { "text", "\"10.0.0.0/8\"", "not an object" },
      { "array", R"([{"dst":"10.0.0.0/8"}])", "not an object" },
      { "array in an array", R"([[{"dst":"10.0.0.0/8","nexthops":[{"gateway":"192.0.2.1"}]}],{}])", "not an object" },
   };
   for( const auto & row : rows ) {
      const auto document = documentOf( R"([{"dst":"192.0.2.0/24"},)" + std::string( row.entry ) + R"(,{"dst":"2001:db8::/32"}])" );
      EXPECT_EQ( document.fault, "" ) << row.name;
      EXPECT_EQ( document.broken, Strings{ "1: " + std::string( row.reason ) } ) << row.name;
      EXPECT_EQ( document.texts(), ( Strings{ "192.0.2.0/24 - -", "2001:db8::/32 - -" } ) ) << row.name;
   }
}

TEST( IpRouteJsonTest, membersOfNoInterestMayBeAnything ) {
   const auto document =
      documentOf( R"([{"cache":{"dst":"x","metric":[{"via":1}]},"dst":"10.0.0.0/8","flags":[[["x"]],{"gateway":1}],"mtu":1.5,)"
                  R"("via":{"family":7,"extra":{"host":3},"host":"fe80::1"},"nexthops":[{"weight":[1],"x":{"gateway":2}}]}])" );
   EXPECT_EQ( document.fault, "" );
   EXPECT_EQ( document.broken, Strings() );
   EXPECT_EQ( document.texts(), Strings{ "10.0.0.0/8 fe80::1 -" } );
}

TEST( IpRouteJsonTest, malformedTextEndsTheDocumentWithItsPlace ) {
   struct Row {
      const char * name;
      std::string_view json;
      std::string_view place;
   };
   const Row rows[] = {
      { "cut behind an entry", "[{\"dst\":\"10.0.0.0/8\"},\n ", "line 2, column 1: " },
      { "cut in an entry", "[{\"dst\":\"10.0.0.0/8\"},\n {\"dst\":", "line 2, column 8: " },
      { "no comma", "[{\"dst\":\"10.0.0.0/8\"}\n {", "line 2, column 2: " },
      { "bare word", "[{\"dst\":\"10.0.0.0/8\"},\n\n  oops]", "line 3, column 3: " },
      { "line feed in a text", "[{\"dst\":\"10.0.0.0/8\"},{\"dst\":\"10.\n", "line 1, column 34: " },
      { "bad UTF-8", "[{\"dst\":\"10.0.0.0/8\"},{\"dst\":\"\xff\"", "line 1, column 31: " },
      { "number out of all bounds", "[{\"dst\":\"10.0.0.0/8\"},{\"metric\":1e999}]", "line 1, column 38: " },
   };
   for( const auto & row : rows ) {
      const auto document = documentOf( row.json );
      EXPECT_TRUE( document.fault.starts_with( row.place ) ) << row.name << ": " << document.fault;
      EXPECT_GT( document.fault.size(), row.place.size() + 10 ) << row.name;
      EXPECT_EQ( document.fault.find( "json.exception" ), std::string::npos ) << document.fault;
      EXPECT_EQ( document.texts(), Strings{ "10.0.0.0/8 - -" } ) << row.name;
   }
}

TEST( IpRouteJsonTest, otherDocumentsAreRefused ) {
   for( const std::string_view json : { "{\"dst\":\"10.0.0.0/8\"}", "5", "\"x\"", "null", "true", "-1", "1.5" } ) {
      const auto document = documentOf( json );
      EXPECT_TRUE( document.fault.ends_with( ": an array of routes is expected" ) ) << json << ": " << document.fault;
      EXPECT_TRUE( document.routes.empty() );
   }
}

TEST( IpRouteJsonTest, entryThatIsTooLongEndsTheDocument ) {
   const std::string small = R"({"dst":"10.0.0.0/8"})";
   for( const std::string & big : {
           R"({"dev":")" + std::string( 1000, 'x' ) + R"("})",
           R"({"dev":)" + std::string( 1000, '[' ),
           R"({"mtu":)" + std::string( 1100, '1' ) + "}",
           "{" + std::string( 1100, ' ' ) + "}",
           std::string( 1100, ' ' ),
        } ) {
      std::string json = "[" + small;
      for( const auto * entry : { &big, &small } ) ( json += "," ) += *entry;
      const auto document = documentOf( json += "]", 1000 );
      EXPECT_TRUE( document.fault.ends_with( ": entry 1 is longer than 1000 bytes" ) ) << big << ": " << document.fault;
      EXPECT_EQ( document.routes.size(), 1u ) << big;
   }
   std::string many = "[";
   for( int i = 0; i < 1000; ++i ) ( many += small ) += ",";
   many.back() = ']';
   EXPECT_EQ( documentOf( many, 100 ).routes.size(), 1000u ) << "a long document of short entries is not long";
}

TEST( IpRouteJsonTest, depthCostsNoStack ) {
   const auto deep = documentOf( R"([{"x":)" + std::string( 1'000'000, '[' ), 2'000'000 );
   EXPECT_NE( deep.fault, "" );
   const auto closed =
      documentOf( R"([{"dst":"10.0.0.0/8","x":)" + std::string( 300'000, '[' ) + std::string( 300'000, ']' ) + "}]", 2'000'000 );
   EXPECT_EQ( closed.fault, "" );
   EXPECT_EQ( closed.texts(), Strings{ "10.0.0.0/8 - -" } );
}

TEST( IpRouteJsonTest, nothingBehindTheDocumentIsTaken ) {
   EXPECT_EQ( documentOf( "[{\"dst\":\"10.0.0.0/8\"}]\n[]" ).rest, "\n[]" );
   EXPECT_EQ( documentOf( "[]x" ).rest, "x" );
}

TEST( IpRouteJsonTest, aMemberThatComesTwiceCountsOnceAndLast ) {
   EXPECT_EQ( documentOf( R"([{"dst":"10.0.0.0/8","dst":"192.0.2.0/24","metric":1,"metric":2}])" ).texts(), Strings{ "192.0.2.0/24 - 2" } );
}

}   // namespace
}   // namespace Agent
