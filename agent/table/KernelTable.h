/// @file agent/table/KernelTable.h
/// The routes of this machine's own kernel, as `ip route` and `ip -6 route` show them: the main table of both families.
/// What becomes of a route is as with IpRouteJson.h: the first of several next hops, none where the route discards, and the host's
/// own addresses passed over.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "table/LineResult.h"
#include "table/TableReader.h"
#include "table/TableRoute.h"

namespace Agent {

/// The name of an interface; it lives until the next call.
using InterfaceNames = std::function<std::string_view( uint32_t index )>;

/// What one RTM_NEWROUTE message says. `message` is what stands behind its header: any bytes, the first at an address that four
/// divides, as netlink has it. `route` is set whole when it is a route; routes of other tables are nothing.
LineResult parseRouteMessage( std::string_view message, const InterfaceNames & names, TableRoute & route );

/// The kernel's routes as messages.
class RouteDump {
 public:
   virtual ~RouteDump() = default;
   /// Begins with the routes of a family anew; the messages have the family's number for their sequence number.
   virtual void ask( unsigned char family ) = 0;
   /// The next messages, the first at an address that four divides; they live until the next call.
   virtual std::string_view receive() = 0;
};

/// Reads what a dump tells of both families. One that changes while it is told is asked for anew, a few times; what was told last is
/// handed over, with a fault where it changed again.
TableSummary readKernelTable( RouteDump & dump, TableHandler & handler );
/// Asks the kernel. What the system refuses is the summary's fault.
TableSummary readKernelTable( TableHandler & handler );

}   // namespace Agent
