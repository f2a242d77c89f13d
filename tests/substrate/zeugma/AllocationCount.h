/// @file tests/substrate/zeugma/AllocationCount.h
/// How often this thread has called operator new; the whole program's is replaced by one that counts.
#pragma once

#include <cstddef>

size_t allocationCount() noexcept;
