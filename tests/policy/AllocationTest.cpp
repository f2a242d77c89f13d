#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DistanceSetter.h"
#include "policy/InterfaceMatcher.h"
#include "policy/IsisInstanceMatcher.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/NexthopMatcher.h"
#include "policy/NexthopPrefixMatcher.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/Policy.h"
#include "policy/PrefixListMatcher.h"
#include "policy/ResolvedNexthopInfoSet.h"
#include "policy/RouteMetricMatcher.h"
#include "policy/RouteMetricSetter.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/SourceProtoMatcher.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "substrate/routemap/PrefixListBuilder.h"
#include "tests/policy/EvalFixtures.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace EvalTest;

const Ferule::IpGenAddr nexthop( "192.0.2.1" );
const Ferule::IntfId interface( 3 );

/// A sequence with a matcher of each kind that the library has, but for the one that never holds; all of them hold for theRoute().
SeqBuilder matching( uint32_t seqno ) {
   return seq( seqno )
      .match( makeNode<PrefixListMatcher>( "P", ListFixtures::prefixList( { "10 deny 10.0.0.0/8 ge 24", "20 permit 10.0.0.0/8 le 16" } ) ),
              MatchOption::matchIpPrefixList )
      .match( makeNode<IpAccessListMatcher>( "A", ListFixtures::accessList( { "10 deny 10.2.0.0/16", "20 permit 10.0.0.0 255.0.255.0" } ) ),
              MatchOption::matchIpAccessList )
      .match( makeNode<TagMatcher>( 7 ), MatchOption::matchTag )
      .match( makeNode<TagSetMatcher>( "T", makeNode<TagSetStatus>( "T", std::initializer_list<Routing::RouteTag>{ 7, 8 } ) ),
              MatchOption::matchTagSet )
      .match( makeNode<RouteMetricMatcher>( 100 ), MatchOption::matchMetric )
      .match( makeNode<InterfaceMatcher>( interface ), MatchOption::matchInterface )
      .match( makeNode<NexthopMatcher>( nexthop ), MatchOption::matchIpNexthop )
      .match( makeNode<NexthopPrefixMatcher>( Ferule::IpGenPrefix( "192.0.2.0/24" ) ), MatchOption::matchIpv6Nexthop )
      .match( makeNode<NexthopPrefixListMatcher>( "N", ListFixtures::prefixList( { "10 permit 192.0.2.0/24 le 32" } ) ),
              MatchOption::matchIpNexthopPrefixList )
      .match( makeNode<ResolvedNexthopPfxListMatcher>( "S", ListFixtures::prefixList( { "10 permit 192.0.2.0/24 le 32" } ) ),
              MatchOption::matchIpResolvedNexthopPrefixList )
      .match( makeNode<RouterIdMatcher>( "R", ListFixtures::prefixList( { "10 permit 0.0.0.0/0 le 32" } ) ),
              MatchOption::matchRouterIdPrefixList )
      .match( makeNode<SourceProtoMatcher>( Routing::RouteProto( 1 ) ), MatchOption::matchSourceProtocol )
      .match( makeNode<OspfInstanceMatcher>( 4 ), MatchOption::matchOspfInstance )
      .match( makeNode<IsisInstanceMatcher>( 5 ), MatchOption::matchIsisInstance )
      .set( makeNode<DistanceSetter>( 9 ), SetOption::setDistance )
      .set( makeNode<RouteMetricSetter>( 200 ), SetOption::setMetric );
}

/// The same, which fails on its last matcher.
SeqBuilder failing( uint32_t seqno ) {
   return matching( seqno ).match( makeNode<TagMatcher>( 8 ), MatchOption::matchTagSet );
}

MatchInput_ theRoute() {
   MatchInput_ input = ListFixtures::routeTo( "10.1.0.0/16" );
   input.tagIs( 7 );
   input.metricIs( 100 );
   input.nexthopIs( nexthop );
   input.protocolIs( Routing::RouteProto( 1 ) );
   input.ospfInstanceIs( 4 );
   input.isisInstanceIs( 5 );
   auto resolved = makeNode<ResolvedNexthopInfoSet>();
   resolved->intfIdIs( interface );
   resolved->resolvedNexthopIs( nexthop, true );
   input.resolvedNexthopInfoSetIs( resolved );
   input.matchInterfaceIs( true );
   input.matchResolvedNexthopInfoIs( true );
   return input;
}

struct Row {
   const char * name;
   Ptr<const RouteMapStatusList> list;
   bool permit;
};

std::vector<Row> rows() {
   const auto calling = []( const char * name, const Ptr<RouteMapStatus> & sub ) {
      return routeMap( name, { matching( 5 ).call( sub ) } );
   };
   const auto callingInverted = []( const char * name, const Ptr<RouteMapStatus> & sub ) {
      return routeMap( name, { matching( 5 ).callInverted( sub ) } );
   };
   const auto permits = [] { return routeMap( "SUB", { failing( 1 ), matching( 2 ) } ); };
   const auto denies = [] { return routeMap( "SUB", { failing( 1 ), matching( 2 ).deny() } ); };
   const auto asList = []( const SeqBuilder & first, const SeqBuilder & second ) {
      return listOf( { { 4, routeMap( "RM", { first, second } ) } } );
   };
   const auto small = [] { return makeNode<PrefixListMatcher>( "P", ListFixtures::prefixList( { "10 permit 10.0.0.0/8 le 16" } ) ); };
   const auto large = [] {
      Routing::RouteMap::PrefixListBuilder list( "L", Ferule::AddressFamily::ipv4 );
      for( uint32_t i = 0; i < 1000; ++i )
         if( list.entryIs( { i,
                             Acl::MatchPermit::permit,
                             Ferule::IpGenPrefix::of( Ferule::AddressFamily::ipv4, { uint64_t( 0x0A00 + i ) << 48, 0 }, 16 ),
                             {},
                             {} } ) )
            throw std::logic_error( "an entry is refused" );
      return makeNode<PrefixListMatcher>( "L", list.build() );
   };
   return {
      { "a small list", asList( seq( 10 ).match( small() ), matching( 20 ) ), true },
      { "small lists, and nothing else", asList( seq( 10 ).match( small() ).deny(), seq( 20 ).match( small() ) ), false },
      { "a large list", asList( seq( 10 ).match( large() ), failing( 20 ) ), true },
      { "a call that is found by its callee", asList( seq( 10 ).call( routeMap( "SUB", { seq( 10 ).match( large() ) } ) ), failing( 20 ) ),
        true },
      { "nothing to evaluate", listOf( {} ), true },
      { "the second sequence permits", asList( failing( 10 ), matching( 20 ) ), true },
      { "the second sequence denies", asList( failing( 10 ), matching( 20 ).deny() ), false },
      { "the default deny", asList( failing( 10 ), failing( 20 ) ), false },
      { "two levels of sub route maps, one match",
        asList( failing( 10 ), matching( 20 ).callInverted( callingInverted( "MID", permits() ) ) ), true },
      { "two levels of sub route maps, all match", asList( matching( 10 ).call( calling( "MID", permits() ) ), matching( 20 ) ), true },
      { "two levels of sub route maps, the innermost denies", asList( matching( 10 ).call( calling( "MID", denies() ) ), failing( 20 ) ),
        false },
      { "two levels of sub route maps and continues",
        asList( matching( 10 ).call( calling( "MID", permits() ) ).continueTo( 15 ), matching( 20 ) ), true },
      { "three route maps",
        listOf( { { 0, routeMap( "P", { matching( 10 ) } ) },
                  { 4, routeMap( "RM", { matching( 10 ) } ) },
                  { 6, routeMap( "M", { matching( 10 ) } ) } } ),
        true },
   };
}

constexpr int kTimes = 100;

/// How often `evaluate` allocates when it runs again and again on a thread that has run it once.
template <class Evaluate>
size_t allocationsOf( Evaluate && evaluate ) {
   evaluate();
   const size_t before = allocationCount();
   for( int i = 0; i < kTimes; ++i ) evaluate();
   return allocationCount() - before;
}

void nothingIsAllocated( const PolicyEval & eval ) {
   const MatchInput_ input = theRoute();
   for( const auto & row : rows() ) {
      SCOPED_TRACE( row.name );
      Result_ result;
      bool permit = !row.permit;
      EXPECT_EQ( allocationsOf( [ & ] { permit = eval.eval( &input, row.list, &result ); } ), 0u );
      EXPECT_EQ( permit, row.permit );
      std::array<PolicyEval::BatchRoute, 20> batch;
      batch.fill( { &input, &result, !row.permit } );
      EXPECT_EQ( allocationsOf( [ & ] { eval.evalBatch( batch, row.list ); } ), 0u ) << "as a batch";
      EXPECT_TRUE( std::ranges::all_of( batch, [ & ]( const auto & route ) { return route.permitted == row.permit; } ) );
      const auto map = row.list->rmStatus( RmPrecedence::routeMapPrecedence );
      if( !map ) continue;
      EXPECT_EQ( allocationsOf( [ & ] { permit = eval.evalPeerFilter( map, &input ); } ), 0u ) << "as a peer filter";
      EXPECT_EQ( permit, row.permit );
   }
}

TEST( Allocation, countsWhatTheLibraryAllocates ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   const MatchInput_ input = theRoute();
   Result_ result;
   const auto list = listOf( { { 4, routeMap( "RM", { matching( 10 ) } ) } } );
   EXPECT_GE( allocationsOf( [ & ] { eval.eval( &input, list, &result ); } ), size_t( 2 * kTimes ) );   // a log and a record
}

TEST( Allocation, evaluatingAllocatesNothing ) {
   nothingIsAllocated( PolicyEval() );
}

TEST( Allocation, aContextWithoutLogsAllocatesNothing ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   nothingIsAllocated( eval );
}

TEST( Allocation, timersAllocateNothing ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.context()->enableTrailmarkIs( true );
   nothingIsAllocated( eval );
}

TEST( Allocation, aThreadAllocatesNothing ) {
   std::thread( [] { nothingIsAllocated( PolicyEval() ); } ).join();
}

TEST( Allocation, oneRouteMapAllocatesNothing ) {
   const MatchInput_ input = theRoute();
   const PolicyEval eval;
   const auto map = routeMap( "RM", { failing( 10 ), matching( 20 ) } );
   bool permit = false;
   EXPECT_EQ( allocationsOf( [ & ] {
                 MatchedRouteMapSequences matched;
                 Result_ result;
                 permit = eval.evalRouteMapMatchers( &input, map.get(), &matched );
                 eval.applyPolicySetters( &matched, &result );
              } ),
              0u );
   EXPECT_TRUE( permit );
}

// Threads that evaluate one policy would wait for each other if evaluation wrote to it, even to a use count. A thread of its own creates
// the policy: a thread that has allocated entries before continues in a block of that time.
TEST( AllocationDeathTest, evaluatingWritesNothingThatThreadsShare ) {
   const auto evaluateInReadOnlyMemory = [] {
      std::thread( [] {
         ProtectableMemory memory;
         const auto policies = rows();
         const PolicyEval eval;
         bool areRight = true;
         for( const auto & row : policies )
            for( const auto & [ precedence, map ] : row.list->rmStatus() ) areRight &= map->plan() != nullptr;
         memory.readOnlyIs();
         const MatchInput_ input = theRoute();
         for( const auto & row : policies ) {
            Result_ result;
            areRight &= eval.eval( &input, row.list, &result ) == row.permit;
            MatchedRouteMapSequences matched;
            areRight &= eval.evalPolicyMatchers( &input, row.list, &matched, nullptr ) == row.permit;
            std::array<PolicyEval::BatchRoute, 16> batch;
            batch.fill( { &input, &result, !row.permit } );
            eval.evalBatch( batch, row.list );
            areRight &= std::ranges::all_of( batch, [ & ]( const auto & route ) { return route.permitted == row.permit; } );
            const auto & maps = row.list->rmStatus();
            if( const auto * map = maps.find( RmPrecedence::routeMapPrecedence ) )
               areRight &= eval.evalPeerFilter( *map, &input ) == row.permit;
         }
         std::_Exit( areRight ? 0 : 1 );   // the policies cannot be released any more
      } ).join();
   };
   EXPECT_EXIT( evaluateInReadOnlyMemory(), testing::ExitedWithCode( 0 ), "" );
}

}   // namespace
