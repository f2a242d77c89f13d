#include "substrate/quoin/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Quoin {

void assertFailed( const char * text, const char * file, int line ) noexcept {
   std::fprintf( stderr, "%s:%d: Assertion failed: %s\n", file, line, text );
   std::fflush( stderr );
   std::abort();
}

}   // namespace Quoin
