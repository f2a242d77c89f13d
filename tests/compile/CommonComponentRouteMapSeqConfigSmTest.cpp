#include "compile/CommonComponentRouteMapSeqConfigSm.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "compile/CommonHelpers.h"
#include "policy/DistanceSetter.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "substrate/quoin/DisplayPointer.h"
#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"
#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using CompileFixtures::identity;
using CompileFixtures::listRule;
using CompileFixtures::Reaction;
using CompileFixtures::TraceLog;
using CompileFixtures::valueRule;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;

static_assert( std::is_base_of_v<CommonComponentRmSeqConfigSmInterface, CommonComponentRmSeqConfigSmBase> );
static_assert( std::is_abstract_v<CommonComponentRmSeqConfigSmBase> );
static_assert( std::is_base_of_v<CommonComponentRmSeqConfigSmBase, CommonComponentRmSeqConfigSymbolSm> );

constexpr auto kContinue = MapEntry::continueSeqSet;
constexpr auto kDistance = SetOption::setDistance;
constexpr auto kPrefixList = MatchOption::matchIpPrefixList, kTag = MatchOption::matchTag;

static_assert( unsigned( kDistance ) == 9 );

// --- the base: which change calls what

/// Writes down which of its functions is called, then does what it was told to do.
class RecordingSm final : public CommonComponentRmSeqConfigSmBase {
 public:
   using React = std::function<void( const std::string & )>;
   RecordingSm( const Ptr<const MapEntry> & entry, Log & log, React react = {} )
         : CommonComponentRmSeqConfigSmBase( "RM1", entry ), log_( log ), react_( std::move( react ) ) {
      handleInitialized();
   }
   ~RecordingSm() override { stop(); }
   void handlePermit() override { note( "permit" ); }
   void handleSubRouteMap() override { note( "call" ); }
   void handleMatchRule( MatchOption option ) override { note( "match " + std::to_string( unsigned( option ) ) ); }
   void handleContinueSeq() override { note( "continue" ); }
   void handleSetFlags() override { note( "flags" ); }
   void handleDistance() override { note( "distance" ); }
   void handleDescription( uint32_t key ) override { note( "description " + std::to_string( key ) ); }

 private:
   void note( const std::string & text ) {
      log_.push_back( text );
      if( const auto now = react_ ) now( text );
   }
   Log & log_;
   React react_;
};

class CommonComponentRmSeqConfigSmBaseTest : public testing::Test {
 protected:
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 );
   Log log;
   Log take() { return std::exchange( log, {} ); }
   Ptr<RecordingSm> make( RecordingSm::React react = {} ) { return Zeugma::makeSm<RecordingSm>( entry, log, std::move( react ) ); }
};

TEST_F( CommonComponentRmSeqConfigSmBaseTest, replaysEverythingInAFixedOrder ) {
   for( const uint32_t line : { 4294967295u, 2u, 0u, 10u } ) entry->descriptionIs( line, "text" );
   for( const unsigned option : { 132u, 77u, 2u, 255u, 0u, 106u } ) entry->matchRuleIs( valueRule( MatchOption( option ), 1 ) );
   entry->subRouteMapIs( { "RM2", false } );
   entry->distanceIs( 5 );
   entry->continueSeqIs( 20 );
   entry->setFlagsIs( kContinue );
   entry->permitIs( Acl::MatchPermit::deny );
   const auto sm = make();
   EXPECT_THAT( take(),
                ElementsAre( "permit", "flags", "continue", "distance", "call", "description 0", "description 2", "description 10",
                             "description 4294967295", "match 0", "match 2", "match 77", "match 106", "match 132", "match 255" ) );
}

TEST_F( CommonComponentRmSeqConfigSmBaseTest, replaysAnEmptySequenceWithoutDistanceAndCall ) {
   entry->subRouteMapIs( { "", true } );   // calls nothing
   const auto sm = make();
   EXPECT_THAT( take(), ElementsAre( "permit", "flags", "continue" ) );
   EXPECT_EQ( sm->rmName(), "RM1" );
   EXPECT_EQ( sm->seqConfig(), entry );
   EXPECT_EQ( sm->seqno(), 10u );
}

TEST_F( CommonComponentRmSeqConfigSmBaseTest, theReplaySurvivesChangesMadeByAHandler ) {
   for( const uint32_t number : { 10u, 20u, 40u } ) {
      entry->descriptionIs( number, "text" );
      entry->matchRuleIs( valueRule( MatchOption( number ), 1 ) );
   }
   const auto react = [ this ]( const std::string & text ) {
      if( text == "description 10" ) {
         entry->descriptionDel( 10 );
         entry->descriptionDel( 20 );
         entry->descriptionIs( 5, "below" );
         entry->descriptionIs( 30, "above" );
      }
      if( text == "description 40" ) entry->descriptionIs( 50, "above the last" );
      if( text == "match 10" ) {
         entry->matchRuleDel( MatchOption( 10 ) );
         entry->matchRuleDel( MatchOption( 20 ) );
         entry->matchRuleIs( valueRule( MatchOption( 5 ), 1 ) );
         entry->matchRuleIs( valueRule( MatchOption( 30 ), 1 ) );
      }
      if( text == "match 30" ) entry->matchRuleDel( MatchOption( 40 ) );
   };
   const auto sm = makeNode<RecordingSm>( entry, log, react );   // not switched on
   EXPECT_THAT( take(),
                ElementsAre( "permit", "flags", "continue", "description 10", "description 30", "description 40", "description 50",
                             "match 10", "match 30" ) );
   sm->hasNotificationActiveIs( true );   // what it missed is replayed, deletions too
   EXPECT_THAT( take(),
                ElementsAre( "permit", "flags", "continue", "distance", "call", "description 5", "description 30", "description 40",
                             "description 50", "match 1", "match 2", "match 106", "match 113", "match 115", "match 116", "match 131",
                             "match 132" ) );
}

TEST_F( CommonComponentRmSeqConfigSmBaseTest, callsOneFunctionForEachAttribute ) {
   const auto sm = make();
   take();
   const auto call = [ & ]( const char * name, bool invert ) { entry->subRouteMapIs( { name, invert } ); };
   struct Row {
      const char * name;
      std::function<void()> write;
      const char * called;
   };
   const Row rows[] = {
      { "deny", [ & ] { entry->permitIs( Acl::MatchPermit::deny ); }, "permit" },
      { "permit", [ & ] { entry->permitIs( Acl::MatchPermit::permit ); }, "permit" },
      { "call", [ & ] { call( "RM2", false ); }, "call" },
      { "call inverted", [ & ] { call( "RM2", true ); }, "call" },
      { "call removed", [ & ] { call( "", false ); }, "call" },
      { "flag", [ & ] { entry->setFlagsIs( 1 ); }, "flags" },
      { "continue flag", [ & ] { entry->setFlagsIs( kContinue ); }, "flags" },
      { "continue", [ & ] { entry->continueSeqIs( 20 ); }, "continue" },
      { "distance", [ & ] { entry->distanceIs( 5 ); }, "distance" },
      { "distance removed", [ & ] { entry->distanceIs( 0 ); }, "distance" },
      { "description", [ & ] { entry->descriptionIs( 4294967295u, "text" ); }, "description 4294967295" },
      { "description removed", [ & ] { entry->descriptionDel( 4294967295u ); }, "description 4294967295" },
      { "rule", [ & ] { entry->matchRuleIs( valueRule( kTag, 1 ) ); }, "match 115" },
      { "rule changed", [ & ] { entry->matchRuleIs( valueRule( kTag, 2 ) ); }, "match 115" },
      { "rule removed", [ & ] { entry->matchRuleDel( kTag ); }, "match 115" },
   };
   for( const auto & row : rows ) {
      row.write();
      EXPECT_THAT( take(), ElementsAre( row.called ) ) << row.name;
      row.write();
      EXPECT_THAT( take(), IsEmpty() ) << row.name << ", again";
   }
   entry->descriptionIs( 2, "b" );
   entry->descriptionIs( 1, "a" );
   take();
   entry->descriptionDelAll();
   EXPECT_THAT( take(), testing::UnorderedElementsAre( "description 1", "description 2" ) );
}

TEST_F( CommonComponentRmSeqConfigSmBaseTest, dropsNotificationsWhileItStops ) {
   auto sm = make();
   sm->plinthDoZombieReactors( true );
   take();
   entry->distanceIs( 5 );
   entry->matchRuleIs( valueRule( kTag, 1 ) );
   EXPECT_THAT( take(), IsEmpty() );
   sm = nullptr;
   entry->distanceIs( 6 );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST_F( CommonComponentRmSeqConfigSmBaseTest, mayBeReleasedInItsOwnHandler ) {
   Ptr<RecordingSm> sm;
   sm = make( [ & ]( const std::string & text ) {
      if( text == "distance" ) sm = nullptr;
   } );
   take();
   entry->distanceIs( 5 );
   EXPECT_FALSE( sm );
   entry->distanceIs( 6 );
   EXPECT_THAT( take(), ElementsAre( "distance" ) );
}

TEST_F( CommonComponentRmSeqConfigSmBaseTest, aConstructionThatThrowsLeavesNoSubscription ) {
   EXPECT_THROW( make( []( const std::string & text ) {
                    if( text == "continue" ) throw std::runtime_error( "no" );
                 } ),
                 std::runtime_error );
   take();
   entry->distanceIs( 5 );
   EXPECT_THAT( take(), IsEmpty() );
}

TEST_F( CommonComponentRmSeqConfigSmBaseTest, replaysNothingWithoutASequence ) {
   const auto sm = Zeugma::makeSm<RecordingSm>( nullptr, log );
   EXPECT_THAT( take(), IsEmpty() );
   EXPECT_EQ( sm->seqno(), 0u );
}

TEST( CommonComponentRmSeqConfigSmBase, virtualOperationsStandInSlotOrder ) {
   using Base = CommonComponentRmSeqConfigSmBase;
   using Routing::Policy::Fixtures::slotOf;
   if( slotOf( &Base::handlePermit ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const long first = slotOf( &Base::handlePermit );
   EXPECT_EQ( first, slotOf( &RmSeqConfigSmInterface::matchRuleSupported ) + 1 ) << "behind those of its bases";
   EXPECT_THAT(
      ( std::vector<long>{ slotOf( &Base::handleSubRouteMap ), slotOf( &Base::handleMatchRule ), slotOf( &Base::handleContinueSeq ),
                           slotOf( &Base::handleSetFlags ), slotOf( &Base::handleDistance ), slotOf( &Base::handleDescription ) } ),
      ElementsAre( first + 1, first + 2, first + 3, first + 4, first + 5, first + 6 ) );
}

// --- the compiler: which change is recorded as what

class CommonComponentRmSeqConfigSymbolSmTest : public testing::Test {
 protected:
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 );
   Ptr<RouteMapSymbol> rmSymbol = makeNode<RouteMapSymbol>( "RM1" );
   Ptr<SequenceChange> change = makeNode<SequenceChange>( 10 );
   Ptr<SequenceChangeSymbol> changeSym = makeNode<SequenceChangeSymbol>( 10 );
   Ptr<RouteMapOpModeNotifier> mode = makeNode<RouteMapOpModeNotifier>();
   Ptr<CommonComponentRmSeqConfigSymbolSm> sm;

   void make() { sm = commonComponentRmSeqConfigSymbolSmFactory( "RM1", entry, rmSymbol, root, change, changeSym, mode ); }
   /// As if all that is recorded had been applied.
   void drain() {
      change->matcherChangeDelAll();
      change->setterChangeDelAll();
      change->continueChangeIs( nullptr );
      change->permitChangeIs( false );
      changeSym->matcherChangeSymbolDelAll();
      changeSym->setterChangeSymbolDelAll();
      changeSym->subRouteMapChangeSymbolIs( nullptr );
      rmSymbol->statusCurrentIs( true );
   }
   void makeDrained() {
      make();
      drain();
   }
   bool nothingRecorded() const {
      return change->matcherChange().empty() && change->setterChange().empty() && !change->continueChange() && !change->permitChange() &&
         changeSym->matcherChangeSymbol().empty() && changeSym->setterChangeSymbol().empty() && !changeSym->subRouteMapChangeSymbol() &&
         !changeSym->aggRoleAttrMapChangeSymbol();
   }
   template <class M = Matcher>
   Ptr<const M> matcher( MatchOption option ) const {
      const auto c = change->matcherChange( option );
      return c ? Quoin::dynamicPtrCast<const M>( c->matcher() ) : nullptr;
   }
   Ptr<const DistanceSetter> distance() const {
      const auto c = change->setterChange( kDistance );
      return c ? Quoin::dynamicPtrCast<const DistanceSetter>( c->setter() ) : nullptr;
   }
   std::vector<Ptr<const PolicySymbol>> symbolsOf( MatchOption option ) const {
      std::vector<Ptr<const PolicySymbol>> all;
      if( const auto c = changeSym->matcherChangeSymbol( option ) )
         for( const auto & symbol : c->matchSymbol() ) all.push_back( symbol );
      return all;
   }
};

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aSequenceArrivesFullyRecorded ) {
   entry->permitIs( Acl::MatchPermit::deny );
   entry->distanceIs( 5 );
   entry->setFlagsIs( kContinue );
   entry->continueSeqIs( 30 );
   entry->subRouteMapIs( { "RM2", true } );
   entry->descriptionIs( 1, "text" );
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   entry->matchRuleIs( valueRule( kTag, 7 ) );
   entry->matchRuleIs( valueRule( MatchOption::matchMetric, 7 ) );
   rmSymbol->statusCurrentIs( true );
   // recorded by the constructor already
   sm = makeNode<CommonComponentRmSeqConfigSymbolSm>( "RM1", entry, rmSymbol, root, change, changeSym, mode );
   EXPECT_TRUE( change->permitChange() );
   ASSERT_TRUE( distance() );
   EXPECT_EQ( distance()->distance(), 5 );
   ASSERT_TRUE( change->continueChange() );
   EXPECT_TRUE( change->continueChange()->enabled() );
   EXPECT_EQ( change->continueChange()->continueSeq(), 30u );
   EXPECT_EQ( change->matcherChange().count(), 2u );
   EXPECT_TRUE( matcher<PrefixListMatcher>( kPrefixList ) );
   EXPECT_TRUE( matcher<TagMatcher>( kTag ) );
   ASSERT_TRUE( changeSym->subRouteMapChangeSymbol() );
   EXPECT_EQ( changeSym->subRouteMapChangeSymbol()->symbol(), root->routeMapTable()->symbol( "RM2" ) );
   EXPECT_FALSE( rmSymbol->statusCurrent() );
   EXPECT_EQ( sm->currentSetFlags(), kContinue );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, anEmptySequenceArrivesWithItsActionAndWithoutAContinue ) {
   rmSymbol->statusCurrentIs( true );
   make();
   EXPECT_TRUE( change->permitChange() );
   ASSERT_TRUE( change->continueChange() );
   EXPECT_FALSE( change->continueChange()->enabled() );
   EXPECT_TRUE( change->matcherChange().empty() );
   EXPECT_TRUE( change->setterChange().empty() );
   EXPECT_FALSE( changeSym->subRouteMapChangeSymbol() );
   EXPECT_FALSE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, everyHandlerTracesItsPlaceAndItsSequence ) {
   make();
   struct Row {
      const char * name;
      std::function<void()> call;
   };
   const Row rows[] = { { "handlePermit", [ & ] { sm->handlePermit(); } },
                        { "handleDescription", [ & ] { sm->handleDescription( 1 ); } },
                        { "handleContinueSeq", [ & ] { sm->handleContinueSeq(); } },
                        { "handleSetFlags", [ & ] { sm->handleSetFlags(); } },
                        { "handleDistance", [ & ] { sm->handleDistance(); } },
                        { "handleSubRouteMap", [ & ] { sm->handleSubRouteMap(); } },
                        { "handleMatchRule", [ & ] { sm->handleMatchRule( kTag ); } },
                        { "handleRouteMapOpMode", [ & ] { sm->handleRouteMapOpMode(); } } };
   for( const auto & row : rows ) {
      TraceLog log( "CommonComponentRmSeqConfigSymbolSm" );
      row.call();
      const auto texts = log.take();
      ASSERT_FALSE( texts.empty() ) << row.name;
      EXPECT_THAT(
         texts.front(),
         ContainsRegex( "CommonComponentRouteMapSeqConfigSm.cpp:[0-9]+ " + std::string( row.name ) + " rmName: RM1 seqno: 10$" ) );
      EXPECT_THAT( log.levels(), testing::Each( 8 ) ) << row.name;
   }
}

// the action, and descriptions

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, anActionIsMarkedAndADescriptionIgnored ) {
   makeDrained();
   for( const auto permit : { Acl::MatchPermit::deny, Acl::MatchPermit::permit } ) {
      entry->permitIs( permit );
      EXPECT_TRUE( change->permitChange() );
      EXPECT_TRUE( rmSymbol->statusCurrent() ) << "left alone";
      change->permitChangeIs( false );
      EXPECT_TRUE( nothingRecorded() );
   }
   entry->descriptionIs( 1, "text" );
   entry->descriptionDel( 1 );
   EXPECT_TRUE( nothingRecorded() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

// continue, and flags

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aContinueIsReadTogetherWithItsFlag ) {
   struct Row {
      const char * name;
      MapEntry::SetFlags flags;
      uint32_t target;
      bool enabled;
      uint32_t recorded;
   };
   const Row rows[] = { { "no flag", 0, 30, false, 0 },
                        { "another flag", 1, 30, false, 0 },
                        { "every other flag", ~kContinue, 30, false, 0 },
                        { "to the next", kContinue, 0, true, 0 },
                        { "to a number", kContinue, 30, true, 30 },
                        { "to a number, with all flags", 0xffffffff, 4294967295u, true, 4294967295u },
                        { "backwards", kContinue, 5, true, 5 } };
   for( const auto & row : rows ) {
      entry->setFlagsIs( row.flags );
      entry->continueSeqIs( row.target );
      makeDrained();
      const auto old = makeNode<ContinueChange>( true );
      change->continueChangeIs( old );
      sm->handleContinueSeq();
      ASSERT_TRUE( change->continueChange() ) << row.name;
      EXPECT_NE( change->continueChange(), old ) << row.name << ": replaced";
      EXPECT_EQ( change->continueChange()->enabled(), row.enabled ) << row.name;
      EXPECT_EQ( change->continueChange()->continueSeq(), row.recorded ) << row.name;
      EXPECT_FALSE( rmSymbol->statusCurrent() ) << row.name;
   }
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, onlyTheContinueFlagOfAllFlagsIsRecorded ) {
   entry->continueSeqIs( 30 );
   makeDrained();
   for( unsigned bit = 0; bit < 32; ++bit ) {
      const MapEntry::SetFlags flag = 1u << bit;
      entry->setFlagsIs( entry->setFlags() | flag );
      EXPECT_EQ( change->continueChange() != nullptr, flag == kContinue ) << bit;
      EXPECT_FALSE( rmSymbol->statusCurrent() ) << bit;
      EXPECT_EQ( sm->currentSetFlags(), entry->setFlags() ) << bit;
      if( flag == kContinue ) {
         EXPECT_TRUE( change->continueChange()->enabled() );
         EXPECT_EQ( change->continueChange()->continueSeq(), 30u );
      }
      drain();
   }
   entry->setFlagsIs( kContinue );
   EXPECT_TRUE( nothingRecorded() ) << "the bit did not change";
   entry->setFlagsIs( 0 );
   ASSERT_TRUE( change->continueChange() );
   EXPECT_FALSE( change->continueChange()->enabled() );
   EXPECT_EQ( sm->currentSetFlags(), 0u );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aContinueMayBeTakenBackWhileItIsRecorded ) {
   makeDrained();
   rmSymbol->statusCurrentIs( true );
   const CompileFixtures::Reaction takesBack( *rmSymbol, [ this ]( const Quoin::Change & ) {
      entry->continueSeqIs( 30 );
      entry->setFlagsIs( 0 );
   } );
   entry->setFlagsIs( kContinue );
   ASSERT_TRUE( change->continueChange() );
   EXPECT_FALSE( change->continueChange()->enabled() );
   EXPECT_EQ( sm->currentSetFlags(), 0u );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aContinueAtCreationIsHandledTwiceAndRecordedOnce ) {
   for( const MapEntry::SetFlags flags : { kContinue, 1u } ) {
      entry->setFlagsIs( flags );
      drain();
      TraceLog log( "CommonComponentRmSeqConfigSymbolSm" );
      make();
      const auto texts = log.take();
      const auto handled = std::count_if( texts.begin(), texts.end(),
                                          []( const auto & text ) { return text.find( "handleContinueSeq" ) != std::string::npos; } );
      EXPECT_EQ( handled, flags == kContinue ? 2 : 1 );
      ASSERT_TRUE( change->continueChange() );
      EXPECT_EQ( change->continueChange()->enabled(), flags == kContinue );
   }
}

// the distance

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aDistanceIsRecordedAsItsSetter ) {
   struct Row {
      uint32_t distance;
      int recorded;
   };
   // cut to its low bits
   const Row rows[] = { { 1, 1 }, { 5, 5 }, { 255, 255 }, { 256, 0 }, { 261, 5 }, { 4294967295u, 255 } };
   makeDrained();
   for( const auto & row : rows ) {
      TraceLog log( "CommonComponentRmSeqConfigSymbolSm" );
      entry->distanceIs( row.distance );
      EXPECT_THAT(
         log.take(),
         ElementsAre( ContainsRegex( "handleDistance" ), "Instantiating distanceSetter with " + std::to_string( row.distance ) ) );
      ASSERT_TRUE( distance() ) << row.distance;
      EXPECT_EQ( distance()->distance(), row.recorded ) << row.distance;
      EXPECT_EQ( change->setterChange().count(), 1u );
      EXPECT_FALSE( change->setterChange( kDistance )->commListUndefined() );
      EXPECT_FALSE( rmSymbol->statusCurrent() );
      rmSymbol->statusCurrentIs( true );
   }
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aRemovedDistanceIsRecordedAsANullSetter ) {
   entry->distanceIs( 5 );
   makeDrained();
   TraceLog log( "CommonComponentRmSeqConfigSymbolSm" );
   entry->distanceIs( 0 );
   ASSERT_TRUE( change->setterChange( kDistance ) );
   EXPECT_FALSE( change->setterChange( kDistance )->setter() );
   EXPECT_FALSE( rmSymbol->statusCurrent() );
   EXPECT_THAT( log.take(), ElementsAre( ContainsRegex( "handleDistance" ) ) );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aDistanceRemovedWhileItsSetterIsPendingKeepsTheSetter ) {
   makeDrained();
   entry->distanceIs( 5 );
   const auto record = change->setterChange( kDistance );
   const auto setter = distance();
   entry->distanceIs( 0 );
   EXPECT_EQ( change->setterChange( kDistance ), record );
   EXPECT_EQ( distance(), setter );
   entry->distanceIs( 6 );
   EXPECT_EQ( change->setterChange( kDistance ), record ) << "one record";
   EXPECT_NE( distance(), setter );
   EXPECT_EQ( distance()->distance(), 6 );
}

// the call

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aCallIsRecordedAsTheInternedSymbolOfItsName ) {
   const auto called = root->routeMapTable()->symbol( "RM2" );
   const auto status = makeNode<RouteMapStatus>( "RM2" );
   makeDrained();
   TraceLog log( "CommonComponentRmSeqConfigSymbolSm" );
   for( const bool defined : { false, true } )
      for( const bool invert : { true, false } ) {
         called->rmStatusIs( defined ? status : nullptr );
         changeSym->subRouteMapChangeSymbolIs( nullptr );
         entry->subRouteMapIs( { "RM2", invert } );
         ASSERT_TRUE( changeSym->subRouteMapChangeSymbol() );
         EXPECT_EQ( changeSym->subRouteMapChangeSymbol()->symbol(), called );
         EXPECT_THAT( log.take(),
                      ElementsAre( ContainsRegex( "handleSubRouteMap" ),
                                   std::string( "sub-route-map: 'RM2" ) + ( invert ? " invert-result" : "" ) + "'",
                                   "setting subRouteMapSymbol= " + identity( called.get() ) +
                                      " subRouteMap:rmStatus=" + ( defined ? identity( status.get() ) : "NULL" ) ) );
      }
   EXPECT_TRUE( rmSymbol->statusCurrent() ) << "left alone";
   EXPECT_EQ( root->peerFilterTable()->count(), 0u );
   changeSym->subRouteMapChangeSymbolIs( nullptr );
   EXPECT_TRUE( nothingRecorded() );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aRemovedCallIsRecordedAsANullSymbol ) {
   entry->subRouteMapIs( { "RM2", false } );
   makeDrained();
   for( const bool invert : { false, true } ) {
      entry->subRouteMapIs( { "RM2", false } );
      const auto old = changeSym->subRouteMapChangeSymbol();
      TraceLog log( "CommonComponentRmSeqConfigSymbolSm" );
      entry->subRouteMapIs( { "", invert } );
      ASSERT_TRUE( changeSym->subRouteMapChangeSymbol() );
      EXPECT_NE( changeSym->subRouteMapChangeSymbol(), old ) << "replaced";
      EXPECT_FALSE( changeSym->subRouteMapChangeSymbol()->symbol() );
      EXPECT_TRUE( rmSymbol->statusCurrent() );
      EXPECT_THAT( log.take(), ElementsAre( testing::_, std::string( "sub-route-map: '" ) + ( invert ? " invert-result" : "" ) + "'" ) );
   }
}

// the mode

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aNewModeIsOnlyTraced ) {
   makeDrained();
   TraceLog log( "CommonComponentRmSeqConfigSymbolSm" );
   mode->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   EXPECT_THAT( log.take(), ElementsAre( ContainsRegex( "handleRouteMapOpMode" ) ) );
   EXPECT_TRUE( nothingRecorded() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
   mode->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   EXPECT_THAT( log.take(), IsEmpty() );
   sm->plinthDoZombieReactors( true );
   mode->routeMapOpModeIs( RouteMapOpModeType( 2 ) );
   EXPECT_THAT( log.take(), IsEmpty() ) << "it is stopping";
}

// match clauses

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aRuleOfAnUnsupportedOptionIsIgnored ) {
   makeDrained();
   for( unsigned number = 0; number < 256; ++number ) {
      const MatchOption option{ uint8_t( number ) };
      if( sm->matchRuleSupported( option ) ) continue;
      entry->matchRuleIs( listRule( option, "L1" ) );
      entry->matchRuleDel( option );
      EXPECT_TRUE( nothingRecorded() ) << number;
      EXPECT_TRUE( rmSymbol->statusCurrent() ) << number;
   }
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, everySupportedOptionIsRecorded ) {
   makeDrained();
   struct Row {
      unsigned option;
      bool isList;
      bool undefined;   // prefixListUndefined of an undefined list
   };
   const Row rows[] = { { 1, true, false },    { 2, true, true },   { 106, false, false }, { 113, false, false },
                        { 115, false, false }, { 116, true, true }, { 131, false, false }, { 132, true, false } };
   for( const auto & row : rows ) {
      const MatchOption option{ uint8_t( row.option ) };
      auto rule = listRule( option, "L1" );
      rule.numericValue = 1;
      entry->matchRuleIs( rule );
      EXPECT_TRUE( matcher( option ) ) << row.option;
      EXPECT_EQ( change->matcherChange( option )->prefixListUndefined(), row.undefined ) << row.option;
      EXPECT_EQ( change->matcherChange().count(), 1u ) << row.option;
      ASSERT_TRUE( changeSym->matcherChangeSymbol( option ) ) << row.option;
      EXPECT_EQ( symbolsOf( option ).size(), row.isList ? 1u : 0u ) << row.option;
      EXPECT_FALSE( rmSymbol->statusCurrent() ) << row.option;
      drain();
      entry->matchRuleDel( option );
      drain();
   }
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aRemovedRuleIsRecordedAsANullMatcherWithoutSymbols ) {
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   makeDrained();
   entry->matchRuleDel( kPrefixList );
   ASSERT_TRUE( change->matcherChange( kPrefixList ) );
   EXPECT_FALSE( change->matcherChange( kPrefixList )->matcher() );
   EXPECT_FALSE( change->matcherChange( kPrefixList )->prefixListUndefined() );
   ASSERT_TRUE( changeSym->matcherChangeSymbol( kPrefixList ) );
   EXPECT_THAT( symbolsOf( kPrefixList ), IsEmpty() );
   EXPECT_TRUE( rmSymbol->statusCurrent() ) << "left alone";
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aRuleRemovedWhileItsMatcherIsPendingKeepsTheMatcherAndLosesTheSymbol ) {
   makeDrained();
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   const auto record = change->matcherChange( kPrefixList );
   const auto symbols = changeSym->matcherChangeSymbol( kPrefixList );
   const auto made = matcher( kPrefixList );
   ASSERT_EQ( symbols->matchSymbol().count(), 1u );
   rmSymbol->statusCurrentIs( true );
   entry->matchRuleDel( kPrefixList );
   EXPECT_EQ( change->matcherChange( kPrefixList ), record );
   EXPECT_EQ( matcher( kPrefixList ), made );
   EXPECT_TRUE( record->prefixListUndefined() );
   EXPECT_EQ( changeSym->matcherChangeSymbol( kPrefixList ), symbols );
   EXPECT_TRUE( symbols->matchSymbol().empty() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aRuleThatNamesAnotherListIsRecordedWithThatListAlone ) {
   makeDrained();
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   const auto record = change->matcherChange( kPrefixList );
   const auto other = root->ipv4PrefixListTable()->symbol( "PL2" );
   other->statusIs( makeNode<PrefixListStatus>( "PL2", Ferule::AddressFamily::ipv4 ) );
   entry->matchRuleIs( listRule( kPrefixList, "PL2", true ) );
   EXPECT_EQ( change->matcherChange( kPrefixList ), record ) << "one record";
   const auto made = matcher<PrefixListMatcher>( kPrefixList );
   ASSERT_TRUE( made );
   EXPECT_EQ( made->name(), "PL2" );
   EXPECT_EQ( made->status(), other->status() );
   EXPECT_TRUE( made->invertResult() );
   EXPECT_FALSE( record->prefixListUndefined() ) << "the flag of the old list does not stay";
   EXPECT_THAT( symbolsOf( kPrefixList ), ElementsAre( Ptr<const PolicySymbol>( other ) ) );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aListThatChangesIsNotWatchedHere ) {
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   make();
   const auto symbol = root->ipv4PrefixListTable()->symbol( "PL1" );
   drain();
   symbol->statusIs( makeNode<PrefixListStatus>( "PL1", Ferule::AddressFamily::ipv4 ) );
   symbol->notifier()->versionInc( 1 );
   EXPECT_TRUE( nothingRecorded() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

// when a matcher is applied

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aMatcherIsReplacedAtApplicationIfItsListChanged ) {
   entry->matchRuleIs( listRule( kPrefixList, "PL1", true ) );
   make();
   const auto record = change->matcherChange( kPrefixList );
   const auto symbols = changeSym->matcherChangeSymbol( kPrefixList );
   const auto symbol = root->ipv4PrefixListTable()->symbol( "PL1" );
   const auto first = record->matcher();
   sm->handleMatcherApplied( *record, symbols.get() );
   EXPECT_EQ( record->matcher(), first ) << "the list did not change";
   symbol->statusIs( makeNode<PrefixListStatus>( "PL1", Ferule::AddressFamily::ipv4 ) );
   sm->handleMatcherApplied( *record, symbols.get() );
   auto made = matcher<PrefixListMatcher>( kPrefixList );
   ASSERT_NE( made, first );
   EXPECT_EQ( made->status(), symbol->status() );
   EXPECT_TRUE( made->invertResult() );
   EXPECT_FALSE( record->prefixListUndefined() );
   symbol->statusIs( nullptr );
   sm->handleMatcherApplied( *record, symbols.get() );
   made = matcher<PrefixListMatcher>( kPrefixList );
   EXPECT_EQ( made->status(), nullptr );
   EXPECT_TRUE( record->prefixListUndefined() );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aMatcherIsKeptAtApplicationIfItCannotBeReplaced ) {
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );
   entry->matchRuleIs( valueRule( kTag, 1 ) );
   make();
   const auto record = change->matcherChange( kPrefixList );
   const auto symbols = changeSym->matcherChangeSymbol( kPrefixList );
   const auto symbol = root->ipv4PrefixListTable()->symbol( "PL1" );
   const auto first = record->matcher();
   symbol->statusIs( makeNode<PrefixListStatus>( "PL1", Ferule::AddressFamily::ipv4 ) );
   sm->handleMatcherApplied( *record, nullptr );
   EXPECT_EQ( record->matcher(), first ) << "no symbols";
   const auto tag = change->matcherChange( kTag );
   const auto tagMatcher = tag->matcher();
   sm->handleMatcherApplied( *tag, changeSym->matcherChangeSymbol( kTag ).get() );
   EXPECT_EQ( tag->matcher(), tagMatcher ) << "a clause without a list";
   MatcherChangeSymbol kept( kPrefixList );
   kept.matchSymbolIs( symbol );
   entry->matchRuleDel( kPrefixList );
   sm->handleMatcherApplied( *record, &kept );
   EXPECT_EQ( record->matcher(), first ) << "no rule";
   MatcherChange gone( kPrefixList );
   sm->handleMatcherApplied( gone, symbols.get() );
   EXPECT_EQ( gone.matcher(), nullptr ) << "a removed clause";
   MatcherChange others( MatchOption::matchIpNexthopPrefixList );
   others.matcherIs( first );
   entry->matchRuleIs( listRule( MatchOption::matchIpNexthopPrefixList, "PL1" ) );
   sm->handleMatcherApplied( others, &kept );
   EXPECT_EQ( others.matcher(), first ) << "an unsupported option";
}

// lifetime

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, aReleasedMachineRecordsNothing ) {
   makeDrained();
   sm = nullptr;
   entry->distanceIs( 5 );
   entry->permitIs( Acl::MatchPermit::deny );
   entry->matchRuleIs( valueRule( kTag, 1 ) );
   mode->routeMapOpModeIs( RouteMapOpModeType( 1 ) );
   EXPECT_TRUE( nothingRecorded() );
   EXPECT_TRUE( rmSymbol->statusCurrent() );
}

TEST_F( CommonComponentRmSeqConfigSymbolSmTest, mayBeReleasedInItsOwnWrite ) {
   makeDrained();
   Reaction gone( *rmSymbol, [ & ]( const Quoin::Change & ) { sm = nullptr; } );
   entry->matchRuleIs( listRule( kPrefixList, "PL1" ) );   // clears statusCurrent
   EXPECT_EQ( gone.heard, 1 );
   EXPECT_FALSE( sm );
}

// --- the records are applied when the version changes

class SequenceOfARouteMapTest : public testing::Test {
 protected:
   CompileFixtures::Agent agent;
   CompileFixtures::Compiled rm{ agent, "RM1" };
   Ptr<MapEntry> entry = rm.map->mapEntryIs( 10 );
   void SetUp() override { ASSERT_EQ( rm.start(), 1 ); }
   /// How often a new version publishes.
   int publish() { return rm.raise() + rm.run(); }
   Ptr<const RouteMapSeqStatus> seq() const { return rm.seq( 10 ); }
};

TEST_F( SequenceOfARouteMapTest, aHalfEditedSequenceIsNotPublished ) {
   const auto status = rm.status();
   const auto was = seq();
   entry->distanceIs( 5 );
   entry->permitIs( Acl::MatchPermit::deny );
   entry->matchRuleIs( valueRule( kTag, 1 ) );
   entry->subRouteMapIs( { "RM2", true } );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_EQ( rm.status(), status );
   EXPECT_EQ( seq(), was );
   EXPECT_TRUE( was->matcher().empty() );
   EXPECT_TRUE( was->setter().empty() );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   agent.root->routeMapTable()->symbol( "RM2" )->statusCurrentIs( true );
   EXPECT_EQ( publish(), 1 ) << "all of the edits in one";
   EXPECT_TRUE( rm.symbol->statusCurrent() );
   EXPECT_EQ( seq()->matchAction(), Acl::MatchPermit::deny );
   EXPECT_TRUE( seq()->matcher( kTag ) );
   EXPECT_TRUE( seq()->setter( kDistance ) );
   EXPECT_TRUE( seq()->subInvert() );
   EXPECT_TRUE( was->matcher().empty() ) << "a published sequence is not written again";
}

TEST_F( SequenceOfARouteMapTest, theActionIsReadWhenItIsApplied ) {
   entry->permitIs( Acl::MatchPermit::deny );
   entry->permitIs( Acl::MatchPermit::permit );
   entry->permitIs( Acl::MatchPermit::deny );
   EXPECT_EQ( publish(), 1 );
   EXPECT_EQ( seq()->matchAction(), Acl::MatchPermit::deny );
}

TEST_F( SequenceOfARouteMapTest, aRuleOfAnUnsupportedOptionPublishesNothing ) {
   entry->matchRuleIs( valueRule( MatchOption::matchMetric, 1 ) );
   entry->descriptionIs( 1, "text" );
   EXPECT_EQ( publish(), 0 );
   EXPECT_TRUE( seq()->matcher().empty() );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST_F( SequenceOfARouteMapTest, anUnknownFlagClearsStatusCurrentUntilTheNextVersion ) {
   entry->setFlagsIs( 1 );
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   EXPECT_EQ( publish(), 0 );
   EXPECT_TRUE( rm.symbol->statusCurrent() );
}

TEST_F( SequenceOfARouteMapTest, aClauseSetAndRemovedInOneBatchIsKept ) {
   entry->distanceIs( 5 );
   entry->distanceIs( 0 );
   entry->matchRuleIs( valueRule( kTag, 7 ) );
   entry->matchRuleDel( kTag );
   EXPECT_EQ( publish(), 1 );
   ASSERT_TRUE( seq()->setter( kDistance ) );
   EXPECT_EQ( Quoin::dynamicPtrCast<const DistanceSetter>( seq()->setter( kDistance ) )->distance(), 5 );
   ASSERT_TRUE( seq()->matcher( kTag ) );
   entry->distanceIs( 6 );
   EXPECT_EQ( publish(), 1 );
   entry->distanceIs( 0 );
   entry->matchRuleIs( valueRule( kTag, 8 ) );
   EXPECT_EQ( publish(), 1 );
   EXPECT_TRUE( seq()->setter().empty() ) << "removed by a batch of its own";
   entry->matchRuleDel( kTag );
   EXPECT_EQ( publish(), 1 );
   EXPECT_TRUE( seq()->matcher().empty() );
}

}   // namespace
