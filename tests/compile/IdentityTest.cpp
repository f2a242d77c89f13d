// Configuration objects that are deleted and created again under the same name or number, in every order in which the machines can be
// notified: the new object is in force, and its later changes too.

#include <functional>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include "policy/DistanceSetter.h"
#include "tests/compile/RouteMapConfigSmFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::Ptr;
using Routing::RouteMap::Config;
using Routing::RouteMap::Map;

constexpr auto deny = Acl::MatchPermit::deny;

class IdentityTest : public RouteMapConfigSmFixture {
 protected:
   /// A reaction that runs once, at the first change for which `when` holds.
   static Reaction::Function once( std::function<bool( const Quoin::Change & )> when, std::function<void()> then ) {
      return [ =, due = std::make_shared<bool>( true ) ]( const Quoin::Change & change ) {
         if( *due && when( change ) && std::exchange( *due, false ) ) then();
      };
   }
   /// A new sequence of "M", which denies, and a new version.
   void createAnew( uint32_t seqno ) const {
      raw->routeMap( "M" )->mapEntryIs( seqno )->permitIs( deny );
      raise( "M" );
   }
   /// A new route map with one sequence, which denies.
   void createAnew( const char * name ) const {
      add( name, 7 )->mapEntry( 10 )->permitIs( deny );
      raise( name );
   }
   /// Whether sequence `seqno` of `name` is the one of createAnew(), and follows a later change.
   void expectFollowed( const char * name, uint32_t seqno ) const {
      run();
      ASSERT_TRUE( status( name ) && status( name )->seqStatus( seqno ) );
      EXPECT_EQ( status( name )->seqStatus( seqno )->matchAction(), deny );
      raw->routeMap( name )->mapEntry( seqno )->distanceIs( 5 );
      raise( name );
      run();
      EXPECT_TRUE( status( name )->seqStatus( seqno )->setter( SetOption::setDistance ) );
      EXPECT_TRUE( symbol( name )->statusCurrent() );
   }
};

TEST_F( IdentityTest, aSequenceIsCreatedAnewByASubscriberOfThePublication ) {
   const auto map = add( "M" );
   add( "M", 1, 20 );
   start();
   // The deletion of 10 is published before the machines are notified that 20 is deleted.
   const Reaction reaction( *symbol( "M" )->notifier(), once( []( const auto & ) { return true; }, [ this ] { createAnew( 20 ); } ) );
   map->mapEntryDelAll();
   EXPECT_EQ( map->mapEntry().count(), 1u );
   expectFollowed( "M", 20 );
   EXPECT_EQ( status( "M" )->seqStatus().count(), 1u );
}

TEST_F( IdentityTest, aSequenceIsCreatedAnewBeforeTheMachineIsNotifiedOfItsDeletion ) {
   const auto map = add( "M" );
   const auto isDeleted = [ & ]( const auto & ) { return map->mapEntry().empty(); };
   const Reaction first( *map, once( isDeleted, [ this ] { createAnew( 10 ); } ) );
   start();
   map->mapEntryDel( 10 );
   expectFollowed( "M", 10 );
}

TEST_F( IdentityTest, aVersionThatIsRaisedBeforeTheMachineIsNotifiedOfASequenceIncludesIt ) {
   const auto map = add( "M" );
   const auto isCreated = [ & ]( const auto & ) { return map->mapEntry().count() == 2; };
   const Reaction first( *map, once( isCreated, [ this ] { raise( "M" ); } ) );
   start();
   map->mapEntryIs( 20 );
   run();
   EXPECT_TRUE( status( "M" )->seqStatus( 20 ) );
}

TEST_F( IdentityTest, aVersionIncludesAReplacedSequenceThoughTheNumberOfSequencesIsRight ) {
   const auto map = add( "M" );
   add( "M", 1, 30 );
   int step = 0;
   const Reaction first( *map, [ & ]( const auto & ) {
      switch( ++step ) {
         case 1: map->mapEntryIs( 10 ); return;   // 10 was deleted
         case 2:                                  // 10 was created again
            map->mapEntry( 10 )->permitIs( deny );
            map->mapEntryIs( 5 );   // the machine is notified of this one first
            raise( "M" );
            return;
      }
   } );
   start();
   map->mapEntryDel( 10 );
   run();
   ASSERT_TRUE( status( "M" )->seqStatus( 10 ) );
   EXPECT_EQ( status( "M" )->seqStatus( 10 )->matchAction(), deny );
   EXPECT_EQ( status( "M" )->seqStatus().count(), 3u );
}

TEST_F( IdentityTest, aVersionThatIsRaisedInsideTheDeletionOfManySequencesNeedsNoMoreStack ) {
   constexpr uint32_t kSequences = 20'000;
   const auto map = add( "M", 1, 1 );
   for( uint32_t seqno = 2; seqno <= kSequences; ++seqno ) map->mapEntryIs( seqno );
   start();
   raise( "M" );
   const Reaction reaction( *symbol( "M" )->notifier(), [ this ]( const Quoin::Change & ) { raise( "M" ); } );
   map->mapEntryDelAll();
   run();
   EXPECT_TRUE( status( "M" )->seqStatus().empty() );
}

TEST_F( IdentityTest, aSequenceIsReplacedWhileItsCopyIsCreated ) {
   const auto map = add( "M" );
   const auto isDeleted = [ & ]( const auto & ) { return map->mapEntry().count() == 1; };
   const Reaction first( *map, once( isDeleted, [ this ] { createAnew( 20 ); } ) );
   start();
   const auto isCopied = [ this ]( const auto & ) { return filtered->routeMap( "M" )->mapEntry().count() == 2; };
   const Reaction ofCopy( *filtered->routeMap( "M" ), once( isCopied, [ & ] { map->mapEntryDel( 20 ); } ) );
   map->mapEntryIs( 20 );
   raise( "M" );
   expectFollowed( "M", 20 );
}

// The version must not reach a compiler that is not yet notified of what the copy holds: 10 would be published with the new 30.
TEST_F( IdentityTest, aVersionThatIsRaisedInsideTheDeletionOfACopyWaits ) {
   start();
   const auto kept = symbol( "M" );
   const Reaction ofStatus( *kept->notifier(), [ & ]( const Quoin::Change & ) { EXPECT_EQ( kept->rmStatus()->seqStatus().count(), 1u ); } );
   std::unique_ptr<Reaction> first;
   const Reaction ofCopies( *filtered, [ & ]( const Quoin::Change & ) {
      if( first || !live( "M" ) ) return;
      const auto isDeleted = [ copy = filtered->routeMap( "M" ) ]( const auto & ) { return copy->mapEntry().empty(); };
      first = std::make_unique<Reaction>( *filtered->routeMap( "M" ), once( isDeleted, [ this ] { createAnew( 30 ); } ) );
   } );
   const auto map = add( "M" );
   map->mapEntryDel( 10 );
   expectFollowed( "M", 30 );
}

// A subscriber that came before the compiler has the route map compiled when the copy of a sequence is deleted, or replaced.
TEST_F( IdentityTest, aCompilationInsideTheDeletionOfACopyLeavesTheSequenceOut ) {
   start();
   std::unique_ptr<Reaction> first;
   unsigned mode = 0;
   const auto compile = [ & ]( const Quoin::Change & ) { raw->routeMapOpModeIs( Routing::RouteMap::RouteMapOpModeType( ++mode ) ); };
   const Reaction ofCopies( *filtered, [ & ]( const Quoin::Change & ) {
      if( !first && live( "M" ) ) first = std::make_unique<Reaction>( *filtered->routeMap( "M" ), compile );
   } );
   const auto map = add( "M", 1, 10 );
   add( "M", 2, 20 );
   map->mapEntry( 20 )->permitIs( deny );   // something to compile
   mode = 0;
   map->mapEntryDel( 10 );
   EXPECT_GT( mode, 0u );
   ASSERT_TRUE( status( "M" ) );
   EXPECT_FALSE( status( "M" )->seqStatus( 10 ) );
   EXPECT_TRUE( machine->verify().empty() );
   createAnew( 10 );
   expectFollowed( "M", 10 );
   EXPECT_TRUE( status( "M" )->seqStatus( 20 ) );
}

TEST_F( IdentityTest, whatTheFormerSequenceAwaitedDoesNotReachTheNewOne ) {
   const auto map = add( "M" );
   map->mapEntry( 10 )->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "L" ) );
   raise( "M" );
   const auto isDeleted = [ & ]( const auto & ) { return map->mapEntry().empty(); };
   const Reaction first( *map, once( isDeleted, [ this ] { createAnew( 10 ); } ) );
   start();
   const auto list = root->ipv4PrefixListTable()->symbol( "L" );
   list->statusIs( Quoin::makeNode<RouteMap::PrefixListStatus>( "L", Ferule::AddressFamily::ipv4 ) );
   list->notifier()->versionInc( 1 );   // leaves a pending update of sequence 10
   map->mapEntryDel( 10 );
   expectFollowed( "M", 10 );
   EXPECT_TRUE( status( "M" )->seqStatus( 10 )->matcher().empty() );
}

TEST_F( IdentityTest, aSequenceIsCreatedAnewInsideTheDeletionOfItsPendingUpdate ) {
   start();
   const auto map = raw->routeMapIs( "M" );
   raw->routeMapIs( "CALLEE" )->mapEntryIs( 10 );
   map->mapEntryIs( 10 )->subRouteMapIs( { "CALLEE", false } );
   raise( "M" );   // M waits for its callee
   raise( "CALLEE" );
   const auto & mailbox = *machine->rmConfigSymbolReactorColl()->reactor( "M" );
   ASSERT_TRUE( mailbox.pendingUpdate( 10 ) );
   const Reaction ofMailbox(
      mailbox,
      once( [ & ]( const auto & ) { return mailbox.pendingUpdate().empty(); }, [ & ] { map->mapEntryIs( 10 )->permitIs( deny ); } ) );
   map->mapEntryDel( 10 );
   ASSERT_TRUE( map->mapEntry( 10 ) );
   raise( "M" );
   expectFollowed( "M", 10 );
   ASSERT_FALSE( HasFailure() );
   EXPECT_FALSE( status( "M" )->seqStatus( 10 )->subRouteMap() );
}

// The undefined references of the callee must not be entered for a sequence that was deleted meanwhile.
TEST_F( IdentityTest, aSequenceIsDeletedWhileItsPendingUpdateIsApplied ) {
   start();
   const auto map = raw->routeMapIs( "M" );
   raw->routeMapIs( "CALLEE" )->mapEntryIs( 10 )->subRouteMapIs( { "UNDEFINED", false } );
   map->mapEntryIs( 10 )->subRouteMapIs( { "CALLEE", false } );
   map->mapEntryIs( 20 );
   raise( "M" );   // M waits for its callee
   raise( "CALLEE" );
   const auto & mailbox = *machine->rmConfigSymbolReactorColl()->reactor( "M" );
   ASSERT_TRUE( mailbox.pendingUpdate( 10 ) );
   const Reaction ofMailbox( mailbox,
                             once( [ & ]( const auto & ) { return mailbox.pendingUpdate().empty(); }, [ & ] { map->mapEntryDel( 10 ); } ) );
   map->mapEntry( 20 )->permitIs( deny );
   raise( "M" );
   run();
   ASSERT_FALSE( map->mapEntry( 10 ) );
   EXPECT_EQ( status( "M" )->seqStatus().count(), 1u );
   EXPECT_EQ( status( "M" )->undefinedReferences().value, 0u );
}

TEST_F( IdentityTest, aRouteMapIsCreatedAnewBeforeTheMachineIsNotifiedOfItsDeletion ) {
   add( "A" );
   const auto isDeleted = [ this ]( const auto & ) { return raw->routeMap().empty(); };
   const Reaction first( *raw, once( isDeleted, [ this ] { createAnew( "A" ); } ) );
   start();
   del( "A" );
   expectFollowed( "A", 10 );
}

TEST_F( IdentityTest, aRouteMapIsCreatedAnewBeforeTheMachineIsNotifiedOfTheDeletionOfAll ) {
   for( const char * name : { "A", "B" } ) add( name );
   start();
   const Reaction behind( *raw, once( []( const auto & ) { return true; }, [ this ] { createAnew( "B" ); } ) );
   raw->routeMapDelAll();
   EXPECT_EQ( raw->routeMap().count(), 1u );
   expectFollowed( "B", 10 );
   EXPECT_TRUE( whole( "A", false ) );
}

TEST_F( IdentityTest, aRouteMapIsReplacedWhileItsCopyIsCreated ) {
   const auto isDeleted = [ this ]( const auto & ) { return raw->routeMap().empty(); };
   const Reaction first( *raw, once( isDeleted, [ this ] { createAnew( "A" ); } ) );
   const auto isCopied = [ this ]( const auto & ) { return live( "A" ); };
   const Reaction ofCopy( *filtered, once( isCopied, [ this ] { del( "A" ); } ) );
   start();
   EXPECT_FALSE( raw->routeMap().find( "A" ) );
   add( "A" );
   expectFollowed( "A", 10 );
}

}   // namespace
}   // namespace Routing::Policy
