/// @file substrate/acl/MatchPermit.h
#pragma once

#include <cstdint>
#include <ostream>

namespace Acl {

/// What a sequence or a rule says of what it matches.
enum class MatchPermit : uint8_t { deny = 0, permit = 1 };

constexpr const char * stringValue( MatchPermit p ) noexcept {
   return p == MatchPermit::permit ? "permit" : "deny";
}
inline std::ostream & operator<<( std::ostream & os, MatchPermit p ) {
   return os << stringValue( p );
}

}   // namespace Acl
