#include <gtest/gtest.h>

#include "tests/examples/ProgramOutput.h"

namespace {

TEST( Threaded, eachPassIsEvaluatedByOnePolicy ) {
   const std::string pass = "   0 passes saw a part of an edit; the last pass permitted 100 routes, with distance 100\n";
   EXPECT_EQ( programOutput( THREADED_PROGRAM ),
              "100 edits, while 4 threads evaluated 256 routes again and again\n" + pass + pass + pass + pass +
                 "0 old policies are left\n" );
}

}   // namespace
