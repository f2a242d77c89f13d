#include "substrate/plinth/HashMap2018.h"

#include <cctype>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
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

using Plinth::HashMap2018;
using Plinth::HashSet2018;
using Quoin::String;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Map = HashMap2018<int, int>;
using Set = HashSet2018<int>;

template <class Keys>
Map mapOf( const Keys & keys ) {
   Map map;
   for( int k : keys ) map.put( k, 10 * k );
   return map;
}
Map mapOf( std::initializer_list<int> keys ) {
   return mapOf( std::vector<int>( keys ) );
}

TEST( HashMap2018, emptyHoldsNothing ) {
   const Map map;
   EXPECT_TRUE( map.empty() );
   EXPECT_EQ( map.count(), 0u );
   EXPECT_EQ( map.version(), 0u );
   EXPECT_EQ( map.find( 0 ), nullptr );
   EXPECT_FALSE( map.contains( 0 ) );
   EXPECT_FALSE( map.iterator() );
   EXPECT_FALSE( map.safeIterator() );
   EXPECT_THAT( membersOf( map ), IsEmpty() );
}

TEST( HashMap2018, holdsFewAndMany ) {
   Plinth::HashMap2018<int, int> map;
   Plinth::HashSet2018<int> set;
   for( int i = 0; i < 100; ++i ) {
      EXPECT_TRUE( map.put( i, -i ) );
      EXPECT_TRUE( set.put( i ) );
      ASSERT_EQ( map.count(), size_t( i + 1 ) );
      for( int k = -1; k <= i + 1; ++k ) {
         ASSERT_EQ( map.contains( k ), k >= 0 && k <= i ) << k << " of " << i;
         ASSERT_EQ( set.contains( k ), k >= 0 && k <= i ) << k << " of " << i;
      }
   }
   for( int i = 99; i >= 0; --i ) {
      EXPECT_EQ( *map.find( i ), -i );
      EXPECT_TRUE( map.erase( i ) );
   }
   EXPECT_EQ( set.takeAll().size(), 100u );
   EXPECT_TRUE( map.empty() && set.empty() );
   EXPECT_TRUE( map.put( 1, 1 ) && set.put( 1 ) ) << "and few again";
}

/// Letters are the same in either case.
struct LetterHash {
   size_t operator()( char c ) const { return size_t( std::tolower( c ) ); }
};
struct LetterIsEq {
   bool operator()( char a, char b ) const { return std::tolower( a ) == std::tolower( b ); }
};

TEST( HashMap2018, keysAreComparedByTheirOwnHashAndIsEq ) {
   HashMap2018<char, int, LetterHash, LetterIsEq> map;
   EXPECT_TRUE( map.put( 'a', 1 ) );
   EXPECT_FALSE( map.put( 'A', 1 ) );
   EXPECT_TRUE( map.put( 'A', 2 ) );
   EXPECT_EQ( map.count(), 1u );
   EXPECT_EQ( *map.find( 'a' ), 2 );
   HashSet2018<char, LetterHash, LetterIsEq> set;
   EXPECT_TRUE( set.put( 'a' ) );
   EXPECT_FALSE( set.put( 'A' ) );
   EXPECT_TRUE( set.erase( 'A' ) );
   EXPECT_TRUE( set.empty() );
}

/// Knows a hash, and std::hash knows nothing of it. Those of one parity share theirs, so that `==` decides too.
struct OwnHash {
   uint32_t hash() const {
      ++asked;
      return value % 2;
   }
   friend bool operator==( const OwnHash & a, const OwnHash & b ) { return a.value == b.value; }
   uint32_t value;
   static inline int asked = 0;
};

TEST( HashMap2018, aKeysOwnHashIsAskedWhereItHasOne ) {
   OwnHash::asked = 0;
   HashMap2018<OwnHash, int> map;
   for( uint32_t v = 0; v < 100; ++v ) EXPECT_TRUE( map.put( { v }, int( v ) ) );
   EXPECT_GE( OwnHash::asked, 100 );
   EXPECT_FALSE( map.put( { 7 }, 7 ) );
   EXPECT_TRUE( map.erase( { 8 } ) );
   EXPECT_EQ( map.find( { 8 } ), nullptr );
   ASSERT_NE( map.find( { 10 } ), nullptr );
   EXPECT_EQ( *map.find( { 10 } ), 10 );
   EXPECT_EQ( map.count(), 99u );
   HashSet2018<OwnHash> set;
   EXPECT_TRUE( set.put( { 7 } ) && set.put( { 9 } ) );
   EXPECT_FALSE( set.put( { 7 } ) );
   EXPECT_FALSE( set.contains( { 11 } ) );
   EXPECT_EQ( Plinth::KeyHash<OwnHash>()( { 7 } ), 1u );
   EXPECT_EQ( Plinth::KeyHash<int>()( 7 ), std::hash<int>()( 7 ) ) << "a key without one";
}

TEST( HashMap2018, versionMovesByAssignmentAndByBeingMovedFrom ) {
   expectVersionsMoveWithAssignments( mapOf( { 1, 2, 3 } ), mapOf( { 4, 5, 6 } ) );
   Set one, other;
   one.put( 1 );
   other.put( 2 );
   expectVersionsMoveWithAssignments( one, other );
}

TEST( HashMap2018, keysAndValuesMayBeThoseOfAMember ) {
   const auto text = []( const char * s ) { return String( std::string( 40, '.' ) + s ); };   // too long for the object itself
   HashMap2018<String, String> map;
   map.put( text( "a" ), text( "value" ) );
   EXPECT_FALSE( map.put( map.begin()->first, map.begin()->second ) );
   EXPECT_TRUE( map.put( map.begin()->first, map.begin()->first ) );
   EXPECT_TRUE( map.erase( map.begin()->first ) );
   HashSet2018<String> set;
   set.put( text( "a" ) );
   EXPECT_FALSE( set.put( *set.begin() ) );
   EXPECT_TRUE( set.erase( *set.begin() ) );
   EXPECT_TRUE( map.empty() && set.empty() );
}

TEST( HashMap2018, anOldValueGoesWhenTheChangeStands ) {
   using Handles = HashMap2018<int, std::shared_ptr<int>>;
   const struct {
      const char * name;
      std::function<void( Handles & )> change;
      size_t count;
      bool found;
   } rows[] = {
      { "replace", []( Handles & m ) { m.put( 2, std::make_shared<int>() ); }, 3, true },
      { "erase", []( Handles & m ) { m.erase( 2 ); }, 2, false },
      { "clear", []( Handles & m ) { m.clear(); }, 0, false },
      { "take all", []( Handles & m ) { m.takeAll(); }, 0, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Handles map;
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

TEST( HashMap2018DeathTest, theUnsafeIteratorEndsTheProcessAfterAChange ) {
   const auto other = mapOf( { 4, 5, 6 } );   // of as many changes
   const struct {
      const char * name;
      std::function<void( Map & )> change;
   } changes[] = {
      { "insert", []( Map & m ) { m.put( 4, 0 ); } },
      { "replace", []( Map & m ) { m.put( 2, 0 ); } },
      { "erase the current", []( Map & m ) { m.erase( ( *m.iterator() ).first ); } },
      { "erase and put back", []( Map & m ) { m.erase( 2 ), m.put( 2, 20 ); } },
      { "clear", []( Map & m ) { m.clear(); } },
      { "copy another to it", [ &other ]( Map & m ) { m = other; } },
      { "move another to it", [ &other ]( Map & m ) { m = Map( other ); } },
      { "move it away", []( Map & m ) { const Map gone( std::move( m ) ); } },
   };
   const struct {
      const char * name;
      std::function<void( Map::Iterator & )> use;
   } uses[] = {
      { "test", []( Map::Iterator & i ) { (void)bool( i ); } },
      { "read", []( Map::Iterator & i ) { (void)*i; } },
      { "next", []( Map::Iterator & i ) { i.next(); } },
   };
   for( const auto & change : changes )
      for( const auto & use : uses ) {
         SCOPED_TRACE( std::string( change.name ) + ", " + use.name );
         auto map = mapOf( { 1, 2, 3 } );
         auto i = map.iterator();
         change.change( map );
         EXPECT_DEATH( use.use( i ), HasSubstr( "Assertion failed: version_ == hashMap_->version()\n" ) );
      }
}

TEST( HashMap2018, theUnsafeIteratorWalksAllAndBearsWhatIsNoChange ) {
   auto map = mapOf( { 1, 2, 3 } );
   std::set<int> walked;
   for( auto i = map.iterator(); i; i.next() ) {
      EXPECT_EQ( ( *i ).second, 10 * ( *i ).first );
      map.put( 2, 20 );
      map.erase( 4 );
      walked.insert( ( *i ).first );
   }
   EXPECT_THAT( walked, UnorderedElementsAre( 1, 2, 3 ) );
}

std::vector<int> oneTo( int n ) {
   std::vector<int> keys;
   for( int k = 1; k <= n; ++k ) keys.push_back( k );
   return keys;
}

TEST( HashMap2018, theSafeIteratorBearsInsertsAndRehashes ) {
   auto map = mapOf( oneTo( 10 ) );
   std::multiset<int> walked;
   for( auto i = map.safeIterator(); i; i.next() ) {
      walked.insert( i.key() );
      for( int k = 0; k < 1000; ++k ) map.put( 1000 * i.key() + k, 0 );
   }
   const auto expected = oneTo( 10 );
   EXPECT_EQ( walked, std::multiset<int>( expected.begin(), expected.end() ) );
   EXPECT_EQ( map.count(), 10010u );
}

struct Step {
   enum Kind { put, erase, clear, takeAll, start, next } kind;
   int key, value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "put", "erase", "clear", "takeAll", "start", "next" };
      return os << names[ s.kind ] << ' ' << s.key << ' ' << s.value;
   }
};

rc::Gen<std::vector<Step>> anyProgram() {
   const auto kind = rc::gen::weightedElement<Step::Kind>(
      { { 40, Step::put }, { 30, Step::erase }, { 1, Step::clear }, { 1, Step::takeAll }, { 4, Step::start }, { 20, Step::next } } );
   return programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::key, rc::gen::inRange( 0, 25 ) ),
                           rc::gen::set( &Step::value, rc::gen::inRange( 0, 3 ) ) );
}

/// All keys share few hashes, so that look-ups depend on the comparison.
struct PoorHash {
   size_t operator()( int key ) const { return size_t( key % 3 ); }
};

/// The set is held against the same programs: its keys alone.
template <class Collection>
struct Adapter {
   static constexpr bool kMap = requires { typename Collection::Value; };
   static bool put( Collection & c, int key, int value ) {
      if constexpr( kMap )
         return c.put( key, value );
      else
         return c.put( key );
   }
   template <class Member>
   static std::pair<int, int> member( const Member & m ) {
      if constexpr( kMap )
         return m;
      else
         return { m, 0 };
   }
   template <class Range>
   static std::map<int, int> members( const Range & range ) {
      std::map<int, int> all;
      for( const auto & m : range ) RC_ASSERT( all.insert( member( m ) ).second );
      return all;
   }
};

template <class Collection>
void behavesAsTheModel( const std::vector<Step> & program ) {
   using A = Adapter<Collection>;
   Collection collection;
   std::map<int, int> model;
   uint32_t changes = 0;
   std::optional<typename Collection::SafeIterator> place;
   std::set<int> due, lasting;   // keys that `place` may still come to, and those of them that were never gone
   const auto stand = [ & ] {    // `place` has just moved
      if( *place ) {
         RC_ASSERT( model.contains( place->key() ) );
         RC_ASSERT( due.erase( place->key() ) == 1u );
         lasting.erase( place->key() );
      } else {
         RC_ASSERT( lasting.empty() );
         place.reset();
      }
   };
   for( const Step & step : program ) {
      const int key = step.key, value = A::kMap ? step.value : 0;
      switch( step.kind ) {
         case Step::put: {
            const bool change = !model.contains( key ) || model[ key ] != value;
            RC_ASSERT( A::put( collection, key, value ) == change );
            model[ key ] = value;
            changes += change;
            break;
         }
         case Step::erase: {
            const bool change = model.erase( key );
            RC_ASSERT( collection.erase( key ) == change );
            changes += change;
            lasting.erase( key );
            break;
         }
         case Step::clear:
         case Step::takeAll:
            changes += !model.empty();
            if( step.kind == Step::clear )
               collection.clear();
            else
               RC_ASSERT( A::members( collection.takeAll() ) == model );
            model.clear();
            lasting.clear();
            break;
         case Step::start:
            place = collection.safeIterator();
            due.clear();
            for( const auto & m : model ) due.insert( m.first );
            lasting = due;
            stand();
            break;
         case Step::next:
            if( !place ) break;
            place->next();
            stand();
            break;
      }
      RC_ASSERT( collection.version() == changes );
      RC_ASSERT( collection.count() == model.size() );
      RC_ASSERT( collection.empty() == model.empty() );
      RC_ASSERT( collection.contains( key ) == model.contains( key ) );
      RC_ASSERT( A::members( collection ) == model );
      if constexpr( A::kMap ) {
         const auto * found = collection.find( key );
         RC_ASSERT( ( found ? *found : -1 ) == ( model.contains( key ) ? model[ key ] : -1 ) );
      }
      std::map<int, int> walked;
      for( auto i = collection.iterator(); i; i.next() ) RC_ASSERT( walked.insert( A::member( *i ) ).second );
      RC_ASSERT( walked == model );
   }
}

enum class Letter : uint8_t {};

std::map<int, int> membersOfLetters( const auto & collection ) {
   std::map<int, int> members;
   for( const auto & [ letter, value ] : collection ) members.emplace( int( letter ), value );
   return members;
}

// Keys of an enumeration have a table of their own.
RC_GTEST_PROP( HashMap2018, withAKeyOfAnEnumerationBehavesAsTheModel, () ) {
   HashMap2018<Letter, int> letters;
   HashSet2018<Letter> set;
   std::map<int, int> model;
   for( const Step & step : *anyProgram() ) {
      const auto letter = Letter( step.key );
      const int key = int( letter );
      if( step.kind == Step::put ) {
         RC_ASSERT( set.put( letter ) == !model.contains( key ) );
         RC_ASSERT( letters.put( letter, step.value ) == ( !model.contains( key ) || model[ key ] != step.value ) );
         model[ key ] = step.value;
      } else if( step.kind == Step::erase ) {
         RC_ASSERT( set.erase( letter ) == model.contains( key ) );
         RC_ASSERT( letters.erase( letter ) == model.contains( key ) );
         model.erase( key );
      } else if( step.kind == Step::takeAll ) {
         set.clear();
         RC_ASSERT( membersOfLetters( letters.takeAll() ) == model );
         model.clear();
      }
      const auto * found = letters.find( letter );
      RC_ASSERT( ( found ? *found : -1 ) == ( model.contains( key ) ? model[ key ] : -1 ) );
      RC_ASSERT( letters.contains( letter ) == model.contains( key ) && set.contains( letter ) == model.contains( key ) );
      RC_ASSERT( letters.count() == model.size() && set.count() == model.size() );
      RC_ASSERT( membersOfLetters( letters ) == model );
   }
}

RC_GTEST_PROP( HashMap2018, andTheSetBehaveAsTheModelInRandomPrograms, () ) {
   const auto program = *anyProgram();
   behavesAsTheModel<Map>( program );
   behavesAsTheModel<HashMap2018<int, int, PoorHash>>( program );
   behavesAsTheModel<Set>( program );
   behavesAsTheModel<HashSet2018<int, PoorHash>>( program );
}

}   // namespace
