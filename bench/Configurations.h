/// @file bench/Configurations.h
/// Configurations of route maps for benchmarks, and an agent that compiles them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"
#include "substrate/routemap/PrefixListProducer.h"

namespace Bench {

using Quoin::makeNode;
using Quoin::Ptr;
using Routing::Policy::RouteMapSymbol;
using Routing::RouteMap::Config;
using Routing::RouteMap::Map;
using Routing::RouteMap::MatchOption;

constexpr const char * kSharedList = "SHARED-LIST";

inline Quoin::String mapName( size_t i ) {
   return Quoin::String( "ROUTE-MAP-" + std::to_string( i ) );
}

/// A typical sequence: it matches a list and a tag, and sets an attribute. The first sequence refers to the shared list, the others to one
/// of a hundred lists.
inline void fillTypical( const Ptr<Map> & map, uint32_t i ) {
   const auto entry = map->mapEntryIs( 10 * ( i + 1 ) );
   const std::string list = i == 0 ? kSharedList : "LIST-" + std::to_string( i % 100 );
   entry->matchRuleIs( { .listName = Quoin::String( list ), .option = MatchOption::matchIpPrefixList } );
   entry->matchRuleIs( { .numericValue = i, .option = MatchOption::matchTag } );
   entry->distanceIs( 1 + i % 255 );
}

/// A sequence without a list: it matches a tag, and sets an attribute.
inline void fillTag( const Ptr<Map> & map, uint32_t i ) {
   const auto entry = map->mapEntryIs( 10 * ( i + 1 ) );
   entry->matchRuleIs( { .numericValue = i, .option = MatchOption::matchTag } );
   entry->distanceIs( 1 + i % 255 );
}

/// A sequence that matches a list to which no other sequence of its route map refers.
inline void fillOwnList( const Ptr<Map> & map, uint32_t i ) {
   const Quoin::String list( "OWN-LIST-" + std::to_string( i ) );
   map->mapEntryIs( 10 * ( i + 1 ) )->matchRuleIs( { .listName = list, .option = MatchOption::matchIpPrefixList } );
}

/// Writes the sequence with this index.
using Fill = void ( * )( const Ptr<Map> & map, uint32_t i );

inline void fillMap( const Ptr<Map> & map, size_t sequences, Fill fill = fillTypical ) {
   for( size_t i = 0; i < sequences; ++i ) fill( map, static_cast<uint32_t>( i ) );
   map->versionIs( map->version() + 1 );
}

inline Ptr<Config> configOf( size_t maps, size_t sequences, Fill fill = fillTypical ) {
   auto config = makeNode<Config>();
   for( size_t i = 0; i < maps; ++i ) fillMap( config->routeMapIs( mapName( i ) ), sequences, fill );
   return config;
}

/// The machine that compiles a configuration, with its root and its scheduler.
class Agent {
 public:
   explicit Agent( Ptr<Config> c ) : config( std::move( c ) ) { settle(); }
   void settle() { scheduler->runUntilIdle(); }
   Ptr<RouteMapSymbol> symbol( size_t i ) const { return root->routeMapTable()->symbol( mapName( i ) ); }
   /// The number of published sequences of the first `maps` route maps.
   size_t published( size_t maps ) const {
      size_t count = 0;
      for( size_t i = 0; i < maps; ++i )
         if( const auto status = symbol( i )->rmStatus() ) count += status->seqStatus().count();
      return count;
   }

   const Ptr<Config> config;
   const Ptr<Routing::Policy::PolicyRoot> root = makeNode<Routing::Policy::PolicyRoot>();
   const Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<Routing::Policy::RouteMapConfigSm> machine =
      Routing::Policy::routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<Routing::Policy::CommonRmConfigFilterSmHelper>(),
                                                makeNode<Routing::Policy::CommonRmConfigSymbolSmHelper>( root ), scheduler, nullptr );
};

}   // namespace Bench
