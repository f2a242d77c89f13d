/// @file compile/RouteMapConfigSm.h
/// The machine that compiles configured route maps. It stands between a Config, which an agent writes, and the symbols of the route maps,
/// from which evaluation takes the compiled status.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "compile/RouteMapConfigFilterSm.h"
#include "compile/RouteMapConfigSymbolSm.h"

namespace Routing::Policy {

/// Compiles all route maps of a configuration. For each route map, the machine owns two nested machines: a RouteMapConfigFilterSm copies
/// the route map into the filtered configuration, without calls that would close a cycle; a RouteMapConfigSymbolSm compiles the copy, and
/// publishes a RouteMapStatus through the symbol of the route map.
///
///    auto root = makeNode<PolicyRoot>();
///    auto machine = routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<CommonRmConfigFilterSmHelper>(),
///                                            makeNode<CommonRmConfigSymbolSmHelper>( root ), scheduler, nullptr );
///    ... edit `config`, run the scheduler ...
///    root->routeMapTable()->symbol( "IN" )->rmStatus()      // the status that evaluation reads
///
/// A task, not the write itself, removes a deleted route map: until the task runs, evaluation reads the old status. While an edit scope
/// (Routing::RouteMap::ConfigEdit) is open on the configuration, nothing is published. After the scope has ended, the delete task publishes
/// the deferred changes.
/// Ownership: the agent. The machine is the only writer of the filtered configuration. Threading: the activity thread.
class ROUTEPOLICY_API RouteMapConfigSm final : public Zeugma::BaseOutputSm {
 public:
   /// `matchAggRoleUsers` may be null. Errors: any other null argument ends the process.
   RouteMapConfigSm( const Quoin::Ptr<const Routing::RouteMap::Config> & rmConfig,
                     const Quoin::Ptr<Routing::RouteMap::Config> & filteredRmConfig, const Quoin::Ptr<PolicyRoot> & policyRoot,
                     const Quoin::Ptr<RmConfigFilterSmHelperBase> & rmConfigFilterHelper,
                     const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
                     const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler,
                     const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers );
   ~RouteMapConfigSm() override;

   using Names = Plinth::HashMap2018<Quoin::String, bool>;

   /// Creates the shared objects and the machines of all configured route maps.
   void handleInitialized();
   /// The reaction to a route map that was created or deleted.
   void handleRouteMap( const Quoin::String & name );
   /// The reaction to a change of `routeMapOpMode`: copies the mode and compiles every route map again.
   void handleRouteMapOpMode();
   /// The work of the delete task: deletes route maps, creates the deferred ones again, then publishes the changes that edit scopes
   /// deferred.
   void handleRouteMapDeleteTask();

   /// Compares the configured, the copied and the published route maps. Returns one line for each difference, such as
   /// "IN 10: another action is published". None is expected, with one exception: a match clause that was written and deleted between two
   /// versions stays published, and is reported. Pending work is not compared: a route map that waits for its version, for a list, for a
   /// callee or for the delete task. A list whose status changed without a new version of its notifier counts as outdated. For diagnosis
   /// and tests. Cost: linear in the configuration.
   std::vector<std::string> verify() const;

   const Quoin::Ptr<const Routing::RouteMap::Config> & rmConfig() const noexcept { return rmConfig_; }
   const Quoin::Ptr<Routing::RouteMap::Config> & filteredRmConfig() const noexcept { return filteredRmConfig_; }
   const Quoin::Ptr<PolicyRoot> & policyRoot() const noexcept { return policyRoot_; }
   const Quoin::Ptr<RmConfigFilterSmHelperBase> & rmConfigFilterHelper() const noexcept { return rmConfigFilterHelper_; }
   const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper() const noexcept { return rmConfigSymbolHelper_; }
   const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler() const noexcept { return rmUpdateTaskScheduler_; }
   /// The names of route maps that match on an aggregate role; null for none.
   const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers() const noexcept { return matchAggRoleUsers_; }
   /// The symbols of all configured route maps.
   const Quoin::Ptr<AllRouteMapSymbol> & allRmSymbol() const noexcept { return allRmSymbol_; }
   const Quoin::Ptr<RouteMapUpdateNotifier> & routeMapUpdateNotifier() const noexcept { return routeMapUpdateNotifier_; }
   const Quoin::Ptr<RouteMapOpModeNotifier> & routeMapOpModeNotifier() const noexcept { return routeMapOpModeNotifier_; }
   const Quoin::Ptr<RmConfigSymbolReactorColl> & rmConfigSymbolReactorColl() const noexcept { return rmConfigSymbolReactorColl_; }

   /// The names that the delete task will delete, and the names that it will create again afterwards.
   const Names & pendingDelete() const noexcept { return pendingDelete_; }
   const Names & deferredCreates() const noexcept { return deferredCreates_; }
   /// Adds a name to the pending deletions and schedules the task, unless the name is pending with the same value.
   void pendingDeleteIs( const Quoin::String & name, bool value );
   void pendingDeleteDel( const Quoin::String & name ) { pendingDelete_.erase( name ); }
   void deferredCreatesIs( const Quoin::String & name, bool value ) { deferredCreates_.put( name, value ); }
   void deferredCreatesDel( const Quoin::String & name ) { deferredCreates_.erase( name ); }
   /// Null until handleInitialized() has created it.
   const Zeugma::Task * routeMapDeleteTask() const noexcept { return routeMapDeleteTask_.get(); }

 private:
   void handleChangeMissed() override;
   void handleRmConfig( const Quoin::Change & change );
   void handleEdits();
   void handleDeferred( uint64_t & done );
   bool goesOn() const;
   void handleRouteMaps();
   void createRouteMap( const Quoin::String & name );
   void deleteRouteMap( const Quoin::String & name );
   bool yieldsAfterOne( uint64_t & done );

   Quoin::Ptr<const Routing::RouteMap::Config> rmConfig_;
   Quoin::Ptr<Routing::RouteMap::Config> filteredRmConfig_;
   Quoin::Ptr<PolicyRoot> policyRoot_;
   Quoin::Ptr<RmConfigFilterSmHelperBase> rmConfigFilterHelper_;
   Quoin::Ptr<RmConfigSymbolSmHelperBase> rmConfigSymbolHelper_;
   Quoin::Ptr<Zeugma::TaskScheduler> rmUpdateTaskScheduler_;
   Quoin::Ptr<MatchAggregateRoleUsers> matchAggRoleUsers_;
   Quoin::Ptr<AllRouteMapSymbol> allRmSymbol_;
   Quoin::Ptr<DeferredPublications> deferred_;
   Quoin::Ptr<RouteMapUpdateNotifier> routeMapUpdateNotifier_;
   Quoin::Ptr<RmConfigSymbolReactorColl> rmConfigSymbolReactorColl_;
   Quoin::Ptr<RouteMapOpModeNotifier> routeMapOpModeNotifier_;
   std::set<std::pair<Routing::RouteMap::CallOrder::Place, Quoin::String>> publicationDue_;   // deferred route maps
   uint64_t publicationsOrderedAt_ = 0;                                                       // moves() of the order of calls
   Names pendingDelete_;
   Names deferredCreates_;
   std::unique_ptr<Zeugma::Task> routeMapDeleteTask_;
   Zeugma::Reactor<RouteMapConfigSm> rmConfigReactor_{ *this, &RouteMapConfigSm::handleRmConfig };

   /// The two machines of each route map, by name.
   ZEUGMA_NESTED_SMS( routeMapConfigFilterSm, Quoin::String, RouteMapConfigFilterSm );
   ZEUGMA_NESTED_SMS( routeMapConfigSymbolSm, Quoin::String, RouteMapConfigSymbolSm );
};

/// Creates the machine and switches on its notification. The constructor compiles all configured route maps.
ROUTEPOLICY_API Quoin::Ptr<RouteMapConfigSm> routeMapConfigSmFactory( const Quoin::Ptr<const Routing::RouteMap::Config> & rmConfig,
                                                                      const Quoin::Ptr<Routing::RouteMap::Config> & filteredRmConfig,
                                                                      const Quoin::Ptr<PolicyRoot> & policyRoot,
                                                                      const Quoin::Ptr<RmConfigFilterSmHelperBase> & rmConfigFilterHelper,
                                                                      const Quoin::Ptr<RmConfigSymbolSmHelperBase> & rmConfigSymbolHelper,
                                                                      const Quoin::Ptr<Zeugma::TaskScheduler> & rmUpdateTaskScheduler,
                                                                      const Quoin::Ptr<MatchAggregateRoleUsers> & matchAggRoleUsers );

}   // namespace Routing::Policy
