#include "substrate/plinth/InlineRow.h"

#include <algorithm>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Each value owns memory: what is destroyed twice, or not at all, shows under a sanitizer, and in use_count().
using Value = std::shared_ptr<int>;
Value value( int number ) {
   return std::make_shared<int>( number );
}

template <class Row>
std::vector<int> numbers( const Row & row ) {
   std::vector<int> all;
   for( const Value & v : row ) all.push_back( *v );
   return all;
}

template <class Row>
class InlineRowTest : public testing::Test {
 protected:
   static Row of( std::initializer_list<int> all ) {
      Row row;
      for( const int number : all ) row.insert( row.size(), value( number ) );
      return row;
   }
};
using Rows = testing::Types<Plinth::InlineRow<Value, 0>, Plinth::InlineRow<Value, 1>, Plinth::InlineRow<Value, 3>>;
TYPED_TEST_SUITE( InlineRowTest, Rows );

TYPED_TEST( InlineRowTest, aNewOneIsEmpty ) {
   const TypeParam row;
   EXPECT_TRUE( row.empty() );
   EXPECT_EQ( row.size(), 0u );
   EXPECT_EQ( row.begin(), row.end() );
}

TYPED_TEST( InlineRowTest, insertsAndErasesInAnyPlace ) {
   std::mt19937 random( 7 );
   TypeParam row;
   std::vector<int> twin;
   for( int step = 0; step < 2000; ++step ) {
      const size_t at = random() % ( twin.size() + 1 );
      if( at < twin.size() && random() % 2 ) {
         row.erase( at );
         twin.erase( twin.begin() + static_cast<ptrdiff_t>( at ) );
      } else {
         row.insert( at, value( step ) );
         twin.insert( twin.begin() + static_cast<ptrdiff_t>( at ), step );
      }
      ASSERT_EQ( numbers( row ), twin ) << "step " << step;
      if( !twin.empty() ) { ASSERT_EQ( *row.back(), twin.back() ); }
   }
}

TYPED_TEST( InlineRowTest, aCopyIsItsOwn ) {
   for( const auto & all : { TestFixture::of( {} ), TestFixture::of( { 1 } ), TestFixture::of( { 1, 2, 3, 4, 5 } ) } ) {
      TypeParam copy( all );
      EXPECT_EQ( numbers( copy ), numbers( all ) );
      copy.insert( 0, value( 9 ) );
      EXPECT_EQ( copy.size(), all.size() + 1 );
      copy = all;
      EXPECT_EQ( numbers( copy ), numbers( all ) );
   }
}

TYPED_TEST( InlineRowTest, aMoveLeavesAnEmptyRowThatCanBeUsed ) {
   for( const int count : { 0, 1, 2, 5 } ) {
      TypeParam from;
      for( int number = 0; number < count; ++number ) from.insert( from.size(), value( number ) );
      const auto before = numbers( from );
      TypeParam to( std::move( from ) );
      EXPECT_EQ( numbers( to ), before );
      EXPECT_THAT( numbers( from ), IsEmpty() );   // NOLINT(bugprone-use-after-move): what is left is the point
      from.insert( 0, value( 7 ) );
      EXPECT_THAT( numbers( from ), ElementsAre( 7 ) );
      from = std::move( to );
      EXPECT_EQ( numbers( from ), before );
   }
}

TYPED_TEST( InlineRowTest, swapsRowsInTheObjectAndOnTheHeap ) {
   const std::initializer_list<int> rows[] = { {}, { 1 }, { 2, 3 }, { 4, 5, 6, 7, 8 } };
   for( const auto & left : rows ) {
      for( const auto & right : rows ) {
         TypeParam a = TestFixture::of( left ), b = TestFixture::of( right );
         a.swap( b );
         EXPECT_EQ( numbers( a ), std::vector<int>( right ) );
         EXPECT_EQ( numbers( b ), std::vector<int>( left ) );
      }
      TypeParam same = TestFixture::of( left );
      same.swap( same );
      EXPECT_EQ( numbers( same ), std::vector<int>( left ) );
   }
}

TYPED_TEST( InlineRowTest, letsGoOfEachValueOnce ) {
   const Value kept = value( 1 );
   {
      TypeParam row;
      for( int i = 0; i < 5; ++i ) row.insert( 0, kept );
      EXPECT_EQ( kept.use_count(), 6 );
      row.erase( 2 );
      EXPECT_EQ( kept.use_count(), 5 );
      const TypeParam copy( row );
      EXPECT_EQ( kept.use_count(), 9 );
   }
   EXPECT_EQ( kept.use_count(), 1 );
}

TEST( InlineRow, theFirstValuesStandInTheObject ) {
   const auto isInside = []( const auto & row ) {
      const void * at = row.data();
      return at >= static_cast<const void *>( &row ) && at < static_cast<const void *>( &row + 1 );
   };
   Plinth::InlineRow<int, 2> row;
   row.insert( 0, 1 );
   row.insert( 1, 2 );
   EXPECT_TRUE( isInside( row ) );
   row.insert( 2, 3 );
   EXPECT_FALSE( isInside( row ) );
   EXPECT_EQ( sizeof( Plinth::InlineRow<int, 0> ), 2 * sizeof( void * ) );
}

}   // namespace
