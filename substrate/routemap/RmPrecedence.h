/// @file substrate/routemap/RmPrecedence.h
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"
#include "substrate/quoin/Value.h"

namespace Routing::RouteMap {

/// The role of a route map at a point of application, and its place in the order there. A plain value of eight bits; numbers
/// without a name are an agent's own.
class RmPrecedence {
 public:
   enum Role : uint8_t {
      prefixListPrecedence = 0,         // a prefix list applied as a route map
      routeMapPrecedence = 4,           // the point's route map
      defaultOriginatePrecedence = 5,   // for default origination
      routeMapMaintPrecedence = 6,      // for maintenance
      missingPolicyDenyPrecedence = 8   // marker: a missing policy denies
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
