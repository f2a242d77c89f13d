// The program as an operator meets it: arguments, files and streams in; output, messages and an exit status out.
#include "tests/agent/Program.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/agent/Golden.h"
#include "tests/agent/TableFixture.h"

namespace Agent {
namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

constexpr char kEdge[] = "agent/share/edge.conf";
constexpr char kTable[] = "agent/share/sample-table.txt";

std::string contentOfFile( const std::string & name ) {
   std::ifstream file( name, std::ios::binary );
   EXPECT_TRUE( file ) << name << ": the working directory is to be the repository's root";
   std::ostringstream content;
   content << file.rdbuf();
   return content.str();
}

std::string replaced( std::string text, std::string_view what, std::string_view by ) {
   for( size_t at = 0; ( at = text.find( what, at ) ) != std::string::npos; at += by.size() ) text.replace( at, what.size(), by );
   return text;
}

std::vector<std::string> linesOf( const std::string & text ) {
   std::vector<std::string> lines;
   std::istringstream from( text );
   for( std::string line; std::getline( from, line ); ) lines.push_back( line );
   return lines;
}

/// A folder for as long as this lives. "DIR/NAME" stands for a file in it, in arguments and in output.
class Folder {
 public:
   Folder() {
      std::string pattern = testing::TempDir() + "routepolicyXXXXXX";
      if( mkdtemp( pattern.data() ) == nullptr ) throw std::system_error( errno, std::generic_category(), pattern );
      path_ = pattern;
   }
   ~Folder() { std::filesystem::remove_all( path_ ); }
   Folder( const Folder & ) = delete;
   Folder & operator=( const Folder & ) = delete;

   std::string operator()( const std::string & name ) const { return path_ + '/' + name; }
   void write( const std::string & name, std::string_view content ) const {
      std::ofstream( ( *this )( name ), std::ios::binary ) << content;
   }

   ProgramCall call( ProgramCall call ) const {
      for( auto & argument : call.arguments ) argument = replaced( argument, "DIR/", path_ + '/' );
      return call;
   }
   ProgramOutput run( ProgramCall of ) const {
      ProgramOutput output = runProgram( call( std::move( of ) ) );
      for( std::string * text : { &output.out, &output.err } ) *text = replaced( *text, path_ + '/', "DIR/" );
      return output;
   }
   ProgramOutput run( Arguments arguments, std::string input = {} ) const {
      return run( ProgramCall{ std::move( arguments ), std::move( input ) } );
   }

 private:
   std::string path_;
};

/// Routes that meet all sequences of the policy, the same in each run.
std::string generatedTable( uint32_t routes ) {
   std::string table;
   uint32_t random = 1;
   const auto next = [ & ]( uint32_t below ) { return ( random = random * 1664525 + 1013904223 ) % 65537 % below; };
   constexpr const char * kStarts[] = { "198.18.", "198.19.", "10.0.", "203.0.", "172.16." };
   for( uint32_t i = 0; i < routes; ++i ) {
      if( next( 4 ) == 0 ) {
         const uint32_t first = 1000 + next( 9000 );
         table += "2001:db8:" + std::to_string( first ) + "::/" + std::to_string( 48 + next( 4 ) );
      } else {
         table += std::string( kStarts[ next( 5 ) ] ) + std::to_string( next( 256 ) ) + "." + std::to_string( next( 256 ) ) + "/32";
         if( next( 3 ) ) table.replace( table.rfind( '.' ), std::string::npos, ".0/24" );
      }
      table += ' ' + std::to_string( next( 5 ) ? 64500 + next( 3 ) : 23456 ) + " next-hop 192.0.2." + std::to_string( next( 256 ) ) +
         " metric " + std::to_string( next( 30 ) ) + '\n';
   }
   return table;
}

// ---- what the commands print

// "check '' --json", words parted by blanks; '' is an empty one.
Arguments argumentsOf( const std::string & line ) {
   Arguments arguments;
   std::istringstream words( line );
   for( std::string word; words >> word; ) arguments.push_back( word == "''" ? "" : word );
   return arguments;
}

TEST( Program, commandsPrintTheirDataAndNothingElse ) {
   expectGoldenCases( "output.txt", []( const std::string & arguments ) {
      const auto output = runProgram( argumentsOf( arguments ) );
      EXPECT_EQ( output.status, 0 );
      EXPECT_EQ( output.err, "" );
      return output.out;
   } );
}

TEST( Program, showsEverythingInOrder ) {
   std::string all;
   for( const char * name : { "BOGONS-V4", "CUSTOMERS-V4", "LONG-V4", "BOGONS-V6", "CUSTOMERS-V6", "LONG-V6", "BLACKHOLE", "BEST-PATH",
                              "RESERVED-AS", "CUSTOMERS", "EDGE-IN" } )
      all += ( all.empty() ? "" : "\n" ) + runProgram( { "show", kEdge, name } ).out;
   const auto output = runProgram( { "show", kEdge } );
   EXPECT_EQ( output.status, 0 );
   EXPECT_EQ( output.out, all );
   EXPECT_EQ( json::parse( runProgram( { "show", kEdge, "--json" } ).out )[ "things" ].size(), 11u );
}

/// What eval says of the sample table, by the table's own headings: "# permit 30 60: ..." holds for the routes below it.
struct Expected {
   std::string text;
   std::string json;
   size_t routes = 0;
};

struct SampleRoute {
   std::string prefix;
   std::string nextHop;
   std::string metric;
};
SampleRoute sampleRoute( const std::string & line ) {
   std::vector<std::string> fields;
   std::istringstream from( line );
   for( std::string field; std::getline( from, field, '|' ); ) fields.push_back( field );
   return { fields.at( 5 ), fields.at( 8 ), fields.at( 10 ) };
}

void expectLine( Expected & expected, const SampleRoute & route, const std::string & verdict ) {
   const bool permitted = verdict.starts_with( "permit" ), customer = verdict.starts_with( "permit 30" );
   const bool isIpv6 = route.prefix.find( ':' ) != std::string::npos;
   std::vector<std::string> sequences;
   std::istringstream numbers( verdict.substr( verdict.find( ' ' ) + 1 ) );
   for( std::string number; numbers >> number; )
      sequences.push_back( isIpv6 && ( number == "20" || number == "30" || number == "40" ) ? number.substr( 0, 1 ) + "5" : number );
   const std::string metric = verdict == "permit 30 60" ? "10" : customer ? "100" : route.metric;
   const std::string distance = customer ? "20" : "180", word = permitted ? "permit" : "deny";

   std::string text = ( permitted ? "permit  " : "deny    " ) + route.prefix + " via " + route.nextHop;
   std::string changes;
   if( permitted ) {
      text += "  distance " + distance;
      changes = ",\"changes\":{\"distance\":{\"to\":" + distance + '}';
      if( metric != route.metric ) {
         text += ", metric " + route.metric + " -> " + metric;
         changes += ",\"metric\":{\"from\":" + route.metric + ",\"to\":" + metric + '}';
      }
      changes += '}';
   }
   std::string by = "EDGE-IN " + sequences[ 0 ], all;
   const auto add = [ & ]( const std::string & map, const std::string & number ) {
      all += "{\"routeMap\":\"" + map + "\",\"sequence\":" + number + "},";
   };
   add( "EDGE-IN", sequences[ 0 ] );
   if( customer ) {
      by += ", CUSTOMERS 10, EDGE-IN " + sequences[ 1 ];
      add( "CUSTOMERS", "10" );
      add( "EDGE-IN", sequences[ 1 ] );
   }
   expected.text += text + "  by " + by + '\n';
   all.pop_back();
   expected.json += "{\"prefix\":\"" + route.prefix + "\",\"nextHop\":\"" + route.nextHop + "\",\"verdict\":\"" + word + '"' + changes +
      ",\"sequences\":[" + all + "]}\n";
   ++expected.routes;
}

Expected expectedOfSample() {
   Expected expected;
   std::string verdict;
   for( const auto & line : linesOf( contentOfFile( kTable ) ) ) {
      if( line.starts_with( "# permit " ) || line.starts_with( "# deny " ) ) verdict = line.substr( 2, line.find( ':' ) - 2 );
      if( line.starts_with( "TABLE_DUMP2" ) ) expectLine( expected, sampleRoute( line ), verdict );
   }
   return expected;
}

TEST( Program, evalSaysOfEachRouteWhatTheTablesHeadingsSay ) {
   const Expected expected = expectedOfSample();
   ASSERT_EQ( expected.routes, 275u );
   const auto text = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "-i", kTable } );
   EXPECT_EQ( text.status, 0 );
   EXPECT_EQ( text.out, expected.text );
   EXPECT_EQ( text.err, "" );
   const auto asJson = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "-i", kTable, "--json" } );
   EXPECT_EQ( asJson.status, 0 );
   EXPECT_EQ( asJson.out, expected.json );
   EXPECT_EQ( asJson.err, "" );
}

TEST( Program, evalOfSingleRoutes ) {
   const std::pair<const char *, const char *> rows[] = {
      { "a route of a customer", "198.18.1.0/24 next-hop 192.0.2.17 as-path 64501" },
      { "IPv6, with a metric, without a next hop", "2001:db8:100::/48 metric 5 as-path 64500" },
      { "any other route", "198.51.100.0/24" },
      { "a denied route", "198.51.100.0/24 as-path 64500 23456" },
   };
   for( const auto & [ name, line ] : rows )
      for( const Arguments & arguments :
           { Arguments{ "eval", kEdge, "-m", "EDGE-IN" }, Arguments{ "eval", kEdge, "-m", "EDGE-IN", "--json" } } )
         expectGolden( "eval.txt", name + std::string( arguments.size() == 4 ? "" : ", as JSON" ), runProgram( arguments, line ).out );
   const Folder folder;
   folder.write( "a.conf", "route-map A permit 10\n match tag 5\n" );
   expectGolden( "eval.txt", "no sequence matches", folder.run( { "eval", "DIR/a.conf", "-m", "A" }, "198.51.100.0/24" ).out );
   expectGolden( "eval.txt", "no sequence matches, as JSON",
                 folder.run( { "eval", "DIR/a.conf", "-m", "A", "--json" }, "198.51.100.0/24" ).out );
   EXPECT_EQ( runProgram( { "eval", kEdge, "-m", "EDGE-IN" } ).out, "" );
}

// ---- explain and diff

TEST( Program, explainGivesTheVerdictAndTheSequences ) {
   const auto text = runProgram( { "explain", kEdge, "-m", "EDGE-IN", "198.18.1.0/24", "--as-path", "64500", "--metric", "7" } );
   EXPECT_EQ( text.status, 0 );
   EXPECT_THAT( text.out, StartsWith( "198.18.1.0/24, metric 7, as-path 64500: permitted" ) );
   for( const char * part : { "distance 20", "metric 7 -> 10", "EDGE-IN", "CUSTOMERS" } ) EXPECT_THAT( text.out, HasSubstr( part ) );
   EXPECT_EQ( text.err, "" );

   const auto asJson =
      runProgram( { "explain", kEdge, "-m", "EDGE-IN", "198.18.1.0/24", "--as-path", "64500", "--metric", "7", "--json" } );
   const auto document = json::parse( asJson.out );
   EXPECT_EQ( document[ "prefix" ], "198.18.1.0/24" );
   EXPECT_EQ( document[ "verdict" ], "permit" );
   EXPECT_EQ( document[ "asPath" ], "64500" );
   EXPECT_EQ( document[ "changes" ], json::parse( R"({"distance":{"to":20},"metric":{"from":7,"to":10}})" ) );
   EXPECT_EQ( document[ "routemap" ][ "rmname" ], "EDGE-IN" );
   EXPECT_EQ( document[ "routemap" ][ "seqs" ][ "30" ][ "continue" ], 60 );

   const auto denied = runProgram( { "explain", kEdge, "-m", "EDGE-IN", "10.0.0.0/8" } );
   EXPECT_EQ( denied.status, 0 ) << "an answer, whatever it is";
   EXPECT_THAT( denied.out, StartsWith( "10.0.0.0/8: denied" ) );
}

TEST( Program, explainTriesOutEveryAttribute ) {
   const Folder folder;
   folder.write( "a.conf",
                 "route-map OSPF permit 10\n match ospf-instance 7\nroute-map ISIS permit 10\n match isis-instance 7\n"
                 "route-map NONE permit 10\n match ospf-instance 0\n match isis-instance 0\n" );
   const struct {
      const char * routeMap;
      Arguments options;
      const char * begin;
      const char * json;
   } rows[] = {
      { "OSPF", { "--ospf-instance", "7" }, "10.0.0.0/8, ospf-instance 7: permitted\n", R"({"verdict":"permit","ospfInstance":7})" },
      { "OSPF", { "--ospf-instance", "8" }, "10.0.0.0/8, ospf-instance 8: denied\n", R"({"verdict":"deny","ospfInstance":8})" },
      { "OSPF", { "--isis-instance", "7" }, "10.0.0.0/8, isis-instance 7: denied\n", R"({"verdict":"deny","isisInstance":7})" },
      { "ISIS", { "--isis-instance", "7" }, "10.0.0.0/8, isis-instance 7: permitted\n", R"({"verdict":"permit","isisInstance":7})" },
      { "NONE", {}, "10.0.0.0/8: permitted\n", R"({"verdict":"permit"})" },
   };
   for( const auto & row : rows ) {
      Arguments arguments{ "explain", "--dialect", "native", "DIR/a.conf", "-m", row.routeMap, "10.0.0.0/8" };
      arguments.insert( arguments.end(), row.options.begin(), row.options.end() );
      EXPECT_THAT( folder.run( arguments ).out, StartsWith( row.begin ) );
      arguments.emplace_back( "--json" );
      auto document = json::parse( folder.run( arguments ).out );
      document.erase( "prefix" );
      document.erase( "routemap" );
      EXPECT_EQ( document, json::parse( row.json ) ) << row.begin;
   }
   EXPECT_EQ( folder.run( { "eval", "--dialect", "native", "DIR/a.conf", "-m", "OSPF" }, "10.0.0.0/8 ospf-instance 7\n10.0.0.0/8\n" ).out,
              "permit  10.0.0.0/8  by OSPF 10\ndeny    10.0.0.0/8  by no sequence\n" );
}

TEST( Program, explainOfUndefinedAndInvertedClauses ) {
   const Folder folder;
   folder.write( "a.conf",
                 "ipv6 prefix-list SIX permit any\n"
                 "route-map A permit 10\n match ip address prefix-list LONG_V4\n"
                 "route-map A permit 20\n match ip address prefix-list SIX\n"
                 "route-map A permit 30\n match ip address ACL\n"
                 "route-map A permit 40\n match tag 5\n"
                 "route-map A permit 50\n match ip address prefix-list LONG_V4 invert\n call NOPE\n continue 99\n"
                 "route-map B permit 10\n call NOPE invert\n continue 20\n"
                 "route-map B permit 20\n call C\n continue\n"
                 "route-map B deny 30\n continue 99\n"
                 "route-map C permit 10\n" );
   expectGolden( "explain.txt", "undefined references",
                 folder.run( { "explain", "--dialect", "native", "DIR/a.conf", "-m", "A", "10.0.0.0/8" } ).out );
   expectGolden( "explain.txt", "calls of undefined route maps",
                 folder.run( { "explain", "--dialect", "native", "DIR/a.conf", "-m", "B", "10.0.0.0/8" } ).out );
   folder.write(
      "i.conf",
      "ip prefix-list TEN permit 10.0.0.0/8\nroute-map A permit 10\n match ip address prefix-list TEN invert\n"
      "route-map A permit 20\n call B invert\nroute-map A deny 30\n call C invert\nroute-map B permit 10\nroute-map C deny 10\n" );
   for( const char * prefix : { "10.0.0.0/8", "11.0.0.0/8" } )
      expectGolden( "explain.txt", std::string( "inverted clauses, " ) + prefix,
                    folder.run( { "explain", "--dialect", "native", "DIR/i.conf", "-m", "A", prefix } ).out );
}

TEST( Program, explainObeysNoBytesOfATable ) {
   const std::string table = "10.0.0.0/8 interface a\033[31m\nTABLE_DUMP2|1|B|192.0.2.1|1|10.0.0.0/8|1 \033[31m|IGP|192.0.2.1|0|0||NAG||\n";
   const auto output = runProgram( { "explain", kEdge, "-m", "EDGE-IN", "10.0.0.0/8", "-i", "-" }, table );
   EXPECT_EQ( output.status, 0 );
   EXPECT_THAT( output.out, Not( HasSubstr( "\033" ) ) );
   EXPECT_THAT( output.out, HasSubstr( "interface a\\x1b[31m" ) );
   EXPECT_THAT( output.out, HasSubstr( "as-path 1 \\x1b[31m" ) );
}

TEST( Program, explainTakesTheRoutesOfAPrefixOutOfATable ) {
   const std::string table = "198.18.1.0/24 as-path 64500\n198.19.0.0/24\n198.18.1.0/24 as-path 23456\n";
   const auto text = runProgram( { "explain", kEdge, "-m", "EDGE-IN", "198.18.1.0/24", "-i", "-" }, table );
   EXPECT_EQ( text.status, 0 );
   EXPECT_THAT( text.out, HasSubstr( "198.18.1.0/24, as-path 64500: permitted" ) );
   EXPECT_THAT( text.out, HasSubstr( "198.18.1.0/24, as-path 23456: denied" ) );
   EXPECT_THAT( text.out, Not( HasSubstr( "198.19" ) ) );
   const auto asJson = linesOf( runProgram( { "explain", kEdge, "-m", "EDGE-IN", "198.18.1.0/24", "-i", "-", "--json" }, table ).out );
   ASSERT_EQ( asJson.size(), 2u );
   EXPECT_EQ( json::parse( asJson[ 1 ] )[ "verdict" ], "deny" );
}

TEST( Program, diffGroupsWhatChanges ) {
   const Folder folder;
   folder.write( "new.conf", replaced( contentOfFile( kEdge ), "set distance 180", "set distance 190" ) );
   const auto text = folder.run( { "diff", kEdge, "DIR/new.conf", "-m", "EDGE-IN", "-i", kTable, "--examples", "1" } );
   EXPECT_EQ( text.status, 1 );
   expectGolden( "diff.txt", "another distance", text.out );
   EXPECT_EQ( text.err, "" );
   const auto asJson = folder.run( { "diff", kEdge, "DIR/new.conf", "-m", "EDGE-IN", "-i", kTable, "--examples", "1", "--json" } );
   EXPECT_EQ( asJson.status, 1 );
   expectGolden( "diff.txt", "another distance, as JSON", asJson.out );

   folder.write( "all.conf", "route-map A permit 10\n" );
   folder.write( "less.conf", "route-map A permit 10\n match metric 5\n" );
   const auto less =
      folder.run( { "diff", "DIR/all.conf", "DIR/less.conf", "-m", "A", "--examples", "0" }, "198.18.0.0/20\n198.18.0.0/24 metric 5\n" );
   EXPECT_EQ( less.status, 1 );
   expectGolden( "diff.txt", "without examples", less.out );
}

TEST( Program, diffDistinguishesRoutesOfOnePrefix ) {
   const Folder folder;
   folder.write( "old.conf", "route-map A permit 10\n" );
   folder.write( "new.conf", "route-map A permit 10\n set metric 5\n" );
   const std::string table = "10.0.0.0/8 next-hop 192.0.2.1\n10.0.0.0/8 next-hop 192.0.2.2\n10.0.0.0/8\n";
   const Arguments arguments{ "diff", "DIR/old.conf", "DIR/new.conf", "-m", "A" };
   expectGolden( "diff.txt", "routes of one prefix", folder.run( arguments, table ).out );
   auto asJson = arguments;
   asJson.emplace_back( "--json" );
   const auto examples = json::parse( folder.run( asJson, table ).out )[ "groups" ][ 0 ][ "examples" ];
   EXPECT_EQ( examples[ 0 ].value( "nextHop", "" ), "192.0.2.1" );
   EXPECT_EQ( examples[ 1 ].value( "nextHop", "" ), "192.0.2.2" );
   EXPECT_FALSE( examples[ 2 ].contains( "nextHop" ) );
   EXPECT_THAT( folder.run( arguments, "10.0.0.0/8\n" ).out, StartsWith( "1 of 1 route changes\n" ) );
   EXPECT_EQ( folder.run( { "diff", "DIR/old.conf", "DIR/old.conf", "-m", "A" }, "10.0.0.0/8\n" ).out, "0 of 1 route changes\n" );
}

TEST( Program, communitiesAreListsInDocuments ) {
   const Folder folder;
   folder.write( "add.conf", "route-map A permit 10\n set community 64500:1 64500:2 additive\n" );
   folder.write( "none.conf", "route-map A permit 10\n set community none\n" );
   const auto changes = [ & ]( const char * policy ) {
      return json::parse( folder.run( { "eval", policy, "-m", "A", "--json" }, "10.0.0.0/8 community 64500:9" ).out )[ "changes" ];
   };
   EXPECT_EQ( changes( "DIR/add.conf" ), json::parse( R"({"communities":{"from":["64500:9"],"to":["64500:1","64500:2","64500:9"]}})" ) );
   EXPECT_EQ( changes( "DIR/none.conf" ), json::parse( R"({"communities":{"from":["64500:9"],"to":[]}})" ) );
}

TEST( Program, tagZeroIsAbsentBeforePolicyAndZeroIfPolicySetsIt ) {
   const Folder folder;
   folder.write( "zero.conf", "route-map A permit 10\n set tag 0\n" );
   folder.write( "five.conf", "route-map A permit 10\n set tag 5\n" );
   const struct {
      const char * policy;
      const char * route;
      const char * text;
      const char * changes;
      const char * dialect = "frr";
   } rows[] = {
      { "DIR/zero.conf", "10.0.0.0/8 tag 5", "  tag 5 -> 0", R"({"tag":{"from":5,"to":0}})", "native" },
      { "DIR/zero.conf", "10.0.0.0/8", "", "null", "native" },
      { "DIR/five.conf", "10.0.0.0/8", "  tag 5", R"({"tag":{"to":5}})" },
      { "DIR/five.conf", "10.0.0.0/8 tag 7", "  tag 7 -> 5", R"({"tag":{"from":7,"to":5}})" },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( folder.run( { "eval", "--dialect", row.dialect, row.policy, "-m", "A" }, row.route ).out,
                 "permit  10.0.0.0/8" + std::string( row.text ) + "  by A 10\n" );
      const auto document =
         json::parse( folder.run( { "eval", "--dialect", row.dialect, row.policy, "-m", "A", "--json" }, row.route ).out );
      EXPECT_EQ( document.value( "changes", json() ), json::parse( row.changes ) ) << row.policy << ' ' << row.route;
   }
   EXPECT_THAT( folder.run( { "diff", "--dialect", "native", "DIR/five.conf", "DIR/zero.conf", "-m", "A" }, "10.0.0.0/8\n" ).out,
                EndsWith( "  tag 5 -> 0\n" ) );
}

TEST( Program, diffShowsTheChangesOfARouteThatIsNoLongerPermitted ) {
   const Folder folder;
   folder.write( "permits.conf", "route-map A permit 10\n set metric 5\n" );
   folder.write( "plain.conf", "route-map A permit 10\n" );
   folder.write( "denies.conf", "route-map A deny 10\n" );
   const struct {
      const char * before;
      const char * after;
      const char * example;
   } rows[] = {
      { "DIR/permits.conf", "DIR/denies.conf", "   10.0.0.0/8  no longer permitted; before: metric 7 -> 5\n" },
      { "DIR/plain.conf", "DIR/denies.conf", "   10.0.0.0/8  no longer permitted\n" },
      { "DIR/denies.conf", "DIR/permits.conf", "   10.0.0.0/8  newly permitted, with metric 7 -> 5\n" },
      { "DIR/denies.conf", "DIR/plain.conf", "   10.0.0.0/8  newly permitted\n" },
   };
   for( const auto & row : rows )
      EXPECT_THAT( folder.run( { "diff", row.before, row.after, "-m", "A" }, "10.0.0.0/8 metric 7\n" ).out, EndsWith( row.example ) );
}

// ---- what is wrong

constexpr char kWrong[] = "ip prefix-list A permit 10.0.0.0/8 le 7\n"
                          "route-map A\n"
                          "route-map B permit 10\n"
                          " match ip address prefix-list\n"
                          " bogus\n";
constexpr char kWrongMessages[] = "DIR/wrong.conf:1:39: \"le 7\" is below 8, the length of the prefix\n"
                                  "DIR/wrong.conf:2:12: expected \"permit\" or \"deny\", found the end of the line\n"
                                  "DIR/wrong.conf:4:30: expected the name of a prefix list, found the end of the line\n"
                                  "DIR/wrong.conf:5:2: expected a clause of a route map, found \"bogus\"\n";
TEST( Program, wrongCallsEndWithTwo ) {
   const Folder folder;
   folder.write( "wrong.conf", kWrong );
   folder.write( "empty.conf", "" );
   std::filesystem::create_directory( folder( "folder" ) );
   expectGoldenCases( "wrong-calls.txt", [ & ]( const std::string & arguments ) {
      const auto output = folder.run( argumentsOf( arguments ) );
      EXPECT_EQ( output.status, 2 );
      EXPECT_EQ( output.out, "" );
      return output.err;
   } );
}

TEST( Program, checkTellsErrorsAsJsonToo ) {
   const Folder folder;
   folder.write( "wrong.conf", kWrong );
   const auto output = folder.run( { "check", "DIR/wrong.conf", "--json" } );
   EXPECT_EQ( output.status, 2 );
   EXPECT_EQ( output.err, kWrongMessages );
   EXPECT_EQ( json::parse( output.out ), json::parse( R"( { "errors": [
      { "file": "DIR/wrong.conf", "line": 1, "column": 39, "reason": "\"le 7\" is below 8, the length of the prefix" },
      { "file": "DIR/wrong.conf", "line": 2, "column": 12, "reason": "expected \"permit\" or \"deny\", found the end of the line" },
      { "file": "DIR/wrong.conf", "line": 4, "column": 30, "reason": "expected the name of a prefix list, found the end of the line" },
      { "file": "DIR/wrong.conf", "line": 5, "column": 2, "reason": "expected a clause of a route map, found \"bogus\"" } ] } )" ) );
}

TEST( Program, everyCommandTellsErrorsAsOneDocumentToo ) {
   const Folder folder;
   folder.write( "wrong.conf", kWrong );
   folder.write( "wrong2.conf", "route-map\n" );
   const std::string document = folder.run( { "check", "DIR/wrong.conf", "--json" } ).out;
   for( const Arguments & arguments :
        { Arguments{ "eval", "DIR/wrong.conf", "-m", "B" }, Arguments{ "eval", "DIR/wrong.conf", "-m", "B", "--summary" },
          Arguments{ "explain", "DIR/wrong.conf", "-m", "B", "10.0.0.0/8" }, Arguments{ "diff", kEdge, "DIR/wrong.conf", "-m", "B" },
          Arguments{ "diff", "DIR/wrong.conf", kEdge, "-m", "B" }, Arguments{ "show", "DIR/wrong.conf" },
          Arguments{ "used-by", "DIR/wrong.conf", "B" }, Arguments{ "watch", "DIR/wrong.conf" } } ) {
      auto asJson = arguments;
      asJson.emplace_back( "--json" );
      const auto output = folder.run( asJson );
      EXPECT_EQ( output.status, 2 ) << arguments[ 0 ];
      EXPECT_EQ( output.out, document ) << arguments[ 0 ];
      EXPECT_THAT( output.err, StartsWith( kWrongMessages ) ) << arguments[ 0 ];
   }
   const auto both = folder.run( { "diff", "DIR/wrong.conf", "DIR/wrong2.conf", "-m", "B", "--json" } );
   EXPECT_EQ( json::parse( both.out )[ "errors" ].size(), 5u );
   EXPECT_THAT( both.err, EndsWith( "routepolicy: 5 errors, nothing was applied\n" ) );
}

TEST( Program, checkEndsWithOneForFindings ) {
   const Folder folder;
   folder.write( "a.conf", "ip prefix-list UNUSED permit 10.0.0.0/8\nroute-map A permit 10\n match as-path GONE\n" );
   const auto text = folder.run( { "check", "DIR/a.conf" } );
   EXPECT_EQ( text.status, 1 );
   EXPECT_THAT( text.out, HasSubstr( "DIR/a.conf:1:1: unused: " ) );
   EXPECT_THAT( text.out, HasSubstr( "DIR/a.conf:3:16: undefined: " ) );
   EXPECT_THAT( text.out, EndsWith( "2 findings\n" ) );
   EXPECT_EQ( text.err, "" );
   const auto asJson = folder.run( { "check", "DIR/a.conf", "--json" } );
   EXPECT_EQ( asJson.status, 1 );
   EXPECT_EQ( json::parse( asJson.out )[ "findings" ].size(), 2u );
}

// Each nested call takes stack, in an evaluation and in its explanation.
TEST( Program, callsOfTheGreatestDepthAreEvaluated ) {
   const auto chain = []( int routeMaps ) {
      std::string text;
      for( int i = 0; i < routeMaps; ++i ) {
         text += "route-map M" + std::to_string( i ) + " permit 10\n";
         if( i + 1 < routeMaps ) text += " call M" + std::to_string( i + 1 ) + "\n";
      }
      return text;
   };
   const Folder folder;
   folder.write( "deep.conf", chain( 1001 ) );
   EXPECT_THAT( folder.run( { "eval", "--dialect", "native", "DIR/deep.conf", "-m", "M0" }, "10.0.0.0/8\n" ).out,
                StartsWith( "permit  10.0.0.0/8  by M1000 10, M999" ) );
   const auto explained = folder.run( { "explain", "--dialect", "native", "DIR/deep.conf", "-m", "M0", "10.0.0.0/8" } );
   EXPECT_THAT( explained.out, StartsWith( "10.0.0.0/8: permitted\nM0 permits\n   10    permit  matches: it calls M1\n" ) );
   EXPECT_THAT( explained.out, HasSubstr( "M1000 permits\n" ) );
   EXPECT_EQ( folder.run( { "explain", "--dialect", "native", "DIR/deep.conf", "-m", "M0", "10.0.0.0/8", "--json" } ).status, 0 );

   folder.write( "deeper.conf", chain( 60'000 ) );
   const std::string tooDeep = "routepolicy: route map M0 is not in force: its calls go deeper than 1000; see \"routepolicy check\"\n";
   for( const Arguments & arguments : { Arguments{ "eval", "--dialect", "native", "DIR/deeper.conf", "-m", "M0" },
                                        Arguments{ "explain", "--dialect", "native", "DIR/deeper.conf", "-m", "M0", "10.0.0.0/8" } } ) {
      const auto output = folder.run( arguments, "10.0.0.0/8\n" );
      EXPECT_EQ( output.status, 2 );
      EXPECT_EQ( output.err, tooDeep );
   }
   EXPECT_NE( folder.run( { "check", "--dialect", "native", "DIR/deeper.conf" } ).out.find( ": too-deep: M58998 is not in force" ),
              std::string::npos );
}

TEST( Program, aRouteMapInACycleOfCallsIsNotEvaluated ) {
   const Folder folder;
   folder.write( "ring.conf", "route-map A permit 10\n call B\nroute-map B permit 10\n call A\n" );
   for( const Arguments & arguments :
        { Arguments{ "eval", "DIR/ring.conf", "-m", "A" }, Arguments{ "explain", "DIR/ring.conf", "-m", "A", "10.0.0.0/8" } } ) {
      const auto output = folder.run( arguments, "10.0.0.0/8\n" );
      EXPECT_EQ( output.status, 2 ) << arguments[ 0 ];
      EXPECT_EQ( output.out, "" ) << arguments[ 0 ];
      EXPECT_EQ( output.err, "routepolicy: route map A is not in force: its calls lead into a cycle; see \"routepolicy check\"\n" )
         << arguments[ 0 ];
   }
}

TEST( Program, aRouteMapWithTooManyCallsIsNotEvaluated ) {
   const Folder folder;
   std::string many;
   for( int i = 0; i < 20; ++i )
      for( const int number : { 10, 20 } ) many += fmt::format( "route-map M{} permit {}\n call M{}\n", i, number, i + 1 );
   folder.write( "many.conf", many + "route-map M20 deny 10\n" );
   const auto output = folder.run( { "eval", "--dialect", "native", "DIR/many.conf", "-m", "M0" }, "10.0.0.0/8\n" );
   EXPECT_EQ( output.status, 2 );
   EXPECT_EQ( output.err,
              "routepolicy: route map M0 is not in force: one evaluation may make more than 100000 calls; see \"routepolicy check\"\n" );
   EXPECT_EQ( folder.run( { "eval", "--dialect", "native", "DIR/many.conf", "-m", "M10" }, "10.0.0.0/8\n" ).out,
              "deny    10.0.0.0/8  by no sequence\n" );
}

// ---- tables

TEST( Program, anEarlyEndOfATableIsReported ) {
   const std::string cut = compressed( "10.0.0.0/8\n", Compression::gzip );
   const struct {
      std::string table;
      const char * message;
   } rows[] = {
      { "[{\"dst\":\"10.0.0.0/8\"},", "standard input: reading stopped after 1 route: " },
      { "[{\"dst\":\"10.0.0.0/8\"},{\"dst\":\"10.0.0.0/8\"}", "standard input: reading stopped after 2 routes: " },
      { cut.substr( 0, cut.size() - 9 ), "standard input: reading stopped after 1 route: gzip data is cut short\n" },
   };
   for( const auto & row : rows ) {
      const auto output = runProgram( { "eval", kEdge, "-m", "EDGE-IN" }, row.table );
      EXPECT_EQ( output.status, 2 );
      EXPECT_THAT( output.err, HasSubstr( row.message ) );
   }
}

TEST( Program, zerosBehindACompressedTableAreNoDamage ) {
   const auto output = runProgram( { "eval", kEdge, "-m", "EDGE-IN" },
                                   compressed( contentOfFile( kTable ), Compression::gzip ) + std::string( 10240, '\0' ) );
   EXPECT_EQ( output.status, 0 );
   EXPECT_EQ( output.err, "" );
   EXPECT_EQ( output.out, expectedOfSample().text );
}

TEST( Program, brokenLinesAreToldAndSkipped ) {
   const Folder folder;
   folder.write( "broken.txt", "10.0.0.0/8\nrubbish\n10.0.0.0/33\nTABLE_DUMP2|1|B|x\n198.51.100.0/24\n" );
   const auto output = folder.run( { "eval", kEdge, "-m", "EDGE-IN", "-i", "DIR/broken.txt" } );
   EXPECT_EQ( output.status, 0 );
   EXPECT_EQ( output.out, "deny    10.0.0.0/8  by EDGE-IN 40\npermit  198.51.100.0/24  distance 180  by EDGE-IN 50\n" );
   EXPECT_EQ( output.err,
              "DIR/broken.txt: line 2: address \"rubbish\": not an address\n"
              "DIR/broken.txt: line 3: prefix length \"33\": above 32\n"
              "DIR/broken.txt: line 4: cut short: 3 of 14 fields\n" );

   std::string many;
   for( int i = 0; i < 1000; ++i ) many += "rubbish\n";
   const auto cut = runProgram( { "eval", kEdge, "-m", "EDGE-IN" }, many );
   EXPECT_EQ( linesOf( cut.err ).size(), 12u );
   EXPECT_THAT( cut.err, EndsWith( "standard input: and 990 more\nstandard input: no route could be read: every line is broken\n" ) );
}

TEST( Program, aTableWithoutARouteIsReported ) {
   const Folder folder;
   folder.write( "good", "10.0.0.0/8\n" );
   folder.write( "bad", "rubbish\n\nrubbish\n" );
   folder.write( "empty", "" );
   folder.write( "remarks", "# nothing yet\n" );
   folder.write( "withdrawn", "BGP4MP|1|W|192.0.2.9|64496|203.0.113.0/24\n" );
   folder.write( "json", "[]\n" );
   folder.write( "other.mrt", std::string( 4, '\0' ) + std::string( "\0\x0d\0\x06", 4 ) + std::string( 4, '\0' ) );
   const std::string broken = "DIR/bad: line 1: address \"rubbish\": not an address\n"
                              "DIR/bad: line 3: address \"rubbish\": not an address\n"
                              "DIR/bad: no route could be read: every line is broken\n";
   const std::string empty = "DIR/empty: no route could be read: it is empty\n";
   const std::string remarks = "DIR/remarks: no route could be read: it has blank lines and comments only\n";
   const struct {
      Arguments tables;
      int status;
      std::string messages;
   } rows[] = {
      { { "DIR/good" }, 0, "" },
      { { "DIR/bad" }, 2, broken },
      { { "DIR/empty" }, 2, empty },
      { { "DIR/remarks" }, 2, remarks },
      { { "DIR/json" }, 2, "DIR/json: no route could be read: it has no entries\n" },
      { { "DIR/other.mrt" }, 2, "DIR/other.mrt: no route could be read: it has no record with routes of IPv4 or IPv6 unicast\n" },
      { { "DIR/withdrawn" }, 0, "DIR/withdrawn: contains no route; 1 skipped\n" },
      { { "DIR/good", "DIR/bad" }, 2, broken },
      { { "DIR/bad", "DIR/good" }, 2, broken },
      { { "DIR/empty", "DIR/good", "DIR/remarks" }, 2, empty + remarks },
   };
   for( const auto & row : rows ) {
      Arguments tables;
      for( const auto & table : row.tables ) tables.insert( tables.end(), { "-i", table } );
      const bool good = std::count( row.tables.begin(), row.tables.end(), "DIR/good" ) != 0;
      Arguments arguments{ "eval", kEdge, "-m", "EDGE-IN" };
      arguments.insert( arguments.end(), tables.begin(), tables.end() );
      const auto eval = folder.run( arguments );
      EXPECT_EQ( eval.status, row.status ) << row.messages;
      EXPECT_EQ( eval.err, row.messages );
      EXPECT_EQ( eval.out, good ? "deny    10.0.0.0/8  by EDGE-IN 40\n" : "" );
      arguments = { "diff", kEdge, kEdge, "-m", "EDGE-IN" };
      arguments.insert( arguments.end(), tables.begin(), tables.end() );
      const auto diff = folder.run( arguments );
      EXPECT_EQ( diff.status, row.status ) << row.messages;
      EXPECT_EQ( diff.err, row.messages );
   }
}

TEST( Program, damagedTablesGiveWhatIsBeforeTheDamageAndEndWithTwo ) {
   const Folder folder;
   const std::string whole = expectedOfSample().text;
   for( const auto how : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      const std::string bytes = compressed( contentOfFile( kTable ), how );
      std::string damaged = bytes;
      damaged[ bytes.size() / 2 ] = static_cast<char>( ~damaged[ bytes.size() / 2 ] );
      damaged[ bytes.size() / 2 + 1 ] = static_cast<char>( ~damaged[ bytes.size() / 2 + 1 ] );
      for( const std::string & table : { bytes.substr( 0, bytes.size() / 2 ), damaged } ) {
         folder.write( "table", table );
         const auto output = folder.run( { "eval", kEdge, "-m", "EDGE-IN", "-i", "DIR/table" } );
         EXPECT_EQ( output.status, 2 ) << stringValue( how );
         EXPECT_THAT( output.err, HasSubstr( "DIR/table: reading stopped after " ) ) << stringValue( how );
         EXPECT_LT( output.out.size(), whole.size() );
      }
   }
}

TEST( Program, policiesMayBePackedToo ) {
   const Folder folder;
   const std::string edge = contentOfFile( kEdge ), plain = expectedOfSample().text;
   for( const auto compression : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      const std::string packed = compressed( edge, compression );
      folder.write( "edge.conf", packed );
      EXPECT_EQ( folder.run( { "eval", "DIR/edge.conf", "-m", "EDGE-IN", "-i", kTable } ).out, plain ) << stringValue( compression );
      EXPECT_EQ( folder.run( { "eval", "-", "-m", "EDGE-IN", "-i", kTable }, packed ).out, plain ) << stringValue( compression );
      folder.write( "cut.conf", packed.substr( 0, packed.size() / 2 ) );
      const auto cut = folder.run( { "check", "DIR/cut.conf" } );
      EXPECT_EQ( cut.status, 2 );
      EXPECT_THAT( cut.err, testing::MatchesRegex( "routepolicy: DIR/cut.conf: [a-z0-9]+ data is cut short\n" ) );
      EXPECT_EQ( cut.out, "" ) << "half a policy is none";
   }
}

TEST( Program, compressedTablesGiveThePlainOnesOutput ) {
   const Folder folder;
   const std::string whole = expectedOfSample().text;
   for( const auto how : kCompressions ) {
      const std::string bytes = compressed( contentOfFile( kTable ), how );
      folder.write( "table", bytes );
      const auto file = folder.run( { "eval", kEdge, "-m", "EDGE-IN", "-i", "DIR/table" } );
      EXPECT_EQ( file.status, 0 ) << stringValue( how );
      EXPECT_EQ( file.out, whole ) << stringValue( how );
      EXPECT_EQ( file.err, "" ) << stringValue( how );
      EXPECT_EQ( runProgram( { "eval", kEdge, "-m", "EDGE-IN" }, bytes ).out, whole ) << stringValue( how ) << ", standard input";
   }
}

TEST( Program, standardInputStandsInPlaceOfATableOrAPolicy ) {
   const std::string whole = expectedOfSample().text, edge = contentOfFile( kEdge ), table = contentOfFile( kTable );
   EXPECT_EQ( runProgram( { "eval", kEdge, "-m", "EDGE-IN" }, table ).out, whole );
   EXPECT_EQ( runProgram( { "eval", kEdge, "-m", "EDGE-IN", "-i", "-" }, table ).out, whole );
   EXPECT_EQ( runProgram( { "eval", "-", "-m", "EDGE-IN", "-i", kTable }, edge ).out, whole );
   EXPECT_EQ( runProgram( { "diff", "-", kEdge, "-m", "EDGE-IN", "-i", kTable }, edge ).out, "0 of 275 routes change\n" );
   EXPECT_EQ( runProgram( { "diff", kEdge, "-", "-m", "EDGE-IN", "-i", kTable }, edge ).out, "0 of 275 routes change\n" );
   EXPECT_EQ( runProgram( { "diff", kEdge, kEdge, "-m", "EDGE-IN" }, table ).out, "0 of 275 routes change\n" );
   EXPECT_EQ( runProgram( { "show", "-", "CUSTOMERS" }, edge ).out, runProgram( { "show", kEdge, "CUSTOMERS" } ).out );
   EXPECT_EQ( runProgram( { "used-by", "-", "CUSTOMERS" }, edge ).out, runProgram( { "used-by", kEdge, "CUSTOMERS" } ).out );
   EXPECT_EQ( runProgram( { "explain", "-", "-m", "EDGE-IN", "10.0.0.0/8" }, edge ).out,
              runProgram( { "explain", kEdge, "-m", "EDGE-IN", "10.0.0.0/8" } ).out );

   const auto wrong = runProgram( { "check", "-" }, "\nroute-map\n" );
   EXPECT_EQ( wrong.status, 2 );
   EXPECT_THAT( wrong.err, StartsWith( "standard input:2:10: " ) );
   EXPECT_EQ( linesOf( wrong.err ).size(), 1u );
}

TEST( Program, standardInputIsNotTwoThingsAtOnce ) {
   const std::string edge = contentOfFile( kEdge );
   for( const Arguments & arguments : { Arguments{ "eval", "-", "-m", "EDGE-IN" }, Arguments{ "eval", "-", "-m", "EDGE-IN", "-i", "-" },
                                        Arguments{ "diff", "-", "-", "-m", "EDGE-IN", "-i", kTable }, Arguments{ "check", "-", "-" },
                                        Arguments{ "watch", kEdge, "-m", "EDGE-IN", "-i", "-", "-i", "-" },
                                        Arguments{ "explain", "-", "-m", "EDGE-IN", "10.0.0.0/8", "-i", "-" } } ) {
      const auto output = runProgram( arguments, edge );
      EXPECT_EQ( output.status, 2 ) << arguments[ 0 ];
      EXPECT_THAT( output.err, HasSubstr( "standard input" ) ) << arguments[ 0 ];
   }
}

TEST( Program, severalFilesAreOne ) {
   const Folder folder;
   const std::string edge = contentOfFile( kEdge );
   const size_t middle = edge.find( "route-map CUSTOMERS" );
   folder.write( "lists.conf", edge.substr( 0, middle ) );
   folder.write( "maps.conf", edge.substr( middle ) );
   folder.write( "wrong.conf", kWrong );
   const std::string whole = expectedOfSample().text;
   EXPECT_EQ( folder.run( { "eval", "DIR/lists.conf", "DIR/maps.conf", "-m", "EDGE-IN", "-i", kTable } ).out, whole );
   EXPECT_EQ( folder.run( { "eval", "DIR/maps.conf", "DIR/lists.conf", "-m", "EDGE-IN", "-i", kTable } ).out, whole );
   EXPECT_EQ( folder.run( { "eval", "-m", "EDGE-IN", "-i", kTable, "DIR/lists.conf", "DIR/maps.conf" } ).out, whole );
   EXPECT_EQ( folder.run( { "eval", kEdge, "-m", "EDGE-IN", "-i", kTable, "-i", kTable } ).out, whole + whole );

   const auto wrong = folder.run( { "check", "DIR/maps.conf", "DIR/wrong.conf", "-" }, "route-map\n" );
   EXPECT_EQ( wrong.status, 2 );
   EXPECT_THAT( wrong.err, StartsWith( kWrongMessages ) );
   EXPECT_THAT( wrong.err, HasSubstr( "standard input:1:10: " ) );
}

// Where something else stands behind the policy.
TEST( Program, furtherFilesStandBehindWith ) {
   const Folder folder;
   const std::string edge = contentOfFile( kEdge );
   const size_t lists = edge.find( "route-map CUSTOMERS" ), last = edge.find( "route-map EDGE-IN" );
   folder.write( "lists.conf", edge.substr( 0, lists ) );
   folder.write( "called.conf", edge.substr( lists, last - lists ) );
   folder.write( "in.conf", edge.substr( last ) );
   const Arguments calls[] = { { "explain", "-m", "EDGE-IN", "-i", kTable, "FILE", "198.18.1.0/24" },
                               { "show", "FILE", "EDGE-IN" },
                               { "show", "FILE", "EDGE-IN", "--json" },
                               { "used-by", "FILE", "CUSTOMERS-V4" } };
   for( const Arguments & call : calls ) {
      SCOPED_TRACE( call[ 0 ] );
      Arguments whole = call, split = call;
      std::ranges::replace( whole, "FILE", kEdge );
      std::ranges::replace( split, "FILE", "DIR/in.conf" );
      split.insert( split.end(), { "--with", "DIR/lists.conf", "--with=DIR/called.conf" } );
      const auto expected = folder.run( whole ), output = folder.run( split );
      EXPECT_EQ( output.status, 0 );
      EXPECT_EQ( output.out, expected.out );
      EXPECT_EQ( output.err, "" );
   }
   folder.write( "new.conf", replaced( edge.substr( last ), "set distance 180", "set distance 190" ) );
   const auto changed = folder.run(
      { "diff", "DIR/in.conf", "DIR/new.conf", "-m", "EDGE-IN", "-i", kTable, "--with", "DIR/lists.conf", "--with", "DIR/called.conf" } );
   EXPECT_EQ( changed.status, 1 );
   EXPECT_THAT( changed.out, StartsWith( "92 of 275 routes change\n" ) );
   EXPECT_EQ( folder.run( { "show", "DIR/in.conf", "--with", "" } ).status, 2 );
   EXPECT_EQ( folder.run( { "show", "-", "--with", "-" } ).status, 2 );
   EXPECT_THAT( folder.run( { "show", "DIR/in.conf", "--with", "DIR/none.conf" } ).err, HasSubstr( "DIR/none.conf: cannot open" ) );
}

size_t routesOf( const char * command ) {
   FILE * const ip = popen( command, "r" );
   std::string text;
   for( int c; ip && ( c = std::fgetc( ip ) ) != EOF; ) text += static_cast<char>( c );
   if( !ip || pclose( ip ) != 0 ) return std::string::npos;
   return text.empty() ? 0 : json::parse( text ).size();
}

TEST( Program, theKernelsTableIsThatOfTheSystemsTool ) {
   const size_t ipv4 = routesOf( "ip -j route 2>/dev/null" ), ipv6 = routesOf( "ip -j -6 route 2>/dev/null" );
   ASSERT_NE( ipv4, std::string::npos ) << "the program ip is missing; scripts/setup test installs it";
   ASSERT_NE( ipv6, std::string::npos );
   const auto output = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "--in", "kernel" } );
   EXPECT_EQ( output.status, 0 );
   EXPECT_EQ( output.err, "" );
   EXPECT_EQ( linesOf( output.out ).size(), ipv4 + ipv6 );
}

// ---- streams

TEST( Program, threadsChangeNothingOfTheOutput ) {
   const Folder folder;
   folder.write( "table", generatedTable( 50000 ) );
   for( const Arguments & form : { Arguments{}, Arguments{ "--json" }, Arguments{ "--summary" }, Arguments{ "--summary", "--json" } } ) {
      Arguments arguments{ "eval", kEdge, "-m", "EDGE-IN", "-i", "DIR/table" };
      arguments.insert( arguments.end(), form.begin(), form.end() );
      const auto one = folder.run( arguments );
      EXPECT_EQ( one.status, 0 );
      if( form.empty() ) { EXPECT_EQ( std::count( one.out.begin(), one.out.end(), '\n' ), 50000 ); }
      for( const char * threads : { "1", "2", "4" } ) {
         auto more = arguments;
         more.insert( more.end(), { "--threads", threads } );
         const auto output = folder.run( more );
         EXPECT_EQ( output.status, 0 );
         EXPECT_EQ( output.err, "" );
         EXPECT_TRUE( output.out == one.out ) << threads << " threads" << ( form.empty() ? "" : ", " + form.front() );
      }
      auto differing = arguments;   // that the comparison can fail
      differing[ 3 ] = "CUSTOMERS";
      EXPECT_FALSE( folder.run( differing ).out == one.out );
   }
}

TEST( Program, aReaderThatGoesAwayIsNoMatter ) {
   const Folder folder;
   folder.write( "table", generatedTable( 50000 ) );
   for( const bool ignoreSigpipe : { false, true } )
      for( const char * threads : { "1", "4" } ) {
         ProgramCall call{ { "eval", kEdge, "-m", "EDGE-IN", "-i", "DIR/table", "--threads", threads } };
         call.ignoreSigpipe = ignoreSigpipe;
         Program program( folder.call( call ) );
         program.waitForOut( "\n" );
         program.closeOut();
         const auto output = program.finish();
         EXPECT_EQ( output.status, 0 );
         EXPECT_EQ( output.err, "" );
      }
   for( const Arguments & arguments :
        { Arguments{ "check", kEdge }, Arguments{ "show", kEdge }, Arguments{ "used-by", kEdge, "CUSTOMERS" },
          Arguments{ "explain", kEdge, "-m", "EDGE-IN", "10.0.0.0/8" }, Arguments{ "eval", kEdge, "-m", "EDGE-IN", "-i", kTable },
          Arguments{ "diff", kEdge, kEdge, "-m", "EDGE-IN", "-i", kTable }, Arguments{ "watch", kEdge }, Arguments{ "--help" } } ) {
      const auto output = runProgram( ProgramCall{ .arguments = arguments, .out = Stream::unreadPipe() } );
      EXPECT_EQ( output.status, 0 ) << arguments[ 0 ];
      EXPECT_EQ( output.err, "" ) << arguments[ 0 ];
   }
}

TEST( Program, aFullDeviceIsAnError ) {
   for( const Arguments & arguments :
        { Arguments{ "check", kEdge }, Arguments{ "show", kEdge }, Arguments{ "used-by", kEdge, "CUSTOMERS" },
          Arguments{ "explain", kEdge, "-m", "EDGE-IN", "10.0.0.0/8" }, Arguments{ "eval", kEdge, "-m", "EDGE-IN", "-i", kTable },
          Arguments{ "eval", kEdge, "-m", "EDGE-IN", "-i", kTable, "--summary" },
          Arguments{ "diff", kEdge, kEdge, "-m", "EDGE-IN", "-i", kTable }, Arguments{ "watch", kEdge }, Arguments{ "--help" },
          Arguments{ "check", "--help" }, Arguments{ "--version" } } ) {
      const auto output = runProgram( ProgramCall{ .arguments = arguments, .out = Stream::to( "/dev/full" ) } );
      EXPECT_EQ( output.status, 2 ) << arguments[ 0 ];
      EXPECT_EQ( output.err, "routepolicy: standard output: No space left on device\n" ) << arguments[ 0 ];
   }
   const auto output = runProgram( ProgramCall{ .arguments = { "check", kEdge }, .err = Stream::to( "/dev/full" ) } );
   EXPECT_EQ( output.status, 0 ) << "messages are not the data";
}

TEST( Program, coloursAreForTerminalsOnly ) {
   const std::string escape = "\033[";
   const Arguments arguments{ "eval", kEdge, "-m", "EDGE-IN", "-i", kTable, "--summary" };
   const auto outOf = [ & ]( Stream out, std::vector<std::pair<std::string, std::string>> environment ) {
      return runProgram( ProgramCall{ .arguments = arguments, .environment = std::move( environment ), .out = out } ).out;
   };
   EXPECT_THAT( outOf( Stream::terminal(), { { "TERM", "xterm" }, { "NO_COLOR", "" } } ), HasSubstr( escape ) );
   EXPECT_THAT( outOf( Stream::terminal(), { { "TERM", "xterm" }, { "NO_COLOR", "1" } } ), Not( HasSubstr( "\033" ) ) );
   EXPECT_THAT( outOf( Stream::terminal(), { { "TERM", "dumb" }, { "NO_COLOR", "" } } ), Not( HasSubstr( "\033" ) ) );
   EXPECT_THAT( outOf( {}, { { "TERM", "xterm" }, { "NO_COLOR", "" } } ), Not( HasSubstr( "\033" ) ) );
}

// What stands on a terminal in the end.
std::vector<std::string> screenOf( std::string_view bytes, size_t columns ) {
   std::vector<std::string> rows( 1 );
   size_t column = 0;
   for( const char c : bytes ) {
      if( c == '\r' ) {
         column = 0;
      } else if( c == '\n' ) {
         rows.emplace_back();
      } else {
         if( column == columns ) {
            rows.emplace_back();
            column = 0;
         }
         if( rows.back().size() <= column ) rows.back().resize( column + 1, ' ' );
         rows.back()[ column++ ] = c;
      }
   }
   for( auto & row : rows ) row.erase( row.find_last_not_of( ' ' ) + 1 );
   if( rows.back().empty() ) rows.pop_back();
   return rows;
}

// Evaluates a table that arrives slowly, so that progress is due before the table ends. A second run starts later: when the second run shows
// progress, progress is due in the first run too. The table is large enough for data to follow the progress.
ProgramOutput runOfASlowTable( Stream out, Stream err ) {
   std::string table;
   for( int i = 0; i < 4096; ++i ) table += "10.0.0.0/8\n";
   ProgramCall call{ { "eval", kEdge, "-m", "EDGE-IN" }, table };
   call.keepInputOpen = true;
   ProgramCall witnessCall = call;
   call.out = std::move( out );
   call.err = std::move( err );
   Program program( std::move( call ) );
   program.waitForOut( "\n" );
   witnessCall.err = Stream::terminal();
   Program witness( std::move( witnessCall ) );
   for( size_t seen = 0; witness.err().empty() && !testing::Test::HasFailure(); ) {
      witness.waitUntil( "it evaluated more", [ & ] { return witness.out().size() > seen || !witness.err().empty(); } );
      seen = witness.out().size();
      witness.giveInput( table );
   }
   program.giveInput( table );
   program.endInput();
   return program.finish();
}

TEST( Program, progressIsForTerminalsOnly ) {
   const auto piped = runOfASlowTable( {}, {} );
   EXPECT_EQ( piped.err, "" );
   const auto shown = runOfASlowTable( {}, Stream::terminal() );
   EXPECT_THAT( shown.err, StartsWith( "\rstandard input: " ) );
   EXPECT_THAT( shown.err, HasSubstr( " routes" ) );
   EXPECT_THAT( screenOf( shown.err, 80 ), testing::IsEmpty() ) << "it is taken away";
   EXPECT_EQ( shown.out, piped.out );
}

TEST( Program, progressAndDataOnOneTerminalDoNotMix ) {
   const auto expected = linesOf( runOfASlowTable( {}, {} ).out );
   const auto both = runOfASlowTable( Stream::terminal(), Stream::outsTerminal() );
   EXPECT_THAT( both.out, HasSubstr( "\rstandard input: " ) );
   EXPECT_EQ( screenOf( both.out, 80 ), expected );
}

TEST( Program, progressKeepsToTheWidthOfItsTerminal ) {
   const struct {
      unsigned short columns;
      const char * shown;
   } rows[] = {
      { 1, "^\r" }, { 20, "\rstandard input: [0-9][0-9][0-9]\r" }, { 0, "\rstandard input: [0-9]+ routes" },   // of no known width
   };
   for( const auto & row : rows ) {
      const auto output = runOfASlowTable( {}, Stream::terminal( row.columns ) );
      EXPECT_THAT( output.err, testing::ContainsRegex( row.shown ) ) << row.columns;
      EXPECT_THAT( screenOf( output.err, row.columns ? row.columns : 80 ), testing::IsEmpty() ) << row.columns;
   }
}

TEST( Program, timingIsAMessage ) {
   const auto output = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "-i", kTable, "--timing" } );
   EXPECT_EQ( output.status, 0 );
   EXPECT_EQ( output.out, expectedOfSample().text );
   EXPECT_THAT( output.err,
                testing::MatchesRegex( "[0-9]+\\.[0-9]+ s; reading [0-9]+\\.[0-9]+ s, policy [0-9]+\\.[0-9]+ s, [0-9]+ % of both\n" ) );
}

// ---- JSON and names

TEST( Program, everyLineOfEvalIsJsonAndEverythingElseOneDocument ) {
   for( const auto & line : linesOf( runProgram( { "eval", kEdge, "-m", "EDGE-IN", "--json" }, generatedTable( 3000 ) ).out ) )
      EXPECT_TRUE( json::accept( line ) ) << line;
   const Folder folder;
   folder.write( "new.conf", replaced( contentOfFile( kEdge ), "ge 20 le 24", "ge 21 le 23" ) );
   for( const Arguments & arguments :
        { Arguments{ "check", kEdge }, Arguments{ "show", kEdge }, Arguments{ "show", kEdge, "EDGE-IN" },
          Arguments{ "used-by", kEdge, "CUSTOMERS" }, Arguments{ "explain", kEdge, "-m", "EDGE-IN", "10.0.0.0/8" },
          Arguments{ "eval", kEdge, "-m", "EDGE-IN", "-i", kTable, "--summary" },
          Arguments{ "diff", kEdge, "DIR/new.conf", "-m", "EDGE-IN", "-i", kTable } } ) {
      auto asJson = arguments;
      asJson.emplace_back( "--json" );
      const auto output = folder.run( asJson );
      EXPECT_TRUE( json::accept( output.out ) ) << arguments[ 0 ] << ": " << output.out;
      EXPECT_THAT( output.out, EndsWith( "}\n" ) ) << arguments[ 0 ];
   }
}

TEST( Program, anyBytesInNamesLeaveJsonValid ) {
   const Folder folder;
   for( const std::string name : { "caf\xc3\xa9", "bad\xff", "\"q\\" } ) {
      folder.write( "p.conf",
                    "bgp as-path access-list " + name + " permit ^$\nroute-map " + name + " permit 10\n match as-path " + name +
                       "\nroute-map OUTER permit 10\n call " + name + "\n" );
      folder.write( "q.conf", "route-map " + name + " deny 10\n" );
      for( const Arguments & arguments :
           { Arguments{ "check", "DIR/p.conf" }, Arguments{ "show", "DIR/p.conf" }, Arguments{ "show", "DIR/p.conf", name },
             Arguments{ "used-by", "DIR/p.conf", name }, Arguments{ "explain", "DIR/p.conf", "-m", "OUTER", "10.0.0.0/8", "--tag", "1" },
             Arguments{ "eval", "DIR/p.conf", "-m", name }, Arguments{ "eval", "DIR/p.conf", "-m", name, "--summary" },
             Arguments{ "diff", "DIR/p.conf", "DIR/q.conf", "-m", name } } ) {
         const std::string table = "10.0.0.0/8 1 interface " + name + "\n";
         const auto text = folder.run( arguments, table );
         EXPECT_LE( text.status, 1 ) << arguments[ 0 ] << ": " << text.err;
         auto asJson = arguments;
         asJson.emplace_back( "--json" );
         const auto output = folder.run( asJson, table );
         EXPECT_EQ( output.status, text.status ) << arguments[ 0 ];
         EXPECT_TRUE( json::accept( output.out ) ) << arguments[ 0 ] << ": " << output.out;
      }
      const auto document = json::parse( folder.run( { "show", "DIR/p.conf", name, "--json" } ).out );
      const std::string expected = name == "bad\xff" ? "bad\xef\xbf\xbd" : name;
      EXPECT_EQ( document[ "things" ][ 0 ][ "name" ], expected );
   }
}

TEST( Program, namesArePrintedWithoutWhatATerminalMayObeyAndAtBoundedLength ) {
   const Folder folder;
   const std::string wide( 1000, 'x' ), high = "caf\xc3\xa9\x9b";
   folder.write( "a.conf",
                 "route-map " + high + " permit 10\n call " + wide + "\nroute-map " + wide + " permit 10\nroute-map B permit 10\n call " +
                    high + "\n" );
   folder.write( "b.conf", "route-map B deny 10\n" );
   const std::string shownHigh = "caf\\xc3\\xa9\\x9b", shownWide = std::string( 200, 'x' ) + "...";
   const std::string by = "B 10, " + shownHigh + " 10, " + shownWide + " 10";
   EXPECT_EQ( folder.run( { "eval", "DIR/a.conf", "-m", "B" }, "10.0.0.0/8\n" ).out, "permit  10.0.0.0/8  by " + by + '\n' );
   EXPECT_EQ( folder.run( { "eval", "DIR/a.conf", "-m", "B", "--summary" }, "10.0.0.0/8\n" ).out,
              "1 route, 1 permitted, 0 denied\n"
              "\n"
              "route map                                                       sequence  action        routes\n"
              "B                                                                     10  permit             1\n" +
                 shownHigh + "                                                       10  permit             1\n" + shownWide +
                 "          10  permit             1\n"
                 "                                                                    none  deny               0\n" );
   EXPECT_EQ( folder.run( { "diff", "DIR/a.conf", "DIR/b.conf", "-m", "B" }, "10.0.0.0/8\n" ).out,
              "1 of 1 route changes\n\n1: permit by " + by + " -> deny by B 10\n   10.0.0.0/8  no longer permitted\n" );
   const auto document = json::parse( folder.run( { "eval", "DIR/a.conf", "-m", "B", "--json" }, "10.0.0.0/8\n" ).out );
   EXPECT_EQ( document[ "sequences" ][ 2 ][ "routeMap" ], wide );
   EXPECT_EQ( document[ "sequences" ][ 1 ][ "routeMap" ], "caf\xc3\xa9\xef\xbf\xbd" );
}

TEST( Program, namesForCompletion ) {
   const auto all = runProgram( { "names", kEdge } );
   EXPECT_EQ( all.status, 0 );
   EXPECT_EQ(
      all.out,
      "BEST-PATH\nBLACKHOLE\nBOGONS-V4\nBOGONS-V6\nCUSTOMERS\nCUSTOMERS-V4\nCUSTOMERS-V6\nEDGE-IN\nLONG-V4\nLONG-V6\nRESERVED-AS\n" );
   EXPECT_EQ( runProgram( { "names", kEdge, "--route-maps" } ).out, "CUSTOMERS\nEDGE-IN\n" );
   const auto wrong = runProgram( { "names", "-" }, "route-map\nroute-map A permit 10\n" );
   EXPECT_EQ( wrong.status, 0 ) << "errors are ignored";
   EXPECT_EQ( wrong.out, "A\n" );
   EXPECT_EQ( wrong.err, "" );
   EXPECT_THAT( runProgram( { "--help" } ).out, Not( HasSubstr( "names" ) ) ) << "it is for completion only";
}

TEST( Program, bytesThatTerminalsObeyAreNoNames ) {
   for( const std::string byte : { "\033", "\x7f", "\x01" } ) {
      const auto output = runProgram( { "check", "-" }, "route-map A" + byte + "[31m permit 10\n" );
      EXPECT_EQ( output.status, 2 );
      EXPECT_THAT( output.err, StartsWith( "standard input:1:12: " ) );
      EXPECT_THAT( output.err, Not( HasSubstr( byte ) ) );
      const auto unknown = runProgram( { "eval", kEdge, "-m", byte + "[31m" } );
      EXPECT_EQ( unknown.status, 2 );
      EXPECT_THAT( unknown.err, Not( HasSubstr( byte ) ) );
   }
}

TEST( Program, optionsThatTakeOneOfSomeWords ) {
   EXPECT_EQ( runProgram( { "check", "--dialect", "foo", kEdge } ).err,
              "routepolicy: --dialect: expected \"frr\" or \"native\", found \"foo\"\n" );
   const auto kinds = runProgram( { "check", "--fail-on", "unused,foo", kEdge } );
   EXPECT_EQ( kinds.status, 2 );
   EXPECT_THAT( kinds.err, HasSubstr( "--fail-on: expected \"conflict\", " ) );
   EXPECT_THAT( kinds.err, EndsWith( " or \"wrong-family\", found \"foo\"\n" ) );
   EXPECT_EQ( runProgram( { "check", "--fail-on", "unused,shadowed", "--fail-on", "cycle", "--ignore", "skipped", kEdge } ).status, 0 );
}

// ---- help

TEST( Program, helpOfEveryCommandHasAnExample ) {
   for( const char * command : { "check", "eval", "explain", "diff", "watch", "show", "used-by" } ) {
      const auto output = runProgram( { command, "--help" } );
      EXPECT_EQ( output.status, 0 ) << command;
      EXPECT_EQ( output.err, "" ) << command;
      EXPECT_THAT( output.out, HasSubstr( "Example" ) ) << command;
      EXPECT_THAT( output.out, HasSubstr( std::string( "routepolicy " ) + command + ' ' ) ) << command;
      EXPECT_THAT( output.out, HasSubstr( "Exit status: 0" ) ) << command;
      EXPECT_THAT( runProgram( { "--help" } ).out, HasSubstr( std::string( "\n  " ) + command + ' ' ) );
   }
   for( const Arguments & arguments : { Arguments{}, Arguments{ "eval" }, Arguments{ "watch" } } ) {
      auto brief = arguments, full = arguments;
      brief.emplace_back( "-h" );
      full.emplace_back( "--help" );
      EXPECT_EQ( runProgram( brief ).status, 0 );
      EXPECT_EQ( runProgram( brief ).out, runProgram( full ).out );
   }
   const auto version = runProgram( { "--version" } );
   EXPECT_EQ( version.status, 0 );
   EXPECT_THAT( version.out, testing::MatchesRegex( "[0-9]+\\.[0-9]+\\.[0-9]+\n" ) );
}

// ---- watch

/// A policy's file that watch follows.
class FollowedFile {
 public:
   explicit FollowedFile( const Folder & folder ) : folder_( folder ) { folder_.write( "edge.conf", text ); }

   /// In one write of the same size: no reader sees half of it.
   void rewrite( std::string_view what, std::string_view by ) {
      ASSERT_EQ( what.size(), by.size() );
      text = replaced( text, what, by );
      const int file = open( folder_( "edge.conf" ).c_str(), O_WRONLY | O_CLOEXEC );
      EXPECT_EQ( write( file, text.data(), text.size() ), static_cast<ssize_t>( text.size() ) );
      close( file );
   }
   void replaceBy( const std::string & content ) const {
      folder_.write( "new", content );
      std::filesystem::rename( folder_( "new" ), folder_( "edge.conf" ) );
   }

   std::string text = contentOfFile( kEdge );

 private:
   const Folder & folder_;
};

TEST( Program, watchFollowsItsFileAndTellsWhatChanges ) {
   const Folder folder;
   FollowedFile file( folder );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "-m", "EDGE-IN", "-i", kTable } } ) );
   watch.waitForOut( "published EDGE-IN\n" );
   EXPECT_THAT( watch.out(),
                testing::MatchesRegex( "[0-9]+ edits in [0-9.]+ ms\n"
                                       "   published CUSTOMERS\n   published EDGE-IN\n" ) );

   const size_t before = watch.out().size();
   file.rewrite( "set distance 180", "set distance 190" );
   watch.waitForOut( "92 of 275 routes change\n" );
   watch.waitForOut( "distance 180 -> 190\n" );
   EXPECT_THAT( watch.out().substr( before ), HasSubstr( "   published EDGE-IN\n" ) );
   EXPECT_THAT( watch.out().substr( before ), Not( HasSubstr( "published CUSTOMERS" ) ) );

   file.replaceBy( replaced( file.text, "set metric 100", "set metric 200" ) );
   watch.waitForOut( "102 of 275 routes change\n" );
   watch.waitForOut( "metric 100 -> 200\n" );
   EXPECT_EQ( watch.err(), "" );
   watch.signal( SIGTERM );
   const auto output = watch.finish();
   EXPECT_EQ( output.status, 0 );
   EXPECT_EQ( output.err, "" );
}

TEST( Program, watchTakesTheRoutesOfANeighbor ) {
   const Folder folder;
   folder.write( "edge.conf",
                 "router bgp 1\n neighbor 192.0.2.1 remote-as 2\n neighbor 192.0.2.1 route-map IN in\nroute-map IN permit 10\n" );
   folder.write( "table.txt", "10.0.0.0/8 peer 192.0.2.1\n10.1.0.0/16 peer 192.0.2.2\n10.2.0.0/16\n" );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "--neighbor", "192.0.2.1", "in", "-i", "DIR/table.txt" } } ) );
   watch.waitForOut( "published IN\n" );
   folder.write( "edge.conf",
                 "router bgp 1\n neighbor 192.0.2.1 remote-as 2\n neighbor 192.0.2.1 route-map IN in\nroute-map IN deny 10\n" );
   watch.waitForOut( "2 of 2 routes change\n" );
   watch.signal( SIGTERM );
   EXPECT_THAT( watch.finish().err, HasSubstr( "table.txt: left out: 1 route of other peers\n" ) );
}

// The list permits all routes until it has a line.
TEST( Program, watchFollowsAListThatGetsItsFirstLine ) {
   const Folder folder;
   const auto withLine = []( const std::string & line ) {
      return "ip prefix-list A description one\nip prefix-list B seq 5 permit 10.0.0.0/8\n" + line +
         "router bgp 1\n neighbor 192.0.2.1 remote-as 2\n neighbor 192.0.2.1 prefix-list A in\n";
   };
   folder.write( "edge.conf", withLine( "" ) );
   folder.write( "table.txt", "10.0.0.0/8 peer 192.0.2.1\n10.1.0.0/16 peer 192.0.2.1\n" );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "--neighbor", "192.0.2.1", "in", "-i", "DIR/table.txt" } } ) );
   watch.waitForOut( "published neighbor 192.0.2.1 in\n" );
   folder.write( "edge.conf", withLine( "ip prefix-list A seq 5 deny 10.0.0.0/8\n" ) );
   watch.waitForOut( "2 of 2 routes change\n" );
   watch.signal( SIGTERM );
   watch.finish();
}

// The filters of a neighbor are a route map of its own, also where a long list is not read again.
TEST( Program, watchFollowsANeighborBesideALargeList ) {
   const Folder folder;
   std::string list;
   for( int n = 1; n <= 200; ++n ) list += fmt::format( "ip prefix-list A seq {} permit 10.{}.0.0/16\n", n, n );
   const auto with = [ & ]( const char * above, const char * action ) {
      return above + list + "router bgp 1\n neighbor 192.0.2.1 remote-as 2\n neighbor 192.0.2.1 prefix-list A in\n" +
         " neighbor 192.0.2.1 route-map IN in\nroute-map IN " + action + " 10\n";
   };
   folder.write( "edge.conf", with( "", "permit" ) );
   folder.write( "table.txt", "10.7.0.0/16 peer 192.0.2.1\n10.201.0.0/16 peer 192.0.2.1\n" );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "--neighbor", "192.0.2.1", "in", "-i", "DIR/table.txt" } } ) );
   watch.waitForOut( "published neighbor 192.0.2.1 in\n" );
   for( const char * action : { "deny", "permit" } ) {
      folder.write( "edge.conf", with( *action == 'd' ? "! a comment\n" : "", action ) );
      watch.waitForOut( "1 of 2 routes changes\n" );
   }
   watch.signal( SIGTERM );
   EXPECT_EQ( watch.finish().err, "" );
}

TEST( Program, watchKeepsTheLastGoodPolicyBehindABrokenFile ) {
   const Folder folder;
   FollowedFile file( folder );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "-m", "EDGE-IN", "-i", kTable } } ) );
   watch.waitForOut( "published EDGE-IN\n" );
   const std::string first = watch.out();

   file.replaceBy( file.text + " bogus\nroute-map\n" );
   watch.waitForErr( "2 errors; the last good policy stays in force\n" );
   EXPECT_THAT( watch.err(), HasSubstr( folder( "edge.conf" ) + ":72:2: " ) );
   EXPECT_THAT( watch.err(), HasSubstr( folder( "edge.conf" ) + ":73:10: " ) );
   const size_t told = watch.err().size();
   std::filesystem::remove( folder( "edge.conf" ) );
   watch.waitUntil( "it missed the file", [ & ] { return watch.err().find( "cannot open", told ) != std::string::npos; } );
   EXPECT_EQ( watch.out(), first ) << "nothing was applied";

   file.replaceBy( file.text + " bogus\n" );
   watch.waitForErr( "\n1 error; the last good policy stays in force\n" );
   file.replaceBy( "" );   // as it is while somebody writes it
   watch.waitForErr( "\nthe policy is empty now; the last good policy stays in force\n" );
   file.replaceBy( "hostname edge\n" );
   watch.waitForErr( ": contains no line of a policy (tables are given with --in); the last good policy stays in force\n" );
   EXPECT_EQ( watch.out(), first ) << "nothing was applied";

   file.replaceBy( replaced( file.text, "set distance 180", "set distance 190" ) );
   watch.waitForOut( "92 of 275 routes change\n" );
   EXPECT_THAT( watch.out(), HasSubstr( "distance 180 -> 190" ) ) << "against the policy that stayed in force";
   watch.signal( SIGINT );
   EXPECT_EQ( watch.finish().status, 0 );
}

TEST( Program, watchFollowsDirectoriesLinksAndSeveralFiles ) {
   const Folder folder;
   const auto policyOf = []( const std::string & name ) { return "route-map " + name + " permit 10\n"; };
   for( const char * directory : { "one", "two" } ) std::filesystem::create_directory( folder( directory ) );
   folder.write( "one/a.conf", policyOf( "ONE" ) );
   folder.write( "two/a.conf", policyOf( "TWO" ) );
   folder.write( "edge.conf", policyOf( "EDGE" ) );
   std::filesystem::create_directory_symlink( "one", folder( "now" ) );
   Program watch( folder.call( { { "watch", "DIR/now", "DIR/edge.conf" } } ) );
   watch.waitForOut( "   published EDGE\n   published ONE\n" );

   folder.write( "one/b.conf", policyOf( "NEW" ) );
   watch.waitForOut( "   published NEW\n" );
   std::filesystem::create_directory_symlink( "two", folder( "next" ) );
   std::filesystem::rename( folder( "next" ), folder( "now" ) );
   watch.waitForOut( "   withdrawn NEW\n   withdrawn ONE\n   published TWO\n" );
   folder.write( "two/frr.conf", policyOf( "FRR" ) );
   watch.waitForOut( "   published FRR\n   withdrawn TWO\n" );

   std::filesystem::remove_all( folder( "two" ) );
   watch.waitForErr( "the last good policy stays in force\n" );
   std::filesystem::create_directory( folder( "two" ) );
   folder.write( "two/frr.conf", policyOf( "BACK" ) );
   watch.waitForOut( "   published BACK\n   withdrawn FRR\n" );
   folder.write( "edge.conf", policyOf( "LAST" ) );
   watch.waitForOut( "   withdrawn EDGE\n   published LAST\n" );
   watch.signal( SIGTERM );
   EXPECT_EQ( watch.finish().status, 0 );
}

TEST( Program, watchTellsTheNewPlacesBehindAnAddedLine ) {
   const Folder folder;
   const auto policyOf = []( const std::string & lines ) {
      return "ip prefix-list A seq 5 permit 10.0.0.0/8\n" + lines + "route-map M permit 10\n match ip address prefix-list A\nroute-map\n";
   };
   folder.write( "edge.conf", policyOf( "" ) );
   folder.write( "table.txt", "10.0.0.0/8\n10.1.0.0/16\n" );
   Program watch( folder.call( { { "watch", "--lenient", "DIR/edge.conf", "-m", "M", "-i", "DIR/table.txt" } } ) );
   watch.waitForOut( "published M\n" );
   folder.write( "edge.conf", policyOf( "ip prefix-list A seq 10 permit 10.1.0.0/16\n" ) );
   watch.waitForOut( "newly permitted\n" );
   watch.waitForErr( "edge.conf:5:10: left out" );
   EXPECT_THAT( watch.err(), HasSubstr( "edge.conf:4:10: left out" ) );
   EXPECT_THAT( watch.out(),
                HasSubstr( "\nbefore, without " + folder( "edge.conf" ) + ":4\nafter, without " + folder( "edge.conf" ) + ":5\n" ) );
   folder.write( "edge.conf", policyOf( "ip prefix-list A seq 10 deny 10.1.0.0/16\n" ) );
   watch.waitForOut( "no longer permitted\n" );
   watch.signal( SIGTERM );
   EXPECT_EQ( watch.finish().status, 0 );
}

TEST( Program, watchTellsInJsonLines ) {
   const Folder folder;
   FollowedFile file( folder );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "-m", "EDGE-IN", "-i", kTable, "--json" } } ) );
   watch.waitForOut( "\n" );
   file.rewrite( "set distance 180", "set distance 190" );
   watch.waitUntil( "the second report came", [ & ] { return linesOf( watch.out() ).size() == 2 && watch.out().ends_with( '\n' ); } );
   watch.signal( SIGTERM );
   EXPECT_EQ( watch.finish().status, 0 );

   const auto lines = linesOf( watch.out() );
   const auto first = json::parse( lines[ 0 ] ), second = json::parse( lines[ 1 ] );
   EXPECT_EQ( first[ "published" ].size(), 2u );
   EXPECT_FALSE( first.contains( "differences" ) );
   EXPECT_EQ( second[ "edits" ], 1 );
   EXPECT_EQ( second[ "published" ], json::parse( R"([{"routeMap":"EDGE-IN","inForce":true}])" ) );
   EXPECT_EQ( second[ "differences" ][ "routes" ], 275 );
   EXPECT_EQ( second[ "differences" ][ "changed" ], 92 );
}

TEST( Program, watchTellsEachBrokenStateInALineOfJson ) {
   const Folder folder;
   const FollowedFile file( folder );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "--json" } } ) );
   const auto waitForLines = [ & ]( size_t count ) {
      watch.waitUntil( "the next line came", [ & ] { return linesOf( watch.out() ).size() == count && watch.out().ends_with( '\n' ); } );
   };
   waitForLines( 1 );
   file.replaceBy( file.text + " bogus\nroute-map\n" );
   waitForLines( 2 );
   std::filesystem::remove( folder( "edge.conf" ) );
   waitForLines( 3 );
   file.replaceBy( "hostname edge\n" );
   waitForLines( 4 );
   file.replaceBy( file.text );
   waitForLines( 5 );
   watch.signal( SIGTERM );
   const auto output = watch.finish();
   EXPECT_EQ( output.status, 0 );
   const auto lines = linesOf( output.out );
   const std::string name = folder( "edge.conf" );
   ASSERT_EQ( lines.size(), 5u );
   const auto errors = json::parse( lines[ 1 ] )[ "errors" ];
   ASSERT_EQ( errors.size(), 2u );
   EXPECT_EQ( errors[ 0 ][ "file" ], name );
   EXPECT_EQ( errors[ 1 ][ "line" ], 73 );
   const auto reasonOf = []( const std::string & line ) { return json::parse( line ).at( "errors" ).at( 0 ).at( "reason" ); };
   EXPECT_EQ( reasonOf( lines[ 2 ] ), name + ": cannot open: No such file or directory" );
   EXPECT_EQ( reasonOf( lines[ 3 ] ), name + ": contains no line of a policy (tables are given with --in)" );
   EXPECT_EQ( json::parse( lines[ 4 ] )[ "edits" ], 0 ) << "against the policy that stayed in force";
   EXPECT_THAT( output.err, HasSubstr( "2 errors; the last good policy stays in force\n" ) );
}

TEST( Program, watchNeedsTheWholeTable ) {
   const Folder folder;
   const std::string bytes = compressed( contentOfFile( kTable ), Compression::gzip );
   folder.write( "cut", bytes.substr( 0, bytes.size() / 2 ) );
   folder.write( "rubbish", "rubbish\n" );
   std::filesystem::create_directory( folder( "folder" ) );
   for( const char * table : { "DIR/cut", "DIR/rubbish", "DIR/folder" } ) {
      const auto output = folder.run( { "watch", kEdge, "-m", "EDGE-IN", "-i", table } );
      EXPECT_EQ( output.status, 2 ) << table;
      EXPECT_EQ( output.out, "" ) << table;
      EXPECT_THAT( output.err, EndsWith( "routepolicy: watch needs the whole table\n" ) ) << table;
   }
}

TEST( Program, watchEndsWithoutAChangeToo ) {
   for( const int signal : { SIGTERM, SIGINT } ) {
      Program watch( { { "watch", kEdge } } );
      watch.waitForOut( "published EDGE-IN\n" );
      watch.signal( signal );
      const auto output = watch.finish();
      EXPECT_EQ( output.status, 0 );
      EXPECT_EQ( output.err, "" );
   }
}

TEST( Program, watchEndsWhileItReadsATableThatComesSlowly ) {
   ProgramCall call{ { "watch", kEdge, "-m", "EDGE-IN", "-i", "-" }, "10.0.0.0/8\nrubbish\n" };
   call.keepInputOpen = true;
   Program watch( call );
   watch.waitForErr( "line 2" );
   watch.signal( SIGTERM );
   EXPECT_EQ( watch.finish().status, 0 );
}

TEST( Program, watchTellsTheDifferencesToThePolicyBeforeARouteMapWentToo ) {
   const Folder folder;
   const FollowedFile file( folder );
   Program watch( folder.call( { { "watch", "DIR/edge.conf", "-m", "EDGE-IN", "-i", kTable } } ) );
   watch.waitForOut( "published EDGE-IN\n" );
   file.replaceBy( replaced( file.text, "EDGE-IN", "EDGE-OUT" ) );
   watch.waitForErr( "route map EDGE-IN is not in force\n" );
   watch.waitForOut( "withdrawn EDGE-IN\n" );
   const size_t before = watch.out().size();
   file.replaceBy( replaced( file.text, "set distance 180", "set distance 190" ) );
   watch.waitUntil( "EDGE-IN came back", [ & ] { return watch.out().find( "withdrawn EDGE-OUT\n", before ) != std::string::npos; } );
   watch.signal( SIGTERM );
   EXPECT_THAT( watch.finish().out.substr( before ), HasSubstr( "92 of 275 routes change\n" ) );
}

}   // namespace
}   // namespace Agent
