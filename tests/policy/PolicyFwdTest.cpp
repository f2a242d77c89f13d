#include "policy/PolicyFwd.h"

// What an agent's own header may say behind that include alone.
namespace FwdAgent {

using PolicyPtr = Quoin::Ptr<const Routing::Policy::RouteMapStatusList>;
bool permits( const PolicyPtr & policy, const Routing::Policy::MatchInput_ & route, Routing::Policy::Result_ & result );
PolicyPtr denyAll();

class Point {
 public:
   explicit Point( const PolicyPtr & policy ) : policy_( policy ) {}
   const PolicyPtr & policy() const { return policy_; }

 private:
   const PolicyPtr & policy_;
};

template <class T>
constexpr bool isDefined = requires {
   sizeof( T );
};
static_assert( !isDefined<Quoin::Ptr<int>> && !isDefined<Routing::Policy::RouteMapStatusList> && !isDefined<Routing::Policy::PolicyEval> );

}   // namespace FwdAgent

#include <gtest/gtest.h>

#include "policy/Policy.h"

// The same names, now defined.
bool FwdAgent::permits( const PolicyPtr & policy, const Routing::Policy::MatchInput_ & route, Routing::Policy::Result_ & result ) {
   return Routing::Policy::PolicyEval().eval( &route, policy, &result );
}

FwdAgent::PolicyPtr FwdAgent::denyAll() {
   using namespace Routing::Policy;
   const auto sequence = Quoin::makeNode<RouteMapSeqStatus>( 10 );
   sequence->matchActionIs( Acl::MatchPermit::deny );
   const auto routeMap = Quoin::makeNode<RouteMapStatus>( "DENY" );
   routeMap->seqStatusIs( sequence );
   auto policy = Quoin::makeNode<RouteMapStatusList>();
   policy->rmStatusIs( RmPrecedence::routeMapPrecedence, routeMap );
   return policy;
}

namespace {

TEST( PolicyFwd, whatIsDeclaredThereIsWhatPolicyDefines ) {
   const auto policy = FwdAgent::denyAll();
   const FwdAgent::Point point( policy );
   Routing::Policy::Result_ result;
   EXPECT_FALSE( FwdAgent::permits( point.policy(), Routing::Policy::MatchInput_(), result ) );
}

}   // namespace
