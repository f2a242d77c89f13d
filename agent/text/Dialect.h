/// @file agent/text/Dialect.h
#pragma once

#include <cstdint>
#include <optional>

namespace Agent {

/// Whose rules a configuration follows. The lines are nearly the same; what they mean differs.
enum class Dialect : uint8_t {
   frr,     // the rules of FRR
   native   // the rules of the library
};

/// Whether a dialect has what `only` that dialect has; none: both have it.
constexpr bool isIn( Dialect dialect, std::optional<Dialect> only ) noexcept {
   return only.value_or( dialect ) == dialect;
}

/// The highest number of a sequence of a route map.
constexpr uint32_t highestSequence( Dialect dialect ) noexcept {
   return dialect == Dialect::frr ? 65535 : 0xffffffff;
}

}   // namespace Agent
