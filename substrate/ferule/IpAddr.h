/// @file substrate/ferule/IpAddr.h
/// Addresses: IPv4, IPv6, and of either family. Plain values; bits are held left-aligned in host order, so that an operation on
/// leading bits is a shift. Texts are those of inet_pton and inet_ntop. Threading: plain values.
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

/// 128 bits, the most significant first. An IPv4 address stands in the first 32, with the rest zero.
struct Bits128 {
   uint64_t high = 0;
   uint64_t low = 0;
   friend constexpr auto operator<=>( const Bits128 &, const Bits128 & ) = default;
   friend constexpr Bits128 operator&( Bits128 a, Bits128 b ) noexcept { return { a.high & b.high, a.low & b.low }; }
   friend constexpr Bits128 operator^( Bits128 a, Bits128 b ) noexcept { return { a.high ^ b.high, a.low ^ b.low }; }
   friend constexpr Bits128 operator~( Bits128 a ) noexcept { return { ~a.high, ~a.low }; }
   constexpr bool none() const noexcept { return ( high | low ) == 0; }

   /// A mask of `length` leading ones; from 128 on, all ones.
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
   /// Errors: RangeException.
   explicit IpAddr( std::string_view text );

   constexpr uint32_t value() const noexcept { return value_; }   // host order: the first byte is the highest
   friend constexpr auto operator<=>( const IpAddr &, const IpAddr & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpAddr>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;

 private:
   uint32_t value_ = 0;
};

/// An IPv6 address. Text: as inet_ntop; a zone is no part of an address.
class ROUTEPOLICY_API Ip6Addr {
 public:
   constexpr Ip6Addr() noexcept = default;   // ::
   constexpr explicit Ip6Addr( Bits128 bits ) noexcept : bits_( bits ) {}
   /// Errors: RangeException.
   explicit Ip6Addr( std::string_view text );

   constexpr Bits128 bits() const noexcept { return bits_; }
   friend constexpr auto operator<=>( const Ip6Addr &, const Ip6Addr & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<Ip6Addr>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;

 private:
   Bits128 bits_;
};

/// An address of either family, or of none. Ordered by family, then by address.
class ROUTEPOLICY_API IpGenAddr {
 public:
   constexpr IpGenAddr() noexcept = default;                                  // of no family
   constexpr explicit IpGenAddr( AddressFamily af ) noexcept : af_( af ) {}   // all zero
   constexpr IpGenAddr( IpAddr a ) noexcept : bits_{ uint64_t( a.value() ) << 32, 0 }, af_( AddressFamily::ipv4 ) {}
   constexpr IpGenAddr( Ip6Addr a ) noexcept : bits_( a.bits() ), af_( AddressFamily::ipv6 ) {}
   /// Errors: RangeException on what is an address of neither family.
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
   /// The family's text; "unset" for any other than the two.
   Quoin::String toStrep() const;

 private:
   Bits128 bits_;
   AddressFamily af_ = AddressFamily::unset;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpAddr & a );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Ip6Addr & a );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpGenAddr & a );

}   // namespace Ferule
