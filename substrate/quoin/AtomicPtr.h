/// @file substrate/quoin/AtomicPtr.h
/// A handle that several threads may read while one of them sets it: for what an immutable object computes when it is first asked for.
#pragma once

#include <atomic>

#include "substrate/quoin/Ptr.h"

namespace Quoin {

/// Holds one use of a node, or null. Threading: any thread may call any function; get() returns a node that lives as long as this handle
/// holds it.
template <class T>
class AtomicPtr {
 public:
   AtomicPtr() noexcept = default;
   AtomicPtr( const AtomicPtr & ) = delete;
   AtomicPtr & operator=( const AtomicPtr & ) = delete;
   ~AtomicPtr() { exchange( nullptr ); }

   T * get() const noexcept { return node_.load( std::memory_order_acquire ); }
   /// Stores a handle and returns the former one.
   Ptr<T> exchange( Ptr<T> next ) noexcept { return Ptr<T>::adopt( node_.exchange( next.detach(), std::memory_order_acq_rel ) ); }
   /// Stores `next` if the node is `expected`, and drops the use of that. Returns whether it did.
   bool replace( T * expected, Ptr<T> next ) noexcept {
      if( !node_.compare_exchange_strong( expected, next.get(), std::memory_order_acq_rel ) ) return false;
      (void)next.detach();
      Ptr<T>::adopt( expected );
      return true;
   }

 private:
   std::atomic<T *> node_ = nullptr;
};

}   // namespace Quoin
