/// @file agent/text/RpkiState.h
#pragma once

#include <cstdint>

namespace Agent {

/// The state of a route by RPKI. Source of the values: RFC 8097.
enum class RpkiState : uint8_t { valid, notfound, invalid };

}   // namespace Agent
