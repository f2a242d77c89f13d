#include "policy/NexthopPrefixMatcher.h"

#include <cstdint>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Ferule::AddressFamily;
using Ferule::Bits128;
using Ferule::Ip6Addr;
using Ferule::Ip6Prefix;
using Ferule::IpAddr;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefix;
using Quoin::makeNode;

bool matches( const IpGenPrefix & prefix, const IpGenAddr & nexthop ) {
   MatchInput_ input;
   input.nexthopIs( nexthop );
   return Fixtures::matches( *makeNode<NexthopPrefixMatcher>( prefix ), input );
}

TEST( NexthopPrefixMatcher, matchesWhatLiesInThePrefix ) {
   const struct {
      const char * name;
      IpGenPrefix prefix;
      IpGenAddr nexthop;
      bool match;
   } rows[] = {
      { "first address of an IPv4 prefix", IpGenPrefix( "10.0.0.0/8" ), IpGenAddr( "10.0.0.0" ), true },
      { "last address of an IPv4 prefix", IpGenPrefix( "10.0.0.0/8" ), IpGenAddr( "10.255.255.255" ), true },
      { "one below an IPv4 prefix", IpGenPrefix( "10.0.0.0/8" ), IpGenAddr( "9.255.255.255" ), false },
      { "one above an IPv4 prefix", IpGenPrefix( "10.0.0.0/8" ), IpGenAddr( "11.0.0.0" ), false },
      { "length 0 and an IPv4 next hop", IpGenPrefix( "0.0.0.0/0" ), IpGenAddr( "203.0.113.9" ), true },
      { "length 0 over an address that is not zero", IpGenPrefix( IpAddr( "10.0.0.0" ), 0 ), IpGenAddr( "203.0.113.9" ), true },
      { "length 33 matches every IPv4 next hop", IpGenPrefix( IpAddr( "10.0.0.0" ), 33 ), IpGenAddr( "203.0.113.9" ), true },
      { "length 255 too", IpGenPrefix( IpAddr( "10.0.0.0" ), 255 ), IpGenAddr( "203.0.113.9" ), true },
      { "but no IPv6 one", IpGenPrefix( IpAddr( "10.0.0.0" ), 33 ), IpGenAddr( "2001:db8::" ), false },
      { "an IPv6 prefix and an IPv4 next hop", IpGenPrefix( "::/0" ), IpGenAddr( "10.0.0.1" ), false },
      { "an IPv4 prefix and an IPv6 next hop", IpGenPrefix( "0.0.0.0/0" ), IpGenAddr( "2001:db8::" ), false },
      { "length 0 and an IPv6 next hop", IpGenPrefix( "::/0" ), IpGenAddr( "ff02::1" ), true },
      { "last address of an IPv6 prefix", IpGenPrefix( "2001:db8::/63" ), IpGenAddr( "2001:db8:0:1:ffff:ffff:ffff:ffff" ), true },
      { "one above an IPv6 prefix", IpGenPrefix( "2001:db8::/63" ), IpGenAddr( "2001:db8:0:2::" ), false },
      { "IPv6 beyond the first half", IpGenPrefix( "2001:db8::/65" ), IpGenAddr( "2001:db8:0:0:8000::" ), false },
      { "the full length of IPv6", IpGenPrefix( "2001:db8::1/128" ), IpGenAddr( "2001:db8::" ), false },
      { "an IPv4 prefix and no next hop", IpGenPrefix( "0.0.0.0/0" ), IpGenAddr(), false },
      { "an IPv6 prefix and no next hop", IpGenPrefix( "::/0" ), IpGenAddr(), false },
      { "no prefix and an IPv4 next hop", IpGenPrefix(), IpGenAddr( "0.0.0.0" ), false },
      { "unset on both sides", IpGenPrefix(), IpGenAddr(), false },
   };
   for( const auto & row : rows ) EXPECT_EQ( matches( row.prefix, row.nexthop ), row.match ) << row.name;
}

TEST( NexthopPrefixMatcher, everyFlippedBitOfIpv4CountsExactlyWithinTheLength ) {
   const uint32_t address = 0xa5c3960f;
   for( unsigned length = 0; length <= 255; ++length ) {
      const IpGenPrefix prefix{ IpAddr( address ), uint8_t( length ) };
      EXPECT_TRUE( matches( prefix, IpAddr( address ) ) ) << length;
      for( unsigned bit = 0; bit < 32; ++bit ) {
         const bool outside = length > 32 || bit >= length;
         ASSERT_EQ( matches( prefix, IpAddr( address ^ 0x80000000u >> bit ) ), outside ) << "length " << length << ", bit " << bit;
      }
   }
}

TEST( NexthopPrefixMatcher, everyFlippedBitOfIpv6CountsExactlyWithinTheLength ) {
   const Bits128 address{ 0xa5c3960f12345678, 0x9abcdef00fedcba9 };
   for( unsigned length = 0; length <= 128; ++length ) {
      const Ip6Prefix prefix{ Ip6Addr( address ), uint8_t( length ) };
      for( unsigned bit = 0; bit < 128; ++bit ) {
         const Bits128 flipped = address ^ ( bit < 64 ? Bits128{ 1ull << ( 63 - bit ), 0 } : Bits128{ 0, 1ull << ( 127 - bit ) } );
         ASSERT_EQ( matches( prefix, Ip6Addr( flipped ) ), bit >= length ) << "length " << length << ", bit " << bit;
      }
   }
}

TEST( NexthopPrefixMatcher, anUnknownFamilyOnBothSidesMatchesNothing ) {
   const IpGenAddr unknown( AddressFamily( 7 ) );
   EXPECT_FALSE( matches( IpGenPrefix( unknown, 0 ), unknown ) );
}

TEST( NexthopPrefixMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      IpGenAddr getNexthop() const override { return IpGenAddr( "10.0.0.1" ); }
   } input;
   input.nexthopIs( IpGenAddr( "11.0.0.1" ) );
   EXPECT_TRUE( Fixtures::matches( *makeNode<NexthopPrefixMatcher>( IpGenPrefix( "10.0.0.0/8" ) ), input ) );
   EXPECT_FALSE( Fixtures::matches( *makeNode<NexthopPrefixMatcher>( IpGenPrefix( "11.0.0.0/8" ) ), input ) );
}

TEST( NexthopPrefixMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<NexthopPrefixMatcher>( IpGenPrefix( "10.16.0.0/12" ) );
   EXPECT_EQ( matcher->prefix(), IpGenPrefix( "10.16.0.0/12" ) );
   EXPECT_EQ( matcher->toStrep(), "NexthopPrefixMatcher prefix 10.16.0.0/12" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "NexthopPrefixMatcher prefix 10.16.0.0/12" );
   EXPECT_EQ( makeNode<NexthopPrefixMatcher>( IpGenPrefix( "2001:db8::/32" ) )->toStrep(), "NexthopPrefixMatcher prefix 2001:db8::/32" );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
