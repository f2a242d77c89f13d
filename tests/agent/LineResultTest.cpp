#include "table/LineResult.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "substrate/quoin/Exception.h"

namespace Agent {
namespace {

using namespace std::string_view_literals;

TEST( LineResultTest, prefixesThatAre ) {
   struct Row {
      std::string_view text;
      std::string_view printed;
   };
   const Row rows[] = {
      { "0.0.0.0/0", "0.0.0.0/0" },
      { "10.0.0.0/8", "10.0.0.0/8" },
      { "192.0.2.1", "192.0.2.1/32" },
      { "::/0", "::/0" },
      { "2001:DB8::/32", "2001:db8::/32" },
      { "2001:db8::1", "2001:db8::1/128" },
      { "::ffff:192.0.2.0/120", "::ffff:192.0.2.0/120" },
   };
   for( const auto & row : rows ) {
      std::string reason;
      const auto prefix = parsePrefix( row.text, reason );
      ASSERT_TRUE( prefix ) << row.text << ": " << reason;
      EXPECT_EQ( prefix->toStrep().view(), row.printed );
      EXPECT_EQ( reason, "" );
   }
}

TEST( LineResultTest, addressesAreThoseOfTheValueClass ) {
   for( const auto text : { "0.0.0.0"sv, "255.255.255.255"sv, "192.0.2.1"sv, "01.2.3.4"sv, "1.2.3.04"sv, "256.0.0.1"sv, "1.2.3"sv,
                            "1.2.3.4."sv, "1..3.4"sv, ".1.2.3"sv, "1.2.3.4.5"sv, "1.2.3.4 "sv, "1.2.3.4\0"sv, "1.2.3.4\0005"sv, "1234"sv,
                            "+1.2.3.4"sv, "2001:db8::1"sv, "::ffff:192.0.2.1"sv, ""sv } ) {
      std::string reason;
      std::optional<Ferule::IpGenAddr> expected;
      try {
         expected = Ferule::IpGenAddr( text );
      } catch( const Quoin::RangeException & ) {}
      EXPECT_EQ( parseAddress( text, reason ), expected ) << text;
   }
}

TEST( LineResultTest, prefixesThatAreNot ) {
   struct Row {
      const char * name;
      std::string_view text;
      std::string_view reason;
   };
   const Row rows[] = {
      { "nothing", "", "address \"\": not an address" },
      { "a word", "default", "address \"default\": not an address" },
      { "three bytes", "10.0.0/8", "address \"10.0.0\": not an address" },
      { "no length", "10.0.0.0/", "prefix length \"\": not a decimal number" },
      { "signed length", "10.0.0.0/-1", "prefix length \"-1\": not a decimal number" },
      { "length of the other family", "10.0.0.0/33", "prefix length \"33\": above 32" },
      { "beyond IPv6", "::/129", "prefix length \"129\": above 128" },
      { "mask instead of length", "10.0.0.0/255.0.0.0", "prefix length \"255.0.0.0\": not a decimal number" },
      { "zone", "fe80::1%eth0", "address \"fe80::1%eth0\": not an address" },
      { "host bits", "10.1.2.3/24", "10.1.2.3/24: bits are set after the prefix length; did you mean 10.1.2.0/24?" },
      { "host bits, IPv6", "2001:db8::1/64", "2001:db8::1/64: bits are set after the prefix length; did you mean 2001:db8::/64?" },
      { "host bits, everything", "1.2.3.4/0", "1.2.3.4/0: bits are set after the prefix length; did you mean 0.0.0.0/0?" },
      { "zero byte", "10.0.0.0\0/8"sv, "\"10.0.0.0\\x00/8\": not an address" },
      { "terminal codes", "\x1b[2J", "\"\\x1b[2J\": not an address" },
   };
   for( const auto & row : rows ) {
      std::string reason;
      EXPECT_FALSE( parsePrefix( row.text, reason ) ) << row.name;
      EXPECT_EQ( reason, row.reason ) << row.name;
   }
}

TEST( LineResultTest, longTextIsShownByItsBeginning ) {
   std::string reason;
   EXPECT_FALSE( parsePrefix( std::string( 1000, '1' ), reason ) );
   EXPECT_EQ( reason, "\"" + std::string( 64, '1' ) + "...\": not an address" );
   EXPECT_FALSE( parseAddress( std::string( 1000, ':' ), reason ) );
   EXPECT_EQ( reason, "\"" + std::string( 64, ':' ) + "...\": not an address" );
}

TEST( LineResultTest, addresses ) {
   std::string reason;
   EXPECT_EQ( parseAddress( "192.0.2.1", reason )->toStrep(), "192.0.2.1" );
   EXPECT_EQ( parseAddress( "2001:db8::1", reason )->toStrep(), "2001:db8::1" );
   EXPECT_FALSE( parseAddress( "192.0.2.1/32", reason ) );
   EXPECT_EQ( reason, "address \"192.0.2.1/32\": not an address" );
}

TEST( LineResultTest, numbers ) {
   EXPECT_EQ( parseNumber( "0", 10 ), 0u );
   EXPECT_EQ( parseNumber( "10", 10 ), 10u );
   EXPECT_EQ( parseNumber( "18446744073709551615", ~uint64_t( 0 ) ), ~uint64_t( 0 ) );
   for( const auto text : { ""sv, "11"sv, "-1"sv, "+1"sv, " 1"sv, "1 "sv, "0x1"sv, "18446744073709551616"sv, "1\0"sv } )
      EXPECT_FALSE( parseNumber( text, 10 ) ) << text;
}

TEST( LineResultTest, communitiesInOrder ) {
   std::vector<uint32_t> communities = { 3, 1, 3, 2, 1 };
   sortCommunities( communities );
   EXPECT_EQ( communities, ( std::vector<uint32_t>{ 1, 2, 3 } ) );
}

TEST( LineResultTest, originOfAPath ) {
   EXPECT_EQ( originAsOf( "" ), 0u );
   EXPECT_EQ( originAsOf( "64500" ), 64500u );
   EXPECT_EQ( originAsOf( "64500 64501" ), 64501u );
   EXPECT_EQ( originAsOf( "64500 {64501}" ), 0u );
}

TEST( LineResultTest, addressesFromBytes ) {
   using Ferule::AddressFamily;
   EXPECT_EQ( addressOf( AddressFamily::ipv4, "\xc0\x00\x02\x01"sv ), Ferule::IpGenAddr( "192.0.2.1" ) );
   EXPECT_EQ( addressOf( AddressFamily::ipv4, "\x0a"sv ), Ferule::IpGenAddr( "10.0.0.0" ) );
   EXPECT_EQ( addressOf( AddressFamily::ipv6, "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x09"sv ), Ferule::IpGenAddr( "2001:db8::9" ) );
   EXPECT_EQ( addressOf( AddressFamily::ipv6, {} ), Ferule::IpGenAddr( "::" ) );
}

}   // namespace
}   // namespace Agent
