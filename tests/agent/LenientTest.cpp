// Policies with wrong lines that are read all the same: what is left out, and which answers are marked.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "analysis/LeftOut.h"
#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kPolicy[] = "ip prefix-list TEN seq 5 permit 10.0.0.0/8 le 32\n"
                           "ip prefix-list TEN seq 10 permit 10.0.0.0/33\n"   // 2
                           "route-map IN permit 10\n"
                           " match ip address prefix-list TEN\n"
                           " match metric low\n"   // 5
                           " set metric 5\n"
                           "route-map TOP permit 10\n"
                           " call SUB\n"
                           "route-map SUB permit 10\n"
                           " set tag none\n"            // 10
                           "route-map BAD permt 10\n"   // 11
                           " match nothing\n"           // 12
                           " set tag 8\n"
                           "route-map OTHER permit 10\n"
                           " match as-path PATHS\n"
                           "bgp as-path access-list PATHS permit (1\n";   // 16

LineLoader lenient( std::string_view policy ) {
   LineLoader loader( Dialect::frr, true );
   loader.load( "p", policy );
   return loader;
}

template <class Options>
Options lenientOptions( const std::string & file, const char * routeMap ) {
   Options options;
   options.files = { file };
   options.target.routeMap = routeMap;
   options.lenient = true;
   return options;
}

TEST( Lenient, theOtherLinesAreRead ) {
   const LineLoader loader = lenient( kPolicy );
   EXPECT_TRUE( loader.errors().empty() );
   LineLoader correct( Dialect::frr );
   correct.load( "p",
                 "ip prefix-list TEN seq 5 permit 10.0.0.0/8 le 32\n"
                 "route-map IN permit 10\n match ip address prefix-list TEN\n set metric 5\n"
                 "route-map TOP permit 10\n call SUB\n"
                 "route-map SUB permit 10\n"
                 "route-map OTHER permit 10\n match as-path PATHS\n" );
   EXPECT_EQ( loader.text(), correct.text() );
}

TEST( Lenient, aRouteMapDependsOnItsLinesItsListsAndItsCallees ) {
   const LineLoader loader = lenient( kPolicy );
   const auto placesFor = [ & ]( const char * routeMap ) { return placesOf( loader.text(), leftOutOf( loader.text(), { routeMap } ) ); };
   EXPECT_THAT( placesFor( "IN" ), ElementsAre( "p:2", "p:5" ) );
   EXPECT_THAT( placesFor( "TOP" ), ElementsAre( "p:10", "p:11", "p:12", "p:13" ) );
   EXPECT_THAT( placesFor( "OTHER" ), ElementsAre( "p:16" ) ) << "all lines of the list are left out";
   EXPECT_THAT( placesFor( "BAD" ), ElementsAre( "p:11", "p:12", "p:13" ) ) << "a clause of a line that is left out is so, too";
   EXPECT_THAT( placesFor( "SUB" ), ElementsAre( "p:10", "p:11", "p:12", "p:13" ) ) << "FRR adds these clauses to it";
}

TEST( Lenient, aCalleeThatHasTheNameOfAList ) {
   const LineLoader loader = lenient( "ip prefix-list SUB permit any\n"
                                      "route-map TOP permit 10\n match ip address prefix-list SUB\n call SUB\n"
                                      "route-map SUB permit 10\n match as-path PATHS\n"
                                      "bgp as-path access-list PATHS permit (1\n" );
   EXPECT_THAT( placesOf( loader.text(), leftOutOf( loader.text(), { "TOP" } ) ), ElementsAre( "p:7" ) );
}

TEST( Lenient, whatALineIsAbout ) {
   const std::string longName( 100, 'L' );
   const auto names = []( const std::string & policy ) { return lenient( policy ).text().leftOut.back().names; };
   EXPECT_THAT( names( "ip prefix-list " + longName + " permit 10.0.0.0/33\n" ), testing::Contains( longName ) );
   EXPECT_THAT( names( "route-map M permit 10\n match as-path A B\n" ), ElementsAre( "M" ) );
   EXPECT_THAT( names( "route-map M permit 10\n ip prefix-list P permit 10.0.0.0/33\n" ), testing::Contains( "P" ) );
   EXPECT_THAT( names( "route-map M permit 10\n no ip prefix-list P seq x\n" ), testing::Contains( "P" ) );
   EXPECT_THAT( names( "route-map M permt 10\n match as-path A B\n" ), testing::Contains( "M" ) );
}

TEST( Lenient, aListThatALineMayUseThatIsLeftOut ) {
   const auto uses = []( bool json ) {
      return outputOf( "ip prefix-list P permit any\nroute-map M permit 10\n match ip address prefix-list P Q\n",
                       [ & ]( const std::string & file, Console & console ) {
                          UsedByOptions options;
                          options.files = { file };
                          options.name = "P";
                          options.json = json;
                          options.lenient = true;
                          return usedBy( options, console );
                       } )
         .out;
   };
   EXPECT_EQ( uses( false ), "ip prefix-list P: unused, without FILE:3\n" );
   EXPECT_THAT( uses( true ), testing::HasSubstr( R"("leftOut":["FILE:3"])" ) );
}

TEST( Lenient, aNeighborWhoseListIsLeftOut ) {
   const auto output = outputOf( "router bgp 1\n neighbor 192.0.2.1 remote-as 2\n neighbor 192.0.2.1 prefix-list P in\n"
                                 "ip prefix-list P permit 10.0.0.0/33\nip prefix-list Q permit 10.0.0.0/33\n",
                                 [ & ]( const std::string & file, Console & console ) {
                                    const PolicyFile table( "10.0.0.0/8\n" );
                                    EvalOptions options;
                                    options.files = { file };
                                    options.target.neighbor = { "192.0.2.1", "in" };
                                    options.tables = { table.name() };
                                    options.lenient = true;
                                    return eval( options, console );
                                 } );
   EXPECT_EQ( output.out, "deny    10.0.0.0/8  by prefix-list P (ipv4 unicast, in), which is undefined, without FILE:4\n" );
}

TEST( Lenient, eachAnswerIsMarked ) {
   const auto answers = [ & ]( const char * routeMap, bool summary, bool json ) {
      return outputOf( kPolicy, [ & ]( const std::string & file, Console & console ) {
         const PolicyFile table( "10.0.0.0/8\n11.0.0.0/8\n" );
         auto options = lenientOptions<EvalOptions>( file, routeMap );
         options.tables = { table.name() };
         options.summary = summary;
         options.json = json;
         return eval( options, console );
      } );
   };
   const auto text = answers( "IN", false, false );
   EXPECT_EQ( text.status, kExitOk );
   EXPECT_EQ( text.out,
              "permit  10.0.0.0/8  metric 5  by IN 10, without FILE:2 and FILE:5\n"
              "deny    11.0.0.0/8  by no sequence, without FILE:2 and FILE:5\n" );
   EXPECT_THAT( text.messages, HasSubstr( "FILE:5:15: left out: " ) );
   EXPECT_THAT( answers( "IN", true, false ).out, StartsWith( "2 routes, 1 permitted, 1 denied, without FILE:2 and FILE:5\n" ) );
   EXPECT_THAT( answers( "IN", false, true ).out, HasSubstr( R"(,"leftOut":["FILE:2","FILE:5"]})" ) );
   EXPECT_THAT( answers( "IN", true, true ).out,
                EndsWith( R"(,"leftOut":["FILE:2","FILE:5"]})"
                          "\n" ) );
   EXPECT_THAT( answers( "BAD", false, false ).error, StartsWith( "unknown route map BAD" ) );
}

TEST( Lenient, explain ) {
   const auto explained = [ & ]( bool json ) {
      return outputOf( kPolicy,
                       [ & ]( const std::string & file, Console & console ) {
                          auto options = lenientOptions<ExplainOptions>( file, "TOP" );
                          options.prefix = "10.0.0.0/8";
                          options.json = json;
                          return explain( options, console );
                       } )
         .out;
   };
   EXPECT_THAT( explained( false ), StartsWith( "10.0.0.0/8: permitted, without FILE:10, FILE:11, FILE:12 and 1 more\n" ) );
   EXPECT_EQ( nlohmann::json::parse( explained( true ) )[ "leftOut" ], ( nlohmann::json{ "FILE:10", "FILE:11", "FILE:12", "FILE:13" } ) );
}

TEST( Lenient, diffMarksEachSide ) {
   const PolicyFile corrected( "route-map IN permit 10\n set metric 5\n" );
   const auto compared = [ & ]( bool json ) {
      return outputOf( kPolicy,
                       [ & ]( const std::string & file, Console & console ) {
                          const PolicyFile table( "10.0.0.0/8\n" );
                          DiffOptions options;
                          options.oldFiles = { file };
                          options.newFiles = { corrected.name() };
                          options.target.routeMap = "IN";
                          options.lenient = true;
                          options.json = json;
                          options.tables = { table.name() };
                          return diff( options, console );
                       } )
         .out;
   };
   EXPECT_EQ( compared( false ), "0 of 1 route changes\nbefore, without FILE:2 and FILE:5\n" );
   const auto json = nlohmann::json::parse( compared( true ) );
   EXPECT_EQ( json[ "leftOut" ], ( nlohmann::json{ { "before", { "FILE:2", "FILE:5" } } } ) );
}

TEST( Lenient, check ) {
   const auto checked = []( std::vector<Finding::Kind> ignore ) {
      return outputOf( kPolicy, [ & ]( const std::string & file, Console & console ) {
         return check( { .files = { file }, .lenient = true, .ignore = std::move( ignore ) }, console );
      } );
   };
   const auto all = checked( {} );
   EXPECT_EQ( all.status, kExitFindings );
   EXPECT_EQ( all.messages, "" );
   EXPECT_THAT( all.out, HasSubstr( "FILE:5:15: left-out: " ) );
   EXPECT_THAT( checked( { Finding::Kind::leftOut } ).out, Not( HasSubstr( "left-out" ) ) );
}

TEST( Lenient, show ) {
   const auto shown = [ & ]( const char * name, bool json ) {
      return outputOf( kPolicy,
                       [ & ]( const std::string & file, Console & console ) {
                          ShowOptions options;
                          options.files = { file };
                          options.name = name;
                          options.lenient = true;
                          options.json = json;
                          return show( options, console );
                       } )
         .out;
   };
   EXPECT_THAT( shown( "TEN", false ), EndsWith( "\n! read, without FILE:2\n" ) );
   EXPECT_THAT( shown( "TOP", false ), Not( HasSubstr( "without" ) ) );
   EXPECT_EQ( nlohmann::json::parse( shown( "IN", true ) )[ "things" ][ 0 ][ "leftOut" ], ( nlohmann::json{ "FILE:5" } ) );
}

}   // namespace
}   // namespace Agent
