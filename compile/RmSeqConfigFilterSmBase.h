/// @file compile/RmSeqConfigFilterSmBase.h
/// What an agent derives from to bring its own options through the filter.
#pragma once

#include "compile/RouteMapBlockedSequenceList.h"
#include "compile/RouteMapNotifiers.h"
#include "compile/RouteMapSeqConfigSmBase.h"
#include "substrate/routemap/Config.h"

namespace Routing::Policy {

/// Copies one sequence of a route map into the filtered configuration. Threading: the activity thread.
class ROUTEPOLICY_API RmSeqConfigFilterSmBase : public RmSeqConfigSmInterface {
 public:
   /// `filteredRmConfig` is the filtered root, which outlives the machine.
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

/// Makes the sequences' filter machines.
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
