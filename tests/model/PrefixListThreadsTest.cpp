// Readers of a prefix list on other threads, while new generations come and old ones go.
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "policy/PrefixListMatcher.h"
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

/// A list, and the prefix that it alone has not.
struct Published {
   Quoin::Ptr<const PrefixListStatus> list;
   uint32_t missing = 0;
};

TEST( PrefixListThreads, oldGenerationsAnswerWhileNewOnesCome ) {
   std::mutex mutex;
   Published present;
   std::atomic<bool> ends = false;
   std::atomic<int> wrong = 0;
   std::atomic<size_t> asked = 0;

   std::unique_ptr<PrefixListBuilder> builder;
   const auto refill = [ & ]( uint32_t missing ) {
      builder = std::make_unique<PrefixListBuilder>( "list", AddressFamily::ipv4 );
      for( uint32_t i = 0; i < kPrefixes; ++i ) {
         if( i == missing ) continue;
         EXPECT_EQ( builder->entryIs( { i, permit, prefixAt( i ), {}, {} } ), std::nullopt );
      }
      return Published{ builder->build(), missing };
   };
   present = refill( 0 );

   std::vector<std::thread> readers;
   for( uint32_t t = 0; t < 2; ++t )
      readers.emplace_back( [ &, t ] {
         std::vector<Published> held( 5 );   // some are the last users of their generation
         for( uint32_t i = t; !ends || asked < 1000; ++i ) {
            Published & mine = held[ i % held.size() ];
            {
               Published taken;
               {
                  const std::lock_guard lock( mutex );
                  taken = present;
               }
               std::swap( mine, taken );
            }
            const PrefixListMatcher matcher( "list", mine.list );
            wrong += matcher.matchPrefix( prefixAt( mine.missing ) ).result != PrefixListMatchResult::notMatched;
            const uint32_t other = i * 7919 % kPrefixes;
            if( other != mine.missing ) wrong += matcher.matchPrefix( prefixAt( other ) ).seqNo != other;
            ++asked;
         }
      } );

   for( uint32_t i = 1; i < 3000; ++i ) {
      const uint32_t missing = i * 31 % kPrefixes, before = present.missing;
      if( missing == before ) continue;
      EXPECT_TRUE( builder->entryDel( missing ) );
      EXPECT_EQ( builder->entryIs( { before, permit, prefixAt( before ), {}, {} } ), std::nullopt );
      Published next{ builder->build(), missing };
      if( i % 100 == 0 ) next = refill( missing );   // the readers have the last generations of the list before
      const std::lock_guard lock( mutex );
      std::swap( present, next );
   }
   ends = true;
   for( auto & reader : readers ) reader.join();
   EXPECT_EQ( wrong, 0 );
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
