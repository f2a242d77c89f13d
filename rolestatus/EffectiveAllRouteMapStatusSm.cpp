#include "rolestatus/EffectiveAllRouteMapStatusSm.h"

#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

namespace {

constexpr unsigned kRouteMapStream = 0;
constexpr unsigned kGyreStream = 1;
constexpr auto kField = Quoin::FieldId( AllRouteMapStatus::Field::hasMatchAggregateRole );

const Plinth::TraceHandle smTrace( "EffectiveAllRouteMapStatusSm" );

constexpr Weft::Gen::Pipeline::Texts kTexts{ "EffectiveAllRouteMapStatusSm", "effectiveAllRmStatHasMatchAggregateRoleOutput",
                                             "handleEffectiveAllRmStatHasMatchAggregateRoleOutputInputReady",
                                             "into( effectiveAllRmStat.hasMatchAggregateRole )" };
constexpr Weft::Gen::InputSm::Texts kRoutemapTexts{ "RoutemapAllRmStatSm1", "routeMapStream",
                                                    "Routing::Policy::EffectiveAllRouteMapStatusSm-RoutemapAllRmStatSm1InputScanTask0" };
constexpr Weft::Gen::InputSm::Texts kGyreTexts{ "GyreAllRmStatSm2", "gyreStream",
                                                "Routing::Policy::EffectiveAllRouteMapStatusSm-GyreAllRmStatSm2InputScanTask1" };

}   // namespace

RoutemapAllRmStatSm1::RoutemapAllRmStatSm1( EffectiveAllRouteMapStatusSm & parent, const Quoin::Ptr<const AllRouteMapStatus> & en )
      : InputSm( parent, kRouteMapStream, kRoutemapTexts, en, kField ), en_( en ) {
   handleInitialized();
}

RoutemapAllRmStatSm1::~RoutemapAllRmStatSm1() {
   stop();
}

EffectiveAllRouteMapStatusSm * RoutemapAllRmStatSm1::root() const noexcept {
   return static_cast<EffectiveAllRouteMapStatusSm *>( parent() );
}

void RoutemapAllRmStatSm1::handleHasMatchAggregateRole0() {
   if( auto * pipeline = root() ) pipeline->eventToRouteMapStream( en_->hasMatchAggregateRole() );
}

bool RoutemapAllRmStatSm1::scanInput() {
   traceInitial();
   handleHasMatchAggregateRole0();
   return true;
}

GyreAllRmStatSm2::GyreAllRmStatSm2( EffectiveAllRouteMapStatusSm & parent, const Quoin::Ptr<const AllRouteMapStatus> & en )
      : InputSm( parent, kGyreStream, kGyreTexts, en, kField ), en_( en ) {
   handleInitialized();
}

GyreAllRmStatSm2::~GyreAllRmStatSm2() {
   stop();
}

EffectiveAllRouteMapStatusSm * GyreAllRmStatSm2::root() const noexcept {
   return static_cast<EffectiveAllRouteMapStatusSm *>( parent() );
}

void GyreAllRmStatSm2::handleHasMatchAggregateRole1() {
   if( auto * pipeline = root() ) pipeline->eventToGyreStream( en_->hasMatchAggregateRole() );
}

bool GyreAllRmStatSm2::scanInput() {
   traceInitial();
   handleHasMatchAggregateRole1();
   return true;
}

EffectiveAllRouteMapStatusSm::EffectiveAllRouteMapStatusSm( const Quoin::Ptr<const AllRouteMapStatus> & routemapAllRmStat,
                                                            const Quoin::Ptr<const AllRouteMapStatus> & gyreAllRmStat,
                                                            const Quoin::Ptr<AllRouteMapStatus> & effectiveAllRmStat,
                                                            const Weft::SmControl & wefterControl )
      : Pipeline( wefterControl, smTrace, kTexts ),
        routemapAllRmStat_( routemapAllRmStat ),
        gyreAllRmStat_( gyreAllRmStat ),
        effectiveAllRmStat_( effectiveAllRmStat ) {
   handleInitialized();
}

EffectiveAllRouteMapStatusSm::~EffectiveAllRouteMapStatusSm() {
   stop();
   doDeleteAll();
}

Quoin::Ptr<WefterCode::EffectiveAllRouteMapStatusSm::InputSmScanState> EffectiveAllRouteMapStatusSm::inputSmScanState() const {
   return Quoin::staticPtrCast<WefterCode::EffectiveAllRouteMapStatusSm::InputSmScanState>( inputSmScanStateNode() );
}
Quoin::Ptr<WefterCode::EffectiveAllRouteMapStatusSm::OutputState> EffectiveAllRouteMapStatusSm::outputState() const {
   return Quoin::staticPtrCast<WefterCode::EffectiveAllRouteMapStatusSm::OutputState>( outputStateNode() );
}
Quoin::Ptr<RoutemapAllRmStatSm1> EffectiveAllRouteMapStatusSm::routemapAllRmStatSm1() const {
   return Quoin::staticPtrCast<RoutemapAllRmStatSm1>( inputSm( kRouteMapStream ) );
}
Quoin::Ptr<GyreAllRmStatSm2> EffectiveAllRouteMapStatusSm::gyreAllRmStatSm2() const {
   return Quoin::staticPtrCast<GyreAllRmStatSm2>( inputSm( kGyreStream ) );
}

Quoin::Ptr<Weft::Gen::InputSmScanState> EffectiveAllRouteMapStatusSm::makeInputSmScanState() const {
   return Quoin::makeNode<WefterCode::EffectiveAllRouteMapStatusSm::InputSmScanState>();
}
Quoin::Ptr<Weft::Gen::OutputState> EffectiveAllRouteMapStatusSm::makeOutputState() const {
   return Quoin::makeNode<WefterCode::EffectiveAllRouteMapStatusSm::OutputState>();
}

void EffectiveAllRouteMapStatusSm::checkArgs() const {
   WEFT_REQUIRED_ARG( routemapAllRmStat );
   WEFT_REQUIRED_ARG( gyreAllRmStat );
   WEFT_REQUIRED_ARG( effectiveAllRmStat );
}

void EffectiveAllRouteMapStatusSm::makeInputSms() {
   inputSmIs( Quoin::makeNode<RoutemapAllRmStatSm1>( *this, routemapAllRmStat_ ) );
   inputSmIs( Quoin::makeNode<GyreAllRmStatSm2>( *this, gyreAllRmStat_ ) );
}

bool EffectiveAllRouteMapStatusSm::value() const {
   return routemapAllRmStat_->hasMatchAggregateRole() || gyreAllRmStat_->hasMatchAggregateRole();
}

void EffectiveAllRouteMapStatusSm::eventToRouteMapStream( bool ) {
   PLINTH_TRACE( trace(), level7 ) << "routeMapStream = from( routemapAllRmStat.hasMatchAggregateRole ):";
   eventToWeft_pipeline0();
}

void EffectiveAllRouteMapStatusSm::eventToGyreStream( bool ) {
   PLINTH_TRACE( trace(), level7 ) << "gyreStream = from( gyreAllRmStat.hasMatchAggregateRole ):";
   eventToWeft_pipeline0();
}

void EffectiveAllRouteMapStatusSm::eventToWeft_pipeline0() {
   if( !initialScanDone() ) return;   // the scan will include this event
   PLINTH_TRACE( trace(), level7 ) << "Line 40: merge( routeMapStream, gyreStream ):";
   insert();
}

Quoin::Ptr<EffectiveAllRouteMapStatusSm> EffectiveAllRouteMapStatusSmIs( const Quoin::Ptr<const AllRouteMapStatus> & routemapAllRmStat,
                                                                         const Quoin::Ptr<const AllRouteMapStatus> & gyreAllRmStat,
                                                                         const Quoin::Ptr<AllRouteMapStatus> & effectiveAllRmStat,
                                                                         const Weft::SmControl & wefterControl ) {
   return Zeugma::makeSm<EffectiveAllRouteMapStatusSm>( routemapAllRmStat, gyreAllRmStat, effectiveAllRmStat, wefterControl );
}

}   // namespace Routing::Policy
