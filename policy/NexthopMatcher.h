/// @file policy/NexthopMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route with this next hop.
class ROUTEPOLICY_API NexthopMatcher final : public EqualMatcher<Ferule::IpGenAddr, &MatchInput_::getNexthop, &MatchKey::nexthop> {
 public:
   explicit NexthopMatcher( Ferule::IpGenAddr nexthop ) : EqualMatcher( "NexthopMatcher next-hop ", nexthop ) {}
   Ferule::IpGenAddr nexthop() const noexcept { return value(); }
};

}   // namespace Routing::Policy
