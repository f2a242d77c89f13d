/// @file substrate/weft/SmControl.h
/// The options of a pipeline: its scheduler, its priority and its ring of records. An agent passes them when it creates a pipeline.
#pragma once

#include <utility>

#include "substrate/plinth/Attribute.h"
#include "substrate/trailmark/Trailmark.h"
#include "substrate/zeugma/Task.h"

namespace Weft {

/// The options of a pipeline. A plain value.
class SmControl {
 public:
   SmControl() = default;
   explicit SmControl( Quoin::Ptr<Zeugma::TaskScheduler> scheduler ) : scheduler_( std::move( scheduler ) ) {}

   /// The scheduler that runs the first scans; null means the default scheduler of the process.
   PLINTH_VALUE( scheduler, schedulerIs, {}, Quoin::Ptr<Zeugma::TaskScheduler> );
   /// The priority of the tasks of the first scans.
   PLINTH_VALUE( priority, priorityIs, = Zeugma::TaskPriority::normal, Zeugma::TaskPriority );
   /// True: every step, including the first scans, runs inside the call that causes it, and the pipeline creates no task.
   PLINTH_VALUE( synchronous, synchronousIs, = false, bool );

   /// The ring that receives the pipeline's records. Not owned. Errors: MutatorArgNullPointerException on null.
   Trailmark::Handle * trailmarkHandle() const noexcept { return trailmarkHandle_; }
   void trailmarkHandleIs( Trailmark::Handle * handle ) {
      if( !handle ) Plinth::throwMutatorArgNullPointerException( "trailmarkHandleIs" );
      trailmarkHandle_ = handle;
   }

 private:
   Trailmark::Handle * trailmarkHandle_ = &Trailmark::defaultTrailmarkHandle();
};

}   // namespace Weft
