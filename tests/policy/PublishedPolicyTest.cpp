#include "policy/PublishedPolicy.h"

#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/EvalFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace EvalTest;
using Fixtures::EndMatcher;
using Reader = PublishedPolicy::Reader;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert( !std::is_copy_constructible_v<PublishedPolicy> && !std::is_copy_assignable_v<PublishedPolicy> );
static_assert( !std::is_copy_constructible_v<Reader> && !std::is_copy_assignable_v<Reader> );
static_assert( noexcept( std::declval<Reader &>().policy() ) && std::is_nothrow_constructible_v<Reader, const PublishedPolicy &> );

Ptr<RouteMapStatusList> policyWithEnd( std::function<void()> atEnd ) {
   return listOf( { { 4, routeMap( "RM", { seq( 10 ).match( makeNode<EndMatcher>( std::move( atEnd ) ) ) } ) } } );
}

class PublishedPolicyTest : public testing::Test {
 protected:
   /// Publishes a policy that is in `ended` when it has been freed.
   void publish( const std::string & name ) {
      published->policyIs( policyWithEnd( [ this, name ] { ended.push_back( name ); } ) );
      newest = published->policy().get();
   }
   std::vector<std::string> ended;
   const RouteMapStatusList * newest = nullptr;
   std::optional<PublishedPolicy> published{ std::in_place };
};

// ---- readers

TEST_F( PublishedPolicyTest, aReaderGetsNullBeforeTheFirstPolicy ) {
   Reader reader( *published );
   EXPECT_EQ( reader.policy(), nullptr );
   EXPECT_EQ( published->policy(), nullptr );
   publish( "A" );
   EXPECT_NE( newest, nullptr );
   EXPECT_EQ( reader.policy().get(), newest );
   published->policyIs( nullptr );
   EXPECT_EQ( reader.policy(), nullptr );
}

TEST_F( PublishedPolicyTest, aReaderGetsTheCurrentPolicyWhenItAsks ) {
   publish( "A" );
   Reader reader( *published );
   const auto & policy = reader.policy();
   const auto * const first = newest;
   EXPECT_EQ( policy.get(), first );
   publish( "B" );
   publish( "C" );
   EXPECT_EQ( policy.get(), first ) << "valid until the next call";
   EXPECT_EQ( reader.policy().get(), newest );
   EXPECT_EQ( Reader( *published ).policy().get(), newest );
}

TEST_F( PublishedPolicyTest, eachReaderChangesByItself ) {
   publish( "A" );
   Reader early( *published ), late( *published );
   const auto & kept = late.policy();
   const auto * const first = newest;
   publish( "B" );
   EXPECT_EQ( early.policy().get(), newest );
   EXPECT_EQ( kept.get(), first );
   EXPECT_THAT( ended, IsEmpty() );
}

TEST_F( PublishedPolicyTest, takingThePolicyAllocatesNothingAndAddsNoUse ) {
   publish( "A" );
   const auto uses = newest->useCount();
   Reader other( *published );
   size_t before = allocationCount();
   {
      Reader reader( *published );
      for( int i = 0; i < 100; ++i ) reader.policy();
      EXPECT_EQ( newest->useCount(), uses );
   }
   EXPECT_EQ( allocationCount(), before );
   publish( "B" );
   before = allocationCount();
   other.policy();
   EXPECT_EQ( allocationCount(), before ) << "a change to a newer policy";
}

// Threads that write to one cache line wait for each other.
TEST_F( PublishedPolicyTest, takingTheSamePolicyWritesToNoMemory ) {
   const auto takeFromProtectedMemory = [] {
      ProtectableMemory memory;
      PublishedPolicy policies;
      policies.policyIs( policyWithEnd( [] {} ) );
      Reader reader( policies );
      const auto & before = reader.policy();
      memory.readOnlyIs();
      std::_Exit( reader.policy() == before && &reader.policy() == &before ? 0 : 1 );
   };
   EXPECT_EXIT( takeFromProtectedMemory(), testing::ExitedWithCode( 0 ), "" );
}

// ---- older policies

TEST_F( PublishedPolicyTest, anOlderPolicyEndsWhenTheNextIsStoredUnlessAReaderHoldsIt ) {
   publish( "A" );
   publish( "B" );
   EXPECT_THAT( ended, ElementsAre( "A" ) );
   Reader reader( *published );
   publish( "C" );
   publish( "D" );
   EXPECT_THAT( ended, ElementsAre( "A", "C" ) );
   reader.policy();
   EXPECT_THAT( ended, ElementsAre( "A", "C" ) ) << "a reader frees nothing";
   publish( "E" );
   EXPECT_THAT( ended, ElementsAre( "A", "C", "B" ) ) << "the reader holds D";
}

TEST_F( PublishedPolicyTest, anIdleAgentDropsTheOlderPolicies ) {
   publish( "A" );
   Reader first( *published );
   std::optional<Reader> second( std::in_place, *published );
   publish( "B" );
   Reader third( *published );
   publish( "C" );
   EXPECT_EQ( published->retiredDelAll(), 2u );
   first.policy();
   EXPECT_EQ( published->retiredDelAll(), 2u ) << "the second reader holds A";
   second.reset();
   third.policy();
   EXPECT_THAT( ended, IsEmpty() ) << "a reader frees nothing, and neither does its end";
   EXPECT_EQ( published->retiredDelAll(), 0u );
   EXPECT_THAT( ended, ElementsAre( "A", "B" ) );
   EXPECT_EQ( published->retiredDelAll(), 0u );
   EXPECT_EQ( first.policy().get(), newest ) << "the current policy stays";
}

TEST_F( PublishedPolicyTest, theSamePolicyIsNoNewGeneration ) {
   publish( "A" );
   Reader reader( *published );
   const auto & policy = reader.policy();
   const auto same = policy;
   const size_t before = allocationCount();
   published->policyIs( same );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( &reader.policy(), &policy );
   EXPECT_EQ( published->retiredDelAll(), 0u );
}

TEST_F( PublishedPolicyTest, theSamePolicyAgainDropsTheOlderOnes ) {
   publish( "A" );
   Reader reader( *published );
   publish( "B" );
   reader.policy();
   published->policyIs( published->policy() );
   EXPECT_THAT( ended, ElementsAre( "A" ) );
}

// ---- the end

TEST_F( PublishedPolicyTest, endsWithAllPoliciesThatNoReaderHolds ) {
   publish( "A" );
   std::optional<Reader> reader( std::in_place, *published );
   publish( "B" );
   reader.reset();
   EXPECT_THAT( ended, IsEmpty() );
   published.reset();
   EXPECT_THAT( ended, ElementsAre( "A", "B" ) );
}

TEST_F( PublishedPolicyTest, readersMayOutliveIt ) {
   publish( "A" );
   std::optional<Reader> old( std::in_place, *published ), current( std::in_place, *published );
   Reader released( *published );
   publish( "B" );
   released.policy();
   publish( "C" );
   current->policy();
   released.policy();
   EXPECT_THAT( ended, IsEmpty() );
   published.reset();
   EXPECT_THAT( ended, ElementsAre( "B" ) ) << "its readers need not free it";
   EXPECT_EQ( current->policy().get(), newest );
   current.reset();
   EXPECT_EQ( old->policy().get(), newest ) << "the last policy stays current";
   old.reset();
   EXPECT_THAT( ended, ElementsAre( "B" ) );
   EXPECT_EQ( released.policy().get(), newest );
}

TEST_F( PublishedPolicyTest, theLastReaderThatOutlivesItFreesItsPolicies ) {
   publish( "A" );
   {
      Reader reader( *published );
      publish( "B" );
      published.reset();
      EXPECT_THAT( ended, IsEmpty() );
   }
   EXPECT_THAT( ended, ElementsAre( "A", "B" ) );
}

// ---- what else happens inside a call

TEST_F( PublishedPolicyTest, theEndOfAPolicyMayStoreAnother ) {
   const auto last = listOf( {} );
   published->policyIs( policyWithEnd( [ & ] { published->policyIs( last ); } ) );
   Reader reader( *published );
   publish( "B" );
   reader.policy();
   publish( "C" );
   EXPECT_EQ( published->policy(), last );
   EXPECT_EQ( reader.policy(), last );
   EXPECT_THAT( ended, ElementsAre( "C" ) ) << "the reader held B";
   EXPECT_EQ( published->retiredDelAll(), 0u );
   EXPECT_THAT( ended, ElementsAre( "C", "B" ) );
}

TEST_F( PublishedPolicyTest, theEndOfAPolicyMayDestroyIt ) {
   published->policyIs( policyWithEnd( [ & ] { published.reset(); } ) );
   published->policyIs( listOf( {} ) );
   EXPECT_FALSE( published );
}

TEST_F( PublishedPolicyTest, aPolicyWithoutMemoryForItIsNotStored ) {
   publish( "A" );
   Reader reader( *published );
   const auto next = listOf( {} );
   {
      const AllocationFailure failure( 0 );
      EXPECT_THROW( published->policyIs( next ), std::bad_alloc );
      EXPECT_TRUE( failure.happened() );
   }
   EXPECT_EQ( published->policy().get(), newest );
   EXPECT_EQ( reader.policy().get(), newest );
   published->policyIs( next );
   EXPECT_EQ( reader.policy(), next );
}

}   // namespace
