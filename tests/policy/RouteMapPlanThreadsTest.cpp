// Plans that are replaced while other threads evaluate by them.
#include <atomic>
#include <semaphore>
#include <thread>

#include <gtest/gtest.h>

#include "policy/TagMatcher.h"
#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;

// A late change of an object that no evaluation uses makes all plans of the process outdated. The next list with the same route map replaces
// its plan; a thread that evaluates by the former plan still reads it. The address sanitizer sees it.
TEST( RouteMapPlanThreads, aReplacedPlanLivesAsLongAsAnEvaluationUsesIt ) {
   std::binary_semaphore isInside( 0 ), mayGoOn( 0 );
   const auto waits = matcher( true, [ & ] {
      isInside.release();
      mayGoOn.acquire();
   } );
   const auto map = routeMap( "M", { seq( 10 ).match( waits ).match( makeNode<TagMatcher>( 0u ), MatchOption::matchTagSet ) } );
   const auto list = listOf( { { 4, map } } );
   const MatchInput_ input;
   bool permitted = false;
   std::thread reader( [ & ] { permitted = makeNode<PolicyEval>()->evalPeerFilter( map, &input ); } );
   isInside.acquire();
   const auto other = seq( 10 );
   listOf( { { 4, routeMap( "OTHER", { other } ) } } );
   other.get()->matchActionIs( Acl::MatchPermit::deny );   // belongs to this thread alone
   listOf( { { 4, map } } );
   mayGoOn.release();
   reader.join();
   EXPECT_TRUE( permitted );
}

}   // namespace
