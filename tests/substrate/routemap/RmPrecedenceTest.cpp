#include "substrate/routemap/RmPrecedence.h"

#include <sstream>
#include <string>

#include <gmock/gmock.h>

namespace {

using Routing::RouteMap::RmPrecedence;

TEST( RmPrecedence, theRolesHaveTheirNumbers ) {
   EXPECT_EQ( RmPrecedence( RmPrecedence::prefixListPrecedence ).value(), 0 );
   EXPECT_EQ( RmPrecedence( RmPrecedence::routeMapPrecedence ).value(), 4 );
   EXPECT_EQ( RmPrecedence( RmPrecedence::defaultOriginatePrecedence ).value(), 5 );
   EXPECT_EQ( RmPrecedence( RmPrecedence::routeMapMaintPrecedence ).value(), 6 );
   EXPECT_EQ( RmPrecedence( RmPrecedence::missingPolicyDenyPrecedence ).value(), 8 );
   EXPECT_EQ( RmPrecedence().value(), 0 );
}

TEST( RmPrecedence, isEightBits ) {
   EXPECT_EQ( sizeof( RmPrecedence ), 1u );
}

TEST( RmPrecedence, everyNumberIsAPrecedenceAndOnlyOrderComparesThem ) {
   for( unsigned a = 0; a < 256; ++a )
      for( unsigned b = 0; b < 256; ++b ) {
         const RmPrecedence p{ uint8_t( a ) }, q{ uint8_t( b ) };
         ASSERT_EQ( p == q, a == b ) << a << ' ' << b;
         ASSERT_EQ( p < q, a < b ) << a << ' ' << b;
         ASSERT_EQ( p > q, a > b ) << a << ' ' << b;
         ASSERT_EQ( RmPrecedence::isEq( &p, &q ), a == b ) << a << ' ' << b;
         ASSERT_EQ( p.hash() == q.hash(), a == b ) << a << ' ' << b;
      }
}

TEST( RmPrecedence, printsAsANumber ) {
   for( unsigned value = 0; value < 256; ++value ) {
      std::ostringstream os;
      os << std::hex << std::showbase << RmPrecedence( uint8_t( value ) );
      EXPECT_EQ( os.str(), std::to_string( value ) );
   }
}

}   // namespace
