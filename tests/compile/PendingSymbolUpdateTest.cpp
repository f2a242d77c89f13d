#include "compile/PendingSymbolUpdate.h"

#include <functional>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using Fixtures::FixedMatcher;
using Fixtures::RecordingSetter;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;

TEST( PendingSymbolUpdate, hasNoPendingChangesWithoutChangesAndFlags ) {
   const auto tag = MatchOption::matchTag;
   const auto status = makeNode<RouteMapStatus>( "S" );
   const struct {
      const char * name;
      std::function<void( PendingSymbolUpdate & )> write;
      bool none;
   } rows[] = {
      { "nothing", []( auto & ) {}, true },
      { "a matcher", [ & ]( auto & u ) { u.matcherChangeIs( tag ); }, false },
      { "a setter", []( auto & u ) { u.setterChangeIs( SetOption::setTag ); }, false },
      { "only hasSubRouteMapUpdate", []( auto & u ) { u.hasSubRouteMapUpdateIs( true ); }, false },
      { "only hasAggRoleAttrMapUpdate", []( auto & u ) { u.hasAggRoleAttrMapUpdateIs( true ); }, false },
      { "statuses without their flags", [ & ]( auto & u ) { u.subRouteMapStatusIs( status ), u.aggRoleAttrMapStatusIs( status ); }, true },
      { "a deleted matcher", [ & ]( auto & u ) { u.matcherChangeIs( tag ), u.matcherChangeDel( tag ); }, true },
      { "one of two matchers deleted",
        [ & ]( auto & u ) { u.matcherChangeIs( tag ), u.matcherChangeIs( MatchOption::matchTagSet ), u.matcherChangeDel( tag ); }, false },
      { "a deleted setter", []( auto & u ) { u.setterChangeIs( SetOption::setTag ), u.setterChangeDelAll(); }, true },
   };
   for( const auto & row : rows ) {
      const auto update = makeNode<PendingSymbolUpdate>( 10 );
      EXPECT_EQ( update->seqno(), 10u );
      row.write( *update );
      EXPECT_EQ( update->hasNoPendingChanges(), row.none ) << row.name;
   }
}

// --- addPendingUpdatesToSeqStatus

class AddPendingUpdatesTest : public testing::Test {
 protected:
   using Field = RouteMapSeqStatus::Field;
   RecordingSetter::Log log;
   Ptr<const Matcher> tag = makeNode<FixedMatcher>( true ), tagSet = makeNode<FixedMatcher>( true ), next = makeNode<FixedMatcher>( true );
   Ptr<const Setter> distance = makeNode<RecordingSetter>( log ), metric = makeNode<RecordingSetter>( log ),
                     nextSetter = makeNode<RecordingSetter>( log );
   Ptr<const RouteMapStatus> sub = makeNode<RouteMapStatus>( "SUB" ), agg = makeNode<RouteMapStatus>( "AGG" ),
                             other = makeNode<RouteMapStatus>( "OTHER" );
   Ptr<RouteMapSeqStatus> seq = Fixtures::seq( 10, Fixtures::deny, { { MatchOption::matchTag, tag }, { MatchOption::matchTagSet, tagSet } },
                                               { { SetOption::setDistance, distance }, { SetOption::setMetric, metric } } );
   Ptr<PendingSymbolUpdate> update = makeNode<PendingSymbolUpdate>( 10 );
   AddPendingUpdatesTest() {
      seq->subRouteMapIs( sub );
      seq->aggRoleAttrMapIs( agg );
   }
   /// The fields that the sequence publishes.
   std::vector<FieldId> apply() {
      std::vector<FieldId> fields;
      CompileFixtures::Reaction reader( *seq, [ & ]( const Quoin::Change & change ) { fields.push_back( change.field ); } );
      addPendingUpdatesToSeqStatus( seq, update );
      return fields;
   }
};

TEST_F( AddPendingUpdatesTest, matchersAndSettersAreReplaced ) {
   update->matcherChangeIs( MatchOption::matchTagSet )->matcherIs( next );
   update->setterChangeIs( SetOption::setDistance )->setterIs( nextSetter );
   EXPECT_THAT( apply(), ElementsAre( FieldId( Field::matcher ), FieldId( Field::setter ) ) ) << "matchers first";
   EXPECT_EQ( seq->matcher( MatchOption::matchTag ), tag );
   EXPECT_EQ( seq->matcher( MatchOption::matchTagSet ), next );
   EXPECT_EQ( seq->matcher().count(), 2u );
   EXPECT_EQ( seq->setter( SetOption::setDistance ), nextSetter );
   EXPECT_EQ( seq->setter( SetOption::setMetric ), metric );
   EXPECT_EQ( seq->setter().count(), 2u );
   EXPECT_EQ( seq->matchAction(), Fixtures::deny );
   EXPECT_EQ( seq->subRouteMap(), sub );
   EXPECT_FALSE( update->hasNoPendingChanges() ) << "the update is not changed";
}

TEST_F( AddPendingUpdatesTest, aStatusCountsOnlyWithItsFlag ) {
   const struct {
      const char * name;
      bool flag;
      Ptr<const RouteMapStatus> pending;
      bool changes;
   } rows[] = {
      { "flag and null: cleared", true, nullptr, true },
      { "flag and another status", true, other, true },
      { "no flag and null: left alone", false, nullptr, false },
      { "no flag and another status: left alone", false, other, false },
   };
   for( const auto & row : rows ) {
      seq->subRouteMapIs( sub );
      seq->aggRoleAttrMapIs( agg );
      update = makeNode<PendingSymbolUpdate>( 10 );
      update->hasSubRouteMapUpdateIs( row.flag );
      update->subRouteMapStatusIs( row.pending );
      EXPECT_EQ( apply(), std::vector<FieldId>( row.changes, FieldId( Field::subRouteMap ) ) ) << row.name;
      EXPECT_EQ( seq->subRouteMap(), row.changes ? row.pending : sub ) << row.name;
      EXPECT_EQ( seq->aggRoleAttrMap(), agg ) << row.name;

      seq->subRouteMapIs( sub );
      update = makeNode<PendingSymbolUpdate>( 10 );
      update->hasAggRoleAttrMapUpdateIs( row.flag );
      update->aggRoleAttrMapStatusIs( row.pending );
      EXPECT_EQ( apply(), std::vector<FieldId>( row.changes, FieldId( Field::aggRoleAttrMap ) ) ) << row.name;
      EXPECT_EQ( seq->aggRoleAttrMap(), row.changes ? row.pending : agg ) << row.name;
      EXPECT_EQ( seq->subRouteMap(), sub ) << row.name;
   }
}

TEST_F( AddPendingUpdatesTest, aNullMatcherOrSetterIsRefused ) {
   for( const bool matcher : { true, false } ) {
      SCOPED_TRACE( matcher ? "matcher" : "setter" );
      update = makeNode<PendingSymbolUpdate>( 10 );
      if( matcher )
         update->matcherChangeIs( MatchOption::matchTag );
      else
         update->setterChangeIs( SetOption::setMetric );
      try {
         apply();
         ADD_FAILURE() << "written";
      } catch( const Plinth::MutatorArgNullPointerException & e ) {
         EXPECT_STREQ( e.what(), matcher ? "matcherIs: the argument is null" : "setterIs: the argument is null" );
      }
      EXPECT_EQ( seq->matcher( MatchOption::matchTag ), tag );
      EXPECT_EQ( seq->setter( SetOption::setMetric ), metric );
   }
}

using AddPendingUpdatesDeathTest = AddPendingUpdatesTest;

TEST_F( AddPendingUpdatesDeathTest, aMatcherThatTheStatusLacksEndsTheProcess ) {
   update->matcherChangeIs( MatchOption::matchMetric )->matcherIs( next );
   EXPECT_DEATH( addPendingUpdatesToSeqStatus( seq, update ), "Assertion failed: seqStatus->matcherHas\\( option \\)" );
}

TEST_F( AddPendingUpdatesDeathTest, aSetterThatTheStatusLacksEndsTheProcess ) {
   update->setterChangeIs( SetOption::setTag )->setterIs( nextSetter );
   EXPECT_DEATH( addPendingUpdatesToSeqStatus( seq, update ), "Assertion failed: seqStatus->setterHas\\( option \\)" );
}

}   // namespace
