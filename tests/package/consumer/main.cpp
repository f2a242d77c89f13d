#include <iostream>

#include "policy/DistanceSetter.h"
#include "policy/Policy.h"
#include "policy/PrefixListMatcher.h"
#include "substrate/routemap/PrefixListBuilder.h"

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;

int main() {
   // ip prefix-list CUSTOMERS seq 10 permit 10.0.0.0/8 le 24
   PrefixListBuilder builder( "CUSTOMERS", Ferule::AddressFamily::ipv4 );
   if( auto error = builder.entryIs( { 10, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, 24 } ) ) {
      std::cerr << error->toStrep() << '\n';
      return 1;
   }
   auto customers = makeNode<PrefixListMatcher>( "CUSTOMERS", builder.build() );

   // route-map IN permit 10 / match ip address prefix-list CUSTOMERS / set distance 20
   auto sequence = makeNode<RouteMapSeqStatus>( 10 );
   sequence->matcherIs( MatchOption::matchIpPrefixList, customers );
   sequence->setterIs( SetOption::setDistance, makeNode<DistanceSetter>( 20 ) );
   auto routeMap = makeNode<RouteMapStatus>( "IN" );
   routeMap->seqStatusIs( sequence );

   auto policy = makeNode<RouteMapStatusList>();
   policy->rmStatusIs( RmPrecedence::routeMapPrecedence, routeMap );

   // The route, and the answer. The context keeps the reason; an evaluation without a context only decides.
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   for( const char * prefix : { "10.1.2.0/24", "192.0.2.0/24" } ) {
      MatchInput_ route;
      route.prefixIs( Ferule::IpGenPrefix( prefix ) );
      Result_ result;
      const bool permitted = eval.eval( &route, policy, &result );

      Gloss::RendererV2 reason;
      eval.context()->evaluationLogDeq()->toJson( &reason );
      std::cout << prefix << ( permitted ? " permitted" : " denied" ) << ", distance " << int( result.preference() ) << "\n   {"
                << reason.text() << "}\n";
   }
}
