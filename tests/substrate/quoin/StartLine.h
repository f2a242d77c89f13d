#pragma once

#include <atomic>
#include <thread>

/// All threads set off at once, so that their work overlaps.
class StartLine {
   std::atomic<int> missing_;

 public:
   explicit StartLine( int threads ) : missing_( threads ) {}
   void wait() {
      for( --missing_; missing_ > 0; ) std::this_thread::yield();
   }
};
