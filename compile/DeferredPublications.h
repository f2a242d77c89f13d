/// @file compile/DeferredPublications.h
/// The route maps that wait for the end of an edit scope.
#pragma once

#include <set>

#include "substrate/routemap/Config.h"
#include "substrate/zeugma/Task.h"

namespace Routing::Policy {

/// The publications that an edit scope (Routing::RouteMap::ConfigEdit) defers. The machines of the route maps add their names; the delete
/// task of RouteMapConfigSm publishes these route maps after the scope has ended.
/// Threading: the activity thread.
class ROUTEPOLICY_API DeferredPublications final : public Quoin::Node {
 public:
   using Names = std::set<Quoin::String>;
   /// `config` has the edit scopes, `filteredConfig` the order of calls.
   DeferredPublications( const Quoin::Ptr<const Routing::RouteMap::Config> & config,
                         const Quoin::Ptr<const Routing::RouteMap::Config> & filteredConfig );

   /// The turn of a route map among those that wait for publication: callees are before their callers.
   Routing::RouteMap::CallOrder::Place turn( const Quoin::String & name ) const { return filteredConfig_->callOrder()->place( name ); }

   /// Whether an edit scope is open.
   bool isEdited() const noexcept { return config_->edits() != 0; }
   /// Whether work is deferred and the task has not finished since.
   bool isPending() const noexcept { return isPending_; }
   /// The task sets it to false when it has finished.
   void isPendingIs( bool isPending ) noexcept { isPending_ = isPending; }

   /// The route maps whose publication is deferred.
   const Names & routeMap() const noexcept { return routeMap_; }
   /// Adds a route map, and schedules the task. While a scope is open, the end of the scope schedules the task instead.
   void routeMapIs( const Quoin::String & name );
   /// Empties the set and returns its content.
   Names takeAll() noexcept;

   /// Sets the task; null for none. The task outlives this object, or is reset to null.
   void taskIs( Zeugma::Task * task ) noexcept { task_ = task; }
   /// Records that work is deferred, and schedules the task, unless a scope is open.
   void scheduleTask();

 private:
   Quoin::Ptr<const Routing::RouteMap::Config> config_, filteredConfig_;
   Names routeMap_;
   Zeugma::Task * task_ = nullptr;
   bool isPending_ = false;
};

}   // namespace Routing::Policy
