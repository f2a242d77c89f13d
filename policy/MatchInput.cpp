#include "policy/MatchInput.h"

#include <string>

#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

MatchInput_::~MatchInput_() = default;

bool operator==( const MatchInput_ & a, const MatchInput_ & b ) {
   return a.protocol_ == b.protocol_ && a.resolvedNexthopInfoSet_ == b.resolvedNexthopInfoSet_ && a.ospfInstance_ == b.ospfInstance_ &&
      a.isisInstance_ == b.isisInstance_ && a.matchInterface_ == b.matchInterface_ &&
      a.matchResolvedNexthopInfo_ == b.matchResolvedNexthopInfo_ && a.denyResolvedNexthop_ == b.denyResolvedNexthop_ &&
      a.metric_ == b.metric_ && a.prefix_ == b.prefix_ && a.nexthop_ == b.nexthop_ && a.routerId_ == b.routerId_ && a.tag_ == b.tag_;
}

MatchInput_::operator bool() const {
   static const MatchInput_ kDefault;
   return !( *this == kDefault );
}

std::ostream & operator<<( std::ostream & os, const MatchInput_ & input ) {
   auto yesNo = []( bool b ) { return b ? "yes" : "no"; };
   return os << "Routing::Policy::MatchInput_(metric=" << input.metric_ << ", protocol=" << input.protocol_ << ", prefix=" << input.prefix_
             << ", nexthop=" << input.nexthop_ << ", routerId=" << input.routerId_ << ", tag=" << std::to_string( input.tag_ )
             << ", resolvedNexthopInfoSet=" << input.resolvedNexthopInfoSet_ << ", ospfInstance=" << std::to_string( input.ospfInstance_ )
             << ", isisInstance=" << std::to_string( input.isisInstance_ ) << ", matchInterface=" << yesNo( input.matchInterface_ )
             << ", matchResolvedNexthopInfo=" << yesNo( input.matchResolvedNexthopInfo_ )
             << ", denyResolvedNexthop=" << yesNo( input.denyResolvedNexthop_ ) << ")";
}

}   // namespace Routing::Policy
