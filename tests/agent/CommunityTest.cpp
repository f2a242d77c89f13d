#include "text/Community.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST( Community, textsThatAreOne ) {
   struct Row {
      const char * text;
      Community community;
      const char * printed;
   };
   const Row rows[] = {
      { "0:0", 0, "0:0" },
      { "64500:1", 0xfbf40001, "64500:1" },
      { "65535:65535", 0xffffffff, "65535:65535" },
      { "0", 0, "0:0" },
      { "4294967295", 0xffffffff, "65535:65535" },
      { "graceful-shutdown", 0xffff0000, "graceful-shutdown" },
      { "blackhole", 0xffff029a, "blackhole" },
      { "no-export", 0xffffff01, "no-export" },
      { "no-advertise", 0xffffff02, "no-advertise" },
      { "local-AS", 0xffffff03, "local-AS" },
      { "no-peer", 0xffffff04, "no-peer" },
      { "65535:65281", 0xffffff01, "no-export" },
      { "4294967041", 0xffffff01, "no-export" },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( communityOf( row.text ), row.community ) << row.text;
      EXPECT_EQ( communityText( row.community ), row.printed ) << row.text;
   }
}

TEST( Community, textsThatAreNone ) {
   for( const char * text : { "", ":", "1:", ":1", "1:1:1", "65536:0", "0:65536", "-1:1", "1:-1", "+1", "1: 1", "4294967296", "internet",
                              "no-Export", "local-as", "64500.1", "1:1x" } )
      EXPECT_EQ( communityOf( text ), std::nullopt ) << text;
}

}   // namespace
}   // namespace Agent
