/// @file substrate/quoin/UseCount.h
/// The number of uses of an object that several owners share.
#pragma once

#include <cstdint>

#include "substrate/quoin/ThreadControl.h"

namespace Quoin {

/// Starts at one use. Threading: as ThreadControl says. Compiler built-ins keep the header small.
class UseCount {
 public:
   void inc() noexcept {
      if( ThreadControl::threaded() )
         __atomic_fetch_add( &uses_, 1, __ATOMIC_RELAXED );
      else
         ++uses_;
   }
   /// Returns whether it was the last use.
   bool dec() noexcept {
      if( ThreadControl::threaded() ) return __atomic_fetch_sub( &uses_, 1, __ATOMIC_ACQ_REL ) == 1;
      return --uses_ == 0;
   }
   /// Adds a use and returns true, unless no use is left.
   bool incUnlessGone() noexcept {
      uint32_t now = uses();
      while( now != 0 && !__atomic_compare_exchange_n( &uses_, &now, now + 1, true, __ATOMIC_RELAXED, __ATOMIC_RELAXED ) ) {}
      return now != 0;
   }
   /// Whether one use is left. Its owner may then write: what other threads did with their uses has happened.
   bool isOne() const noexcept { return __atomic_load_n( &uses_, __ATOMIC_ACQUIRE ) == 1; }
   /// The present number; only a snapshot when other threads hold uses.
   uint32_t uses() const noexcept { return __atomic_load_n( &uses_, __ATOMIC_RELAXED ); }

 private:
   uint32_t uses_ = 1;
};

}   // namespace Quoin
