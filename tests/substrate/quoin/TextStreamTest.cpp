#include "substrate/quoin/TextStream.h"

#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include <gmock/gmock.h>

namespace {

using Quoin::TextStream;

/// Groups digits by three and has a comma for a point.
struct Grouping : std::numpunct<char> {
   char do_decimal_point() const override { return ','; }
   char do_thousands_sep() const override { return '.'; }
   std::string do_grouping() const override { return "\3"; }
};

/// Puts the process under such a locale.
struct GlobalLocale {
   std::locale before = std::locale::global( std::locale( std::locale::classic(), new Grouping ) );
   ~GlobalLocale() { std::locale::global( before ); }
};

TEST( TextStream, writesNumbersAlikeInEveryLocale ) {
   const GlobalLocale grouping;
   std::ostringstream plain;
   plain << 1234567;
   ASSERT_EQ( plain.str(), "1.234.567" );
   TextStream os;
   os << 1234567 << ' ' << 0.5;
   EXPECT_EQ( os.text(), "1234567 0.5" );
}

TEST( TextStream, textMayBeTakenWhileItIsWrittenAndAtTheEnd ) {
   TextStream os;
   EXPECT_EQ( os.text(), "" );
   os << "a";
   EXPECT_EQ( os.text(), "a" );
   os << std::string( 1, '\0' ) << "b";
   EXPECT_EQ( os.text().view(), std::string_view( "a\0b", 3 ) );
   EXPECT_EQ( std::move( os ).text().view(), std::string_view( "a\0b", 3 ) );
}

}   // namespace
