/// @file compile/RouteMapLoopDetect.h
#pragma once

#include <ostream>

#include "routepolicy_export.h"
#include "substrate/routemap/Config.h"

namespace Routing::Policy {

/// Tells whether a call between two route maps would close a cycle in the calls of a configuration. The filter machines ask it before they
/// copy a call. A plain value.
/// Threading: the activity thread. The configuration does not change during the call.
struct ROUTEPOLICY_API RouteMapLoopDetect {
   Quoin::Ptr<const Routing::RouteMap::Config> config;

   /// Whether `subRmName` leads, through any number of calls, to `rmName` or into another cycle. An undefined route map calls nothing.
   /// Cost: each route map and each sequence once, and one look-up of a name per call; if the configuration keeps a CallOrder, only the
   /// route maps between the places of the two. The depth of calls uses no stack.
   bool hasLoops( const Quoin::String & rmName, const Quoin::String & subRmName ) const;

   friend bool operator==( const RouteMapLoopDetect &, const RouteMapLoopDetect & ) = default;
   static bool isEq( const void * a, const void * b ) { return Quoin::isEqOf<RouteMapLoopDetect>( a, b ); }
   size_t hash() const noexcept { return std::hash<Quoin::Ptr<const Routing::RouteMap::Config>>()( config ); }
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const RouteMapLoopDetect & detect );

}   // namespace Routing::Policy
