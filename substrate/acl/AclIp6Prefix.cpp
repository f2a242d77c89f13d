#include "substrate/acl/AclIp6Prefix.h"

namespace AclIp6Prefix {

using Ferule::Bits128;
using Ferule::Ip6Addr;
using Ferule::Ip6AddrWithMask;

std::ostream & operator<<( std::ostream & os, const Ip6AddrExt & a ) {
   if( a.isEnd() ) return os << "end";
   return os << a.address();
}

void AclToIp6Prefix::handleRule( const Acl::Ip6RuleConfig & rule, bool exceptSpecial ) {
   const Ip6AddrWithMask & source = rule.filter.source;
   const Bits128 mask = Bits128::leadingOnes( source.length ), low = source.address.bits() & mask;
   Bound end = Ip6Addr( low ^ ~mask );
   matchedIs( IntervalSet( Interval( Ip6Addr( low ), ++end ) ), rule.action, exceptSpecial, true );
}

void ip6RangeToPrefixes( const Ip6AddrExt & low, const Ip6AddrExt & last, const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset ) {
   if( low.isEnd() ) return;
   AclPrefix::rangeToPrefixes( low.address(), ( last.isEnd() ? last - 1 : last ).address(), pset );
}

}   // namespace AclIp6Prefix
