/// @file agent/table/KernelProtocol.h
/// Who gave the kernel a route, as the kernel tells it.
#pragma once

#include <cstdint>
#include <string_view>

#include "text/SourceProtocol.h"

namespace Agent {

/// `number` as in rtnetlink(7). Routes that were put there by hand, by a DHCP client or for router advertisements are static.
SourceProtocol kernelProtocol( uint8_t number ) noexcept;
/// As `ip route` names it, or that number where it has no name for it.
SourceProtocol kernelProtocol( std::string_view name ) noexcept;

}   // namespace Agent
