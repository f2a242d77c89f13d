#include "substrate/acl/MatchPermit.h"

#include <sstream>

#include <gmock/gmock.h>

namespace {

using Acl::MatchPermit;

static_assert( sizeof( MatchPermit ) == 1 );
static_assert( uint8_t( MatchPermit::deny ) == 0 && uint8_t( MatchPermit::permit ) == 1 );
static_assert( MatchPermit{} == MatchPermit::deny );

TEST( MatchPermit, isPrintedByItsWord ) {
   EXPECT_STREQ( Acl::stringValue( MatchPermit::deny ), "deny" );
   EXPECT_STREQ( Acl::stringValue( MatchPermit::permit ), "permit" );
   std::ostringstream os;
   os << MatchPermit::deny << ' ' << MatchPermit::permit;
   EXPECT_EQ( os.str(), "deny permit" );
}

// A list takes such a value for a deny, too.
TEST( MatchPermit, onlyThePermitOfOneIsPrintedAsPermit ) {
   for( const unsigned value : { 0, 1, 2, 255 } )
      EXPECT_STREQ( Acl::stringValue( MatchPermit( value ) ), value == 1 ? "permit" : "deny" ) << value;
   std::ostringstream os;
   os << MatchPermit( 2 );
   EXPECT_EQ( os.str(), "deny" );
}

}   // namespace
