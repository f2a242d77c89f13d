#include "compile/DeferredPublications.h"

#include <utility>

namespace Routing::Policy {

DeferredPublications::DeferredPublications( const Quoin::Ptr<const Routing::RouteMap::Config> & config,
                                            const Quoin::Ptr<const Routing::RouteMap::Config> & filteredConfig )
      : config_( config ), filteredConfig_( filteredConfig ) {}

void DeferredPublications::routeMapIs( const Quoin::String & name ) {
   routeMap_.insert( name );
   scheduleTask();
}

DeferredPublications::Names DeferredPublications::takeAll() noexcept {
   return std::exchange( routeMap_, {} );
}

void DeferredPublications::scheduleTask() {
   isPending_ = true;
   if( isEdited() || !task_ || task_->taskScheduled() || task_->taskCurrentlyRunning() ) return;
   task_->scheduleTask( Zeugma::Task::kFirstRank );
}

}   // namespace Routing::Policy
