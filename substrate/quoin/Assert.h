/// @file substrate/quoin/Assert.h
/// The ends of the process: the one assertion of the library, and the end for exceptions that nobody could handle. Both are on in every
/// build type, because a broken invariant must not reach a forwarding table.
#pragma once

#include <utility>

#include "routepolicy_export.h"

namespace Quoin {

/// Prints "file:line: Assertion failed: text" on standard error and aborts. Threading: any.
[[noreturn]] ROUTEPOLICY_API void assertFailed( const char * text, const char * file, int line ) noexcept;

/// Prints "out of memory" for std::bad_alloc, else "exception in WHERE: " and the text of the exception, and aborts. For a catch block.
/// Threading: any.
[[noreturn]] ROUTEPOLICY_API void endOnException( const char * where ) noexcept;

/// Calls `work`, which must not throw: what it does half would leave a wrong policy in force. An exception ends the process; see
/// endOnException().
template <class Work>
void whole( const char * where, Work && work ) noexcept {
   try {
      std::forward<Work>( work )();
   } catch( ... ) { endOnException( where ); }
}

}   // namespace Quoin

/// Ends the process with `text` unless `expr` holds. `text` is a literal of its own, so that a search for the printed text finds
/// this line even after the expression was rewritten.
#define QUOIN_ASSERT( expr, text ) ( __builtin_expect( !!( expr ), 1 ) ? void() : ::Quoin::assertFailed( "" text, __FILE__, __LINE__ ) )
