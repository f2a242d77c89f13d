// The program as its users meet it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/examples/TableFixture.h"

namespace {

using nlohmann::json;
using RouteTable::compressed;
using RouteTable::Compression;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kSample = "examples/evaluate_table/sample-table.txt";   // the tests run in the project's root

/// A file that goes with the test.
class TemporaryFile {
 public:
   explicit TemporaryFile( std::string_view bytes = {} ) {
      const int fd = mkstemp( path_.data() );
      if( fd < 0 || write( fd, bytes.data(), bytes.size() ) != static_cast<ssize_t>( bytes.size() ) ) std::abort();
      close( fd );
   }
   ~TemporaryFile() { unlink( path_.c_str() ); }
   TemporaryFile( const TemporaryFile & ) = delete;
   const std::string & path() const { return path_; }
   std::string text() const {
      std::ifstream in( path_ );
      return { std::istreambuf_iterator<char>( in ), {} };
   }

 private:
   std::string path_ = testing::TempDir() + "EvaluateTableTestXXXXXX";
};

/// Starts the program on three descriptors, which stay the caller's.
pid_t start( std::vector<std::string> arguments, int in, int out, int err ) {
   arguments.insert( arguments.begin(), "evaluate_table" );
   std::vector<char *> argv( arguments.size() + 1 );   // a null behind the last
   std::transform( arguments.begin(), arguments.end(), argv.begin(), []( std::string & argument ) { return argument.data(); } );
   const pid_t child = fork();
   if( child == 0 ) {
      dup2( in, 0 );
      dup2( out, 1 );
      dup2( err, 2 );
      execv( EVALUATE_TABLE_PROGRAM, argv.data() );
      _exit( 127 );
   }
   return child;
}

int wait( pid_t child ) {
   int status = -1;
   EXPECT_EQ( waitpid( child, &status, 0 ), child );
   return status;
}

struct Outcome {
   int exitStatus;
   std::string out;
   std::string err;
};

Outcome run( const std::vector<std::string> & arguments, std::string_view input = {} ) {
   const TemporaryFile in( input ), out, err;
   const int inFd = open( in.path().c_str(), O_RDONLY ), outFd = open( out.path().c_str(), O_WRONLY ),
             errFd = open( err.path().c_str(), O_WRONLY );
   const int status = wait( start( arguments, inFd, outFd, errFd ) );
   for( const int fd : { inFd, outFd, errFd } ) close( fd );
   EXPECT_TRUE( WIFEXITED( status ) ) << status;
   EXPECT_NE( WEXITSTATUS( status ), 127 ) << "cannot start " << EVALUATE_TABLE_PROGRAM;
   return { WEXITSTATUS( status ), out.text(), err.text() };
}

/// What the sample table says of itself: each heading tells the answer and the sequences for the routes below it.
struct Expected {
   std::map<std::string, std::map<std::string, int>> counts;   // by family, then "read", "permitted", "denied"
   std::map<int, int> sequences;
};

Expected expectedOf( const std::string & path ) {
   Expected expected;
   std::ifstream in( path );
   std::string line, answer;
   std::vector<int> sequences;
   while( std::getline( in, line ) ) {
      if( line.starts_with( "# permit " ) || line.starts_with( "# deny " ) ) {
         std::istringstream words( line.substr( 2, line.find( ':' ) - 2 ) );
         words >> answer;
         answer = answer == "permit" ? "permitted" : "denied";
         sequences.clear();
         for( int seqno; words >> seqno; ) sequences.push_back( seqno );
      } else if( line.find( '|' ) != line.npos ) {
         std::istringstream fields( line );
         std::string prefix;
         for( int i = 0; i < 6; ++i ) std::getline( fields, prefix, '|' );
         auto & counts = expected.counts[ prefix.find( ':' ) == prefix.npos ? "ipv4" : "ipv6" ];
         ++counts[ "read" ];
         ++counts[ answer ];
         for( const int seqno : sequences ) ++expected.sequences[ seqno ];
      }
   }
   return expected;
}

TEST( EvaluateTableTest, sampleTableIsAnsweredAsItsHeadingsSay ) {
   const auto expected = expectedOf( kSample );
   ASSERT_EQ( expected.sequences.size(), 6u ) << "the sample shows every sequence; is " << kSample << " there?";
   const auto outcome = run( { "--json", kSample } );
   EXPECT_EQ( outcome.exitStatus, 0 );
   EXPECT_EQ( outcome.err, "" );
   const auto result = json::parse( outcome.out );
   for( const auto & [ family, counts ] : expected.counts )
      for( const auto & [ name, count ] : counts )
         EXPECT_EQ( result.at( "routes" ).at( family ).at( name ), count ) << family << " " << name;
   for( const auto & sequence : result.at( "sequences" ) )
      EXPECT_EQ( sequence.at( "routes" ), expected.sequences.at( sequence.at( "seqno" ) ) ) << sequence;
   EXPECT_EQ( result.at( "tables" ).at( 0 ).at( "broken" ), 0 );
}

TEST( EvaluateTableTest, sampleTableAsTextShowsTheSameAndTheWholeStory ) {
   const auto expected = expectedOf( kSample );
   const auto outcome = run( { kSample } );
   EXPECT_EQ( outcome.exitStatus, 0 );
   EXPECT_EQ( outcome.err, "" ) << "nothing is broken, and without a terminal there is no progress to show";
   for( const auto & [ family, counts ] : expected.counts ) {
      std::istringstream lines( outcome.out );
      std::string line, name;
      int read = -1, permitted = -1, denied = -1;
      while( std::getline( lines, line ) )
         if( std::istringstream words( line ); words >> name && name == ( family == "ipv4" ? "IPv4" : "IPv6" ) )
            words >> read >> permitted >> denied;
      EXPECT_EQ( read, counts.at( "read" ) );
      EXPECT_EQ( permitted, counts.at( "permitted" ) );
      EXPECT_EQ( denied, counts.at( "denied" ) );
   }
   for( const char * part : { "route map EDGE-IN", "TOO-LONG", "CUSTOMERS", "BOGONS", "200 -> 20", "0 -> 10",
                              "is permitted: the evaluation log", "is denied: the evaluation log", "{\"routemap\":{\"rmname\":\"EDGE-IN\"",
                              "Continue triggered to seq 60", "Sub route map inverted" } )
      EXPECT_THAT( outcome.out, HasSubstr( part ) );
   EXPECT_THAT( outcome.out, Not( HasSubstr( "\x1b" ) ) );
}

// Lines with an address of an object in them differ from run to run, and "[...]" stands for what is left out.
TEST( EvaluateTableTest, readmeShowsWhatTheProgramPrints ) {
   const std::string out = "\n" + run( { kSample } ).out;
   std::ifstream in( "examples/evaluate_table/README.md" );
   bool shown = false;
   int compared = 0;
   for( std::string line; std::getline( in, line ); ) {
      if( line.starts_with( "```" ) ) {
         shown = line == "```text";
      } else if( shown && line.find( "0x" ) == line.npos ) {
         const auto omission = line.find( " [...]" );
         EXPECT_THAT( out, HasSubstr( "\n" + line.substr( 0, omission ) + ( omission == line.npos ? "\n" : "" ) ) );
         ++compared;
      }
   }
   EXPECT_GT( compared, 40 );
}

TEST( EvaluateTableTest, standardInputInEveryCompression ) {
   for( const auto how : RouteTable::kCompressions ) {
      const auto outcome = run( { "--json" }, compressed( "198.18.16.0/20\t64500\n10.0.0.0/8\n", how ) );
      EXPECT_EQ( outcome.exitStatus, 0 );
      const auto result = json::parse( outcome.out );
      EXPECT_EQ( result.at( "tables" ).at( 0 ).at( "name" ), "standard input" );
      EXPECT_EQ( result.at( "tables" ).at( 0 ).at( "compression" ), stringValue( how ) );
      EXPECT_EQ( result.at( "routes" ).at( "ipv4" ).at( "permitted" ), 1 );
      EXPECT_EQ( result.at( "routes" ).at( "ipv4" ).at( "denied" ), 1 );
   }
}

TEST( EvaluateTableTest, tablesOfDifferentFormsTogether ) {
   const TemporaryFile prefixes( "198.18.16.0/20 64500\n2001:db8:100::/40 64501\n" );
   const TemporaryFile routes( R"([{"dst":"default","gateway":"192.0.2.1"},{"dst":"198.51.100.0/24","gateway":"192.0.2.1","metric":5}])" );
   const auto outcome = run( { "--json", prefixes.path(), "-", "--", routes.path() },
                             "TABLE_DUMP2|1|B|192.0.2.9|64496|203.0.113.0/24|64496|IGP|192.0.2.9|0|70||NAG||\n" );
   EXPECT_EQ( outcome.exitStatus, 0 );
   const auto result = json::parse( outcome.out );
   std::vector<std::string> forms;
   for( const auto & table : result.at( "tables" ) ) forms.push_back( table.at( "form" ) );
   EXPECT_EQ( forms, ( std::vector<std::string>{ "a prefix per line", "bgpdump -m", "ip -j route" } ) );
   EXPECT_EQ( result.at( "routes" ).at( "ipv4" ), ( json{ { "read", 4 }, { "permitted", 3 }, { "denied", 1 } } ) );
   EXPECT_EQ( result.at( "routes" ).at( "ipv6" ), ( json{ { "read", 1 }, { "permitted", 1 }, { "denied", 0 } } ) );
}

TEST( EvaluateTableTest, brokenLinesAreReportedUpToTenAndCounted ) {
   std::string table = "198.51.100.0/24\n";
   for( int i = 0; i < 25; ++i ) table += "10.0.0." + std::to_string( i + 1 ) + "/8\n";
   const auto outcome = run( { "--json" }, table );
   EXPECT_EQ( outcome.exitStatus, 0 ) << "the table was read to its end";
   EXPECT_EQ( json::parse( outcome.out ).at( "tables" ).at( 0 ).at( "broken" ), 25 );
   EXPECT_THAT( outcome.err,
                StartsWith( "standard input: line 2: 10.0.0.1/8: bits are set behind the prefix length; 10.0.0.0/8 would be a prefix\n" ) );
   EXPECT_THAT( outcome.err, HasSubstr( "standard input: line 11: " ) );
   EXPECT_THAT( outcome.err, Not( HasSubstr( "line 12" ) ) );
   EXPECT_THAT( outcome.err, HasSubstr( "standard input: and 15 more\n" ) );
}

TEST( EvaluateTableTest, brokenEntriesAreReportedByIndex ) {
   const auto outcome = run( { "--json" }, R"([{"dst":"198.51.100.0/24"},{"dst":"x"}])" );
   EXPECT_EQ( outcome.exitStatus, 0 );
   EXPECT_EQ( outcome.err, "standard input: entry 1: \"dst\": address \"x\": not an address\n" );
}

TEST( EvaluateTableTest, tableOfNoFormPointsToTheHelp ) {
   const auto outcome = run( {}, "what is this\n" );
   EXPECT_THAT( outcome.err, HasSubstr( "standard input: nothing in it could be read; evaluate_table --help tells which tables can\n" ) );
}

TEST( EvaluateTableTest, cutTableKeepsItsBeginningAndEndsWithOne ) {
   std::string table;
   for( int i = 0; i < 50'000; ++i ) table += "198.18." + std::to_string( i * 7919 % 256 ) + ".0/24\t" + std::to_string( i ) + "\n";
   const auto bytes = compressed( table, Compression::gzip );
   const auto outcome = run( { "--json" }, bytes.substr( 0, bytes.size() / 2 ) );
   EXPECT_EQ( outcome.exitStatus, 1 );
   EXPECT_THAT( outcome.err, HasSubstr( "standard input: not read to its end: gzip data is cut short\n" ) );
   const auto result = json::parse( outcome.out );
   EXPECT_GT( result.at( "routes" ).at( "ipv4" ).at( "read" ), 20'000 );
   EXPECT_EQ( result.at( "tables" ).at( 0 ).at( "fault" ), "gzip data is cut short" );
}

TEST( EvaluateTableTest, malformedJsonIsAnErrorWithItsPlace ) {
   const auto outcome = run( { "--json" }, "[{\"dst\":\"198.51.100.0/24\"},\n  oops]" );
   EXPECT_EQ( outcome.exitStatus, 1 );
   EXPECT_THAT( outcome.err, StartsWith( "standard input: not read to its end: line 2, column " ) );
   EXPECT_EQ( json::parse( outcome.out ).at( "routes" ).at( "ipv4" ).at( "read" ), 1 );
}

TEST( EvaluateTableTest, missingFileIsReportedAndTheOthersAreRead ) {
   const auto outcome = run( { "--json", "/nonexistent/table", "/", kSample } );
   EXPECT_EQ( outcome.exitStatus, 1 );
   EXPECT_EQ( outcome.err,
              "/nonexistent/table: cannot open: No such file or directory\n/: not read to its end: cannot read: Is a directory\n" );
   EXPECT_GT( json::parse( outcome.out ).at( "routes" ).at( "ipv4" ).at( "read" ), 100 );
}

TEST( EvaluateTableTest, emptyInputIsNoError ) {
   const auto outcome = run( {} );
   EXPECT_EQ( outcome.exitStatus, 0 );
   EXPECT_EQ( outcome.err, "" );
   EXPECT_THAT( outcome.out, HasSubstr( "   both       0          0       0\n" ) );
}

TEST( EvaluateTableTest, whyExplainsTheRoutesOfAPrefix ) {
   const auto outcome = run( { "--json", "--why", "10.0.0.0/8", "--why", "198.18.16.0/20", "--why", "192.0.2.0/24" },
                             "198.18.16.0/20 64500\n198.18.16.0/20 65535\n10.0.0.0/8\n198.51.100.0/24\n" );
   EXPECT_EQ( outcome.exitStatus, 0 );
   EXPECT_EQ( outcome.err, "192.0.2.0/24: not in the tables\n" );
   const auto result = json::parse( outcome.out );
   std::vector<std::string> answers;
   for( const auto & why : result.at( "explanations" ) )
      answers.push_back( why.at( "prefix" ).get<std::string>() + ( why.at( "permitted" ) ? " permitted" : " denied" ) );
   EXPECT_EQ( answers, ( std::vector<std::string>{ "198.18.16.0/20 permitted", "198.18.16.0/20 denied", "10.0.0.0/8 denied" } ) );
}

TEST( EvaluateTableTest, whyExplainsTwentyRoutesAtMost ) {
   std::string table;
   for( int i = 0; i < 50; ++i ) table += "10.0.0.0/8\n";
   EXPECT_EQ( json::parse( run( { "--json", "--why", "10.0.0.0/8" }, table ).out ).at( "explanations" ).size(), 20u );
}

TEST( EvaluateTableTest, wrongArgumentsEndWithTwo ) {
   struct Row {
      std::vector<std::string> arguments;
      std::string message;
   };
   for( const Row & row : { Row{ { "--what" }, "evaluate_table: no such option: --what\n" },
                            { { "--why" }, "evaluate_table: --why needs a prefix\n" },
                            { { "--why", "10.0.0.1/8" }, "evaluate_table: --why: 10.0.0.1/8: bits are set" },
                            { { "-x\x1b" }, "evaluate_table: no such option: -x\\x1b\n" } } ) {
      const auto outcome = run( row.arguments );
      EXPECT_EQ( outcome.exitStatus, 2 );
      EXPECT_EQ( outcome.out, "" );
      EXPECT_THAT( outcome.err, StartsWith( row.message ) );
      EXPECT_THAT( outcome.err, HasSubstr( "evaluate_table --help tells more.\n" ) );
   }
}

TEST( EvaluateTableTest, helpTellsWhatCanBeRead ) {
   const auto outcome = run( { "--help" } );
   EXPECT_EQ( outcome.exitStatus, 0 );
   EXPECT_EQ( outcome.err, "" );
   EXPECT_THAT( outcome.out, StartsWith( "usage: evaluate_table" ) );
   for( const char * part : { "--json", "--why PREFIX", "bgpdump -m", "ip -j route", "a prefix per line", "gzip, bzip2 or xz" } )
      EXPECT_THAT( outcome.out, HasSubstr( part ) );
}

TEST( EvaluateTableTest, closedPipeEndsItQuietly ) {
   int pipeFds[ 2 ];
   ASSERT_EQ( pipe( pipeFds ), 0 );
   close( pipeFds[ 0 ] );
   const TemporaryFile err;
   const int in = open( "/dev/null", O_RDONLY ), errFd = open( err.path().c_str(), O_WRONLY );
   const int status = wait( start( { kSample }, in, pipeFds[ 1 ], errFd ) );
   for( const int fd : { in, pipeFds[ 1 ], errFd } ) close( fd );
   EXPECT_TRUE( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGPIPE ) << status;
   EXPECT_EQ( err.text(), "" );
}

TEST( EvaluateTableTest, resultThatCannotBeWrittenIsAnError ) {
   if( access( "/dev/full", W_OK ) != 0 ) GTEST_SKIP() << "no /dev/full here";
   const TemporaryFile err;
   const int in = open( "/dev/null", O_RDONLY ), out = open( "/dev/full", O_WRONLY ), errFd = open( err.path().c_str(), O_WRONLY );
   const int status = wait( start( { kSample }, in, out, errFd ) );
   for( const int fd : { in, out, errFd } ) close( fd );
   EXPECT_TRUE( WIFEXITED( status ) && WEXITSTATUS( status ) == 1 ) << status;
   EXPECT_EQ( err.text(), "evaluate_table: cannot write the result\n" );
}

TEST( EvaluateTableTest, terminalShowsProgressThatGoesAway ) {
   int terminal, other, input[ 2 ];
   ASSERT_EQ( openpty( &terminal, &other, nullptr, nullptr, nullptr ), 0 );
   ASSERT_EQ( pipe( input ), 0 );
   for( const int fd : { terminal, other, input[ 0 ], input[ 1 ] } ) fcntl( fd, F_SETFD, FD_CLOEXEC );
   const int out = open( "/dev/null", O_WRONLY );
   const pid_t child = start( {}, input[ 0 ], out, other );
   close( input[ 0 ] );
   close( other );
   close( out );
   std::string lines;
   for( int i = 0; i < 2048; ++i ) lines += "198.51.100.0/24\n";
   for( int i = 0; i < 5; ++i ) {   // each lot brings the count past a multiple of 1024, a good while after the last one
      ASSERT_EQ( write( input[ 1 ], lines.data(), lines.size() ), static_cast<ssize_t>( lines.size() ) );
      std::this_thread::sleep_for( std::chrono::milliseconds( 150 ) );
   }
   close( input[ 1 ] );
   EXPECT_EQ( wait( child ), 0 );
   std::string shown;
   char buffer[ 4096 ];
   for( ssize_t count; ( count = ::read( terminal, buffer, sizeof buffer ) ) > 0; ) shown.append( buffer, static_cast<size_t>( count ) );
   close( terminal );
   EXPECT_THAT( shown, StartsWith( "\rstandard input: " ) );
   EXPECT_THAT( shown, HasSubstr( " routes" ) );
   EXPECT_THAT( shown, testing::EndsWith( " \r" ) ) << "wiped in the end";
   EXPECT_THAT( shown, Not( HasSubstr( "\n" ) ) );
   EXPECT_THAT( shown, Not( HasSubstr( "\x1b" ) ) );
}

}   // namespace
