#include "command/CommandLine.h"

#include <fmt/format.h>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <functional>
#include <limits>
#include <map>
#include <sstream>
#include <system_error>
#include <thread>

#include "analysis/References.h"
#include "command/Commands.h"
#include "table/TextReader.h"
#include "text/Printable.h"

namespace Agent {

namespace {

constexpr char kAbout[] =
   "Checks a route policy, evaluates it over a routing table, explains its answers, and compares two versions of it.";
constexpr char kTables[] =
   "A routing table: a file, - for standard input, or kernel for the routes of this machine. Format: lines of "
   "bgpdump -m, MRT tables and updates, the JSON of ip -j route, FRR or GoBGP, birdc show route all, or one prefix per "
   "line; plain, gzip, bzip2 or xz. "
   "Repeat the option for several tables; they are read in that order";
#define EXIT_STATUS "Exit status: 0 done; 2 wrong arguments, errors in the policy, or a file that cannot be read to its end.\n\n"

void stop( int ) {
   _exit( kExitOk );
}

/// The command line: the options of all commands, and the command to run.
class CommandLine {
 public:
   explicit CommandLine( Console & console ) : console_( console ) {
      app_.require_subcommand( 1 );
      app_.set_version_flag( "--version", ROUTEPOLICY_VERSION );
      app_.set_help_flag( "-h,--help", "Print this help and exit" );
      app_.failure_message( CLI::FailureMessage::simple );
      app_.footer( "See routepolicy COMMAND --help for the options of a command, with examples." );
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
            throw CommandError{ fmt::format( "unknown command {}; see routepolicy --help", printable( argv[ 1 ], 60 ) ) };
         const std::string name = app_.get_subcommands().empty() ? "" : ' ' + app_.get_subcommands().front()->get_name();
         throw CommandError{ fmt::format( "{}; see routepolicy{} --help", printable( faultOf( e ), 300 ), name ) };
      }
      return command_();
   }

 private:
   // An unknown option is reported first: it may be the reason why a required one is missing.
   std::string faultOf( const CLI::ParseError & e ) const {
      for( const auto & word : app_.remaining( true ) )
         if( word.size() > 1 && word.front() == '-' ) return "unknown option " + word.substr( 0, word.find( '=' ) );
      return app_.get_subcommands().empty() ? "a command is required" : e.what();
   }

   using Files = std::vector<std::string>;

   CLI::App & add( const char * name, const char * about, const char * footer, std::function<int()> command ) {
      CLI::App & added = *app_.add_subcommand( name, about );
      added.footer( footer );
      added.callback( [ this, command = std::move( command ) ] { command_ = command; } );
      return added;
   }
   // An empty argument is probably a shell variable that is not set.
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
      mayNotBeEmpty(
         to.add_option( "FILE", files, "The policy: route maps and lists in a router's configuration; several files are read as one" ) )
         .required();
   }
   // For commands with another argument after the policy.
   void addWith( CLI::App & to ) {
      mayNotBeEmpty( to.add_option( "--with", with_, "A further file of the policy; repeat the option for several files" ) )
         .type_name( "FILE" )
         ->allow_extra_args( false );
   }
   void takeWith( Files & files ) const { files.insert( files.end(), with_.begin(), with_.end() ); }
   static void addTarget( CLI::App & to, TargetOptions & target ) {
      mayNotBeEmpty( to.add_option( "-m,--route-map", target.routeMap, "The route map to evaluate" ) ).type_name( "NAME" );
      mayNotBeEmpty( to.add_option( "--neighbor", target.neighbor,
                                    "In its place: what filters the routes of this BGP neighbor, or peer group, in this direction" ) )
         .type_name( "NAME in|out" );
      mayNotBeEmpty( to.add_option( "--vrf", target.vrf, "The VRF or view of the neighbor" ) ).type_name( "NAME" );
      mayNotBeEmpty( to.add_option( "--prefix-list", target.prefixList, "In its place: this prefix list alone" ) ).type_name( "NAME" );
      mayNotBeEmpty( to.add_option( "--access-list", target.accessList, "In its place: this access list alone" ) ).type_name( "NAME" );
   }
   static void addTables( CLI::App & to, std::vector<std::string> & tables, uint64_t & maxInput ) {
      mayNotBeEmpty( to.add_option( "-i,--in", tables, kTables ) ).type_name( "TABLE" )->allow_extra_args( false );
      mayNotBeEmpty(
         to.add_option( "--max-input", maxInput, "The longest table that is read whole, in bytes once unpacked; default 64 GiB" ) )
         .type_name( "BYTES" )
         ->check( CLI::Range( uint64_t( 1 ), std::numeric_limits<uint64_t>::max() ) );
   }
   static void addJson( CLI::App & to, bool & json ) { to.add_flag( "--json", json, "Print JSON" ); }
   // The value that `word` names. CLI11's own message tells the numbers of values, and may end inside a word.
   template <class Value>
   static Value named( const char * option, const std::string & word, const std::map<std::string, Value> & values ) {
      if( const auto found = values.find( word ); found != values.end() ) return found->second;
      std::vector<std::string> names;
      names.reserve( values.size() );
      for( const auto & [ name, value ] : values ) names.push_back( inQuotes( name ) );
      throw CommandError{ fmt::format( "{}: expected {}, found {}", option, joined( names, names.size(), " or " ), inQuotes( word ) ) };
   }
   static void addDialect( CLI::App & to, Dialect & dialect ) {
      static const std::map<std::string, Dialect> kDialects = { { "frr", Dialect::frr }, { "native", Dialect::native } };
      to.add_option_function<std::string>(
           "--dialect", [ &dialect ]( const std::string & word ) { dialect = named( "--dialect", word, kDialects ); },
           "Whose rules the policy follows: frr (the default), or native (the rules of this library)" )
         ->type_name( "NAME" );
   }
   template <class Options>
   static void addReading( CLI::App & to, Options & options ) {
      addDialect( to, options.dialect );
      to.add_flag( "--lenient", options.lenient, "Read a policy with wrong lines: leave these out, and mark what may depend on them" );
   }
   // `take` returns what is wrong with a value.
   template <class Take>
   static void addRepeated( CLI::App & to, const char * name, const char * type, const char * about, Take take ) {
      const auto each = [ name, take ]( const std::vector<std::string> & values ) {
         for( const auto & value : values )
            if( const auto wrong = take( value ) ) throw CommandError{ fmt::format( "{} {}", name, *wrong ) };
      };
      to.add_option_function<std::vector<std::string>>( name, each, about )->type_name( type )->allow_extra_args( false );
   }
   // What the routes do not tell.
   template <class Options>
   static void addUntold( CLI::App & to, Options & options ) {
      addRepeated( to, "--set-attribute", "NAME=VALUE",
                   "An attribute for each route that lacks it: names and values as in a table of prefixes",
                   [ &options ]( const std::string & value ) { return options.defaults.add( value ); } );
      addRepeated( to, "--assume", "CLAUSE=match|no-match",
                   "The answer of a match clause, such as rpki or \"rpki valid\", that a route does not answer",
                   [ &options ]( const std::string & value ) { return options.assumptions.add( value ); } );
      addRepeated( to, "--daemon", "NAME", "The daemon of FRR that applies the route map; default bgpd",
                   [ &options ]( const std::string & value ) { return options.assumptions.daemonIs( value ); } );
   }
   static void addKinds( CLI::App & to, const char * name, std::vector<Finding::Kind> & kinds, const char * about ) {
      std::map<std::string, Finding::Kind> all;
      for( const auto kind : findingKinds() ) all.emplace( nameOf( kind ), kind );
      const auto take = [ name, all, &kinds ]( const std::vector<std::string> & words ) {
         for( const auto & word : words ) kinds.push_back( named( name, word, all ) );
      };
      to.add_option_function<std::vector<std::string>>( name, take, about )
         ->type_name( "KIND" )
         ->delimiter( ',' )
         ->allow_extra_args( false );
   }
   static void addThreads( CLI::App & to, unsigned & threads ) {
      mayNotBeEmpty( to.add_option( "--threads", threads, "Number of threads for evaluation; the output does not depend on it" ) )
         .check( CLI::Range( 1u, 256u ) );
   }

   // A second reader would find it empty.
   static void standardInputOnce( std::initializer_list<const Files *> all ) {
      ptrdiff_t uses = 0;
      for( const Files * files : all ) uses += std::count( files->begin(), files->end(), "-" );
      if( uses > 1 ) throw CommandError{ "standard input can be used only once" };
   }

   void addCheck() {
      auto & c = add( "check", "Find mistakes in a policy",
                      "Finds undefined, unused and wrong-family references, cycles of calls, lines that never decide, match or have an\n"
                      "effect, and lines that look like policy but are skipped. The manual lists all kinds of findings.\n"
                      "Exit status: 0 nothing found, 1 findings, 2 error.\n\nExample: routepolicy check edge.conf",
                      [ this ] {
                         standardInputOnce( { &check_.files } );
                         return check( check_, console_ );
                      } );
      addFiles( c, check_.files );
      addKinds( c, "--fail-on", check_.failOn, "End with status 1 only for findings of this kind; several with commas" );
      addKinds( c, "--ignore", check_.ignore, "Leave out findings of this kind; several with commas" );
      addReading( c, check_ );
      addJson( c, check_.json );
   }
   void addEval() {
      auto & c = add( "eval", "Evaluate a route map for each route of a table",
                      "Exit status: 0 done; 2 wrong arguments, errors in the policy, or a table that cannot be read to its end or has\n"
                      "nothing that could be read.\n\n"
                      "Examples: routepolicy eval edge.conf --route-map EDGE-IN --in table.gz --summary\n"
                      "          bgpdump -m rib.bz2 | routepolicy eval edge.conf --route-map EDGE-IN --json",
                      [ this ] {
                         standardInputOnce( { &eval_.files, &eval_.tables } );
                         return eval( eval_, console_ );
                      } );
      addFiles( c, eval_.files );
      addTarget( c, eval_.target );
      eval_.tables = { "-" };
      addTables( c, eval_.tables, eval_.maxInput );
      addReading( c, eval_ );
      addUntold( c, eval_ );
      addJson( c, eval_.json );
      addThreads( c, eval_.threads );
      c.add_flag( "--summary", eval_.summary, "Print counts only: of all routes, and for each sequence" );
      c.add_flag( "--timing", eval_.timing, "Report the time spent on reading and on policy, on standard error" );
   }
   void addExplain() {
      auto & c =
         add( "explain", "Explain why a route map permits or denies a route",
              "Exit status: 0 done; 2 wrong arguments, errors in the policy, or a prefix or an address that is not in the table.\n\n"
              "Examples: routepolicy explain edge.conf --route-map EDGE-IN 198.51.100.0/24 --tag 64500\n"
              "          routepolicy explain edge.conf --route-map EDGE-IN 198.51.100.0/24 --in table.gz --json",
              [ this ] {
                 takeWith( explain_.files );
                 standardInputOnce( { &explain_.files, &explain_.tables } );
                 return explain( explain_, console_ );
              } );
      explain_.files.resize( 1 );
      addFile( c, "FILE", explain_.files[ 0 ], "The policy" );
      mayNotBeEmpty( c.add_option( "PREFIX", explain_.prefix,
                                   "The prefix of the route; with --in, an address stands for the longest prefix that contains it" ) )
         .required();
      addWith( c );
      addTarget( c, explain_.target );
      addTables( c, explain_.tables, explain_.maxInput );
      addReading( c, explain_ );
      addUntold( c, explain_ );
      addJson( c, explain_.json );
      constexpr std::pair<const char *, const char *> fields[] = { { "next-hop", "ADDRESS" },
                                                                   { "tag", "NUMBER" },
                                                                   { "metric", "NUMBER" },
                                                                   { "protocol", "NAME" },
                                                                   { "interface", "NAME" },
                                                                   { "local-preference", "NUMBER" },
                                                                   { "community", "AS:N,AS:N" },
                                                                   { "large-community", "AS:N:N,AS:N:N" },
                                                                   { "extcommunity", "rt:AS:N,soo:AS:N" },
                                                                   { "ospf-instance", "NUMBER" },
                                                                   { "isis-instance", "NUMBER" },
                                                                   { "origin", "NAME" },
                                                                   { "peer", "ADDRESS" },
                                                                   { "rpki", "STATE" },
                                                                   { "as-path", "\"AS AS\"" } };
      for( const auto & [ key, type ] : fields )
         c.add_option_function<std::string>(
             std::string( "--" ) + key, [ this, k = std::string( key ) ]( const std::string & v ) { explain_.fields.emplace_back( k, v ); },
             "Attribute of the route" )
            ->type_name( type );
   }
   void addDiff() {
      auto & c = add( "diff", "Compare the answers of two policies for the routes of a table",
                      "Exit status: 0 no differences, 1 differences, 2 error.\n\n"
                      "Example: routepolicy diff edge.conf edge.new.conf --route-map EDGE-IN --in table.gz",
                      [ this ] {
                         takeWith( diff_.oldFiles );
                         standardInputOnce( { &diff_.oldFiles, &diff_.newFiles, &diff_.tables } );
                         takeWith( diff_.newFiles );
                         return diff( diff_, console_ );
                      } );
      diff_.oldFiles.resize( 1 );
      diff_.newFiles.resize( 1 );
      addFile( c, "OLD", diff_.oldFiles[ 0 ], "The policy before the change" );
      addFile( c, "NEW", diff_.newFiles[ 0 ], "The policy after the change" );
      addWith( c );
      addTarget( c, diff_.target );
      diff_.tables = { "-" };
      addTables( c, diff_.tables, diff_.maxInput );
      addReading( c, diff_ );
      addUntold( c, diff_ );
      addJson( c, diff_.json );
      addThreads( c, diff_.threads );
      mayNotBeEmpty( c.add_option( "--examples", diff_.examples, "Number of routes shown for each group" ) )
         .check( CLI::Range( 0u, 1'000'000u ) );
   }
   void addWatch() {
      auto & c = add( "watch", "Follow the files of a policy and report what each change does",
                      "Ends on SIGINT or SIGTERM. While a file has errors, the last good policy stays in force.\n"
                      "Exit status: 0 stopped; 2 wrong arguments, or errors in the policy at the start.\n\n"
                      "Example: routepolicy watch edge.conf --route-map EDGE-IN --in table.gz",
                      [ this ] {
                         standardInputOnce( { &watch_.tables } );
                         std::signal( SIGINT, stop );   // while it reads; then watch() takes them
                         std::signal( SIGTERM, stop );
                         return watch( watch_, console_ );
                      } );
      addFiles( c, watch_.files );
      addTarget( c, watch_.target );
      addTables( c, watch_.tables, watch_.maxInput );
      addReading( c, watch_ );
      addUntold( c, watch_ );
      addJson( c, watch_.json );
   }
   void addShow() {
      auto & c = add(
         "show", "Print lists and route maps as they are compiled",
         "Exit status: 0 done; 1 with --verify, if a route map in force differs from its configuration; 2 wrong arguments, errors in the "
         "policy, or a file that cannot be read to its end.\n\nExample: routepolicy show edge.conf EDGE-IN",
         [ this ] {
            takeWith( show_.files );
            standardInputOnce( { &show_.files } );
            return show( show_, console_ );
         } );
      show_.files.resize( 1 );
      addFile( c, "FILE", show_.files[ 0 ], "The policy" );
      addWith( c );
      c.add_option( "NAME", show_.name, "A route map or a list; default: everything" );
      c.add_flag( "--verify", show_.verify, "Also compare the route maps in force with the configuration" );
      addReading( c, show_ );
      addJson( c, show_.json );
   }
   void addUsedBy() {
      auto & c = add( "used-by", "List the references to a list or a route map, also through calls",
                      EXIT_STATUS "Example: routepolicy used-by edge.conf BOGONS-V4", [ this ] {
                         takeWith( usedBy_.files );
                         standardInputOnce( { &usedBy_.files } );
                         return usedBy( usedBy_, console_ );
                      } );
      usedBy_.files.resize( 1 );
      addFile( c, "FILE", usedBy_.files[ 0 ], "The policy" );
      addWith( c );
      c.add_option( "NAME", usedBy_.name, "A route map or a list" )->required();
      addReading( c, usedBy_ );
      addJson( c, usedBy_.json );
   }

   void addNames() {
      auto & c = add( "names", "", "", [ this ] { return names( names_, console_ ); } );
      c.group( "" );   // hidden: for shell completion only
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
   std::signal( SIGPIPE, SIG_IGN );   // write() reports a closed pipe
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
