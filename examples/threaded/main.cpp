// An agent with several threads: the activity thread edits and compiles the policy, and the other threads evaluate routes meanwhile. Each
// edit changes a prefix list and a route map together; the program shows that no thread ever sees one change without the other.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "compile/CommonHelpers.h"
#include "compile/PublishedRouteMap.h"
#include "compile/RouteMapConfigSm.h"
#include "policy/Policy.h"
#include "substrate/routemap/PrefixListProducer.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;

constexpr uint8_t kEdits = 100;
constexpr size_t kThreads = 4;

/// The answers of one policy to all routes.
struct Answers {
   size_t permitted = 0;
   bool sameDistance = true;
   int distance = 0;   // of the last permitted route

   void add( const Result_ & result ) {
      const int next = int( result.preference() );
      if( permitted++ > 0 && next != distance ) sameDistance = false;
      distance = next;
   }
   /// Edit n permits n routes, and sets their distance to n.
   bool ofOnePolicy() const { return sameDistance && permitted == size_t( distance ); }
};

/// What an evaluation thread reports at its end.
struct Report {
   size_t mixed = 0;   // the number of passes that saw a part of an edit
   Answers last;

   void add( const Answers & answers ) {
      mixed += !answers.ofOnePolicy();
      last = answers;
   }
};

/// An evaluation thread: evaluates all routes again and again, until the agent stops.
Report evaluate( const PublishedPolicy & published, const std::vector<MatchInput_> & routes, const std::atomic<bool> & stopping ) {
   Report report;
   const PolicyEval eval;                         // without a context
   PublishedPolicy::Reader reader( published );   // of this thread
   for( bool isLast = false; !isLast; ) {
      isLast = stopping;
      const auto & policy = reader.policy();   // once for each pass over the routes
      Answers answers;
      for( const auto & route : routes ) {
         Result_ result;
         if( eval.eval( &route, policy, &result ) ) answers.add( result );
      }
      report.add( answers );
   }
   return report;
}

/// The activity thread: owns the configuration and everything that compiles it.
class Agent {
 public:
   const PublishedPolicy & published() const { return in_.published(); }

   /// Permits one more route, and sets the distance of all permitted routes.
   void edit( uint8_t n ) {
      {
         const ConfigEdit edit( config_ );   // both changes are published together
         const Ferule::IpGenPrefix prefix( "10." + std::to_string( n ) + ".0.0/16" );
         if( const auto error = nets_.entryIs( { n, Acl::MatchPermit::permit, prefix, {}, {} } ) ) std::cerr << error->toStrep() << '\n';
         nets_.publish();
         const auto map = config_->routeMapIs( "IN" );
         const auto entry = map->mapEntryIs( 10 );
         entry->matchRuleIs( { .listName = "NETS", .option = MatchOption::matchIpPrefixList } );
         entry->distanceIs( n );
         map->versionIs( map->version() + 1 );
      }
      scheduler_->runUntilIdle();   // in the agent's own loop
   }
   /// Frees old policies, when the agent has nothing else to do. Returns the number of those that threads still use.
   size_t idle() { return in_.retiredDelAll(); }

 private:
   const Quoin::Ptr<Config> config_ = makeNode<Config>();
   const Quoin::Ptr<PolicyRoot> root_ = makeNode<PolicyRoot>();
   const Quoin::Ptr<Zeugma::TaskScheduler> scheduler_ = makeNode<Zeugma::TaskScheduler>();
   const Quoin::Ptr<RouteMapConfigSm> machine_ =
      routeMapConfigSmFactory( config_, makeNode<Config>(), root_, makeNode<CommonRmConfigFilterSmHelper>(),
                               makeNode<CommonRmConfigSymbolSmHelper>( root_ ), scheduler_, nullptr );
   PrefixListProducer nets_{ root_->ipv4PrefixListTable(), "NETS", Ferule::AddressFamily::ipv4 };
   // Until IN is created, and after it was deleted, this point of application denies all routes.
   PublishedRouteMap in_{ root_->routeMapTable(), "IN", RmPrecedence::routeMapPrecedence, WhileUndefined::deny };
};

}   // namespace

int main() {
   std::vector<MatchInput_> routes( 256 );
   for( size_t i = 0; i < routes.size(); ++i ) routes[ i ].prefixIs( Ferule::IpGenPrefix( "10." + std::to_string( i ) + ".0.0/16" ) );

   Agent agent;
   std::atomic<bool> stopping = false;
   std::vector<Report> reports( kThreads );
   std::vector<std::thread> threads;
   threads.reserve( kThreads );
   for( auto & report : reports ) threads.emplace_back( [ & ] { report = evaluate( agent.published(), routes, stopping ); } );

   for( uint8_t n = 1; n <= kEdits; ++n ) {
      agent.edit( n );
      std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );   // the threads evaluate meanwhile; no result depends on it
   }
   stopping = true;
   for( auto & thread : threads ) thread.join();

   std::cout << int( kEdits ) << " edits, while " << kThreads << " threads evaluated " << routes.size() << " routes again and again\n";
   for( const auto & report : reports )
      std::cout << "   " << report.mixed << " passes saw a part of an edit; the last pass permitted " << report.last.permitted
                << " routes, with distance " << report.last.distance << '\n';
   std::cout << agent.idle() << " old policies are left\n";
}
