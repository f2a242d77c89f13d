/// @file examples/evaluate_table/TableRoute.h
/// One route of a table, as every form of input gives it.
#pragma once

#include <cstdint>

#include "substrate/ferule/IpPrefix.h"
#include "substrate/zeugma/MaybeU63.h"

namespace RouteTable {

/// Who made the route, as far as the table tells.
enum class RouteOrigin : uint8_t { unknown, connected, configured, bgp, ospf, isis, rip };

/// Threading: a plain value.
struct TableRoute {
   Ferule::IpGenPrefix prefix;   // no bit behind its length
   Ferule::IpGenAddr nextHop;    // of no family: the table tells none, or the route discards
   Zeugma::MaybeU63 metric;      // of a table dump, the MED
   uint32_t tag = 0;             // of a table dump, the AS that the path ends in
   RouteOrigin origin = RouteOrigin::unknown;
   friend bool operator==( const TableRoute &, const TableRoute & ) = default;
};

}   // namespace RouteTable
