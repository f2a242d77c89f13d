#include "substrate/plinth/TreeMap.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "substrate/quoin/Node.h"
#include "tests/substrate/plinth/OrderedMapTest.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Plinth::TreeMap;

struct Tree {
   template <class K, class V>
   using Map = TreeMap<K, V>;
   static std::string name() { return "tree"; }
};
INSTANTIATE_TYPED_TEST_SUITE_P( TreeMap, OrderedMapTest, testing::Types<Tree>, KindName );

using IntMap = TreeMap<int, int>;
static_assert( sizeof( IntMap ) <= 40 );
// A copy that finds no memory throws, also from an assignment.
static_assert( !std::is_nothrow_copy_assignable_v<IntMap> );
static_assert( std::is_nothrow_move_constructible_v<IntMap> && std::is_nothrow_move_assignable_v<IntMap> );

constexpr size_t kBlock = 64;

/// The sizes of the blocks: the members of a block are neighbours in memory, and two blocks are not.
template <class Map>
std::vector<size_t> blocksOf( const Map & map ) {
   std::vector<size_t> sizes;
   const typename Map::Member * last = nullptr;
   for( const auto & member : map ) {
      if( &member == last + 1 && last )
         ++sizes.back();
      else
         sizes.push_back( 1 );
      last = &member;
   }
   return sizes;
}

std::vector<int> upTo( int count ) {
   std::vector<int> keys( static_cast<size_t>( count ) );
   std::iota( keys.begin(), keys.end(), 0 );
   return keys;
}
std::vector<int> downFrom( int count ) {
   auto keys = upTo( count );
   std::ranges::reverse( keys );
   return keys;
}
std::vector<int> shuffled( int count ) {
   auto keys = upTo( count );
   std::mt19937 random( 1 );
   std::ranges::shuffle( keys, random );
   return keys;
}

/// Each key with ten times its value.
IntMap mapOf( const std::vector<int> & keys ) {
   IntMap map;
   for( const int key : keys ) map.put( key, 10 * key );
   return map;
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

TEST( TreeMap, membersAreAligned ) {
   TreeMap<uint32_t, void *> map;
   map.put( 1, nullptr );
   EXPECT_EQ( reinterpret_cast<uintptr_t>( &*map.begin() ) % alignof( void * ), 0u );
}

// ---- cost

TEST( TreeMap, aFewMembersTakeOneSmallPieceOfMemory ) {
   const struct {
      int members;
      size_t allocations;   // one for each size of the first block: room for 1, 2, 4 ... 64; then one for each block, and for the row
   } rows[] = { { 0, 0 }, { 1, 1 }, { 2, 2 }, { 3, 3 }, { 4, 3 }, { 5, 4 }, { 64, 7 }, { 65, 9 }, { 128, 9 }, { 129, 11 } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.members );
      IntMap map;
      const size_t before = allocationCount();
      for( int key = 0; key < row.members; ++key ) map.put( key, 0 );
      EXPECT_EQ( allocationCount() - before, row.allocations );
   }
}

TEST( TreeMap, anInsertionMovesAtMostOneBlock ) {
   const int count = 100 * kBlock;
   const struct {
      const char * name;
      std::vector<int> keys;
      uint64_t movesEach;   // on average
      size_t blocks;        // at most
   } rows[] = {
      { "ascending", upTo( count ), 4, 100 },
      { "descending", downFrom( count ), 4, 100 },
      { "any order", shuffled( count ), 4 + kBlock / 2, 200 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      TreeMap<int, Counted> map;
      uint64_t sum = 0, most = 0;
      const size_t before = allocationCount();
      for( const int key : row.keys ) {
         Counted::copies = 0;
         map.put( key, Counted() );
         sum += Counted::copies;
         most = std::max( most, Counted::copies );
      }
      EXPECT_LE( sum, row.movesEach * count );
      EXPECT_LE( most, kBlock + 4 );
      EXPECT_LE( blocksOf( map ).size(), row.blocks );
      EXPECT_LE( allocationCount() - before, row.blocks + 25 ) << "the smaller first blocks and the row";
   }
}

TEST( TreeMap, aGapThatIsFilledInOrderGetsFullBlocks ) {
   const int count = 10 * kBlock;
   for( const bool ascending : { true, false } ) {
      SCOPED_TRACE( ascending );
      IntMap map = mapOf( upTo( count ) );
      for( const int key : upTo( count ) ) map.put( 1'000'000 + key, 0 );
      ASSERT_EQ( blocksOf( map ).size(), 20u );
      for( const int key : ascending ? upTo( count ) : downFrom( count ) ) map.put( 500'000 + key, 0 );
      EXPECT_EQ( blocksOf( map ), std::vector<size_t>( 30, kBlock ) );
   }
}

TEST( TreeMap, aRemovalMovesAtMostOneBlockAndSparseBlocksAreJoined ) {
   const int count = 100 * kBlock;
   for( const auto & keys : { upTo( count ), downFrom( count ), shuffled( count ) } ) {
      TreeMap<int, Counted> map;
      for( const int key : upTo( count ) ) map.put( key, Counted() );
      uint64_t most = 0;
      const size_t before = allocationCount();
      for( const int key : keys ) {
         if( key % 50 == 0 ) continue;
         Counted::copies = 0;
         ASSERT_TRUE( map.erase( key ) );
         most = std::max( most, Counted::copies );
      }
      EXPECT_EQ( allocationCount(), before );
      EXPECT_LE( most, kBlock + kBlock / 2 );
      const auto blocks = blocksOf( map );
      EXPECT_EQ( map.count(), 2 * kBlock );
      for( size_t i = 1; i < blocks.size(); ++i ) EXPECT_GT( blocks[ i - 1 ] + blocks[ i ], kBlock / 2 ) << i;
   }
}

TEST( TreeMap, sparseBlocksAreJoinedWhileACopySharesThem ) {
   const int count = 20 * kBlock;
   for( const auto & keys : { upTo( count ), downFrom( count ), shuffled( count ) } ) {
      IntMap map = mapOf( upTo( count ) );
      for( const int key : keys ) {
         if( key % 50 == 0 ) continue;
         const IntMap last = map;
         ASSERT_TRUE( map.erase( key ) );
         ASSERT_EQ( *last.find( key ), 10 * key );
      }
      const auto blocks = blocksOf( map );
      for( size_t i = 1; i < blocks.size(); ++i ) EXPECT_GT( blocks[ i - 1 ] + blocks[ i ], kBlock / 2 ) << i;
      EXPECT_EQ( map.count(), 26u );
      for( const auto & [ key, value ] : map ) EXPECT_TRUE( key % 50 == 0 && value == 10 * key ) << key;
   }
}

TEST( TreeMap, readsBackwardsToo ) {
   for( const int count : { 0, 1, 3, 64, 65, 200 } ) {
      SCOPED_TRACE( count );
      const auto map = mapOf( shuffled( count ) );
      std::vector<int> keys;
      std::transform( map.rbegin(), map.rend(), std::back_inserter( keys ), []( const auto & member ) { return member.first; } );
      EXPECT_EQ( keys, downFrom( count ) );
      auto last = map.end();
      for( int key = count; key-- > 0; ) EXPECT_EQ( ( --last )->first, key );
      EXPECT_EQ( last, map.begin() );
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

TEST( TreeMap, anIteratorReadsThePresentValueOfItsMember ) {
   auto map = mapOf( upTo( 100 ) );
   const auto i = map.lowerBound( 50 );
   map.put( 1000, 0 );
   for( int key = 0; key < 50; ++key ) map.erase( key );
   EXPECT_EQ( i.value(), 500 );
   map.put( 50, 501 );
   EXPECT_EQ( i.value(), 501 );
}

TEST( TreeMap, destroysItsMembersFromTheLastToTheFirst ) {
   std::vector<int> ends;
   {
      TreeMap<int, std::shared_ptr<int>> map;
      for( const int key : upTo( 200 ) ) map.put( key, atEnd( [ &ends, key ] { ends.push_back( key ); } ) );
   }
   EXPECT_EQ( ends, downFrom( 200 ) );
}

TEST( TreeMap, aReleaseScopeDoesNotDelayTheEndOfTheMembers ) {
   const Quoin::ReleaseScope scope;
   bool ended = false;
   TreeMap<int, std::shared_ptr<int>> map;
   map.put( 1, atEnd( [ & ] { ended = true; } ) );
   map.clear();
   EXPECT_TRUE( ended );
}

// ---- copies

TEST( TreeMap, aCopySharesTheBlocksAndAWriteCopiesOneOfThem ) {
   const int count = 10 * kBlock;
   const struct {
      const char * name;
      std::function<void( IntMap & )> write;   // in the fourth block
      size_t moved;                            // members that then have another place in memory
      bool grows;
   } rows[] = {
      { "replace", []( IntMap & m ) { EXPECT_TRUE( m.put( 200, 1 ) ); }, kBlock, false },
      { "replace by an equal value", []( IntMap & m ) { EXPECT_FALSE( m.put( 200, 2000 ) ); }, 0, false },
      { "insert", []( IntMap & m ) { EXPECT_TRUE( m.erase( 200 ) && m.put( 200, 1 ) ); }, kBlock, false },
      { "append", []( IntMap & m ) { EXPECT_TRUE( m.put( 1'000, 1 ) ); }, 1, true },
      { "erase", []( IntMap & m ) { EXPECT_TRUE( m.erase( 200 ) ); }, kBlock - 1, false },
      { "erase what has no member", []( IntMap & m ) { EXPECT_FALSE( m.erase( -1 ) ); }, 0, false },
      { "clear", []( IntMap & m ) { m.clear(); }, 0, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto map = mapOf( upTo( count ) );
      const auto before = membersOf( map );
      size_t allocations = allocationCount();
      auto copy = map;
      EXPECT_EQ( allocationCount() - allocations, 1u ) << "the row of blocks";
      for( const auto & [ key, value ] : map ) ASSERT_EQ( copy.find( key ), &value );
      allocations = allocationCount();
      row.write( copy );
      EXPECT_LE( allocationCount() - allocations, row.grows ? 2u : row.moved ? 1u : 0u );
      size_t moved = 0;
      for( const auto & [ key, value ] : copy ) moved += map.find( key ) != &value;
      EXPECT_EQ( moved, row.moved );
      EXPECT_EQ( membersOf( map ), before );
   }
}

TEST( TreeMap, aCopyOfAFewMembersNeedsNoMemory ) {
   const auto map = mapOf( upTo( kBlock ) );
   const size_t before = allocationCount();
   const std::array copies{ map, map };
   EXPECT_EQ( allocationCount(), before );
   for( const auto & copy : copies ) EXPECT_EQ( membersOf( copy ), membersOf( map ) );
}

TEST( TreeMap, theLastHolderOfABlockWritesWithoutACopy ) {
   auto map = mapOf( upTo( kBlock ) );
   { const std::array copies{ map, map }; }
   const size_t before = allocationCount();
   map.put( 7, 0 );
   map.erase( 8 );
   EXPECT_EQ( allocationCount(), before );
}

TEST( TreeMap, takingAwayNeedsNoMemory ) {
   auto map = mapOf( shuffled( 1000 ) );
   const auto copy = map, other = map;
   auto third = map;
   const size_t before = allocationCount();
   EXPECT_EQ( map.takeAll().count(), 1000u );
   third.clear();
   EXPECT_EQ( allocationCount(), before ) << "of a shared collection";
   map.put( 1, 1 );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
   EXPECT_EQ( membersOf( copy ), membersOf( other ) );
}

// ---- failures

/// A value whose copy can throw; a move cannot.
struct Throwing {
   Throwing( int n ) : number( n ) {}
   Throwing( const Throwing & from ) : number( from.number ) {
      if( left != 0 && --left == 0 ) throw std::runtime_error( "copy" );
   }
   Throwing( Throwing && ) noexcept = default;
   Throwing & operator=( const Throwing & ) = default;
   Throwing & operator=( Throwing && ) noexcept = default;
   bool operator==( const Throwing & ) const = default;
   int number;
   static inline size_t left = 0;   // copies until one throws, that one included; 0 for none
};

using Fragile = TreeMap<int, Throwing>;
struct Change {
   const char * name;
   int members;   // even keys, in ascending order
   bool isShared;
   std::function<void( Fragile & )> change;
};
const Change kChanges[] = {
   { "the first", 0, false, []( Fragile & m ) { m.put( 0, 1 ); } },
   { "one more than the room of the block", 4, false, []( Fragile & m ) { m.put( 3, 1 ); } },
   { "behind a full block", 64, false, []( Fragile & m ) { m.put( 1000, 1 ); } },
   { "in front of a full block", 64, false, []( Fragile & m ) { m.put( -1, 1 ); } },
   { "into a full block", 64, false, []( Fragile & m ) { m.put( 31, 1 ); } },
   { "into a full block of many", 640, false, []( Fragile & m ) { m.put( 301, 1 ); } },
   { "into a shared block", 4, true, []( Fragile & m ) { m.put( 3, 1 ); } },
   { "into a full shared block", 640, true, []( Fragile & m ) { m.put( 301, 1 ); } },
   { "in front of a shared block that is not full", 100, true, []( Fragile & m ) { m.put( 127, 1 ); } },
   { "another value in a shared block", 640, true, []( Fragile & m ) { m.put( 300, 1 ); } },
   { "erase from a shared block", 640, true, []( Fragile & m ) { m.erase( 300 ); } },
   { "a copy of another", 640, false,
     []( Fragile & m ) {
        Fragile other;
        for( int key = 0; key < 200; ++key ) other.put( key, 1 );
        m = other;
     } },
};

/// As AllocationFailure, for the copies of values.
struct CopyFailure {
   explicit CopyFailure( size_t n ) { Throwing::left = n + 1; }
   ~CopyFailure() { Throwing::left = 0; }
   static bool happened() { return Throwing::left == 0; }
};

/// Lets each step of a change fail once. Returns how many steps can fail.
template <class Failure>
size_t failuresOf( const Change & row ) {
   const auto numbersOf = []( const Fragile & map ) {
      std::vector<std::pair<int, int>> numbers;
      for( const auto & [ key, value ] : map ) numbers.emplace_back( key, value.number );
      return numbers;
   };
   Fragile map;
   for( int i = 0; i < row.members; ++i ) map.put( 2 * i, 20 * i );
   const auto copy = row.isShared ? map : Fragile();
   const auto before = numbersOf( map );
   const uint32_t version = map.version();
   const auto iterator = map.first();
   const auto begin = map.begin();
   for( size_t n = 0; n < 1000; ++n ) {
      bool failed = false, happened = false;
      {
         const Failure failure( n );
         try {
            row.change( map );
         } catch( const std::exception & ) { failed = true; }
         happened = failure.happened();
      }
      EXPECT_EQ( failed, happened ) << n;
      if( !happened ) {
         EXPECT_NE( numbersOf( map ), before ) << "it is done";
         if( row.isShared ) { EXPECT_EQ( numbersOf( copy ), before ); }
         return n;
      }
      EXPECT_EQ( numbersOf( map ), before ) << n;
      EXPECT_EQ( map.version(), version ) << n;
      EXPECT_EQ( map.count(), before.size() ) << n;
      EXPECT_EQ( begin, map.begin() ) << n << ": iterators are valid";
      if( auto i = iterator ) {
         EXPECT_EQ( i.value(), 0 );
         i.next();
         EXPECT_EQ( i.value(), 20 );
      }
   }
   ADD_FAILURE() << "it never succeeds";
   return 0;
}

TEST( TreeMap, aChangeThatFindsNoMemoryChangesNothing ) {
   for( const auto & row : kChanges ) {
      SCOPED_TRACE( row.name );
      EXPECT_GT( failuresOf<AllocationFailure>( row ), 0u );
   }
}

TEST( TreeMap, aChangeWithACopyThatThrowsChangesNothing ) {
   for( const auto & row : kChanges ) {
      SCOPED_TRACE( row.name );
      EXPECT_EQ( failuresOf<CopyFailure>( row ) != 0, row.isShared ) << "only shared members are copied";
   }
}

// ---- order of events

TEST( TreeMap, aDestroyedValueMayWriteToTheCollection ) {
   using Map = TreeMap<int, std::shared_ptr<int>>;
   const struct {
      const char * name;
      std::function<void( Map & )> change;
      size_t left;
   } rows[] = {
      { "replace", []( Map & m ) { m.put( 50, nullptr ); }, 99 },
      { "erase", []( Map & m ) { m.erase( 50 ); }, 98 },
      { "erase the only member of a block",
        []( Map & m ) {
           for( const int key : upTo( 100 ) )
              if( key != 50 ) m.erase( key );
           m.erase( 50 );
        },
        0 },
      { "clear", []( Map & m ) { m.clear(); }, 0 },
      { "assign",
        []( Map & m ) {
           const Map other;
           m = other;
        },
        0 },
      { "move", []( Map & m ) { m = Map(); }, 0 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Map map;
      for( const int key : upTo( 100 ) )
         map.put( key, key != 50 ? nullptr : atEnd( [ & ] {
                     map.erase( 1 );
                     for( int late = 1000; late < 1200; ++late ) map.put( late, nullptr );
                  } ) );
      row.change( map );
      EXPECT_EQ( map.count(), 200 + row.left );
      EXPECT_EQ( membersOf( map ).size(), map.count() );
      EXPECT_TRUE( std::ranges::is_sorted( membersOf( map ) ) );
   }
}

// ---- the model

/// A collection, its slow twin, and an iterator that survives all changes.
struct Twin {
   IntMap map;
   std::map<int, int> model;
   std::optional<IntMap::Iterator> place;
   int at = 0;   // the key of `place`

   void stand( std::map<int, int>::iterator expected ) {
      ASSERT_EQ( bool( *place ), expected != model.end() );
      if( expected == model.end() ) return place.reset();
      ASSERT_EQ( place->key(), at = expected->first );
      ASSERT_EQ( place->value(), expected->second );
   }
   void step( int kind, int key, int value ) {
      if( kind < 2 ) {
         place = map.lowerBound( key );
         stand( model.lower_bound( key ) );
      } else if( place ) {
         place->next();
         stand( model.upper_bound( at ) );
      }
      const auto known = model.find( key );
      if( value != 0 ) {
         ASSERT_EQ( map.put( key, value ), known == model.end() || known->second != value );
         model[ key ] = value;
      } else {
         ASSERT_EQ( map.erase( key ), known != model.end() );
         model.erase( key );
      }
   }
   void check() const {
      ASSERT_EQ( map.count(), model.size() );
      ASSERT_TRUE( std::equal( map.begin(), map.end(), model.begin(), model.end(),
                               []( const auto & a, const auto & b ) { return a.first == b.first && a.second == b.second; } ) );
      for( const size_t size : blocksOf( map ) ) ASSERT_LE( size, kBlock );
      for( const auto & [ key, member ] : model ) {
         const int * found = map.find( key );
         ASSERT_TRUE( found && *found == member );
      }
   }
};

TEST( TreeMap, manyBlocksAndCopiesBehaveAsTheModel ) {
   for( unsigned seed = 1; seed <= 20 && !testing::Test::HasFatalFailure(); ++seed ) {
      SCOPED_TRACE( seed );
      std::mt19937 random( seed );
      const auto pick = [ & ]( unsigned n ) { return static_cast<int>( random() % n ); };
      Twin twins[ 3 ];
      int insertions = 0;   // of ten steps
      for( int step = 0; step < 5000; ++step ) {
         if( step % 1000 == 0 ) insertions = step % 2000 == 0 ? 9 : 2;
         Twin & one = twins[ pick( 3 ) ];
         Twin & other = twins[ pick( 3 ) ];
         switch( pick( 300 ) ) {
            case 0:
               one.map = other.map;
               one.model = other.model;
               break;
            case 1:
               std::swap( one.map, other.map );
               std::swap( one.model, other.model );
               break;
            case 2:
               if( pick( 4 ) != 0 ) break;
               one.map.clear();
               one.model.clear();
               break;
            default: one.step( pick( 20 ), pick( 1000 ), pick( 10 ) < insertions ? 1 + pick( 3 ) : 0 );
         }
         if( step % 50 == 0 )
            for( const auto & twin : twins ) twin.check();
         if( testing::Test::HasFatalFailure() ) break;
      }
   }
}

}   // namespace
