/// @file tests/substrate/zeugma/AllocationCount.h
/// How often this thread has called operator new; the whole program's is replaced by one that counts, and that can fail.
#pragma once

#include <cstddef>

size_t allocationCount() noexcept;

/// While one stands, one call of this thread throws std::bad_alloc, or gives null if it must not throw: the `n`th from then on,
/// the first being 0. One at a time.
class AllocationFailure {
 public:
   explicit AllocationFailure( size_t n ) noexcept;
   ~AllocationFailure();
   AllocationFailure( const AllocationFailure & ) = delete;
   AllocationFailure & operator=( const AllocationFailure & ) = delete;

   /// Whether that call has come.
   bool happened() const noexcept;
};
