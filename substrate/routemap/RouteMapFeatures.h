/// @file substrate/routemap/RouteMapFeatures.h
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"

namespace Routing::RouteMap {

/// What a policy reads of a route, as a set of bits: an agent need not evaluate again when nothing of that has changed.
/// Threading: a plain value.
class ROUTEPOLICY_API RouteMapFeatures {
 public:
   enum Bit : uint32_t {
      matchPrefixDependent = 1u << 0,   // the route's prefix
      matchInterface = 1u << 1,         // the interfaces of its resolved next hop
      matchResolvedNexthop = 1u << 2,   // the addresses of its resolved next hop
      matchRouterId = 1u << 3,          // the router that it comes from
      matchBestpath = 1u << 13,         // whether it is the best path
      matchAggregateRole = 1u << 14     // its role in an aggregate
   };

   constexpr RouteMapFeatures() noexcept = default;
   constexpr RouteMapFeatures( uint32_t bits ) noexcept : bits_( bits ) {}

   constexpr uint32_t value() const noexcept { return bits_; }
   constexpr bool has( Bit bit ) const noexcept { return bits_ & bit; }
   constexpr void bitIs( Bit bit, bool on ) noexcept { bits_ = on ? bits_ | bit : bits_ & ~uint32_t( bit ); }

   /// Adds the bits of `other`.
   constexpr void updateFrom( RouteMapFeatures other ) noexcept { bits_ |= other.bits_; }

   friend constexpr bool operator==( const RouteMapFeatures &, const RouteMapFeatures & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<RouteMapFeatures>( a, b ); }
   constexpr uint32_t hash() const noexcept { return bits_; }
   /// The names of the bits, as bitsText() writes them. Empty for none.
   Quoin::String toStrep() const;

 private:
   uint32_t bits_ = 0;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const RouteMapFeatures & features );

}   // namespace Routing::RouteMap
