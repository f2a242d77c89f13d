/// @file substrate/ferule/IpPrefix.h
/// Prefixes: IPv4, IPv6, and a prefix of either family. Routes, prefix lists and tries use them. A prefix keeps its address unchanged,
/// including bits after its length; subnet() clears these bits. Threading: plain values.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "routepolicy_export.h"
#include "substrate/ferule/IpAddr.h"

namespace Ferule {

/// An IPv4 address and a length. The length is not checked: values above 32 are allowed. Text: the address, a slash and the length.
struct ROUTEPOLICY_API IpPrefix {
   IpAddr address;
   uint8_t length = 0;
   friend constexpr auto operator<=>( const IpPrefix &, const IpPrefix & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpPrefix>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;
};

/// An IPv6 address and a length. Text: as IpPrefix.
struct ROUTEPOLICY_API Ip6Prefix {
   Ip6Addr address;
   uint8_t length = 0;
   /// Whether the leading `length` bits of both addresses are equal.
   constexpr bool contains( const Ip6Addr & a ) const noexcept {
      return ( ( address.bits() ^ a.bits() ) & Bits128::leadingOnes( length ) ).none();
   }
   friend constexpr auto operator<=>( const Ip6Prefix &, const Ip6Prefix & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<Ip6Prefix>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;
};

/// The common base of prefixes of either family: an address and a length.
class ROUTEPOLICY_API IpGenPrefixBase {
 public:
   constexpr AddressFamily af() const noexcept { return addr_.af(); }
   constexpr uint8_t length() const noexcept { return uint8_t( length_ ); }
   constexpr const IpGenAddr & ipGenAddr() const noexcept { return addr_; }
   constexpr IpPrefix v4Prefix() const noexcept { return { addr_.v4Addr(), length() }; }    // meaningful for IPv4 only
   constexpr Ip6Prefix v6Prefix() const noexcept { return { addr_.v6Addr(), length() }; }   // meaningful for IPv6 only

   /// Whether the length is valid for the family and all bits after the length are 0.
   constexpr bool isCanonical() const noexcept {
      return length() <= addressBits( af() ) && ( addr_.bits() & ~Bits128::leadingOnes( length() ) ).none();
   }

   friend constexpr auto operator<=>( const IpGenPrefixBase & a, const IpGenPrefixBase & b ) = default;
   /// The address, a slash and the length; "unset" if the prefix has no family.
   Quoin::String toStrep() const;

 protected:
   constexpr IpGenPrefixBase() noexcept = default;
   constexpr IpGenPrefixBase( const IpGenAddr & addr, uint8_t length ) noexcept : addr_( addr ), length_( length ) {}

   IpGenAddr addr_;
   uint64_t length_ = 0;   // a whole word: a copy in whole words can be read at once, without a store-forwarding stall
};

/// A prefix of either family, or unset.
class ROUTEPOLICY_API IpGenPrefix : public IpGenPrefixBase {
 public:
   constexpr IpGenPrefix() noexcept = default;   // unset
   /// The host prefix of an address: the full length of its family.
   constexpr explicit IpGenPrefix( const IpGenAddr & host ) noexcept : IpGenPrefixBase( host, addressBits( host.af() ) ) {}
   constexpr IpGenPrefix( IpAddr addr, uint8_t length ) noexcept : IpGenPrefixBase( addr, length ) {}
   constexpr IpGenPrefix( const Ip6Prefix & p ) noexcept : IpGenPrefixBase( p.address, p.length ) {}
   constexpr IpGenPrefix( const IpGenAddr & addr, uint8_t length ) noexcept : IpGenPrefixBase( addr, length ) {}
   /// Parses "address/length"; an address alone gives its host prefix.
   /// Errors: RangeException, also for a length above the bits of the family.
   explicit IpGenPrefix( std::string_view text );

   /// The prefix of these bits; unset if the family is.
   static constexpr IpGenPrefix of( AddressFamily af, Bits128 bits, unsigned length ) noexcept {
      if( af == AddressFamily::ipv6 ) return Ip6Prefix{ Ip6Addr( bits ), uint8_t( length ) };
      return af == AddressFamily::ipv4 ? IpGenPrefix( IpAddr( uint32_t( bits.high >> 32 ) ), uint8_t( length ) ) : IpGenPrefix();
   }
   /// The same prefix with the bits after the length cleared.
   constexpr IpGenPrefix subnet() const noexcept { return of( af(), addr_.bits() & Bits128::leadingOnes( length() ), length() ); }

   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpGenPrefix>( a, b ); }
   uint32_t hash() const noexcept;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpPrefix & p );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Ip6Prefix & p );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpGenPrefixBase & p );

}   // namespace Ferule
