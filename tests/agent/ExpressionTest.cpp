#include "text/Expression.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <re2/re2.h>

namespace Agent {
namespace {

TEST( Expression, underscores ) {
   const std::string b = "(?:^|$|[ ,{}()\\[\\]])";
   struct Case {
      std::string_view text;
      std::string translated;
   };
   const Case cases[] = {
      { "", "" },
      { "_64500_", b + "64500" + b },
      { "^64500$", "^64500$" },
      { "a\\_b", "a\\_b" },
      { "\\\\_", "\\\\" + b },
      { "[_]_", "[_]" + b },
      { "[^_]_", "[^_]" + b },
      { "[]_]_", "[]_]" + b },
      { "[^]_]_", "[^]_]" + b },
      { "[\\]_]_", "[\\]_]" + b },
      { "[[:digit:]_]_", "[[:digit:]_]" + b },
      { "[_", "[_" },
      { "[", "[" },
      { "[^", "[^" },
      { "[a\\", "[a\\" },
      { "_\\", b + "\\" },
   };
   for( const auto & c : cases ) EXPECT_EQ( expressionOf( c.text ), c.translated ) << c.text;
}

TEST( Expression, anUnderscoreStandsForWhatPartsNumbers ) {
   const RE2 expression( expressionOf( "_64500_" ) );
   for( const char * path : { "64500", "64500 1", "1 64500 2", "1 64500", "1 {64500,2}", "(64500) 1", "1 {2,64500}", "[64500]",
                              "1 [64500 2] 3", "[2,64500] 3" } )
      EXPECT_TRUE( RE2::PartialMatch( path, expression ) ) << path;
   for( const char * path : { "", "164500", "645001", "1 645001 2", "64_500", "[645001]" } )
      EXPECT_FALSE( RE2::PartialMatch( path, expression ) ) << path;
}

}   // namespace
}   // namespace Agent
