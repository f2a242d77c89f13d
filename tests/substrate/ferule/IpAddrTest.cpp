#include "substrate/ferule/IpAddr.h"

#include <arpa/inet.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/quoin/Exception.h"
#include "tests/substrate/ferule/Bits.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Ferule::AddressFamily;
using Ferule::Bits128;
using Ferule::Ip6Addr;
using Ferule::IpAddr;
using Ferule::IpGenAddr;

template <class T>
std::string streamed( const T & value ) {
   std::ostringstream os;
   os << std::hex << value;
   return os.str();
}

/// The bytes that the system makes of a text, if any; it knows no text with a zero byte in it.
std::optional<std::vector<unsigned char>> systemBytes( int family, const std::string & text ) {
   std::vector<unsigned char> bytes( family == AF_INET ? 4 : 16 );
   if( text.find( '\0' ) != text.npos || inet_pton( family, text.c_str(), bytes.data() ) != 1 ) return std::nullopt;
   return bytes;
}

std::vector<unsigned char> bytesOf( Bits128 bits, unsigned count ) {
   std::vector<unsigned char> bytes( count );
   for( unsigned i = 0; i < 8 * count; ++i ) bytes[ i / 8 ] = static_cast<unsigned char>( bytes[ i / 8 ] << 1 | bitAt( bits, i ) );
   return bytes;
}

TEST( Bits128, leadingOnesAreThatMany ) {
   for( unsigned length = 0; length <= 300; ++length ) {
      const Bits128 mask = Bits128::leadingOnes( length );
      for( unsigned i = 0; i < 128; ++i ) ASSERT_EQ( bitAt( mask, i ), i < length ) << "length " << length << ", bit " << i;
   }
}

RC_GTEST_PROP( Bits128, operatesBitByBit, () ) {
   const auto a = *anyBits(), b = *anyBits();
   for( unsigned i = 0; i < 128; ++i ) {
      RC_ASSERT( bitAt( a & b, i ) == ( bitAt( a, i ) && bitAt( b, i ) ) );
      RC_ASSERT( bitAt( a ^ b, i ) == ( bitAt( a, i ) != bitAt( b, i ) ) );
      RC_ASSERT( bitAt( ~a, i ) == !bitAt( a, i ) );
   }
   unsigned differ = 0;   // the first bit in which they differ decides
   while( differ < 128 && bitAt( a, differ ) == bitAt( b, differ ) ) ++differ;
   RC_ASSERT( ( a == b ) == ( differ == 128 ) );
   RC_ASSERT( ( a < b ) == ( differ < 128 && bitAt( b, differ ) ) );
   RC_ASSERT( ( a ^ b ).none() == ( a == b ) );
}

TEST( IpAddr, readsAndPrintsDottedDecimal ) {
   const struct {
      const char * text;
      uint32_t value;
   } rows[] = { { "0.0.0.0", 0 },
                { "10.1.2.3", 0x0a010203 },
                { "127.0.0.1", 0x7f000001 },
                { "128.0.0.0", 0x80000000 },
                { "255.255.255.255", 0xffffffff } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.text );
      const IpAddr a( row.text );
      EXPECT_EQ( a.value(), row.value );
      EXPECT_EQ( a, IpAddr( row.value ) );
      EXPECT_EQ( a.toStrep(), row.text );
      EXPECT_EQ( streamed( a ), row.text );
   }
   EXPECT_EQ( IpAddr(), IpAddr( "0.0.0.0" ) );
}

TEST( IpAddr, refusesWhatIsNone ) {
   const struct {
      const char * name;
      std::string_view text;
   } rows[] = {
      { "no text at all", std::string_view() },
      { "empty", "" },
      { "three parts", "10.1.2" },
      { "five parts", "10.1.2.3.4" },
      { "one number", "167838211" },
      { "part above 255", "10.1.2.256" },
      { "huge part", "10.1.2.99999999999999999999" },
      { "leading zero", "10.1.2.03" },
      { "empty part", "10..2.3" },
      { "dot behind", "10.1.2.3." },
      { "dot before", ".10.1.2.3" },
      { "blank before", " 10.1.2.3" },
      { "blank behind", "10.1.2.3 " },
      { "minus", "-10.1.2.3" },
      { "hexadecimal", "0x0a.1.2.3" },
      { "letters", "localhost" },
      { "a length", "10.1.2.3/32" },
      { "IPv6", "::" },
      { "a zero byte behind", "10.1.2.3\0"sv },
      { "a zero byte and more", "10.1.2.3\0.4"sv },
      { "a zero byte alone", "\0"sv },
      { "no ASCII", "10.1.2.\xb3" },
   };
   for( const auto & row : rows ) EXPECT_THROW( IpAddr{ row.text }, Quoin::RangeException ) << row.name;
}

TEST( IpAddr, readsAPartOfALongerText ) {
   EXPECT_EQ( IpAddr( "10.1.2.34"sv.substr( 0, 8 ) ), IpAddr( "10.1.2.3" ) );
   EXPECT_EQ( Ip6Addr( "2001:db8::12"sv.substr( 0, 11 ) ), Ip6Addr( "2001:db8::1" ) );
}

TEST( Ip6Addr, readsEveryFormAndPrintsTheShortOne ) {
   const struct {
      const char * text;
      Bits128 bits;
      const char * printed;
   } rows[] = {
      { "::", { 0, 0 }, "::" },
      { "::1", { 0, 1 }, "::1" },
      { "1::", { 0x0001000000000000, 0 }, "1::" },
      { "2001:DB8::00a0", { 0x20010db800000000, 0xa0 }, "2001:db8::a0" },
      { "1:2:3:4:5:6:7:8", { 0x0001000200030004, 0x0005000600070008 }, "1:2:3:4:5:6:7:8" },
      { "::ffff:10.1.2.3", { 0, 0xffff0a010203 }, "::ffff:10.1.2.3" },
      { "ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255", { ~uint64_t( 0 ), ~uint64_t( 0 ) }, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.text );
      const Ip6Addr a( row.text );
      EXPECT_EQ( a.bits(), row.bits );
      EXPECT_EQ( a, Ip6Addr( row.bits ) );
      EXPECT_EQ( a.toStrep(), row.printed );
      EXPECT_EQ( streamed( a ), row.printed );
   }
   EXPECT_EQ( Ip6Addr(), Ip6Addr( "::" ) );
}

TEST( Ip6Addr, refusesWhatIsNone ) {
   const struct {
      const char * name;
      std::string_view text;
   } rows[] = {
      { "no text at all", std::string_view() },
      { "empty", "" },
      { "one colon", ":" },
      { "three colons", ":::" },
      { "two gaps", "1::2::3" },
      { "seven parts", "1:2:3:4:5:6:7" },
      { "nine parts", "1:2:3:4:5:6:7:8:9" },
      { "five digits", "12345::" },
      { "no digit", "g::" },
      { "colon behind", "1:2:3:4:5:6:7:8:" },
      { "a zone", "fe80::1%eth0" },
      { "brackets", "[::1]" },
      { "a length", "::/0" },
      { "IPv4", "10.1.2.3" },
      { "IPv4 part above 255", "::ffff:10.1.2.256" },
      { "blank behind", "::1 " },
      { "a zero byte behind", "::1\0"sv },
      { "a zero byte and more", "::1\0:2"sv },
      { "one byte longer than any address", "0ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255" },
   };
   for( const auto & row : rows ) EXPECT_THROW( Ip6Addr{ row.text }, Quoin::RangeException ) << row.name;
}

TEST( IpGenAddr, takesTheFamilyFromTheText ) {
   const struct {
      const char * text;
      AddressFamily af;
   } rows[] = { { "10.1.2.3", AddressFamily::ipv4 },
                { "::ffff:10.1.2.3", AddressFamily::ipv6 },
                { "::", AddressFamily::ipv6 },
                { "0.0.0.0", AddressFamily::ipv4 } };
   for( const auto & row : rows ) {
      const IpGenAddr a( row.text );
      EXPECT_EQ( a.af(), row.af ) << row.text;
      EXPECT_EQ( a.toStrep(), row.text );
      EXPECT_EQ( streamed( a ), row.text );
   }
   EXPECT_THROW( IpGenAddr( "unset"sv ), Quoin::RangeException );
   EXPECT_THROW( IpGenAddr( ""sv ), Quoin::RangeException );
}

TEST( IpGenAddr, isOfNoFamilyUntilItHasOne ) {
   constexpr IpGenAddr a;
   EXPECT_EQ( a.af(), AddressFamily::unset );
   EXPECT_EQ( a.toStrep(), "unset" );
   EXPECT_EQ( streamed( a ), "unset" );
   EXPECT_EQ( a, IpGenAddr( AddressFamily::unset ) );
   EXPECT_EQ( IpGenAddr( AddressFamily::ipv4 ), IpGenAddr( "0.0.0.0" ) );
   EXPECT_EQ( IpGenAddr( AddressFamily::ipv6 ), IpGenAddr( "::" ) );
}

TEST( IpGenAddr, holdsAnAddressOfEitherFamily ) {
   const IpGenAddr v4 = IpAddr( "10.1.2.3" ), v6 = Ip6Addr( "2001:db8::1" );
   EXPECT_EQ( v4.af(), AddressFamily::ipv4 );
   EXPECT_EQ( v4.v4Addr(), IpAddr( "10.1.2.3" ) );
   EXPECT_EQ( v4.bits(), ( Bits128{ 0x0a01020300000000, 0 } ) );
   EXPECT_EQ( v6.af(), AddressFamily::ipv6 );
   EXPECT_EQ( v6.v6Addr(), Ip6Addr( "2001:db8::1" ) );
   EXPECT_EQ( v6.bits(), ( Bits128{ 0x20010db800000000, 1 } ) );
}

TEST( IpGenAddr, hashSpreads ) {
   std::set<uint32_t> hashes{ IpGenAddr().hash(), IpGenAddr( AddressFamily::ipv4 ).hash(), IpGenAddr( AddressFamily::ipv6 ).hash() };
   for( unsigned i = 0; i < 128; ++i ) hashes.insert( IpGenAddr( Ip6Addr( withBitFlipped( {}, i ) ) ).hash() );
   for( unsigned i = 0; i < 32; ++i ) hashes.insert( IpGenAddr( IpAddr( uint32_t( 1 ) << i ) ).hash() );
   EXPECT_GT( hashes.size(), 160u );   // of 163: two may meet
}

RC_GTEST_PROP( IpGenAddr, comparesAsFamilyAndBits, () ) {
   const auto a = *anyIpGenAddr();
   const auto b = *rc::gen::oneOf( rc::gen::just( a ), anyIpGenAddr() );
   RC_ASSERT( ( a == b ) == ( a.af() == b.af() && a.bits() == b.bits() ) );
   RC_ASSERT( ( a < b ) == ( a.af() != b.af() ? a.af() < b.af() : a.bits() < b.bits() ) );
   RC_ASSERT( IpGenAddr::isEq( &a, &b ) == ( a == b ) );
   if( a == b ) { RC_ASSERT( a.hash() == b.hash() ); }
}

// The two addresses of one family, as the general one with the same bits.
RC_GTEST_PROP( IpGenAddr, comparesAndHashesLikeTheAddressOfItsFamily, () ) {
   const auto a = *anyBits();
   const auto b =
      *rc::gen::oneOf( rc::gen::just( a ), anyBits(),
                       rc::gen::map( rc::gen::inRange( 0u, 128u ), [ a ]( unsigned bit ) { return withBitFlipped( a, bit ); } ) );
   const Ip6Addr v6( a ), other6( b );
   RC_ASSERT( Ip6Addr::isEq( &v6, &other6 ) == ( a == b ) );
   RC_ASSERT( v6.hash() == IpGenAddr( v6 ).hash() );
   const IpAddr v4( uint32_t( a.high >> 32 ) ), other4( uint32_t( b.high >> 32 ) );
   RC_ASSERT( IpAddr::isEq( &v4, &other4 ) == ( a.high >> 32 == b.high >> 32 ) );
   RC_ASSERT( v4.hash() == IpGenAddr( v4 ).hash() );
}

RC_GTEST_PROP( IpGenAddr, whatItPrintsReadsAsTheSameValue, () ) {
   const auto a = *anyIpGenAddr();
   RC_PRE( a.af() != AddressFamily::unset );
   const std::string text( a.toStrep() );
   RC_ASSERT( IpGenAddr( text ) == a );
   if( a.af() == AddressFamily::ipv4 ) {
      RC_ASSERT( IpAddr( text ) == a.v4Addr() );
      RC_ASSERT( std::string( a.v4Addr().toStrep() ) == text );
      RC_ASSERT( systemBytes( AF_INET, text ) == bytesOf( a.bits(), 4 ) );
   } else {
      RC_ASSERT( Ip6Addr( text ) == a.v6Addr() );
      RC_ASSERT( std::string( a.v6Addr().toStrep() ) == text );
      RC_ASSERT( systemBytes( AF_INET6, text ) == bytesOf( a.bits(), 16 ) );
   }
}

RC_GTEST_PROP( IpGenAddr, anyBytesAreWhatTheSystemTakesThemForOrARangeFault, () ) {
   for( const auto & text : *rc::gen::container<std::vector<std::string>>( anyText() ) ) {
      const auto v4 = tryParse<IpAddr>( text );
      const auto v6 = tryParse<Ip6Addr>( text );
      const auto either = tryParse<IpGenAddr>( text );
      const auto system4 = systemBytes( AF_INET, text ), system6 = systemBytes( AF_INET6, text );
      RC_ASSERT( v4.has_value() == system4.has_value() );
      RC_ASSERT( v6.has_value() == system6.has_value() );
      RC_ASSERT( either.has_value() == ( system4 || system6 ) );
      if( v4 ) {
         RC_ASSERT( bytesOf( IpGenAddr( *v4 ).bits(), 4 ) == *system4 );
         RC_ASSERT( *either == IpGenAddr( *v4 ) );
      } else if( v6 ) {
         RC_ASSERT( bytesOf( v6->bits(), 16 ) == *system6 );
         RC_ASSERT( *either == IpGenAddr( *v6 ) );
      }
   }
}

TEST( IpGenAddr, aFaultShowsTheText ) {
   try {
      IpGenAddr( "10.1.2.300"sv );
      ADD_FAILURE() << "no fault";
   } catch( const Quoin::RangeException & e ) { EXPECT_STREQ( e.what(), "address \"10.1.2.300\": not an address" ); }
   EXPECT_THROW( IpGenAddr( std::string( 1 << 20, '1' ) ), Quoin::RangeException );
   EXPECT_THROW( IpGenAddr( std::string( 1 << 20, '\0' ) ), Quoin::RangeException );
}

}   // namespace
