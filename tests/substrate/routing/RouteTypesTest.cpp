#include "substrate/routing/RouteTypes.h"

#include <iomanip>
#include <sstream>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

using Routing::RouteProto;

static_assert( std::is_same_v<Routing::RouteTag, uint32_t> );
static_assert( sizeof( Routing::RoutePreference ) == 1 );
static_assert( sizeof( Routing::Fib::RouteType ) == 1 && sizeof( Routing6::Fib::RouteType ) == 1 );
static_assert( !std::is_same_v<Routing::Fib::RouteType, Routing6::Fib::RouteType> );
static_assert( RouteProto{} == RouteProto( 0 ), "none" );

TEST( RouteProto, isPrintedAsItsNumberInDecimal ) {
   const struct {
      uint32_t number;
      const char * text;
   } rows[] = { { 0, "0" }, { 9, "9" }, { 65536, "65536" }, { UINT32_MAX, "4294967295" } };
   for( const auto & row : rows ) {
      std::ostringstream os;
      os << std::hex << std::showbase << RouteProto( row.number );
      EXPECT_EQ( os.str(), row.text );
      EXPECT_EQ( os.flags() & std::ios_base::basefield, std::ios_base::hex );
   }
}

}   // namespace
