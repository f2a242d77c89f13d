#include "compile/RouteMapNotifiers.h"

#include <utility>

namespace Routing::Policy {

RouteMapUpdateNotifier::~RouteMapUpdateNotifier() = default;
RouteMapOpModeNotifier::~RouteMapOpModeNotifier() = default;

void RouteMapUpdateNotifier::versionIs( uint32_t version ) {
   if( version == std::exchange( version_, version ) || telling_ ) return;
   const Quoin::ReleaseScope whole;   // a reaction may release it
   telling_ = true;
   for( uint32_t told = version_ - 1; told != version_; ) {
      told = version_;
      publisher_.publishChange( Quoin::FieldId( Field::version ) );
   }
   telling_ = false;
}

void RouteMapOpModeNotifier::routeMapOpModeIs( RouteMapOpModeType mode ) {
   if( mode == routeMapOpMode_ ) return;
   const auto old = std::exchange( routeMapOpMode_, mode );
   publisher_.publishChangeRecursive( Quoin::FieldId( Field::routeMapOpMode ), nullptr, &old, nullptr );
}

}   // namespace Routing::Policy
