#include "policy/MatchKeys.h"

#include "policy/MatchInput.h"
#include "policy/SourceProtoMatcher.h"
#include "substrate/lists/PrefixListStatus.h"

namespace Routing::Policy {

MatchKey MatchKey::nexthop( const Ferule::IpGenAddr & nexthop ) noexcept {
   const auto bits = nexthop.bits();
   return { bits.high ^ bits.low ^ uint64_t( nexthop.af() ), Attribute::nexthop };
}

MatchKey MatchKey::of( const MatchInput_ & input, Attribute attribute ) {
   switch( attribute ) {
      case Attribute::tag: return tag( input.getTag() );
      case Attribute::metric: return metric( input.getMetric() );
      case Attribute::protocol: return protocol( SourceProtoMatcher::configured( input.getProtocol() ) );
      case Attribute::nexthop: return nexthop( input.getNexthop() );
      case Attribute::ospfInstance: return ospfInstance( input.getOspfInstance() );
      case Attribute::isisInstance: return isisInstance( input.getIsisInstance() );
      case Attribute::own: break;
   }
   return {};
}

void MatchKeys::keyIs( const MatchKey & key ) {
   keys_.push_back( key );
   isSkippable_ = isSelective_ = true;
}

void MatchKeys::listIs( const RouteMap::PrefixListStatus * list ) {
   isSkippable_ = isSelective_ = true;
   if( !list ) return;
   hasTwoLists_ |= list_ && list_ != list;
   list_ = list;
   dependsOn( list->seal() );
}

void MatchKeys::noRoute() noexcept {
   isSkippable_ = isSelective_ = true;
}

bool MatchKeys::isSelective() const noexcept {
   return isSelective_ && !hasTwoLists_ && !( list_ && !keys_.empty() ) && keys_.size() <= kMost;
}

}   // namespace Routing::Policy
