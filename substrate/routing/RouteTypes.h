/// @file substrate/routing/RouteTypes.h
/// The small values of a route. Their numbers are the agents'; this library names none of them.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"

#include "routepolicy_export.h"

namespace Routing {

using RouteTag = uint32_t;
using RoutePreference = uint8_t;   // administrative distance; whoever prints it prints a number, not a character

/// The protocol that a route comes from, by its number; 0 is none. Text: the number in decimal.
enum class RouteProto : uint32_t {};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, RouteProto p );

namespace Fib {
/// The kind of an IPv4 route in the forwarding table, from 1 on.
enum class RouteType : uint8_t {};
}   // namespace Fib

}   // namespace Routing

namespace Routing6::Fib {
/// The kind of an IPv6 route in the forwarding table, from 1 on.
enum class RouteType : uint8_t {};
}   // namespace Routing6::Fib
