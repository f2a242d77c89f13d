#include "text/LineLoader.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "substrate/routemap/PrefixListBuilder.h"
#include "tests/agent/RandomText.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;

std::vector<std::string> errorsOf( const LineLoader & loader ) {
   std::vector<std::string> errors;
   for( const auto & error : loader.errors() ) errors.push_back( loader.toString( error ) );
   return errors;
}

/// What is loaded of lines without an error.
PolicyText loaded( std::string_view lines ) {
   LineLoader loader;
   loader.load( "a.conf", lines );
   EXPECT_THAT( errorsOf( loader ), ElementsAre() ) << lines;
   return loader.text();
}

std::string written( std::string_view lines ) {
   return writeText( loaded( lines ) );
}

// Lines, and what they come to in the canonical form.
struct Row {
   const char * name;
   std::string_view lines;
   std::string_view canonical;
};

void expectWritten( const std::vector<Row> & rows ) {
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      EXPECT_EQ( written( row.lines ), row.canonical );
   }
}

TEST( LineLoader, listLines ) {
   expectWritten( {
      { "nothing", "", "" },
      { "a prefix list without numbers", "ip prefix-list A permit 10.0.0.0/8\nip prefix-list A deny 11.0.0.0/8 le 24\n",
        "ip prefix-list A seq 5 permit 10.0.0.0/8\nip prefix-list A seq 10 deny 11.0.0.0/8 le 24\n" },
      { "bounds in any order", "ip prefix-list A permit 10.0.0.0/8 le 24 ge 16", "ip prefix-list A seq 5 permit 10.0.0.0/8 ge 16 le 24\n" },
      { "bounds at their ends", "ip prefix-list A permit 10.0.0.0/8 ge 8 le 8\nip prefix-list A permit 10.0.0.0/8 ge 32 le 32",
        "ip prefix-list A seq 5 permit 10.0.0.0/8 ge 8 le 8\nip prefix-list A seq 10 permit 10.0.0.0/8 ge 32 le 32\n" },
      { "any is all of the family", "ip prefix-list A permit 0.0.0.0/0 le 32\nipv6 prefix-list A permit ::/0 le 128",
        "ip prefix-list A seq 5 permit any\nipv6 prefix-list A seq 5 permit any\n" },
      { "the two families have lists of their own", "ipv6 prefix-list A permit 2001:DB8::/32 ge 48\nip prefix-list A permit 10.0.0.0/8",
        "ip prefix-list A seq 5 permit 10.0.0.0/8\nipv6 prefix-list A seq 5 permit 2001:db8::/32 ge 48\n" },
      { "a description before the first line", "ip prefix-list A description two  words \nip prefix-list A permit any",
        "ip prefix-list A description two  words\nip prefix-list A seq 5 permit any\n" },
      { "the later description", "ip prefix-list A permit any\nip prefix-list A description one\nip prefix-list A description two",
        "ip prefix-list A description two\nip prefix-list A seq 5 permit any\n" },
      { "a description of nothing is nothing", "ip prefix-list A description one", "" },
      { "words as names", "ip prefix-list permit permit any\nip prefix-list seq seq 7 permit any\nroute-map deny deny 1\n call invert",
        "ip prefix-list permit seq 5 permit any\nip prefix-list seq seq 7 permit any\nroute-map deny deny 1\n call invert\n" },
      { "sources of access lists",
        "access-list 1 permit any\naccess-list 1 permit 10.0.0.0/8\naccess-list 1 permit 10.0.0.1\naccess-list 1 permit host 10.0.0.2\n"
        "access-list 1 permit 10.0.0.0 0.0.255.255\naccess-list 1 permit 10.0.0.0 0.255.0.254\naccess-list 1 permit 10.0.0.3 0.0.0.0\n"
        "access-list 1 deny 10.1.2.3/8\naccess-list 1 deny 0.0.0.0/0\n",
        "access-list 1 seq 5 permit any\naccess-list 1 seq 10 permit 10.0.0.0/8\naccess-list 1 seq 15 permit host 10.0.0.1\n"
        "access-list 1 seq 20 permit host 10.0.0.2\naccess-list 1 seq 25 permit 10.0.0.0/16\n"
        "access-list 1 seq 30 permit 10.0.0.0 0.255.0.254\naccess-list 1 seq 35 permit host 10.0.0.3\naccess-list 1 seq 40 deny "
        "10.1.2.3/8\n"
        "access-list 1 seq 45 deny any\n" },
      { "one source in two forms is one line", "access-list 1 permit 10.0.0.0 0.0.255.255\naccess-list 1 permit 10.0.0.0/16",
        "access-list 1 seq 5 permit 10.0.0.0/16\n" },
      { "IPv6 access lists", "ipv6 access-list A permit any\nipv6 access-list A seq 7 deny 2001:db8::/32\nipv6 access-list A permit ::1",
        "ipv6 access-list A seq 5 permit any\nipv6 access-list A seq 7 deny 2001:db8::/32\nipv6 access-list A seq 10 permit host ::1\n" },
      { "a remark", "access-list 1 remark who may\naccess-list 1 permit any",
        "access-list 1 remark who may\naccess-list 1 seq 5 permit any\n" },
      { "tag sets grow", "tag-set T 7\ntag-set T 5 4294967295 7\ntag-set U 0", "tag-set T 5 7 4294967295\ntag-set U 0\n" },
      { "communities in any form and order", "bgp community-list standard C permit no-export 64500:2 4226023425 64500:2 65535:666",
        "bgp community-list standard C seq 5 permit 64484:1 64500:2 blackhole no-export\n" },
      { "internet matches every route", "bgp community-list standard C seq 3 permit internet\n",
        "bgp community-list standard C seq 3 permit internet\n" },
      { "internet takes nothing away", "bgp community-list standard C permit internet 64500:1",
        "bgp community-list standard C seq 5 permit 64500:1\n" },
      { "expressions go to the end of the line",
        "bgp community-list expanded C deny 64500:.* no  \nbgp as-path access-list P permit _64500_ (a|b)",
        "bgp community-list expanded C seq 5 deny 64500:.* no\nbgp as-path access-list P seq 5 permit _64500_ (a|b)\n" },
      { "an expanded list after one that went",
        "bgp community-list standard C permit 1:1\nno bgp community-list standard C permit 1:1\n"
        "bgp community-list expanded C permit 1:1",
        "bgp community-list expanded C seq 5 permit 1:1\n" },
   } );
}

TEST( LineLoader, numbersOfLines ) {
   expectWritten( {
      { "fives behind the highest",
        "ip prefix-list A seq 7 permit 10.0.0.0/8\nip prefix-list A permit 11.0.0.0/8\nip prefix-list A permit any",
        "ip prefix-list A seq 7 permit 10.0.0.0/8\nip prefix-list A seq 10 permit 11.0.0.0/8\nip prefix-list A seq 15 permit any\n" },
      { "behind a multiple of five", "ip prefix-list A seq 10 permit 10.0.0.0/8\nip prefix-list A permit any",
        "ip prefix-list A seq 10 permit 10.0.0.0/8\nip prefix-list A seq 15 permit any\n" },
      { "the last number of all", "ip prefix-list A seq 4294967294 permit 10.0.0.0/8\nip prefix-list A permit any",
        "ip prefix-list A seq 4294967294 permit 10.0.0.0/8\nip prefix-list A seq 4294967295 permit any\n" },
      { "what is there already changes nothing",
        "ip prefix-list A seq 7 permit any\nip prefix-list A permit any\nip prefix-list A seq 7 permit any",
        "ip prefix-list A seq 7 permit any\n" },
      { "another action is another line", "ip prefix-list A permit any\nip prefix-list A deny any",
        "ip prefix-list A seq 5 permit any\nip prefix-list A seq 10 deny any\n" },
      { "other bounds are another line", "ip prefix-list A permit 1.0.0.0/8 ge 9\nip prefix-list A permit 1.0.0.0/8 le 9",
        "ip prefix-list A seq 5 permit 1.0.0.0/8 ge 9\nip prefix-list A seq 10 permit 1.0.0.0/8 le 9\n" },
      { "a number that is there is replaced",
        "ip prefix-list A permit 1.0.0.0/8\nip prefix-list A seq 5 deny 2.0.0.0/8\nip prefix-list A permit 1.0.0.0/8",
        "ip prefix-list A seq 5 deny 2.0.0.0/8\nip prefix-list A seq 10 permit 1.0.0.0/8\n" },
      { "one content under two numbers",
        "ip prefix-list A seq 1 permit any\nip prefix-list A seq 2 permit any\nip prefix-list A permit any",
        "ip prefix-list A seq 1 permit any\nip prefix-list A seq 2 permit any\n" },
      { "lists between which lines change",
        "ip prefix-list A permit any\nip prefix-list B permit any\nip prefix-list A permit any\nip prefix-list B deny any",
        "ip prefix-list A seq 5 permit any\nip prefix-list B seq 5 permit any\nip prefix-list B seq 10 deny any\n" },
   } );
}

constexpr std::string_view kThree =
   "ip prefix-list A description d\n"
   "ip prefix-list A permit 1.0.0.0/8\nip prefix-list A permit 2.0.0.0/8 le 9\nip prefix-list A permit 1.0.0.0/8 ge 9\n";

TEST( LineLoader, whatIsTakenOffLists ) {
   const std::string head = "ip prefix-list A description d\n", first = "ip prefix-list A seq 5 permit 1.0.0.0/8\n",
                     second = "ip prefix-list A seq 10 permit 2.0.0.0/8 le 9\n", third = "ip prefix-list A seq 15 permit 1.0.0.0/8 ge 9\n";
   struct Case {
      const char * lines;
      std::string left;
   };
   const Case cases[] = {
      { "no ip prefix-list A", "" },
      { "no ip prefix-list A seq 10", head + first + third },
      { "no ip prefix-list A seq 10 permit 2.0.0.0/8 le 9", head + first + third },
      { "no ip prefix-list A seq 10 deny 2.0.0.0/8 le 9", head + first + second + third },
      { "no ip prefix-list A seq 7", head + first + second + third },
      { "no ip prefix-list A permit 2.0.0.0/8 le 9", head + first + third },
      { "no ip prefix-list A permit 2.0.0.0/8", head + first + second + third },
      { "no ip prefix-list B", head + first + second + third },
      { "no ip prefix-list B seq 5", head + first + second + third },
      { "no ip prefix-list B permit any", head + first + second + third },
      { "no ipv6 prefix-list A", head + first + second + third },
      { "no ip prefix-list A description", first + second + third },
      { "no ip prefix-list A description whatever it was", first + second + third },
      { "no ip prefix-list A seq 5\nno ip prefix-list A seq 10\nno ip prefix-list A seq 15", "" },
      { "no ip prefix-list A\nip prefix-list A permit 1.0.0.0/8", first },
      { "no ip prefix-list A seq 5\nip prefix-list A permit 1.0.0.0/8",
        head + second + third + "ip prefix-list A seq 20 permit 1.0.0.0/8\n" },
      { "ip prefix-list A seq 1 permit 1.0.0.0/8\nno ip prefix-list A permit 1.0.0.0/8", head + first + second + third },
      { "ip prefix-list A seq 5 deny any\nno ip prefix-list A permit 1.0.0.0/8\nno ip prefix-list A deny any", head + second + third },
   };
   for( const auto & c : cases ) EXPECT_EQ( written( std::string( kThree ) + c.lines ), c.left ) << c.lines;
}

TEST( LineLoader, whatIsTakenOffOtherThings ) {
   expectWritten( {
      { "a line of an access list", "access-list 1 permit any\naccess-list 1 deny host 1.1.1.1\nno access-list 1 permit any",
        "access-list 1 seq 10 deny host 1.1.1.1\n" },
      { "by its number", "access-list 1 permit any\naccess-list 1 deny any\nno access-list 1 seq 10 deny any",
        "access-list 1 seq 5 permit any\n" },
      { "an access list", "access-list 1 permit any\naccess-list 1 deny any\nno access-list 1", "" },
      { "an IPv6 access list", "ipv6 access-list A permit any\nno ipv6 access-list A", "" },
      { "a remark", "access-list 1 permit any\naccess-list 1 remark r\nno access-list 1 remark", "access-list 1 seq 5 permit any\n" },
      { "a remark of no list yet", "access-list 1 remark r\nno access-list 1 remark r\naccess-list 1 permit any",
        "access-list 1 seq 5 permit any\n" },
      { "a list takes its waiting description along", "access-list 1 remark r\nno access-list 1\naccess-list 1 permit any",
        "access-list 1 seq 5 permit any\n" },
      { "tags", "tag-set T 1 2 3\nno tag-set T 2 4", "tag-set T 1 3\n" },
      { "the last tags", "tag-set T 1 2\nno tag-set T 1 2", "" },
      { "a tag set", "tag-set T 1 2\nno tag-set T", "" },
      { "a tag set that is not there", "no tag-set T\nno tag-set T 5", "" },
      { "a community list", "bgp community-list standard C permit 1:1\nno bgp community-list standard C", "" },
      { "a community list of the other kind", "bgp community-list standard C permit 1:1\nno bgp community-list expanded C",
        "bgp community-list standard C seq 5 permit 1:1\n" },
      { "a line of a community list",
        "bgp community-list expanded C permit a\nbgp community-list expanded C permit b\n"
        "no bgp community-list expanded C permit a",
        "bgp community-list expanded C seq 10 permit b\n" },
      { "an AS path list", "bgp as-path access-list P permit a\nbgp as-path access-list P permit b\nno bgp as-path access-list P", "" },
      { "a line of an AS path list",
        "bgp as-path access-list P permit a\nbgp as-path access-list P permit b\n"
        "no bgp as-path access-list P seq 5",
        "bgp as-path access-list P seq 10 permit b\n" },
      { "a route map", "route-map M permit 10\nroute-map M deny 20\nno route-map M", "" },
      { "the sequences of an action", "route-map M permit 10\nroute-map M deny 20\nno route-map M permit", "route-map M deny 20\n" },
      { "a sequence", "route-map M permit 10\nroute-map M deny 20\nno route-map M deny 20", "route-map M permit 10\n" },
      { "a sequence of the other action is none", "route-map M permit 10\nno route-map M deny 10", "route-map M permit 10\n" },
      { "the last sequence", "route-map M permit 10\nno route-map M permit 10", "" },
      { "what is not there",
        "no route-map M\nno route-map M permit 10\nno bgp as-path access-list P\nno bgp community-list standard C seq 5\n"
        "no access-list 1 permit any\nno ipv6 access-list A seq 5",
        "" },
      { "the sequence that was open", "route-map M permit 10\n match tag 1\nno route-map M\nroute-map M permit 20",
        "route-map M permit 20\n" },
   } );
}

// Clauses, and what they come to in a sequence.
TEST( LineLoader, clauses ) {
   struct Case {
      const char * clauses;
      const char * canonical;
   };
   const Case cases[] = {
      { " match ip address A", " match ip address A\n" },
      { " match ip address prefix-list A", " match ip address prefix-list A\n" },
      { " match ip address prefix-list A invert", " match ip address prefix-list A invert\n" },
      { " match ip address prefix-list prefix-list", " match ip address prefix-list prefix-list\n" },
      { " match ipv6 address A", " match ipv6 address A\n" },
      { " match ipv6 address prefix-list A invert", " match ipv6 address prefix-list A invert\n" },
      { " match ip next-hop 10.0.0.1", " match ip next-hop 10.0.0.1\n" },
      { " match ip next-hop address 10.0.0.1", " match ip next-hop 10.0.0.1\n" },
      { " match ip next-hop 10", " match ip next-hop 10\n" },
      { " match ip next-hop prefix-list A", " match ip next-hop prefix-list A\n" },
      { " match ipv6 next-hop address 2001:DB8::1", " match ipv6 next-hop 2001:db8::1\n" },
      { " match ipv6 next-hop A", " match ipv6 next-hop A\n" },
      { " match ipv6 next-hop prefix-list A", " match ipv6 next-hop prefix-list A\n" },
      { " match tag 0", " match tag 0\n" },
      { " match tag-set T", " match tag-set T\n" },
      { " match metric 9223372036854775807", " match metric 9223372036854775807\n" },
      { " match source-protocol static", " match source-protocol static\n" },
      { " match ospf-instance 1", " match ospf-instance 1\n" },
      { " match isis-instance 4294967295", " match isis-instance 4294967295\n" },
      { " match interface eth0.100", " match interface eth0.100\n" },
      { " match community C", " match community C\n" },
      { " match as-path P", " match as-path P\n" },
      { " match tag 5\n match metric 1\n match tag 6", " match metric 1\n match tag 6\n" },
      { " match ip address A\n match ip address prefix-list A", " match ip address A\n match ip address prefix-list A\n" },
      { " set metric 0", " set metric 0\n" },
      { " set metric 5\n set metric 9223372036854775807", " set metric 9223372036854775807\n" },
      { " set distance 1", " set distance 1\n" },
      { " set tag 4294967295", " set tag 4294967295\n" },
      { " set local-preference 100", " set local-preference 100\n" },
      { " set community none", " set community none\n" },
      { " set community 2:2 1:1 1:1", " set community 1:1 2:2\n" },
      { " set community no-export additive", " set community no-export additive\n" },
      { " call B", " call B\n" },
      { " call B invert\n call C", " call C\n" },
      { " continue", " continue\n" },
      { " continue 11", " continue 11\n" },
      { " on-match next", " continue\n" },
      { " on-match goto 20", " continue 20\n" },
      { " continue\n on-match goto 20", " continue 20\n" },
      { " description  of  it ", " description of  it\n" },
      { " description one\n description two", " description two\n" },
      { "match tag 5", " match tag 5\n" },
      { "\t\tmatch\ttag \t 5\t", " match tag 5\n" },
      { "\n!\n# so\n   ! it\n match tag 5", " match tag 5\n" },
      { " exit\n match tag 5", "" },
      { " exit-route-map\n match tag 5", "" },
      { "end\nmatch tag 5", "" },
      { "interface eth0\n match tag 5", "" },
      // Taken off again.
      { " match tag 5\n no match tag", "" },
      { " match tag 5\n no match tag 5", "" },
      { " match tag 5\n no match tag 6", " match tag 5\n" },
      { " match tag 5\nno match tag 5", "" },
      { " no match tag", "" },
      { " no match tag 5", "" },
      { " match ip address prefix-list A invert\n no match ip address prefix-list A", " match ip address prefix-list A invert\n" },
      { " match ip address prefix-list A invert\n no match ip address prefix-list A invert", "" },
      { " match ip address prefix-list A\n no match ip address", " match ip address prefix-list A\n" },
      { " match ip next-hop 10.0.0.1\n no match ip next-hop address 10.0.0.1", "" },
      { " match ip next-hop 10.0.0.1\n no match ip next-hop", "" },
      { " set metric 5\n no set metric", "" },
      { " set metric 5\n no set metric 6", " set metric 5\n" },
      { " set tag 5\n no set tag 5", "" },
      { " set distance 5\n no set distance", "" },
      { " set local-preference 5\n no set local-preference 5", "" },
      { " set community 1:1 additive\n no set community 1:1", " set community 1:1 additive\n" },
      { " set community 1:1 additive\n no set community 1:1 additive", "" },
      { " set community none\n no set community", "" },
      { " call B\n no call", "" },
      { " call B\n no call B", "" },
      { " call B\n no call C", " call B\n" },
      { " continue 20\n no continue", "" },
      { " continue 20\n no continue 30", " continue 20\n" },
      { " on-match next\n no on-match next", "" },
      { " on-match goto 20\n no on-match", "" },
      { " continue 20\n no on-match goto 20", "" },
      { " description d\n no description", "" },
      { " description d\n no description whatever", "" },
   };
   for( const auto & c : cases )
      EXPECT_EQ( written( std::string( "route-map M permit 10\n" ) + c.clauses ), std::string( "route-map M permit 10\n" ) + c.canonical )
         << c.clauses;
}

TEST( LineLoader, routeMaps ) {
   expectWritten( {
      { "sequences in any order", "route-map M deny 20\nroute-map M permit 10\n match tag 5\n",
        "route-map M permit 10\n match tag 5\nroute-map M deny 20\n" },
      { "a sequence is reopened", "route-map M permit 10\n match tag 5\nroute-map M permit 20\nroute-map M permit 10\n match metric 5\n",
        "route-map M permit 10\n match metric 5\n match tag 5\nroute-map M permit 20\n" },
      { "with another action", "route-map M permit 10\n match tag 5\nroute-map M deny 10\n", "route-map M deny 10\n match tag 5\n" },
      { "without indentation", "route-map M permit 10\nmatch tag 5\nset metric 5\ncall B\ncontinue\ndescription d\nroute-map N deny 1",
        "route-map M permit 10\n description d\n match tag 5\n set metric 5\n call B\n continue\nroute-map N deny 1\n" },
      { "a list line ends it", "route-map M permit 10\nip prefix-list A permit any\nmatch tag 5",
        "ip prefix-list A seq 5 permit any\nroute-map M permit 10\n" },
      { "so does a no line", "route-map M permit 10\nno ip prefix-list A\nmatch tag 5", "route-map M permit 10\n" },
      { "the last number", "route-map M permit 4294967295\n continue", "route-map M permit 4294967295\n continue\n" },
   } );
}

// Every wrong line by its exact text. What stands in front of a wrong clause is no part of the row.
struct Wrong {
   std::string_view line;
   const char * error;   // behind the file and the line
};

void expectErrors( const std::vector<Wrong> & rows, const std::string & before, const PolicyText & unchanged ) {
   const auto lines = std::count( before.begin(), before.end(), '\n' );
   for( const auto & row : rows ) {
      LineLoader loader;
      loader.load( "edge.conf", before + std::string( row.line ) + "\n" );
      EXPECT_THAT( errorsOf( loader ), ElementsAre( "edge.conf:" + std::to_string( lines + 1 ) + ":" + row.error ) ) << row.line;
      EXPECT_EQ( loader.text(), unchanged ) << row.line;
   }
}

TEST( LineLoader, aWrongLineOfAListSaysWhatIsWrongAndChangesNothing ) {
   const std::string before = "ip prefix-list L seq 4294967295 permit any\nbgp community-list standard S permit 1:1\n"
                              "bgp community-list expanded E permit 1:1\n";
   expectErrors(
      {
         { "ip prefix-list", R"(15: expected the name of a list, found the end of the line)" },
         { "ip prefix-list A", R"(17: expected "permit" or "deny", found the end of the line)" },
         { "ip prefix-list A permti any", R"(18: expected "permit" or "deny", found "permti")" },
         { "ip prefix-list A seq", R"(21: expected a sequence number from 1 to 4294967295, found the end of the line)" },
         { "ip prefix-list A seq 0 permit any", R"(22: expected a sequence number from 1 to 4294967295, found "0")" },
         { "ip prefix-list A seq 4294967296 permit any", R"(22: expected a sequence number from 1 to 4294967295, found "4294967296")" },
         { "ip prefix-list A seq 99999999999999999999 deny any",
           R"(22: expected a sequence number from 1 to 4294967295, found "99999999999999999999")" },
         { "ip prefix-list A seq -5 permit any", R"(22: expected a sequence number from 1 to 4294967295, found "-5")" },
         { "ip prefix-list A seq 5x permit any", R"(22: expected a sequence number from 1 to 4294967295, found "5x")" },
         { "ip prefix-list A seq 5", R"(23: expected "permit" or "deny", found the end of the line)" },
         { "ip prefix-list A permit", R"(24: expected an IPv4 prefix, found the end of the line)" },
         { "ip prefix-list A permit 10.0.0/8", R"(25: expected an IPv4 prefix, found "10.0.0/8")" },
         { "ip prefix-list A permit /8", R"(25: expected an IPv4 prefix, found "/8")" },
         { "ip prefix-list A permit 10.0.0.0/", R"(25: expected an IPv4 prefix, found "10.0.0.0/")" },
         { "ip prefix-list A permit 10.0.0.0/-1", R"(25: expected an IPv4 prefix, found "10.0.0.0/-1")" },
         { "ip prefix-list A permit 10.0.0.0/8/8", R"(25: expected an IPv4 prefix, found "10.0.0.0/8/8")" },
         { "ip prefix-list A permit 10.0.0.0", R"(25: expected an IPv4 prefix, found "10.0.0.0", which has no length)" },
         { "ip prefix-list A permit 2001:db8::/32", R"(25: expected an IPv4 prefix, found "2001:db8::/32", which is of IPv6)" },
         { "ipv6 prefix-list A permit 10.0.0.0/8", R"(27: expected an IPv6 prefix, found "10.0.0.0/8", which is of IPv4)" },
         { "ip prefix-list A permit 10.0.0.0/33", R"(25: "10.0.0.0/33" is longer than 32, the length of an IPv4 address)" },
         { "ipv6 prefix-list A permit ::/129", R"(27: "::/129" is longer than 128, the length of an IPv6 address)" },
         { "ip prefix-list A permit 10.0.0.0/99999999999",
           R"(25: "10.0.0.0/99999999999" is longer than 32, the length of an IPv4 address)" },
         { "ip prefix-list A permit 10.1.2.3/24", R"(25: "10.1.2.3/24" has bits behind its length; its network is 10.1.2.0/24)" },
         { "ipv6 prefix-list A permit 2001:db8::1/64", R"(27: "2001:db8::1/64" has bits behind its length; its network is 2001:db8::/64)" },
         { "ip prefix-list A permit 10.0.0.0/8 ge 33", R"(39: "ge 33" is above 32, the length of an IPv4 address)" },
         { "ip prefix-list A permit 10.0.0.0/8 le 33", R"(39: "le 33" is above 32, the length of an IPv4 address)" },
         { "ipv6 prefix-list A permit ::/8 ge 99999999999", R"(35: "ge 99999999999" is above 128, the length of an IPv6 address)" },
         { "ip prefix-list A permit 10.0.0.0/8 ge 7", R"(39: "ge 7" is below 8, the length of the prefix)" },
         { "ip prefix-list A permit 10.0.0.0/8 le 7", R"(39: "le 7" is below 8, the length of the prefix)" },
         { "ip prefix-list A permit 10.0.0.0/8 ge 24 le 23", R"(45: "le 23" is below 24, its "ge")" },
         { "ip prefix-list A permit 10.0.0.0/8 le 23 ge 24", R"(39: "le 23" is below 24, its "ge")" },
         { "ip prefix-list A permit 10.0.0.0/8 ge", R"(38: expected a length, found the end of the line)" },
         { "ip prefix-list A permit 10.0.0.0/8 ge x", R"(39: expected a length, found "x")" },
         { "ip prefix-list A permit 10.0.0.0/8 ge 9 ge 9", R"(41: expected the end of the line, found "ge")" },
         { "ip prefix-list A permit any le 24", R"(29: expected the end of the line, found "le")" },
         { "ip prefix-list A permit 10.0.0.0/8 eq 9", R"(36: expected the end of the line, found "eq")" },
         { "ip prefix-list A description", R"(29: expected a description, found the end of the line)" },
         { "ip prefix-list L permit 10.0.0.0/8", R"(16: no number is left in list "L" for a line without "seq")" },
         { "no ip prefix-list", R"(18: expected the name of a list, found the end of the line)" },
         { "no ip prefix-list L seq x", R"(25: expected a sequence number from 1 to 4294967295, found "x")" },
         { "no ip prefix-list L permit", R"(27: expected an IPv4 prefix, found the end of the line)" },
         { "no ip prefix-list L sqe 5", R"(21: expected "permit" or "deny", found "sqe")" },

         { "access-list 1 permit", R"(21: expected an IPv4 prefix, found the end of the line)" },
         { "access-list 1 permit host", R"(26: expected an IPv4 address, found the end of the line)" },
         { "access-list 1 permit host 10.0.0.0/8", R"(27: expected an IPv4 address, found "10.0.0.0/8")" },
         { "access-list 1 permit 10.0.0.0 255", R"(31: expected a wildcard mask, found "255")" },
         { "access-list 1 permit 10.0.0.0/8 0.0.0.255", R"(33: expected the end of the line, found "0.0.0.255")" },
         { "access-list 1 permit any any", R"(26: expected the end of the line, found "any")" },
         { "ipv6 access-list 1 permit 10.0.0.0/8", R"(27: expected an IPv6 prefix, found "10.0.0.0/8", which is of IPv4)" },
         { "ipv6 access-list 1 permit 2001:: ::1", R"(34: expected the end of the line, found "::1")" },
         { "ipv6 access-list 1 remark", R"(26: expected a description, found the end of the line)" },

         { "tag-set", R"(8: expected the name of a tag set, found the end of the line)" },
         { "tag-set T", R"(10: expected a tag from 0 to 4294967295, found the end of the line)" },
         { "tag-set T 1 4294967296", R"(13: expected a tag from 0 to 4294967295, found "4294967296")" },
         { "no tag-set T x", R"(14: expected a tag from 0 to 4294967295, found "x")" },

         { "bgp community-list C permit 1:1", R"(20: expected "standard" or "expanded", found "C")" },
         { "bgp community-list standard C permit", R"(37: expected a community, found the end of the line)" },
         { "bgp community-list standard C permit 65536:1", R"(38: expected a community, found "65536:1")" },
         { "bgp community-list standard C permit 1:1 4294967296", R"(42: expected a community, found "4294967296")" },
         { "bgp community-list standard C permit 1:1:1", R"(38: expected a community, found "1:1:1")" },
         { "bgp community-list standard C permit No-Export", R"(38: expected a community, found "No-Export")" },
         { "bgp community-list expanded S permit 1:1", R"(20: list "S" is standard already)" },
         { "bgp community-list standard E permit 1:1", R"(20: list "E" is expanded already)" },
         { "bgp community-list expanded C permit", R"(37: expected a regular expression, found the end of the line)" },
         { "bgp community-list expanded C permit 1:[0", R"(40: "1:[0" is no regular expression: missing ]: [0)" },

         { "bgp as-path A permit 1", R"(13: expected "access-list", found "A")" },
         { R"(bgp as-path access-list P permit "^1_")",
           R"(34: '"' stands in no AS path and no community: the expression is to go without it)" },
         { "bgp as-path access-list P permit ^1_ ! one",
           "38: '!' stands in no AS path and no community: the expression is to go without it" },
         { "bgp as-path access-list P permit (1|2", R"(34: "(1|2" is no regular expression: missing ): (1|2)" },
         { "bgp as-path access-list P permit _1_ *a**", R"(40: "_1_ *a**" is no regular expression: bad repetition operator: **)" },
         { "bgp as-path access-list P permit a\\", R"(34: "a\" is no regular expression: trailing \)" },
      },
      before, loaded( before ) );
}

TEST( LineLoader, aWrongLineOfARouteMapSaysWhatIsWrongAndChangesNothing ) {
   const std::string before = "route-map M permit 10\n match tag 1\n set metric 1\n call C\n";
   const char * const metric = "a metric from 0 to 9223372036854775807";
   const auto expectedMetric = [ & ]( const char * column, const char * found ) {
      return std::string( column ) + ": expected " + metric + ", found " + found;
   };
   const std::string overflow = expectedMetric( "15", "\"9223372036854775808\"" ), noMetric = expectedMetric( "12", "the end of the line" );
   expectErrors(
      {
         { "route-map", R"(10: expected the name of a route map, found the end of the line)" },
         { "route-map M", R"(12: expected "permit" or "deny", found the end of the line)" },
         { "route-map M 10", R"(13: expected "permit" or "deny", found "10")" },
         { "route-map M permit", R"(19: expected a sequence number from 1 to 4294967295, found the end of the line)" },
         { "route-map M permit 0", R"(20: expected a sequence number from 1 to 4294967295, found "0")" },
         { "route-map M deny 10 x", R"(21: expected the end of the line, found "x")" },
         { "no route-map", R"(13: expected the name of a route map, found the end of the line)" },
         { "no route-map M 10", R"(16: expected "permit" or "deny", found "10")" },
         { "no route-map M permit x", R"(23: expected a sequence number from 1 to 4294967295, found "x")" },

         { " match",
           R"(7: expected "ip", "ipv6", "tag", "tag-set", "metric", "source-protocol", "ospf-instance", "isis-instance", )"
           R"("interface", "community" or "as-path", found the end of the line)" },
         { " match rpki valid",
           R"(8: expected "ip", "ipv6", "tag", "tag-set", "metric", "source-protocol", "ospf-instance", )"
           R"("isis-instance", "interface", "community" or "as-path", found "rpki")" },
         { " match ip", R"(10: expected "address" or "next-hop", found the end of the line)" },
         { " match ipv6 route-source A", R"(13: expected "address" or "next-hop", found "route-source")" },
         { " match ip address", R"(18: expected the name of an access list, found the end of the line)" },
         { " match ip address prefix-list", R"(30: expected the name of a prefix list, found the end of the line)" },
         { " match ip address A B", R"(21: expected the end of the line, found "B")" },
         { " match ip address A invert",
           R"(21: "invert" is for "match ip|ipv6 address prefix-list" and "call": "match ip address" cannot be inverted)" },
         { " match ipv6 next-hop prefix-list A invert",
           R"(36: "invert" is for "match ip|ipv6 address prefix-list" and "call": "match ipv6 next-hop prefix-list" cannot be inverted)" },
         { " match tag 5 invert", R"(14: "invert" is for "match ip|ipv6 address prefix-list" and "call": "match tag" cannot be inverted)" },
         { " match ip address prefix-list A inverted", R"(33: expected the end of the line, found "inverted")" },
         { " match ip next-hop", R"(19: expected an address or the name of an access list, found the end of the line)" },
         { " match ip next-hop address A", R"(28: expected an IPv4 address, found "A")" },
         { " match ip next-hop 10.0.0.0/8", R"(20: expected an address or the name of an access list, found "10.0.0.0/8")" },
         { " match ip next-hop prefix-lst A", R"(20: expected "prefix-list", found "prefix-lst")" },
         { " match ip address prefixlist A", R"(19: expected "prefix-list", found "prefixlist")" },
         { " match ip address Prefix-List A", R"(19: expected "prefix-list", found "Prefix-List")" },
         { " match ip next-hop 2001:db8::1", R"(20: expected an IPv4 address, found "2001:db8::1", which is of IPv6)" },
         { " match ipv6 next-hop address 10.0.0.1", R"(30: expected an IPv6 address, found "10.0.0.1", which is of IPv4)" },
         { " match tag", R"(11: expected a tag from 0 to 4294967295, found the end of the line)" },
         { " match tag 4294967296", R"(12: expected a tag from 0 to 4294967295, found "4294967296")" },
         { " match metric 9223372036854775808", overflow.c_str() },
         { " match source-protocol eigrp",
           R"(24: expected "connected", "static", "kernel", "bgp", "ospf", "ospf6", "isis", "rip" or )"
           R"("ripng", found "eigrp")" },
         { " match source-protocol",
           R"(23: expected "connected", "static", "kernel", "bgp", "ospf", "ospf6", "isis", "rip" or )"
           R"("ripng", found the end of the line)" },
         { " match ospf-instance x", R"(22: expected an instance from 0 to 4294967295, found "x")" },
         { " match interface", R"(17: expected the name of an interface, found the end of the line)" },
         { " match community", R"(17: expected the name of a community list, found the end of the line)" },
         { " match as-path P Q", R"(18: expected the end of the line, found "Q")" },
         { " no match",
           R"(10: expected "ip", "ipv6", "tag", "tag-set", "metric", "source-protocol", "ospf-instance", "isis-instance", )"
           R"("interface", "community" or "as-path", found the end of the line)" },
         { " no match tag x", R"(15: expected a tag from 0 to 4294967295, found "x")" },

         { " set weight 5", R"(6: expected "metric", "distance", "tag", "local-preference" or "community", found "weight")" },
         { " set metric", noMetric.c_str() },
         { " set metric +5", R"(13: expected a metric, found "+5", which is relative to another)" },
         { " set metric -5", R"(13: expected a metric, found "-5", which is relative to another)" },
         { " set metric 5 5", R"(15: expected the end of the line, found "5")" },
         { " set distance 0", R"(15: expected a distance from 1 to 255, found "0")" },
         { " set distance 256", R"(15: expected a distance from 1 to 255, found "256")" },
         { " set tag x", R"(10: expected a tag from 0 to 4294967295, found "x")" },
         { " set local-preference +1", R"(23: expected a local preference from 0 to 4294967295, found "+1")" },
         { " set community", R"(15: expected a community, found the end of the line)" },
         { " set community additive", R"(16: expected a community, found "additive")" },
         { " set community internet", R"(16: expected a community, found "internet")" },
         { " set community none 1:1", R"(21: expected the end of the line, found "1:1")" },
         { " set community none additive", R"(21: expected the end of the line, found "additive")" },
         { " set community 1:1 none", R"(20: expected a community, found "none")" },
         { " set community 1:1 additive 2:2", R"(29: expected the end of the line, found "2:2")" },

         { " call", R"(6: expected the name of a route map, found the end of the line)" },
         { " call B inverse", R"(9: expected the end of the line, found "inverse")" },
         { " continue 10", R"(11: expected a sequence behind this one, 10, found "10")" },
         { " continue 5", R"(11: expected a sequence behind this one, 10, found "5")" },
         { " continue next", R"(11: expected a sequence number from 1 to 4294967295, found "next")" },
         { " on-match", R"(10: expected "next" or "goto", found the end of the line)" },
         { " on-match goto", R"(15: expected a sequence number from 1 to 4294967295, found the end of the line)" },
         { " on-match goto 9", R"(16: expected a sequence behind this one, 10, found "9")" },
         { " on-match next 5", R"(16: expected the end of the line, found "5")" },
         { " description", R"(13: expected a description, found the end of the line)" },
         { " mtach tag 5", R"(2: expected a clause of a route map, found "mtach")" },
         { " no mtach tag 5", R"(2: expected a clause of a route map, found "no")" },
      },
      before, loaded( before ) );
}

TEST( LineLoader, anyBytesAreShownAsTheyCanBePrinted ) {
   const std::string big( 1000, 'x' );
   struct Row {
      const char * name;
      std::string line;
      std::string error;
   };
   const Row rows[] = {
      { "zero byte", std::string( "ip prefix-list A permit 10.0.0.0/8\0"sv ), "35: expected text, found \"\\x00\"" },
      { "zero byte in a name", std::string( "ip prefix-list A\0B permit any"sv ), "17: expected text, found \"\\x00\"" },
      { "terminal codes", "tag-set \x1b[2J 5", "9: expected text, found \"\\x1b\"" },
      { "terminal codes in UTF-8", "tag-set T\xc2\x9b\x32J 5", "10: expected text, found \"\\xc2\\x9b\"" },
      { "delete", "route-map M\x7f permit 5", "12: expected text, found \"\\x7f\"" },
      { "not UTF-8", "tag-set T \xff\xfe", "11: expected a tag from 0 to 4294967295, found \"\\xff\\xfe\"" },
      { "a quote", "tag-set T \"5\"", "11: expected a tag from 0 to 4294967295, found \"\"5\"\"" },
      { "a long word", "tag-set T " + big, "11: expected a tag from 0 to 4294967295, found \"" + big.substr( 0, 64 ) + "...\"" },
      { "not UTF-8 in an expression", "bgp as-path access-list P permit \xff", "34: \"\\xff\" is no regular expression: invalid UTF-8" },
   };
   for( const auto & row : rows ) {
      LineLoader loader;
      loader.load( "a.conf", row.line );
      EXPECT_THAT( errorsOf( loader ), ElementsAre( "a.conf:1:" + row.error ) ) << row.name;
      EXPECT_EQ( loader.text(), PolicyText() ) << row.name;
   }
   EXPECT_EQ( written( "tag-set T\xff 5\n" ), "tag-set T\xff 5\n" );   // names are bytes
   EXPECT_EQ( loaded( "interface \x1b[2J\0\n"sv ).passedOverStanzas, 1u );
}

TEST( LineLoader, allErrorsComeInOneRunInTheOrderOfTheText ) {
   LineLoader loader;
   loader.load(
      "a.conf",
      "tag-set T x\nip prefix-list A permit any\n\nroute-map M permt 10\n match tag x\n match tag 5\n set weight 5\nend\ntag-set" );
   loader.load( "b.conf", "tag-set\ntag-set U 5\n" );
   EXPECT_THAT(
      errorsOf( loader ),
      ElementsAre( "a.conf:1:11: expected a tag from 0 to 4294967295, found \"x\"",
                   "a.conf:4:13: expected \"permit\" or \"deny\", found \"permt\"",
                   "a.conf:5:12: expected a tag from 0 to 4294967295, found \"x\"",
                   "a.conf:7:6: expected \"metric\", \"distance\", \"tag\", \"local-preference\" or \"community\", found \"weight\"",
                   "a.conf:9:8: expected the name of a tag set, found the end of the line",
                   "b.conf:1:8: expected the name of a tag set, found the end of the line" ) );
   EXPECT_EQ( writeText( loader.text() ), "ip prefix-list A seq 5 permit any\ntag-set U 5\n" );
}

TEST( LineLoader, clausesOfAWrongSequenceGoNowhere ) {
   LineLoader loader;
   loader.load(
      "a.conf",
      "route-map M permit 10\n match tag 1\nroute-map M permit x\n match tag 2\n continue 1\nroute-map M permit 20\n match tag 3\n" );
   EXPECT_EQ( loader.errors().size(), 1u );
   EXPECT_EQ( writeText( loader.text() ), "route-map M permit 10\n match tag 1\nroute-map M permit 20\n match tag 3\n" );
}

TEST( LineLoader, endsOfLines ) {
   const std::string_view canonical = "ip prefix-list A seq 5 permit 10.0.0.0/8\nroute-map M permit 10\n match tag 5\n";
   for( const auto lines : { "ip prefix-list A permit 10.0.0.0/8\r\n\r\nroute-map M permit 10\r\n match tag 5\r\n"sv,
                             "ip prefix-list A permit 10.0.0.0/8\nroute-map M permit 10\n match tag 5"sv,
                             "\n\n\nip prefix-list A permit 10.0.0.0/8 \t\r\r\nroute-map M permit 10\t\n\n \t \n\tmatch tag 5 \n\n"sv,
                             "\xef\xbb\xbfip prefix-list A permit 10.0.0.0/8\nroute-map M permit 10\n match tag 5"sv } )
      EXPECT_EQ( written( lines ), canonical ) << lines;

   EXPECT_EQ( loaded( "" ).lines, 0u );
   EXPECT_EQ( loaded( "\n" ).lines, 1u );
   EXPECT_EQ( loaded( "!\n!" ).lines, 2u );
   EXPECT_EQ( loaded( "!\n!\n" ).lines, 2u );
}

TEST( LineLoader, veryLongLines ) {
   const std::string name( 100000, 'n' ), words( 1000000, ' ' );
   EXPECT_EQ( written( "tag-set " + name + words + "5" ), "tag-set " + name + " 5\n" );
   std::string tags = "tag-set T";
   for( int i = 0; i < 100000; ++i ) tags += " " + std::to_string( i );
   EXPECT_EQ( loaded( tags ).tagSets.at( "T" ).tags.size(), 100000u );
   LineLoader loader;
   loader.load( "a.conf", "tag-set T" + words + "x" );
   EXPECT_THAT( errorsOf( loader ), ElementsAre( "a.conf:1:1000010: expected a tag from 0 to 4294967295, found \"x\"" ) );
}

constexpr std::string_view kRouter = R"(! a router's configuration
version 9.1
hostname edge1
service integrated-config
log syslog informational
ip forwarding
no ipv6 forwarding
ip route 192.0.2.0/24 blackhole
ip community-list standard X permit 1:1
!
interface eth0
 description to the core
 ip address 10.0.0.1/24
 ip prefix-list NOT-HERE permit any
exit
!
router bgp 64500
 neighbor 10.0.0.2 remote-as 64501
 !
 address-family ipv4 unicast
  neighbor 10.0.0.2 route-map EDGE in
  route-map NOT-HERE permit 10
  match tag 5
 exit-address-family
exit
!
access-list 10 remark management
access-list 10 permit 10.0.0.0 0.0.0.255
ip prefix-list CUSTOMERS seq 5 permit 10.0.0.0/8 le 24
ip prefix-list CUSTOMERS seq 10 deny any
bgp as-path access-list 1 permit ^64501$
bgp community-list standard BACKUP permit 64500:90
!
route-map EDGE permit 10
 description customers
 match ip address prefix-list CUSTOMERS
 match community BACKUP
 set local-preference 50
 on-match next
exit
!
route-map EDGE deny 20
!
line vty
 access-class 10
end
)";

TEST( LineLoader, otherStanzasArePassedOverAndCounted ) {
   const PolicyText text = loaded( kRouter );
   EXPECT_EQ( writeText( text ),
              "ip prefix-list CUSTOMERS seq 5 permit 10.0.0.0/8 le 24\nip prefix-list CUSTOMERS seq 10 deny any\n"
              "access-list 10 remark management\naccess-list 10 seq 5 permit 10.0.0.0/24\n"
              "bgp community-list standard BACKUP seq 5 permit 64500:90\nbgp as-path access-list 1 seq 5 permit ^64501$\n"
              "route-map EDGE permit 10\n description customers\n match ip address prefix-list CUSTOMERS\n match community BACKUP\n"
              " set local-preference 50\n continue\nroute-map EDGE deny 20\n" );
   // version, hostname, service, log, ip forwarding, no ipv6 forwarding, ip route, ip community-list; interface, exit; router, exit; line, end.
   EXPECT_EQ( text.passedOverStanzas, 14u );
   EXPECT_EQ( text.lines, uint64_t( std::count( kRouter.begin(), kRouter.end(), '\n' ) ) );
}

TEST( LineLoader, aStanzaIsALineAndWhatIsIndentedBehindIt ) {
   struct Row {
      const char * name;
      const char * lines;
      uint64_t stanzas;
   };
   const Row rows[] = {
      { "none", "!\n\n# interface\n", 0 },
      { "one with indented lines", "interface eth0\n a\n\n!\n b\n", 1 },
      { "lines that are not indented", "a\nb\nexit-address-family\n", 3 },
      { "an indented line at the beginning", " a\n b\n", 1 },
      { "indented behind a list", "tag-set T 5\n a\n b\ntag-set T 6\n c\n", 2 },
      { "words of ours, indented", "interface eth0\n ip prefix-list A permit any\n route-map M permit\n match\n", 1 },
      { "words of ours, indented in no stanza", " ip prefix-list A permit any\n route-map M permit 10\n  match tag 5\n", 0 },
      { "one word of two", "ip\nipv6\nbgp\nno\nno ip\nno bgp log\n", 6 },
      { "words that begin like ours", "ip prefix-lists A\nroute-maps\ntag-sets\nmatching\n", 4 },
      { "clauses without a sequence", "match tag 5\nset metric x\nno match tag\n", 3 },
      { "behind a route map", "route-map M permit 10\n match tag 5\nexit\n a\nb\n c\n", 2 },
      { "in another file", "a\n", 1 },
   };
   for( const auto & row : rows ) EXPECT_EQ( loaded( row.lines ).passedOverStanzas, row.stanzas ) << row.name;
}

TEST( LineLoader, indentedLinesInNoStanzaAreReadAsTheyAre ) {
   const PolicyText text = loaded( "  ip prefix-list A permit any\n  ip prefix-list A deny 10.0.0.0/8\n  route-map M permit 10\n"
                                   "    match ip address prefix-list A\n  !\n" );
   EXPECT_EQ( writeText( text ),
              "ip prefix-list A seq 5 permit any\nip prefix-list A seq 10 deny 10.0.0.0/8\n"
              "route-map M permit 10\n match ip address prefix-list A\n" );
   EXPECT_EQ( text.passedOverStanzas, 0u );
}

TEST( LineLoader, filtersOfPacketsAndSwitchesAreOtherStanzas ) {
   const PolicyText text = loaded( "access-list 101 permit ip any any\naccess-list 101 seq 5 deny tcp any any eq 22\n"
                                   "no access-list 102 permit udp any any\nipv6 access-list F\n permit ipv6 any any\n"
                                   "ip access-list extended G\n permit ip any any\n"
                                   "ip prefix-list sequence-number\nno ip prefix-list sequence-number\n" );
   EXPECT_EQ( writeText( text ), "" );
   EXPECT_EQ( text.passedOverStanzas, 7u );
   EXPECT_TRUE( text.doubts.empty() );
   EXPECT_EQ( writeText( loaded( "access-list ip permit 10.0.0.0/8\nip prefix-list sequence-number permit any\n" ) ),
              "ip prefix-list sequence-number seq 5 permit any\naccess-list ip seq 5 permit 10.0.0.0/8\n" );
}

TEST( LineLoader, severalFilesAreOneConfiguration ) {
   LineLoader loader;
   loader.load( "lists.conf", "ip prefix-list A permit 10.0.0.0/8\nroute-map M permit 10" );
   loader.load( "more.conf", " match tag 5\nip prefix-list A permit any\n" );
   EXPECT_EQ( writeText( loader.text() ),
              "ip prefix-list A seq 5 permit 10.0.0.0/8\nip prefix-list A seq 10 permit any\nroute-map M permit 10\n" );
   EXPECT_EQ( loader.text().passedOverStanzas, 1u );   // a sequence does not go on in another file
   EXPECT_EQ( loader.text().lines, 4u );
   EXPECT_THAT( loader.text().files, ElementsAre( "lists.conf", "more.conf" ) );
   EXPECT_EQ( loader.text().ipv4PrefixLists.at( "A" ).lines.at( 10 ).place.file, 1u );
   loader.load( "lists.conf", "" );   // other bytes: another file
   EXPECT_THAT( loader.text().files, ElementsAre( "lists.conf", "more.conf", "lists.conf" ) );
}

TEST( LineLoader, thingsKnowWhereTheyStand ) {
   LineLoader loader;
   loader.load( "other.conf", "!\n" );
   loader.load( "a.conf",
                "ip prefix-list A description d\nip prefix-list A permit any\ntag-set T 5\nroute-map M permit 10\n"
                " match  ip address prefix-list  A\n match ip next-hop address 10.0.0.1\n call B\n continue 20\n on-match goto 30\n"
                "tag-set T 5\nip prefix-list A permit any\n" );
   ASSERT_THAT( errorsOf( loader ), ElementsAre() );
   const auto place = []( const Place & p ) { return std::array{ p.file, p.line, p.column }; };
   const PolicyText & text = loader.text();
   EXPECT_THAT( place( text.ipv4PrefixLists.at( "A" ).place ), ElementsAre( 1, 1, 1 ) );
   EXPECT_THAT( place( text.ipv4PrefixLists.at( "A" ).lines.at( 5 ).place ), ElementsAre( 1, 2, 1 ) );
   EXPECT_THAT( place( text.tagSets.at( "T" ).place ), ElementsAre( 1, 3, 1 ) );
   EXPECT_THAT( place( text.routeMaps.at( "M" ).place ), ElementsAre( 1, 4, 1 ) );
   const SequenceText & sequence = text.routeMaps.at( "M" ).sequences.at( 10 );
   EXPECT_THAT( place( sequence.place ), ElementsAre( 1, 4, 1 ) );
   EXPECT_THAT( place( sequence.match.at( MatchOption::matchIpPrefixList ).place ), ElementsAre( 1, 5, 33 ) );
   EXPECT_THAT( place( sequence.match.at( MatchOption::matchIpNexthop ).place ), ElementsAre( 1, 6, 28 ) );
   EXPECT_THAT( place( sequence.call->place ), ElementsAre( 1, 7, 7 ) );
   EXPECT_THAT( place( sequence.continueTo->place ), ElementsAre( 1, 9, 16 ) );
}

TEST( LineLoader, setClausesAndActionsKnowWhoSaidThemLast ) {
   const PolicyText text = loaded( "route-map M permit 10\n set metric 1\n set tag  1\n set local-preference 1\n set distance 1\n"
                                   " set community 1:1\n set metric 2\n set tag 1\n no set distance 2\nroute-map M permit 10\n"
                                   "route-map M deny 10\n" );
   const auto place = []( const Place & p ) { return std::array{ p.line, p.column }; };
   const SequenceText & sequence = text.routeMaps.at( "M" ).sequences.at( 10 );
   EXPECT_THAT( place( sequence.set.places.metric ), ElementsAre( 7, 13 ) );
   EXPECT_THAT( place( sequence.set.places.tag ), ElementsAre( 3, 11 ) );
   EXPECT_THAT( place( sequence.set.places.localPreference ), ElementsAre( 4, 23 ) );
   EXPECT_THAT( place( sequence.set.places.distance ), ElementsAre( 5, 15 ) );
   EXPECT_THAT( place( sequence.set.places.community ), ElementsAre( 6, 16 ) );
   EXPECT_THAT( place( sequence.place ), ElementsAre( 1, 1 ) );
   EXPECT_THAT( place( sequence.actionPlace ), ElementsAre( 11, 1 ) );
}

// "FILE:LINE:COLUMN NAME (LINE'S TEXT)".
std::vector<std::string> applicationsOf( const PolicyText & text ) {
   std::vector<std::string> applications;
   for( const auto & a : text.applications )
      applications.push_back( text.files[ a.place.file ] + ':' + std::to_string( a.place.line ) + ':' + std::to_string( a.place.column ) +
                              ' ' + a.name + " (" + a.line + ')' );
   return applications;
}

TEST( LineLoader, whatOtherStanzasApply ) {
   LineLoader loader;
   loader.load( "a.conf", kRouter );
   const std::vector<std::string> once = { "a.conf:21:31 EDGE (neighbor 10.0.0.2 route-map EDGE in)" };
   EXPECT_EQ( applicationsOf( loader.text() ), once );
   loader.load( "a.conf", kRouter );
   EXPECT_EQ( applicationsOf( loader.text() ), once );   // what is read twice is applied once
   loader.load( "b.conf", "table-map X\nroute-map M permit 10\n match ip address prefix-list A\nexit\ntable-map Y\n" );
   EXPECT_THAT( applicationsOf( loader.text() ), ElementsAre( once[ 0 ], "b.conf:1:11 X (table-map X)", "b.conf:5:11 Y (table-map Y)" ) );

   LineLoader alike;   // what another file says is no repetition
   for( const auto & [ file, lines ] : { std::pair( "a", "table-map X" ), std::pair( "b", "" ), std::pair( "b", "table-map X" ) } )
      alike.load( file, lines );
   EXPECT_THAT( applicationsOf( alike.text() ), ElementsAre( "a:1:11 X (table-map X)", "b:1:11 X (table-map X)" ) );
}

TEST( LineLoader, filesThatSayNothingOfAPolicy ) {
   struct Row {
      const char * name;
      std::vector<std::pair<std::string, std::string>> files;
      std::vector<uint32_t> stray;
   };
   const Row rows[] = {
      { "none", {}, {} },
      { "an empty file", { { "a", "" } }, {} },
      { "blanks and comments", { { "a", "\n  \n! set\n# so\n\t!\n" } }, {} },
      { "a line of a policy", { { "a", "hostname x\ntag-set T 5\n" } }, {} },
      { "a line that takes off", { { "a", "no tag-set T 5\n" } }, {} },
      { "an error", { { "a", "hostname x\ntag-set T x\n" } }, {} },
      { "a clause that is an error", { { "a", "route-map M permit 10\n mtach" } }, {} },
      { "another stanza", { { "a", "hostname x\n" } }, { 0 } },
      { "an indented line", { { "a", " tag-set T 5\n" } }, {} },
      { "an indented line of another stanza", { { "a", "x\n tag-set T 5\n" } }, { 0 } },
      { "a table", { { "a", "10.0.0.0/8 64500\n11.0.0.0/8 64501\n" } }, { 0 } },
      { "some of several", { { "a", "x" }, { "b", "tag-set T 5" }, { "c", "!" }, { "d", "y" } }, { 0, 3 } },
      { "one that is read twice", { { "a", "x" }, { "b", "x" }, { "a", "x" } }, { 0, 1 } },
      { "two of one name", { { "a", "x" }, { "a", "tag-set T 5" }, { "a", "y" } }, { 0, 2 } },
      { "an application is no line of a policy", { { "a", "table-map X\n" } }, { 0 } },
   };
   for( const auto & row : rows ) {
      LineLoader loader;
      for( const auto & [ file, lines ] : row.files ) loader.load( file, lines );
      EXPECT_EQ( loader.text().strayFiles, row.stray ) << row.name;
   }
}

// All that there is to know of what is loaded.
std::string everything( const LineLoader & loader ) {
   const PolicyText & text = loader.text();
   std::string all = writeText( text ) + std::to_string( text.lines ) + ' ' + std::to_string( text.passedOverStanzas ) + '\n';
   for( const auto & file : text.files ) all += file + '\n';
   for( const uint32_t file : text.strayFiles ) all += std::to_string( file ) + '\n';
   for( const auto & application : applicationsOf( text ) ) all += application + '\n';
   for( const auto & doubt : text.doubts ) all += std::to_string( doubt.place.line ) + ' ' + doubt.text + '\n';
   for( const auto & word : std::set<std::string>( text.otherWords.begin(), text.otherWords.end() ) ) all += word + '\n';
   for( const auto & error : errorsOf( loader ) ) all += error + '\n';
   return all;
}

TEST( LineLoader, loadingTheSameFileTwiceChangesNothing ) {
   const struct {
      const char * name;
      std::string_view lines;
   } rows[] = {
      { "nothing", "" },
      { "a router's configuration", kRouter },
      { "a line that takes the place of one without a number",
        "ip prefix-list A permit 10.0.0.0/8\nip prefix-list A seq 5 permit 20.0.0.0/8\n" },
      { "a line that is taken off", "ip prefix-list A permit any\nip prefix-list A deny any\nno ip prefix-list A permit any\n" },
      { "errors and doubts", "tag-set T x\nrout-map M\nroute-map M permit 10\n match tag 5\n match tag 6\n" },
      { "a stray file", "10.0.0.0/8\n" },
   };
   for( const auto & row : rows ) {
      LineLoader loader;
      loader.load( "a.conf", row.lines );
      const std::string once = everything( loader );
      loader.load( "a.conf", row.lines );
      EXPECT_EQ( everything( loader ), once ) << row.name;
      loader.load( "b.conf", "!\n" );
      const std::string both = everything( loader );
      for( const auto & [ file, lines ] : { std::pair( "a.conf", row.lines ), std::pair( "b.conf", "!\n"sv ) } ) loader.load( file, lines );
      EXPECT_EQ( everything( loader ), both ) << row.name;
   }
}

// The second has no part in it; a third, of another name, says it again.
TEST( LineLoader, whatIsWrittenChangesNothingUnderAnyName ) {
   forRandomCases( 5, []( Random & random ) {
      const PolicyText text = RandomText( random ).next();
      LineLoader loader;
      for( const char * file : { "a.conf", "a.conf", "b.conf" } ) loader.load( file, writeText( text ) );
      EXPECT_EQ( loader.text(), text );
      EXPECT_THAT( loader.text().files, ElementsAre( "a.conf", "b.conf" ) );
      for( const auto & doubt : loader.text().doubts ) EXPECT_EQ( doubt.kind, Doubt::Kind::netmask ) << doubt.text;
   } );
}

TEST( LineLoader, anyByteMakesAnotherFile ) {
   const std::string lines = "ip prefix-list A permit 10.0.0.0/8\nip prefix-list A deny any\n";
   LineLoader loader;
   loader.load( "a.conf", lines );
   for( size_t at = 0; at < lines.size(); ++at ) {
      std::string other = lines;
      other[ at ] = '#';
      loader.load( "a.conf", other );
      EXPECT_EQ( loader.text().files.size(), at + 2 );
   }
   loader.load( "a.conf", lines + '\n' );
   loader.load( "a.conf", lines + '\0' );
   EXPECT_EQ( loader.text().files.size(), lines.size() + 3 );
}

TEST( LineLoader, wordsOfOtherStanzas ) {
   EXPECT_THAT( loaded( "! a comment\nip prefix-list LIST permit any\nroute-map M permit 10\n description of it\nexit\n"
                        "ip route 10.0.0.0/8 eth0\ninterface eth0\n no shutdown\n" +
                        std::string( 65, 'x' ) + '\n' )
                   .otherWords,
                testing::UnorderedElementsAre( "ip", "route", "10.0.0.0/8", "eth0", "interface", "no", "shutdown" ) );
}

// The same policy by lines without numbers: numbered in fives, and again nothing new the second time.
TEST( LineLoader, linesWithoutNumbersKeepTheirOrder ) {
   forRandomCases( 5, []( Random & random ) {
      std::vector<std::string> contents;
      std::string lines, canonical;
      for( auto n = below( random, 40 ); n; --n ) {
         const std::string content = ( oneIn( random, 2 ) ? "permit " : "deny " ) + std::to_string( below( random, 9 ) ) + ".0.0.0/8" +
            ( oneIn( random, 2 ) ? " le 9" : "" );
         lines += "ip prefix-list A " + content + "\n";
         if( std::find( contents.begin(), contents.end(), content ) == contents.end() ) contents.push_back( content );
      }
      for( size_t i = 0; i < contents.size(); ++i )
         canonical += "ip prefix-list A seq " + std::to_string( 5 * i + 5 ) + " " + contents[ i ] + "\n";
      EXPECT_EQ( written( lines ), canonical );
      EXPECT_EQ( written( lines + lines ), canonical );
   } );
}

// A list under random edits against one of which every look-up is a scan.
TEST( LineLoader, anEditedListIsThatOfALinearScan ) {
   forRandomCases( 5, []( Random & random ) {
      std::map<uint32_t, std::string> model;
      const auto find = [ & ]( const std::string & content ) {
         return std::find_if( model.begin(), model.end(), [ & ]( const auto & line ) { return line.second == content; } );
      };
      std::string lines;
      for( auto n = below( random, 60 ); n; --n ) {
         const std::string content = "permit " + std::to_string( 1 + below( random, 4 ) ) + ".0.0.0/8";
         const auto number = static_cast<uint32_t>( 1 + below( random, 20 ) );
         const std::string numbered = "ip prefix-list A seq " + std::to_string( number );
         switch( below( random, 5 ) ) {
            case 0:
               lines += numbered + " " + content + "\n";
               model[ number ] = content;
               break;
            case 1:
               lines += "no " + numbered + "\n";
               model.erase( number );
               break;
            case 2:
               lines += "no ip prefix-list A " + content + "\n";
               if( const auto at = find( content ); at != model.end() ) model.erase( at );
               break;
            case 3:
               lines += "no " + numbered + " " + content + "\n";
               if( const auto at = model.find( number ); at != model.end() && at->second == content ) model.erase( at );
               break;
            case 4:
               lines += "ip prefix-list A " + content + "\n";
               if( find( content ) == model.end() ) model[ ( ( model.empty() ? 0 : model.rbegin()->first ) / 5 + 1 ) * 5 ] = content;
               break;
         }
      }
      std::string canonical;
      for( const auto & [ number, content ] : model )
         canonical += "ip prefix-list A seq " + std::to_string( number ) + " " + content + "\n";
      EXPECT_EQ( written( lines ), canonical ) << lines;
   } );
}

TEST( LineLoader, prefixLinesAreJustThoseThatTheLibrarysBuilderTakes ) {
   unsigned taken = 0, refused = 0;
   forRandomCases( 50, [ & ]( Random & random ) {
      const bool v6 = oneIn( random, 3 );
      const AddressFamily af = v6 ? AddressFamily::ipv6 : AddressFamily::ipv4;
      const auto length = static_cast<uint8_t>( below( random, v6 ? 129 : 33 ) );
      Routing::RouteMap::PrefixListEntry entry;
      entry.seqno = 5;
      entry.prefix = prefixOf( af, { random() & random(), 0 }, length );
      if( oneIn( random, 2 ) ) entry.prefix = entry.prefix.subnet();
      if( oneIn( random, 2 ) ) entry.ge = static_cast<uint32_t>( below( random, v6 ? 140 : 40 ) );
      if( oneIn( random, 2 ) ) entry.le = static_cast<uint32_t>( below( random, v6 ? 140 : 40 ) );
      Routing::RouteMap::PrefixListBuilder builder( "A", af );
      const bool can = !builder.entryIs( entry );
      LineLoader loader;
      const std::string line = ( v6 ? "ipv6 prefix-list A seq " : "ip prefix-list A seq " ) + std::string( entry.toStrep().view() );
      loader.load( "a.conf", line );
      EXPECT_EQ( loader.errors().empty(), can ) << line;
      ++( can ? taken : refused );
   } );
   EXPECT_GT( taken, 0u );
   EXPECT_GT( refused, 0u );
}

// Words of the language and others, at random: nothing but text and errors comes of it.
TEST( LineLoader, randomLines ) {
   const std::vector<std::string> words = { "ip",       "ipv6",        "prefix-list", "access-list", "tag-set",  "bgp",  "community-list",
                                            "as-path",  "standard",    "expanded",    "route-map",   "no",       "seq",  "permit",
                                            "deny",     "any",         "host",        "10.0.0.0/8",  "10.0.0.1", "::/0", "ge",
                                            "le",       "5",           "10",          "24",          "A",        "B",    "match",
                                            "set",      "call",        "continue",    "on-match",    "next",     "goto", "address",
                                            "next-hop", "tag",         "metric",      "community",   "64500:1",  "none", "additive",
                                            "invert",   "description", "exit",        "_1_",         "(",        "!" };
   forRandomCases( 20, [ & ]( Random & random ) {
      std::string lines;
      for( auto n = below( random, 30 ); n; --n ) {
         if( oneIn( random, 3 ) ) lines += ' ';
         for( auto m = below( random, 8 ); m; --m ) lines += anyOf( random, words ) + ( oneIn( random, 20 ) ? "\t " : " " );
         lines += '\n';
      }
      LineLoader loader;
      loader.load( "a.conf", lines );
      for( const auto & error : loader.errors() ) {
         EXPECT_GE( error.place.column, 1u );
         EXPECT_LE( error.place.line, loader.text().lines );
         EXPECT_FALSE( error.reason.empty() );
      }
      EXPECT_EQ( loaded( writeText( loader.text() ) ), loader.text() ) << lines;
   } );
}

}   // namespace
}   // namespace Agent
