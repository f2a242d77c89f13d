/// @file substrate/routing/RouteTypes.h
/// The small values of a route: tag, preference, protocol and route type. Agents define their numbers; this library only compares them.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"

#include "routepolicy_export.h"

namespace Routing {

/// The tag of a route.
using RouteTag = uint32_t;
/// The administrative distance. Convert it to a number before printing: the type is a character type.
using RoutePreference = uint8_t;

/// The number of the protocol that a route comes from; 0 means no protocol. Text: the number in decimal.
enum class RouteProto : uint32_t {};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, RouteProto p );

namespace Fib {
/// The kind of an IPv4 route in the forwarding table. Numbers start at 1.
enum class RouteType : uint8_t {};
}   // namespace Fib

}   // namespace Routing

namespace Routing6::Fib {
/// The kind of an IPv6 route in the forwarding table. Numbers start at 1.
enum class RouteType : uint8_t {};
}   // namespace Routing6::Fib
