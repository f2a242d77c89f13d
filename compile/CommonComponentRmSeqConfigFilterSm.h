/// @file compile/CommonComponentRmSeqConfigFilterSm.h
#pragma once

#include "compile/CommonComponentRouteMapSeqConfigSm.h"
#include "compile/RmSeqConfigFilterSmBase.h"

namespace Routing::Policy {

/// Copies one sequence into the filtered configuration: all but match clauses of options that are not supported, and a call
/// that would close a cycle. Such a call keeps the sequence blocked, with the call that it had, until it no longer would.
/// Threading: the activity thread.
class ROUTEPOLICY_API CommonComponentRmSeqConfigFilterSm final : public CommonComponentRmSeqConfigSmBase {
 public:
   /// `filteredRmConfig` is the filtered root, which outlives the machine.
   CommonComponentRmSeqConfigFilterSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                                       const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig,
                                       Routing::RouteMap::Config * filteredRmConfig,
                                       const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                                       const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier,
                                       std::span<const MatchOptionRow> ownOptions = {} );
   ~CommonComponentRmSeqConfigFilterSm() override;

   void handlePermit() override;
   void handleSubRouteMap() override;
   void handleMatchRule( MatchOption option ) override;
   void handleContinueSeq() override;
   void handleSetFlags() override;
   void handleDistance() override;
   void handleDescription( uint32_t key ) override;
   /// Copies the call unless it would close a cycle; whether it has.
   bool evalSubRouteMap();
   void handleRouteMapUpdateNotifier();

   const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig() const noexcept { return filteredSeqConfig_; }
   Routing::RouteMap::Config * filteredRmConfig() const noexcept { return filteredRmConfig_; }
   const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList() const noexcept { return routeMapBlockedSequenceList_; }
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier() const noexcept { return routeMapUpdateNotifier_; }
   /// What wakes the sequence while it is blocked; null while it is not.
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifierSubScriber() const noexcept { return updateSubScriber_; }

 private:
   void handleChangeMissed() override;
   void routeMapUpdateNotifierSubScriberIs( const Quoin::Ptr<const RouteMapUpdateNotifier> & notifier ) {
      updateSubScriber_ = notifier;
      updateReactor_.notifierIs( notifier );
   }
   void handleUpdateNotifier( const Quoin::Change & ) { handleRouteMapUpdateNotifier(); }

   Quoin::Ptr<Routing::RouteMap::MapEntry> filteredSeqConfig_;
   Routing::RouteMap::Config * filteredRmConfig_;
   Quoin::Ptr<RouteMapBlockedSequenceList> routeMapBlockedSequenceList_;
   Quoin::Ptr<const RouteMapUpdateNotifier> routeMapUpdateNotifier_;
   Quoin::Ptr<const RouteMapUpdateNotifier> updateSubScriber_;
   Zeugma::Reactor<CommonComponentRmSeqConfigFilterSm> updateReactor_{ *this, &CommonComponentRmSeqConfigFilterSm::handleUpdateNotifier };
};

/// Makes the machine and switches it on.
ROUTEPOLICY_API Quoin::Ptr<CommonComponentRmSeqConfigFilterSm> commonComponentRmSeqConfigFilterSmFactory(
   const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
   const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig, Routing::RouteMap::Config * filteredRmConfig,
   const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier, std::span<const MatchOptionRow> ownOptions = {} );

}   // namespace Routing::Policy
