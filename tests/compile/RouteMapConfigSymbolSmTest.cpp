#include "compile/RouteMapConfigSymbolSm.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::CompileFixtures;
using Fixtures::deny;
using Fixtures::FixedMatcher;
using Fixtures::permit;
using Quoin::DisplayPointer;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

static_assert( std::is_base_of_v<RouteMapConfigSmBase, RouteMapConfigSymbolSm> );
static_assert( std::is_abstract_v<RmConfigSymbolSmHelperBase> );
static_assert( std::is_base_of_v<Quoin::Node, RmConfigSymbolSmHelperBase> );

class RouteMapConfigSymbolSmTest : public testing::Test {
 protected:
   Agent agent;
   Compiled rm{ agent, "RM" };
   Ptr<MapEntry> entry( uint32_t seqno ) { return rm.map->mapEntryIs( seqno ); }
};

// --- construction

TEST_F( RouteMapConfigSymbolSmTest, theCommonHelperTakesSymbolsOfItsRootAndSymbolsOfNoTable ) {
   const auto route = agent.root->routeMapTable()->symbol( "A" ), filter = agent.root->peerFilterTable()->symbol( "A" );
   for( const auto & symbol : { route, filter, routeMapSymbolFactory( "A" ) } ) {
      const auto map = makeNode<Map>( "A" );
      map->mapEntryIs( 10 );
      map->versionIs( 1 );
      const auto sm = routeMapConfigSymbolSmFactory( map, symbol, agent.root, rmConfigSymbolReactorFactory( "A" ), rm.helper, agent.opMode,
                                                     agent.scheduler, nullptr );
      ASSERT_TRUE( symbol->rmStatus() );
      EXPECT_TRUE( symbol->rmStatus()->seqStatus( 10 ) );
   }
}

TEST_F( RouteMapConfigSymbolSmTest, aMapWithoutSequencesIsPublishedByItsFirstVersion ) {
   EXPECT_EQ( rm.start(), 0 );
   EXPECT_EQ( rm.status(), nullptr );
   EXPECT_TRUE( rm.symbol->statusCurrent() ) << "settled, and undefined";
   EXPECT_EQ( rm.raise(), 1 );
   ASSERT_TRUE( rm.status() );
   EXPECT_THAT( rm.seqnos(), IsEmpty() );
   EXPECT_EQ( rm.status()->name(), "RM" );
   EXPECT_EQ( rm.undefined(), 0 );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
   EXPECT_EQ( rm.raise(), 0 ) << "no change";
}

TEST_F( RouteMapConfigSymbolSmTest, anEmptyNewMapIsDefinedAndAnEmptiedMapIsNot ) {
   rm.map->versionIs( 7 );
   EXPECT_EQ( rm.start(), 1 ) << "it has a version";
   EXPECT_EQ( rm.undefined(), 0 );
   entry( 10 );
   rm.raise();
   EXPECT_EQ( rm.undefined(), 0 );
   rm.map->mapEntryDel( 10 );
   EXPECT_THAT( rm.seqnos(), IsEmpty() );
   EXPECT_EQ( rm.undefined(), 255 );
   EXPECT_EQ( rm.publications(), 1 );
   EXPECT_EQ( rm.raise(), 0 ) << "still empty";
   EXPECT_EQ( rm.undefined(), 255 );
}

TEST_F( RouteMapConfigSymbolSmTest, existingSequencesAreCompiledInTheConstruction ) {
   for( const uint32_t version : { 0u, 1u, 4294967295u } ) {
      Compiled one( agent, "ONE" );
      withSequences( one, { 20, 10, 4294967295u } )->versionIs( version );
      one.map->mapEntry( 20 )->permitIs( deny );
      EXPECT_EQ( one.start(), 1 ) << version;
      EXPECT_THAT( one.seqnos(), ElementsAre( 10, 20, 4294967295u ) ) << version;
      EXPECT_EQ( one.seq( 10 )->matchAction(), permit );
      EXPECT_EQ( one.seq( 20 )->matchAction(), deny );
      EXPECT_EQ( one.undefined(), 0 ) << version;
      EXPECT_TRUE( one.symbol->statusCurrent() );
      EXPECT_THAT( one.listed(), IsEmpty() );
   }
}

TEST_F( RouteMapConfigSymbolSmTest, theTaskHasTheMapsNameAndThePriorityOfRouteMaps ) {
   rm.start();
   const auto & task = rm.sm->routeMapSymbolUpdateTask();
   EXPECT_EQ( task.taskName(), "RouteMapSymbolUpdate_RM" );
   EXPECT_EQ( unsigned( task.taskPriority() ), 3u );
   EXPECT_EQ( task.taskScheduler(), agent.scheduler );
   EXPECT_FALSE( task.taskScheduled() );
   std::ostringstream os;
   os << *rm.sm;
   EXPECT_EQ( os.str(), "rmName: RM" );
}

TEST_F( RouteMapConfigSymbolSmTest, withoutAMapItPublishesNothing ) {
   rm.map = nullptr;
   EXPECT_EQ( rm.start(), 0 );
   EXPECT_EQ( rm.sm->routeMapSymbolUpdateTask().taskName(), "RouteMapSymbolUpdate_" );
   EXPECT_EQ( rm.sm->routeMap(), nullptr );
   EXPECT_EQ( rm.sm->continueSeqMap()->name(), "" );
   EXPECT_EQ( rm.status(), nullptr );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST( RouteMapConfigSymbolSm, virtualOperationsStandInSlotOrder ) {
   using Sm = RouteMapConfigSymbolSm;
   using Fixtures::slotOf;
   if( slotOf( &Sm::handleVersion ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const long first = slotOf( static_cast<void ( Sm::* )( uint32_t )>( &Sm::handleRouteMapSeq ) );
   EXPECT_GT( first, slotOf( &Sm::formatDerivedType ) );
   EXPECT_EQ( slotOf( static_cast<void ( Sm::* )()>( &Sm::handleRouteMapSeq ) ), first + 1 );
   EXPECT_EQ( slotOf( &Sm::handleVersion ), first + 2 );
   EXPECT_EQ( slotOf( &Sm::handleInitialized ), first + 3 );
}

TEST_F( RouteMapConfigSymbolSmTest, changesBeforeItIsSwitchedOnAreCompiled ) {
   withSequences( rm, { 10, 20 } );
   rm.sm =
      makeNode<RouteMapConfigSymbolSm>( rm.map, rm.symbol, agent.root, rm.reactor, rm.helper, agent.opMode, agent.scheduler, agent.users );
   const auto kept = rm.sm->seqConfigSm().find( 10 )->get();
   rm.map->mapEntryDel( 20 );
   rm.map->mapEntryIs( 30 );
   rm.map->mapEntry( 10 )->permitIs( deny );
   rm.map->versionIs( 1 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10, 20 ) );
   rm.sm->hasNotificationActiveIs( true );
   rm.run();
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10, 30 ) );
   EXPECT_EQ( rm.seq( 10 )->matchAction(), deny );
   EXPECT_EQ( rm.sm->seqConfigSm().find( 10 )->get(), kept ) << "not replaced";
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

// --- creating and deleting sequences

TEST_F( RouteMapConfigSymbolSmTest, createsOneMachinePerSequenceInAscendingOrder ) {
   const auto helper = makeNode<BareHelper>();
   rm.helper = helper;
   withSequences( rm, { 30, 10, 20 } );
   TraceLog log( "RouteMapConfigSymbolSm" );
   rm.start();
   ASSERT_EQ( helper->asked.size(), 3u );
   for( unsigned i = 0; i < 3; ++i ) {
      const auto & asked = helper->asked[ i ];
      EXPECT_EQ( asked.rmName, "RM" );
      EXPECT_EQ( asked.seqConfig, rm.map->mapEntry( 10 * ( i + 1 ) ) );
      EXPECT_EQ( asked.rmSymbol, rm.symbol );
      EXPECT_EQ( asked.reactor, rm.reactor );
      EXPECT_EQ( asked.opMode, agent.opMode );
   }
   const auto traces = log.take();
   ASSERT_GE( traces.size(), 3u );
   EXPECT_THAT( Texts( traces.begin(), traces.begin() + 3 ),
                ElementsAre( "creating seqno: 10", "creating seqno: 20", "creating seqno: 30" ) );
   std::vector<uint32_t> machines;
   for( const auto & member : rm.sm->seqConfigSm() ) machines.push_back( member.first );
   EXPECT_THAT( machines, ElementsAre( 10, 20, 30 ) );
   rm.map->mapEntryIs( 20 );   // exists
   EXPECT_EQ( helper->asked.size(), 3u );
}

TEST_F( RouteMapConfigSymbolSmTest, tracesTheCreationOfAllSequencesBeforeTheirChanges ) {
   for( const uint32_t seqno : { 10, 20 } ) entry( seqno )->matchRuleIs( matchTag( seqno ) );
   TraceLog log( "RouteMapConfigSymbolSm" );
   rm.start();
   const auto traces = log.take();
   ASSERT_GE( traces.size(), 3u );
   EXPECT_THAT( Texts( traces.begin(), traces.begin() + 3 ),
                ElementsAre( "creating seqno: 10", "creating seqno: 20", "matchTag modified" ) );
}

TEST_F( RouteMapConfigSymbolSmTest, aNewSequenceWaitsForTheVersion ) {
   rm.map->versionIs( 1 );
   rm.start();
   const auto before = rm.status();
   TraceLog log( "RouteMapConfigSymbolSm" );
   entry( 10 )->permitIs( deny );
   EXPECT_THAT( log.take(), ElementsAre( "creating seqno: 10" ) );
   EXPECT_EQ( rm.publications(), 0 );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_EQ( rm.status(), before );
   const auto listed = rm.sm->modifiedRmSeqStatusList()->seqStatus( { 10 } );
   ASSERT_TRUE( listed.seqStatus() );
   EXPECT_EQ( listed.seqStatus()->seqno(), 10u );
   EXPECT_EQ( listed.seqStatus()->matchAction(), permit ) << "nothing of it is compiled yet";
   EXPECT_EQ( listed.undefinedRefsTracker(), rm.sm->seqConfigSm().find( 10 )->get()->undefinedRefsTracker() );
   EXPECT_EQ( listed.undefinedReferences().value, 0 );
   EXPECT_EQ( listed.referenceUpdateMask().value, 0 );
   log.take();
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( log.take(), Contains( "changes added to RM" ) );
   EXPECT_EQ( rm.seq( 10 ), listed.seqStatus() ) << "the entry itself is published";
   EXPECT_EQ( rm.seq( 10 )->matchAction(), deny );
   EXPECT_THAT( rm.listed(), IsEmpty() );
}

TEST_F( RouteMapConfigSymbolSmTest, aSequenceAddedLiveWaitsWhileTheVersionStaysZero ) {
   rm.start();
   entry( 10 );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_EQ( rm.status(), nullptr );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10 ) );
}

TEST_F( RouteMapConfigSymbolSmTest, aDeletionIsPublishedAtOnceAndSharesTheOtherSequences ) {
   withSequences( rm, { 10, 20, 30 } );
   rm.start();
   const auto kept = rm.seq( 10 ), last = rm.seq( 30 );
   const auto before = rm.status();
   TraceLog log( "RouteMapConfigSymbolSm" );
   rm.map->mapEntryDel( 20 );
   EXPECT_THAT( log.take(), ElementsAre( "deleting seqno: 20" ) );
   EXPECT_EQ( rm.publications(), 1 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10, 30 ) );
   EXPECT_EQ( rm.seq( 10 ), kept );
   EXPECT_EQ( rm.seq( 30 ), last );
   EXPECT_FALSE( rm.sm->seqConfigSm().find( 20 ) );
   EXPECT_TRUE( before->seqStatus( 20 ) ) << "a published sequence is not written again";
   EXPECT_EQ( rm.raise(), 0 );
}

TEST_F( RouteMapConfigSymbolSmTest, aSequenceDeletedBeforeTheFirstPublicationLeavesNoTombstone ) {
   rm.start();
   entry( 10 );
   entry( 20 );
   continues( rm.map->mapEntry( 10 ) );
   rm.map->mapEntryDel( 10 );
   EXPECT_THAT( rm.listed(), ElementsAre( 20 ) );
   EXPECT_EQ( rm.publications(), 0 );
   EXPECT_EQ( rm.status(), nullptr );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 20 ) );
}

TEST_F( RouteMapConfigSymbolSmTest, anUnpublishedSequenceIsDeletedWithoutATombstone ) {
   List list( agent, "PL" );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.start();
   entry( 20 );
   list.edit();   // holds the gate
   EXPECT_EQ( rm.raise(), 0 );
   EXPECT_THAT( rm.listed(), ElementsAre( 20, 10 ) );
   rm.map->mapEntryDel( 20 );
   EXPECT_THAT( rm.listed(), ElementsAre( 10 ) ) << "no tombstone";
   list.publish();
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10 ) );
}

TEST_F( RouteMapConfigSymbolSmTest, aSequenceAddedAndDeletedWithoutAVersionPublishesNothing ) {
   withSequences( rm, { 10 } );
   rm.start();
   const auto before = rm.status();
   entry( 20 )->distanceIs( 5 );
   EXPECT_FALSE( rm.symbol->statusCurrent() ) << "a change of the new sequence is recorded";
   rm.map->mapEntryDel( 20 );
   EXPECT_EQ( rm.publications(), 0 );
   EXPECT_EQ( rm.status(), before );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
   EXPECT_THAT( rm.listed(), IsEmpty() );
}

TEST_F( RouteMapConfigSymbolSmTest, aHeldDeletionIsATombstoneWithoutBits ) {
   List list( agent, "PL" );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   continues( entry( 20 ) );
   entry( 30 );
   rm.start();
   list.edit();
   rm.map->mapEntryDel( 20 );
   EXPECT_EQ( rm.publications(), 0 );
   EXPECT_THAT( rm.listed(), ElementsAre( -20 ) );
   const auto tombstone = rm.sm->modifiedRmSeqStatusList()->seqStatus( { 20 } );
   EXPECT_EQ( tombstone, ModifiedRouteMapSeqStatus( { 20 } ) );
   EXPECT_FALSE( rm.sm->continueSeqMap()->continueSeqGet( 20 ) );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   EXPECT_TRUE( rm.seq( 20 ) );
   list.publish();
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10, 30 ) );
}

TEST_F( RouteMapConfigSymbolSmTest, aNumberCreatedAgainWhileItsTombstoneIsHeldIsNew ) {
   List list( agent, "PL" );
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   list.publish();
   entry( 20 )->matchRuleIs( matchPrefixList( "NONE" ) );
   entry( 20 )->subRouteMapIs( { "NOWHERE", false } );
   continues( entry( 20 ) );
   entry( 30 );
   rm.start();
   EXPECT_EQ( rm.undefined(),
              UndefinedPolicyReferenceBitfield::subRouteMapUndefined | UndefinedPolicyReferenceBitfield::prefixListUndefined );
   const auto old = rm.seq( 20 );
   list.edit();
   rm.map->mapEntryDel( 20 );
   entry( 20 );
   EXPECT_THAT( rm.listed(), ElementsAre( 20 ) );
   EXPECT_FALSE( rm.sm->undefinedReferenceSeq()->hasUndefinedReference() ) << "none of the old one's bits";
   EXPECT_EQ( rm.raise(), 0 );
   list.publish();
   EXPECT_EQ( rm.run(), 1 );
   ASSERT_TRUE( rm.seq( 20 ) );
   EXPECT_NE( rm.seq( 20 ), old );
   EXPECT_TRUE( rm.seq( 20 )->matcher().empty() );
   EXPECT_EQ( rm.next( 20 ), 0u );
   EXPECT_EQ( rm.undefined(), 0 );
}

TEST_F( RouteMapConfigSymbolSmTest, aDeletedSequenceClearsItsUndefinedReferences ) {
   entry( 10 )->matchRuleIs( matchPrefixList( "NONE" ) );
   entry( 20 )->subRouteMapIs( { "NOWHERE", false } );
   entry( 30 );
   rm.start();
   EXPECT_EQ( rm.undefined(), 3 );
   rm.map->mapEntryDel( 10 );
   EXPECT_EQ( rm.undefined(), 1 );
   rm.map->mapEntryDel( 20 );
   EXPECT_EQ( rm.undefined(), 0 );
   EXPECT_FALSE( rm.sm->undefinedReferenceSeq()->hasUndefinedReference() );
   rm.map->mapEntryDel( 30 );
   EXPECT_EQ( rm.undefined(), 255 );
}

// --- versions

TEST_F( RouteMapConfigSymbolSmTest, aSecondVersionWithoutAChangeIsSkipped ) {
   withSequences( rm, { 10, 20 } );
   rm.start();
   const auto before = rm.status();
   TraceLog log( "RouteMapConfigSymbolSm" );
   EXPECT_EQ( rm.raise(), 0 );
   EXPECT_THAT( log.take(), ElementsAre( "No modified sequences, skipping symbol update" ) );
   EXPECT_EQ( rm.status(), before );
   entry( 10 )->permitIs( deny );
   EXPECT_EQ( rm.raise(), 1 );
   log.take();
   EXPECT_EQ( rm.raise(), 0 );
   EXPECT_THAT( log.take(), ElementsAre( "No modified sequences, skipping symbol update" ) );
}

TEST_F( RouteMapConfigSymbolSmTest, aVersionClonesAllSequencesAndSharesTheirClauses ) {
   Compiled sub( agent, "SUB" );
   withSequences( sub, { 1 } );
   sub.start();
   entry( 10 )->matchRuleIs( matchTag( 1 ) );
   entry( 10 )->distanceIs( 7 );
   entry( 10 )->subRouteMapIs( { "SUB", true } );
   entry( 20 );
   rm.start();
   const auto before = rm.status();
   const auto first = rm.seq( 10 ), second = rm.seq( 20 );
   entry( 20 )->permitIs( deny );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_NE( rm.status(), before );
   EXPECT_NE( rm.seq( 10 ), first ) << "modified or not";
   EXPECT_NE( rm.seq( 20 ), second );
   EXPECT_EQ( rm.seq( 10 )->matcher( tagOption ), first->matcher( tagOption ) );
   EXPECT_EQ( rm.seq( 10 )->setter( distanceOption ), first->setter( distanceOption ) );
   EXPECT_EQ( rm.seq( 10 )->subRouteMap(), sub.status() );
   EXPECT_TRUE( rm.seq( 10 )->subInvert() );
   EXPECT_EQ( second->matchAction(), permit ) << "a published sequence is not written again";
   EXPECT_EQ( before->seqStatus( 20 ), second );
}

TEST_F( RouteMapConfigSymbolSmTest, aReevaluationCompilesEditsWithoutAVersion ) {
   withSequences( rm, { 10 } );
   rm.start();
   rm.reactor->reevaluateInc( 1 );
   EXPECT_EQ( rm.publications(), 0 ) << "nothing to do";
   entry( 10 )->permitIs( deny );
   rm.reactor->reevaluateInc( 1 );
   EXPECT_EQ( rm.publications(), 1 );
   EXPECT_EQ( rm.seq( 10 )->matchAction(), deny );
   entry( 10 )->permitIs( permit );
   rm.sm->handleVersion();   // as a change of the mode does
   EXPECT_EQ( rm.publications(), 1 );
   EXPECT_EQ( rm.seq( 10 )->matchAction(), permit );
}

TEST_F( RouteMapConfigSymbolSmTest, aVersionWithoutChangesLeavesAPendingUpdate ) {
   withSequences( rm, { 10 } );
   rm.start();
   rm.reactor->pendingUpdateIs( 10 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   EXPECT_EQ( rm.raise(), 0 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   EXPECT_TRUE( rm.reactor->pendingUpdate( 10 ) );
}

// --- the records of the sequences

class RouteMapConfigSymbolSmRecordsTest : public RouteMapConfigSymbolSmTest {
 protected:
   void begin( std::initializer_list<uint32_t> seqnos = { 10 } ) {
      rm.helper = makeNode<BareHelper>();
      withSequences( rm, seqnos );
      rm.start();
   }
   BareSeqSm & sm( uint32_t seqno = 10 ) { return rm.bare( seqno ); }
   Ptr<MatcherChange> matcherChange( MatchOption option, const Ptr<const Matcher> & matcher ) {
      const auto change = sm().sequenceChange()->matcherChangeIs( option );
      change->matcherIs( matcher );
      return change;
   }
   Ptr<SetterChange> setterChange( SetOption option, const Ptr<const Setter> & setter ) {
      const auto change = sm().sequenceChange()->setterChangeIs( option );
      change->setterIs( setter );
      return change;
   }
   Ptr<const Setter> setter() { return makeNode<Fixtures::RecordingSetter>( setterLog ); }
   Ptr<const Matcher> matcher() { return makeNode<FixedMatcher>( true ); }
   Fixtures::RecordingSetter::Log setterLog;
};

TEST_F( RouteMapConfigSymbolSmRecordsTest, clausesAreStoredDeletedAndTraced ) {
   begin();
   const auto first = matcher(), second = matcher();
   const auto set = setter();
   TraceLog log( "RouteMapConfigSymbolSm" );
   matcherChange( tagOption, first );
   setterChange( distanceOption, set );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( log.take(), IsSupersetOf( { "matchTag modified", "setDistance modified" } ) );
   EXPECT_EQ( rm.seq( 10 )->matcher( tagOption ), first );
   EXPECT_EQ( rm.seq( 10 )->setter( distanceOption ), set );
   matcherChange( tagOption, second );
   matcherChange( MatchOption::matchMetric, first );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.seq( 10 )->matcher( tagOption ), second );
   EXPECT_EQ( rm.seq( 10 )->matcher( MatchOption::matchMetric ), first );
   log.take();
   matcherChange( tagOption, nullptr );
   setterChange( distanceOption, nullptr );
   EXPECT_EQ( rm.raise(), 1 );
   const auto traces = log.take();
   EXPECT_THAT( traces, IsSupersetOf( { "matchTag deleted", "setDistance deleted" } ) );
   EXPECT_THAT( traces, Not( Contains( "matchTag modified" ) ) );
   EXPECT_FALSE( rm.seq( 10 )->matcher( tagOption ) );
   EXPECT_FALSE( rm.seq( 10 )->setter( distanceOption ) );
   EXPECT_EQ( rm.seq( 10 )->matcher( MatchOption::matchMetric ), first );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, recordsAreEmptyAfterTheCompile ) {
   begin();
   matcherChange( tagOption, matcher() );
   setterChange( distanceOption, setter() );
   const auto & change = *sm().sequenceChange();
   const auto & symbols = *sm().sequenceChangeSym();
   sm().sequenceChange()->permitChangeIs( true );
   sm().sequenceChange()->continueChangeIs( makeNode<ContinueChange>( true ) );
   sm().sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( nullptr ) );
   sm().sequenceChangeSym()->aggRoleAttrMapChangeSymbolIs( aggRoleAttrMapChangeSymbolFactory( nullptr ) );
   sm().sequenceChangeSym()->matcherChangeSymbolIs( tagOption );
   sm().sequenceChangeSym()->setterChangeSymbolIs( distanceOption );
   EXPECT_TRUE( sm().isModified() );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_FALSE( sm().isModified() );
   EXPECT_TRUE( change.matcherChange().empty() );
   EXPECT_TRUE( change.setterChange().empty() );
   EXPECT_FALSE( change.permitChange() );
   EXPECT_FALSE( change.continueChange() );
   EXPECT_FALSE( symbols.subRouteMapChangeSymbol() );
   EXPECT_FALSE( symbols.aggRoleAttrMapChangeSymbol() );
   EXPECT_TRUE( symbols.matcherChangeSymbol().empty() );
   EXPECT_TRUE( symbols.setterChangeSymbol().empty() );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, theActionIsReadFromTheConfiguration ) {
   begin( { 10, 20 } );
   rm.map->mapEntry( 20 )->permitIs( deny );
   EXPECT_EQ( rm.raise(), 0 ) << "nothing is recorded";
   sm().sequenceChange()->permitChangeIs( true );   // of another sequence
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.seq( 20 )->matchAction(), deny );
   EXPECT_EQ( rm.seq( 10 )->matchAction(), permit );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, eachMatcherChangeIsPassedToTheSequenceBeforeItIsApplied ) {
   begin();
   const auto made = matcher(), rebuilt = matcher();
   const auto symbols = sm().sequenceChangeSym()->matcherChangeSymbolIs( tagOption );
   matcherChange( tagOption, made );
   matcherChange( MatchOption::matchMetric, made );
   sm().rebuilt = rebuilt;
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( sm().applied,
                testing::UnorderedElementsAre( std::pair( tagOption, symbols.get() ), std::pair( MatchOption::matchMetric, nullptr ) ) );
   EXPECT_EQ( rm.seq( 10 )->matcher( tagOption ), rebuilt );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aConfigurationChangeBeatsThePendingUpdateOfItsOptionOnly ) {
   for( const bool deleted : { false, true } ) {
      SCOPED_TRACE( deleted ? "deleted clauses" : "changed clauses" );
      begin();
      const auto old = matcher(), configured = deleted ? nullptr : matcher(), pendingOne = matcher(), other = matcher();
      const auto oldSetter = setter(), configuredSetter = deleted ? nullptr : setter(), pendingSetter = setter();
      for( const auto option : { tagOption, MatchOption::matchMetric } ) matcherChange( option, old );
      for( const auto option : { distanceOption, SetOption::setTag } ) setterChange( option, oldSetter );
      rm.raise();
      const auto pending = rm.reactor->pendingUpdateIs( 10 );
      pending->matcherChangeIs( tagOption )->matcherIs( pendingOne );
      pending->matcherChangeIs( MatchOption::matchMetric )->matcherIs( other );
      pending->setterChangeIs( distanceOption )->setterIs( pendingSetter );
      pending->setterChangeIs( SetOption::setTag )->setterIs( pendingSetter );
      matcherChange( tagOption, configured );
      setterChange( distanceOption, configuredSetter );
      EXPECT_EQ( rm.raise(), 1 ) << "both at once";
      EXPECT_EQ( rm.seq( 10 )->matcher( tagOption ), configured );
      EXPECT_EQ( rm.seq( 10 )->matcher( MatchOption::matchMetric ), other );
      EXPECT_EQ( rm.seq( 10 )->setter( distanceOption ), configuredSetter );
      EXPECT_EQ( rm.seq( 10 )->setter( SetOption::setTag ), pendingSetter );
      EXPECT_TRUE( rm.reactor->pendingUpdate().empty() );
      EXPECT_EQ( rm.run(), 0 );
      EXPECT_TRUE( rm.symbol->statusCurrent() );
   }
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, undefinedListsFollowMatchersSettersAndPendingUpdates ) {
   using Bits = UndefinedPolicyReferenceBitfield;
   begin();
   const auto prefixList = [ & ]( bool undefined ) {
      matcherChange( prefixListOption, matcher() )->prefixListUndefinedIs( undefined );
      rm.raise();
      return rm.undefined();
   };
   const auto commList = [ & ]( bool undefined ) {
      setterChange( SetOption::setCommunityList, setter() )->commListUndefinedIs( undefined );
      rm.raise();
      return rm.undefined();
   };
   EXPECT_EQ( prefixList( true ), Bits::prefixListUndefined );
   EXPECT_EQ( commList( true ), Bits::prefixListUndefined | Bits::commListUndefined );
   EXPECT_EQ( prefixList( false ), Bits::commListUndefined );
   EXPECT_EQ( commList( false ), 0 );
   const auto pending = rm.reactor->pendingUpdateIs( 10 );
   const auto m = pending->matcherChangeIs( prefixListOption );
   m->matcherIs( matcher() );
   m->prefixListUndefinedIs( true );
   const auto s = pending->setterChangeIs( SetOption::setCommunityList );
   s->setterIs( setter() );
   s->commListUndefinedIs( true );
   sm().sequenceChange()->permitChangeIs( true );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.undefined(), Bits::prefixListUndefined | Bits::commListUndefined ) << "the pending update";
   matcherChange( prefixListOption, nullptr );
   setterChange( SetOption::setCommunityList, nullptr );
   rm.raise();
   EXPECT_EQ( rm.undefined(), 0 ) << "no clause is left";
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aPendingUpdateMadeByTheNewSymbolsIsAppliedInTheSameCompile ) {
   begin();
   matcherChange( prefixListOption, matcher() );
   rm.raise();
   const auto late = matcher();
   Reaction onSymbols( *sm().matchSymSeq(), [ & ]( const Quoin::Change & ) {
      const auto change = rm.reactor->pendingUpdateIs( 10 )->matcherChangeIs( prefixListOption );
      change->matcherIs( late );
      change->prefixListUndefinedIs( true );
   } );
   matcherChange( prefixListOption, matcher() );
   const auto symbol = agent.root->ipv4PrefixListTable()->symbol( "PL" );
   sm().sequenceChangeSym()->matcherChangeSymbolIs( prefixListOption )->matchSymbolIs( symbol );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( onSymbols.take(), 1 );
   EXPECT_EQ( rm.seq( 10 )->matcher( prefixListOption ), late );
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::prefixListUndefined );
   EXPECT_TRUE( rm.reactor->pendingUpdate().empty() );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, theSymbolsOfAClauseAreReplacedByANewList ) {
   begin();
   const auto a = agent.root->ipv4PrefixListTable()->symbol( "A" ), b = agent.root->ipv4PrefixListTable()->symbol( "B" );
   TraceLog log( "RouteMapConfigSymbolSm" );
   const auto write = [ & ]( bool withSymbols ) {
      const auto match = sm().sequenceChangeSym()->matcherChangeSymbolIs( prefixListOption );
      const auto set = sm().sequenceChangeSym()->setterChangeSymbolIs( SetOption::setCommunityList );
      if( withSymbols )
         for( const auto & symbol : { a, b } ) {
            match->matchSymbolIs( symbol );
            set->setSymbolIs( symbol );
         }
      sm().sequenceChange()->permitChangeIs( true );
      rm.raise();
      return log.take();
   };
   EXPECT_EQ( countOf( write( true ), "matchIpPrefixList symbol is deleted" ), 0 );
   const auto match = sm().matchSymSeq()->policySymbolList( prefixListOption );
   const auto set = sm().setSymSeq()->policySymbolList( SetOption::setCommunityList );
   ASSERT_TRUE( match );
   ASSERT_TRUE( set );
   EXPECT_EQ( match->option(), prefixListOption );
   EXPECT_EQ( set->option(), SetOption::setCommunityList );
   EXPECT_EQ( match->policySymbol().count(), 2u );
   EXPECT_TRUE( match->policySymbolHas( a ) && match->policySymbolHas( b ) );
   EXPECT_TRUE( set->policySymbolHas( a ) && set->policySymbolHas( b ) );
   write( true );
   EXPECT_NE( sm().matchSymSeq()->policySymbolList( prefixListOption ), match ) << "replaced, not written again";
   EXPECT_NE( sm().setSymSeq()->policySymbolList( SetOption::setCommunityList ), set );
   const auto traces = write( false );
   EXPECT_THAT( traces, Contains( "matchIpPrefixList symbol is deleted" ) );
   EXPECT_THAT( traces, Contains( "setCommunityList symbol is deleted" ) );
   EXPECT_FALSE( sm().matchSymSeq()->policySymbolList( prefixListOption ) );
   EXPECT_FALSE( sm().setSymSeq()->policySymbolList( SetOption::setCommunityList ) );
}

// --- records of other route maps

TEST_F( RouteMapConfigSymbolSmRecordsTest, aSequenceDeletedWhileItsFirstGenerationIsCompletedIsDeleted ) {
   begin();
   rm.map->mapEntryIs( 20 );
   const auto & list = *rm.sm->modifiedRmSeqStatusList();
   const Reaction reaction( list, [ & ]( const Quoin::Change & ) {
      if( list.seqStatus().empty() ) rm.map->mapEntryDel( 20 );
   } );
   rm.raise();
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10 ) );
   EXPECT_FALSE( rm.seq( 20 ) );
}

// The continue, and the undefined references of the callee, are applied after the clause whose subscriber deletes the sequence.
TEST_F( RouteMapConfigSymbolSmRecordsTest, aSequenceDeletedWhileItsRecordsAreAppliedLeavesNothing ) {
   begin();
   const auto status = Fixtures::routeMap( "SUB" );
   status->undefinedReferencesIs( { UndefinedPolicyReferenceBitfield::commListUndefined } );
   const auto sub = agent.root->routeMapTable()->symbol( "SUB" );
   sub->updateAndNotify( status );
   rm.map->mapEntryIs( 20 );
   sm( 20 ).sequenceChange()->matcherChangeIs( tagOption )->matcherIs( matcher() );
   sm( 20 ).sequenceChange()->continueChangeIs( makeNode<ContinueChange>( true ) );
   sm( 20 ).sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( sub ) );
   sm( 20 ).onApplied = [ & ] { rm.map->mapEntryDel( 20 ); };
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10 ) );
   EXPECT_EQ( rm.undefined(), 0 );
   EXPECT_TRUE( rm.sm->continueSeqMap()->continueSeq().empty() );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aCalledMapIsStoredWithItsVersionAndItsUndefinedBits ) {
   begin();
   const auto sub = agent.root->routeMapTable()->symbol( "SUB" );
   sm().sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( sub ) );
   rm.raise();
   EXPECT_EQ( rm.seq( 10 )->subRouteMap(), nullptr );
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::subRouteMapUndefined );
   sm().sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( nullptr ) );
   rm.raise();
   EXPECT_EQ( rm.undefined(), 0 );

   const auto status = Fixtures::routeMap( "SUB" );
   status->undefinedReferencesIs( { UndefinedPolicyReferenceBitfield::commListUndefined } );
   sub->updateAndNotify( status );
   sub->updateAndNotify( status );
   rm.map->mapEntry( 10 )->subRouteMapIs( { "SUB", true } );
   std::vector<uint32_t> versionWhenSymbolCame;
   Reaction watch( *sm().subRmSymSeq(), [ & ]( const Quoin::Change & change ) {
      if( change.field == Quoin::FieldId( SubRouteMapSymbolSeq::Field::symbol ) )
         versionWhenSymbolCame.push_back( sm().subRmSymSeq()->currentVersion() );
   } );
   TraceLog log( "RouteMapConfigSymbolSm" );
   sm().sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( sub ) );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( log.take(),
                Contains( " changing sub-route-map symbol from=" + std::string( DisplayPointer::toString( nullptr ) ) +
                          " to=" + std::string( DisplayPointer::toString( sub.get() ) ) ) );
   EXPECT_EQ( sm().subRmSymSeq()->symbol(), sub );
   EXPECT_EQ( sm().subRmSymSeq()->currentVersion(), 2u );
   EXPECT_THAT( versionWhenSymbolCame, ElementsAre( 2u ) ) << "the version is set before the symbol";
   EXPECT_EQ( rm.seq( 10 )->subRouteMap(), status );
   EXPECT_TRUE( rm.seq( 10 )->subInvert() );
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::commListUndefined ) << "inherited";

   sm().sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( nullptr ) );   // the flag is still configured
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( log.take(),
                Contains( " changing sub-route-map symbol from=" + std::string( DisplayPointer::toString( sub.get() ) ) +
                          " to=" + std::string( DisplayPointer::toString( nullptr ) ) ) );
   EXPECT_EQ( sm().subRmSymSeq()->symbol(), nullptr );
   EXPECT_EQ( sm().subRmSymSeq()->currentVersion(), 0u );
   EXPECT_EQ( rm.seq( 10 )->subRouteMap(), nullptr );
   EXPECT_FALSE( rm.seq( 10 )->subInvert() );
   EXPECT_EQ( rm.undefined(), 0 );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aSymbolWithoutANotifierHasVersionZero ) {
   begin();
   const auto sub = agent.root->routeMapTable()->symbol( "SUB" );
   sub->updateAndNotify( Fixtures::routeMap( "SUB" ) );
   sub->notifierIs( nullptr );
   sm().subRmSymSeq()->currentVersionIs( 5 );
   sm().aggRoleAttrMapSymSeq()->currentVersionIs( 5 );
   sm().sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( sub ) );
   sm().sequenceChangeSym()->aggRoleAttrMapChangeSymbolIs( aggRoleAttrMapChangeSymbolFactory( sub ) );
   rm.raise();
   EXPECT_EQ( sm().subRmSymSeq()->currentVersion(), 0u );
   EXPECT_EQ( sm().aggRoleAttrMapSymSeq()->currentVersion(), 0u );
   EXPECT_EQ( rm.seq( 10 )->subRouteMap(), sub->rmStatus() );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aRoleAttributeMapIsStoredWithoutInversion ) {
   begin();
   const auto role = agent.root->routeMapTable()->symbol( "ROLE" );
   const auto set = [ & ]( const Ptr<RouteMapSymbol> & symbol ) {
      sm().sequenceChangeSym()->aggRoleAttrMapChangeSymbolIs( aggRoleAttrMapChangeSymbolFactory( symbol ) );
      return rm.raise();
   };
   rm.map->mapEntry( 10 )->subRouteMapIs( { "", true } );
   TraceLog log( "RouteMapConfigSymbolSm" );
   EXPECT_EQ( set( role ), 1 );
   EXPECT_THAT( log.take(),
                Contains( " changing AggRoleAttrMap symbol from=" + std::string( DisplayPointer::toString( nullptr ) ) +
                          " to=" + std::string( DisplayPointer::toString( role.get() ) ) ) );
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::aggRoleAttrMapUndefined );
   const auto status = Fixtures::routeMap( "ROLE" );
   status->undefinedReferencesIs( { UndefinedPolicyReferenceBitfield::prefixListUndefined } );
   role->updateAndNotify( status );
   EXPECT_EQ( set( role ), 1 );
   EXPECT_EQ( rm.seq( 10 )->aggRoleAttrMap(), status );
   EXPECT_FALSE( rm.seq( 10 )->subInvert() );
   EXPECT_EQ( rm.seq( 10 )->subRouteMap(), nullptr );
   EXPECT_EQ( sm().aggRoleAttrMapSymSeq()->symbol(), role );
   EXPECT_EQ( sm().aggRoleAttrMapSymSeq()->currentVersion(), 1u );
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::prefixListUndefined );
   EXPECT_EQ( set( nullptr ), 1 );
   EXPECT_EQ( rm.seq( 10 )->aggRoleAttrMap(), nullptr );
   EXPECT_EQ( sm().aggRoleAttrMapSymSeq()->symbol(), nullptr );
   EXPECT_EQ( rm.undefined(), 0 );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aConfiguredMapBeatsAPendingMap ) {
   begin();
   const auto sub = agent.root->routeMapTable()->symbol( "SUB" );
   const auto configured = Fixtures::routeMap( "SUB" ), pendingStatus = Fixtures::routeMap( "LATE" ),
              pendingRole = Fixtures::routeMap( "ROLE" );
   configured->undefinedReferencesIs( {} );
   pendingRole->undefinedReferencesIs( { UndefinedPolicyReferenceBitfield::prefixListUndefined } );
   pendingStatus->undefinedReferencesIs( { UndefinedPolicyReferenceBitfield::commListUndefined } );
   sub->updateAndNotify( configured );
   for( const bool config : { true, false } ) {
      const auto pending = rm.reactor->pendingUpdateIs( 10 );
      pending->subRouteMapStatusIs( pendingStatus );
      pending->hasSubRouteMapUpdateIs( true );
      pending->aggRoleAttrMapStatusIs( pendingRole );
      pending->hasAggRoleAttrMapUpdateIs( true );
      if( config ) {
         sm().sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( sub ) );
         sm().sequenceChangeSym()->aggRoleAttrMapChangeSymbolIs( aggRoleAttrMapChangeSymbolFactory( sub ) );
      } else {
         sm().sequenceChange()->permitChangeIs( true );
      }
      EXPECT_EQ( rm.raise(), 1 );
      EXPECT_EQ( rm.seq( 10 )->subRouteMap(), config ? configured : pendingStatus ) << config;
      EXPECT_EQ( rm.seq( 10 )->aggRoleAttrMap(), config ? configured : pendingRole ) << config;
      const auto inherited = pendingStatus->undefinedReferences() | pendingRole->undefinedReferences();
      EXPECT_EQ( rm.undefined(), config ? 0 : inherited.value ) << config;
   }
   const auto pending = rm.reactor->pendingUpdateIs( 10 );   // both lose their status
   pending->hasSubRouteMapUpdateIs( true );
   pending->hasAggRoleAttrMapUpdateIs( true );
   sm().sequenceChange()->permitChangeIs( true );
   rm.raise();
   EXPECT_EQ( rm.undefined(),
              UndefinedPolicyReferenceBitfield::subRouteMapUndefined | UndefinedPolicyReferenceBitfield::aggRoleAttrMapUndefined );
}

// --- the status as a whole

TEST_F( RouteMapConfigSymbolSmRecordsTest, featuresAreThoseOfTheSequences ) {
   begin( { 10, 20 } );
   const auto feature = [ & ]( uint32_t seqno, uint32_t bits ) {
      rm.bare( seqno )
         .sequenceChange()
         ->matcherChangeIs( tagOption )
         ->matcherIs( makeNode<FixedMatcher>( true, RouteMapFeatures( bits ) ) );
   };
   feature( 10, RouteMapFeatures::matchPrefixDependent );
   feature( 20, RouteMapFeatures::matchInterface );
   rm.raise();
   EXPECT_EQ( rm.status()->features().value(), RouteMapFeatures::matchPrefixDependent | RouteMapFeatures::matchInterface );
   EXPECT_TRUE( rm.status()->updateFeaturesOnSeqStatusChange() );
   feature( 10, 0 );
   rm.raise();
   EXPECT_EQ( rm.status()->features().value(), unsigned( RouteMapFeatures::matchInterface ) );
   rm.map->mapEntryDel( 20 );
   EXPECT_EQ( rm.status()->features().value(), 0u );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aMapThatMatchesAnAggregateRoleIsAUser ) {
   begin( { 10, 20 } );
   EXPECT_TRUE( agent.users->mapName().empty() );
   Texts order;
   Reaction onUsers( *agent.users, [ & ]( const Quoin::Change & ) { order.push_back( "users" ); } );
   Reaction onVersion( *rm.symbol->notifier(), [ & ]( const Quoin::Change & ) { order.push_back( "version" ); } );
   matcherChange( tagOption, makeNode<FixedMatcher>( true, RouteMapFeatures( RouteMapFeatures::matchAggregateRole ) ) );
   rm.raise();
   EXPECT_TRUE( agent.users->mapNameHas( "RM" ) );
   EXPECT_THAT( order, ElementsAre( "users", "version" ) );
   sm( 20 ).sequenceChange()->permitChangeIs( true );
   rm.raise();
   EXPECT_TRUE( agent.users->mapNameHas( "RM" ) );
   rm.map->mapEntryDel( 10 );
   EXPECT_FALSE( agent.users->mapNameHas( "RM" ) );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, theUsersMayBeNull ) {
   agent.users = nullptr;
   begin();
   matcherChange( tagOption, makeNode<FixedMatcher>( true, RouteMapFeatures( RouteMapFeatures::matchAggregateRole ) ) );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_TRUE( rm.status()->features().has( RouteMapFeatures::matchAggregateRole ) );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, theVersionIsPublishedLast ) {
   begin();
   int heard = 0;
   Reaction onVersion( *rm.symbol->notifier(), [ & ]( const Quoin::Change & ) {
      ++heard;
      EXPECT_THAT( rm.listed(), IsEmpty() );
      EXPECT_EQ( rm.seq( 10 )->matchAction(), deny );
      EXPECT_TRUE( rm.symbol->statusCurrent() );
      EXPECT_EQ( rm.undefined(), 0 );
   } );
   rm.map->mapEntry( 10 )->permitIs( deny );
   sm().sequenceChange()->permitChangeIs( true );
   rm.raise();
   EXPECT_EQ( heard, 1 );
}

TEST_F( RouteMapConfigSymbolSmRecordsTest, aChangeOfADeletedSequenceEndsTheProcess ) {
   begin();
   rm.sm->hasNotificationActiveIs( false );
   rm.map->mapEntryDel( 10 );
   sm().sequenceChange()->permitChangeIs( true );
   EXPECT_DEATH( rm.sm->handleVersion(), "seqConfig" );
}

}   // namespace
