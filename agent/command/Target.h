/// @file agent/command/Target.h
#pragma once

#include <string>
#include <vector>

#include "command/Commands.h"
#include "command/NeighborRoutes.h"
#include "command/RouteEvaluator.h"
#include "live/LivePolicy.h"
#include "text/Neighbors.h"

namespace Agent {

/// What a command asks about: a route map, the filters of a neighbor, or a list. It is always a route map in the end; the route map of a
/// neighbor or of a list is added to the text.
class Target {
 public:
   /// Errors: CommandError unless it is exactly one, or, unless `required`, none.
   Target( const TargetOptions & options, Dialect dialect, bool required = true );

   Dialect dialect() const noexcept { return dialect_; }
   bool empty() const noexcept { return routeMap_.empty(); }
   /// The name of the route map.
   const std::string & routeMap() const noexcept { return routeMap_; }
   /// The routes that are asked about: those that the neighbor announces. All routes without a neighbor, and those that are sent to one.
   NeighborRoutes routes() const {
      return neighbor_.empty() || direction_ == Direction::out ? NeighborRoutes() : NeighborRoutes( neighbor_ );
   }
   /// The text with this route map. Errors: CommandError if the neighbor or the list does not exist.
   PolicyText in( PolicyText text ) const;
   /// `policy` has a text from in(). Errors: as routeMapOf().
   RouteEvaluator evaluator( const LivePolicy & policy ) const;

 private:
   void takeNeighbor( const TargetOptions & options );
   void addNeighbor( PolicyText & text ) const;
   void addList( PolicyText & text ) const;
   /// Of what answers: the route map, and the filters of a neighbor, which may be undefined.
   std::vector<std::string> names( const PolicyText & text ) const;
   bool isFilters() const noexcept { return !neighbor_.empty() || !( filters_ == NeighborFilters() ); }

   const Dialect dialect_;
   std::string routeMap_;
   std::string neighbor_;   // empty: none
   std::string vrf_;
   Direction direction_ = Direction::in;
   NeighborFilters filters_;   // of a list: its name
};

}   // namespace Agent
