/// @file policy/RouteMetricSetter.h
#pragma once

#include <ostream>

#include "policy/Setter.h"

namespace Routing::Policy {

/// Sets the metric without a virtual call, so a derived result cannot react.
class ROUTEPOLICY_API RouteMetricSetter final : public Setter {
 public:
   explicit RouteMetricSetter( Zeugma::MaybeU63 metric ) noexcept : metric_( metric ) {}
   Zeugma::MaybeU63 metric() const noexcept { return metric_; }
   void setValue( Result_ * result ) const override { result->metricIs( metric_ ); }
   void formatDerivedType( std::ostream & os ) const override { os << "RouteMetricSetter metric " << metric_; }

 private:
   Zeugma::MaybeU63 metric_;
};

}   // namespace Routing::Policy
