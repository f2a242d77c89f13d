/// @file policy/DistanceSetter.h
#pragma once

#include <ostream>
#include <string>

#include "policy/Setter.h"

namespace Routing::Policy {

/// Sets the administrative distance, through the virtual accessor of the result, so a derived result can react. Unit: 0..255, lower is
/// preferred.
class ROUTEPOLICY_API DistanceSetter final : public Setter {
 public:
   explicit DistanceSetter( RoutePreference distance ) noexcept : distance_( distance ) {}
   RoutePreference distance() const noexcept { return distance_; }
   void setValue( Result_ * result ) const override { result->preferenceIs( distance_ ); }
   void formatDerivedType( std::ostream & os ) const override { os << "DistanceSetter distance " << std::to_string( distance_ ); }

 private:
   RoutePreference distance_;
};

}   // namespace Routing::Policy
