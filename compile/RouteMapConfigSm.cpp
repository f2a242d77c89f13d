#include "compile/RouteMapConfigSm.h"

#include <new>

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/Assert.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/trailmark/Trailmark.h"

namespace Routing::Policy {

using Quoin::makeNode;
using Routing::RouteMap::Config;
using Routing::RouteMap::Map;

namespace {

const Plinth::TraceHandle trace( "RouteMapConfigSm" );
const Trailmark::MsgDesc createTimer( "RouteMapConfigSm::routeMapConfigSymbolSmIs" );

// Makes the C library join the small free blocks: it does so when a large block is requested. Without this call, one later request would
// join the blocks of all runs of the delete task.
void joinFreeBlocks() {
   ::operator delete( ::operator new( 4096, std::nothrow ) );
}

}   // namespace

RouteMapConfigSm::RouteMapConfigSm( const Quoin::Ptr<const Config> & rmConfig, const Quoin::Ptr<Config> & filteredRmConfig,
                                    const Quoin::Ptr<PolicyRoot> & policyRoot,
                                    const Quoin::Ptr<RmConfigFilterSmHelperBase> & rmConfigFilterHelper,
                                    const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
                                    const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler,
                                    const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers )
      : rmConfig_( rmConfig ),
        filteredRmConfig_( filteredRmConfig ),
        policyRoot_( policyRoot ),
        rmConfigFilterHelper_( rmConfigFilterHelper ),
        rmConfigSymbolHelper_( rmConfigSymbolHelper ),
        rmUpdateTaskScheduler_( rmUpdateTaskScheduler ),
        matchAggRoleUsers_( matchAggRoleUsers ),
        allRmSymbol_( allRouteMapSymbolFactory() ),
        deferred_( makeNode<DeferredPublications>( rmConfig, filteredRmConfig ) ) {
   QUOIN_ASSERT( rmConfig_, "rmConfig()" );
   QUOIN_ASSERT( filteredRmConfig_, "filteredRmConfig()" );
   QUOIN_ASSERT( policyRoot_, "policyRoot()" );
   QUOIN_ASSERT( rmConfigFilterHelper_, "rmConfigFilterHelper()" );
   QUOIN_ASSERT( rmConfigSymbolHelper_, "rmConfigSymbolHelper()" );
   QUOIN_ASSERT( rmUpdateTaskScheduler_, "rmUpdateTaskScheduler()" );
   rmConfigReactor_.notifierIs( rmConfig );
   handleInitialized();
}

RouteMapConfigSm::~RouteMapConfigSm() {
   stop();
   deferred_->taskIs( nullptr );
}

void RouteMapConfigSm::handleInitialized() {
   routeMapOpModeNotifier_ = makeNode<RouteMapOpModeNotifier>();
   handleRouteMapOpMode();
   routeMapUpdateNotifier_ = makeNode<RouteMapUpdateNotifier>();
   rmConfigSymbolReactorColl_ = makeNode<RmConfigSymbolReactorColl>();
   routeMapDeleteTask_ = std::make_unique<Zeugma::Task>( rmUpdateTaskScheduler_, Zeugma::TaskPriority::routeMap, "RouteMapDelete",
                                                         [ this ] { handleRouteMapDeleteTask(); } );
   deferred_->taskIs( routeMapDeleteTask_.get() );
   filteredRmConfig_->routeMapDelAll();
   filteredRmConfig_->callOrderIs();
   routeMapUpdateNotifier_->callOrderIs( filteredRmConfig_->callOrder() );
   handleRouteMaps();
}

// Handles a changed mode and each route map that was created, deleted or replaced since the route maps were read.
void RouteMapConfigSm::handleChangeMissed() {
   if( routeMapOpModeNotifier_->routeMapOpMode() != rmConfig_->routeMapOpMode() ) handleRouteMapOpMode();
   for( auto i = routeMapConfigFilterSm().first(); i; i.next() ) {
      const Quoin::String name = i.key();
      if( i.value()->routeMap() != rmConfig_->routeMap( name ) ) handleRouteMap( name );
   }
   handleRouteMaps();
   handleEdits();
}

void RouteMapConfigSm::handleRouteMaps() {
   for( auto i = rmConfig_->routeMap().first(); i; i.next() ) handleRouteMap( i.key() );
}

void RouteMapConfigSm::handleRmConfig( const Quoin::Change & change ) {
   switch( Config::Field( change.field ) ) {
      case Config::Field::routeMap: return handleRouteMap( Quoin::String( Plinth::keyOf<Quoin::String>( change ) ) );
      case Config::Field::routeMapOpMode: return handleRouteMapOpMode();
      case Config::Field::edits: return handleEdits();
   }
}

// The last edit scope has closed.
void RouteMapConfigSm::handleEdits() {
   if( deferred_->isPending() ) deferred_->scheduleTask();
}

void RouteMapConfigSm::handleRouteMap( const Quoin::String & name ) {
   const auto wanted = rmConfig_->routeMap( name );
   const bool live = filteredRmConfig_->routeMap().find( name );
   const auto filter = routeMapConfigFilterSm_.find( name );
   const auto isPending = [ & ] {
      const auto * pending = pendingDelete_.find( name );
      return pending && *pending;
   };
   const bool isReplaced = filter && filter->routeMap() != wanted && !isPending();
   if( live && ( !wanted || isReplaced ) ) {
      pendingDeleteIs( name, true );
      PLINTH_TRACE( trace, level8 ) << "deferring deletion of rmName: " << name;
   }
   if( !wanted ) return;
   if( isPending() ) {
      PLINTH_TRACE( trace, level8 ) << "deferring creation of rmName: " << name;
      return deferredCreatesIs( name, true );   // the old route map is not yet completely deleted
   }
   if( !live ) createRouteMap( name );
}

void RouteMapConfigSm::createRouteMap( const Quoin::String & name ) {
   PLINTH_TRACE( trace, level8 ) << "creating rmName: " << name;
   const auto input = rmConfig_->routeMap( name );
   const auto symbol = policyRoot_->routeMapTable()->symbol( name );
   symbol->statusCurrentIs( false );
   PLINTH_TRACE( trace, level8 ) << name << " rmSymbol=" << Quoin::DisplayPointer::toString( symbol.get() );
   allRmSymbol_->symbolIs( symbol );
   if( filteredRmConfig_->routeMap().find( name ) ) return;   // a subscriber deleted and created it again
   const auto output = filteredRmConfig_->routeMapIs( name );
   routeMapConfigFilterSm_.put(
      name, Zeugma::makeSm<RouteMapConfigFilterSm>( input, output, filteredRmConfig_, routeMapUpdateNotifier_, rmConfigFilterHelper_ ) );
   const auto reactor = rmConfigSymbolReactorColl_->reactorIs( name );
   {
      const Trailmark::BlockTimer timer( createTimer );
      PLINTH_TRACE( trace, level8 ) << "creating routeMapConfigSymbolSm " << name;
      routeMapConfigSymbolSm_.put( name,
                                   routeMapConfigSymbolSmFactory( output, symbol, policyRoot_, reactor, rmConfigSymbolHelper_,
                                                                  routeMapOpModeNotifier_, rmUpdateTaskScheduler_, matchAggRoleUsers_,
                                                                  deferred_ ) );
   }
   if( rmConfig_->routeMap( name ) != input ) handleRouteMap( name );   // it was deleted or replaced before its copy existed
}

void RouteMapConfigSm::pendingDeleteIs( const Quoin::String & name, bool value ) {
   if( !pendingDelete_.put( name, value ) || !routeMapDeleteTask_ ) return;
   if( deferred_->isEdited() )
      deferred_->scheduleTask();
   else
      routeMapDeleteTask_->scheduleTask( Zeugma::Task::kFirstRank );
}

// Whether a run of the delete task takes the next route map: the machine has other owners than the run, and no edit scope is open.
bool RouteMapConfigSm::goesOn() const {
   return useCount() > 1 && !deferred_->isEdited();
}

// Counts one route map as done. Returns whether the task must yield.
bool RouteMapConfigSm::yieldsAfterOne( uint64_t & done ) {
   ++done;
   return routeMapDeleteTask_->taskShouldYield();
}

// A run takes one name at a time, and copies no collection: a run over many names must not cost more than its share of them. A reaction may
// open an edit scope: the rest is then deferred again.
void RouteMapConfigSm::handleRouteMapDeleteTask() {
   if( deferred_->isEdited() ) return deferred_->scheduleTask();
   const Quoin::Ptr<RouteMapConfigSm> self( this );
   uint64_t done = 0;
   bool yields = false;
   while( !pendingDelete_.empty() && !yields && goesOn() ) {
      deleteRouteMap( pendingDelete_.begin()->first );
      if( done % 64 == 0 ) joinFreeBlocks();
      yields = yieldsAfterOne( done );
   }
   while( !deferredCreates_.empty() && !yields && goesOn() ) {
      const Quoin::String name = deferredCreates_.begin()->first;
      PLINTH_TRACE( trace, level8 ) << "deferred create rmName: " << name;
      handleRouteMap( name );
      const bool isDeferredAgain = pendingDelete_.find( name );
      if( !isDeferredAgain ) deferredCreatesDel( name );
      yields = yieldsAfterOne( done ) || isDeferredAgain;
   }
   if( !yields && pendingDelete_.empty() && deferredCreates_.empty() ) handleDeferred( done );
   routeMapDeleteTask_->taskWorkCountInc( done );
   const size_t left = pendingDelete_.count() + deferredCreates_.count() + deferred_->routeMap().size() + publicationDue_.size();
   routeMapDeleteTask_->taskWorkPendingIs( left );
   if( left == 0 )
      deferred_->isPendingIs( false );
   else if( deferred_->isEdited() )
      deferred_->scheduleTask();   // the end of the scope schedules the task
   else
      routeMapDeleteTask_->scheduleTask( Zeugma::Task::kLastRank );   // other tasks have their turn between two runs
}

// Publishes the deferred route maps and the callers that they affect, in the order of calls: all callees of a route map are published
// before it. A run must not sort all names again: they are kept in order from run to run.
void RouteMapConfigSm::handleDeferred( uint64_t & done ) {
   for( bool yields = false; !yields && goesOn(); ) {
      // An edit may have changed the order since the publications were listed.
      if( const auto moves = filteredRmConfig_->callOrder()->moves(); std::exchange( publicationsOrderedAt_, moves ) != moves )
         for( const auto & [ turn, name ] : std::exchange( publicationDue_, {} ) ) publicationDue_.emplace( deferred_->turn( name ), name );
      for( const auto & name : deferred_->takeAll() ) publicationDue_.emplace( deferred_->turn( name ), name );
      if( publicationDue_.empty() ) return;
      const auto next = publicationDue_.extract( publicationDue_.begin() );
      if( const auto sm = routeMapConfigSymbolSm_.find( next.value().second ) ) sm->handleDeferred();
      yields = yieldsAfterOne( done );
   }
}

void RouteMapConfigSm::deleteRouteMap( const Quoin::String & rmName ) {
   const Quoin::String name = rmName;   // a copy: the argument is part of the pending deletion
   PLINTH_TRACE( trace, level8 ) << "deleting rmName: " << name;
   filteredRmConfig_->routeMapDel( name );
   routeMapConfigFilterSm_.erase( name );
   routeMapConfigSymbolSm_.erase( name );
   rmConfigSymbolReactorColl_->reactorDel( name );
   const Quoin::Ptr<RouteMapSymbol> symbol = allRmSymbol_->symbol( name );
   allRmSymbol_->symbolDel( name );
   if( matchAggRoleUsers_ ) matchAggRoleUsers_->mapNameDel( name );
   if( symbol ) symbol->updateAndNotify( nullptr );
   routeMapUpdateNotifier_->versionInc( 1 );
   pendingDeleteDel( name );
}

void RouteMapConfigSm::handleRouteMapOpMode() {
   filteredRmConfig_->routeMapOpModeIs( rmConfig_->routeMapOpMode() );
   routeMapOpModeNotifier_->routeMapOpModeIs( rmConfig_->routeMapOpMode() );   // a subscriber of the first write may have changed the mode
   PLINTH_TRACE( trace, level8 ) << "RouteMapOpMode updated to: " << rmConfig_->routeMapOpMode();
   for( auto i = routeMapConfigSymbolSm_.machines().first(); i && !zombieReactors(); i.next() ) Quoin::Ptr( i.value() )->handleVersion();
}

Quoin::Ptr<RouteMapConfigSm> routeMapConfigSmFactory(
   const Quoin::Ptr<const Config> & rmConfig, const Quoin::Ptr<Config> & filteredRmConfig, const Quoin::Ptr<PolicyRoot> & policyRoot,
   const Quoin::Ptr<RmConfigFilterSmHelperBase> & rmConfigFilterHelper, const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
   const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler, const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers ) {
   return Zeugma::makeSm<RouteMapConfigSm>( rmConfig, filteredRmConfig, policyRoot, rmConfigFilterHelper, rmConfigSymbolHelper,
                                            rmUpdateTaskScheduler, matchAggRoleUsers );
}

}   // namespace Routing::Policy
