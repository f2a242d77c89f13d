#include "policy/MatchedRouteMapSequences.h"

#include <gmock/gmock.h>

#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;
using testing::ElementsAre;
using testing::IsEmpty;

TEST( MatchedRouteMapSequences, borrowsWhatItPointsAt ) {
   const auto s = seq( 10 ).get();
   const uint32_t uses = s->useCount();
   MatchedRouteMapSequences matched;
   EXPECT_THAT( matched, IsEmpty() );
   matched.push_back( s.get() );
   EXPECT_EQ( s->useCount(), uses );
   EXPECT_THAT( matched, ElementsAre( s.get() ) );
}

TEST( MatchedRouteMapSequences, hasRoomForOneInTheObject ) {
   const MatchedRouteMapSequences matched;
   EXPECT_EQ( matched.capacity(), 1u );
   const auto *object = reinterpret_cast<const char *>( &matched ), *room = reinterpret_cast<const char *>( matched.data() );
   EXPECT_TRUE( object <= room && room < object + sizeof matched );
}

TEST( MatchedRouteMapSequencesSnapshot, startsEmpty ) {
   const MatchedRouteMapSequencesSnapshot snapshot;
   EXPECT_TRUE( snapshot.seqStatus().empty() );
   EXPECT_EQ( snapshot.seqStatus().size(), 0u );
   EXPECT_FALSE( snapshot.seqStatus( 0 ) );
   EXPECT_FALSE( snapshot.seqStatus( 4294967295 ) );
}

TEST( MatchedRouteMapSequencesSnapshot, ownsItsEntries ) {
   auto s = seq( 10 ).get();
   auto snapshot = makeNode<MatchedRouteMapSequencesSnapshot>();
   snapshot->seqStatusIs( 1, s );
   EXPECT_EQ( s->useCount(), 2u );
   EXPECT_EQ( snapshot->seqStatus( 1 ), s );
   EXPECT_FALSE( snapshot->seqStatus( 0 ) );
   EXPECT_FALSE( snapshot->seqStatus( 2 ) );
   EXPECT_EQ( snapshot->seqStatus().count(), 1u );
   snapshot->seqStatusIs( 1, nullptr );
   EXPECT_EQ( s->useCount(), 1u );
   snapshot->seqStatusIs( 3, s );
   snapshot = nullptr;
   EXPECT_EQ( s->useCount(), 1u );
}

}   // namespace
