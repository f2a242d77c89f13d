/// @file substrate/ferule/FullMask.h
/// Addresses with a mask of any shape. They are the sources of access list rules. Text: the address, a slash, and the length of the mask;
/// a mask that is not contiguous is printed as an address. Threading: plain values.
#pragma once

#include <cstdint>
#include <ostream>

#include "routepolicy_export.h"
#include "substrate/ferule/IpPrefix.h"

namespace Ferule {

/// An IPv4 address and a mask. Bits that are 1 in the mask are compared; bits that are 0 are ignored.
struct ROUTEPOLICY_API IpAddrWithFullMask {
   IpAddr address;
   IpAddr mask;
   friend constexpr auto operator<=>( const IpAddrWithFullMask &, const IpAddrWithFullMask & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpAddrWithFullMask>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;
};

/// An IPv6 address and the length of a contiguous mask.
struct ROUTEPOLICY_API Ip6AddrWithMask {
   Ip6Addr address;
   uint8_t length = 0;
   /// The prefix of that length, with the bits after the length cleared.
   constexpr Ip6Prefix subnet() const noexcept { return { Ip6Addr( address.bits() & Bits128::leadingOnes( length ) ), length }; }
   friend constexpr auto operator<=>( const Ip6AddrWithMask &, const Ip6AddrWithMask & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<Ip6AddrWithMask>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;
};

/// An address of either family with a mask of any shape.
class ROUTEPOLICY_API IpGenAddrWithFullMask {
 public:
   constexpr IpGenAddrWithFullMask() noexcept = default;
   /// The mask must be of the family of the address; this is not checked.
   constexpr IpGenAddrWithFullMask( const IpGenAddr & address, Bits128 mask ) noexcept : address_( address ), mask_( mask ) {}
   constexpr IpGenAddrWithFullMask( const IpAddrWithFullMask & v4 ) noexcept
         : address_( v4.address ), mask_( IpGenAddr( v4.mask ).bits() ) {}
   constexpr IpGenAddrWithFullMask( const Ip6AddrWithMask & v6 ) noexcept
         : address_( v6.address ), mask_( Bits128::leadingOnes( v6.length ) ) {}

   constexpr const IpGenAddr & address() const noexcept { return address_; }
   constexpr Bits128 mask() const noexcept { return mask_; }

   /// Whether the mask is contiguous from the first bit, and the address has no 1 bits outside the mask.
   constexpr bool validAsPrefix() const noexcept {
      return mask_ == Bits128::leadingOnes( leadingOnesOfMask() ) && ( address_.bits() & ~mask_ ).none();
   }
   /// Whether `a` is of this family and equals the address in every bit that is 1 in the mask.
   constexpr bool contains( const IpGenAddr & a ) const noexcept {
      return a.af() == address_.af() && ( ( a.bits() ^ address_.bits() ) & mask_ ).none();
   }
   /// The number of leading 1 bits of the mask, 0 to 128.
   constexpr uint8_t leadingOnesOfMask() const noexcept {
      return static_cast<uint8_t>( ~mask_.high ? __builtin_clzll( ~mask_.high ) : ~mask_.low ? 64 + __builtin_clzll( ~mask_.low ) : 128 );
   }

   friend constexpr auto operator<=>( const IpGenAddrWithFullMask &, const IpGenAddrWithFullMask & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpGenAddrWithFullMask>( a, b ); }
   uint32_t hash() const noexcept;
   /// The text form of the family; "unset" if the address has no family.
   Quoin::String toStrep() const;

 private:
   IpGenAddr address_;
   Bits128 mask_;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpAddrWithFullMask & a );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Ip6AddrWithMask & a );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpGenAddrWithFullMask & a );

}   // namespace Ferule
