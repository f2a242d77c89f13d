#include "compile/PublishedRouteMap.h"

#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "policy/Policy.h"
#include "substrate/routemap/PrefixListProducer.h"
#include "tests/compile/Reaction.h"
#include "tests/compile/RouteMapConfigSmFixtures.h"
#include "tests/policy/Fixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Fixtures::EndMatcher;
using Quoin::makeNode;
using Quoin::Ptr;
using Reader = PublishedPolicy::Reader;
using RouteMap::PrefixListProducer;
using testing::ElementsAre;

constexpr RmPrecedence kPrecedence = RmPrecedence::routeMapPrecedence;

static_assert( !std::is_copy_constructible_v<PublishedRouteMap> && !std::is_copy_assignable_v<PublishedRouteMap> );

bool permits( const Ptr<const RouteMapStatusList> & policy, const char * prefix = "10.0.0.0/8" ) {
   MatchInput_ route;
   route.prefixIs( Ferule::IpGenPrefix( prefix ) );
   Result_ result;
   return PolicyEval().eval( &route, policy, &result );
}

/// The point of application applies route map IN.
class PublishedRouteMapTest : public RouteMapConfigSmFixture {
 protected:
   PublishedRouteMapTest() { start(); }
   void apply( WhileUndefined action, RmPrecedence precedence = kPrecedence ) {
      point.emplace( root->routeMapTable(), "IN", precedence, action );
   }
   const Ptr<const RouteMapStatusList> & policy() const { return point->published().policy(); }
   /// The compiled route map of the current policy.
   Ptr<const RouteMapStatus> applied() const { return policy()->rmStatus( kPrecedence ); }

   std::optional<PublishedRouteMap> point;
};

TEST_F( PublishedRouteMapTest, anUndefinedRouteMapDoesWhatTheAgentHasSaid ) {
   const struct {
      const char * name;
      WhileUndefined action;
      RmPrecedence precedence;
      bool permit;
   } rows[] = {
      { "permit", WhileUndefined::permit, kPrecedence, true },
      { "deny", WhileUndefined::deny, kPrecedence, false },
      { "deny, for maintenance", WhileUndefined::deny, RmPrecedence::routeMapMaintPrecedence, false },
      { "permit, at a precedence without a name", WhileUndefined::permit, RmPrecedence( 77 ), true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      apply( row.action, row.precedence );
      Reader reader( point->published() );
      EXPECT_EQ( permits( reader.policy() ), row.permit );
      ASSERT_EQ( policy()->rmStatus().count(), 1u );
      const auto map = policy()->rmStatus( row.precedence );
      ASSERT_TRUE( map );
      EXPECT_EQ( map->name(), "IN" );
      EXPECT_TRUE( map->undefined() );
      EXPECT_EQ( map->undefinedReferences().value, 0 );
      EXPECT_FALSE( point->symbol()->rmStatus() );
   }
}

TEST_F( PublishedRouteMapTest, aDefinedRouteMapIsAppliedAtOnce ) {
   add( "IN" );
   run();
   apply( WhileUndefined::deny );
   EXPECT_EQ( applied(), status( "IN" ) );
   EXPECT_EQ( policy()->rmStatus().count(), 1u );
   EXPECT_TRUE( permits( policy() ) );
   EXPECT_FALSE( policy()->routeMapUndefined() );
}

TEST_F( PublishedRouteMapTest, followsTheRouteMapFromItsCreationToItsDeletion ) {
   apply( WhileUndefined::deny );
   Reader reader( point->published() );
   std::vector<bool> answers;
   const auto step = [ & ]( const std::function<void()> & edit ) {
      edit();
      run();
      answers.push_back( permits( reader.policy() ) );
      EXPECT_EQ( policy(), reader.policy() );
      EXPECT_EQ( policy()->routeMapUndefined(), !status( "IN" ) );
   };
   step( [ & ] { add( "IN" ); } );
   step( [ & ] {
      raw->routeMap( "IN" )->mapEntry( 10 )->permitIs( Acl::MatchPermit::deny );
      raise( "IN" );
   } );
   step( [ & ] {
      raw->routeMap( "IN" )->mapEntry( 10 )->permitIs( Acl::MatchPermit::permit );
      raise( "IN" );
   } );
   step( [ & ] { del( "IN" ); } );
   step( [ & ] { add( "IN" ); } );
   EXPECT_THAT( answers, ElementsAre( true, false, true, false, true ) );
}

TEST_F( PublishedRouteMapTest, aRouteMapIsAppliedWhenItIsPublishedAndNotBefore ) {
   add( "IN" );
   run();
   apply( WhileUndefined::permit );
   const auto before = applied();
   raw->routeMap( "IN" )->mapEntry( 10 )->permitIs( Acl::MatchPermit::deny );
   run();
   EXPECT_EQ( applied(), before );
   {
      const RouteMap::ConfigEdit edit( raw );
      raise( "IN" );
      run();
      EXPECT_EQ( applied(), before );
   }
   run();
   EXPECT_FALSE( permits( policy() ) );
}

TEST_F( PublishedRouteMapTest, aChangeOfAListOfACalleeIsAppliedOnce ) {
   raw->routeMapIs( "SUB" )->mapEntryIs( 10 )->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "NETS" ) );
   raise( "SUB" );
   call( "IN", "SUB" );
   raise( "IN" );
   run();
   apply( WhileUndefined::permit );
   EXPECT_FALSE( permits( policy() ) );
   int publications = 0;
   const Reaction heard( *symbol( "IN" )->notifier(), [ & ]( const Quoin::Change & ) { ++publications; } );
   PrefixListProducer nets( root->ipv4PrefixListTable(), "NETS", Ferule::AddressFamily::ipv4 );
   EXPECT_FALSE( nets.entryIs( { 10, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, {} } ) );
   nets.publish();
   run();
   EXPECT_EQ( publications, 1 );
   EXPECT_TRUE( permits( policy() ) );
   EXPECT_FALSE( permits( policy(), "11.0.0.0/8" ) );
}

TEST_F( PublishedRouteMapTest, aVersionWithoutAChangeIsNoNewPolicy ) {
   apply( WhileUndefined::deny );
   auto before = policy();
   symbol( "IN" )->updateAndNotify( nullptr );
   EXPECT_EQ( policy(), before );
   add( "IN" );
   run();
   before = policy();
   symbol( "IN" )->updateAndNotify( status( "IN" ) );
   EXPECT_EQ( policy(), before );
}

TEST_F( PublishedRouteMapTest, peerFiltersAreAnotherTable ) {
   apply( WhileUndefined::deny );
   const PublishedRouteMap filter( root->peerFilterTable(), "IN", kPrecedence, WhileUndefined::deny );
   EXPECT_NE( filter.symbol(), point->symbol() );
   add( "IN" );
   run();
   EXPECT_TRUE( permits( policy() ) );
   EXPECT_FALSE( permits( filter.published().policy() ) );
}

TEST_F( PublishedRouteMapTest, holdsTheSymbol ) {
   apply( WhileUndefined::deny );
   EXPECT_EQ( point->symbol(), symbol( "IN" ) );
   EXPECT_EQ( root->routeMapTable()->count(), 1u );
   point.reset();
   EXPECT_EQ( root->routeMapTable()->count(), 0u );
}

// A subscriber that has routes evaluated again must not send the readers to the old policy.
TEST_F( PublishedRouteMapTest, aLaterSubscriberIsNotifiedWhenReadersGetTheNewPolicy ) {
   apply( WhileUndefined::deny );
   Reader reader( point->published() );
   std::vector<bool> answers;
   const Reaction later( *point->symbol()->notifier(),
                         [ & ]( const Quoin::Change & ) { answers.push_back( permits( reader.policy() ) ); } );
   add( "IN" );
   run();
   EXPECT_THAT( answers, ElementsAre( true ) );
}

TEST_F( PublishedRouteMapTest, olderPoliciesAreDroppedWhenTheAgentIsIdle ) {
   apply( WhileUndefined::deny );
   Reader reader( point->published() );
   add( "IN" );
   run();
   EXPECT_EQ( point->retiredDelAll(), 1u );
   reader.policy();
   EXPECT_EQ( point->retiredDelAll(), 0u );
}

TEST_F( PublishedRouteMapTest, readersMayOutliveIt ) {
   add( "IN" );
   run();
   apply( WhileUndefined::deny );
   Reader reader( point->published() );
   point.reset();
   del( "IN" );
   run();
   EXPECT_TRUE( permits( reader.policy() ) ) << "nobody follows the route map any more";
}

TEST_F( PublishedRouteMapTest, mayBeDestroyedInsideThePublication ) {
   const auto held = symbol( "IN" );
   const Reaction before( *held->notifier(), [ & ]( const Quoin::Change & ) { point.reset(); } );
   apply( WhileUndefined::deny );
   add( "IN" );
   run();
   EXPECT_FALSE( point );
}

TEST_F( PublishedRouteMapTest, theEndOfAnOldPolicyMayDestroyIt ) {
   const auto in = symbol( "IN" );
   auto sequence = makeNode<RouteMapSeqStatus>( 10 );
   sequence->matcherIs( MatchOption::matchTag, makeNode<EndMatcher>( [ & ] { point.reset(); } ) );
   auto map = makeNode<RouteMapStatus>( "IN" );
   map->seqStatusIs( std::exchange( sequence, nullptr ) );
   in->updateAndNotify( std::exchange( map, nullptr ) );
   apply( WhileUndefined::deny );
   in->updateAndNotify( nullptr );
   EXPECT_FALSE( point );
}

TEST( PublishedRouteMapDeathTest, needsATableAndANotifier ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   EXPECT_DEATH( PublishedRouteMap( nullptr, "IN", kPrecedence, WhileUndefined::deny ), "table" );
   const auto symbol = table->symbol( "IN" );
   symbol->notifierIs( nullptr );
   EXPECT_DEATH( PublishedRouteMap( table, "IN", kPrecedence, WhileUndefined::deny ), "symbol->notifier\\(\\)" );
}

}   // namespace
}   // namespace Routing::Policy
