/// @file substrate/quoin/Seal.h
/// Notices a late change of an object: one after others have computed something from its content. The plans of route maps (policy/) close
/// the seals of the objects that they were made from; a plan is used only as long as no closed seal has been broken.
#pragma once

#include <atomic>
#include <cstdint>

#include "routepolicy_export.h"

namespace Quoin {

/// One mark in an object. The object calls changed() in each of its writers.
/// Threading: any thread may close it; the writer calls changed(). A copy of an object is a new object, so its seal is open.
class ROUTEPOLICY_API Seal {
 public:
   Seal() noexcept = default;
   Seal( const Seal & ) noexcept {}
   Seal & operator=( const Seal & ) noexcept { return *this; }

   /// From now on, a change counts.
   void close() const noexcept {
      if( !closed_.load( std::memory_order_relaxed ) ) closed_.store( true, std::memory_order_relaxed );
   }
   void changed() const noexcept {
      if( closed_.load( std::memory_order_relaxed ) ) [[unlikely]]
         broken_.count.fetch_add( 1, std::memory_order_relaxed );
   }
   /// How many changes of sealed objects the process has seen.
   static uint64_t broken() noexcept { return broken_.count.load( std::memory_order_relaxed ); }

 private:
   // Alone in its cache line: every evaluation reads it.
   struct alignas( 64 ) Broken {
      std::atomic<uint64_t> count = 0;
   };
   static Broken broken_;
   mutable std::atomic<bool> closed_ = false;
};

}   // namespace Quoin
