/// @file agent/command/RouteEvaluator.h
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "live/WorkingRoute.h"
#include "policy/Policy.h"
#include "policy/PolicyEvaluationLog.h"
#include "text/Dialect.h"

namespace Agent {

/// The answer of a route map for one route.
struct RouteAnswer {
   bool permitted = false;
   std::vector<uint32_t> sequences;   // indices of RouteEvaluator::sequences(): the sequences that apply, in order, or the one sequence
                                      // that denies; empty: no sequence matched, and the route is denied
   AgentResult result;                // of a permitted route
   WorkingRoute working;              // of the evaluation
};

/// Whether two answers leave a route with the same attributes, of those that policy can change.
bool sameRoute( const AgentResult & a, const AgentResult & b );

/// What a route map is evaluated for.
struct EvaluatorContext {
   const RouteMapText * filters = nullptr;   // the text of the route map, if it is one of dialect/NeighborMap.h; read at construction
   bool isSent = false;                      // the routes are sent to a neighbor
   std::vector<std::string> leftOut{};       // the places of the left-out lines on which the answers may depend
};

/// Evaluates one compiled route map for routes. Threading: any number of threads may evaluate at once, each into its own answer.
class RouteEvaluator {
 public:
   struct Sequence {
      std::string routeMap;
      std::string shownName;   // of the route map, printable and bounded
      uint32_t number = 0;     // 0: a filter of a neighbor, whose words `shownName` has
      bool permits = true;
      friend bool operator==( const Sequence &, const Sequence & ) = default;
   };

   /// `routeMap` is not null; it was compiled by the rules of `dialect`.
   RouteEvaluator( const Quoin::Ptr<const Routing::Policy::RouteMapStatus> & routeMap, Dialect dialect, EvaluatorContext context = {} );

   /// Cost: one evaluation; allocates nothing once `answer` has been used.
   void evaluate( const TableRoute & route, RouteAnswer & answer ) const;
   /// Evaluates once more, and returns the log. Not null.
   Quoin::Ptr<const Routing::Policy::PolicyEvaluationLog> logOf( const TableRoute & route, WorkingRoute & working ) const;
   /// Every sequence of the route map and of its direct and indirect callees; the route maps in the order of their first call.
   const std::vector<Sequence> & sequences() const noexcept { return sequences_; }
   const std::vector<std::string> & leftOut() const noexcept { return leftOut_; }

 private:
   using Sequences = Routing::Policy::MatchedRouteMapSequences;
   void addFilters( const RouteMapText & filters );
   void addSequences( const Routing::Policy::RouteMapStatus & routeMap );
   void addCallees( const Routing::Policy::RouteMapStatus & routeMap );
   bool addSequence( const std::string & routeMap, const std::string & shownName, const Routing::Policy::RouteMapSeqStatus & sequence );
   void permitted( const Sequences & matched, const TableRoute & route, RouteAnswer & answer ) const;
   template <class Indices, class Key>
   static bool tell( const Indices & indices, const Key * sequence, RouteAnswer & answer );

   Dialect dialect_;
   bool isOfFilters_;
   bool isSent_;
   std::vector<std::string> leftOut_;
   Quoin::Ptr<const Routing::Policy::RouteMapStatus> routeMap_;
   Routing::Policy::PolicyEval eval_;   // without a context: any thread may use it
   std::vector<Sequence> sequences_;
   std::unordered_map<const Routing::Policy::RouteMapSeqStatus *, uint32_t> indexOf_;   // of sequences_; not of the end of a route map
   std::unordered_map<const StepText *, uint32_t> indexOfStep_;
};

}   // namespace Agent
