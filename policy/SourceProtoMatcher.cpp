#include "policy/SourceProtoMatcher.h"

namespace Routing::Policy {

namespace {

// The configured protocol that the protocol of a route counts as.
RouteProto folded( RouteProto protocol ) {
   switch( uint32_t( protocol ) ) {
      case 20: return RouteProto( 10 );
      case 5:
      case 6: return RouteProto( 31 );
      case 25:
      case 30: return RouteProto( 24 );
      default: return protocol;
   }
}

}   // namespace

bool SourceProtoMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return folded( input->getProtocol() ) == protocol();
}

}   // namespace Routing::Policy
