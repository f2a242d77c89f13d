/// @file substrate/ferule/IntfId.h
/// The number of an interface. A route has the interfaces of its next hops; policies match them.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"

namespace Ferule {

/// The number of an interface of the agent's system; 0 means no interface. Text: the number in decimal. Threading: a plain value.
class IntfId {
 public:
   constexpr IntfId() noexcept = default;
   constexpr explicit IntfId( uint32_t id ) noexcept : id_( id ) {}
   constexpr uint32_t id() const noexcept { return id_; }
   constexpr uint32_t hash() const noexcept { return id_; }
   friend constexpr auto operator<=>( const IntfId &, const IntfId & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IntfId>( a, b ); }
   Quoin::String toStrep() const { return Quoin::String( std::to_string( id_ ) ); }
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IntfId & intf );

 private:
   uint32_t id_ = 0;
};

}   // namespace Ferule

template <>
struct std::hash<Ferule::IntfId> {
   size_t operator()( const Ferule::IntfId & intf ) const noexcept { return intf.hash(); }
};
