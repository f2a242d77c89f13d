#include "table/BirdText.h"

#include "tests/agent/TableFixture.h"

namespace Agent {
namespace {

// As BIRD 2.0.12 prints it.
constexpr std::string_view kAll = "BIRD 2.0.12 ready.\n"
                                  "Table master4:\n"
                                  "10.4.0.0/16          unicast [s4 16:32:57.667] * (200)\n"
                                  "\tvia 192.0.2.1 on eth0 weight 1\n"
                                  "\tvia 192.0.2.2 on eth1 weight 1\n"
                                  "\tType: static univ\n"
                                  "10.2.0.0/16          blackhole [s4 16:32:57.667] * (150)\n"
                                  "\tType: static univ\n"
                                  "10.7.0.0/16          unicast [Q 16:32:59.868 from 127.0.0.2] * (100/?) [AS65004i]\n"
                                  "\tdev lo\n"
                                  "\tType: BGP univ\n"
                                  "\tBGP.origin: IGP\n"
                                  "\tBGP.as_path: 65001 65004\n"
                                  "\tBGP.next_hop: 192.0.2.10\n"
                                  "\tBGP.med: 70\n"
                                  "\tBGP.local_pref: 100\n"
                                  "\tBGP.community: (65000,2) (65000,1)\n"
                                  "\t\t(65535,65281)\n"
                                  "\tBGP.large_community: (65000, 1, 2)\n"
                                  "\t\t(65000, 1, 3)\n"
                                  "\tBGP.ext_community: (rt, 65000, 7) (ro, 192.0.2.1, 1)\n"
                                  "\t\t(generic, 0x43000000, 0x1)\n"
                                  "                     unicast [P 16:32:59.864 from 127.0.0.3] (100/?) [AS65004i]\n"
                                  "\tdev lo\n"
                                  "\tType: BGP univ\n"
                                  "\tBGP.origin: IGP\n"
                                  "\tBGP.as_path: 65003 65004\n"
                                  "\tBGP.next_hop: 192.0.2.9\n"
                                  "\tBGP.local_pref: 100\n"
                                  "\n"
                                  "Table master6:\n"
                                  "2001:db8:1::/48      unreachable [P 16:32:59.904 from 127.0.0.3] (100) [AS65003i]\n"
                                  "\tType: BGP univ\n"
                                  "\tBGP.as_path: 65003\n"
                                  "\tBGP.next_hop: 2001:db8::9 fe80::1\n"
                                  "\tBGP.med: 0\n"
                                  "\n"
                                  "Table empty4:\n";

TEST( BirdTextTest, routesOfAllTables ) {
   const auto table = readBack( kAll );
   EXPECT_EQ( table.summary.form, TableForm::bird );
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.summary.remark, "" );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.4.0.0/16", "10.2.0.0/16", "10.7.0.0/16", "10.7.0.0/16", "2001:db8:1::/48" } ) );

   TableRoute fixed;
   fixed.prefix = Ferule::IpGenPrefix( "10.4.0.0/16" );
   fixed.protocol = SourceProtocol::fixed;
   fixed.nextHop = Ferule::IpGenAddr( "192.0.2.1" );
   fixed.interface = "eth0";
   EXPECT_EQ( table.routes[ 0 ], fixed ) << "the first of two next hops";
   fixed.prefix = Ferule::IpGenPrefix( "10.2.0.0/16" );
   fixed.nextHop = {};
   fixed.interface = "";
   EXPECT_EQ( table.routes[ 1 ], fixed );

   TableRoute bgp;
   bgp.prefix = Ferule::IpGenPrefix( "10.7.0.0/16" );
   bgp.protocol = SourceProtocol::bgp;
   bgp.nextHop = Ferule::IpGenAddr( "192.0.2.10" );
   bgp.metric = 70;
   bgp.tag = 65004;
   bgp.localPreference = 100;
   bgp.interface = "lo";
   bgp.asPath = "65001 65004";
   bgp.communities = { 65000u << 16 | 1, 65000u << 16 | 2, 0xffffff01 };
   bgp.largeCommunities = { { 65000, 1, 2 }, { 65000, 1, 3 } };
   bgp.extCommunities = { *extCommunityOf( "rt", "65000:7" ), *extCommunityOf( "soo", "192.0.2.1:1" ), ExtCommunity( 0x4300000000000001 ) };
   bgp.origin = Origin::igp;
   bgp.peer = Ferule::IpGenAddr( "127.0.0.2" );
   EXPECT_EQ( table.routes[ 2 ], bgp );
   bgp.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   bgp.metric = {};
   bgp.asPath = "65003 65004";
   bgp.communities.clear();
   bgp.largeCommunities.clear();
   bgp.extCommunities.clear();
   bgp.peer = Ferule::IpGenAddr( "127.0.0.3" );
   EXPECT_EQ( table.routes[ 3 ], bgp ) << "of the same prefix, with nothing of the route before";
   EXPECT_EQ( table.routes[ 4 ].nextHop, Ferule::IpGenAddr( "2001:db8::9" ) );
   EXPECT_EQ( table.routes[ 4 ].metric, Zeugma::MaybeU63( 0 ) );
}

TEST( BirdTextTest, beginningsOfATable ) {
   const std::string route = "10.0.0.0/8           unicast [s4 16:32:57.667] * (200)\n\tdev lo\n\tType: static univ\n";
   for( const std::string begin : { "BIRD 2.0.12 ready.\nAccess restricted\nTable master4:\n", "Table master4:\n", "\n# saved\nTable t:\n",
                                    "\xef\xbb\xbfTable t:\n" } )
      EXPECT_EQ( readBack( begin + route ).prefixes(), Strings{ "10.0.0.0/8" } ) << begin;
   EXPECT_EQ( readBack( route ).summary.form, TableForm::prefixes ) << "without a first line that shows it";
   EXPECT_EQ( readBack( "BIRD 2.0.12 ready.\nNetwork not found\n" ).summary.fault, "it has no entries" );
}

TEST( BirdTextTest, routesWithoutAttributesAreRemarked ) {
   const auto table = readBack( "Table master4:\n"
                                "10.0.0.0/8           unicast [s4 16:32:57.667] * (200)\n"
                                "\tdev lo\n"
                                "10.1.0.0/16          unreachable [s4 16:32:57.667] * (200)\n" );
   EXPECT_EQ( table.summary.routes, 2u );
   EXPECT_EQ( table.summary.remark, "some routes have no attributes; `show route all` prints them" );
}

TEST( BirdTextTest, asPaths ) {
   const std::pair<std::string, std::string> rows[] = {
      { "", "" },
      { "65001", "65001" },
      { "65001 {65002 65003}", "65001 {65002,65003}" },
      { "{65002} 65003", "{65002} 65003" },
      { "(65010 65011) 65001", "(65010 65011) 65001" },
      { "({65010 65011}) {1 2}", "[65010,65011] {1,2}" },
      { "65001\n\t\t65002", "65001 65002" },
   };
   for( const auto & [ text, path ] : rows ) {
      const auto table =
         readBack( "Table t:\n10.0.0.0/8           unicast [P 16:32:57.667] * (100)\n\tType: BGP univ\n\tBGP.as_path: " + text + "\n" );
      ASSERT_EQ( table.routes.size(), 1u ) << text;
      EXPECT_EQ( table.routes[ 0 ].asPath, path ) << text;
   }
}

TEST( BirdTextTest, thePeerOfABgpRoute ) {
   struct Row {
      const char * origin;   // in brackets
      const char * lines;
      std::string_view peer;
   };
   const Row rows[] = {
      { "P 16:32:57 from 192.0.2.9", "\tvia 192.0.2.1 on eth0\n\tType: BGP univ\n", "192.0.2.9" },
      { "P 16:32:57", "\tvia 192.0.2.1 on eth0\n\tvia 192.0.2.2 on eth0\n\tType: BGP univ\n", "192.0.2.1" },
      { "P 16:32:57", "\tvia 192.0.2.1 on eth0\n\tType: BGP univ\n\tBGP.next_hop: 192.0.2.7\n", "192.0.2.1" },
      { "P 2023-01-01 from 2001:db8::9", "\tdev lo\n\tType: BGP univ\n", "2001:db8::9" },
      { "P 16:32:57", "\tdev lo\n\tType: BGP univ\n", "" },
      { "P 16:32:57 from nowhere", "\tvia 192.0.2.1 on eth0\n\tType: BGP univ\n", "" },
      { "P from 192.0.2.9", "\tvia 192.0.2.1 on eth0\n\tType: RIP univ\n", "" },
      { "s4 16:32:57", "\tvia 192.0.2.1 on eth0\n\tType: static univ\n", "" },
   };
   std::string text = "Table t:\n";
   for( const auto & row : rows ) text += std::string( "10.0.0.0/8 unicast [" ) + row.origin + "] * (100)\n" + row.lines;
   const auto table = readBack( text );
   EXPECT_EQ( table.broken, Strings() );
   ASSERT_EQ( table.routes.size(), std::size( rows ) );
   for( size_t i = 0; i < std::size( rows ); ++i )
      EXPECT_EQ( table.routes[ i ].peer, rows[ i ].peer.empty() ? Ferule::IpGenAddr() : Ferule::IpGenAddr( rows[ i ].peer ) )
         << rows[ i ].origin;
}

TEST( BirdTextTest, sources ) {
   struct Row {
      const char * type;
      const char * prefix;
      SourceProtocol protocol;
   };
   const Row rows[] = {
      { "BGP univ", "10.0.0.0/8", SourceProtocol::bgp },          { "static univ", "10.0.0.0/8", SourceProtocol::fixed },
      { "device univ", "10.0.0.0/8", SourceProtocol::connected }, { "inherit univ", "10.0.0.0/8", SourceProtocol::kernel },
      { "OSPF-E1 univ", "10.0.0.0/8", SourceProtocol::ospf },     { "OSPF univ", "2001:db8::/32", SourceProtocol::ospf6 },
      { "RIP univ", "2001:db8::/32", SourceProtocol::ripng },     { "whatever", "10.0.0.0/8", SourceProtocol::none },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( "Table t:\n" + std::string( row.prefix ) + " unicast [P 16:32:57.667]\n\tType: " + row.type + "\n" );
      ASSERT_EQ( table.routes.size(), 1u ) << row.type;
      EXPECT_EQ( table.routes[ 0 ].protocol, row.protocol ) << row.type;
   }
}

TEST( BirdTextTest, aBrokenLineBreaksItsRouteOnly ) {
   const std::string good = "10.9.0.0/16          unicast [P 16:32:57.667] * (100)\n\tType: BGP univ\n";
   const std::string head = "10.0.0.0/8           unicast [P 16:32:57.667] * (100)\n";
   struct Row {
      const char * name;
      std::string text;
      Strings broken;
   };
   const Row rows[] = {
      { "prefix",
        "10.0.0.0/33          unicast [P 1]\n\tType: BGP univ\n                     unicast [Q 1]\n\tType: BGP univ\n",
        { "line 4: prefix length \"33\": above 32", "line 6: a route without a prefix" } },
      { "another kind of table", "10.0.0.0/16-24 AS65000  [P 1] * (100)\n", { "line 4: prefix length \"16-24\": not a decimal number" } },
      { "type", "10.0.0.0/8           anycast [P 1]\n", { "line 4: \"anycast\": not a type of route" } },
      { "nothing behind the prefix", "10.0.0.0/8\n", { "line 4: \"\": not a type of route" } },
      { "via", head + "\tvia 192.0.2 on eth0\n", { "line 5: via: address \"192.0.2\": not an address" } },
      { "next hop", head + "\tBGP.next_hop: \n", { "line 5: BGP.next_hop: address \"\": not an address" } },
      { "MED", head + "\tBGP.med: 4294967296\n", { "line 5: BGP.med: \"4294967296\": not a number of 32 bits" } },
      { "local preference", head + "\tBGP.local_pref: x\n", { "line 5: BGP.local_pref: \"x\": not a number of 32 bits" } },
      { "AS path", head + "\tBGP.as_path: 1 2 ...\n", { "line 5: BGP.as_path: \"1 2 ...\": not an AS path" } },
      { "community", head + "\tBGP.community: (1,1) (1,65536)\n", { "line 5: BGP.community: \"(1,65536)\": not a community" } },
      { "a continuation", head + "\tBGP.community: (1,1)\n\t\t(1,1\n", { "line 6: BGP.community: \"(1,1\": not a community" } },
      { "the first error counts", head + "\tBGP.med: x\n\tBGP.local_pref: x\n", { "line 5: BGP.med: \"x\": not a number of 32 bits" } },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( "Table t:\n" + good + row.text + good );
      EXPECT_EQ( table.broken, row.broken ) << row.name;
      EXPECT_EQ( table.prefixes(), ( Strings{ "10.9.0.0/16", "10.9.0.0/16" } ) ) << row.name;
   }
   EXPECT_EQ( readBack( "Table t:\n\tType: BGP univ\n\tBGP.med: 1\n" + good ).broken, Strings{ "line 2: an attribute without a route" } );
}

TEST( BirdTextTest, aRouteThatIsCutShortIsBroken ) {
   TableLimits limits;
   for( limits.maxText = 30; limits.maxText < kAll.size(); ++limits.maxText ) {
      const auto table = readBack( kAll, limits );
      EXPECT_NE( table.summary.fault, "" );
      EXPECT_LE( table.broken.size(), 1u );
      const auto whole = readBack( kAll );
      for( size_t i = 0; i < table.routes.size(); ++i ) ASSERT_EQ( table.routes[ i ], whole.routes[ i ] ) << limits.maxText;
   }
}

TEST( BirdTextTest, aLineThatIsTooLongBreaksItsRoute ) {
   TableLimits limits;
   limits.maxLine = 100;
   const auto table = readBack( "Table t:\n10.0.0.0/8           unicast [P 1]\n\tBGP.as_path: 1" + std::string( 200, ' ' ) +
                                   "\n10.1.0.0/16          unicast [P 1]\n\tType: BGP univ\n",
                                limits );
   EXPECT_EQ( table.broken, Strings{ "line 3: longer than 100 bytes" } );
   EXPECT_EQ( table.prefixes(), Strings{ "10.1.0.0/16" } );
}

}   // namespace
}   // namespace Agent
