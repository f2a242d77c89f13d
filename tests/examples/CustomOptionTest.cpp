#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "examples/custom_option/CommunityList.h"
#include "examples/custom_option/CommunityMatcher.h"
#include "examples/custom_option/CompileRouteMaps.h"
#include "examples/custom_option/LocalPreferenceSetter.h"
#include "policy/Policy.h"
#include "substrate/quoin/TextStream.h"
#include "substrate/routemap/TagSetProducer.h"
#include "tests/examples/ProgramOutput.h"

namespace BgpAgent {
namespace {

using Quoin::makeNode;
using Quoin::Ptr;

constexpr uint32_t kDenied = 0;
constexpr uint32_t kUntouched = 100;
constexpr uint8_t kCommListUndefined = UndefinedPolicyReferenceBitfield::commListUndefined;

/// Calls a function for every change of an object.
struct Listener final : Plinth::NotifieeConst {
   Listener( const Ptr<const Quoin::Node> & object, std::function<void( const Quoin::Change & )> a ) : action( std::move( a ) ) {
      notifierIs( object );
      hasNotificationActiveIs( true );
   }
   void handleChange( const Quoin::Change & change ) override { action( change ); }
   std::function<void( const Quoin::Change & )> action;
};

/// Route map IN, whose sequence 10 matches on list L1 and sets 200, and whose sequence 20 permits the rest.
class CustomOptionTest : public testing::Test {
 protected:
   void matchCommunity( const char * list, uint32_t seqno = 10 ) {
      in->mapEntryIs( seqno )->matchRuleIs( { .listName = list, .option = MatchOption::matchCommunity } );
   }
   void localPreferenceIs( std::optional<uint32_t> value, uint32_t seqno = 10, const char * routeMap = "IN" ) {
      const auto sequence = setters->of( routeMap, seqno );
      if( value )
         sequence->setterIs( SetOption::setLocalPreference, makeNode<LocalPreferenceSetter>( *value ) );
      else
         sequence->setterDel( SetOption::setLocalPreference );
   }
   void declare() {
      in->versionIs( in->version() + 1 );
      scheduler->runUntilIdle();
   }
   void configure() {
      matchCommunity( "L1" );
      localPreferenceIs( 200 );
      in->mapEntryIs( 20 );
      declare();
      ASSERT_EQ( publications(), 1u );
   }
   std::unique_ptr<CommunityListProducer> list( const char * name, const std::set<Community> & members ) {
      auto made = std::make_unique<CommunityListProducer>( root->commListTable(), name );
      for( const Community c : members ) made->communityIs( c );
      made->publish();
      scheduler->runUntilIdle();
      return made;
   }
   /// Since the last call.
   uint32_t publications() { return symbol->notifierVersion() - std::exchange( seen_, symbol->notifierVersion() ); }
   uint8_t undefined() const { return symbol->rmStatus()->undefinedReferences().value; }
   /// The text of the published clause; "NULL" for none.
   Quoin::String match( uint32_t seqno = 10 ) const {
      return text( symbol->rmStatus()->seqStatus( seqno )->matcher( MatchOption::matchCommunity ) );
   }
   Quoin::String set( uint32_t seqno = 10 ) const {
      return text( symbol->rmStatus()->seqStatus( seqno )->setter( SetOption::setLocalPreference ) );
   }
   /// The local preference that a route gets.
   uint32_t evaluate( std::vector<Community> communities, Routing::RouteTag tag = 0 ) const {
      const auto policy = makeNode<RouteMapStatusList>();
      policy->rmStatusIs( RmPrecedence::routeMapPrecedence, symbol->rmStatus() );
      BgpRoute route( Ferule::IpGenPrefix( "198.51.100.0/24" ), std::move( communities ) );
      route.tagIs( tag );
      BgpResult result;
      return PolicyEval().eval( &route, policy, &result ) ? result.localPreference : kDenied;
   }

   const Ptr<Config> config = makeNode<Config>();
   const Ptr<SetterTable> setters = makeNode<SetterTable>();
   const Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   const Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   const Ptr<Map> in = config->routeMapIs( "IN" );
   const Ptr<RouteMapSymbol> symbol = root->routeMapTable()->symbol( "IN" );
   Ptr<RouteMapConfigSm> machine = compileRouteMaps( config, setters, root, scheduler );

 private:
   template <class T>
   static Quoin::String text( const Ptr<T> & clause ) {
      Quoin::TextStream os;
      os << clause;
      return std::move( os ).text();
   }
   uint32_t seen_ = 0;
};

// ---- the list

TEST_F( CustomOptionTest, aListThatIsUndefinedIsReportedAndHasNoCommunity ) {
   configure();
   EXPECT_EQ( undefined(), kCommListUndefined );
   EXPECT_EQ( evaluate( { 1 } ), kUntouched );
   EXPECT_TRUE( symbol->statusCurrent() );
   EXPECT_EQ( match(), "CommunityMatcher list L1" );
   EXPECT_EQ( set(), "LocalPreferenceSetter 200" );
}

TEST_F( CustomOptionTest, aListThatIsThereAlreadyIsUsedAtOnce ) {
   const auto l1 = list( "L1", { 1 } );
   configure();
   EXPECT_EQ( undefined(), 0 );
   EXPECT_EQ( evaluate( { 1 } ), 200u );
}

TEST_F( CustomOptionTest, aListComesChangesAndGoesWithOnePublicationEach ) {
   configure();
   auto l1 = list( "L1", { 1, 3 } );
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( undefined(), 0 );
   EXPECT_EQ( evaluate( { 1 } ), 200u );
   EXPECT_EQ( evaluate( { 2 } ), kUntouched );
   EXPECT_EQ( evaluate( {} ), kUntouched );
   EXPECT_EQ( evaluate( { 2, 3 } ), 200u ) << "one of the route's is enough";
   l1->communityDel( 1 );
   l1->communityIs( 2 );
   l1->publish();
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( evaluate( { 1 } ), kUntouched );
   EXPECT_EQ( evaluate( { 2 } ), 200u );
   l1 = nullptr;
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( undefined(), kCommListUndefined );
   EXPECT_EQ( evaluate( { 2 } ), kUntouched );
}

TEST_F( CustomOptionTest, anEmptyListIsNotAnUndefinedOne ) {
   configure();
   const auto l1 = list( "L1", {} );
   EXPECT_EQ( undefined(), 0 );
   EXPECT_EQ( evaluate( { 1 } ), kUntouched );
}

TEST_F( CustomOptionTest, aBurstOfChangesIsPublishedOnce ) {
   configure();
   const auto l1 = list( "L1", {} );
   publications();
   for( const Community c : { 1, 2, 3 } ) {
      l1->communityIs( c );
      l1->publish();
   }
   EXPECT_EQ( publications(), 0u ) << "not inside the write";
   EXPECT_FALSE( symbol->statusCurrent() );
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 1u );
   EXPECT_TRUE( symbol->statusCurrent() );
   EXPECT_EQ( evaluate( { 3 } ), 200u );
}

TEST_F( CustomOptionTest, aVersionOfTheSameListPublishesNothing ) {
   configure();
   const auto l1 = list( "L1", { 1 } );
   publications();
   root->commListTable()->symbol( "L1" )->notifier()->versionInc( 1 );
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 0u );
   EXPECT_TRUE( symbol->statusCurrent() );
}

TEST_F( CustomOptionTest, theRouteMapWaitsForAListThatIsUnderWay ) {
   configure();
   const auto l1 = list( "L1", { 1 } );
   uint32_t had = 200;
   const auto waits = [ & ]( const auto & edit ) {
      publications();
      edit();
      localPreferenceIs( had + 1 );
      declare();
      EXPECT_EQ( publications(), 0u );
      EXPECT_EQ( evaluate( { 1 } ), had ) << "it keeps what it has";
      l1->publish();
      scheduler->runUntilIdle();
      EXPECT_EQ( publications(), 1u ) << "both in one";
      EXPECT_EQ( evaluate( { 1 } ), ++had );
   };
   waits( [ & ] { l1->communityIs( 2 ); } );
   EXPECT_EQ( evaluate( { 2 } ), 201u );
   waits( [ & ] { l1->communityDel( 2 ); } );
   EXPECT_EQ( evaluate( { 2 } ), kUntouched );
}

TEST_F( CustomOptionTest, theBitGoesWithTheLastClauseThatLeavesAListUndefined ) {
   matchCommunity( "L2", 15 );
   configure();
   const auto l1 = list( "L1", { 1 } );
   EXPECT_EQ( undefined(), kCommListUndefined );
   const auto l2 = list( "L2", { 1 } );
   EXPECT_EQ( undefined(), 0 );
}

// ---- the match clause

TEST_F( CustomOptionTest, anEditCountsWhenTheRouteMapIsDeclared ) {
   configure();
   const auto l1 = list( "L1", { 1 } ), l2 = list( "L2", { 2 } );
   publications();
   matchCommunity( "L2" );
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 0u );
   EXPECT_FALSE( symbol->statusCurrent() );
   EXPECT_EQ( evaluate( { 1 } ), 200u );
   declare();
   EXPECT_EQ( publications(), 1u );
   EXPECT_TRUE( symbol->statusCurrent() );
   EXPECT_EQ( evaluate( { 1 } ), kUntouched );
   EXPECT_EQ( evaluate( { 2 } ), 200u );
}

TEST_F( CustomOptionTest, onlyTheListThatItRefersToIsFollowed ) {
   configure();
   const auto l1 = list( "L1", { 1 } ), l2 = list( "L2", { 2 } );
   matchCommunity( "L2" );
   declare();
   publications();
   l1->communityIs( 5 );
   l1->publish();
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 0u );
   l2->communityIs( 5 );
   l2->publish();
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( evaluate( { 5 } ), 200u );
}

TEST_F( CustomOptionTest, aListThatMovesBeforeTheEditIsDeclaredIsUsedAsItIsThen ) {
   configure();
   const auto l1 = list( "L1", { 1 } ), l2 = list( "L2", { 2 } );
   publications();
   matchCommunity( "L2" );
   l2->communityIs( 3 );
   l2->publish();
   l1->communityIs( 3 );
   l1->publish();   // which the clause is about to leave
   declare();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( evaluate( { 3 } ), 200u );
   EXPECT_EQ( evaluate( { 1 } ), kUntouched );
   EXPECT_TRUE( symbol->statusCurrent() );
}

TEST_F( CustomOptionTest, aClauseThatGoesLeavesItsListAndItsUndefinedReference ) {
   configure();
   in->mapEntry( 10 )->matchRuleDel( MatchOption::matchCommunity );
   declare();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( undefined(), 0 );
   EXPECT_EQ( evaluate( {} ), 200u );
   const auto l1 = list( "L1", { 1 } );
   EXPECT_EQ( publications(), 0u );
   EXPECT_EQ( root->commListTable()->count(), 1u ) << "the producer's use alone";
}

TEST_F( CustomOptionTest, aClauseThatComesAndGoesBeforeItIsDeclaredWasNeverThere ) {
   configure();
   matchCommunity( "L9", 20 );
   in->mapEntry( 20 )->matchRuleDel( MatchOption::matchCommunity );
   declare();
   EXPECT_EQ( match( 20 ), "NULL" );
   EXPECT_EQ( evaluate( {} ), kUntouched );
}

TEST_F( CustomOptionTest, standsBesideTheCommonOptions ) {
   TagSetProducer tags( root->tagSetTable(), "T1" );
   configure();
   const auto l1 = list( "L1", { 1 } );
   in->mapEntry( 10 )->matchRuleIs( { .listName = "T1", .option = MatchOption::matchTagSet } );
   declare();
   publications();
   EXPECT_EQ( evaluate( { 1 }, 7 ), kUntouched );
   tags.tagIs( 7 );
   tags.publish();
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( evaluate( { 1 }, 7 ), 200u );
   EXPECT_EQ( evaluate( { 2 }, 7 ), kUntouched ) << "both must hold";
   tags.tagDel( 7 );
   in->mapEntry( 10 )->matchRuleIs( { .listName = "T1", .option = MatchOption::matchTagSet, .invertResult = true } );
   tags.tagIs( 8 );
   tags.publish();
   declare();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( evaluate( { 1 }, 8 ), 200u ) << "the list moved behind the edit";
   in->mapEntry( 10 )->matchRuleDel( MatchOption::matchTagSet );
   const auto sequence = machine->routeMapConfigSymbolSm( "IN" )->seqConfigSm( 10 );
   EXPECT_EQ( sequence->sequenceChange()->matcherChange().count(), 1u ) << "the edit of one option is none of the other";
   declare();
   EXPECT_EQ( evaluate( { 1 }, 9 ), 200u );
}

TEST_F( CustomOptionTest, theFilteredConfigurationHasTheClause ) {
   configure();
   const auto copy = machine->filteredRmConfig()->routeMap( "IN" )->mapEntry( 10 );
   EXPECT_EQ( copy->matchRule( MatchOption::matchCommunity ).listName, "L1" );
   in->mapEntry( 10 )->matchRuleIs( { .listName = "L1", .option = MatchOption::matchAsPath } );
   EXPECT_FALSE( copy->matchRule().find( MatchOption::matchAsPath ) ) << "no machine of this agent has that option";
   in->mapEntry( 10 )->matchRuleDel( MatchOption::matchCommunity );
   EXPECT_FALSE( copy->matchRule().find( MatchOption::matchCommunity ) );
}

// ---- the set clause

TEST_F( CustomOptionTest, theSetClauseCountsWhenTheRouteMapIsDeclared ) {
   const auto l1 = list( "L1", { 1 } );
   configure();
   localPreferenceIs( 0 );
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 0u );
   EXPECT_FALSE( symbol->statusCurrent() );
   EXPECT_EQ( evaluate( { 1 } ), 200u );
   declare();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( set(), "LocalPreferenceSetter 0" );
   localPreferenceIs( std::nullopt );
   declare();
   EXPECT_EQ( publications(), 1u );
   EXPECT_EQ( evaluate( { 1 } ), kUntouched );
   EXPECT_EQ( set(), "NULL" );
}

TEST_F( CustomOptionTest, theSetClauseOfAnotherSequenceIsNotHeard ) {
   configure();
   localPreferenceIs( 1, 30 );
   localPreferenceIs( 1, 10, "OUT" );
   EXPECT_TRUE( symbol->statusCurrent() );
   declare();
   EXPECT_EQ( publications(), 0u );
   in->mapEntryIs( 30 );
   declare();
   EXPECT_EQ( set( 30 ), "LocalPreferenceSetter 1" ) << "it was there before its sequence";
}

// ---- what else happens to a sequence

TEST_F( CustomOptionTest, aSequenceThatComesAgainHasNothingOfTheOldOne ) {
   configure();
   const auto l1 = list( "L1", { 1 } );
   in->mapEntryDel( 10 );
   in->mapEntryIs( 10 );
   localPreferenceIs( 300 );
   declare();
   publications();
   EXPECT_EQ( evaluate( {} ), 300u );
   l1->communityIs( 2 );
   l1->publish();
   scheduler->runUntilIdle();
   EXPECT_EQ( publications(), 0u );
}

TEST_F( CustomOptionTest, aSequenceThatIsReplacedWhileItsListIsHeardOfLeavesNothingPending ) {
   configure();
   const auto l1 = list( "L1", { 1 } );
   publications();
   bool done = false;
   const auto editor = makeNode<Listener>( symbol, [ & ]( const Quoin::Change & ) {
      if( symbol->statusCurrent() || std::exchange( done, true ) ) return;
      in->mapEntryDel( 10 );
      in->mapEntryIs( 10 );   // without the clause
   } );
   l1->communityIs( 2 );
   l1->publish();
   ASSERT_TRUE( done );
   declare();
   EXPECT_EQ( match(), "NULL" );
   EXPECT_TRUE( symbol->statusCurrent() );
}

TEST_F( CustomOptionTest, aClauseThatGoesWhileItsListIsHeardOfIsGone ) {
   configure();
   const auto l1 = list( "L1", { 1 } );
   bool done = false;
   const auto editor = makeNode<Listener>( symbol, [ & ]( const Quoin::Change & ) {
      if( symbol->statusCurrent() || std::exchange( done, true ) ) return;
      in->mapEntry( 10 )->matchRuleDel( MatchOption::matchCommunity );
      in->versionIs( in->version() + 1 );
   } );
   l1->communityIs( 2 );
   l1->publish();
   ASSERT_TRUE( done );
   scheduler->runUntilIdle();
   EXPECT_EQ( match(), "NULL" );
   EXPECT_TRUE( symbol->statusCurrent() );
}

TEST_F( CustomOptionTest, aSequenceThatIsDroppedWhileItsClauseIsHeardOfIsDropped ) {
   configure();
   bool done = false;
   const auto editor = makeNode<Listener>( symbol, [ & ]( const Quoin::Change & ) {
      if( !symbol->statusCurrent() && !std::exchange( done, true ) ) in->mapEntryDel( 10 );
   } );
   localPreferenceIs( 300 );
   EXPECT_TRUE( std::exchange( done, false ) );
   declare();
   EXPECT_EQ( evaluate( { 1 } ), kUntouched );
   done = true;   // not while it comes again
   matchCommunity( "L1" );
   declare();
   done = false;
   matchCommunity( "L2" );
   EXPECT_TRUE( done );
   declare();
   EXPECT_FALSE( symbol->rmStatus()->seqStatus( 10 ) );
}

// A route map that is built whole: what hears of the copy edits the original, which is not watched yet.
TEST_F( CustomOptionTest, anEditWhileItsSequenceIsBeingCopiedIsCopiedToo ) {
   configure();
   const auto filtered = machine->filteredRmConfig();
   config->routeMapDel( "IN" );
   const auto entry = config->routeMapIs( "IN" )->mapEntryIs( 10 );
   const auto refersTo = [ & ]( const char * list ) { entry->matchRuleIs( { .listName = list, .option = MatchOption::matchCommunity } ); };
   refersTo( "L1" );
   config->routeMap( "IN" )->versionIs( 1 );
   Ptr<Listener> ofMap, ofCopy;
   const auto ofConfig = makeNode<Listener>( filtered, [ & ]( const Quoin::Change & ) {
      const auto map = filtered->routeMap( "IN" );
      if( !map ) return;
      ofMap = makeNode<Listener>( map, [ & ]( const Quoin::Change & ) {
         if( !ofCopy )
            ofCopy = makeNode<Listener>( filtered->routeMap( "IN" )->mapEntry( 10 ), [ & ]( const Quoin::Change & ) { refersTo( "L2" ); } );
      } );
   } );
   scheduler->runUntilIdle();
   ASSERT_TRUE( ofCopy );
   EXPECT_EQ( filtered->routeMap( "IN" )->mapEntry( 10 )->matchRule( MatchOption::matchCommunity ).listName, "L2" );
   EXPECT_EQ( match(), "CommunityMatcher list L2" );
}

TEST_F( CustomOptionTest, nothingIsLeftWhenTheMachineGoes ) {
   configure();
   const auto l1 = list( "L1", { 1 } );
   EXPECT_GT( setters->of( "IN", 10 )->useCount(), 1u );
   machine = nullptr;
   EXPECT_EQ( setters->of( "IN", 10 )->useCount(), 1u );
   l1->communityIs( 2 );
   l1->publish();
   localPreferenceIs( 300 );
   scheduler->runUntilIdle();
   EXPECT_EQ( evaluate( { 1 } ), 200u ) << "what is published stays";
}

// ---- matcher and setter alone

TEST( CommunityMatcher, aRouteOfAnotherKindCarriesNoCommunity ) {
   const auto matcher = makeNode<CommunityMatcher>( "L1", makeNode<CommunityList>( "L1", std::set<Community>{ 0 } ) );
   EXPECT_FALSE( matcher->matchForTest( MatchInput_(), nullptr ) );
   EXPECT_TRUE( matcher->matchForTest( BgpRoute( {}, { 0 } ), nullptr ) );
}

TEST( LocalPreferenceSetter, aRouteOfAnotherKindIsLeftAlone ) {
   const auto setter = makeNode<LocalPreferenceSetter>( 7 );
   Result_ other;
   setter->setValue( &other );
   EXPECT_EQ( other, Result_() );
   BgpResult result;
   setter->setValue( &result );
   EXPECT_EQ( result.localPreference, 7u );
}

// Any edits in any order, against what the configuration says when all has settled.
class CustomOptionModelTest : public CustomOptionTest, public testing::WithParamInterface<unsigned> {
 protected:
   static constexpr const char * kLists[] = { "L1", "L2" };
   static constexpr uint32_t kSequences[] = { 10, 20, 30 };

   void edit() {
      const uint32_t seqno = kSequences[ random_() % 3 ];
      const size_t which = random_() % 2;
      auto & producer = producers_[ which ];
      switch( random_() % 10 ) {
         case 0: in->mapEntryIs( seqno ); break;
         case 1: in->mapEntryDel( seqno ); break;
         case 2: matchCommunity( kLists[ which ], seqno ); break;
         case 3: in->mapEntryIs( seqno )->matchRuleDel( MatchOption::matchCommunity ); break;
         case 4: localPreferenceIs( 200 + random_() % 9, seqno ); break;
         case 9: localPreferenceIs( std::nullopt, seqno ); break;
         case 5: {
            if( !producer ) producer = std::make_unique<CommunityListProducer>( root->commListTable(), kLists[ which ] );
            const Community c = random_() % 3;
            if( members_[ which ].insert( c ).second )
               producer->communityIs( c );
            else if( members_[ which ].erase( c ) )
               producer->communityDel( c );
            if( random_() % 2 ) producer->publish();
            break;
         }
         case 6:
            producer = nullptr;
            members_[ which ].clear();
            break;
         case 7: in->versionIs( in->version() + 1 ); break;
         case 8: scheduler->runOne(); break;
      }
   }
   void settle() {
      for( const auto & producer : producers_ )
         if( producer ) producer->publish();
      declare();
   }
   uint32_t expected( Community c ) const {
      for( auto i = in->mapEntry().first(); i; i.next() ) {
         if( const auto * rule = i.value()->matchRule().find( MatchOption::matchCommunity ) )
            if( !members_[ rule->listName == "L2" ].contains( c ) ) continue;
         const auto setter = setters->of( "IN", i.key() )->setter( SetOption::setLocalPreference );
         if( !setter ) return kUntouched;
         BgpResult result;
         setter->setValue( &result );
         return result.localPreference;
      }
      return in->mapEntry().empty() ? kUntouched : kDenied;   // a list passes a route map without sequences over
   }
   uint8_t expectedUndefined() const {
      for( auto i = in->mapEntry().first(); i; i.next() )
         if( const auto * rule = i.value()->matchRule().find( MatchOption::matchCommunity ) )
            if( !producers_[ rule->listName == "L2" ] ) return kCommListUndefined;
      return 0;
   }

 private:
   std::mt19937 random_{ GetParam() };
   std::unique_ptr<CommunityListProducer> producers_[ 2 ];
   std::set<Community> members_[ 2 ];
};

TEST_P( CustomOptionModelTest, whatIsPublishedIsWhatIsConfigured ) {
   for( int round = 0; round < 60; ++round ) {
      for( int edits = 0; edits < 1 + round % 12; ++edits ) edit();
      settle();
      ASSERT_TRUE( symbol->statusCurrent() ) << round;
      ASSERT_TRUE( symbol->rmStatus() ) << round;
      for( const Community c : { 0, 1, 2, 3 } ) ASSERT_EQ( evaluate( { c } ), expected( c ) ) << "round " << round << " community " << c;
      if( !in->mapEntry().empty() ) {   // of an empty one, the way there decides
         ASSERT_EQ( undefined(), expectedUndefined() ) << round;
      }
      publications();
      declare();
      ASSERT_EQ( publications(), 0u ) << round;
   }
}

INSTANTIATE_TEST_SUITE_P( Seeds, CustomOptionModelTest, testing::Range( 1u, 21u ) );

// The program as its users meet it.
TEST( CustomOption, showsWhatBecomesOfTheClauses ) {
   EXPECT_EQ( programOutput( CUSTOM_OPTION_PROGRAM ),
              "route-map IN permit 10, match community CUSTOMERS, set local-preference 200\n"
              "route-map IN permit 20\n"
              "   version 1 of IN, undefined references: commListUndefined\n"
              "      198.51.100.0/24 with community 64500:1: permitted, local preference 100\n"
              "      203.0.113.0/24 with community 64500:2: permitted, local preference 100\n"
              "ip community-list CUSTOMERS permit 64500:1\n"
              "   version 2 of IN, undefined references: none\n"
              "      198.51.100.0/24 with community 64500:1: permitted, local preference 200\n"
              "      203.0.113.0/24 with community 64500:2: permitted, local preference 100\n"
              "no ip community-list CUSTOMERS permit 64500:1\n"
              "ip community-list CUSTOMERS permit 64500:2\n"
              "   version 3 of IN, undefined references: none\n"
              "      198.51.100.0/24 with community 64500:1: permitted, local preference 100\n"
              "      203.0.113.0/24 with community 64500:2: permitted, local preference 200\n"
              "route-map IN permit 10, no match community, set local-preference 300\n"
              "   version 4 of IN, undefined references: none\n"
              "      198.51.100.0/24 with community 64500:1: permitted, local preference 300\n"
              "      203.0.113.0/24 with community 64500:2: permitted, local preference 300\n" );
}

}   // namespace
}   // namespace BgpAgent
