#include "substrate/acl/AclIp6Prefix.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "tests/substrate/acl/PrefixesOfRange.h"
#include "tests/substrate/ferule/Bits.h"

namespace {

using Acl::Ip6RuleConfig;
using Acl::RuleAction;
using AclIp6Prefix::AclToIp6Prefix;
using AclIp6Prefix::Ip6AddrExt;
using AclIp6Prefix::ip6RangeToPrefixes;
using Ferule::Bits128;
using Ferule::Ip6Addr;
using Ferule::IpGenPrefixSet;
using Range = AclToIp6Prefix::Range;

const char * const kLast = "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff";

Ip6AddrExt bound( const char * text ) {
   return std::string( text ) == "end" ? Ip6AddrExt::end() : Ip6AddrExt( Ip6Addr( text ) );
}

std::string textOf( const Ip6AddrExt & a ) {
   std::ostringstream os;
   os << a;
   return os.str();
}

Ip6AddrExt plus( Ip6AddrExt a, unsigned n ) {
   while( n-- > 0 ) ++a;
   return a;
}

std::string prefixes( const Ip6AddrExt & low, const Ip6AddrExt & last ) {
   const auto pset = Quoin::makeNode<IpGenPrefixSet>();
   ip6RangeToPrefixes( low, last, pset );
   return std::string( pset->toStrep() );
}

std::string prefixes( const AclToIp6Prefix & conversion ) {
   const auto pset = Quoin::makeNode<IpGenPrefixSet>();
   for( const auto & interval : conversion.permitted() ) ip6RangeToPrefixes( interval.lower(), interval.upper() - 1, pset );
   return std::string( pset->toStrep() );
}

Ip6RuleConfig makeRule( RuleAction action, Ip6Addr address, unsigned length ) {
   return { action, { { address, uint8_t( length ) } } };
}

TEST( Ip6AddrExt, countsOneMoreThanThereAreAddresses ) {
   const struct {
      const char * lower;
      const char * upper;
   } rows[] = {
      { "::", "::1" },
      { "::fffe", "::ffff" },
      { "::ffff:ffff:ffff:ffff", "0:0:0:1::" },
      { "fffe:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ffff::" },
      { "ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe", kLast },
      { kLast, "end" },
   };
   for( const auto & row : rows ) {
      Ip6AddrExt up = bound( row.lower ), down = bound( row.upper );
      EXPECT_EQ( textOf( ++up ), row.upper );
      EXPECT_EQ( up, bound( row.upper ) );
      EXPECT_EQ( up.isEnd(), std::string( row.upper ) == "end" );
      EXPECT_EQ( textOf( down - 1 ), row.lower );
      EXPECT_EQ( textOf( down - 0 ), row.upper );
      EXPECT_EQ( textOf( --down ), row.lower );
      EXPECT_EQ( down, bound( row.lower ) );
   }
   EXPECT_EQ( textOf( bound( "end" ) - 0x10000 ), "ffff:ffff:ffff:ffff:ffff:ffff:ffff:0" );
   EXPECT_EQ( textOf( bound( "0:0:0:1::" ) - 0x10000 ), "::ffff:ffff:ffff:0" );
   EXPECT_EQ( bound( "2001:db8::1" ).address(), Ip6Addr( "2001:db8::1" ) );
}

TEST( Ip6AddrExt, isOrderedByAddressWithItsEndAboveAll ) {
   const char * const rising[] = { "::", "::1", "::ffff:ffff:ffff:ffff", "0:0:0:1::", "8000::", kLast, "end" };
   for( size_t i = 0; i < std::size( rising ); ++i )
      for( size_t k = 0; k < std::size( rising ); ++k ) {
         EXPECT_EQ( bound( rising[ i ] ) <=> bound( rising[ k ] ), i <=> k ) << rising[ i ] << ' ' << rising[ k ];
         EXPECT_EQ( bound( rising[ i ] ) == bound( rising[ k ] ), i == k ) << rising[ i ] << ' ' << rising[ k ];
      }
}

// Ends of the space, and the border between two words.
const char * const kWindows[] = { "::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffe0", "::ffff:ffff:ffff:fff0", "2001:db8::f8" };

TEST( Ip6RangeToPrefixes, givesTheFewest ) {
   for( const char * window : kWindows )
      for( unsigned low = 0; low < 32; ++low )
         for( unsigned last = low; last < 32; ++last ) {
            const Ip6AddrExt from = plus( bound( window ), low ), to = plus( bound( window ), last );
            ASSERT_EQ( prefixes( from, to ), prefixesOfRange( from.address(), to.address() ) );
         }
}

RC_GTEST_PROP( Ip6RangeToPrefixes, givesTheFewestOfAnyRange, () ) {
   for( int round = 0; round < 20; ++round ) {
      const auto [ low, last ] = std::minmax<Bits128>( { *anyBits(), *anyBits() } );
      RC_ASSERT( prefixes( Ip6Addr( low ), Ip6Addr( last ) ) == prefixesOfRange( Ip6Addr( low ), Ip6Addr( last ) ) );
   }
}

TEST( Ip6RangeToPrefixes, knowsTheEndsOfTheSpace ) {
   const struct {
      const char * name;
      const char * low;
      const char * last;
      std::string expected;
   } rows[] = {
      { "everything", "::", kLast, "{::/0}" },
      { "the first address", "::", "::", "{::/128}" },
      { "the last address", kLast, kLast, "{" + std::string( kLast ) + "/128}" },
      { "the upper half", "8000::", kLast, "{8000::/1}" },
      { "one word", "::", "::ffff:ffff:ffff:ffff", "{::/64}" },
      { "two that are no pair", "::1", "::2", "{::1/128, ::2/128}" },
      { "none", "::2", "::1", "{}" },
      { "to the end", "::", "end", "{::/0}" },
      { "the last address and the end", kLast, "end", "{" + std::string( kLast ) + "/128}" },
      { "the end", "end", "end", "{}" },
   };
   for( const auto & row : rows ) EXPECT_EQ( prefixes( bound( row.low ), bound( row.last ) ), row.expected ) << row.name;
}

TEST( Ip6RangeToPrefixesDeathTest, endsTheProcessWithoutASet ) {
   EXPECT_DEATH( ip6RangeToPrefixes( bound( "::" ), bound( "::1" ), nullptr ), "pset" );
}

TEST( AclToIp6Prefix, holdsTheWholeSpaceAtFirst ) {
   EXPECT_EQ( prefixes( AclToIp6Prefix() ), "{::/0}" );
   EXPECT_TRUE( AclToIp6Prefix().exact() );
}

TEST( AclToIp6Prefix, permitsWhatASourceSays ) {
   const std::string noMulticast = "{::/1, 8000::/2, c000::/3, e000::/4, f000::/5, f800::/6, fc00::/7, fe00::/8}";
   const struct {
      const char * name;
      const char * address;
      unsigned length;
      bool exceptSpecial;
      std::string permit;
      std::string deny;
   } rows[] = {
      { "any", "::", 0, false, "{::/0}", "{}" },
      { "an address without a mask", "2001:db8::1", 0, false, "{::/0}", "{}" },
      { "one half", "8000::", 1, false, "{8000::/1}", "{::/1}" },
      { "a network", "2000::", 3, false, "{2000::/3}", "{::/3, 4000::/2, 8000::/1}" },
      { "bits outside of the mask", "2001:db8::1", 3, false, "{2000::/3}", "{::/3, 4000::/2, 8000::/1}" },
      { "the multicast ones", "ff00::", 8, false, "{ff00::/8}", noMulticast },
      { "across the multicast ones", "fe00::", 7, false, "{fe00::/7}", "" },
      { "a host", "2001:db8::1", 128, false, "{2001:db8::1/128}", "" },
      { "a length beyond the family", "2001:db8::1", 255, false, "{2001:db8::1/128}", "" },
      { "the last host", kLast, 128, false, "{" + std::string( kLast ) + "/128}", "" },
      { "any, without multicast", "::", 0, true, noMulticast, "{}" },
      { "across the multicast ones, without them", "fe00::", 7, true, "{fe00::/8}", "" },
      { "the multicast ones themselves", "ff00::", 8, true, "{ff00::/8}", noMulticast },
      { "among the multicast ones", "ff02::5", 128, true, "{ff02::5/128}", "" },
      { "not among them", "8000::", 2, true, "{8000::/2}", "{::/1, c000::/3, e000::/4, f000::/5, f800::/6, fc00::/7, fe00::/8}" },
   };
   for( const auto & row : rows ) {
      AclToIp6Prefix conversion;
      conversion.handleRule( makeRule( RuleAction::permit, Ip6Addr( row.address ), row.length ), row.exceptSpecial );
      EXPECT_EQ( prefixes( conversion ), row.permit ) << row.name;
      EXPECT_TRUE( conversion.exact() ) << row.name;
      if( row.deny.empty() ) continue;
      conversion.handleRule( makeRule( RuleAction::deny, Ip6Addr( row.address ), row.length ), row.exceptSpecial );
      EXPECT_EQ( prefixes( conversion ), row.deny ) << row.name;
   }
}

// Every address of a window of 256: all of the space that the conversion knows.
RC_GTEST_PROP( AclToIp6Prefix, permitsEachAddressAsTheRuleSays, () ) {
   const Ip6AddrExt window =
      bound( *rc::gen::element( "::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ff00", "::ffff:ffff:ffff:ff80", "2001:db8::80" ) );
   for( int round = 0; round < 5; ++round ) {
      const unsigned at = *rc::gen::inRange( 0u, 256u ),
                     length = *rc::gen::oneOf( rc::gen::inRange( 118u, 130u ), rc::gen::inRange( 0u, 256u ) );
      const unsigned specialLow = *rc::gen::inRange( 0u, 256u ), specialHigh = *rc::gen::inRange( specialLow, 257u );
      const unsigned flipped = *rc::gen::element( 255u, 0u, 63u, 64u, 127u );   // 255: none
      const Bits128 inside = plus( window, at ).address().bits();
      const Ip6Addr address( flipped < 128 ? withBitFlipped( inside, flipped ) : inside );
      const Ip6RuleConfig rule = makeRule( *rc::gen::element( RuleAction::permit, RuleAction::deny ), address, length );
      const bool exceptSpecial = *rc::gen::arbitrary<bool>();
      const auto matches = [ & ]( const Ip6AddrExt & a ) {
         for( unsigned i = 0; i < std::min( length, 128u ); ++i )
            if( bitAt( a.address().bits(), i ) != bitAt( address.bits(), i ) ) return false;
         return true;
      };
      // All that it matches is special if so much is: of the whole space, an interval, with a size by its length.
      uint64_t specials = 0;
      for( unsigned i = specialLow; i < specialHigh; ++i ) specials += matches( plus( window, i ) );
      const bool liesInSpecial = length >= 120 && specials == uint64_t( 1 ) << ( 128 - std::min( length, 128u ) );

      AclToIp6Prefix conversion( Range::right_open( window, plus( window, 256 ) ),
                                 Range::right_open( plus( window, specialLow ), plus( window, specialHigh ) ) );
      conversion.handleRule( rule, exceptSpecial );
      auto interval = conversion.permitted().begin();
      const auto end = conversion.permitted().end();
      for( unsigned i = 0; i < 256; ++i ) {
         const Ip6AddrExt a = plus( window, i );
         if( interval != end && interval->upper() == a ) ++interval;
         const bool permitted = interval != end && interval->lower() <= a;
         const bool left = exceptSpecial && !liesInSpecial && i >= specialLow && i < specialHigh;
         RC_ASSERT( permitted == ( !left && matches( a ) == ( rule.action == RuleAction::permit ) ) );
      }
      if( interval != end ) {
         RC_ASSERT( interval->upper() == plus( window, 256 ) );
         RC_ASSERT( ++interval == end );
      }
   }
}

}   // namespace
