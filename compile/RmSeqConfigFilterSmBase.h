/// @file compile/RmSeqConfigFilterSmBase.h
/// The base of the machine that copies one sequence into the filtered configuration, and of the helper that creates such machines. An agent
/// derives from both to pass options of its own through the filter; CommonHelpers.h has the common ones.
#pragma once

#include "compile/RouteMapBlockedSequenceList.h"
#include "compile/RouteMapNotifiers.h"
#include "compile/RouteMapSeqConfigSmBase.h"
#include "substrate/routemap/Config.h"

namespace Routing::Policy {

/// Copies one sequence of a route map into the filtered configuration.
/// Ownership: the filter machine of the route map. Threading: the activity thread.
class ROUTEPOLICY_API RmSeqConfigFilterSmBase : public RmSeqConfigSmInterface {
 public:
   /// `filteredRmConfig`: the filtered configuration. It outlives the machine.
   RmSeqConfigFilterSmBase( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                            const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig, Routing::RouteMap::Config * filteredRmConfig,
                            const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                            const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier );
   ~RmSeqConfigFilterSmBase() override;

   const Quoin::String & rmName() const noexcept { return rmName_; }
   const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig() const noexcept { return seqConfig_; }
   uint32_t seqno() const noexcept { return seqConfig_ ? seqConfig_->seqno() : 0; }
   const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig() const noexcept { return filteredSeqConfig_; }
   Routing::RouteMap::Config * filteredRmConfig() const noexcept { return filteredRmConfig_; }
   const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList() const noexcept { return routeMapBlockedSequenceList_; }
   const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier() const noexcept { return routeMapUpdateNotifier_; }
   void formatDerivedType( std::ostream & os ) const override { formatSequence( os, rmName_, seqConfig_.get() ); }

 private:
   Quoin::String rmName_;
   Quoin::Ptr<const Routing::RouteMap::MapEntry> seqConfig_;
   Quoin::Ptr<Routing::RouteMap::MapEntry> filteredSeqConfig_;
   Routing::RouteMap::Config * filteredRmConfig_;
   Quoin::Ptr<RouteMapBlockedSequenceList> routeMapBlockedSequenceList_;
   Quoin::Ptr<const RouteMapUpdateNotifier> routeMapUpdateNotifier_;
};

/// Creates the filter machines of the sequences.
class ROUTEPOLICY_API RmConfigFilterSmHelperBase : public Quoin::Node {
 public:
   ~RmConfigFilterSmHelperBase() override;
   virtual Quoin::Ptr<RmSeqConfigFilterSmBase>
   createSeqConfigSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                      const Quoin::Ptr<Routing::RouteMap::MapEntry> & filteredSeqConfig, Routing::RouteMap::Config * filteredRmConfig,
                      const Quoin::Ptr<RouteMapBlockedSequenceList> & routeMapBlockedSequenceList,
                      const Quoin::Ptr<const RouteMapUpdateNotifier> & routeMapUpdateNotifier ) = 0;
};

}   // namespace Routing::Policy
