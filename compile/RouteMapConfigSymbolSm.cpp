#include "compile/RouteMapConfigSymbolSm.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/trailmark/Trailmark.h"

namespace Routing::Policy {

using Quoin::DisplayPointer;
using Quoin::makeNode;
using Routing::RouteMap::Map;
using Routing::RouteMap::PolicySymbol;

namespace {

const Plinth::TraceHandle trace( "RouteMapConfigSymbolSm" );
const Trailmark::MsgDesc updateTimer( "RouteMapConfigSymbolSm::updateRmStatusAndSymbol" );

// Whether steps of compilation may be traced. Traces list the creation of all sequences first, and then the changes of each.
bool isTraced() {
   return std::ranges::any_of( Plinth::TraceHandle::all(),
                               []( const auto * handle ) { return handle->enabled( Plinth::TraceFacility::level8 ); } );
}

// Holds a flag at true.
struct Holding {
   explicit Holding( bool & flag ) noexcept : flag_( flag ) { flag_ = true; }
   ~Holding() { flag_ = false; }
   bool & flag_;
};

template <class Option, class Clause>
void traceClause( Option option, const Clause & clause ) {
   PLINTH_TRACE( trace, level8 ) << option << ( clause ? " modified" : " deleted" );
}

// Lets a sequence follow the route map of `symbol`; null for none. Returns the present status of this route map; the stored version belongs
// to this status.
template <class SymbolSeq>
Quoin::Ptr<const RouteMapStatus> follow( SymbolSeq & symbolSeq, const Quoin::Ptr<const RouteMapSymbol> & symbol, const char * kind ) {
   const auto status = symbol ? symbol->rmStatus() : nullptr;
   PLINTH_TRACE( trace, level8 ) << " changing " << kind << " symbol from=" << DisplayPointer::toString( symbolSeq.symbol().get() )
                                 << " to=" << DisplayPointer::toString( symbol.get() );
   symbolSeq.currentVersionIs( symbol ? symbol->notifierVersion() : 0 );
   symbolSeq.symbolIs( symbol );
   return status;
}

}   // namespace

RmConfigSymbolSmHelperBase::~RmConfigSymbolSmHelperBase() = default;

RouteMapConfigSymbolSm::RouteMapConfigSymbolSm(
   const Quoin::Ptr<const Map> & routeMap, const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<PolicyRoot> & policyRoot,
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor, const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
   const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier, const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler,
   const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers, const Quoin::Ptr<DeferredPublications> & deferred )
      : RouteMapConfigSmBase( routeMap ),
        rmSymbol_( rmSymbol ),
        policyRoot_( policyRoot ),
        rmConfigSymbolReactor_( rmConfigSymbolReactor ),
        rmConfigSymbolHelper_( rmConfigSymbolHelper ),
        routeMapOpModeNotifier_( routeMapOpModeNotifier ),
        rmUpdateTaskScheduler_( rmUpdateTaskScheduler ),
        matchAggRoleUsers_( matchAggRoleUsers ),
        deferred_( deferred ) {
   QUOIN_ASSERT( rmSymbol_, "rmSymbol()" );
   QUOIN_ASSERT( rmConfigSymbolReactor_, "rmConfigSymbolReactor()" );
   QUOIN_ASSERT( rmConfigSymbolHelper_, "rmConfigSymbolHelper()" );
   QUOIN_ASSERT( rmUpdateTaskScheduler_, "rmUpdateTaskScheduler()" );
   symbolReactorReactor_.notifierIs( rmConfigSymbolReactor );
   handleInitialized();
}

RouteMapConfigSymbolSm::~RouteMapConfigSymbolSm() {
   stop();
   if( rmConfigSymbolReactor_->modifiedRmSeqStatusList() == modifiedRmSeqStatusList_ )   // a successor may have set its own list
      rmConfigSymbolReactor_->modifiedRmSeqStatusListIs( nullptr );
}

void RouteMapConfigSymbolSm::handleInitialized() {
   modifiedRmSeqStatusList_ = makeNode<ModifiedRouteMapSeqStatusList>();
   rmConfigSymbolReactor_->modifiedRmSeqStatusListIs( modifiedRmSeqStatusList_ );
   routeMapSymbolUpdateTask_ =
      std::make_unique<Zeugma::Task>( rmUpdateTaskScheduler_, Zeugma::TaskPriority::routeMap,
                                      Quoin::String( "RouteMapSymbolUpdate_" ) + ( routeMap() ? routeMap()->name() : Quoin::String() ),
                                      [ this ] { handleRouteMapSymbolUpdateTask(); } );
   undefinedReferenceSeq_ = makeNode<UndefinedReferenceSeq>();
   begunAt_ = routeMap() ? routeMap()->mapEntry().version() : 0;
   appliesAtOnce_ = !isTraced();
   RouteMapConfigSmBase::handleInitialized();
   begunAt_.reset();
   appliesAtOnce_ = false;
}

void RouteMapConfigSymbolSm::handleReactor( const Quoin::Change & change ) {
   switch( RmConfigSymbolReactor::Field( change.field ) ) {
      case RmConfigSymbolReactor::Field::reevaluate: return handleVersion();
      case RmConfigSymbolReactor::Field::pendingUpdate: rmSymbol_->statusCurrentIs( false ); return scheduleUpdateTask();
   }
}

// ---- one step at a time

// Handles each sequence that was created or deleted since the sequences were read, and the pending updates.
void RouteMapConfigSymbolSm::handleChangeMissed() {
   {
      const Holding step( inStep_ );   // a publication between two sequences would show half of the changes
      handleMissedSeqs( seqConfigSm() );
   }
   handleVersion();
   if( !rmConfigSymbolReactor_->pendingUpdate().empty() || !rmSymbol_->statusCurrent() ) scheduleUpdateTask();
}

bool RouteMapConfigSymbolSm::putOff( Asked what ) noexcept {
   if( inStep_ ) asked_ = std::max( asked_, what );
   return inStep_;
}

void RouteMapConfigSymbolSm::handlePutOff() {
   const auto asked = std::exchange( asked_, Asked::nothing );
   if( asked == Asked::nothing || zombieReactors() ) return;
   if( !rmConfigSymbolReactor_->pendingUpdate().empty() ) scheduleUpdateTask();   // its run may have been deferred
   if( asked == Asked::compile )
      handleVersion();
   else
      maybeUpdateRmStatusAndSymbol();
}

// ---- edit scopes

// Whether publication is deferred: a scope is open, or a scope has ended and it is not the turn of this route map.
bool RouteMapConfigSymbolSm::isDeferred() const noexcept {
   return deferred_ && ( deferred_->isEdited() || ( deferred_->isPending() && !inTurn_ ) );
}

void RouteMapConfigSymbolSm::defer() {
   deferred_->routeMapIs( name() );
   rmSymbol_->statusCurrentIs( false );
}

void RouteMapConfigSymbolSm::scheduleUpdateTask() {
   if( isDeferred() )
      defer();
   else if( !routeMapSymbolUpdateTask_->taskScheduled() )
      routeMapSymbolUpdateTask_->scheduleTask( deferred_ ? deferred_->turn( name() ) : 0 );
}

void RouteMapConfigSymbolSm::handleDeferred() {
   const Quoin::Ptr<RouteMapConfigSymbolSm> self( this );
   const Holding turn( inTurn_ );
   if( zombieReactors() ) return;
   if( isFirstAndEmpty() )
      publishEmpty();
   else
      handleRouteMapSymbolUpdateTask();
}

// ---- creation and deletion of sequences

void RouteMapConfigSymbolSm::handleRouteMapSeq() {
   {
      const Holding step( inStep_ );   // a publication between two sequences would show half of the changes
      RouteMapConfigSmBase::handleRouteMapSeq();
   }
   if( !begunAt_ ) return handlePutOff();   // in the first compilation, handleVersion() follows
   // A sequence may have been deleted after an earlier machine published it, and before this machine was created.
   if( const auto status = rmSymbol_->rmStatus() )
      for( const auto & [ seqno, seqStatus ] : status->seqStatus() )
         if( !seqConfigGet( seqno ) ) modifiedRmSeqStatusList_->seqStatusIs( ModifiedRouteMapSeqStatus( { seqno } ) );
}

void RouteMapConfigSymbolSm::handleRouteMapSeq( uint32_t seqno ) {
   const auto isReplaced = [ & ] {
      const auto * sm = seqConfigSm_.get( seqno );
      return sm && sm->seqConfig().get() != seqConfigGet( seqno );
   };
   if( !seqConfigGet( seqno ) || isReplaced() ) deleteSeq( seqno );
   // A subscriber of the publication may have created the sequence, which is handled by now, or released this machine.
   if( seqConfigGet( seqno ) && !seqConfigSm_.get( seqno ) && !zombieReactors() ) createSeq( seqno );
}

void RouteMapConfigSymbolSm::seqConfigSmIs( uint32_t seqno, const Quoin::Ptr<RmSeqConfigSymbolSmBase> & sm ) {
   if( sm && sm->rmConfigSymbolReactor() != rmConfigSymbolReactor_ ) asksSequences_ = true;
   seqConfigSm_.put( seqno, sm );
   rmConfigSymbolReactor_->ledger()->recordedIs( seqno );   // its records were written before it was found here
}

void RouteMapConfigSymbolSm::createSeq( uint32_t seqno ) {
   PLINTH_TRACE( trace, level8 ) << "creating seqno: " << seqno;
   const auto entry = seqConfig( seqno );
   const auto sm =
      rmConfigSymbolHelper_->createSeqConfigSm( routeMap()->name(), entry, rmSymbol_, rmConfigSymbolReactor_, routeMapOpModeNotifier_ );
   if( seqConfigGet( seqno ) != entry.get() ) {   // a subscriber may have deleted or replaced the sequence
      if( rmSymbol_->rmStatus() ) maybeUpdateRmStatusAndSymbol();
      return;
   }
   seqConfigSmIs( seqno, sm );
   if( seqConfigSm_.get( seqno ) != sm.get() ) return;
   undefinedReferenceSeq_->removeSeq( seqno );   // of a former sequence with this number and a pending tombstone
   modifiedRmSeqStatusList_->seqStatusIs( copyOf( nullptr, seqno ) );
   // While its records are in the cache. A subscriber of the list may have deleted or replaced the sequence.
   if( appliesAtOnce_ && seqConfigGet( seqno ) == entry.get() ) addChanges( seqno, *sm );
}

void RouteMapConfigSymbolSm::deleteSeq( uint32_t seqno ) {
   PLINTH_TRACE( trace, level8 ) << "deleting seqno: " << seqno;
   seqConfigSmDel( seqno );
   continueSeqMap()->continueSeqDel( seqno );
   rmConfigSymbolReactor_->pendingUpdateDel( seqno );
   if( seqConfigSm_.get( seqno ) ) return;   // a subscriber has created the sequence again, and its entry is in the list
   if( published( seqno ) ) {
      modifiedRmSeqStatusList_->seqStatusIs( ModifiedRouteMapSeqStatus( { seqno } ) );
   } else {   // never published
      modifiedRmSeqStatusList_->seqStatusDel( { seqno } );
      undefinedReferenceSeq_->removeSeq( seqno );
      if( !rmSymbol_->rmStatus() ) {
         // The machine may await a symbol for this sequence. To watch it further would keep the symbol in its table.
         if( awaitedReactor_.notifier() ) scheduleUpdateTask();
         awaitedReactor_.notifierIs( nullptr );
         return;
      }
   }
   maybeUpdateRmStatusAndSymbol();
}

Quoin::Ptr<const RouteMapSeqStatus> RouteMapConfigSymbolSm::published( uint32_t seqno ) const {
   const auto & status = taken_ ? taken_ : rmSymbol_->rmStatus();
   return status ? status->seqStatus( seqno ) : nullptr;
}

ModifiedRouteMapSeqStatus RouteMapConfigSymbolSm::copyOf( const Quoin::Ptr<const RouteMapSeqStatus> & status, uint32_t seqno ) const {
   return ModifiedRouteMapSeqStatus( { seqno }, RouteMapSeqStatus::newFrom( status, seqno ),
                                     seqConfigSm_.get( seqno )->undefinedRefsTracker() );
}

// ---- changes of the configuration

void RouteMapConfigSymbolSm::handleVersion() {
   if( putOff( Asked::compile ) ) return;
   // A subscriber has created or deleted sequences during the first compilation: handleChangeMissed() follows.
   if( begunAt_ && routeMap() && routeMap()->mapEntry().version() != *begunAt_ ) return rmSymbol_->statusCurrentIs( false );
   if( isFirstAndEmpty() ) return isDeferred() ? defer() : publishEmpty();
   if( rmSymbol_->rmStatus() && !hasModifiedSequence() && modifiedRmSeqStatusList_->seqStatus().empty() ) {
      PLINTH_TRACE( trace, level8 ) << "No modified sequences, skipping symbol update";
      if( rmConfigSymbolReactor_->pendingUpdate().empty() ) rmSymbol_->statusCurrentIs( true );
      return;
   }
   if( !appliesAtOnce_ || hasModifiedSequence() ) addChangesToModifiedSeqStatusList();
   PLINTH_TRACE( trace, level8 ) << "changes added to " << name();
   maybeUpdateRmStatusAndSymbol();
}

// Whether the route map is declared, has no sequences and was never published.
bool RouteMapConfigSymbolSm::isFirstAndEmpty() const {
   return !rmSymbol_->rmStatus() && routeMap() && routeMap()->version() != 0 && modifiedRmSeqStatusList_->seqStatus().empty();
}

void RouteMapConfigSymbolSm::publishEmpty() {
   auto empty = makeNode<RouteMapStatus>( routeMap()->name() );
   empty->undefinedReferencesIs( {} );
   rmSymbol_->updateAndNotify( empty );
}

bool RouteMapConfigSymbolSm::hasModifiedSequence() const {
   if( asksSequences_ ) return std::ranges::any_of( seqConfigSm(), []( const auto & member ) { return member.second->isModified(); } );
   return rmConfigSymbolReactor_->ledger()->findModified( [ this ]( uint32_t seqno ) {
      const auto * sm = seqConfigSm().find( seqno );
      return sm && ( *sm )->isModified();
   } );
}

ModifiedRouteMapSeqStatus RouteMapConfigSymbolSm::getOrCreateModifiedSeqStatusEntry( uint32_t seqno ) const {
   if( const auto * listed = modifiedRmSeqStatusList_->seqStatusGet( { seqno } ); listed && listed->seqStatus() ) return *listed;
   auto modifiedEntry = copyOf( published( seqno ), seqno );
   QUOIN_ASSERT( modifiedEntry.seqStatus() != nullptr, "modifiedEntry.seqStatus() != nullptr" );
   return modifiedEntry;
}

void RouteMapConfigSymbolSm::addChangesToModifiedSeqStatusList() {
   const Holding step( inStep_ );
   for( auto i = seqConfigSm().first(); i; i.next() ) {
      const auto sm = i.value();
      // The machine is yet to be notified that the sequence was deleted or replaced.
      if( switchesOnNested() && sm->seqConfig().get() != seqConfigGet( i.key() ) ) continue;
      addChanges( i.key(), *sm );
   }
}

// Each record is removed when it is applied; a record that is written meanwhile waits for the next compilation.
void RouteMapConfigSymbolSm::addChanges( uint32_t seqno, RmSeqConfigSymbolSmBase & sm ) {
   const auto seqConfig = this->seqConfig( seqno );
   QUOIN_ASSERT( seqConfig, "seqConfig" );
   auto entry = getOrCreateModifiedSeqStatusEntry( seqno );
   const auto isStill = [ & ] { return seqConfigSm_.get( seqno ) == &sm; };
   const auto store = [ & ] {
      if( isStill() ) modifiedRmSeqStatusList_->seqStatusIs( entry );
   };
   const auto pending = rmConfigSymbolReactor_->pendingUpdate( seqno );
   addMatcherChanges( entry, sm, pending.get() );
   addSetterChanges( entry, sm, pending.get() );
   addContinueChange( seqno, *entry.seqStatus(), *sm.sequenceChange() );
   addSubRouteMapChange( entry, sm, pending.get(), seqConfig->subRouteMap().invertResult );
   addAggRoleAttrMapChange( entry, sm, pending.get() );
   addSymbols( sm );
   rmConfigSymbolReactor_->pendingUpdateApply( seqno, [ & ]( const auto & left ) {   // the calls above may have created it
      addPending( entry, left );
      store();
   } );
   sm.sequenceChange()->permitChangeIs( false );
   entry.seqStatus()->matchActionIs( seqConfig->permit() );
   if( isStill() && !sm.isModified() ) rmConfigSymbolReactor_->ledger()->appliedIs( seqno );
   store();
   if( !seqConfigSm_.get( seqno ) ) {   // a subscriber has deleted the sequence; what was entered afterwards is deleted too
      undefinedReferenceSeq_->removeSeq( seqno );
      continueSeqMap()->continueSeqDel( seqno );
   }
}

void RouteMapConfigSymbolSm::addMatcherChanges( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm,
                                                PendingSymbolUpdate * pending ) {
   const auto changes = sm.sequenceChange();
   for( auto i = changes->matcherChange().safeIterator(); i; i.next() ) {
      const MatchOption option = i.key();
      const auto change = changes->matcherChange( option );
      sm.handleMatcherApplied( *change, sm.sequenceChangeSym()->matcherChangeSymbol( option ).get() );
      changes->matcherChangeDel( option );
      if( pending ) pending->matcherChangeDel( option );   // the configuration has priority
      traceClause( option, change->matcher() );
      change->matcher() ? entry.seqStatus()->matcherIs( option, change->matcher() ) : entry.seqStatus()->matcherDel( option );
      entry.maybeSetUndefinedRefFlagFromMatcher( change );
   }
}

void RouteMapConfigSymbolSm::addSetterChanges( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm,
                                               PendingSymbolUpdate * pending ) {
   for( auto i = sm.sequenceChange()->setterChange().safeIterator(); i; i.next() ) {
      const SetOption option = i.key();
      const auto change = sm.sequenceChange()->setterChangeDel( option );
      if( pending ) pending->setterChangeDel( option );
      traceClause( option, change->setter() );
      change->setter() ? entry.seqStatus()->setterIs( option, change->setter() ) : entry.seqStatus()->setterDel( option );
      entry.maybeSetUndefinedRefFlagFromSetter( change );
   }
}

void RouteMapConfigSymbolSm::addContinueChange( uint32_t seqno, RouteMapSeqStatus & status, SequenceChange & change ) {
   const auto continueChange = change.continueChange();
   if( !continueChange ) return;
   change.continueChangeIs( nullptr );
   const uint32_t target = continueChange->continueSeq();
   const bool goesForward = target == 0 || target > seqno;
   if( continueChange->enabled() && !goesForward )
      PLINTH_TRACE( trace, level8 ) << name() << " seqno " << seqno << " continue " << target << " does not go forward and is ignored";
   if( continueChange->enabled() && goesForward )
      continueSeqMap()->continueSeqIs( seqno, target );
   else
      continueSeqMap()->continueSeqDel( seqno );
   status.continueSeqIs( nullptr );   // linked later, when all targets are known
}

void RouteMapConfigSymbolSm::addSubRouteMapChange( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm,
                                                   PendingSymbolUpdate * pending, bool invertResult ) {
   const auto change = sm.sequenceChangeSym()->subRouteMapChangeSymbol();
   if( !change ) return;
   sm.sequenceChangeSym()->subRouteMapChangeSymbolIs( nullptr );
   const auto & symbol = change->symbol();
   if( symbol ) sm.handleSymbolNamed();
   const auto status = follow( *sm.subRmSymSeq(), symbol, "sub-route-map" );
   entry.seqStatus()->subRouteMapIs( status );
   entry.seqStatus()->subInvertIs( symbol && invertResult );
   entry.setSubRouteMapUndefined( symbol && !status );
   undefinedReferenceSeq_->updateSubRouteMapReference( entry.key().seqno, status );
   if( pending ) pending->hasSubRouteMapUpdateIs( false );
}

void RouteMapConfigSymbolSm::addAggRoleAttrMapChange( ModifiedRouteMapSeqStatus & entry, RmSeqConfigSymbolSmBase & sm,
                                                      PendingSymbolUpdate * pending ) {
   const auto change = sm.sequenceChangeSym()->aggRoleAttrMapChangeSymbol();
   if( !change ) return;
   sm.sequenceChangeSym()->aggRoleAttrMapChangeSymbolIs( nullptr );
   const auto & symbol = change->symbol();
   const auto status = follow( *sm.aggRoleAttrMapSymSeq(), symbol, "AggRoleAttrMap" );
   entry.seqStatus()->aggRoleAttrMapIs( status );
   entry.setAggRoleAttrMapUndefined( symbol && !status );
   undefinedReferenceSeq_->updateAggRoleAttrMapReference( entry.key().seqno, status );
   if( pending ) pending->hasAggRoleAttrMapUpdateIs( false );
}

// Replaces the symbols that the sequence watches. The list of symbols of a clause is replaced as a whole. The symbols of a change that is
// not applied yet stay recorded.
void RouteMapConfigSymbolSm::addSymbols( RmSeqConfigSymbolSmBase & sm ) {
   const auto apply = [ &sm ]( auto option, const PolicySymbols & symbols, const auto & present, auto && record ) {
      if( symbols.empty() ) {
         PLINTH_TRACE( trace, level8 ) << option << " symbol is deleted";
         if( present ) present->policySymbolListDel( option );
         return;
      }
      sm.handleSymbolNamed();
      const auto list = makeNode<PolicySymbolListOf<decltype( option )>>( option );
      for( const auto & symbol : symbols ) list->policySymbolIs( symbol );
      record()->policySymbolListIs( option, list );
   };
   const auto changes = sm.sequenceChangeSym();
   for( auto i = changes->matcherChangeSymbol().safeIterator(); i; i.next() ) {
      if( sm.sequenceChange()->matcherChange().find( i.key() ) ) continue;
      const auto change = changes->matcherChangeSymbolDel( i.key() );
      apply( change->option(), change->matchSymbol(), sm.matchSymSeqIfAny(), [ &sm ] { return sm.matchSymSeq(); } );
   }
   for( auto i = changes->setterChangeSymbol().safeIterator(); i; i.next() ) {
      const auto change = changes->setterChangeSymbolDel( i.key() );
      apply( change->option(), change->setSymbol(), sm.setSymSeqIfAny(), [ &sm ] { return sm.setSymSeq(); } );
   }
}

// Applies the changes that symbols have published, and their undefined references.
void RouteMapConfigSymbolSm::addPending( ModifiedRouteMapSeqStatus & entry, const Quoin::Ptr<const PendingSymbolUpdate> & pending ) {
   const uint32_t seqno = entry.key().seqno;
   addPendingUpdatesToSeqStatus( entry.seqStatus(), pending );
   if( pending->hasSubRouteMapUpdate() ) {
      entry.setSubRouteMapUndefined( !pending->subRouteMapStatus() );
      undefinedReferenceSeq_->updateSubRouteMapReference( seqno, pending->subRouteMapStatus() );
   }
   for( const auto & [ option, change ] : pending->matcherChange() ) entry.maybeSetUndefinedRefFlagFromMatcher( change );
   for( const auto & [ option, change ] : pending->setterChange() ) entry.maybeSetUndefinedRefFlagFromSetter( change );
   if( pending->hasAggRoleAttrMapUpdate() ) {
      entry.setAggRoleAttrMapUndefined( !pending->aggRoleAttrMapStatus() );
      undefinedReferenceSeq_->updateAggRoleAttrMapReference( seqno, pending->aggRoleAttrMapStatus() );
   }
}

// ---- changes of symbols

void RouteMapConfigSymbolSm::handleRouteMapSymbolUpdateTask() {
   const Quoin::Ptr<RouteMapConfigSymbolSm> self( this );
   if( zombieReactors() || putOff( Asked::decision ) ) return;
   if( isDeferred() ) return defer();
   PLINTH_TRACE( trace, level8 ) << name() << " symbol update task";
   for( auto i = rmConfigSymbolReactor_->pendingUpdate().safeIterator(); i; i.next() ) addPendingUpdate( i.key() );
   maybeUpdateRmStatusAndSymbol();
}

void RouteMapConfigSymbolSm::addPendingUpdate( uint32_t seqno ) {
   const Holding step( inStep_ );
   rmConfigSymbolReactor_->pendingUpdateApply( seqno, [ & ]( const auto & pending ) {
      if( pending->hasNoPendingChanges() || !seqConfigSm_.get( seqno ) ) {
         PLINTH_TRACE( trace, level8 ) << "seqno " << seqno << " has no changes";
         return;
      }
      auto entry = getOrCreateModifiedSeqStatusEntry( seqno );
      addPending( entry, pending );
      modifiedRmSeqStatusList_->seqStatusIs( entry );
      PLINTH_TRACE( trace, level8 ) << "symbol updates added to " << name() << ", seqno " << seqno;
   } );
}

// ---- the decision to publish

void RouteMapConfigSymbolSm::maybeUpdateRmStatusAndSymbol() {
   if( zombieReactors() || putOff( Asked::decision ) ) return;
   if( isDeferred() ) {
      defer();
   } else if( modifiedRmSeqStatusList_->seqStatus().empty() ) {
      awaitedReactor_.notifierIs( nullptr );
      if( rmConfigSymbolReactor_->pendingUpdate().empty() ) rmSymbol_->statusCurrentIs( true );
      PLINTH_TRACE( trace, level8 ) << "No change to route map";
   } else if( hasRmPolicySymbolProcessingCompleted() ) {
      updateRmStatusAndSymbol();
   } else {
      rmSymbol_->statusCurrentIs( false );
      PLINTH_TRACE( trace, level8 ) << name() << " processing not complete";
   }
   handlePutOff();
}

// Whether a symbol is not current. Publication then waits, and the machine watches the symbol until it is current.
bool RouteMapConfigSymbolSm::isAwaited( const Quoin::Ptr<const PolicySymbol> & symbol ) {
   if( !symbol || symbol->statusCurrent() ) return false;
   awaitedReactor_.notifierIs( symbol );
   return true;
}

// A symbol may become current without a new version: the task ends the wait. If a new version follows, it is published before the task
// runs.
void RouteMapConfigSymbolSm::handleAwaited( const Quoin::Change & change ) {
   if( change.field != Quoin::FieldId( PolicySymbol::Field::statusCurrent ) ) return;
   if( static_cast<const PolicySymbol &>( *awaitedReactor_.notifier() ).statusCurrent() ) scheduleUpdateTask();
}

template <class SymbolLists>
bool RouteMapConfigSymbolSm::areAwaited( const SymbolLists & lists, uint32_t seqno ) {
   for( const auto & [ option, list ] : lists )
      for( const auto & symbol : list->policySymbol() ) {
         if( !isAwaited( symbol ) ) continue;
         PLINTH_TRACE( trace, level8 ) << seqno << " " << option << " is not complete";
         return true;
      }
   return false;
}

bool RouteMapConfigSymbolSm::hasRmPolicySymbolProcessingCompleted() {
   awaitedReactor_.notifierIs( nullptr );
   if( !rmConfigSymbolReactor_->pendingUpdate().empty() ) {
      PLINTH_TRACE( trace, level8 ) << "there are pending updates";
      return false;
   }
   if( !asksSequences_ && !hasModifiedSequence() && rmConfigSymbolReactor_->ledger()->symbolsAreCurrent() ) return true;
   for( const auto & [ seqno, sm ] : seqConfigSm() ) {
      if( sm->isModified() ) {
         PLINTH_TRACE( trace, level8 ) << seqno << " has unprocessed modifications";
         return false;
      }
      if( const auto & match = sm->matchSymSeqIfAny(); match && areAwaited( match->policySymbolList(), seqno ) ) return false;
      if( const auto & set = sm->setSymSeqIfAny(); set && areAwaited( set->policySymbolList(), seqno ) ) return false;
      if( const auto & sub = sm->subRmSymSeqIfAny(); sub && isAwaited( sub->symbol() ) ) {
         PLINTH_TRACE( trace, level8 ) << seqno << " sub-rm is not complete";
         return false;
      }
   }
   return true;
}

// ---- publication

uint32_t RouteMapConfigSymbolSm::targetSeqnoForOrigin( uint32_t originSeqno ) const {
   PLINTH_TRACE( trace, level8 ) << "originSeqno: " << originSeqno;
   const auto continues = continueSeqMap()->continueSeqGet( originSeqno );
   if( !continues ) return 0;
   const auto isKnown = [ this ]( uint32_t seqno ) { return modifiedRmSeqStatusList_->seqStatusGet( { seqno } ) || published( seqno ); };
   const uint32_t target = continues->target();
   if( target != 0 ) return seqConfigSm_.get( target ) && isKnown( target ) ? target : 0;
   if( originSeqno == std::numeric_limits<uint32_t>::max() ) return 0;   // no sequence can follow
   for( auto i = seqConfigSm().lowerBound( originSeqno + 1 ); i; i.next() )
      if( isKnown( i.key() ) ) return i.key();
   return 0;
}

// Copies a sequence into the next generation if the target of its continue changes.
void RouteMapConfigSymbolSm::maybeCloneSeqStatusToModifiedList( uint32_t seqno, uint32_t targetSeqno ) {
   PLINTH_TRACE( trace, level8 ) << "seqno: " << seqno << ", targetSeqno: " << targetSeqno;
   if( modifiedRmSeqStatusList_->seqStatusGet( { seqno } ) ) return;
   const auto rmSeqStatus = published( seqno );
   QUOIN_ASSERT( nullptr != rmSeqStatus, "nullptr != rmSeqStatus" );
   const bool targetIsReplaced = targetSeqno != 0 && modifiedRmSeqStatusList_->seqStatusGet( { targetSeqno } );
   const auto & linked = rmSeqStatus->continueSeq();
   if( !targetIsReplaced && ( !linked || linked->seqno() == targetSeqno ) ) return;
   modifiedRmSeqStatusList_->seqStatusIs( copyOf( rmSeqStatus, seqno ) );
}

// Links each sequence that continues to its target. The highest number is first: each target is final before a sequence links to it.
void RouteMapConfigSymbolSm::linkContinues() {
   std::unordered_map<uint32_t, std::vector<uint32_t>> originsOf;   // by target number
   for( auto i = continueSeqMap()->continueSeq().first(); i; i.next() ) {
      const uint32_t originSeqno = i.key(), targetSeqno = targetSeqnoForOrigin( originSeqno );
      if( targetSeqno != 0 ) {
         QUOIN_ASSERT( targetSeqno > originSeqno, "targetSeqno > originSeqno" );
         originsOf[ targetSeqno ].push_back( originSeqno );
      }
      maybeCloneSeqStatusToModifiedList( originSeqno, targetSeqno );
   }
   for( auto i = modifiedRmSeqStatusList_->seqStatus().first(); i; i.next() ) {
      const auto seqStatus = i.value().seqStatus();
      if( !seqStatus ) continue;
      const uint32_t seqno = i.key().seqno, target = targetSeqnoForOrigin( seqno );
      Quoin::Ptr<const RouteMapSeqStatus> targetSeq;
      if( target != 0 ) {
         const auto * listed = modifiedRmSeqStatusList_->seqStatusGet( { target } );
         targetSeq = listed && listed->seqStatus() ? Quoin::Ptr<const RouteMapSeqStatus>( listed->seqStatus() ) : published( target );
         QUOIN_ASSERT( nullptr != targetSeq, "nullptr != targetSeq" );
      }
      seqStatus->continueSeqIs( targetSeq );
      if( const auto origins = originsOf.find( seqno ); origins != originsOf.end() )
         for( const uint32_t origin : origins->second ) maybeCloneSeqStatusToModifiedList( origin, seqno );
   }
}

// The features are those of the last generation and of the changed sequences, unless a changed sequence has lost a feature.
Quoin::Ptr<RouteMapStatus> RouteMapConfigSymbolSm::newRmStatus() {
   const auto & list = modifiedRmSeqStatusList_->seqStatus();
   auto newStatus = RouteMapStatus::successorOf( rmSymbol_->rmStatus(), name() );
   RouteMapFeatures before, now;
   std::for_each( list.rbegin(), list.rend(), [ & ]( const auto & entry ) {   // ascending: new sequences leave full blocks
      if( const auto old = published( entry.first.seqno ) ) before.updateFrom( old->getFeatures() );
      if( !entry.second.seqStatus() ) return;
      now.updateFrom( entry.second.seqStatus()->getFeatures() );
      newStatus->seqStatusIs( entry.second.seqStatus() );
   } );
   for( const auto & [ key, entry ] : list ) {
      if( !entry.seqStatus() ) {
         newStatus->seqStatusDel( key.seqno );
         undefinedReferenceSeq_->removeSeq( key.seqno );
      } else if( entry.undefinedReferenceRequiresUpdate() ) {
         undefinedReferenceSeq_->updateDirectSequenceReference( key.seqno, entry );
      }
   }
   if( now.includes( before ) ) {
      now.updateFrom( newStatus->features() );
      newStatus->featuresIs( now );
      newStatus->updateFeaturesOnSeqStatusChangeIs( true );
   } else {
      newStatus->updateFeatures();
   }
   return newStatus;
}

// Completes the next generation and empties the list.
Quoin::Ptr<RouteMapStatus> RouteMapConfigSymbolSm::takeNextGeneration() {
   const Holding step( inStep_ );
   linkContinues();
   const auto newStatus = newRmStatus();
   taken_ = newStatus;                            // a subscriber may delete a sequence of it
   modifiedRmSeqStatusList_->seqStatusDelAll();   // later changes belong to the generation after this one
   if( matchAggRoleUsers_ ) {
      if( newStatus->features().has( RouteMapFeatures::matchAggregateRole ) )
         matchAggRoleUsers_->mapNameIs( name() );
      else
         matchAggRoleUsers_->mapNameDel( name() );
   }
   UndefinedPolicyReferenceBitfield undefined;
   if( newStatus->seqStatus().empty() ) undefined.setAllUndefined();
   if( undefinedReferenceSeq_->hasUndefinedReference() ) undefined = undefinedReferenceSeq_->mergedUndefinedReferences();
   newStatus->undefinedReferencesIs( undefined );
   return newStatus;
}

void RouteMapConfigSymbolSm::updateRmStatusAndSymbol() {
   const Trailmark::BlockTimer timer( updateTimer );
   const auto symbol = rmSymbol_;   // a subscriber may release the machine
   const auto next = takeNextGeneration();
   next->makePlan();
   taken_ = nullptr;
   symbol->updateAndNotify( next );
}

Quoin::Ptr<RouteMapConfigSymbolSm> routeMapConfigSymbolSmFactory(
   const Quoin::Ptr<const Map> & routeMap, const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<PolicyRoot> & policyRoot,
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor, const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
   const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier, const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler,
   const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers, const Quoin::Ptr<DeferredPublications> & deferred ) {
   return Zeugma::makeSm<RouteMapConfigSymbolSm>( routeMap, rmSymbol, policyRoot, rmConfigSymbolReactor, rmConfigSymbolHelper,
                                                  routeMapOpModeNotifier, rmUpdateTaskScheduler, matchAggRoleUsers, deferred );
}

}   // namespace Routing::Policy
