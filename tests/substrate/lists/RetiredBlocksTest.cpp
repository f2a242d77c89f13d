#include "substrate/lists/RetiredBlocks.h"

#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "tests/model/RandomCases.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Routing::RouteMap::RetiredBlocks;

// Blocks and a model of them. The memory of a block is a number here.
struct Owner {
   RetiredBlocks blocks;
   std::multiset<std::pair<uintptr_t, uint64_t>> model;

   void add( uintptr_t memory, uint64_t birth ) {
      blocks.reserve( 1 );
      blocks.add( { reinterpret_cast<void *>( memory ), birth } );
      model.emplace( memory, birth );
   }
   // Some are the heir's.
   void handOver( Owner & heir, uint64_t generation, bool hasRoom ) {
      if( hasRoom ) heir.blocks.reserveFor( blocks );
      const auto before = allocationCount();
      blocks.handOver( heir.blocks, generation );
      EXPECT_TRUE( !hasRoom || allocationCount() == before );
      std::erase_if( model, [ & ]( const auto & block ) {
         if( block.second <= generation ) heir.model.insert( block );
         return block.second <= generation;
      } );
   }
   void takeAll() {
      ASSERT_EQ( blocks.size(), model.size() );
      std::multiset<uintptr_t> taken, all;
      while( !blocks.empty() ) taken.insert( reinterpret_cast<uintptr_t>( blocks.takeOne() ) );
      for( const auto & block : std::exchange( model, {} ) ) all.insert( block.first );
      ASSERT_EQ( taken, all );
   }
};

TEST( RetiredBlocks, eachBlockHasOneOwner ) {
   forRandomCases( 1, []( Random & random ) {
      Owner a, b;
      uintptr_t memory = 0;
      uint64_t generation = 1;
      for( auto steps = below( random, 15 ); steps; --steps ) {
         // More than a row, of one generation or of several, or a few.
         const bool areMixed = oneIn( random, 2 );
         for( auto count = oneIn( random, 8 ) ? 4'000 + below( random, 6'000 ) : below( random, 50 ); count; --count ) {
            if( oneIn( random, 2'000 ) ) ++generation;
            a.add( ++memory, areMixed ? 1 + below( random, generation ) : generation );
         }
         ++generation;
         if( oneIn( random, 3 ) ) a.handOver( b, below( random, generation + 1 ), oneIn( random, 2 ) );
         if( oneIn( random, 5 ) ) std::swap( a, b );
         if( oneIn( random, 9 ) ) {
            const uint64_t old = below( random, generation + 1 );
            b.blocks.forget( old );
            std::erase_if( b.model, [ = ]( const auto & block ) { return block.second <= old; } );
         }
         if( oneIn( random, 12 ) ) b.takeAll();
         ASSERT_EQ( a.blocks.size(), a.model.size() );
         ASSERT_EQ( b.blocks.size(), b.model.size() );
      }
      a.takeAll();
      b.takeAll();
   } );
}

// An edit makes room for all blocks of its path, and again for each of them.
TEST( RetiredBlocks, roomStays ) {
   RetiredBlocks blocks;
   for( uintptr_t memory = 1; memory <= 10'000; ) {
      blocks.reserve( 50 );
      const auto before = allocationCount();
      for( int i = 0; i < 50; ++i, ++memory ) {
         blocks.reserve( 1 );
         blocks.add( { reinterpret_cast<void *>( memory ), 1 } );
      }
      ASSERT_EQ( allocationCount(), before );
   }
   EXPECT_EQ( blocks.size(), 10'000u );
}

}   // namespace
