#include "compile/CommonComponentSymbolSeqSm.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "compile/CommonHelpers.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "substrate/plinth/Exception.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/routemap/PrefixListProducer.h"
#include "substrate/routemap/TagSetProducer.h"
#include "substrate/trailmark/Trailmark.h"
#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using CompileFixtures::as;
using CompileFixtures::isOfPresentList;
using CompileFixtures::identity;
using CompileFixtures::listRule;
using CompileFixtures::Reaction;
using CompileFixtures::TraceLog;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using NestedMap = CommonComponentSymbolSeqSm::NestedSm_MatchSymNotifierMap;
using Symbol = PolicyMatchSymbolNotifierMap::Symbol;

static_assert( std::is_base_of_v<CommonComponentRmSeqConfigSmInterface, CommonComponentSymbolSeqSm> );
static_assert( std::is_base_of_v<Plinth::NotifieeConst, NestedMap> );
static_assert( std::is_base_of_v<Plinth::NotifieeConst, NestedMap::NestedSm_MatchSymNotifier> );

constexpr auto kAcl = MatchOption::matchIpAccessList, kPrefixList = MatchOption::matchIpPrefixList,
               kPrefixList6 = MatchOption::matchIpv6PrefixList, kTagSet = MatchOption::matchTagSet, kTag = MatchOption::matchTag;
constexpr MatchOption kListOptions[] = { kAcl, kPrefixList, kPrefixList6, kTagSet };

Ptr<PrefixListStatus> prefixList( const char * name = "L1" ) {
   return makeNode<PrefixListStatus>( name, Ferule::AddressFamily::ipv4 );
}

// --- the symbols in use of one clause

TEST( PolicyMatchSymbolNotifierMap, tellsOfEachMemberByItsSymbol ) {
   const auto map = makeNode<PolicyMatchSymbolNotifierMap>( kPrefixList );
   EXPECT_EQ( map->option(), kPrefixList );
   EXPECT_TRUE( map->policyMatchSymbolNotifier().empty() );
   const Symbol a = makeNode<PrefixListSymbol>( "L1" ), b = makeNode<PrefixListSymbol>( "L1" );
   ChangeLog<Symbol> log( *map );
   map->policyMatchSymbolNotifierIs( a, a->notifier() );
   map->policyMatchSymbolNotifierIs( a, a->notifier() );   // as it is
   map->policyMatchSymbolNotifierIs( b, b->notifier() );
   EXPECT_EQ( map->policyMatchSymbolNotifier().count(), 2u ) << "by the object, not by its name";
   EXPECT_EQ( map->policyMatchSymbolNotifier( a ), a->notifier() );
   map->policyMatchSymbolNotifierDel( a );
   map->policyMatchSymbolNotifierDel( a );
   EXPECT_FALSE( map->policyMatchSymbolNotifier( a ) );
   map->policyMatchSymbolNotifierDelAll();
   EXPECT_THAT( log.keys, ElementsAre( a, b, a, b ) );
   EXPECT_TRUE( map->policyMatchSymbolNotifier().empty() );
}

// --- one sequence's machine

class CommonComponentSymbolSeqSmTest : public testing::Test {
 protected:
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 );
   Ptr<RouteMapSymbol> rmSymbol = makeNode<RouteMapSymbol>( "RM1" );
   Ptr<MatchSymbolSeq> matchSymbols = makeNode<MatchSymbolSeq>( 10 );
   Ptr<SubRouteMapSymbolSeq> subSymbol = makeNode<SubRouteMapSymbolSeq>( 10 );
   Ptr<RmConfigSymbolReactor> reactor = makeNode<RmConfigSymbolReactor>( "RM1" );
   Ptr<RouteMapOpModeNotifier> mode = makeNode<RouteMapOpModeNotifier>();
   Ptr<ModifiedRouteMapSeqStatusList> modified = makeNode<ModifiedRouteMapSeqStatusList>();
   Ptr<IpAccessListSymbol> acl = makeNode<IpAccessListSymbol>( "L1" );
   Ptr<PrefixListSymbol> list = makeNode<PrefixListSymbol>( "L1" ), list6 = makeNode<PrefixListSymbol>( "L1" );
   Ptr<TagSetSymbol> tags = makeNode<TagSetSymbol>( "L1" );
   Ptr<RouteMapSymbol> called = makeNode<RouteMapSymbol>( "RM2" );
   Ptr<CommonComponentSymbolSeqSm> sm;

   void make() {
      rmSymbol->statusCurrentIs( true );
      sm = commonComponentSymbolSeqSmFactory( entry, rmSymbol, matchSymbols, subSymbol, reactor, mode );
   }
   Ptr<PolicySymbol> symbolOf( MatchOption option ) const {
      switch( option ) {
         case kAcl: return acl;
         case kTagSet: return tags;
         default: return option == kPrefixList6 ? list6 : list;
      }
   }
   /// Gives the list that an option refers to another status, or none.
   void statusOf( MatchOption option, bool defined ) {
      switch( option ) {
         case kAcl: return acl->statusIs( defined ? makeNode<IpAccessListStatus>( "L1" ) : nullptr );
         case kTagSet: return tags->statusIs( defined ? makeNode<TagSetStatus>( "L1" ) : nullptr );
         default: return ( option == kPrefixList6 ? list6 : list )->statusIs( defined ? prefixList() : nullptr );
      }
   }
   void use( MatchOption option, const std::vector<Symbol> & symbols ) {
      const auto used = makeNode<PolicyMatchSymbolList>( option );
      for( const auto & symbol : symbols ) used->policySymbolIs( symbol );
      matchSymbols->policySymbolListIs( option, used );
   }
   /// Rule and symbol of one option, with nothing left pending.
   void useList( MatchOption option, bool invert = false ) {
      entry->matchRuleIs( listRule( option, "L1", invert ) );
      use( option, { symbolOf( option ) } );
      settle();
   }
   void settle() {
      reactor->pendingUpdateDelAll();
      rmSymbol->statusCurrentIs( true );
   }
   static void publish( const PolicySymbol & symbol ) { symbol.notifier()->versionInc( 1 ); }
   /// The published sequence, with a matcher of what the list has now.
   Ptr<RouteMapSeqStatus> publishSequence( MatchOption option ) {
      const auto change = CompileFixtures::listChange( listRule( option, "L1" ), *symbolOf( option ) );
      const auto seq = Fixtures::seq( 10, Fixtures::permit, { { option, change->matcher() } } );
      rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { seq } ) );
      return seq;
   }
   Ptr<MatcherChange> pending( MatchOption option ) const {
      const auto update = reactor->pendingUpdate( 10 );
      return update ? update->matcherChange( option ) : nullptr;
   }
   bool nothingPending() const { return reactor->pendingUpdate().empty(); }
   /// Both collections hold exactly these options, each with a reactor on its map.
   void expectTracked( const std::vector<MatchOption> & options ) {
      EXPECT_EQ( sm->matchSymbolNotifierColl().count(), options.size() );
      EXPECT_EQ( sm->matchSymNotifierMap().count(), options.size() );
      for( const auto option : options ) {
         const auto * map = sm->matchSymbolNotifierColl().find( option );
         const auto * nested = sm->matchSymNotifierMap().find( option );
         ASSERT_TRUE( map && nested ) << option;
         EXPECT_EQ( ( *map )->option(), option );
         EXPECT_EQ( ( *nested )->option(), option );
         EXPECT_EQ( ( *nested )->notifier(), *map ) << option;
         EXPECT_TRUE( ( *nested )->hasNotificationActive() ) << option;
      }
   }
   Ptr<NestedMap::NestedSm_MatchSymNotifier> notifiee( MatchOption option, const Symbol & symbol ) {
      const auto * nested = sm->matchSymNotifierMap().find( option );
      const auto * found = nested ? ( *nested )->matchSymNotifier().find( symbol ) : nullptr;
      return found ? *found : nullptr;
   }
};

// what is followed

TEST_F( CommonComponentSymbolSeqSmTest, holdsWhatItIsGivenAndFollowsNothingAtFirst ) {
   make();
   EXPECT_EQ( sm->seqno(), 10u );
   EXPECT_EQ( sm->routeMapOpModeNotifier(), mode );
   expectTracked( {} );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, needsNothingToFollow ) {
   sm = commonComponentSymbolSeqSmFactory( entry, rmSymbol, nullptr, nullptr, reactor, nullptr );
   expectTracked( {} );
   EXPECT_EQ( sm->seqno(), 10u );
}

TEST_F( CommonComponentSymbolSeqSmTest, followsWhatStandsWhenItIsMade ) {
   for( const auto option : kListOptions ) {
      entry->matchRuleIs( listRule( option, "L1" ) );
      use( option, { symbolOf( option ) } );
   }
   use( MatchOption::matchCommunity, { makeNode<CommListSymbol>( "L1" ) } );
   use( kTag, {} );
   TraceLog log( "CommonComponentSymbolSeqSm" );
   make();
   expectTracked( { kAcl, kPrefixList, kPrefixList6, kTagSet } );
   for( const auto option : kListOptions ) {
      EXPECT_TRUE( pending( option ) ) << option << ": checked at once";
      publish( *symbolOf( option ) );
   }
   const auto texts = log.take();
   ASSERT_FALSE( texts.empty() );
   EXPECT_THAT( texts.front(), HasSubstr( "handleInitialized" ) );
   EXPECT_THAT( texts.front(), HasSubstr( "rmName: RM1 seqno: 10" ) );
   EXPECT_THAT( log.levels(), testing::Each( 8 ) );
}

TEST_F( CommonComponentSymbolSeqSmTest, followsWhatComesIntoUse ) {
   make();
   TraceLog log( "CommonComponentSymbolSeqSm" );
   for( unsigned number = 0; number < 256; ++number ) {
      const MatchOption option{ uint8_t( number ) };
      use( option, { symbolOf( option ) } );
      EXPECT_EQ( sm->matchSymbolNotifierColl().contains( option ), sm->matchRuleSupported( option ) ) << number;
      EXPECT_EQ( sm->matchSymNotifierMap().contains( option ), sm->matchRuleSupported( option ) ) << number;
      EXPECT_THAT( log.take(), Contains( std::string( "match option: " ) + stringValue( option ) ) );
   }
   EXPECT_THAT( log.levels(), testing::Each( 8 ) );
   EXPECT_TRUE( notifiee( kPrefixList, list ) );
   EXPECT_EQ( notifiee( kPrefixList, list )->matchSymbol(), list );
   EXPECT_EQ( notifiee( kPrefixList, list )->notifier(), list->notifier() );
   EXPECT_TRUE( nothingPending() ) << "there is no rule";
}

TEST_F( CommonComponentSymbolSeqSmTest, anEmptyOrAbsentListOfSymbolsIsFollowedNoLonger ) {
   make();
   for( const bool absent : { false, true } ) {
      useList( kPrefixList );
      useList( kTagSet );
      if( absent )
         matchSymbols->policySymbolListDel( kPrefixList );
      else
         use( kPrefixList, {} );
      expectTracked( { kTagSet } );
      statusOf( kPrefixList, true );
      publish( *list );
      EXPECT_TRUE( nothingPending() );
      EXPECT_TRUE( rmSymbol->statusCurrent() );
   }
   matchSymbols->policySymbolListDelAll();
   expectTracked( {} );
}

TEST_F( CommonComponentSymbolSeqSmTest, aSymbolThatStaysInUseIsNotCheckedAgain ) {
   make();
   useList( kPrefixList );
   const auto was = notifiee( kPrefixList, list );
   const auto nested = *sm->matchSymNotifierMap().find( kPrefixList );
   const auto map = *sm->matchSymbolNotifierColl().find( kPrefixList );
   use( kPrefixList, { list } );   // another list of the same symbol
   expectTracked( { kPrefixList } );
   EXPECT_NE( *sm->matchSymbolNotifierColl().find( kPrefixList ), map );
   EXPECT_EQ( *sm->matchSymNotifierMap().find( kPrefixList ), nested ) << "pointed at the new map";
   EXPECT_EQ( notifiee( kPrefixList, list ), was );
   EXPECT_TRUE( nothingPending() ) << "a check would have recorded";
   EXPECT_TRUE( rmSymbol->statusCurrent() );
   publish( *list );
   EXPECT_TRUE( pending( kPrefixList ) ) << "and is followed";
}

TEST_F( CommonComponentSymbolSeqSmTest, aSymbolThatIsNewInUseIsCheckedAtOnce ) {
   make();
   useList( kPrefixList );
   const auto other = makeNode<PrefixListSymbol>( "L2" );
   other->statusIs( prefixList( "L2" ) );
   use( kPrefixList, { other } );
   ASSERT_TRUE( pending( kPrefixList ) );
   EXPECT_EQ( as<PrefixListMatcher>( pending( kPrefixList )->matcher() )->name(), "L2" );
   EXPECT_FALSE( notifiee( kPrefixList, list ) );
   EXPECT_TRUE( notifiee( kPrefixList, other ) );
   settle();
   publish( *list );
   EXPECT_TRUE( nothingPending() ) << "the old one is followed no longer";
   publish( *other );
   EXPECT_TRUE( pending( kPrefixList ) );
}

TEST_F( CommonComponentSymbolSeqSmTest, aSymbolWithoutANotifierIsInUseAndNotFollowed ) {
   list->notifierIs( nullptr );
   entry->matchRuleIs( listRule( kPrefixList, "L1" ) );
   make();
   use( kPrefixList, { list } );
   expectTracked( { kPrefixList } );
   EXPECT_FALSE( notifiee( kPrefixList, list ) );
   EXPECT_TRUE( nothingPending() );
}

// the reactor on one map of symbols

class NestedMapTest : public CommonComponentSymbolSeqSmTest {
 protected:
   Ptr<PolicyMatchSymbolNotifierMap> map = makeNode<PolicyMatchSymbolNotifierMap>( kPrefixList );
   Ptr<NestedMap> nested;
   void SetUp() override {
      make();
      useList( kPrefixList );
      nested = makeNode<NestedMap>( *sm, kPrefixList );
      nested->hasNotificationActiveIs( true );
   }
};

TEST_F( NestedMapTest, followsTheMembersOfItsMap ) {
   nested->notifierIs( map );
   map->policyMatchSymbolNotifierIs( list, list->notifier() );
   ASSERT_TRUE( nested->matchSymNotifier().find( list ) );
   EXPECT_TRUE( pending( kPrefixList ) ) << "checked at once";
   const auto was = *nested->matchSymNotifier().find( list );
   settle();
   const auto other = makeNode<PrefixListSymbol>( "L2" );
   map->policyMatchSymbolNotifierIs( list, other->notifier() );
   ASSERT_TRUE( nested->matchSymNotifier().find( list ) );
   EXPECT_EQ( *nested->matchSymNotifier().find( list ), was ) << "re-pointed";
   EXPECT_EQ( was->notifier(), other->notifier() );
   EXPECT_TRUE( nothingPending() );
   publish( *other );
   EXPECT_TRUE( pending( kPrefixList ) );
   map->policyMatchSymbolNotifierDel( list );
   EXPECT_TRUE( nested->matchSymNotifier().empty() );
   map->policyMatchSymbolNotifierIs( list, list->notifier() );
   map->policyMatchSymbolNotifierDelAll();
   EXPECT_TRUE( nested->matchSymNotifier().empty() );
}

TEST_F( NestedMapTest, comesIntoLineWithAnotherMap ) {
   const auto other = makeNode<PrefixListSymbol>( "L2" ), third = makeNode<PrefixListSymbol>( "L3" );
   map->policyMatchSymbolNotifierIs( list, list->notifier() );
   map->policyMatchSymbolNotifierIs( other, other->notifier() );
   nested->notifierIs( map );
   EXPECT_EQ( nested->matchSymNotifier().count(), 2u );
   const auto kept = *nested->matchSymNotifier().find( other );
   const auto next = makeNode<PolicyMatchSymbolNotifierMap>( kPrefixList );
   next->policyMatchSymbolNotifierIs( other, other->notifier() );
   next->policyMatchSymbolNotifierIs( third, third->notifier() );
   nested->notifierIs( next );
   EXPECT_EQ( nested->notifier(), next );
   EXPECT_EQ( nested->matchSymNotifier().count(), 2u );
   EXPECT_FALSE( nested->matchSymNotifier().find( list ) );
   EXPECT_EQ( *nested->matchSymNotifier().find( other ), kept );
   EXPECT_TRUE( nested->matchSymNotifier().find( third ) );
   map->policyMatchSymbolNotifierIs( list, third->notifier() );
   EXPECT_FALSE( nested->matchSymNotifier().find( list ) ) << "the old map is followed no longer";
}

TEST_F( NestedMapTest, aNullMapHasNoSymbols ) {
   map->policyMatchSymbolNotifierIs( list, list->notifier() );
   nested->notifierIs( map );
   EXPECT_TRUE( nested->matchSymNotifier().contains( list ) );
   const auto held = *nested->matchSymNotifier().find( list );
   settle();
   nested->notifierIs( nullptr );
   EXPECT_TRUE( nested->matchSymNotifier().empty() );
   EXPECT_EQ( held->notifier(), nullptr ) << "also where somebody holds what followed the symbol";
}

TEST_F( NestedMapTest, aNullNotifierLetsGoOfTheSymbol ) {
   nested->notifierIs( map );
   nested->matchSymNotifierIs( list, list->notifier() );
   EXPECT_EQ( nested->matchSymNotifier().count(), 1u );
   nested->matchSymNotifierIs( list, nullptr );
   EXPECT_TRUE( nested->matchSymNotifier().empty() );
}

// a list that changes

TEST_F( CommonComponentSymbolSeqSmTest, aListThatChangesIsRecordedAsItsNewMatcher ) {
   make();
   for( const auto option : kListOptions )
      for( const bool invert : { false, true } )
         for( const bool defined : { false, true } ) {
            SCOPED_TRACE( std::string( stringValue( option ) ) + ( invert ? " inverted" : "" ) + ( defined ? " defined" : " undefined" ) );
            statusOf( option, !defined );
            publishSequence( option );
            useList( option, invert );
            ASSERT_TRUE( nothingPending() );
            statusOf( option, defined );
            EXPECT_TRUE( nothingPending() ) << "its version says so, not its status";
            publish( *symbolOf( option ) );
            EXPECT_FALSE( rmSymbol->statusCurrent() );
            const auto change = pending( option );
            ASSERT_TRUE( change );
            EXPECT_EQ( reactor->pendingUpdate().count(), 1u );
            EXPECT_EQ( reactor->pendingUpdate( 10 )->matcherChange().count(), 1u );
            EXPECT_FALSE( reactor->pendingUpdate( 10 )->hasSubRouteMapUpdate() );
            ASSERT_TRUE( change->matcher() );
            EXPECT_TRUE( isOfPresentList( *change->matcher(), option, *symbolOf( option ) ) );
            const bool isPrefixList = option == kPrefixList || option == kPrefixList6;
            EXPECT_EQ( change->prefixListUndefined(), isPrefixList && !defined );
            EXPECT_FALSE( change->commListUndefined() );
            if( isPrefixList ) {
               EXPECT_EQ( as<PrefixListMatcher>( change->matcher() )->name(), "L1" );
               EXPECT_EQ( as<PrefixListMatcher>( change->matcher() )->invertResult(), invert );
            }
         }
}

TEST_F( CommonComponentSymbolSeqSmTest, recordsAndTouchesNothingThatIsCompiled ) {
   statusOf( kPrefixList, true );
   const auto seq = publishSequence( kPrefixList );
   make();
   useList( kPrefixList );
   const auto was = seq->matcher( kPrefixList );
   statusOf( kPrefixList, true );
   publish( *list );
   EXPECT_TRUE( pending( kPrefixList ) );
   EXPECT_EQ( rmSymbol->rmStatus()->seqStatus( 10 ), seq );
   EXPECT_EQ( seq->matcher( kPrefixList ), was );
   EXPECT_EQ( rmSymbol->notifier()->version(), 0u );
}

TEST_F( CommonComponentSymbolSeqSmTest, aBurstOfChangesLeavesTheLast ) {
   make();
   useList( kPrefixList );
   for( int i = 0; i < 5; ++i ) {
      statusOf( kPrefixList, i % 2 == 0 );
      publish( *list );
   }
   EXPECT_EQ( as<PrefixListMatcher>( pending( kPrefixList )->matcher() )->status(), list->status() );
   EXPECT_FALSE( pending( kPrefixList )->prefixListUndefined() );
   statusOf( kPrefixList, false );
   publish( *list );
   EXPECT_EQ( as<PrefixListMatcher>( pending( kPrefixList )->matcher() )->status(), nullptr );
   EXPECT_TRUE( pending( kPrefixList )->prefixListUndefined() );
   EXPECT_EQ( reactor->pendingUpdate().count(), 1u );
}

TEST_F( CommonComponentSymbolSeqSmTest, aListThatChangedInPlaceCostsNothing ) {
   make();
   for( const auto option : kListOptions )
      for( const bool defined : { true, false } ) {
         statusOf( option, defined );
         publishSequence( option );
         useList( option );
         publish( *symbolOf( option ) );
         EXPECT_TRUE( nothingPending() ) << option;
         EXPECT_TRUE( rmSymbol->statusCurrent() ) << option;
      }
}

TEST_F( CommonComponentSymbolSeqSmTest, aListThatFlipsBackWithdrawsWhatWaits ) {
   make();
   for( const auto option : kListOptions ) {
      statusOf( option, false );
      publishSequence( option );
      useList( option );
      reactor->pendingUpdateIs( 10 )->matcherChangeIs( kTag );
      statusOf( option, true );
      publish( *symbolOf( option ) );
      ASSERT_TRUE( pending( option ) ) << option;
      statusOf( option, false );
      publish( *symbolOf( option ) );
      EXPECT_FALSE( pending( option ) ) << option;
      EXPECT_TRUE( pending( kTag ) ) << option << ": what else waits stays";
      EXPECT_FALSE( rmSymbol->statusCurrent() ) << option << ": an update has been announced";
      matchSymbols->policySymbolListDelAll();
   }
}

TEST_F( CommonComponentSymbolSeqSmTest, aSequenceThatIsNotCompiledYetAlwaysRecords ) {
   make();
   useList( kPrefixList );
   for( int i = 0; i < 2; ++i ) {
      publish( *list );   // in place
      EXPECT_TRUE( pending( kPrefixList ) );
      settle();
   }
   rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { Fixtures::seq( 20 ) } ) );
   publish( *list );
   EXPECT_TRUE( pending( kPrefixList ) ) << "a map without the sequence";
   settle();
   rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { Fixtures::seq( 10 ) } ) );
   publish( *list );
   EXPECT_TRUE( pending( kPrefixList ) ) << "a sequence without the clause";
}

TEST_F( CommonComponentSymbolSeqSmTest, comparesWithTheSequenceAsItWillBePublished ) {
   statusOf( kPrefixList, true );
   publishSequence( kPrefixList );
   reactor->modifiedRmSeqStatusListIs( modified );
   make();
   useList( kPrefixList );
   const auto first = list->status();
   statusOf( kPrefixList, true );
   const auto waiting = Fixtures::seq( 10, Fixtures::permit, { { kPrefixList, makeNode<PrefixListMatcher>( "L1", list->status() ) } } );
   modified->seqStatusIs( ModifiedRouteMapSeqStatus( { 10 }, waiting, makeNode<SeqUndefinedReferencesOptionTracker>() ) );
   publish( *list );
   EXPECT_TRUE( nothingPending() ) << "it stands in the list already";
   EXPECT_TRUE( rmSymbol->statusCurrent() );
   list->statusIs( first );
   publish( *list );
   ASSERT_TRUE( pending( kPrefixList ) ) << "what is published is right, and what will be is not";
   EXPECT_EQ( as<PrefixListMatcher>( pending( kPrefixList )->matcher() )->status(), first );
   modified->seqStatusDelAll();
   publish( *list );
   EXPECT_FALSE( pending( kPrefixList ) ) << "what is published will be";
}

TEST_F( CommonComponentSymbolSeqSmTest, aRuleThatHasGoneMakesTheChangeStale ) {
   make();
   useList( kPrefixList );
   entry->matchRuleDel( kPrefixList );
   statusOf( kPrefixList, true );
   publish( *list );
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, anEmptyOrAbsentListOfSymbolsMakesTheChangeStale ) {
   make();
   useList( kPrefixList );
   const auto kept = notifiee( kPrefixList, list );
   const auto nested = *sm->matchSymNotifierMap().find( kPrefixList );
   statusOf( kPrefixList, true );
   use( kPrefixList, {} );
   kept->handleVersion();
   matchSymbols->policySymbolListDel( kPrefixList );
   kept->handleVersion();
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, leavesATrailOfWhatItSaw ) {
   make();
   useList( kPrefixList );
   auto & trail = Trailmark::defaultTrailmarkHandle();
   const auto written = trail.written();
   publish( *list );
   ASSERT_EQ( trail.written(), written + 2 );
   const auto records = trail.read();
   EXPECT_EQ( records[ records.size() - 2 ].text(), " RouteMapName=RM1, seqNum=10, match option=matchIpPrefixList modified" );
   EXPECT_TRUE( records.back().timed() ) << "the block that it ran in";
   EXPECT_THAT( std::string( records.back().message->text() ), HasSubstr( "handleVersion" ) );
   entry->matchRuleDel( kPrefixList );
   publish( *list );
   EXPECT_EQ( trail.written(), written + 3 ) << "a stale change is timed too, and says nothing";
   EXPECT_TRUE( trail.read().back().timed() );
}

using CommonComponentSymbolSeqSmDeathTest = CommonComponentSymbolSeqSmTest;

TEST_F( CommonComponentSymbolSeqSmDeathTest, anOptionOfOthersEndsTheProcess ) {
   make();
   for( const auto option : { MatchOption::none, MatchOption::matchMetric, MatchOption::matchCommunity, MatchOption( 133 ) } ) {
      const auto nested = makeNode<NestedMap>( *sm, option );
      EXPECT_DEATH( nested->matchSymNotifierIs( list, list->notifier() ),
                    HasSubstr( "commonComponentSymbolSeqSm->matchRuleSupported( option )" ) )
         << option;
   }
}

TEST_F( CommonComponentSymbolSeqSmDeathTest, aClauseWithTwoSymbolsEndsTheProcess ) {
   entry->matchRuleIs( listRule( kPrefixList, "L1" ) );
   make();
   EXPECT_DEATH( use( kPrefixList, { list, list6 } ), HasSubstr( "policySymbolList->policySymbols() == 1" ) );
   entry->matchRuleDel( kPrefixList );
   use( kPrefixList, { list, list6 } );
   EXPECT_EQ( ( *sm->matchSymNotifierMap().find( kPrefixList ) )->matchSymNotifier().count(), 2u ) << "a stale change says nothing of it";
}

TEST_F( CommonComponentSymbolSeqSmDeathTest, anOptionWithoutAListEndsTheProcess ) {
   make();
   for( const auto option : { kTag, MatchOption::matchSourceProtocol, MatchOption::matchIsisInstance, MatchOption::matchOspfInstance } ) {
      entry->matchRuleIs( listRule( option, "L1" ) );
      EXPECT_DEATH( use( option, { list } ), HasSubstr( "0 && \"Unsupported match option\"" ) ) << option;
      rmSymbol->rmStatusIs(
         Fixtures::routeMap( "RM1", { Fixtures::seq( 10, Fixtures::permit, { { option, makeNode<TagMatcher>( 1 ) } } ) } ) );
      EXPECT_DEATH( use( option, { list } ), HasSubstr( "0 && \"Unsupported match option\"" ) ) << option << ", compiled";
      rmSymbol->rmStatusIs( nullptr );
   }
}

TEST_F( CommonComponentSymbolSeqSmTest, aNullSymbolCannotComeIntoUse ) {
   EXPECT_THROW( use( kPrefixList, { nullptr } ), Plinth::MutatorArgNullPointerException );
}

// the called map

TEST_F( CommonComponentSymbolSeqSmTest, followsTheNotifierOfTheMapThatIsCalled ) {
   make();
   subSymbol->currentVersionIs( 3 );
   EXPECT_TRUE( nothingPending() ) << "a version that is taken in says nothing";
   subSymbol->symbolIs( called );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), called->notifier() );
   EXPECT_TRUE( pending( kTag ) == nullptr && !nothingPending() ) << "looked at once";
   settle();
   for( const uint32_t version : { 5u, 0u } ) {
      subSymbol->currentVersionIs( version );
      EXPECT_TRUE( nothingPending() ) << "nor now";
   }
   called->rmStatusIs( Fixtures::routeMap( "RM2" ) );
   EXPECT_TRUE( nothingPending() ) << "its version says so, not its status";
   publish( *called );
   EXPECT_FALSE( nothingPending() );
   settle();
   subSymbol->symbolIs( nullptr );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   publish( *called );
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, followsTheOtherMapWhenAnotherIsCalled ) {
   make();
   subSymbol->symbolIs( called );
   const auto other = makeNode<RouteMapSymbol>( "RM3" );
   subSymbol->symbolIs( other );
   settle();
   publish( *called );
   EXPECT_TRUE( nothingPending() );
   publish( *other );
   EXPECT_FALSE( nothingPending() );
}

TEST_F( CommonComponentSymbolSeqSmTest, aCalledMapThatIsPublishedIsRecordedWithItsStatus ) {
   const auto seq = Fixtures::seq( 10 );
   seq->subRouteMapIs( Fixtures::routeMap( "RM2" ) );
   rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { seq } ) );
   make();
   subSymbol->symbolIs( called );
   settle();
   for( const bool defined : { true, false } ) {
      const auto status = defined ? Fixtures::routeMap( "RM2" ) : nullptr;
      called->rmStatusIs( status );
      TraceLog log( "CommonComponentSymbolSeqSm" );
      publish( *called );
      const auto update = reactor->pendingUpdate( 10 );
      ASSERT_TRUE( update );
      EXPECT_TRUE( update->hasSubRouteMapUpdate() );
      EXPECT_EQ( update->subRouteMapStatus(), status );
      EXPECT_TRUE( update->matcherChange().empty() );
      EXPECT_FALSE( rmSymbol->statusCurrent() );
      EXPECT_THAT( log.take(),
                   ElementsAre( "RM1 seqno 10 updating symbol " + identity( rmSymbol.get() ) + " with sub-route-map:" + " rmsymbol=" +
                                identity( called.get() ) + " rmStatus=" + identity( status.get() ) ) );
      EXPECT_THAT( log.levels(), ElementsAre( 8 ) );
      settle();
   }
}

TEST_F( CommonComponentSymbolSeqSmTest, aCalledMapIsUpToDateByItsStatusOrByItsVersion ) {
   struct Row {
      const char * name;
      bool compiled, sameStatus, sameVersion, pends;
   };
   const Row rows[] = { { "both", true, true, true, false },
                        { "the status, whatever the version", true, true, false, false },
                        { "the version, whatever the status", true, false, true, false },
                        { "neither", true, false, false, true },
                        { "not compiled, the version", false, true, true, false },
                        { "not compiled", false, true, false, true } };
   const auto status = Fixtures::routeMap( "RM2" );
   called->rmStatusIs( status );
   publish( *called );
   make();
   subSymbol->currentVersionIs( 1 );
   subSymbol->symbolIs( called );
   for( const auto & row : rows ) {
      const auto seq = Fixtures::seq( row.compiled ? 10 : 20 );
      seq->subRouteMapIs( row.sameStatus ? status : Fixtures::routeMap( "RM2" ) );
      rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { seq } ) );
      subSymbol->currentVersionIs( row.sameVersion ? 1 : 7 );
      settle();
      sm->handleSubRouteMapSymbol();
      EXPECT_EQ( !nothingPending(), row.pends ) << row.name;
      EXPECT_EQ( rmSymbol->statusCurrent(), !row.pends ) << row.name;
   }
}

TEST_F( CommonComponentSymbolSeqSmTest, aCalledMapThatIsNotThereIsUpToDateWhereNoneIsCompiled ) {
   rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { Fixtures::seq( 10 ) } ) );
   make();
   subSymbol->symbolIs( called );
   publish( *called );
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, ofACalledMapWithoutANotifierTheVersionIsZero ) {
   called->rmStatusIs( Fixtures::routeMap( "RM2" ) );
   called->notifierIs( nullptr );
   make();
   subSymbol->symbolIs( called );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   EXPECT_TRUE( nothingPending() );
   sm->handleSubRouteMapSymbol();
   EXPECT_TRUE( nothingPending() ) << "0 has been taken in";
   subSymbol->currentVersionIs( 3 );
   sm->handleSubRouteMapSymbol();
   ASSERT_FALSE( nothingPending() );
   EXPECT_EQ( reactor->pendingUpdate( 10 )->subRouteMapStatus(), called->rmStatus() );
}

TEST_F( CommonComponentSymbolSeqSmTest, aCalledMapThatFlipsBackWithdrawsWhatWaits ) {
   const auto status = Fixtures::routeMap( "RM2" );
   const auto seq = Fixtures::seq( 10 );
   seq->subRouteMapIs( status );
   rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { seq } ) );
   called->rmStatusIs( status );
   make();
   subSymbol->symbolIs( called );
   called->rmStatusIs( nullptr );
   publish( *called );
   ASSERT_TRUE( reactor->pendingUpdate( 10 ) );
   ASSERT_TRUE( reactor->pendingUpdate( 10 )->hasSubRouteMapUpdate() );
   reactor->pendingUpdate( 10 )->matcherChangeIs( kTag );
   called->rmStatusIs( status );
   publish( *called );
   EXPECT_FALSE( reactor->pendingUpdate( 10 )->hasSubRouteMapUpdate() );
   EXPECT_TRUE( pending( kTag ) ) << "what else waits stays";
}

TEST_F( CommonComponentSymbolSeqSmTest, comparesTheCalledMapWithTheSequenceAsItWillBePublished ) {
   const auto first = Fixtures::routeMap( "RM2" ), second = Fixtures::routeMap( "RM2" );
   const auto published = Fixtures::seq( 10 ), waiting = Fixtures::seq( 10 );
   published->subRouteMapIs( first );
   waiting->subRouteMapIs( second );
   rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { published } ) );
   reactor->modifiedRmSeqStatusListIs( modified );
   modified->seqStatusIs( ModifiedRouteMapSeqStatus( { 10 }, waiting, makeNode<SeqUndefinedReferencesOptionTracker>() ) );
   called->rmStatusIs( second );
   make();
   subSymbol->symbolIs( called );
   publish( *called );
   EXPECT_TRUE( nothingPending() );
   called->rmStatusIs( first );
   publish( *called );
   ASSERT_TRUE( reactor->pendingUpdate( 10 ) ) << "what waits in the list is wrong by now";
   EXPECT_EQ( reactor->pendingUpdate( 10 )->subRouteMapStatus(), first );
}

// its life

TEST_F( CommonComponentSymbolSeqSmTest, aNewModeIsNoConcernOfIt ) {
   make();
   useList( kPrefixList );
   TraceLog log( "CommonComponentSymbolSeqSm" );
   mode->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   EXPECT_THAT( log.take(), IsEmpty() );
   EXPECT_TRUE( nothingPending() );
}

TEST_F( CommonComponentSymbolSeqSmTest, aMachineThatIsGoingRecordsNothing ) {
   make();
   useList( kPrefixList );
   subSymbol->symbolIs( called );
   settle();
   sm->plinthDoZombieReactors( true );
   statusOf( kPrefixList, true );
   publish( *list );
   called->rmStatusIs( Fixtures::routeMap( "RM2" ) );
   publish( *called );
   use( kTagSet, { tags } );
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, aMachineThatIsSwitchedOffRecordsNothing ) {
   make();
   useList( kPrefixList );
   subSymbol->symbolIs( called );
   settle();
   sm->hasNotificationActiveIs( false );   // as its owner does that gives it up, be it held elsewhere
   called->rmStatusIs( Fixtures::routeMap( "RM2" ) );
   publish( *called );
   EXPECT_TRUE( nothingPending() ) << "of the called map";
   statusOf( kPrefixList, true );
   publish( *list );
   EXPECT_TRUE( nothingPending() ) << "of the list";
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, aMachineThatHasGoneRecordsNothingAndHoldsNothing ) {
   make();
   useList( kPrefixList );
   subSymbol->symbolIs( called );
   settle();
   sm = nullptr;
   statusOf( kPrefixList, true );
   publish( *list );
   publish( *called );
   use( kTagSet, { tags } );
   EXPECT_TRUE( nothingPending() );
   EXPECT_EQ( list->notifier()->useCount(), 1u );
   EXPECT_EQ( called->notifier()->useCount(), 1u );
   EXPECT_EQ( matchSymbols->useCount(), 1u );
   EXPECT_EQ( subSymbol->useCount(), 1u );
   EXPECT_EQ( entry->useCount(), 1u );
   EXPECT_EQ( mode->useCount(), 1u );
   EXPECT_EQ( reactor->useCount(), 1u );
}

TEST_F( CommonComponentSymbolSeqSmTest, mayGoInTheWriteThatItMakes ) {
   make();
   useList( kPrefixList );
   Reaction gone( *rmSymbol, [ & ]( const Quoin::Change & ) { sm = nullptr; } );
   publish( *list );   // clears statusCurrent
   EXPECT_EQ( gone.heard, 1 );
   EXPECT_FALSE( sm );
   EXPECT_TRUE( nothingPending() ) << "an update of a sequence that has gone";
   EXPECT_EQ( list->notifier()->useCount(), 1u );
}

// --- from a list to the published route map

class FollowedListTest : public testing::Test {
 protected:
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   struct OneMap {
      Ptr<Map> map;
      Ptr<RouteMapSymbol> symbol;
      Ptr<RmConfigSymbolReactor> reactor;
      Ptr<RouteMapConfigSymbolSm> machine;
      uint32_t before = 0;
   };
   OneMap rm1{ makeNode<Map>( "RM1" ), root->routeMapTable()->symbol( "RM1" ), makeNode<RmConfigSymbolReactor>( "RM1" ), {}, 0 };
   OneMap rm2{ makeNode<Map>( "RM2" ), root->routeMapTable()->symbol( "RM2" ), makeNode<RmConfigSymbolReactor>( "RM2" ), {}, 0 };
   std::unique_ptr<PrefixListProducer> list;

   void makeList() {
      list = std::make_unique<PrefixListProducer>( root->ipv4PrefixListTable(), "PL1", Ferule::AddressFamily::ipv4 );
      editList( 1 );
      list->publish();
   }
   void editList( uint32_t seqno ) {
      if( list->entryDel( seqno ) ) return;
      EXPECT_FALSE( list->entryIs( { seqno, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, {} } ) );
   }
   void start( OneMap & one ) {
      one.map->versionIs( 1 );
      one.machine = routeMapConfigSymbolSmFactory( one.map, one.symbol, root, one.reactor, makeNode<CommonRmConfigSymbolSmHelper>( root ),
                                                   makeNode<RouteMapOpModeNotifier>(), scheduler, nullptr );
      publications( one );
   }
   /// Since the last time.
   uint32_t publications( OneMap & one ) {
      scheduler->runUntilIdle();
      const uint32_t now = one.symbol->notifier()->version();
      return now - std::exchange( one.before, now );
   }
   /// The status of the list that the published sequence asks.
   static Ptr<const PrefixListStatus> asked( const OneMap & one, uint32_t seqno = 10 ) {
      const auto seq = one.symbol->rmStatus() ? one.symbol->rmStatus()->seqStatus( seqno ) : nullptr;
      const auto matcher = seq ? as<PrefixListMatcher>( seq->matcher( kPrefixList ) ) : nullptr;
      return matcher ? matcher->status() : nullptr;
   }
};

TEST_F( FollowedListTest, aBurstOfChangesCostsOnePublication ) {
   makeList();
   rm1.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   rm1.map->mapEntryIs( 20 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm1 );
   ASSERT_EQ( asked( rm1 ), list->symbol()->status() );
   EXPECT_EQ( publications( rm1 ), 0u ) << "the first check of a new symbol leaves nothing to do";
   for( uint32_t i = 0; i < 10; ++i ) {
      editList( 2 + i );
      list->publish();
   }
   EXPECT_FALSE( rm1.symbol->statusCurrent() );
   EXPECT_NE( asked( rm1 ), list->symbol()->status() ) << "not inside the write";
   EXPECT_EQ( publications( rm1 ), 1u );
   EXPECT_EQ( asked( rm1 ), list->symbol()->status() );
   EXPECT_EQ( asked( rm1, 20 ), list->symbol()->status() );
   EXPECT_TRUE( rm1.symbol->statusCurrent() );
   EXPECT_TRUE( rm1.reactor->pendingUpdate().empty() );
}

TEST_F( FollowedListTest, aListThatChangesInPlacePublishesNothing ) {
   makeList();
   rm1.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm1 );
   list->symbol()->notifier()->versionInc( 1 );
   EXPECT_TRUE( rm1.symbol->statusCurrent() );
   EXPECT_TRUE( scheduler->idle() );
   EXPECT_EQ( publications( rm1 ), 0u );
}

TEST_F( FollowedListTest, aListThatGoesAndComesIsUndefinedBetween ) {
   using Bits = UndefinedPolicyReferenceBitfield;
   makeList();
   rm1.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm1 );
   EXPECT_EQ( rm1.symbol->rmStatus()->undefinedReferences(), Bits{} );
   list = nullptr;
   EXPECT_EQ( publications( rm1 ), 1u );
   EXPECT_EQ( asked( rm1 ), nullptr );
   EXPECT_TRUE( rm1.symbol->rmStatus()->seqStatus( 10 )->matcher( kPrefixList ) );
   EXPECT_NE( rm1.symbol->rmStatus()->undefinedReferences(), Bits{} );
   makeList();
   EXPECT_EQ( publications( rm1 ), 1u );
   EXPECT_EQ( asked( rm1 ), list->symbol()->status() );
   EXPECT_EQ( rm1.symbol->rmStatus()->undefinedReferences(), Bits{} );
}

TEST_F( FollowedListTest, aListThatIsBackBeforeTheTaskRanPublishesNothing ) {
   makeList();
   rm1.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm1 );
   const auto symbol = list->symbol();
   const auto status = symbol->status();
   symbol->statusIs( nullptr );
   symbol->notifier()->versionInc( 1 );
   EXPECT_FALSE( rm1.symbol->statusCurrent() );
   symbol->statusIs( status );
   symbol->notifier()->versionInc( 1 );
   EXPECT_EQ( publications( rm1 ), 0u );
   EXPECT_TRUE( rm1.symbol->statusCurrent() );
   EXPECT_TRUE( rm1.reactor->pendingUpdate().empty() );
   EXPECT_EQ( asked( rm1 ), status );
}

TEST_F( FollowedListTest, anEditOfTheRuleBeatsAChangeOfItsOldList ) {
   makeList();
   const auto entry = rm1.map->mapEntryIs( 10 );
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm1 );
   editList( 2 );
   list->publish();
   const auto other = root->ipv4PrefixListTable()->symbol( "PL2" );
   other->statusIs( prefixList( "PL2" ) );
   other->statusCurrentIs( true );
   entry->matchRuleIs( listRule( kPrefixList, "PL2" ) );
   rm1.map->versionIs( 2 );
   scheduler->runUntilIdle();
   EXPECT_EQ( asked( rm1 ), other->status() );
   publications( rm1 );
   editList( 3 );
   list->publish();
   EXPECT_EQ( publications( rm1 ), 0u ) << "the old list is followed no longer";
}

TEST_F( FollowedListTest, aCalledMapThatIsPublishedPublishesItsCaller ) {
   makeList();
   rm2.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm2 );
   rm1.map->mapEntryIs( 10 )->subRouteMapIs( { "RM2", false } );
   start( rm1 );
   const auto calls = [ & ] { return rm1.symbol->rmStatus()->seqStatus( 10 )->subRouteMap(); };
   ASSERT_EQ( calls(), rm2.symbol->rmStatus() );
   editList( 2 );
   list->publish();
   EXPECT_EQ( publications( rm1 ), 1u );
   EXPECT_EQ( publications( rm2 ), 1u );
   EXPECT_EQ( calls(), rm2.symbol->rmStatus() );
   rm2.symbol->updateAndNotify( rm2.symbol->rmStatus() );   // the very status
   EXPECT_EQ( publications( rm1 ), 0u );
}

TEST_F( FollowedListTest, aListOfCallerAndCalledCostsEachOnePublication ) {
   makeList();
   rm2.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm2 );
   rm1.map->mapEntryIs( 10 )->subRouteMapIs( { "RM2", false } );
   rm1.map->mapEntryIs( 20 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   start( rm1 );
   for( uint32_t i = 0; i < 3; ++i ) {
      editList( 2 + i );
      list->publish();
      EXPECT_EQ( publications( rm1 ), 1u );
      EXPECT_EQ( publications( rm2 ), 1u );
      EXPECT_EQ( asked( rm1, 20 ), list->symbol()->status() );
      EXPECT_EQ( rm1.symbol->rmStatus()->seqStatus( 10 )->subRouteMap(), rm2.symbol->rmStatus() );
   }
}

TEST_F( FollowedListTest, aSequenceThatGoesLeavesNothingPendingWhereItsListMovesAtThatMoment ) {
   makeList();
   rm1.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   rm1.map->mapEntryIs( 20 );
   start( rm1 );
   int told = 0;
   Reaction moves( *rm1.symbol->notifier(), [ & ]( const Quoin::Change & ) {
      if( ++told > 1 ) return;
      editList( 2 );
      list->publish();
   } );
   rm1.map->mapEntryDel( 10 );
   rm1.map->versionIs( 2 );
   EXPECT_TRUE( rm1.reactor->pendingUpdate().empty() );
   EXPECT_EQ( publications( rm1 ), 1u );
   EXPECT_FALSE( rm1.symbol->rmStatus()->seqStatus( 10 ) );
}

}   // namespace
