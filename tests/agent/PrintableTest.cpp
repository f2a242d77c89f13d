#include "text/Printable.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

using namespace std::string_view_literals;

TEST( Printable, whatIsNoPrintableAsciiIsEscaped ) {
   EXPECT_EQ( printable( "" ), "" );
   EXPECT_EQ( printable( " a~\\" ), " a~\\" );
   EXPECT_EQ( printable( "\0\t\x1f\x7f\x80\xff"sv ), "\\x00\\x09\\x1f\\x7f\\x80\\xff" );
}

TEST( Printable, lengthsAreOfTheBytesShown ) {
   EXPECT_EQ( printable( "abcd", 4 ), "abcd" );
   EXPECT_EQ( printable( "abcde", 4 ), "abcd..." );
   EXPECT_EQ( printable( "\xff\xff\xff", 2 ), "\\xff\\xff..." );
   EXPECT_EQ( printable( "a", 0 ), "..." );
   EXPECT_EQ( printable( std::string( 64, 'x' ) ), std::string( 64, 'x' ) );
   EXPECT_EQ( printable( std::string( 65, 'x' ) ), std::string( 64, 'x' ) + "..." );
}

TEST( Printable, moreOfALineIsShownThanOfAWord ) {
   EXPECT_EQ( printableLine( "a\tb\x1b" ), "a b\\x1b" );
   EXPECT_EQ( printableLine( std::string( 256, '\t' ) ), std::string( 256, ' ' ) );
   EXPECT_EQ( printableLine( std::string( 257, '\t' ) ), std::string( 256, ' ' ) + "..." );
}

TEST( Printable, quotationMarks ) {
   EXPECT_EQ( inQuotes( "a\n\xff" ), "\"a\\x0a\\xff\"" );
   EXPECT_EQ( inQuotes( std::string( 65, 'x' ) ), "\"" + std::string( 64, 'x' ) + "...\"" );
   EXPECT_EQ( alternatives( { "a" } ), "\"a\"" );
   EXPECT_EQ( alternatives( { "a", "b" } ), "\"a\" or \"b\"" );
   EXPECT_EQ( alternatives( { "a", "b", "c" } ), "\"a\", \"b\" or \"c\"" );
}

}   // namespace
}   // namespace Agent
