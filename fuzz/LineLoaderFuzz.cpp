// Loads any bytes as a configuration. Errors, doubts and applications must be printable and have a place in the text; a loaded policy that
// is written and loaded again must be the same policy.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace {

using Agent::Dialect;
using Agent::LineLoader;
using Agent::Place;
using Agent::PolicyText;

void check( bool holds, const char * what ) {
   if( holds ) return;
   std::fprintf( stderr, "broken: %s\n", what );
   std::abort();
}

void checkText( const std::string & text, const char * what ) {
   check( !text.empty() && text.size() < 2048 && std::all_of( text.begin(), text.end(), []( char c ) { return c >= 0x20 && c < 0x7f; } ),
          what );
}

/// The lines of a text.
class Lines {
 public:
   explicit Lines( std::string_view bytes ) : bytes_( bytes ) {
      for( size_t at = 0; at < bytes.size(); at = std::min( bytes.find( '\n', at ), bytes.size() - 1 ) + 1 ) starts_.push_back( at );
   }
   // The text from a place to the end of its line; empty for a place outside the text. An error may have the place after the last byte.
   std::string_view at( const Place & place ) const {
      if( place.file != 0 || place.line < 1 || place.line > starts_.size() || place.column < 1 ) return {};
      size_t start = starts_[ place.line - 1 ];
      if( place.line == 1 && bytes_.starts_with( "\xef\xbb\xbf" ) ) start += 3;
      const auto line = bytes_.substr( start, bytes_.find( '\n', start ) - start );
      return place.column > line.size() ? std::string_view() : line.substr( place.column - 1 );
   }
   size_t count() const { return starts_.size(); }

 private:
   std::string_view bytes_;
   std::vector<size_t> starts_;
};

void checkErrors( const LineLoader & loader ) {
   for( const auto & error : loader.errors() ) {
      check( error.place.line >= 1 && error.place.line <= loader.text().lines && error.place.column >= 1, "an error has a place" );
      const std::string text = loader.toString( error );
      check( text.starts_with( "fuzz.conf:" ) && text.size() < 1024, "an error is short" );
      checkText( text, "an error is printable" );
   }
}

void checkNotes( const PolicyText & text, const Lines & lines ) {
   check( text.lines == lines.count(), "lines are counted" );
   uint32_t line = 0;
   for( const auto & application : text.applications ) {
      check( application.place.line >= std::exchange( line, application.place.line ), "applications are in the order of the text" );
      check( !application.name.empty() && lines.at( application.place ).starts_with( application.name ), "a name stands at its place" );
      checkText( application.line, "the line of an application is printable" );
   }
   line = 0;
   for( const auto & doubt : text.doubts ) {
      check( doubt.place.line >= std::exchange( line, doubt.place.line ), "doubts are in the order of the text" );
      check( !lines.at( doubt.place ).empty(), "a doubt has a place in the text" );
      checkText( doubt.text, "a doubt is printable" );
   }
   check( text.strayFiles.empty() || ( text == PolicyText() && text.lines != 0 ), "a stray file says nothing of a policy" );
}

// Checks that two loaders have the same result for texts with the same meaning.
void checkAlike( const LineLoader & a, const LineLoader & b, const char * what ) {
   const PolicyText &x = a.text(), &y = b.text();
   check( x == y && x.skippedStanzas == y.skippedStanzas && x.strayFiles == y.strayFiles && x.otherWords == y.otherWords &&
             x.applications.size() == y.applications.size() && x.doubts.size() == y.doubts.size() && a.errors().size() == b.errors().size(),
          what );
}

void checkDialect( Dialect dialect, std::string_view bytes ) {
   LineLoader loader( dialect );
   loader.load( "fuzz.conf", bytes );
   checkErrors( loader );
   const PolicyText once = loader.text();
   checkNotes( once, Lines( bytes ) );

   const std::string lines = Agent::writeText( once );
   LineLoader again( dialect );
   for( const char * file : { "fuzz.conf", "other.conf" } ) {
      again.load( file, lines );
      check( again.errors().empty(), "the written text is free of errors" );
      check( again.text() == once, "the written text gives the same policy again" );
   }
   check( again.text().skippedStanzas == 0 && again.text().applications.empty() && again.text().otherWords.empty(),
          "all that is written is policy" );
   for( const auto & doubt : again.text().doubts )
      check( doubt.kind == Agent::Doubt::Kind::netmask || doubt.kind == Agent::Doubt::Kind::hostBits,
             "no written line is skipped or replaced" );

   LineLoader lenient( dialect, true );
   lenient.load( "fuzz.conf", bytes );
   check( lenient.errors().empty() && lenient.text() == once && lenient.text().leftOut.size() >= loader.errors().size(),
          "a lenient loader leaves the wrong lines out and reads the others" );
   for( const auto & line : lenient.text().leftOut ) checkText( line.error.reason, "the reason of a left-out line is printable" );

   LineLoader twice( dialect );
   for( int i = 0; i < 2; ++i ) twice.load( "fuzz.conf", bytes );
   checkAlike( twice, loader, "a second reading changes nothing" );
   check( twice.text().files.size() == 1 && twice.text().lines == once.lines, "a second reading is none" );

   twice.load( "fuzz.conf", std::string( bytes ) + '\n' );
   loader.load( "other.conf", bytes );
   checkAlike( twice, loader, "loading does not depend on files' names" );
   check( twice.text().files.size() == 2, "other bytes are another file" );
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   const std::string_view bytes( reinterpret_cast<const char *>( data ), size );
   for( const auto dialect : { Dialect::native, Dialect::frr } ) checkDialect( dialect, bytes );
   return 0;
}
