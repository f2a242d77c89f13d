#include "substrate/ferule/IpPrefix.h"

#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/quoin/Exception.h"
#include "tests/substrate/ferule/Bits.h"

namespace {

using namespace std::string_view_literals;
using Ferule::AddressFamily;
using Ferule::Bits128;
using Ferule::Ip6Addr;
using Ferule::Ip6Prefix;
using Ferule::IpAddr;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefix;
using Ferule::IpPrefix;

/// Of any length, and half of them of one that fits the family.
rc::Gen<IpGenPrefix> anyPrefix() {
   return rc::gen::map( rc::gen::pair( anyIpGenAddr(), rc::gen::inRange( 0u, 512u ) ), []( const auto & p ) {
      const auto & [ address, n ] = p;
      return IpGenPrefix( address, uint8_t( n < 256 ? n : n % ( addressBits( address.af() ) + 1u ) ) );
   } );
}

TEST( IpGenPrefix, readsAndPrints ) {
   const struct {
      const char * text;
      const char * address;
      unsigned length;
      const char * printed;
   } rows[] = {
      { "0.0.0.0/0", "0.0.0.0", 0, "0.0.0.0/0" },
      { "10.0.0.0/8", "10.0.0.0", 8, "10.0.0.0/8" },
      { "10.1.2.3/8", "10.1.2.3", 8, "10.1.2.3/8" },   // bits behind the length stay
      { "10.1.2.3/32", "10.1.2.3", 32, "10.1.2.3/32" },
      { "10.1.2.3", "10.1.2.3", 32, "10.1.2.3/32" },
      { "10.1.2.0/024", "10.1.2.0", 24, "10.1.2.0/24" },
      { "::/0", "::", 0, "::/0" },
      { "2001:DB8::/32", "2001:db8::", 32, "2001:db8::/32" },
      { "2001:db8::1/128", "2001:db8::1", 128, "2001:db8::1/128" },
      { "2001:db8::1", "2001:db8::1", 128, "2001:db8::1/128" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.text );
      const IpGenPrefix p( row.text );
      EXPECT_EQ( p.ipGenAddr(), IpGenAddr( row.address ) );
      EXPECT_EQ( p.af(), p.ipGenAddr().af() );
      EXPECT_EQ( p.length(), row.length );
      EXPECT_EQ( p.toStrep(), row.printed );
      std::ostringstream os;
      os << std::hex << p;
      EXPECT_EQ( os.str(), row.printed );
   }
}

TEST( IpPrefix, printsEveryLengthThatItHolds ) {
   EXPECT_EQ( ( IpPrefix{ IpAddr( "10.1.2.3" ), 8 } ).toStrep(), "10.1.2.3/8" );
   EXPECT_EQ( ( IpPrefix{ IpAddr( "10.1.2.3" ), 255 } ).toStrep(), "10.1.2.3/255" );   // not judged here
   EXPECT_EQ( ( Ip6Prefix{ Ip6Addr( "a00::1" ), 65 } ).toStrep(), "a00::1/65" );       // not the letter of that code
   EXPECT_EQ( IpPrefix().toStrep(), "0.0.0.0/0" );
   EXPECT_EQ( Ip6Prefix().toStrep(), "::/0" );
}

TEST( IpGenPrefix, refusesWhatIsNone ) {
   const struct {
      const char * name;
      std::string_view text;
   } rows[] = {
      { "no text at all", std::string_view() },
      { "empty", "" },
      { "slash alone", "/" },
      { "no address", "/8" },
      { "no length", "10.0.0.0/" },
      { "length beyond IPv4", "10.0.0.0/33" },
      { "length beyond IPv6", "::/129" },
      { "length beyond a byte", "::/256" },
      { "length beyond all", "::/99999999999999999999999" },
      { "negative length", "10.0.0.0/-1" },
      { "plus", "10.0.0.0/+8" },
      { "two lengths", "10.0.0.0/8/8" },
      { "a mask", "10.0.0.0/255.0.0.0" },
      { "blank before the length", "10.0.0.0/ 8" },
      { "blank behind", "10.0.0.0/8 " },
      { "blank before the slash", "10.0.0.0 /8" },
      { "short address", "10/8" },
      { "a zero byte before the slash", "10.0.0.0\0/8"sv },
      { "a zero byte behind", "10.0.0.0/8\0"sv },
      { "of no family", "unset" },
   };
   for( const auto & row : rows ) EXPECT_THROW( IpGenPrefix{ row.text }, Quoin::RangeException ) << row.name;
   EXPECT_THROW( IpGenPrefix( "10.0.0.0/" + std::string( 1 << 20, '1' ) ), Quoin::RangeException );
   EXPECT_THROW( IpGenPrefix( std::string( 1 << 20, '/' ) ), Quoin::RangeException );
}

TEST( IpGenPrefix, isMadeOfItsParts ) {
   const IpAddr v4( "10.1.2.3" );
   const Ip6Addr v6( "2001:db8::1" );
   EXPECT_EQ( IpGenPrefix( v4, 24 ), IpGenPrefix( "10.1.2.3/24" ) );
   EXPECT_EQ( IpGenPrefix( Ip6Prefix{ v6, 48 } ), IpGenPrefix( "2001:db8::1/48" ) );
   EXPECT_EQ( IpGenPrefix( IpGenAddr( v6 ), 48 ), IpGenPrefix( "2001:db8::1/48" ) );
   EXPECT_EQ( IpGenPrefix{ IpGenAddr( v4 ) }, IpGenPrefix( "10.1.2.3/32" ) );
   EXPECT_EQ( IpGenPrefix{ IpGenAddr( v6 ) }, IpGenPrefix( "2001:db8::1/128" ) );
   EXPECT_EQ( IpGenPrefix{ IpGenAddr() }, IpGenPrefix() );
   EXPECT_EQ( IpGenPrefix( "10.1.2.3/24" ).v4Prefix(), ( IpPrefix{ v4, 24 } ) );
   EXPECT_EQ( IpGenPrefix( "2001:db8::1/48" ).v6Prefix(), ( Ip6Prefix{ v6, 48 } ) );
}

TEST( IpGenPrefix, isOfNoFamilyUntilItHasOne ) {
   constexpr IpGenPrefix none;
   EXPECT_EQ( none.af(), AddressFamily::unset );
   EXPECT_EQ( none.length(), 0 );
   EXPECT_EQ( none.toStrep(), "unset" );
   EXPECT_EQ( none.subnet(), none );
}

TEST( IpGenPrefix, hashSpreads ) {
   std::set<uint32_t> hashes;
   for( const auto & address : { IpGenAddr( "10.0.0.0" ), IpGenAddr( "a00::" ) } )
      for( unsigned length = 0; length <= 128; ++length ) hashes.insert( IpGenPrefix( address, uint8_t( length ) ).hash() );
   EXPECT_EQ( hashes.size(), 2u * 129 );
}

// What stands behind the length, for every address and length, bit by bit.
RC_GTEST_PROP( IpGenPrefix, subnetClearsWhatStandsBehindTheLength, () ) {
   const auto p = *rc::gen::oneOf( anyPrefix(), rc::gen::map( anyIpGenAddr(), []( const IpGenAddr & a ) {
                                      return IpGenPrefix( a, uint8_t( kLengths[ a.bits().low % kLengths.size() ] ) );
                                   } ) );
   const auto subnet = p.subnet();
   bool canonical = p.length() <= addressBits( p.af() );
   for( unsigned i = 0; i < 128; ++i ) {
      RC_ASSERT( bitAt( subnet.ipGenAddr().bits(), i ) == ( i < p.length() && bitAt( p.ipGenAddr().bits(), i ) ) );
      canonical &= i < p.length() || !bitAt( p.ipGenAddr().bits(), i );
   }
   RC_ASSERT( p.isCanonical() == canonical );
   RC_ASSERT( subnet.af() == p.af() );
   if( p.af() != AddressFamily::unset ) {
      RC_ASSERT( subnet.length() == p.length() );
      RC_ASSERT( subnet.isCanonical() == ( p.length() <= addressBits( p.af() ) ) );
   }
   RC_ASSERT( ( subnet == p ) == ( canonical || ( subnet.ipGenAddr() == p.ipGenAddr() && subnet.length() == p.length() ) ) );
}

TEST( Ip6Prefix, containsWhatAgreesInTheLeadingBits ) {
   const Ip6Addr base( Bits128{ 0x20010db800000001, 0x8000000000000001 } );
   for( unsigned length : kLengths ) {
      const Ip6Prefix prefix{ base, uint8_t( length ) };
      EXPECT_TRUE( prefix.contains( base ) ) << length;
      for( unsigned bit = 0; bit < 128; ++bit )
         EXPECT_EQ( prefix.contains( Ip6Addr( withBitFlipped( base.bits(), bit ) ) ), bit >= length ) << length << ' ' << bit;
   }
}

RC_GTEST_PROP( IpGenPrefix, hashAgreesWithEquality, () ) {
   const auto a = *anyPrefix();
   const auto b = *rc::gen::oneOf( rc::gen::just( a ), rc::gen::just( a.subnet() ), anyPrefix() );
   RC_ASSERT( ( a == b ) == ( a.ipGenAddr() == b.ipGenAddr() && a.length() == b.length() ) );
   RC_ASSERT( IpGenPrefix::isEq( &a, &b ) == ( a == b ) );
   RC_ASSERT( ( a < b ) == ( a.ipGenAddr() != b.ipGenAddr() ? a.ipGenAddr() < b.ipGenAddr() : a.length() < b.length() ) );
   if( a == b ) { RC_ASSERT( a.hash() == b.hash() ); }
}

// The prefixes of one family, as the general one of the same parts.
RC_GTEST_PROP( IpGenPrefix, comparesHashesAndPrintsLikeThePrefixOfItsFamily, () ) {
   const auto agrees = []( const auto & one, const auto & two ) {
      using Prefix = std::decay_t<decltype( one )>;
      const IpGenPrefix a( one.address, one.length ), b( two.address, two.length );
      std::ostringstream os;
      os << std::hex << one;
      RC_ASSERT( Prefix::isEq( &one, &two ) == ( a == b ) );
      RC_ASSERT( one.hash() == a.hash() );
      RC_ASSERT( one.toStrep() == a.toStrep() );
      RC_ASSERT( os.str() == std::string( a.toStrep() ) );
   };
   const auto p = *anyPrefix();
   const auto q = *rc::gen::oneOf( rc::gen::just( p ), rc::gen::just( p.subnet() ), anyPrefix() );
   agrees( p.v4Prefix(), q.v4Prefix() );
   agrees( p.v6Prefix(), q.v6Prefix() );
}

RC_GTEST_PROP( IpGenPrefix, whatItPrintsReadsAsTheSameValue, () ) {
   const auto p = *anyPrefix();
   RC_PRE( p.af() != AddressFamily::unset );
   const auto read = tryParse<IpGenPrefix>( p.toStrep() );
   RC_ASSERT( read.has_value() == ( p.length() <= addressBits( p.af() ) ) );
   if( read ) { RC_ASSERT( *read == p ); }
}

RC_GTEST_PROP( IpGenPrefix, anyBytesAreAnAddressAndALengthOrARangeFault, () ) {
   for( const auto & text : *rc::gen::container<std::vector<std::string>>( anyText() ) ) {
      const auto slash = text.find( '/' );
      const auto address = tryParse<IpGenAddr>( std::string_view( text ).substr( 0, slash ) );
      bool valid = address.has_value();
      unsigned length = address ? addressBits( address->af() ) : 0;
      if( slash != text.npos ) {
         const std::string digits = text.substr( slash + 1 );
         valid &= !digits.empty() && digits.find_first_not_of( "0123456789" ) == digits.npos && std::stold( digits ) <= length;
         if( valid ) length = unsigned( std::stoul( digits ) );
      }
      const auto prefix = tryParse<IpGenPrefix>( text );
      RC_ASSERT( prefix.has_value() == valid );
      if( prefix ) {
         RC_ASSERT( *prefix == IpGenPrefix( *address, uint8_t( length ) ) );
         RC_ASSERT( IpGenPrefix( prefix->toStrep() ) == *prefix );
      }
   }
}

}   // namespace
