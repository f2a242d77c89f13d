/// @file agent/table/KernelProtocol.h
/// The source of a route in the kernel, by the kernel's number.
#pragma once

#include <cstdint>
#include <string_view>

#include "text/SourceProtocol.h"

namespace Agent {

/// `number` as in rtnetlink(7). Routes that were added by hand, by a DHCP client or for router advertisements are static.
SourceProtocol kernelProtocol( uint8_t number ) noexcept;
/// The name that `ip route` prints, or the number if it has none.
SourceProtocol kernelProtocol( std::string_view name ) noexcept;

}   // namespace Agent
