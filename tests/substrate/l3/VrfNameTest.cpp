#include "substrate/l3/VrfName.h"

#include <functional>
#include <sstream>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using L3::VrfName;

TEST( VrfName, defaultIsEmpty ) {
   EXPECT_EQ( VrfName().name(), "" );
   EXPECT_EQ( VrfName(), VrfName( "" ) );
   static_assert( !std::is_convertible_v<Quoin::String, VrfName> );
}

TEST( VrfName, printsItsName ) {
   std::ostringstream os;
   os << VrfName( "red" );
   EXPECT_EQ( os.str(), "red" );
   EXPECT_EQ( VrfName( "red" ).toStrep(), "red" );
}

RC_GTEST_PROP( VrfName, behavesAsItsText, ( const std::string & a ) ) {
   const auto b = *rc::gen::element( a, a + "x", std::string(), std::string( "default" ) );
   const VrfName x( a ), y( b );
   RC_ASSERT( x.name() == Quoin::String( a ) );
   RC_ASSERT( ( x == y ) == ( a == b ) );
   RC_ASSERT( ( x <=> y ) == ( a <=> b ) );
   RC_ASSERT( VrfName::isEq( &x, &y ) == ( a == b ) );
   RC_ASSERT( x.hash() == std::hash<VrfName>()( x ) );
   if( a == b ) RC_ASSERT( x.hash() == y.hash() );
}

}   // namespace
