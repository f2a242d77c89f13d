/// @file compile/CommonComponentRouteMapSeqConfigSm.h
/// The machines that watch one configured sequence for its common options: a base, and the machine that records changes for compilation.
/// The filter machine has the same base.
/// Threading: the activity thread.
#pragma once

#include "compile/CommonComponent.h"
#include "compile/RouteMapNotifiers.h"
#include "substrate/plinth/Trace.h"

namespace Routing::Policy {

/// Watches a configured sequence and calls one handler for each attribute that changes. The handlers of the two collections get the key.
class ROUTEPOLICY_API CommonComponentRmSeqConfigSmBase : public CommonComponentRmSeqConfigSmInterface {
 public:
   ~CommonComponentRmSeqConfigSmBase() override;

   /// The handlers, one per attribute.
   virtual void handlePermit() = 0;
   virtual void handleSubRouteMap() = 0;
   virtual void handleMatchRule( MatchOption option ) = 0;
   virtual void handleContinueSeq() = 0;
   virtual void handleSetFlags() = 0;
   virtual void handleDistance() = 0;
   virtual void handleDescription( uint32_t key ) = 0;
   /// Calls the handler of every attribute that is set. A derived class calls handleInitialized() as the last step of its construction.
   void handleInitialized();

   const Quoin::String & rmName() const noexcept { return rmName_; }
   const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig() const noexcept { return seqConfig_; }
   uint32_t seqno() const noexcept { return seqConfig_ ? seqConfig_->seqno() : 0; }
   void formatDerivedType( std::ostream & os ) const override { formatSequence( os, rmName_, seqConfig_.get() ); }

 protected:
   CommonComponentRmSeqConfigSmBase( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                                     std::span<const MatchOptionRow> ownOptions = {} );
   /// Calls all handlers, also for attributes that are no longer set, and handleMatchRule() for each supported option.
   void handleChangeMissed() override;
   /// Traces the place of a handler and its machine. Every handler begins with it.
   void traceHandler( const Plinth::TraceHandle & trace, const char * file = __builtin_FILE(), int line = __builtin_LINE(),
                      const char * handler = __builtin_FUNCTION() ) const {
      if( trace.enabled( Plinth::TraceFacility::level8 ) ) [[unlikely]]
         writeTrace( trace, file, line, handler );
   }

 private:
   void handleSeqConfig( const Quoin::Change & change );
   void writeTrace( const Plinth::TraceHandle & trace, const char * file, int line, const char * handler ) const;

   Quoin::String rmName_;
   Quoin::Ptr<const Routing::RouteMap::MapEntry> seqConfig_;
   Zeugma::Reactor<CommonComponentRmSeqConfigSmBase> seqConfigReactor_{ *this, &CommonComponentRmSeqConfigSmBase::handleSeqConfig };
};

/// Turns changes of a sequence into records for the next compilation of its route map. It never changes a published status.
class ROUTEPOLICY_API CommonComponentRmSeqConfigSymbolSm final : public CommonComponentRmSeqConfigSmBase, private Quoin::Subscriber {
 public:
   CommonComponentRmSeqConfigSymbolSm( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                                       const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<PolicyRoot> & policyRoot,
                                       const Quoin::Ptr<SequenceChange> & sequenceChange,
                                       const Quoin::Ptr<SequenceChangeSymbol> & sequenceChangeSym,
                                       const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                                       std::span<const MatchOptionRow> ownOptions = {} );
   ~CommonComponentRmSeqConfigSymbolSm() override { stop(); }

   void handlePermit() override;
   void handleSubRouteMap() override;
   void handleMatchRule( MatchOption option ) override;
   void handleContinueSeq() override;
   void handleSetFlags() override;
   void handleDistance() override;
   void handleDescription( uint32_t key ) override;
   /// The reaction to a change of the mode. It only traces.
   void handleRouteMapOpMode();
   /// Replaces the matcher of a change if its list has changed since the change was recorded.
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) const;

   const Quoin::Ptr<RouteMapSymbol> & rmSymbol() const noexcept { return rmSymbol_; }
   const Quoin::Ptr<PolicyRoot> & policyRoot() const noexcept { return policyRoot_; }
   const Quoin::Ptr<SequenceChange> & sequenceChange() const noexcept { return sequenceChange_; }
   const Quoin::Ptr<SequenceChangeSymbol> & sequenceChangeSym() const noexcept { return sequenceChangeSym_; }
   const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier() const noexcept { return routeMapOpModeNotifier_; }
   /// The flags at the last call of handleSetFlags().
   Routing::RouteMap::MapEntry::SetFlags currentSetFlags() const noexcept { return currentSetFlags_; }

 private:
   // A change of the mode is only traced. A Reactor would also repeat missed changes, and needs twice the memory.
   void onChange( const Quoin::Change & change ) override;

   Quoin::Ptr<RouteMapSymbol> rmSymbol_;
   Quoin::Ptr<PolicyRoot> policyRoot_;
   Quoin::Ptr<SequenceChange> sequenceChange_;
   Quoin::Ptr<SequenceChangeSymbol> sequenceChangeSym_;
   Quoin::Ptr<const RouteMapOpModeNotifier> routeMapOpModeNotifier_;
   Routing::RouteMap::MapEntry::SetFlags currentSetFlags_ = 0;
};

/// Creates the machine and switches it on.
ROUTEPOLICY_API Quoin::Ptr<CommonComponentRmSeqConfigSymbolSm> commonComponentRmSeqConfigSymbolSmFactory(
   const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
   const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<PolicyRoot> & policyRoot,
   const Quoin::Ptr<SequenceChange> & sequenceChange, const Quoin::Ptr<SequenceChangeSymbol> & sequenceChangeSym,
   const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier, std::span<const MatchOptionRow> ownOptions = {} );

}   // namespace Routing::Policy
