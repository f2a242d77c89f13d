/// @file policy/OspfInstanceMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route from this OSPF instance.
class ROUTEPOLICY_API OspfInstanceMatcher final : public EqualMatcher<uint32_t, &MatchInput_::getOspfInstance, &MatchKey::ospfInstance> {
 public:
   explicit OspfInstanceMatcher( uint32_t ospfInstance ) : EqualMatcher( "OspfInstanceMatcher instance ", ospfInstance ) {}
   uint32_t ospfInstance() const noexcept { return value(); }
};

}   // namespace Routing::Policy
