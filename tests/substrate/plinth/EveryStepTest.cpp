#include "substrate/plinth/EveryStep.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using Plinth::EveryStep;
using testing::ElementsAre;

TEST( EveryStep, takesAllAndThrowsNothingWhereNothingIsThrown ) {
   std::vector<int> taken;
   EveryStep step;
   for( const int i : { 1, 2, 3 } ) step( [ & ] { taken.push_back( i ); } );
   EXPECT_NO_THROW( step.finish() );
   EXPECT_THAT( taken, ElementsAre( 1, 2, 3 ) );
}

TEST( EveryStep, takesAllAndTheFirstThatIsThrownComesOutAtTheEnd ) {
   std::vector<int> taken;
   EveryStep step;
   for( const int i : { 1, 2, 3, 4 } )
      step( [ & ] {
         taken.push_back( i );
         if( i == 2 ) throw std::runtime_error( "two" );
         if( i == 3 ) throw i;
      } );
   EXPECT_THAT( taken, ElementsAre( 1, 2, 3, 4 ) );
   std::string what;
   try {
      step.finish();
   } catch( const std::runtime_error & e ) { what = e.what(); }
   EXPECT_EQ( what, "two" );
}

TEST( EveryStep, isSilentWhereNobodyFinishesIt ) {
   int taken = 0;
   {
      EveryStep step;
      step( [] { throw std::runtime_error( "lost" ); } );
      step( [ & ] { ++taken; } );
   }
   EXPECT_EQ( taken, 1 );
}

}   // namespace
