/// @file agent/command/NeighborRoutes.h
#pragma once

#include <optional>
#include <set>
#include <string>

#include "table/TableRoute.h"

namespace Agent {

/// The routes of a table that a neighbor announces. A default one has all routes, and so has one whose neighbor is no address: an interface
/// or a peer group. A route that does not tell its peer is always taken.
/// Threading: a plain value.
class NeighborRoutes {
 public:
   NeighborRoutes() = default;
   /// `name` as neighborName() returns it.
   explicit NeighborRoutes( std::string name );

   bool has( const TableRoute & route ) const noexcept { return !address_ || route.peer == Ferule::IpGenAddr() || route.peer == *address_; }

   /// Why the neighbor does not have a route: "peer 192.0.2.2 announced the route, not neighbor 192.0.2.1".
   std::string whyNot( const TableRoute & route ) const;
   /// What is left out of a table with `routes` routes: "left out: 3 routes of other peers". `peers`: of the routes that are left out.
   std::string textOf( uint64_t leftOut, uint64_t routes, const std::set<Ferule::IpGenAddr> & peers ) const;

 private:
   std::string name_;
   std::optional<Ferule::IpGenAddr> address_;
};

}   // namespace Agent
