/// @file rolestatus/AllRouteMapStatusSm.h
/// Updates AllRouteMapStatus from the names of the route maps that match on an aggregate role. It is a pipeline with one input and one
/// output:
///
///    from( users.{{ mapName[] }} )             any change of the names
///    into( allRmStat.hasMatchAggregateRole )   whether a name exists
#pragma once

#include <optional>

#include "rolestatus/AllRouteMapStatus.h"
#include "substrate/weft/Pipeline.h"

namespace Routing::Policy {

namespace WefterCode::AllRouteMapStatusSm {

/// The pending scan of the input.
class ROUTEPOLICY_API InputSmScanState final : public Weft::Gen::InputSmScanState {
 public:
   InputSmScanState() noexcept : Weft::Gen::InputSmScanState( 1 ) {}
   bool weft_pipeline0Scan() const noexcept { return scanPending( 0 ); }
   void weft_pipeline0ScanIs( bool pending ) { scanPendingIs( 0, pending ); }
};

/// Whether the output is ready.
class ROUTEPOLICY_API OutputState final : public Weft::Gen::OutputState {
 public:
   OutputState() noexcept : Weft::Gen::OutputState( 1 ) {}
   bool allRmStatHasMatchAggregateRoleOutputReady() const noexcept { return outputReady( 0 ); }
   void allRmStatHasMatchAggregateRoleOutputReadyIs( bool ready ) { outputReadyIs( 0, ready ); }
};

}   // namespace WefterCode::AllRouteMapStatusSm

class AllRouteMapStatusSm;

/// The input machine: watches the names.
class ROUTEPOLICY_API UsersSm0 final : public Weft::Gen::InputSm {
 public:
   UsersSm0( AllRouteMapStatusSm & parent, const Quoin::Ptr<const MatchAggregateRoleUsers> & en );
   ~UsersSm0() override;
   const Quoin::Ptr<const MatchAggregateRoleUsers> & en() const noexcept { return en_; }
   const Zeugma::Task * task0() const noexcept { return task(); }
   bool shouldYield0() const { return shouldYield(); }

   /// Passes a change of the names to the pipeline.
   void handleMapName0();
   void handleMapName0Reactor() { runReactor(); }
   void doInputScan0() { runScan(); }

 private:
   AllRouteMapStatusSm * root() const noexcept;
   void handleInput() override { handleMapName0(); }
   bool scanInput() override;

   Quoin::Ptr<const MatchAggregateRoleUsers> en_;
   std::optional<MatchAggregateRoleUsers::MapNames::SafeIterator> scanAt_;   // where the scan has yielded
};

/// The pipeline. Ownership: shares its input and its output. Threading: the activity thread.
class ROUTEPOLICY_API AllRouteMapStatusSm final : public Weft::Gen::Pipeline {
 public:
   AllRouteMapStatusSm( const Quoin::Ptr<const MatchAggregateRoleUsers> & users, const Quoin::Ptr<AllRouteMapStatus> & allRmStat,
                        const Weft::SmControl & wefterControl );
   ~AllRouteMapStatusSm() override;

   const Quoin::Ptr<const MatchAggregateRoleUsers> & users() const noexcept { return users_; }
   const Quoin::Ptr<AllRouteMapStatus> & allRmStat() const noexcept { return allRmStat_; }
   /// The parts of the pipeline.
   Quoin::Ptr<WefterCode::AllRouteMapStatusSm::InputSmScanState> inputSmScanState() const;
   Quoin::Ptr<WefterCode::AllRouteMapStatusSm::OutputState> outputState() const;
   Quoin::Ptr<UsersSm0> usersSm0() const;

   /// Called by the input machine for each change: schedules the output.
   void eventToWeft_pipeline0();
   void handleAllRmStatHasMatchAggregateRoleOutputInputReady() { handleInputReady(); }

 private:
   Quoin::Ptr<Weft::Gen::InputSmScanState> makeInputSmScanState() const override;
   Quoin::Ptr<Weft::Gen::OutputState> makeOutputState() const override;
   void checkArgs() const override;
   void makeInputSms() override;
   bool value() const override { return !users_->mapName().empty(); }
   void outputIs( bool value ) override { allRmStat_->hasMatchAggregateRoleIs( value ); }

   Quoin::Ptr<const MatchAggregateRoleUsers> users_;
   Quoin::Ptr<AllRouteMapStatus> allRmStat_;
};

/// Creates the machine and switches it on.
ROUTEPOLICY_API Quoin::Ptr<AllRouteMapStatusSm> AllRouteMapStatusSmIs( const Quoin::Ptr<const MatchAggregateRoleUsers> & users,
                                                                       const Quoin::Ptr<AllRouteMapStatus> & allRmStat,
                                                                       const Weft::SmControl & wefterControl );

}   // namespace Routing::Policy
