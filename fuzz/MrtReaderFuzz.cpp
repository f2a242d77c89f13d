// Reads any bytes as records of an MRT file, and as the body of one record of each type that is read.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "table/MrtReader.h"

namespace {

using namespace Agent;

constexpr size_t kMaxRecord = 4096;

void check( bool holds, const char * what ) {
   if( holds ) return;
   std::fprintf( stderr, "broken: %s\n", what );
   std::abort();
}

void checkReason( std::string_view reason ) {
   check( !reason.empty() && reason.size() < 256, "a reason is short" );
   for( const char c : reason ) check( c >= 0x20 && c < 0x7f, "a reason is printable" );
}

struct Reading final : FormHandler {
   uint64_t routes = 0;
   uint64_t last = 0;   // number of the last broken record

   void handleRoute( const TableRoute & route ) override {
      ++routes;
      check( route.prefix.af() != Ferule::AddressFamily::unset, "a route has a family" );
      check( route.prefix.isCanonical(), "no bit is set after the length of a prefix" );
      check( route.asPath.find_first_not_of( "0123456789 ,{}()[]" ) == std::string::npos, "a path is of ASes" );
      check( route.asPath.find( "  " ) == std::string::npos && !route.asPath.starts_with( ' ' ) && !route.asPath.ends_with( ' ' ),
             "a path's words stand one blank apart" );
      const auto & communities = route.communities;
      for( size_t i = 1; i < communities.size(); ++i ) check( communities[ i - 1 ] < communities[ i ], "communities ascend, each once" );
   }
   void handleSkipped() override {}
   void handleUnknown() override {}
   void handleRemark( std::string_view ) override {}
   void handleBroken( uint64_t number, std::string_view reason ) override {
      check( number >= last && number != 0, "records count upwards" );
      last = number;
      checkReason( reason );
   }
};

uint64_t read( std::string_view bytes ) {
   Reading reading;
   MemorySource source( bytes );
   Input input( source );
   TextReader text( input, 512 );
   const std::string fault = readMrt( text, kMaxRecord, reading );
   if( !fault.empty() ) checkReason( fault );
   return reading.routes;
}

// Reads `body` after a valid header, so that mutations need not keep the length field correct.
void readBody( std::string_view body, char type, char subtype ) {
   std::string record( 12, '\0' );
   record[ 5 ] = type;
   record[ 7 ] = subtype;
   record[ 10 ] = static_cast<char>( body.size() >> 8 );
   record[ 11 ] = static_cast<char>( body.size() );
   record.append( body );
   const uint64_t routes = read( record );
   check( read( record + record ) >= routes, "a record does no harm to the next one" );
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   const std::string_view bytes( reinterpret_cast<const char *>( data ), size );
   looksLikeMrt( bytes );
   read( bytes );
   if( size > kMaxRecord ) return 0;
   for( const char subtype : { 1, 2, 4, 8, 10 } ) readBody( bytes, 13, subtype );
   for( const char subtype : { 1, 2 } ) readBody( bytes, 12, subtype );
   for( const char subtype : { 0, 1, 4, 8, 9 } ) readBody( bytes, 16, subtype );
   readBody( bytes, 17, 4 );
   return 0;
}
