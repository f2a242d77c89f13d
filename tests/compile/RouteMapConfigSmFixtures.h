/// @file tests/compile/RouteMapConfigSmFixtures.h
/// A configuration with the machine that filters and compiles all of its route maps.
#pragma once

#include <utility>

#include <gtest/gtest.h>

#include "compile/RouteMapConfigSm.h"
#include "tests/compile/FilterFixtures.h"

namespace Routing::Policy::CompileFixtures {

class RouteMapConfigSmFixture : public testing::Test {
 protected:
   template <class T>
   using Ptr = Quoin::Ptr<T>;

   /// Tasks run until they are done, whatever the clock says.
   RouteMapConfigSmFixture() {
      scheduler->budgetIs( []( const Zeugma::Task & ) { return false; } );
   }
   void yieldAfterEach() const {
      scheduler->budgetIs( []( const Zeugma::Task & ) { return true; } );
   }
   /// The machine, not switched on.
   void construct() { machine = Quoin::makeNode<RouteMapConfigSm>( raw, filtered, root, filterHelper, symbolHelper, scheduler, users ); }
   void start() { machine = routeMapConfigSmFactory( raw, filtered, root, filterHelper, symbolHelper, scheduler, users ); }
   void run() const { scheduler->runUntilIdle(); }

   /// Adds a route map, or a sequence to it, with this version.
   Ptr<Routing::RouteMap::Map> add( const char * name, uint32_t version = 1, uint32_t seqno = 10 ) const {
      const auto map = raw->routeMapIs( name );
      map->mapEntryIs( seqno );
      map->versionIs( version );
      return map;
   }
   void del( const char * name ) const { raw->routeMapDel( name ); }
   void raise( const char * name ) const {
      const auto map = raw->routeMap( name );
      map->versionIs( map->version() + 1 );
   }
   /// Sequence 10 calls that map, or none. No version.
   void call( const char * name, const char * target ) const {
      raw->routeMapIs( name )->mapEntryIs( 10 )->subRouteMapIs( { target, false } );
   }

   Ptr<RouteMapSymbol> symbol( const char * name ) const { return root->routeMapTable()->symbol( name ); }
   Ptr<const RouteMapStatus> status( const char * name ) const { return symbol( name )->rmStatus(); }
   bool live( const char * name ) const { return filtered->routeMap().find( name ); }
   Ptr<RouteMapConfigFilterSm> filter( const char * name ) const { return *machine->routeMapConfigFilterSm().find( name ); }
   Ptr<RouteMapConfigSymbolSm> compiler( const char * name ) const { return *machine->routeMapConfigSymbolSm().find( name ); }
   const Zeugma::Task & task() const { return *machine->routeMapDeleteTask(); }
   /// Whether every part of a route map exists; or none.
   testing::AssertionResult whole( const char * name, bool expected ) const {
      const std::pair<const char *, bool> parts[] = {
         { "filtered", live( name ) },
         { "filter machine", machine->routeMapConfigFilterSm().find( name ) != nullptr },
         { "symbol machine", machine->routeMapConfigSymbolSm().find( name ) != nullptr },
         { "reactor", machine->rmConfigSymbolReactorColl()->reactor().find( name ) != nullptr },
         { "symbol", machine->allRmSymbol()->symbol().find( name ) != nullptr },
      };
      for( const auto & [ what, exists ] : parts )
         if( exists != expected ) return testing::AssertionFailure() << name << ": " << what << ( exists ? " exists" : " does not exist" );
      return testing::AssertionSuccess();
   }

   Ptr<Routing::RouteMap::Config> raw = Quoin::makeNode<Routing::RouteMap::Config>(),
                                  filtered = Quoin::makeNode<Routing::RouteMap::Config>();
   Ptr<PolicyRoot> root = Quoin::makeNode<PolicyRoot>();
   Ptr<RmConfigFilterSmHelperBase> filterHelper = Quoin::makeNode<CommonRmConfigFilterSmHelper>();
   Ptr<RmConfigSymbolSmHelperBase> symbolHelper = Quoin::makeNode<CommonRmConfigSymbolSmHelper>( root );
   Ptr<Zeugma::TaskScheduler> scheduler = Quoin::makeNode<Zeugma::TaskScheduler>();
   Ptr<MatchAggregateRoleUsers> users;
   Ptr<RouteMapConfigSm> machine;
};

}   // namespace Routing::Policy::CompileFixtures
