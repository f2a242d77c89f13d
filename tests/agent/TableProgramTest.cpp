// The program with tables of every form, limits and addresses.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/agent/CommandFixture.h"
#include "tests/agent/HelpText.h"
#include "tests/agent/Program.h"
#include "tests/agent/TableFixture.h"

namespace Agent {
namespace {

constexpr char kEdge[] = "agent/share/edge.conf";
constexpr char kCorpus[] = "fuzz/corpus/";

// Each file is what a daemon or tool printed.
TEST( TableProgram, everyFormIsRead ) {
   struct Row {
      std::string file;
      size_t routes;
      std::string message;   // behind the name of the file
   };
   const std::string shortPaths = ": these routes have no communities and no tags; `show bgp ... json detail` prints them\n";
   const Row rows[] = {
      { "TableReaderFuzz/frr-routes", 3, shortPaths },
      { "TableReaderFuzz/frr-detail", 3, "" },
      { "TableReaderFuzz/frr-detail-paths", 3, "" },
      { "TableReaderFuzz/frr-ipv6", 2, shortPaths },
      { "TableReaderFuzz/frr-vrfs", 6, shortPaths },
      { "TableReaderFuzz/frr-prefix", 1, "" },
      { "TableReaderFuzz/frr-received", 1, shortPaths },
      { "TableReaderFuzz/gobgp-ipv4", 4, "" },
      { "TableReaderFuzz/gobgp-ipv6", 2, "" },
      { "TableReaderFuzz/bird-all", 14, "" },
      { "TableReaderFuzz/bird-short", 14, ": some routes have no attributes; `show route all` prints them\n" },
      { "TableReaderFuzz/bgpdump-add-path", 11, "" },
      { "MrtReaderFuzz/table-dump-v1", 2, "" },
      { "MrtReaderFuzz/updates", 13, "" },
      { "MrtReaderFuzz/updates-path-identifiers", 7, "" },
   };
   for( const auto & row : rows ) {
      const std::string file = kCorpus + row.file;
      const auto output = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "-i", file } );
      EXPECT_EQ( output.status, 0 ) << row.file;
      EXPECT_EQ( linesOf( output.out ).size(), row.routes ) << row.file;
      EXPECT_EQ( output.err, row.message.empty() ? "" : file + row.message );
   }
   const auto refused = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "-i", std::string( kCorpus ) + "TableReaderFuzz/frr-warning" } );
   EXPECT_EQ( refused.status, 2 );
   EXPECT_TRUE( refused.err.ends_with( "\"warning\": No such neighbor in this view/vrf\n" ) ) << refused.err;
}

TEST( TableProgram, noCommandTakesNothingForATable ) {
   for( const std::vector<std::string> & arguments : { std::vector<std::string>{ "eval", kEdge, "-m", "EDGE-IN", "-i", "/dev/null" },
                                                       { "diff", kEdge, kEdge, "-m", "EDGE-IN", "-i", "/dev/null" },
                                                       { "explain", kEdge, "-m", "EDGE-IN", "10.0.0.0/8", "-i", "/dev/null" },
                                                       { "explain", kEdge, "-m", "EDGE-IN", "10.0.0.1", "-i", "/dev/null" },
                                                       { "watch", kEdge, "-m", "EDGE-IN", "-i", "/dev/null" } } ) {
      const auto output = runProgram( arguments );
      EXPECT_EQ( output.status, 2 ) << arguments[ 0 ];
      EXPECT_TRUE( output.err.starts_with( "/dev/null: no route could be read: it is empty\n" ) ) << output.err;
   }
}

TEST( TableProgram, anAddressStandsForTheLongestPrefixThatContainsIt ) {
   const std::string table = "0.0.0.0/0 1\n198.0.0.0/8 2\n198.51.100.0/24 3\n198.51.0.0/16 4\n198.51.100.0/24 5\n198.51.100.0/25 6\n"
                             "198.51.101.0/24 7\n2001:db8::/32 8\n";
   const auto tagsOf = [ & ]( const std::string & prefix ) {
      const auto output = runProgram( { "explain", kEdge, "-m", "EDGE-IN", prefix, "-i", "-" }, table );
      std::string tags;
      for( const auto & line : linesOf( output.out ) )
         if( const auto at = line.find( ", tag " ); at != line.npos ) tags += line[ at + 6 ];
      return std::to_string( output.status ) + " " + tags;
   };
   EXPECT_EQ( tagsOf( "198.51.100.200" ), "0 35" );
   EXPECT_EQ( tagsOf( "198.51.100.1" ), "0 6" );
   EXPECT_EQ( tagsOf( "198.51.102.1" ), "0 4" );
   EXPECT_EQ( tagsOf( "10.0.0.1" ), "0 1" );
   EXPECT_EQ( tagsOf( "2001:db8::1" ), "0 8" );
   EXPECT_EQ( tagsOf( "198.51.100.0/24" ), "0 35" ) << "a prefix stands for itself";
   EXPECT_EQ( tagsOf( "198.51.100.0/26" ), "2 " );
   const auto none = runProgram( { "explain", kEdge, "-m", "EDGE-IN", "2001:db9::1", "-i", "-" }, table );
   EXPECT_EQ( none.status, 2 );
   EXPECT_EQ( none.err, "routepolicy: no route of the table contains 2001:db9::1\n" );
}

TEST( TableProgram, aTableEndsAtTheLimit ) {
   const std::string table = "10.0.0.0/8\n10.1.0.0/16\n";
   for( const auto how : kCompressions ) {
      const auto bytes = compressed( table, how );
      const auto limited = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "--max-input", "11" }, bytes );
      EXPECT_EQ( limited.status, 2 );
      EXPECT_EQ( linesOf( limited.out ).size(), 1u );
      EXPECT_EQ( limited.err, "standard input: reading stopped after 1 route: the text is longer than the limit of 11 bytes\n" );
      const auto whole = runProgram( { "eval", kEdge, "-m", "EDGE-IN", "--max-input", std::to_string( table.size() ) }, bytes );
      EXPECT_EQ( whole.status, 0 ) << whole.err;
      EXPECT_EQ( linesOf( whole.out ).size(), 2u );
   }
   const auto diff = runProgram( { "diff", kEdge, kEdge, "-m", "EDGE-IN", "--max-input", "11" }, table );
   EXPECT_EQ( diff.status, 2 );
   EXPECT_EQ( runProgram( { "explain", kEdge, "-m", "EDGE-IN", "10.1.0.0/16", "-i", "-", "--max-input", "11" }, table ).status, 2 );
   EXPECT_EQ( runProgram( { "eval", kEdge, "-m", "EDGE-IN", "--max-input", "0" }, table ).status, 2 );
}

}   // namespace
}   // namespace Agent
