/// @file substrate/quoin/Assert.h
/// The one assertion of the library. It is on in every build type, because a broken invariant must not reach a forwarding table.
#pragma once

#include "routepolicy_export.h"

namespace Quoin {

/// Prints "file:line: Assertion failed: text" on standard error and aborts. Threading: any.
[[noreturn]] ROUTEPOLICY_API void assertFailed( const char * text, const char * file, int line ) noexcept;

}   // namespace Quoin

/// Ends the process with `text` unless `expr` holds. `text` is a literal of its own, so that a search for the printed text finds
/// this line even after the expression was rewritten.
#define QUOIN_ASSERT( expr, text ) ( __builtin_expect( !!( expr ), 1 ) ? void() : ::Quoin::assertFailed( "" text, __FILE__, __LINE__ ) )
