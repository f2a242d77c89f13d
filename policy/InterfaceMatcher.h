/// @file policy/InterfaceMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// The route's next hop resolves to this interface, among others maybe. An agent that does not resolve interfaces is not
/// filtered by them.
class ROUTEPOLICY_API InterfaceMatcher final : public SimpleMatcher<Ferule::IntfId> {
 public:
   explicit InterfaceMatcher( Ferule::IntfId intf ) : SimpleMatcher( "InterfaceMatcher interface ", intf ) {}
   Ferule::IntfId intf() const noexcept { return value(); }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   RouteMapFeatures getFeatures() const override;
};

}   // namespace Routing::Policy
