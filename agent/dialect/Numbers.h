/// @file agent/dialect/Numbers.h
/// The numbers of compiled sequences. A compiled sequence tells by its number which sequence of the operator it serves, so that answers can
/// be given in the operator's own numbers without a table.
#pragma once

#include <cstdint>
#include <limits>

#include "text/Dialect.h"

namespace Agent {

/// The end of a compiled route map: a route that comes here is denied. It serves no sequence of the operator.
inline constexpr uint32_t kFence = std::numeric_limits<uint32_t>::max();

/// The compiled sequence of an operator's sequence.
constexpr uint32_t compiledNumber( uint32_t number ) noexcept {
   return 4 * number;
}
static_assert( compiledNumber( highestSequence( Dialect::frr ) ) / 4 == highestSequence( Dialect::frr ) );
/// The compiled sequence that denies if the callee of the operator's sequence denies.
constexpr uint32_t afterCallNumber( uint32_t number ) noexcept {
   return 4 * number + 1;
}
/// Whether a compiled sequence stands for the operator's sequence itself: not for its call, and not for the end.
constexpr bool isOperatorsSequence( uint32_t compiled ) noexcept {
   return compiled != kFence && compiled % 4 == 0;
}
/// The operator's sequence that a compiled sequence serves; 0 for the fence.
constexpr uint32_t operatorsNumber( uint32_t compiled ) noexcept {
   return compiled == kFence ? 0 : compiled / 4;
}

}   // namespace Agent
