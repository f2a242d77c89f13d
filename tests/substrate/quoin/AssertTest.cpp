#ifndef NDEBUG
#define NDEBUG   // this file is always one of a release build: the assertion must not care
#endif
#include "substrate/quoin/Assert.h"

#include <csignal>
#include <string>

#include <gmock/gmock.h>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::KilledBySignal;

TEST( AssertDeathTest, failurePrintsTheTextAndAborts ) {
   const int sum = 2;
   EXPECT_EXIT( QUOIN_ASSERT( sum == 3, "sum is three" ), KilledBySignal( SIGABRT ), HasSubstr( "Assertion failed: sum is three\n" ) );
}

TEST( AssertDeathTest, failurePrintsFileAndLine ) {
   const std::string place = "AssertTest.cpp:" + std::to_string( __LINE__ + 1 ) + ": Assertion failed: placed";
   EXPECT_DEATH( QUOIN_ASSERT( false, "placed" ), HasSubstr( place ) );
}

TEST( AssertDeathTest, textIsNotAFormat ) {
   EXPECT_DEATH( QUOIN_ASSERT( false, "load < 100%s%n" ), HasSubstr( "load < 100%s%n\n" ) );
}

TEST( AssertDeathTest, calledDirectlyPrintsWhatItIsGiven ) {
   EXPECT_EXIT( Quoin::assertFailed( "text", "file", 42 ), KilledBySignal( SIGABRT ),
                ContainsRegex( "^file:42: Assertion failed: text\n" ) );
}

TEST( Assert, evaluatesTheExpressionOnceAndGoesOn ) {
   int evaluated = 0;
   QUOIN_ASSERT( ++evaluated, "++evaluated" );
   EXPECT_EQ( evaluated, 1 );
}

TEST( Assert, takesWhateverAConditionTakes ) {
   const int object = 0;
   QUOIN_ASSERT( &object, "&object" );
   EXPECT_DEATH( QUOIN_ASSERT( static_cast<const int *>( nullptr ), "pointer" ), HasSubstr( "pointer" ) );
}

TEST( Assert, isOneExpression ) {
   int reached = 0;
   if( reached == 0 )
      QUOIN_ASSERT( true, "true" );
   else
      reached = -1;   // this "else" must be ours
   const int value = ( QUOIN_ASSERT( true, "true" ), 7 );
   EXPECT_EQ( reached + value, 7 );
}

}   // namespace
