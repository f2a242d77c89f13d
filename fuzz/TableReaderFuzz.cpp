// Reads any bytes as a routing table, through the whole reader and through the parser of each format. The output of the reader is limited,
// so a small compressed input cannot keep the fuzzer busy.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

#include "table/BgpJson.h"
#include "table/BgpdumpLine.h"
#include "table/IpRouteJson.h"
#include "table/PrefixLine.h"
#include "table/TableReader.h"

namespace {

using namespace Agent;

constexpr TableLimits kLimits{ .maxLine = 512, .maxRecord = 4096, .maxText = 256 * 1024 };

void check( bool holds, const char * what ) {
   if( holds ) return;
   std::fprintf( stderr, "broken: %s\n", what );
   std::abort();
}

void checkRoute( const TableRoute & route ) {
   check( route.prefix.af() != Ferule::AddressFamily::unset, "a route has a family" );
   check( route.prefix.isCanonical(), "no bit is set after the length of a prefix" );
   const auto & communities = route.communities;
   for( size_t i = 1; i < communities.size(); ++i ) check( communities[ i - 1 ] < communities[ i ], "communities ascend, each once" );
}

void checkReason( std::string_view reason ) {
   check( !reason.empty() && reason.size() < 2048, "a reason is short" );
   for( const char c : reason ) check( c >= 0x20 && c < 0x7f, "a reason is printable" );
}

// Collects enough data to compare two readings.
struct Reading final : TableHandler, FormHandler {
   uint64_t routes = 0;
   uint64_t broken = 0;
   uint64_t digest = 0;

   void mix( uint64_t value ) { digest = ( digest ^ value ) * 0x9e3779b97f4a7c15; }
   void handleRoute( const TableRoute & route ) override {
      checkRoute( route );
      ++routes;
      mix( route.prefix.hash() );
      mix( route.nextHop.hash() );
      mix( route.metric.hash() );
      mix( route.tag );
      mix( route.localPreference.value_or( 0 ) );
      mix( uint64_t( route.protocol ) );
      mix( route.ospfInstance );
      mix( route.isisInstance );
      for( const std::string * text : { &route.interface, &route.asPath } ) mix( std::hash<std::string>()( *text ) );
      for( const uint32_t community : route.communities ) mix( community );
   }
   void handleBroken( const Broken & place ) override {
      checkReason( place.reason );
      ++broken;
      mix( place.number );
   }
   void handleSkipped() override {}
   void handleUnknown() override {}
   void handleRemark( std::string_view text ) override { checkReason( text ); }
   void handleBroken( uint64_t entry, std::string_view reason ) override { handleBroken( Broken{ Broken::Unit::entry, entry, reason } ); }
};

// Returns a few bytes at a time, so that buffer boundaries fall at every position of the input.
class TricklingSource final : public ByteSource {
 public:
   explicit TricklingSource( std::string_view bytes ) : rest_( bytes ) {}
   size_t read( char * to, size_t capacity ) override {
      step_ = step_ % 7 + 1;
      return rest_.read( to, step_ < capacity ? step_ : capacity );
   }

 private:
   MemorySource rest_;
   size_t step_ = 0;
};

void fuzzReader( std::string_view bytes ) {
   Reading whole;
   MemorySource memory( bytes );
   const TableSummary summary = readTable( memory, whole, kLimits );
   check( summary.routes == whole.routes && summary.broken == whole.broken, "the summary counts the reported routes and errors" );
   if( !summary.fault.empty() ) checkReason( summary.fault );

   Reading pieces;
   TricklingSource trickle( bytes );
   const TableSummary again = readTable( trickle, pieces, kLimits );
   check( summary.fault.empty() == again.fault.empty(), "a fault does not depend on how bytes arrive" );
   if( summary.fault.empty() ) {
      check( whole.digest == pieces.digest, "routes do not depend on how bytes arrive" );
      check( summary.skipped == again.skipped && summary.form == again.form, "nor do counts" );
   }
}

void fuzzLine( std::string_view line ) {
   TableRoute route;
   for( const auto parse : { parseBgpdumpLine, parsePrefixLine } ) {
      const LineResult result = parse( line, route );
      if( result.kind == LineResult::Kind::route ) checkRoute( route );
      if( result.kind == LineResult::Kind::broken ) checkReason( result.reason );
   }
   looksLikeBgpdump( line );
}

void fuzzJson( std::string_view bytes ) {
   for( const auto read : { readIpRouteJson, readBgpJson } ) {
      Reading reading;
      MemorySource memory( bytes );
      Input input( memory );
      TextReader text( input, kLimits.maxLine );
      const std::string fault = read( text, kLimits.maxLine, reading );
      if( !fault.empty() ) checkReason( fault );
   }
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   const std::string_view bytes( reinterpret_cast<const char *>( data ), size );
   fuzzReader( bytes );
   fuzzLine( bytes );
   fuzzJson( bytes );
   return 0;
}
