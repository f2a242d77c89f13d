#include "substrate/zeugma/DumpContext.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "substrate/quoin/DisplayPointer.h"

namespace Zeugma {

DumpContext::~DumpContext() = default;

void _objDumpPrintf( const DumpContextPtr & ctx, const char * format, ... ) {
   va_list args, again;
   va_start( args, format );
   va_copy( again, args );
   char line[ 256 ];
   const int size = std::vsnprintf( line, sizeof line, format, args );
   va_end( args );
   if( size < 0 ) {   // an encoding error of a wide argument; no caller passes one
   } else if( size_t( size ) < sizeof line ) {
      ctx->append( line, size_t( size ) );
   } else {
      std::vector<char> longLine( size_t( size ) + 1 );
      std::vsnprintf( longLine.data(), longLine.size(), format, again );
      ctx->append( longLine.data(), size_t( size ) );
   }
   va_end( again );
}

void doObjDumpDuplicate( const DumpContextPtr & ctx, const char * type, const void * child, unsigned indent ) {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s %s (duplicate)\n", type, Quoin::DisplayPointer::toString( child ).c_str() );
}

void doObjDumpGeneric( const DumpContextPtr & ctx, const char * type, const void * child, unsigned indent ) {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s %s\n", type, Quoin::DisplayPointer::toString( child ).c_str() );
}

void doObjDumpChildPtrNull( const DumpContextPtr & ctx, const char * type, unsigned indent ) {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "%s NULL\n", type );
}

void doObjDumpMissingAttributes( const DumpContextPtr & ctx, const char * attributes, unsigned indent ) {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "not dumped: %s\n", attributes );
}

}   // namespace Zeugma
