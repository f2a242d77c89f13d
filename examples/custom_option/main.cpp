// An agent with match options and a set option of its own. The program prints the effect of its route map while the configuration changes.
#include <iostream>

#include "CommunityList.h"
#include "CompileRouteMaps.h"
#include "LocalPreferenceSetter.h"
#include "policy/Policy.h"

namespace {

using namespace BgpAgent;
using Quoin::makeNode;
using Quoin::Ptr;

/// Prints each version of a route map and its effect on two routes. An agent would only note the version here, and evaluate routes in a
/// task.
class Reporter final : private Plinth::NotifieeConst {
 public:
   explicit Reporter( const Ptr<const RouteMapSymbol> & routeMap ) : routeMap_( routeMap ) {
      notifierIs( routeMap->notifier() );
      hasNotificationActiveIs( true );
   }

 private:
   void handleChange( const Quoin::Change & ) override {
      const auto & status = routeMap_->rmStatus();
      std::cout << "   version " << routeMap_->notifierVersion() << " of " << routeMap_->name()
                << ", undefined references: " << status->undefinedReferences() << '\n';
      const auto policy = makeNode<RouteMapStatusList>();
      policy->rmStatusIs( RmPrecedence::routeMapPrecedence, status );
      for( const BgpRoute & route : kRoutes ) {
         std::cout << "      " << route.prefix() << " with community";
         for( const Community c : route.communities() ) std::cout << ' ' << ( c >> 16 ) << ':' << ( c & 0xffff );
         BgpResult result;
         if( PolicyEval().eval( &route, policy, &result ) )
            std::cout << ": permitted, local preference " << result.localPreference << '\n';
         else
            std::cout << ": denied\n";
      }
   }

   inline static const BgpRoute kRoutes[] = { { Ferule::IpGenPrefix( "198.51.100.0/24" ), { community( 64500, 1 ) } },
                                              { Ferule::IpGenPrefix( "203.0.113.0/24" ), { community( 64500, 2 ) } } };
   Ptr<const RouteMapSymbol> routeMap_;
};

}   // namespace

int main() {
   const auto config = makeNode<Routing::RouteMap::Config>();
   const auto setters = makeNode<SetterTable>();
   const auto root = makeNode<PolicyRoot>();
   const auto scheduler = makeNode<Zeugma::TaskScheduler>();   // an agent's loop runs it, as examples/asio_loop shows
   const auto machine = compileRouteMaps( config, setters, root, scheduler );
   const auto symbol = root->routeMapTable()->symbol( "IN" );
   const Reporter reporter( symbol );

   std::cout << "route-map IN permit 10, match community CUSTOMERS, set local-preference 200\n"
                "route-map IN permit 20\n";
   const auto routeMap = config->routeMapIs( "IN" );
   const auto sequence = routeMap->mapEntryIs( 10 );
   sequence->matchRuleIs( { .listName = "CUSTOMERS", .option = MatchOption::matchCommunity } );
   setters->of( "IN", 10 )->setterIs( SetOption::setLocalPreference, makeNode<LocalPreferenceSetter>( 200 ) );
   routeMap->mapEntryIs( 20 );
   routeMap->versionIs( 1 );

   std::cout << "ip community-list CUSTOMERS permit 64500:1\n";
   CommunityListProducer customers( root->commListTable(), "CUSTOMERS" );
   customers.communityIs( community( 64500, 1 ) );
   customers.publish();
   scheduler->runUntilIdle();

   std::cout << "no ip community-list CUSTOMERS permit 64500:1\n"
                "ip community-list CUSTOMERS permit 64500:2\n";
   customers.communityDel( community( 64500, 1 ) );
   customers.communityIs( community( 64500, 2 ) );
   customers.publish();
   scheduler->runUntilIdle();

   std::cout << "route-map IN permit 10, no match community, set local-preference 300\n";
   sequence->matchRuleDel( MatchOption::matchCommunity );
   setters->of( "IN", 10 )->setterIs( SetOption::setLocalPreference, makeNode<LocalPreferenceSetter>( 300 ) );
   routeMap->versionIs( 2 );
}
