#include "analysis/Analysis.h"

#include <gmock/gmock.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <set>

#include "analysis/HeldBack.h"
#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

using Findings = std::vector<std::string>;

Findings findingsIn( const PolicyText & text ) {
   const References references( text );
   Findings findings;
   for( const auto & f : findingsOf( text, references ) )
      findings.push_back( placeText( text, f.place ) + ": " + std::string( nameOf( f.kind ) ) + ": " + f.text );
   return findings;
}

Findings findingsIn( const std::string & policy ) {
   return findingsIn( textOf( policy ) );
}

struct Row {
   const char * name;
   std::string policy;
   Findings findings;
};
void expectFindings( const std::vector<Row> & rows ) {
   for( const auto & row : rows ) EXPECT_EQ( findingsIn( row.policy ), row.findings ) << row.name;
}

TEST( Analysis, ofWhatIsReferredTo ) {
   expectFindings( {
      { "nothing", "", {} },
      { "all there", "ip prefix-list P permit any\nroute-map A permit 10\n match ip address prefix-list P\n", {} },
      { "undefined list",
        "route-map A permit 10\n match ip address prefix-list P\n",
        { "p:2:31: undefined: A 10 matches ip address prefix-list P: there is no ip prefix-list P" } },
      { "undefined route map", "route-map A permit 10\n call B\n", { "p:2:7: undefined: A 10 calls B: there is no route-map B" } },
      { "another kind of the name does not count; that it is not used is the same fault",
        "tag-set P 1\nroute-map A permit 10\n match ip address prefix-list P\n",
        { "p:3:31: undefined: A 10 matches ip address prefix-list P: there is no ip prefix-list P, but a tag-set" } },
      { "several other kinds",
        "tag-set P 1\nbgp as-path access-list P permit .\nipv6 access-list P permit any\nroute-map A permit 10\n call P\n",
        { "p:5:7: undefined: A 10 calls P: there is no route-map P, but an ipv6 access-list, a tag-set and a bgp as-path access-list" } },
      { "a prefix list of IPv6 as one of IPv4; that it is not used is the same fault",
        "ipv6 prefix-list P permit any\nroute-map A permit 10\n match ip address prefix-list P\n",
        { "p:3:31: wrong-family: A 10 matches ip address prefix-list P: there is no ip prefix-list P, but an IPv6 one" } },
      { "a prefix list of IPv4 as one of IPv6",
        "ip prefix-list P permit any\nroute-map A permit 10\n match ipv6 address prefix-list P\n",
        { "p:3:33: wrong-family: A 10 matches ipv6 address prefix-list P: there is no ipv6 prefix-list P, but an IPv4 one" } },
      { "an access list of IPv6 as one of IPv4",
        "ipv6 access-list P permit any\nroute-map A permit 10\n match ip address P\n",
        { "p:3:19: wrong-family: A 10 matches ip address P: there is no access-list P, but an IPv6 one" } },
      { "an access list of IPv4 as one of IPv6, of next hops",
        "access-list P permit any\nroute-map A permit 10\n match ipv6 next-hop P\n",
        { "p:3:22: wrong-family: A 10 matches ipv6 next-hop P: there is no ipv6 access-list P, but an IPv4 one" } },
      { "of both families, one of them not used",
        "ip prefix-list P permit any\nipv6 prefix-list P permit any\nroute-map A permit 10\n match ip address prefix-list P\n",
        { "p:2:1: unused: no route map uses ipv6 prefix-list P" } },
   } );
}

TEST( Analysis, accessListsAndPrefixListsThatAreTakenForEachOther ) {
   const struct {
      const char * list;
      const char * clause;
      const char * text;
   } rows[] = {
      { "ip prefix-list", "ip address P", "there is no access-list P, but an ip prefix-list; write \"match ip address prefix-list P\"" },
      { "ipv6 prefix-list", "ipv6 address P",
        "there is no ipv6 access-list P, but an ipv6 prefix-list; write \"match ipv6 address prefix-list P\"" },
      { "ip prefix-list", "ip next-hop P", "there is no access-list P, but an ip prefix-list; write \"match ip next-hop prefix-list P\"" },
      { "ipv6 prefix-list", "ipv6 next-hop P",
        "there is no ipv6 access-list P, but an ipv6 prefix-list; write \"match ipv6 next-hop prefix-list P\"" },
      { "access-list", "ip address prefix-list P", "there is no ip prefix-list P, but an access-list; write \"match ip address P\"" },
      { "ipv6 access-list", "ipv6 address prefix-list P",
        "there is no ipv6 prefix-list P, but an ipv6 access-list; write \"match ipv6 address P\"" },
      { "access-list", "ip next-hop prefix-list P", "there is no ip prefix-list P, but an access-list; write \"match ip next-hop P\"" },
      { "ipv6 access-list", "ipv6 next-hop prefix-list P",
        "there is no ipv6 prefix-list P, but an ipv6 access-list; write \"match ipv6 next-hop P\"" },
      // No other form says the same.
      { "access-list", "ip address prefix-list P invert", "there is no ip prefix-list P, but an access-list" },
      { "ipv6 prefix-list", "ip address P", "there is no access-list P, but an ipv6 prefix-list" },
   };
   for( const auto & row : rows ) {
      const std::string policy = std::string( row.list ) + " P permit any\nroute-map A permit 10\n match " + row.clause + "\n";
      EXPECT_THAT( findingsIn( policy ),
                   testing::ElementsAre( testing::EndsWith( "undefined: A 10 matches " + std::string( row.clause ) + ": " + row.text ) ) )
         << row.list << ", " << row.clause;
   }
   expectFindings( {
      { "of the other family besides",
        "ipv6 access-list P permit any\nip prefix-list P permit any\nroute-map A permit 10\n match ip address P\n",
        { "p:4:19: wrong-family: A 10 matches ip address P: there is no access-list P, but an ip prefix-list and an IPv6 one; "
          "write \"match ip address prefix-list P\"" } },
   } );
}

TEST( Analysis, ofWhatOtherStanzasApply ) {
   using enum Application::Kind;
   const auto applied = []( Application::Kind kind, const char * line ) { return Application{ kind, "X", line, { 0, 9, 4 } }; };
   const struct {
      const char * name;
      const char * policy;
      Application application;
      Findings findings;
   } rows[] = {
      { "a route map", "route-map X permit 10\n", applied( routeMap, "neighbor 192.0.2.1 route-map X in" ), {} },
      { "a route map that there is not",
        "",
        applied( routeMap, "neighbor 192.0.2.1 route-map X in" ),
        { "p:9:4: undefined: \"neighbor 192.0.2.1 route-map X in\": there is no route-map X" } },
      { "a prefix list", "ip prefix-list X permit any\n", applied( prefixList, "prefix-list X" ), {} },
      { "of the other family", "ipv6 prefix-list X permit any\n", applied( prefixList, "prefix-list X" ), {} },
      { "of both families", "ip prefix-list X permit any\nipv6 prefix-list X permit any\n", applied( prefixList, "prefix-list X" ), {} },
      { "of none",
        "access-list X permit any\n",
        applied( prefixList, "prefix-list X" ),
        { "p:9:4: undefined: \"prefix-list X\": there is no prefix-list X, but an access-list" } },
      { "an access list", "access-list X permit any\n", applied( accessList, "access-class X" ), {} },
      { "an access list of IPv6", "ipv6 access-list X permit any\n", applied( accessList, "access-class X" ), {} },
      { "no access list",
        "",
        applied( accessList, "access-class X" ),
        { "p:9:4: undefined: \"access-class X\": there is no access-list X" } },
      { "an AS path list", "bgp as-path access-list X permit .\n", applied( asPathList, "filter-list X" ), {} },
      { "no AS path list",
        "",
        applied( asPathList, "filter-list X" ),
        { "p:9:4: undefined: \"filter-list X\": there is no bgp as-path access-list X" } },
   };
   for( const auto & row : rows ) {
      auto text = textOf( row.policy );
      text.applications = { row.application };
      EXPECT_EQ( findingsIn( text ), row.findings ) << row.name;
   }
   PolicyText text;
   text.files = { "p" };
   text.applications = { { routeMap, std::string( 1'000'000, '\xff' ), "a line", { 0, 1, 1 } } };
   const auto findings = findingsIn( text );
   ASSERT_EQ( findings.size(), 1u );
   EXPECT_LT( findings[ 0 ].size(), 2000u );
   EXPECT_THAT( findings[ 0 ], testing::HasSubstr( "\"a line\": there is no route-map \\xff" ) );
}

TEST( Analysis, doubtsComeAsTheyAre ) {
   auto text = textOf( "route-map A permit 10\n call B\n" );
   text.doubts = { { Doubt::Kind::netmask, { 0, 3, 1 }, "one" },
                   { Doubt::Kind::passedOver, { 0, 1, 9 }, "two" },
                   { Doubt::Kind::replaced, { 0, 2, 8 }, "three" } };
   EXPECT_EQ( findingsIn( text ),
              ( Findings{ "p:1:9: passed-over: two", "p:2:7: undefined: A 10 calls B: there is no route-map B", "p:2:8: replaced: three",
                          "p:3:1: netmask: one" } ) );
}

TEST( Analysis, unusedListsAreFindingsAndRootsAreNot ) {
   expectFindings( {
      { "every kind of list",
        "ip prefix-list P permit any\nipv6 prefix-list P permit any\naccess-list P permit any\nipv6 access-list P permit any\ntag-set P 1\n"
        "bgp community-list standard P permit 1:1\nbgp as-path access-list P permit .\n",
        { "p:1:1: unused: no route map uses ip prefix-list P", "p:2:1: unused: no route map uses ipv6 prefix-list P",
          "p:3:1: unused: no route map uses access-list P", "p:4:1: unused: no route map uses ipv6 access-list P",
          "p:5:1: unused: no route map uses tag-set P", "p:6:1: unused: no route map uses bgp community-list P",
          "p:7:1: unused: no route map uses bgp as-path access-list P" } },
      { "a route map that nobody calls", "route-map A permit 10\n", {} },
   } );
   auto other = textOf( "ip prefix-list P permit any\nip prefix-list Q permit any\ntag-set P 1\nroute-map A permit 10\n" );
   other.otherWords = { "neighbor", "P", "p" };
   EXPECT_EQ( findingsIn( other ), Findings{ "p:2:1: unused: no route map uses ip prefix-list Q" } ) << "words of other stanzas";
   const auto text = textOf( "route-map A permit 10\n call B\nroute-map B permit 10\n" );
   const References references( text );
   EXPECT_TRUE( isRoot( references, "A" ) );
   EXPECT_FALSE( isRoot( references, "B" ) );
}

TEST( Analysis, cyclesAreToldOnceAndWithWhatTheyKeepOutOfForce ) {
   expectFindings( {
      { "two",
        "route-map A permit 10\n call B\nroute-map B permit 20\n call A\nroute-map Z permit 1\n call B\n",
        { "p:2:7: cycle: A 10 calls B, B 20 calls A; not in force: A, B, Z" } },
      { "several sequences",
        "route-map A permit 10\n call B\nroute-map A permit 15\n call B\nroute-map A permit 20\n call B\nroute-map B permit 20\n call A\n",
        { "p:2:7: cycle: A 10, 15 and 20 call B, B 20 calls A; not in force: A, B" } },
      { "itself", "route-map A permit 10\n call A\n", { "p:2:7: cycle: A 10 calls A; not in force: A" } },
   } );
   std::string long_;
   for( int i = 100; i < 150; ++i )
      long_ += "route-map R" + std::to_string( i ) + " permit 1\n call R" + std::to_string( i < 149 ? i + 1 : 100 ) + "\n";
   const auto findings = findingsIn( long_ );
   ASSERT_EQ( findings.size(), 1u );
   EXPECT_THAT( findings[ 0 ], testing::HasSubstr( "R119 1 calls R120 and 30 more; not in force: R100, R101" ) );
   EXPECT_THAT( findings[ 0 ], testing::EndsWith( "R118, R119 and 30 more" ) );
}

// R0 calls R1, and so on, up to one that calls nobody.
std::string chainOf( size_t calls ) {
   std::string policy;
   for( size_t i = 0; i < calls; ++i )
      policy += "route-map R" + std::to_string( i ) + " permit 5\n call R" + std::to_string( i + 1 ) + "\n";
   return policy + "route-map R" + std::to_string( calls ) + " permit 5\n";
}

// Each of so many layers calls the next one twice.
std::string doublingOf( size_t layers ) {
   std::string policy;
   for( size_t i = 0; i < layers; ++i )
      for( const char * number : { "5", "6" } )
         policy += "route-map D" + std::to_string( i ) + " permit " + number + "\n call D" + std::to_string( i + 1 ) + "\n";
   return policy + "route-map D" + std::to_string( layers ) + " permit 5\n";
}

TEST( Analysis, callsThatAreHeldBackAreToldOfWhereThatBegins ) {
   const std::string tooDeep = " is not in force, nor is who calls it: its calls go deeper than 1000";
   const std::string tooMany = " is not in force, nor is who calls it: an evaluation may come to more than 100000 calls";
   expectFindings( {
      { "as deep as they may", chainOf( 1000 ), {} },
      { "one deeper", chainOf( 1001 ), { "p:2:7: too-deep: R0" + tooDeep } },
      { "much deeper", chainOf( 2000 ), { "p:2000:7: too-deep: R999" + tooDeep } },
      { "their callers are not told of",
        chainOf( 1001 ) + "route-map A permit 5\n call R0\nroute-map B permit 5\n call A\nroute-map B permit 6\n call R1\n",
        { "p:2:7: too-deep: R0" + tooDeep } },
      { "two, each at its first call of what there is",
        chainOf( 1000 ) +
           "route-map A permit 5\n call R500\nroute-map A permit 6\n call R0\nroute-map B permit 4\n match tag 1\n call NOPE\n"
           "route-map B permit 5\n call R0\n",
        { "p:2003:7: too-deep: A" + tooDeep, "p:2008:7: undefined: B 4 calls NOPE: there is no route-map NOPE",
          "p:2010:7: too-deep: B" + tooDeep } },
      { "a ring is told of as one",
        chainOf( 1000 ) + "route-map A permit 5\n call R0\nroute-map A permit 6\n call A\n",
        { "p:2005:7: cycle: A 6 calls A; not in force: A" } },
      { "a ring above",
        chainOf( 1001 ) + "route-map A permit 5\n call R0\nroute-map A permit 6\n call A\n",
        { "p:2:7: too-deep: R0" + tooDeep, "p:2007:7: cycle: A 6 calls A; not in force: A" } },
      { "as many as they may be", doublingOf( 15 ), {} },   // 2^16 - 2
      { "twice as many", doublingOf( 16 ), { "p:2:7: too-many-calls: D0" + tooMany } },
      { "very many", doublingOf( 500 ), { "p:1938:7: too-many-calls: D484" + tooMany } },
   } );
}

RC_GTEST_PROP( Analysis, withTheirCallersAreAllThatIsHeldBackButForRings, () ) {
   std::string policy = chainOf( 1000 ) + doublingOf( 15 );
   for( int from = 0; from < 8; ++from )
      for( int number = 1; number <= *rc::gen::inRange( 1, 4 ); ++number ) {
         const int to = *rc::gen::inRange( 0, 14 );
         policy += "route-map A" + std::to_string( from ) + " permit " + std::to_string( number ) + "\n call " +
            ( to < 8       ? "A"
                 : to < 11 ? "R"
                           : "D" ) +
            std::to_string( to < 8 ? to : ( to - 8 ) % 3 ) + "\n";
      }
   const auto text = textOf( policy );
   const References references( text );
   const auto held = routeMapsHeldBack( text.routeMaps );
   std::vector<std::string_view> next;
   for( const auto & f : findingsOf( text, references ) )
      if( f.kind == Finding::Kind::tooDeep || f.kind == Finding::Kind::tooManyCalls ) {
         const auto at = held.find( f.text.substr( 0, f.text.find( ' ' ) ) );
         RC_ASSERT( at != held.end() );
         RC_ASSERT( at->second == ( f.kind == Finding::Kind::tooDeep ? HeldBackBy::depth : HeldBackBy::number ) );
         next.push_back( at->first );
      }
   std::set<std::string> told;
   while( !next.empty() ) {
      const auto name = next.back();
      next.pop_back();
      if( !told.emplace( name ).second ) continue;
      for( const auto * r : references.to( { ThingKind::routeMap, name } ) ) next.push_back( r->routeMap );
   }
   for( const auto & name : told ) RC_ASSERT( held.contains( name ) );
   for( const auto & [ name, by ] : held ) RC_ASSERT( by == HeldBackBy::cycle || told.contains( name ) );
}

TEST( Analysis, clausesThatADenyMakesNothingOf ) {
   expectFindings( {
      { "of a permit", "route-map A permit 10\n match tag 1\n set metric 5\n continue 20\nroute-map A permit 20\n", {} },
      { "continue",
        "route-map A deny 10\n match tag 1\n continue 20\nroute-map A permit 20\n",
        { "p:3:11: no-effect: A 10 denies, and so never continues to 20" } },
      { "a bare continue", "route-map A deny 10\n continue\n", { "p:2:2: no-effect: A 10 denies, and so never continues" } },
      { "on-match",
        "route-map A deny 10\n match tag 1\n on-match goto 20\nroute-map A permit 20\n",
        { "p:3:16: no-effect: A 10 denies, and so never continues to 20" } },
      { "its target is not missed",
        "route-map A deny 10\n continue 20\n",
        { "p:2:11: no-effect: A 10 denies, and so never continues to 20" } },
      { "set, once",
        "route-map A deny 10\n match tag 1\n set metric 5\n set community none\n",
        { "p:1:1: no-effect: A 10 denies, and so sets nothing" } },
   } );
}

TEST( Analysis, whatNeverPermitsAndIsAskedTo ) {
   expectFindings( {
      { "a prefix list",
        "ip prefix-list P deny any\nroute-map A permit 10\n match ip address prefix-list P\n",
        { "p:1:1: never-permits: ip prefix-list P permits nothing: A 10 never matches" } },
      { "each of its users once",
        "ipv6 prefix-list P deny any\nroute-map A permit 10\n match ipv6 address prefix-list P\n match ipv6 next-hop prefix-list P\n"
        "route-map A deny 20\n match ipv6 address prefix-list P\n",
        { "p:1:1: never-permits: ipv6 prefix-list P permits nothing: A 10 and A 20 never match" } },
      { "an access list",
        "access-list L deny any\nroute-map A permit 10\n match ip next-hop L\n",
        { "p:1:1: never-permits: access-list L permits nothing: A 10 never matches" } },
      { "a community list",
        "bgp community-list standard C deny 1:1\nroute-map A permit 10\n match community C\n",
        { "p:1:1: never-permits: bgp community-list C permits nothing: A 10 never matches" } },
      { "an AS path list",
        "bgp as-path access-list S deny .\nroute-map A permit 10\n match as-path S\n",
        { "p:1:1: never-permits: bgp as-path access-list S permits nothing: A 10 never matches" } },
      { "a route map",
        "route-map B deny 10\n match tag 1\nroute-map A permit 10\n call B\n",
        { "p:1:1: never-permits: route-map B permits nothing: A 10 never matches" } },
      { "a line that permits",
        "ip prefix-list P deny any\nip prefix-list P permit any\nroute-map A permit 10\n match tag 1\n",
        { "p:1:1: unused: no route map uses ip prefix-list P",
          "p:2:1: shadowed: ip prefix-list P seq 10 never decides: seq 5 takes all that it speaks of" } },
      { "no line that permits and decides",
        "ip prefix-list P deny 10.0.0.0/8 le 32\nip prefix-list P permit 10.1.0.0/16\nip prefix-list P permit 10.2.0.0/16\n"
        "route-map A permit 10\n match ip address prefix-list P\n",
        { "p:1:1: never-permits: ip prefix-list P permits nothing: A 10 never matches",
          "p:2:1: shadowed: ip prefix-list P seq 10 never decides: seq 5 takes all that it speaks of",
          "p:3:1: shadowed: ip prefix-list P seq 15 never decides: seq 5 takes all that it speaks of" } },
      { "shadowed by one that permits",
        "ip prefix-list P permit 10.0.0.0/8 le 32\nip prefix-list P permit 10.1.0.0/16\nroute-map A permit 10\n"
        " match ip address prefix-list P\n",
        { "p:2:1: shadowed: ip prefix-list P seq 10 never decides: seq 5 takes all that it speaks of" } },
      { "inverted",
        "ip prefix-list P deny any\nroute-map B deny 10\n match tag 1\nroute-map A permit 10\n match ip address prefix-list P invert\n"
        " call B invert\n",
        {} },
      { "what no clause asks", "route-map A deny 10\n", {} },
   } );
   std::string policy = "ip prefix-list P deny any\n";
   for( int i = 1; i <= 50; ++i ) policy += "route-map A permit " + std::to_string( i ) + "\n match ip address prefix-list P\n";
   EXPECT_THAT( findingsIn( policy ), testing::ElementsAre( testing::EndsWith( "A 19, A 20 and 30 more never match" ) ) );
}

TEST( Analysis, sequencesThatNoRouteComesTo ) {
   const std::string list = "tag-set T 1\n";
   expectFindings( {
      { "behind a permit without match",
        "route-map A permit 10\nroute-map A permit 20\n",
        { "p:2:1: unreachable: A 20: no route comes to it, as 10 takes them all and ends the route map" } },
      { "behind a deny without match, and each one behind it",
        "route-map A deny 10\nroute-map A permit 20\n match tag 1\nroute-map A permit 30\n",
        { "p:2:1: unreachable: A 20: no route comes to it, as 10 takes them all and ends the route map",
          "p:4:1: unreachable: A 30: no route comes to it, as 10 takes them all and ends the route map" } },
      { "a match may fail", "route-map A permit 10\n match tag 1\nroute-map A permit 20\n", {} },
      { "a call of what there is not is as good as none",
        "route-map A permit 10\n call B invert\nroute-map A permit 20\n",
        { "p:2:7: undefined: A 10 calls B invert: there is no route-map B",
          "p:3:1: unreachable: A 20: no route comes to it, as 10 takes them all and ends the route map" } },
      { "a call may deny", "route-map B permit 10\n match tag 1\nroute-map A permit 10\n call B\nroute-map A permit 20\n", {} },
      { "set does not matter",
        "route-map A permit 10\n set metric 5\nroute-map A permit 20\n",
        { "p:3:1: unreachable: A 20: no route comes to it, as 10 takes them all and ends the route map" } },
      { "continue goes to the next", "route-map A permit 10\n continue\nroute-map A permit 20\n", {} },
      { "continue jumps",
        "route-map A permit 10\n continue 30\nroute-map A permit 20\nroute-map A permit 30\n",
        { "p:3:1: unreachable: A 20: no route comes to it, as 10 takes them all and continues to 30" } },
      { "an earlier continue jumps over the end",
        "route-map A permit 10\n match tag 1\n continue 30\nroute-map A permit 20\nroute-map A permit 30\n",
        {} },
      { "but not if its sequence is never reached",
        "route-map A permit 5\nroute-map A permit 10\n match tag 1\n continue 30\nroute-map A permit 20\nroute-map A permit 30\n",
        { "p:2:1: unreachable: A 10: no route comes to it, as 5 takes them all and ends the route map",
          "p:5:1: unreachable: A 20: no route comes to it, as 5 takes them all and ends the route map",
          "p:6:1: unreachable: A 30: no route comes to it, as 5 takes them all and ends the route map" } },
      { "a deny ends whatever it continues to",
        "route-map A deny 10\n continue 20\nroute-map A permit 20\n",
        { "p:2:11: no-effect: A 10 denies, and so never continues to 20",
          "p:3:1: unreachable: A 20: no route comes to it, as 10 takes them all and ends the route map" } },
      { "continue to what there is not ends",
        "route-map A permit 10\n continue 25\nroute-map A permit 20\nroute-map A permit 30\n",
        { "p:2:11: missing-target: A 10 continues to 25, which there is not: the route map ends there",
          "p:3:1: unreachable: A 20: no route comes to it, as 10 takes them all and ends the route map",
          "p:4:1: unreachable: A 30: no route comes to it, as 10 takes them all and ends the route map" } },
      { "a bare continue in the last sequence", "route-map A permit 10\n continue\n", {} },
      { "a contradiction never continues",
        list + "route-map A permit 10\n match tag 2\n match tag-set T\n continue 30\nroute-map A permit 20\nroute-map A permit 30\n",
        { "p:4:16: contradiction: A 10 matches tag 2 and tag-set T: the tag is not in the set",
          "p:7:1: unreachable: A 30: no route comes to it, as 20 takes them all and ends the route map" } },
   } );
}

TEST( Analysis, clausesThatCannotHoldTogether ) {
   const std::string lists = "ip prefix-list P permit any\nipv6 prefix-list P permit any\naccess-list L permit any\n"
                             "ipv6 access-list L permit any\ntag-set T 1 2\nroute-map U deny 1\n match ip address prefix-list P\n"
                             " match ip next-hop L\nroute-map U deny 2\n match ipv6 address prefix-list P\n match ipv6 next-hop L\n"
                             "route-map U deny 3\n match tag-set T\nroute-map U deny 4\n match ip address L\n"
                             "route-map U deny 5\n match ipv6 address L\nroute-map X permit 10\n";
   const auto contradiction = []( const char * place, const std::string & text ) {
      return Findings{ std::string( "p:" ) + place + ": contradiction: X 10 matches " + text };
   };
   expectFindings( {
      { "prefix lists of both families", lists + " match ip address prefix-list P\n match ipv6 address prefix-list P\n",
        contradiction( "20:33", "ip address prefix-list P and ipv6 address prefix-list P: no route is of both families" ) },
      { "an access list and a prefix list", lists + " match ip address L\n match ipv6 address prefix-list P\n",
        contradiction( "20:33", "ip address L and ipv6 address prefix-list P: no route is of both families" ) },
      { "access lists", lists + " match ip address L\n match ipv6 address L\n",
        contradiction( "20:21", "ip address L and ipv6 address L: no route is of both families" ) },
      { "next hops", lists + " match ip next-hop 192.0.2.1\n match ipv6 next-hop L\n",
        contradiction( "20:22", "ip next-hop 192.0.2.1 and ipv6 next-hop L: no next hop is of both families" ) },
      { "lists of next hops", lists + " match ip next-hop prefix-list P\n match ipv6 next-hop prefix-list P\n",
        contradiction( "20:34", "ip next-hop prefix-list P and ipv6 next-hop prefix-list P: no next hop is of both families" ) },
      { "a tag that is not in the set", lists + " match tag 3\n match tag-set T\n",
        contradiction( "20:16", "tag 3 and tag-set T: the tag is not in the set" ) },
      { "a tag that is", lists + " match tag 2\n match tag-set T\n", {} },
      { "an inverted list holds for the other family",
        lists + " match ip address prefix-list P invert\n match ipv6 address prefix-list P\n",
        {} },
      { "an IPv4 route over an IPv6 next hop", lists + " match ip address prefix-list P\n match ipv6 next-hop L\n", {} },
      { "two of one family", lists + " match ip address prefix-list P\n match ip address L\n", {} },
   } );
}

TEST( Analysis, shadowedLinesOfBothFamilies ) {
   expectFindings( {
      { "lines",
        "ip prefix-list P permit any\nip prefix-list P deny 10.0.0.0/8\nipv6 prefix-list P seq 7 permit 2001:db8::/32\n"
        "ipv6 prefix-list P seq 9 permit 2001:db8::/32 le 32\nroute-map A permit 10\n match ip address prefix-list P\n"
        "route-map A permit 20\n match ipv6 address prefix-list P\n",
        { "p:2:1: shadowed: ip prefix-list P seq 10 never decides: seq 5 takes all that it speaks of",
          "p:4:1: shadowed: ipv6 prefix-list P seq 9 never decides: seq 7 takes all that it speaks of" } },
   } );
}

TEST( Analysis, findingsOfSeveralFilesComeInTheOrderOfTheFiles ) {
   LineLoader loader;
   loader.load( "b", "route-map Z permit 10\n call NOT-THERE\n" );
   loader.load( "a", "tag-set UNUSED 1\n" );
   const References references( loader.text() );
   std::vector<std::string> places;
   for( const auto & f : findingsOf( loader.text(), references ) ) places.push_back( placeText( loader.text(), f.place ) );
   EXPECT_THAT( places, testing::ElementsAre( "b:2:7", "a:1:1" ) );
}

// ---- against every way that routes could take

struct SmallSequence {
   bool permit;
   bool conditional;
   std::optional<uint32_t> continueTo;
};
using SmallMap = std::map<uint32_t, SmallSequence>;

// The sequences that a route comes to whom the conditional ones match or not, as the bits of `matches` say.
void walk( const SmallMap & map, unsigned matches, std::set<uint32_t> & visited ) {
   for( auto at = map.begin(); at != map.end(); ) {
      visited.insert( at->first );
      const auto & [ number, sequence ] = *at;
      if( sequence.conditional && !( matches >> number & 1 ) ) {
         ++at;
         continue;
      }
      if( !sequence.permit || !sequence.continueTo ) return;
      at = *sequence.continueTo == 0 ? std::next( at ) : map.find( *sequence.continueTo );
   }
}

RC_GTEST_PROP( Analysis, unreachableIsWhatNoRouteVisits, () ) {
   SmallMap map;
   std::string policy;
   for( uint32_t number = 1; number <= 8; ++number ) {
      if( *rc::gen::inRange( 0, 4 ) == 0 ) continue;
      SmallSequence sequence{ *rc::gen::inRange( 0, 4 ) != 0, *rc::gen::inRange( 0, 3 ) != 0, {} };
      if( *rc::gen::arbitrary<bool>() ) sequence.continueTo = *rc::gen::element( 0u, number + 1, number + 2, number + 4 );
      policy += "route-map A " + std::string( sequence.permit ? "permit " : "deny " ) + std::to_string( number ) + "\n";
      if( sequence.conditional ) policy += " match tag 1\n";
      if( sequence.continueTo ) policy += " continue" + ( *sequence.continueTo ? " " + std::to_string( *sequence.continueTo ) : "" ) + "\n";
      map.emplace( number, sequence );
   }
   std::set<uint32_t> visited, expected, found;
   for( unsigned matches = 0; matches < 1u << 9; ++matches ) walk( map, matches, visited );
   for( const auto & [ number, sequence ] : map )
      if( !visited.contains( number ) ) expected.insert( number );

   const auto text = textOf( policy );
   const References references( text );
   for( const auto & f : findingsOf( text, references ) )
      if( f.kind == Finding::Kind::unreachable )
         for( const auto & [ number, sequence ] : text.routeMaps.at( "A" ).sequences )
            if( sequence.place.line == f.place.line ) found.insert( number );
   RC_ASSERT( found == expected );
}

}   // namespace
}   // namespace Agent
