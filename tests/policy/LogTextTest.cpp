#include "policy/LogText.h"

#include <cstdint>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "substrate/routemap/Options.h"
#include "tests/policy/EvalFixtures.h"

namespace {

using Routing::Policy::LogText;
using Routing::RouteMap::MatchOption;

TEST( LogText, startsEmpty ) {
   EXPECT_EQ( LogText( 0 ).text(), "" );
   EXPECT_EQ( LogText( 7 ).text(), "" );
}

TEST( LogText, linesAreOpenedByThreeBlanksPerLevelAndClosed ) {
   const struct {
      uint32_t level;
      const char * text;
   } rows[] = { { 0, "a\n\nb c\n" }, { 1, "   a\n   \n   b c\n" }, { 2, "      a\n      \n      b c\n" } };
   for( const auto & row : rows ) {
      LogText text( row.level );
      text.line( "a" );
      text.line();
      text.line( "b ", std::string( "c" ) );
      EXPECT_EQ( text.text(), row.text ) << row.level;
   }
   LogText deep( 40 );
   deep.line( "x" );
   EXPECT_EQ( deep.text(), Quoin::String( std::string( 120, ' ' ) + "x\n" ) );
}

TEST( LogText, partsStandInTheirStreamForm ) {
   LogText text( 0 );
   text.line( MatchOption::matchTag, ' ', Quoin::String( "name" ), ' ', reinterpret_cast<const void *>( uintptr_t( 0xAb0 ) ) );
   EXPECT_EQ( text.text(), "matchTag name 0xab0\n" );
}

TEST( LogText, nestedLinesBringTheirOwnIndentation ) {
   LogText text( 1 );
   text.line( "a" );
   text.nested( "      b\n      c\n" );
   text.line( "d" );
   EXPECT_EQ( text.text(), "   a\n      b\n      c\n   d\n" );
}

TEST( LogText, theProcesssLocaleStaysOut ) {
   const EvalTest::OddLocale odd;
   ASSERT_EQ( ( std::ostringstream() << 1234567u ).str(), "1'2'3'4'5'6'7" );
   LogText text( 0 );
   text.line( 1234567u );
   EXPECT_EQ( text.text(), "1234567\n" );
}

}   // namespace
