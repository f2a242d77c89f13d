#include "table/BgpJson.h"

#include "tests/agent/TableFixture.h"

namespace Agent {
namespace {

// As bgpd 8.4.4 prints it, without host names and times.
constexpr std::string_view kShort = R"({
 "vrfId": 0,
 "vrfName": "default",
 "tableVersion": 2,
 "routerId": "192.0.2.254",
 "defaultLocPrf": 100,
 "localAS": 65000,
 "routes": { "10.7.0.0/16": [{"valid":true,"bestpath":true,"pathFrom":"external","prefix":"10.7.0.0","prefixLen":16,)"
                                    R"("network":"10.7.0.0/16","version":1,"metric":70,"locPrf":200,"weight":0,"peerId":"127.0.0.3",)"
                                    R"("path":"65003 65004","origin":"IGP","nexthops":[{"ip":"192.0.2.10","afi":"ipv4","used":true}]},)"
                                    R"({"valid":true,"pathFrom":"external","prefix":"10.7.0.0","prefixLen":16,"network":"10.7.0.0/16",)"
                                    R"("version":1,"weight":0,"peerId":"127.0.0.2","path":"65001 {65003,65004}","origin":"IGP",)"
                                    R"("nexthops":[{"ip":"192.0.2.9","afi":"ipv4","used":true}]}]
,"10.8.0.0/16": [{"valid":true,"network":"10.8.0.0/16","metric":0,"weight":32768,"path":"","origin":"IGP","nexthops":[{"ip":"0.0.0.0"}]}]
 }  } 
)";
constexpr std::string_view kDetail = R"({
 "vrfName": "default",
 "routes": { "10.1.0.0/16": [{"prefix":"10.1.0.0/16","version":1,"advertisedTo":{"127.0.0.2":{}}},{"aspath":{"string":"65001 65002",)"
                                     R"("segments":[{"type":"as-sequence","list":[65001,65002]}],"length":2},"origin":"IGP","metric":50,)"
                                     R"("locPrf":200,"weight":32768,"tag":77,"valid":true,"bestpath":{"overall":true},)"
                                     R"("community":{"string":"65000:1 accept-own no-export","list":["65000:1","acceptown","noExport"]},)"
                                     R"("extendedCommunity":{"string":"RT:65000:7"},"largeCommunity":{"string":"65000:1:2"},)"
                                     R"("nexthops":[{"ip":"192.0.2.9","afi":"ipv4","metric":0,"used":true}],"peer":{"peerId":"0.0.0.0"}},)"
                                     R"({"aspath":{"string":"Local","segments":[],"length":0},"origin":"IGP","removed":true,)"
                                     R"("nexthops":[{"ip":"192.0.2.9"}]}]
,"10.2.0.0/16": [{"prefix":"10.2.0.0/16","version":2},{"aspath":{"string":"Local","segments":[],"length":0},"origin":"IGP","metric":0,)"
                                     R"("nexthops":[{"ip":"0.0.0.0","metric":9}]}]
 }  } 
)";

constexpr char kRemark[] = "these routes have no communities and no tags; `show bgp ... json detail` prints them";

TEST( BgpJsonTest, everyPathIsARouteInTheOrderOfTheText ) {
   const auto table = readBack( kShort );
   EXPECT_EQ( table.summary.form, TableForm::json );
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.summary.remark, kRemark );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.7.0.0/16", "10.7.0.0/16", "10.8.0.0/16" } ) );
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.7.0.0/16" );
   expected.protocol = SourceProtocol::bgp;
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.10" );
   expected.metric = 70;
   expected.localPreference = 200;
   expected.asPath = "65003 65004";
   expected.origin = Origin::igp;
   expected.peer = Ferule::IpGenAddr( "127.0.0.3" );
   EXPECT_EQ( table.routes[ 0 ], expected );
   EXPECT_EQ( table.routes[ 1 ].asPath, "65001 {65003,65004}" );
   EXPECT_FALSE( table.routes[ 1 ].metric.present() ) << "which the neighbor did not send";
   EXPECT_EQ( table.routes[ 1 ].localPreference, std::nullopt );
   EXPECT_EQ( table.routes[ 1 ].peer, Ferule::IpGenAddr( "127.0.0.2" ) );
   EXPECT_EQ( table.routes[ 2 ].metric, Zeugma::MaybeU63( 0 ) );
   EXPECT_EQ( table.routes[ 2 ].asPath, "" );
   EXPECT_EQ( table.routes[ 2 ].peer, Ferule::IpGenAddr() );
}

TEST( BgpJsonTest, detailHasCommunitiesAndTags ) {
   const auto table = readBack( kDetail );
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.summary.remark, "" );
   EXPECT_EQ( table.summary.skipped, 1u ) << "the path that is removed";
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.1.0.0/16", "10.2.0.0/16" } ) );
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.1.0.0/16" );
   expected.protocol = SourceProtocol::bgp;
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   expected.metric = 50;
   expected.tag = 77;
   expected.localPreference = 200;
   expected.asPath = "65001 65002";
   expected.communities = { 65000u << 16 | 1, 0xffff0001, 0xffffff01 };
   expected.largeCommunities = { { 65000, 1, 2 } };
   expected.extCommunities = { *extCommunityOf( "rt", "65000:7" ) };
   expected.origin = Origin::igp;
   expected.peer = Ferule::IpGenAddr( "0.0.0.0" );
   EXPECT_EQ( table.routes[ 0 ], expected );
   EXPECT_EQ( table.routes[ 1 ].metric, Zeugma::MaybeU63( 0 ) ) << "not that of a next hop";
   EXPECT_EQ( table.routes[ 1 ].asPath, "" ) << "Local is the word for an empty path";
   EXPECT_EQ( table.routes[ 1 ].tag, 0u );
}

TEST( BgpJsonTest, thePeerIsToldAsAnAddress ) {
   const auto frr = []( std::string_view peer ) {
      const auto table = readBack( "{\"routes\":{\"10.0.0.0/8\":[{\"valid\":true,\"path\":\"1\"" + std::string( peer ) + "}]}}" );
      EXPECT_EQ( table.broken, Strings() ) << peer;
      return table.routes.at( 0 ).peer;
   };
   EXPECT_EQ( frr( R"(,"peerId":"2001:db8::9")" ), Ferule::IpGenAddr( "2001:db8::9" ) );
   EXPECT_EQ( frr( R"j(,"peerId":"(unspec)")j" ), Ferule::IpGenAddr( "0.0.0.0" ) ) << "this router";
   EXPECT_EQ( frr( R"(,"peer":{"peerId":"192.0.2.9","routerId":"192.0.2.1"})" ), Ferule::IpGenAddr( "192.0.2.9" ) );
   for( const char * none : { "", R"(,"peerId":"")", R"(,"peerId":"eth0")", R"(,"peerId":7)", R"(,"peer":{"routerId":"192.0.2.1"})" } )
      EXPECT_EQ( frr( none ), Ferule::IpGenAddr() ) << none;

   const auto gobgp = []( std::string_view peer ) {
      const auto table = readBack( "{\"10.0.0.0/8\":[{\"nlri\":{\"prefix\":\"10.0.0.0/8\"},\"attrs\":[]" + std::string( peer ) + "}]}" );
      EXPECT_EQ( table.broken, Strings() ) << peer;
      return table.routes.at( 0 ).peer;
   };
   EXPECT_EQ( gobgp( R"(,"neighbor-ip":"192.0.2.9")" ), Ferule::IpGenAddr( "192.0.2.9" ) );
   for( const char * none : { "", R"(,"neighbor-ip":"")", R"(,"neighbor-ip":"<nil>")", R"(,"neighbor-ip":null)" } )
      EXPECT_EQ( gobgp( none ), Ferule::IpGenAddr() ) << none;
   const auto two = readBack( R"({"10.0.0.0/8":[{"nlri":{"prefix":"10.0.0.0/8"},"attrs":[],"neighbor-ip":"192.0.2.9"},)"
                              R"({"nlri":{"prefix":"10.0.0.0/8"},"attrs":[]}]})" );
   EXPECT_EQ( two.routes.at( 1 ).peer, Ferule::IpGenAddr() ) << "with nothing of the route before";
}

// As gobgp 3.10.0 prints it.
constexpr std::string_view kGobgp =
   R"({"10.1.0.0/16":[{"nlri":{"prefix":"10.1.0.0/16"},"age":1795364931,"best":true,"attrs":[{"type":1,"value":0},)"
   R"({"type":2,"as_paths":[{"segment_type":2,"num":2,"asns":[65001,65002]}]},{"type":4,"metric":50},{"type":5,"value":200},)"
   R"({"type":8,"communities":[4259840002,4259840001,4294967041]},{"type":32,"value":[{"ASN":65000,"LocalData1":1,"LocalData2":2}]},)"
   R"({"type":3,"nexthop":"192.0.2.9"}],"stale":false},{"nlri":{"prefix":"10.1.0.0/16"},"age":1795364931,"best":false,"attrs":[)"
   R"({"type":1,"value":2},{"type":2,"as_paths":[{"segment_type":2,"num":1,"asns":[65001]},{"segment_type":1,"num":2,"asns":[65003,65004]}]},)"
   R"({"type":26,"value":[{"type":1,"metric":9}]},{"type":3,"nexthop":"192.0.2.10"}],"stale":false}],)"
   R"("2001:db8:1::/48":[{"nlri":{"prefix":"2001:db8:1::/48"},"age":1795364931,"best":true,"attrs":[{"type":1,"value":2},)"
   R"({"type":4,"metric":0},{"type":14,"nexthop":"2001:db8::9","afi":2,"safi":1,"value":[{"prefix":"2001:db8:1::/48"}]}],"stale":false}]})";

TEST( BgpJsonTest, gobgpsAttributesAreTakenByTheirNumbers ) {
   const auto table = readBack( kGobgp );
   EXPECT_EQ( table.summary.form, TableForm::json );
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.summary.remark, "" );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.1.0.0/16", "10.1.0.0/16", "2001:db8:1::/48" } ) );
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.1.0.0/16" );
   expected.protocol = SourceProtocol::bgp;
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   expected.metric = 50;
   expected.tag = 65002;
   expected.localPreference = 200;
   expected.asPath = "65001 65002";
   expected.communities = { 65000u << 16 | 1, 65000u << 16 | 2, 0xffffff01 };
   expected.largeCommunities = { { 65000, 1, 2 } };
   expected.origin = Origin::igp;
   EXPECT_EQ( table.routes[ 0 ], expected );
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.10" );
   expected.metric = {};
   expected.tag = 0;
   expected.localPreference.reset();
   expected.asPath = "65001 {65003,65004}";
   expected.communities.clear();
   expected.largeCommunities.clear();
   expected.origin = Origin::incomplete;
   EXPECT_EQ( table.routes[ 1 ], expected ) << "the metric of another attribute is not the MED";
   EXPECT_EQ( table.routes[ 2 ].nextHop, Ferule::IpGenAddr( "2001:db8::9" ) );
   EXPECT_EQ( table.routes[ 2 ].metric, Zeugma::MaybeU63( 0 ) );
}

TEST( BgpJsonTest, brokenPathsOfGobgpTellTheReason ) {
   struct Row {
      const char * name;
      std::string attributes;
      std::string reason;   // empty: a route
   };
   const Row rows[] = {
      { "none", "", "" },
      { "unknown ones", R"({"type":99,"value":"x"},{"value":5},5)", "" },
      { "MED", R"({"type":4})", "MED is not a number of 32 bits" },
      { "local preference", R"({"type":5,"value":-1})", "local preference is not a number of 32 bits" },
      { "community", R"({"type":8,"communities":[1,"no-export"]})", "a community is not a number of 32 bits" },
      { "AS", R"({"type":2,"as_paths":[{"segment_type":2,"asns":[4294967296]}]})", "an AS is not a number of 32 bits" },
      { "segment", R"({"type":2,"as_paths":[{"segment_type":5,"asns":[1]}]})", "a segment of the AS path has no type from 1 to 4" },
      { "empty segment", R"({"type":2,"as_paths":[{"segment_type":2,"asns":[]}]})", "" },
      { "next hop", R"({"type":3,"nexthop":"x"})", "next hop: address \"x\": not an address" },
      { "next hop of another type", R"({"type":14,"nexthop":5})", "a next hop is not a string" },
      { "in another attribute", R"({"type":17,"as_paths":[{"segment_type":5,"asns":["x"]}],"nexthop":5})", "" },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( R"({"10.0.0.0/8":[{"nlri":{"prefix":"10.0.0.0/8"},"attrs":[)" + row.attributes + "]}]}" );
      EXPECT_EQ( table.broken, row.reason.empty() ? Strings() : Strings{ "entry 0: 10.0.0.0/8: " + row.reason } ) << row.name;
      EXPECT_EQ( table.routes.size(), row.reason.empty() ? 1u : 0u ) << row.name;
   }
}

TEST( BgpJsonTest, otherShapesOfADocument ) {
   struct Row {
      const char * name;
      std::string text;
      Strings expected;   // prefix and next hop
   };
   const std::string path = R"({"path":"65001","nexthops":[{"ip":"192.0.2.9"}]})";
   const Row rows[] = {
      { "VRFs",
        R"({"default":{"vrfId":0,"routes":{"10.0.0.0/8":[)" + path + R"(]}},"V":{"routes":{}},"routes of A":{"routes":{"10.1.0.0/16":[)" +
           path + "," + path + "]}}}",
        { "10.0.0.0/8 192.0.2.9", "10.1.0.0/16 192.0.2.9", "10.1.0.0/16 192.0.2.9" } },
      { "an object with paths",
        R"({"routes":{"10.0.0.0/8":{"prefix":"10.0.0.0/8","paths":[)" + path + "," + path + R"(],"version":1}}})",
        { "10.0.0.0/8 192.0.2.9", "10.0.0.0/8 192.0.2.9" } },
      { "a single prefix", R"({"prefix":"10.0.0.0/8","version":1,"paths":[)" + path + "]}", { "10.0.0.0/8 192.0.2.9" } },
      { "received from a neighbor",
        R"({"bgpStatusCodes":{"valid":"*"},"receivedRoutes":{"10.0.0.0/8":{"addrPrefix":"10.0.0.0","prefixLen":8,"nextHop":"192.0.2.9",)"
        R"("weight":0,"path":"65001","appliedStatusSymbols":{"*":true,">":true}},"2001:db8::/32":{"nextHopGlobal":"2001:db8::9",)"
        R"("metric":5,"path":""}},"totalPrefixCounter":2})",
        { "10.0.0.0/8 192.0.2.9", "2001:db8::/32 2001:db8::9" } },
      { "two next hops",
        R"({"routes":{"2001:db8::/32":[{"path":"","nexthops":[{"ip":"2001:db8::9","scope":"global"},{"ip":"fe80::1","scope":"link-local"}]}]}})",
        { "2001:db8::/32 2001:db8::9" } },
      { "two documents",
        R"({"routes":{"10.0.0.0/8":[)" + path + R"(]}}[{"dst":"10.1.0.0/16","gateway":"192.0.2.1"}] {"routes":{}})",
        { "10.0.0.0/8 192.0.2.9", "10.1.0.0/16 192.0.2.1" } },
      { "other members",
        R"({"routes":{"10.0.0.0/8":[{"x":[[{"metric":1}],{"path":2}],"path":"","y":{"metric":{}},"nexthops":[{"ip":"192.0.2.9"}]}]}})",
        { "10.0.0.0/8 192.0.2.9" } },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( row.text );
      EXPECT_EQ( table.summary.fault, "" ) << row.name;
      EXPECT_EQ( table.broken, Strings() ) << row.name;
      Strings texts;
      for( const auto & route : table.routes )
         texts.push_back( std::string( route.prefix.toStrep().view() ) + " " + std::string( route.nextHop.toStrep() ) );
      EXPECT_EQ( texts, row.expected ) << row.name;
   }
}

TEST( BgpJsonTest, nothingOfThePathBeforeSurvives ) {
   const auto table = readBack( R"({"routes":{"10.0.0.0/8":[{"aspath":{"string":"65001"},"metric":1,"locPrf":2,"tag":3,)"
                                R"("community":{"string":"1:1"},"nexthops":[{"ip":"192.0.2.9"}]},{"valid":true}]}})" );
   ASSERT_EQ( table.routes.size(), 2u );
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   expected.protocol = SourceProtocol::bgp;
   EXPECT_EQ( table.routes[ 1 ], expected );
}

TEST( BgpJsonTest, brokenPathsTellTheReasonAndTheOthersAreRead ) {
   struct Row {
      const char * name;
      std::string paths;   // behind a good one
      std::string reason;
   };
   const Row rows[] = {
      { "metric", R"({"path":"","metric":-1})", R"(10.0.0.0/8: "metric": not a number of 32 bits)" },
      { "great metric", R"({"path":"","metric":4294967296})", R"(10.0.0.0/8: "metric": not a number of 32 bits)" },
      { "local preference", R"({"path":"","locPrf":"5"})", R"(10.0.0.0/8: "locPrf": not a number of 32 bits)" },
      { "tag", R"({"path":"","tag":1.5})", R"(10.0.0.0/8: "tag": not a number of 32 bits)" },
      { "next hop", R"({"path":"","nexthops":[{"ip":"192.0.2"}]})", R"(10.0.0.0/8: next hop: address "192.0.2": not an address)" },
      { "next hop of another type", R"({"path":"","nexthops":[{"ip":5}]})", R"(10.0.0.0/8: "nexthops[].ip": not a string)" },
      { "AS path", R"({"path":"65000.1"})", R"(10.0.0.0/8: "65000.1": not an AS path)" },
      { "community", R"({"path":"","community":{"string":"1:1 CUSTOMERS"}})", R"(10.0.0.0/8: "CUSTOMERS": not a community)" },
      { "no path", "5", "10.0.0.0/8: not an object" },
      { "an array", "[[]]", "10.0.0.0/8: not an object" },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( R"({"routes":{"10.0.0.0/8":[{"path":""},)" + row.paths + R"(],"10.1.0.0/16":[{"path":""}]}})" );
      EXPECT_EQ( table.summary.fault, "" ) << row.name;
      EXPECT_EQ( table.prefixes(), ( Strings{ "10.0.0.0/8", "10.1.0.0/16" } ) ) << row.name;
      EXPECT_EQ( table.broken, Strings{ "entry 1: " + row.reason } ) << row.name;
   }
}

TEST( BgpJsonTest, brokenPrefixesAreReported ) {
   const auto table = readBack( R"({"routes":{"10.0.0.0/33":[{"path":""},{"path":""}],"10.0.0.1/8":[{"path":""}],"10.0.0.0/8":5}})" );
   EXPECT_EQ( table.routes.size(), 0u );
   EXPECT_EQ( table.broken,
              ( Strings{ "entry 0: prefix length \"33\": above 32", "entry 1: prefix length \"33\": above 32",
                         "entry 2: 10.0.0.1/8: bits are set after the prefix length; did you mean 10.0.0.0/8?",
                         "entry 3: 10.0.0.0/8: neither an array nor an object" } ) );
   EXPECT_EQ( readBack( R"({"paths":[{"path":""}]})" ).broken, Strings{ "entry 0: no prefix" } );
}

TEST( BgpJsonTest, aDocumentWithoutRoutesIsAFault ) {
   EXPECT_EQ( readBack( R"({"warning":"No such neighbor in this view/vrf"})" ).summary.fault,
              "\"warning\": No such neighbor in this view/vrf" );
   EXPECT_EQ( readBack( R"({"some":{"thing":[1,2]}})" ).summary.fault, "the object has no \"routes\"" );
   EXPECT_EQ( readBack( R"({"routes":[]})" ).summary.fault, "the object has no \"routes\"" );
}

TEST( BgpJsonTest, cutAndMalformedDocumentsTellThePlace ) {
   for( const std::string_view whole : { kShort, kDetail, kGobgp } ) {
      const auto text = whole.substr( 0, whole.rfind( '}' ) );
      for( size_t size = 1; size < text.size(); ++size )
         EXPECT_NE( readBack( text.substr( 0, size ) ).summary.fault, "" ) << text.substr( 0, size );
   }
   EXPECT_TRUE( readBack( "{\n \"routes\": { x" ).summary.fault.starts_with( "line 2, column 14: " ) );
}

TEST( BgpJsonTest, aPathOfAnyDepthOrLength ) {
   std::string deep = R"({"routes":{"10.0.0.0/8":[{"path":"65001","x":)";
   for( int i = 0; i < 1000; ++i ) deep += R"([{"a":)";
   deep += "1";
   for( int i = 0; i < 1000; ++i ) deep += "}]";
   const auto table = readBack( deep + R"(,"metric":5}]}})" );
   EXPECT_EQ( table.summary.fault, "" );
   ASSERT_EQ( table.routes.size(), 1u );
   EXPECT_EQ( table.routes[ 0 ].metric, Zeugma::MaybeU63( 5 ) );

   TableLimits limits;
   limits.maxLine = 200;
   std::string many = R"({"routes":{)";
   for( int i = 0; i < 1000; ++i )
      many += ( i ? ",\"10." : "\"10." ) + std::to_string( i / 200 ) + "." + std::to_string( i % 200 ) +
         R"(.0/24":[{"path":"65001"},{"path":"65002"}])";
   EXPECT_EQ( readBack( many + "}}", limits ).routes.size(), 2000u ) << "the limit is that of one path";
   const auto huge = readBack( R"({"routes":{"10.0.0.0/8":[{"path":"65001"},{"path":")" + std::string( 1000, '1' ) + R"("}]}})", limits );
   EXPECT_EQ( huge.routes.size(), 1u );
   EXPECT_TRUE( huge.summary.fault.ends_with( "entry 1 is longer than 200 bytes" ) ) << huge.summary.fault;
}

}   // namespace
}   // namespace Agent
