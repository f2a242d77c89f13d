#include "substrate/quoin/UseCount.h"

#include <array>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "substrate/quoin/String.h"
#include "tests/substrate/quoin/StartLine.h"

namespace {

using Quoin::UseCount;

constexpr int kThreads = 4;

/// Runs `work` on several threads at once.
template <class Work>
void onThreads( const Work & work ) {
   StartLine start( kThreads );
   std::vector<std::thread> threads;
   threads.reserve( kThreads );
   for( int t = 0; t < kThreads; ++t )
      threads.emplace_back( [ & ] {
         start.wait();
         work();
      } );
   for( auto & t : threads ) t.join();
}

TEST( UseCount, hammeringLeavesAnExactCount ) {
   UseCount count;
   onThreads( [ & ] {
      for( int i = 0; i < 300000; ++i ) {
         count.inc();
         if( count.incUnlessGone() ) count.dec();
         count.dec();
      }
   } );
   EXPECT_EQ( count.uses(), 1u );
   EXPECT_TRUE( count.isOne() );
   EXPECT_TRUE( count.dec() );
   EXPECT_FALSE( count.incUnlessGone() );
}

TEST( UseCount, copiesOfAStringComeAndGoOnSeveralThreads ) {
   const Quoin::String text( std::string( 100, 'x' ) );
   onThreads( [ & ] {
      for( int i = 0; i < 100000; ++i ) {
         const std::array copies{ text, text };
         if( copies[ 1 ].size() != 100 || copies[ 1 ].data() != text.data() ) ADD_FAILURE();
      }
   } );
   EXPECT_EQ( text.view(), std::string( 100, 'x' ) );
}

}   // namespace
