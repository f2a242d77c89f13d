/// @file substrate/acl/MatchPermit.h
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"

#include "routepolicy_export.h"

namespace Acl {

/// What a sequence or a rule says of what it matches.
enum class MatchPermit : uint8_t { deny = 0, permit = 1 };

constexpr const char * stringValue( MatchPermit p ) noexcept {
   return p == MatchPermit::permit ? "permit" : "deny";
}
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, MatchPermit p );

}   // namespace Acl
