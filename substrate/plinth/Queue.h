/// @file substrate/plinth/Queue.h
/// The queue: first in, first out. It is one of the collections that attributes hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

#include "substrate/plinth/Version.h"

namespace Plinth {

/// A queue of values. Threading: any number of readers, or one writer.
template <class V>
class Queue {
 public:
   size_t count() const noexcept { return items_.size(); }
   bool empty() const noexcept { return items_.empty(); }
   uint32_t version() const noexcept { return version_; }

   void enqueue( V value ) {
      items_.push_back( std::move( value ) );
      ++version_;
   }

   /// Removes and returns the oldest value. An empty queue returns a default-built value and does not change.
   V dequeue() {
      if( empty() ) return V{};
      V value = std::move( items_.front() );
      items_.pop_front();
      ++version_;
      return value;
   }

   /// The oldest value, or null. Valid until the next change, as is back().
   const V * front() const noexcept { return empty() ? nullptr : &items_.front(); }
   /// The newest value, or null.
   const V * back() const noexcept { return empty() ? nullptr : &items_.back(); }

   void clear() {
      if( empty() ) return;
      std::deque<V> gone;
      gone.swap( items_ );
      ++version_;
   }

   auto begin() const noexcept { return items_.begin(); }
   auto end() const noexcept { return items_.end(); }

 private:
   std::deque<V> items_;
   Version version_;
};

}   // namespace Plinth
