/// @file substrate/acl/MatchPermit.h
/// The action of a sequence of a route map, an entry of a list or a rule of an access list: permit or deny.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"

#include "routepolicy_export.h"

namespace Acl {

/// What a sequence, entry or rule does with a route that it matches.
enum class MatchPermit : uint8_t { deny = 0, permit = 1 };

constexpr const char * stringValue( MatchPermit p ) noexcept {
   return p == MatchPermit::permit ? "permit" : "deny";
}
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, MatchPermit p );

}   // namespace Acl
