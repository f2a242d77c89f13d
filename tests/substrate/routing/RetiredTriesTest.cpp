#include "substrate/routing/RetiredTries.h"

#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Exception.h"

namespace {

using Ferule::AddressFamily;
using Ferule::IpAddr;
using Ferule::IpGenPrefix;
using Plinth::Clock;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::PatriciaTrieWithNodeData;
using Routing::RetiredTries;
using Seconds = Clock::Seconds;

struct Item final : Routing::PrefixData {
   explicit Item( std::function<void()> f = {} ) : whenItGoes( std::move( f ) ) { ++alive; }
   ~Item() override {
      --alive;
      if( whenItGoes ) whenItGoes();
   }
   std::function<void()> whenItGoes;
   static inline std::atomic<int> alive = 0;
};

// A millisecond goes by between two looks at it.
struct SteppingClock final : Clock {
   Seconds now() const override { return time += Seconds( 0.001 ); }
   mutable Seconds time{ 0 };
};

constexpr unsigned kMany = 50'000;

struct RetiredTriesTest : testing::Test {
   RetiredTriesTest() { EXPECT_EQ( Item::alive, 0 ); }
   ~RetiredTriesTest() override { EXPECT_EQ( Item::alive, 0 ); }

   // Entries at `n` prefixes, or in one chain.
   Ptr<PatriciaTrieWithNodeData> trie( unsigned n, bool chain = false ) const {
      auto made = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      made->heirIs( retired->heir() );
      for( unsigned i = 0; i < n; ++i )
         made->routeIs( IpGenPrefix( IpAddr( chain ? 1 : i << 8 ), uint8_t( chain ? 32 : 24 ) ), makeNode<Item>() );
      return made;
   }
   bool idle() const { return clock->untilNextCall() == Clock::kNever; }
   // Turns until nothing is left to do; with how many entries each left.
   std::vector<int> turns() const {
      std::vector<int> left;
      while( !idle() ) {
         EXPECT_EQ( clock->callDue(), 1u );
         left.push_back( Item::alive );
      }
      return left;
   }

   Ptr<SteppingClock> clock = makeNode<SteppingClock>();
   Ptr<RetiredTries> retired = makeNode<RetiredTries>( clock );
};

TEST_F( RetiredTriesTest, aSmallTrieGoesAtOnce ) {
   trie( RetiredTries::kSmall );
   EXPECT_EQ( Item::alive, 0 );
   EXPECT_TRUE( idle() );
}

TEST_F( RetiredTriesTest, aLargeTrieGoesInSlices ) {
   trie( kMany );
   EXPECT_EQ( retired->count(), 1u );
   EXPECT_EQ( Item::alive, int( kMany ) );
   EXPECT_EQ( clock->untilNextCall(), Seconds( 0 ) );
   const auto left = turns();
   EXPECT_EQ( retired->count(), 0u );
   ASSERT_GE( left.size(), kMany / 256 );
   int before = kMany;
   for( const int now : left ) {
      EXPECT_LE( before - now, 256 );   // one look at the clock
      EXPECT_LE( now, before );
      before = now;
   }
   EXPECT_EQ( before, 0 );
}

TEST_F( RetiredTriesTest, aLongChainGoesInSlicesToo ) {
   trie( kMany, true );
   EXPECT_EQ( Item::alive, int( kMany ) );
   EXPECT_GE( turns().size(), kMany / 256 );
}

TEST_F( RetiredTriesTest, aTrieStaysWholeForItsReaders ) {
   auto mine = trie( kMany );
   Ptr<const PatriciaTrieWithNodeData> readers = mine;
   mine = nullptr;
   EXPECT_TRUE( idle() );
   EXPECT_EQ( readers->entryCount(), kMany );
   readers = nullptr;
   EXPECT_FALSE( idle() );
   turns();
}

TEST_F( RetiredTriesTest, anEntryThatSomebodyHoldsStays ) {
   auto mine = trie( kMany );
   const Ptr<const Item> held = makeNode<Item>();
   mine->routeIs( IpGenPrefix( IpAddr( 1 ), 32 ), Ptr<Item>( const_cast<Item *>( held.get() ) ) );
   mine = nullptr;
   turns();
   EXPECT_EQ( Item::alive, 1 );
}

TEST_F( RetiredTriesTest, severalTriesWait ) {
   trie( kMany );
   trie( kMany );
   clock->callDue();
   trie( kMany );
   EXPECT_EQ( retired->count(), 3u );
   turns();
   EXPECT_EQ( retired->count(), 0u );
}

TEST_F( RetiredTriesTest, onAnotherThreadATrieGoesThereAndAtOnce ) {
   auto all = trie( kMany );
   std::thread( [ last = std::move( all ) ]() mutable { last = nullptr; } ).join();
   EXPECT_EQ( Item::alive, 0 );
   EXPECT_TRUE( idle() );
}

TEST_F( RetiredTriesTest, whatWaitsGoesWithTheLastUser ) {
   trie( kMany );
   clock->callDue();
   retired = nullptr;
   EXPECT_EQ( Item::alive, 0 );
   EXPECT_TRUE( idle() );
}

TEST_F( RetiredTriesTest, aTrieThatOutlivesItGoesAtOnce ) {
   auto last = trie( kMany );
   const auto uses = clock->useCount();
   retired = nullptr;
   EXPECT_EQ( clock->useCount(), uses - 1 ) << "tries keep neither this nor the clock";
   last = nullptr;
   EXPECT_EQ( Item::alive, 0 );
   EXPECT_TRUE( idle() );
}

TEST_F( RetiredTriesTest, onAnotherThreadATrieLeavesThoseThatWaitAlone ) {
   trie( kMany );
   auto last = trie( kMany );
   std::thread other( [ mine = std::move( last ) ]() mutable { mine = nullptr; } );
   clock->callDue();
   retired = nullptr;   // meanwhile
   other.join();
   EXPECT_EQ( Item::alive, 0 );
}

TEST_F( RetiredTriesTest, tryingToComeWhereItsOwnEntryWaitsIsNoCycle ) {
   auto inner = trie( kMany );
   auto outer = trie( kMany );
   outer->routeIs( IpGenPrefix( "250.0.0.0/24" ), makeNode<Item>( [ inner ] {} ) );
   inner = nullptr;
   outer = nullptr;
   EXPECT_EQ( retired->count(), 1u );
   retired = nullptr;
   EXPECT_EQ( Item::alive, 0 );
}

TEST_F( RetiredTriesTest, anEntryMayTakeAnythingDown ) {
   auto all = trie( kMany );
   auto other = trie( kMany );
   all->routeIs( IpGenPrefix( "250.0.0.0/24" ), makeNode<Item>( [ & ] { other = nullptr; } ) );
   all->routeIs( IpGenPrefix( "251.0.0.0/24" ), makeNode<Item>( [ & ] { retired = nullptr; } ) );
   all = nullptr;
   turns();
   EXPECT_EQ( retired, nullptr );
   EXPECT_EQ( other, nullptr );
}

TEST( RetiredTries, needsAClock ) {
   EXPECT_THROW( makeNode<RetiredTries>( nullptr ), Plinth::MutatorArgNullPointerException );
}

}   // namespace
