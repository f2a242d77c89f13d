#include "policy/NexthopPrefixMatcher.h"

namespace Routing::Policy {

bool NexthopPrefixMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   const Ferule::IpGenAddr nexthop = input->getNexthop();
   if( nexthop.af() != prefix().af() ) return false;
   switch( prefix().af() ) {
      case Ferule::AddressFamily::ipv4: {
         const unsigned length = prefix().length() > 32 ? 0 : prefix().length();
         return ( ( nexthop.bits() ^ prefix().ipGenAddr().bits() ) & Ferule::Bits128::leadingOnes( length ) ).none();
      }
      case Ferule::AddressFamily::ipv6: return prefix().v6Prefix().contains( nexthop.v6Addr() );
      case Ferule::AddressFamily::unset: break;
   }
   return false;
}

void NexthopPrefixMatcher::keys( MatchKeys & keys ) const {
   keys.skippable();
}

}   // namespace Routing::Policy
