#include "substrate/routemap/Map.h"

#include <functional>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr FieldId kEntry = FieldId( Map::Field::mapEntry ), kVersion = FieldId( Map::Field::version );

/// Runs a function at every change of a map.
struct Reaction final : Quoin::Subscriber {
   Reaction( const Map & map, std::function<void( const Quoin::Change & )> f ) : function( std::move( f ) ) {
      map.publisher()->subscriberAdd( this );
   }
   void onChange( const Quoin::Change & change ) override { function( change ); }
   std::function<void( const Quoin::Change & )> function;
};

std::vector<uint32_t> numbersOf( const Map & map ) {
   std::vector<uint32_t> numbers;
   for( const auto & [ seqno, entry ] : map.mapEntry() ) {
      EXPECT_EQ( entry->seqno(), seqno );
      numbers.push_back( seqno );
   }
   return numbers;
}

TEST( Map, aNewOneHasANameAndNothingElse ) {
   const auto map = makeNode<Map>( "RM1" );
   EXPECT_EQ( map->name(), "RM1" );
   EXPECT_EQ( map->version(), 0u );
   EXPECT_TRUE( map->mapEntry().empty() );
   EXPECT_EQ( map->mapEntry( 10 ), nullptr );
   static_assert( kEntry != kVersion );
}

TEST( Map, anyOtherVersionIsAChange ) {
   const auto map = makeNode<Map>( "RM1" );
   ChangeLog<uint32_t> log( *map );
   const struct {
      const char * name;
      uint32_t version;
      size_t told;
   } rows[] = {
      { "as it is", 0, 0 },        { "up", 5, 1 },      { "again", 5, 0 },         { "down", 4, 1 },
      { "round", 4294967295u, 1 }, { "to zero", 0, 1 }, { "to zero again", 0, 0 },
   };
   for( const auto & row : rows ) {
      map->versionIs( row.version );
      EXPECT_EQ( map->version(), row.version ) << row.name;
      EXPECT_EQ( log.take(), std::vector<FieldId>( row.told, kVersion ) ) << row.name;
   }
   EXPECT_THAT( log.keys, IsEmpty() );
}

TEST( Map, anEntryIsMadeOnceAndToldWithItsNumber ) {
   const auto map = makeNode<Map>( "RM1" );
   ChangeLog<uint32_t> log( *map );
   const auto entry = map->mapEntryIs( 20 );
   ASSERT_TRUE( entry );
   EXPECT_EQ( entry->seqno(), 20u );
   EXPECT_EQ( map->mapEntryIs( 20 ), entry );
   EXPECT_EQ( map->mapEntry( 20 ), entry );
   EXPECT_NE( map->mapEntryIs( 4294967295u ), entry );
   map->mapEntryIs( 0 );
   map->mapEntryIs( 10 );
   EXPECT_THAT( log.take(), ElementsAre( kEntry, kEntry, kEntry, kEntry ) );
   EXPECT_THAT( log.keys, ElementsAre( 20u, 4294967295u, 0u, 10u ) );
   EXPECT_THAT( numbersOf( *map ), ElementsAre( 0u, 10u, 20u, 4294967295u ) ) << "in ascending order";
   EXPECT_EQ( map->version(), 0u ) << "the writer raises it";
}

TEST( Map, anEntryThatGoesIsToldOnceAndGivenBack ) {
   const auto map = makeNode<Map>( "RM1" );
   const auto entry = map->mapEntryIs( 10 );
   map->mapEntryIs( 20 );
   ChangeLog<uint32_t> log( *map );
   Reaction reader( *map, [ & ]( const Quoin::Change & change ) {
      EXPECT_EQ( map->mapEntry( 10 ), nullptr );
      EXPECT_EQ( *static_cast<const Ptr<MapEntry> *>( change.oldValue ), entry );
   } );
   EXPECT_EQ( map->mapEntryDel( 15 ), nullptr );
   EXPECT_EQ( map->mapEntryDel( 10 ), entry );
   EXPECT_EQ( map->mapEntryDel( 10 ), nullptr );
   EXPECT_THAT( log.take(), ElementsAre( kEntry ) );
   EXPECT_THAT( log.keys, ElementsAre( 10u ) );
   EXPECT_EQ( entry->useCount(), 1u );
   reader.unsubscribe();
   EXPECT_NE( map->mapEntryIs( 10 ), entry ) << "a new one";
}

// A reader sees the attributes move before the version that declares them complete.
TEST( Map, aBatchIsToldInTheOrderOfItsWriting ) {
   const auto map = makeNode<Map>( "RM1" );
   const auto entry = map->mapEntryIs( 10 );
   std::vector<std::pair<uint32_t, uint32_t>> seen;   // distance and version
   Reaction ofMap( *map, [ & ]( const Quoin::Change & ) { seen.emplace_back( entry->distance(), map->version() ); } );
   struct OfEntry final : Quoin::Subscriber {
      explicit OfEntry( std::function<void()> f ) : function( std::move( f ) ) {}
      void onChange( const Quoin::Change & ) override { function(); }
      std::function<void()> function;
   } ofEntry( [ & ] { seen.emplace_back( entry->distance(), map->version() ); } );
   entry->publisher()->subscriberAdd( &ofEntry );
   entry->distanceIs( 5 );
   map->versionIs( 1 );
   EXPECT_THAT( seen, ElementsAre( std::pair( 5u, 0u ), std::pair( 5u, 1u ) ) );
}

}   // namespace
