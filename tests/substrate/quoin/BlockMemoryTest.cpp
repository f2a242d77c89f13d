#include "substrate/quoin/BlockMemory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Quoin::blockMemory;
using Quoin::blockMemoryDel;

// Fills its memory with a byte of its own, and tells whether that is still there.
struct Piece {
   explicit Piece( size_t n, unsigned char m ) : bytes( n ), mark( m ), memory( static_cast<unsigned char *>( blockMemory( n ) ) ) {
      std::memset( memory, mark, bytes );
   }
   bool whole() const {
      return std::all_of( memory, memory + bytes, [ this ]( unsigned char c ) { return c == mark; } );
   }
   size_t bytes;
   unsigned char mark;
   unsigned char * memory;
};

std::vector<Piece> pieces( size_t n, unsigned seed ) {
   std::mt19937 random( seed );
   std::vector<Piece> all;
   for( size_t i = 0; i < n; ++i ) all.emplace_back( random() % 200 == 0 ? random() % 9000 : random() % 120, uint8_t( i ) );
   std::shuffle( all.begin(), all.end(), random );
   return all;
}

TEST( BlockMemory, piecesOfAnySizeAreAlignedAndApart ) {
   auto all = pieces( 5000, 1 );
   for( const auto & p : all ) {
      ASSERT_EQ( reinterpret_cast<uintptr_t>( p.memory ) % alignof( std::max_align_t ), 0u );
      ASSERT_TRUE( p.whole() ) << p.bytes;
   }
   for( size_t i = 0; i < all.size(); ++i ) {
      blockMemoryDel( all[ i ].memory );
      for( size_t j = i + 1; i % 500 == 0 && j < all.size(); ++j ) ASSERT_TRUE( all[ j ].whole() ) << all[ j ].bytes;
   }
}

TEST( BlockMemory, nothingIsFreedOnceAsNothing ) {
   blockMemoryDel( nullptr );
}

TEST( BlockMemory, whatOneThreadTookAnotherMayGiveBack ) {
   std::vector<Piece> mine = pieces( 3000, 2 ), theirs;
   std::thread other( [ & ] { theirs = pieces( 3000, 3 ); } );
   other.join();   // its last block is in nobody's hands now
   std::thread second( [ & ] {
      for( const auto & p : mine ) blockMemoryDel( p.memory );
   } );
   for( const auto & p : theirs ) {
      EXPECT_TRUE( p.whole() );
      blockMemoryDel( p.memory );
   }
   second.join();
}

// At a thread's end, what was made before the thread's first piece goes behind the thread's block.
TEST( BlockMemory, isThereToAThreadsVeryEnd ) {
   struct Late {
      ~Late() { *out = Piece( 50, 7 ); }
      Piece * out = nullptr;
   };
   Piece late( 10, 1 );
   const auto first = late.memory;
   std::thread( [ & ] {
      thread_local Late atEnd;
      atEnd.out = &late;
      blockMemoryDel( blockMemory( 10 ) );
   } ).join();
   EXPECT_TRUE( late.whole() );
   EXPECT_EQ( late.bytes, 50u );
   blockMemoryDel( late.memory );
   blockMemoryDel( first );
}

TEST( BlockMemory, moreThanThereCanBeIsRefused ) {
   EXPECT_THROW( blockMemory( ~size_t( 0 ) ), std::bad_alloc );
   EXPECT_THROW( blockMemory( ~size_t( 0 ) - 8 ), std::bad_alloc );
}

#if !defined( __SANITIZE_ADDRESS__ ) && !defined( __SANITIZE_THREAD__ )   // where the heap is another one

TEST( BlockMemory, aBlockServesMany ) {
   std::vector<void *> all( 1000 );
   const auto before = allocationCount();
   for( auto & p : all ) p = blockMemory( 64 );
   const auto blocks = allocationCount() - before;
   for( auto & p : all ) blockMemoryDel( p );
   EXPECT_GE( blocks, 1000u * 64 / 4096 );
   EXPECT_LE( blocks, 1000u * 80 / 4096 + 2 );
}

size_t heapBytes() {
   const auto info = mallinfo2();
   return info.uordblks + info.hblkhd;
}

TEST( BlockMemory, aBlockGoesBackToTheHeapWithItsLastPiece ) {
   std::mt19937 random( 4 );
   std::vector<void *> all( 20'000 );
   blockMemoryDel( blockMemory( 1 ) );   // so that the thread has its first block
   const auto before = heapBytes();
   for( auto & p : all ) p = blockMemory( random() % 100 );
   const auto taken = heapBytes() - before;
   EXPECT_GT( taken, 20'000u * 50 );
   std::shuffle( all.begin(), all.end(), random );
   for( auto & p : all ) blockMemoryDel( p );
   EXPECT_LT( heapBytes(), before + 2 * 4096 );
}

#endif

TEST( BlockMemory, runningOutLosesNothing ) {
   std::vector<void *> all;
   for( int i = 0; i < 200; ++i ) {
      const AllocationFailure failure( 0 );
      try {
         all.push_back( blockMemory( 100 ) );
         EXPECT_FALSE( failure.happened() );
      } catch( const std::bad_alloc & ) {
         EXPECT_TRUE( failure.happened() );
         break;
      }
   }
   EXPECT_LT( all.size(), 200u );
   all.push_back( blockMemory( 100 ) );
   for( auto * p : all ) blockMemoryDel( p );
}

}   // namespace
