// How long does it take to compile a configuration, to follow a change of a list, to delete route maps, and to enter calls? The yardstick
// of a large configuration is a small one: the ratio shows whether the cost is linear.

#include <algorithm>
#include <chrono>
#include <ctime>
#include <numeric>
#include <random>

#include "bench/Configurations.h"
#include "bench/Tables.h"

namespace {

using namespace Bench;
using Routing::RouteMap::PrefixListProducer;

/// A list with one entry, to which route maps refer. Each change replaces the entry.
class ChangingList {
 public:
   explicit ChangingList( const Agent & agent ) : list_( agent.root->ipv4PrefixListTable(), kSharedList, Ferule::AddressFamily::ipv4 ) {
      change();
   }
   void change() {
      list_.entryDel( 10 );
      const auto error = list_.entryIs( { 10, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, 8 + ++changes_ % 24 } );
      if( error ) fail( std::string( error->toStrep() ) );
      list_.publish();
   }

 private:
   PrefixListProducer list_;
   uint32_t changes_ = 0;
};

// A pass answers 1 if all sequences are published. The agent is destroyed after the pass.
Group::Way firstCompile( Group & group, size_t maps, size_t sequences, Fill fill = fillTypical ) {
   const auto agent = std::make_shared<std::unique_ptr<Agent>>();
   return group.way(
      grouped( maps ) + " x " + grouped( sequences ), maps * sequences,
      [ =, config = configOf( maps, sequences, fill ) ] {
         *agent = std::make_unique<Agent>( config );
         return ( *agent )->published( maps ) == maps * sequences;
      },
      [ agent ] { agent->reset(); } );
}

Group::Way enteredLive( Group & group, size_t sequences ) {
   const auto agent = std::make_shared<std::unique_ptr<Agent>>();
   return group.way(
      grouped( sequences ) + " sequences", sequences,
      [ = ] {
         *agent = std::make_unique<Agent>( makeNode<Config>() );
         fillMap( ( *agent )->config->routeMapIs( mapName( 0 ) ), sequences );
         ( *agent )->settle();
         return ( *agent )->published( 1 ) == sequences;
      },
      [ agent ] { agent->reset(); } );
}

Group::Way takenDown( Group & group, size_t sequences ) {
   const auto agent = std::make_shared<std::unique_ptr<Agent>>();
   const auto make = [ =, config = configOf( 1, sequences ) ] { *agent = std::make_unique<Agent>( config ); };
   make();
   return group.way(
      grouped( sequences ) + " sequences", sequences,
      [ agent ] {
         agent->reset();
         return 1;
      },
      make );
}

// Runs tasks until none is due. Returns the longest run of the delete task, in milliseconds of processor time: other work on the machine
// does not count.
double longestDeletion( const Agent & agent ) {
   const Zeugma::Task & task = *agent.machine->routeMapDeleteTask();
   for( std::clock_t longest = 0;; ) {
      const uint64_t runs = task.taskRuns();
      const std::clock_t begun = std::clock();
      if( !agent.scheduler->runOne() ) return 1e3 * double( longest ) / CLOCKS_PER_SEC;
      if( task.taskRuns() != runs ) longest = std::max( longest, std::clock() - begun );
   }
}

// All route maps deleted at once, by the task. A pass answers 1 if none is left. `longestRun`: of all passes.
Group::Way deleted( Group & group, size_t maps, double & longestRun ) {
   const auto agent = std::make_shared<std::unique_ptr<Agent>>();
   const auto make = [ = ] { *agent = std::make_unique<Agent>( configOf( maps, 1 ) ); };
   make();
   return group.way(
      grouped( maps ) + " maps", maps,
      [ =, name = mapName( maps / 2 ), &longestRun ] {
         const auto symbol = ( *agent )->root->routeMapTable()->symbol( name );
         ( *agent )->config->routeMapDelAll();
         longestRun = std::max( longestRun, longestDeletion( **agent ) );
         return ( *agent )->root->routeMapTable()->count() == 1 && !symbol->rmStatus();
      },
      make );
}

void printLongestRun( const char * question, size_t maps, double ms ) {
   printRow( question, grouped( maps ), "ms", ms, "its quantum",
             std::chrono::duration<double, std::milli>( Zeugma::TaskScheduler::kDefaultQuantum ).count() );
}

// Passes over 100,000 route maps leave a heap whose fragmentation would decide the rows of the smaller configurations: they come last.
void measureDeletion() {
   if( !wanted( "route maps deleted" ) ) return;
   const auto compare = []( size_t maps, size_t fewMaps ) {
      double longest = 0, longestFew = 0;
      Group group;
      const auto few = deleted( group, fewMaps, longestFew );
      group.row( "route maps deleted, each", grouped( maps ), deleted( group, maps, longest ), few );
      group.run();
      if( fewMaps == 1'000 ) printLongestRun( "route maps deleted, longest run", fewMaps, longestFew );
      printLongestRun( "route maps deleted, longest run", maps, longest );
   };
   compare( 10'000, 1'000 );
   compare( 100'000, 10'000 );
}

// Measured first and in a group of its own: passes over 100,000 sequences leave a heap whose fragmentation would decide these rows.
void measureOneMap() {
   if( !wanted( "first compile" ) ) return;
   Group group;
   const auto sequences = firstCompile( group, 1, 1'000 );
   group.row( "first compile of one map, each sequence", "10,000", firstCompile( group, 1, 10'000 ), sequences );
   const auto tags = firstCompile( group, 1, 1'000, fillTag );
   group.row( "first compile, a tag and a distance each", "10,000", firstCompile( group, 1, 10'000, fillTag ), tags );
   const auto lists = firstCompile( group, 1, 1'000, fillOwnList );
   group.row( "first compile, a list of its own each", "10,000", firstCompile( group, 1, 10'000, fillOwnList ), lists );
   const auto live = enteredLive( group, 1'000 );
   group.row( "one map created live, each sequence", "10,000", enteredLive( group, 10'000 ), live );
   const auto down = takenDown( group, 1'000 );
   group.row( "one map destroyed, each sequence", "10,000", takenDown( group, 10'000 ), down );
   group.run();
}

void measureManyMaps() {
   if( !wanted( "first compile" ) ) return;
   Group group;
   const auto maps = firstCompile( group, 1'000, 10 );
   group.row( "first compile of maps of 10 sequences, each", "10,000", firstCompile( group, 10'000, 10 ), maps );
   group.run();
}

// Checks that a change of the list clones only the one sequence that refers to it.
void checkClones( const Agent & agent, ChangingList & list, size_t sequences ) {
   const auto before = agent.symbol( 0 )->rmStatus();
   list.change();
   agent.scheduler->runUntilIdle();
   const auto after = agent.symbol( 0 )->rmStatus();
   size_t cloned = 0;
   for( const auto & [ seqno, sequence ] : after->seqStatus() ) cloned += before->seqStatus( seqno ) != sequence;
   if( after == before || cloned != 1 || after->seqStatus().count() != sequences ) fail( "the change has cloned the wrong sequences" );
}

void measureListUnderLongMap( size_t sequences ) {
   if( !wanted( "a list changed under a long map, " + grouped( sequences ) ) ) return;
   Agent agent( configOf( 1, sequences ) );
   ChangingList list( agent );
   agent.settle();
   checkClones( agent, list, sequences );
   std::vector<Ptr<const Routing::Policy::RouteMapSeqStatus>> row;
   for( const auto & [ seqno, sequence ] : agent.symbol( 0 )->rmStatus()->seqStatus() ) row.push_back( sequence );
   Group group;
   const auto copy = group.way( "copy of a row of handles", 1, [ & ] {
      const auto made = row;
      return made.size();
   } );
   group.row( "a list changed under a long map", grouped( sequences ),
              group.way( "change", 1,
                         [ & ] {
                            list.change();
                            agent.settle();
                            return agent.symbol( 0 )->rmStatus()->seqStatus().count();
                         } ),
              copy );
   group.run();
}

/// A route map under edit. `edit` changes one sequence, and may be repeated.
class EditedMap {
 public:
   EditedMap( size_t sequences, Fill fill ) : agent( configOf( 1, sequences, fill ) ) {}
   Ptr<const Routing::Policy::RouteMapStatus> status() const { return agent.symbol( 0 )->rmStatus(); }

   Agent agent;
   std::function<void()> edit;
};

// One edit, until its generation is published. A pass answers 1 if it is published with its plan.
Group::Way edited( Group & group, EditedMap & map ) {
   return group.way( "in force", 1, [ &map ]() -> uint64_t {
      const auto before = map.status();
      map.edit();
      map.agent.settle();
      const auto after = map.status();
      return after && after != before && after->plan();
   } );
}

// The part of the plan in this edit: plans are made in turn for two generations, each from the plan before. A pass answers 1 if the plan
// before could serve.
Group::Way planned( Group & group, EditedMap & map ) {
   using Routing::Policy::RouteMapPlan;
   struct Turn {
      Ptr<const Routing::Policy::RouteMapStatus> now, next;
      std::vector<const Routing::Policy::RouteMapStatus *> callees;
      Ptr<const RouteMapPlan> plan;
   };
   const auto turn = std::make_shared<Turn>();
   turn->now = map.status();
   turn->plan = RouteMapPlan::of( turn->now->seqStatus(), nullptr, turn->callees );
   map.edit();
   map.agent.settle();
   turn->next = map.status();
   return group.way( "of this, the plan", 1, [ turn ]() -> uint64_t {
      std::swap( turn->now, turn->next );
      turn->callees.clear();
      const bool serves = turn->plan->isCurrent();
      turn->plan = RouteMapPlan::of( turn->now->seqStatus(), turn->plan, turn->callees );
      return serves;
   } );
}

void measureEdit( const std::string & question, size_t sequences, EditedMap & map ) {
   Group group;
   const auto plan = planned( group, map );
   group.row( question, grouped( sequences ), edited( group, map ), plan );
   group.run();
}

// One entry of ten changes in the list of the middle sequence.
void measureEditOfEntry( size_t sequences ) {
   const std::string question = "an entry edited under sequences by list";
   if( !wanted( question + ", " + grouped( sequences ) ) ) return;
   EditedMap map( sequences, fillOwnList );
   Random random( sequences );
   const auto prefixes = generatedTable( Ferule::AddressFamily::ipv4, 10 * sequences, random );
   std::vector<std::unique_ptr<PrefixListProducer>> lists;
   const auto put = [ & ]( size_t i, std::optional<uint8_t> le ) {
      if( lists[ i / 10 ]->entryIs( { uint32_t( i % 10 ), Acl::MatchPermit::permit, prefixes[ i ], {}, le } ) )
         fail( "an entry is refused" );
   };
   for( size_t i = 0; i < prefixes.size(); ++i ) {
      if( i % 10 == 0 )
         lists.push_back( std::make_unique<PrefixListProducer>(
            map.agent.root->ipv4PrefixListTable(), Quoin::String( "OWN-LIST-" + std::to_string( i / 10 ) ), Ferule::AddressFamily::ipv4 ) );
      put( i, {} );
      if( i % 10 == 9 ) lists.back()->publish();
   }
   map.agent.settle();
   map.edit = [ &, at = prefixes.size() / 2, longer = false ]() mutable {
      auto & list = *lists[ at / 10 ];
      list.entryDel( uint32_t( at % 10 ) );
      put( at, ( longer = !longer ) ? std::optional<uint8_t>( 32 ) : std::nullopt );
      list.publish();
   };
   measureEdit( question, sequences, map );
}

// The tag of the middle sequence changes.
void measureEditOfSequence( size_t sequences ) {
   const std::string question = "a sequence edited among sequences by tag";
   if( !wanted( question + ", " + grouped( sequences ) ) ) return;
   EditedMap map( sequences, fillTag );
   map.edit = [ &, entry = 10 * uint32_t( sequences / 2 ), tag = uint32_t( sequences ) ]() mutable {
      const auto config = map.agent.config->routeMapIs( mapName( 0 ) );
      config->mapEntryIs( entry )->matchRuleIs( { .numericValue = ++tag, .option = MatchOption::matchTag } );
      config->versionIs( config->version() + 1 );
   };
   measureEdit( question, sequences, map );
}

void measureEdits( size_t sequences ) {
   measureEditOfEntry( sequences );
   measureEditOfSequence( sequences );
}

Group::Way sharedList( Group & group, size_t maps ) {
   struct Case {
      explicit Case( size_t maps ) : agent( configOf( maps, 10 ) ), list( agent ) { agent.settle(); }
      Agent agent;
      ChangingList list;
   };
   return group.way( grouped( maps ) + " maps", maps, [ maps, c = std::make_shared<Case>( maps ) ] {
      const auto last = c->agent.symbol( maps - 1 );
      const uint32_t before = last->notifierVersion();
      c->list.change();
      c->agent.settle();
      return last->notifierVersion() - before;   // 1: published once
   } );
}

void measureSharedList() {
   if( !wanted( "a list shared by maps" ) ) return;
   Group group;
   const auto few = sharedList( group, 100 );
   group.row( "a list shared by maps changed, each map", "10,000", sharedList( group, 10'000 ), few );
   group.run();
}

// ---- a status built by hand

using Routing::Policy::RouteMapSeqStatus;
using Routing::Policy::RouteMapStatus;
using Handles = std::vector<Ptr<const RouteMapSeqStatus>>;

enum class Order { ascending, descending };

Handles sequencesOf( size_t count, Order order ) {
   Handles sequences;
   for( size_t i = 1; i <= count; ++i ) sequences.push_back( makeNode<RouteMapSeqStatus>( static_cast<uint32_t>( 10 * i ) ) );
   if( order == Order::descending ) std::ranges::reverse( sequences );
   return sequences;
}

// `updating`: each change computes the features, as the default is.
Ptr<RouteMapStatus> statusOf( const Handles & sequences, bool updating ) {
   auto status = makeNode<RouteMapStatus>( "ROUTE-MAP" );
   status->updateFeaturesOnSeqStatusChangeIs( updating );
   for( const auto & sequence : sequences ) status->seqStatusIs( sequence );
   if( !updating ) status->updateFeatures();
   return status;
}

// A pass answers 1 if all sequences are stored.
Group::Way built( Group & group, size_t count, Order order, bool updating ) {
   const auto status = std::make_shared<Ptr<RouteMapStatus>>();
   return group.way(
      grouped( count ) + " sequences", count,
      [ =, sequences = sequencesOf( count, order ) ] {
         *status = statusOf( sequences, updating );
         return ( *status )->seqStatus().count() == count;
      },
      [ status ] { *status = nullptr; } );
}

// Deletes each sequence, the first one first. A pass answers 1 if none is left.
Group::Way emptied( Group & group, size_t count ) {
   const auto status = std::make_shared<Ptr<RouteMapStatus>>();
   const auto make = [ =, sequences = sequencesOf( count, Order::ascending ) ] {
      *status = statusOf( sequences, false );
      ( *status )->updateFeaturesOnSeqStatusChangeIs( false );
   };
   make();
   return group.way(
      grouped( count ) + " sequences", count,
      [ = ] {
         for( size_t i = 1; i <= count; ++i ) ( *status )->seqStatusDel( static_cast<uint32_t>( 10 * i ) );
         return ( *status )->seqStatus().empty();
      },
      make );
}

void measureStatusByHand() {
   if( !wanted( "a status built by hand" ) ) return;
   Group group;
   const auto up = built( group, 1'000, Order::ascending, false );
   group.row( "a status built by hand, ascending, each", "10,000", built( group, 10'000, Order::ascending, false ), up );
   const auto down = built( group, 1'000, Order::descending, false );
   group.row( "a status built by hand, descending, each", "10,000", built( group, 10'000, Order::descending, false ), down );
   const auto front = emptied( group, 1'000 );
   group.row( "a status emptied from the front, each", "10,000", emptied( group, 10'000 ), front );
   const auto updating = built( group, 1'000, Order::ascending, true );
   group.row( "a status built, features at each change, each", "10,000", built( group, 10'000, Order::ascending, true ), updating );
   group.run();
}

// ---- calls

/// An agent without route maps, in which calls are entered one by one, each with a new version of its route map.
class CallingAgent : public Agent {
 public:
   CallingAgent() : Agent( makeNode<Config>() ) {}
   void call( size_t caller, size_t callee, uint32_t seqno = 10 ) const {
      const auto map = config->routeMapIs( mapName( caller ) );
      map->mapEntryIs( seqno )->subRouteMapIs( { mapName( callee ), false } );
      map->versionIs( map->version() + 1 );
   }
   void noCall( size_t caller ) const {
      const auto map = config->routeMapIs( mapName( caller ) );
      map->mapEntryIs( 10 )->subRouteMapIs( {} );
      map->versionIs( map->version() + 1 );
   }
   /// 1 if no call waits.
   size_t isComplete() const {
      for( const auto & [ name, map ] : config->routeMap() )
         if( machine->filteredRmConfig()->routeMap( name )->version() != map->version() ) return 0;
      return 1;
   }
};

// Each pass enters the calls `callers` of one chain, in which every route map calls the next. A pass answers 1 if no call waits.
Group::Way chain( Group & group, const std::vector<size_t> & callers ) {
   const auto agent = std::make_shared<std::unique_ptr<CallingAgent>>();
   return group.way(
      grouped( callers.size() ) + " calls", callers.size(),
      [ =, callee = callers.size() ] {
         *agent = std::make_unique<CallingAgent>();
         ( *agent )->noCall( callee );
         for( const size_t caller : callers ) ( *agent )->call( caller, caller + 1 );
         ( *agent )->settle();
         return ( *agent )->isComplete();
      },
      [ agent ] { agent->reset(); } );
}

// Three calls from each route map to others at random; about half of the calls would close a cycle, and wait. A pass answers 1 if the last
// route map is published.
Group::Way randomCalls( Group & group, size_t maps ) {
   const auto agent = std::make_shared<std::unique_ptr<CallingAgent>>();
   return group.way(
      grouped( 3 * maps ) + " calls", 3 * maps,
      [ = ] {
         *agent = std::make_unique<CallingAgent>();
         std::mt19937 random( 1 );
         for( uint32_t seqno = 1; seqno <= 3; ++seqno )
            for( size_t i = 0; i < maps; ++i ) ( *agent )->call( i, random() % maps, seqno );
         ( *agent )->settle();
         return size_t( ( *agent )->machine->filteredRmConfig()->routeMap().count() == maps );
      },
      [ agent ] { agent->reset(); } );
}

// A chain of calls is to be turned round: each new call waits for the next until the first is deleted. The first blocked call is the last to
// be freed if `lastFirst`.
Group::Way freedChain( Group & group, size_t maps, bool lastFirst ) {
   const auto agent = std::make_shared<std::unique_ptr<CallingAgent>>();
   const auto make = [ = ] {
      *agent = std::make_unique<CallingAgent>();
      for( size_t i = 0; i + 1 < maps; ++i ) ( *agent )->call( i, i + 1 );
      ( *agent )->settle();
      for( size_t i = 1; i < maps; ++i ) {
         const size_t caller = lastFirst ? maps - i : i;
         ( *agent )->call( caller, caller - 1 );
      }
      ( *agent )->settle();
      if( ( *agent )->isComplete() ) fail( "no call waits" );
   };
   make();
   return group.way(
      grouped( maps ) + " calls", maps,
      [ agent ] {
         ( *agent )->noCall( 0 );
         ( *agent )->settle();
         return ( *agent )->isComplete();
      },
      make );
}

std::vector<size_t> callersOf( size_t calls ) {
   std::vector<size_t> callers( calls );
   std::iota( callers.begin(), callers.end(), size_t( 0 ) );
   return callers;
}

void measureCalls() {
   if( !wanted( "calls" ) ) return;
   const auto last = []( size_t calls ) {
      auto callers = callersOf( calls );
      std::ranges::reverse( callers );
      return callers;
   };
   const auto shuffled = []( size_t calls ) {
      auto callers = callersOf( calls );
      std::ranges::shuffle( callers, std::mt19937( 1 ) );
      return callers;
   };
   Group group;
   group.row( "calls of a chain, callers first, each", "100,000", chain( group, callersOf( 100'000 ) ),
              chain( group, callersOf( 1'000 ) ) );
   group.row( "calls of a chain, callees first, each", "100,000", chain( group, last( 100'000 ) ), chain( group, last( 1'000 ) ) );
   group.row( "calls of a chain in random order, each", "100,000", chain( group, shuffled( 100'000 ) ), chain( group, shuffled( 1'000 ) ) );
   group.row( "random calls, each", "30,000", randomCalls( group, 10'000 ), randomCalls( group, 1'000 ) );
   group.row( "blocked calls freed, each", "8,000", freedChain( group, 8'000, false ), freedChain( group, 500, false ) );
   group.row( "blocked calls freed, last first, each", "8,000", freedChain( group, 8'000, true ), freedChain( group, 500, true ) );
   group.run();
}

void measureAll() {
   measureOneMap();
   measureManyMaps();
   measureStatusByHand();
   measureListUnderLongMap( 100'000 );
   for( const size_t sequences : { 100u, 1'000u, 10'000u } ) measureEdits( sequences );
   measureSharedList();
   measureDeletion();
   measureCalls();
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
