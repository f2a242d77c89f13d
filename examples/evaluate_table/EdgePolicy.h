/// @file examples/evaluate_table/EdgePolicy.h
/// The policy of this example, built by hand through the library's interface: what a provider lets in from its neighbours.
///
/// Four route maps. EDGE-IN is the one that is applied; it calls the other three, each of which says of a route, of either family,
/// whether it is of one kind:
///
///    TOO-LONG    longer than the Internet takes:        IPv4 beyond /24, IPv6 beyond /48
///    CUSTOMERS   inside of what customers may announce; sets their distance
///    BOGONS      never to be seen from outside:         private, loopback, multicast, the default route and the like
///
/// EDGE-IN asks CUSTOMERS as it is, and BOGONS inverted: what BOGONS denies passes.
/// Threading: what makeEdgePolicy() gives is not written again; any number of threads may evaluate with it.
#pragma once

#include <span>

#include "TableRoute.h"
#include "policy/MatchInput.h"
#include "policy/Result.h"
#include "policy/RouteMapStatusList.h"

namespace EvaluateTable {

/// What one sequence of EDGE-IN does, in words.
struct SequenceText {
   uint32_t seqno;
   const char * routes;   // which ones it speaks of
   const char * effect;   // what becomes of those, besides being permitted or denied
};

struct EdgePolicy {
   Quoin::Ptr<const Routing::Policy::RouteMapStatus> edgeIn;
   /// What an agent holds for one point of application, here with EDGE-IN alone; evaluation is handed this.
   Quoin::Ptr<const Routing::Policy::RouteMapStatusList> list;
};

EdgePolicy makeEdgePolicy();

/// One text for each sequence of EDGE-IN, in their order.
std::span<const SequenceText> edgeInTexts() noexcept;

/// The lines that tell a newcomer what the maps beside EDGE-IN are.
std::span<const char * const> subRouteMapTexts() noexcept;

/// A route as policy is asked about it, and its attributes before policy changes them. A table tells no distance: the usual one
/// of the route's origin stands in, and 200 where that is unknown.
Routing::Policy::MatchInput_ matchInputOf( const RouteTable::TableRoute & route );
Routing::Policy::Result_ attributesOf( const RouteTable::TableRoute & route );

}   // namespace EvaluateTable
