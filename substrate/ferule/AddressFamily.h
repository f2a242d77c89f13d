/// @file substrate/ferule/AddressFamily.h
/// The family of an address or prefix: IPv4 or IPv6. Every address, prefix and list of this library has one.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"

namespace Ferule {

/// The family of an address.
enum class AddressFamily : uint8_t {
   unset = 0,   // the family of a default-built value
   ipv4 = 1,
   ipv6 = 2
};

/// The number of bits of an address: 32 or 128; 0 for every other family.
constexpr uint8_t addressBits( AddressFamily af ) noexcept {
   return af == AddressFamily::ipv4 ? 32 : af == AddressFamily::ipv6 ? 128 : 0;
}

/// "ipv4", "ipv6", "unset", or the number.
ROUTEPOLICY_API Quoin::String stringValue( AddressFamily af );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, AddressFamily af );

}   // namespace Ferule
