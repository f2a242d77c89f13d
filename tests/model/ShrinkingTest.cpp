#include "tests/model/Shrinking.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// A hundred steps. `atThird` runs at the third step whose number is 7.
template <class AtThird>
Shrinking::Case threeOfAHundred( AtThird atThird ) {
   return [ atThird ]( Choices & choices ) {
      unsigned counted = 0;
      for( int i = 0; i < 100 && choices.step(); ++i ) {
         const uint32_t number = choices.below( 10 );
         choices.below( 1000 );
         choices.say( "number ", number );
         if( number == 7 && ++counted == 3 ) return atThird();
      }
   };
}

Choices::Row rowOf( const Shrinking::Case & body ) {
   Choices choices( 1 );
   body( choices );
   return choices.made();
}

TEST( ShrinkingTest, onlyTheStepsThatACaseNeedsToFailAreLeft ) {
   const auto row = rowOf( threeOfAHundred( [] {} ) );
   EXPECT_GT( row.steps.size(), 10u );
   const auto body = threeOfAHundred( [] { ADD_FAILURE(); } );
   const auto smallest = Shrinking::Shrinker( body, row, Shrinking::kFailed, {} ).run();
   Choices last( smallest, true );
   EXPECT_TRUE( Shrinking::fails( body, last ) );
   EXPECT_EQ( last.text(), "\n   first:\n   step 1: number 7;\n   step 2: number 7;\n   step 3: number 7;" );
   ASSERT_EQ( smallest.numbers.size(), 6u );
   EXPECT_EQ( smallest.numbers[ 1 ], 0u ) << "a number without effect becomes zero";
}

TEST( ShrinkingTest, aCaseThatEndsTheProcessIsShrunkToo ) {
   const auto row = rowOf( threeOfAHundred( [] {} ) );
   const auto body = threeOfAHundred( [] { std::abort(); } );
   EXPECT_EQ( Shrinking::Shrinker( body, row, Shrinking::kAborted, {} ).run().steps.size(), 3u );
}

TEST( ShrinkingTest, withoutStepsNumbersAreLeftOut ) {
   const Shrinking::Case body = []( Choices & choices ) {
      uint32_t sum = 0;
      for( int i = 0; i < 50; ++i ) sum += choices.below( 2 );
      EXPECT_LT( sum, 5u );
   };
   Choices choices( 1 );
   EXPECT_TRUE( Shrinking::fails( body, choices ) );
   EXPECT_EQ( Shrinking::Shrinker( body, choices.made(), Shrinking::kFailed, {} ).run().numbers.size(), 5u );
}

TEST( ShrinkingTest, aCaseThatGoesOnWithoutEndIsNoSmallerOne ) {
   const Shrinking::Case body = []( Choices & choices ) {
      while( choices.below( 2 ) == 0 ) {}
      ADD_FAILURE();
   };
   Choices choices( 1 );
   EXPECT_TRUE( Shrinking::fails( body, choices ) );
   EXPECT_EQ( Shrinking::Shrinker( body, choices.made(), Shrinking::kFailed, {} ).run().numbers.size(), 1u );
}

TEST( ShrinkingTest, aStepThatIsLeftOutDoesNotMoveTheOthers ) {
   Choices choices( 1 );
   std::vector<uint32_t> drawn;
   for( int i = 0; i < 3; ++i ) {
      choices.step( i == 2 );
      drawn.push_back( choices.below( 1000 ) );
   }
   auto row = choices.made();
   row.steps.erase( row.steps.begin() );   // now its number belongs to no step
   Choices again( row );
   EXPECT_TRUE( again.step( 0 ) );
   EXPECT_EQ( again.below( 1000 ), drawn[ 1 ] );
   EXPECT_EQ( again.below( 1000 ), 0u ) << "after the end of the step";
   EXPECT_FALSE( again.step( 0 ) ) << "the next step has another kind";
   EXPECT_EQ( again.below( 1000 ), 0u );
   EXPECT_TRUE( again.step( 1 ) );
   EXPECT_EQ( again.below( 1000 ), drawn[ 2 ] );
}

}   // namespace
