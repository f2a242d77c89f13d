#include "analysis/References.h"

#include <gmock/gmock.h>

#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> allOf( const PolicyText & text ) {
   const References references( text );
   std::vector<std::string> all;
   for( const auto & r : references.all() ) all.push_back( textOf( r ) + " -> " + textOf( r.to ) + ( r.defined ? "" : " (undefined)" ) );
   return all;
}

TEST( References, everyClauseThatNamesSomething ) {
   struct Row {
      std::string_view clause;
      std::string_view reference;   // empty: names nothing
      std::string_view definition;
   };
   const Row rows[] = {
      { "match ip address prefix-list X", "matches ip address prefix-list X -> ip prefix-list X", "ip prefix-list X permit any" },
      { "match ip address prefix-list X invert", "matches ip address prefix-list X invert -> ip prefix-list X",
        "ip prefix-list X permit any" },
      { "match ipv6 address prefix-list X", "matches ipv6 address prefix-list X -> ipv6 prefix-list X", "ipv6 prefix-list X permit any" },
      { "match ip address X", "matches ip address X -> access-list X", "access-list X permit any" },
      { "match ipv6 address X", "matches ipv6 address X -> ipv6 access-list X", "ipv6 access-list X permit any" },
      { "match ip next-hop X", "matches ip next-hop X -> access-list X", "access-list X permit any" },
      { "match ipv6 next-hop X", "matches ipv6 next-hop X -> ipv6 access-list X", "ipv6 access-list X permit any" },
      { "match ip next-hop prefix-list X", "matches ip next-hop prefix-list X -> ip prefix-list X", "ip prefix-list X permit any" },
      { "match ipv6 next-hop prefix-list X", "matches ipv6 next-hop prefix-list X -> ipv6 prefix-list X", "ipv6 prefix-list X permit any" },
      { "match tag-set X", "matches tag-set X -> tag-set X", "tag-set X 1" },
      { "match community X", "matches community X -> bgp community-list X", "bgp community-list standard X permit 1:1" },
      { "match as-path X", "matches as-path X -> bgp as-path access-list X", "bgp as-path access-list X permit ^1" },
      { "call X", "calls X -> route-map X", "route-map X permit 10" },
      { "call X invert", "calls X invert -> route-map X", "route-map X permit 10" },
      { "match ip next-hop 192.0.2.1", "", "" },
      { "match ipv6 next-hop 2001:db8::1", "", "" },
      { "match interface X", "", "" },
      { "match tag 7", "", "" },
      { "set metric 7", "", "" },
   };
   for( const auto & row : rows ) {
      const std::string routeMap = "route-map R deny 10\n " + std::string( row.clause ) + "\n";
      const auto undefined = allOf( textOf( routeMap ) );
      if( row.reference.empty() ) {
         EXPECT_THAT( undefined, IsEmpty() ) << row.clause;
         continue;
      }
      const std::string expected = "R 10 " + std::string( row.reference );
      EXPECT_THAT( undefined, ElementsAre( expected + " (undefined)" ) ) << row.clause;
      EXPECT_THAT( allOf( textOf( std::string( row.definition ) + "\n" + routeMap ) ), ElementsAre( expected ) ) << row.clause;
   }
}

TEST( References, comeByRouteMapSequenceOptionAndTheCallLast ) {
   EXPECT_THAT( allOf( textOf( "route-map B permit 10\n call A\n match tag-set T\n match ip address prefix-list P\n"
                               "route-map A permit 20\n match community C\nroute-map A permit 10\n match as-path S\n" ) ),
                ElementsAre( "A 10 matches as-path S -> bgp as-path access-list S (undefined)",
                             "A 20 matches community C -> bgp community-list C (undefined)",
                             "B 10 matches ip address prefix-list P -> ip prefix-list P (undefined)",
                             "B 10 matches tag-set T -> tag-set T (undefined)", "B 10 calls A -> route-map A" ) );
}

TEST( References, areFoundByWhatTheyAreToAndWhereTheyStand ) {
   const auto text = textOf( "route-map A permit 10\n call B\n match ip address prefix-list P\nroute-map B permit 10\n"
                             "route-map B permit 20\n match ip next-hop prefix-list P\n match ipv6 address prefix-list P\n" );
   const References references( text );
   std::vector<std::string> to;
   for( const auto * r : references.to( { ThingKind::ipv4PrefixList, "P" } ) ) to.push_back( textOf( *r ) );
   EXPECT_THAT( to, ElementsAre( "A 10 matches ip address prefix-list P", "B 20 matches ip next-hop prefix-list P" ) );
   EXPECT_TRUE( references.to( { ThingKind::ipv4AccessList, "P" } ).empty() );
   EXPECT_TRUE( references.to( { ThingKind::ipv4PrefixList, "" } ).empty() );

   const auto * match = references.in( "B", 20, MatchOption::matchIpv6PrefixList );
   ASSERT_TRUE( match );
   EXPECT_EQ( match->to, ( Thing{ ThingKind::ipv6PrefixList, "P" } ) );
   EXPECT_EQ( match->place.line, 7u );
   EXPECT_EQ( match->place.column, 33u );
   const auto * call = references.in( "A", 10, std::nullopt );
   ASSERT_TRUE( call );
   EXPECT_EQ( textOf( *call ), "A 10 calls B" );
   EXPECT_FALSE( references.in( "A", 10, MatchOption::matchTagSet ) );
   EXPECT_FALSE( references.in( "B", 10, std::nullopt ) );
   EXPECT_FALSE( references.in( "B", 30, std::nullopt ) );
   EXPECT_FALSE( references.in( "C", 10, std::nullopt ) );
}

TEST( References, whatOtherStanzasApply ) {
   using enum Application::Kind;
   auto text = textOf( "ip prefix-list V4 permit any\nipv6 prefix-list V6 permit any\nip prefix-list BOTH permit any\n"
                       "ipv6 prefix-list BOTH permit any\nroute-map R permit 10\n match ipv6 address prefix-list WANTED\n" );
   text.applications = { { prefixList, "V4", "1", {} },     { prefixList, "V6", "2", {} },   { prefixList, "BOTH", "3", {} },
                         { prefixList, "WANTED", "4", {} }, { prefixList, "NONE", "5", {} }, { accessList, "V4", "6", {} },
                         { routeMap, "R", "7", {} },        { routeMap, "R", "8", {} },      { asPathList, "R", "9", {} } };
   const References references( text );
   const struct {
      Thing thing;
      std::vector<std::string> lines;
   } rows[] = {
      { { ThingKind::ipv4PrefixList, "V4" }, { "1" } },   { { ThingKind::ipv6PrefixList, "V4" }, {} },
      { { ThingKind::ipv4PrefixList, "V6" }, {} },        { { ThingKind::ipv6PrefixList, "V6" }, { "2" } },
      { { ThingKind::ipv4PrefixList, "BOTH" }, { "3" } }, { { ThingKind::ipv6PrefixList, "BOTH" }, { "3" } },
      { { ThingKind::ipv4PrefixList, "WANTED" }, {} },    { { ThingKind::ipv6PrefixList, "WANTED" }, { "4" } },
      { { ThingKind::ipv4PrefixList, "NONE" }, { "5" } }, { { ThingKind::ipv6PrefixList, "NONE" }, {} },
      { { ThingKind::ipv4AccessList, "V4" }, { "6" } },   { { ThingKind::ipv6AccessList, "V4" }, {} },
      { { ThingKind::routeMap, "R" }, { "7", "8" } },     { { ThingKind::asPathList, "R" }, { "9" } },
      { { ThingKind::communityList, "R" }, {} },          { { ThingKind::tagSet, "R" }, {} },
   };
   for( const auto & row : rows ) {
      std::vector<std::string> lines;
      for( const auto * application : references.applicationsOf( row.thing ) ) lines.push_back( application->line );
      EXPECT_EQ( lines, row.lines ) << textOf( row.thing );
      EXPECT_EQ( references.isUsed( row.thing ), !lines.empty() ) << textOf( row.thing );
   }
   EXPECT_THAT( thingsCalled( "NONE", text, references ), ElementsAre( Thing{ ThingKind::ipv4PrefixList, "NONE" } ) );
   EXPECT_FALSE( isDefined( text, text.applications[ 4 ] ) );
   EXPECT_TRUE( isDefined( text, text.applications[ 1 ] ) );
}

TEST( References, thingsOfOneNameAreAllKindsThatAreThereOrWanted ) {
   const auto text = textOf( "ip prefix-list X permit any\ntag-set X 1\nroute-map X permit 10\n match community X\n match tag-set Y\n" );
   const References references( text );
   std::vector<std::string> things;
   for( const auto & thing : thingsCalled( "X", text, references ) ) things.push_back( textOf( thing ) );
   EXPECT_THAT( things, ElementsAre( "ip prefix-list X", "tag-set X", "bgp community-list X", "route-map X" ) );
   EXPECT_THAT( kindsCalled( "X", text ), ElementsAre( ThingKind::ipv4PrefixList, ThingKind::tagSet, ThingKind::routeMap ) );
   EXPECT_THAT( kindsCalled( "Y", text ), IsEmpty() );
   EXPECT_EQ( thingsCalled( "Y", text, references ).size(), 1u );
   EXPECT_THAT( thingsCalled( "Z", text, references ), IsEmpty() );
}

TEST( References, namesInOneLine ) {
   EXPECT_EQ( joined( {}, 3, " and " ), "" );
   EXPECT_EQ( joined( { "A" }, 3, " and " ), "A" );
   EXPECT_EQ( joined( { "A", "B", "C" }, 3, " and " ), "A, B and C" );
   EXPECT_EQ( joined( { "A", "B", "C", "D" }, 3, ", " ), "A, B, C and 1 more" );
}

TEST( References, namesLikeAnother ) {
   const auto text = textOf( "ip prefix-list CUSTOMERS permit any\nipv6 prefix-list CUSTOMERS permit any\ntag-set CUSTOMER 1\n"
                             "route-map EDGE-IN permit 10\nroute-map EDGE-OUT permit 10\nroute-map X permit 10\n" );
   struct Row {
      const char * name;
      std::vector<std::string> like;
   };
   const Row rows[] = {
      { "CUTSOMERS", { "CUSTOMERS", "CUSTOMER" } },   // the nearest first, and each once
      { "customers", { "CUSTOMERS", "CUSTOMER" } },
      { "EDGE-I", { "EDGE-IN" } },
      { "EDGE", {} },
      { "Y", { "X" } },
      { "PEERS", {} },
      { "", { "X" } },
   };
   for( const auto & row : rows ) EXPECT_EQ( namesLike( row.name, text ), row.like ) << row.name;
   EXPECT_EQ( unknownNameText( "EDGE-I", text ), "unknown name EDGE-I; did you mean EDGE-IN?" );
   EXPECT_EQ( unknownNameText( "CUTSOMERS", text ), "unknown name CUTSOMERS; did you mean CUSTOMERS or CUSTOMER?" );
   EXPECT_EQ( unknownNameText( "PE\x1b[m", text ), "unknown name PE\\x1b[m" );
}

}   // namespace
}   // namespace Agent
