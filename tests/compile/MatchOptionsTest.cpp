#include "compile/MatchOptions.h"

#include <functional>
#include <set>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"
#include "policy/DistanceSetter.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RouteMetricMatcher.h"
#include "policy/TagMatcher.h"
#include "substrate/routemap/PrefixListProducer.h"
#include "tests/compile/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using CompileFixtures::as;
using CompileFixtures::listRule;
using CompileFixtures::valueRule;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr auto kPrefixListBit = UndefinedPolicyReferenceBitfield::prefixListUndefined;
constexpr auto kCommListBit = UndefinedPolicyReferenceBitfield::commListUndefined;

// ---- the library's rows

TEST( MatchOptions, eachOptionHasOneRow ) {
   std::set<MatchOption> options;
   for( const auto & row : commonMatchOptions() ) EXPECT_TRUE( options.insert( row.option ).second ) << row.option;
}

TEST( MatchOptions, undefinedListsAreReportedByTheKindOfList ) {
   std::vector<unsigned> prefixLists, communityLists, notRecorded;
   for( const auto & row : commonMatchOptions() ) {
      if( row.list && row.list->reportedAs.has( kPrefixListBit ) ) prefixLists.push_back( unsigned( row.option ) );
      if( row.list && row.list->reportedAs.has( kCommListBit ) ) communityLists.push_back( unsigned( row.option ) );
      if( !row.isRecorded ) notRecorded.push_back( unsigned( row.option ) );
   }
   EXPECT_THAT( prefixLists, UnorderedElementsAre( 2, 14, 15, 116, 118, 119, 120, 123, 124 ) );
   EXPECT_THAT( communityLists, UnorderedElementsAre( 103, 104, 127 ) );
   EXPECT_THAT( notRecorded, UnorderedElementsAre( 7, 10 ) );
}

TEST( MatchOptions, eachKindOfListHasItsOwnTable ) {
   const auto root = makeNode<PolicyRoot>();
   struct Row {
      const char * name;
      const ListKind & kind;
      std::function<size_t()> symbols;
   };
   const Row rows[] = {
      { "IPv4 prefix lists", kIpv4PrefixLists, [ & ] { return root->ipv4PrefixListTable()->count(); } },
      { "IPv6 prefix lists", kIpv6PrefixLists, [ & ] { return root->ipv6PrefixListTable()->count(); } },
      { "access lists", kIpv4AccessLists, [ & ] { return root->ipv4AclListTable()->count(); } },
      { "tag sets", kTagSets, [ & ] { return root->tagSetTable()->count(); } },
      { "AS path lists", kAsPathLists, [ & ] { return root->asPathListTable()->count(); } },
      { "community lists", kCommunityLists, [ & ] { return root->commListTable()->count(); } },
      { "extended community lists", kExtCommunityLists, [ & ] { return root->extCommListTable()->count(); } },
      { "large community lists", kLargeCommunityLists, [ & ] { return root->largeCommListTable()->count(); } },
   };
   for( const auto & row : rows ) {
      const auto symbol = row.kind.symbol( "L1", *root );
      EXPECT_EQ( symbol->name(), "L1" ) << row.name;
      EXPECT_TRUE( row.kind.isUndefined( *symbol ) ) << row.name;
      for( const auto & other : rows ) EXPECT_EQ( other.symbols(), &other == &row ? 1u : 0u ) << row.name << " in " << other.name;
   }
}

TEST( MatchOptions, setClausesThatNameACommunityListHaveItsKind ) {
   std::set<unsigned> reported;
   for( unsigned option = 0; option < 256; ++option )
      if( const auto * list = listOfSetOption( SetOption( option ) ) ) {
         EXPECT_TRUE( list->reportedAs.has( kCommListBit ) ) << option;
         reported.insert( option );
      }
   EXPECT_EQ( reported, ( std::set<unsigned>{ 11, 12, 13, 22, 35, 36, 37 } ) );
}

// ---- an agent's rows

constexpr MatchOption kOwnList{ 200 }, kThrowing{ 201 }, kNull{ 202 };   // beyond what the library has a number for
constexpr MatchOptionRow kOwn[] = {
   listOption<NexthopPrefixListMatcher>( kOwnList, kIpv4PrefixLists ),
   valueOption( MatchOption::matchMetric,
                []( const MatchRule & rule ) { return makeNode<RouteMetricMatcher>( Zeugma::MaybeU63( rule.numericValue ) ); } ),
   // in place of the library's
   valueOption( MatchOption::matchTag, []( const MatchRule & ) { return makeNode<TagMatcher>( 7 ); } ),
   // without a matcher
   valueOption( kThrowing, []( const MatchRule & ) -> Ptr<const Matcher> { throw std::runtime_error( "refused" ); } ),
   valueOption( kNull, []( const MatchRule & ) -> Ptr<const Matcher> { return nullptr; } ),
};

TEST( MatchOptions, anAgentsRowStandsInFrontOfTheLibrarys ) {
   EXPECT_EQ( findMatchOption( MatchOption::matchTag, kOwn ), &kOwn[ 2 ] );
   EXPECT_EQ( findMatchOption( kOwnList, kOwn ), &kOwn[ 0 ] );
   EXPECT_EQ( findMatchOption( kOwnList ), nullptr );
   ASSERT_TRUE( findMatchOption( MatchOption::matchIpPrefixList, kOwn ) );
}

class OwnMatchOptionsTest : public testing::Test {
 protected:
   void declare() {
      in->versionIs( in->version() + 1 );
      scheduler->runUntilIdle();
   }
   Ptr<const Matcher> matcher( MatchOption option ) const {
      const auto & status = symbol->rmStatus();
      const auto sequence = status ? status->seqStatus( 10 ) : nullptr;
      return sequence ? sequence->matcher( option ) : nullptr;
   }
   uint8_t undefined() const { return symbol->rmStatus()->undefinedReferences().value; }

   const Ptr<Config> config = makeNode<Config>();
   const Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   const Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   const Ptr<Map> in = config->routeMapIs( "IN" );
   const Ptr<MapEntry> entry = in->mapEntryIs( 10 );
   const Ptr<RouteMapSymbol> symbol = root->routeMapTable()->symbol( "IN" );
   const Ptr<RouteMapConfigSm> machine =
      routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<CommonRmConfigFilterSmHelper>( kOwn ),
                               makeNode<CommonRmConfigSymbolSmHelper>( root, AgentOptions{ kOwn } ), scheduler, nullptr );
};

TEST_F( OwnMatchOptionsTest, anUndefinedListOfAnOwnOptionIsReportedUntilTheListComesOrTheClauseGoes ) {
   entry->matchRuleIs( listRule( kOwnList, "L1" ) );
   declare();
   EXPECT_EQ( undefined(), kPrefixListBit );
   {
      PrefixListProducer list( root->ipv4PrefixListTable(), "L1", Ferule::AddressFamily::ipv4 );
      ASSERT_FALSE( list.entryIs( { 10, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, {} } ) );
      list.publish();
      scheduler->runUntilIdle();
      EXPECT_EQ( undefined(), 0 );
      const auto made = as<NexthopPrefixListMatcher>( matcher( kOwnList ) );
      ASSERT_TRUE( made );
      EXPECT_EQ( made->status(), root->ipv4PrefixListTable()->symbol( "L1" )->status() );
   }
   scheduler->runUntilIdle();
   EXPECT_EQ( undefined(), kPrefixListBit ) << "the list has gone";
   entry->matchRuleDel( kOwnList );
   declare();
   EXPECT_EQ( undefined(), 0 );
   EXPECT_EQ( matcher( kOwnList ), nullptr );
}

TEST_F( OwnMatchOptionsTest, aClauseThatComesAndGoesBetweenTwoVersionsLeavesNothing ) {
   declare();
   entry->matchRuleIs( valueRule( MatchOption::matchMetric, 5 ) );
   entry->matchRuleDel( MatchOption::matchMetric );
   declare();
   EXPECT_EQ( matcher( MatchOption::matchMetric ), nullptr );
}

TEST_F( OwnMatchOptionsTest, aValueAndARowInPlaceOfTheLibrarysAreCompiled ) {
   entry->matchRuleIs( valueRule( MatchOption::matchMetric, 5 ) );
   entry->matchRuleIs( valueRule( MatchOption::matchTag, 99 ) );
   declare();
   EXPECT_TRUE( as<RouteMetricMatcher>( matcher( MatchOption::matchMetric ) ) );
   const auto tag = as<TagMatcher>( matcher( MatchOption::matchTag ) );
   ASSERT_TRUE( tag );
   EXPECT_EQ( tag->tag(), 7u );
}

// ---- rows without a matcher

using OwnMatchOptionsDeathTest = OwnMatchOptionsTest;

TEST_F( OwnMatchOptionsDeathTest, aClauseWithoutAMatcherEndsTheProcess ) {
   EXPECT_DEATH( entry->matchRuleIs( valueRule( kThrowing, 1 ) ), HasSubstr( "exception in a reaction: refused\n" ) );
   EXPECT_DEATH( entry->matchRuleIs( valueRule( kNull, 1 ) ),
                 HasSubstr( "exception in a reaction: MatchOptionRow::makeMatcher: the argument is null\n" ) );
}

// ---- the table of setters

class SetterTableTest : public testing::Test {
 protected:
   void declare() { in->versionIs( in->version() + 1 ); }
   void set( uint32_t distance ) {
      table->of( "IN", 10 )->setterIs( kOption, makeNode<DistanceSetter>( Routing::RoutePreference( distance ) ) );
   }
   /// 0 for none.
   unsigned compiled() const {
      const auto setter = symbol->rmStatus()->seqStatus( 10 )->setter( kOption );
      return setter ? unsigned( dynamic_cast<const DistanceSetter &>( *setter ).distance() ) : 0;
   }

   static constexpr SetOption kOption{ 200 };
   const Ptr<Config> config = makeNode<Config>();
   const Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   const Ptr<SetterTable> table = makeNode<SetterTable>();
   const Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   const Ptr<Map> in = config->routeMapIs( "IN" );
   const Ptr<MapEntry> entry = in->mapEntryIs( 10 );
   const Ptr<RouteMapSymbol> symbol = root->routeMapTable()->symbol( "IN" );
   const Ptr<RouteMapConfigSm> machine =
      routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<CommonRmConfigFilterSmHelper>(),
                               makeNode<CommonRmConfigSymbolSmHelper>( root, AgentOptions{ .set = table } ), scheduler, nullptr );
};

TEST_F( SetterTableTest, settersThatAreAddedAndDeletedAreCompiledWithTheNextVersion ) {
   set( 5 );
   declare();
   ASSERT_EQ( compiled(), 5u );
   table->of( "IN", 10 )->setterDelAll();
   EXPECT_EQ( compiled(), 5u ) << "before the version is raised";
   declare();
   EXPECT_EQ( compiled(), 0u );
   set( 6 );
   declare();
   EXPECT_EQ( compiled(), 6u );
}

TEST_F( SetterTableTest, aSetterThatChangesWhileItsSequenceIsCreatedIsCompiled ) {
   set( 100 );
   declare();
   in->mapEntryDel( 10 );
   unsigned last = 0;
   const CompileFixtures::Reaction editor( *symbol, [ & ]( const Quoin::Change & ) {   // reacts to everything that the new machines do
      if( symbol->statusCurrent() || last == 20 ) return;
      symbol->statusCurrentIs( true );
      set( ++last );
   } );
   in->mapEntryIs( 10 );
   EXPECT_GT( last, 0u );
   declare();
   EXPECT_EQ( compiled(), last );
}

TEST_F( SetterTableTest, aSequenceThatIsCreatedAgainHasNoSettersOfTheDeletedOne ) {
   set( 5 );
   declare();
   in->mapEntryDel( 10 );
   table->sequenceDel( "IN", 10 );
   EXPECT_EQ( table->count(), 0u );
   in->mapEntryIs( 10 );
   declare();
   EXPECT_EQ( compiled(), 0u );
}

}   // namespace
