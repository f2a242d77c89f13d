#include "compile/CommonComponentSymbolSeqSm.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "compile/CommonHelpers.h"
#include "policy/PrefixListMatcher.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/trailmark/Trailmark.h"
#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using CompileFixtures::as;
using CompileFixtures::identity;
using CompileFixtures::isOfPresentList;
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

TEST( PolicyMatchSymbolNotifierMap, keysItsMembersBySymbol ) {
   const auto map = makeNode<PolicyMatchSymbolNotifierMap>( kPrefixList );
   EXPECT_EQ( map->option(), kPrefixList );
   EXPECT_TRUE( map->policyMatchSymbolNotifier().empty() );
   const Symbol a = makeNode<PrefixListSymbol>( "L1" ), b = makeNode<PrefixListSymbol>( "L1" );
   ChangeLog<Symbol> log( *map );
   map->policyMatchSymbolNotifierIs( a, a->notifier() );
   map->policyMatchSymbolNotifierIs( a, a->notifier() );   // unchanged
   map->policyMatchSymbolNotifierIs( b, b->notifier() );
   EXPECT_EQ( map->policyMatchSymbolNotifier().count(), 2u ) << "the object is the key, not its name";
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
   /// Publishes the sequence with a matcher of the list's present status.
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

// what it watches

TEST_F( CommonComponentSymbolSeqSmTest, watchesNothingAtFirst ) {
   make();
   EXPECT_EQ( sm->seqno(), 10u );
   EXPECT_EQ( sm->routeMapOpModeNotifier(), mode );
   expectTracked( {} );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
   sm = commonComponentSymbolSeqSmFactory( entry, rmSymbol, nullptr, nullptr, reactor, nullptr );
   expectTracked( {} );
}

TEST_F( CommonComponentSymbolSeqSmTest, watchesTheSymbolsThatAreInUseAtItsCreation ) {
   for( const auto option : kListOptions ) {
      entry->matchRuleIs( listRule( option, "L1" ) );
      use( option, { symbolOf( option ) } );
   }
   use( MatchOption::matchCommunity, { makeNode<CommListSymbol>( "L1" ) } );
   use( kTag, {} );
   make();
   expectTracked( { kAcl, kPrefixList, kPrefixList6, kTagSet } );
   for( const auto option : kListOptions ) EXPECT_TRUE( pending( option ) ) << option << ": checked at once";
}

TEST_F( CommonComponentSymbolSeqSmTest, watchesTheSymbolsThatComeIntoUse ) {
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
   EXPECT_TRUE( nothingPending() ) << "the rule does not exist";
}

TEST_F( CommonComponentSymbolSeqSmTest, anEmptyOrAbsentListOfSymbolsIsNotWatched ) {
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
   const auto map = *sm->matchSymbolNotifierColl().find( kPrefixList );
   use( kPrefixList, { list } );   // another list of the same symbol
   expectTracked( { kPrefixList } );
   EXPECT_NE( *sm->matchSymbolNotifierColl().find( kPrefixList ), map );
   EXPECT_EQ( notifiee( kPrefixList, list ), was );
   EXPECT_TRUE( nothingPending() ) << "a check would have recorded";
   EXPECT_TRUE( rmSymbol->statusCurrent() );
   publish( *list );
   EXPECT_TRUE( pending( kPrefixList ) );
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
   EXPECT_TRUE( nothingPending() ) << "the old symbol is no longer watched";
   publish( *other );
   EXPECT_TRUE( pending( kPrefixList ) );
}

TEST_F( CommonComponentSymbolSeqSmTest, aSymbolWithoutANotifierIsInUseAndNotWatched ) {
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

TEST_F( NestedMapTest, watchesTheMembersOfItsMap ) {
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
   EXPECT_FALSE( nested->matchSymNotifier().find( list ) ) << "the old map is no longer watched";
}

TEST_F( NestedMapTest, aNullMapOrNotifierReleasesTheSymbol ) {
   map->policyMatchSymbolNotifierIs( list, list->notifier() );
   nested->notifierIs( map );
   EXPECT_TRUE( nested->matchSymNotifier().contains( list ) );
   const auto held = *nested->matchSymNotifier().find( list );
   settle();
   nested->notifierIs( nullptr );
   EXPECT_TRUE( nested->matchSymNotifier().empty() );
   EXPECT_EQ( held->notifier(), nullptr ) << "also where somebody holds the notifiee";
   nested->matchSymNotifierIs( list, list->notifier() );
   EXPECT_EQ( nested->matchSymNotifier().count(), 1u );
   nested->matchSymNotifierIs( list, nullptr );
   EXPECT_TRUE( nested->matchSymNotifier().empty() );
}

// a list that changes

TEST_F( CommonComponentSymbolSeqSmTest, aChangedListIsRecordedAsANewMatcher ) {
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
            EXPECT_TRUE( nothingPending() ) << "the version publishes the change, not the status";
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

TEST_F( CommonComponentSymbolSeqSmTest, doesNotTouchThePublishedSequence ) {
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
   for( const bool defined : { true, false, true, false, true } ) {
      statusOf( kPrefixList, defined );
      publish( *list );
      EXPECT_EQ( as<PrefixListMatcher>( pending( kPrefixList )->matcher() )->status(), list->status() );
      EXPECT_EQ( pending( kPrefixList )->prefixListUndefined(), !defined );
   }
   EXPECT_EQ( reactor->pendingUpdate().count(), 1u );
}

TEST_F( CommonComponentSymbolSeqSmTest, aListThatChangesInPlaceRecordsNothing ) {
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

TEST_F( CommonComponentSymbolSeqSmTest, aListThatFlipsBackWithdrawsThePendingMatcher ) {
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
      EXPECT_TRUE( pending( kTag ) ) << option << ": other pending changes stay";
      EXPECT_FALSE( rmSymbol->statusCurrent() ) << option << ": an update was announced";
      matchSymbols->policySymbolListDelAll();
   }
}

TEST_F( CommonComponentSymbolSeqSmTest, aSequenceThatIsNotPublishedYetAlwaysRecords ) {
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

TEST_F( CommonComponentSymbolSeqSmTest, comparesWithTheSequenceOfTheNextGeneration ) {
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
   EXPECT_TRUE( nothingPending() ) << "the next generation has it already";
   EXPECT_TRUE( rmSymbol->statusCurrent() );
   list->statusIs( first );
   publish( *list );
   ASSERT_TRUE( pending( kPrefixList ) ) << "the published matcher is right, that of the next generation is not";
   EXPECT_EQ( as<PrefixListMatcher>( pending( kPrefixList )->matcher() )->status(), first );
   modified->seqStatusDelAll();
   publish( *list );
   EXPECT_FALSE( pending( kPrefixList ) ) << "the next generation takes the published matcher";
}

TEST_F( CommonComponentSymbolSeqSmTest, aChangeIsStaleWithoutRuleOrSymbols ) {
   make();
   useList( kPrefixList );
   const auto kept = notifiee( kPrefixList, list );
   const auto nested = *sm->matchSymNotifierMap().find( kPrefixList );   // keeps the parent of `kept`
   entry->matchRuleDel( kPrefixList );
   statusOf( kPrefixList, true );
   publish( *list );
   EXPECT_TRUE( nothingPending() ) << "no rule";
   entry->matchRuleIs( listRule( kPrefixList, "L1" ) );
   use( kPrefixList, {} );
   kept->handleVersion();
   EXPECT_TRUE( nothingPending() ) << "an empty list of symbols";
   matchSymbols->policySymbolListDel( kPrefixList );
   kept->handleVersion();
   EXPECT_TRUE( nothingPending() ) << "no list of symbols";
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentSymbolSeqSmTest, leavesATimedTrailOfAChangedList ) {
   make();
   useList( kPrefixList );
   auto & trail = Trailmark::defaultTrailmarkHandle();
   const auto written = trail.written();
   publish( *list );
   ASSERT_EQ( trail.written(), written + 2 );
   const auto records = trail.read();
   EXPECT_EQ( records[ records.size() - 2 ].text(), " RouteMapName=RM1, seqNum=10, match option=matchIpPrefixList modified" );
   EXPECT_TRUE( records.back().timed() ) << "the block timer";
}

using CommonComponentSymbolSeqSmDeathTest = CommonComponentSymbolSeqSmTest;

TEST_F( CommonComponentSymbolSeqSmDeathTest, anUnsupportedOptionEndsTheProcess ) {
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
}

TEST_F( CommonComponentSymbolSeqSmDeathTest, anOptionWithoutAListEndsTheProcess ) {
   make();
   for( const auto option : { kTag, MatchOption::matchSourceProtocol, MatchOption::matchIsisInstance, MatchOption::matchOspfInstance } ) {
      entry->matchRuleIs( listRule( option, "L1" ) );
      EXPECT_DEATH( use( option, { list } ), HasSubstr( "0 && \"Unsupported match option\"" ) ) << option;
   }
}

// the called map

TEST_F( CommonComponentSymbolSeqSmTest, watchesTheNotifierOfTheCalledMap ) {
   make();
   subSymbol->currentVersionIs( 3 );
   EXPECT_TRUE( nothingPending() ) << "currentVersion is not watched";
   subSymbol->symbolIs( called );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), called->notifier() );
   EXPECT_FALSE( nothingPending() ) << "checked at once";
   settle();
   subSymbol->currentVersionIs( 5 );
   called->rmStatusIs( Fixtures::routeMap( "RM2" ) );
   EXPECT_TRUE( nothingPending() ) << "only a new version counts";
   publish( *called );
   EXPECT_FALSE( nothingPending() );
   const auto other = makeNode<RouteMapSymbol>( "RM3" );
   subSymbol->symbolIs( other );
   settle();
   publish( *called );
   EXPECT_TRUE( nothingPending() ) << "no longer called";
   publish( *other );
   EXPECT_FALSE( nothingPending() );
   settle();
   subSymbol->symbolIs( nullptr );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   publish( *other );
   EXPECT_TRUE( nothingPending() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
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
      settle();
   }
}

TEST_F( CommonComponentSymbolSeqSmTest, aCalledMapIsUpToDateByItsStatusOrByItsVersion ) {
   struct Row {
      const char * name;
      bool published, sameStatus, sameVersion, pends;
   };
   const Row rows[] = { { "both", true, true, true, false },
                        { "the status, whatever the version", true, true, false, false },
                        { "the version, whatever the status", true, false, true, false },
                        { "neither", true, false, false, true },
                        { "not published, the version", false, true, true, false },
                        { "not published", false, true, false, true } };
   const auto status = Fixtures::routeMap( "RM2" );
   called->rmStatusIs( status );
   publish( *called );
   make();
   subSymbol->currentVersionIs( 1 );
   subSymbol->symbolIs( called );
   for( const auto & row : rows ) {
      const auto seq = Fixtures::seq( row.published ? 10 : 20 );
      seq->subRouteMapIs( row.sameStatus ? status : Fixtures::routeMap( "RM2" ) );
      rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { seq } ) );
      subSymbol->currentVersionIs( row.sameVersion ? 1 : 7 );
      settle();
      sm->handleSubRouteMapSymbol();
      EXPECT_EQ( !nothingPending(), row.pends ) << row.name;
      EXPECT_EQ( rmSymbol->statusCurrent(), !row.pends ) << row.name;
   }
   called->rmStatusIs( nullptr );
   rmSymbol->rmStatusIs( Fixtures::routeMap( "RM1", { Fixtures::seq( 10 ) } ) );
   settle();
   publish( *called );
   EXPECT_TRUE( nothingPending() ) << "undefined, and the published sequence has none";
}

TEST_F( CommonComponentSymbolSeqSmTest, aCalledMapWithoutANotifierHasVersionZero ) {
   called->rmStatusIs( Fixtures::routeMap( "RM2" ) );
   called->notifierIs( nullptr );
   make();
   subSymbol->symbolIs( called );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   EXPECT_TRUE( nothingPending() );
   sm->handleSubRouteMapSymbol();
   EXPECT_TRUE( nothingPending() ) << "0 is the current version";
   subSymbol->currentVersionIs( 3 );
   sm->handleSubRouteMapSymbol();
   ASSERT_FALSE( nothingPending() );
   EXPECT_EQ( reactor->pendingUpdate( 10 )->subRouteMapStatus(), called->rmStatus() );
}

TEST_F( CommonComponentSymbolSeqSmTest, aCalledMapThatFlipsBackWithdrawsThePendingUpdate ) {
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
   EXPECT_TRUE( pending( kTag ) ) << "other pending changes stay";
}

TEST_F( CommonComponentSymbolSeqSmTest, comparesTheCalledMapWithTheSequenceOfTheNextGeneration ) {
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
   ASSERT_TRUE( reactor->pendingUpdate( 10 ) ) << "the next generation has the old status";
   EXPECT_EQ( reactor->pendingUpdate( 10 )->subRouteMapStatus(), first );
}

// lifetime

TEST_F( CommonComponentSymbolSeqSmTest, aNewModeIsIgnored ) {
   make();
   useList( kPrefixList );
   TraceLog log( "CommonComponentSymbolSeqSm" );
   mode->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   EXPECT_THAT( log.take(), IsEmpty() );
   EXPECT_TRUE( nothingPending() );
}

TEST_F( CommonComponentSymbolSeqSmTest, aStoppedMachineRecordsNothing ) {
   struct Row {
      const char * name;
      std::function<void()> stop;
   };
   const Row rows[] = { { "stopping", [ & ] { sm->plinthDoZombieReactors( true ); } },
                        { "switched off, while somebody holds it", [ & ] { sm->hasNotificationActiveIs( false ); } },
                        { "released", [ & ] { sm = nullptr; } } };
   for( const auto & row : rows ) {
      make();
      useList( kPrefixList );
      subSymbol->symbolIs( called );
      settle();
      row.stop();
      called->rmStatusIs( Fixtures::routeMap( "RM2" ) );
      publish( *called );
      EXPECT_TRUE( nothingPending() ) << row.name << ": the called map";
      statusOf( kPrefixList, true );
      publish( *list );
      EXPECT_TRUE( nothingPending() ) << row.name << ": the list";
      entry->matchRuleIs( listRule( kTagSet, "L1" ) );
      use( kTagSet, { tags } );
      EXPECT_TRUE( nothingPending() ) << row.name << ": a list that comes into use";
      EXPECT_TRUE( rmSymbol->statusCurrent() ) << row.name;
      entry->matchRuleDel( kTagSet );
   }
}

TEST_F( CommonComponentSymbolSeqSmTest, mayBeReleasedInItsOwnWrite ) {
   make();
   useList( kPrefixList );
   Reaction gone( *rmSymbol, [ & ]( const Quoin::Change & ) { sm = nullptr; } );
   publish( *list );   // clears statusCurrent
   EXPECT_EQ( gone.heard, 1 );
   EXPECT_FALSE( sm );
   EXPECT_TRUE( nothingPending() ) << "nobody would apply it";
}

// --- from a list to the published route map

class WatchedListTest : public testing::Test {
 protected:
   CompileFixtures::Agent agent;
   CompileFixtures::Compiled rm{ agent, "RM1" };
   std::unique_ptr<CompileFixtures::List> list = std::make_unique<CompileFixtures::List>( agent, "PL1" );

   void SetUp() override {
      list->publish();
      rm.map->mapEntryIs( 10 )->matchRuleIs( listRule( kPrefixList, "PL1" ) );
      rm.map->mapEntryIs( 20 );
      rm.start();
      ASSERT_EQ( CompileFixtures::listOf( rm.seq( 10 ) ), list->symbol->status().get() );
      EXPECT_EQ( rm.run(), 0 ) << "the first check of a new symbol changes nothing";
   }
};

TEST_F( WatchedListTest, aListThatIsDeletedAndCreatedIsUndefinedBetween ) {
   EXPECT_EQ( rm.undefined(), 0 );
   list = nullptr;
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_TRUE( rm.seq( 10 )->matcher( kPrefixList ) );
   EXPECT_EQ( CompileFixtures::listOf( rm.seq( 10 ) ), nullptr );
   EXPECT_NE( rm.undefined(), 0 );
   list = std::make_unique<CompileFixtures::List>( agent, "PL1" );
   list->publish();
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_EQ( CompileFixtures::listOf( rm.seq( 10 ) ), list->symbol->status().get() );
   EXPECT_EQ( rm.undefined(), 0 );
}

TEST_F( WatchedListTest, aListThatIsBackBeforeTheTaskRunsPublishesNothing ) {
   const auto status = list->symbol->status();
   list->symbol->statusIs( nullptr );
   list->symbol->notifier()->versionInc( 1 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   list->symbol->statusIs( status );
   list->symbol->notifier()->versionInc( 1 );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
   EXPECT_TRUE( rm.reactor->pendingUpdate().empty() );
   EXPECT_EQ( CompileFixtures::listOf( rm.seq( 10 ) ), status.get() );
}

TEST_F( WatchedListTest, anEditOfTheRuleBeatsAChangeOfItsOldList ) {
   CompileFixtures::List other( agent, "PL2" );
   other.publish();
   list->publish();
   rm.map->mapEntry( 10 )->matchRuleIs( listRule( kPrefixList, "PL2" ) );
   rm.raise();
   rm.run();
   EXPECT_EQ( CompileFixtures::listOf( rm.seq( 10 ) ), other.symbol->status().get() );
   list->publish();
   EXPECT_EQ( rm.run(), 0 ) << "the old list is no longer watched";
}

TEST_F( WatchedListTest, aSequenceDeletedWhileItsListChangesLeavesNothingPending ) {
   int changes = 0;
   Reaction moves( *rm.symbol->notifier(), [ & ]( const Quoin::Change & ) {
      if( ++changes == 1 ) list->publish();
   } );
   rm.map->mapEntryDel( 10 );
   rm.map->versionIs( 2 );
   EXPECT_TRUE( rm.reactor->pendingUpdate().empty() );
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_FALSE( rm.seq( 10 ) );
}

}   // namespace
