#include "table/BgpdumpLine.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

using Kind = LineResult::Kind;

constexpr std::string_view kLine =
   "TABLE_DUMP2|1700000000|B|192.0.2.9|64496|198.51.100.0/24|64496 64497 64500|IGP|192.0.2.9|100|70|64496:1|NAG||";

std::string with( std::string_view from, std::string_view to ) {
   std::string line( kLine );
   return line.replace( line.find( from ), from.size(), to );
}

TEST( BgpdumpLineTest, tableEntry ) {
   TableRoute route;
   const auto result = parseBgpdumpLine( kLine, route );
   ASSERT_EQ( result.kind, Kind::route ) << result.reason;
   EXPECT_EQ( route.prefix, Ferule::IpGenPrefix( "198.51.100.0/24" ) );
   EXPECT_EQ( route.nextHop, Ferule::IpGenAddr( "192.0.2.9" ) );
   EXPECT_EQ( route.metric, Zeugma::MaybeU63( 70 ) );
   EXPECT_EQ( route.tag, 64500u );
   EXPECT_EQ( route.peer, Ferule::IpGenAddr( "192.0.2.9" ) );
   EXPECT_EQ( route.protocol, SourceProtocol::bgp );
   EXPECT_EQ( route.localPreference, 100u );
   EXPECT_EQ( route.asPath, "64496 64497 64500" );
   EXPECT_EQ( route.communities, ( std::vector<uint32_t>{ 64496u << 16 | 1 } ) );
   EXPECT_EQ( route.origin, Origin::igp );
   EXPECT_EQ( route.interface, "" );
}

TEST( BgpdumpLineTest, ipv6Entry ) {
   TableRoute route;
   const auto result = parseBgpdumpLine( "TABLE_DUMP2|1|B|2001:db8::9|64496|2001:db8:100::/40|64496|IGP|2001:db8::9|0|0||NAG||", route );
   ASSERT_EQ( result.kind, Kind::route ) << result.reason;
   EXPECT_EQ( route.prefix, Ferule::IpGenPrefix( "2001:db8:100::/40" ) );
   EXPECT_EQ( route.nextHop, Ferule::IpGenAddr( "2001:db8::9" ) );
   EXPECT_EQ( route.metric, Zeugma::MaybeU63( 0 ) );
   EXPECT_EQ( route.tag, 64496u );
   EXPECT_EQ( route.peer, Ferule::IpGenAddr( "2001:db8::9" ) );
}

TEST( BgpdumpLineTest, otherRecordsThatAreRoutes ) {
   TableRoute route;
   EXPECT_EQ( parseBgpdumpLine( with( "TABLE_DUMP2", "TABLE_DUMP" ), route ).kind, Kind::route );
   EXPECT_EQ( parseBgpdumpLine( with( "TABLE_DUMP2|1700000000|B", "BGP4MP|1700000000|A" ), route ).kind, Kind::route );
   EXPECT_EQ( parseBgpdumpLine( with( "TABLE_DUMP2|1700000000|B", "BGP4MP_ET|1700000000.123|A" ), route ).kind, Kind::route );
}

TEST( BgpdumpLineTest, pathIdentifiers ) {
   TableRoute expected;
   ASSERT_EQ( parseBgpdumpLine( kLine, expected ).kind, Kind::route );
   const std::string line =
      with( "TABLE_DUMP2|1700000000|B|192.0.2.9|64496|198.51.100.0/24|", "TABLE_DUMP2_AP|1700000000|B|192.0.2.9|64496|198.51.100.0/24|7|" );
   for( const std::string_view name : { "TABLE_DUMP2_AP", "BGP4MP_AP", "BGP4MP_ET_AP" } ) {
      TableRoute route;
      const auto result = parseBgpdumpLine( std::string( name ) + line.substr( line.find( '|' ) ), route );
      EXPECT_EQ( result.kind, Kind::route ) << name << ": " << result.reason;
      EXPECT_EQ( route, expected ) << name;
   }
   TableRoute route;
   for( const std::string sent : { "BGP4MP_LOCAL", "BGP4MP_ET_LOCAL" } ) {
      EXPECT_EQ( parseBgpdumpLine( sent + with( "TABLE_DUMP2", "" ), route ).kind, Kind::route );
      EXPECT_EQ( route.peer, Ferule::IpGenAddr() ) << "the neighbor that got the route has not announced it";
   }
   EXPECT_EQ( parseBgpdumpLine( with( "|B|192.0.2.9|", "|B||" ), route ).kind, Kind::route );
   EXPECT_EQ( route.peer, Ferule::IpGenAddr() );
   EXPECT_EQ( parseBgpdumpLine( "BGP4MP_AP|1700000000|W|192.0.2.9|65001|198.51.1.0/24|1", route ).kind, Kind::skipped );
   EXPECT_EQ( parseBgpdumpLine( "BGP4MP_AP|1700000000|W|192.0.2.9|65001|198.51.1.0/24|1|", route ).kind, Kind::skipped );
   const auto mistaken = parseBgpdumpLine( with( "TABLE_DUMP2", "TABLE_DUMP2_AP" ), route );
   EXPECT_EQ( mistaken.reason, "cut short: 13 of 14 fields" );
   const auto twoPaths = parseBgpdumpLine( with( "TABLE_DUMP2", "TABLE_DUMP2_AP" ) + "|", route );
   EXPECT_EQ( twoPaths.reason, "path identifier \"64496 64497 64500\": not a number of 32 bits" );
   for( size_t size = 1; size < line.size(); ++size )
      EXPECT_EQ( parseBgpdumpLine( line.substr( 0, size ), route ).kind, Kind::broken ) << line.substr( 0, size );
}

TEST( BgpdumpLineTest, fieldsBehindTheLastAreOfNoInterest ) {
   TableRoute route;
   EXPECT_EQ( parseBgpdumpLine( std::string( kLine ) + "64496:1:2|", route ).kind, Kind::route );
   EXPECT_EQ( parseBgpdumpLine( std::string( kLine ) + " ", route ).kind, Kind::route );
}

TEST( BgpdumpLineTest, tagIsTheLastNumberOfThePath ) {
   struct Row {
      std::string_view path;
      uint32_t tag;
   };
   const Row rows[] = {
      { "", 0 },
      { "64500", 64500 },
      { "64496 4200000000", 4200000000 },
      { "64496 64500 64500 64500", 64500 },
      { "64496 {64500,64501}", 0 },
      { "64496 {64500} 64502", 64502 },
      { "64496 ", 0 },
      { "64496 4294967296", 0 },
      { "not a path", 0 },
   };
   for( const auto & row : rows ) {
      TableRoute route;
      EXPECT_EQ( parseBgpdumpLine( with( "64496 64497 64500", row.path ), route ).kind, Kind::route ) << row.path;
      EXPECT_EQ( route.tag, row.tag ) << row.path;
      EXPECT_EQ( route.asPath, row.path ) << "as it stands";
   }
}

TEST( BgpdumpLineTest, communitiesAreAscendingAndEachOnce ) {
   struct Row {
      const char * name;
      std::string_view text;
      std::vector<uint32_t> communities;
   };
   const Row rows[] = {
      { "none", "", {} },
      { "one", "0:1", { 1 } },
      { "in order", "1:1 1:2", { 0x10001, 0x10002 } },
      { "out of order and twice", "2:1 1:2 2:1 1:1", { 0x10001, 0x10002, 0x20001 } },
      { "greatest", "65535:65535", { 0xffffffff } },
      { "well-known names", "no-peer local-AS no-advertise no-export", { 0xffffff01, 0xffffff02, 0xffffff03, 0xffffff04 } },
      { "a name and its number", "no-export 65535:65281", { 0xffffff01 } },
      { "large communities are skipped", "1:1 64500:1:2 1:2", { 0x10001, 0x10002 } },
      { "and whatever else", "1:1 65536:1 1:65536 : 1: :1 -1:1 internet what", { 0x10001 } },
      { "blanks too many", "  1:1  1:2 ", { 0x10001, 0x10002 } },
   };
   TableRoute route;
   for( const auto & row : rows ) {
      EXPECT_EQ( parseBgpdumpLine( with( "64496:1|", std::string( row.text ) + "|" ), route ).kind, Kind::route ) << row.name;
      EXPECT_EQ( route.communities, row.communities ) << row.name;
   }
}

TEST( BgpdumpLineTest, localPreferenceOfZeroOrNothingIsNone ) {
   for( const std::string_view text : { "|0|70|", "||70|", "|00|70|" } ) {
      TableRoute route;
      EXPECT_EQ( parseBgpdumpLine( with( "|100|70|", text ), route ).kind, Kind::route ) << text;
      EXPECT_EQ( route.localPreference, std::nullopt ) << text;
      EXPECT_EQ( route.metric, Zeugma::MaybeU63( 70 ) ) << text;
   }
   TableRoute route;
   EXPECT_EQ( parseBgpdumpLine( with( "|100|", "|4294967295|" ), route ).kind, Kind::route );
   EXPECT_EQ( route.localPreference, 4294967295u );
}

TEST( BgpdumpLineTest, nothingOfTheLineBeforeSurvives ) {
   TableRoute route;
   ASSERT_EQ( parseBgpdumpLine( kLine, route ).kind, Kind::route );
   route.interface = "eth0";
   ASSERT_EQ( parseBgpdumpLine( "TABLE_DUMP2|1|B|||10.0.0.0/8||||||||", route ).kind, Kind::broken );
   ASSERT_EQ( parseBgpdumpLine( "TABLE_DUMP2|1|B|||10.0.0.0/8|||||||||", route ).kind, Kind::route );
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   expected.protocol = SourceProtocol::bgp;
   EXPECT_EQ( route, expected );
}

TEST( BgpdumpLineTest, emptyNextHopAndMedAreNone ) {
   TableRoute route;
   EXPECT_EQ( parseBgpdumpLine( with( "IGP|192.0.2.9|100|70|", "IGP||100||" ), route ).kind, Kind::route );
   EXPECT_EQ( route.nextHop, Ferule::IpGenAddr() );
   EXPECT_FALSE( route.metric.present() );
}

TEST( BgpdumpLineTest, withdrawalsAndSessionChangesAreSkipped ) {
   for( const std::string_view line : {
           "BGP4MP|1700000000|W|192.0.2.9|64496|198.51.100.0/24",
           "BGP4MP|1700000000|W|192.0.2.9|64496|198.51.100.0/24|",
           "BGP4MP|1700000000|W|2001:db8::9|64496|2001:db8:100::/40",
           "BGP4MP|1700000000|STATE|192.0.2.9|64496|5|6",
           "BGP4MP|1700000000|STATE|192.0.2.9|64496|6|1|",
        } ) {
      TableRoute route;
      const auto result = parseBgpdumpLine( line, route );
      EXPECT_EQ( result.kind, Kind::skipped ) << line << ": " << result.reason;
   }
}

TEST( BgpdumpLineTest, everyCutIsNoticed ) {
   const std::string whole( kLine );
   ASSERT_TRUE( whole.ends_with( "|" ) );
   for( size_t size = 1; size < whole.size(); ++size ) {
      TableRoute route;
      const auto result = parseBgpdumpLine( whole.substr( 0, size ), route );
      EXPECT_EQ( result.kind, Kind::broken ) << whole.substr( 0, size );
      EXPECT_TRUE( result.reason.starts_with( "cut short: " ) ) << result.reason;
   }
   TableRoute route;
   EXPECT_EQ( parseBgpdumpLine( "TABLE_DUMP2|1|B|192.0.2.9|", route ).reason, "cut short: 4 of 14 fields" );
   EXPECT_EQ( parseBgpdumpLine( "BGP4MP|1|W|192.0.2.9|64496", route ).reason, "cut short: 4 of 6 fields" );
}

TEST( BgpdumpLineTest, brokenFieldsTellTheReason ) {
   struct Row {
      const char * name;
      std::string line;
      std::string_view reason;
   };
   const Row rows[] = {
      { "record", with( "TABLE_DUMP2", "TABLE_DUMP3" ), "\"TABLE_DUMP3\": neither TABLE_DUMP2 nor BGP4MP" },
      { "head torn off", "5 64497|IGP|192.0.2.9|100|70|64496:1|NAG||", "\"5 64497\": neither TABLE_DUMP2 nor BGP4MP" },
      { "kind", with( "|B|", "|X|" ), "kind \"X\": neither a table entry nor an announcement" },
      { "no kind", with( "|B|", "||" ), "kind \"\": neither a table entry nor an announcement" },
      { "prefix", with( "198.51.100.0/24", "198.51.100/24" ), "address \"198.51.100\": not an address" },
      { "host bits", with( "198.51.100.0/24", "198.51.100.1/24" ),
        "198.51.100.1/24: bits are set after the prefix length; did you mean 198.51.100.0/24?" },
      { "next hop", with( "IGP|192.0.2.9", "IGP|192.0.2" ), "next hop: address \"192.0.2\": not an address" },
      { "peer", with( "|B|192.0.2.9|", "|B|192.0.2|" ), "peer: address \"192.0.2\": not an address" },
      { "MED", with( "|70|", "|seventy|" ), "MED \"seventy\": not a number of 32 bits" },
      { "great MED", with( "|70|", "|4294967296|" ), "MED \"4294967296\": not a number of 32 bits" },
      { "local preference", with( "|100|", "|1e2|" ), "local preference \"1e2\": not a number of 32 bits" },
      { "great local preference", with( "|100|", "|4294967296|" ), "local preference \"4294967296\": not a number of 32 bits" },
      { "withdrawn prefix", "BGP4MP|1|W|192.0.2.9|64496|198.51.100.0/2",
        "198.51.100.0/2: bits are set after the prefix length; did you mean 192.0.0.0/2?" },
      { "two lines in one", std::string( kLine.substr( 0, 60 ) ) + std::string( kLine ), "next hop: address \"B\": not an address" },
   };
   for( const auto & row : rows ) {
      TableRoute route;
      const auto result = parseBgpdumpLine( row.line, route );
      EXPECT_EQ( result.kind, Kind::broken ) << row.name;
      EXPECT_EQ( result.reason, row.reason ) << row.name;
   }
}

TEST( BgpdumpLineTest, looksLikeBgpdumpGoesByTheFirstWord ) {
   for( const std::string_view line : { "TABLE_DUMP2|1|B", "TABLE_DUMP", "BGP4MP", "a|b", "|" } )
      EXPECT_TRUE( looksLikeBgpdump( line ) ) << line;
   for( const std::string_view line : { "", "10.0.0.0/8", "10.0.0.0/8 a|b", "10.0.0.0/8#a|b", "# a|b", "table_dump2" } )
      EXPECT_FALSE( looksLikeBgpdump( line ) ) << line;
}

}   // namespace
}   // namespace Agent
