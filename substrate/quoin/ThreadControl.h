/// @file substrate/quoin/ThreadControl.h
/// Decides at run time whether use counts are atomic.
#pragma once

#if __has_include( <sys/single_threaded.h> )
#include <sys/single_threaded.h>
#define QUOIN_HAS_SINGLE_THREADED 1
#else
#define QUOIN_HAS_SINGLE_THREADED 0
#endif

#include "routepolicy_export.h"

namespace Quoin {

/// Counts of nodes are plain while the process has one thread and atomic from its second thread on; the C library tells which.
/// Nothing needs to be called: a process that starts threads is threaded. `threadedIs( true )` is for those whose threads the
/// C library does not see, such as raw clone().
class ROUTEPOLICY_API ThreadControl {
 public:
   /// True when counts must be atomic. Threading: any.
   static bool threaded() noexcept {
#if QUOIN_HAS_SINGLE_THREADED
      return !__libc_single_threaded || __atomic_load_n( &forced_, __ATOMIC_RELAXED );
#else
      return true;
#endif
   }

   /// Forces atomic counts, or leaves the choice to the C library again. Threading: call it while there is one thread.
   static void threadedIs( bool threaded ) noexcept {
      __atomic_store_n( &forced_, threaded, __ATOMIC_RELAXED );
   }

 private:
   static bool forced_;
};

}   // namespace Quoin
