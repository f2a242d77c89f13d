#include "substrate/quoin/ThreadControl.h"

#include <cstdlib>
#include <thread>

#include <gmock/gmock.h>

namespace {

using Quoin::ThreadControl;

TEST( ThreadControl, isThreadedOnceASecondThreadIsThere ) {
   bool inside = false;
   std::thread( [ & ] { inside = ThreadControl::threaded(); } ).join();
   EXPECT_TRUE( inside );
}

TEST( ThreadControl, canBeForced ) {
   ThreadControl::threadedIs( true );
   EXPECT_TRUE( ThreadControl::threaded() );
   ThreadControl::threadedIs( false );
}

#if QUOIN_HAS_SINGLE_THREADED
// In a process of its own, run anew: this one may have had threads.
TEST( ThreadControlDeathTest, followsTheCLibraryUnlessForced ) {
   testing::GTEST_FLAG( death_test_style ) = "threadsafe";
   EXPECT_EXIT(
      {
         const bool atFirst = ThreadControl::threaded();
         ThreadControl::threadedIs( true );
         const bool forced = ThreadControl::threaded();
         ThreadControl::threadedIs( false );
         const bool again = ThreadControl::threaded();
         std::thread( [] {} ).join();
         const bool withThread = ThreadControl::threaded();
         std::exit( 8 * atFirst + 4 * forced + 2 * again + withThread );
      },
      testing::ExitedWithCode( 4 + 1 ), "" );
}
#endif

}   // namespace
