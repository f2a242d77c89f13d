#include "substrate/quoin/Exception.h"

#include <stdexcept>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

TEST( RangeException, carriesItsTextAndIsARuntimeError ) {
   static_assert( !std::is_convertible_v<std::string, Quoin::RangeException>, "a text does not become a fault by itself" );
   try {
      throw Quoin::RangeException( "number \"x\": not a decimal number" );
   } catch( const std::runtime_error & e ) {
      EXPECT_STREQ( e.what(), "number \"x\": not a decimal number" );
      EXPECT_NE( dynamic_cast<const Quoin::RangeException *>( &e ), nullptr );
   }
}

}   // namespace
