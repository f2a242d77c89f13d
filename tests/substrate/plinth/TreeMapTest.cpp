#include "substrate/plinth/TreeMap.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/substrate/plinth/OrderedMapTest.h"

namespace {

using Plinth::TreeMap;

struct Tree {
   template <class K, class V>
   using Map = TreeMap<K, V>;
   static std::string name() { return "tree"; }
};
INSTANTIATE_TYPED_TEST_SUITE_P( TreeMap, OrderedMapTest, testing::Types<Tree>, KindName );

TEST( TreeMap, aMemberKeepsItsPlaceInMemoryWhateverComesAndGoes ) {
   TreeMap<int, int> map;
   map.put( 50, 500 );
   const int * const fifty = map.find( 50 );
   for( int key = 100; key >= 0; --key ) map.put( key, 10 * key );
   for( int key = 0; key <= 100; ++key )
      if( key != 50 ) map.erase( key );
   EXPECT_EQ( map.find( 50 ), fifty );
   map.put( 50, 501 );
   EXPECT_EQ( map.find( 50 ), fifty ) << "a new value, in the same place";
   EXPECT_EQ( *fifty, 501 );
}

/// Counts how often one of its kind is copied or moved.
struct Counted {
   Counted() = default;
   Counted( const Counted & ) { ++copies; }
   Counted( Counted && ) noexcept { ++copies; }
   Counted & operator=( const Counted & ) {
      ++copies;
      return *this;
   }
   Counted & operator=( Counted && ) noexcept {
      ++copies;
      return *this;
   }
   ~Counted() = default;
   bool operator==( const Counted & ) const { return false; }
   static inline uint64_t copies = 0;
};

TEST( TreeMap, anInsertionMovesNoMemberWhateverTheOrder ) {
   const int count = 1000;
   for( const bool ascending : { true, false } ) {
      SCOPED_TRACE( ascending );
      TreeMap<int, Counted> map;
      Counted::copies = 0;
      for( int i = 0; i < count; ++i ) map.put( ascending ? i : -i, Counted() );
      EXPECT_EQ( map.count(), size_t( count ) );
      EXPECT_LE( Counted::copies, 4u * count ) << "into the call and into place, and never again";
   }
}

TEST( TreeMap, aWalkDownFindsWhatIsInsertedBelowIt ) {
   struct Down {
      int key = 0;
      bool operator<( Down other ) const { return key > other.key; }
   };
   TreeMap<Down, int> map;
   map.put( { 30 }, 0 );
   std::vector<int> walked;
   for( auto i = map.first(); i; i.next() ) {
      walked.push_back( i.key().key );
      if( i.key().key != 30 ) continue;
      map.put( { 40 }, 0 );
      map.put( { 20 }, 0 );
      map.put( { 10 }, 0 );
   }
   EXPECT_EQ( walked, ( std::vector<int>{ 30, 20, 10 } ) );
}

TEST( TreeMap, readsBackwardsToo ) {
   TreeMap<int, int> map;
   for( const int key : { 2, 3, 1 } ) map.put( key, 10 * key );
   std::vector<std::pair<int, int>> members( map.rbegin(), map.rend() );
   EXPECT_EQ( members, ( std::vector<std::pair<int, int>>{ { 3, 30 }, { 2, 20 }, { 1, 10 } } ) );
}

}   // namespace
