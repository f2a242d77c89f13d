#include "text/Doubts.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/LineLoader.h"

namespace Agent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Files = std::vector<std::pair<std::string, std::string>>;

// "FILE:LINE:COLUMN KIND: TEXT".
std::vector<std::string> doubtsOf( const PolicyText & text ) {
   static constexpr const char * kKinds[] = { "passed-over", "replaced", "netmask" };
   std::vector<std::string> doubts;
   for( const auto & doubt : text.doubts )
      doubts.push_back( text.files[ doubt.place.file ] + ':' + std::to_string( doubt.place.line ) + ':' +
                        std::to_string( doubt.place.column ) + ' ' + kKinds[ size_t( doubt.kind ) ] + ": " + doubt.text );
   return doubts;
}

std::vector<std::string> doubtsOf( const Files & files ) {
   LineLoader loader;
   for( const auto & [ file, lines ] : files ) loader.load( file, lines );
   return doubtsOf( loader.text() );
}

std::vector<std::string> doubtsOf( std::string_view lines ) {
   return doubtsOf( Files{ { "a", std::string( lines ) } } );
}

// ---- lines that are passed over

TEST( Doubts, aLineThatLooksLikeOneOfAPolicySaysHowThoseBegin ) {
   const std::string prefix = R"(lines of prefix lists begin with "ip prefix-list")",
                     prefix6 = R"(lines of prefix lists begin with "ipv6 prefix-list")",
                     prefixes = R"(lines of prefix lists begin with "ip prefix-list" or "ipv6 prefix-list")",
                     access = R"(lines of access lists begin with "access-list")",
                     access6 = R"(lines of access lists begin with "ipv6 access-list")",
                     accesses = R"(lines of access lists begin with "access-list" or "ipv6 access-list")",
                     tagSet = R"(lines of tag sets begin with "tag-set")",
                     community = R"(lines of community lists begin with "bgp community-list")",
                     asPath = R"(lines of AS path lists begin with "bgp as-path access-list")",
                     routeMap = R"(lines of route maps begin with "route-map")";
   struct Row {
      const char * line;
      const char * words;
      std::string reason;
   };
   const Row rows[] = {
      { "ip prefixlist A permit any", "ip prefixlist", prefix },
      { "ip prefix list A permit any", "ip prefix list", prefix },
      { "ip perfix-list A permit any", "ip perfix-list", prefix },
      { "ip  prefix-lists A permit any", "ip prefix-lists", prefix },
      { "IP prefix-list A permit any", "IP prefix-list", prefix },
      { "ip Prefix-List A permit any", "ip Prefix-List", prefix },
      { "ipv4 prefix-list A permit any", "ipv4 prefix-list", prefix },
      { "ipv6 prefixlist A permit any", "ipv6 prefixlist", prefix6 },
      { "IPv6 prefix-list A permit any", "IPv6 prefix-list", prefix6 },
      { "prefix-list A permit any", "prefix-list", prefixes },
      { "ipprefix-list A permit any", "ipprefix-list", prefixes },
      { "prefix list A permit any", "prefix list", prefixes },
      { "no prefix-list A", "prefix-list", prefixes },
      { "NO prefix-list A", "prefix-list", prefixes },
      { "ip accesslist standard A", "ip accesslist", access },
      { "acces-list 10 permit any", "acces-list", accesses },
      { "access list 10 permit any", "access list", accesses },
      { "ipv6 accesslist A permit any", "ipv6 accesslist", access6 },
      { "tagset T 5", "tagset", tagSet },
      { "tag-sets T 5", "tag-sets", tagSet },
      { "tag set T 5", "tag set", tagSet },
      { "ip tag-set T 5", "ip tag-set", tagSet },
      { "ip community-list standard C permit 1:1", "ip community-list", community },
      { "community-list standard C permit 1:1", "community-list", community },
      { "bgp community list standard C permit 1:1", "bgp community list", community },
      { "bgp comunity-list standard C permit 1:1", "bgp comunity-list", community },
      { "ip as-path access-list 1 permit _1_", "ip as-path", asPath },
      { "as-path access-list 1 permit _1_", "as-path", asPath },
      { "bgp aspath access-list 1 permit _1_", "bgp aspath", asPath },
      { "rout-map M permit 10", "rout-map", routeMap },
      { "route_map M permit 10", "route_map", routeMap },
      { "ROUTE-MAP M permit 10", "ROUTE-MAP", routeMap },
      { "route map M permit 10", "route map", routeMap },
      { "route-maps", "route-maps", routeMap },
      { "bgp large-community-list standard L permit 1:1:1", "bgp large-community-list", "there are no lists of large communities here" },
      { "ip large-community-list standard L permit 1:1:1", "ip large-community-list", "there are no lists of large communities here" },
      { "bgp extcommunity-list standard L permit rt 1:1", "bgp extcommunity-list", "there are no lists of extended communities here" },
   };
   for( const auto & row : rows ) {
      const std::string line = row.line;
      const std::string column = line.starts_with( "no " ) || line.starts_with( "NO " ) ? "4" : "1";
      EXPECT_THAT( doubtsOf( row.line ),
                   ElementsAre( "a:1:" + column + " passed-over: \"" + row.words + "\" is passed over: " + row.reason ) );
   }
}

TEST( Doubts, aMistypedClauseEndsItsSequence ) {
   const auto behind = []( const std::string & line ) {
      return doubtsOf( "route-map A permit 10\nmatch tag 5\n" + line + "\ninterface eth0\n" + line + '\n' );
   };
   const std::pair<const char *, const char *> rows[] = {
      { "match-tag 6", "match" },
      { "mtach tag 6", "match" },
      { "Macth tag 6", "match" },
      { "no mtch tag 5", "match" },
      { "ste metric 5", "" },
      { "sett metric 5", "set" },
      { "cal B", "call" },
      { "contine 20", "continue" },
      { "onmatch next", "on-match" },
      { "on-mach next", "on-match" },
      { "router bgp 1", "" },
      { "line vty", "" },
      { "log file", "" },
      { "mac access-list A", "" },
      { "description of a thing", "" },
      { "exit", "" },
      { "ip route 10.0.0.0/8 lo", "" },
   };
   for( const auto & [ line, clause ] : rows ) {
      SCOPED_TRACE( line );
      const std::string text( line );
      const bool no = text.starts_with( "no " );
      const std::string word = text.substr( no ? 3 : 0, text.find( ' ', no ? 3 : 0 ) - ( no ? 3 : 0 ) );
      const std::string doubt = std::string( "a:3:" ) + ( no ? "4" : "1" ) + " passed-over: \"" + word +
         "\" ends the sequence, and is passed over; did you mean \"" + clause + "\"?";
      EXPECT_EQ( behind( line ), *clause ? std::vector<std::string>{ doubt } : std::vector<std::string>() );
   }
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
   const std::pair<const char *, const char *> rows[] = {
      { "ip prefix-list A permit any", "ip prefix-list" },
      { "ip prefix-list A seq 5 deny 10.0.0.0/8 le 24", "ip prefix-list" },
      { "ip prefix-list A permit x", "ip prefix-list" },   // wrong besides
      { "ipv6 prefix-list A permit any", "ipv6 prefix-list" },
      { "access-list 10 permit any", "access-list" },
      { "ipv6 access-list A seq 5 permit any", "ipv6 access-list" },
      { "tag-set T 5 6", "tag-set" },
      { "bgp community-list standard C permit 1:1", "bgp community-list" },
      { "bgp community-list expanded C seq 5 deny 1:1", "bgp community-list" },
      { "bgp as-path access-list P permit _1_", "bgp as-path access-list" },
      { "route-map M permit 10", "route-map" },
      { "route-map deny deny 10", "route-map" },
   };
   const auto doubt = []( const std::string & place, const char * words ) {
      return "a:" + place + " passed-over: \"" + words + "\" is indented, and so belongs to the stanza above";
   };
   for( const auto & [ text, words ] : rows ) {
      const std::string line( text );
      EXPECT_THAT( doubtsOf( "  " + line ), IsEmpty() ) << line;   // which is read as it is
      EXPECT_THAT( doubtsOf( "interface eth0\n\t" + line + "\n" ), ElementsAre( doubt( "2:2", words ) ) ) << line;
      EXPECT_THAT( doubtsOf( "interface eth0\n no " + line + "\n" ), ElementsAre( doubt( "2:5", words ) ) ) << line;
      EXPECT_THAT( doubtsOf( "route-map M permit 10\nx\n " + line + "\n " + line + "\n" ),
                   ElementsAre( doubt( "3:2", words ) + "; 2 lines of this file begin so" ) )
         << line;
      EXPECT_THAT( doubtsOf( "route-map M permit 10\n " + line + "\n" ), IsEmpty() ) << line;   // which is an error
   }
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
   for( const std::string word : { "match", "set", "call", "continue", "on-match", "Match", "SET" } ) {
      const auto text = [ & ]( const char * place ) {
         return std::string( "a:" ) + place + " passed-over: \"" + word + "\" stands outside of a sequence, and is passed over";
      };
      EXPECT_THAT( doubtsOf( "ip prefix-list A permit any\n" + word + " tag 5\n" ), ElementsAre( text( "2:1" ) ) );
      EXPECT_THAT( doubtsOf( "no " + word + "\n" ), ElementsAre( text( "1:4" ) ) );
      EXPECT_THAT( doubtsOf( "route-map M permit 10\n match tag 5\nexit\n" + word + " metric 5\n" ), ElementsAre( text( "4:1" ) ) );
   }
   EXPECT_THAT( doubtsOf( "route-map M permit x\nmatch tag 5\n" ), IsEmpty() );   // a wrong one is one
}

TEST( Doubts, linesOfAFileThatBeginAlikeAreOneDoubt ) {
   std::string lines = "hostname x\n";
   for( int i = 0; i < 1000; ++i ) lines += "set system x" + std::to_string( i ) + "\nprefix-list A" + std::to_string( i ) + "\n";
   lines += "ip prefix-list A permit any\nset x\nrout-map M\n";
   const std::string set = "\"set\" stands outside of a sequence, and is passed over";
   const std::string list = R"("prefix-list" is passed over: lines of prefix lists begin with "ip prefix-list" or "ipv6 prefix-list")";
   const std::string map = R"("rout-map" is passed over: lines of route maps begin with "route-map")";
   EXPECT_THAT( doubtsOf( Files{ { "a", lines }, { "b", "set x\nset x\n" } } ),
                ElementsAre( "a:2:1 passed-over: " + set + "; 1001 lines of this file begin so",
                             "a:3:1 passed-over: " + list + "; 1000 lines of this file begin so", "a:2004:1 passed-over: " + map,
                             "b:1:1 passed-over: " + set + "; 2 lines of this file begin so" ) );
}

// ---- what is replaced

std::string sequence( const char * clauses ) {
   return std::string( "route-map M permit 10\n" ) + clauses;
}

TEST( Doubts, anotherContentInOneFile ) {
   struct Row {
      std::string lines;
      const char * doubt;
   };
   const Row rows[] = {
      { sequence( " match tag 5\n match tag 6" ),
        R"(a:3:12 replaced: M 10 has "match tag 5" in line 2 already; "match tag 6" takes its place)" },
      { sequence( " match ip address prefix-list A\n match ip address prefix-list A invert" ),
        R"(a:3:31 replaced: M 10 has "match ip address prefix-list A" in line 2 already; "match ip address prefix-list A invert" takes its place)" },
      { sequence( " match ip next-hop 10.0.0.1\n match ip next-hop A" ),
        R"(a:3:20 replaced: M 10 has "match ip next-hop 10.0.0.1" in line 2 already; "match ip next-hop A" takes its place)" },
      { sequence( " set metric 5\n\n set metric 6" ),
        R"(a:4:13 replaced: M 10 has "set metric 5" in line 2 already; "set metric 6" takes its place)" },
      { sequence( " set distance 5\n set distance 6" ),
        R"(a:3:15 replaced: M 10 has "set distance 5" in line 2 already; "set distance 6" takes its place)" },
      { sequence( " set tag 5\n set tag 6" ), R"(a:3:10 replaced: M 10 has "set tag 5" in line 2 already; "set tag 6" takes its place)" },
      { sequence( " set local-preference 5\n set local-preference 6" ),
        R"(a:3:23 replaced: M 10 has "set local-preference 5" in line 2 already; "set local-preference 6" takes its place)" },
      { sequence( " set community 1:1\n set community none" ),
        R"(a:3:16 replaced: M 10 has "set community 1:1" in line 2 already; "set community none" takes its place)" },
      { sequence( " set community 1:1\n set community 1:1 additive" ),
        R"(a:3:16 replaced: M 10 has "set community 1:1" in line 2 already; "set community 1:1 additive" takes its place)" },
      { sequence( " call A\n call B" ), R"(a:3:7 replaced: M 10 has "call A" in line 2 already; "call B" takes its place)" },
      { sequence( " call A\n call A invert" ), R"(a:3:7 replaced: M 10 has "call A" in line 2 already; "call A invert" takes its place)" },
      { sequence( " continue\n continue 20" ), R"(a:3:11 replaced: M 10 has "continue" in line 2 already; "continue 20" takes its place)" },
      { sequence( " continue 20\n on-match next" ),
        R"(a:3:11 replaced: M 10 has "continue 20" in line 2 already; "continue" takes its place)" },
      { sequence( "route-map N permit 5\nroute-map M deny 10" ),
        R"(a:3:1 replaced: M 10 has "permit" in line 1 already; "deny" takes its place)" },
      { sequence( " match tag 5\nip prefix-list A permit any\nroute-map M permit 10\n match tag 6" ),
        R"(a:5:12 replaced: M 10 has "match tag 5" in line 2 already; "match tag 6" takes its place)" },
      { "ip prefix-list A seq 5 permit any\nip prefix-list A seq 5 deny 10.0.0.0/8 le 24",
        R"(a:2:1 replaced: ip prefix-list A has "seq 5 permit any" in line 1 already; "seq 5 deny 10.0.0.0/8 le 24" takes its place)" },
      { "ip prefix-list A permit any\nip prefix-list A seq 5 deny any",
        R"(a:2:1 replaced: ip prefix-list A has "seq 5 permit any" in line 1 already; "seq 5 deny any" takes its place)" },
      { "ipv6 prefix-list seq seq 5 permit any\nipv6 prefix-list seq seq 5 permit ::/0",
        R"(a:2:1 replaced: ipv6 prefix-list seq has "seq 5 permit any" in line 1 already; "seq 5 permit ::/0" takes its place)" },
      { "access-list 1 seq 5 permit any\naccess-list 1 seq 5 permit 10.0.0.1",
        R"(a:2:1 replaced: access-list 1 has "seq 5 permit any" in line 1 already; "seq 5 permit host 10.0.0.1" takes its place)" },
      { "ipv6 access-list A seq 5 permit any\nipv6 access-list A seq 5 deny any",
        R"(a:2:1 replaced: ipv6 access-list A has "seq 5 permit any" in line 1 already; "seq 5 deny any" takes its place)" },
      { "bgp community-list standard C seq 5 permit internet\nbgp community-list standard C seq 5 permit 1:1",
        R"(a:2:1 replaced: bgp community-list C has "seq 5 permit internet" in line 1 already; "seq 5 permit 1:1" takes its place)" },
      { "bgp community-list expanded C seq 5 permit a\nbgp community-list expanded C seq 5 permit b c",
        R"(a:2:1 replaced: bgp community-list C has "seq 5 permit a" in line 1 already; "seq 5 permit b c" takes its place)" },
      { "bgp as-path access-list P seq 5 permit a\nbgp as-path access-list P seq 5 permit b",
        R"(a:2:1 replaced: bgp as-path access-list P has "seq 5 permit a" in line 1 already; "seq 5 permit b" takes its place)" },
   };
   for( const auto & row : rows ) EXPECT_THAT( doubtsOf( row.lines ), ElementsAre( row.doubt ) ) << row.lines;
}

TEST( Doubts, everyReplacementNamesTheLineThatItReplaces ) {
   EXPECT_THAT( doubtsOf( sequence( " set tag 5\n set tag 6\n set tag 7\nroute-map M deny 10\nroute-map M permit 10\n" ) ),
                ElementsAre( R"(a:3:10 replaced: M 10 has "set tag 5" in line 2 already; "set tag 6" takes its place)",
                             R"(a:4:10 replaced: M 10 has "set tag 6" in line 3 already; "set tag 7" takes its place)",
                             R"(a:5:1 replaced: M 10 has "permit" in line 1 already; "deny" takes its place)",
                             R"(a:6:1 replaced: M 10 has "deny" in line 5 already; "permit" takes its place)" ) );
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
      "route-map M permit x\n match tag 5\n match tag 6\n set tag 5\n set tag 6\n",   // goes nowhere
      "ip prefix-list A seq 5 permit any\nip prefix-list A seq 5 permit 0.0.0.0/0 le 32\n",
      "ip prefix-list A seq 5 permit any\nno ip prefix-list A seq 5\nip prefix-list A seq 5 deny any\n",
      "ip prefix-list A seq 5 permit any\nno ip prefix-list A\nip prefix-list A seq 5 deny any\n",
      "ip prefix-list A seq 5 permit any\nip prefix-list B seq 5 deny any\nipv6 prefix-list A seq 5 deny any\n",
      "ip prefix-list A permit any\nip prefix-list A deny any\n",
      "tag-set T 5\ntag-set T 6\n",
   };
   for( const auto & lines : rows ) EXPECT_THAT( doubtsOf( lines ), IsEmpty() ) << lines;
}

TEST( Doubts, whatAnotherFileReplacesIsMeant ) {
   const std::string before = sequence( " match tag 5\n set tag 5\n" ) + "ip prefix-list A seq 5 permit any\n",
                     after = "\n\n\n\nroute-map M deny 10\n match tag 6\n set tag 6\nip prefix-list A seq 5 deny any\n";
   EXPECT_THAT( doubtsOf( Files{ { "a", before }, { "b", after } } ), IsEmpty() );
   EXPECT_THAT( doubtsOf( Files{ { "a", before }, { "b", after }, { "a", before } } ), IsEmpty() );
   EXPECT_THAT( doubtsOf( Files{ { "a", before }, { "b", after + "route-map M deny 10\n set tag 7\n" } } ),
                ElementsAre( R"(b:10:10 replaced: M 10 has "set tag 6" in line 7 already; "set tag 7" takes its place)" ) );
}

TEST( Doubts, whatIsReplacedIsShownAsItCanBePrinted ) {
   const std::string big( 1000, 'x' );
   EXPECT_THAT( doubtsOf( "route-map \xff permit 10\n call " + big + "\n call \xfe\n" ),
                ElementsAre( "a:3:7 replaced: \\xff 10 has \"call " + big.substr( 0, 59 ) +
                             "...\" in line 2 already; \"call \\xfe\" takes its place" ) );
}

// ---- netmasks

TEST( Doubts, netmasks ) {
   const auto doubt = []( const std::string & mask, const std::string & wildcard ) {
      return "a:1:31 netmask: \"" + mask + "\" is a wildcard here, which is a netmask elsewhere; the wildcard of that netmask is " +
         wildcard;
   };
   struct Row {
      const char * mask;
      const char * wildcard;
   };
   const Row rows[] = { { "255.255.255.0", "0.0.0.255" },
                        { "255.255.255.254", "0.0.0.1" },
                        { "255.255.240.0", "0.0.15.255" },
                        { "255.0.0.0", "0.255.255.255" },
                        { "128.0.0.0", "127.255.255.255" } };
   for( const auto & row : rows )
      EXPECT_THAT( doubtsOf( std::string( "access-list 1 permit 10.0.0.0 " ) + row.mask + "\n" ),
                   ElementsAre( doubt( row.mask, row.wildcard ) ) );

   for( const char * line :
        { "access-list 1 permit 10.0.0.0 0.0.0.255", "access-list 1 permit 10.0.0.0 0.0.0.0",
          "access-list 1 permit 0.0.0.0 255.255.255.255", "access-list 1 permit 10.0.0.0 255.0.255.0",
          "access-list 1 permit 10.0.0.0 0.255.255.0", "access-list 1 permit 10.0.0.0 255.255.255.1", "access-list 1 permit any",
          "access-list 1 permit 10.0.0.0", "access-list 1 permit host 255.255.255.0", "access-list 1 permit 10.0.0.0/24",
          "access-list 1 permit 255.255.255.0/24", "no access-list 1 permit 10.0.0.0 255.255.255.0",
          "access-list 1 permit 10.0.0.0 255.255.255.0 x", "ipv6 access-list 1 permit ffff::/16" } )
      EXPECT_THAT( doubtsOf( line ), IsEmpty() ) << line;
}

TEST( Doubts, netmasksOfAHostAndOfAll ) {
   EXPECT_THAT( doubtsOf( "access-list 1 permit 192.0.2.1 255.255.255.255\n" ),
                ElementsAre( "a:1:32 netmask: \"255.255.255.255\" is a wildcard here, under which every address matches; "
                             "192.0.2.1 alone has none" ) );
   EXPECT_THAT( doubtsOf( "access-list 1 permit 0.0.0.0 0.0.0.0\n" ),
                ElementsAre( "a:1:30 netmask: \"0.0.0.0\" is a wildcard here, and this the address 0.0.0.0 alone; "
                             "what matches every address is \"any\"" ) );
}

// ---- clauses without a sequence

TEST( Doubts, indentedClausesBehindWhatEndedTheirSequence ) {
   const auto outside = []( const char * place, const char * word ) {
      return std::string( "a:" ) + place + " passed-over: \"" + word + "\" stands outside of a sequence, and is passed over";
   };
   const std::string sequence = "route-map A permit 10\n match tag 5\n";
   for( const char * line : { "--More--", "edge1#", "hostname x" } )
      EXPECT_THAT( doubtsOf( sequence + line + "\n match metric 3\n no set metric\n ip address 192.0.2.1/24\n" ),
                   ElementsAre( outside( "4:2", "match" ), outside( "5:5", "set" ) ) )
         << line;
   EXPECT_THAT( doubtsOf( sequence + "exit\n match tag 6\n" ), ElementsAre( outside( "4:2", "match" ) ) );
   EXPECT_THAT( doubtsOf( " call B\n" ), ElementsAre( outside( "1:2", "call" ) ) );

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
   EXPECT_THAT( doubtsOf( Files{ { "a", "tagset T\n" }, { "a", "tagset T\nrout-map M\n" } } ),
                ElementsAre( R"(a:1:1 passed-over: "tagset" is passed over: lines of tag sets begin with "tag-set")",
                             R"(a:1:1 passed-over: "tagset" is passed over: lines of tag sets begin with "tag-set")",
                             R"(a:2:1 passed-over: "rout-map" is passed over: lines of route maps begin with "route-map")" ) );
}

}   // namespace
}   // namespace Agent
