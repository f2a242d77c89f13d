#include "compile/RouteMapSeqConfigSmBase.h"

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "compile/CommonHelpers.h"
#include "policy/DistanceSetter.h"
#include "policy/PrefixListMatcher.h"
#include "policy/TagMatcher.h"
#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using CompileFixtures::listRule;
using CompileFixtures::valueRule;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;

static_assert( std::is_abstract_v<RmSeqConfigSmInterface> );
static_assert( std::is_base_of_v<Zeugma::BaseOutputSm, RmSeqConfigSmInterface> );
static_assert( std::is_base_of_v<RmSeqConfigSmInterface, RmSeqConfigSymbolSmBase> );
static_assert( std::is_base_of_v<RmSeqConfigSmInterface, RmSeqConfigFilterSmBase> );
static_assert( !std::is_base_of_v<CommonComponentRmSeqConfigSmInterface, RmSeqConfigSymbolSmBase> );

// --- the holder of one sequence's records

class RmSeqConfigSymbolSmBaseTest : public testing::Test {
 protected:
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 );
   Ptr<RouteMapSymbol> rmSymbol = makeNode<RouteMapSymbol>( "RM1" );
   Ptr<RmConfigSymbolReactor> reactor = makeNode<RmConfigSymbolReactor>( "RM1" );
   Ptr<RmSeqConfigSymbolSmBase> sm = makeNode<RmSeqConfigSymbolSmBase>( "RM1", entry, rmSymbol, reactor );
};

TEST_F( RmSeqConfigSymbolSmBaseTest, createsRecordsWithItsNumberWhenTheyAreFirstRead ) {
   for( const uint32_t seqno : { 10u, 0u, 4294967295u } ) {
      const auto made = makeNode<RmSeqConfigSymbolSmBase>( "RM1", makeNode<MapEntry>( seqno ), rmSymbol, reactor );
      EXPECT_FALSE( made->sequenceChange() || made->sequenceChangeSym() || made->undefinedRefsTracker() || made->matchSymSeq() ||
                    made->setSymSeq() || made->subRmSymSeq() || made->aggRoleAttrMapSymSeq() );
      EXPECT_FALSE( made->isModified() ) << "without records";
      made->handleInitialized();
      EXPECT_FALSE( made->matchSymSeqIfAny() || made->setSymSeqIfAny() || made->subRmSymSeqIfAny() || made->aggRoleAttrMapSymSeqIfAny() );
      ASSERT_TRUE( made->undefinedRefsTracker() );
      EXPECT_TRUE( made->undefinedRefsTracker()->undefinedPrefixListMatchOption().empty() );
      EXPECT_EQ( made->sequenceChange()->seqno(), seqno );
      EXPECT_EQ( made->sequenceChangeSym()->seqno(), seqno );
      EXPECT_EQ( made->matchSymSeq()->seqno(), seqno );
      EXPECT_EQ( made->setSymSeq()->seqno(), seqno );
      EXPECT_EQ( made->subRmSymSeq()->seqno(), seqno );
      EXPECT_EQ( made->aggRoleAttrMapSymSeq()->seqno(), seqno );
      EXPECT_EQ( made->aggRoleAttrMapSymSeqIfAny(), made->aggRoleAttrMapSymSeq() );
      EXPECT_FALSE( made->isModified() );
   }
}

TEST_F( RmSeqConfigSymbolSmBaseTest, withoutAnEntryTheNumberIsZero ) {
   const auto made = makeNode<RmSeqConfigSymbolSmBase>( "RM1", nullptr, rmSymbol, reactor );
   EXPECT_EQ( made->seqno(), 0u );
   made->handleInitialized();
   EXPECT_EQ( made->sequenceChange()->seqno(), 0u );
   EXPECT_EQ( made->aggRoleAttrMapSymSeq()->seqno(), 0u );
}

TEST_F( RmSeqConfigSymbolSmBaseTest, supportsNoOptionOfItsOwn ) {
   for( unsigned option = 0; option < 256; ++option ) EXPECT_FALSE( sm->matchRuleSupported( MatchOption( option ) ) ) << option;
}

TEST_F( RmSeqConfigSymbolSmBaseTest, watchesNothingOfTheSequence ) {
   sm->handleInitialized();
   sm->hasNotificationActiveIs( true );
   rmSymbol->statusCurrentIs( true );
   entry->distanceIs( 5 );
   entry->permitIs( Acl::MatchPermit::deny );
   entry->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "PL1" ) );
   EXPECT_FALSE( sm->isModified() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( RmSeqConfigSymbolSmBaseTest, isModifiedWhileARecordHoldsAChange ) {
   struct Row {
      const char * name;
      std::function<void( RmSeqConfigSymbolSmBase & )> write, undo;
      bool modified;
   };
   const auto symbol = makeNode<RouteMapSymbol>( "RM2" );
   const auto list = makeNode<PrefixListSymbol>( "PL1" );
   constexpr auto tag = MatchOption::matchTag;
   constexpr auto distance = SetOption::setDistance;
   const Row rows[] = {
      { "a deleted matcher", [ & ]( auto & s ) { s.sequenceChange()->matcherChangeIs( tag ); },
        [ & ]( auto & s ) { s.sequenceChange()->matcherChangeDel( tag ); }, true },
      { "a deleted setter", [ & ]( auto & s ) { s.sequenceChange()->setterChangeIs( distance ); },
        [ & ]( auto & s ) { s.sequenceChange()->setterChangeDel( distance ); }, true },
      { "a deleted continue", [ & ]( auto & s ) { s.sequenceChange()->continueChangeIs( makeNode<ContinueChange>( false ) ); },
        [ & ]( auto & s ) { s.sequenceChange()->continueChangeIs( nullptr ); }, true },
      { "the action", [ & ]( auto & s ) { s.sequenceChange()->permitChangeIs( true ); },
        [ & ]( auto & s ) { s.sequenceChange()->permitChangeIs( false ); }, true },
      { "a deleted call",
        [ & ]( auto & s ) { s.sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( nullptr ) ); },
        [ & ]( auto & s ) { s.sequenceChangeSym()->subRouteMapChangeSymbolIs( nullptr ); }, true },
      { "a called map", [ & ]( auto & s ) { s.sequenceChangeSym()->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( symbol ) ); },
        [ & ]( auto & s ) { s.sequenceChangeSym()->subRouteMapChangeSymbolIs( nullptr ); }, true },
      { "a deleted aggregate role map",
        [ & ]( auto & s ) { s.sequenceChangeSym()->aggRoleAttrMapChangeSymbolIs( aggRoleAttrMapChangeSymbolFactory( nullptr ) ); },
        [ & ]( auto & s ) { s.sequenceChangeSym()->aggRoleAttrMapChangeSymbolIs( nullptr ); }, true },
      { "a match symbol alone", [ & ]( auto & s ) { s.sequenceChangeSym()->matcherChangeSymbolIs( tag )->matchSymbolIs( list ); },
        [ & ]( auto & s ) { s.sequenceChangeSym()->matcherChangeSymbolDel( tag ); }, false },
      { "a set symbol alone", [ & ]( auto & s ) { s.sequenceChangeSym()->setterChangeSymbolIs( distance )->setSymbolIs( list ); },
        [ & ]( auto & s ) { s.sequenceChangeSym()->setterChangeSymbolDel( distance ); }, false },
      { "a watched symbol", [ & ]( auto & s ) { s.subRmSymSeq()->symbolIs( symbol ); },
        [ & ]( auto & s ) { s.subRmSymSeq()->symbolIs( nullptr ); }, false },
   };
   sm->handleInitialized();
   for( const auto & row : rows ) {
      ASSERT_FALSE( sm->isModified() ) << row.name;
      row.write( *sm );
      EXPECT_EQ( sm->isModified(), row.modified ) << row.name;
      row.undo( *sm );
   }
   EXPECT_FALSE( sm->isModified() );
}

TEST_F( RmSeqConfigSymbolSmBaseTest, doesNotReplaceAMatcherAtApplication ) {
   const auto list = makeNode<PrefixListSymbol>( "PL1" );
   const auto matcher = makeNode<PrefixListMatcher>( "PL1", nullptr );
   MatcherChange change( MatchOption::matchIpPrefixList );
   change.matcherIs( matcher );
   change.prefixListUndefinedIs( true );
   MatcherChangeSymbol symbols( MatchOption::matchIpPrefixList );
   symbols.matchSymbolIs( list );
   list->statusIs( makeNode<PrefixListStatus>( "PL1", Ferule::AddressFamily::ipv4 ) );
   entry->matchRuleIs( listRule( MatchOption::matchIpPrefixList, "PL1" ) );
   sm->handleMatcherApplied( change, &symbols );
   sm->handleMatcherApplied( change, nullptr );
   EXPECT_EQ( change.matcher(), matcher );
   EXPECT_TRUE( change.prefixListUndefined() );
}

TEST_F( RmSeqConfigSymbolSmBaseTest, itsTextIsItsRouteMapAndNumber ) {
   const auto text = []( const RmSeqConfigSymbolSmBase & s ) {
      std::ostringstream os;
      os << s;
      return os.str();
   };
   EXPECT_EQ( text( *sm ), "rmName: RM1 seqno: 10" );
   EXPECT_EQ( text( *makeNode<RmSeqConfigSymbolSmBase>( "", nullptr, rmSymbol, reactor ) ), "rmName:  seqno: 0" );
   EXPECT_EQ( Fixtures::textOnOddStream( *sm ), "rmName: RM1 seqno: 10" ) << "whatever the stream's settings are";
}

TEST( RmSeqConfigSmInterface, virtualOperationsStandInSlotOrder ) {
   using Routing::Policy::Fixtures::slotOf;
   if( slotOf( &RmSeqConfigSmInterface::matchRuleSupported ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const long supported = slotOf( &RmSeqConfigSmInterface::matchRuleSupported );
   EXPECT_GT( supported, slotOf( &Zeugma::BaseOutputSm::formatDerivedType ) ) << "behind those of the base";
   EXPECT_EQ( slotOf( &RmSeqConfigSymbolSmBase::handleInitialized ), supported + 1 );
}

// --- an agent's own sequence: the common component, and an option and a set clause that only the agent knows

constexpr auto kAgentMatch = MatchOption::matchMetric;
constexpr auto kAgentSet = SetOption::setTag;

/// A matcher of the agent.
struct AgentMatcher final : Matcher {
   explicit AgentMatcher( uint64_t v ) : value( v ) {}
   bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override { return true; }
   RouteMapFeatures getFeatures() const override { return {}; }
   void formatDerivedType( std::ostream & os ) const override { os << "AgentMatcher " << std::to_string( value ); }
   uint64_t value;
};

/// The agent's component: each rule of its own option becomes a matcher and a setter.
class AgentComponent final : public RmSeqConfigSmInterface {
 public:
   AgentComponent( const Ptr<const MapEntry> & entry, const Ptr<RouteMapSymbol> & rmSymbol, const Ptr<SequenceChange> & change )
         : entry_( entry ), rmSymbol_( rmSymbol ), change_( change ) {
      entryReactor_.notifierIs( entry );
      if( entry->matchRule().find( kAgentMatch ) ) handleMatchRule( kAgentMatch );
   }
   ~AgentComponent() override { stop(); }
   bool matchRuleSupported( MatchOption option ) const override { return option == kAgentMatch; }

 private:
   void handleEntry( const Quoin::Change & change ) {
      if( MapEntry::Field( change.field ) == MapEntry::Field::matchRule ) handleMatchRule( Plinth::keyOf<MatchOption>( change ) );
   }
   void handleMatchRule( MatchOption option ) {
      if( !matchRuleSupported( option ) ) return;
      rmSymbol_->statusCurrentIs( false );
      const auto * rule = entry_->matchRule().find( option );
      change_->matcherChangeIs( option )->matcherIs( rule ? Ptr<const Matcher>( makeNode<AgentMatcher>( rule->numericValue ) ) : nullptr );
      change_->setterChangeIs( kAgentSet )->setterIs( rule ? Ptr<const Setter>( makeNode<DistanceSetter>( 77 ) ) : nullptr );
   }
   Ptr<const MapEntry> entry_;
   Ptr<RouteMapSymbol> rmSymbol_;
   Ptr<SequenceChange> change_;
   Zeugma::Reactor<AgentComponent> entryReactor_{ *this, &AgentComponent::handleEntry };
};

/// It supports every option, which must not widen the common component.
class AgentSeqSm final : public RmSeqConfigSymbolSmBase {
 public:
   AgentSeqSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry, const Ptr<RouteMapSymbol> & rmSymbol,
               const Ptr<RmConfigSymbolReactor> & reactor, const Ptr<PolicyRoot> & root, const Ptr<const RouteMapOpModeNotifier> & mode )
         : RmSeqConfigSymbolSmBase( rmName, entry, rmSymbol, reactor ) {
      handleInitialized();
      common_.create( rmName, entry, rmSymbol, root, sequenceChange(), sequenceChangeSym(), mode );
      symbols_.create( entry, rmSymbol, matchSymSeq(), subRmSymSeq(), reactor, mode );
      own_.create( entry, rmSymbol, sequenceChange() );
   }
   ~AgentSeqSm() override { stop(); }
   bool matchRuleSupported( MatchOption ) const override { return true; }
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) override {
      applied.push_back( change.option() );
      common_.machine()->handleMatcherApplied( change, symbols );
   }
   std::vector<MatchOption> applied;

 private:
   Zeugma::NestedSm<CommonComponentRmSeqConfigSymbolSm> common_{ *this };
   Zeugma::NestedSm<CommonComponentSymbolSeqSm> symbols_{ *this };
   Zeugma::NestedSm<AgentComponent> own_{ *this };
};

class AgentHelper final : public RmConfigSymbolSmHelperBase {
 public:
   explicit AgentHelper( const Ptr<PolicyRoot> & root ) : root_( root ) {}
   Ptr<RmSeqConfigSymbolSmBase> createSeqConfigSm( const Quoin::String & rmName, const Ptr<const MapEntry> & entry,
                                                   const Ptr<RouteMapSymbol> & rmSymbol, const Ptr<RmConfigSymbolReactor> & reactor,
                                                   const Ptr<const RouteMapOpModeNotifier> & mode ) override {
      last = Zeugma::makeSm<AgentSeqSm>( rmName, entry, rmSymbol, reactor, root_, mode );
      return last;
   }
   Ptr<AgentSeqSm> last;

 private:
   Ptr<PolicyRoot> root_;
};

class AgentSequenceTest : public testing::Test {
 protected:
   CompileFixtures::Agent agent;
   Ptr<AgentHelper> helper = makeNode<AgentHelper>( agent.root );
   CompileFixtures::Compiled rm{ agent, "RM1", helper };
   Ptr<MapEntry> entry = rm.map->mapEntryIs( 10 );
   std::vector<MatchOption> matchers() const {
      std::vector<MatchOption> options;
      for( const auto & member : rm.seq( 10 )->matcher() ) options.push_back( member.first );
      return options;
   }
};

TEST_F( AgentSequenceTest, itsOwnOptionsAreAppliedBesideTheCommonOnes ) {
   entry->matchRuleIs( valueRule( MatchOption::matchTag, 7 ) );
   entry->matchRuleIs( valueRule( kAgentMatch, 100 ) );
   rm.start();
   ASSERT_THAT( matchers(), ElementsAre( kAgentMatch, MatchOption::matchTag ) );
   EXPECT_EQ( rm.seq( 10 )->matcher( kAgentMatch )->toStrep(), "AgentMatcher 100" );
   EXPECT_EQ( rm.seq( 10 )->matcher( MatchOption::matchTag )->toStrep(), makeNode<TagMatcher>( 7 )->toStrep() );
   ASSERT_TRUE( rm.seq( 10 )->setter( kAgentSet ) );
   EXPECT_FALSE( helper->last->isModified() );
   EXPECT_THAT( helper->last->applied, testing::UnorderedElementsAre( kAgentMatch, MatchOption::matchTag ) );

   entry->matchRuleIs( valueRule( kAgentMatch, 200 ) );
   EXPECT_TRUE( helper->last->isModified() );
   EXPECT_EQ( rm.seq( 10 )->matcher( kAgentMatch )->toStrep(), "AgentMatcher 100" ) << "compiled by a version";
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.seq( 10 )->matcher( kAgentMatch )->toStrep(), "AgentMatcher 200" );

   entry->matchRuleDel( kAgentMatch );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_THAT( matchers(), ElementsAre( MatchOption::matchTag ) );
   EXPECT_FALSE( rm.seq( 10 )->setter( kAgentSet ) );
}

TEST_F( AgentSequenceTest, itsOverrideDoesNotWidenTheCommonComponent ) {
   ASSERT_FALSE( entry->matchRule().find( MatchOption::matchCommunity ) );
   rm.start();
   EXPECT_TRUE( helper->last->matchRuleSupported( MatchOption::matchCommunity ) );
   entry->matchRuleIs( valueRule( MatchOption::matchCommunity, 1 ) );
   EXPECT_TRUE( helper->last->sequenceChange()->matcherChange().empty() );
   EXPECT_TRUE( helper->last->sequenceChangeSym()->matcherChangeSymbol().empty() );
   EXPECT_FALSE( helper->last->isModified() );
}

}   // namespace
