// Parses any bytes as the kernel's message about a route.
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "table/KernelTable.h"

namespace {

using namespace Agent;

void check( bool holds, const char * what ) {
   if( holds ) return;
   std::fprintf( stderr, "broken: %s\n", what );
   std::abort();
}

void checkResult( const LineResult & result, const TableRoute & route ) {
   if( result.kind == LineResult::Kind::route ) {
      check( route.prefix.af() != Ferule::AddressFamily::unset, "a route has a family" );
      check( route.prefix.isCanonical(), "no bit is set after the length of a prefix" );
   }
   if( result.kind != LineResult::Kind::broken ) return;
   check( !result.reason.empty() && result.reason.size() < 256, "a reason is short" );
   for( const char c : result.reason ) check( c >= 0x20 && c < 0x7f, "a reason is printable" );
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   const std::vector<char> bytes( data, data + size );   // the copy is aligned to four bytes
   const auto names = []( uint32_t index ) -> std::string_view { return index == 1 ? "lo" : "eth0"; };
   TableRoute route;
   const LineResult result = parseRouteMessage( { bytes.data(), bytes.size() }, names, route );
   checkResult( result, route );
   TableRoute again;
   check( parseRouteMessage( { bytes.data(), bytes.size() }, names, again ).kind == result.kind, "a message says the same twice" );
   if( result.kind == LineResult::Kind::route ) check( again == route, "whatever was in the route before" );
   check( parseRouteMessage( { bytes.data(), bytes.size() }, names, route ).kind == result.kind, "or is in it now" );
   if( result.kind == LineResult::Kind::route ) check( again == route, "and nothing of that stays" );
   return 0;
}
