#include "compile/DeferredPublications.h"

#include <utility>

namespace Routing::Policy {

DeferredPublications::DeferredPublications( const Quoin::Ptr<const Routing::RouteMap::Config> & config ) : config_( config ) {}
DeferredPublications::~DeferredPublications() = default;

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
   task_->scheduleTask();
}

}   // namespace Routing::Policy
