#include "compile/CommonComponentRouteMapSeqConfigSm.h"

#include <utility>

#include "policy/DistanceSetter.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

using Quoin::DisplayPointer;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::RouteMapOpModeType;

namespace {

const Plinth::TraceHandle trace( "CommonComponentRmSeqConfigSymbolSm" );

}   // namespace

CommonComponentRmSeqConfigSmBase::CommonComponentRmSeqConfigSmBase( const Quoin::String & rmName,
                                                                    const Quoin::Ptr<const MapEntry> & seqConfig,
                                                                    std::span<const MatchOptionRow> ownOptions )
      : CommonComponentRmSeqConfigSmInterface( ownOptions ), rmName_( rmName ), seqConfig_( seqConfig ) {
   seqConfigReactor_.notifierIs( seqConfig );
}

CommonComponentRmSeqConfigSmBase::~CommonComponentRmSeqConfigSmBase() = default;

void CommonComponentRmSeqConfigSmBase::handleInitialized() {
   if( !seqConfig_ ) return;
   handlePermit();
   handleSetFlags();
   handleContinueSeq();
   if( seqConfig_->distance() != 0 ) handleDistance();
   if( !seqConfig_->subRouteMap().name.empty() ) handleSubRouteMap();
   for( auto i = seqConfig_->description().first(); i; i.next() ) handleDescription( i.key() );
   for( auto i = seqConfig_->matchRule().first(); i; i.next() ) handleMatchRule( i.key() );
}

void CommonComponentRmSeqConfigSmBase::handleChangeMissed() {
   if( !seqConfig_ ) return;
   handlePermit();
   handleSetFlags();
   handleContinueSeq();
   handleDistance();
   handleSubRouteMap();
   for( auto i = seqConfig_->description().first(); i; i.next() ) handleDescription( i.key() );
   forEachSupported( [ this ]( MatchOption option ) { handleMatchRule( option ); } );
}

void CommonComponentRmSeqConfigSmBase::writeTrace( const Plinth::TraceHandle & trace, const char * file, int line,
                                                   const char * handler ) const {
   PLINTH_TRACE( trace, level8 ) << file << ":" << line << " " << handler << " " << *this;
}

void CommonComponentRmSeqConfigSmBase::handleSeqConfig( const Quoin::Change & change ) {
   switch( MapEntry::Field( change.field ) ) {
      case MapEntry::Field::matchRule: return handleMatchRule( Plinth::keyOf<MatchOption>( change ) );
      case MapEntry::Field::subRouteMap: return handleSubRouteMap();
      case MapEntry::Field::setFlags: return handleSetFlags();
      case MapEntry::Field::description: return handleDescription( Plinth::keyOf<uint32_t>( change ) );
      case MapEntry::Field::distance: return handleDistance();
      case MapEntry::Field::continueSeq: return handleContinueSeq();
      case MapEntry::Field::permit: return handlePermit();
   }
}

CommonComponentRmSeqConfigSymbolSm::CommonComponentRmSeqConfigSymbolSm(
   const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig, const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
   const Quoin::Ptr<PolicyRoot> & policyRoot, const Quoin::Ptr<SequenceChange> & sequenceChange,
   const Quoin::Ptr<SequenceChangeSymbol> & sequenceChangeSym, const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
   std::span<const MatchOptionRow> ownOptions )
      : CommonComponentRmSeqConfigSmBase( rmName, seqConfig, ownOptions ),
        rmSymbol_( rmSymbol ),
        policyRoot_( policyRoot ),
        sequenceChange_( sequenceChange ),
        sequenceChangeSym_( sequenceChangeSym ),
        routeMapOpModeNotifier_( routeMapOpModeNotifier ) {
   if( routeMapOpModeNotifier ) routeMapOpModeNotifier->publisher()->subscriberAdd( this );
   handleInitialized();
}

void CommonComponentRmSeqConfigSymbolSm::onChange( const Quoin::Change & ) {
   if( hasNotificationActive() && !zombieReactors() ) handleRouteMapOpMode();
}

void CommonComponentRmSeqConfigSymbolSm::handlePermit() {
   traceHandler( trace );
   sequenceChange_->permitChangeIs( true );
}

void CommonComponentRmSeqConfigSymbolSm::handleDescription( uint32_t ) {
   traceHandler( trace );
}

// Each handler records the change before it notifies the subscribers of the symbol: a version that one of them raises includes the change.

void CommonComponentRmSeqConfigSymbolSm::handleContinueSeq() {
   traceHandler( trace );
   const bool enabled = seqConfig()->setFlags() & MapEntry::continueSeqSet;
   auto change = Quoin::makeNode<ContinueChange>( enabled );
   if( enabled ) change->continueSeqIs( seqConfig()->continueSeq() );
   sequenceChange_->continueChangeIs( change );
   rmSymbol_->statusCurrentIs( false );
}

void CommonComponentRmSeqConfigSymbolSm::handleSetFlags() {
   traceHandler( trace );
   const auto flags = seqConfig()->setFlags();
   const bool isChanged = ( flags ^ std::exchange( currentSetFlags_, flags ) ) & MapEntry::continueSeqSet;
   isChanged ? handleContinueSeq() : rmSymbol_->statusCurrentIs( false );
}

void CommonComponentRmSeqConfigSymbolSm::handleDistance() {
   traceHandler( trace );
   const auto change = sequenceChange_->setterChangeIs( SetOption::setDistance );
   if( const uint32_t distance = seqConfig()->distance(); distance != 0 ) {
      PLINTH_TRACE( trace, level8 ) << "Instantiating distanceSetter with " << distance;
      change->setterIs( Quoin::makeNode<DistanceSetter>( static_cast<RoutePreference>( distance ) ) );
   }   // else a new record deletes the setter, and a pending record keeps its setter
   rmSymbol_->statusCurrentIs( false );
}

void CommonComponentRmSeqConfigSymbolSm::handleSubRouteMap() {
   traceHandler( trace );
   const auto & sub = seqConfig()->subRouteMap();
   PLINTH_TRACE( trace, level8 ) << "sub-route-map: '" << sub.name << ( sub.invertResult ? " invert-result" : "" ) << "'";
   Quoin::Ptr<RouteMapSymbol> symbol;
   if( !sub.name.empty() ) {
      symbol = policyRoot_->routeMapTable()->symbol( sub.name );
      PLINTH_TRACE( trace, level8 ) << "setting subRouteMapSymbol= " << DisplayPointer::toString( symbol.get() )
                                    << " subRouteMap:rmStatus=" << DisplayPointer::toString( symbol->rmStatus().get() );
   }
   sequenceChangeSym_->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( symbol ) );
}

void CommonComponentRmSeqConfigSymbolSm::handleRouteMapOpMode() {
   traceHandler( trace );
}

void CommonComponentRmSeqConfigSymbolSm::handleMatchRule( MatchOption option ) {
   traceHandler( trace );
   if( !matchRuleSupported( option ) ) return;
   const auto change = sequenceChange_->matcherChangeIs( option );
   const auto symbols = sequenceChangeSym_->matcherChangeSymbolIs( option );
   symbols->matchSymbolDelAll();
   if( const auto * rule = seqConfig()->matchRule().find( option ) ) {
      matchRuleIs( *change, *symbols, *rule, *policyRoot_, ownOptions() );
      rmSymbol_->statusCurrentIs( false );
      if( !seqConfig()->matchRule().find( option ) ) change->matcherIs( nullptr );   // a subscriber has deleted the clause
      return;
   }
   change->listIs( matchOption( option ).list );
   // A new record deletes the matcher. A pending record keeps its matcher if the option is common, and loses it if the option is the
   // agent's.
   if( isOwn( option ) ) change->matcherIs( nullptr );
}

void CommonComponentRmSeqConfigSymbolSm::handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) const {
   const MatchOption option = change.option();
   const auto * rule = seqConfig()->matchRule().find( option );
   if( !rule || !matchRuleSupported( option ) ) return;
   if( !symbols || symbols->matchSymbol().count() != 1 ) return;
   const auto & symbol = **symbols->matchSymbol().begin();
   const auto & row = listOptionRow( option, ownOptions() );
   if( !row.isOfPresentList( *change.matcher(), symbol ) ) matcherIs( change, row, *rule, &symbol );
}

Quoin::Ptr<CommonComponentRmSeqConfigSymbolSm> commonComponentRmSeqConfigSymbolSmFactory(
   const Quoin::String & rmName, const Quoin::Ptr<const MapEntry> & seqConfig, const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
   const Quoin::Ptr<PolicyRoot> & policyRoot, const Quoin::Ptr<SequenceChange> & sequenceChange,
   const Quoin::Ptr<SequenceChangeSymbol> & sequenceChangeSym, const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
   std::span<const MatchOptionRow> ownOptions ) {
   return Zeugma::makeSm<CommonComponentRmSeqConfigSymbolSm>( rmName, seqConfig, rmSymbol, policyRoot, sequenceChange, sequenceChangeSym,
                                                              routeMapOpModeNotifier, ownOptions );
}

}   // namespace Routing::Policy
