/// @file agent/dialect/NeighborMap.h
/// The filters of a neighbor, in the form of a route map in the dialect of FRR: what is asked about a route map can be asked about them.
///
///    router bgp 65000
///     neighbor 192.0.2.1 remote-as 65001
///     neighbor 192.0.2.1 prefix-list CUSTOMERS in
///     neighbor 192.0.2.1 route-map EDGE-IN in
///
/// becomes the route map "neighbor 192.0.2.1 in". The description of a sequence tells the filter:
///
///     permit 1: match ip address prefix-list "ipv4 unicast", which all IPv4 prefixes match; on-match goto 3
///     permit 2: on-match goto 6
///     permit 3: "prefix-list CUSTOMERS (ipv4 unicast, in)"; match ip address prefix-list CUSTOMERS; on-match goto 5
///     deny 4: "prefix-list CUSTOMERS (ipv4 unicast, in)"
///     permit 5: "route-map EDGE-IN (ipv4 unicast, in)"; call EDGE-IN
///     deny 6: "neighbor 192.0.2.1, where ipv6 unicast is not active"
///
/// The names of such route maps (isOfFilters() of text/Neighbors.h), and of that list, have a blank: no name of the operator has one.
#pragma once

#include <string>

#include "text/PolicyText.h"

namespace Agent {

/// Creates the route map `name` of a neighbor of that router of the text, or of a peer group, which exists.
void addNeighborMap( PolicyText & text, const std::string & name, const BgpRouter & router, const std::string & neighbor,
                     Direction direction );

/// Creates the route map `name`, which permits in both families what the filters permit.
void addFilterMap( PolicyText & text, const std::string & name, const NeighborFilters & filters );

}   // namespace Agent
