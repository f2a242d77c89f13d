// The life of an agent's policy: it is configured in any order, published, evaluated, edited while it is in use, deleted and made again.
// Behind each step stands what has been published since, with its version; whoever evaluates a route reads that and nothing else.
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

/// What one agent needs: the configuration that its user interface writes, and the machine that compiles it.
class Agent {
 public:
   const Ptr<Config> config = makeNode<Config>();
   const Ptr<PolicyRoot> root = makeNode<PolicyRoot>();

   Agent() {
      // The point at which routes come in refers to its route map by name, before there is one: it holds the symbol.
      symbols_.emplace( "IN", root->routeMapTable()->symbol( "IN" ) );
      symbols_.emplace( "CUSTOMERS", root->routeMapTable()->symbol( "CUSTOMERS" ) );
   }

   /// One step: edits, then a turn of the agent's loop, then what has come of it.
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
         std::cout << ", which is nothing\n";
         return;
      }
      std::cout << ", sequences";
      for( const auto & [ seqno, sequence ] : status->seqStatus() ) std::cout << ' ' << seqno;
      if( status->undefinedReferences().value ) std::cout << ", " << status->undefinedReferences();
      std::cout << '\n';
   }

   // A point whose route map is not there permits nothing here; that is the agent's own decision.
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
   // The helpers make the machines of each sequence. An agent with options of its own brings others.
   const Ptr<RouteMapConfigSm> machine_ =
      routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<CommonRmConfigFilterSmHelper>(),
                               makeNode<CommonRmConfigSymbolSmHelper>( root ), scheduler_, nullptr );
   const PolicyEval eval_;
   std::map<Quoin::String, Ptr<RouteMapSymbol>> symbols_;
   std::map<Quoin::String, uint32_t> seen_;
};

/// Says that the route map is consistent as it stands: its edits are taken in.
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

   agent.step( "route-map IN calls CUSTOMERS, which nobody has configured", [ & ] {
      const auto entry = in->mapEntryIs( 10 );
      entry->subRouteMapIs( { "CUSTOMERS" } );
      entry->distanceIs( 20 );
      declare( in );
   } );
   agent.step( "CUSTOMERS comes, and refers to a prefix list that nobody has configured", [ & ] { makeCustomers( *agent.config ); } );

   PrefixListProducer customers( agent.root->ipv4PrefixListTable(), "CUSTOMER-NETS", Ferule::AddressFamily::ipv4 );
   agent.step( "the list comes: whatever stands on it follows, from the leaf upward", [ & ] {
      enter( customers, 10, "10.1.0.0/16", 24 );
      customers.publish();
   } );
   agent.step( "one more entry", [ & ] {
      enter( customers, 20, "10.2.0.0/16", 24 );
      customers.publish();
   } );
   agent.step( "an edit is begun and the route map not yet declared: what is published stays", [ & ] {
      in->mapEntryIs( 20 )->distanceIs( 200 );
      in->mapEntry( 10 )->permitIs( Acl::MatchPermit::deny );
   } );
   agent.step( "it is declared: both edits at once", [ & ] { declare( in ); } );
   agent.step( "CUSTOMERS would call IN: a cycle is held back, and evaluation never sees it", [ & ] {
      const auto map = agent.config->routeMap( "CUSTOMERS" );
      map->mapEntry( 10 )->subRouteMapIs( { "IN" } );
      declare( map );
   } );
   agent.step( "IN stops calling CUSTOMERS, which makes that call one that may be", [ & ] {
      in->mapEntry( 10 )->subRouteMapIs( {} );
      declare( in );
   } );
   agent.step( "CUSTOMERS is deleted", [ & ] { agent.config->routeMapDel( "CUSTOMERS" ); } );
   agent.step( "IN is deleted and made again in one turn, as a stub", [ & ] {
      agent.config->routeMapDel( "IN" );
      const auto again = agent.config->routeMapIs( "IN" );
      again->mapEntryIs( 10 )->matchRuleIs( { .listName = "CUSTOMER-NETS", .option = MatchOption::matchIpPrefixList } );
      declare( again );
   } );
}
