#include "compile/RouteMapBlockedSequenceList.h"

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/NotifieeConst.h"
#include "tests/compile/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using Routing::Policy::RouteMapBlockedSequenceList;
using Routing::Policy::CompileFixtures::Reaction;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Keys = std::vector<uint32_t>;

static_assert( std::is_base_of_v<Quoin::Node, RouteMapBlockedSequenceList> );

class RouteMapBlockedSequenceListTest : public testing::Test {
 protected:
   Ptr<RouteMapBlockedSequenceList> list = makeNode<RouteMapBlockedSequenceList>( "RM1" );
   ChangeLog<uint32_t> changes{ *list };
   Keys take() { return std::exchange( changes.keys, {} ); }
   bool has( uint32_t seqno ) const { return list->sequence().find( seqno ); }
};

TEST_F( RouteMapBlockedSequenceListTest, isEmptyAtFirst ) {
   EXPECT_EQ( list->name(), "RM1" );
   EXPECT_EQ( makeNode<RouteMapBlockedSequenceList>( "" )->name(), "" );
   EXPECT_TRUE( list->sequence().empty() );
   EXPECT_FALSE( list->sequence( 0 ) );
   EXPECT_NE( list->publisher(), nullptr );
}

TEST_F( RouteMapBlockedSequenceListTest, aNewEntryIsStoredThenPublished ) {
   int found = 0;
   const Reaction reaction( *list, [ & ]( const Quoin::Change & ) { found += list->sequence( 10 ); } );
   list->sequenceIs( 10, true );
   EXPECT_EQ( found, 1 );
   EXPECT_THAT( take(), ElementsAre( 10 ) );
   EXPECT_THAT( changes.take(), ElementsAre( Quoin::FieldId( RouteMapBlockedSequenceList::Field::sequence ) ) );
}

TEST_F( RouteMapBlockedSequenceListTest, publishesRealChanges ) {
   struct Row {
      const char * what;
      int before;   // -1 for no entry
      bool value;
      size_t published;
   };
   const Row rows[] = {
      { "true, no entry before", -1, true, 1 }, { "false, no entry before", -1, false, 1 }, { "true again", 1, true, 0 },
      { "false again", 0, false, 0 },           { "true becomes false", 1, false, 1 },      { "false becomes true", 0, true, 1 },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      list->sequenceDel( 7 );
      if( row.before >= 0 ) list->sequenceIs( 7, row.before == 1 );
      take();
      list->sequenceIs( 7, row.value );
      EXPECT_THAT( take(), SizeIs( row.published ) );
      EXPECT_TRUE( has( 7 ) );
      EXPECT_EQ( list->sequence( 7 ), row.value );
   }
}

TEST_F( RouteMapBlockedSequenceListTest, aDeletedEntryIsPublished ) {
   list->sequenceIs( 10, true );
   list->sequenceIs( 20, false );
   take();
   list->sequenceDel( 10 );
   list->sequenceDel( 10 );
   list->sequenceDel( 20 );
   list->sequenceDel( 30 );
   EXPECT_THAT( take(), ElementsAre( 10, 20 ) );
   EXPECT_TRUE( list->sequence().empty() );
}

TEST_F( RouteMapBlockedSequenceListTest, allEntriesAreDeletedOneByOne ) {
   list->sequenceDelAll();
   EXPECT_THAT( take(), IsEmpty() );
   list->sequenceIs( 10, true );
   list->sequenceIs( 20, true );
   list->sequenceIs( 30, false );
   take();
   std::vector<size_t> left;
   const Reaction reaction( *list, [ & ]( const Quoin::Change & change ) {
      left.push_back( list->sequence().count() );
      EXPECT_FALSE( has( Plinth::keyOf<uint32_t>( change ) ) ) << "deleted before it is published";
   } );
   list->sequenceDelAll();
   EXPECT_THAT( take(), UnorderedElementsAre( 10, 20, 30 ) );
   EXPECT_THAT( left, ElementsAre( 2, 1, 0 ) ) << "the rest is still stored";
}

TEST_F( RouteMapBlockedSequenceListTest, aSubscriberMayDeleteOthersMeanwhile ) {
   for( const uint32_t seqno : { 10u, 20u, 30u } ) list->sequenceIs( seqno, true );
   take();
   int depth = 0;
   const Reaction reaction( *list, [ & ]( const Quoin::Change & ) {
      if( depth++ == 0 )
         for( const uint32_t seqno : { 10u, 20u, 30u } ) list->sequenceDel( seqno );
   } );
   list->sequenceDelAll();
   EXPECT_THAT( take(), UnorderedElementsAre( 10, 20, 30 ) ) << "each of them once";
   EXPECT_TRUE( list->sequence().empty() );
}

TEST( RouteMapBlockedSequenceList, mayBeReleasedWhileAllAreDeleted ) {
   auto list = makeNode<RouteMapBlockedSequenceList>( "RM1" );
   list->sequenceIs( 10, true );
   list->sequenceIs( 20, true );
   auto * const plain = list.get();
   Reaction reaction( *list, [ & ]( const Quoin::Change & ) { list = nullptr; } );
   plain->sequenceDelAll();
   EXPECT_EQ( list, nullptr );
   EXPECT_EQ( reaction.heard, 2 );
   EXPECT_FALSE( reaction.subscribed() ) << "the list is released";
}

}   // namespace
