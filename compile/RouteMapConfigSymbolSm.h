/// @file compile/RouteMapConfigSymbolSm.h
/// The machine that compiles and publishes one route map, and the base of the helper that creates the machines of its sequences. The
/// machine is the second stage, after RouteMapConfigFilterSm.
#pragma once

#include <optional>

#include "compile/DeferredPublications.h"
#include "compile/PolicyRoot.h"
#include "compile/RouteMapConfigSmBase.h"
#include "compile/RouteMapNotifiers.h"
#include "compile/RouteMapSeqConfigSmBase.h"
#include "compile/UndefinedReferenceSeq.h"
#include "rolestatus/AllRouteMapStatus.h"
#include "substrate/zeugma/Task.h"

namespace Routing::Policy {

/// Creates the machines of the sequences. An agent derives from it to support options of its own; CommonRmConfigSymbolSmHelper is enough
/// for most agents.
class ROUTEPOLICY_API RmConfigSymbolSmHelperBase : public Quoin::Node {
 public:
   ~RmConfigSymbolSmHelperBase() override;
   virtual Quoin::Ptr<RmSeqConfigSymbolSmBase>
   createSeqConfigSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                      const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                      const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier ) = 0;
};

/// The second stage of one route map: compiles the filtered copy of the route map, and publishes a RouteMapStatus through the symbol of the
/// route map. RouteMapConfigSm owns this machine; RouteMapConfigFilterSm writes the copy.
///
/// Changes arrive in two ways. Changes of the configuration are recorded per sequence; a new version of the route map applies all records.
/// The first compilation applies them without a new version, each sequence as soon as it is created, or, if traces are written, all
/// sequences at the end. Changes of lists and callees become pending updates, which a task applies.
/// Both ways build the next generation in a list of changed sequences. The machine publishes the generation when all lists and callees of
/// the route map are current.
/// Threading: the activity thread.
class ROUTEPOLICY_API RouteMapConfigSymbolSm final : public RouteMapConfigSmBase {
 public:
   /// `matchAggRoleUsers` and `deferred` may be null; the route map and the notifier may be null until they are read. Errors: any
   /// other null argument ends the process. Without `deferred`, edit scopes have no effect.
   RouteMapConfigSymbolSm( const Quoin::Ptr<const Routing::RouteMap::Map> & routeMap, const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
                           const Quoin::Ptr<PolicyRoot> & policyRoot, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                           const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
                           const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                           const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler,
                           const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers,
                           const Quoin::Ptr<DeferredPublications> & deferred = nullptr );
   ~RouteMapConfigSymbolSm() override;

   using SeqConfigSms = Zeugma::NestedSms<uint32_t, RmSeqConfigSymbolSmBase>::Machines;

   void formatDerivedType( std::ostream & os ) const override { os << "rmName: " << name(); }
   void handleRouteMapSeq( uint32_t seqno ) override;
   void handleRouteMapSeq() override;
   void handleVersion() override;
   void handleInitialized() override;
   /// The work of the task: applies the pending updates, and publishes if possible.
   void handleRouteMapSymbolUpdateTask();
   /// Publishes the changes that edit scopes deferred, if possible. Called when no scope is open; callees are called before callers.
   void handleDeferred();

   const Quoin::Ptr<RouteMapSymbol> & rmSymbol() const noexcept { return rmSymbol_; }
   const Quoin::Ptr<PolicyRoot> & policyRoot() const noexcept { return policyRoot_; }
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor() const noexcept { return rmConfigSymbolReactor_; }
   const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper() const noexcept { return rmConfigSymbolHelper_; }
   const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier() const noexcept { return routeMapOpModeNotifier_; }
   const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler() const noexcept { return rmUpdateTaskScheduler_; }
   /// The names of route maps that match on an aggregate role; null for none.
   const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers() const noexcept { return matchAggRoleUsers_; }
   /// The machines of the sequences by number, ascending.
   const SeqConfigSms & seqConfigSm() const noexcept { return seqConfigSm_.machines(); }
   /// Null if the route map has no such sequence.
   Quoin::Ptr<RmSeqConfigSymbolSmBase> seqConfigSm( uint32_t seqno ) const { return seqConfigSm_.find( seqno ); }
   /// Errors: MutatorArgNullPointerException on null.
   void seqConfigSmIs( uint32_t seqno, const Quoin::Ptr<RmSeqConfigSymbolSmBase> & sm );
   void seqConfigSmDel( uint32_t seqno ) { seqConfigSm_.erase( seqno ); }
   const Quoin::Ptr<UndefinedReferenceSeq> & undefinedReferenceSeq() const noexcept { return undefinedReferenceSeq_; }
   const Quoin::Ptr<ModifiedRouteMapSeqStatusList> & modifiedRmSeqStatusList() const noexcept { return modifiedRmSeqStatusList_; }
   const Zeugma::Task & routeMapSymbolUpdateTask() const noexcept { return *routeMapSymbolUpdateTask_; }

   /// Whether any sequence has recorded changes.
   bool hasModifiedSequence() const;
   /// Whether publication is possible: all changes are applied, and all lists and callees are current. If a list or callee is not current,
   /// the machine watches its symbol and checks again when the symbol is current. The attribute map of an aggregate role is not checked.
   bool hasRmPolicySymbolProcessingCompleted();
   /// The target of the continue of sequence `originSeqno`; 0 for none.
   uint32_t targetSeqnoForOrigin( uint32_t originSeqno ) const;

 private:
   enum class Asked : uint8_t { nothing, decision, compile };   // each value includes the previous one

   void handleChangeMissed() override;
   void handleReactor( const Quoin::Change & change );
   void handleAwaited( const Quoin::Change & change );

   const Quoin::String & name() const noexcept { return rmSymbol_->name(); }
   Quoin::Ptr<const RouteMapSeqStatus> published( uint32_t seqno ) const;
   ModifiedRouteMapSeqStatus copyOf( const Quoin::Ptr<const RouteMapSeqStatus> & status, uint32_t seqno ) const;
   bool putOff( Asked what ) noexcept;
   bool isDeferred() const noexcept;
   void defer();
   void scheduleUpdateTask();
   bool isFirstAndEmpty() const;
   void publishEmpty();
   void handlePutOff();
   void createSeq( uint32_t seqno );
   void deleteSeq( uint32_t seqno );

   ModifiedRouteMapSeqStatus getOrCreateModifiedSeqStatusEntry( uint32_t seqno ) const;
   void addChangesToModifiedSeqStatusList();
   void addChanges( uint32_t seqno, RmSeqConfigSymbolSmBase & sm );
   void addMatcherChanges( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm, PendingSymbolUpdate * pending );
   void addSetterChanges( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm, PendingSymbolUpdate * pending );
   void addContinueChange( uint32_t seqno, RouteMapSeqStatus & status, SequenceChange & change );
   void addSubRouteMapChange( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm, PendingSymbolUpdate * pending,
                              bool invertResult );
   void addAggRoleAttrMapChange( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm, PendingSymbolUpdate * pending );
   void addSymbols( RmSeqConfigSymbolSmBase & sm );
   void addPending( ModifiedRouteMapSeqStatus & entry, const Quoin::Ptr<const PendingSymbolUpdate> & pending );
   void addPendingUpdate( uint32_t seqno );

   void maybeUpdateRmStatusAndSymbol();
   bool isAwaited( const Quoin::Ptr<const Routing::RouteMap::PolicySymbol> & symbol );
   template <class SymbolLists>
   bool areAwaited( const SymbolLists & lists, uint32_t seqno );
   void updateRmStatusAndSymbol();
   void linkContinues();
   void maybeCloneSeqStatusToModifiedList( uint32_t seqno, uint32_t targetSeqno );
   Quoin::Ptr<RouteMapStatus> newRmStatus();
   Quoin::Ptr<RouteMapStatus> takeNextGeneration();

   Quoin::Ptr<RouteMapSymbol> rmSymbol_;
   Quoin::Ptr<PolicyRoot> policyRoot_;
   Quoin::Ptr<RmConfigSymbolReactor> rmConfigSymbolReactor_;
   Quoin::Ptr<RmConfigSymbolSmHelperBase> rmConfigSymbolHelper_;
   Quoin::Ptr<const RouteMapOpModeNotifier> routeMapOpModeNotifier_;
   Quoin::Ptr<Zeugma::TaskScheduler> rmUpdateTaskScheduler_;
   Quoin::Ptr<MatchAggregateRoleUsers> matchAggRoleUsers_;   // may be null
   Quoin::Ptr<DeferredPublications> deferred_;               // may be null
   Quoin::Ptr<UndefinedReferenceSeq> undefinedReferenceSeq_;
   Quoin::Ptr<ModifiedRouteMapSeqStatusList> modifiedRmSeqStatusList_;
   Quoin::Ptr<const RouteMapStatus> taken_;   // the generation that is complete and not published yet; null for none
   std::unique_ptr<Zeugma::Task> routeMapSymbolUpdateTask_;
   Zeugma::Reactor<RouteMapConfigSymbolSm> symbolReactorReactor_{ *this, &RouteMapConfigSymbolSm::handleReactor };
   Zeugma::Reactor<RouteMapConfigSymbolSm> awaitedReactor_{ *this, &RouteMapConfigSymbolSm::handleAwaited };   // see isAwaited()
   Zeugma::NestedSms<uint32_t, RmSeqConfigSymbolSmBase> seqConfigSm_{ *this };
   Asked asked_ = Asked::nothing;   // requests during the step in progress
   // In a step, the next generation is incomplete. Subscribers may edit the route map; their requests wait for the end of the step.
   bool inStep_ = false;
   bool inTurn_ = false;               // in handleDeferred()
   std::optional<uint32_t> begunAt_;   // during the first compilation: the version of the sequences at its start
   bool appliesAtOnce_ = false;        // each new sequence, in the first compilation
   bool asksSequences_ = false;        // a sequence does not report to the ledger
};

/// Creates the machine and switches on its notification. The constructor compiles the route map.
ROUTEPOLICY_API Quoin::Ptr<RouteMapConfigSymbolSm> routeMapConfigSymbolSmFactory(
   const Quoin::Ptr<const Routing::RouteMap::Map> & routeMap, const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
   const Quoin::Ptr<PolicyRoot> & policyRoot, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
   const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
   const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier, const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler,
   const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers, const Quoin::Ptr<DeferredPublications> & deferred = nullptr );

}   // namespace Routing::Policy
