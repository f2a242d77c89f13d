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
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Users = MatchAggregateRoleUsers;

TEST( AllRouteMapStatus, isFalseAtFirst ) {
   for( const auto & status : { AllRouteMapStatusIs(), makeNode<AllRouteMapStatus>() } ) {
      EXPECT_FALSE( status->hasMatchAggregateRole() );
      EXPECT_NE( status->publisher(), nullptr );
   }
   EXPECT_NE( AllRouteMapStatusIs(), AllRouteMapStatusIs() ) << "each is an object of its own";
}

TEST( AllRouteMapStatus, publishesRealChanges ) {
   const auto status = AllRouteMapStatusIs();
   ChangeLog<> log( *status );
   const FieldId field = FieldId( AllRouteMapStatus::Field::hasMatchAggregateRole );
   const struct {
      bool write, published;
   } rows[] = { { false, false }, { true, true }, { true, false }, { false, true }, { false, false }, { true, true } };
   for( const auto & row : rows ) {
      status->hasMatchAggregateRoleIs( row.write );
      EXPECT_EQ( status->hasMatchAggregateRole(), row.write );
      EXPECT_EQ( log.take(), std::vector<FieldId>( row.published, field ) );
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

TEST( MatchAggregateRoleUsers, publishesEachNameAddedOrDeleted ) {
   const auto users = makeNode<Users>();
   ChangeLog<String> log( *users );
   const FieldId field = FieldId( Users::Field::mapName );
   const struct {
      const char * name;
      std::function<void()> write;
      std::vector<String> published;
   } rows[] = {
      { "an absent name deleted", [ & ] { users->mapNameDel( "RM1" ); }, {} },
      { "a first name added", [ & ] { users->mapNameIs( "RM1" ); }, { "RM1" } },
      { "added again", [ & ] { users->mapNameIs( "RM1" ); }, {} },
      { "a second name added", [ & ] { users->mapNameIs( "RM2" ); }, { "RM2" } },
      { "the first deleted", [ & ] { users->mapNameDel( "RM1" ); }, { "RM1" } },
      { "deleted again", [ & ] { users->mapNameDel( "RM1" ); }, {} },
      { "all deleted", [ & ] { users->mapNameDelAll(); }, { "RM2" } },
      { "all deleted again", [ & ] { users->mapNameDelAll(); }, {} },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      row.write();
      EXPECT_EQ( log.keys, row.published );
      EXPECT_EQ( log.take(), std::vector<FieldId>( row.published.size(), field ) );
      log.keys.clear();
   }
}

TEST( MatchAggregateRoleUsers, mayBeReleasedInsideItsPublication ) {
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
