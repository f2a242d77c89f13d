/// @file substrate/quoin/BlockMemory.h
/// Memory for many small objects that come together and go together, as the entries of a compiled list do.
///
/// They are cut off one behind the other from blocks of some kilobytes, each thread from its own. A block goes back to the heap when all
/// that was cut from it has gone; nothing is used again before. So whoever frees a million of them in any order leaves no million holes
/// for the heap to join, while one that stays keeps its block.
#pragma once

#include <cstddef>

#include "routepolicy_export.h"

namespace Quoin {

/// Aligned as for any object of a fundamental type. Errors: std::bad_alloc. Threading: any thread.
ROUTEPOLICY_API void * blockMemory( size_t bytes );
/// Gives back what blockMemory() gave, on whatever thread.
ROUTEPOLICY_API void blockMemoryDel( void * memory ) noexcept;

}   // namespace Quoin
