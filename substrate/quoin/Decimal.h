/// @file substrate/quoin/Decimal.h
/// Decimal numbers out of text.
#pragma once

#include <cstdint>
#include <string_view>

#include "routepolicy_export.h"

namespace Quoin {

/// Reads digits and nothing else, from 0 to `max`. `what` names the thing in the message, such as "prefix length".
/// Errors: RangeException that shows the text and the reason.
ROUTEPOLICY_API uint64_t parseDecimal( std::string_view text, uint64_t max, const char * what );

}   // namespace Quoin
