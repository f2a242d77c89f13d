// What does it cost to notify subscribers of a change, to find or create a symbol, and to take the current policy on an evaluation thread?

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/Measure.h"
#include "bench/Threads.h"
#include "compile/RouteMapSymbol.h"
#include "policy/PublishedPolicy.h"
#include "substrate/plinth/NotifieeConst.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/zeugma/Task.h"

namespace {

using namespace Bench;
using Routing::Policy::RouteMapSymbol;
using Routing::Policy::RouteMapSymbolDedupTable;

constexpr size_t kDeliveries = 400'000;   // per pass, for every number of subscribers

class Source final : public Quoin::NotifyingNode {
 public:
   PLINTH_ATTR( version, versionIs, 0, uint32_t );
};

// A plain subscriber, and a subscriber of the class that machines use.
struct Plain final : Quoin::Subscriber {
   void onChange( const Quoin::Change & ) override { ++heard; }
   uint64_t heard = 0;
};
struct Notifiee final : Plinth::NotifieeConst {
   void handleChange( const Quoin::Change & ) override { ++heard; }
   uint64_t heard = 0;
};

struct Callback {
   void ( *function )( Callback & self );
   uint64_t heard = 0;
};

void count( Callback & self ) {
   ++self.heard;
}

void measurePublication( size_t subscribers ) {
   const std::string size = grouped( subscribers );
   if( !wanted( "publication, " + size ) ) return;
   const auto plainSource = Quoin::makeNode<Source>();
   const auto notifieeSource = Quoin::makeNode<Source>();
   std::vector<std::unique_ptr<Plain>> plain;
   std::vector<Quoin::Ptr<Notifiee>> notifiees;
   std::vector<std::unique_ptr<Callback>> callbacks;
   for( size_t i = 0; i < subscribers; ++i ) {
      plain.push_back( std::make_unique<Plain>() );
      plainSource->publisher()->subscriberAdd( plain.back().get() );
      notifiees.push_back( Quoin::makeNode<Notifiee>() );
      notifiees.back()->notifierIs( notifieeSource );
      notifiees.back()->hasNotificationActiveIs( true );
      callbacks.push_back( std::make_unique<Callback>( Callback{ count, 0 } ) );
   }
   const size_t publications = kDeliveries / subscribers;
   // Returns the number of notifications that the last subscriber received in this pass.
   auto pass = [ publications ]( auto && tell, const uint64_t & heard ) {
      const uint64_t before = heard;
      for( size_t i = 0; i < publications; ++i ) tell();
      return heard - before;
   };
   Group group;
   const auto yardstick = group.way( "loop over function pointers", kDeliveries, [ & ] {
      return pass(
         [ & ] {
            for( const auto & callback : callbacks ) callback->function( *callback );
         },
         callbacks.back()->heard );
   } );
   group.row( "one notification of a subscriber", size,
              group.way( "publication", kDeliveries,
                         [ & ] { return pass( [ & ] { plainSource->versionIs( plainSource->version() + 1 ); }, plain.back()->heard ); } ),
              yardstick );
   group.row(
      "one notification of a reactor", size,
      group.way( "publication", kDeliveries,
                 [ & ] { return pass( [ & ] { notifieeSource->versionIs( notifieeSource->version() + 1 ); }, notifiees.back()->heard ); } ),
      yardstick );
   group.run();
}

void measureSymbols( size_t symbols ) {
   const std::string size = grouped( symbols );
   if( !wanted( "symbols, " + size ) ) return;
   constexpr size_t kAsked = 100'000;
   const auto table = Quoin::makeNode<RouteMapSymbolDedupTable>();
   std::vector<Quoin::Ptr<RouteMapSymbol>> kept;
   std::unordered_map<std::string, size_t> map;
   std::vector<std::string> texts;
   std::vector<Quoin::String> names;
   std::vector<Quoin::String> absent;
   for( size_t i = 0; i < symbols; ++i ) {
      texts.push_back( "ROUTE-MAP-" + std::to_string( i ) );
      names.emplace_back( texts.back() );
      absent.emplace_back( "NO-ROUTE-MAP-" + std::to_string( i ) );
      kept.push_back( table->symbol( names.back() ) );
      map.emplace( texts.back(), i );
   }
   auto at = [ symbols ]( size_t i ) { return i * 7919 % symbols; };
   Group group;
   const auto find = group.way( "std::unordered_map, find", kAsked, [ & ] {
      return overlapped( kAsked, [ & ]( size_t i ) -> size_t { return map.find( texts[ at( i ) ] )->second == at( i ); } );
   } );
   group.row( "an existing symbol, found", size,
              group.way( "symbol", kAsked,
                         [ & ] {
                            return overlapped(
                               kAsked, [ & ]( size_t i ) -> size_t { return table->symbol( names[ at( i ) ] ) == kept[ at( i ) ]; } );
                         } ),
              find );
   group.row( "an existing symbol, created and deduplicated", size,
              group.way( "dedup", kAsked,
                         [ & ] {
                            return overlapped( kAsked, [ & ]( size_t i ) -> size_t {
                               return Routing::Policy::routeMapSymbolFactory( names[ at( i ) ] )->dedup( table ) == kept[ at( i ) ];
                            } );
                         } ),
              find );
   const auto insert = group.way( "std::unordered_map, insert, erase", kAsked, [ & ] {
      return overlapped( kAsked, [ & ]( size_t i ) -> size_t {
         const auto made = map.emplace( absent[ at( i ) ].view(), i ).first;
         map.erase( made );
         return map.size();
      } );
   } );
   group.row( "a new symbol, created and deleted", size,
              group.way( "symbol", kAsked,
                         [ & ] {
                            return overlapped( kAsked, [ & ]( size_t i ) -> size_t {
                               table->symbol( absent[ at( i ) ] );
                               return table->count();
                            } );
                         } ),
              insert );
   group.run();
}

void measureTasks() {
   if( !wanted( "tasks" ) ) return;
   constexpr size_t kRuns = 100'000;
   const auto scheduler = Quoin::makeNode<Zeugma::TaskScheduler>();
   uint64_t ran = 0;
   Zeugma::Task task( scheduler, Zeugma::TaskPriority::routeMap, "task", [ & ] { ++ran; } );
   const std::function<void()> function = [ & ] { ++ran; };
   Group group;
   const auto call = group.way( "call of a std::function", kRuns, [ & ] {
      return overlapped( kRuns, [ & ]( size_t ) -> size_t {
         const uint64_t before = ran;
         function();
         return ran - before;
      } );
   } );
   group.row( "a task scheduled and run", grouped( 1 ),
              group.way( "task", kRuns,
                         [ & ] {
                            return overlapped( kRuns, [ & ]( size_t ) -> size_t {
                               const uint64_t before = ran;
                               task.scheduleTask();
                               scheduler->runUntilIdle();
                               return ran - before;
                            } );
                         } ),
              call );
   group.run();
}

void measureReaders() {
   if( !wanted( "the current policy taken" ) ) return;
   constexpr size_t kTaken = 1'000'000;
   using Routing::Policy::PublishedPolicy;
   PublishedPolicy published;
   published.policyIs( Quoin::makeNode<Routing::Policy::RouteMapStatusList>() );
   const auto read = [ & ] {
      PublishedPolicy::Reader reader( published );
      return overlapped( kTaken, [ & ]( size_t ) -> size_t { return bool( reader.policy() ); } );
   };
   std::mutex mutex;
   const auto handle = published.policy();
   const auto copy = [ & ] {
      return overlapped( kTaken, [ & ]( size_t ) -> size_t {
         const auto held = [ & ] {
            const std::lock_guard lock( mutex );
            return handle;
         }();
         return bool( held );
      } );
   };
   for( const size_t threads : { 1, 2 } )
      printRow( "the current policy taken, on each thread", grouped( threads ), "ns", nsPerQuestion( threads, kTaken, read ),
                "a handle copied in a mutex", nsPerQuestion( threads, kTaken, copy ) );
}

void measureAll() {
   for( const size_t subscribers : { 1, 100, 100'000 } ) measurePublication( subscribers );
   for( const size_t symbols : { 100, 100'000 } ) measureSymbols( symbols );
   measureTasks();
   measureReaders();
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
