/// @file paths/BgpToIgpRedistResultPath.h
/// The path in the state tree for the result of redistributing BGP routes into an IGP through a policy. The writer and the readers of the
/// result both use this function, so that their paths agree.
/// Threading: any.
#pragma once

#include <compare>
#include <cstdint>
#include <ostream>

#include "routepolicy_export.h"
#include "substrate/ferule/AddressFamily.h"
#include "substrate/l3/VrfName.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"

namespace Routing::Policy {

/// The kind and the name of a policy. A plain value.
struct ROUTEPOLICY_API GenPolicyName {
   enum class Kind : uint8_t {
      routeMap = 0,
      gyre = 1   // a function of the policy language
   };
   Quoin::String name;
   Kind kind = Kind::routeMap;

   friend bool operator==( const GenPolicyName &, const GenPolicyName & ) = default;
   friend std::strong_ordering operator<=>( const GenPolicyName &, const GenPolicyName & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<GenPolicyName>( a, b ); }
   uint32_t hash() const noexcept { return name.hash() ^ uint32_t( kind ); }
};
/// Prints a kind as "routeMap", "gyre" or its number, and a policy as its kind, a space and its name.
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, GenPolicyName::Kind kind );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const GenPolicyName & policy );

/// "routing/rib/filteredRtStatus/ipv4/VRF/routeMap/NAME" for a route map, ".../gyre/NAME" for a function. Names are copied unchanged,
/// including empty names and slashes.
/// Errors: any other kind ends the process.
ROUTEPOLICY_API Quoin::String getBgpToIgpRedistResultPath( Ferule::AddressFamily af, const L3::VrfName & vrf,
                                                           const GenPolicyName & policy );

}   // namespace Routing::Policy
