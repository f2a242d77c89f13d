// The smallest use of the installed library: one function that lies in it, one that is inline in its headers.
#include <cstdio>

#include "substrate/quoin/Decimal.h"
#include "substrate/quoin/ThreadControl.h"

int main() {
   const auto length = Quoin::parseDecimal( "24", 32, "prefix length" );
   std::printf( "consumer: read %d, threaded %d\n", int( length ), int( Quoin::ThreadControl::threaded() ) );
   return length == 24 ? 0 : 1;
}
