/// @file policy/InterfaceMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route whose next hop resolves to this interface, possibly among others. If the agent does not resolve interfaces
/// (MatchInput_::matchInterface), every route matches.
class ROUTEPOLICY_API InterfaceMatcher final : public SimpleMatcher<Ferule::IntfId> {
 public:
   explicit InterfaceMatcher( Ferule::IntfId intf ) : SimpleMatcher( "InterfaceMatcher interface ", intf ) {}
   Ferule::IntfId intf() const noexcept { return value(); }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override;
   RouteMapFeatures getFeatures() const override;
};

}   // namespace Routing::Policy
