/// @file agent/table/KernelTable.h
/// The routes of this machine's own kernel, as `ip route` and `ip -6 route` show them: the main table of both families.
/// Routes are read as with IpRouteJson.h: the first of several next hops, none for a route that discards, and the host's own addresses
/// are skipped.
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

/// Reads one RTM_NEWROUTE message. `message` is the part after its header: any bytes, aligned to four bytes as netlink does. `route` is set
/// completely if it is a route; routes of other tables are ignored.
LineResult parseRouteMessage( std::string_view message, const InterfaceNames & names, TableRoute & route );

/// The kernel's routes as messages.
class RouteDump {
 public:
   virtual ~RouteDump() = default;
   /// Starts again with the routes of a family. The messages have the number of the family as sequence number.
   virtual void ask( unsigned char family ) = 0;
   /// The next messages, aligned to four bytes. They live until the next call.
   virtual std::string_view receive() = 0;
};

/// Reads the dumps of both families. A dump that changed meanwhile is requested again, a few times; the last one is passed on, with a fault
/// if it changed again.
TableSummary readKernelTable( RouteDump & dump, TableHandler & handler );
/// Reads the routes of the kernel. An error of the system becomes the fault of the summary.
TableSummary readKernelTable( TableHandler & handler );

}   // namespace Agent
