#include "substrate/quoin/String.h"

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Quoin::String;

int sign( int x ) {
   return ( x > 0 ) - ( x < 0 );
}

// Few different bytes, so that equal strings and common beginnings are frequent; zero and the sign bit among them.
rc::Gen<std::string> anyBytes() {
   return rc::gen::container<std::string>( rc::gen::element( '\0', 'a', 'b', '\x7f', '\x80', '\xff' ) );
}

TEST( String, defaultIsEmpty ) {
   const String s;
   EXPECT_TRUE( s.empty() );
   EXPECT_EQ( s.size(), 0u );
   EXPECT_STREQ( s.data(), "" );
   EXPECT_EQ( s, "" );
   EXPECT_EQ( s, String( "" ) );
}

TEST( String, copiesShareTheBytesWhichLiveAsLongAsOneOfThem ) {
   String copy;
   {
      const String text( std::string( 100, 'x' ) );
      copy = text;
      const String third( copy );
      EXPECT_EQ( copy.data(), text.data() );
      EXPECT_EQ( third.data(), text.data() );
   }
   EXPECT_EQ( copy.view(), std::string( 100, 'x' ) );
   String moved( std::move( copy ) );
   moved = *&moved;
   EXPECT_EQ( moved.view(), std::string( 100, 'x' ) );
   EXPECT_NE( moved.data(), String( moved.data() ).data() ) << "equal texts that are no copies";
}

TEST( String, aNullIsRefused ) {
   EXPECT_THROW( String( static_cast<const char *>( nullptr ) ), std::logic_error );
}

TEST( String, hashSpreads ) {
   std::set<uint32_t> hashes;
   for( int i = 0; i < 1000; ++i ) hashes.insert( String( "RM" + std::to_string( i ) ).hash() );
   EXPECT_GT( hashes.size(), 990u );
}

TEST( String, streamsAllItsBytes ) {
   std::ostringstream os;
   os << String( "a\0b"s );
   EXPECT_EQ( os.str(), "a\0b"s );
}

RC_GTEST_PROP( String, behavesAsItsBytes, () ) {
   const auto x = *anyBytes(), y = *anyBytes();
   const String a( x ), b( y );
   RC_ASSERT( a.size() == x.size() );
   RC_ASSERT( a.empty() == x.empty() );
   RC_ASSERT( std::string( a.data(), a.size() ) == x );
   RC_ASSERT( std::string_view( a ) == x );
   RC_ASSERT( ( a == b ) == ( x == y ) );
   RC_ASSERT( String::isEq( &a, &b ) == ( x == y ) );
   RC_ASSERT( ( a < b ) == std::lexicographical_compare( x.begin(), x.end(), y.begin(), y.end(), []( unsigned char p, unsigned char q ) {
                 return p < q;
              } ) );
   RC_ASSERT( sign( a.compare( b ) ) == ( a < b ? -1 : b < a ? 1 : 0 ) );
   RC_ASSERT( ( a + b ).view() == x + y );
   RC_ASSERT( ( a == x.c_str() ) == ( x.find( '\0' ) == x.npos ) );
   if( x == y ) { RC_ASSERT( a.hash() == b.hash() ); }
   RC_ASSERT( String( x ).hash() == a.hash() );
   RC_ASSERT( std::hash<String>()( a ) == a.hash() );
}

}   // namespace
