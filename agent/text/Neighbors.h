/// @file agent/text/Neighbors.h
/// The neighbors of a BGP router, as its stanza tells them: which lists and which route map filter the routes of each. Plain values.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "substrate/ferule/IpPrefix.h"

namespace Agent {

enum class Direction : uint8_t { in, out };
inline constexpr Direction kDirections[] = { Direction::in, Direction::out };
constexpr std::string_view nameOf( Direction direction ) noexcept {
   return direction == Direction::in ? "in" : "out";
}

/// The names of what filters the routes of one family in one direction. Empty: none.
struct NeighborFilters {
   std::string distributeList;   // an access list
   std::string prefixList;
   std::string filterList;   // of AS paths
   std::string routeMap;
   friend bool operator==( const NeighborFilters &, const NeighborFilters & ) = default;
};

/// The words of a line that applies a filter: "neighbor 192.0.2.1 WORD NAME in".
struct FilterForm {
   using Name = std::string NeighborFilters::*;
   std::string_view word;
   Name name;
   Name excludes = nullptr;   // a filter beside which the line is refused
};
/// In the order in which bgpd asks the filters.
inline constexpr FilterForm kFilterForms[] = {
   { "distribute-list", &NeighborFilters::distributeList, &NeighborFilters::prefixList },
   { "prefix-list", &NeighborFilters::prefixList, &NeighborFilters::distributeList },
   { "filter-list", &NeighborFilters::filterList },
   { "route-map", &NeighborFilters::routeMap },
};

/// One unicast family of a neighbor.
struct NeighborFamily {
   std::optional<bool> active;   // empty: as its peer group, or as it was when the neighbor was created
   bool activeByDefault = false;
   std::array<NeighborFilters, 2> filters;   // by Direction

   NeighborFilters & of( Direction direction ) noexcept { return filters[ size_t( direction ) ]; }
   const NeighborFilters & of( Direction direction ) const noexcept { return filters[ size_t( direction ) ]; }
};

/// A neighbor, or a peer group.
struct Neighbor {
   bool isGroup = false;
   std::string group;                        // of a neighbor; empty: none
   std::string remoteAs;                     // as the line tells it: a number, "internal", "external"; empty: that of its group
   std::array<NeighborFamily, 2> families;   // IPv4, IPv6
   NeighborFamily & family( Ferule::AddressFamily af ) noexcept { return families[ af != Ferule::AddressFamily::ipv4 ]; }
   const NeighborFamily & family( Ferule::AddressFamily af ) const noexcept { return families[ af != Ferule::AddressFamily::ipv4 ]; }
};

/// One "router bgp" stanza.
struct BgpRouter {
   std::string as;   // as the line tells it: "65546" or "1.10"
   bool ebgpRequiresPolicy = true;
   std::array<bool, 2> activeByDefault{ true, false };   // of neighbors created from now on, by family
   std::map<std::string, Neighbor> neighbors;            // and peer groups; an address in its shortest form

   /// Null for an unknown name.
   Neighbor * find( const std::string & name );
   const Neighbor * find( const std::string & name ) const { return const_cast<BgpRouter *>( this )->find( name ); }
   /// Whether the neighbor is of another AS. A neighbor whose AS is unknown counts as such.
   bool isExternal( const Neighbor & neighbor ) const;
   /// Whether routes of this family are exchanged with the neighbor.
   bool isActive( const Neighbor & neighbor, Ferule::AddressFamily af ) const;
   /// The neighbor's own filters, and the filters of its peer group where the neighbor has none of the kind.
   NeighborFilters filters( const Neighbor & neighbor, Ferule::AddressFamily af, Direction direction ) const;
};

/// Whether a route map is made of filters (dialect/NeighborMap.h): only such names have a blank. Its call is no nested call.
inline bool isOfFilters( std::string_view routeMap ) noexcept {
   return routeMap.find( ' ' ) != routeMap.npos;
}

/// The form in which a neighbor is kept: an address in its shortest form, any other name as it is.
std::string neighborName( std::string_view text );

}   // namespace Agent
