/// @file substrate/quoin/BlockMemory.h
/// Memory for many small objects that are created together and deleted together, such as the entries of a compiled list.
/// It stands between those objects and the heap.
///
/// Objects are cut from blocks of 4 kB, one after the other. Each thread cuts from a block of its own. An object larger than an eighth of a
/// block has its own block. A block returns to the heap when all its objects are freed; the space of a single object is not used again
/// before. Freeing a million objects in any order therefore does not leave a million holes in the heap. The price: one object that stays
/// in use keeps its whole block.
#pragma once

#include <cstddef>

#include "routepolicy_export.h"

namespace Quoin {

/// Allocates `bytes` bytes, aligned for any object of a fundamental type. Errors: std::bad_alloc. Threading: any thread.
ROUTEPOLICY_API void * blockMemory( size_t bytes );
/// Frees memory that blockMemory() returned. Null does nothing. Threading: any thread, also another one than the allocating thread.
ROUTEPOLICY_API void blockMemoryDel( void * memory ) noexcept;

}   // namespace Quoin
