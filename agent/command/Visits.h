/// @file agent/command/Visits.h
/// What one evaluation did, in the operator's own sequences and clauses. In the dialect of FRR, several compiled sequences serve one of the
/// operator (dialect/Numbers.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "analysis/References.h"
#include "command/Json.h"
#include "live/WorkingRoute.h"
#include "policy/PolicyEvaluationLog.h"

namespace Agent {

struct SequenceVisit;

/// One evaluation of one route map.
struct RouteMapVisit {
   std::string routeMap;
   bool permits = false;
   std::string end;   // why its end denies the route: "no sequence matches"; empty if a sequence decides
   std::vector<SequenceVisit> sequences;
};

struct SequenceVisit {
   uint32_t number = 0;
   std::string filter{};   // of a route map of dialect/NeighborMap.h, in place of its number: "prefix-list CUSTOMERS (ipv4 unicast, in)"
   MatchPermit action = MatchPermit::permit;
   bool matches = false;
   std::string fails{};                   // the clause that does not hold: "match tag 5"; empty if all hold
   std::vector<std::string> remarks{};    // the call, and the clauses with undefined references: "it calls SUB"
   std::vector<std::string> sets{};       // what the sequences behind it see: "metric 5". Dialect of FRR
   uint32_t continuesAt = 0;              // 0: the route map ends here, or the sequence does not match
   std::string ends{};                    // why it does not continue: "as sequence 30 does not exist"; may be empty
   std::vector<RouteMapVisit> callee{};   // one or none
};

/// The evaluation with that log, which `working` was the input of. `references`: of `policy`.
RouteMapVisit visitOf( const Routing::Policy::PolicyEvaluationLog & log, const WorkingRoute & working, const PolicyText & policy,
                       const References & references );

/// Lines: the route map; its sequences, indented; below each of them the visit of its callee.
std::string textOf( const RouteMapVisit & visit );
Json jsonOf( const RouteMapVisit & visit );

}   // namespace Agent
