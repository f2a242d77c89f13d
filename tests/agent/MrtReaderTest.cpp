#include "table/MrtReader.h"

#include <cstdlib>
#include <string>

#include "tests/agent/TableFixture.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace Agent {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string number( uint64_t value, size_t bytes ) {
   std::string text;
   for( size_t i = bytes; i-- != 0; ) text += static_cast<char>( i < 8 ? value >> ( 8 * i ) : 0 );
   return text;
}

std::string sized( std::string_view bytes, size_t bytesOfSize ) {
   return number( bytes.size(), bytesOfSize ) + std::string( bytes );
}

std::string record( uint16_t type, uint16_t subtype, std::string_view body ) {
   return number( 1700000000, 4 ) + number( type, 2 ) + number( subtype, 2 ) + sized( body, 4 );
}

constexpr uint16_t kV2 = 13;
constexpr uint16_t kIpv4 = 2, kIpv6 = 4, kIpv4AddPath = 8, kIpv6AddPath = 10;

std::string peers( uint16_t count ) {
   std::string body = number( 0xc0000201, 4 ) + sized( "view", 2 ) + number( count, 2 );
   for( uint16_t i = 0; i < count; ++i ) {
      const uint8_t type = i % 4;
      body += number( type, 1 ) + number( i, 4 ) + number( i, type & 1 ? 16 : 4 ) + number( 64500, type & 2 ? 4 : 2 );
   }
   return record( kV2, 1, body );
}

std::string attribute( uint8_t type, std::string_view value, bool extended = false ) {
   return number( extended ? 0x50 : 0x40, 1 ) + number( type, 1 ) + sized( value, extended ? 2 : 1 );
}

std::string segment( uint8_t type, const std::vector<uint32_t> & path ) {
   std::string bytes = number( type, 1 ) + number( path.size(), 1 );
   for( const uint32_t as : path ) bytes += number( as, 4 );
   return bytes;
}

const std::string kNextHop = attribute( 3, "\xc0\x00\x02\x09"sv );
const std::string kAddress6 = "\x20\x01\x0d\xb8" + number( 0, 11 ) + "\x09";
const std::string kLinkLocal = "\xfe\x80" + number( 0, 13 ) + "\x01";

std::string entry( std::string_view attributes, uint16_t peer = 0 ) {
   return number( peer, 2 ) + number( 1700000000, 4 ) + sized( attributes, 2 );
}

struct Entries {
   uint16_t count;
   std::string bytes;
};
Entries entries( const std::vector<std::string> & each ) {
   Entries all{ static_cast<uint16_t>( each.size() ), {} };
   for( const auto & one : each ) all.bytes += one;
   return all;
}

std::string rib( uint8_t length, std::string_view prefix, const Entries & entries, uint16_t subtype = kIpv4 ) {
   return record( kV2, subtype, number( 0, 4 ) + number( length, 1 ) + std::string( prefix ) + number( entries.count, 2 ) + entries.bytes );
}

/// One route of 198.51.100.0/24.
std::string ribWith( std::string_view attributes ) {
   return rib( 24, "\xc6\x33\x64"sv, entries( { entry( attributes ) } ) );
}

const std::string kGood = ribWith( kNextHop );

TableRoute routeWith( std::string_view attributes, uint16_t subtype = kIpv4 ) {
   const auto table = readBack( rib( 24, "\xc6\x33\x64"sv, entries( { entry( attributes ) } ), subtype ) );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.summary.fault, "" );
   return table.routes.empty() ? TableRoute() : table.routes[ 0 ];
}

TEST( MrtReaderTest, everyAttributeOfARoute ) {
   const auto table = readBack(
      peers( 2 ) +
      rib( 24, "\xc6\x33\x64"sv,
           entries( { entry(
              attribute( 1, "\0"sv ) + attribute( 2, segment( 2, { 64500, 4200000000 } ), true ) + kNextHop +
                 attribute( 4, number( 70, 4 ) ) + attribute( 5, number( 200, 4 ) ) +
                 attribute( 8, number( 0xfc000002, 4 ) + number( 0xfc000001, 4 ) + number( 0xfc000002, 4 ) ) +
                 attribute( 16, number( 0x0003fde8, 4 ) + number( 1, 4 ) + number( 0x0002fde8, 4 ) + number( 1, 4 ) ) +
                 attribute( 32, number( 4, 4 ) + number( 5, 4 ) + number( 6, 4 ) + number( 1, 4 ) + number( 2, 4 ) + number( 3, 4 ) ),
              1 ) } ) ) );
   EXPECT_EQ( table.summary.form, TableForm::mrt );
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.summary.skipped, 0u );
   EXPECT_EQ( table.broken, Strings() );
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "198.51.100.0/24" );
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   expected.metric = 70;
   expected.tag = 4200000000;
   expected.localPreference = 200;
   expected.protocol = SourceProtocol::bgp;
   expected.asPath = "64500 4200000000";
   expected.communities = { 0xfc000001, 0xfc000002 };
   expected.largeCommunities = { { 1, 2, 3 }, { 4, 5, 6 } };
   expected.extCommunities = { ExtCommunity( 0x0003fde800000001 ), ExtCommunity( 0x0002fde800000001 ) };
   expected.origin = Origin::igp;
   expected.peer = Ferule::IpGenAddr( "::1" );
   EXPECT_EQ( table.routes, std::vector{ expected } );
}

TEST( MrtReaderTest, routeWithoutAttributes ) {
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "198.51.100.0/24" );
   expected.protocol = SourceProtocol::bgp;
   EXPECT_EQ( routeWith( "" ), expected );
}

TEST( MrtReaderTest, eachEntryIsOneRouteAndSharesNothingWithTheOneBefore ) {
   const std::string full = attribute( 2, segment( 2, { 64500 } ) ) + kNextHop + attribute( 4, number( 70, 4 ) ) +
      attribute( 5, number( 200, 4 ) ) + attribute( 8, number( 1, 4 ) );
   const auto table = readBack( rib( 8, "\x0a"sv, entries( { entry( full ), entry( "" ), entry( kNextHop ) } ) ) +
                                rib( 0, "", entries( {} ) ) + rib( 0, "", entries( { entry( "" ) } ) ) );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.0.0.0/8", "10.0.0.0/8", "10.0.0.0/8", "0.0.0.0/0" } ) );
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   expected.protocol = SourceProtocol::bgp;
   EXPECT_EQ( table.routes[ 1 ], expected );
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   EXPECT_EQ( table.routes[ 2 ], expected );
}

TEST( MrtReaderTest, prefixes ) {
   struct Row {
      const char * name;
      uint16_t subtype;
      uint8_t length;
      std::string_view bytes;
      std::string expected;
   };
   const Row rows[] = {
      { "default", kIpv4, 0, "", "0.0.0.0/0" },
      { "host", kIpv4, 32, "\xc0\x00\x02\x01"sv, "192.0.2.1/32" },
      { "part of a byte", kIpv4, 12, "\xac\x10"sv, "172.16.0.0/12" },
      { "bits behind the length mean nothing", kIpv4, 12, "\xac\x1f"sv, "172.16.0.0/12" },
      { "IPv6 default", kIpv6, 0, "", "::/0" },
      { "IPv6", kIpv6, 32, "\x20\x01\x0d\xb8"sv, "2001:db8::/32" },
      { "IPv6, half", kIpv6, 65, "\x20\x01\x0d\xb8\0\0\0\0\xff"sv, "2001:db8:0:0:8000::/65" },
      { "IPv6 host", kIpv6, 128, kAddress6, "2001:db8::9/128" },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( rib( row.length, row.bytes, entries( { entry( "" ) } ), row.subtype ) );
      EXPECT_EQ( table.broken, Strings() ) << row.name;
      EXPECT_EQ( table.prefixes(), Strings{ row.expected } ) << row.name;
   }
}

TEST( MrtReaderTest, pathIdentifiersAreSkipped ) {
   const auto withIdentifier = []( std::string_view attributes ) {
      return number( 0, 2 ) + number( 1700000000, 4 ) + number( 7, 4 ) + sized( attributes, 2 );
   };
   const auto table =
      readBack( rib( 8, "\x0a"sv, entries( { withIdentifier( kNextHop ), withIdentifier( "" ) } ), kIpv4AddPath ) +
                rib( 16, "\x20\x01"sv, entries( { withIdentifier( attribute( 14, sized( kAddress6, 1 ) ) ) } ), kIpv6AddPath ) );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.0.0.0/8", "10.0.0.0/8", "2001::/16" } ) );
   EXPECT_EQ( table.routes[ 0 ].nextHop, Ferule::IpGenAddr( "192.0.2.9" ) );
   EXPECT_EQ( table.routes[ 2 ].nextHop, Ferule::IpGenAddr( "2001:db8::9" ) );
}

TEST( MrtReaderTest, nextHops ) {
   const std::string whole = "\x00\x02\x01"s;
   struct Row {
      const char * name;
      std::string attributes;
      std::string expected;   // empty: none
   };
   const Row rows[] = {
      { "of IPv4", kNextHop, "192.0.2.9" },
      { "abbreviated", attribute( 14, sized( kAddress6, 1 ) ), "2001:db8::9" },
      { "abbreviated, with a link-local one", attribute( 14, sized( kAddress6 + kLinkLocal, 1 ) ), "2001:db8::9" },
      { "abbreviated, IPv4", attribute( 14, sized( "\xc0\x00\x02\x07"sv, 1 ) ), "192.0.2.7" },
      { "abbreviated, none", attribute( 14, "\0"sv ), "" },
      { "whole", attribute( 14, whole + sized( kAddress6, 1 ) + "\x00\x20\x20\x01\x0d\xb8"s ), "2001:db8::9" },
      { "whole, without prefixes", attribute( 14, whole + sized( kAddress6, 1 ) ), "2001:db8::9" },
      { "whole, with a link-local one", attribute( 14, whole + sized( kAddress6 + kLinkLocal, 1 ) + "\0"s ), "2001:db8::9" },
      { "whole, of IPv4", attribute( 14, "\x00\x01\x01"s + sized( "\xc0\x00\x02\x07"sv, 1 ) + "\0"s ), "192.0.2.7" },
      { "whole, none", attribute( 14, whole + "\0\0"s ), "" },
      { "both: that of the family goes first", attribute( 14, sized( kAddress6, 1 ) ) + kNextHop, "2001:db8::9" },
      { "both, the other way round", kNextHop + attribute( 14, sized( kAddress6, 1 ) ), "2001:db8::9" },
   };
   for( const auto & row : rows ) {
      const auto expected = row.expected.empty() ? Ferule::IpGenAddr() : Ferule::IpGenAddr( row.expected );
      EXPECT_EQ( routeWith( row.attributes ).nextHop, expected ) << row.name;
   }
}

TEST( MrtReaderTest, asPaths ) {
   struct Row {
      const char * name;
      std::string segments;
      std::string text;
      uint32_t tag;
   };
   std::vector<uint32_t> many( 255, 64500 );
   std::string manyText = "64500";
   for( size_t i = 1; i < 2 * many.size(); ++i ) manyText += " 64500";
   const Row rows[] = {
      { "empty", "", "", 0 },
      { "sequence", segment( 2, { 64500, 64501 } ), "64500 64501", 64501 },
      { "sequences", segment( 2, { 64500 } ) + segment( 2, { 4294967295 } ), "64500 4294967295", 4294967295 },
      { "set", segment( 1, { 64500, 64501 } ), "{64500,64501}", 0 },
      { "set behind a sequence", segment( 2, { 1, 2 } ) + segment( 1, { 3 } ), "1 2 {3}", 0 },
      { "sequence behind a set", segment( 1, { 3, 4 } ) + segment( 2, { 5 } ), "{3,4} 5", 5 },
      { "confederation", segment( 3, { 65001, 65002 } ) + segment( 2, { 64500 } ), "(65001 65002) 64500", 64500 },
      { "set of a confederation", segment( 4, { 65001, 65002 } ), "[65001,65002]", 0 },
      { "confederation alone", segment( 3, { 65001 } ), "(65001)", 0 },
      { "long", segment( 2, many ) + segment( 2, many ), manyText, 64500 },
   };
   for( const auto & row : rows ) {
      const auto route = routeWith( attribute( 2, row.segments, true ) );
      EXPECT_EQ( route.asPath, row.text ) << row.name;
      EXPECT_EQ( route.tag, row.tag ) << row.name;
   }
}

TEST( MrtReaderTest, zeroIsAValueWhereTheAttributeIsThere ) {
   const auto route = routeWith( attribute( 4, number( 0, 4 ) ) + attribute( 5, number( 0, 4 ) ) );
   EXPECT_EQ( route.metric, Zeugma::MaybeU63( 0 ) );
   EXPECT_EQ( route.localPreference, 0u );
}

TEST( MrtReaderTest, attributeThatComesTwiceCountsOnceAndFirst ) {
   EXPECT_EQ( routeWith( attribute( 4, number( 1, 4 ) ) + attribute( 4, number( 2, 4 ) ) ).metric, Zeugma::MaybeU63( 1 ) );
   EXPECT_EQ( routeWith( attribute( 2, segment( 2, { 1 } ) ) + attribute( 2, segment( 2, { 2 } ) ) ).asPath, "1" );
}

TEST( MrtReaderTest, otherRecordsAreSkippedAndCounted ) {
   std::string bytes = peers( 1 );
   for( const uint16_t subtype : { 0, 3, 5, 6, 7, 9, 11, 12, 65535 } ) bytes += record( kV2, subtype, "whatever" );
   for( const uint16_t type : { 0, 10, 11, 16, 17, 32, 48, 65535 } ) bytes += record( type, kIpv4, "" );
   const auto table = readBack( bytes + kGood );
   EXPECT_EQ( table.summary.skipped, 17u );
   EXPECT_EQ( table.summary.unknown, 17u );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.prefixes(), Strings{ "198.51.100.0/24" } );
   EXPECT_EQ( readBack( record( 16, 2, "message" ) + kGood ).routes.size(), 1u ) << "also as the first one";
}

TEST( MrtReaderTest, brokenRecordsAndEntriesAreReportedAndTheOthersAreRead ) {
   const auto good = entry( kNextHop );
   const auto with = []( std::string_view attributes ) { return ribWith( attributes ); };
   const auto cutBody = []( const std::string & whole, size_t less ) {
      const auto body = whole.substr( 12, whole.size() - 12 - less );
      return whole.substr( 0, 8 ) + sized( body, 4 );
   };
   struct Row {
      const char * name;
      std::string record;
      std::string reason;
      size_t routes = 0;   // of the record itself
   };
   const Row rows[] = {
      { "empty RIB", record( kV2, kIpv4, "" ), "cut short inside its prefix" },
      { "no length", record( kV2, kIpv4, number( 0, 4 ) ), "cut short inside its prefix" },
      { "prefix cut", record( kV2, kIpv4, number( 0, 4 ) + "\x18\xc6\x33" ), "cut short inside its prefix" },
      { "no count", record( kV2, kIpv4, number( 0, 4 ) + "\x18\xc6\x33\x64" ), "cut short inside its prefix" },
      { "half a count", record( kV2, kIpv4, number( 0, 4 ) + "\x18\xc6\x33\x64\x01" ), "cut short inside its prefix" },
      { "length beyond IPv4", rib( 33, "\xc6\x33\x64\x01\x80"sv, entries( { good } ) ), "prefix length 33: above 32" },
      { "length beyond IPv6", rib( 129, kAddress6 + "\x80", entries( { good } ), kIpv6 ), "prefix length 129: above 128" },
      { "entry cut in its head", cutBody( rib( 0, "", entries( { entry( "" ) } ) ), 1 ), "entry 1 of 1: cut short" },
      { "attributes cut", cutBody( kGood, 1 ), "entry 1 of 1: cut short" },
      { "second entry cut", cutBody( rib( 0, "", entries( { good, good } ) ), 1 ), "entry 2 of 2: cut short", 1 },
      { "fewer entries than announced", rib( 0, "", { 3, good + good } ), "entry 3 of 3: cut short", 2 },
      { "more bytes than entries", rib( 0, "", { 1, good + "xyz" } ), "3 bytes after the last entry", 1 },
      { "entry without its path identifier", rib( 0, "", { 1, entry( "" ) }, kIpv4AddPath ), "entry 1 of 1: cut short" },
      { "attribute's head cut", with( kNextHop + "\x40" ), "entry 1 of 1: the attributes end inside an attribute" },
      { "attribute's length missing", with( "\x40\x04"sv ), "entry 1 of 1: the attributes end inside an attribute" },
      { "attribute's long length cut", with( "\x50\x04\x00"sv ), "entry 1 of 1: the attributes end inside an attribute" },
      { "attribute cut", with( "\x40\x04\x04\x00\x00\x00"sv ), "entry 1 of 1: the attributes end inside an attribute" },
      { "attribute of no interest cut", with( "\x40\xff\x01"sv ), "entry 1 of 1: the attributes end inside an attribute" },
      { "NEXT_HOP", with( attribute( 3, kAddress6 ) ), "entry 1 of 1: NEXT_HOP of 16 bytes" },
      { "empty NEXT_HOP", with( attribute( 3, "" ) ), "entry 1 of 1: NEXT_HOP of 0 bytes" },
      { "MED", with( attribute( 4, "\0\1"sv ) ), "entry 1 of 1: MED of 2 bytes" },
      { "LOCAL_PREF", with( attribute( 5, number( 1, 5 ) ) ), "entry 1 of 1: LOCAL_PREF of 5 bytes" },
      { "COMMUNITIES", with( attribute( 8, number( 1, 6 ) ) ), "entry 1 of 1: COMMUNITIES of 6 bytes" },
      { "segment's head", with( attribute( 2, "\x02"sv ) ), "entry 1 of 1: AS_PATH ends inside a segment" },
      { "segment cut", with( attribute( 2, "\x02\x02\x00\x00\x00\x01"sv ) ), "entry 1 of 1: AS_PATH ends inside a segment" },
      { "segment of no type", with( attribute( 2, segment( 0, { 1 } ) ) ), "entry 1 of 1: AS_PATH with a segment of type 0" },
      { "segment of another type", with( attribute( 2, segment( 5, { 1 } ) ) ), "entry 1 of 1: AS_PATH with a segment of type 5" },
      { "empty segment", with( attribute( 2, segment( 2, {} ) ) ), "entry 1 of 1: AS_PATH with an empty segment" },
      { "ASes of two bytes", with( attribute( 2, "\x02\x03\xfb\xf4\xfb\xf5\xfb\xf6"sv ) ), "entry 1 of 1: AS_PATH ends inside a segment" },
      { "empty MP_REACH_NLRI", with( attribute( 14, "" ) ), "entry 1 of 1: MP_REACH_NLRI ends inside its next hop" },
      { "MP_REACH_NLRI cut", with( attribute( 14, "\x10\x20\x01"sv ) ), "entry 1 of 1: MP_REACH_NLRI ends inside its next hop" },
      { "whole MP_REACH_NLRI cut", with( attribute( 14, "\x00\x02\x01\x10\x20"sv ) ),
        "entry 1 of 1: MP_REACH_NLRI ends inside its next hop" },
      { "whole MP_REACH_NLRI without a next hop's length", with( attribute( 14, "\x00\x02\x01"sv ) ),
        "entry 1 of 1: MP_REACH_NLRI ends inside its next hop" },
      { "bytes behind an abbreviated next hop", with( attribute( 14, sized( kAddress6, 1 ) + "x" ) ),
        "entry 1 of 1: MP_REACH_NLRI of 18 bytes" },
      { "next hop of no family", with( attribute( 14, sized( "12345", 1 ) ) ), "entry 1 of 1: next hop of 5 bytes" },
      { "one entry of three", rib( 0, "", entries( { good, entry( "x" ), good } ) ), "entry 2 of 3: the attributes end inside an attribute",
        2 },
      { "empty table of peers", record( kV2, 1, "" ), "cut short inside its peers" },
      { "name of its view cut", record( kV2, 1, number( 0, 4 ) + number( 10, 2 ) + "short" ), "cut short inside its peers" },
      { "peer cut", cutBody( peers( 4 ), 1 ), "cut short inside its peers" },
      { "more peers than announced", cutBody( peers( 4 ), 0 ).replace( 12 + 4 + 2 + 4, 2, number( 3, 2 ) ),
        "25 bytes after the last peer" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto table = readBack( kGood + row.record + kGood );
      EXPECT_EQ( table.summary.fault, "" );
      EXPECT_EQ( table.routes.size(), 2 + row.routes );
      EXPECT_EQ( table.broken, Strings{ "record 2: at byte " + std::to_string( kGood.size() ) + ": " + row.reason } );
   }
}

constexpr uint16_t kMessage = 1, kMessageAs4 = 4, kMessageAs4AddPath = 9;

// In front of a message: both ASes, the interface and both addresses.
std::string sessionHead( size_t asWidth, uint16_t family = 1 ) {
   const size_t size = family == 1 ? 4 : 16;
   return number( 64500, asWidth ) + number( 64501, asWidth ) + number( 0, 2 ) + number( family, 2 ) + number( 5, size ) +
      number( 1, size );
}

std::string bgpMessage( uint8_t type, std::string_view body ) {
   return std::string( 16, '\xff' ) + number( 19 + body.size(), 2 ) + number( type, 1 ) + std::string( body );
}

std::string update( std::string_view withdrawn, std::string_view attributes, std::string_view announced ) {
   return bgpMessage( 2, sized( withdrawn, 2 ) + sized( attributes, 2 ) + std::string( announced ) );
}

std::string updateRecord( std::string_view withdrawn, std::string_view attributes, std::string_view announced ) {
   return record( 16, kMessageAs4, sessionHead( 4 ) + update( withdrawn, attributes, announced ) );
}

std::string segmentOfTwoBytes( uint8_t type, const std::vector<uint16_t> & path ) {
   std::string bytes = number( type, 1 ) + number( path.size(), 1 );
   for( const uint16_t as : path ) bytes += number( as, 2 );
   return bytes;
}

constexpr std::string_view kTwoPrefixes = "\x18\xc6\x33\x64\x08\x0a"sv;   // 198.51.100.0/24, 10.0.0.0/8

TEST( MrtReaderTest, tableDumpsOfVersionOneHaveOneRouteARecord ) {
   const auto tableDump = []( uint16_t af, std::string_view address, uint8_t length, std::string_view attributes ) {
      const std::string peer = number( 1, address.size() ) + number( 64500, 2 );
      return record( 12, af,
                     number( 0, 4 ) + std::string( address ) + number( length, 1 ) + number( 1, 5 ) + peer + sized( attributes, 2 ) );
   };
   const std::string path = attribute( 2, segmentOfTwoBytes( 2, { 64500, 23456 } ) );
   const std::string address6 = "\x20\x01\x0d\xb8" + number( 0, 12 );
   const auto table = readBack( tableDump( 1, "\xc6\x33\x64\x00"sv, 24, path + kNextHop + attribute( 17, segment( 2, { 4200000000 } ) ) ) +
                                tableDump( 2, address6, 32, attribute( 14, "\x00\x02\x01"s + sized( kAddress6, 1 ) + "\0"s ) ) +
                                tableDump( 1, "\0\0\0\0"sv, 33, "" ) + tableDump( 1, "\0\0\0\0"sv, 0, "x" ) + record( 12, 1, "short" ) +
                                record( 12, 3, "" ) );
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.summary.unknown, 1u );
   EXPECT_EQ( table.prefixes(), ( Strings{ "198.51.100.0/24", "2001:db8::/32" } ) );
   EXPECT_EQ( table.routes[ 0 ].asPath, "64500 4200000000" );
   EXPECT_EQ( table.routes[ 0 ].tag, 4200000000u );
   EXPECT_EQ( table.routes[ 0 ].nextHop, Ferule::IpGenAddr( "192.0.2.9" ) );
   EXPECT_EQ( table.routes[ 0 ].peer, Ferule::IpGenAddr( "0.0.0.1" ) );
   EXPECT_EQ( table.routes[ 1 ].nextHop, Ferule::IpGenAddr( "2001:db8::9" ) );
   EXPECT_EQ( table.routes[ 1 ].peer, Ferule::IpGenAddr( "::1" ) );
   ASSERT_EQ( table.broken.size(), 3u );
   EXPECT_TRUE( table.broken[ 0 ].ends_with( ": prefix length 33: above 32" ) ) << table.broken[ 0 ];
   EXPECT_TRUE( table.broken[ 1 ].ends_with( ": the attributes end inside an attribute" ) ) << table.broken[ 1 ];
   EXPECT_TRUE( table.broken[ 2 ].ends_with( ": cut short" ) ) << table.broken[ 2 ];
}

TEST( MrtReaderTest, announcedPrefixesOfAnUpdateAreRoutes ) {
   const std::string attributes = attribute( 2, segment( 2, { 64500, 64501 } ) ) + kNextHop + attribute( 4, number( 70, 4 ) );
   const auto table = readBack( updateRecord( "\x08\x0b"sv, attributes, kTwoPrefixes ) );
   EXPECT_EQ( table.summary.form, TableForm::mrt );
   EXPECT_EQ( table.broken, Strings() );
   EXPECT_EQ( table.summary.skipped, 1u ) << "the prefix that is withdrawn";
   EXPECT_EQ( table.prefixes(), ( Strings{ "198.51.100.0/24", "10.0.0.0/8" } ) );
   TableRoute expected;
   expected.protocol = SourceProtocol::bgp;
   expected.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   expected.metric = 70;
   expected.asPath = "64500 64501";
   expected.tag = 64501;
   expected.peer = Ferule::IpGenAddr( "0.0.0.5" );
   for( const auto & route : table.routes ) {
      expected.prefix = route.prefix;
      EXPECT_EQ( route, expected );
   }
}

TEST( MrtReaderTest, updatesOfEveryKindOfRecord ) {
   const std::string four = attribute( 2, segment( 2, { 64500 } ) ) + kNextHop;
   const std::string two = attribute( 2, segmentOfTwoBytes( 2, { 64500 } ) ) + kNextHop;
   const std::string identified = "\0\0\0\x07\x08\x0a"s;
   struct Row {
      std::string_view name;
      std::string record;
   };
   const Row rows[] = {
      { "ASes of two bytes", record( 16, 1, sessionHead( 2 ) + update( "", two, "\x08\x0a"sv ) ) },
      { "ASes of four bytes", record( 16, 4, sessionHead( 4 ) + update( "", four, "\x08\x0a"sv ) ) },
      { "session over IPv6", record( 16, 4, sessionHead( 4, 2 ) + update( "", four, "\x08\x0a"sv ) ) },
      { "sent, two bytes", record( 16, 6, sessionHead( 2 ) + update( "", two, "\x08\x0a"sv ) ) },
      { "sent, four bytes", record( 16, 7, sessionHead( 4 ) + update( "", four, "\x08\x0a"sv ) ) },
      { "path identifier, two bytes", record( 16, 8, sessionHead( 2 ) + update( "", two, identified ) ) },
      { "path identifier, four bytes", record( 16, 9, sessionHead( 4 ) + update( "", four, identified ) ) },
      { "sent, path identifier, two bytes", record( 16, 10, sessionHead( 2 ) + update( "", two, identified ) ) },
      { "sent, path identifier, four bytes", record( 16, 11, sessionHead( 4 ) + update( "", four, identified ) ) },
      { "with microseconds", record( 17, 4, number( 5, 4 ) + sessionHead( 4 ) + update( "", four, "\x08\x0a"sv ) ) },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( row.record );
      EXPECT_EQ( table.broken, Strings() ) << row.name;
      EXPECT_EQ( table.prefixes(), Strings{ "10.0.0.0/8" } ) << row.name;
      EXPECT_EQ( table.routes.at( 0 ).asPath, "64500" ) << row.name;
      const auto peer =
         row.name.starts_with( "sent" ) ? Ferule::IpGenAddr() : Ferule::IpGenAddr( row.name.ends_with( "IPv6" ) ? "::5" : "0.0.0.5" );
      EXPECT_EQ( table.routes.at( 0 ).peer, peer ) << row.name;
   }
}

TEST( MrtReaderTest, updatesOfOtherFamiliesThanTheirSession ) {
   const auto reach = []( std::string_view family, std::string_view nextHop, std::string_view prefixes ) {
      return attribute( 14, std::string( family ) + sized( nextHop, 1 ) + "\0"s + std::string( prefixes ) );
   };
   const std::string prefix6 = "\x20\x20\x01\x0d\xb8";
   const auto both = readBack( updateRecord( "", reach( "\0\2\1"sv, kAddress6 + kLinkLocal, prefix6 ) + kNextHop, "\x08\x0a"sv ) );
   EXPECT_EQ( both.prefixes(), ( Strings{ "10.0.0.0/8", "2001:db8::/32" } ) );
   EXPECT_EQ( both.routes[ 0 ].nextHop, Ferule::IpGenAddr( "192.0.2.9" ) );
   EXPECT_EQ( both.routes[ 1 ].nextHop, Ferule::IpGenAddr( "2001:db8::9" ) );

   const auto withdrawn = readBack( updateRecord( "", attribute( 15, "\0\2\1"s + prefix6 + prefix6 ), "" ) + kGood );
   EXPECT_EQ( withdrawn.summary.skipped, 2u );
   EXPECT_EQ( withdrawn.summary.unknown, 0u );
   const auto ends = readBack( updateRecord( "", "", "" ) + updateRecord( "", attribute( 15, "\0\2\1"sv ), "" ) + kGood );
   EXPECT_EQ( ends.summary.skipped, 2u ) << "a message without prefixes ends a table";
   EXPECT_EQ( ends.broken, Strings() );
   for( const std::string_view family : { "\0\1\2"sv, "\0\2\x80"sv, "\0\x19\x46"sv, "\x40\x04\x47"sv } ) {
      const auto other = readBack( updateRecord( "", reach( family, "12345", "whatever" ), "" ) );
      EXPECT_EQ( other.summary.unknown, 1u );
      EXPECT_EQ( other.broken, Strings() );
      EXPECT_EQ( other.summary.fault, "it has no record with routes of IPv4 or IPv6 unicast" );
   }
}

TEST( MrtReaderTest, otherMessagesAndChangesOfASessionAreSkipped ) {
   const auto table = readBack( record( 16, 0, sessionHead( 2 ) + number( 5, 2 ) + number( 6, 2 ) ) +
                                record( 16, 5, sessionHead( 4 ) + number( 5, 2 ) + number( 6, 2 ) ) +
                                record( 16, kMessageAs4, sessionHead( 4 ) + bgpMessage( 4, "" ) ) +
                                record( 16, kMessage, sessionHead( 2 ) + bgpMessage( 1, "whatever" ) ) );
   EXPECT_EQ( table.summary.skipped, 4u );
   EXPECT_EQ( table.summary.unknown, 0u );
   EXPECT_EQ( table.summary.fault, "" );
}

TEST( MrtReaderTest, pathsOfTwoBytesAreCompletedByThoseOfFour ) {
   struct Row {
      const char * name;
      std::string path;
      std::string path4;
      std::string text;
   };
   const Row rows[] = {
      { "none", segmentOfTwoBytes( 2, { 1, 23456 } ), "", "1 23456" },
      { "the end", segmentOfTwoBytes( 2, { 1, 23456, 2 } ), segment( 2, { 4200000000, 2 } ), "1 4200000000 2" },
      { "all", segmentOfTwoBytes( 2, { 23456 } ), segment( 2, { 4200000000 } ), "4200000000" },
      { "longer than the path", segmentOfTwoBytes( 2, { 23456 } ), segment( 2, { 1, 4200000000 } ), "23456" },
      { "malformed", segmentOfTwoBytes( 2, { 23456 } ), "\x02\x01", "23456" },
      { "a set counts as one", segmentOfTwoBytes( 2, { 1 } ) + segmentOfTwoBytes( 1, { 23456, 3 } ), segment( 1, { 4200000000, 3 } ),
        "1 {4200000000,3}" },
      { "a confederation does not count", segmentOfTwoBytes( 3, { 65010 } ) + segmentOfTwoBytes( 2, { 23456 } ),
        segment( 2, { 4200000000 } ), "(65010) 4200000000" },
      { "several segments", segmentOfTwoBytes( 2, { 1, 2 } ) + segmentOfTwoBytes( 2, { 23456 } ), segment( 2, { 4200000000 } ),
        "1 2 4200000000" },
   };
   for( const auto & row : rows ) {
      const std::string attributes = attribute( 2, row.path ) + ( row.path4.empty() ? "" : attribute( 17, row.path4 ) );
      const auto table = readBack( record( 16, kMessage, sessionHead( 2 ) + update( "", attributes, "\x08\x0a"sv ) ) );
      EXPECT_EQ( table.broken, Strings() ) << row.name;
      ASSERT_EQ( table.routes.size(), 1u ) << row.name;
      EXPECT_EQ( table.routes[ 0 ].asPath, row.text ) << row.name;
   }
   EXPECT_EQ( routeWith( attribute( 2, segment( 2, { 1 } ) ) + attribute( 17, segment( 2, { 2 } ) ) ).asPath, "1" )
      << "four bytes are complete";
}

TEST( MrtReaderTest, brokenUpdatesAreReportedAndTheOthersAreRead ) {
   const auto session = []( const std::string & message ) { return record( 16, kMessageAs4, sessionHead( 4 ) + message ); };
   const std::string whole = update( "", kNextHop, kTwoPrefixes );
   struct Row {
      const char * name;
      std::string record;
      std::string reason;
      size_t routes = 0;   // of the record itself
   };
   const Row rows[] = {
      { "nothing", record( 16, 4, "" ), "cut short inside its message" },
      { "microseconds only", record( 17, 4, "1234" ), "cut short inside its message" },
      { "family", record( 16, 4, sessionHead( 4, 3 ) + whole ), "addresses of family 3" },
      { "head", session( whole.substr( 0, 18 ) ), "cut short inside its message" },
      { "message", session( whole.substr( 0, whole.size() - 1 ) ), "cut short inside its message" },
      { "size below that of a head", session( std::string( 16, '\xff' ) + number( 18, 2 ) + "\2" ), "cut short inside its message" },
      { "withdrawn prefixes", session( bgpMessage( 2, "\0\5"sv ) ), "cut short inside its message" },
      { "attributes", session( bgpMessage( 2, "\0\0\0\5"sv ) ), "cut short inside its message" },
      { "bytes behind the message", session( whole + "x" ), "1 bytes after the message", 2 },
      { "MED", updateRecord( "", attribute( 4, "x" ), kTwoPrefixes ), "MED of 1 bytes" },
      { "origin", updateRecord( "", attribute( 1, "\3" ), kTwoPrefixes ), "ORIGIN of value 3" },
      { "size of an origin", updateRecord( "", attribute( 1, "" ), kTwoPrefixes ), "ORIGIN of 0 bytes" },
      { "large communities", updateRecord( "", attribute( 32, "x" ), kTwoPrefixes ), "LARGE_COMMUNITY of 1 bytes" },
      { "extended communities", updateRecord( "", attribute( 16, "x" ), kTwoPrefixes ), "EXTENDED_COMMUNITIES of 1 bytes" },
      { "length of a prefix", updateRecord( "", "", "\x08\x0a\x21"sv ), "prefix length 33: above 32", 1 },
      { "prefix", updateRecord( "", "", "\x08\x0a\x18\x0a"sv ), "cut short inside a prefix", 1 },
      { "withdrawn prefix", updateRecord( "\x18\x0a"sv, "", "\x08\x0a"sv ), "cut short inside a prefix", 1 },
      { "path identifier", record( 16, kMessageAs4AddPath, sessionHead( 4 ) + update( "", "", "\0\0\0"sv ) ), "cut short inside a prefix" },
      { "MP_REACH_NLRI", updateRecord( "", attribute( 14, "\0\2\1\x10"sv ), "" ), "MP_REACH_NLRI ends inside its next hop" },
      { "MP_UNREACH_NLRI", updateRecord( "", attribute( 15, "\0\2"sv ), "" ), "MP_UNREACH_NLRI of 2 bytes" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto table = readBack( kGood + row.record + kGood );
      EXPECT_EQ( table.summary.fault, "" );
      EXPECT_EQ( table.routes.size(), 2 + row.routes );
      EXPECT_EQ( table.broken, Strings{ "record 2: at byte " + std::to_string( kGood.size() ) + ": " + row.reason } );
   }
}

// The files hold updates and tables of version 1, and what bgpdump 1.6.2 prints of them. Its text has no large communities,
// and no difference between a MED of 0 and none.
TEST( MrtReaderTest, updatesAreAsPrinted ) {
   const std::string corpus = "fuzz/corpus/";
   std::vector<TableRoute> routes;
   for( const char * name : { "table-dump-v1", "updates", "updates-path-identifiers" } ) {
      FileSource source( corpus + "MrtReaderFuzz/" + name );
      const auto table = readBack( source );
      EXPECT_EQ( table.summary.fault, "" ) << name;
      EXPECT_EQ( table.broken, Strings() ) << name;
      routes.insert( routes.end(), table.routes.begin(), table.routes.end() );
   }
   for( auto & route : routes ) {
      route.metric = route.metric.value();
      route.largeCommunities.clear();
   }
   FileSource source( corpus + "TableReaderFuzz/bgpdump-of-updates" );
   auto printed = readBack( source );
   EXPECT_EQ( printed.broken, Strings() );
   ASSERT_EQ( printed.routes.size(), 22u );
   ASSERT_EQ( routes.size(), 22u );
   // Of the messages with path identifiers that the router itself has sent, the text tells the router as the peer.
   size_t ofRouter = 0;
   for( size_t i = 0; i < routes.size(); ++i )
      if( auto & peer = printed.routes[ i ].peer; peer == Ferule::IpGenAddr( "192.0.2.1" ) && routes[ i ].peer == Ferule::IpGenAddr() ) {
         peer = {};
         ++ofRouter;
      }
   EXPECT_EQ( ofRouter, 2u );
   EXPECT_EQ( routes, printed.routes );
}

TEST( MrtReaderTest, missingPeersAreBroken ) {
   const auto of = []( uint16_t peer ) { return rib( 0, "", entries( { entry( "", peer ) } ) ); };
   EXPECT_EQ( readBack( peers( 3 ) + of( 2 ) ).broken, Strings() );
   const std::string table = peers( 3 );
   EXPECT_EQ( readBack( table + of( 3 ) ).broken,
              Strings{ "record 2: at byte " + std::to_string( table.size() ) + ": entry 1 of 1: peer 3 of 3" } );
   EXPECT_EQ( readBack( of( 3 ) ).broken, Strings() ) << "without a table of peers nobody knows";
   EXPECT_EQ( readBack( peers( 1 ) + record( kV2, 1, "" ) + of( 3 ) ).broken.size(), 1u ) << "nor with a broken one";
   EXPECT_EQ( readBack( peers( 1 ) + peers( 9 ) + of( 3 ) ).broken, Strings() ) << "the latest counts";
}

TEST( MrtReaderTest, anEntryTellsItsPeer ) {
   const auto of = []( uint16_t peer ) { return rib( 0, "", entries( { entry( "", peer ) } ) ); };
   const auto table =
      readBack( of( 1 ) + peers( 4 ) + of( 0 ) + of( 1 ) + of( 2 ) + of( 3 ) + peers( 1 ) + of( 0 ) + record( kV2, 1, "" ) + of( 0 ) );
   std::vector<Ferule::IpGenAddr> told;
   for( const auto & route : table.routes ) told.push_back( route.peer );
   const Ferule::IpGenAddr none, router( "0.0.0.0" );
   EXPECT_EQ( told,
              ( std::vector{ none, router, Ferule::IpGenAddr( "::1" ), Ferule::IpGenAddr( "0.0.0.2" ), Ferule::IpGenAddr( "::3" ), router,
                             none } ) );
}

TEST( MrtReaderTest, recordThatIsTooLongIsSkippedByItsLength ) {
   TableLimits limits;
   limits.maxRecord = 100;
   const std::string longest = record( kV2, 99, std::string( 100, 'x' ) );
   const auto table = readBack(
      kGood + longest + record( kV2, 99, std::string( 101, 'x' ) ) + record( kV2, 99, std::string( 1'000'000, 'x' ) ) + kGood, limits );
   EXPECT_EQ( table.summary.fault, "" );
   EXPECT_EQ( table.summary.skipped, 1u );
   EXPECT_EQ( table.routes.size(), 2u );
   const size_t at = kGood.size() + longest.size();
   EXPECT_EQ( table.broken,
              ( Strings{ "record 3: at byte " + std::to_string( at ) + ": longer than 100 bytes",
                         "record 4: at byte " + std::to_string( at + 113 ) + ": longer than 100 bytes" } ) );
}

TEST( MrtReaderTest, everyCutEndsTheTableWithAFault ) {
   const std::string first = peers( 2 ) + kGood;
   const std::string bytes = first + kGood;
   for( size_t size = first.size() + 1; size < bytes.size(); ++size ) {
      const auto table = readBack( bytes.substr( 0, size ) );
      EXPECT_EQ( table.routes.size(), 1u ) << size;
      EXPECT_EQ( table.broken, Strings() );
      const size_t there = size - first.size();
      EXPECT_EQ( table.summary.fault,
                 "record 3 at byte " + std::to_string( first.size() ) + " is cut short: " + std::to_string( there ) + " of " +
                    std::to_string( there < 12 ? 12 : kGood.size() ) + " bytes" );
   }
   EXPECT_EQ( readBack( first ).summary.fault, "" ) << "between two records nothing is missing";
}

TEST( MrtReaderTest, lengthBeyondTheEndIsACut ) {
   const auto huge = number( 0, 4 ) + number( kV2, 2 ) + number( kIpv4, 2 ) + number( 0xffffffff, 4 ) + "few";
   const auto table = readBack( kGood + huge );
   EXPECT_EQ( table.routes.size(), 1u );
   EXPECT_EQ( table.summary.fault, "record 2 at byte " + std::to_string( kGood.size() ) + " is cut short: 15 of 4294967307 bytes" );
}

TEST( MrtReaderTest, anyCompressionAndAnyPieces ) {
   std::string bytes = peers( 2 );
   for( int i = 0; i < 3000; ++i )
      bytes += rib( 24, number( i, 3 ), entries( { entry( kNextHop ), entry( attribute( 4, number( i, 4 ) ) ) } ) );
   for( const auto how : kCompressions ) {
      SCOPED_TRACE( stringValue( how ) );
      const std::string stored = compressed( bytes, how );
      TricklingSource source( stored, 13 );
      const auto table = readBack( source );
      EXPECT_EQ( table.summary.form, TableForm::mrt );
      EXPECT_EQ( table.summary.compression, how );
      EXPECT_EQ( table.summary.fault, "" );
      ASSERT_EQ( table.routes.size(), 6000u );
      for( uint32_t i = 0; i < 3000; ++i ) {
         ASSERT_EQ( table.routes[ 2 * i ].prefix, Ferule::IpGenPrefix( Ferule::IpAddr( i << 8 ), 24 ) );
         ASSERT_EQ( table.routes[ 2 * i + 1 ].metric, Zeugma::MaybeU63( i ) );
      }
   }
}

TEST( MrtReaderTest, cutStreamTellsTheCause ) {
   std::string bytes;
   for( int i = 0; i < 3000; ++i )
      bytes += rib( 24, number( i * 7919, 3 ), entries( { entry( attribute( 4, number( i * 104729, 4 ) ) ) } ) );
   const auto stored = compressed( bytes, Compression::gzip );
   const auto table = readBack( std::string_view( stored ).substr( 0, stored.size() / 2 ) );
   EXPECT_EQ( table.summary.fault, "gzip data is cut short" );
   EXPECT_GT( table.routes.size(), 1000u );
   EXPECT_LT( table.routes.size(), 3000u );
   EXPECT_EQ( table.broken, Strings() );
}

TEST( MrtReaderTest, firstBytesShowTheFormat ) {
   struct Row {
      const char * name;
      std::string bytes;
      bool expected;
   };
   const Row rows[] = {
      { "table", record( 13, 1, "" ), true },
      { "older table", record( 12, 1, "" ), true },
      { "messages", record( 16, 4, "" ), true },
      { "messages with microseconds", record( 17, 4, "" ), true },
      { "no more than is needed", record( 13, 1, "" ).substr( 0, 8 ), true },
      { "too few", record( 13, 1, "" ).substr( 0, 7 ), false },
      { "nothing", "", false },
      { "another type", record( 48, 0, "" ), false },
      { "subtype that is none", record( 13, 256, "" ), false },
      { "lines", "10.0.0.0/8\n", false },
      { "table dump", "TABLE_DUMP2|1", false },
      { "text of two bytes a character", "\xfe\xff\0001\0000\000.\0000"s, false },
      { "zeros", std::string( 12, '\0' ), false },
   };
   for( const auto & row : rows ) EXPECT_EQ( looksLikeMrt( row.bytes ), row.expected ) << row.name;
}

struct Counting final : FormHandler {
   uint64_t routes = 0;
   void handleRoute( const TableRoute & ) override { ++routes; }
   void handleSkipped() override {}
   void handleUnknown() override {}
   void handleRemark( std::string_view ) override {}
   void handleBroken( uint64_t, std::string_view ) override {}
};

TEST( MrtReaderTest, noAllocationForARoute ) {
   const std::string attributes = attribute( 2, segment( 2, { 4200000000, 4200000001, 4200000002 } ) ) + kNextHop +
      attribute( 8, number( 0xfc000002, 4 ) + number( 0xfc000001, 4 ) );
   const auto allocationsOf = [ & ]( int records ) {
      std::string bytes;
      for( int i = 0; i < records; ++i ) bytes += ribWith( attributes );
      MemorySource source( bytes );
      Input input( source );
      TextReader text( input, 1000 );
      Counting counting;
      const size_t before = allocationCount();
      EXPECT_EQ( readMrt( text, 1000, counting ), "" );
      EXPECT_EQ( counting.routes, static_cast<uint64_t>( records ) );
      return allocationCount() - before;
   };
   EXPECT_EQ( allocationsOf( 10 ), allocationsOf( 10'000 ) );
}

// The same RIB as a tool printed it, whose text has no difference between 0 and none.
void expectSameRoutes( const std::string & mrt, const std::string & lines ) {
   FileSource mrtSource( mrt );
   const auto table = readBack( mrtSource );
   FileSource lineSource( lines );
   const auto printed = readBack( lineSource );
   ASSERT_EQ( printed.summary.fault, "" );
   EXPECT_EQ( table.summary.form, TableForm::mrt );
   EXPECT_EQ( table.summary.fault, "bzip2 data is cut short" ) << "the file holds the beginning of one";
   EXPECT_EQ( table.broken, Strings() );
   const size_t both = std::min( table.routes.size(), printed.routes.size() );
   ASSERT_GT( both, 100'000u );
   for( size_t i = 0; i < both; ++i ) {
      auto route = table.routes[ i ];
      route.metric = route.metric.value();
      if( route.localPreference == 0u ) route.localPreference.reset();
      ASSERT_EQ( route, printed.routes[ i ] ) << i << ": " << route.prefix << " " << route.asPath;
   }
}

TEST( MrtReaderTest, realTablesAreAsPrinted ) {
   const char * folder = std::getenv( "ROUTEPOLICY_TEST_DATA" );
   if( !folder ) GTEST_SKIP() << "ROUTEPOLICY_TEST_DATA names no folder with tables";
   for( const std::string name : { "rib-ipv4-2014", "rib-ipv6-2015" } ) {
      SCOPED_TRACE( name );
      const std::string path = std::string( folder ) + "/" + name;
      expectSameRoutes( path + ".first-mb.mrt.bz2", path + ".bgpdump-m.xz" );
   }
}

}   // namespace
}   // namespace Agent
