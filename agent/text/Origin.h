/// @file agent/text/Origin.h
#pragma once

#include <cstdint>

namespace Agent {

/// The origin of a BGP route. Source of the values: RFC 4271.
enum class Origin : uint8_t { igp, egp, incomplete };

}   // namespace Agent
