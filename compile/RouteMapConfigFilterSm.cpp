#include "compile/RouteMapConfigFilterSm.h"

#include <utility>

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

using Routing::RouteMap::Config;
using Routing::RouteMap::Map;

namespace {

const Plinth::TraceHandle trace( "RouteMapConfigFilterSm" );

}   // namespace

RouteMapConfigFilterSm::RouteMapConfigFilterSm( const Quoin::Ptr<const Map> & rmConfig, const Quoin::Ptr<Map> & filteredRmConfig,
                                                const Quoin::Ptr<Config> & filteredConfig,
                                                const Quoin::Ptr<RouteMapUpdateNotifier> & routeMapUpdateNotifier,
                                                const Quoin::Ptr<RmConfigFilterSmHelperBase> & filterHelper )
      : RouteMapConfigSmBase( rmConfig ),
        filteredRmConfig_( filteredRmConfig ),
        filteredConfig_( filteredConfig ),
        routeMapUpdateNotifier_( routeMapUpdateNotifier ),
        filterHelper_( filterHelper ) {
   QUOIN_ASSERT( filteredRmConfig_, "filteredRmConfig()" );
   QUOIN_ASSERT( filteredConfig_, "filteredConfig()" );
   QUOIN_ASSERT( routeMapUpdateNotifier_, "routeMapUpdateNotifier()" );
   QUOIN_ASSERT( filterHelper_, "filterHelper()" );
   handleInitialized();
}

void RouteMapConfigFilterSm::formatDerivedType( std::ostream & os ) const {
   os << "rmName: " << ( routeMap() ? routeMap()->name() : Quoin::String() );
}

void RouteMapConfigFilterSm::handleInitialized() {
   routeMapBlockedSequenceListIs( Quoin::makeNode<RouteMapBlockedSequenceList>( routeMap() ? routeMap()->name() : Quoin::String() ) );
   RouteMapConfigSmBase::handleInitialized();
}

// While sequences of the copy are created or deleted, their subscribers may change the version of the route map. The version is copied
// when the copy is complete and all its subscribers are notified.
void RouteMapConfigFilterSm::handleRouteMapSeq( uint32_t seqno ) {
   ++copying_;
   copySeq( seqno );
   if( --copying_ != 0 ) return;
   // One new change, of one sequence, is the change handled here. For any other number, copyMissed() compares.
   if( routeMap() && routeMap()->mapEntry().version() == copiedAt_ + 1 && routeMap()->mapEntry().count() == seqConfigSm().count() )
      ++copiedAt_;
   if( std::exchange( versionWaits_, false ) && !zombieReactors() ) handleVersion();
}

void RouteMapConfigFilterSm::copySeq( uint32_t seqno ) {
   const auto isFiltered = [ & ] { return filteredRmConfig_->mapEntry().find( seqno ) != nullptr; };
   const auto * sm = seqConfigSm_.get( seqno );
   const bool isReplaced = sm && sm->seqConfig().get() != seqConfigGet( seqno );
   if( ( isReplaced || !seqConfigGet( seqno ) ) && isFiltered() ) deleteSeq( seqno );
   // A subscriber of the copy may have created the sequence, which is handled by now, or released this machine.
   if( seqConfigGet( seqno ) && !isFiltered() && !zombieReactors() ) createSeq( seqno );
}

void RouteMapConfigFilterSm::createSeq( uint32_t seqno ) {
   PLINTH_TRACE( trace, level8 ) << "creating seqno: " << seqno;
   const auto entry = seqConfig( seqno );
   const auto filteredEntry = filteredRmConfig_->mapEntryIs( seqno );
   // A subscriber of the copy may delete or replace the sequence: the new machine is then discarded.
   const auto isOurs = [ & ] {
      const auto * copy = filteredRmConfig_->mapEntry().find( seqno );
      return copy && *copy == filteredEntry;
   };
   const auto isStill = [ & ] { return seqConfigGet( seqno ) == entry.get() && isOurs(); };
   if( isStill() ) {
      const auto sm = filterHelper_->createSeqConfigSm( routeMap()->name(), entry, filteredEntry, filteredConfig_.get(),
                                                        routeMapBlockedSequenceList_, routeMapUpdateNotifier_ );
      if( isStill() ) return seqConfigSmIs( sm );
   }
   if( !isOurs() || zombieReactors() ) return;
   deleteSeq( seqno );   // no machine maintains this copy of the former sequence
   copySeq( seqno );
}

void RouteMapConfigFilterSm::deleteSeq( uint32_t seqno ) {
   PLINTH_TRACE( trace, level8 ) << "deleting seqno: " << seqno;
   const auto sm = seqConfigSm_.find( seqno );
   filteredRmConfig_->mapEntryDel( seqno );
   if( seqConfigSm_.get( seqno ) == sm.get() ) seqConfigSmDel( seqno );   // a blocked sequence stays in the list
}

void RouteMapConfigFilterSm::handleVersion() {
   if( !routeMap() || filteredRmConfig_->version() == routeMap()->version() ) return;
   if( copying_ != 0 ) {
      versionWaits_ = true;
      return;
   }
   copyMissed();
   const uint32_t from = filteredRmConfig_->version(), to = routeMap()->version();
   if( zombieReactors() || from == to ) return;
   if( !routeMapBlockedSequenceList_->sequence().empty() ) {
      PLINTH_TRACE( trace, level8 ) << "version update is deferred";
      return;
   }
   PLINTH_TRACE( trace, level8 ) << "update version from " << from << " to " << to;
   const Quoin::Ptr<RouteMapUpdateNotifier> notifier = routeMapUpdateNotifier_;
   filteredRmConfig_->versionIs( to );
   notifier->versionInc( 1 );
}

// Inside the notification of a sequence, a subscriber that is notified earlier than this machine may have changed the version.
void RouteMapConfigFilterSm::copyMissed() {
   if( copiedAt_ == routeMap()->mapEntry().version() ) return;
   ++copying_;
   handleMissedSeqs( seqConfigSm() );
   --copying_;
   versionWaits_ = false;
   copiedAt_ = routeMap()->mapEntry().version();
}

void RouteMapConfigFilterSm::handleChangeMissed() {
   handleMissedSeqs( seqConfigSm() );
   handleVersion();
}

void RouteMapConfigFilterSm::routeMapBlockedSequenceListIs( const Quoin::Ptr<RouteMapBlockedSequenceList> & list ) {
   routeMapBlockedSequenceList_ = list;
   blockedListReactor_.notifierIs( list );
}

void RouteMapConfigFilterSm::seqConfigSmIs( const Quoin::Ptr<RmSeqConfigFilterSmBase> & sm ) {
   if( !sm ) Plinth::throwMutatorArgNullPointerException( "RouteMapConfigFilterSm::seqConfigSmIs" );
   seqConfigSm_.put( sm->seqno(), sm );
}

}   // namespace Routing::Policy
