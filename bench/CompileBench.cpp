// How long does it take to compile a configuration, and to follow a change of a list? The yardstick of a large configuration is a small
// one: the ratio shows whether the cost is linear.

#include "bench/Configurations.h"

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
Group::Way firstCompile( Group & group, size_t maps, size_t sequences ) {
   const auto agent = std::make_shared<std::unique_ptr<Agent>>();
   return group.way(
      grouped( maps ) + " x " + grouped( sequences ), maps * sequences,
      [ =, config = configOf( maps, sequences ) ] {
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

// All route maps deleted at once, by the task. A pass answers 1 if none is left.
Group::Way deleted( Group & group, size_t maps ) {
   const auto agent = std::make_shared<std::unique_ptr<Agent>>();
   const auto make = [ = ] { *agent = std::make_unique<Agent>( configOf( maps, 1 ) ); };
   make();
   return group.way(
      grouped( maps ) + " maps", maps,
      [ =, name = mapName( maps / 2 ) ] {
         const auto symbol = ( *agent )->root->routeMapTable()->symbol( name );
         ( *agent )->config->routeMapDelAll();
         ( *agent )->settle();
         return ( *agent )->root->routeMapTable()->count() == 1 && !symbol->rmStatus();
      },
      make );
}

void measureDeletion() {
   if( !wanted( "route maps deleted" ) ) return;
   Group group;
   const auto few = deleted( group, 1'000 );
   group.row( "route maps deleted, each", "100,000", deleted( group, 100'000 ), few );
   group.run();
}

// Measured first and in a group of its own: passes over 100,000 sequences leave a heap whose fragmentation would decide these rows.
void measureOneMap() {
   if( !wanted( "first compile" ) ) return;
   Group group;
   const auto sequences = firstCompile( group, 1, 1'000 );
   group.row( "first compile of one map, each sequence", "10,000", firstCompile( group, 1, 10'000 ), sequences );
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

void measureListUnderLongMap() {
   constexpr size_t kSequences = 10'000;
   if( !wanted( "a list changed under a long map" ) ) return;
   Agent agent( configOf( 1, kSequences ) );
   ChangingList list( agent );
   agent.settle();
   checkClones( agent, list, kSequences );
   std::vector<Ptr<const Routing::Policy::RouteMapSeqStatus>> row;
   for( const auto & [ seqno, sequence ] : agent.symbol( 0 )->rmStatus()->seqStatus() ) row.push_back( sequence );
   Group group;
   const auto copy = group.way( "copy of a row of handles", 1, [ & ] {
      const auto made = row;
      return made.size();
   } );
   group.row( "a list changed under a long map", grouped( kSequences ),
              group.way( "change", 1,
                         [ & ] {
                            list.change();
                            agent.settle();
                            return agent.symbol( 0 )->rmStatus()->seqStatus().count();
                         } ),
              copy );
   group.run();
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

void measureAll() {
   measureOneMap();
   measureManyMaps();
   measureListUnderLongMap();
   measureSharedList();
   measureDeletion();
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
