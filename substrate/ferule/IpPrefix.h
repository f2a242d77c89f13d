/// @file substrate/ferule/IpPrefix.h
/// Prefixes: IPv4, IPv6, and of either family. A prefix keeps the address that it was given, bits behind its length included;
/// whoever needs those gone asks for subnet(). Threading: plain values.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "routepolicy_export.h"
#include "substrate/ferule/IpAddr.h"

namespace Ferule {

/// An IPv4 address and a length. The length is not judged here: above 32 it is a value like any other. Text: the address, a slash
/// and the length.
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
   /// Whether the leading `length` bits of the two agree.
   constexpr bool contains( const Ip6Addr & a ) const noexcept {
      return ( ( address.bits() ^ a.bits() ) & Bits128::leadingOnes( length ) ).none();
   }
   friend constexpr auto operator<=>( const Ip6Prefix &, const Ip6Prefix & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<Ip6Prefix>( a, b ); }
   uint32_t hash() const noexcept;
   Quoin::String toStrep() const;
};

/// What a prefix of either family is made of.
class ROUTEPOLICY_API IpGenPrefixBase {
 public:
   constexpr AddressFamily af() const noexcept { return addr_.af(); }
   constexpr uint8_t length() const noexcept { return uint8_t( length_ ); }
   constexpr const IpGenAddr & ipGenAddr() const noexcept { return addr_; }
   constexpr IpPrefix v4Prefix() const noexcept { return { addr_.v4Addr(), length() }; }    // meaningful for IPv4 only
   constexpr Ip6Prefix v6Prefix() const noexcept { return { addr_.v6Addr(), length() }; }   // meaningful for IPv6 only

   /// Whether the length fits the family and no bit stands behind it.
   constexpr bool isCanonical() const noexcept {
      return length() <= addressBits( af() ) && ( addr_.bits() & ~Bits128::leadingOnes( length() ) ).none();
   }

   friend constexpr auto operator<=>( const IpGenPrefixBase & a, const IpGenPrefixBase & b ) = default;
   /// The family's text, a slash and the length; "unset" for no family.
   Quoin::String toStrep() const;

 protected:
   constexpr IpGenPrefixBase() noexcept = default;
   constexpr IpGenPrefixBase( const IpGenAddr & addr, uint8_t length ) noexcept : addr_( addr ), length_( length ) {}

   IpGenAddr addr_;
   uint64_t length_ = 0;   // whole words are copied without overlap; what reads the copy at once would wait else
};

/// A prefix of either family, or of none.
class ROUTEPOLICY_API IpGenPrefix : public IpGenPrefixBase {
 public:
   constexpr IpGenPrefix() noexcept = default;   // of no family
   /// The host prefix of an address: the full length of its family.
   constexpr explicit IpGenPrefix( const IpGenAddr & host ) noexcept : IpGenPrefixBase( host, addressBits( host.af() ) ) {}
   constexpr IpGenPrefix( IpAddr addr, uint8_t length ) noexcept : IpGenPrefixBase( addr, length ) {}
   constexpr IpGenPrefix( const Ip6Prefix & p ) noexcept : IpGenPrefixBase( p.address, p.length ) {}
   constexpr IpGenPrefix( const IpGenAddr & addr, uint8_t length ) noexcept : IpGenPrefixBase( addr, length ) {}
   /// "address/length", or an address alone for its host prefix. Errors: RangeException, also for a length beyond the family.
   explicit IpGenPrefix( std::string_view text );

   /// The same with the bits behind the length cleared.
   constexpr IpGenPrefix subnet() const noexcept {
      const Bits128 bits = addr_.bits() & Bits128::leadingOnes( length() );
      if( af() == AddressFamily::ipv6 ) return Ip6Prefix{ Ip6Addr( bits ), length() };
      return af() == AddressFamily::ipv4 ? IpGenPrefix( IpAddr( uint32_t( bits.high >> 32 ) ), length() ) : IpGenPrefix();
   }

   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<IpGenPrefix>( a, b ); }
   uint32_t hash() const noexcept;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpPrefix & p );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Ip6Prefix & p );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const IpGenPrefixBase & p );

}   // namespace Ferule
