#include "substrate/plinth/DynArray.h"

#include <functional>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "tests/substrate/plinth/Assignments.h"
#include "tests/substrate/plinth/AtEnd.h"
#include "tests/substrate/quoin/Program.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

using Array = Plinth::DynArray<int>;
using Members = std::vector<std::pair<uint32_t, int>>;

Members walk( const Array & array ) {
   Members members;
   for( auto i = array.first(); i; i.next() ) members.emplace_back( i.key(), i.value() );
   return members;
}

TEST( DynArray, emptyHoldsNothing ) {
   const Array array;
   EXPECT_TRUE( array.empty() );
   EXPECT_EQ( array.count(), 0u );
   EXPECT_EQ( array.size(), 0u );
   EXPECT_EQ( array.version(), 0u );
   EXPECT_EQ( array[ 0 ], 0 );
   EXPECT_EQ( array[ UINT32_MAX ], 0 );
   EXPECT_THAT( walk( array ), IsEmpty() );
}

TEST( DynArray, versionMovesByAssignmentAndByBeingMovedFrom ) {
   Array one, other;
   for( uint32_t index : { 1, 2, 3 } ) {
      one.put( index, 10 );
      other.put( 2 * index, 20 );
   }
   expectVersionsMoveWithAssignments( one, other );
   one = other;
   EXPECT_THAT( walk( one ), ElementsAre( Pair( 2, 20 ), Pair( 4, 20 ), Pair( 6, 20 ) ) );
   EXPECT_EQ( one.count(), 3u );
}

TEST( DynArray, whatIsMovedFromIsEmptyAndGoesOn ) {
   const auto isEmpty = []( const Array & array ) {
      EXPECT_TRUE( array.empty() );
      EXPECT_EQ( array.firstIndex(), 0u );
      EXPECT_EQ( array.size(), 0u );
   };
   Array from;
   from.put( 1, 10 );
   from.put( 2, 20 );
   Array to = std::move( from );
   EXPECT_EQ( to.count(), 2u );
   isEmpty( from );
   from.put( 3, 30 );
   EXPECT_EQ( from.count(), 1u );
   to = std::move( from );
   EXPECT_EQ( to.count(), 1u );
   EXPECT_THAT( walk( to ), ElementsAre( Pair( 3, 30 ) ) );
   isEmpty( from );
}

TEST( DynArray, anAssignmentToItselfKeepsEverything ) {
   Array array;
   for( const uint32_t index : { 5u, 9u } ) array.put( index, int( index ) );
   Array & same = array;   // so that no compiler warns of it
   for( const bool move : { false, true } ) {
      if( move )
         array = std::move( same );
      else
         array = same;
      EXPECT_THAT( walk( array ), ElementsAre( Pair( 5, 5 ), Pair( 9, 9 ) ) ) << move;
      EXPECT_EQ( array.count(), 2u ) << move;
      EXPECT_EQ( array.firstIndex(), 5u ) << move;
      EXPECT_EQ( array.size(), 10u ) << move;
   }
}

TEST( DynArray, aChangeThatFindsNoMemoryChangesNothing ) {
   const struct {
      const char * name;
      std::vector<uint32_t> standing;
      std::function<void( Array & )> change;
   } rows[] = {
      { "the first", {}, []( Array & a ) { a.put( 7, 1 ); } },
      { "below", { 100 }, []( Array & a ) { a.put( 7, 1 ); } },
      { "above", { 100 }, []( Array & a ) { a.put( 2000, 1 ); } },
      { "a copy of another",
        { 3, 4 },
        []( Array & a ) {
           Array other;
           other.put( 50, 1 );
           a = other;
        } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Array array;
      for( const uint32_t index : row.standing ) array.put( index, 5 );
      const Members before = walk( array );
      const auto version = array.version(), first = array.firstIndex(), size = array.size();
      for( size_t n = 0;; ++n ) {
         bool failed = false, happened = false;
         {
            const AllocationFailure failure( n );
            try {
               row.change( array );
            } catch( const std::bad_alloc & ) { failed = true; }
            happened = failure.happened();
         }
         if( !happened ) {
            EXPECT_GT( n, 0u ) << "nothing failed at all";
            break;
         }
         EXPECT_TRUE( failed );
         EXPECT_EQ( walk( array ), before );
         EXPECT_EQ( array.version(), version );
         EXPECT_EQ( array.firstIndex(), first );
         EXPECT_EQ( array.size(), size );
         EXPECT_EQ( array.count(), before.size() );
         ASSERT_LT( n, 100u );
      }
      EXPECT_NE( walk( array ), before ) << "with memory it is done";
   }
}

TEST( DynArray, takingAwayNeedsNoMemory ) {
   Array array;
   for( const uint32_t index : { 2u, 3u, 400u, 401u } ) array.put( index, 1 );
   const size_t before = allocationCount();
   array.erase( 2 );
   array.erase( 401 );
   array.put( 3, 0 );
   EXPECT_EQ( array.firstIndex(), 400u );
   array.clear();
   EXPECT_EQ( allocationCount(), before );
   array.put( 1, 1 );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

TEST( DynArray, whatIsAssignedAwayMayWriteToTheArray ) {
   struct AtEnd {
      std::function<void()> end;
      ~AtEnd() { end(); }
   };
   for( const bool move : { false, true } ) {
      Plinth::DynArray<std::shared_ptr<AtEnd>> array, other;
      const auto late = std::make_shared<AtEnd>( AtEnd{ [] {} } );
      array.put( 1, std::make_shared<AtEnd>( AtEnd{ [ & ] { array.put( 5000, late ); } } ) );
      for( uint32_t i = 0; i < 50; ++i ) other.put( i, late );
      if( move )
         array = std::move( other );
      else
         array = other;
      EXPECT_EQ( array.count(), 51u );
      EXPECT_EQ( array.size(), 5001u );
      EXPECT_EQ( array[ 5000 ], late );
      array.clear();
   }
}

TEST( DynArray, takesTheHighestIndex ) {
   static_assert( Array::kMaxEntries == 2003004 );
   Array array;
   EXPECT_TRUE( array.put( 2003003, 7 ) );
   EXPECT_EQ( array[ 2003003 ], 7 );
   EXPECT_EQ( array.firstIndex(), 2003003u ) << "no space is taken below it";
   EXPECT_EQ( array.size(), 2003004u );
   EXPECT_EQ( array.count(), 1u );
   EXPECT_THAT( walk( array ), ElementsAre( Pair( 2003003, 7 ) ) );
   EXPECT_FALSE( array.erase( 2003004 ) );
   EXPECT_FALSE( array.erase( UINT32_MAX ) );
}

TEST( DynArrayDeathTest, endsTheProcessAtAnIndexBeyondTheLimit ) {
   const struct {
      const char * name;
      uint32_t index;
      int value;
   } rows[] = { { "one beyond", 2003004, 7 }, { "far beyond", UINT32_MAX, 7 }, { "one beyond, to unset it", 2003004, 0 } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Array array;
      EXPECT_DEATH( array.put( row.index, row.value ), HasSubstr( "Assertion failed: newEntries < 2003004\n" ) );
   }
}

TEST( DynArray, anOldValueGoesWhenTheChangeStands ) {
   using Handles = Plinth::DynArray<std::shared_ptr<int>>;
   const struct {
      const char * name;
      std::function<void( Handles & )> change;
      uint32_t count;
      bool found;
   } rows[] = {
      { "replace", []( Handles & a ) { a.put( 2, std::make_shared<int>() ); }, 3, true },
      { "erase", []( Handles & a ) { a.erase( 2 ); }, 2, false },
      { "clear", []( Handles & a ) { a.clear(); }, 0, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Handles array;
      int ends = 0;
      uint32_t before = 0;
      for( uint32_t index : { 1, 2, 3 } )
         array.put( index, index != 2 ? std::make_shared<int>() : atEnd( [ & ] {
                       ++ends;
                       EXPECT_EQ( array.version(), before + 1 );
                       EXPECT_EQ( array.count(), row.count );
                       EXPECT_EQ( array[ 2 ] != nullptr, row.found );
                    } ) );
      before = array.version();
      row.change( array );
      EXPECT_EQ( ends, 1 );
   }
}

struct Step {
   enum Kind { put, erase, clear, start, next } kind;
   uint32_t index;
   int value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "put", "erase", "clear", "start", "next" };
      return os << names[ s.kind ] << ' ' << s.index << ' ' << s.value;
   }
};

RC_GTEST_PROP( DynArray, behavesAsTheModelInRandomPrograms, () ) {
   const auto kind = rc::gen::weightedElement<Step::Kind>(
      { { 40, Step::put }, { 20, Step::erase }, { 1, Step::clear }, { 4, Step::start }, { 20, Step::next } } );
   const auto program =
      *programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::index, rc::gen::inRange<uint32_t>( 0, 40 ) ),
                        rc::gen::set( &Step::value, rc::gen::inRange( 0, 4 ) ) );
   Array array;
   std::map<uint32_t, int> model;
   uint32_t changes = 0;
   std::optional<Array::Iterator> place;
   uint32_t at = 0;   // the index where `place` stands
   const auto stand = [ & ]( std::map<uint32_t, int>::iterator expected ) {
      RC_ASSERT( bool( *place ) == ( expected != model.end() ) );
      if( expected == model.end() ) return place.reset();
      RC_ASSERT( place->key() == ( at = expected->first ) );
      RC_ASSERT( place->value() == expected->second );
   };
   for( const Step & step : program ) {
      const uint32_t index = step.index;
      switch( step.kind ) {
         case Step::put: {
            const bool change = model.contains( index ) ? model[ index ] != step.value : step.value != 0;
            RC_ASSERT( array.put( index, step.value ) == change );
            if( step.value ) {
               model[ index ] = step.value;
            } else {
               model.erase( index );
            }
            changes += change;
            break;
         }
         case Step::erase: {
            const bool change = model.erase( index );
            RC_ASSERT( array.erase( index ) == change );
            changes += change;
            break;
         }
         case Step::clear:
            changes += !model.empty();
            array.clear();
            model.clear();
            break;
         case Step::start:
            place = array.first();
            stand( model.begin() );
            break;
         case Step::next:
            if( !place ) break;
            RC_ASSERT( place->key() == at );
            place->next();
            stand( model.upper_bound( at ) );
            break;
      }
      RC_ASSERT( array.version() == changes );
      RC_ASSERT( array.count() == model.size() );
      RC_ASSERT( array.empty() == model.empty() );
      RC_ASSERT( array.firstIndex() == ( model.empty() ? 0 : model.begin()->first ) );
      RC_ASSERT( array.size() == ( model.empty() ? 0 : model.rbegin()->first + 1 ) );
      RC_ASSERT( array[ index ] == ( model.contains( index ) ? model[ index ] : 0 ) );
      RC_ASSERT( walk( array ) == Members( model.begin(), model.end() ) );
   }
}

}   // namespace
