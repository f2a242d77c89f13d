/// @file substrate/routemap/RmPrecedence.h
/// The role of a policy in a list of policies. A list is evaluated in ascending order of this value.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"
#include "substrate/quoin/Value.h"

namespace Routing::RouteMap {

/// The role of a route map at a point of application; also its position in the order of evaluation there. A plain value of eight bits.
/// Agents may use numbers that have no name here.
class RmPrecedence {
 public:
   enum Role : uint8_t {
      prefixListPrecedence = 0,         // a prefix list applied as a route map
      routeMapPrecedence = 4,           // the route map that is configured at the point
      defaultOriginatePrecedence = 5,   // the route map for default origination
      routeMapMaintPrecedence = 6,      // the route map for maintenance
      missingPolicyDenyPrecedence = 8   // a marker: a missing policy denies
   };

   constexpr RmPrecedence() noexcept = default;
   constexpr RmPrecedence( Role role ) noexcept : value_( role ) {}
   constexpr explicit RmPrecedence( uint8_t value ) noexcept : value_( value ) {}

   constexpr uint8_t value() const noexcept { return value_; }
   friend constexpr auto operator<=>( RmPrecedence, RmPrecedence ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<RmPrecedence>( a, b ); }
   constexpr uint32_t hash() const noexcept { return value_; }
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, RmPrecedence p );

 private:
   uint8_t value_ = 0;
};

}   // namespace Routing::RouteMap
