/// @file substrate/ferule/IpAddr.h
/// Addresses: IPv4, IPv6, and an address of either family. They are the values from which prefixes, masks and next hops are built.
/// `Ferule` is addresses.
/// Bits are stored left-aligned in host order, so an operation on leading bits is a shift. Texts are those of inet_pton() and inet_ntop().
/// Threading: plain values.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "routepolicy_export.h"
#include "substrate/ferule/AddressFamily.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"

namespace Ferule {

/// 128 bits, the most significant bit first. An IPv4 address is stored in the first 32 bits; the other bits are 0.
struct Bits128 {
   uint64_t high = 0;
   uint64_t low = 0;
   friend constexpr auto operator<=>( const Bits128 &, const Bits128 & ) = default;
   friend constexpr Bits128 operator&( Bits128 a, Bits128 b ) noexcept { return { a.high & b.high, a.low & b.low }; }
   friend constexpr Bits128 operator^( Bits128 a, Bits128 b ) noexcept { return { a.high ^ b.high, a.low ^ b.low }; }
   friend constexpr Bits128 operator~( Bits128 a ) noexcept { return { ~a.high, ~a.low }; }
   /// Whether all bits are 0.
   constexpr bool none() const noexcept { return ( high | low ) == 0; }

   /// A mask of `length` leading 1 bits; all bits are 1 for 128 and above.
   static constexpr Bits128 leadingOnes( unsigned length ) noexcept {
      constexpr auto ones = []( unsigned n ) { return n == 0 ? 0 : n >= 64 ? ~uint64_t( 0 ) : ~uint64_t( 0 ) << ( 64 - n ); };
      return { ones( length ), length > 64 ? ones( length - 64 ) : 0 };
   }
};

/// An IPv4 address. Text: dotted decimal.
class ROUTEPOLICY_API IpAddr {
 public:
   constexpr IpAddr() noexcept = default;   // 0.0.0.0
   constexpr explicit IpAddr( uint32_t hostOrder ) noexcept : value_( hostOrder ) {}
   /// Errors: RangeException if `text` is not an IPv4 address.
   explicit IpAddr( std::string_view text );

   /// In host order: the first byte of the address is the most significant.
   constexpr uint32_t value() const noexcept { return value_; }
   friend constexpr auto operator<=>( const IpAddr &, const IpAddr & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpAddr>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;

 private:
   uint32_t value_ = 0;
};

/// An IPv6 address. Text: as inet_ntop(). A zone is not part of an address.
class ROUTEPOLICY_API Ip6Addr {
 public:
   constexpr Ip6Addr() noexcept = default;   // ::
   constexpr explicit Ip6Addr( Bits128 bits ) noexcept : bits_( bits ) {}
   /// Errors: RangeException if `text` is not an IPv6 address.
   explicit Ip6Addr( std::string_view text );

   constexpr Bits128 bits() const noexcept { return bits_; }
   friend constexpr auto operator<=>( const Ip6Addr &, const Ip6Addr & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<Ip6Addr>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;

 private:
   Bits128 bits_;
};

/// An address of either family, or unset. Ordered by family, then by address.
class ROUTEPOLICY_API IpGenAddr {
 public:
   constexpr IpGenAddr() noexcept = default;                                  // unset
   constexpr explicit IpGenAddr( AddressFamily af ) noexcept : af_( af ) {}   // all zero
   constexpr IpGenAddr( IpAddr a ) noexcept : bits_{ uint64_t( a.value() ) << 32, 0 }, af_( AddressFamily::ipv4 ) {}
   constexpr IpGenAddr( Ip6Addr a ) noexcept : bits_( a.bits() ), af_( AddressFamily::ipv6 ) {}
   /// Errors: RangeException if `text` is neither an IPv4 nor an IPv6 address.
   explicit IpGenAddr( std::string_view text );

   constexpr AddressFamily af() const noexcept { return af_; }
   constexpr Bits128 bits() const noexcept { return bits_; }
   constexpr IpAddr v4Addr() const noexcept { return IpAddr( uint32_t( bits_.high >> 32 ) ); }   // meaningful for IPv4 only
   constexpr Ip6Addr v6Addr() const noexcept { return Ip6Addr( bits_ ); }                        // meaningful for IPv6 only

   friend constexpr bool operator==( const IpGenAddr & a, const IpGenAddr & b ) noexcept { return a.af_ == b.af_ && a.bits_ == b.bits_; }
   friend constexpr std::strong_ordering operator<=>( const IpGenAddr & a, const IpGenAddr & b ) noexcept {
      const auto byFamily = a.af_ <=> b.af_;
      return byFamily != 0 ? byFamily : a.bits_ <=> b.bits_;
   }
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpGenAddr>( a, b ); }
   uint32_t hash() const noexcept;
   /// The text form of the family; "unset" for every family other than IPv4 and IPv6.
   Quoin::String toStrep() const;

 private:
   Bits128 bits_;
   AddressFamily af_ = AddressFamily::unset;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpAddr & a );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Ip6Addr & a );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpGenAddr & a );

}   // namespace Ferule
