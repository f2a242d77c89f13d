#include "compile/RouteMapConfigSmBase.h"

#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using Routing::Policy::RouteMapConfigSmBase;
using Routing::RouteMap::Map;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;

static_assert( std::is_abstract_v<RouteMapConfigSmBase> );
static_assert( std::is_base_of_v<Zeugma::BaseOutputSm, RouteMapConfigSmBase> );

/// Records each call with the state at that moment, then runs a function.
class Sm final : public RouteMapConfigSmBase {
 public:
   Sm( const Ptr<const Map> & map, Log & log, std::function<void( Sm & )> reaction = {} )
         : RouteMapConfigSmBase( map ), log_( log ), reaction_( std::move( reaction ) ) {
      log_.push_back( std::string( "set-up" ) + ( continueSeqMap() ? " with continues" : "" ) );
      handleInitialized();
   }
   ~Sm() override { stop(); }
   void handleRouteMapSeq( uint32_t seqno ) override {
      note( "seq " + std::to_string( seqno ) + ( routeMap()->mapEntry( seqno ) ? " exists" : " does not exist" ) );
   }
   void handleRouteMapSeq() override {
      std::string all = "all";
      if( routeMap() )
         for( const auto & member : routeMap()->mapEntry() ) all += " " + std::to_string( member.first );
      note( all );
   }
   void handleVersion() override { note( "version " + ( routeMap() ? std::to_string( routeMap()->version() ) : "of nothing" ) ); }

 private:
   void note( std::string text ) {
      log_.push_back( std::move( text ) + ( continueSeqMap() ? "" : " without continues" ) );
      if( const auto now = reaction_ ) now( *this );
   }
   Log & log_;
   std::function<void( Sm & )> reaction_;
};

class RouteMapConfigSmBaseTest : public testing::Test {
 protected:
   Ptr<Map> map = makeNode<Map>( "RM1" );
   Log log;
   Log take() { return std::exchange( log, {} ); }
};

TEST_F( RouteMapConfigSmBaseTest, theFirstCompileRunsInsideTheConstruction ) {
   map->mapEntryIs( 20 );
   map->mapEntryIs( 10 );
   map->versionIs( 7 );
   const auto sm = makeNode<Sm>( map, log );   // not switched on
   ASSERT_TRUE( sm->continueSeqMap() );
   EXPECT_EQ( sm->continueSeqMap()->name(), "RM1" );
   EXPECT_THAT( take(), ElementsAre( "set-up", "all 10 20", "version 7" ) );
   sm->hasNotificationActiveIs( true );
   EXPECT_THAT( take(), IsEmpty() ) << "nothing was missed";
}

TEST_F( RouteMapConfigSmBaseTest, withoutARouteMapTheNameIsEmpty ) {
   const auto sm = Zeugma::makeSm<Sm>( nullptr, log );
   EXPECT_EQ( sm->routeMap(), nullptr );
   ASSERT_TRUE( sm->continueSeqMap() );
   EXPECT_EQ( sm->continueSeqMap()->name(), "" );
   EXPECT_THAT( take(), ElementsAre( "set-up", "all", "version of nothing" ) );
}

TEST_F( RouteMapConfigSmBaseTest, handlesSequencesByKey ) {
   const auto sm = Zeugma::makeSm<Sm>( map, log );
   take();
   map->mapEntryIs( 10 );
   map->mapEntryIs( 4294967295u );
   map->mapEntryIs( 10 );   // exists
   EXPECT_THAT( take(), ElementsAre( "seq 10 exists", "seq 4294967295 exists" ) );
   map->mapEntryDel( 10 );
   map->mapEntryDel( 10 );
   EXPECT_THAT( take(), ElementsAre( "seq 10 does not exist" ) );
   map->mapEntryIs( 20 );
   take();
   map->mapEntryDelAll();
   EXPECT_THAT( take(), ElementsAre( "seq 20 does not exist", "seq 4294967295 does not exist" ) )
      << "all are deleted before the first notification";
}

TEST_F( RouteMapConfigSmBaseTest, handlesEveryChangeOfTheVersion ) {
   const auto sm = Zeugma::makeSm<Sm>( map, log );
   take();
   map->versionIs( 0 );   // unchanged
   EXPECT_THAT( take(), IsEmpty() );
   for( const uint32_t version : { 4294967295u, 3u, 3u, 0u } ) map->versionIs( version );
   EXPECT_THAT( take(), ElementsAre( "version 4294967295", "version 3", "version 0" ) );
}

TEST_F( RouteMapConfigSmBaseTest, changesInsideASequenceAreIgnored ) {
   const auto entry = map->mapEntryIs( 10 );
   const auto sm = Zeugma::makeSm<Sm>( map, log );
   take();
   entry->distanceIs( 5 );
   entry->subRouteMapIs( { "RM2", false } );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST_F( RouteMapConfigSmBaseTest, changesBeforeItIsSwitchedOnAreScanned ) {
   const auto sm = makeNode<Sm>( map, log );
   const auto continues = sm->continueSeqMap();
   take();
   map->mapEntryIs( 10 );
   map->mapEntryIs( 20 );
   map->versionIs( 1 );
   EXPECT_THAT( take(), IsEmpty() ) << "not switched on";
   sm->hasNotificationActiveIs( true );
   EXPECT_THAT( take(), ElementsAre( "all 10 20", "version 1" ) );
   EXPECT_EQ( sm->continueSeqMap(), continues ) << "created once";
   sm->hasNotificationActiveIs( true );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST_F( RouteMapConfigSmBaseTest, aChangeMadeByTheScanIsNotLost ) {
   const auto sm = Zeugma::makeSm<Sm>( map, log, [ & ]( Sm & ) {
      if( map->version() == 0 && log.back() == "version 0" ) {   // the last thing that is scanned
         map->mapEntryIs( 10 );
         map->versionIs( 1 );
      }
   } );
   EXPECT_THAT( take(), ElementsAre( "set-up", "all", "version 0", "all 10", "version 1" ) );
}

TEST_F( RouteMapConfigSmBaseTest, aStoppedMachineScansNothing ) {
   const auto sm = makeNode<Sm>( map, log );
   take();
   map->mapEntryIs( 10 );   // after the scan
   map->versionIs( 1 );
   sm->plinthDoZombieReactors( true );
   sm->hasNotificationActiveIs( true );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST( RouteMapConfigSmBase, virtualOperationsStandInSlotOrder ) {
   using Base = RouteMapConfigSmBase;
   using Routing::Policy::Fixtures::slotOf;
   if( slotOf( &Base::handleVersion ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const std::vector<long> slots = { slotOf( static_cast<void ( Base::* )( uint32_t )>( &Base::handleRouteMapSeq ) ),
                                     slotOf( static_cast<void ( Base::* )()>( &Base::handleRouteMapSeq ) ), slotOf( &Base::handleVersion ),
                                     slotOf( &Base::handleInitialized ) };
   const long first = slots.front();
   EXPECT_GT( first, slotOf( &Base::formatDerivedType ) ) << "behind those of the base";
   EXPECT_THAT( slots, ElementsAre( first, first + 1, first + 2, first + 3 ) );
}

TEST_F( RouteMapConfigSmBaseTest, aStoppedOrReleasedMachineIsNotNotified ) {
   auto sm = Zeugma::makeSm<Sm>( map, log );
   take();
   sm->plinthDoZombieReactors( true );
   map->versionIs( 1 );
   map->mapEntryIs( 10 );
   EXPECT_THAT( take(), IsEmpty() );
   sm = Zeugma::makeSm<Sm>( map, log );
   sm = nullptr;
   take();
   map->versionIs( 2 );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST_F( RouteMapConfigSmBaseTest, mayBeReleasedInItsOwnHandler ) {
   Ptr<Sm> sm;
   sm = Zeugma::makeSm<Sm>( map, log, [ & ]( Sm & ) {
      if( map->version() == 1 ) sm = nullptr;
   } );
   take();
   map->versionIs( 1 );
   EXPECT_EQ( sm, nullptr );
   EXPECT_THAT( take(), ElementsAre( "version 1" ) );
   map->versionIs( 2 );
   EXPECT_THAT( take(), IsEmpty() );
}

}   // namespace
