// Every difference between the stages that verify() can tell, each made by a write behind the back of the machines.

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DistanceSetter.h"
#include "policy/TagMatcher.h"
#include "tests/compile/RouteMapConfigSmFixtures.h"

namespace Routing::Policy {
namespace {

using namespace CompileFixtures;
using Quoin::makeNode;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using testing::ElementsAre;
using testing::IsEmpty;

class VerifyTest : public RouteMapConfigSmFixture {
 protected:
   /// "IN" uses everything; "SUB" is called.
   void SetUp() override {
      add( "SUB" );
      const auto in = add( "IN" );
      const auto entry = in->mapEntry( 10 );
      entry->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "L" ) );
      entry->matchRuleIs( valueRule( MatchOption::matchTag, 5 ) );
      entry->matchRuleIs( valueRule( MatchOption::matchMetric, 5 ) );   // not supported
      entry->distanceIs( 7 );
      entry->subRouteMapIs( { "SUB", false } );
      entry->descriptionIs( 1, "text" );
      entry->setFlagsIs( MapEntry::continueSeqSet );
      in->mapEntryIs( 20 );
      raise( "IN" );
      start();
      run();
   }
   Ptr<Map> copy() const { return filtered->routeMap( "IN" ); }
   Ptr<MapEntry> copied() const { return copy()->mapEntry( 10 ); }
   /// Publishes IN with another sequence 10, without the machines.
   void publish( const std::function<void( RouteMapSeqStatus & )> & edit ) const {
      const auto next = RouteMapStatus::newFrom( status( "IN" ), "IN" );
      const auto sequence = RouteMapSeqStatus::newFrom( status( "IN" )->seqStatus( 10 ), 10 );
      edit( *sequence );
      next->seqStatusIs( sequence );
      symbol( "IN" )->rmStatusIs( next );
   }
};

TEST_F( VerifyTest, nothingDiffersBeforeAndAfterEdits ) {
   EXPECT_THAT( machine->verify(), IsEmpty() );
   raw->routeMap( "IN" )->mapEntry( 10 )->permitIs( Acl::MatchPermit::deny );
   raw->routeMap( "IN" )->mapEntryIs( 30 );
   raw->routeMap( "IN" )->mapEntryDel( 20 );
   EXPECT_THAT( machine->verify(), IsEmpty() ) << "before the version";
   raise( "IN" );
   EXPECT_THAT( machine->verify(), IsEmpty() );
   raw->routeMap( "SUB" )->mapEntry( 10 )->subRouteMapIs( { "IN", false } );   // blocked
   raise( "SUB" );
   EXPECT_THAT( machine->verify(), IsEmpty() );
   del( "SUB" );
   EXPECT_THAT( machine->verify(), IsEmpty() ) << "before the delete task";
   run();
   EXPECT_THAT( machine->verify(), IsEmpty() );
}

TEST_F( VerifyTest, aRouteMapThatTheDeleteTaskHasYetToCreateIsNotCompared ) {
   del( "SUB" );
   add( "SUB" );
   yieldAfterEach();
   scheduler->runOne();
   ASSERT_TRUE( machine->pendingDelete().empty() );
   ASSERT_TRUE( machine->deferredCreates().find( "SUB" ) );
   EXPECT_THAT( machine->verify(), IsEmpty() );
   run();
   EXPECT_TRUE( whole( "SUB", true ) );
   EXPECT_THAT( machine->verify(), IsEmpty() );
}

TEST_F( VerifyTest, aRouteMapThatLosesItsLastSequenceBeforeItIsPublishedIsUndefinedUntilItsNextVersion ) {
   add( "WAITS", 0 );   // is not current, and its callers wait
   const auto map = add( "NEW", 0 );
   call( "NEW", "WAITS" );
   raise( "NEW" );
   ASSERT_FALSE( status( "NEW" ) );
   map->mapEntryDel( 10 );
   run();
   EXPECT_FALSE( status( "NEW" ) );
   EXPECT_THAT( machine->verify(), IsEmpty() );
   raise( "NEW" );
   ASSERT_TRUE( status( "NEW" ) );
   EXPECT_THAT( machine->verify(), IsEmpty() );
}

TEST_F( VerifyTest, eachDifferenceIsTold ) {
   const struct {
      const char * text;
      std::function<void()> make;
   } rows[] = {
      { "IN 10: the action is not copied", [ & ] { copied()->permitIs( Acl::MatchPermit::deny ); } },
      { "IN 10: the continue is not copied", [ & ] { copied()->continueSeqIs( 30 ); } },
      { "IN 10: the distance is not copied", [ & ] { copied()->distanceIs( 8 ); } },
      { "IN 10: the description is not copied", [ & ] { copied()->descriptionIs( 1, "other" ); } },
      { "IN 10: the call is not copied", [ & ] { copied()->subRouteMapIs( {} ); } },
      { "IN 10: the copy has another clause of matchTag", [ & ] { copied()->matchRuleDel( MatchOption::matchTag ); } },
      { "IN 10: the copy has another clause of matchMetric", [ & ] { copied()->matchRuleIs( valueRule( MatchOption::matchMetric, 5 ) ); } },
      { "IN 10: the copy has a deleted clause of matchTagSet",
        [ & ] { copied()->matchRuleIs( listRule( MatchOption::matchTagSet, "T" ) ); } },
      { "IN 30: is copied but not configured", [ & ] { copy()->mapEntryIs( 30 ); } },
      { "IN: the version is not copied", [ & ] { copy()->versionIs( 99 ); } },
      { "OTHER: is compiled but not configured", [ & ] { filtered->routeMapIs( "OTHER" ); } },
      { "IN: is not published", [ & ] { symbol( "IN" )->rmStatusIs( nullptr ); } },
      { "IN: another symbol of this name is in the table", [ & ] { machine->allRmSymbol()->symbolDel( "IN" ); } },
      { "IN 10: another action is published", [ & ] { publish( []( auto & s ) { s.matchActionIs( Acl::MatchPermit::deny ); } ); } },
      { "IN 10: no matcher is published of matchTag", [ & ] { publish( []( auto & s ) { s.matcherDel( MatchOption::matchTag ); } ); } },
      { "IN 10: a matcher is published, but not configured: matchIpAccessList",
        [ & ] { publish( []( auto & s ) { s.matcherIs( MatchOption::matchIpAccessList, makeNode<TagMatcher>( 1 ) ); } ); } },
      { "IN 10: another distance is published",
        [ & ] { publish( []( auto & s ) { s.setterIs( SetOption::setDistance, makeNode<DistanceSetter>( RoutePreference( 8 ) ) ); } ); } },
      { "IN 10: another callee is published", [ & ] { publish( []( auto & s ) { s.subRouteMapIs( nullptr ); } ); } },
      { "IN 10: the inversion of the call is not published", [ & ] { publish( []( auto & s ) { s.subInvertIs( true ); } ); } },
      { "IN 10: another continue is published", [ & ] { publish( []( auto & s ) { s.continueSeqIs( nullptr ); } ); } },
      { "IN 10: an outdated list is published of matchIpPrefixList",
        [ & ] {
           root->ipv4PrefixListTable()->symbol( "L" )->statusIs( makeNode<RouteMap::PrefixListStatus>( "L", Ferule::AddressFamily::ipv4 ) );
        } },
      { "IN 30: is published but not configured",
        [ & ] {
           const auto next = RouteMapStatus::newFrom( status( "IN" ), "IN" );
           next->seqStatusIs( RouteMapSeqStatus::newFrom( nullptr, 30 ) );
           symbol( "IN" )->rmStatusIs( next );
        } },
      { "IN 20: is not published",
        [ & ] {
           const auto next = RouteMapStatus::newFrom( status( "IN" ), "IN" );
           next->seqStatusDel( 20 );
           symbol( "IN" )->rmStatusIs( next );
        } },
   };
   for( const auto & row : rows ) {
      machine = nullptr;
      root = makeNode<PolicyRoot>();
      symbolHelper = makeNode<CommonRmConfigSymbolSmHelper>( root );
      start();
      run();
      ASSERT_THAT( machine->verify(), IsEmpty() ) << row.text;
      row.make();
      EXPECT_THAT( machine->verify(), testing::Contains( row.text ) );
   }
}

}   // namespace
}   // namespace Routing::Policy
