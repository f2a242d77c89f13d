/// @file substrate/quoin/Decimal.h
/// Parses decimal numbers. The parsers of value types use it, for addresses, lengths and metrics.
#pragma once

#include <cstdint>
#include <string_view>

#include "routepolicy_export.h"

namespace Quoin {

/// Parses `text`, which must consist of digits only, as a number from 0 to `max`. `what` names the number in the error message, such
/// as "prefix length". Errors: RangeException that shows the text and the reason.
ROUTEPOLICY_API uint64_t parseDecimal( std::string_view text, uint64_t max, const char * what );

}   // namespace Quoin
