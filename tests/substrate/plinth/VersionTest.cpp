#include "substrate/plinth/Version.h"

#include <cstdint>
#include <utility>

#include <gmock/gmock.h>

namespace {

using Plinth::Version;

class VersionTest : public testing::Test {
 protected:
   VersionTest() {
      for( Version * v : { &a, &b } )
         for( int i = 0; i < 3; ++i ) ++*v;
   }
   Version a, b;
};

TEST_F( VersionTest, startsAtZeroAndCounts ) {
   EXPECT_EQ( Version(), 0u );
   EXPECT_EQ( a, 3u );
   const uint32_t number = a;
   EXPECT_EQ( number, 3u );
}

TEST_F( VersionTest, aCopyCountsForItselfAndChangesNothing ) {
   const Version copy( a );
   EXPECT_EQ( copy, 0u );
   EXPECT_EQ( a, 3u );
}

TEST_F( VersionTest, aMoveChangesWhatItLeavesBehind ) {
   const Version moved( std::move( a ) );
   EXPECT_EQ( moved, 0u );
   EXPECT_EQ( a, 4u );   // NOLINT(bugprone-use-after-move): this is what it is for
}

TEST_F( VersionTest, anAssignmentChangesWhatItWritesTo ) {
   a = b;
   EXPECT_EQ( a, 4u );
   EXPECT_EQ( b, 3u );
   a = Version();
   EXPECT_EQ( a, 5u ) << "and never goes back";
}

TEST_F( VersionTest, anAssignmentByMoveChangesBoth ) {
   a = std::move( b );
   EXPECT_EQ( a, 4u );
   EXPECT_EQ( b, 4u );   // NOLINT(bugprone-use-after-move): as above
}

}   // namespace
