#include "substrate/lists/AccessListRules.h"

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Exception.h"
#include "tests/compile/AclFixtures.h"

namespace {

using namespace ListFixtures;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RetiredTries;
using testing::ElementsAre;
using Log = std::vector<std::string>;

const Log kTexts{ "10 permit 10.1.2.3/8",           "20 deny 10.1.0.0/16",
                  "30 permit 10.0.5.0 255.0.255.0", "40 deny 1.2.3.4 0.0.0.0",
                  "50 permit 10.9.5.0 255.0.255.0", "4294967295 deny 255.255.255.255/32" };

Ptr<AccessListRules> rulesOfTexts( const Log & texts ) {
   auto rules = makeNode<AccessListRules>();
   for( const auto & text : texts ) EXPECT_TRUE( rules->add( accessListRule( text ) ) ) << text;
   return rules;
}

TEST( AccessListRules, keepsEachRuleAsItCame ) {
   const auto rules = rulesOfTexts( kTexts );
   ASSERT_EQ( rules->count(), kTexts.size() );
   for( size_t i = 0; i < kTexts.size(); ++i ) {
      const auto came = accessListRule( kTexts[ i ] ), kept = rules->rule( i );
      EXPECT_EQ( kept.seqno, came.seqno );
      EXPECT_EQ( kept.source, came.source ) << "not cut to the mask";
      EXPECT_EQ( kept.permit, came.permit );
   }
}

TEST( AccessListRules, numbersMustAscend ) {
   const auto rules = rulesOfTexts( { "10 permit 10.0.0.0/8" } );
   EXPECT_FALSE( rules->add( accessListRule( "10 deny 11.0.0.0/8" ) ) );
   EXPECT_FALSE( rules->add( accessListRule( "9 deny 11.0.0.0/8" ) ) );
   EXPECT_EQ( rules->count(), 1u );
   EXPECT_EQ( rules->governing( IpGenPrefix( "11.0.0.0/8" ) ), std::nullopt );
   EXPECT_TRUE( rules->add( accessListRule( "11 deny 11.0.0.0/8" ) ) );
   EXPECT_EQ( rules->governing( IpGenPrefix( "11.0.0.0/8" ) ), 1u );
}

TEST( AccessListRules, theFirstRuleThatCoversGoverns ) {
   const auto rules = rulesOfTexts( { "10 permit 10.1.0.0/16", "20 deny 10.1.1.0/24", "30 deny 10.0.0.0/8", "40 permit 0.0.5.0 0.0.255.0",
                                      "50 deny 0.0.6.0 0.0.255.0", "60 permit 10.5.0.0 255.255.0.255", "70 permit 11.0.0.0/8" } );
   const struct {
      const char * asked;
      std::optional<size_t> place;
   } rows[] = {
      { "10.1.1.0/24", 0 },
      { "10.1.0.0/16", 0 },
      { "10.2.5.0/24", 2 },
      { "11.2.5.0/24", 3 },
      { "11.2.6.0/24", 4 },
      { "11.2.7.0/24", 6 },
      { "12.2.7.0/24", std::nullopt },
      { "0.0.5.0/0", 3 },
      { "10.1.0.0/7", std::nullopt },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( rules->governing( IpGenPrefix( row.asked ) ), row.place ) << row.asked;
      EXPECT_EQ( rules->permits( IpGenPrefix( row.asked ) ), row.place && rules->rule( *row.place ).permit == permit ) << row.asked;
   }
}

// Each of them is a group of its own: more than one chunk of groups, and of the words that find a mask.
TEST( AccessListRules, manyMasksAreKeptApart ) {
   const auto rules = makeNode<AccessListRules>();
   constexpr uint32_t kMasks = 40'000;
   const auto maskAt = []( uint32_t i ) { return Ferule::IpAddr( 0x40000001 | i << 4 ); };
   for( uint32_t i = 0; i < kMasks; ++i )
      ASSERT_TRUE( rules->add( { i, Ferule::IpAddrWithFullMask{ maskAt( i ), maskAt( i ) }, permit } ) );
   for( uint32_t i = 0; i < kMasks; i += 997 ) ASSERT_EQ( rules->rule( i ).source.mask(), Ferule::IpGenAddr( maskAt( i ) ).bits() );
   EXPECT_EQ( rules->governing( IpGenPrefix( "64.0.0.1/32" ) ), 0u );
   EXPECT_EQ( rules->governing( IpGenPrefix( "64.0.0.0/32" ) ), std::nullopt );
}

TEST( AccessListRules, aTrieHasTheSameRulesAtTheLeadingOnesOfTheirMasks ) {
   EXPECT_THAT( Routing::Policy::CompileFixtures::rulesOf( *rulesOfTexts( kTexts )->makeTrie() ),
                ElementsAre( "10 permit 10.1.2.3/8 at 10.0.0.0/8", "20 deny 10.1.0.0/16 at 10.1.0.0/16",
                             "30 permit 10.0.5.0/255.0.255.0 at 10.0.0.0/8", "40 deny 1.2.3.4/0 at 0.0.0.0/0",
                             "50 permit 10.9.5.0/255.0.255.0 at 10.0.0.0/8", "4294967295 deny 255.255.255.255/32 at 255.255.255.255/32" ) );
}

// A rule takes 12 bytes. None of these is inside another, so all are in the index.
TEST( AccessListRules, aRuleTakesAFewBytes ) {
   constexpr uint32_t kRules = 100'000;
   const auto rules = makeNode<AccessListRules>();
   for( uint32_t i = 0; i < kRules; ++i )
      ASSERT_TRUE( rules->add( { i, Ferule::IpAddrWithFullMask{ Ferule::IpAddr( i * 2654435761u ), Ferule::IpAddr( ~0u ) }, permit } ) );
   rules->trim();
   EXPECT_LT( rules->bytes(), 26 * kRules );
   for( uint32_t i = 0; i < kRules; i += 101 ) ASSERT_EQ( rules->governing( IpGenPrefix( Ferule::IpAddr( i * 2654435761u ), 32 ) ), i );
}

TEST( IpAccessListStatus, createsItsTrieOnceWhenItIsAskedFor ) {
   const auto rules = rulesOfTexts( kTexts );
   const auto status = makeNode<IpAccessListStatus>( "ACL", rules );
   EXPECT_EQ( status->rules(), rules.get() );
   std::atomic<const PatriciaTrieWithNodeData *> tries[ 4 ];
   std::vector<std::thread> threads;
   for( auto & trie : tries ) threads.emplace_back( [ & ] { trie = &status->trie(); } );
   for( auto & thread : threads ) thread.join();
   for( const auto & trie : tries ) EXPECT_EQ( trie, &status->trie() );
   EXPECT_EQ( status->trie().entryCount(), kTexts.size() );
   EXPECT_EQ( status->rules(), rules.get() ) << "a match still reads the rules";
   const auto given = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv6, false );
   status->trieIs( given );
   EXPECT_EQ( &status->trie(), given.get() );
   EXPECT_EQ( status->rules(), nullptr );
   EXPECT_THROW( makeNode<IpAccessListStatus>( "ACL", Ptr<const AccessListRules>() ), Plinth::MutatorArgNullPointerException );
}

// Half a millisecond goes by between two looks at it, so a turn frees two parts.
struct SteppingClock final : Plinth::Clock {
   Seconds now() const override { return time += Seconds( 0.0005 ); }
   mutable Seconds time{ 0 };
};

TEST( AccessListRules, areFreedInSlices ) {
   const auto clock = makeNode<SteppingClock>();
   const auto retired = makeNode<RetiredTries>( clock );
   auto rules = makeNode<AccessListRules>();
   for( uint32_t i = 0; i < 100'000; ++i )
      ASSERT_TRUE( rules->add( { i, Ferule::IpAddrWithFullMask{ Ferule::IpAddr( i << 8 ), Ferule::IpAddr( ~0u ) }, permit } ) );
   rules->heirIs( retired->heir() );
   const auto * raw = rules.get();
   const size_t whole = raw->bytes();
   rules = nullptr;
   ASSERT_EQ( retired->count(), 1u );
   EXPECT_EQ( raw->bytes(), whole );
   size_t left = whole, turns = 0;
   for( ; retired->count() != 0; ++turns ) {
      clock->callDue();
      if( retired->count() == 0 ) break;
      EXPECT_LT( raw->bytes(), left );
      EXPECT_LE( left - raw->bytes(), size_t( 2 ) << 18 ) << "at most two parts";
      left = raw->bytes();
   }
   EXPECT_GT( turns, 2u );
   EXPECT_EQ( clock->untilNextCall(), Plinth::Clock::kNever );
}

TEST( AccessListRules, areFreedAtOnceWhereNobodyTakesThem ) {
   const auto clock = makeNode<SteppingClock>();
   auto retired = makeNode<RetiredTries>( clock );
   const auto given = [ & ] {
      auto rules = rulesOfTexts( kTexts );
      rules->heirIs( retired->heir() );
      return rules;
   };
   auto elsewhere = given(), late = given(), pending = given();
   std::thread( [ & ] { elsewhere = nullptr; } ).join();
   EXPECT_EQ( retired->count(), 0u ) << "on another thread";
   pending = nullptr;
   EXPECT_EQ( retired->count(), 1u );
   retired = nullptr;   // with what waits, which the address sanitizer would tell otherwise
   late = nullptr;
   EXPECT_EQ( clock->untilNextCall(), Plinth::Clock::kNever );
}

}   // namespace
