/// @file agent/live/AgentRoute.h
/// The routes of this agent: the attributes that policy reads and changes beyond those that the library knows.
#pragma once

#include <cstdint>
#include <span>

#include "live/RouteKeys.h"
#include "policy/MatchInput.h"
#include "policy/Result.h"
#include "table/TableRoute.h"

namespace Agent {

class WorkingRoute;

/// A route as policy reads it. Threading: a plain value; one evaluation reads it at a time.
class AgentRoute final : public Routing::Policy::MatchInput_ {
 public:
   AgentRoute() = default;
   explicit AgentRoute( const TableRoute & route ) { routeIs( route ); }
   /// The input of a working route, which owns it.
   explicit AgentRoute( WorkingRoute & working ) noexcept : working_( &working ) {}
   /// `route` outlives this, or the next call. The attributes that the library reads are copied.
   void routeIs( const TableRoute & route );
   /// Call it after routeIs().
   const TableRoute & route() const noexcept { return *route_; }
   /// Whether the route is sent to a neighbor. The clauses "match peer" and "match ip route-source" then never hold, as in bgpd 8.4.4.
   bool isSent() const noexcept { return isSent_; }
   void isSentIs( bool isSent ) noexcept { isSent_ = isSent; }
   std::span<const uint64_t> getOwnKeys() const override;
   /// The working route that a matcher may change; null for none.
   WorkingRoute * working() const noexcept { return working_; }

 private:
   const TableRoute * route_ = nullptr;
   WorkingRoute * working_ = nullptr;
   mutable RouteKeys keys_;   // of `route_`, once they were asked for
   mutable bool hasKeys_ = false;
   bool isSent_ = false;
};

/// The result of policy for a route. Starts with the attributes of the route; distance is 0, which means unchanged, until policy sets it.
/// Threading: a plain value.
class AgentResult final : public Routing::Policy::Result_ {
 public:
   AgentResult() = default;
   explicit AgentResult( const TableRoute & from ) { routeIs( from ); }
   /// Starts again with the attributes of that route.
   void routeIs( const TableRoute & from );

   TableRoute route;   // with the attributes as they are now, but for a metric and a tag that the library's setters have set
};

}   // namespace Agent
