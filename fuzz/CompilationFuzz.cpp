// Reads any bytes as a program of edits (tests/model/EditProgram.h) and runs it against the machines of compilation. In the end, the
// published route maps must be those that a new machine compiles from the same configuration, and nothing may be left.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/model/EditProgram.h"

namespace {

using CompilationModel::EditProgram;

constexpr int kSteps = 100;
constexpr uint8_t kEndOfStep = 255;

// Each byte is one choice, except that 255 ends a step: no choice has more than 255 different outcomes.
Choices::Row rowOf( const uint8_t * data, size_t size ) {
   Choices::Row row;
   for( size_t i = 0; i < size; ++i )
      if( data[ i ] == kEndOfStep )
         row.steps.push_back( { row.numbers.size(), 0 } );
      else
         row.numbers.push_back( data[ i ] );
   return row;
}

std::string differencesOf( Choices & choices ) {
   EditProgram program( choices );
   return program.run( kSteps );
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   const auto row = rowOf( data, size );
   Choices choices( row );
   const std::string differences = differencesOf( choices );
   if( differences.empty() ) return 0;
   Choices again( row, true );
   differencesOf( again );
   std::fprintf( stderr, "%s%s\n", differences.c_str(), again.text().c_str() );
   std::abort();
}
