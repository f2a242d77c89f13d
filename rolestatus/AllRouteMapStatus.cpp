#include "rolestatus/AllRouteMapStatus.h"

namespace Routing::Policy {

AllRouteMapStatus::~AllRouteMapStatus() = default;
MatchAggregateRoleUsers::~MatchAggregateRoleUsers() = default;

Quoin::Ptr<AllRouteMapStatus> AllRouteMapStatusIs() {
   return Quoin::makeNode<AllRouteMapStatus>();
}

}   // namespace Routing::Policy
