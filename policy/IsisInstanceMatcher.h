/// @file policy/IsisInstanceMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route from this IS-IS instance.
class ROUTEPOLICY_API IsisInstanceMatcher final : public EqualMatcher<uint32_t, &MatchInput_::getIsisInstance, &MatchKey::isisInstance> {
 public:
   explicit IsisInstanceMatcher( uint32_t isisInstance ) : EqualMatcher( "IsisInstanceMatcher instance ", isisInstance ) {}
   uint32_t isisInstance() const noexcept { return value(); }
};

}   // namespace Routing::Policy
