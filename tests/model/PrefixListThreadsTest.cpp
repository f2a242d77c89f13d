// Readers of a prefix list on other threads, while new generations come and old ones go.
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "policy/PrefixListMatcher.h"
#include "substrate/lists/RetiredPrefixRows.h"
#include "tests/model/GenerationReaders.h"
#include "tests/model/RandomCases.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using Routing::Policy::PrefixListMatcher;
using Routing::Policy::PrefixListMatchResult;

constexpr uint32_t kPrefixes = 2000;

IpGenPrefix prefixAt( uint32_t i ) {
   return IpGenPrefix( Ferule::IpAddr( 0x0a000000 + ( i << 8 ) ), 24 );
}

TEST( PrefixListThreads, oldGenerationsAnswerWhileNewOnesCome ) {
   std::unique_ptr<PrefixListBuilder> builder;
   const auto refill = [ & ]( uint32_t missing ) {
      builder = std::make_unique<PrefixListBuilder>( "list", AddressFamily::ipv4 );
      for( uint32_t i = 0; i < kPrefixes; ++i ) {
         if( i == missing ) continue;
         EXPECT_EQ( builder->entryIs( { i, permit, prefixAt( i ), {}, {} } ), std::nullopt );
      }
      return Generation<PrefixListStatus>{ builder->build(), missing };
   };
   GenerationReaders<PrefixListStatus> readers( refill( 0 ), []( const auto & generation, uint32_t i ) {
      const PrefixListMatcher matcher( "list", generation.list );
      const uint32_t other = i * 7919 % kPrefixes;
      return ( matcher.matchPrefix( prefixAt( generation.missing ) ).result != PrefixListMatchResult::notMatched ) +
         ( other != generation.missing && matcher.matchPrefix( prefixAt( other ) ).seqNo != other );
   } );

   for( uint32_t i = 1; i < 3000; ++i ) {
      const uint32_t missing = i * 31 % kPrefixes, before = readers.missing();
      if( missing == before ) continue;
      EXPECT_TRUE( builder->entryDel( missing ) );
      EXPECT_EQ( builder->entryIs( { before, permit, prefixAt( before ), {}, {} } ), std::nullopt );
      Generation<PrefixListStatus> next{ builder->build(), missing };
      if( i % 100 == 0 ) next = refill( missing );   // the readers have the last generations of the list before
      readers.presentIs( std::move( next ) );
   }
   EXPECT_EQ( readers.end(), 0 );
}

// Nine prefixes in each block.
IpGenPrefix sparsePrefixAt( uint32_t i ) {
   return IpGenPrefix( Ferule::IpAddr( i / 9 << 14 | i % 9 << 8 ), 24 );
}

// Lists of so many blocks that they are freed in slices, by this thread and by the readers; some of their blocks are shared.
TEST( PrefixListThreads, largeListsAreReleasedOnAnyThread ) {
   constexpr uint32_t kLarge = 100'000;
   GenerationReaders<PrefixListStatus> readers( { prefixList( {} ), 0 }, []( const auto & generation, uint32_t i ) {
      if( generation.missing == 0 ) return 0;   // the empty list
      const PrefixListMatcher matcher( "list", generation.list );
      const uint32_t other = i * 7919 % kLarge;
      return ( matcher.matchPrefix( sparsePrefixAt( generation.missing ) ).result != PrefixListMatchResult::notMatched ) +
         ( other > 10 && matcher.matchPrefix( sparsePrefixAt( other ) ).seqNo != other );
   } );
   for( uint32_t round = 1; round < 5; ++round ) {
      PrefixListBuilder builder( "list", AddressFamily::ipv4 );
      for( uint32_t i = 0; i < kLarge; ++i )
         if( i != round ) { ASSERT_EQ( builder.entryIs( { i, permit, sparsePrefixAt( i ), {}, {} } ), std::nullopt ); }
      readers.presentIs( { builder.build(), round } );
      for( uint32_t i = 11; i < kLarge; i += 2 ) {   // a new path to most blocks
         ASSERT_TRUE( builder.entryDel( i ) );
         ASSERT_EQ( builder.entryIs( { i, deny, sparsePrefixAt( i ), {}, {} } ), std::nullopt );
      }
      readers.presentIs( { builder.build(), round } );
   }
   readers.presentIs( { prefixList( {} ), 0 } );
   EXPECT_EQ( readers.end(), 0 );
   while( !Routing::RouteMap::RetiredPrefixRows::letGo() ) {}
}

TEST( PrefixListThreads, oneTrieIsMadeForAllWhoAskForIt ) {
   for( int i = 0; i < 100; ++i ) {
      const auto list = prefixList( { "10 permit 10.0.0.0/8" } );
      const PatriciaTrieWithNodeData * seen[ 2 ] = {};
      std::vector<std::thread> threads;
      for( auto & mine : seen ) threads.emplace_back( [ & ] { mine = &list->trie(); } );
      for( auto & thread : threads ) thread.join();
      EXPECT_EQ( seen[ 0 ], seen[ 1 ] );
      EXPECT_EQ( seen[ 0 ]->useCount(), 1u );
   }
}

}   // namespace
