/// @file compile/CommonComponentRmSeqConfigFilterSm.h
#pragma once

#include "compile/CommonComponentRouteMapSeqConfigSm.h"
#include "compile/RmSeqConfigFilterSmBase.h"

namespace Routing::Policy {

/// Copies one configured sequence into the filtered configuration, which the second stage compiles. It leaves out match clauses of
/// unsupported options, and a call that would close a cycle. Such a call blocks the sequence, which keeps its former call until the new
/// call closes no cycle.
/// Threading: the activity thread.
class ROUTEPOLICY_API CommonComponentRmSeqConfigFilterSm final : public CommonComponentRmSeqConfigSmBase, private BlockedCall {
 public:
   /// `filteredRmConfig`: the filtered configuration. It outlives the machine.
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
   /// Copies the call unless it would close a cycle. Returns whether the call was copied.
   bool evalSubRouteMap();
   /// Tries the call of a blocked sequence again.
   void handleRouteMapUpdateNotifier() override;

   const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig() const noexcept { return filteredSeqConfig_; }
   Routing::RouteMap::Config * filteredRmConfig() const noexcept { return filteredRmConfig_; }
   const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList() const noexcept { return routeMapBlockedSequenceList_; }
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier() const noexcept { return routeMapUpdateNotifier_; }
   /// The notifier that the sequence watches while it is blocked; null if it is not blocked.
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifierSubScriber() const noexcept { return updateSubScriber_; }

 private:
   void handleChangeMissed() override;
   void routeMapUpdateNotifierSubScriberIs( const Quoin::Ptr<const RouteMapUpdateNotifier> & notifier );

   Quoin::Ptr<Routing::RouteMap::MapEntry> filteredSeqConfig_;
   Routing::RouteMap::Config * filteredRmConfig_;
   Quoin::Ptr<RouteMapBlockedSequenceList> routeMapBlockedSequenceList_;
   Quoin::Ptr<const RouteMapUpdateNotifier> routeMapUpdateNotifier_;
   Quoin::Ptr<const RouteMapUpdateNotifier> updateSubScriber_;
};

/// Creates the machine and switches it on.
ROUTEPOLICY_API Quoin::Ptr<CommonComponentRmSeqConfigFilterSm> commonComponentRmSeqConfigFilterSmFactory(
   const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
   const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig, Routing::RouteMap::Config * filteredRmConfig,
   const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier, std::span<const MatchOptionRow> ownOptions = {} );

}   // namespace Routing::Policy
