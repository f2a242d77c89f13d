/// @file agent/table/IpRouteJson.h
/// Routes as `ip -j route` and `ip -j -6 route` print them: an array of objects such as
///
///    { "dst": "default", "gateway": "192.0.2.1", "dev": "eth0", "protocol": "static", "metric": 100, "flags": [] }
///    { "dst": "198.51.100.0/24", "protocol": "bgp", "nexthops": [ { "gateway": "192.0.2.1" }, { "gateway": "192.0.2.2" } ] }
///    { "type": "blackhole", "dst": "2001:db8::/32", "dev": "lo", "metric": 1024, "pref": "medium" }
///
/// An entry is one route, with the first of its next hops and that one's interface: policy is applied to a route, not to each of its next
/// hops.
///
/// "dst" without a length is a host. The family of "default" follows from the entry, by the first of these that it has: the
/// gateway's family; the other family than that of "via", which the tool prints only where next hop and route differ in family;
/// the same two of the first next hop; the family of "prefsrc"; and IPv6 if "pref" is present, which the kernel sends for IPv6
/// routes alone. An entry without any of these waits for the end of the document: it gets the family of all other entries, or IPv4 if
/// those differ or do not exist.
///
/// "protocol" names the source of the route; the tool leaves it out for "boot", which routes added by hand have. The kernel's own
/// routes to what is on a link are connected: those of "scope" link, and of IPv6, which has no scopes, those without a gateway.
///
/// "blackhole", "unreachable" and "prohibit" are routes without a next hop. Entries of the types local, broadcast, anycast and
/// multicast, the host's own addresses, and throw, which ends the look-up in one table, are no routes and are skipped, and so is an object
/// without members.
///
/// Entries are read one at a time, so that a table of any length needs the memory of one entry.
#pragma once

#include <cstddef>
#include <string>

#include "table/FormHandler.h"
#include "table/TextReader.h"

namespace Agent {

/// Reads one document from where the reader stands, and not a character more.
/// Entries count from 0 within the document, as a query such as `.[3]` counts them.
/// Returns an empty text, or for a malformed document what is wrong, with line and column: reading cannot continue then.
/// An entry longer than `maxEntry` bytes is such a fault.
[[nodiscard]] std::string readIpRouteJson( TextReader & text, size_t maxEntry, FormHandler & handler );

}   // namespace Agent
