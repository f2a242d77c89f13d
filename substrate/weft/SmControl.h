/// @file substrate/weft/SmControl.h
#pragma once

#include <utility>

#include "substrate/plinth/Attribute.h"
#include "substrate/trailmark/Trailmark.h"
#include "substrate/zeugma/Task.h"

namespace Weft {

/// How a pipeline is to be run. A plain value.
class SmControl {
 public:
   SmControl() = default;
   explicit SmControl( Quoin::Ptr<Zeugma::TaskScheduler> scheduler ) : scheduler_( std::move( scheduler ) ) {}

   /// Runs the initial scans; null for the process's own.
   PLINTH_VALUE( scheduler, schedulerIs, {}, Quoin::Ptr<Zeugma::TaskScheduler> );
   /// Of the scans' tasks.
   PLINTH_VALUE( priority, priorityIs, = Zeugma::TaskPriority::normal, Zeugma::TaskPriority );
   /// Every step runs inside the call that causes it, the initial scans too, and no task is made.
   PLINTH_VALUE( synchronous, synchronousIs, = false, bool );

   /// Where the pipeline leaves its trail. Not owned. Errors: MutatorArgNullPointerException on null.
   Trailmark::Handle * trailmarkHandle() const noexcept { return trailmarkHandle_; }
   void trailmarkHandleIs( Trailmark::Handle * handle ) {
      if( !handle ) Plinth::throwMutatorArgNullPointerException( "trailmarkHandleIs" );
      trailmarkHandle_ = handle;
   }

 private:
   Trailmark::Handle * trailmarkHandle_ = &Trailmark::defaultTrailmarkHandle();
};

}   // namespace Weft
