#include "substrate/ferule/FullMask.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "tests/substrate/ferule/Bits.h"

namespace {

using Ferule::AddressFamily;
using Ferule::Bits128;
using Ferule::Ip6Addr;
using Ferule::Ip6AddrWithMask;
using Ferule::Ip6Prefix;
using Ferule::IpAddr;
using Ferule::IpAddrWithFullMask;
using Ferule::IpGenAddr;
using Ferule::IpGenAddrWithFullMask;

unsigned leadingOnes( Bits128 mask ) {
   unsigned n = 0;
   while( n < 128 && bitAt( mask, n ) ) ++n;
   return n;
}

TEST( IpGenAddrWithFullMask, isMadeOfItsParts ) {
   const IpGenAddrWithFullMask v4( IpAddrWithFullMask{ IpAddr( "10.1.2.3" ), IpAddr( "255.0.255.0" ) } );
   EXPECT_EQ( v4.address(), IpGenAddr( "10.1.2.3" ) );
   EXPECT_EQ( v4.mask(), ( Bits128{ 0xff00ff0000000000, 0 } ) );
   EXPECT_EQ( v4, IpGenAddrWithFullMask( IpGenAddr( "10.1.2.3" ), Bits128{ 0xff00ff0000000000, 0 } ) );
   const IpGenAddrWithFullMask v6( Ip6AddrWithMask{ Ip6Addr( "2001:db8::1" ), 65 } );
   EXPECT_EQ( v6.address(), IpGenAddr( "2001:db8::1" ) );
   EXPECT_EQ( v6.mask(), ( Bits128{ ~uint64_t( 0 ), uint64_t( 1 ) << 63 } ) );
   EXPECT_EQ( IpGenAddrWithFullMask().address(), IpGenAddr() );
   EXPECT_TRUE( IpGenAddrWithFullMask().mask().none() );
}

TEST( IpGenAddrWithFullMask, isAPrefixWithAContiguousMaskAndNothingOutsideOfIt ) {
   const struct {
      const char * name;
      const char * address;
      const char * mask;
      bool valid;
   } rows[] = {
      { "any", "0.0.0.0", "0.0.0.0", true },
      { "no mask but an address", "0.0.0.1", "0.0.0.0", false },
      { "one bit", "128.0.0.0", "128.0.0.0", true },
      { "a network", "10.0.0.0", "255.0.0.0", true },
      { "a network, zero in the mask", "8.0.0.0", "255.0.0.0", true },
      { "a bit outside of the mask", "10.0.0.1", "255.0.0.0", false },
      { "the bit right behind the mask", "10.128.0.0", "255.0.0.0", false },
      { "31 bits", "10.0.0.2", "255.255.255.254", true },
      { "a host", "10.0.0.1", "255.255.255.255", true },
      { "a gap", "10.0.0.0", "255.0.255.0", false },
      { "a gap in the last but one bit", "10.0.0.0", "255.255.255.253", false },
      { "not from the first bit", "0.0.0.0", "0.0.0.255", false },
      { "not from the first bit by one", "0.0.0.0", "127.255.255.255", false },
   };
   for( const auto & row : rows )
      EXPECT_EQ( IpGenAddrWithFullMask( IpAddrWithFullMask{ IpAddr( row.address ), IpAddr( row.mask ) } ).validAsPrefix(), row.valid )
         << row.name;
}

TEST( IpGenAddrWithFullMask, everyLengthOfAnIpv6MaskIsAPrefix ) {
   for( unsigned length : kLengths ) {
      const Ip6AddrWithMask all{ Ip6Addr( Bits128{ ~uint64_t( 0 ), ~uint64_t( 0 ) } ), uint8_t( length ) };
      const unsigned ones = std::min( length, 128u );
      EXPECT_EQ( IpGenAddrWithFullMask( all ).leadingOnesOfMask(), ones ) << length;
      EXPECT_EQ( IpGenAddrWithFullMask( all ).validAsPrefix(), ones == 128 ) << length;
      const Ip6Prefix subnet = all.subnet();
      EXPECT_EQ( subnet.length, length );
      for( unsigned i = 0; i < 128; ++i ) EXPECT_EQ( bitAt( subnet.address.bits(), i ), i < length ) << length << ' ' << i;
      EXPECT_TRUE( IpGenAddrWithFullMask( Ip6AddrWithMask{ subnet.address, uint8_t( length ) } ).validAsPrefix() ) << length;
   }
}

// Contiguous masks, the same with one bit wrong, and masks of any shape; addresses inside of them and not.
RC_GTEST_PROP( IpGenAddrWithFullMask, behavesAsTheBitsSay, () ) {
   for( int round = 0; round < 20; ++round ) {
      const auto af = *rc::gen::element( AddressFamily::ipv4, AddressFamily::ipv6 );
      const unsigned width = addressBits( af );
      const Bits128 all = Bits128::leadingOnes( width );
      const auto run = rc::gen::map( rc::gen::inRange( 0u, width + 1 ), []( unsigned n ) { return Bits128::leadingOnes( n ); } );
      const auto broken = rc::gen::map( rc::gen::pair( run, rc::gen::inRange( 0u, width ) ),
                                        []( const auto & p ) { return withBitFlipped( p.first, p.second ); } );
      const Bits128 mask = *rc::gen::oneOf( run, broken, anyBits() ) & all;
      const auto inside = rc::gen::map( anyBits(), [ mask ]( Bits128 b ) { return b & mask; } );
      const Bits128 address = *rc::gen::oneOf( inside, inside, anyBits() ) & all;
      const auto near =
         rc::gen::map( rc::gen::inRange( 0u, width ), [ address ]( unsigned bit ) { return withBitFlipped( address, bit ); } );
      const Bits128 candidate = *rc::gen::oneOf( near, rc::gen::just( address ), anyBits() ) & all;
      const auto make = [ af ]( Bits128 bits ) {
         return af == AddressFamily::ipv4 ? IpGenAddr( IpAddr( uint32_t( bits.high >> 32 ) ) ) : IpGenAddr( Ip6Addr( bits ) );
      };
      const IpGenAddrWithFullMask rule( make( address ), mask );

      bool valid = true, contained = true;
      for( unsigned i = 0; i < 128; ++i ) {
         valid &= bitAt( mask, i ) ? i == 0 || bitAt( mask, i - 1 ) : !bitAt( address, i );
         contained &= !bitAt( mask, i ) || bitAt( address, i ) == bitAt( candidate, i );
      }
      RC_ASSERT( rule.leadingOnesOfMask() == leadingOnes( mask ) );
      RC_ASSERT( rule.validAsPrefix() == valid );
      RC_ASSERT( rule.contains( make( candidate ) ) == contained );
      RC_ASSERT_FALSE( rule.contains( IpGenAddr( af == AddressFamily::ipv4 ? AddressFamily::ipv6 : AddressFamily::ipv4 ) ) );
      if( af == AddressFamily::ipv4 ) {
         const IpAddrWithFullMask v4{ IpAddr( uint32_t( address.high >> 32 ) ), IpAddr( uint32_t( mask.high >> 32 ) ) };
         RC_ASSERT( ( IpGenAddrWithFullMask( v4 ) == rule ) );
      }
   }
}

template <class Mask>
std::string textOf( const Mask & mask ) {
   std::ostringstream os;
   os << mask;
   EXPECT_EQ( mask.toStrep().view(), os.str() );
   return os.str();
}

TEST( IpAddrWithFullMask, printsTheLengthOfItsMaskOrTheMask ) {
   const struct {
      const char * address;
      const char * mask;
      const char * text;
   } rows[] = {
      { "0.0.0.0", "0.0.0.0", "0.0.0.0/0" },
      { "10.1.2.3", "128.0.0.0", "10.1.2.3/1" },
      { "10.1.2.3", "255.0.0.0", "10.1.2.3/8" },   // bits behind the mask stay
      { "10.1.2.3", "255.255.255.254", "10.1.2.3/31" },
      { "10.1.2.3", "255.255.255.255", "10.1.2.3/32" },
      { "10.1.2.3", "255.0.255.0", "10.1.2.3/255.0.255.0" },
      { "10.1.2.3", "0.0.0.255", "10.1.2.3/0.0.0.255" },
      { "10.1.2.3", "127.255.255.255", "10.1.2.3/127.255.255.255" },
      { "10.1.2.3", "255.255.255.253", "10.1.2.3/255.255.255.253" },
   };
   for( const auto & row : rows ) {
      const IpAddrWithFullMask mask{ IpAddr( row.address ), IpAddr( row.mask ) };
      EXPECT_EQ( textOf( mask ), row.text );
      EXPECT_EQ( textOf( IpGenAddrWithFullMask( mask ) ), row.text );
   }
}

TEST( Ip6AddrWithMask, printsItsLength ) {
   for( unsigned length : kLengths )
      EXPECT_EQ( textOf( Ip6AddrWithMask{ Ip6Addr( "2001:db8::1" ), uint8_t( length ) } ), "2001:db8::1/" + std::to_string( length ) );
}

TEST( IpGenAddrWithFullMask, printsTheLengthOfItsMaskOrTheMask ) {
   const uint64_t ones = ~uint64_t( 0 );
   const struct {
      const char * name;
      IpGenAddrWithFullMask mask;
      const char * text;
   } rows[] = {
      { "of no family", {}, "unset" },
      { "of no family, with a mask", { IpGenAddr(), { 1, 0 } }, "unset" },
      { "no mask", { IpGenAddr( "a00::1" ), {} }, "a00::1/0" },
      { "one word", { IpGenAddr( "a00::1" ), { ones, 0 } }, "a00::1/64" },
      { "one word but its last bit", { IpGenAddr( "a00::1" ), { ones - 1, 0 } }, "a00::1/63" },
      { "a host", { IpGenAddr( "a00::1" ), { ones, ones } }, "a00::1/128" },
      { "a gap", { IpGenAddr( "a00::1" ), { 0xffff0000ffff0000, 0 } }, "a00::1/ffff:0:ffff::" },
      { "the second word alone", { IpGenAddr( "a00::1" ), { 0, ones } }, "a00::1/::ffff:ffff:ffff:ffff" },
      { "the last bit alone", { IpGenAddr( "a00::1" ), { 0, 1 } }, "a00::1/::1" },
      { "all but the first bit", { IpGenAddr( "10.0.0.0" ), { 0x7fffffff00000000, 0 } }, "10.0.0.0/127.255.255.255" },
   };
   for( const auto & row : rows ) EXPECT_EQ( textOf( row.mask ), row.text ) << row.name;
}

TEST( IpGenAddrWithFullMask, hashSpreads ) {
   std::set<uint32_t> hashes, v4, v6;
   for( unsigned i = 0; i < 128; ++i ) {
      hashes.insert( IpGenAddrWithFullMask( IpGenAddr( "::" ), withBitFlipped( {}, i ) ).hash() );
      hashes.insert( IpGenAddrWithFullMask( IpGenAddr( Ip6Addr( withBitFlipped( {}, i ) ) ), Bits128() ).hash() );
      v6.insert( Ip6AddrWithMask{ Ip6Addr( withBitFlipped( {}, i ) ), 128 }.hash() );
   }
   for( unsigned length = 0; length < 256; ++length ) v6.insert( Ip6AddrWithMask{ Ip6Addr(), uint8_t( length ) }.hash() );
   for( unsigned i = 0; i < 32; ++i ) {
      v4.insert( IpAddrWithFullMask{ IpAddr( uint32_t( 1 ) << i ), IpAddr() }.hash() );
      v4.insert( IpAddrWithFullMask{ IpAddr(), IpAddr( uint32_t( 1 ) << i ) }.hash() );
   }
   EXPECT_GT( hashes.size(), 253u );   // of 256: two may meet
   EXPECT_GT( v4.size(), 61u );        // of 64
   EXPECT_GT( v6.size(), 381u );       // of 384
}

}   // namespace
