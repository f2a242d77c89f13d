/// @file tests/compile/FilterFixtures.h
/// What the tests of the filter share: a configuration with its filtered copy, and what happens to that one, in words.
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "compile/CommonHelpers.h"
#include "tests/compile/Fixtures.h"

namespace Routing::Policy::CompileFixtures {

template <class T>
std::string textOf( const T & value ) {
   std::ostringstream os;
   os << value;
   return os.str();
}

/// One change of a sequence: the attribute, its key if it has one, and what a reader finds.
inline std::string describe( const Routing::RouteMap::MapEntry & entry, const Quoin::Change & change ) {
   using Routing::RouteMap::MapEntry;
   switch( MapEntry::Field( change.field ) ) {
      case MapEntry::Field::matchRule: {
         const auto option = Plinth::keyOf<MatchOption>( change );
         return "matchRule " + ( entry.matchRule().find( option ) ? textOf( entry.matchRule( option ) ) : textOf( option ) + " gone" );
      }
      case MapEntry::Field::subRouteMap: return "subRouteMap " + textOf( entry.subRouteMap() );
      case MapEntry::Field::setFlags: return "setFlags " + std::to_string( entry.setFlags() );
      case MapEntry::Field::description: {
         const auto key = Plinth::keyOf<uint32_t>( change );
         return "description " + std::to_string( key ) + " '" + std::string( entry.description( key ).view() ) + "'";
      }
      case MapEntry::Field::distance: return "distance " + std::to_string( entry.distance() );
      case MapEntry::Field::continueSeq: return "continueSeq " + std::to_string( entry.continueSeq() );
      case MapEntry::Field::permit: return std::string( "permit " ) + ( entry.permit() == Acl::MatchPermit::permit ? "permit" : "deny" );
   }
   return "?";
}

/// A raw and a filtered configuration, and what all filters of one set share.
struct FilterCase {
   using Config = Routing::RouteMap::Config;
   using Map = Routing::RouteMap::Map;
   using MapEntry = Routing::RouteMap::MapEntry;
   Quoin::Ptr<Config> raw = Quoin::makeNode<Config>();
   Quoin::Ptr<Config> filtered = Quoin::makeNode<Config>();
   Quoin::Ptr<RouteMapUpdateNotifier> update = Quoin::makeNode<RouteMapUpdateNotifier>();

   Quoin::Ptr<MapEntry> entry( const char * map, uint32_t seqno ) const { return raw->routeMapIs( map )->mapEntryIs( seqno ); }
   /// Null where there is none.
   Quoin::Ptr<MapEntry> copy( const char * map, uint32_t seqno ) const {
      const auto m = filtered->routeMap( map );
      return m ? m->mapEntry( seqno ) : nullptr;
   }
   void call( const char * map, uint32_t seqno, const char * target, bool invert = false ) const {
      entry( map, seqno )->subRouteMapIs( { target, invert } );
   }
   void raise( const char * map ) const {
      const auto m = raw->routeMap( map );
      m->versionIs( m->version() + 1 );
   }
   uint32_t filteredVersion( const char * map ) const { return filtered->routeMap( map )->version(); }
   std::string calls( const char * map, uint32_t seqno ) const { return textOf( copy( map, seqno )->subRouteMap() ); }
};

}   // namespace Routing::Policy::CompileFixtures
