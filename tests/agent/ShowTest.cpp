// The texts of show and used-by.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

using nlohmann::json;

CommandOutput shown( std::string_view policy, std::optional<std::string> name = std::nullopt, bool asJson = false ) {
   return outputOf( policy, [ & ]( const std::string & file, Console & console ) { return show( { { file }, name, asJson }, console ); } );
}
CommandOutput used( std::string_view policy, const std::string & name, bool asJson = false ) {
   return outputOf( policy, [ & ]( const std::string & file, Console & console ) {
      return usedBy( { { file }, name, asJson }, console );
   } );
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
   EXPECT_EQ( output.out,
              "route-map CUSTOMERS permit 10\n"
              " match ip address prefix-list CUST invert\n"
              " match tag-set TAGS\n"
              " set metric 7\n"
              " set distance 20\n"
              " continue\n"
              "route-map CUSTOMERS deny 20\n"
              " match community GONE\n"
              "! compiled; reads matchPrefixDependent; undefined: bgp community-list GONE; used by EDGE-IN 30\n"
              "! 10 permit\n"
              "!    matches PrefixListMatcher prefix-list CUST invert\n"
              "!    matches TagSetMatcher tag setTAGS\n"
              "!    sets RouteMetricSetter metric 7\n"
              "!    sets DistanceSetter distance 20\n"
              "!    continues to 20\n"
              "! 20 deny\n"
              "!    matches RouteListMatcher list GONE (undefined)\n" );
}

TEST( Show, callsAndRouteMapsThatAreNotInForce ) {
   EXPECT_EQ( shown( kPolicy, "EDGE-IN" ).out,
              "route-map EDGE-IN permit 30\n"
              " match ipv6 address prefix-list CUST\n"
              " call CUSTOMERS invert\n"
              "route-map EDGE-IN permit 40\n"
              " call MISSING\n"
              "! compiled; reads matchPrefixDependent; undefined: route-map MISSING, and some in what it calls; used by nobody\n"
              "! 30 permit\n"
              "!    matches PrefixListMatcher prefix-list CUST\n"
              "!    calls CUSTOMERS invert\n"
              "! 40 permit\n"
              "!    calls MISSING (undefined)\n" );
   EXPECT_EQ( shown( kPolicy, "LOOP" ).out,
              "route-map LOOP permit 1\n"
              " call LOOP\n"
              "! not in force; used by LOOP 1\n" );
}

TEST( Show, everyKindThatHasTheName ) {
   EXPECT_EQ( shown( kPolicy, "CUST" ).out,
              "ip prefix-list CUST seq 5 permit 10.0.0.0/8 le 24\n"
              "ip prefix-list CUST seq 10 deny 192.0.2.0/24\n"
              "! IPv4, 2 lines, used by CUSTOMERS 10\n"
              "\n"
              "ipv6 prefix-list CUST seq 5 permit 2001:db8::/32\n"
              "! IPv6, 1 line, used by EDGE-IN 30\n" );
   EXPECT_EQ( shown( kPolicy, "TAGS" ).out, "tag-set TAGS 1 2 3\n! 3 tags, used by CUSTOMERS 10\n" );
   EXPECT_EQ( shown( kPolicy, "COMM" ).out, "bgp community-list expanded COMM seq 5 permit ^64500:\n! expanded, 1 line, used by nobody\n" );
}

TEST( Show, whatIsInvertedAndUndefined ) {
   EXPECT_THAT( shown( "route-map R permit 10\n match ipv6 address prefix-list P invert\n match tag 5\n" ).out,
                testing::EndsWith( "\n!    matches TagMatcher tag 5\n!    matches PrefixListMatcher prefix-list P invert (undefined)\n" ) );
}

TEST( Show, manyUsersAreCutShort ) {
   std::string policy = "tag-set T 1\n";
   for( int i = 1; i <= 10; ++i ) policy += "route-map R permit " + std::to_string( i ) + "\n match tag-set T\n";
   EXPECT_EQ( shown( policy, "T" ).out, "tag-set T 1\n! 1 tag, used by R 1, R 2, R 3, R 4, R 5, R 6, R 7, R 8 and 2 more\n" );
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
      { " call ASKS\n", "nothing undefined but in what it calls" },
      { " match tag-set X\n call THROUGH\n", "undefined: tag-set X, and some in what it calls" },
   };
   for( const auto & row : rows ) {
      const std::string policy = std::string( "route-map EMPTY permit 1\nroute-map ASKS permit 1\n match tag-set Y\n"
                                              "route-map THROUGH permit 1\n call ASKS\nroute-map R permit 10\n" ) +
         row.clauses;
      EXPECT_THAT( shown( policy, "R" ).out, testing::HasSubstr( std::string( "; " ) + row.undefined + "; used by nobody\n" ) )
         << row.clauses;
   }
   std::string policy;
   for( int i = 10; i < 30; ++i ) {
      const std::string n = std::to_string( i );
      policy += "route-map R permit " + n + "\n match tag-set T" + n + "\n";
   }
   EXPECT_THAT( shown( policy, "R" ).out,
                testing::HasSubstr( "; undefined: tag-set T10, tag-set T11, tag-set T12, tag-set T13, "
                                    "tag-set T14, tag-set T15, tag-set T16, tag-set T17 and 12 more; used" ) );
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

TEST( Show, anUnknownNameIsAnErrorThatTellsWhatComesNear ) {
   const auto output = shown( kPolicy, "CUSTOMRES" );
   EXPECT_EQ( output.error, "there is nothing called CUSTOMRES; did you mean CUSTOMERS?" );
   EXPECT_EQ( output.out, "" );
   EXPECT_EQ( shown( "", "X" ).error, "there is nothing called X" );
   EXPECT_EQ( shown( kPolicy, "MISSING" ).error, "there is nothing called MISSING" );
   EXPECT_EQ( shown( "" ).out, "" );
   EXPECT_EQ( shown( kPolicy, "" ).error, "NAME is empty" );
}

TEST( Show, json ) {
   const auto routeMap = json::parse( shown( kPolicy, "CUSTOMERS", true ).out );
   EXPECT_EQ( routeMap, json::parse( R"( { "things": [ {
      "kind": "route-map", "name": "CUSTOMERS", "inForce": true, "features": "matchPrefixDependent",
      "undefinedReferences": "commListUndefined", "undefined": [ { "kind": "bgp community-list", "name": "GONE" } ],
      "sequences": [
         { "number": 10, "action": "permit",
           "matchers": [ { "option": "matchIpPrefixList", "text": "PrefixListMatcher prefix-list CUST", "invert": true, "undefined": false },
                         { "option": "matchTagSet", "text": "TagSetMatcher tag setTAGS", "invert": false, "undefined": false } ],
           "setters": [ { "option": "setMetric", "text": "RouteMetricSetter metric 7" },
                        { "option": "setDistance", "text": "DistanceSetter distance 20" } ],
           "continue": 20 },
         { "number": 20, "action": "deny",
           "matchers": [ { "option": "matchCommunity", "text": "RouteListMatcher list GONE", "invert": false, "undefined": true } ],
           "setters": [] } ],
      "usedBy": [ { "routeMap": "EDGE-IN", "sequence": 30 } ], "applied": 0,
      "text": [ "route-map CUSTOMERS permit 10", " match ip address prefix-list CUST invert", " match tag-set TAGS", " set metric 7",
                " set distance 20", " continue", "route-map CUSTOMERS deny 20", " match community GONE" ] } ] } )" ) );

   const auto caller = json::parse( shown( kPolicy, "EDGE-IN", true ).out )[ "things" ][ 0 ][ "sequences" ];
   EXPECT_EQ( caller[ 0 ][ "call" ], json::parse( R"( { "routeMap": "CUSTOMERS", "invert": true, "undefined": false } )" ) );
   EXPECT_EQ( caller[ 1 ][ "call" ], json::parse( R"( { "routeMap": "MISSING", "invert": false, "undefined": true } )" ) );
   EXPECT_EQ( json::parse( shown( kPolicy, "LOOP", true ).out )[ "things" ][ 0 ][ "inForce" ], false );

   EXPECT_EQ( json::parse( shown( kPolicy, "CUST", true ).out ), json::parse( R"( { "things": [
      { "kind": "ip prefix-list", "name": "CUST", "family": "IPv4", "lines": 2,
        "usedBy": [ { "routeMap": "CUSTOMERS", "sequence": 10 } ], "applied": 0,
        "text": [ "ip prefix-list CUST seq 5 permit 10.0.0.0/8 le 24", "ip prefix-list CUST seq 10 deny 192.0.2.0/24" ] },
      { "kind": "ipv6 prefix-list", "name": "CUST", "family": "IPv6", "lines": 1,
        "usedBy": [ { "routeMap": "EDGE-IN", "sequence": 30 } ], "applied": 0,
        "text": [ "ipv6 prefix-list CUST seq 5 permit 2001:db8::/32" ] } ] } )" ) );
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
   EXPECT_EQ( output.out,
              "tag-set T\n"
              "   LOW 10 matches tag-set T\n"
              "      MID 5 calls LOW\n"
              "         TOP 1 calls MID invert\n"
              "   LOW 20 matches tag-set T (its callers: above)\n"
              "   TOP 1 matches tag-set T\n" );
   EXPECT_EQ( used( policy, "LOW" ).out, "route-map LOW\n   MID 5 calls LOW\n      TOP 1 calls MID invert\n" );
}

TEST( UsedBy, nobodyIsNoError ) {
   const auto output = used( kPolicy, "COMM" );
   EXPECT_EQ( output.status, kExitOk );
   EXPECT_EQ( output.out, "bgp community-list COMM: nobody refers to it\n" );
   EXPECT_EQ( used( kPolicy, "EDGE-IN" ).out, "route-map EDGE-IN: nobody refers to it\n" );
}

TEST( UsedBy, everyKindOfTheNameAndWhatIsWantedOnly ) {
   EXPECT_EQ( used( kPolicy, "CUST" ).out,
              "ip prefix-list CUST\n"
              "   CUSTOMERS 10 matches ip address prefix-list CUST invert\n"
              "      EDGE-IN 30 calls CUSTOMERS invert\n"
              "ipv6 prefix-list CUST\n"
              "   EDGE-IN 30 matches ipv6 address prefix-list CUST\n" );
   const auto gone = used( kPolicy, "GONE" );
   EXPECT_EQ( gone.status, kExitOk );
   EXPECT_EQ( gone.out,
              "bgp community-list GONE (undefined)\n"
              "   CUSTOMERS 20 matches community GONE\n"
              "      EDGE-IN 30 calls CUSTOMERS invert\n" );
}

TEST( UsedBy, cyclesEnd ) {
   const char policy[] = "tag-set T 1\nroute-map A permit 1\n call B\nroute-map B permit 2\n call A\n match tag-set T\n";
   EXPECT_EQ( used( policy, "A" ).out, "route-map A\n   B 2 calls A\n      A 1 calls B (its callers: above)\n" );
   EXPECT_EQ( used( policy, "T" ).out,
              "tag-set T\n   B 2 matches tag-set T\n      A 1 calls B\n         B 2 calls A (its callers: above)\n" );
   EXPECT_EQ( used( kPolicy, "LOOP" ).out, "route-map LOOP\n   LOOP 1 calls LOOP (its callers: above)\n" );
}

TEST( UsedBy, linesOfOtherStanzas ) {
   EXPECT_EQ( used( kApplied, "P" ).out,
              "ip prefix-list P\n"
              "   FILE:12: neighbor 192.0.2.2 prefix-list P out\n"
              "   LOW 10 matches ip address prefix-list P\n"
              "      FILE:10: neighbor 192.0.2.1 route-map LOW out\n"
              "      TOP 10 calls LOW\n"
              "         FILE:9: neighbor 192.0.2.1 route-map TOP in\n"
              "         FILE:11: neighbor 192.0.2.2 route-map TOP in\n"
              "   LOW 20 matches ip address prefix-list P (its callers: above)\n" );
   EXPECT_EQ( used( kApplied, "TOP" ).out,
              "route-map TOP\n"
              "   FILE:9: neighbor 192.0.2.1 route-map TOP in\n"
              "   FILE:11: neighbor 192.0.2.2 route-map TOP in\n" );
   const auto undefined = used( kApplied, "NOPE" );
   EXPECT_EQ( undefined.status, kExitOk );
   EXPECT_EQ( undefined.out, "route-map NOPE (undefined)\n   FILE:13: neighbor 192.0.2.2 route-map NOPE out\n" );
   EXPECT_EQ( json::parse( used( kApplied, "NOPE", true ).out ), json::parse( R"( { "name": "NOPE", "things": [ {
      "kind": "route-map", "name": "NOPE", "defined": false, "references": [],
      "applications": [ { "text": "neighbor 192.0.2.2 route-map NOPE out", "to": "NOPE", "depth": 1,
                          "file": "FILE", "line": 13, "column": 31 } ],
      "reachedBy": [] } ] } )" ) );
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

TEST( UsedBy, aNameThatNobodyKnowsIsAnError ) {
   EXPECT_EQ( used( kPolicy, "CUSTOMRES" ).error, "there is nothing called CUSTOMRES; did you mean CUSTOMERS?" );
}

TEST( UsedBy, anEmptyNameIsAnError ) {
   EXPECT_EQ( used( kPolicy, "" ).error, "NAME is empty" );
}

TEST( UsedBy, json ) {
   EXPECT_EQ( json::parse( used( kPolicy, "TAGS", true ).out ), json::parse( R"( { "name": "TAGS", "things": [ {
      "kind": "tag-set", "name": "TAGS", "defined": true,
      "references": [
         { "routeMap": "CUSTOMERS", "sequence": 10, "clause": "matches tag-set TAGS", "to": "TAGS", "depth": 1,
           "file": "FILE", "line": 8, "column": 16 },
         { "routeMap": "EDGE-IN", "sequence": 30, "clause": "calls CUSTOMERS invert", "to": "CUSTOMERS", "depth": 2,
           "file": "FILE", "line": 16, "column": 7 } ],
      "applications": [],
      "reachedBy": [ "CUSTOMERS", "EDGE-IN" ] } ] } )" ) );
   EXPECT_EQ( json::parse( used( kPolicy, "GONE", true ).out )[ "things" ][ 0 ][ "defined" ], false );
   EXPECT_NO_THROW( json::parse( used( "route-map \xff permit 1\n match tag-set \xc3\n", "\xc3", true ).out ) );

   const char applied[] = "route-map R permit 1\nrouter bgp 64500\n neighbor 192.0.2.1 route-map \xc3 in\n";
   EXPECT_THAT( used( applied, "\xc3" ).out, testing::HasSubstr( "route-map \\xc3 (undefined)\n   FILE:3: neighbor" ) );
   EXPECT_NO_THROW( json::parse( used( applied, "\xc3", true ).out ) );
}

TEST( UsedBy, aWrongTextIsAnError ) {
   const auto output = used( "route-map A\n", "A" );
   EXPECT_EQ( output.status, kExitError );
   EXPECT_THAT( output.messages, testing::StartsWith( "FILE:1:12: " ) );
}

}   // namespace
}   // namespace Agent
