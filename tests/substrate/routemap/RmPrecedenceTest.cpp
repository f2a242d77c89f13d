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

TEST( RmPrecedence, printsAsANumber ) {
   for( const unsigned value : { 0, 4, 65, 255 } ) {   // 65 is not the letter of that code
      std::ostringstream os;
      os << std::hex << std::showbase << RmPrecedence( uint8_t( value ) );
      EXPECT_EQ( os.str(), std::to_string( value ) );
   }
}

}   // namespace
