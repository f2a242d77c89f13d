/// @file rolestatus/EffectiveAllRouteMapStatusSm.h
/// Joins the AllRouteMapStatus of configured route maps with the AllRouteMapStatus of functions of the policy language. It is a pipeline
/// with two inputs and one output:
///
///    routeMapStream = from( routemapAllRmStat.hasMatchAggregateRole )
///    gyreStream = from( gyreAllRmStat.hasMatchAggregateRole )
///    merge( routeMapStream, gyreStream )
///    into( effectiveAllRmStat.hasMatchAggregateRole )   whether an input has it
#pragma once

#include "rolestatus/AllRouteMapStatus.h"
#include "substrate/weft/Pipeline.h"

namespace Routing::Policy {

namespace WefterCode::EffectiveAllRouteMapStatusSm {

/// The pending scans of the two inputs.
class ROUTEPOLICY_API InputSmScanState final : public Weft::Gen::InputSmScanState {
 public:
   InputSmScanState() noexcept : Weft::Gen::InputSmScanState( 2 ) {}
   bool routeMapStreamScan() const noexcept { return scanPending( 0 ); }
   void routeMapStreamScanIs( bool pending ) { scanPendingIs( 0, pending ); }
   bool gyreStreamScan() const noexcept { return scanPending( 1 ); }
   void gyreStreamScanIs( bool pending ) { scanPendingIs( 1, pending ); }
};

/// Whether the output is ready.
class ROUTEPOLICY_API OutputState final : public Weft::Gen::OutputState {
 public:
   OutputState() noexcept : Weft::Gen::OutputState( 1 ) {}
   bool effectiveAllRmStatHasMatchAggregateRoleOutputReady() const noexcept { return outputReady( 0 ); }
   void effectiveAllRmStatHasMatchAggregateRoleOutputReadyIs( bool ready ) { outputReadyIs( 0, ready ); }
};

}   // namespace WefterCode::EffectiveAllRouteMapStatusSm

class EffectiveAllRouteMapStatusSm;

/// The first input machine: watches the status of configured route maps.
class ROUTEPOLICY_API RoutemapAllRmStatSm1 final : public Weft::Gen::InputSm {
 public:
   RoutemapAllRmStatSm1( EffectiveAllRouteMapStatusSm & parent, const Quoin::Ptr<const AllRouteMapStatus> & en );
   ~RoutemapAllRmStatSm1() override;
   const Quoin::Ptr<const AllRouteMapStatus> & en() const noexcept { return en_; }
   const Zeugma::Task * task0() const noexcept { return task(); }
   bool shouldYield0() const { return shouldYield(); }

   /// Passes a change of the status to the pipeline.
   void handleHasMatchAggregateRole0();
   void handleHasMatchAggregateRole0Reactor() { runReactor(); }
   void doInputScan0() { runScan(); }

 private:
   EffectiveAllRouteMapStatusSm * root() const noexcept;
   void handleInput() override { handleHasMatchAggregateRole0(); }
   bool scanInput() override;

   Quoin::Ptr<const AllRouteMapStatus> en_;
};

/// The second input machine: watches the status of functions of the policy language.
class ROUTEPOLICY_API GyreAllRmStatSm2 final : public Weft::Gen::InputSm {
 public:
   GyreAllRmStatSm2( EffectiveAllRouteMapStatusSm & parent, const Quoin::Ptr<const AllRouteMapStatus> & en );
   ~GyreAllRmStatSm2() override;
   const Quoin::Ptr<const AllRouteMapStatus> & en() const noexcept { return en_; }
   const Zeugma::Task * task1() const noexcept { return task(); }
   bool shouldYield1() const { return shouldYield(); }

   /// Passes a change of the status to the pipeline.
   void handleHasMatchAggregateRole1();
   void handleHasMatchAggregateRole1Reactor() { runReactor(); }
   void doInputScan1() { runScan(); }

 private:
   EffectiveAllRouteMapStatusSm * root() const noexcept;
   void handleInput() override { handleHasMatchAggregateRole1(); }
   bool scanInput() override;

   Quoin::Ptr<const AllRouteMapStatus> en_;
};

/// The pipeline. Ownership: shares its inputs and its output. Threading: the activity thread.
class ROUTEPOLICY_API EffectiveAllRouteMapStatusSm final : public Weft::Gen::Pipeline {
 public:
   EffectiveAllRouteMapStatusSm( const Quoin::Ptr<const AllRouteMapStatus> & routemapAllRmStat,
                                 const Quoin::Ptr<const AllRouteMapStatus> & gyreAllRmStat,
                                 const Quoin::Ptr<AllRouteMapStatus> & effectiveAllRmStat, const Weft::SmControl & wefterControl );
   ~EffectiveAllRouteMapStatusSm() override;

   const Quoin::Ptr<const AllRouteMapStatus> & routemapAllRmStat() const noexcept { return routemapAllRmStat_; }
   const Quoin::Ptr<const AllRouteMapStatus> & gyreAllRmStat() const noexcept { return gyreAllRmStat_; }
   const Quoin::Ptr<AllRouteMapStatus> & effectiveAllRmStat() const noexcept { return effectiveAllRmStat_; }
   /// The parts of the pipeline.
   Quoin::Ptr<WefterCode::EffectiveAllRouteMapStatusSm::InputSmScanState> inputSmScanState() const;
   Quoin::Ptr<WefterCode::EffectiveAllRouteMapStatusSm::OutputState> outputState() const;
   Quoin::Ptr<RoutemapAllRmStatSm1> routemapAllRmStatSm1() const;
   Quoin::Ptr<GyreAllRmStatSm2> gyreAllRmStatSm2() const;

   /// Called by the first and the second input machine for each change.
   void eventToRouteMapStream( bool value );
   void eventToGyreStream( bool value );
   /// Schedules the output after a change of either input.
   void eventToWeft_pipeline0();
   void handleEffectiveAllRmStatHasMatchAggregateRoleOutputInputReady() { handleInputReady(); }

 private:
   Quoin::Ptr<Weft::Gen::InputSmScanState> makeInputSmScanState() const override;
   Quoin::Ptr<Weft::Gen::OutputState> makeOutputState() const override;
   void checkArgs() const override;
   void makeInputSms() override;
   bool value() const override;
   void outputIs( bool value ) override { effectiveAllRmStat_->hasMatchAggregateRoleIs( value ); }

   Quoin::Ptr<const AllRouteMapStatus> routemapAllRmStat_;
   Quoin::Ptr<const AllRouteMapStatus> gyreAllRmStat_;
   Quoin::Ptr<AllRouteMapStatus> effectiveAllRmStat_;
};

/// Creates the machine and switches it on.
ROUTEPOLICY_API Quoin::Ptr<EffectiveAllRouteMapStatusSm>
EffectiveAllRouteMapStatusSmIs( const Quoin::Ptr<const AllRouteMapStatus> & routemapAllRmStat,
                                const Quoin::Ptr<const AllRouteMapStatus> & gyreAllRmStat,
                                const Quoin::Ptr<AllRouteMapStatus> & effectiveAllRmStat, const Weft::SmControl & wefterControl );

}   // namespace Routing::Policy
