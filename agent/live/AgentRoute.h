/// @file agent/live/AgentRoute.h
/// What this agent's routes have beyond what the library knows of routes, and what its policy changes beyond that.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "policy/MatchInput.h"
#include "policy/Result.h"
#include "table/TableRoute.h"

namespace Agent {

/// A route as policy reads it. Threading: a plain value; one evaluation reads it at a time.
class AgentRoute final : public Routing::Policy::MatchInput_ {
 public:
   AgentRoute() = default;
   explicit AgentRoute( const TableRoute & route ) { routeIs( route ); }
   /// `route` outlives this, or the next call; what the library reads is copied.
   void routeIs( const TableRoute & route );
   /// Errors: none is given before routeIs().
   const TableRoute & route() const noexcept { return *route_; }

 private:
   const TableRoute * route_ = nullptr;
};

/// What policy changes of a route. Made of the route, so that it has what the route comes with; distance is 0, for "as it is", until
/// policy sets one. Threading: a plain value.
class AgentResult final : public Routing::Policy::Result_ {
 public:
   AgentResult() = default;
   explicit AgentResult( const TableRoute & route ) { routeIs( route ); }
   /// Starts over, with what that route has.
   void routeIs( const TableRoute & route );

   std::optional<uint32_t> localPreference;
   std::vector<uint32_t> communities;   // ascending, each once
};

}   // namespace Agent
