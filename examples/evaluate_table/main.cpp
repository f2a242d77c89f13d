// Reads routing tables, applies a route policy to every route, and prints what came of it and why.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "EdgePolicy.h"
#include "LineResult.h"
#include "Report.h"
#include "TableEvaluation.h"
#include "TableReader.h"
#include "TextReader.h"

namespace {

using namespace EvaluateTable;
using Clock = std::chrono::steady_clock;

constexpr char kHelp[] =
   R"(usage: evaluate_table [--json] [--why PREFIX]... [FILE]...

Applies a route policy to each route of the tables and tells how many it permits and denies, what it changes, and why.

   FILE            a routing table; standard input if there is none, or for -
   --json          print the result as JSON
   --why PREFIX    explain the policy's answer for this prefix, instead of for one permitted and one denied route;
                   for each of its routes if the tables have several, at most 20 in all
   --help          print this

A table may be, whatever its name,
   lines of bgpdump -m    TABLE_DUMP2|... and BGP4MP|...; withdrawals are passed over
   ip -j route            the JSON of ip -j route and ip -j -6 route
   a prefix per line      with a number behind it as the route's tag, if there is one; # begins a comment
and plain, or compressed with gzip, bzip2 or xz.

What is broken in a table is reported and passed over.
Exit status: 0; 1 if a table could not be read to its end; 2 if the arguments are wrong.
)";

constexpr uint64_t kMaxReports = 10;   // broken lines shown of a table; the rest is counted
constexpr size_t kMaxExplanations = 20;

struct Arguments {
   std::vector<std::string> files;
   std::vector<Ferule::IpGenPrefix> why;
   bool json = false;
};

[[noreturn]] void usageError( const std::string & text ) {
   fmt::print( stderr, "evaluate_table: {}\nevaluate_table --help tells more.\n", text );
   std::exit( 2 );
}

Arguments parseArguments( int argc, char ** argv ) {
   Arguments arguments;
   bool options = true;
   for( int i = 1; i < argc; ++i ) {
      const std::string_view argument = argv[ i ];
      if( !options || argument == "-" || !argument.starts_with( '-' ) ) {
         arguments.files.emplace_back( argument );
      } else if( argument == "--" ) {
         options = false;
      } else if( argument == "--help" || argument == "-h" ) {
         fmt::print( "{}", kHelp );
         std::exit( std::fflush( stdout ) == 0 ? 0 : 1 );
      } else if( argument == "--json" ) {
         arguments.json = true;
      } else if( argument == "--why" ) {
         if( ++i == argc ) usageError( "--why needs a prefix" );
         std::string reason;
         const auto prefix = RouteTable::parsePrefix( argv[ i ], reason );
         if( !prefix ) usageError( "--why: " + reason );
         arguments.why.push_back( *prefix );
      } else {
         usageError( "no such option: " + RouteTable::printable( argument, 60 ) );
      }
   }
   if( arguments.files.empty() ) arguments.files.emplace_back( "-" );
   return arguments;
}

/// A line on the terminal that tells how far the reading is; nothing where standard error is no terminal.
class Progress {
 public:
   void step( const std::string & name, const RouteTable::FileSource & source, uint64_t routes ) {
      if( !onTerminal_ || routes % 1024 != 0 ) return;   // asking for the time costs more than most routes do
      const auto now = Clock::now();
      if( now - shown_ < std::chrono::milliseconds( 100 ) ) return;
      shown_ = now;
      std::string line = fmt::format( "{}: {} routes", RouteTable::printable( name, 40 ), routes );
      if( source.size() != 0 ) line += fmt::format( ", {} %", 100 * source.bytesRead() / source.size() );
      fmt::print( stderr, "\r{:<{}}", line, width_ );
      std::fflush( stderr );
      width_ = line.size();
   }
   void clear() {
      if( width_ == 0 ) return;
      fmt::print( stderr, "\r{:{}}\r", "", width_ );
      width_ = 0;
   }

 private:
   bool onTerminal_ = isatty( STDERR_FILENO ) == 1;
   Clock::time_point shown_ = Clock::now();
   size_t width_ = 0;
};

/// Hands the routes of one table to the policy.
class Reading final : public RouteTable::TableHandler {
 public:
   Reading( const std::string & name, const RouteTable::FileSource & source, const Arguments & arguments, TableEvaluation & evaluation,
            Report & report )
         : name_( name ), source_( source ), arguments_( arguments ), evaluation_( evaluation ), report_( report ) {}

   void handleRoute( const RouteTable::TableRoute & route ) override {
      evaluation_.evaluate( route );
      for( const auto & prefix : arguments_.why )
         if( prefix == route.prefix && report_.explanations.size() < kMaxExplanations )
            report_.explanations.push_back( evaluation_.explain( route ) );
      progress_.step( name_, source_, ++routes_ );
   }

   void handleBroken( const RouteTable::Broken & broken ) override {
      if( ++broken_ > kMaxReports ) return;
      progress_.clear();
      fmt::print( stderr, "{}: {} {}: {}\n", name_, broken.unit == RouteTable::Broken::Unit::line ? "line" : "entry", broken.number,
                  broken.reason );
   }

   void finish( const RouteTable::TableSummary & summary ) {
      progress_.clear();
      if( broken_ > kMaxReports ) fmt::print( stderr, "{}: and {} more\n", name_, broken_ - kMaxReports );
      if( summary.routes == 0 && summary.broken != 0 )
         fmt::print( stderr, "{}: nothing in it could be read; evaluate_table --help tells which tables can\n", name_ );
      if( !summary.fault.empty() ) fmt::print( stderr, "{}: not read to its end: {}\n", name_, summary.fault );
   }

 private:
   std::string name_;
   const RouteTable::FileSource & source_;
   const Arguments & arguments_;
   TableEvaluation & evaluation_;
   Report & report_;
   Progress progress_;
   uint64_t routes_ = 0;
   uint64_t broken_ = 0;
};

int run( const Arguments & arguments ) {
   const auto begin = Clock::now();
   TableEvaluation evaluation( makeEdgePolicy() );
   Report report;
   bool allRead = true;
   for( const std::string & file : arguments.files ) {
      const std::string name = file == "-" ? "standard input" : RouteTable::printable( file, 200 );
      try {
         RouteTable::FileSource source( file );
         if( file == "-" && isatty( STDIN_FILENO ) == 1 ) fmt::print( stderr, "Reading routes from the terminal, up to Ctrl-D.\n" );
         Reading reading( name, source, arguments, evaluation, report );
         const auto summary = readTable( source, reading );
         reading.finish( summary );
         allRead &= summary.fault.empty();
         report.tables.push_back( { name, summary } );
      } catch( const std::system_error & e ) {
         fmt::print( stderr, "{}: cannot open: {}\n", name, e.code().message() );
         allRead = false;
      }
   }
   if( arguments.why.empty() )
      for( const auto & route : { evaluation.telltalePermit(), evaluation.telltaleDeny() } )
         if( route ) report.explanations.push_back( evaluation.explain( *route ) );
   report.seconds = std::chrono::duration<double>( Clock::now() - begin ).count();

   const std::string out = arguments.json ? jsonOf( report, evaluation ) : textOf( report, evaluation );
   if( std::fwrite( out.data(), 1, out.size(), stdout ) != out.size() || std::fflush( stdout ) != 0 ) {
      fmt::print( stderr, "evaluate_table: cannot write the result\n" );
      return 1;
   }
   for( const auto & prefix : arguments.why ) {
      const auto isOfPrefix = [ & ]( const Explanation & why ) { return why.route.prefix == prefix; };
      if( std::none_of( report.explanations.begin(), report.explanations.end(), isOfPrefix ) )
         fmt::print( stderr, "{}: not in the tables\n", std::string( prefix.toStrep() ) );
   }
   return allRead ? 0 : 1;
}

}   // namespace

int main( int argc, char ** argv ) {
   return run( parseArguments( argc, argv ) );
}
