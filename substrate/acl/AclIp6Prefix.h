/// @file substrate/acl/AclIp6Prefix.h
/// Converts a rule of an IPv6 access list into the prefixes that the rule permits. It is the IPv6 form of AclPrefix.h.
/// Threading: plain values.
#pragma once

#include <cstdint>
#include <ostream>

#include "routepolicy_export.h"
#include "substrate/acl/AclPrefix.h"

namespace AclIp6Prefix {

/// An IPv6 address, or the end position after the last address. Text: the address, or "end".
class Ip6AddrExt {
 public:
   constexpr Ip6AddrExt() noexcept = default;   // ::
   constexpr Ip6AddrExt( const Ferule::Ip6Addr & a ) noexcept : bits_( a.bits() ) {}
   /// The position after the last address.
   static constexpr Ip6AddrExt end() noexcept {
      Ip6AddrExt e;
      e.isEnd_ = true;
      return e;
   }

   constexpr bool isEnd() const noexcept { return isEnd_; }
   constexpr Ferule::Ip6Addr address() const noexcept { return Ferule::Ip6Addr( bits_ ); }   // meaningful before the end only

   /// The next position. Must not be called at the end; the subtractions must not go below `::`.
   constexpr Ip6AddrExt & operator++() noexcept {
      if( ++bits_.low == 0 && ++bits_.high == 0 ) isEnd_ = true;
      return *this;
   }
   constexpr Ip6AddrExt & operator--() noexcept { return *this = *this - 1; }
   friend constexpr Ip6AddrExt operator-( Ip6AddrExt a, uint64_t n ) noexcept {
      if( a.bits_.low < n && a.bits_.high-- == 0 ) a.isEnd_ = false;
      a.bits_.low -= n;
      return a;
   }
   friend constexpr auto operator<=>( const Ip6AddrExt &, const Ip6AddrExt & ) = default;

 private:
   bool isEnd_ = false;   // first, for the order
   Ferule::Bits128 bits_;
};
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Ip6AddrExt & a );

/// The conversion for IPv6. It is always exact, since IPv6 masks have no gaps.
class AclToIp6Prefix final : public AclPrefix::PermittedIntervals<Ip6AddrExt> {
 public:
   using Bound = Ip6AddrExt;

   /// The space is all addresses; the special range is multicast, ff00::/8.
   AclToIp6Prefix()
         : AclToIp6Prefix( Range::right_open( Bound(), Bound::end() ),
                           Range::right_open( Ferule::Ip6Addr( Ferule::Bits128{ 0xffull << 56, 0 } ), Bound::end() ) ) {}
   /// Addresses outside of `space` are never permitted.
   AclToIp6Prefix( const Range & space, const Range & special ) : PermittedIntervals( space, special ) {}

   /// As AclPrefix::AclToPrefix::handleRule().
   ROUTEPOLICY_API void handleRule( const Acl::Ip6RuleConfig & rule, bool exceptSpecial );
};

/// As AclPrefix::ip4RangeToPrefixes().
ROUTEPOLICY_API void ip6RangeToPrefixes( const Ip6AddrExt & low, const Ip6AddrExt & last, const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset );

}   // namespace AclIp6Prefix
