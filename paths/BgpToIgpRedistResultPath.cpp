#include "paths/BgpToIgpRedistResultPath.h"

#include <string>

#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

namespace {

const char * pathWord( GenPolicyName::Kind kind ) {
   switch( kind ) {
      case GenPolicyName::Kind::routeMap: return "/routeMap/";
      case GenPolicyName::Kind::gyre: return "/gyre/";
   }
   QUOIN_ASSERT( false, "false" );
}

}   // namespace

std::ostream & operator<<( std::ostream & os, GenPolicyName::Kind kind ) {
   switch( kind ) {
      case GenPolicyName::Kind::routeMap: return os << "routeMap";
      case GenPolicyName::Kind::gyre: return os << "gyre";
   }
   return os << std::to_string( unsigned( kind ) );
}

std::ostream & operator<<( std::ostream & os, const GenPolicyName & policy ) {
   return os << policy.kind << ' ' << policy.name;
}

Quoin::String getBgpToIgpRedistResultPath( Ferule::AddressFamily af, const L3::VrfName & vrf, const GenPolicyName & policy ) {
   const char * word = pathWord( policy.kind );
   return Quoin::String( "routing/rib/filteredRtStatus/" ) + stringValue( af ) + "/" + vrf.name() + word + policy.name;
}

}   // namespace Routing::Policy
