/// @file substrate/quoin/Exception.h
/// Errors of input: the parsers of value types raise them.
#pragma once

#include <stdexcept>
#include <string>

#include "routepolicy_export.h"

namespace Quoin {

/// A text that does not parse, or a number out of its range. what() names the type, the text and the reason.
class ROUTEPOLICY_API RangeException : public std::runtime_error {
 public:
   explicit RangeException( const std::string & what ) : std::runtime_error( what ) {}
   ~RangeException() override;   // out of line: one type identity across library borders
};

}   // namespace Quoin
