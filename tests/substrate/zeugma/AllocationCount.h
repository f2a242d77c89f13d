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

/// Memory for everything that this thread allocates while one stands. Once it is read-only, a write to any of these objects, such as an
/// update of a use count, ends the process with SIGSEGV: use it in the child process of a death test. One at a time; memory that is freed
/// is not used again.
class ProtectableMemory {
 public:
   ProtectableMemory();
   ~ProtectableMemory();
   ProtectableMemory( const ProtectableMemory & ) = delete;
   ProtectableMemory & operator=( const ProtectableMemory & ) = delete;

   /// Ends the allocation from this memory and write-protects it for all threads, for good.
   void readOnlyIs();
};
