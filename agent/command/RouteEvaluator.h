/// @file agent/command/RouteEvaluator.h
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "live/AgentRoute.h"
#include "policy/Policy.h"

namespace Agent {

/// What a route map makes of a route, and which of its sequences had a say.
struct RouteAnswer {
   bool permitted = false;
   std::vector<uint32_t> sequences;   // indices of RouteEvaluator::sequences(): those that apply to it in their order, or the one
                                      // that denies it; none: no sequence matched, which denies
   AgentResult result;                // of a permitted route
};

/// Whether what policy can change of a route is the same.
bool sameRoute( const AgentResult & a, const AgentResult & b );

/// Asks one compiled route map about routes. Threading: any number of threads may evaluate at once, each with an answer of its own.
class RouteEvaluator {
 public:
   struct Sequence {
      std::string routeMap;
      std::string shownName;   // of the route map, printable and bounded
      uint32_t number = 0;
      bool permits = true;
      friend bool operator==( const Sequence &, const Sequence & ) = default;
   };

   /// `routeMap` is not null.
   explicit RouteEvaluator( const Quoin::Ptr<const Routing::Policy::RouteMapStatus> & routeMap );

   /// Cost: one evaluation; allocates nothing once `answer` has been used.
   void evaluate( const TableRoute & route, RouteAnswer & answer ) const;
   /// Every sequence of the route map and of those that it calls, in the order of their names' first call.
   const std::vector<Sequence> & sequences() const noexcept { return sequences_; }

 private:
   void addSequences( const Routing::Policy::RouteMapStatus & routeMap );

   Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMap_;
   Routing::Policy::PolicyEval eval_;   // without a context: any thread may use it
   std::vector<Sequence> sequences_;
   std::unordered_map<const Routing::Policy::RouteMapSeqStatus *, uint32_t> indexOf_;
};

}   // namespace Agent
