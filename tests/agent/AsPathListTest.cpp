#include "live/AsPathList.h"

#include <gtest/gtest.h>

#include "tests/agent/LiveFixture.h"

namespace Agent {

namespace {

TEST( AsPathList, theLowestLineThatMatchesDecides ) {
   AsPathListText text;
   text.lines = { { 10, { kDeny, "_65002_", {} } }, { 20, { kPermit, "^65001", {} } } };
   const auto list = Quoin::makeNode<AsPathList>( "L", text, Dialect::native );
   const struct {
      const char * path;
      bool permitted;
   } rows[] = {
      { "65001", true },
      { "65001 65003", true },
      { "65001 65002", false },
      { "65001 165002", true },
      { "65001 {65003,65002}", false },
      { "65003 65001", false },
      { "", false },
   };
   for( const auto & row : rows ) {
      TableRoute route;
      route.asPath = row.path;
      EXPECT_EQ( list->permits( route ), row.permitted ) << row.path;
   }
}

}   // namespace

}   // namespace Agent
