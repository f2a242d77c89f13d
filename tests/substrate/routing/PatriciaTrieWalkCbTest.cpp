#include "substrate/routing/PatriciaTrieWalkCb.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <gmock/gmock.h>

#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace {

using Quoin::makeNode;
using Routing::PatriciaTrieWalkCb;
using Routing::PrefixData;

struct Item final : PrefixData {};

static_assert( std::is_base_of_v<Quoin::Node, PrefixData> && std::is_base_of_v<Quoin::Node, PatriciaTrieWalkCb> );
static_assert( std::has_virtual_destructor_v<PrefixData> && std::is_abstract_v<PatriciaTrieWalkCb> );

TEST( PrefixData, standsInNoChainAtFirst ) {
   const auto item = makeNode<Item>();
   EXPECT_EQ( item->next(), nullptr );
   EXPECT_FALSE( item->inChain() );
}

TEST( PrefixData, leadsToTheOneEnteredBeforeItAndKeepsIt ) {
   auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( Ferule::AddressFamily::ipv4, false );
   const auto head = makeNode<Item>();
   const PrefixData * tail = nullptr;
   {
      const auto item = makeNode<Item>();
      tail = item.get();
      trie->routeIs( Ferule::IpGenPrefix( "10.0.0.0/8" ), item );
   }
   EXPECT_TRUE( tail->inChain() );
   trie->routeIs( Ferule::IpGenPrefix( "10.0.0.0/8" ), head );
   EXPECT_TRUE( head->inChain() );
   EXPECT_EQ( head->next(), tail );
   trie = nullptr;
   EXPECT_EQ( head->next(), tail );
   EXPECT_EQ( tail->useCount(), 1u );
}

TEST( PrefixData, anAgentsOwnMayBeOfAnyAlignmentAndSize ) {
   struct alignas( 64 ) Aligned final : PrefixData {
      char bytes[ 100 ]{};
   };
   struct Large final : PrefixData {
      char bytes[ 10'000 ]{};
   };
   const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( Ferule::AddressFamily::ipv4, false );
   for( int i = 0; i < 20; ++i ) {
      const auto aligned = makeNode<Aligned>();
      EXPECT_EQ( reinterpret_cast<uintptr_t>( aligned.get() ) % 64, 0u );
      trie->routeIs( Ferule::IpGenPrefix( "10.0.0.0/8" ), aligned );
      trie->routeIs( Ferule::IpGenPrefix( "10.0.0.0/8" ), makeNode<Large>() );
      trie->routeIs( Ferule::IpGenPrefix( "10.0.0.0/8" ), makeNode<Item>() );
   }
   EXPECT_EQ( trie->entryCount(), 60u );
   alignas( Item ) std::byte place[ sizeof( Item ) ];
   auto * const here = new( place ) Item;
   here->~Item();
}

TEST( PatriciaTrieWalkCb, oneServesManyWalks ) {
   struct Counter final : PatriciaTrieWalkCb {
      bool handlePrefixData( const Ferule::IpGenPrefix &, const PrefixData * ) override { return ++calls; }
      int calls = 0;
   };
   const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( Ferule::AddressFamily::ipv4, false );
   trie->routeIs( Ferule::IpGenPrefix( "10.0.0.0/8" ), makeNode<Item>() );
   const auto counter = makeNode<Counter>();
   for( int i = 1; i <= 3; ++i ) {
      trie->ancestorWalk( Ferule::IpGenPrefix( "10.0.0.0/24" ), counter.get() );
      EXPECT_EQ( counter->calls, i );
   }
   EXPECT_EQ( counter->useCount(), 1u );
}

}   // namespace
