/// @file agent/text/Origin.h
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Agent {

/// The origin of a BGP route. Source of the values: RFC 4271.
enum class Origin : uint8_t { igp, egp, incomplete };

/// "igp", "egp", "incomplete", in any case. Nothing for another word.
std::optional<Origin> originOf( std::string_view word );
std::string_view nameOf( Origin origin ) noexcept;

}   // namespace Agent
