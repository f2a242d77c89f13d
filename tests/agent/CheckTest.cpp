#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/agent/CommandFixture.h"
#include "tests/agent/Golden.h"

namespace Agent {
namespace {

CommandOutput checked( std::string_view policy, bool json = false ) {
   return outputOf( policy, [ & ]( const std::string & file, Console & console ) { return check( { { file }, json }, console ); } );
}

constexpr char kGood[] = "hostname edge\n"
                         "ip prefix-list CUST permit 10.0.0.0/8 le 24\n"
                         "ip prefix-list CUST permit 192.0.2.0/24\n"
                         "route-map CUSTOMERS permit 10\n"
                         " match ip address prefix-list CUST\n"
                         "route-map EDGE-IN permit 10\n"
                         " match tag 5\n"
                         " call CUSTOMERS\n"
                         "route-map EDGE-IN deny 20\n";
constexpr char kCyclic[] = "route-map A permit 10\n call B\nroute-map B permit 20\n call A\nroute-map C permit 1\n match tag 5\n";

TEST( Check, countsThePolicyAndEndsWithZeroWithoutFindings ) {
   const auto output = checked( kGood );
   EXPECT_EQ( output.status, kExitOk );
   EXPECT_EQ( output.messages, "" );
   expectGolden( "check.txt", "a policy without findings", output.out );
}

TEST( Check, findingsComeWithTheirPlacesAndEndWithOne ) {
   const auto output = checked( kCyclic );
   EXPECT_EQ( output.status, kExitFindings );
   expectGolden( "check.txt", "a cycle", output.out );
}

TEST( Check, jsonHasAllOfIt ) {
   const auto good = checked( kGood, true );
   EXPECT_EQ( good.status, kExitOk );
   EXPECT_EQ( nlohmann::json::parse( good.out ), nlohmann::json::parse( R"( {
      "files": [ "FILE" ], "lines": 9, "skippedStanzas": 1,
      "counts": [ { "kind": "ip prefix-list", "count": 1, "parts": 2 }, { "kind": "route-map", "count": 2, "parts": 3 } ],
      "routeMaps": [
         { "name": "CUSTOMERS", "sequences": [ 10 ], "root": false, "applied": 0, "inForce": true, "features": "matchPrefixDependent" },
         { "name": "EDGE-IN", "sequences": [ 10, 20 ], "root": true, "applied": 0, "inForce": true, "features": "matchPrefixDependent" } ],
      "findings": [], "ignored": 0 } )" ) );

   const auto cyclic = checked( kCyclic, true );
   EXPECT_EQ( cyclic.status, kExitFindings );
   const auto json = nlohmann::json::parse( cyclic.out );
   EXPECT_EQ( json[ "findings" ], nlohmann::json::parse( R"( [ { "file": "FILE", "line": 2, "column": 7, "kind": "cycle",
      "text": "A 10 calls B, B 20 calls A; not in force: A, B" } ] )" ) );
   EXPECT_EQ( json[ "routeMaps" ][ 0 ],
              nlohmann::json::parse( R"( { "name": "A", "sequences": [ 10 ], "root": false, "applied": 0, "inForce": false } )" ) );
}

constexpr char kApplied[] = "route-map LOW permit 10\n"
                            "route-map TOP permit 10\n"
                            " call LOW\n"
                            "router bgp 64500\n"
                            " neighbor 192.0.2.1 route-map TOP in\n"
                            " neighbor 192.0.2.2 route-map TOP in\n"
                            " neighbor 192.0.2.2 route-map LOW out\n"
                            " neighbor 192.0.2.3 route-map NOPE in\n";

TEST( Check, countsTheLinesOfOtherStanzasThatApplyARouteMap ) {
   const auto output = checked( kApplied );
   EXPECT_EQ( output.status, kExitFindings );
   expectGolden( "check.txt", "applications", output.out );
   const auto json = nlohmann::json::parse( checked( kApplied, true ).out );
   EXPECT_EQ( json[ "routeMaps" ][ 0 ][ "applied" ], 1 );
   EXPECT_EQ( json[ "routeMaps" ][ 1 ][ "applied" ], 2 );
   EXPECT_EQ( json[ "findings" ], nlohmann::json::parse( R"( [ { "file": "FILE", "line": 8, "column": 31, "kind": "undefined",
      "text": "\"neighbor 192.0.2.3 route-map NOPE in\": route-map NOPE is undefined" } ] )" ) );
}

TEST( Check, doubtsAreFindings ) {
   const char policy[] = "rout-map A permit 10\nroute-map A permit 10\n match tag 5\n match tag 6\n match ip address L\n"
                         "access-list L permit 10.0.0.0 255.255.255.0\n";
   const auto output = checked( policy );
   EXPECT_EQ( output.status, kExitFindings );
   for( const char * kind : { ": skipped: ", ": replaced: ", ": netmask: " } ) EXPECT_THAT( output.out, testing::HasSubstr( kind ) );
   EXPECT_THAT( output.out, testing::EndsWith( "\n3 findings\n" ) );
   std::vector<std::string> kinds;
   const auto json = nlohmann::json::parse( checked( policy, true ).out );
   for( const auto & finding : json[ "findings" ] ) kinds.push_back( finding[ "kind" ] );
   EXPECT_THAT( kinds, testing::ElementsAre( "skipped", "replaced", "netmask" ) );
}

TEST( Check, errorsInTheTextAreTheOnlyOutput ) {
   const char policy[] = "route-map A permit x\nroute-map A permit 10\n match tag 4294967296\n";
   const auto output = checked( policy );
   EXPECT_EQ( output.status, kExitError );
   EXPECT_EQ( output.out, "" );
   EXPECT_THAT( output.messages, testing::HasSubstr( "FILE:1:20: " ) );
   EXPECT_THAT( output.messages, testing::HasSubstr( "FILE:3:12: " ) );

   const auto withJson = checked( policy, true );
   EXPECT_EQ( withJson.status, kExitError );
   EXPECT_EQ( withJson.messages, output.messages );
   const auto errors = nlohmann::json::parse( withJson.out ).at( "errors" );
   ASSERT_EQ( errors.size(), 2u );
   EXPECT_EQ( errors[ 1 ][ "file" ], "FILE" );
   EXPECT_EQ( errors[ 1 ][ "line" ], 3 );
   EXPECT_EQ( errors[ 1 ][ "column" ], 12 );
   EXPECT_THAT( output.messages, testing::HasSubstr( "FILE:3:12: " + errors[ 1 ][ "reason" ].get<std::string>() + "\n" ) );
}

TEST( Check, anyBytesInNamesLeaveTheOutputPrintable ) {
   const char policy[] = "route-map A\xff\xc3 permit 10\n match as-path \x80\xe2\x82\n";
   EXPECT_THAT( checked( policy ).out, testing::HasSubstr( "undefined: A\\xff\\xc3 10 matches as-path \\x80\\xe2\\x82: " ) );
   const auto json = nlohmann::json::parse( checked( policy, true ).out );
   EXPECT_EQ( json[ "routeMaps" ][ 0 ][ "name" ], "A\xef\xbf\xbd\xef\xbf\xbd" );

   const char applied[] = "route-map A permit 10\nrouter bgp 64500\n neighbor 192.0.2.1 route-map \x80 in\n";
   EXPECT_THAT( checked( applied ).out, testing::HasSubstr( "route-map \\x80 in\": route-map \\x80 is undefined\n" ) );
   EXPECT_TRUE( nlohmann::json::accept( checked( applied, true ).out ) );
}

TEST( Check, aMissingFileIsAnError ) {
   const auto output = outputOf( "", []( const std::string & file, Console & console ) {
      return check( { { file + ".not" }, false }, console );
   } );
   EXPECT_EQ( output.error, "FILE.not: cannot open: No such file or directory" );
}

}   // namespace
}   // namespace Agent
