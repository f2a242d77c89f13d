// The texts of show and used-by.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/agent/CommandFixture.h"
#include "tests/agent/Golden.h"

namespace Agent {
namespace {

using nlohmann::json;

CommandOutput shown( std::string_view policy, std::optional<std::string> name = std::nullopt, bool asJson = false ) {
   return outputOf( policy, [ & ]( const std::string & file, Console & console ) {
      return show( { .files = { file }, .name = name, .json = asJson, .dialect = Dialect::native }, console );
   } );
}
CommandOutput used( std::string_view policy, const std::string & name, bool asJson = false ) {
   return outputOf( policy, [ & ]( const std::string & file, Console & console ) {
      return usedBy( { .files = { file }, .name = name, .json = asJson, .dialect = Dialect::native }, console );
   } );
}

// A document in several lines, its members in their order.
std::string indented( const std::string & document ) {
   return nlohmann::ordered_json::parse( document ).dump( 3 ) + '\n';
}

constexpr char kPolicy[] = "ip prefix-list CUST permit 10.0.0.0/8 le 24\n"
                           "ip prefix-list CUST deny 192.0.2.0/24\n"
                           "ipv6 prefix-list CUST permit 2001:db8::/32\n"
                           "tag-set TAGS 1 2 3\n"
                           "bgp community-list expanded COMM permit ^64500:\n"
                           "route-map CUSTOMERS permit 10\n"
                           " match ip address prefix-list CUST invert\n"
                           " match tag-set TAGS\n"
                           " set distance 20\n"
                           " set metric 7\n"
                           " continue\n"
                           "route-map CUSTOMERS deny 20\n"
                           " match community GONE\n"
                           "route-map EDGE-IN permit 30\n"
                           " match ipv6 address prefix-list CUST\n"
                           " call CUSTOMERS invert\n"
                           "route-map EDGE-IN permit 40\n"
                           " call MISSING\n"
                           "route-map LOOP permit 1\n"
                           " call LOOP\n";

// ---- show

TEST( Show, aRouteMapWithWhatIsCompiledOfIt ) {
   const auto output = shown( kPolicy, "CUSTOMERS" );
   EXPECT_EQ( output.status, kExitOk );
   expectGolden( "show.txt", "a compiled route map", output.out );
}

TEST( Show, callsAndRouteMapsThatAreNotInForce ) {
   expectGolden( "show.txt", "calls", shown( kPolicy, "EDGE-IN" ).out );
   expectGolden( "show.txt", "a route map that is not in force", shown( kPolicy, "LOOP" ).out );
}

TEST( Show, everyKindThatHasTheName ) {
   expectGolden( "show.txt", "every kind that has the name", shown( kPolicy, "CUST" ).out );
   expectGolden( "show.txt", "a tag set", shown( kPolicy, "TAGS" ).out );
   expectGolden( "show.txt", "a list without uses", shown( kPolicy, "COMM" ).out );
   expectGolden( "show.txt", "the other kinds of list",
                 shown( "access-list L permit 10.0.0.0/16\naccess-list L deny any\nipv6 access-list L permit 2001:db8::/32\n"
                        "bgp as-path access-list L deny _666_\nbgp as-path access-list L permit .*\n",
                        "L" )
                    .out );
}

TEST( Show, theRouteMapsInForceAreTheConfiguredOnes ) {
   const auto verified = []( bool asJson ) {
      return outputOf( kPolicy, [ & ]( const std::string & file, Console & console ) {
         return show( { .files = { file }, .name = "TAGS", .json = asJson, .verify = true, .dialect = Dialect::native }, console );
      } );
   };
   expectGolden( "show.txt", "verified", verified( false ).out );
   EXPECT_EQ( verified( false ).status, kExitOk );
   EXPECT_EQ( json::parse( verified( true ).out )[ "differences" ], json::array() );
}

TEST( Show, whatIsInvertedAndUndefined ) {
   EXPECT_THAT( shown( "route-map R permit 10\n match ipv6 address prefix-list P invert\n match tag 5\n" ).out,
                testing::EndsWith( "\n!    matches TagMatcher tag 5\n!    matches PrefixListMatcher prefix-list P invert (undefined)\n" ) );
}

TEST( Show, manyUsersAreCutShort ) {
   std::string policy = "tag-set T 1\n";
   for( int i = 1; i <= 10; ++i ) policy += "route-map R permit " + std::to_string( i ) + "\n match tag-set T\n";
   expectGolden( "show.txt", "many users are cut short", shown( policy, "T" ).out );
}

TEST( Show, whatIsUndefinedOfEveryKind ) {
   struct Row {
      const char * clauses;
      const char * undefined;
   };
   const Row rows[] = {
      { " match tag 1\n", "nothing undefined" },
      { " match ip address prefix-list X\n", "undefined: ip prefix-list X" },
      { " match ip address X\n match ip next-hop X\n", "undefined: access-list X" },
      { " match ipv6 address X\n", "undefined: ipv6 access-list X" },
      { " match tag-set X\n match as-path X\n", "undefined: tag-set X, bgp as-path access-list X" },
      { " match community X\n call X\n", "undefined: bgp community-list X, route-map X" },
      { " call EMPTY\n", "nothing undefined" },
      { " call ASKS\n", "nothing undefined except in its callees" },
      { " match tag-set X\n call THROUGH\n", "undefined: tag-set X, and more in its callees" },
   };
   for( const auto & row : rows ) {
      const std::string policy = std::string( "route-map EMPTY permit 1\nroute-map ASKS permit 1\n match tag-set Y\n"
                                              "route-map THROUGH permit 1\n call ASKS\nroute-map R permit 10\n" ) +
         row.clauses;
      EXPECT_THAT( shown( policy, "R" ).out, testing::HasSubstr( std::string( "; " ) + row.undefined + "; unused\n" ) ) << row.clauses;
   }
   std::string policy;
   for( int i = 10; i < 30; ++i ) {
      const std::string n = std::to_string( i );
      policy += "route-map R permit " + n + "\n match tag-set T" + n + "\n";
   }
   EXPECT_THAT( shown( policy, "R" ).out,
                testing::HasSubstr( "; undefined: tag-set T10, tag-set T11, tag-set T12, tag-set T13, "
                                    "tag-set T14, tag-set T15, tag-set T16, tag-set T17 and 12 more; unused\n" ) );
   const auto undefined = json::parse(
      shown( "route-map R permit 10\n match ip address prefix-list X\n match as-path X\n call R\n", "R", true ).out )[ "things" ][ 0 ];
   EXPECT_EQ( undefined[ "inForce" ], false );
   EXPECT_EQ( undefined[ "undefined" ], json::parse( R"( [ { "kind": "ip prefix-list", "name": "X" },
      { "kind": "bgp as-path access-list", "name": "X" } ] )" ) );
}

constexpr char kApplied[] = "ip prefix-list P permit any\n"
                            "route-map LOW permit 10\n"
                            " match ip address prefix-list P\n"
                            "route-map LOW permit 20\n"
                            " match ip address prefix-list P\n"
                            "route-map TOP permit 10\n"
                            " call LOW\n"
                            "router bgp 64500\n"
                            " neighbor 192.0.2.1 route-map TOP in\n"
                            " neighbor 192.0.2.1 route-map LOW out\n"
                            " neighbor 192.0.2.2 route-map TOP in\n"
                            " neighbor 192.0.2.2 prefix-list P out\n"
                            " neighbor 192.0.2.2 route-map NOPE out\n";

TEST( Show, countsTheLinesOfOtherStanzas ) {
   EXPECT_THAT( shown( kApplied, "P" ).out, testing::EndsWith( "\n! IPv4, 1 line, used by LOW 10, LOW 20, 1 line of other stanzas\n" ) );
   EXPECT_THAT( shown( kApplied, "LOW" ).out, testing::HasSubstr( "; used by TOP 10, 1 line of other stanzas\n" ) );
   EXPECT_THAT( shown( kApplied, "TOP" ).out, testing::HasSubstr( "; used by 2 lines of other stanzas\n" ) );
   EXPECT_EQ( json::parse( shown( kApplied, "TOP", true ).out )[ "things" ][ 0 ][ "applied" ], 2 );
   EXPECT_EQ( json::parse( shown( kApplied, "P", true ).out )[ "things" ][ 0 ][ "applied" ], 1 );
}

TEST( Show, communitiesThatAreTakenOff ) {
   EXPECT_THAT( shown( "route-map R permit 10\n set community none\n" ).out, testing::EndsWith( "\n!    sets CommunitySetter none\n" ) );
}

TEST( Show, whatItSaysLoadsAgainAsTheSamePolicy ) {
   EXPECT_EQ( textOf( shown( kPolicy ).out ), textOf( kPolicy ) );
}

TEST( Show, anUnknownNameIsAnErrorWithASuggestion ) {
   const auto output = shown( kPolicy, "CUSTOMRES" );
   expectGolden( "show.txt", "an unknown name", output.error + '\n' );
   EXPECT_EQ( output.out, "" );
   expectGolden( "show.txt", "an unknown name in an empty policy", shown( "", "X" ).error + '\n' );
   expectGolden( "show.txt", "an undefined name", shown( kPolicy, "MISSING" ).error + '\n' );
   EXPECT_EQ( shown( "" ).out, "" );
   EXPECT_EQ( shown( kPolicy, "" ).error, "NAME is empty" );
}

TEST( Show, json ) {
   expectGolden( "show.txt", "JSON of a route map", indented( shown( kPolicy, "CUSTOMERS", true ).out ) );

   const auto caller = json::parse( shown( kPolicy, "EDGE-IN", true ).out )[ "things" ][ 0 ][ "sequences" ];
   EXPECT_EQ( caller[ 0 ][ "call" ], json::parse( R"( { "routeMap": "CUSTOMERS", "invert": true, "undefined": false } )" ) );
   EXPECT_EQ( caller[ 1 ][ "call" ], json::parse( R"( { "routeMap": "MISSING", "invert": false, "undefined": true } )" ) );
   EXPECT_EQ( json::parse( shown( kPolicy, "LOOP", true ).out )[ "things" ][ 0 ][ "inForce" ], false );

   expectGolden( "show.txt", "JSON of lists", indented( shown( kPolicy, "CUST", true ).out ) );
   EXPECT_EQ( json::parse( shown( kPolicy, std::nullopt, true ).out )[ "things" ].size(), 7u );
   EXPECT_EQ( json::parse( shown( "route-map \xff permit 1\n match tag-set \xc3\n", std::nullopt, true ).out )[ "things" ][ 0 ][ "name" ],
              "\xef\xbf\xbd" );
}

TEST( Show, aWrongTextIsAnError ) {
   const auto output = shown( "route-map A\n" );
   EXPECT_EQ( output.error, "1 error, nothing was applied" );
   EXPECT_EQ( output.out, "" );
}

// ---- used-by

TEST( UsedBy, directAndThroughCalls ) {
   const char policy[] = "tag-set T 1\nroute-map LOW permit 10\n match tag-set T\nroute-map LOW permit 20\n match tag-set T\n"
                         "route-map MID permit 5\n call LOW\nroute-map TOP permit 1\n call MID invert\n match tag-set T\n"
                         "route-map OTHER permit 1\n";
   const auto output = used( policy, "T" );
   EXPECT_EQ( output.status, kExitOk );
   expectGolden( "used-by.txt", "direct and through calls", output.out );
   expectGolden( "used-by.txt", "references to a route map", used( policy, "LOW" ).out );
}

TEST( UsedBy, unusedIsNoError ) {
   const auto output = used( kPolicy, "COMM" );
   EXPECT_EQ( output.status, kExitOk );
   expectGolden( "used-by.txt", "unused", output.out );
   expectGolden( "used-by.txt", "an unused route map", used( kPolicy, "EDGE-IN" ).out );
}

TEST( UsedBy, everyKindOfTheName ) {
   expectGolden( "used-by.txt", "every kind of the name", used( kPolicy, "CUST" ).out );
   const auto gone = used( kPolicy, "GONE" );
   EXPECT_EQ( gone.status, kExitOk );
   expectGolden( "used-by.txt", "an undefined list", gone.out );
}

TEST( UsedBy, cyclesEnd ) {
   const char policy[] = "tag-set T 1\nroute-map A permit 1\n call B\nroute-map B permit 2\n call A\n match tag-set T\n";
   expectGolden( "used-by.txt", "a cycle", used( policy, "A" ).out );
   expectGolden( "used-by.txt", "a list used in a cycle", used( policy, "T" ).out );
   expectGolden( "used-by.txt", "a route map that calls itself", used( kPolicy, "LOOP" ).out );
}

TEST( UsedBy, linesOfOtherStanzas ) {
   expectGolden( "used-by.txt", "lines of other stanzas", used( kApplied, "P" ).out );
   expectGolden( "used-by.txt", "a route map in other stanzas", used( kApplied, "TOP" ).out );
   const auto undefined = used( kApplied, "NOPE" );
   EXPECT_EQ( undefined.status, kExitOk );
   expectGolden( "used-by.txt", "an undefined route map in other stanzas", undefined.out );
   expectGolden( "used-by.txt", "JSON of an undefined route map", indented( used( kApplied, "NOPE", true ).out ) );
   const auto list = json::parse( used( kApplied, "P", true ).out )[ "things" ][ 0 ];
   EXPECT_EQ( list[ "reachedBy" ], ( json{ "LOW", "TOP" } ) );
   EXPECT_EQ( list[ "references" ].size(), 3u );
   ASSERT_EQ( list[ "applications" ].size(), 4u );
   EXPECT_EQ( list[ "applications" ][ 3 ], json::parse( R"( { "text": "neighbor 192.0.2.2 route-map TOP in", "to": "TOP", "depth": 3,
      "file": "FILE", "line": 11, "column": 31 } )" ) );
}

TEST( UsedBy, aLongChainIsIndentedOnlySoFar ) {
   std::string policy;
   for( int i = 0; i < 30; ++i ) policy += "route-map R" + std::to_string( i ) + " permit 1\n call R" + std::to_string( i + 1 ) + "\n";
   const auto out = used( policy, "R30" ).out;
   EXPECT_THAT( out, testing::HasSubstr( "\n" + std::string( 60, ' ' ) + "R10 1 calls R11\n" ) );
   EXPECT_THAT( out, testing::EndsWith( "\n" + std::string( 60, ' ' ) + "R0 1 calls R1\n" ) );
}

TEST( UsedBy, anUnknownNameIsAnError ) {
   expectGolden( "used-by.txt", "an unknown name", used( kPolicy, "CUSTOMRES" ).error + '\n' );
}

TEST( UsedBy, anEmptyNameIsAnError ) {
   EXPECT_EQ( used( kPolicy, "" ).error, "NAME is empty" );
}

TEST( UsedBy, json ) {
   expectGolden( "used-by.txt", "JSON of a tag set", indented( used( kPolicy, "TAGS", true ).out ) );
   EXPECT_EQ( json::parse( used( kPolicy, "GONE", true ).out )[ "things" ][ 0 ][ "defined" ], false );
   EXPECT_TRUE( json::accept( used( "route-map \xff permit 1\n match tag-set \xc3\n", "\xc3", true ).out ) );

   const char applied[] = "route-map R permit 1\nrouter bgp 64500\n neighbor 192.0.2.1 route-map \xc3 in\n";
   EXPECT_THAT( used( applied, "\xc3" ).out, testing::HasSubstr( "route-map \\xc3 (undefined)\n   FILE:3: neighbor" ) );
   EXPECT_TRUE( json::accept( used( applied, "\xc3", true ).out ) );
}

TEST( UsedBy, aWrongTextIsAnError ) {
   const auto output = used( "route-map A\n", "A" );
   EXPECT_EQ( output.status, kExitError );
   EXPECT_THAT( output.messages, testing::StartsWith( "FILE:1:12: " ) );
}

}   // namespace
}   // namespace Agent
