#include "substrate/acl/AclPrefix.h"

#include <algorithm>
#include <bit>

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"

namespace AclPrefix {

using Ferule::Bits128;
using Ferule::Ip6Addr;
using Ferule::IpAddr;
using Ferule::IpAddrWithFullMask;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefix;

namespace {

const Plinth::TraceHandle trace( "AclToPrefix" );

constexpr AclToPrefix::Bound kEnd = AclToPrefix::Bound( 1 ) << 32;

// The 0 bits of the mask in front of its last 1 bit.
constexpr uint32_t gapsOf( uint32_t mask ) {
   const uint32_t last = mask & -mask;
   return ~mask & -last;
}

// One interval for each value of the gap bits. The loop counts these values upwards: the borrow of the subtraction skips the mask bits.
AclToPrefix::IntervalSet matchedBy( uint32_t address, uint32_t mask ) {
   AclToPrefix::IntervalSet matched;
   const AclToPrefix::Bound size = mask == 0 ? kEnd : mask & -mask;
   const uint32_t gaps = gapsOf( mask );
   uint32_t inGaps = 0;
   do {
      const AclToPrefix::Bound low = ( address & mask ) | inGaps;
      matched.add( matched.end(), AclToPrefix::Interval( low, low + size ) );
      inGaps = ( inGaps - gaps ) & gaps;
   } while( inGaps != 0 );
   return matched;
}

IpGenAddr addressOf( Ferule::AddressFamily af, Bits128 bits ) {
   if( af == Ferule::AddressFamily::ipv6 ) return Ip6Addr( bits );
   return IpAddr( uint32_t( bits.high >> 32 ) );
}

constexpr Bits128 onesFrom( Bits128 bits, unsigned length ) {
   return ~( ~bits & Bits128::leadingOnes( length ) );
}

constexpr Bits128 nextOf( Bits128 bits ) {
   if( ++bits.low == 0 ) ++bits.high;
   return bits;
}

}   // namespace

void AclToPrefix::handleRule( const Acl::IpRuleConfig & rule, bool exceptSpecial ) {
   const IpAddrWithFullMask & source = rule.filter.source;
   uint32_t mask = source.mask.value();
   while( std::popcount( gapsOf( mask ) ) > int( kMaxGapBits ) ) mask &= mask - 1;
   const bool exact = mask == source.mask.value();
   if( !exact ) PLINTH_TRACE( trace, level8 ) << "too many gaps in the mask of " << source << ", using mask " << IpAddr( mask );
   matchedIs( matchedBy( source.address.value(), mask ), rule.action, exceptSpecial, exact );
}

void rangeToPrefixes( const IpGenAddr & low, const IpGenAddr & last, const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset ) {
   QUOIN_ASSERT( pset, "pset" );
   QUOIN_ASSERT( low.af() == last.af() && low.af() != Ferule::AddressFamily::unset, "low.af() == last.af()" );
   const Bits128 end = onesFrom( last.bits(), addressBits( low.af() ) );
   Bits128 from = low.bits();
   // Each step inserts the largest prefix that begins at `from` and does not reach beyond the end.
   while( from <= end ) {
      unsigned length = 0;
      while( !( from & ~Bits128::leadingOnes( length ) ).none() || onesFrom( from, length ) > end ) ++length;
      pset->insert( IpGenPrefix( addressOf( low.af(), from ), uint8_t( length ) ) );
      from = onesFrom( from, length );
      if( from == end ) return;   // `end` may be the last address of the family, which has no next address
      from = nextOf( from );
   }
}

void ip4RangeToPrefixes( AclToPrefix::Bound low, AclToPrefix::Bound last, const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset ) {
   if( low >= kEnd ) return;
   rangeToPrefixes( IpAddr( uint32_t( low ) ), IpAddr( uint32_t( std::min( last, kEnd - 1 ) ) ), pset );
}

}   // namespace AclPrefix
