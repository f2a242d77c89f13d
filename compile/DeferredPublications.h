/// @file compile/DeferredPublications.h
#pragma once

#include <set>

#include "substrate/routemap/Config.h"
#include "substrate/zeugma/Task.h"

namespace Routing::Policy {

/// What the route maps of one configuration have put off for an edit scope (Routing::RouteMap::ConfigEdit): shared by the machine of the
/// configuration, whose task does it, and the machines of its route maps. Threading: the activity thread.
class ROUTEPOLICY_API DeferredPublications final : public Quoin::Node {
 public:
   using Names = std::set<Quoin::String>;
   explicit DeferredPublications( const Quoin::Ptr<const Routing::RouteMap::Config> & config );
   ~DeferredPublications() override;

   /// Whether an edit scope is open.
   bool isEdited() const noexcept { return config_->edits() != 0; }
   /// Whether something has been put off since the task finished last.
   bool isPending() const noexcept { return isPending_; }
   /// Written as false by the task, when it has finished.
   void isPendingIs( bool isPending ) noexcept { isPending_ = isPending; }

   /// The route maps that have to be asked again.
   const Names & routeMap() const noexcept { return routeMap_; }
   /// Schedules the task, unless a scope is open: the end of the scope schedules it.
   void routeMapIs( const Quoin::String & name );
   Names takeAll() noexcept;

   /// Null for none. It outlives this, or is set to null.
   void taskIs( Zeugma::Task * task ) noexcept { task_ = task; }
   /// Something is put off: schedules the task as above.
   void scheduleTask();

 private:
   Quoin::Ptr<const Routing::RouteMap::Config> config_;
   Names routeMap_;
   Zeugma::Task * task_ = nullptr;
   bool isPending_ = false;
};

}   // namespace Routing::Policy
