#include "compile/RouteMapNotifiers.h"

#include <utility>

#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

void RouteMapUpdateNotifier::versionIs( uint32_t version ) {
   if( version == std::exchange( version_, version ) || isPublishing_ ) return;
   const Quoin::ReleaseScope whole;   // a reaction may release it
   isPublishing_ = true;
   for( uint32_t published = version_ - 1; published != version_; ) {
      published = version_;
      publisher_.publishChange( Quoin::FieldId( Field::version ) );
      Quoin::whole( "a reaction", [ this ] { retryAll(); } );
   }
   isPublishing_ = false;
}

void RouteMapUpdateNotifier::retryAll() {
   const bool isOrdered = callOrder_ && callOrder_->exists();
   if( isOrdered && std::exchange( deletionsBefore_, callOrder_->deletions() ) == callOrder_->deletions() ) return;
   for( auto i = blockedCall_.begin(); i != blockedCall_.end(); ) {
      const auto turn = i->first;
      i->second->handleRouteMapUpdateNotifier();
      i = blockedCall_.upper_bound( turn );
   }
}

void RouteMapUpdateNotifier::blockedCallIs( BlockedCall & call, const Quoin::String & rmName ) const {
   call.turn_ = { callOrder_ ? -callOrder_->place( rmName ) : 0, ++blocked_ };
   blockedCall_.emplace( call.turn_, &call );
}

void RouteMapOpModeNotifier::routeMapOpModeIs( RouteMapOpModeType mode ) {
   if( mode == routeMapOpMode_ ) return;
   const auto old = std::exchange( routeMapOpMode_, mode );
   publisher_.publishChangeRecursive( Quoin::FieldId( Field::routeMapOpMode ), nullptr, &old, nullptr );
}

}   // namespace Routing::Policy
