#include "live/CompiledExpression.h"

#include <gtest/gtest.h>

namespace Agent {

namespace {

TEST( CompiledExpression, matchesAPartOfTheText ) {
   EXPECT_TRUE( CompiledExpression( "5000", Dialect::native ).matches( "65000 1" ) );
   EXPECT_FALSE( CompiledExpression( "^5000", Dialect::native ).matches( "65000 1" ) );
   EXPECT_TRUE( CompiledExpression( "_65000_", Dialect::native ).matches( "65000 1" ) );
   EXPECT_FALSE( CompiledExpression( "_5000_", Dialect::native ).matches( "65000 1" ) );
   EXPECT_TRUE( CompiledExpression( "", Dialect::native ).matches( "" ) );
}

TEST( CompiledExpression, whatCannotBeCompiledMatchesNothing ) {
   EXPECT_FALSE( CompiledExpression( "(", Dialect::native ).matches( "(" ) );
}

TEST( CompiledExpression, copiesAreEqual ) {
   const CompiledExpression one( "^1$", Dialect::native ), copy( one );
   EXPECT_TRUE( copy.matches( "1" ) );
   EXPECT_FALSE( copy.matches( "11" ) );
   EXPECT_EQ( copy, one );
   EXPECT_NE( CompiledExpression( "^1$", Dialect::native ), one );
}

}   // namespace

}   // namespace Agent
