#include "command/CommandLine.h"

#include <fmt/format.h>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <exception>
#include <functional>
#include <sstream>
#include <system_error>
#include <thread>

#include "command/Commands.h"
#include "table/TextReader.h"

namespace Agent {

namespace {

constexpr char kAbout[] = "Tells what a route policy is, what it does to a routing table, why, and what a change would do.";
constexpr char kTables[] = "A routing table: a file, - for standard input, or kernel for this machine's own routes. Lines of bgpdump -m, "
                           "MRT TABLE_DUMP_V2, the JSON of ip -j route, or a prefix per line; plain, gzip, bzip2 or xz. "
                           "One behind each -i: several tables have an -i each, and are read one behind the other";
#define EXIT_STATUS "Exit status: 0; 2 for wrong arguments, a wrong configuration, or a file that cannot be read to its end.\n\n"

StopRequest stopRequest;

void handleStop( int ) {
   stopRequest.wanted = true;
   if( !stopRequest.heard ) _exit( kExitOk );
}

/// The arguments of one command, and what to run with them.
class CommandLine {
 public:
   explicit CommandLine( Console & console ) : console_( console ) {
      app_.require_subcommand( 1 );
      app_.set_version_flag( "--version", ROUTEPOLICY_VERSION );
      app_.set_help_flag( "-h,--help", "Print this and end" );
      app_.failure_message( CLI::FailureMessage::simple );
      app_.footer( "routepolicy COMMAND --help tells more, with examples." );
      addCheck();
      addEval();
      addExplain();
      addDiff();
      addWatch();
      addShow();
      addUsedBy();
      addNames();
   }

   int run( int argc, char ** argv ) {
      try {
         app_.parse( argc, argv );
      } catch( const CLI::Success & e ) {   // help or version
         std::ostringstream text;
         app_.exit( e, text, text );
         console_.write( text.str() );
         console_.flush();
         return kExitOk;
      } catch( const CLI::ParseError & e ) {
         if( app_.get_subcommands().empty() && argc > 1 && argv[ 1 ][ 0 ] == '\0' ) throw CommandError{ "the command is empty" };
         if( app_.get_subcommands().empty() && argc > 1 && argv[ 1 ][ 0 ] != '-' )
            throw CommandError{ fmt::format( "there is no command {}; routepolicy --help tells which there are",
                                             printable( argv[ 1 ], 60 ) ) };
         const std::string name = app_.get_subcommands().empty() ? "" : ' ' + app_.get_subcommands().front()->get_name();
         throw CommandError{ fmt::format( "{}; routepolicy{} --help tells more", printable( faultOf( e ), 300 ), name ) };
      }
      return command_();
   }

 private:
   // An option that there is not is the cause of whatever else is missing.
   std::string faultOf( const CLI::ParseError & e ) const {
      for( const auto & word : app_.remaining( true ) )
         if( word.size() > 1 && word.front() == '-' ) return "there is no option " + word.substr( 0, word.find( '=' ) );
      return e.what();
   }

   using Files = std::vector<std::string>;

   CLI::App & add( const char * name, const char * about, const char * footer, std::function<int()> command ) {
      CLI::App & added = *app_.add_subcommand( name, about );
      added.footer( footer );
      added.callback( [ this, command = std::move( command ) ] { command_ = command; } );
      return added;
   }
   // A variable of the shell that is not set, most likely.
   static CLI::Option & mayNotBeEmpty( CLI::Option * option ) {
      return *option->check( [ option ]( const std::string & value ) {
         if( value.empty() ) throw CommandError{ option->get_name() + " is empty" };
         return std::string();
      } );
   }
   static void addFile( CLI::App & to, const char * name, std::string & file, const char * about ) {
      mayNotBeEmpty( to.add_option( name, file, about ) ).required();
   }
   static void addFiles( CLI::App & to, std::vector<std::string> & files ) {
      mayNotBeEmpty( to.add_option( "FILE", files, "The policy, in lines of a router's configuration; several files are read as one" ) )
         .required();
   }
   // For commands behind whose policy something else stands.
   void addWith( CLI::App & to ) {
      mayNotBeEmpty( to.add_option( "--with", with_, "A further file of the policy, read behind it; one behind each --with" ) )
         .type_name( "FILE" )
         ->allow_extra_args( false );
   }
   void takeWith( Files & files ) const { files.insert( files.end(), with_.begin(), with_.end() ); }
   static CLI::Option & addRouteMap( CLI::App & to, std::string & name, const char * about = "The route map that is asked" ) {
      return mayNotBeEmpty( to.add_option( "-m,--route-map", name, about ) );
   }
   static void addTables( CLI::App & to, std::vector<std::string> & tables ) {
      mayNotBeEmpty( to.add_option( "-i,--in", tables, kTables ) ).type_name( "TABLE" )->allow_extra_args( false );
   }
   static void addJson( CLI::App & to, bool & json ) { to.add_flag( "--json", json, "Print JSON" ); }
   static void addThreads( CLI::App & to, unsigned & threads ) {
      mayNotBeEmpty( to.add_option( "--threads", threads, "Threads that evaluate; the output is the same whatever their number" ) )
         .check( CLI::Range( 1u, 256u ) );
   }

   // Who reads it second finds nothing in it.
   static void standardInputOnce( std::initializer_list<const Files *> all ) {
      ptrdiff_t uses = 0;
      for( const Files * files : all ) uses += std::count( files->begin(), files->end(), "-" );
      if( uses > 1 ) throw CommandError{ "standard input cannot be two things at once" };
   }

   void addCheck() {
      auto & c = add( "check", "Tell what is wrong with a policy",
                      "Undefined, unused and wrong-family references, cycles of calls, what never decides, matches or has an effect,\n"
                      "and what looks like a policy and is none; the manual lists all kinds.\n"
                      "Exit status: 0 nothing found, 1 something found, 2 error.\n\nExample: routepolicy check edge.conf",
                      [ this ] {
                         standardInputOnce( { &check_.files } );
                         return check( check_, console_ );
                      } );
      addFiles( c, check_.files );
      addJson( c, check_.json );
   }
   void addEval() {
      auto & c = add( "eval", "Tell what a route map makes of each route of a table",
                      "Exit status: 0; 2 for wrong arguments, a wrong configuration, or a table that cannot be read to its end or has\n"
                      "broken lines only.\n\n"
                      "Examples: routepolicy eval edge.conf --route-map EDGE-IN --in table.gz --summary\n"
                      "          bgpdump -m rib.bz2 | routepolicy eval edge.conf --route-map EDGE-IN --json",
                      [ this ] {
                         standardInputOnce( { &eval_.files, &eval_.tables } );
                         return eval( eval_, console_ );
                      } );
      addFiles( c, eval_.files );
      addRouteMap( c, eval_.routeMap ).required();
      eval_.tables = { "-" };
      addTables( c, eval_.tables );
      addJson( c, eval_.json );
      addThreads( c, eval_.threads );
      c.add_flag( "--summary", eval_.summary, "Count only: routes in all, and of each sequence" );
      c.add_flag( "--timing", eval_.timing, "Tell what time went where, on standard error" );
   }
   void addExplain() {
      auto & c = add( "explain", "Tell why a route map answers a route as it does",
                      "Exit status: 0; 2 for wrong arguments, a wrong configuration, or a prefix that is not in the table.\n\n"
                      "Examples: routepolicy explain edge.conf --route-map EDGE-IN 198.51.100.0/24 --tag 64500\n"
                      "          routepolicy explain edge.conf --route-map EDGE-IN 198.51.100.0/24 --in table.gz --json",
                      [ this ] {
                         takeWith( explain_.files );
                         standardInputOnce( { &explain_.files, &explain_.tables } );
                         return explain( explain_, console_ );
                      } );
      explain_.files.resize( 1 );
      addFile( c, "FILE", explain_.files[ 0 ], "The policy" );
      mayNotBeEmpty( c.add_option( "PREFIX", explain_.prefix, "The route" ) ).required();
      addWith( c );
      addRouteMap( c, explain_.routeMap ).required();
      addTables( c, explain_.tables );
      addJson( c, explain_.json );
      constexpr std::pair<const char *, const char *> fields[] = { { "next-hop", "ADDRESS" },     { "tag", "NUMBER" },
                                                                   { "metric", "NUMBER" },        { "protocol", "NAME" },
                                                                   { "interface", "NAME" },       { "local-preference", "NUMBER" },
                                                                   { "community", "AS:N,AS:N" },  { "ospf-instance", "NUMBER" },
                                                                   { "isis-instance", "NUMBER" }, { "as-path", "\"AS AS\"" } };
      for( const auto & [ key, type ] : fields )
         c.add_option_function<std::string>(
             std::string( "--" ) + key, [ this, k = std::string( key ) ]( const std::string & v ) { explain_.fields.emplace_back( k, v ); },
             "What the route has" )
            ->type_name( type );
   }
   void addDiff() {
      auto & c = add( "diff", "Tell which routes two policies answer differently",
                      "Exit status: 0 none, 1 differences, 2 error.\n\n"
                      "Example: routepolicy diff edge.conf edge.new.conf --route-map EDGE-IN --in table.gz",
                      [ this ] {
                         takeWith( diff_.oldFiles );
                         standardInputOnce( { &diff_.oldFiles, &diff_.newFiles, &diff_.tables } );
                         takeWith( diff_.newFiles );
                         return diff( diff_, console_ );
                      } );
      diff_.oldFiles.resize( 1 );
      diff_.newFiles.resize( 1 );
      addFile( c, "OLD", diff_.oldFiles[ 0 ], "The policy before" );
      addFile( c, "NEW", diff_.newFiles[ 0 ], "The policy after" );
      addWith( c );
      addRouteMap( c, diff_.routeMap ).required();
      diff_.tables = { "-" };
      addTables( c, diff_.tables );
      addJson( c, diff_.json );
      addThreads( c, diff_.threads );
      mayNotBeEmpty( c.add_option( "--examples", diff_.examples, "Routes that are shown of each group" ) )
         .check( CLI::Range( 0u, 1'000'000u ) );
   }
   void addWatch() {
      auto & c = add( "watch", "Follow a policy's files, and tell what each change does",
                      "Ends with SIGINT or SIGTERM. A file with errors leaves the last good policy in force.\n"
                      "Exit status: 0; 2 for wrong arguments, or a configuration that is wrong from the start.\n\n"
                      "Example: routepolicy watch edge.conf --route-map EDGE-IN --in table.gz",
                      [ this ] {
                         standardInputOnce( { &watch_.tables } );
                         std::signal( SIGINT, handleStop );
                         std::signal( SIGTERM, handleStop );
                         return watch( watch_, console_, stopRequest );
                      } );
      addFiles( c, watch_.files );
      addRouteMap( c, watch_.routeMap, "The route map that is asked about the table" );
      addTables( c, watch_.tables );
      addJson( c, watch_.json );
   }
   void addShow() {
      auto & c = add( "show", "Print what is compiled of a policy", EXIT_STATUS "Example: routepolicy show edge.conf EDGE-IN", [ this ] {
         takeWith( show_.files );
         standardInputOnce( { &show_.files } );
         return show( show_, console_ );
      } );
      show_.files.resize( 1 );
      addFile( c, "FILE", show_.files[ 0 ], "The policy" );
      addWith( c );
      c.add_option( "NAME", show_.name, "A route map or a list; everything without" );
      addJson( c, show_.json );
   }
   void addUsedBy() {
      auto & c = add( "used-by", "Tell who refers to a list or a route map, through calls too",
                      EXIT_STATUS "Example: routepolicy used-by edge.conf BOGONS-V4", [ this ] {
                         takeWith( usedBy_.files );
                         standardInputOnce( { &usedBy_.files } );
                         return usedBy( usedBy_, console_ );
                      } );
      usedBy_.files.resize( 1 );
      addFile( c, "FILE", usedBy_.files[ 0 ], "The policy" );
      addWith( c );
      c.add_option( "NAME", usedBy_.name, "A route map or a list" )->required();
      addJson( c, usedBy_.json );
   }

   void addNames() {
      auto & c = add( "names", "", "", [ this ] { return names( names_, console_ ); } );
      c.group( "" );   // not for people
      addFiles( c, names_.files );
      c.add_flag( "--route-maps", names_.routeMapsOnly );
   }

   Console & console_;
   CLI::App app_{ kAbout, "routepolicy" };
   std::function<int()> command_;
   CheckOptions check_;
   EvalOptions eval_;
   ExplainOptions explain_;
   DiffOptions diff_;
   WatchOptions watch_;
   ShowOptions show_;
   UsedByOptions usedBy_;
   Files with_;
   NamesOptions names_;
};

}   // namespace

int runCommandLine( int argc, char ** argv ) {
   std::signal( SIGPIPE, SIG_IGN );   // a pipe that nobody reads is told of by write()
   Console console;
   try {
      return CommandLine( console ).run( argc, argv );
   } catch( const ClosedPipe & ) { return kExitOk; } catch( const CommandError & e ) {
      console.message( "routepolicy: " + e.message );
   } catch( const std::bad_alloc & ) { console.message( "routepolicy: out of memory" ); } catch( const std::exception & e ) {
      console.message( fmt::format( "routepolicy: {}", e.what() ) );
   }
   return kExitError;
}

}   // namespace Agent
