#include "compile/RouteMapLoopDetect.h"

#include <vector>

#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/Trace.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

namespace {

using Routing::RouteMap::Config;
using Routing::RouteMap::Map;

const Plinth::TraceHandle trace( "RouteMapLoopDetect" );

// A depth-first walk over the calls, in ascending order of sequence.
class RouteMapLoopDetectImpl {
 public:
   explicit RouteMapLoopDetectImpl( const Config & config ) : config_( config ) {}

   // Null matches no route map.
   void onPathIs( const Map * map ) { onPath_.put( map ); }

   bool hasCycle( const Map & start ) {
      if( !enter( start ) ) return true;
      while( !calls_.empty() ) {
         Call & call = calls_.back();
         if( !call.entry ) {
            onPath_.erase( call.map );
            visited_.put( call.map );
            calls_.pop_back();
            continue;
         }
         const Map * target = calledBy( *call.entry.value() );
         call.entry.next();
         if( target && !visited_.contains( target ) && !enter( *target ) ) return true;
      }
      return false;
   }

 private:
   struct Call {
      const Map * map;
      decltype( std::declval<const Map::MapEntries &>().first() ) entry;   // the next sequence to read
   };

   // False if the route map is already on the path.
   bool enter( const Map & map ) {
      if( onPath_.contains( &map ) ) {
         PLINTH_TRACE( trace, level8 ) << "detected loop at " << map.name();
         return false;
      }
      onPath_.put( &map );
      calls_.push_back( { &map, map.mapEntry().first() } );
      return true;
   }

   const Map * calledBy( const Routing::RouteMap::MapEntry & entry ) const {
      if( entry.subRouteMap().name.empty() ) return nullptr;   // also if the call is inverted
      auto * found = config_.routeMap().find( entry.subRouteMap().name );
      return found ? found->get() : nullptr;
   }

   const Config & config_;
   Plinth::HashSet2018<const Map *> visited_;   // finished without a loop
   Plinth::HashSet2018<const Map *> onPath_;    // the current chain of calls, and the route map that would call
   std::vector<Call> calls_;
};

}   // namespace

bool RouteMapLoopDetect::hasLoops( const Quoin::String & rmName, const Quoin::String & subRmName ) const {
   const auto target = config ? config->routeMap( subRmName ) : nullptr;
   if( !target ) return false;
   const auto caller = config->routeMap( rmName );
   if( const auto order = config->callOrder(); order && order->exists() ) {
      const bool found = caller && ( caller == target || order->reaches( subRmName, rmName ) );
      if( found ) PLINTH_TRACE( trace, level8 ) << "detected loop at " << rmName;
      return found;
   }
   RouteMapLoopDetectImpl walk( *config );
   walk.onPathIs( caller.get() );
   return walk.hasCycle( *target );
}

std::ostream & operator<<( std::ostream & os, const RouteMapLoopDetect & detect ) {
   return os << "Routing::Policy::RouteMapLoopDetect(config=" << Quoin::DisplayPointer::toString( detect.config.get() ) << ")";
}

}   // namespace Routing::Policy
