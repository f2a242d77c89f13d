#include "compile/RouteMapConfigSm.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/routemap/PrefixListProducer.h"
#include "tests/compile/RouteMapConfigSmFixtures.h"
#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"
#include "tests/policy/Fixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Routing::RouteMap::Config;
using Routing::RouteMap::RouteMapOpModeType;
using testing::ElementsAre;
using Log = std::vector<std::string>;
constexpr auto deny = Acl::MatchPermit::deny;

/// Runs at the first change, or at the first one that is meant.
Reaction::Function once( std::function<void()> act, std::function<bool( const Quoin::Change & )> isMeant = {} ) {
   return [ act = std::move( act ), isMeant = std::move( isMeant ), done = std::make_shared<bool>() ]( const Quoin::Change & change ) {
      if( ( !isMeant || isMeant( change ) ) && !std::exchange( *done, true ) ) act();
   };
}

/// A helper that creates common sequences. A test may run a function after that.
struct ToldHelper final : RmConfigFilterSmHelperBase {
   Ptr<RmSeqConfigFilterSmBase> createSeqConfigSm( const String & rmName, const Ptr<const MapEntry> & entry, const Ptr<MapEntry> & copy,
                                                   Config * config, const Ptr<RouteMapBlockedSequenceList> & list,
                                                   const Ptr<const RouteMapUpdateNotifier> & update ) override {
      const auto sm = common->createSeqConfigSm( rmName, entry, copy, config, list, update );
      if( const auto now = std::exchange( behind, {} ) ) now();
      return sm;
   }
   std::function<void()> behind;   // once, after the creation
   Ptr<CommonRmConfigFilterSmHelper> common = makeNode<CommonRmConfigFilterSmHelper>();
};

class RouteMapConfigSmReactionTest : public RouteMapConfigSmFixture {
 protected:
   RouteMapConfigSmReactionTest() { filterHelper = told; }
   Ptr<MapEntry> entry( const char * name, uint32_t seqno = 10 ) const { return raw->routeMap( name )->mapEntry( seqno ); }
   Ptr<MapEntry> copy( const char * name, uint32_t seqno = 10 ) const { return filtered->routeMap( name )->mapEntry( seqno ); }
   bool blocked( const char * name, uint32_t seqno = 10 ) const { return filter( name )->routeMapBlockedSequenceList()->sequence( seqno ); }
   /// Whether both stages have the configured route map, and it is published whole.
   testing::AssertionResult lives( const char * name ) const {
      const auto input = raw->routeMap( name );
      const auto output = filtered->routeMap( name );
      const auto reactor = machine->rmConfigSymbolReactorColl()->reactor( name );
      const auto fail = [ & ]( const char * what ) { return testing::AssertionFailure() << name << ": " << what; };
      if( !input ) return fail( "is not configured" );
      if( const auto all = whole( name, true ); !all ) return all;
      const auto filterSm = filter( name );
      const auto symbolSm = compiler( name );
      if( filterSm->routeMap() != input ) return fail( "another map is filtered" );
      if( filterSm->filteredRmConfig() != output ) return fail( "the filter writes to another copy" );
      if( filterSm->seqConfigSm().count() != input->mapEntry().count() ) return fail( "wrong number of filter machines" );
      if( output->mapEntry().count() != input->mapEntry().count() ) return fail( "wrong number of copied sequences" );
      if( output->version() != input->version() ) return fail( "another version in the copy" );
      if( symbolSm->routeMap() != output ) return fail( "another map is compiled" );
      if( symbolSm->seqConfigSm().count() != input->mapEntry().count() ) return fail( "wrong number of symbol machines" );
      if( symbolSm->rmConfigSymbolReactor() != reactor ) return fail( "another reactor" );
      if( reactor->modifiedRmSeqStatusList() != symbolSm->modifiedRmSeqStatusList() ) return fail( "another list in the reactor" );
      if( machine->allRmSymbol()->symbol( name ) != symbol( name ) ) return fail( "another symbol" );
      if( !status( name ) ) return fail( "no status" );
      if( status( name )->seqStatus().count() != input->mapEntry().count() ) return fail( "other sequences in the status" );
      if( !symbol( name )->statusCurrent() ) return fail( "not current" );
      if( machine->pendingDelete().find( name ) ) return fail( "a deletion is pending" );
      if( machine->deferredCreates().find( name ) ) return fail( "a creation is deferred" );
      return testing::AssertionSuccess();
   }
   /// Whether nothing is left of a route map.
   testing::AssertionResult gone( const char * name ) const {
      if( const auto none = whole( name, false ); !none ) return none;
      const bool pending = machine->pendingDelete().find( name ) || machine->deferredCreates().find( name );
      if( pending || status( name ) ) return testing::AssertionFailure() << name << ( pending ? ": pending" : ": status" );
      return testing::AssertionSuccess();
   }

   Ptr<ToldHelper> told = makeNode<ToldHelper>();
};

// ---- releasing the machine

TEST_F( RouteMapConfigSmReactionTest, mayBeReleasedWithItsOutputInsideACreation ) {
   add( "M" );
   start();
   const auto kept = symbol( "M" );
   del( "M" );
   run();
   ASSERT_TRUE( kept->statusCurrent() );
   {
      const Reaction drop( *kept, [ & ]( const Quoin::Change & ) {
         machine = nullptr;
         filtered = nullptr;
      } );
      raw->routeMapIs( "M" );
   }
   EXPECT_EQ( machine, nullptr );
   EXPECT_TRUE( scheduler->idle() );
}

TEST_F( RouteMapConfigSmReactionTest, aModeStopsWhenTheMachineIsReleased ) {
   for( const char * name : { "A", "M", "Z" } ) add( name );
   start();
   for( const char * name : { "A", "M", "Z" } ) entry( name )->permitIs( deny );
   const auto kept = symbol( "M" );
   const Reaction drop( *kept->notifier(), [ & ]( const Quoin::Change & ) { machine = nullptr; } );
   TraceLog traces( "RouteMapConfigSymbolSm" );
   raw->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   const auto texts = traces.take();
   EXPECT_EQ( countOf( texts, "changes added to A" ), 1 );
   EXPECT_EQ( countOf( texts, "changes added to M" ), 1 );
   EXPECT_EQ( countOf( texts, "changes added to Z" ), 0 );
}

TEST_F( RouteMapConfigSmReactionTest, aMachineReleasedInsideItsTaskLeavesTheOtherNames ) {
   for( const bool inCreation : { false, true } ) {
      SCOPED_TRACE( inCreation ? "in a deferred create" : "in a deletion" );
      raw->routeMapDelAll();
      for( const char * name : { "A", "M", "Z" } ) add( name );
      start();
      for( const char * name : { "A", "M", "Z" } ) del( name ), add( name, 2 );
      const Reaction release( *filtered, [ & ]( const Quoin::Change & ) {
         if( machine && machine->pendingDelete().empty() == inCreation ) machine = nullptr;
      } );
      run();
      EXPECT_EQ( machine, nullptr );
      EXPECT_EQ( filtered->routeMap().count(), inCreation ? 1u : 2u );
      EXPECT_TRUE( scheduler->idle() );
   }
}

// ---- sequences that change while they are copied

TEST_F( RouteMapConfigSmReactionTest, aSequenceMayBeDeletedInsideItsCreation ) {
   struct Row {
      const char * what;
      std::function<Ptr<const Quoin::Node>()> watched;
   };
   const Row rows[] = {
      { "of the copy", [ & ] { return filtered->routeMap( "M" ); } },
      { "of the symbol", [ & ] { return symbol( "M" ); } },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.what );
      raw->routeMapDelAll();
      const auto map = add( "M" );
      start();
      {
         const Ptr<const Quoin::Node> watched = row.watched();
         const Reaction reaction( *watched, once( [ & ] { map->mapEntryDel( 20 ); } ) );
         map->mapEntryIs( 20 );
      }
      EXPECT_FALSE( filter( "M" )->seqConfigSm().find( 20 ) );
      EXPECT_FALSE( ( *machine->routeMapConfigSymbolSm().find( "M" ) )->seqConfigSm().find( 20 ) );
      EXPECT_FALSE( copy( "M", 20 ) );
      map->versionIs( 5 );
      run();
      EXPECT_TRUE( lives( "M" ) );
      map->mapEntryIs( 20 );
      map->versionIs( 6 );
      run();
      EXPECT_TRUE( lives( "M" ) ) << "the number may be used again";
   }
}

TEST_F( RouteMapConfigSmReactionTest, aDeletedSequenceBlocksNothing ) {
   const auto map = add( "A" );
   add( "B" );
   call( "B", "A" );
   start();
   const Reaction reaction( *filtered->routeMap( "A" ), once( [ & ] {
      const auto dead = map->mapEntry( 20 );
      dead->subRouteMapIs( { "B", false } );   // would close a cycle
      map->mapEntryDel( 20 );
   } ) );
   map->mapEntryIs( 20 );
   EXPECT_TRUE( filter( "A" )->routeMapBlockedSequenceList()->sequence().empty() );
   map->versionIs( 2 );
   run();
   EXPECT_TRUE( lives( "A" ) );
}

TEST_F( RouteMapConfigSmReactionTest, aSequenceMayBeCreatedAgainInsideItsDeletion ) {
   add( "M" );
   const auto map = add( "M", 2, 20 );
   start();
   const auto kept = symbol( "M" );
   const Reaction reaction( *kept->notifier(), once( [ & ] { map->mapEntryIs( 10 ); } ) );
   map->mapEntryDel( 10 );
   ASSERT_TRUE( map->mapEntry( 10 ) );
   EXPECT_TRUE( filter( "M" )->seqConfigSm().find( 10 ) );
   map->mapEntry( 10 )->permitIs( deny );
   map->versionIs( 3 );
   run();
   EXPECT_EQ( copy( "M" )->permit(), deny );
   EXPECT_EQ( status( "M" )->seqStatus( 10 )->matchAction(), deny );
   EXPECT_TRUE( lives( "M" ) );
}

TEST_F( RouteMapConfigSmReactionTest, aSequenceMayBeReplacedInsideItsCreation ) {
   const auto map = add( "M" );
   start();
   const Reaction reaction( *filtered->routeMap( "M" ), once( [ & ] {
      map->mapEntryDel( 20 );
      map->mapEntryIs( 20 )->permitIs( deny );
   } ) );
   map->mapEntryIs( 20 );
   EXPECT_EQ( copy( "M", 20 )->permit(), deny );
   map->mapEntry( 20 )->distanceIs( 7 );
   EXPECT_EQ( copy( "M", 20 )->distance(), 7u );
   map->versionIs( 2 );
   run();
   EXPECT_TRUE( lives( "M" ) );
}

TEST_F( RouteMapConfigSmReactionTest, aVersionRaisedInsideTheCreationOfACopyWaitsForTheCopy ) {
   const auto map = add( "M" );
   start();
   const Reaction reaction( *filtered->routeMap( "M" ), once( [ & ] {
      map->mapEntry( 20 )->permitIs( deny );
      raise( "M" );
   } ) );
   map->mapEntryIs( 20 );
   EXPECT_TRUE( lives( "M" ) );
   ASSERT_TRUE( status( "M" )->seqStatus( 20 ) );
   EXPECT_EQ( status( "M" )->seqStatus( 20 )->matchAction(), deny );
}

TEST_F( RouteMapConfigSmReactionTest, aSequenceMayBeReplacedInsideItsHelper ) {
   const auto map = add( "M" );
   start();
   told->behind = [ & ] {
      map->mapEntryDel( 20 );
      map->mapEntryIs( 20 )->permitIs( deny );
   };
   map->mapEntryIs( 20 );
   ASSERT_TRUE( copy( "M", 20 ) );
   EXPECT_EQ( copy( "M", 20 )->permit(), deny );
   ASSERT_TRUE( filter( "M" )->seqConfigSm().find( 20 ) );
   EXPECT_EQ( ( *filter( "M" )->seqConfigSm().find( 20 ) )->seqConfig(), map->mapEntry( 20 ) );
   map->mapEntry( 20 )->distanceIs( 7 );
   EXPECT_EQ( copy( "M", 20 )->distance(), 7u );
   map->versionIs( 2 );
   run();
   EXPECT_TRUE( lives( "M" ) );
}

// ---- route maps that change while they are created or deleted

TEST_F( RouteMapConfigSmReactionTest, aRouteMapMayBeCreatedAgainInsideItsDeletion ) {
   struct Row {
      const char * what;
      std::function<Ptr<const Quoin::Node>()> watched;
   };
   const Row rows[] = {
      { "its copy goes", [ & ] { return filtered; } },
      { "its reactor goes", [ & ] { return machine->rmConfigSymbolReactorColl(); } },
      { "its symbol is no longer listed", [ & ] { return machine->allRmSymbol(); } },
      { "it uses no roles any more", [ & ] { return users; } },
      { "its status goes", [ & ] { return symbol( "M" )->notifier(); } },
      { "the calls are looked at again", [ & ] { return machine->routeMapUpdateNotifier(); } },
   };
   for( const Row & row : rows ) {
      for( const bool twice : { false, true } ) {
         SCOPED_TRACE( std::string( row.what ) + ( twice ? ", and is made twice" : "" ) );
         raw->routeMapDelAll();
         users = makeNode<MatchAggregateRoleUsers>();
         add( "M", 7 );
         start();
         users->mapNameIs( "M" );
         const auto kept = symbol( "M" );
         int reacted = 0;
         {
            const Ptr<const Quoin::Node> watched = row.watched();
            const Reaction reaction( *watched, once( [ & ] {
               ++reacted;
               add( "M", 8 );
               if( !twice ) return;
               del( "M" );
               add( "M", 9, 30 );
            } ) );
            del( "M" );
            run();
         }
         EXPECT_EQ( reacted, 1 );
         EXPECT_TRUE( lives( "M" ) );
         raise( "M" );
         raw->routeMap( "M" )->mapEntryIs( 40 );
         raise( "M" );
         run();
         EXPECT_TRUE( lives( "M" ) );
         del( "M" );
         run();
         EXPECT_TRUE( gone( "M" ) );
      }
   }
}

TEST_F( RouteMapConfigSmReactionTest, aRouteMapMayBeReplacedInsideItsDeferredCreate ) {
   add( "M", 7 );
   start();
   const auto kept = symbol( "M" );
   int reacted = 0;
   const Reaction reaction( *kept->notifier(),
                            once(
                               [ & ] {
                                  ++reacted;
                                  del( "M" );
                                  add( "M", 9, 30 );
                               },
                               [ & ]( const Quoin::Change & ) { return kept->rmStatus() != nullptr; } ) );
   del( "M" );
   add( "M", 8 );
   run();
   EXPECT_EQ( reacted, 1 );
   EXPECT_TRUE( lives( "M" ) );
   EXPECT_TRUE( status( "M" )->seqStatus( 30 ) );
   raise( "M" );
   run();
   EXPECT_TRUE( lives( "M" ) );
}

TEST_F( RouteMapConfigSmReactionTest, otherRouteMapsMayBeReplacedInsideADeletion ) {
   for( const char * name : { "M", "X", "Y" } ) add( name, 7 );
   start();
   const auto kept = symbol( "M" );
   const Reaction reaction( *kept->notifier(), once( [ & ] {
      for( const char * name : { "X", "Y" } ) {
         del( name );
         add( name, 9, 30 );
      }
   } ) );
   del( "M" );
   run();
   EXPECT_TRUE( gone( "M" ) );
   for( const char * name : { "X", "Y" } ) {
      EXPECT_TRUE( lives( name ) );
      raise( name );
      run();
      EXPECT_TRUE( lives( name ) );
   }
}

TEST_F( RouteMapConfigSmReactionTest, aRouteMapMayBeDeletedInsideItsCreation ) {
   for( const bool back : { false, true } ) {
      SCOPED_TRACE( back ? "and comes back" : "for good" );
      raw->routeMapDelAll();
      start();
      const auto kept = symbol( "M" );
      kept->statusCurrentIs( true );
      {
         const Reaction reaction( *kept, once( [ & ] {
            del( "M" );
            if( back ) add( "M", 8, 30 );
         } ) );
         raw->routeMapIs( "M" );
      }
      run();
      EXPECT_TRUE( back ? lives( "M" ) : gone( "M" ) );
      add( "M", 9 );
      run();
      EXPECT_TRUE( lives( "M" ) );
      del( "M" );
      run();
      EXPECT_TRUE( gone( "M" ) );
   }
}

// ---- calls

TEST_F( RouteMapConfigSmReactionTest, aCallChangedInsideItsCopyIsBlocked ) {
   for( const char * name : { "A", "B", "C" } ) add( name );
   call( "C", "A" );
   start();
   const auto copied = copy( "A" );
   const Reaction reaction(
      *copied,
      once( [ & ] { call( "A", "C" ); },   // closes a cycle
            []( const Quoin::Change & change ) { return MapEntry::Field( change.field ) == MapEntry::Field::subRouteMap; } ) );
   call( "A", "B" );
   EXPECT_TRUE( blocked( "A" ) );
   EXPECT_EQ( textOf( copied->subRouteMap() ), "B" );
   raise( "A" );
   EXPECT_EQ( filtered->routeMap( "A" )->version(), 1u ) << "deferred";
   call( "C", "" );
   raise( "C" );
   EXPECT_FALSE( blocked( "A" ) ) << "woken by the version";
   EXPECT_EQ( textOf( copied->subRouteMap() ), "C" );
   run();
   EXPECT_TRUE( lives( "A" ) );
}

TEST_F( RouteMapConfigSmReactionTest, aChainOfBlockedRouteMapsIsFreedOnASmallStack ) {
   constexpr int n = 300;
   const auto name = []( int i ) { return "M" + std::to_string( i ); };
   for( int i = 0; i < n; ++i ) {
      add( name( i ).c_str() );
      if( i + 1 < n ) call( name( i ).c_str(), name( i + 1 ).c_str() );
   }
   start();
   // Each but the first calls the one before it. The last blocked one is notified first, so each delivery frees one.
   for( int i = n - 1; i > 0; --i ) {
      call( name( i ).c_str(), name( i - 1 ).c_str() );
      raise( name( i ).c_str() );
      ASSERT_TRUE( blocked( name( i ).c_str() ) ) << i;
   }
   call( "M0", "" );
   const uint32_t before = machine->routeMapUpdateNotifier()->version();
   Fixtures::onSmallStack( [ & ] { raise( "M0" ); } );
   EXPECT_EQ( machine->routeMapUpdateNotifier()->version(), before + n );
   for( int i = 1; i < n; ++i ) {
      ASSERT_FALSE( blocked( name( i ).c_str() ) ) << i;
      ASSERT_EQ( textOf( copy( name( i ).c_str() )->subRouteMap() ), name( i - 1 ) );
   }
}

// ---- the mode

// The next generation of A waits with the former list and the former callee. A subscriber of the mailbox has A compiled when a new list or
// a new callee arrives.
TEST_F( RouteMapConfigSmReactionTest, aCompilationInsideTheCreationOfAPendingUpdateAppliesTheUpdate ) {
   RouteMap::PrefixListProducer list( root->ipv4PrefixListTable(), "L", Ferule::AddressFamily::ipv4 );
   list.publish();
   start();
   add( "A" );
   entry( "A" )->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "L" ) );
   call( "A", "B" );
   raise( "A" );
   add( "B" );
   run();
   const auto & mailbox = *machine->rmConfigSymbolReactorColl()->reactor( "A" );
   unsigned mode = 0;
   const auto compile = [ & ] { raw->routeMapOpModeIs( RouteMapOpModeType( ++mode ) ); };

   ASSERT_FALSE( list.entryIs( { 5, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, {} } ) );
   raise( "A" );
   entry( "A" )->permitIs( deny );
   raise( "A" );
   {
      const Reaction ofMailbox( mailbox, once( compile ) );
      list.publish();
   }
   run();
   ASSERT_EQ( mode, 1u );
   EXPECT_TRUE( isOfPresentList( *status( "A" )->seqStatus( 10 )->matcher( MatchOption::matchIpPrefixList ), MatchOption::matchIpPrefixList,
                                 *list.symbol() ) );

   entry( "B" )->distanceIs( 5 );   // B is not current
   entry( "A" )->permitIs( Acl::MatchPermit::permit );
   raise( "A" );
   {
      const Reaction ofMailbox( mailbox, once( compile ) );
      raise( "B" );
   }
   run();
   ASSERT_EQ( mode, 2u );
   EXPECT_EQ( status( "A" )->seqStatus( 10 )->subRouteMap(), status( "B" ) );
   EXPECT_TRUE( machine->verify().empty() );
}

TEST_F( RouteMapConfigSmReactionTest, aModeChangedInsideItsCopyReachesTheNotifier ) {
   start();
   const Reaction reaction( *filtered, once( [ & ] { raw->routeMapOpModeIs( RouteMapOpModeType( 2 ) ); } ) );
   raw->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   EXPECT_EQ( filtered->routeMapOpMode(), RouteMapOpModeType( 2 ) );
   EXPECT_EQ( machine->routeMapOpModeNotifier()->routeMapOpMode(), RouteMapOpModeType( 2 ) );
}

// ---- between construction and notification

TEST_F( RouteMapConfigSmReactionTest, aHalfEditBeforeItIsSwitchedOnWaitsForItsVersion ) {
   add( "M" );
   construct();
   const auto kept = symbol( "M" );
   entry( "M" )->permitIs( deny );
   add( "Q" );   // a change to find when it is switched on
   const uint32_t before = kept->notifier()->version();
   machine->hasNotificationActiveIs( true );
   EXPECT_TRUE( lives( "Q" ) );
   EXPECT_EQ( kept->notifier()->version(), before );
   EXPECT_EQ( status( "M" )->seqStatus( 10 )->matchAction(), Acl::MatchPermit::permit );
   raise( "M" );
   run();
   EXPECT_EQ( status( "M" )->seqStatus( 10 )->matchAction(), deny );
}

TEST_F( RouteMapConfigSmReactionTest, aRouteMapMayBeReplacedInsideTheConstruction ) {
   add( "M" );
   add( "N" );
   const Reaction reaction( *filtered,
                            once(
                               [ & ] {
                                  del( "M" );
                                  add( "M", 5, 30 );
                               },
                               [ & ]( const Quoin::Change & ) { return live( "N" ); } ) );
   start();
   run();
   EXPECT_TRUE( lives( "M" ) );
   EXPECT_TRUE( status( "M" )->seqStatus( 30 ) );
   EXPECT_TRUE( lives( "N" ) );
}

// ---- the notifier of updates

TEST( RouteMapUpdateNotifierReaction, aRaiseInsideItsDeliveryIsDeliveredAfterIt ) {
   const auto notifier = makeNode<RouteMapUpdateNotifier>();
   Log heard;
   bool inside = false;
   const auto note = [ & ]( const char * who ) {
      EXPECT_FALSE( inside ) << who << " hears inside the raise";
      heard.push_back( who + ( " " + std::to_string( notifier->version() ) ) );
   };
   const Reaction first( *notifier, [ & ]( const Quoin::Change & ) {
      note( "first" );
      if( notifier->version() != 1 ) return;
      inside = true;
      notifier->versionInc( 1 );
      notifier->versionInc( 1 );
      inside = false;
   } );
   const Reaction second( *notifier, [ & ]( const Quoin::Change & ) { note( "second" ); } );
   notifier->versionInc( 1 );
   EXPECT_THAT( heard, ElementsAre( "first 1", "second 3", "first 3", "second 3" ) );
   EXPECT_EQ( notifier->version(), 3u );
}

TEST( RouteMapUpdateNotifierReaction, aCascadeNeedsLittleStack ) {
   constexpr uint32_t n = 20000;
   const auto notifier = makeNode<RouteMapUpdateNotifier>();
   Reaction again( *notifier, [ & ]( const Quoin::Change & ) {
      if( notifier->version() < n ) notifier->versionInc( 1 );
   } );
   Fixtures::onSmallStack( [ & ] { notifier->versionInc( 1 ); } );
   EXPECT_EQ( notifier->version(), n );
   EXPECT_EQ( again.take(), int( n ) );
}

// ---- null arguments

TEST( RouteMapConfigFilterSmDeathTest, aNullArgumentEndsTheProcess ) {
   const auto input = makeNode<Map>( "A" ), output = makeNode<Map>( "A" );
   const auto config = makeNode<Config>();
   const auto update = makeNode<RouteMapUpdateNotifier>();
   const Ptr<RmConfigFilterSmHelperBase> helper = makeNode<CommonRmConfigFilterSmHelper>();
   const auto make = []( const auto &... values ) { Zeugma::makeSm<RouteMapConfigFilterSm>( values... ); };
   EXPECT_DEATH( make( input, nullptr, config, update, helper ), "Assertion failed: filteredRmConfig\\(\\)" );
   EXPECT_DEATH( make( input, output, nullptr, update, helper ), "Assertion failed: filteredConfig\\(\\)" );
   EXPECT_DEATH( make( input, output, config, nullptr, helper ), "Assertion failed: routeMapUpdateNotifier\\(\\)" );
   EXPECT_DEATH( make( input, output, config, update, nullptr ), "Assertion failed: filterHelper\\(\\)" );
   make( input, output, config, update, helper );
}

TEST( RouteMapConfigFilterSmReaction, withoutARouteMapItHasNoSequences ) {
   const auto output = makeNode<Map>( "A" );
   const Ptr<RmConfigFilterSmHelperBase> helper = makeNode<CommonRmConfigFilterSmHelper>();
   const auto sm =
      Zeugma::makeSm<RouteMapConfigFilterSm>( nullptr, output, makeNode<Config>(), makeNode<RouteMapUpdateNotifier>(), helper );
   sm->handleRouteMapSeq( 10 );
   sm->handleRouteMapSeq();
   sm->handleVersion();
   EXPECT_TRUE( output->mapEntry().empty() );
   EXPECT_TRUE( sm->seqConfigSm().empty() );
}

TEST( CommonComponentRmSeqConfigFilterSmDeathTest, aNullArgumentEndsTheProcess ) {
   const auto entry = makeNode<MapEntry>( 10 ), copy = makeNode<MapEntry>( 10 );
   const auto config = makeNode<Config>();
   const auto list = makeNode<RouteMapBlockedSequenceList>( "A" );
   const auto update = makeNode<RouteMapUpdateNotifier>();
   const auto make = []( const auto &... values ) { commonComponentRmSeqConfigFilterSmFactory( "A", values... ); };
   EXPECT_DEATH( make( entry, nullptr, config.get(), list, update ), "Assertion failed: filteredSeqConfig\\(\\)" );
   EXPECT_DEATH( make( entry, copy, nullptr, list, update ), "Assertion failed: filteredRmConfig\\(\\)" );
   EXPECT_DEATH( make( entry, copy, config.get(), nullptr, update ), "Assertion failed: routeMapBlockedSequenceList\\(\\)" );
   EXPECT_DEATH( make( entry, copy, config.get(), list, nullptr ), "Assertion failed: routeMapUpdateNotifier\\(\\)" );
   make( nullptr, copy, config.get(), list, update );
}

TEST( RouteMapConfigSymbolSmNullDeathTest, aNullArgumentEndsTheProcess ) {
   const Agent agent;
   const auto map = makeNode<Map>( "A" );
   const auto symbol = agent.root->routeMapTable()->symbol( "A" );
   const auto reactor = rmConfigSymbolReactorFactory( "A" );
   const Ptr<RmConfigSymbolSmHelperBase> helper = makeNode<CommonRmConfigSymbolSmHelper>( agent.root );
   const auto make = [ & ]( const Ptr<RouteMapSymbol> & s, const Ptr<RmConfigSymbolReactor> & r, const Ptr<RmConfigSymbolSmHelperBase> & h,
                            const Ptr<Zeugma::TaskScheduler> & scheduler ) {
      routeMapConfigSymbolSmFactory( map, s, agent.root, r, h, agent.opMode, scheduler, nullptr );
   };
   EXPECT_DEATH( make( nullptr, reactor, helper, agent.scheduler ), "Assertion failed: rmSymbol\\(\\)" );
   EXPECT_DEATH( make( symbol, nullptr, helper, agent.scheduler ), "Assertion failed: rmConfigSymbolReactor\\(\\)" );
   EXPECT_DEATH( make( symbol, reactor, nullptr, agent.scheduler ), "Assertion failed: rmConfigSymbolHelper\\(\\)" );
   EXPECT_DEATH( make( symbol, reactor, helper, nullptr ), "Assertion failed: rmUpdateTaskScheduler\\(\\)" );
   make( symbol, reactor, helper, agent.scheduler );
}

}   // namespace
}   // namespace Routing::Policy
