/// @file policy/TagMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route with this tag.
class ROUTEPOLICY_API TagMatcher final : public EqualMatcher<RouteTag, &MatchInput_::getTag, &MatchKey::tag> {
 public:
   explicit TagMatcher( RouteTag tag ) : EqualMatcher( "TagMatcher tag ", tag ) {}
   RouteTag tag() const noexcept { return value(); }
};

}   // namespace Routing::Policy
