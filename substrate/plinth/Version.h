/// @file substrate/plinth/Version.h
/// The change counter of a collection, and the result of a write. Iterators compare the counter to notice that their collection has
/// changed.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"

namespace Plinth {

/// Counts the changes of the collection that it is a member of. An assignment counts as a change of its target, and a move as a change
/// of its source. A copy starts at 0.
class Version {
 public:
   Version() = default;
   Version( const Version & ) noexcept {}
   Version( Version && from ) noexcept { ++from; }
   Version & operator=( const Version & ) noexcept {
      ++*this;
      return *this;
   }
   Version & operator=( Version && from ) noexcept {
      ++*this;
      ++from;
      return *this;
   }
   void operator++() noexcept { ++number_; }
   operator uint32_t() const noexcept { return number_; }

 private:
   uint32_t number_ = 0;
};

/// What the write of a member has done.
enum class Stored : uint8_t { nothing, added, replaced };

}   // namespace Plinth
