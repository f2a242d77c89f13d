#include "compile/PendingSymbolUpdate.h"

#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

bool PendingSymbolUpdate::hasNoPendingChanges() const noexcept {
   return matcherChange_.empty() && setterChange_.empty() && !hasSubRouteMapUpdate_ && !hasAggRoleAttrMapUpdate_;
}

void addPendingUpdatesToSeqStatus( const Quoin::Ptr<RouteMapSeqStatus> & seqStatus,
                                   const Quoin::Ptr<const PendingSymbolUpdate> & pendingUpdate ) {
   for( const auto & [ option, change ] : pendingUpdate->matcherChange() ) {
      QUOIN_ASSERT( seqStatus->matcher().find( option ), "seqStatus->matcherHas( option )" );
      seqStatus->matcherIs( option, change->matcher() );
   }
   for( const auto & [ option, change ] : pendingUpdate->setterChange() ) {
      QUOIN_ASSERT( seqStatus->setter().find( option ), "seqStatus->setterHas( option )" );
      seqStatus->setterIs( option, change->setter() );
   }
   if( pendingUpdate->hasSubRouteMapUpdate() ) seqStatus->subRouteMapIs( pendingUpdate->subRouteMapStatus() );
   if( pendingUpdate->hasAggRoleAttrMapUpdate() ) seqStatus->aggRoleAttrMapIs( pendingUpdate->aggRoleAttrMapStatus() );
}

}   // namespace Routing::Policy
