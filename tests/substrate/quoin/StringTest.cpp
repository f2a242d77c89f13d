#include "substrate/quoin/String.h"

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

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

TEST( String, keepsZeroBytes ) {
   const String s( "a\0b"s );
   EXPECT_EQ( s.size(), 3u );
   EXPECT_FALSE( s.empty() );
   EXPECT_EQ( s.view(), "a\0b"sv );
   EXPECT_EQ( s.data()[ 3 ], '\0' );
   EXPECT_NE( s, String( "a" ) );
   EXPECT_NE( s, "a" );
   EXPECT_EQ( String( "a\0b"sv ), s );
   EXPECT_FALSE( String( "\0"s ).empty() );
}

TEST( String, comparesBytesAndThenTheShorterFirst ) {
   const struct {
      const char * name;
      std::string a, b;
      int order;
   } rows[] = {
      { "both empty", "", "", 0 },
      { "empty and something", "", "a", -1 },
      { "equal", "abc", "abc", 0 },
      { "first byte", "abc", "bbc", -1 },
      { "last byte", "abd", "abc", 1 },
      { "beginning of the other", "ab", "abc", -1 },
      { "longer, but lower at once", "aaaa", "b", -1 },
      { "bytes are unsigned", "\x7f", "\x80", -1 },
      { "behind a zero byte", "a\0b"s, "a\0c"s, -1 },
      { "a zero byte more", "a", "a\0"s, -1 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const String a( row.a ), b( row.b );
      EXPECT_EQ( sign( a.compare( b ) ), row.order );
      EXPECT_EQ( sign( b.compare( a ) ), -row.order );
      EXPECT_EQ( a == b, row.order == 0 );
      EXPECT_EQ( a < b, row.order < 0 );
      EXPECT_EQ( a > b, row.order > 0 );
   }
}

TEST( String, equalsACString ) {
   EXPECT_TRUE( String( "RM1" ) == "RM1" );
   EXPECT_TRUE( "RM1" == String( "RM1" ) );
   EXPECT_FALSE( String( "RM1" ) == "RM" );
   EXPECT_FALSE( String( "RM" ) == "RM1" );
   EXPECT_TRUE( String( "RM1" ) != "rm1" );
}

TEST( String, hashSpreads ) {
   std::set<uint32_t> hashes;
   for( int i = 0; i < 1000; ++i ) hashes.insert( String( "RM" + std::to_string( i ) ).hash() );
   EXPECT_GT( hashes.size(), 990u );
}

TEST( String, concatenates ) {
   EXPECT_EQ( String( "a" ) + String( "b" ), "ab" );
   EXPECT_EQ( String( "a" ) + "b", "ab" );
   EXPECT_EQ( "a" + String( "b" ), "ab" );
   EXPECT_EQ( ( String( "a\0"s ) + String( "\0b"s ) ).view(), "a\0\0b"sv );
   EXPECT_EQ( String() + String(), "" );
}

TEST( String, assignmentReplacesTheWholeValue ) {
   String s( "long enough to stand outside of the object" );
   const String copy = s;
   s = String( "b" );
   EXPECT_EQ( s, "b" );
   EXPECT_EQ( copy, "long enough to stand outside of the object" );
   s = std::as_const( s );
   EXPECT_EQ( s, "b" );
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
