#include "substrate/quoin/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

namespace Quoin {

void assertFailed( const char * text, const char * file, int line ) noexcept {
   std::fprintf( stderr, "%s:%d: Assertion failed: %s\n", file, line, text );
   std::fflush( stderr );
   std::abort();
}

void endOnException( const char * where ) noexcept {
   try {
      throw;
   } catch( const std::bad_alloc & ) { std::fprintf( stderr, "out of memory\n" ); } catch( const std::exception & e ) {
      std::fprintf( stderr, "exception in %s: %s\n", where, e.what() );
   } catch( ... ) { std::fprintf( stderr, "exception in %s\n", where ); }
   std::fflush( stderr );
   std::abort();
}

}   // namespace Quoin
