#include "policy/SourceProtoMatcher.h"

namespace Routing::Policy {

RouteProto SourceProtoMatcher::configured( RouteProto ofRoute ) noexcept {
   switch( uint32_t( ofRoute ) ) {
      case 20: return RouteProto( 10 );
      case 5:
      case 6: return RouteProto( 31 );
      case 25:
      case 30: return RouteProto( 24 );
      default: return ofRoute;
   }
}

bool SourceProtoMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return configured( input->getProtocol() ) == protocol();
}

void SourceProtoMatcher::keys( MatchKeys & keys ) const {
   keys.keyIs( MatchKey::protocol( protocol() ) );
   keys.exact();
}

}   // namespace Routing::Policy
