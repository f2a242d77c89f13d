// Any bytes as a configuration: errors are printable and have a place, and what is loaded is what is written and loaded again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace {

using Agent::LineLoader;

void check( bool holds, const char * what ) {
   if( holds ) return;
   std::fprintf( stderr, "broken: %s\n", what );
   std::abort();
}

void checkErrors( const LineLoader & loader ) {
   for( const auto & error : loader.errors() ) {
      check( error.place.line >= 1 && error.place.line <= loader.text().lines && error.place.column >= 1, "an error has a place" );
      const std::string text = loader.toString( error );
      check( text.starts_with( "fuzz.conf:" ) && text.size() < 1024, "an error is short" );
      for( const char c : text ) check( c >= 0x20 && c < 0x7f, "an error is printable" );
   }
}

// "no" undoes, and a line under the number of another takes its place: of texts without them a second reading changes nothing.
bool onlyAdds( std::string_view bytes ) {
   return bytes.find( "no" ) == bytes.npos && bytes.find( "seq" ) == bytes.npos;
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   const std::string_view bytes( reinterpret_cast<const char *>( data ), size );
   LineLoader loader;
   loader.load( "fuzz.conf", bytes );
   checkErrors( loader );
   const Agent::PolicyText once = loader.text();

   const std::string lines = Agent::writeText( once );
   LineLoader again;
   for( int i = 0; i < 2; ++i ) {
      again.load( "fuzz.conf", lines );
      check( again.errors().empty(), "what is written is free of errors" );
      check( again.text() == once, "what is written says the same, once and twice" );
   }
   check( again.text().passedOverStanzas == 0, "all that is written is policy" );

   const size_t errors = loader.errors().size();
   loader.load( "fuzz.conf", bytes );
   check( loader.errors().size() == 2 * errors || !onlyAdds( bytes ), "a second reading finds the same errors" );
   check( loader.text() == once || !onlyAdds( bytes ), "a second reading changes nothing" );
   return 0;
}
