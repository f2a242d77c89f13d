// Copies of a TreeMap on several threads. The cases of TreeMapTest.cpp run on one.

#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "substrate/plinth/TreeMap.h"

namespace {

using Plinth::TreeMap;

TEST( TreeMap, copiesAreReadAndDestroyedOnOtherThreads ) {
   using Handles = TreeMap<int, std::shared_ptr<const int>>;
   std::vector<int> keys( 300 );
   std::iota( keys.begin(), keys.end(), 0 );
   Handles map;
   for( const int key : keys ) map.put( key, std::make_shared<const int>( 0 ) );
   std::vector<std::thread> threads;
   for( int round = 1; round <= 200; ++round ) {
      if( round % 10 == 0 )
         threads.emplace_back( [ copy = map, round ]() mutable {
            int sum = 0;
            for( const auto & [ key, value ] : copy ) sum += *value;
            EXPECT_EQ( sum, 300 * ( round - 1 ) );
            copy.put( round, nullptr );
            copy.clear();
         } );
      for( const int key : keys ) map.put( key, std::make_shared<const int>( round ) );
   }
   for( auto & thread : threads ) thread.join();
   EXPECT_EQ( map.count(), 300u );
   EXPECT_EQ( **map.find( 20 ), 200 );
}

}   // namespace
