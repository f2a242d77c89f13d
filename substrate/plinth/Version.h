/// @file substrate/plinth/Version.h
#pragma once

#include <cstdint>

#include "routepolicy_export.h"

namespace Plinth {

/// Counts the changes of a collection that it is a member of: an assignment changes what it writes to, a move what it leaves behind.
/// A copy counts for itself. A plain value.
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

}   // namespace Plinth
