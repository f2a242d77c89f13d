// Lines of lists as the dialect of FRR reads them.
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

using testing::ElementsAre;

struct Loaded {
   std::string text;
   std::vector<std::string> errors;
   std::vector<std::string> doubts;
   uint64_t skipped;
};

Loaded load( std::string_view lines, Dialect dialect = Dialect::frr ) {
   LineLoader loader( dialect );
   loader.load( "f", lines );
   Loaded loaded{ writeText( loader.text() ), {}, {}, loader.text().skippedStanzas };
   for( const auto & error : loader.errors() ) loaded.errors.push_back( loader.toString( error ) );
   for( const auto & doubt : loader.text().doubts ) loaded.doubts.push_back( std::to_string( doubt.place.column ) + ": " + doubt.text );
   return loaded;
}

// Every form of a list that FRR has and the native dialect has not, or has otherwise, as it is written.
const char kCanonical[] = R"(access-list 10 remark management
access-list 10 seq 5 permit host 10.0.0.0
access-list 10 seq 10 permit 10.0.0.0 0.255.255.255
access-list 10 seq 15 permit 10.0.0.0/32
access-list 10 seq 20 deny 10.9.9.9 0.255.255.255
access-list 10 seq 25 permit 0.0.0.1 255.255.255.255
access-list 10 seq 30 permit 0.0.0.0/0 exact-match
access-list 10 seq 35 permit 10.0.0.0/8 exact-match
access-list 10 seq 40 permit 11.0.0.0/8
access-list 10 seq 45 deny any
access-list 110 seq 5 permit ip 10.0.0.0 0.0.255.255 any
access-list 110 seq 10 permit ip host 172.16.1.0 host 255.255.255.0
access-list 110 seq 15 permit ip any 255.255.0.0 0.0.255.255
access-list 110 seq 20 deny ip any any
ipv6 access-list V6 seq 5 permit 2001:db8::/32
ipv6 access-list V6 seq 10 permit 2001:db8::/32 exact-match
ipv6 access-list V6 seq 15 permit 2001:db8::1/128
ipv6 access-list V6 seq 20 deny any
bgp community-list expanded 100 seq 0 permit \<65000:[0-9]{,3}$
bgp community-list standard 99 seq 0 permit 65000:1
bgp community-list standard C seq 4294967295 deny internet
bgp as-path access-list 7 seq 0 permit (^|_)65001{1}$
route-map M permit 10
 match community C exact-match
route-map M permit 20
 match community C any
)";

TEST( FrrLines, everyFormIsWrittenAsItIsRead ) {
   const Loaded loaded = load( kCanonical );
   EXPECT_THAT( loaded.errors, ElementsAre() );
   EXPECT_EQ( loaded.text, kCanonical );
   EXPECT_EQ( loaded.skipped, 0u );
}

TEST( FrrLines, olderAndOtherSpellings ) {
   const struct {
      const char * line;
      const char * is;
   } rows[] = {
      { "access-list 10 permit 10.0.0.0", "access-list 10 seq 5 permit host 10.0.0.0" },
      { "access-list 10 permit 10.0.0.0 0.0.0.0", "access-list 10 seq 5 permit 10.0.0.0 0.0.0.0" },
      { "access-list 10 permit 0.0.0.0 255.255.255.255", "access-list 10 seq 5 permit 0.0.0.0 255.255.255.255" },
      { "access-list 10 permit 0.0.0.0/0", "access-list 10 seq 5 permit 0.0.0.0/0" },
      { "access-list 10 permit ip 0.0.0.0 255.255.255.255 any", "access-list 10 seq 5 permit ip 0.0.0.0 255.255.255.255 any" },
      { "bgp community-list 7 permit 65000:1", "bgp community-list standard 7 seq 5 permit 65000:1" },
      { "bgp community-list 500 permit .*", "bgp community-list expanded 500 seq 5 permit .*" },
      { "bgp community-list standard 500 permit 65000:1", "bgp community-list standard 500 seq 5 permit 65000:1" },
      { "ip community-list standard C permit 65000:1", "bgp community-list standard C seq 5 permit 65000:1" },
      { "ip community-list 7 seq 3 permit 65000:1", "bgp community-list standard 7 seq 3 permit 65000:1" },
      { "ip as-path access-list A permit _65001_", "bgp as-path access-list A seq 5 permit _65001_" },
      { "bgp community-list standard C permit internet 65000:1", "bgp community-list standard C seq 5 permit internet" },
      { "bgp community-list standard C permit 0:0", "bgp community-list standard C seq 5 permit internet" },
      { "bgp community-list expanded C permit \"65000:1\"", "bgp community-list expanded C seq 5 permit \"65000:1\"" },
   };
   for( const auto & row : rows ) {
      const Loaded loaded = load( row.line );
      EXPECT_THAT( loaded.errors, ElementsAre() ) << row.line;
      EXPECT_EQ( loaded.text, std::string( row.is ) + "\n" ) << row.line;
   }
}

TEST( FrrLines, bitsBehindTheLengthAreMaskedWithADoubt ) {
   const Loaded loaded = load( "ip prefix-list P permit 172.16.1.10/24 le 32\n"
                               "ipv6 prefix-list P permit 2001:db8::1/32\n"
                               "access-list A permit 10.1.2.3/8 exact-match\n"
                               "no ip prefix-list Q permit 172.16.1.10/24\n"
                               "ip prefix-list P permit 172.16.1.10/24 le 33\n"
                               "access-list A permit 10.1.2.3 0.0.0.255\n"
                               "access-list A permit 10.1.2.0 255.255.255.255\n" );
   EXPECT_EQ( loaded.text,
              "ip prefix-list P seq 5 permit 172.16.1.0/24 le 32\n"
              "ipv6 prefix-list P seq 5 permit 2001:db8::/32\n"
              "access-list A seq 5 permit 10.0.0.0/8 exact-match\n"
              "access-list A seq 10 permit 10.1.2.3 0.0.0.255\n"
              "access-list A seq 15 permit 10.1.2.0 255.255.255.255\n" );
   EXPECT_THAT(
      loaded.doubts,
      ElementsAre( "25: \"172.16.1.10/24\" has bits set after its length; the network is 172.16.1.0/24",
                   "27: \"2001:db8::1/32\" has bits set after its length; the network is 2001:db8::/32",
                   "22: \"10.1.2.3/8\" has bits set after its length; the network is 10.0.0.0/8",
                   "1: FRR refuses \"no ip prefix-list Q permit 172.16.1.10/24\": the list has no such line; the line has no effect",
                   "31: \"0.0.0.255\" is the wildcard of bits that are set in \"10.1.2.3\", so this line matches no address",
                   "31: \"255.255.255.255\" is a wildcard here, so this line matches no address; write \"host 10.1.2.0\" to match "
                   "one" ) );
   EXPECT_THAT( loaded.errors, ElementsAre( "f:5:43: \"le 33\" is above 32, the length of an IPv4 address" ) );
}

TEST( FrrLines, aLineThatTheListHasChangesNothing ) {
   // Under another number: FRR keeps the first one.
   EXPECT_EQ( load( "access-list L seq 9 permit 10.0.0.0/8\naccess-list L seq 8 deny any\naccess-list L seq 7 permit 10.0.0.0/8\n" ).text,
              "access-list L seq 8 deny any\naccess-list L seq 9 permit 10.0.0.0/8\n" );
   EXPECT_EQ( load( "access-list L seq 9 permit 10.0.0.0/8\naccess-list L seq 9 deny 10.0.0.0/8\n" ).text,
              "access-list L seq 9 deny 10.0.0.0/8\n" );
   // The native dialect has both.
   EXPECT_EQ( load( "access-list L seq 9 permit any\naccess-list L seq 7 permit any\n", Dialect::native ).text,
              "access-list L seq 7 permit any\naccess-list L seq 9 permit any\n" );
}

TEST( FrrLines, linesWithoutEffect ) {
   const Loaded loaded = load( "ip prefix-list sequence-number\nno ipv6 prefix-list sequence-number\n"
                               "route-map M optimization\nno route-map M optimization\n"
                               "access-list R remark nothing else\n" );
   EXPECT_EQ( loaded.text, "" );
   EXPECT_THAT( loaded.errors, ElementsAre() );
   EXPECT_THAT( loaded.doubts, ElementsAre() );
   // A line with "optimization" ends the sequence above it.
   EXPECT_EQ( load( "route-map M permit 10\nroute-map M optimization\n" ).text, "route-map M permit 10\n" );
}

TEST( FrrLines, wrongLines ) {
   const struct {
      const char * line;
      const char * error;
   } rows[] = {
      { "access-list A permit any exact-match", "f:1:26: expected the end of the line, found \"exact-match\"" },
      { "access-list A permit host 10.0.0.0 exact-match", "f:1:36: expected the end of the line, found \"exact-match\"" },
      { "access-list A permit 10.0.0.0 exact-match", "f:1:31: expected a wildcard mask, found \"exact-match\"" },
      { "access-list A permit ip any", "f:1:28: expected \"any\", \"host\" or an IPv4 address, found the end of the line" },
      { "access-list A permit ip 10.0.0.0/8 any", "f:1:25: expected \"any\", \"host\" or an IPv4 address, found \"10.0.0.0/8\"" },
      { "access-list A seq 0 permit any", "f:1:19: expected a sequence number from 1 to 4294967295, found \"0\"" },
      { "ipv6 access-list A permit host 2001:db8::", "f:1:27: expected an IPv6 prefix, found \"host\"" },
      { "ipv6 access-list A permit 2001:db8::", "f:1:27: expected an IPv6 prefix, found \"2001:db8::\", which has no length" },
      { "bgp community-list 501 permit 65000:1", "f:1:20: expected \"standard\" or \"expanded\", found \"501\"" },
      { "bgp community-list 0 permit 65000:1", "f:1:20: expected \"standard\" or \"expanded\", found \"0\"" },
      { "bgp as-path access-list A permit (1)\\1",
        "f:1:34: \"(1)\\1\" cannot be used as a regular expression: \"\\1\" refers back to a part of the text, which is not supported" },
      { "bgp as-path access-list A permit \"^1$\"", "f:1:34: expected digits, blanks and operators of a regular expression, found \"\"\"" },
      { "bgp as-path access-list A permit ^1$ !", "f:1:38: expected digits, blanks and operators of a regular expression, found \"!\"" },
      { "bgp as-path access-list A permit 65001(", "f:1:34: \"65001(\" cannot be used as a regular expression: \"(\" has no \")\"" },
   };
   for( const auto & row : rows ) EXPECT_THAT( load( row.line ).errors, ElementsAre( row.error ) ) << row.line;
   // Packet filters of other daemons.
   for( const char * line : { "access-list 101 permit tcp any any", "access-list 101 deny udp any any eq 53" } )
      EXPECT_EQ( load( line ).skipped, 1u ) << line;
}

TEST( FrrLines, theNativeDialectHasNoneOfThem ) {
   for( const char * line :
        { "access-list A permit 10.0.0.0/8 exact-match", "bgp community-list 7 permit 65000:1",
          "bgp community-list standard C seq 0 permit 65000:1", "ip prefix-list P permit 10.0.0.1/8", "route-map M optimization" } )
      EXPECT_EQ( load( line, Dialect::native ).errors.size(), 1u ) << line;
   EXPECT_EQ( load( "route-map M permit 10\n match community C exact-match\n", Dialect::native ).errors.size(), 1u );
   for( const char * line :
        { "ip community-list standard C permit 65000:1", "ip as-path access-list A permit 1", "access-list 110 permit ip any any" } )
      EXPECT_EQ( load( line, Dialect::native ).skipped, 1u ) << line;
}

}   // namespace
}   // namespace Agent
