#include "text/Doubts.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/Golden.h"
#include "text/LineLoader.h"

namespace Agent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Files = std::vector<std::pair<std::string, std::string>>;

// "FILE:LINE:COLUMN KIND: TEXT".
std::vector<std::string> doubtsOf( const PolicyText & text ) {
   static constexpr const char * kKinds[] = { "skipped", "replaced", "netmask", "host-bits", "refused", "conflict" };
   std::vector<std::string> doubts;
   for( const auto & doubt : text.doubts )
      doubts.push_back( text.files[ doubt.place.file ] + ':' + std::to_string( doubt.place.line ) + ':' +
                        std::to_string( doubt.place.column ) + ' ' + kKinds[ size_t( doubt.kind ) ] + ": " + doubt.text );
   return doubts;
}

std::vector<std::string> doubtsOf( const Files & files ) {
   LineLoader loader( Dialect::native );
   for( const auto & [ file, lines ] : files ) loader.load( file, lines );
   return doubtsOf( loader.text() );
}

std::vector<std::string> doubtsOf( std::string_view lines ) {
   return doubtsOf( Files{ { "a", std::string( lines ) } } );
}

// ---- skipped lines

TEST( Doubts, aSkippedLineThatLooksLikePolicy ) {
   expectGoldenTranscript( "doubts/skipped.txt", "lines that look like policy",
                           []( const std::string & line ) { return linesOfAll( doubtsOf( line ) ); } );
}

TEST( Doubts, aMistypedClauseEndsItsSequence ) {
   expectGoldenTranscript( "doubts/skipped.txt", "mistyped clauses", []( const std::string & line ) {
      return linesOfAll( doubtsOf( "route-map A permit 10\nmatch tag 5\n" + line + "\ninterface eth0\n" + line + '\n' ) );
   } );
}

TEST( Doubts, otherStanzasAreNone ) {
   for( const char * line : { "",
                              "!route map",
                              "ip",
                              "ip route 10.0.0.0/8 192.0.2.1",
                              "ip access-group X in",
                              "ip forwarding",
                              "ipv6 route ::/0 2001:db8::1",
                              "router bgp 64500",
                              "router ospf",
                              "router-id 10.0.0.1",
                              "route-reflector client",
                              "route-target both 1:1",
                              "route-policy X",
                              "bgp bestpath as-path multipath-relax",
                              "bgp route-map delay-timer 5",
                              "bgp router-id 10.0.0.1",
                              "bgp community alias 1:1 x",
                              "prefix-set X",
                              "as-path-set X",
                              "community-set X",
                              "access-class 10 in",
                              "table-map X",
                              "mac access-list X permit any any",
                              "neighbor A route-map B in",
                              "no neighbor A route-map B in",
                              "no neighbor 192.0.2.1 prefix-list B in",
                              "description the route map of old",
                              "banner route-map",
                              "debug route-map",
                              "no debug route-map",
                              "log route-map",
                              "password route-map",
                              "tag 5",
                              "interface eth0",
                              "interface eth0\n ip prefixlist A permit any\n route map X\n match tag 5\n",
                              "  rout-map M permit 10",
                              "route-map M permit 10\nmatch tag 5\nset metric 5\ncontinue\nexit\n" } )
      EXPECT_THAT( doubtsOf( line ), IsEmpty() ) << line;
   EXPECT_THAT( doubtsOf( std::string( 100000, 'a' ) + ' ' + std::string( 100000, '-' ) + " x" ), IsEmpty() );
}

TEST( Doubts, anIndentedLineOfAListOrARouteMapBelongsToAnotherStanza ) {
   expectGoldenTranscript( "doubts/skipped.txt", "indented lines", []( const std::string & line ) {
      EXPECT_THAT( doubtsOf( "  " + line ), IsEmpty() ) << line;                                // read like any other line
      EXPECT_THAT( doubtsOf( "route-map M permit 10\n " + line + "\n" ), IsEmpty() ) << line;   // an error
      return linesOfAll( doubtsOf( "interface eth0\n\t" + line + "\n" ) ) + linesOfAll( doubtsOf( "interface eth0\n no " + line + "\n" ) ) +
         linesOfAll( doubtsOf( "route-map M permit 10\nx\n " + line + "\n " + line + "\n" ) );
   } );
   for( const char * line : { "ip prefix-list A",
                              "ip prefix-list A in",
                              "ip prefix-list permit",
                              "prefix-list A permit any",
                              "ip access-list 10 permit any",
                              "access-list 10 in",
                              "tag-set T",
                              "tag-set T x",
                              "tag-set 5",
                              "bgp community-list standard C",
                              "bgp as-path relax",
                              "bgp as-path access-list P",
                              "route-map M in",
                              "route-map permit",
                              "route-map",
                              "route-map vpn import M",
                              "rout-map M permit 10",
                              "neighbor X route-map M permit 10",
                              "description route-map M permit 10",
                              "log access-list 10 permit any" } )
      EXPECT_THAT( doubtsOf( std::string( "router bgp 1\n " ) + line + "\n" ), IsEmpty() ) << line;
}

TEST( Doubts, clausesOutsideOfASequence ) {
   for( const std::string word : { "match", "set", "call", "continue", "on-match", "Match", "SET" } )
      expectGolden( "doubts/outside.txt", word,
                    linesOfAll( doubtsOf( "ip prefix-list A permit any\n" + word + " tag 5\n" ) ) +
                       linesOfAll( doubtsOf( "no " + word + "\n" ) ) +
                       linesOfAll( doubtsOf( "route-map M permit 10\n match tag 5\nexit\n" + word + " metric 5\n" ) ) );
   EXPECT_THAT( doubtsOf( "route-map M permit x\nmatch tag 5\n" ), IsEmpty() );   // a wrong sequence is a sequence
}

TEST( Doubts, linesOfAFileThatBeginAlikeAreOneDoubt ) {
   std::string lines = "hostname x\n";
   for( int i = 0; i < 1000; ++i ) lines += "set system x" + std::to_string( i ) + "\nprefix-list A" + std::to_string( i ) + "\n";
   lines += "ip prefix-list A permit any\nset x\nrout-map M\n";
   expectGolden( "doubts/skipped.txt", "lines of a file that begin alike",
                 linesOfAll( doubtsOf( Files{ { "a", lines }, { "b", "set x\nset x\n" } } ) ) );
}

// ---- what is replaced

std::string sequence( const char * clauses ) {
   return std::string( "route-map M permit 10\n" ) + clauses;
}

TEST( Doubts, whatIsReplacedInOneFile ) {
   expectGoldenCases( "doubts/replaced.txt", []( const std::string & lines ) { return linesOfAll( doubtsOf( lines ) ); } );
}

TEST( Doubts, whatIsNotReplaced ) {
   const std::string rows[] = {
      sequence( " match tag 5\n match tag 5\n match metric 5\n" ),
      sequence( " match tag 5\n no match tag\n match tag 6\n" ),
      sequence( " match tag 5\n no match tag 5\n match tag 6\n" ),
      sequence( " set metric 5\n set metric 5\n" ),
      sequence( " set metric 5\n no set metric\n set metric 6\n" ),
      sequence( " set community 1:1 2:2\n set community 2:2 1:1\n" ),
      sequence( " call A\n no call A\n call B\n" ),
      sequence( " continue\n on-match next\n" ),
      sequence( " continue 20\n no on-match\n continue 30\n" ),
      sequence( " description a\n description b\n" ),
      sequence( " match ip address A\n match ip address prefix-list A\n match ipv6 address A\n" ),
      sequence( "no route-map M permit 10\nroute-map M deny 10\n" ),
      sequence( " match tag 5\nno route-map M\nroute-map M permit 10\n match tag 6\n" ),
      sequence( " match tag 5\nroute-map M permit 20\n match tag 6\nroute-map N permit 10\n match tag 7\n" ),
      "route-map M permit x\n match tag 5\n match tag 6\n set tag 5\n set tag 6\n",   // dropped
      "ip prefix-list A seq 5 permit any\nip prefix-list A seq 5 permit 0.0.0.0/0 le 32\n",
      "ip prefix-list A seq 5 permit any\nno ip prefix-list A seq 5\nip prefix-list A seq 5 deny any\n",
      "ip prefix-list A seq 5 permit any\nno ip prefix-list A\nip prefix-list A seq 5 deny any\n",
      "ip prefix-list A seq 5 permit any\nip prefix-list B seq 5 deny any\nipv6 prefix-list A seq 5 deny any\n",
      "ip prefix-list A permit any\nip prefix-list A deny any\n",
      "tag-set T 5\ntag-set T 6\n",
   };
   for( const auto & lines : rows ) EXPECT_THAT( doubtsOf( lines ), IsEmpty() ) << lines;
}

TEST( Doubts, aListThatAnotherFileReplacesIsMeantASequenceIsNot ) {
   const std::string before = "ip prefix-list A seq 5 permit any\n", after = "\n\n\n\nip prefix-list A seq 5 deny any\n";
   EXPECT_THAT( doubtsOf( Files{ { "a", before }, { "b", after } } ), IsEmpty() );
   EXPECT_THAT( doubtsOf( Files{ { "a", before }, { "b", after }, { "a", before } } ), IsEmpty() );
   expectGolden( "doubts/other-files.txt", "two files that say a sequence differently",
                 linesOfAll( doubtsOf( Files{ { "a", sequence( " match tag 5\n set tag 5\n" ) },
                                              { "b", "route-map M deny 10\n match tag 6\n set tag 5\n" } } ) ) );
   expectGolden(
      "doubts/other-files.txt", "a file that replaces its own line behind another file",
      linesOfAll( doubtsOf( Files{ { "a", before }, { "b", after + after + "ip prefix-list A seq 5 permit 10.0.0.0/8\n" } } ) ) );
}

TEST( Doubts, whatIsReplacedIsShownAsItCanBePrinted ) {
   const std::string big( 1000, 'x' );
   expectGolden( "doubts/other-files.txt", "unprintable and long clauses",
                 linesOfAll( doubtsOf( "route-map \xff permit 10\n call " + big + "\n call \xfe\n" ) ) );
}

// ---- netmasks

TEST( Doubts, netmasks ) {
   expectGoldenTranscript( "doubts/netmask.txt", "netmasks in place of wildcards",
                           []( const std::string & line ) { return linesOfAll( doubtsOf( line + "\n" ) ); } );
   for( const char * line :
        { "access-list 1 permit 10.0.0.0 0.0.0.255", "access-list 1 permit 10.0.0.0 0.0.0.0",
          "access-list 1 permit 0.0.0.0 255.255.255.255", "access-list 1 permit 10.0.0.0 255.0.255.0",
          "access-list 1 permit 10.0.0.0 0.255.255.0", "access-list 1 permit 10.0.0.0 255.255.255.1", "access-list 1 permit any",
          "access-list 1 permit 10.0.0.0", "access-list 1 permit host 255.255.255.0", "access-list 1 permit 10.0.0.0/24",
          "access-list 1 permit 255.255.255.0/24", "no access-list 1 permit 10.0.0.0 255.255.255.0",
          "access-list 1 permit 10.0.0.0 255.255.255.0 x", "ipv6 access-list 1 permit ffff::/16" } )
      EXPECT_THAT( doubtsOf( line ), IsEmpty() ) << line;
}

// ---- clauses without a sequence

TEST( Doubts, indentedClausesBehindWhatEndedTheirSequence ) {
   const std::string sequence = "route-map A permit 10\n match tag 5\n";
   for( const char * line : { "--More--", "edge1#", "hostname x" } )
      expectGolden( "doubts/outside.txt", line,
                    linesOfAll( doubtsOf( sequence + line + "\n match metric 3\n no set metric\n ip address 192.0.2.1/24\n" ) ) );
   expectGolden( "doubts/outside.txt", "exit", linesOfAll( doubtsOf( sequence + "exit\n match tag 6\n" ) ) );
   expectGolden( "doubts/outside.txt", "indented at the beginning", linesOfAll( doubtsOf( " call B\n" ) ) );

   // Clauses of others: another form, or a stanza that stands by itself.
   EXPECT_THAT( doubtsOf( sequence + "class-map match-any X\n match ip dscp ef\n match access-group 10\n set ip dscp 5\n exit\n" ),
                IsEmpty() );
   EXPECT_THAT( doubtsOf( sequence + "exit\nclass-map X\n match tag 5\n" ), IsEmpty() );
}

// ---- all of them

TEST( Doubts, comeInTheOrderOfTheTextAndOnceForAFileThatIsReadTwice ) {
   const std::string lines = "rout-map M permit 10\naccess-list 1 seq 5 permit 10.0.0.0 255.255.255.0\n"
                             "access-list 1 seq 5 permit 11.0.0.0 255.255.255.0\nset x\nset x\n"
                             "route-map M permit 10\n match tag 5\n match tag 6\nroute-map M deny 10\n";
   const auto once = doubtsOf( lines );
   ASSERT_EQ( once.size(), 7u );
   for( size_t i = 1; i < once.size(); ++i ) EXPECT_LE( once[ i - 1 ].substr( 0, 3 ), once[ i ].substr( 0, 3 ) );
   EXPECT_EQ( doubtsOf( Files{ { "a", lines }, { "a", lines } } ), once );
   EXPECT_EQ( doubtsOf( Files{ { "a", lines }, { "b", "hostname b\n" }, { "a", lines }, { "a", lines } } ), once );
   // Another text under the same name is another file.
   expectGolden( "doubts/other-files.txt", "two texts of one name",
                 linesOfAll( doubtsOf( Files{ { "a", "tagset T\n" }, { "a", "tagset T\nrout-map M\n" } } ) ) );
}

}   // namespace
}   // namespace Agent
