/// @file agent/text/SourceProtocol.h
/// The protocols that "match source-protocol" can name, and that tables and the command line name routes' sources by. This agent's
/// own numbering of the library's nine.
#pragma once

#include <cstdint>
#include <optional>
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
   ripng = 9
};

/// "connected", "static", "kernel", "bgp", "ospf", "ospf6", "isis", "rip", "ripng"; "" for none.
std::string_view nameOf( SourceProtocol protocol ) noexcept;
std::optional<SourceProtocol> sourceProtocol( std::string_view name ) noexcept;

}   // namespace Agent
