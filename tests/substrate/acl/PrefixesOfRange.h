/// @file tests/substrate/acl/PrefixesOfRange.h
/// What the tests of both conversions share: the prefixes of a range as a walk down the tree of all prefixes finds them, and what a
/// machine does with each interval.
#pragma once

#include <string>

#include "substrate/ferule/IpGenPrefixSet.h"

/// Of a walk from the root: a prefix with nothing outside of the range stands, one with nothing inside goes, any other is its halves.
inline void walkDown( const Ferule::IpGenAddr & low, const Ferule::IpGenAddr & last, const Ferule::IpGenPrefix & node,
                      Ferule::IpGenPrefixSet & found ) {
   using Ferule::Bits128;
   const Bits128 outside = Bits128::leadingOnes( addressBits( low.af() ) ) & ~Bits128::leadingOnes( node.length() );
   const Bits128 first = node.ipGenAddr().bits(), end = first ^ outside;
   if( last.bits() < first || end < low.bits() ) return;
   if( low.bits() <= first && end <= last.bits() ) {
      found.insert( node );
      return;
   }
   const uint8_t length = uint8_t( node.length() + 1 );
   const Bits128 upper = first ^ ( Bits128::leadingOnes( length ) & ~Bits128::leadingOnes( node.length() ) );
   for( const Bits128 half : { first, upper } ) {
      const auto address = low.af() == Ferule::AddressFamily::ipv4 ? Ferule::IpGenAddr( Ferule::IpAddr( uint32_t( half.high >> 32 ) ) )
                                                                   : Ferule::IpGenAddr( Ferule::Ip6Addr( half ) );
      walkDown( low, last, { address, length }, found );
   }
}

inline std::string prefixesOfRange( const Ferule::IpGenAddr & low, const Ferule::IpGenAddr & last ) {
   Ferule::IpGenPrefixSet found;
   walkDown( low, last, { Ferule::IpGenAddr( low.af() ), 0 }, found );
   return std::string( found.toStrep() );
}
