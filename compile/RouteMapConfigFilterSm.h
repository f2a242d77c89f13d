/// @file compile/RouteMapConfigFilterSm.h
#pragma once

#include "compile/RmSeqConfigFilterSmBase.h"
#include "compile/RouteMapConfigSmBase.h"

namespace Routing::Policy {

/// The first stage of one route map: copies its configuration into the filtered configuration. RouteMapConfigSm owns this machine;
/// RouteMapConfigSymbolSm compiles the copy.
/// Threading: the activity thread.
/// Invariant: the calls of all filtered route maps together form no cycle.
class ROUTEPOLICY_API RouteMapConfigFilterSm final : public RouteMapConfigSmBase {
 public:
   /// Copies `rmConfig`, which may be null, into `filteredRmConfig`, which is part of `filteredConfig`. Errors: any other null argument
   /// ends the process.
   RouteMapConfigFilterSm( const Quoin::Ptr<const Routing::RouteMap::Map> & rmConfig,
                           const Quoin::Ptr<Routing::RouteMap::Map> & filteredRmConfig,
                           const Quoin::Ptr<Routing::RouteMap::Config> & filteredConfig,
                           const Quoin::Ptr<RouteMapUpdateNotifier> & routeMapUpdateNotifier,
                           const Quoin::Ptr<RmConfigFilterSmHelperBase> & filterHelper );
   ~RouteMapConfigFilterSm() override { stop(); }

   void handleRouteMapSeq( uint32_t seqno ) override;
   void handleRouteMapSeq() override { RouteMapConfigSmBase::handleRouteMapSeq(); }
   void handleVersion() override;
   void handleInitialized() override;
   void formatDerivedType( std::ostream & os ) const override;

   const Quoin::Ptr<Routing::RouteMap::Map> & filteredRmConfig() const noexcept { return filteredRmConfig_; }
   const Quoin::Ptr<Routing::RouteMap::Config> & filteredConfig() const noexcept { return filteredConfig_; }
   const Quoin::Ptr<RouteMapUpdateNotifier> & routeMapUpdateNotifier() const noexcept { return routeMapUpdateNotifier_; }
   const Quoin::Ptr<RmConfigFilterSmHelperBase> & filterHelper() const noexcept { return filterHelper_; }
   const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList() const noexcept { return routeMapBlockedSequenceList_; }
   /// Errors: MutatorArgNullPointerException on null.
   void seqConfigSmIs( const Quoin::Ptr<RmSeqConfigFilterSmBase> & sm );
   void seqConfigSmDel( uint32_t seqno ) { seqConfigSm_.erase( seqno ); }

 private:
   void handleChangeMissed() override;
   void copyMissed();
   void copySeq( uint32_t seqno );
   void createSeq( uint32_t seqno );
   void deleteSeq( uint32_t seqno );
   void routeMapBlockedSequenceListIs( const Quoin::Ptr<RouteMapBlockedSequenceList> & list );
   void handleBlockedList( const Quoin::Change & ) { handleVersion(); }

   Quoin::Ptr<Routing::RouteMap::Map> filteredRmConfig_;
   Quoin::Ptr<Routing::RouteMap::Config> filteredConfig_;
   Quoin::Ptr<RouteMapUpdateNotifier> routeMapUpdateNotifier_;
   Quoin::Ptr<RmConfigFilterSmHelperBase> filterHelper_;
   Quoin::Ptr<RouteMapBlockedSequenceList> routeMapBlockedSequenceList_;
   uint32_t copying_ = 0;        // calls of handleRouteMapSeq() and copyMissed() in progress
   bool versionWaits_ = false;   // for their end
   uint32_t copiedAt_ = 0;       // the version of the collection of sequences when all of them were copied last
   Zeugma::Reactor<RouteMapConfigFilterSm> blockedListReactor_{ *this, &RouteMapConfigFilterSm::handleBlockedList };

   /// The machines by sequence number.
   ZEUGMA_NESTED_SMS( seqConfigSm, uint32_t, RmSeqConfigFilterSmBase );
};

}   // namespace Routing::Policy
