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
using testing::IsEmpty;

TEST( PendingSymbolUpdate, aNewOneSaysNothing ) {
   const auto update = makeNode<PendingSymbolUpdate>( 10 );
   EXPECT_EQ( update->seqno(), 10u );
   EXPECT_TRUE( update->matcherChange().empty() );
   EXPECT_TRUE( update->setterChange().empty() );
   EXPECT_EQ( update->subRouteMapStatus(), nullptr );
   EXPECT_EQ( update->aggRoleAttrMapStatus(), nullptr );
   EXPECT_FALSE( update->hasSubRouteMapUpdate() );
   EXPECT_FALSE( update->hasAggRoleAttrMapUpdate() );
   EXPECT_TRUE( update->hasNoPendingChanges() );
}

TEST( PendingSymbolUpdate, hasNoPendingChangesWhileBothCollectionsAreEmptyAndBothFlagsDown ) {
   const auto tag = MatchOption::matchTag;
   const struct {
      const char * name;
      std::function<void( PendingSymbolUpdate & )> write;
      bool none;
   } rows[] = {
      { "nothing", []( PendingSymbolUpdate & ) {}, true },
      { "a matcher", [ & ]( PendingSymbolUpdate & u ) { u.matcherChangeIs( tag ); }, false },
      { "a setter", []( PendingSymbolUpdate & u ) { u.setterChangeIs( SetOption::setTag ); }, false },
      { "only hasSubRouteMapUpdate", []( PendingSymbolUpdate & u ) { u.hasSubRouteMapUpdateIs( true ); }, false },
      { "only hasAggRoleAttrMapUpdate", []( PendingSymbolUpdate & u ) { u.hasAggRoleAttrMapUpdateIs( true ); }, false },
      { "statuses without their flags",
        []( PendingSymbolUpdate & u ) {
           u.subRouteMapStatusIs( makeNode<RouteMapStatus>( "S" ) );
           u.aggRoleAttrMapStatusIs( makeNode<RouteMapStatus>( "S" ) );
        },
        true },
      { "a matcher that has been taken out again",
        [ & ]( PendingSymbolUpdate & u ) {
           u.matcherChangeIs( tag );
           u.matcherChangeDel( tag );
        },
        true },
      { "one of two matchers has been taken out again",
        [ & ]( PendingSymbolUpdate & u ) {
           u.matcherChangeIs( tag );
           u.matcherChangeIs( MatchOption::matchTagSet );
           u.matcherChangeDel( tag );
        },
        false },
      { "all taken out again",
        [ & ]( PendingSymbolUpdate & u ) {
           u.matcherChangeIs( tag );
           u.setterChangeIs( SetOption::setTag );
           u.hasSubRouteMapUpdateIs( true );
           u.hasAggRoleAttrMapUpdateIs( true );
           u.matcherChangeDelAll();
           u.setterChangeDelAll();
           u.hasSubRouteMapUpdateIs( false );
           u.hasAggRoleAttrMapUpdateIs( false );
        },
        true },
   };
   for( const auto & row : rows ) {
      const auto update = makeNode<PendingSymbolUpdate>( 10 );
      row.write( *update );
      EXPECT_EQ( update->hasNoPendingChanges(), row.none ) << row.name;
   }
}

TEST( PendingSymbolUpdate, keepsTheLastMatcherAndSetterOfAClause ) {
   const auto update = makeNode<PendingSymbolUpdate>( 10 );
   RecordingSetter::Log log;
   const auto first = makeNode<FixedMatcher>( true ), last = makeNode<FixedMatcher>( true );
   const auto firstSetter = makeNode<RecordingSetter>( log ), lastSetter = makeNode<RecordingSetter>( log );
   for( const auto & matcher : { first, last } ) update->matcherChangeIs( MatchOption::matchTag )->matcherIs( matcher );
   for( const auto & setter : { firstSetter, lastSetter } ) update->setterChangeIs( SetOption::setTag )->setterIs( setter );
   EXPECT_EQ( update->matcherChange().count(), 1u );
   EXPECT_EQ( update->setterChange().count(), 1u );
   EXPECT_EQ( update->matcherChange( MatchOption::matchTag )->matcher(), last );
   EXPECT_EQ( update->setterChange( SetOption::setTag )->setter(), lastSetter );
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
   /// The fields that the sequence tells of.
   std::vector<FieldId> apply() {
      std::vector<FieldId> fields;
      CompileFixtures::Reaction reader( *seq, [ & ]( const Quoin::Change & change ) { fields.push_back( change.field ); } );
      addPendingUpdatesToSeqStatus( seq, update );
      return fields;
   }
};

TEST_F( AddPendingUpdatesTest, nothingPendingChangesNothing ) {
   EXPECT_THAT( apply(), IsEmpty() );
   EXPECT_EQ( seq->subRouteMap(), sub );
   EXPECT_EQ( seq->aggRoleAttrMap(), agg );
}

TEST_F( AddPendingUpdatesTest, matchersAndSettersAreReplacedAndTheOthersStay ) {
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
   EXPECT_FALSE( update->hasNoPendingChanges() ) << "the update is read, not taken";
}

TEST_F( AddPendingUpdatesTest, allOptionsOfOneUpdateAreWritten ) {
   for( const auto option : { MatchOption::matchTag, MatchOption::matchTagSet } ) update->matcherChangeIs( option )->matcherIs( next );
   for( const auto option : { SetOption::setDistance, SetOption::setMetric } ) update->setterChangeIs( option )->setterIs( nextSetter );
   update->hasSubRouteMapUpdateIs( true );
   update->subRouteMapStatusIs( other );
   update->hasAggRoleAttrMapUpdateIs( true );
   update->aggRoleAttrMapStatusIs( other );
   EXPECT_THAT( apply(),
                ElementsAre( FieldId( Field::matcher ), FieldId( Field::matcher ), FieldId( Field::setter ), FieldId( Field::setter ),
                             FieldId( Field::subRouteMap ), FieldId( Field::aggRoleAttrMap ) ) );
   for( const auto & [ option, matcher ] : seq->matcher() ) EXPECT_EQ( matcher, next ) << option;
   for( const auto & [ option, setter ] : seq->setter() ) EXPECT_EQ( setter, nextSetter ) << option;
   EXPECT_EQ( seq->subRouteMap(), other );
   EXPECT_EQ( seq->aggRoleAttrMap(), other );
}

TEST_F( AddPendingUpdatesTest, aStatusCountsOnlyWithItsFlagAndNullIsAValue ) {
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

TEST_F( AddPendingUpdatesTest, whatStandsAlreadyIsNotTold ) {
   update->matcherChangeIs( MatchOption::matchTag )->matcherIs( tag );
   update->setterChangeIs( SetOption::setMetric )->setterIs( metric );
   update->hasSubRouteMapUpdateIs( true );
   update->subRouteMapStatusIs( sub );
   EXPECT_THAT( apply(), IsEmpty() );
}

TEST_F( AddPendingUpdatesTest, theNumberOfTheUpdateIsNotRead ) {
   update = makeNode<PendingSymbolUpdate>( 20 );
   update->matcherChangeIs( MatchOption::matchTag )->matcherIs( next );
   apply();
   EXPECT_EQ( seq->matcher( MatchOption::matchTag ), next );
   EXPECT_EQ( seq->seqno(), 10u );
}

TEST_F( AddPendingUpdatesTest, aChangeWithoutAMatcherOrASetterIsRaised ) {
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

TEST_F( AddPendingUpdatesDeathTest, aMatcherThatTheStatusDoesNotHaveEndsTheProcess ) {
   update->matcherChangeIs( MatchOption::matchMetric )->matcherIs( next );
   EXPECT_DEATH( addPendingUpdatesToSeqStatus( seq, update ), "Assertion failed: seqStatus->matcherHas\\( option \\)" );
}

TEST_F( AddPendingUpdatesDeathTest, aSetterThatTheStatusDoesNotHaveEndsTheProcess ) {
   update->setterChangeIs( SetOption::setTag )->setterIs( nextSetter );
   EXPECT_DEATH( addPendingUpdatesToSeqStatus( seq, update ), "Assertion failed: seqStatus->setterHas\\( option \\)" );
}

}   // namespace
