/// @file compile/RouteMapLoopDetect.h
#pragma once

#include <ostream>

#include "routepolicy_export.h"
#include "substrate/routemap/Config.h"

namespace Routing::Policy {

/// Says whether a call between two route maps would close a cycle among the calls of a configuration. A plain value.
/// Threading: the activity thread; nothing writes the configuration meanwhile.
struct ROUTEPOLICY_API RouteMapLoopDetect {
   Quoin::Ptr<const Routing::RouteMap::Config> config;

   /// Whether `subRmName` leads, over any number of calls, to `rmName` or into a cycle of its own. A route map that is not there
   /// calls nothing. Cost: each route map and each entry once, and a name look-up per call; the stack does not grow with the chain.
   bool hasLoops( const Quoin::String & rmName, const Quoin::String & subRmName ) const;

   friend bool operator==( const RouteMapLoopDetect &, const RouteMapLoopDetect & ) = default;
   static bool isEq( const void * a, const void * b ) { return Quoin::isEqOf<RouteMapLoopDetect>( a, b ); }
   size_t hash() const noexcept { return std::hash<Quoin::Ptr<const Routing::RouteMap::Config>>()( config ); }
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const RouteMapLoopDetect & detect );

}   // namespace Routing::Policy
