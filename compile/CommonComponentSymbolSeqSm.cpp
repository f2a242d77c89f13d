#include "compile/CommonComponentSymbolSeqSm.h"

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/trailmark/Trailmark.h"

namespace Routing::Policy {

using Quoin::DisplayPointer;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::PolicySymbol;
using Routing::RouteMap::PolicySymbolNotifier;
using MatchSymNotifierMap = CommonComponentSymbolSeqSm::NestedSm_MatchSymNotifierMap;
using MatchSymNotifier = MatchSymNotifierMap::NestedSm_MatchSymNotifier;
using Symbol = PolicyMatchSymbolNotifierMap::Symbol;
using Notifier = PolicyMatchSymbolNotifierMap::Notifier;

namespace {

const Plinth::TraceHandle trace( "CommonComponentSymbolSeqSm" );
const Trailmark::MsgDesc handleVersionTimer( "CommonComponentSymbolSeqSm::NestedSm_MatchSymNotifier::handleVersion" );
const Trailmark::MsgDesc modifiedMsg( " RouteMapName={}, seqNum={}, match option={} modified" );

}   // namespace

CommonComponentSymbolSeqSm::CommonComponentSymbolSeqSm( const Quoin::Ptr<const MapEntry> & seqConfig,
                                                        const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
                                                        const Quoin::Ptr<const MatchSymbolSeq> & matchSymbolSeq,
                                                        const Quoin::Ptr<const SubRouteMapSymbolSeq> & subRouteMapSymbolSeq,
                                                        const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                                                        const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                                                        std::span<const MatchOptionRow> ownOptions )
      : CommonComponentRmSeqConfigSmInterface( ownOptions ),
        seqConfig_( seqConfig ),
        rmSymbol_( rmSymbol ),
        matchSymbolSeq_( matchSymbolSeq ),
        subRouteMapSymbolSeq_( subRouteMapSymbolSeq ),
        rmConfigSymbolReactor_( rmConfigSymbolReactor ),
        routeMapOpModeNotifier_( routeMapOpModeNotifier ) {
   matchSymbolsReactor_.notifierIs( matchSymbolSeq );
   subSymbolReactor_.notifierIs( subRouteMapSymbolSeq );
   handleInitialized();
}

CommonComponentSymbolSeqSm::~CommonComponentSymbolSeqSm() {
   stop();
   // A nested machine may have other owners.
   for( const auto & [ option, nested ] : matchSymNotifierMap_.takeAll() ) nested->notifierIs( nullptr );
}

void CommonComponentSymbolSeqSm::handleInitialized() {
   PLINTH_TRACE( trace, level8 ) << "handleInitialized " << *this;
   if( !matchSymbolSeq_ ) return;
   for( auto i = matchSymbolSeq_->policySymbolList().safeIterator(); i; i.next() ) handleMatchSymbolSeq( i.key() );
}

void CommonComponentSymbolSeqSm::handleChangeMissed() {
   for( auto i = matchSymbolNotifierColl_.safeIterator(); i; i.next() ) handleMatchSymbolSeq( i.key() );
   handleInitialized();
   refreshSubRouteMapSymbolNotifier();
}

// The sequence in the next generation, or else in the published one.
Quoin::Ptr<const RouteMapSeqStatus> CommonComponentSymbolSeqSm::seqStatus() const {
   if( const auto & list = rmConfigSymbolReactor_->modifiedRmSeqStatusList() )
      if( const auto * entry = list->seqStatusGet( { seqno() } ) ) return entry->seqStatus();
   const auto & status = rmSymbol_->rmStatus();
   return status ? status->seqStatus( seqno() ) : nullptr;
}

// ---- which symbols the sequence uses

void CommonComponentSymbolSeqSm::handleMatchSymbolSeq( MatchOption option ) {
   PLINTH_TRACE( trace, level8 ) << "match option: " << option;
   if( !matchRuleSupported( option ) ) return;
   const auto list = matchSymbolSeq_ ? matchSymbolSeq_->policySymbolList( option ) : nullptr;
   if( !list || list->policySymbol().empty() ) {
      matchSymbolNotifierColl_.erase( option );
      return matchSymNotifierMapIs( option, nullptr );
   }
   auto map = Quoin::makeNode<PolicyMatchSymbolNotifierMap>( option );
   for( const auto & symbol : list->policySymbol() )
      if( const auto & notifier = symbol->notifier() ) map->policyMatchSymbolNotifierIs( symbol, notifier );
   matchSymbolNotifierColl_.put( option, map );
   matchSymNotifierMapIs( option, map );
}

void CommonComponentSymbolSeqSm::matchSymNotifierMapIs( MatchOption option, const Quoin::Ptr<const PolicyMatchSymbolNotifierMap> & map ) {
   auto nested = Plinth::memberOf( matchSymNotifierMap_, option );
   if( !map ) {
      matchSymNotifierMap_.erase( option );
      if( nested ) nested->notifierIs( nullptr );
      return;
   }
   if( !nested ) {
      nested = Quoin::makeNode<NestedSm_MatchSymNotifierMap>( *this, option );
      matchSymNotifierMap_.put( option, nested );
      nested->hasNotificationActiveIs( true );
   }
   nested->notifierIs( map );
}

void CommonComponentSymbolSeqSm::handleSubRouteMapSymbolSeq( const Quoin::Change & change ) {
   if( SubRouteMapSymbolSeq::Field( change.field ) == SubRouteMapSymbolSeq::Field::symbol ) refreshSubRouteMapSymbolNotifier();
}

void CommonComponentSymbolSeqSm::refreshSubRouteMapSymbolNotifier() {
   const auto symbol = subRouteMapSymbolSeq_ ? subRouteMapSymbolSeq_->symbol() : nullptr;
   subRouteMapSymbolNotifier_ = symbol ? symbol->notifier() : nullptr;
   subNotifierReactor_.notifierIs( subRouteMapSymbolNotifier_ );
   if( subRouteMapSymbolNotifier_ ) handleSubRouteMapSymbol();
}

// ---- changes of the symbols

void CommonComponentSymbolSeqSm::handleSubRouteMapSymbol() {
   const auto symbol = subRouteMapSymbolSeq_ ? subRouteMapSymbolSeq_->symbol() : nullptr;
   if( !symbol ) return;
   const auto compiled = seqStatus();
   const auto pending = rmConfigSymbolReactor_->pendingUpdate( seqno() );
   if( compiled && symbol->rmStatus() == compiled->subRouteMap() ) {
      if( pending ) pending->hasSubRouteMapUpdateIs( false );   // the pending update is outdated
      return;
   }
   if( symbol->notifierVersion() == subRouteMapSymbolSeq_->currentVersion() ) return;
   rmSymbol_->statusCurrentIs( false );
   if( zombieReactors() || subRouteMapSymbolSeq_->symbol() != symbol ) return;   // a subscriber has changed the call
   PLINTH_TRACE( trace, level8 ) << rmSymbol_->name() << " seqno " << seqno() << " updating symbol "
                                 << DisplayPointer::toString( rmSymbol_.get() ) << " with sub-route-map:"
                                 << " rmsymbol=" << DisplayPointer::toString( symbol.get() )
                                 << " rmStatus=" << DisplayPointer::toString( symbol->rmStatus().get() );
   rmConfigSymbolReactor_->pendingUpdateFill( seqno(), [ & ]( PendingSymbolUpdate & update ) {
      update.subRouteMapStatusIs( symbol->rmStatus() );
      update.hasSubRouteMapUpdateIs( true );
   } );
}

// The symbol of a clause; null if the clause was deleted or its symbol is no longer watched.
Quoin::Ptr<const PolicySymbol> CommonComponentSymbolSeqSm::matchSymbolOf( MatchOption option ) const {
   const auto list = matchSymbolSeq_ ? matchSymbolSeq_->policySymbolList( option ) : nullptr;
   if( !seqConfig_ || !seqConfig_->matchRule().find( option ) || !list || list->policySymbol().empty() ) return nullptr;
   QUOIN_ASSERT( list->policySymbol().count() == 1, "policySymbolList->policySymbols() == 1" );
   const auto matchSym = *list->policySymbol().begin();
   QUOIN_ASSERT( matchSym, "nullptr != matchSym" );
   return matchSym;
}

// The reaction to a list that has changed, or that the clause did not use before.
void CommonComponentSymbolSeqSm::handleMatchedList( MatchOption option ) {
   const Trailmark::BlockTimer timer( handleVersionTimer );
   QUOIN_ASSERT( matchRuleSupported( option ), "commonComponentSymbolSeqSm->matchRuleSupported( option )" );
   const auto matchSym = matchSymbolOf( option );
   if( !matchSym ) return;   // the configuration has priority
   Trailmark::defaultTrailmarkHandle().write( modifiedMsg, rmSymbol_->name(), seqno(), stringValue( option ) );
   const auto compiled = seqStatus();
   const auto matcher = compiled ? compiled->matcher( option ) : nullptr;
   const auto & row = listOptionRow( option, ownOptions() );
   if( matcher && row.isOfPresentList( *matcher, *matchSym ) ) return rmConfigSymbolReactor_->removePendingMatcherForSeq( seqno(), option );
   rmSymbol_->statusCurrentIs( false );
   if( zombieReactors() || matchSymbolOf( option ) != matchSym ) return;   // a subscriber has changed the clause
   rmConfigSymbolReactor_->pendingUpdateFill( seqno(), [ & ]( PendingSymbolUpdate & update ) {
      matcherIs( *update.matcherChangeIs( option ), row, *seqConfig_->matchRule().find( option ), matchSym.get() );
   } );
}

void MatchSymNotifierMap::notifierIs( const Quoin::Ptr<const PolicyMatchSymbolNotifierMap> & map ) {
   const Quoin::Ptr<MatchSymNotifierMap> self( this );
   Plinth::NotifieeConst::notifierIs( map );
   for( auto i = matchSymNotifier_.safeIterator(); i; i.next() )
      if( !map || !map->policyMatchSymbolNotifier().contains( i.key() ) ) matchSymNotifierDel( i.key() );
   if( !map ) return;
   for( const auto & [ symbol, notifier ] : map->policyMatchSymbolNotifier() )
      if( this->notifier() == map ) matchSymNotifierIs( symbol, notifier );
}

void MatchSymNotifierMap::handleChange( const Quoin::Change & change ) {
   const Quoin::ReleaseScope whole;
   if( !parent_.isNotified() ) return;
   const auto symbol = Plinth::keyOf<Symbol>( change );
   const auto & map = static_cast<const PolicyMatchSymbolNotifierMap &>( *notifier() );
   matchSymNotifierIs( symbol, map.policyMatchSymbolNotifier( symbol ) );
}

void MatchSymNotifierMap::matchSymNotifierIs( const Symbol & symbol, const Notifier & notifier ) {
   if( !notifier ) return matchSymNotifierDel( symbol );
   if( const auto found = Plinth::memberOf( matchSymNotifier_, symbol ) ) return found->notifierIs( notifier );
   matchSymNotifier_.put( symbol, Quoin::makeNode<MatchSymNotifier>( *this, symbol, notifier ) );
}

void MatchSymNotifierMap::matchSymNotifierDel( Symbol symbol ) {
   const auto gone = Plinth::memberOf( matchSymNotifier_, symbol );
   matchSymNotifier_.erase( symbol );
   if( gone ) gone->notifierIs( nullptr );   // it may have other owners
}

// A new symbol is read at once.
MatchSymNotifier::NestedSm_MatchSymNotifier( NestedSm_MatchSymNotifierMap & parent, const Symbol & matchSymbol, const Notifier & notifier )
      : parent_( parent ), matchSymbol_( matchSymbol ) {
   notifierIs( notifier );
   hasNotificationActiveIs( true );
   if( notifier ) handleVersion();
}

void MatchSymNotifier::handleChange( const Quoin::Change & ) {
   const Quoin::ReleaseScope whole;
   if( parent_.parent_.isNotified() ) handleVersion();
}

void MatchSymNotifier::handleVersion() {
   parent_.parent_.handleMatchedList( parent_.option_ );
}

Quoin::Ptr<CommonComponentSymbolSeqSm> commonComponentSymbolSeqSmFactory(
   const Quoin::Ptr<const MapEntry> & seqConfig, const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
   const Quoin::Ptr<const MatchSymbolSeq> & matchSymbolSeq, const Quoin::Ptr<const SubRouteMapSymbolSeq> & subRouteMapSymbolSeq,
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor, const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
   std::span<const MatchOptionRow> ownOptions ) {
   return Zeugma::makeSm<CommonComponentSymbolSeqSm>( seqConfig, rmSymbol, matchSymbolSeq, subRouteMapSymbolSeq, rmConfigSymbolReactor,
                                                      routeMapOpModeNotifier, ownOptions );
}

}   // namespace Routing::Policy
