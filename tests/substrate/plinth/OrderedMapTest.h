/// @file tests/substrate/plinth/OrderedMapTest.h
/// What every ordered collection promises. A test file of one names its kinds: each has a `name()`, and a template `Map` of key and value.
#pragma once

#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/quoin/String.h"
#include "tests/substrate/plinth/Assignments.h"
#include "tests/substrate/plinth/AtEnd.h"
#include "tests/substrate/plinth/Members.h"
#include "tests/substrate/quoin/Program.h"

namespace {

using Quoin::String;
using testing::ElementsAre;
using testing::Pair;

template <class Kind>
class OrderedMapTest : public testing::Test {
 public:
   using Map = typename Kind::template Map<int, int>;
   using StringMap = typename Kind::template Map<String, String>;
   using HandleMap = typename Kind::template Map<int, std::shared_ptr<int>>;
   static Map mapOf( std::initializer_list<int> keys ) {
      Map map;
      for( int k : keys ) map.put( k, 10 * k );
      return map;
   }
   static std::vector<int> walk( typename Map::Iterator i ) {
      std::vector<int> keys;
      for( ; i; i.next() ) keys.push_back( i.key() );
      return keys;
   }
};

struct KindName {
   template <class Kind>
   static std::string GetName( int ) {
      return Kind::name();
   }
};
TYPED_TEST_SUITE_P( OrderedMapTest );

TYPED_TEST_P( OrderedMapTest, emptyHoldsNothing ) {
   const typename TestFixture::Map map;
   EXPECT_TRUE( map.empty() );
   EXPECT_EQ( map.count(), 0u );
   EXPECT_EQ( map.version(), 0u );
   EXPECT_EQ( map.find( 0 ), nullptr );
   EXPECT_FALSE( map.first() );
   EXPECT_FALSE( map.lowerBound( 0 ) );
   EXPECT_EQ( map.begin(), map.end() );
}

TYPED_TEST_P( OrderedMapTest, anIteratorGoesToTheNextHigherKeyAfterAnyChange ) {
   using Map = typename TestFixture::Map;
   auto other = TestFixture::mapOf( { 5, 15, 25, 45, 55 } );
   const struct {
      const char * name;
      std::function<void( Map & )> change;   // while the iterator stands on 30 of 10..50
      std::vector<int> rest;
   } rows[] = {
      { "nothing changed", []( Map & ) {}, { 40, 50 } },
      { "the current key is deleted", []( Map & m ) { m.erase( 30 ); }, { 40, 50 } },
      { "one before it is deleted", []( Map & m ) { m.erase( 10 ); }, { 40, 50 } },
      { "the current and all before it are deleted", []( Map & m ) { m.erase( 10 ), m.erase( 20 ), m.erase( 30 ); }, { 40, 50 } },
      { "the next is deleted", []( Map & m ) { m.erase( 40 ); }, { 50 } },
      { "all behind it are deleted", []( Map & m ) { m.erase( 40 ), m.erase( 50 ); }, {} },
      { "one is inserted before it", []( Map & m ) { m.put( 5, 0 ); }, { 40, 50 } },
      { "one is inserted right behind it", []( Map & m ) { m.put( 31, 0 ); }, { 31, 40, 50 } },
      { "one is appended", []( Map & m ) { m.put( 60, 0 ); }, { 40, 50, 60 } },
      { "its value is replaced", []( Map & m ) { m.put( 30, 0 ); }, { 40, 50 } },
      { "the current key goes and comes back", []( Map & m ) { m.erase( 30 ), m.put( 30, 0 ); }, { 40, 50 } },
      { "one is inserted, one deleted", []( Map & m ) { m.erase( 10 ), m.put( 35, 0 ); }, { 35, 40, 50 } },
      { "all is cleared", []( Map & m ) { m.clear(); }, {} },
      { "all is cleared and filled anew", []( Map & m ) { m.clear(), m.put( 7, 0 ), m.put( 70, 0 ); }, { 70 } },
      { "another of as many changes is copied to it", [ &other ]( Map & m ) { m = other; }, { 45, 55 } },
      { "another of as many changes is moved to it", [ &other ]( Map & m ) { m = Map( std::move( other ) ); }, { 45, 55 } },
      { "it is moved from", []( Map & m ) { const Map gone( std::move( m ) ); }, {} },
      { "it is moved from and filled anew",
        []( Map & m ) {
           { const Map gone( std::move( m ) ); }
           m.put( 7, 0 ), m.put( 70, 0 );
        },
        { 70 } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      auto map = TestFixture::mapOf( { 10, 20, 30, 40, 50 } );
      auto i = map.lowerBound( 30 );
      EXPECT_EQ( i.value(), 300 );
      row.change( map );
      EXPECT_EQ( i.key(), 30 );
      i.next();
      EXPECT_EQ( TestFixture::walk( i ), row.rest );
   }
}

TYPED_TEST_P( OrderedMapTest, keysAndValuesMayBeThoseOfAMember ) {
   const auto text = []( const char * s ) { return String( std::string( 40, '.' ) + s ); };   // too long for the object itself
   typename TestFixture::StringMap map;
   for( const char * key : { "b", "d", "f", "h" } ) map.put( text( key ), text( "value" ) );
   EXPECT_FALSE( map.put( map.begin()->first, map.begin()->second ) );
   EXPECT_TRUE( map.put( map.begin()->first, map.begin()->first ) );
   EXPECT_TRUE( map.erase( std::next( map.begin() )->first ) );
   EXPECT_THAT(
      membersOf( map ),
      ElementsAre( Pair( text( "b" ), text( "b" ) ), Pair( text( "f" ), text( "value" ) ), Pair( text( "h" ), text( "value" ) ) ) );
   map.put( text( "h" ), text( "a" ) );
   EXPECT_TRUE( map.put( std::prev( map.end() )->second, text( "value" ) ) );   // moves the very member that holds the key
   map.put( text( "h" ), text( "c" ) );
   EXPECT_TRUE( map.put( *map.find( text( "h" ) ), text( "value" ) ) );
   EXPECT_THAT( membersOf( map ),
                ElementsAre( Pair( text( "a" ), text( "value" ) ), Pair( text( "b" ), text( "b" ) ), Pair( text( "c" ), text( "value" ) ),
                             Pair( text( "f" ), text( "value" ) ), Pair( text( "h" ), text( "c" ) ) ) );
}

TYPED_TEST_P( OrderedMapTest, anOldValueGoesWhenTheChangeStands ) {
   using Map = typename TestFixture::HandleMap;
   const struct {
      const char * name;
      std::function<void( Map & )> change;
      size_t count;
      bool found;
   } rows[] = {
      { "replace", []( Map & m ) { m.put( 2, std::make_shared<int>() ); }, 3, true },
      { "erase", []( Map & m ) { m.erase( 2 ); }, 2, false },
      { "clear", []( Map & m ) { m.clear(); }, 0, false },
      { "take all", []( Map & m ) { m.takeAll(); }, 0, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Map map;
      int ends = 0;
      uint32_t before = 0;
      for( int k : { 1, 2, 3 } )
         map.put( k, k != 2 ? std::make_shared<int>() : atEnd( [ & ] {
                     ++ends;
                     EXPECT_EQ( map.version(), before + 1 );
                     EXPECT_EQ( map.count(), row.count );
                     EXPECT_EQ( map.find( 2 ) != nullptr, row.found );
                     EXPECT_EQ( map.find( 3 ) != nullptr, row.count != 0 );
                  } ) );
      before = map.version();
      row.change( map );
      EXPECT_EQ( ends, 1 );
   }
}

TYPED_TEST_P( OrderedMapTest, copiesStandAlone ) {
   auto map = TestFixture::mapOf( { 1, 2, 3 } );
   const auto copy = map;
   map.erase( 2 );
   EXPECT_THAT( TestFixture::walk( copy.first() ), ElementsAre( 1, 2, 3 ) );
   EXPECT_THAT( TestFixture::walk( map.first() ), ElementsAre( 1, 3 ) );
   EXPECT_EQ( copy.version(), 0u ) << "it counts for itself";
   EXPECT_EQ( map.version(), 4u );
}

TYPED_TEST_P( OrderedMapTest, versionMovesByAssignmentAndByBeingMovedFrom ) {
   expectVersionsMoveWithAssignments( TestFixture::mapOf( { 1, 2, 3 } ), TestFixture::mapOf( { 4, 5, 6 } ) );
}

TYPED_TEST_P( OrderedMapTest, assignmentTakesTheMembersAlong ) {
   using Map = typename TestFixture::Map;
   const auto other = TestFixture::mapOf( { 20, 40 } );
   auto copied = TestFixture::mapOf( { 1, 2, 3 } ), moved = copied;
   copied = other;
   moved = Map( other );
   EXPECT_EQ( membersOf( copied ), membersOf( other ) );
   EXPECT_EQ( membersOf( moved ), membersOf( other ) );
   const Map & same = copied;
   copied = same;
   EXPECT_EQ( membersOf( copied ), membersOf( other ) );
}

struct Step {
   enum Kind { put, erase, clear, takeAll, first, lowerBound, next } kind;
   int key, value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "put", "erase", "clear", "takeAll", "first", "lowerBound", "next" };
      return os << names[ s.kind ] << ' ' << s.key << ' ' << s.value;
   }
};

rc::Gen<std::vector<Step>> anyProgram() {
   const auto kind = rc::gen::weightedElement<Step::Kind>( { { 40, Step::put },
                                                             { 30, Step::erase },
                                                             { 1, Step::clear },
                                                             { 1, Step::takeAll },
                                                             { 3, Step::first },
                                                             { 3, Step::lowerBound },
                                                             { 20, Step::next } } );
   return programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::key, rc::gen::inRange( -12, 13 ) ),
                           rc::gen::set( &Step::value, rc::gen::inRange( 0, 3 ) ) );
}

using Members = std::vector<std::pair<int, int>>;

template <class Map>
void behavesAsTheModel( const std::vector<Step> & program ) {
   Map map;
   std::map<int, int> model;
   uint32_t changes = 0;
   std::optional<typename Map::Iterator> place;
   int at = 0;                                                           // the key where `place` stands, even when it is gone
   const auto stand = [ & ]( std::map<int, int>::iterator expected ) {   // `place` has just moved to there
      RC_ASSERT( bool( *place ) == ( expected != model.end() ) );
      if( expected == model.end() ) return place.reset();
      RC_ASSERT( place->key() == ( at = expected->first ) );
      RC_ASSERT( place->value() == expected->second );
   };
   for( const Step & step : program ) {
      const int key = step.key;
      switch( step.kind ) {
         case Step::put: {
            const bool change = !model.contains( key ) || model[ key ] != step.value;
            RC_ASSERT( map.put( key, step.value ) == change );
            model[ key ] = step.value;
            changes += change;
            break;
         }
         case Step::erase: {
            const bool change = model.erase( key );
            RC_ASSERT( map.erase( key ) == change );
            changes += change;
            break;
         }
         case Step::clear:
            changes += !model.empty();
            map.clear();
            model.clear();
            break;
         case Step::takeAll: {
            changes += !model.empty();
            const auto gone = map.takeAll();
            RC_ASSERT( Members( gone.begin(), gone.end() ) == Members( model.begin(), model.end() ) );
            model.clear();
            break;
         }
         case Step::first:
            place = map.first();
            stand( model.begin() );
            break;
         case Step::lowerBound:
            place = map.lowerBound( key );
            stand( model.lower_bound( key ) );
            break;
         case Step::next:
            if( !place ) break;
            RC_ASSERT( place->key() == at );
            place->next();
            stand( model.upper_bound( at ) );
            break;
      }
      RC_ASSERT( map.version() == changes );
      RC_ASSERT( map.count() == model.size() );
      RC_ASSERT( map.empty() == model.empty() );
      RC_ASSERT( Members( map.begin(), map.end() ) == Members( model.begin(), model.end() ) );
      const auto * found = map.find( key );
      RC_ASSERT( ( found != nullptr ) == model.contains( key ) );
      if( found ) RC_ASSERT( *found == model[ key ] );
      auto walked = map.lowerBound( key );
      for( auto m = model.lower_bound( key ); m != model.end(); ++m, walked.next() )
         RC_ASSERT( walked && walked.key() == m->first && walked.value() == m->second );
      RC_ASSERT_FALSE( walked );
   }
}

TYPED_TEST_P( OrderedMapTest, behavesAsTheModelInRandomPrograms ) {
   EXPECT_TRUE( rc::check( [] { behavesAsTheModel<typename TestFixture::Map>( *anyProgram() ); } ) );
}

REGISTER_TYPED_TEST_SUITE_P( OrderedMapTest, emptyHoldsNothing, anIteratorGoesToTheNextHigherKeyAfterAnyChange,
                             keysAndValuesMayBeThoseOfAMember, anOldValueGoesWhenTheChangeStands, copiesStandAlone,
                             versionMovesByAssignmentAndByBeingMovedFrom, assignmentTakesTheMembersAlong,
                             behavesAsTheModelInRandomPrograms );

}   // namespace
