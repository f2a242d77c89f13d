#include "policy/InterfaceMatcher.h"

namespace Routing::Policy {

bool InterfaceMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   if( !input->matchInterface() ) return true;
   const auto & resolved = input->getResolvedNexthopInfoSet();
   return resolved && resolved->intfId().contains( intf() );
}

RouteMapFeatures InterfaceMatcher::getFeatures() const {
   return RouteMapFeatures::matchInterface;
}

void InterfaceMatcher::keys( MatchKeys & keys ) const {
   keys.skippable();
}

}   // namespace Routing::Policy
