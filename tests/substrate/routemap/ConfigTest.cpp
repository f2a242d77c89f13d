#include "substrate/routemap/Config.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::RouteMap;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using Quoin::String;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr FieldId kMap = FieldId( Config::Field::routeMap ), kMode = FieldId( Config::Field::routeMapOpMode );

std::vector<std::string> namesOf( const Config & config ) {
   std::vector<std::string> names;
   for( const auto & [ name, map ] : config.routeMap() ) {
      EXPECT_EQ( map->name(), name );
      names.emplace_back( name );
   }
   return names;
}

/// Runs a function at every change of a configuration.
struct Reaction final : Quoin::Subscriber {
   Reaction( const Config & config, std::function<void( const Quoin::Change & )> f ) : function( std::move( f ) ) {
      config.publisher()->subscriberAdd( this );
   }
   void onChange( const Quoin::Change & change ) override { function( change ); }
   std::function<void( const Quoin::Change & )> function;
};

TEST( Config, aNewOneIsEmpty ) {
   const auto config = makeNode<Config>();
   EXPECT_TRUE( config->routeMap().empty() );
   EXPECT_EQ( config->routeMapOpMode(), RouteMapOpModeType{} );
   static_assert( kMap != kMode );
}

TEST( Config, aMissingMapReadsAsNull ) {
   const auto config = makeNode<Config>();
   config->routeMapIs( "RM1" );
   for( const char * name : { "", "RM", "RM10", "rm1" } ) EXPECT_EQ( config->routeMap( name ), nullptr ) << name;
   EXPECT_EQ( config->routeMap( String( std::string( "RM1\0", 4 ) ) ), nullptr );
   EXPECT_EQ( config->routeMap().count(), 1u ) << "asking makes none";
}

TEST( Config, aMapIsMadeOnceAndToldWithItsName ) {
   const auto config = makeNode<Config>();
   ChangeLog<String> log( *config );
   const auto map = config->routeMapIs( "RM2" );
   ASSERT_TRUE( map );
   EXPECT_EQ( map->name(), "RM2" );
   EXPECT_EQ( config->routeMapIs( String( std::string( "RM2" ) ) ), map ) << "names compare as text";
   EXPECT_EQ( config->routeMap( "RM2" ), map );
   for( const char * name : { "RM10", "RM1", "", "RM2" } ) config->routeMapIs( name );
   EXPECT_THAT( log.take(), ElementsAre( kMap, kMap, kMap, kMap ) );
   EXPECT_THAT( log.keys, ElementsAre( String( "RM2" ), String( "RM10" ), String( "RM1" ), String( "" ) ) );
   EXPECT_THAT( namesOf( *config ), ElementsAre( "", "RM1", "RM10", "RM2" ) ) << "in order";
   EXPECT_EQ( config->routeMap( "" )->name(), "" );
}

TEST( Config, aMapThatGoesIsToldOnceAndGivenBackAndItsNameIsFree ) {
   const auto config = makeNode<Config>();
   const auto map = config->routeMapIs( "RM1" );
   map->mapEntryIs( 10 );
   map->versionIs( 7 );
   ChangeLog<String> log( *config );
   Reaction reader( *config, [ & ]( const Quoin::Change & change ) {
      EXPECT_EQ( config->routeMap( "RM1" ), nullptr );
      EXPECT_EQ( *static_cast<const Ptr<Map> *>( change.oldValue ), map );
   } );
   EXPECT_EQ( config->routeMapDel( "RM2" ), nullptr );
   EXPECT_EQ( config->routeMapDel( "RM1" ), map );
   EXPECT_EQ( config->routeMapDel( "RM1" ), nullptr );
   EXPECT_THAT( log.take(), ElementsAre( kMap ) );
   EXPECT_THAT( log.keys, ElementsAre( String( "RM1" ) ) );
   EXPECT_EQ( map->mapEntry().count(), 1u ) << "it is whole";
   EXPECT_EQ( map->useCount(), 1u );
   reader.unsubscribe();
   const auto next = config->routeMapIs( "RM1" );
   EXPECT_NE( next, map );
   EXPECT_EQ( next->version(), 0u );
   EXPECT_TRUE( next->mapEntry().empty() );
}

TEST( Config, theModeIsToldOnChangeOnly ) {
   const auto config = makeNode<Config>();
   ChangeLog<String> log( *config );
   std::vector<int> seen;
   Reaction reader( *config, [ & ]( const Quoin::Change & ) { seen.push_back( int( config->routeMapOpMode() ) ); } );
   for( const int mode : { 0, 1, 1, 255, 0, 0 } ) config->routeMapOpModeIs( RouteMapOpModeType( mode ) );
   EXPECT_THAT( log.take(), ElementsAre( kMode, kMode, kMode ) );
   EXPECT_THAT( seen, ElementsAre( 1, 255, 0 ) );
   EXPECT_THAT( log.keys, IsEmpty() );
}

}   // namespace
