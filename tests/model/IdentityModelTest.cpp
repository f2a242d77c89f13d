// Random edits between and inside the notifications of every object that has subscribers: in the end, what is published is what a new
// machine compiles from the configuration.
//    EDIT_PROGRAMS=100000   that many programs; prints edits, seconds and resident memory after each tenth

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "substrate/plinth/Trace.h"
#include "tests/model/EditProgram.h"
#include "tests/model/RandomCases.h"

namespace {

using CompilationModel::EditProgram;

size_t residentKilobytes() {
   size_t all = 0, resident = 0;
   std::ifstream( "/proc/self/statm" ) >> all >> resident;
   return resident * static_cast<size_t>( sysconf( _SC_PAGESIZE ) ) / 1024;
}

TEST( IdentityModel, whatIsPublishedIsWhatIsConfigured ) {
   const char * const told = std::getenv( "EDIT_PROGRAMS" );
   const uint64_t programs = told ? std::strtoull( told, nullptr, 10 ) : 2000 / kCaseShare;
   uint64_t edits = 0, inside = 0, done = 0;
   const auto begun = std::chrono::steady_clock::now();
   const struct Traces {
      Traces() {
         Plinth::TraceHandle::sinkIs( []( const Plinth::TraceRecord & ) {} );
      }
      ~Traces() {
         Plinth::TraceHandle::sinkIs( nullptr );
         levelIs( Plinth::TraceFacility::kOff );
      }
      void levelIs( int level ) const { Plinth::TraceHandle::levelIs( "RouteMapConfigSymbolSm", level ); }
   } traces;
   forSomeCases( programs, [ & ]( Choices & random ) {
      traces.levelIs( random.oneIn( 16 ) ? 8 : Plinth::TraceFacility::kOff );   // a traced first compilation applies all records at its end
      EditProgram program( random );
      EXPECT_EQ( program.run( 40 ), "" );
      edits += program.edits();
      inside += program.editsInside();
      if( ++done % std::max<uint64_t>( programs / 10, 1 ) == 0 && told ) {
         const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
         std::printf( "%llu programs, %llu edits, %.0f s, %zu kB\n", static_cast<unsigned long long>( done ),
                      static_cast<unsigned long long>( edits ), took.count(), residentKilobytes() );
         std::fflush( stdout );
      }
   } );
   if( !HasFailure() ) { EXPECT_GT( inside, 8 * programs ) << edits; }
}

}   // namespace
