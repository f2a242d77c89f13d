#include "rolestatus/AllRouteMapStatusSm.h"

#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

namespace {

const Plinth::TraceHandle smTrace( "AllRouteMapStatusSm" );

constexpr Weft::Gen::Pipeline::Texts kTexts{ "AllRouteMapStatusSm", "allRmStatHasMatchAggregateRoleOutput",
                                             "handleAllRmStatHasMatchAggregateRoleOutputInputReady",
                                             "into( allRmStat.hasMatchAggregateRole )" };
constexpr Weft::Gen::InputSm::Texts kUsersTexts{ "UsersSm0", "weft_pipeline0",
                                                 "Routing::Policy::AllRouteMapStatusSm-UsersSm0InputScanTask0" };

}   // namespace

UsersSm0::UsersSm0( AllRouteMapStatusSm & parent, const Quoin::Ptr<const MatchAggregateRoleUsers> & en )
      : InputSm( parent, 0, kUsersTexts, en, Quoin::FieldId( MatchAggregateRoleUsers::Field::mapName ) ), en_( en ) {
   handleInitialized();
}

UsersSm0::~UsersSm0() {
   stop();
}

AllRouteMapStatusSm * UsersSm0::root() const noexcept {
   return static_cast<AllRouteMapStatusSm *>( parent() );
}

void UsersSm0::handleMapName0() {
   if( auto * pipeline = root() ) pipeline->eventToWeft_pipeline0();
}

bool UsersSm0::scanInput() {
   if( !scanAt_ ) scanAt_ = en_->mapName().safeIterator();
   while( scanAt_ && *scanAt_ ) {
      traceInitial();
      handleMapName0();
      if( !scanAt_ ) break;   // a subscriber has completed the scan
      scanAt_->next();
      if( *scanAt_ && shouldYield0() ) return false;
   }
   scanAt_.reset();
   return true;
}

AllRouteMapStatusSm::AllRouteMapStatusSm( const Quoin::Ptr<const MatchAggregateRoleUsers> & users,
                                          const Quoin::Ptr<AllRouteMapStatus> & allRmStat, const Weft::SmControl & wefterControl )
      : Pipeline( wefterControl, smTrace, kTexts ), users_( users ), allRmStat_( allRmStat ) {
   handleInitialized();
}

AllRouteMapStatusSm::~AllRouteMapStatusSm() {
   stop();
   doDeleteAll();
}

Quoin::Ptr<WefterCode::AllRouteMapStatusSm::InputSmScanState> AllRouteMapStatusSm::inputSmScanState() const {
   return Quoin::staticPtrCast<WefterCode::AllRouteMapStatusSm::InputSmScanState>( inputSmScanStateNode() );
}
Quoin::Ptr<WefterCode::AllRouteMapStatusSm::OutputState> AllRouteMapStatusSm::outputState() const {
   return Quoin::staticPtrCast<WefterCode::AllRouteMapStatusSm::OutputState>( outputStateNode() );
}
Quoin::Ptr<UsersSm0> AllRouteMapStatusSm::usersSm0() const {
   return Quoin::staticPtrCast<UsersSm0>( inputSm( 0 ) );
}

Quoin::Ptr<Weft::Gen::InputSmScanState> AllRouteMapStatusSm::makeInputSmScanState() const {
   return Quoin::makeNode<WefterCode::AllRouteMapStatusSm::InputSmScanState>();
}
Quoin::Ptr<Weft::Gen::OutputState> AllRouteMapStatusSm::makeOutputState() const {
   return Quoin::makeNode<WefterCode::AllRouteMapStatusSm::OutputState>();
}

void AllRouteMapStatusSm::checkArgs() const {
   WEFT_REQUIRED_ARG( users );
   WEFT_REQUIRED_ARG( allRmStat );
}

void AllRouteMapStatusSm::makeInputSms() {
   inputSmIs( Quoin::makeNode<UsersSm0>( *this, users_ ) );
}

void AllRouteMapStatusSm::eventToWeft_pipeline0() {
   if( !initialScanDone() ) return;   // the scan will include this event
   PLINTH_TRACE( trace(), level7 ) << "Line 22: from( users.{{ mapName[] }} ): matchAggUsers={}";
   insert();
}

Quoin::Ptr<AllRouteMapStatusSm> AllRouteMapStatusSmIs( const Quoin::Ptr<const MatchAggregateRoleUsers> & users,
                                                       const Quoin::Ptr<AllRouteMapStatus> & allRmStat,
                                                       const Weft::SmControl & wefterControl ) {
   return Zeugma::makeSm<AllRouteMapStatusSm>( users, allRmStat, wefterControl );
}

}   // namespace Routing::Policy
