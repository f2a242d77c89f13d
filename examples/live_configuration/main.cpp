// The life of an agent's policy: it is configured in any order, published, evaluated, edited while it is in use, deleted and created again.
// After each step, the program prints the published versions, which are all that evaluation reads, and evaluates three routes.
#include <functional>
#include <iostream>
#include <map>
#include <string>

#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"
#include "policy/Policy.h"
#include "substrate/routemap/PrefixListProducer.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;

/// One agent: the configuration that its user interface writes, and the machine that compiles the configuration.
class Agent {
 public:
   const Ptr<Config> config = makeNode<Config>();
   const Ptr<PolicyRoot> root = makeNode<PolicyRoot>();

   Agent() {
      // The point of application refers to its route map by name, so it holds the symbol. The route map is still undefined.
      symbols_.emplace( "IN", root->routeMapTable()->symbol( "IN" ) );
      symbols_.emplace( "CUSTOMERS", root->routeMapTable()->symbol( "CUSTOMERS" ) );
   }

   /// One step: runs an edit and the loop of the agent, and prints the effect.
   void step( const std::string & what, const std::function<void()> & edit ) {
      std::cout << what << '\n';
      edit();
      scheduler_->runUntilIdle();
      for( const auto & [ name, symbol ] : symbols_ ) report( *symbol );
      for( const char * prefix : { "10.1.0.0/16", "10.2.3.0/24", "192.0.2.0/24" } ) evaluate( prefix );
      std::cout << '\n';
   }

 private:
   void report( const RouteMapSymbol & symbol ) {
      auto & seen = seen_[ symbol.name() ];
      if( seen == symbol.notifierVersion() ) return;
      seen = symbol.notifierVersion();
      std::cout << "   published   " << symbol.name() << " version " << seen;
      const auto & status = symbol.rmStatus();
      if( !status ) {
         std::cout << ", undefined\n";
         return;
      }
      std::cout << ", sequences";
      for( const auto & [ seqno, sequence ] : status->seqStatus() ) std::cout << ' ' << seqno;
      if( status->undefinedReferences().value ) std::cout << ", " << status->undefinedReferences();
      std::cout << '\n';
   }

   // Here, a point whose route map is undefined permits nothing: this is a decision of the agent.
   void evaluate( const char * prefix ) const {
      const auto & status = symbols_.at( "IN" )->rmStatus();
      auto policy = makeNode<RouteMapStatusList>();
      if( status ) policy->rmStatusIs( RmPrecedence::routeMapPrecedence, status );
      MatchInput_ route;
      route.prefixIs( Ferule::IpGenPrefix( prefix ) );
      Result_ result;
      const bool permitted = status && eval_.eval( &route, policy, &result );
      std::cout << "   " << prefix << ( permitted ? " permitted" : " denied" );
      if( permitted && result.preference() ) std::cout << ", distance " << int( result.preference() );
      std::cout << '\n';
   }

   const Ptr<Zeugma::TaskScheduler> scheduler_ = makeNode<Zeugma::TaskScheduler>();
   // The helpers create the machines of each sequence. An agent with options of its own uses other helpers.
   const Ptr<RouteMapConfigSm> machine_ =
      routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<CommonRmConfigFilterSmHelper>(),
                               makeNode<CommonRmConfigSymbolSmHelper>( root ), scheduler_, nullptr );
   const PolicyEval eval_;
   std::map<Quoin::String, Ptr<RouteMapSymbol>> symbols_;
   std::map<Quoin::String, uint32_t> seen_;
};

/// Declares that the route map is consistent: its edits take effect.
void declare( const Ptr<Map> & map ) {
   map->versionIs( map->version() + 1 );
}

void enter( PrefixListProducer & list, uint32_t seqno, const char * prefix, uint32_t le ) {
   if( const auto error = list.entryIs( { seqno, Acl::MatchPermit::permit, Ferule::IpGenPrefix( prefix ), std::nullopt, le } ) )
      std::cerr << error->toStrep() << '\n';
}

void makeCustomers( Config & config ) {
   const auto map = config.routeMapIs( "CUSTOMERS" );
   map->mapEntryIs( 10 )->matchRuleIs( { .listName = "CUSTOMER-NETS", .option = MatchOption::matchIpPrefixList } );
   declare( map );
}

}   // namespace

int main() {
   Agent agent;
   const auto in = agent.config->routeMapIs( "IN" );

   agent.step( "route map IN calls CUSTOMERS, which is undefined", [ & ] {
      const auto entry = in->mapEntryIs( 10 );
      entry->subRouteMapIs( { "CUSTOMERS" } );
      entry->distanceIs( 20 );
      declare( in );
   } );
   agent.step( "CUSTOMERS is created and refers to an undefined prefix list", [ & ] { makeCustomers( *agent.config ); } );

   PrefixListProducer customers( agent.root->ipv4PrefixListTable(), "CUSTOMER-NETS", Ferule::AddressFamily::ipv4 );
   agent.step( "the list is created: its users are published again, callees before callers", [ & ] {
      enter( customers, 10, "10.1.0.0/16", 24 );
      customers.publish();
   } );
   agent.step( "the list gets one more entry", [ & ] {
      enter( customers, 20, "10.2.0.0/16", 24 );
      customers.publish();
   } );
   agent.step( "IN is edited and not yet declared consistent: the published version stays", [ & ] {
      in->mapEntryIs( 20 )->distanceIs( 200 );
      in->mapEntry( 10 )->permitIs( Acl::MatchPermit::deny );
   } );
   agent.step( "IN is declared consistent: both edits are published at once", [ & ] { declare( in ); } );
   agent.step( "CUSTOMERS calls IN, which would close a cycle: the call is blocked and not published", [ & ] {
      const auto map = agent.config->routeMap( "CUSTOMERS" );
      map->mapEntry( 10 )->subRouteMapIs( { "IN" } );
      declare( map );
   } );
   agent.step( "IN stops calling CUSTOMERS: the blocked call closes no cycle any more and is published", [ & ] {
      in->mapEntry( 10 )->subRouteMapIs( {} );
      declare( in );
   } );
   agent.step( "CUSTOMERS is deleted", [ & ] { agent.config->routeMapDel( "CUSTOMERS" ); } );
   agent.step( "IN is deleted and created again in one turn, with one sequence", [ & ] {
      agent.config->routeMapDel( "IN" );
      const auto again = agent.config->routeMapIs( "IN" );
      again->mapEntryIs( 10 )->matchRuleIs( { .listName = "CUSTOMER-NETS", .option = MatchOption::matchIpPrefixList } );
      declare( again );
   } );
}
