/// @file policy/UndefinedPolicyReference.h
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"
#include "substrate/quoin/Value.h"

namespace Routing::Policy {

/// The kinds of undefined references of a route map and its callees. RouteMapStatus publishes it. A plain value of one byte.
/// Text: "none", or the names of the bits, as bitsText() writes them.
struct UndefinedPolicyReferenceBitfield {
   enum Bit : uint8_t { subRouteMapUndefined = 1, prefixListUndefined = 2, commListUndefined = 4, aggRoleAttrMapUndefined = 8 };
   uint8_t value = 0;

   constexpr void setNoneUndefined() noexcept { value = 0; }
   /// Sets all eight bits, including the bits without a name: the value of a new route map, and of a route map that has lost its last
   /// sequence.
   constexpr void setAllUndefined() noexcept { value = 0xff; }
   constexpr bool has( Bit bit ) const noexcept { return value & bit; }
   friend constexpr UndefinedPolicyReferenceBitfield operator|( UndefinedPolicyReferenceBitfield a,
                                                                UndefinedPolicyReferenceBitfield b ) noexcept {
      return { static_cast<uint8_t>( a.value | b.value ) };
   }
   friend constexpr bool operator==( UndefinedPolicyReferenceBitfield, UndefinedPolicyReferenceBitfield ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<UndefinedPolicyReferenceBitfield>( a, b ); }
   constexpr uint32_t hash() const noexcept { return value; }
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, UndefinedPolicyReferenceBitfield bits );

 private:
   static constexpr const char * nameOf( Bit bit ) noexcept {
      switch( bit ) {
         case subRouteMapUndefined: return "subRouteMapUndefined";
         case prefixListUndefined: return "prefixListUndefined";
         case commListUndefined: return "commListUndefined";
         case aggRoleAttrMapUndefined: return "aggRoleAttrMapUndefined";
      }
      return nullptr;
   }
};

}   // namespace Routing::Policy
