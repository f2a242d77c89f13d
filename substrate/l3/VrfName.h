/// @file substrate/l3/VrfName.h
/// The name of a VRF. The result paths of redistribution (paths/) contain it.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>
#include <utility>

#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"

namespace L3 {

/// The name of a VRF of the agent's system. Text: the name itself. Threading: a plain value.
class VrfName {
 public:
   VrfName() = default;
   explicit VrfName( Quoin::String name ) noexcept : name_( std::move( name ) ) {}
   const Quoin::String & name() const noexcept { return name_; }
   uint32_t hash() const noexcept { return name_.hash(); }
   friend bool operator==( const VrfName &, const VrfName & ) = default;
   friend std::strong_ordering operator<=>( const VrfName &, const VrfName & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<VrfName>( a, b ); }
   const Quoin::String & toStrep() const noexcept { return name_; }
   friend std::ostream & operator<<( std::ostream & os, const VrfName & vrf ) { return os << vrf.name_; }

 private:
   Quoin::String name_;
};

}   // namespace L3

template <>
struct std::hash<L3::VrfName> {
   size_t operator()( const L3::VrfName & vrf ) const noexcept { return vrf.hash(); }
};
