// Findings that are left out, and the exit status of those that are not.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using Kind = Finding::Kind;

CommandOutput checked( std::string_view policy, std::vector<Kind> failOn = {}, std::vector<Kind> ignore = {}, bool asJson = false ) {
   return outputOf( policy, [ & ]( const std::string & file, Console & console ) {
      return check( { .files = { file }, .json = asJson, .failOn = failOn, .ignore = ignore }, console );
   } );
}

constexpr char kPolicy[] = "ip prefix-list UNUSED permit any\n"
                           "route-map A permit 10\n"
                           " match as-path GONE\n";

TEST( Ignored, kindsByOption ) {
   const auto all = checked( kPolicy );
   EXPECT_EQ( all.status, kExitFindings );
   EXPECT_THAT( all.out, EndsWith( "\n2 findings\n" ) );
   const auto one = checked( kPolicy, {}, { Kind::unused } );
   EXPECT_EQ( one.status, kExitFindings );
   EXPECT_THAT( one.out, Not( HasSubstr( ": unused: " ) ) );
   EXPECT_THAT( one.out, EndsWith( "\n1 finding, 1 ignored\n" ) );
   const auto none = checked( kPolicy, {}, { Kind::unused, Kind::undefined } );
   EXPECT_EQ( none.status, kExitOk );
   EXPECT_THAT( none.out, EndsWith( "\nnothing found, 2 ignored\n" ) );
   EXPECT_EQ( nlohmann::json::parse( checked( kPolicy, {}, { Kind::unused }, true ).out )[ "ignored" ], 1 );
}

TEST( Ignored, theStatusTellsTheChosenKinds ) {
   EXPECT_EQ( checked( kPolicy, { Kind::shadowed } ).status, kExitOk );
   EXPECT_THAT( checked( kPolicy, { Kind::shadowed } ).out, EndsWith( "\n2 findings\n" ) ) << "all are reported";
   EXPECT_EQ( checked( kPolicy, { Kind::shadowed, Kind::undefined } ).status, kExitFindings );
   EXPECT_EQ( checked( kPolicy, { Kind::undefined }, { Kind::undefined } ).status, kExitOk );
}

TEST( Ignored, aCommentIsAboutTheNextLine ) {
   const auto policy = []( const std::string & above ) { return above + kPolicy; };
   EXPECT_THAT( checked( policy( "! routepolicy: ignore unused\n" ) ).out, EndsWith( "\n1 finding, 1 ignored\n" ) );
   EXPECT_THAT( checked( policy( "# routepolicy: ignore shadowed, unused\n\n! another comment\n" ) ).out,
                HasSubstr( "2 findings, 1 ignored" ) );
   EXPECT_THAT( checked( policy( "! routepolicy: ignore unused\nhostname edge\n" ) ).out, Not( HasSubstr( "ignored\n" ) ) );
   EXPECT_THAT( checked( std::string( kPolicy ) + "! routepolicy: ignore undefined\n" ).out, HasSubstr( ": unused-ignore: " ) )
      << "no line is below it";
}

TEST( Ignored, aCommentThatIgnoresNothingIsAFinding ) {
   const auto output = checked( "! routepolicy: ignore unsued\nip prefix-list UNUSED permit any\n" );
   EXPECT_THAT( output.out, HasSubstr( "FILE:1:23: unused-ignore: the line below has no finding \"unsued\"\n" ) );
   EXPECT_EQ( checked( "! routepolicy: ignore unsued\nhostname a\n", {}, { Kind::unusedIgnore } ).status, -1 ) << "no line of a policy";
   EXPECT_EQ( checked( "! routepolicy: ignore unsued\nroute-map A permit 10\n", {}, { Kind::unusedIgnore } ).status, kExitOk );
}

TEST( Ignored, twoFilesThatSayASequenceDifferentlyConflict ) {
   LineLoader loader( Dialect::frr );
   loader.load( "a", "route-map A permit 10\n match tag 5\n set metric 1\nip prefix-list P seq 5 permit any\n" );
   loader.load( "b", "route-map A permit 10\n match tag 5\n set metric 2\nip prefix-list P seq 5 deny any\n" );
   ASSERT_EQ( loader.text().doubts.size(), 1u ) << "the list of another file is replaced on purpose";
   EXPECT_EQ( loader.text().doubts[ 0 ].kind, Doubt::Kind::conflict );
   EXPECT_EQ( loader.text().doubts[ 0 ].text, "A 10 already has \"set metric 1\" in line 3 of a; \"set metric 2\" replaces it" );
}

TEST( Ignored, everyKindHasANameOfItsOwn ) {
   std::set<std::string_view> names;
   for( const auto kind : findingKinds() ) EXPECT_TRUE( names.insert( nameOf( kind ) ).second );
   EXPECT_FALSE( names.contains( "" ) );
}

}   // namespace
}   // namespace Agent
