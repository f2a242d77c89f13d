#include "substrate/quoin/DisplayPointer.h"

#include <cinttypes>
#include <cstdio>

namespace Quoin {

std::string DisplayPointer::toString( const void * object ) {
   if( !object ) return "NULL";
   char text[ 2 + 2 * sizeof( uintptr_t ) + 1 ];
   std::snprintf( text, sizeof text, "0x%" PRIxPTR, reinterpret_cast<uintptr_t>( object ) );
   return text;
}

}   // namespace Quoin
