#include "compile/RmSeqConfigFilterSmBase.h"

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/FilterFixtures.h"
#include "tests/policy/Fixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::Config;
using Routing::RouteMap::MapEntry;
using testing::ElementsAre;

static_assert( std::is_base_of_v<RmSeqConfigSmInterface, RmSeqConfigFilterSmBase> );
static_assert( std::is_abstract_v<RmSeqConfigFilterSmBase>, "which options it supports, a derived class says" );
static_assert( std::is_base_of_v<Quoin::Node, RmConfigFilterSmHelperBase> );
static_assert( std::is_abstract_v<RmConfigFilterSmHelperBase> );
static_assert( std::is_same_v<decltype( std::declval<RmSeqConfigFilterSmBase &>().filteredRmConfig() ), Config *> );

/// The least that an agent may bring: holds the values, and copies nothing.
struct BareSm final : RmSeqConfigFilterSmBase {
   using RmSeqConfigFilterSmBase::RmSeqConfigFilterSmBase;
   ~BareSm() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override { return option == MatchOption::matchMetric; }
};

class RmSeqConfigFilterSmBaseTest : public testing::Test {
 protected:
   FilterCase c;
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 ), filteredEntry = makeNode<MapEntry>( 10 );
   Ptr<RouteMapBlockedSequenceList> list = makeNode<RouteMapBlockedSequenceList>( "RM1" );
};

TEST_F( RmSeqConfigFilterSmBaseTest, holdsTheSixValues ) {
   const auto sm = makeNode<BareSm>( "RM1", entry, filteredEntry, c.filtered.get(), list, c.update );
   EXPECT_EQ( sm->rmName(), "RM1" );
   EXPECT_EQ( sm->seqConfig(), entry );
   EXPECT_EQ( sm->filteredSeqConfig(), filteredEntry );
   EXPECT_EQ( sm->filteredRmConfig(), c.filtered.get() );
   EXPECT_EQ( sm->routeMapBlockedSequenceList(), list );
   EXPECT_EQ( sm->routeMapUpdateNotifier(), c.update );
   EXPECT_EQ( sm->seqno(), 10u );
}

TEST_F( RmSeqConfigFilterSmBaseTest, copiesNothingOfItself ) {
   Reaction toCopy( *filteredEntry ), toList( *list );
   const auto sm = Zeugma::makeSm<BareSm>( "RM1", entry, filteredEntry, c.filtered.get(), list, c.update );
   entry->permitIs( Acl::MatchPermit::deny );
   entry->distanceIs( 5 );
   entry->subRouteMapIs( { "RM2", false } );
   c.update->versionInc( 1 );
   EXPECT_EQ( toCopy.heard, 0 );
   EXPECT_EQ( toList.heard, 0 );
}

TEST_F( RmSeqConfigFilterSmBaseTest, formatsItselfByRouteMapAndNumberAsTheCompilersSequenceDoes ) {
   struct Row {
      const char * what;
      const char * name;
      Ptr<const MapEntry> entry;
      const char * text;
   };
   const Row rows[] = {
      { "with an entry", "RM1", entry, "rmName: RM1 seqno: 10" },
      { "the highest number", "RM1", makeNode<MapEntry>( 4294967295u ), "rmName: RM1 seqno: 4294967295" },
      { "without an entry", "RM1", nullptr, "rmName: RM1 seqno: 0" },
      { "without a name", "", entry, "rmName:  seqno: 10" },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      const auto sm = makeNode<BareSm>( row.name, row.entry, filteredEntry, c.filtered.get(), list, c.update );
      EXPECT_EQ( textOf( *sm ), row.text );
      EXPECT_EQ( textOf( *makeNode<RmSeqConfigSymbolSmBase>( row.name, row.entry, nullptr, nullptr ) ), row.text );
      EXPECT_EQ( sm->seqno(), row.entry ? row.entry->seqno() : 0 );
   }
}

TEST( RmConfigFilterSmHelperBase, hasOneOperationBehindThoseOfTheNode ) {
   using Fixtures::slotOf;
   using Helper = RmConfigFilterSmHelperBase;
   if( slotOf( &Helper::createSeqConfigSm ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   EXPECT_EQ( slotOf( &Helper::createSeqConfigSm ),
              std::max( slotOf( &Quoin::Node::publisher ), slotOf( &Quoin::Node::lastUserGone ) ) + 1 );
}

TEST_F( RmSeqConfigFilterSmBaseTest, theCommonHelperMakesACommonSequenceThatCopiesAtOnce ) {
   entry->distanceIs( 7 );
   const auto helper = makeNode<CommonRmConfigFilterSmHelper>();
   const auto sm = helper->createSeqConfigSm( "RM1", entry, filteredEntry, c.filtered.get(), list, c.update );
   ASSERT_TRUE( sm );
   EXPECT_EQ( textOf( *sm ), "rmName: RM1 seqno: 10" );
   EXPECT_EQ( sm->seqConfig(), entry );
   EXPECT_EQ( sm->filteredSeqConfig(), filteredEntry );
   EXPECT_EQ( sm->filteredRmConfig(), c.filtered.get() );
   EXPECT_EQ( sm->routeMapBlockedSequenceList(), list );
   EXPECT_EQ( sm->routeMapUpdateNotifier(), c.update );
   EXPECT_EQ( filteredEntry->distance(), 7u );
   EXPECT_TRUE( sm->hasNotificationActive() );
   entry->distanceIs( 8 );
   EXPECT_EQ( filteredEntry->distance(), 8u );
   EXPECT_NE( helper->createSeqConfigSm( "RM1", entry, makeNode<MapEntry>( 10 ), c.filtered.get(), list, c.update ), sm );
}

TEST_F( RmSeqConfigFilterSmBaseTest, theCommonSequenceSupportsTheCommonOptions ) {
   const auto sm =
      makeNode<CommonRmConfigFilterSmHelper>()->createSeqConfigSm( "RM1", entry, filteredEntry, c.filtered.get(), list, c.update );
   std::vector<unsigned> supported;
   for( unsigned option = 0; option <= 255; ++option )
      if( sm->matchRuleSupported( MatchOption( option ) ) ) supported.push_back( option );
   EXPECT_THAT( supported, ElementsAre( 1, 2, 106, 113, 115, 116, 131, 132 ) );
}

}   // namespace
}   // namespace Routing::Policy
