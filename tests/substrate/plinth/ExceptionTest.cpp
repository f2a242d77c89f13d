#include "substrate/plinth/Exception.h"

#include <stdexcept>

#include <gmock/gmock.h>

namespace {

TEST( MutatorArgNullPointerException, namesTheMutatorAndIsAnInvalidArgument ) {
   try {
      Plinth::throwMutatorArgNullPointerException( "Entry::ruleIs" );
   } catch( const std::invalid_argument & e ) {
      EXPECT_STREQ( e.what(), "Entry::ruleIs: the argument is null" );
      EXPECT_NE( dynamic_cast<const Plinth::MutatorArgNullPointerException *>( &e ), nullptr );
   }
}

}   // namespace
