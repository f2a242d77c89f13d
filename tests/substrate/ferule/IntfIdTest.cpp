#include "substrate/ferule/IntfId.h"

#include <cstdint>
#include <functional>
#include <sstream>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using Ferule::IntfId;

TEST( IntfId, defaultIsNone ) {
   constexpr IntfId none;
   EXPECT_EQ( none.id(), 0u );
   EXPECT_EQ( none, IntfId( 0 ) );
   EXPECT_EQ( none.toStrep(), "0" );
}

TEST( IntfId, printsItsNumber ) {
   std::ostringstream os;
   os << std::hex << IntfId( 4294967295u );
   EXPECT_EQ( os.str(), "4294967295" );
   EXPECT_EQ( IntfId( 17 ).toStrep(), "17" );
}

RC_GTEST_PROP( IntfId, behavesAsItsNumber, ( uint32_t a ) ) {
   const auto b = *rc::gen::element( a, a + 1, uint32_t( 0 ) );
   const IntfId x( a ), y( b );
   RC_ASSERT( x.id() == a );
   RC_ASSERT( ( x == y ) == ( a == b ) );
   RC_ASSERT( ( x <=> y ) == ( a <=> b ) );
   RC_ASSERT( IntfId::isEq( &x, &y ) == ( a == b ) );
   RC_ASSERT( x.hash() == std::hash<IntfId>()( x ) );
   RC_ASSERT( ( x.hash() == y.hash() ) == ( a == b ) );
}

}   // namespace
