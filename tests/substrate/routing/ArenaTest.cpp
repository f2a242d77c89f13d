#include "substrate/routing/Arena.h"

#include <map>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include <gmock/gmock.h>

#include "tests/model/RandomCases.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Row = Routing::Arena<int, 8>;

std::vector<int> block( const Row & row, uint32_t base, size_t n ) {
   return { row.data() + base, row.data() + base + n };
}

TEST( Arena, isEmptyAtFirst ) {
   EXPECT_EQ( Row().size(), 0u );
   EXPECT_EQ( Row().bytes(), 0u );
}

TEST( Arena, aNewBlockIsOfDefaultValues ) {
   Row row;
   const auto base = row.allocate( 3 );
   EXPECT_EQ( row.size(), 3u );
   EXPECT_EQ( block( row, base, 3 ), std::vector<int>( 3 ) );
}

TEST( Arena, aBlockGrowsAtAnyPlace ) {
   for( size_t at = 0; at <= 3; ++at ) {
      Row row;
      auto base = row.grow( 0, 0, 0, 10 );
      base = row.grow( base, 1, 1, 20 );
      base = row.grow( base, 2, 2, 30 );
      base = row.grow( base, 3, at, 99 );
      std::vector<int> expected{ 10, 20, 30 };
      expected.insert( expected.begin() + long( at ), 99 );
      EXPECT_EQ( block( row, base, 4 ), expected );
   }
}

TEST( Arena, takesOffTheLastElement ) {
   Row row;
   const auto base = row.allocate( 3 );
   row[ base ] = 7;
   row.popBack();
   row.popBack();
   EXPECT_EQ( row.size(), 1u );
   EXPECT_EQ( row[ base ], 7 );
}

TEST( Arena, trimmingGivesBackWhatIsReservedBeyondTwiceTheNeed ) {
   for( const size_t n : { 49u, 50u, 51u, 100u } ) {
      Row row;
      row.reserve( 100 );
      for( size_t i = 0; i < n; ++i ) row[ row.allocate( 1 ) ] = int( i );
      row.trim();
      EXPECT_EQ( row.bytes(), sizeof( int ) * ( n < 50 ? n : 100 ) );
      for( size_t i = 0; i < n; ++i ) ASSERT_EQ( row[ i ], int( i ) );
   }
}

TEST( Arena, aBlockThatWasLeftIsUsedAgainAndHoldsNothing ) {
   Routing::Arena<std::shared_ptr<int>, 8> row;
   const auto value = std::make_shared<int>( 1 );
   const auto first = row.grow( 0, 0, 0, value );
   const auto second = row.grow( first, 1, 1, nullptr );
   EXPECT_EQ( value.use_count(), 2 ) << "moved along, not copied";
   EXPECT_EQ( row.allocate( 1 ), first );
   EXPECT_EQ( row[ first ], nullptr );
   EXPECT_EQ( row[ second ], value );
   EXPECT_EQ( row.size(), 3u );
}

TEST( Arena, anAllocationThatFailsLeavesEveryBlockAsItWas ) {
   bool failed = true;
   size_t n = 0;   // the call of all in a run that fails
   for( ; failed; ++n ) {
      SCOPED_TRACE( n );
      Row row;
      std::vector<uint32_t> bases( 4 );
      std::vector<std::vector<int>> expected( bases.size() );
      failed = false;
      size_t calls = 0;
      for( int value = 1; value <= 16; ++value ) {   // each of the blocks by one, in turn
         const size_t b = size_t( value ) % bases.size();
         const size_t size = expected[ b ].size();
         const auto grow = [ & ] { return row.grow( bases[ b ], size, size / 2, value ); };
         const auto before = allocationCount();
         const auto base = [ & ]() -> std::optional<uint32_t> {
            std::optional<AllocationFailure> failure;
            if( !failed ) failure.emplace( n - calls );
            try {
               return grow();
            } catch( const std::bad_alloc & ) { return std::nullopt; }
         }();
         calls += allocationCount() - before;
         if( !base ) {
            failed = true;
            for( size_t i = 0; i < bases.size(); ++i ) ASSERT_EQ( block( row, bases[ i ], expected[ i ].size() ), expected[ i ] );
         }
         bases[ b ] = base ? *base : grow();
         expected[ b ].insert( expected[ b ].begin() + long( size / 2 ), value );
         for( size_t i = 0; i < bases.size(); ++i ) ASSERT_EQ( block( row, bases[ i ], expected[ i ].size() ), expected[ i ] );
      }
   }
   EXPECT_GT( n, 5u ) << "there are so many, at least";
}

TEST( Arena, whatIsReservedIsThereAndCanBeGivenBack ) {
   Row row;
   row.reserve( 1000 );
   EXPECT_GE( row.bytes(), 1000 * sizeof( int ) );
   EXPECT_EQ( row.size(), 0u );
   row.allocate( 2 );
   row.shrinkToFit();
   EXPECT_EQ( row.bytes(), 2 * sizeof( int ) );
}

TEST( Arena, blocksDoNotDisturbEachOther ) {
   forRandomCases( 1, []( Random & random ) {
      struct Block {
         uint32_t base = 0;
         std::vector<int> values;
      };
      std::vector<Block> blocks( 12 );
      Row row;
      for( int step = 1; step < 100; ++step ) {
         Block & b = blocks[ below( random, blocks.size() ) ];
         if( b.values.size() == 8 ) continue;
         const auto at = below( random, b.values.size() + 1 );
         b.base = row.grow( b.base, b.values.size(), at, step );
         b.values.insert( b.values.begin() + long( at ), step );
         for( const auto & other : blocks ) EXPECT_EQ( block( row, other.base, other.values.size() ), other.values );
      }
   } );
}

}   // namespace
