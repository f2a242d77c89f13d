/// @file agent/text/SourceProtocol.h
/// The source protocols of routes, as "match source-protocol", tables and the command line name them. The agent numbers the nine protocols
/// of the library itself.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace Agent {

enum class SourceProtocol : uint8_t {
   none = 0,
   connected = 1,
   fixed = 2,
   kernel = 3,
   bgp = 4,
   ospf = 5,
   ospf6 = 6,
   isis = 7,
   rip = 8,
   ripng = 9,
   // Of FRR alone; the library has no number for them.
   babel,
   eigrp,
   nhrp,
   openfabric,
   sharp,
   table,
   vnc,
   vncDirect
};
/// The protocols that the library numbers.
constexpr bool isNative( SourceProtocol protocol ) noexcept {
   return protocol <= SourceProtocol::ripng;
}

/// "connected", "static", "kernel", "bgp", "ospf", "ospf6", "isis", "rip", "ripng" and so on; "" for none.
std::string_view nameOf( SourceProtocol protocol ) noexcept;
std::optional<SourceProtocol> sourceProtocol( std::string_view name ) noexcept;
/// All names, in the order of their numbers.
std::span<const std::string_view> sourceProtocolNames() noexcept;

}   // namespace Agent
