/// @file policy/DistanceSetter.h
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "policy/Setter.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

/// Sets the administrative distance, through the virtual accessor of the result, so a derived result can react. Unit: 0..255, lower is
/// preferred. Errors: any other distance ends the process.
class ROUTEPOLICY_API DistanceSetter final : public Setter {
 public:
   // Wider than RoutePreference: the caller's conversion would change a greater distance without a word.
   explicit DistanceSetter( int64_t distance ) noexcept : distance_( static_cast<RoutePreference>( distance ) ) {
      QUOIN_ASSERT( distance == distance_, "a distance is not in 0 to 255" );
   }
   RoutePreference distance() const noexcept { return distance_; }
   void setValue( Result_ * result ) const override { result->preferenceIs( distance_ ); }
   void formatDerivedType( std::ostream & os ) const override { os << "DistanceSetter distance " << std::to_string( distance_ ); }

 private:
   RoutePreference distance_;
};

}   // namespace Routing::Policy
