/// @file substrate/routemap/RouteMapFeatures.h
/// The attributes of a route that a policy reads. Compilation computes them; an agent uses them to avoid useless evaluations.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"

namespace Routing::RouteMap {

/// The attributes of a route that a policy reads, as a set of bits. If none of these attributes has changed, an agent need not evaluate the
/// policy again. Threading: a plain value.
class ROUTEPOLICY_API RouteMapFeatures {
 public:
   /// One attribute of a route. The name says how a policy uses it.
   enum Bit : uint32_t {
      matchPrefixDependent = 1u << 0,   // the route's prefix
      matchInterface = 1u << 1,         // the interfaces of its resolved next hop
      matchResolvedNexthop = 1u << 2,   // the addresses of its resolved next hop
      matchRouterId = 1u << 3,          // the id of the router that the route comes from
      matchBestpath = 1u << 13,         // whether the route is the best path
      matchAggregateRole = 1u << 14     // the role of the route in an aggregate
   };

   constexpr RouteMapFeatures() noexcept = default;
   constexpr RouteMapFeatures( uint32_t bits ) noexcept : bits_( bits ) {}

   constexpr uint32_t value() const noexcept { return bits_; }
   constexpr bool has( Bit bit ) const noexcept { return bits_ & bit; }
   constexpr void bitIs( Bit bit, bool on ) noexcept { bits_ = on ? bits_ | bit : bits_ & ~uint32_t( bit ); }

   /// Whether all bits of `other` are set.
   constexpr bool includes( RouteMapFeatures other ) const noexcept { return ( other.bits_ & ~bits_ ) == 0; }
   /// Adds the bits of `other`.
   constexpr void updateFrom( RouteMapFeatures other ) noexcept { bits_ |= other.bits_; }

   friend constexpr bool operator==( const RouteMapFeatures &, const RouteMapFeatures & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<RouteMapFeatures>( a, b ); }
   constexpr uint32_t hash() const noexcept { return bits_; }
   /// The names of the bits, as Quoin::bitsText() prints them.
   Quoin::String toStrep() const;

 private:
   uint32_t bits_ = 0;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const RouteMapFeatures & features );

}   // namespace Routing::RouteMap
