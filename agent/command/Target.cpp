#include "command/Target.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "analysis/LeftOut.h"
#include "analysis/References.h"
#include "command/Console.h"
#include "command/PolicyFiles.h"
#include "dialect/NeighborMap.h"
#include "text/Printable.h"

namespace Agent {

namespace {

constexpr size_t kMostNames = 20;   // in one message

// "a, b and 3 more".
template <class ByName>
std::string namesIn( const ByName & things ) {
   std::vector<std::string> names;
   names.reserve( things.size() );
   for( const auto & [ name, thing ] : things ) names.push_back( printableName( name ) );
   return joined( names, kMostNames, ", " );
}

const BgpRouter & routerOf( const PolicyText & text, const std::string & vrf ) {
   const auto at = text.routers.find( vrf );
   if( at != text.routers.end() ) return at->second;
   throw CommandError{ vrf.empty() ? "--neighbor: the policy has no \"router bgp\" of the default VRF"
                                   : fmt::format( "--vrf: the policy has no \"router bgp\" of VRF {}", printableName( vrf ) ) };
}

}   // namespace

Target::Target( const TargetOptions & options, Dialect dialect, bool required ) : dialect_( dialect ), routeMap_( options.routeMap ) {
   std::vector<std::string_view> given;
   const auto take = [ & ]( std::string_view option, bool isGiven ) {
      if( isGiven ) given.push_back( option );
   };
   take( "--route-map", !options.routeMap.empty() );
   take( "--neighbor", !options.neighbor.first.empty() );
   take( "--prefix-list", !options.prefixList.empty() );
   take( "--access-list", !options.accessList.empty() );
   if( given.size() > 1 ) throw CommandError{ fmt::format( "{} cannot be used with {}", given[ 1 ], given[ 0 ] ) };
   if( given.empty() && required ) throw CommandError{ "--route-map, --neighbor, --prefix-list or --access-list is required" };
   if( !options.vrf.empty() && options.neighbor.first.empty() ) throw CommandError{ "--vrf needs --neighbor" };
   takeNeighbor( options );
   filters_.prefixList = options.prefixList;
   filters_.distributeList = options.accessList;
   if( !options.prefixList.empty() ) routeMap_ = "prefix-list " + options.prefixList;
   if( !options.accessList.empty() ) routeMap_ = "access-list " + options.accessList;
}

void Target::takeNeighbor( const TargetOptions & options ) {
   const auto & [ name, direction ] = options.neighbor;
   if( name.empty() ) return;
   if( dialect_ != Dialect::frr ) throw CommandError{ "--neighbor cannot be used with --dialect native: use --dialect frr" };
   const auto * const found = std::ranges::find( kDirections, direction, []( Direction d ) { return nameOf( d ); } );
   if( found == std::end( kDirections ) )
      throw CommandError{ fmt::format( "--neighbor: expected \"in\" or \"out\" behind the neighbor, found {}", inQuotes( direction ) ) };
   direction_ = *found;
   neighbor_ = neighborName( name );
   vrf_ = options.vrf;
   routeMap_ = fmt::format( "neighbor {} {}", neighbor_, direction );
}

PolicyText Target::in( PolicyText text ) const {
   if( !neighbor_.empty() )
      addNeighbor( text );
   else if( isFilters() )
      addList( text );
   return text;
}

void Target::addNeighbor( PolicyText & text ) const {
   const BgpRouter & router = routerOf( text, vrf_ );
   if( !router.find( neighbor_ ) )
      throw CommandError{ fmt::format( "unknown neighbor {}; the router has {}", printableName( neighbor_ ),
                                       router.neighbors.empty() ? "none" : namesIn( router.neighbors ) ) };
   addNeighborMap( text, routeMap_, router, neighbor_, direction_ );
}

void Target::addList( PolicyText & text ) const {
   const std::string & prefixList = filters_.prefixList;
   const std::string & accessList = filters_.distributeList;
   const bool isDefined = text.ipv4PrefixLists.contains( prefixList ) || text.ipv6PrefixLists.contains( prefixList ) ||
      text.ipv4AccessLists.contains( accessList ) || text.ipv6AccessLists.contains( accessList );
   if( !isDefined )
      throw CommandError{ prefixList.empty() ? fmt::format( "unknown access list {}", printableName( accessList ) )
                                             : fmt::format( "unknown prefix list {}", printableName( prefixList ) ) };
   addFilterMap( text, routeMap_, filters_ );
}

std::vector<std::string> Target::names( const PolicyText & text ) const {
   std::vector<std::string> names{ routeMap_ };
   if( neighbor_.empty() ) return names;
   const BgpRouter & router = routerOf( text, vrf_ );
   for( const auto af : { Ferule::AddressFamily::ipv4, Ferule::AddressFamily::ipv6 } ) {
      const NeighborFilters filters = router.filters( *router.find( neighbor_ ), af, direction_ );
      for( const auto & form : kFilterForms ) names.push_back( filters.*form.name );   // may be empty, which no line is about
   }
   return names;
}

RouteEvaluator Target::evaluator( const LivePolicy & policy ) const {
   const auto status = routeMapOf( policy, routeMap_ );
   const PolicyText & text = policy.text();
   return RouteEvaluator( status, dialect_,
                          { .filters = isFilters() ? &text.routeMaps.at( routeMap_ ) : nullptr,
                            .isSent = direction_ == Direction::out,
                            .leftOut = placesOf( text, leftOutOf( text, names( text ) ) ) } );
}

}   // namespace Agent
