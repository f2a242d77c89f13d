#include "compile/RouteMapConfigFilterSm.h"

#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/FilterFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::Config;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;

static_assert( std::is_base_of_v<RouteMapConfigSmBase, RouteMapConfigFilterSm> );

/// Makes common sequences, and writes down what it was given.
class RecordingHelper final : public RmConfigFilterSmHelperBase {
 public:
   struct Made {
      Quoin::String rmName;
      Ptr<const MapEntry> entry;
      Ptr<MapEntry> copy;
      Config * root;
      Ptr<RouteMapBlockedSequenceList> list;
      Ptr<const RouteMapUpdateNotifier> update;
   };
   Ptr<RmSeqConfigFilterSmBase> createSeqConfigSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry,
                                                   const Ptr<MapEntry> & copy, Config * root, const Ptr<RouteMapBlockedSequenceList> & list,
                                                   const Ptr<const RouteMapUpdateNotifier> & update ) override {
      made.push_back( { rmName, entry, copy, root, list, update } );
      return gives( rmName, entry, copy, root, list, update );
   }
   std::vector<uint32_t> takeSeqnos() {
      std::vector<uint32_t> seqnos;
      for( const auto & one : std::exchange( made, {} ) ) seqnos.push_back( one.entry->seqno() );
      return seqnos;
   }
   std::vector<Made> made;
   std::function<Ptr<RmSeqConfigFilterSmBase>( const Quoin::String &, const Ptr<const MapEntry> &, const Ptr<MapEntry> &, Config *,
                                               const Ptr<RouteMapBlockedSequenceList> &, const Ptr<const RouteMapUpdateNotifier> & )>
      gives =
         [ common = makeNode<CommonRmConfigFilterSmHelper>() ]( const auto &... values ) { return common->createSeqConfigSm( values... ); };
};

class RouteMapConfigFilterSmTest : public testing::Test {
 protected:
   /// The filter of a route map of that name, which is there, also in the copy, from then on.
   Ptr<RouteMapConfigFilterSm> start( const char * name ) {
      const auto input = c.raw->routeMapIs( name );
      const auto sm = Zeugma::makeSm<RouteMapConfigFilterSm>( input, c.filtered->routeMapIs( name ), c.filtered, c.update, helper );
      sms[ name ] = sm;
      return sm;
   }
   bool blocked( const char * name, uint32_t seqno ) { return sms[ name ]->routeMapBlockedSequenceList()->sequence( seqno ); }
   std::vector<uint32_t> copied( const char * name ) const {
      std::vector<uint32_t> seqnos;
      for( const auto & member : c.filtered->routeMap( name )->mapEntry() ) seqnos.push_back( member.first );
      return seqnos;
   }

   FilterCase c;
   Ptr<RecordingHelper> helper = makeNode<RecordingHelper>();
   std::map<std::string, Ptr<RouteMapConfigFilterSm>> sms;
};

// ---- the sequences

TEST_F( RouteMapConfigFilterSmTest, existingSequencesAreCopiedInTheConstruction ) {
   for( const uint32_t seqno : { 30u, 10u, 20u } ) c.entry( "RM1", seqno )->distanceIs( seqno );
   c.raw->routeMap( "RM1" )->versionIs( 5 );
   const auto sm =
      makeNode<RouteMapConfigFilterSm>( c.raw->routeMap( "RM1" ), c.filtered->routeMapIs( "RM1" ), c.filtered, c.update, helper );
   EXPECT_THAT( helper->takeSeqnos(), ElementsAre( 10, 20, 30 ) );
   EXPECT_THAT( copied( "RM1" ), ElementsAre( 10, 20, 30 ) );
   EXPECT_EQ( c.copy( "RM1", 20 )->distance(), 20u );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 5u );
   EXPECT_EQ( c.update->version(), 1u );
   EXPECT_EQ( sm->seqConfigSm().count(), 3u );
   EXPECT_EQ( sm->routeMapBlockedSequenceList()->name(), "RM1" );
   EXPECT_EQ( textOf( *sm ), "rmName: RM1" );
}

TEST_F( RouteMapConfigFilterSmTest, withoutARouteMapItCopiesNothing ) {
   const auto output = makeNode<Map>( "RM1" );
   output->versionIs( 3 );
   const auto sm = Zeugma::makeSm<RouteMapConfigFilterSm>( nullptr, output, c.filtered, c.update, helper );
   ASSERT_TRUE( sm->routeMapBlockedSequenceList() );
   EXPECT_EQ( sm->routeMapBlockedSequenceList()->name(), "" );
   EXPECT_EQ( output->version(), 3u );
   EXPECT_EQ( c.update->version(), 0u );
   EXPECT_THAT( helper->takeSeqnos(), IsEmpty() );
}

TEST_F( RouteMapConfigFilterSmTest, theHelperGetsSixValues ) {
   const auto sm = start( "RM1" );
   const auto entry = c.entry( "RM1", 10 );
   ASSERT_EQ( helper->made.size(), 1u );
   const auto & made = helper->made.front();
   EXPECT_EQ( made.rmName, "RM1" );
   EXPECT_EQ( made.entry, entry );
   EXPECT_EQ( made.copy, c.copy( "RM1", 10 ) );
   EXPECT_NE( Ptr<const MapEntry>( made.copy ), made.entry );
   EXPECT_EQ( made.root, c.filtered.get() );
   EXPECT_EQ( made.list, sm->routeMapBlockedSequenceList() );
   EXPECT_EQ( made.update, c.update );
}

TEST_F( RouteMapConfigFilterSmTest, sequencesAreCreatedAndDeleted ) {
   const auto sm = start( "RM1" );
   c.entry( "RM1", 20 );
   c.entry( "RM1", 10 );
   c.entry( "RM1", 10 );   // exists
   EXPECT_THAT( helper->takeSeqnos(), ElementsAre( 20, 10 ) );
   const Ptr<RmSeqConfigFilterSmBase> first = *sm->seqConfigSm().find( 20 );
   const auto oldCopy = c.copy( "RM1", 20 );
   c.raw->routeMap( "RM1" )->mapEntryDel( 20 );
   EXPECT_THAT( copied( "RM1" ), ElementsAre( 10 ) );
   EXPECT_EQ( sm->seqConfigSm().find( 20 ), nullptr );
   EXPECT_FALSE( first->hasNotificationActive() ) << "stopped";
   c.entry( "RM1", 20 )->distanceIs( 3 );
   EXPECT_THAT( helper->takeSeqnos(), ElementsAre( 20 ) );
   EXPECT_NE( *sm->seqConfigSm().find( 20 ), first );
   EXPECT_NE( c.copy( "RM1", 20 ), oldCopy );
   EXPECT_EQ( c.copy( "RM1", 20 )->distance(), 3u );
   EXPECT_EQ( oldCopy->distance(), 0u );
   EXPECT_EQ( c.update->version(), 0u ) << "only a version raises it";
}

TEST_F( RouteMapConfigFilterSmTest, aNumberInBothMapsOrInNeitherIsIgnored ) {
   const auto sm = start( "RM1" );
   c.entry( "RM1", 10 );
   helper->takeSeqnos();
   TraceLog traces( "RouteMapConfigFilterSm" );
   Reaction toCopy( *c.filtered->routeMap( "RM1" ) );
   sm->handleRouteMapSeq( 10 );
   sm->handleRouteMapSeq( 20 );
   sm->handleRouteMapSeq();
   EXPECT_THAT( helper->takeSeqnos(), IsEmpty() );
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( toCopy.heard, 0 );
}

TEST_F( RouteMapConfigFilterSmTest, theFirstWalkSurvivesChanges ) {
   for( const uint32_t seqno : { 10u, 20u, 30u } ) c.entry( "RM1", seqno );
   const auto output = c.filtered->routeMapIs( "RM1" );
   const Reaction reaction( *output, [ & ]( const Quoin::Change & change ) {
      if( Map::Field( change.field ) != Map::Field::mapEntry || Plinth::keyOf<uint32_t>( change ) != 10 || !output->mapEntry( 10 ) ) return;
      c.raw->routeMap( "RM1" )->mapEntryDel( 20 );
      c.entry( "RM1", 25 );
      c.entry( "RM1", 40 );
   } );
   start( "RM1" );
   EXPECT_THAT( copied( "RM1" ), ElementsAre( 10, 25, 30, 40 ) );
   c.raw->routeMap( "RM1" )->mapEntryDelAll();
   EXPECT_THAT( copied( "RM1" ), IsEmpty() );
}

TEST_F( RouteMapConfigFilterSmTest, seqConfigSmIsRefusesNullAndReplaces ) {
   const auto sm = start( "RM1" );
   const auto entry = c.entry( "RM1", 10 );
   EXPECT_THROW( sm->seqConfigSmIs( nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_EQ( sm->seqConfigSm().count(), 1u );
   const Ptr<RmSeqConfigFilterSmBase> old = *sm->seqConfigSm().find( 10 );
   const auto made = makeNode<CommonRmConfigFilterSmHelper>()->createSeqConfigSm( "RM1", entry, c.copy( "RM1", 10 ), c.filtered.get(),
                                                                                  sm->routeMapBlockedSequenceList(), c.update );
   sm->seqConfigSmIs( made );
   EXPECT_EQ( *sm->seqConfigSm().find( 10 ), made );
   EXPECT_EQ( sm->seqConfigSm().count(), 1u );
   EXPECT_FALSE( old->hasNotificationActive() );
   sm->seqConfigSmIs( makeNode<CommonRmConfigFilterSmHelper>()->createSeqConfigSm( "RM1", nullptr, c.copy( "RM1", 10 ), c.filtered.get(),
                                                                                   sm->routeMapBlockedSequenceList(), c.update ) );
   EXPECT_TRUE( sm->seqConfigSm().find( 0 ) ) << "one without an entry has the number 0";
}

// ---- the version

TEST_F( RouteMapConfigFilterSmTest, copiesTheVersionAndRaisesTheNotifierByOneEachTime ) {
   const auto sm = start( "RM1" );
   TraceLog traces( "RouteMapConfigFilterSm" );
   const auto input = c.raw->routeMap( "RM1" );
   uint32_t before = 0, raised = 0;
   for( const uint32_t version : { 7u, 7u, 4294967295u, 3u, 0u } ) {
      input->versionIs( version );
      EXPECT_EQ( c.filteredVersion( "RM1" ), version );
      EXPECT_EQ( c.update->version(), raised += version != before );
      before = version;
   }
   EXPECT_THAT( traces.take(),
                ElementsAre( "update version from 0 to 7", "update version from 7 to 4294967295", "update version from 4294967295 to 3",
                             "update version from 3 to 0" ) );
   sm->handleVersion();
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( c.update->version(), raised );
}

TEST_F( RouteMapConfigFilterSmTest, theVersionIsCopiedBeforeTheNotifierIsRaised ) {
   const auto sm = start( "RM1" );
   Log steps;
   const Reaction ofCopy( *c.filtered->routeMap( "RM1" ), [ & ]( const Quoin::Change & ) {
      steps.push_back( "copy, notifier " + std::to_string( c.update->version() ) );
   } );
   const Reaction ofUpdate(
      *c.update, [ & ]( const Quoin::Change & ) { steps.push_back( "notifier, copy " + std::to_string( c.filteredVersion( "RM1" ) ) ); } );
   c.raw->routeMap( "RM1" )->versionIs( 9 );
   EXPECT_THAT( steps, ElementsAre( "copy, notifier 0", "notifier, copy 9" ) );
}

TEST_F( RouteMapConfigFilterSmTest, tracesCreationAndDeletion ) {
   const auto sm = start( "RM1" );
   TraceLog traces( "RouteMapConfigFilterSm" );
   c.entry( "RM1", 10 );
   EXPECT_THAT( traces.take(), ElementsAre( "creating seqno: 10" ) );
   c.raw->routeMap( "RM1" )->mapEntryDel( 10 );
   EXPECT_THAT( traces.take(), ElementsAre( "deleting seqno: 10" ) );
}

// ---- cycles

TEST_F( RouteMapConfigFilterSmTest, aRouteMapThatCallsItselfIsBlocked ) {
   c.call( "RM1", 10, "RM1" );
   c.raise( "RM1" );
   TraceLog traces( "RouteMapConfigFilterSm" );
   start( "RM1" );
   EXPECT_TRUE( blocked( "RM1", 10 ) );
   EXPECT_EQ( c.calls( "RM1", 10 ), "" );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 0u );
   EXPECT_EQ( c.update->version(), 0u );
   EXPECT_THAT( traces.take(), Contains( "version update is deferred" ) );
}

TEST_F( RouteMapConfigFilterSmTest, aCallOfAnUndefinedMapIsCopiedAtOnce ) {
   start( "RM1" );
   c.call( "RM1", 10, "RM9", true );
   EXPECT_EQ( c.calls( "RM1", 10 ), "RM9 invert-result" );
   EXPECT_FALSE( blocked( "RM1", 10 ) );
   c.raise( "RM1" );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 1u );
}

TEST_F( RouteMapConfigFilterSmTest, theVersionOfABlockedRouteMapWaits ) {
   start( "RM1" );
   c.call( "RM1", 10, "RM1" );
   c.entry( "RM1", 20 )->distanceIs( 5 );
   TraceLog traces( "RouteMapConfigFilterSm" );
   c.raise( "RM1" );
   c.raise( "RM1" );
   EXPECT_THAT( traces.take(), ElementsAre( "version update is deferred", "version update is deferred" ) );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 0u );
   EXPECT_EQ( c.update->version(), 0u );
   EXPECT_EQ( c.copy( "RM1", 20 )->distance(), 5u ) << "all else is copied";
   c.entry( "RM1", 10 )->subRouteMapIs( {} );
   EXPECT_THAT( traces.take(), ElementsAre( "update version from 0 to 2" ) ) << "the list of blocked sequences triggers it";
   EXPECT_EQ( c.filteredVersion( "RM1" ), 2u );
   EXPECT_EQ( c.update->version(), 1u );
}

TEST_F( RouteMapConfigFilterSmTest, aVersionThatMovesBackWhileDeferredIsNotCopied ) {
   start( "RM1" );
   c.raw->routeMap( "RM1" )->versionIs( 3 );
   c.call( "RM1", 10, "RM1" );
   c.raw->routeMap( "RM1" )->versionIs( 4 );
   c.raw->routeMap( "RM1" )->versionIs( 3 );
   TraceLog traces( "RouteMapConfigFilterSm" );
   c.entry( "RM1", 10 )->subRouteMapIs( {} );
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( c.update->version(), 1u );
}

TEST_F( RouteMapConfigFilterSmTest, aBlockedCallWaitsForAVersion ) {
   start( "A" );
   start( "B" );
   c.call( "B", 10, "A" );
   c.raise( "B" );
   c.call( "A", 10, "B" );
   c.raise( "A" );
   EXPECT_TRUE( blocked( "A", 10 ) );
   EXPECT_EQ( c.filteredVersion( "A" ), 0u );
   EXPECT_EQ( c.update->version(), 1u );
   c.call( "B", 10, "" );
   EXPECT_EQ( c.calls( "B", 10 ), "" );
   EXPECT_TRUE( blocked( "A", 10 ) ) << "only a version wakes it";
   EXPECT_EQ( c.calls( "A", 10 ), "" );
   c.raise( "B" );
   EXPECT_FALSE( blocked( "A", 10 ) );
   EXPECT_EQ( c.calls( "A", 10 ), "B" );
   EXPECT_EQ( c.filteredVersion( "A" ), 1u );
   EXPECT_EQ( c.filteredVersion( "B" ), 2u );
   EXPECT_EQ( c.update->version(), 3u ) << "one for each of the three versions";
}

TEST_F( RouteMapConfigFilterSmTest, theVersionOfAnyRouteMapWakesABlockedSequence ) {
   start( "A" );
   start( "B" );
   start( "C" );
   c.call( "B", 10, "A" );
   c.call( "A", 10, "B" );
   c.call( "B", 10, "" );
   ASSERT_TRUE( blocked( "A", 10 ) );
   c.raise( "C" );
   EXPECT_EQ( c.calls( "A", 10 ), "B" );
   EXPECT_EQ( c.update->version(), 1u ) << "the version of A has not moved";
}

TEST_F( RouteMapConfigFilterSmTest, oneOfTwoMutualCallsStaysBlocked ) {
   start( "A" );
   start( "B" );
   start( "C" );
   c.call( "C", 10, "A" );
   c.call( "C", 20, "B" );
   c.call( "A", 10, "C" );
   c.call( "B", 10, "C" );
   c.call( "A", 10, "B" );   // no cycle: copied at once
   EXPECT_EQ( c.calls( "A", 10 ), "B" );
   c.call( "B", 10, "A" );
   ASSERT_TRUE( blocked( "B", 10 ) );
   c.raise( "B" );
   c.raise( "A" );
   c.raise( "C" );
   EXPECT_TRUE( blocked( "B", 10 ) );
   EXPECT_EQ( c.filteredVersion( "B" ), 0u );
   EXPECT_EQ( c.update->version(), 2u );
   c.call( "A", 10, "" );
   c.raise( "A" );
   EXPECT_EQ( c.calls( "B", 10 ), "A" );
   EXPECT_EQ( c.filteredVersion( "B" ), 1u );
}

TEST_F( RouteMapConfigFilterSmTest, aBlockedSequenceThatIsDeletedLeavesTheRouteMapDeferred ) {
   start( "RM1" );
   c.call( "RM1", 10, "RM1" );
   c.raw->routeMap( "RM1" )->mapEntryDel( 10 );
   EXPECT_TRUE( blocked( "RM1", 10 ) );
   EXPECT_THAT( copied( "RM1" ), IsEmpty() ) << "the copy is deleted";
   c.entry( "RM1", 20 )->distanceIs( 4 );
   TraceLog traces( "RouteMapConfigFilterSm" );
   c.raise( "RM1" );
   EXPECT_THAT( traces.take(), ElementsAre( "version update is deferred" ) );
   c.update->versionInc( 1 );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 0u );
   EXPECT_EQ( c.copy( "RM1", 20 )->distance(), 4u );
   start( "RM1" );   // a new machine has a new list
   EXPECT_EQ( c.filteredVersion( "RM1" ), 1u );
}

TEST_F( RouteMapConfigFilterSmTest, aDeferredRouteMapIsFreedByANewSequenceWithAnotherCall ) {
   start( "RM1" );
   start( "RM2" );
   c.call( "RM1", 10, "RM1" );
   c.raw->routeMap( "RM1" )->mapEntryDel( 10 );
   c.raise( "RM1" );
   c.entry( "RM1", 10 );
   EXPECT_TRUE( blocked( "RM1", 10 ) ) << "no call is evaluated";
   c.raise( "RM2" );
   EXPECT_TRUE( blocked( "RM1", 10 ) ) << "not subscribed";
   c.call( "RM1", 10, "RM1" );
   EXPECT_TRUE( blocked( "RM1", 10 ) );
   c.call( "RM1", 10, "RM2" );
   EXPECT_FALSE( blocked( "RM1", 10 ) );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 1u );
}

TEST_F( RouteMapConfigFilterSmTest, theFilteredCallsNeverFormACycle ) {
   constexpr unsigned n = 5;
   uint32_t random = 12345;
   const auto pick = [ & ]( unsigned below ) {
      random = random * 1664525u + 1013904223u;
      return ( random >> 16 ) % below;
   };
   const auto name = []( unsigned i ) { return "R" + std::to_string( i ); };
   for( unsigned i = 0; i < n; ++i ) start( name( i ).c_str() );
   // Whether anyone can be reached from there by the filtered calls, itself included.
   const auto reaches = [ & ]( unsigned from, unsigned to ) {
      std::vector<bool> seen( n );
      std::vector<unsigned> left{ from };
      while( !left.empty() ) {
         const unsigned at = left.back();
         left.pop_back();
         for( const auto & [ seqno, entry ] : c.filtered->routeMap( name( at ).c_str() )->mapEntry() ) {
            if( entry->subRouteMap().name.empty() ) continue;
            const unsigned next = entry->subRouteMap().name.view()[ 1 ] - '0';
            if( next == to ) return true;
            if( !seen[ next ] ) left.push_back( next );
            seen[ next ] = true;
         }
      }
      return false;
   };
   unsigned everBlocked = 0;
   for( int step = 0; step < 1000; ++step ) {
      const auto map = name( pick( n ) );
      if( pick( 3 ) == 0 ) {
         c.raise( map.c_str() );
      } else {
         const auto target = pick( 4 ) == 0 ? std::string() : name( pick( n ) );
         c.call( map.c_str(), 10 * ( 1 + pick( 2 ) ), target.c_str(), pick( 2 ) );
      }
      for( unsigned i = 0; i < n; ++i ) {
         ASSERT_FALSE( reaches( i, i ) ) << name( i ) << " in step " << step;
         const auto & list = *sms[ name( i ) ]->routeMapBlockedSequenceList();
         everBlocked += !list.sequence().empty();
         const auto input = c.raw->routeMap( name( i ).c_str() );
         for( const auto & [ seqno, entry ] : input->mapEntry() )
            ASSERT_TRUE( list.sequence( seqno ) || entry->subRouteMap() == c.copy( name( i ).c_str(), seqno )->subRouteMap() )
               << name( i ) << " " << seqno << " in step " << step;
         if( list.sequence().empty() ) {
            ASSERT_EQ( c.filteredVersion( name( i ).c_str() ), input->version() ) << name( i ) << " in step " << step;
         }
      }
   }
   EXPECT_GT( everBlocked, 30u ) << "enough cases";
   // Without calls nothing is blocked.
   for( unsigned i = 0; i < n; ++i )
      for( const uint32_t seqno : { 10u, 20u } ) c.call( name( i ).c_str(), seqno, "" );
   for( unsigned i = 0; i < n; ++i ) EXPECT_TRUE( sms[ name( i ) ]->routeMapBlockedSequenceList()->sequence().empty() );
}

// ---- lifetime

TEST_F( RouteMapConfigFilterSmTest, changesBeforeItIsSwitchedOnAreCopied ) {
   for( const uint32_t seqno : { 10u, 20u, 25u } ) c.entry( "RM1", seqno )->distanceIs( 1 );
   const auto map = c.raw->routeMap( "RM1" );
   const auto sm = makeNode<RouteMapConfigFilterSm>( map, c.filtered->routeMapIs( "RM1" ), c.filtered, c.update, helper );
   map->mapEntryDel( 10 );
   map->mapEntryDel( 20 );
   c.entry( "RM1", 20 )->distanceIs( 2 );
   c.entry( "RM1", 30 );
   c.raise( "RM1" );
   EXPECT_THAT( copied( "RM1" ), ElementsAre( 10, 20, 25 ) );
   sm->hasNotificationActiveIs( true );
   EXPECT_THAT( copied( "RM1" ), ElementsAre( 20, 25, 30 ) );
   EXPECT_EQ( c.copy( "RM1", 20 )->distance(), 2u ) << "replaced";
   EXPECT_EQ( sm->seqConfigSm().count(), 3u );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 1u );
}

TEST_F( RouteMapConfigFilterSmTest, aStoppedMachineCopiesNothing ) {
   const auto sm = start( "RM1" );
   c.call( "RM1", 10, "RM1" );
   c.raise( "RM1" );
   sm->plinthDoZombieReactors( true );
   c.entry( "RM1", 20 );
   c.entry( "RM1", 10 )->distanceIs( 3 );
   sm->routeMapBlockedSequenceList()->sequenceDelAll();
   EXPECT_THAT( copied( "RM1" ), ElementsAre( 10 ) );
   EXPECT_EQ( c.copy( "RM1", 10 )->distance(), 0u );
   EXPECT_EQ( c.filteredVersion( "RM1" ), 0u );
}

TEST_F( RouteMapConfigFilterSmTest, aReleasedMachineCopiesNothing ) {
   start( "RM1" );
   start( "RM2" );
   c.call( "RM2", 10, "RM1" );
   c.call( "RM1", 10, "RM2" );   // blocked, and subscribed to the notifier
   c.raise( "RM1" );
   helper->made.clear();
   sms.clear();
   c.call( "RM2", 10, "" );
   c.raise( "RM2" );
   c.update->versionInc( 1 );
   EXPECT_EQ( c.calls( "RM1", 10 ), "" );
   EXPECT_EQ( c.calls( "RM2", 10 ), "RM1" );
   EXPECT_EQ( c.filteredVersion( "RM2" ), 0u );
}

TEST_F( RouteMapConfigFilterSmTest, mayBeReleasedInAnyOfItsWrites ) {
   struct Row {
      const char * what;
      std::function<Quoin::Node *()> watched;
      std::function<void()> act;
   };
   const auto input = c.raw->routeMapIs( "RM1" );
   const auto output = c.filtered->routeMapIs( "RM1" );
   const Row rows[] = {
      { "a new copy", [ & ] { return output.get(); }, [ & ] { input->mapEntryIs( 30 ); } },
      { "a deleted copy", [ & ] { return output.get(); }, [ & ] { input->mapEntryDel( 20 ); } },
      { "the copy's version", [ & ] { return output.get(); }, [ & ] { input->versionIs( input->version() + 1 ); } },
      { "the notifier", [ & ] { return c.update.get(); }, [ & ] { input->versionIs( input->version() + 1 ); } },
      { "the list", [ & ] { return sms[ "RM1" ]->routeMapBlockedSequenceList().get(); }, [ & ] { c.call( "RM1", 20, "RM1" ); } },
      { "a copied value", [ & ] { return output->mapEntry( 20 ).get(); }, [ & ] { c.entry( "RM1", 20 )->distanceIs( 5 ); } },
      { "a copied continue", [ & ] { return output->mapEntry( 20 ).get(); }, [ & ] { c.entry( "RM1", 20 )->continueSeqIs( 50 ); } },
      { "a copied call", [ & ] { return output->mapEntry( 20 ).get(); }, [ & ] { c.call( "RM1", 20, "RM9" ); } },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      input->mapEntryDelAll();
      output->mapEntryDelAll();
      input->mapEntryIs( 20 );
      start( "RM1" );
      helper->made.clear();
      {
         const Ptr<Quoin::Node> watched( row.watched() );
         const Reaction drop( *watched, [ & ]( const Quoin::Change & ) { sms.clear(); } );
         row.act();
         EXPECT_TRUE( sms.empty() );
      }
   }
}

TEST_F( RouteMapConfigFilterSmTest, aSequenceMayBeDeletedInTheChangeOfItsCopy ) {
   const auto sm = start( "RM1" );
   c.entry( "RM1", 10 );
   int heard = 0;
   const Reaction reaction( *c.copy( "RM1", 10 ), [ & ]( const Quoin::Change & ) {
      ++heard;
      c.raw->routeMap( "RM1" )->mapEntryDel( 10 );
   } );
   helper->made.clear();
   c.call( "RM1", 10, "RM9" );
   EXPECT_EQ( heard, 1 );
   EXPECT_TRUE( sm->seqConfigSm().empty() );
   EXPECT_THAT( copied( "RM1" ), IsEmpty() );
   EXPECT_TRUE( sm->routeMapBlockedSequenceList()->sequence().empty() );
}

}   // namespace
}   // namespace Routing::Policy
