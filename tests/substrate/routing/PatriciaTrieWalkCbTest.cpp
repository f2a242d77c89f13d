#include "substrate/routing/PatriciaTrieWalkCb.h"

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
