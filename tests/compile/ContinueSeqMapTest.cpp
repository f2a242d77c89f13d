#include "compile/ContinueSeqMap.h"

#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using Quoin::makeNode;
using Routing::Policy::ContinueSeqMap;
using Routing::Policy::PlinthContinueSeq;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::vector<std::pair<uint32_t, uint32_t>> membersOf( const ContinueSeqMap & map ) {
   std::vector<std::pair<uint32_t, uint32_t>> all;
   for( const auto & [ seqno, member ] : map.continueSeq() ) {
      EXPECT_EQ( member->seqno(), seqno );
      EXPECT_EQ( map.continueSeqGet( seqno ), member );
      EXPECT_EQ( map.continueSeq( seqno ), member->target() );
      all.emplace_back( seqno, member->target() );
   }
   return all;
}

TEST( ContinueSeqMap, isEmptyAtFirst ) {
   const auto map = makeNode<ContinueSeqMap>( "RM1" );
   EXPECT_EQ( map->name(), "RM1" );
   EXPECT_THAT( membersOf( *map ), IsEmpty() );
   EXPECT_EQ( makeNode<ContinueSeqMap>( "" )->name(), "" );
}

TEST( ContinueSeqMap, aMissingSequenceReadsAsZeroAndNull ) {
   const auto map = makeNode<ContinueSeqMap>( "RM1" );
   map->continueSeqIs( 10, 20 );
   for( const uint32_t missing : { 0u, 9u, 11u, 20u, 4294967295u } ) {
      EXPECT_EQ( map->continueSeq( missing ), 0u ) << missing;
      EXPECT_EQ( map->continueSeqGet( missing ), nullptr ) << missing;
   }
}

TEST( ContinueSeqMap, membersAreInAscendingOrder ) {
   const auto map = makeNode<ContinueSeqMap>( "RM1" );
   for( const uint32_t seqno : { 30u, 10u, 4294967295u, 0u, 20u } ) map->continueSeqIs( seqno, seqno / 10 + 1 );
   EXPECT_THAT( membersOf( *map ),
                ElementsAre( Pair( 0u, 1u ), Pair( 10u, 2u ), Pair( 20u, 3u ), Pair( 30u, 4u ), Pair( 4294967295u, 429496730u ) ) );
}

TEST( ContinueSeqMap, aTargetOfZeroIsAMember ) {
   const auto map = makeNode<ContinueSeqMap>( "RM1" );
   map->continueSeqIs( 10, 0 );
   EXPECT_THAT( membersOf( *map ), ElementsAre( Pair( 10u, 0u ) ) );
   ASSERT_TRUE( map->continueSeqGet( 10 ) );
}

TEST( ContinueSeqMap, membersAreDeleted ) {
   const auto map = makeNode<ContinueSeqMap>( "RM1" );
   for( const uint32_t seqno : { 10u, 20u, 30u } ) map->continueSeqIs( seqno, 40 );
   map->continueSeqDel( 15 );   // nothing happens
   EXPECT_EQ( map->continueSeq().count(), 3u );
   map->continueSeqDel( 20 );
   map->continueSeqDel( 20 );
   EXPECT_THAT( membersOf( *map ), ElementsAre( Pair( 10u, 40u ), Pair( 30u, 40u ) ) );
   EXPECT_EQ( map->continueSeq( 20 ), 0u );
   map->continueSeqDelAll();
   EXPECT_THAT( membersOf( *map ), IsEmpty() );
   map->continueSeqDelAll();
   EXPECT_THAT( membersOf( *map ), IsEmpty() );
   map->continueSeqIs( 20, 10 );
   EXPECT_THAT( membersOf( *map ), ElementsAre( Pair( 20u, 10u ) ) );
}

TEST( ContinueSeqMap, aMemberIsOverwrittenInPlace ) {
   const auto map = makeNode<ContinueSeqMap>( "RM1" );
   map->continueSeqIs( 10, 20 );
   const auto member = map->continueSeqGet( 10 );
   const uint32_t version = map->continueSeq().version();
   map->continueSeqIs( 10, 30 );
   EXPECT_EQ( member->target(), 30u );
   EXPECT_EQ( map->continueSeqGet( 10 ), member );
   EXPECT_EQ( map->continueSeq().version(), version ) << "no member was added or deleted";
   member->targetIs( 40 );
   EXPECT_EQ( map->continueSeq( 10 ), 40u );
   map->continueSeqDel( 10 );
   map->continueSeqIs( 10, 50 );
   EXPECT_EQ( member->target(), 40u ) << "a deleted member is not written again";
   EXPECT_NE( map->continueSeqGet( 10 ), member );
}

}   // namespace
