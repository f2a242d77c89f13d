/// @file substrate/ferule/AddressFamily.h
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"

namespace Ferule {

enum class AddressFamily : uint8_t {
   unset = 0,   // of a value that has not been given one
   ipv4 = 1,
   ipv6 = 2
};

/// Bits of an address: 32, 128, and 0 for every other family.
constexpr uint8_t addressBits( AddressFamily af ) noexcept {
   return af == AddressFamily::ipv4 ? 32 : af == AddressFamily::ipv6 ? 128 : 0;
}

/// "ipv4", "ipv6", "unset", or the number.
ROUTEPOLICY_API Quoin::String stringValue( AddressFamily af );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, AddressFamily af );

}   // namespace Ferule
