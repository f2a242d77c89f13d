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

TEST( CompiledExpression, movesWithWhatItHasCompiled ) {
   CompiledExpression from( "^1$", Dialect::native );
   const CompiledExpression to( std::move( from ) );
   EXPECT_TRUE( to.matches( "1" ) );
   EXPECT_FALSE( to.matches( "11" ) );
}

}   // namespace

}   // namespace Agent
