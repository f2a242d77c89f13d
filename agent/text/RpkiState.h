/// @file agent/text/RpkiState.h
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Agent {

/// The state of a route by RPKI. Source of the values: RFC 8097.
enum class RpkiState : uint8_t { valid, notfound, invalid };
/// Their names, in that order.
inline constexpr std::string_view kRpkiStates[] = { "valid", "notfound", "invalid" };
constexpr std::string_view nameOf( RpkiState state ) noexcept {
   return kRpkiStates[ size_t( state ) ];
}

}   // namespace Agent
