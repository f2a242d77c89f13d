#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "policy/NexthopPrefixMatcher.h"
#include "policy/PrefixListMatcher.h"
#include "policy/TagMatcher.h"
#include "tests/model/RandomCases.h"
#include "tests/policy/EvalFixtures.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace EvalTest;
using Ferule::AddressFamily;
using Ferule::IpGenPrefix;
using Routing::RouteMap::PrefixListBuilder;
using Routing::RouteMap::PrefixListStatus;
using testing::HasSubstr;

class TagSetter final : public Setter {
 public:
   explicit TagSetter( uint32_t tag ) : tag_( tag ) {}
   void setValue( Result_ * result ) const override { result->tagIs( tag_ ); }
   void formatDerivedType( std::ostream & os ) const override { os << "TagSetter"; }

 private:
   uint32_t tag_;
};

// Prefixes around few networks, so that they contain each other.
std::vector<IpGenPrefix> somePrefixes( Random & random, AddressFamily af, size_t count ) {
   RandomPrefixes prefixes( random, af );
   std::set<IpGenPrefix> some{ IpGenPrefix::of( af, {}, 0 ) };
   while( some.size() < count ) some.insert( prefixes.around( prefixes.network() ).subnet() );
   return { some.begin(), some.end() };
}

// Large enough for the processor's cache to be of interest.
Ptr<const PrefixListStatus> largeList( Random & random, const std::vector<IpGenPrefix> & prefixes ) {
   PrefixListBuilder builder( "large", prefixes.front().af() );
   Routing::RouteMap::PrefixListEntry entry;
   for( const auto & prefix : prefixes ) {
      if( random.oneIn( 3 ) ) continue;
      ++entry.seqno;
      entry.prefix = prefix;
      entry.action = random.oneIn( 4 ) ? Acl::MatchPermit::deny : Acl::MatchPermit::permit;
      EXPECT_FALSE( builder.entryIs( entry ) );
   }
   auto list = builder.build();
   EXPECT_GT( list->ownRows()->bytes(), 1u << 15 );
   return list;
}

Ptr<const Matcher> inList( const Ptr<const PrefixListStatus> & list ) {
   return makeNode<PrefixListMatcher>( "large", list );
}

TEST( EvalBatch, answersAsOneByOne ) {
   Random random( 5 );
   const auto prefixes4 = somePrefixes( random, AddressFamily::ipv4, 6'000 );
   const auto prefixes6 = somePrefixes( random, AddressFamily::ipv6, 6'000 );
   const auto a = largeList( random, prefixes4 ), b = largeList( random, prefixes4 ), c = largeList( random, prefixes6 );
   const auto option4 = MatchOption::matchIpPrefixList, option6 = MatchOption::matchIpv6PrefixList;
   const auto tagged = []( uint32_t seqno ) { return seq( seqno ).set( makeNode<TagSetter>( seqno ) ); };
   const auto called = routeMap( "called", { tagged( 1 ).match( inList( b ), option4 ), tagged( 2 ).match( inList( c ), option6 ) } );
   const Ptr<const RouteMapStatusList> policies[] = {
      listOf( {} ),
      listOf( { { 4, routeMap( "empty" ) } } ),
      listOf( { { 4, routeMap( "all", { tagged( 10 ) } ) } } ),
      listOf( { { 4, routeMap( "one", { tagged( 10 ).match( inList( a ), option4 ) } ) } } ),
      listOf( { { 4, routeMap( "deny", { seq( 10 ).deny().match( inList( a ), option4 ), tagged( 20 ) } ) } } ),
      listOf(
         { { 4, routeMap( "calls", { tagged( 10 ).match( inList( a ), option4 ).continueTo( 20 ), tagged( 20 ).call( called ) } ) } } ),
      listOf( { { 0, routeMap( "first", { tagged( 10 ).match( inList( b ), option4 ), tagged( 20 ).match( inList( c ), option6 ) } ) },
                { 4, routeMap( "second", { tagged( 30 ).match( inList( a ), option4 ), tagged( 40 ).match( inList( c ), option6 ) } ) } } ),
   };
   const PolicyEval eval;
   for( const auto & policy : policies )
      for( const size_t count : { 0, 1, 15, 16, 17, 40, 1'000 } ) {
         std::vector<MatchInput_> inputs( count );
         std::vector<Result_> results( count );
         std::vector<PolicyEval::BatchRoute> routes;
         for( size_t i = 0; i < count; ++i ) {
            const auto & of = random.oneIn( 3 ) ? prefixes6 : prefixes4;
            if( !random.oneIn( 50 ) ) inputs[ i ].prefixIs( of[ random.below( uint32_t( of.size() ) ) ] );   // else of no family
            routes.push_back( { &inputs[ i ], &results[ i ], random.oneIn( 2 ) } );
         }
         eval.evalBatch( routes, policy );
         for( size_t i = 0; i < count; ++i ) {
            Result_ result;
            ASSERT_EQ( routes[ i ].permitted, eval.eval( &inputs[ i ], policy, &result ) ) << inputs[ i ];
            ASSERT_EQ( results[ i ], result ) << inputs[ i ];
         }
      }
}

/// Counts the calls of two getters.
struct CountingInput final : MatchInput_ {
   const IpGenPrefix * getPrefixPointer() const override {
      ++prefixReads;
      return MatchInput_::getPrefixPointer();
   }
   Routing::RouteTag getTag() const override {
      ++tagReads;
      return MatchInput_::getTag();
   }
   mutable int prefixReads = 0;
   mutable int tagReads = 0;
};

// Whatever the plan reads for its first step, and though that step does not decide.
TEST( EvalBatch, readsEachFieldOnce ) {
   Random random( 6 );
   const auto prefixes = somePrefixes( random, AddressFamily::ipv4, 6'000 );
   PrefixListBuilder all( "all", AddressFamily::ipv4 );
   ASSERT_FALSE( all.entryIs( { 10, Acl::MatchPermit::permit, IpGenPrefix( "0.0.0.0/1" ), {}, 32 } ) );
   ASSERT_FALSE( all.entryIs( { 20, Acl::MatchPermit::permit, IpGenPrefix( "128.0.0.0/1" ), {}, 32 } ) );
   const auto large = inList( largeList( random, prefixes ) ), small = inList( all.build() );
   const auto tag = makeNode<TagMatcher>( 7 );
   const auto notMatching = makeNode<NexthopPrefixMatcher>( IpGenPrefix( "192.0.2.0/24" ) );
   const auto twice = [ & ]( const Ptr<const Matcher> & matcher, MatchOption option ) {
      return routeMap( "m",
                       { seq( 10 ).match( matcher, option ).match( notMatching, MatchOption{ 120 } ),
                         seq( 20 ).match( matcher, option ).match( notMatching, MatchOption{ 120 } ),
                         seq( 30 ).match( matcher, option ) } );
   };
   const struct {
      Ptr<const RouteMapStatus> routeMap;
      int prefixReads, tagReads;
   } cases[] = {
      { twice( tag, MatchOption::matchTag ), 0, 1 },
      { twice( small, MatchOption::matchIpPrefixList ), 1, 0 },
      { twice( large, MatchOption::matchIpPrefixList ), 1, 0 },
      { routeMap( "m", { seq( 10 ).match( makeNode<TagMatcher>( 8 ) ), seq( 20 ).match( large, MatchOption::matchIpPrefixList ) } ), 1, 1 },
   };
   for( const auto & test : cases )
      for( const bool inBatch : { false, true } ) {
         const auto policy = listOf( { { 4, test.routeMap } } );
         std::vector<CountingInput> inputs( 40 );
         std::vector<Result_> results( inputs.size() );
         std::vector<PolicyEval::BatchRoute> routes;
         for( size_t i = 0; i < inputs.size(); ++i ) {
            inputs[ i ].prefixIs( prefixes[ 100 * i ] );
            inputs[ i ].tagIs( 7 );
            routes.push_back( { &inputs[ i ], &results[ i ] } );
            if( !inBatch ) PolicyEval().eval( &inputs[ i ], policy, &results[ i ] );
         }
         if( inBatch ) PolicyEval().evalBatch( routes, policy );
         for( const auto & input : inputs ) {
            EXPECT_EQ( input.prefixReads, test.prefixReads ) << "case " << &test - cases << ( inBatch ? ", in a batch" : "" );
            EXPECT_EQ( input.tagReads, test.tagReads ) << "case " << &test - cases << ( inBatch ? ", in a batch" : "" );
         }
      }
}

TEST( EvalBatch, aThrowLeavesTheRoutesFromThereOnAsTheyWere ) {
   int calls = 0;
   const auto throws = matcher( true, [ & ] {
      if( ++calls == 3 ) throw std::runtime_error( "third" );
   } );
   const auto policy = listOf( { { 4, routeMap( "m", { seq( 10 ).match( throws ) } ) } } );
   const MatchInput_ input;
   Result_ result;
   std::vector<PolicyEval::BatchRoute> routes( 5, { &input, &result } );
   EXPECT_THROW( PolicyEval().evalBatch( routes, policy ), std::runtime_error );
   for( size_t i = 0; i < routes.size(); ++i ) EXPECT_EQ( routes[ i ].permitted, i < 2 ) << i;
}

// Each route would otherwise get its answer from another policy than the caller has named.
TEST( EvalBatch, aMatcherMayReleaseThePolicy ) {
   Ptr<const RouteMapStatusList> policy;
   const auto releases = matcher( true, [ & ] { policy = listOf( { { 4, routeMap( "denies", { seq( 10 ).deny() } ) } } ); } );
   policy = listOf( { { 4, routeMap( "m", { seq( 10 ).match( releases ) } ) } } );
   const MatchInput_ input;
   Result_ result;
   std::vector<PolicyEval::BatchRoute> routes( 3, { &input, &result } );
   PolicyEval().evalBatch( routes, policy );
   for( const auto & route : routes ) EXPECT_TRUE( route.permitted );
}

TEST( EvalBatch, aContextGetsTheLogOfEachRoute ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   const MatchInput_ input;
   Result_ result;
   std::vector<PolicyEval::BatchRoute> routes( 2, { &input, &result } );
   eval.evalBatch( routes, listOf( { { 4, routeMap( "m", { seq( 10 ) } ) } } ) );
   EXPECT_EQ( eval.evaluationLogs()->count(), 2u );
}

TEST( EvalBatchDeathTest, needsAPolicyAndAResult ) {
   const PolicyEval eval;
   const MatchInput_ input;
   Result_ result;
   std::vector<PolicyEval::BatchRoute> routes{ { &input, &result } };
   EXPECT_DEATH( eval.evalBatch( routes, nullptr ), HasSubstr( "Assertion failed: list\n" ) );
   routes.front().result = nullptr;
   EXPECT_DEATH( eval.evalBatch( routes, listOf( {} ) ), HasSubstr( "Assertion failed: result\n" ) );
}

}   // namespace
