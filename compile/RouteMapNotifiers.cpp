#include "compile/RouteMapNotifiers.h"

#include <utility>

namespace Routing::Policy {

RouteMapUpdateNotifier::~RouteMapUpdateNotifier() = default;
RouteMapOpModeNotifier::~RouteMapOpModeNotifier() = default;

void RouteMapOpModeNotifier::routeMapOpModeIs( RouteMapOpModeType mode ) {
   if( mode == routeMapOpMode_ ) return;
   const auto old = std::exchange( routeMapOpMode_, mode );
   publisher_.publishChangeRecursive( Quoin::FieldId( Field::routeMapOpMode ), nullptr, &old, nullptr );
}

}   // namespace Routing::Policy
