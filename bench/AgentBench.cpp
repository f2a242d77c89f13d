// What does the agent cost: how long does it take to read a policy, to apply it as a whole and line by line, to match its community lists and
// AS path lists, and to read a table? The yardstick of a table is the cost of evaluating the routes.

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "bench/Tables.h"
#include "command/RouteEvaluator.h"
#include "command/TableRun.h"
#include "live/AsPathList.h"
#include "live/CommunityList.h"
#include "live/LivePolicy.h"
#include "table/TableReader.h"
#include "text/LineEdits.h"
#include "text/LineLoader.h"

namespace {

using namespace Bench;
using Agent::Dialect;
using Agent::LineLoader;
using Agent::LivePolicy;
using Agent::PolicyText;
using Agent::TableRoute;

std::string textOf( const Ferule::IpGenPrefix & prefix ) {
   return std::string( prefix.toStrep().view() );
}

Prefixes prefixes( size_t count ) {
   Random random( 50 + count );
   return generatedTable( AddressFamily::ipv4, count, random );
}

std::string prefixListFile( size_t lines, bool numbered ) {
   std::string file;
   size_t number = 0;
   for( const auto & p : prefixes( lines ) ) {
      number += 5;
      file += "ip prefix-list LIST " + ( numbered ? "seq " + std::to_string( number ) + ' ' : std::string() );
      file += ( number % 3 ? "permit " : "deny " ) + textOf( p ) + '\n';
   }
   return file;
}

std::string routeMapFile( size_t sequences ) {
   std::string file = "ip prefix-list LIST permit 10.0.0.0/8 le 24\n";
   for( size_t i = 1; i <= sequences; ++i )
      file += "route-map MAP permit " + std::to_string( 10 * i ) + "\n match tag " + std::to_string( i ) +
         "\n match ip address prefix-list LIST\n set metric " + std::to_string( i ) + '\n';
   return file;
}

PolicyText loaded( const std::string & file ) {
   LineLoader loader( Dialect::native );
   loader.load( "file", file );
   if( !loader.errors().empty() ) fail( loader.toString( loader.errors().front() ) );
   return loader.text();
}

/// One kind of file. Results are per line or per sequence of the file.
struct File {
   const char * what;   // "prefix list, each line"
   std::string ( *make )( size_t );
   size_t few;
   size_t many;
};
constexpr size_t kTexts = 2;   // the kinds that differ in content; the last kind means the same as the first
const File kFiles[] = {
   { "prefix list, each line", []( size_t n ) { return prefixListFile( n, true ); }, 5'000, 500'000 },
   { "route map, each sequence", []( size_t n ) { return routeMapFile( n ); }, 1'000, 10'000 },
   { "unnumbered prefix list, each line", []( size_t n ) { return prefixListFile( n, false ); }, 5'000, 500'000 },
};

Group::Way loading( Group & group, const File & file, size_t count ) {
   const auto text = std::make_shared<std::string>( file.make( count ) );
   return group.way( grouped( count ), count, [ text ] {
      LineLoader loader( Dialect::native );
      loader.load( "file", *text );
      return loader.errors().size();
   } );
}

// Applies a text to a new LivePolicy in each pass. The time to delete the old policy and the copies of the text does not count.
Group::Way puttingIntoForce( Group & group, const File & file, size_t count ) {
   struct State {
      PolicyText text;
      std::optional<PolicyText> next;
      std::unique_ptr<LivePolicy> policy;
      void ready() {
         next = text;
         policy = std::make_unique<LivePolicy>();
      }
   };
   const auto state = std::make_shared<State>();
   state->text = loaded( file.make( count ) );
   state->ready();
   return group.way(
      grouped( count ), count, [ state ] { return uint64_t( state->policy->apply( std::move( *state->next ) ).edits > 0 ); },
      [ state ] { state->ready(); } );
}

using MakeWay = Group::Way ( * )( Group &, const File &, size_t );
void measureFiles( const std::string & question, std::span<const File> files, MakeWay way ) {
   for( const auto & file : files ) {
      if( !wanted( question + file.what ) ) continue;
      Group group;
      const auto few = way( group, file, file.few );
      group.row( question + file.what, grouped( file.many ), way( group, file, file.many ), few );
      group.run();
   }
}

/// A file with a long prefix list that is saved again and again, each time with one other line.
struct SavedFile {
   static constexpr size_t kLines = 500'000;

   // The line has one of two contents of the same length.
   SavedFile( std::string_view from, std::string_view to ) {
      texts[ 0 ] = "route-map MAP permit 10\n match ip address prefix-list LIST\n set metric 1\n" + prefixListFile( kLines, true );
      texts[ 1 ] = texts[ 0 ];
      texts[ 1 ].replace( texts[ 1 ].find( from ), to.size(), to );
      policy.apply( loaded( texts[ 0 ] ) );
      lines.emplace( policy.text(), std::vector<Agent::SourceFile>{ { "file", texts[ 0 ] } } );
      save();
   }
   void save() {
      isSecond = !isSecond;
      next = { { "file", texts[ isSecond ] } };
   }
   // The following put the next state into force, and return whether that has changed something.
   bool readChange() {
      auto edit = lines->editTo( policy.text(), next );
      if( !edit ) fail( "the whole file is loaded" );
      lines->filesAre( *edit, std::move( next ) );
      return policy.applyEdit( std::move( *edit ) ).edits > 0;
   }
   bool readAll() { return policy.apply( loaded( next.front().bytes ) ).edits > 0; }

   std::string texts[ 2 ];
   bool isSecond = false;
   std::vector<Agent::SourceFile> next;
   LivePolicy policy;
   std::optional<Agent::LineEdits> lines;
};

// From the bytes of the file to the policy in force.
void measureSaves( const std::string & what, std::string_view from, std::string_view to ) {
   const std::string question = "saved: " + what;
   if( !wanted( question ) ) return;
   const auto changed = std::make_shared<SavedFile>( from, to ), loaded = std::make_shared<SavedFile>( from, to );
   Group group;
   const auto ours = group.way(
      "one line", 1, [ changed ] { return uint64_t( changed->readChange() ); }, [ changed ] { changed->save(); } );
   const auto all = group.way(
      "all lines", 1, [ loaded ] { return uint64_t( loaded->readAll() ); }, [ loaded ] { loaded->save(); } );
   group.row( question, grouped( SavedFile::kLines ), ours, all );
   group.run();
}

// ---- community lists and AS path lists

/// Lists of many lines, each of which asks for one thing.
struct Communities {
   using List = Agent::CommunityList;
   static constexpr const char * kWhat = "a community list";
   static constexpr auto kOption = Agent::MatchOption::matchCommunity;
   static constexpr auto kLists = &PolicyText::communityLists;
   static constexpr auto kEdits = &Agent::TextEdit::communityLists;
   static Agent::CommunityListLine line( uint32_t i ) { return { Agent::MatchPermit::permit, { i }, {}, {} }; }
   /// A route with ten communities, one of which is `i`; only line `i` has one of these.
   static TableRoute route( uint32_t i ) {
      TableRoute route;
      for( uint32_t k = 1; k < 10; ++k ) route.communities.push_back( 0xf000'0000u + 10 * i + k );
      route.communities.push_back( i );
      return route;
   }
   static bool matches( const Agent::CommunityListLine & line, const TableRoute & route ) {
      return std::ranges::all_of( line.communities,
                                  [ & ]( Agent::Community c ) { return std::ranges::count( route.communities, c ) != 0; } );
   }
};
struct Paths {
   using List = Agent::AsPathList;
   static constexpr const char * kWhat = "an AS path list";
   static constexpr auto kOption = Agent::MatchOption::matchAsPath;
   static constexpr auto kLists = &PolicyText::asPathLists;
   static constexpr auto kEdits = &Agent::TextEdit::asPathLists;
   static Agent::AsPathListLine line( uint32_t i ) { return { Agent::MatchPermit::permit, '_' + std::to_string( i ) + '_', {} }; }
   /// A route with a path of five ASes, one of which is `i`.
   static TableRoute route( uint32_t i ) {
      TableRoute route;
      route.asPath = "4200000001 4200000002 4200000003 " + std::to_string( i ) + " 4200000004";
      return route;
   }
   static bool matches( const Agent::AsPathListLine & line, const TableRoute & route ) {
      const std::string as = line.expression.substr( 1, line.expression.size() - 2 );
      return ( ' ' + route.asPath + ' ' ).find( ' ' + as + ' ' ) != std::string::npos;
   }
};

template <class Kind>
PolicyText listOf( size_t size ) {
   PolicyText text;
   auto & lines = ( text.*Kind::kLists )[ "LIST" ].lines;
   for( uint32_t i = 1; i <= size; ++i ) lines.emplace( 5 * i, Kind::line( i ) );
   return text;
}

/// The heap memory in use.
size_t heapBytes() {
   return mallinfo2().uordblks;
}

template <class Kind>
void measureMemory( size_t size ) {
   if( !wanted( std::string( Kind::kWhat ) + ", bytes" ) ) return;
   const size_t none = heapBytes();
   const PolicyText text = listOf<Kind>( size );
   const size_t before = heapBytes();
   const auto list = Quoin::makeNode<typename Kind::List>( "LIST", ( text.*Kind::kLists ).at( "LIST" ), Dialect::native );
   const auto each = [ = ]( size_t bytes ) { return double( bytes ) / double( size ); };
   printRow( std::string( Kind::kWhat ) + ", bytes a line", grouped( size ), "bytes", each( heapBytes() - before ), "its text",
             each( before - none ) );
}

// Half of the routes match a line.
template <class Kind>
void measureMatch( size_t size, size_t asked ) {
   const std::string question = std::string( Kind::kWhat ) + ", match";
   if( !wanted( question ) ) return;
   const PolicyText text = listOf<Kind>( size );
   const auto & listText = ( text.*Kind::kLists ).at( "LIST" );
   const auto list = Quoin::makeNode<typename Kind::List>( "LIST", listText, Dialect::native );
   Random random( 70 );
   std::vector<TableRoute> routes;
   for( size_t i = 0; i < asked; ++i ) routes.push_back( Kind::route( uint32_t( 1 + random.below( 2 * size ) ) ) );
   Group group;
   const auto ours = group.way(
      "list", asked, [ & ] { return overlapped( asked, [ & ]( size_t i ) -> size_t { return list->permits( routes[ i ] ); } ); } );
   const auto walk = group.way( "a walk over the lines", asked, [ & ] {
      return overlapped( asked, [ & ]( size_t i ) -> size_t {
         return std::ranges::any_of( listText.lines, [ & ]( const auto & line ) { return Kind::matches( line.second, routes[ i ] ); } );
      } );
   } );
   group.row( question, grouped( size ), ours, walk );
   group.run();
}

/// A list under a route map. The action of a random line changes.
template <class Kind>
class EditedList {
 public:
   explicit EditedList( size_t size ) : size_( size ) {
      PolicyText text = listOf<Kind>( size );
      text.routeMaps[ "MAP" ].sequences[ 10 ].match[ Kind::kOption ].name = "LIST";
      policy_.apply( std::move( text ) );
   }
   uint64_t change() {
      for( size_t i = 0; i < kChanges; ++i ) {
         const auto number = uint32_t( 5 * ( 1 + random_.below( size_ ) ) );
         Agent::TextEdit edit;
         auto & changed = ( edit.*Kind::kEdits )[ "LIST" ].lines[ number ];
         changed.was = changed.is = ( policy_.text().*Kind::kLists ).at( "LIST" ).lines.at( number );
         changed.is->action = changed.was->action == Agent::MatchPermit::permit ? Agent::MatchPermit::deny : Agent::MatchPermit::permit;
         if( policy_.applyEdit( edit ).edits != 1 ) fail( "a line did not change" );
      }
      return kChanges;
   }
   static constexpr size_t kChanges = 2'000;

 private:
   const size_t size_;
   LivePolicy policy_;
   Random random_{ 1 };
};

template <class Kind>
void measureListChanges() {
   const std::string question = std::string( Kind::kWhat ) + ", one change, in force";
   if( !wanted( question ) ) return;
   Group group;
   const auto way = [ & ]( size_t size ) {
      return group.way( "a list of " + grouped( size ), EditedList<Kind>::kChanges,
                        [ edited = std::make_shared<EditedList<Kind>>( size ) ] { return edited->change(); } );
   };
   const auto least = way( 100 );
   for( const size_t size : { 10'000u, 100'000u } ) group.row( question, grouped( size ), way( size ), least );
   group.run();
}

template <class Kind>
void measureLists() {
   measureMatch<Kind>( 10, 1'000 );
   measureMatch<Kind>( 100'000, 100 );
   measureMemory<Kind>( 100'000 );
   measureListChanges<Kind>();
}

/// Only counts the routes.
class Counting final : public Agent::TableHandler {
 public:
   void handleRoute( const TableRoute & ) override { ++routes; }
   void handleBroken( const Agent::Broken & broken ) override { fail( std::string( broken.reason ) ); }
   uint64_t routes = 0;
};
class Keeping final : public Agent::TableHandler {
 public:
   void handleRoute( const TableRoute & route ) override { routes.push_back( route ); }
   void handleBroken( const Agent::Broken & broken ) override { fail( std::string( broken.reason ) ); }
   std::vector<TableRoute> routes;
};

/// A typical policy of a provider: denies bogons and long prefixes, prefers the customers' prefixes, and permits all others.
std::string edgePolicy( const Prefixes & table ) {
   std::string file = "ip prefix-list BOGONS permit 10.0.0.0/8 le 32\nip prefix-list BOGONS permit 127.0.0.0/8 le 32\n"
                      "ip prefix-list LONG permit 0.0.0.0/0 ge 25\n";
   for( size_t i = 0; i < table.size(); i += 50 ) file += "ip prefix-list CUSTOMERS permit " + textOf( table[ i ] ) + '\n';
   return file +
      "route-map IN deny 10\n match ip address prefix-list LONG\nroute-map IN deny 20\n match ip address prefix-list BOGONS\n"
      "route-map IN permit 30\n match ip address prefix-list CUSTOMERS\n set distance 20\nroute-map IN permit 40\n set metric 100\n";
}

/// A temporary file with a table. The destructor deletes it.
class TableFile {
 public:
   explicit TableFile( const std::string & text ) {
      const int to = mkstemp( name_.data() );
      if( to < 0 || ::write( to, text.data(), text.size() ) != ssize_t( text.size() ) ) fail( name_ + ": cannot write" );
      ::close( to );
   }
   ~TableFile() { ::unlink( name_.c_str() ); }
   TableFile( const TableFile & ) = delete;
   TableFile & operator=( const TableFile & ) = delete;
   const std::string & name() const noexcept { return name_; }

 private:
   std::string name_ = "/tmp/agent-bench-XXXXXX";
};

/// Evaluates routes as `eval --summary` does.
class SummaryJob final : public Agent::RouteJob {
 public:
   explicit SummaryJob( const Agent::RouteEvaluator & evaluator ) : evaluator_( evaluator ) {}
   std::unique_ptr<Agent::BatchResult> makeResult() override { return std::make_unique<Batch>(); }
   void evaluate( const TableRoute & route, Agent::BatchResult & result ) const override {
      auto & batch = static_cast<Batch &>( result );
      evaluator_.evaluate( route, batch.answer );
      batch.permitted += batch.answer.permitted;
   }
   void take( Agent::BatchResult & result ) override { permitted += std::exchange( static_cast<Batch &>( result ).permitted, 0 ); }
   uint64_t permitted = 0;

 private:
   struct Batch final : Agent::BatchResult {
      Agent::RouteAnswer answer;
      uint64_t permitted = 0;
   };
   const Agent::RouteEvaluator & evaluator_;
};

void measureTable() {
   constexpr size_t kRoutes = 500'000;
   if( !wanted( "a plain table" ) ) return;
   const Prefixes table = prefixes( kRoutes );
   std::string text;
   for( const auto & p : table ) text += textOf( p ) + '\n';
   LivePolicy policy;
   policy.apply( loaded( edgePolicy( table ) ) );
   const Agent::RouteEvaluator evaluator( policy.routeMap( "IN" ), Agent::Dialect::native );

   const auto read = [ & ]( auto & handler ) {
      Agent::MemorySource source( text );
      readTable( source, handler );
   };
   Keeping kept;
   read( kept );
   Group group;
   const auto evaluating = group.way( "evaluation", kRoutes, [ & ] {
      Agent::RouteAnswer answer;
      uint64_t asked = 0;
      for( const auto & route : kept.routes ) {
         evaluator.evaluate( route, answer );
         benchmark::DoNotOptimize( answer.permitted );
         ++asked;
      }
      return asked;
   } );
   group.row( "a plain table, evaluation, each route", grouped( table.size() ), evaluating, group.way( "reading it", kRoutes, [ & ] {
      Counting counting;
      read( counting );
      return counting.routes;
   } ) );
   group.run();

   const TableFile file( text );
   double share = 100;
   for( int turn = 0; turn < 5; ++turn ) {
      Agent::Console console;
      SummaryJob job( evaluator );
      const auto run = runTables( { { file.name() }, 1 }, job, console );
      if( !run.whole || run.routes != kRoutes || job.permitted == 0 || job.permitted == kRoutes ) fail( "the table gives wrong counts" );
      share = std::min( share, 100 * run.secondsPolicy / ( run.secondsReading + run.secondsPolicy ) );
   }
   printRow( "a plain table, policy's share of a summary", grouped( table.size() ), "%", share, "reading and policy", 100 );
}

void measureAll() {
   measureFiles( "load: ", kFiles, loading );
   measureFiles( "applied: ", std::span( kFiles ).first( kTexts ), puttingIntoForce );
   measureSaves( "a line of a prefix list", "seq 5 permit", "seq 5   deny" );
   measureSaves( "a clause beside the list", "metric 1", "metric 2" );
   measureLists<Communities>();
   measureLists<Paths>();
   measureTable();
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
