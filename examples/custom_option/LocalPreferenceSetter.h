/// @file examples/custom_option/LocalPreferenceSetter.h
#pragma once

#include <ostream>
#include <string>

#include "BgpRoute.h"
#include "policy/Setter.h"

namespace BgpAgent {

class LocalPreferenceSetter final : public Setter {
 public:
   explicit LocalPreferenceSetter( uint32_t value ) noexcept : value_( value ) {}
   void setValue( Result_ * result ) const override {
      if( auto * bgp = dynamic_cast<BgpResult *>( result ) ) bgp->localPreference = value_;   // other protocols have none
   }
   void formatDerivedType( std::ostream & os ) const override { os << "LocalPreferenceSetter " << std::to_string( value_ ); }

 private:
   uint32_t value_;
};

}   // namespace BgpAgent
