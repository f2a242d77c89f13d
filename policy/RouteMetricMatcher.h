/// @file policy/RouteMetricMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route with this metric. An absent metric matches routes without a metric.
class ROUTEPOLICY_API RouteMetricMatcher final : public EqualMatcher<Zeugma::MaybeU63, &MatchInput_::getMetric, &MatchKey::metric> {
 public:
   explicit RouteMetricMatcher( Zeugma::MaybeU63 metric ) : EqualMatcher( "RouteMetricMatcher metric ", metric ) {}
   Zeugma::MaybeU63 metric() const noexcept { return value(); }
};

}   // namespace Routing::Policy
