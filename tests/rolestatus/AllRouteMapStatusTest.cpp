#include "rolestatus/AllRouteMapStatus.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::String;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Users = MatchAggregateRoleUsers;

TEST( AllRouteMapStatus, aNewOneSaysNo ) {
   for( const auto & status : { AllRouteMapStatusIs(), makeNode<AllRouteMapStatus>() } ) {
      EXPECT_FALSE( status->hasMatchAggregateRole() );
      EXPECT_NE( status->publisher(), nullptr );
   }
   EXPECT_NE( AllRouteMapStatusIs(), AllRouteMapStatusIs() ) << "each is an object of its own";
}

TEST( AllRouteMapStatus, tellsOfARealChangeOnly ) {
   const auto status = AllRouteMapStatusIs();
   ChangeLog<> log( *status );
   const FieldId field = FieldId( AllRouteMapStatus::Field::hasMatchAggregateRole );
   const struct {
      bool write, told;
   } rows[] = { { false, false }, { true, true }, { true, false }, { false, true }, { false, false }, { true, true } };
   for( const auto & row : rows ) {
      status->hasMatchAggregateRoleIs( row.write );
      EXPECT_EQ( status->hasMatchAggregateRole(), row.write );
      if( row.told )
         EXPECT_THAT( log.take(), ElementsAre( field ) );
      else
         EXPECT_THAT( log.take(), IsEmpty() );
   }
   EXPECT_THAT( log.keys, IsEmpty() ) << "a plain attribute";
}

std::vector<String> namesOf( const Users & users ) {
   return std::vector<String>( users.mapName().begin(), users.mapName().end() );
}

TEST( MatchAggregateRoleUsers, isASetOfNames ) {
   const auto users = makeNode<Users>();
   EXPECT_TRUE( users->mapName().empty() );
   for( const char * name : { "RM1", "", "RM2", "RM1" } ) users->mapNameIs( name );
   EXPECT_THAT( namesOf( *users ), UnorderedElementsAre( "RM1", "", "RM2" ) );
   EXPECT_TRUE( users->mapNameHas( "RM1" ) && users->mapNameHas( "" ) );
   EXPECT_FALSE( users->mapNameHas( "RM" ) || users->mapNameHas( "rm1" ) );
   users->mapNameDel( "RM1" );
   EXPECT_FALSE( users->mapNameHas( "RM1" ) );
   EXPECT_EQ( users->mapName().count(), 2u );
}

TEST( MatchAggregateRoleUsers, tellsOfEachNameThatComesOrGoes ) {
   const auto users = makeNode<Users>();
   ChangeLog<String> log( *users );
   const FieldId field = FieldId( Users::Field::mapName );
   const struct {
      const char * name;
      std::function<void()> write;
      std::vector<String> told;
   } rows[] = {
      { "a name that is not there goes", [ & ] { users->mapNameDel( "RM1" ); }, {} },
      { "a first name comes", [ & ] { users->mapNameIs( "RM1" ); }, { "RM1" } },
      { "it comes again", [ & ] { users->mapNameIs( "RM1" ); }, {} },
      { "a second one comes", [ & ] { users->mapNameIs( "RM2" ); }, { "RM2" } },
      { "the first goes", [ & ] { users->mapNameDel( "RM1" ); }, { "RM1" } },
      { "it goes again", [ & ] { users->mapNameDel( "RM1" ); }, {} },
      { "all go", [ & ] { users->mapNameDelAll(); }, { "RM2" } },
      { "all go again", [ & ] { users->mapNameDelAll(); }, {} },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      row.write();
      EXPECT_EQ( log.keys, row.told );
      EXPECT_EQ( log.take(), std::vector<FieldId>( row.told.size(), field ) );
      log.keys.clear();
   }
}

TEST( MatchAggregateRoleUsers, isEmptyBeforeAnyNameIsToldOf ) {
   const auto users = makeNode<Users>();
   for( const char * name : { "RM1", "RM2", "RM3" } ) users->mapNameIs( name );
   Fixtures::Watcher watcher( *users, [ & ]( const Quoin::Change & change ) {
      EXPECT_TRUE( users->mapName().empty() );
      const String same( *static_cast<const String *>( change.key ) ), other( "other" );
      EXPECT_TRUE( change.keyIsEq( change.key, &same ) );
      EXPECT_FALSE( change.keyIsEq( change.key, &other ) );
      return std::string( same.data(), same.size() );
   } );
   users->mapNameDelAll();
   EXPECT_THAT( watcher.take(), UnorderedElementsAre( "RM1", "RM2", "RM3" ) );
}

TEST( MatchAggregateRoleUsers, aNameMayBeThatOfAMember ) {
   const auto users = makeNode<Users>();
   users->mapNameIs( std::string( 100, 'x' ) );
   users->mapNameDel( *users->mapName().begin() );
   EXPECT_TRUE( users->mapName().empty() );
}

TEST( MatchAggregateRoleUsers, mayGoWhileItTellsOfAChange ) {
   const std::function<void( Users & )> writes[] = {
      []( Users & u ) { u.mapNameIs( "RM2" ); },
      []( Users & u ) { u.mapNameDel( "RM1" ); },
      []( Users & u ) { u.mapNameDelAll(); },
   };
   for( const auto & write : writes ) {
      auto users = makeNode<Users>();
      users->mapNameIs( "RM1" );
      EXPECT_EQ( Fixtures::toldWhileDropped( std::move( users ), write ), 1 );
   }
   EXPECT_EQ( Fixtures::toldWhileDropped<AllRouteMapStatus>( AllRouteMapStatusIs(),
                                                             []( AllRouteMapStatus & s ) { s.hasMatchAggregateRoleIs( true ); } ),
              1 );
}

}   // namespace
