// What subscribers of a route map's symbol may do inside the notification, and what may change while a machine is constructed.

#include "compile/RouteMapConfigSymbolSm.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DistanceSetter.h"
#include "tests/compile/RouteMapConfigSmFixtures.h"
#include "tests/compile/RouteMapConfigSymbolSmFixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::CompileFixtures;
using Fixtures::deny;
using Fixtures::FixedMatcher;
using Fixtures::permit;
using Routing::RouteMap::PolicySymbol;
using Routing::RouteMap::PrefixListStatus;
using Routing::RouteMap::PrefixListSymbol;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/// Runs a function once: the first time that a symbol says that it is current, or that it is not.
struct Once {
   Once( const PolicySymbol & symbol, bool current, std::function<void()> what )
         : reaction( symbol, [ this, &symbol, current, what = std::move( what ) ]( const Quoin::Change & change ) {
              if( change.field != Quoin::FieldId( PolicySymbol::Field::statusCurrent ) || symbol.statusCurrent() != current ) return;
              if( !std::exchange( ran, true ) ) what();
           } ) {}
   Reaction reaction;
   bool ran = false;
};

/// Each sequence with how many match and set clauses it has: "10:1+0 20:0+0".
std::string shapeOf( const RouteMapStatus & status ) {
   std::string text;
   for( const auto & [ seqno, seq ] : status.seqStatus() )
      text += ( text.empty() ? "" : " " ) + std::to_string( seqno ) + ":" + std::to_string( seq->matcher().count() ) + "+" +
         std::to_string( seq->setter().count() );
   return text;
}

/// The shapes that a route map was published with.
struct Generations {
   explicit Generations( const Compiled & rm )
         : reaction( *rm.symbol->notifier(), [ this, &rm ]( const Quoin::Change & ) { shapes.push_back( shapeOf( *rm.status() ) ); } ) {}
   Reaction reaction;
   Texts shapes;
};

class RouteMapConfigSymbolSmReactionTest : public testing::Test {
 protected:
   Agent agent;
   List list{ agent, "PL" };
   Compiled rm{ agent, "RM" };
   Ptr<MapEntry> entry( uint32_t seqno ) { return rm.map->mapEntryIs( seqno ); }
   /// Sequence 10 uses the list, sequence 20 nothing.
   void startWithList() {
      list.publish();
      entry( 20 );
      entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      rm.start();
      EXPECT_TRUE( rm.symbol->statusCurrent() );
   }
   /// The same, but the clause is recorded and waits for the version. The symbol is current again, since a sequence was added and deleted;
   /// it stops being current while the clause is applied.
   void startWithListRecorded() {
      list.publish();
      withSequences( rm, { 5, 10, 20 } );
      rm.start();
      entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      entry( 99 );
      rm.map->mapEntryDel( 99 );
      EXPECT_TRUE( rm.symbol->statusCurrent() );
   }
   const PrefixListStatus * present() const { return list.symbol->status().get(); }
   bool nothingPending() const { return rm.reactor->pendingUpdate().empty(); }
   static void expectSettled( const Compiled & one ) {
      EXPECT_TRUE( one.reactor->pendingUpdate().empty() );
      EXPECT_THAT( one.listed(), IsEmpty() );
      EXPECT_TRUE( one.symbol->statusCurrent() );
      EXPECT_TRUE( one.agent.scheduler->idle() );
   }
   void expectSettled() const { expectSettled( rm ); }
};

// --- while a machine is constructed

TEST_F( RouteMapConfigSymbolSmReactionTest, aNewMachineRemovesDeletedSequences ) {
   const struct {
      const char * name;
      std::vector<uint32_t> gone, left;
      int undefined;
   } rows[] = {
      { "one", { 20 }, { 10, 30 }, 0 },
      { "the highest", { 30 }, { 10, 20 }, 0 },
      { "all", { 10, 20, 30 }, {}, 255 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Compiled one( agent, "ONE" );
      withSequences( one, { 10, 20, 30 } );
      continues( one.map->mapEntry( 10 ) );
      one.start();
      one.sm = nullptr;
      for( const uint32_t seqno : row.gone ) one.map->mapEntryDel( seqno );
      EXPECT_EQ( one.start(), 1 );
      EXPECT_EQ( one.seqnos(), row.left );
      EXPECT_EQ( one.next( 10 ), row.left.empty() ? 0u : row.left[ 1 ] );
      EXPECT_EQ( one.undefined(), row.undefined );
      EXPECT_TRUE( one.symbol->statusCurrent() );
      EXPECT_EQ( one.run() + one.raise(), 0 );
      EXPECT_EQ( one.seqnos(), row.left );
   }
}

/// Calls a function before it creates the machine of a sequence.
struct EditingHelper final : RmConfigSymbolSmHelperBase {
   EditingHelper( const Agent & agent, std::function<void( uint32_t )> f ) : edit( std::move( f ) ), common( agent.root ) {}
   Ptr<RmSeqConfigSymbolSmBase> createSeqConfigSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                   const Ptr<RouteMapSymbol> & rmSymbol, const Ptr<RmConfigSymbolReactor> & reactor,
                                                   const Ptr<const RouteMapOpModeNotifier> & opMode ) override {
      edit( seqConfig->seqno() );
      return common.createSeqConfigSm( rmName, seqConfig, rmSymbol, reactor, opMode );
   }
   std::function<void( uint32_t )> edit;
   CommonRmConfigSymbolSmHelper common;
};

TEST_F( RouteMapConfigSymbolSmReactionTest, anEarlierSequenceMayChangeWhileALaterOneIsCreated ) {
   withSequences( rm, { 10, 20 } );
   rm.helper = makeNode<EditingHelper>( agent, [ & ]( uint32_t seqno ) {
      if( seqno == 20 ) entry( 10 )->distanceIs( 7 );
   } );
   EXPECT_EQ( rm.start(), 1 );
   EXPECT_EQ( shapeOf( *rm.status() ), "10:0+1 20:0+0" );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, sequencesMayBeDeletedWhileOneIsCreated ) {
   using Seqnos = std::vector<uint32_t>;
   const struct {
      const char * name;
      Seqnos gone;
      const char * shape;   // published once, and nothing else
   } rows[] = {
      { "all", { 10, 20, 30, 40 }, "" },
      { "an earlier one", { 20 }, "10:0+1 30:0+1 40:0+1" },
      { "the one", { 30 }, "10:0+1 20:0+1 40:0+1" },
      { "a later one", { 40 }, "10:0+1 20:0+1 30:0+1" },
   };
   for( const bool restarts : { false, true } )
      for( const auto & row : rows ) {
         SCOPED_TRACE( row.name + std::string( restarts ? ", after a restart" : "" ) );
         Compiled one( agent, "ONE" );
         withSequences( one, { 10, 20, 30, 40 } );
         if( restarts ) one.start();
         one.sm = nullptr;
         for( const uint32_t seqno : { 10, 20, 30, 40 } ) one.map->mapEntry( seqno )->distanceIs( 7 );
         one.helper = makeNode<EditingHelper>( agent, [ & ]( uint32_t creating ) {
            if( creating != 30 ) return;
            for( const uint32_t seqno : row.gone ) one.map->mapEntryDel( seqno );
            one.map->versionIs( 50 );
         } );
         const Generations published( one );
         one.start();
         one.run();
         EXPECT_THAT( published.shapes, ElementsAre( row.shape ) );
         expectSettled( one );
      }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayBeDeletedOrReplacedWhenItIsListed ) {
   for( const bool replaces : { false, true } ) {
      SCOPED_TRACE( replaces ? "replaced" : "deleted" );
      Compiled one( agent, "ONE" );
      withSequences( one, { 10, 20, 30 } )->mapEntry( 20 )->permitIs( deny );
      std::optional<Reaction> lists;
      one.helper = makeNode<EditingHelper>( agent, [ & ]( uint32_t ) {
         const auto & list = *one.reactor->modifiedRmSeqStatusList();
         if( lists ) return;
         lists.emplace( list, [ & ]( const Quoin::Change & ) {
            if( !list.seqStatusGet( { 20 } ) ) return;
            lists->function = {};
            one.map->mapEntryDel( 20 );
            if( replaces ) one.map->mapEntryIs( 20 )->distanceIs( 7 );
         } );
      } );
      one.start();
      one.run();
      one.raise();
      EXPECT_EQ( shapeOf( *one.status() ), replaces ? "10:0+0 20:0+1 30:0+0" : "10:0+0 30:0+0" );
      if( replaces ) { EXPECT_EQ( one.seq( 20 )->matchAction(), permit ); }
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayBeDeletedWhileItsMachineIsCreated ) {
   withSequences( rm, { 5 } );
   rm.start();
   Once gone( *rm.symbol, false, [ & ] { rm.map->mapEntryDel( 10 ); } );
   entry( 10 );
   EXPECT_TRUE( gone.ran );
   EXPECT_FALSE( rm.sm->seqConfigSm().find( 10 ) );
   rm.raise();
   rm.run();
   EXPECT_THAT( rm.seqnos(), ElementsAre( 5 ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayBeReplacedWhileItsMachineIsCreated ) {
   withSequences( rm, { 5 } );
   rm.start();
   Once anew( *rm.symbol, false, [ & ] {
      rm.map->mapEntryDel( 10 );
      entry( 10 )->distanceIs( 7 );
   } );
   const Ptr<const MapEntry> first = entry( 10 );
   EXPECT_TRUE( anew.ran );
   ASSERT_TRUE( rm.sm->seqConfigSm().find( 10 ) );
   EXPECT_EQ( ( *rm.sm->seqConfigSm().find( 10 ) )->seqConfig(), rm.map->mapEntry( 10 ) ) << "the one that stands";
   entry( 10 )->matchRuleIs( matchTag( 7 ) );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:1+1" );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayBeReplacedInTheFirstPublication ) {
   withSequences( rm, { 5, 10 } );
   Once anew( *rm.symbol, true, [ & ] {
      ASSERT_TRUE( rm.status() );
      rm.map->mapEntryDel( 10 );
      entry( 10 )->matchRuleIs( matchTag( 7 ) );
      rm.raise();
   } );
   rm.start();
   EXPECT_TRUE( anew.ran );
   rm.run();
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:1+0" );
   EXPECT_EQ( ( *rm.sm->seqConfigSm().find( 10 ) )->seqConfig(), rm.map->mapEntry( 10 ) );
   entry( 10 )->distanceIs( 8 );
   EXPECT_EQ( rm.raise(), 1 ) << "it is the new one that is watched";
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:1+1" );
   expectSettled();
}

// --- while a change of a reference is recorded

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayBeDeletedWhileAChangeOfItsReferenceIsRecorded ) {
   Compiled sub( agent, "SUB" );
   withSequences( sub, { 1 } );
   sub.start();
   for( const bool ofList : { true, false } ) {
      SCOPED_TRACE( ofList ? "list" : "called map" );
      Compiled one( agent, "ONE" );
      list.publish();
      withSequences( one, { 10, 20 } );
      if( ofList )
         one.map->mapEntry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      else
         one.map->mapEntry( 10 )->subRouteMapIs( { "SUB", false } );
      one.start();
      Once gone( *one.symbol, false, [ & ] { one.map->mapEntryDel( 10 ); } );
      list.publish();
      sub.map->mapEntryIs( ofList ? 2 : 3 );
      sub.raise();
      EXPECT_TRUE( gone.ran );
      EXPECT_TRUE( one.reactor->pendingUpdate().empty() ) << "nobody would apply it";
      one.run();
      EXPECT_THAT( one.seqnos(), ElementsAre( 20 ) );
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aCallMayBeDeletedWhileAChangeOfTheCalledMapIsRecorded ) {
   for( const bool raises : { false, true } ) {
      SCOPED_TRACE( raises ? "with a version" : "without" );
      Compiled sub( agent, "SUB" ), one( agent, "ONE" );
      withSequences( sub, { 1 } );
      sub.start();
      withSequences( one, { 10 } )->mapEntry( 10 )->subRouteMapIs( { "SUB", false } );
      one.start();
      Once gone( *one.symbol, false, [ & ] {
         one.map->mapEntry( 10 )->subRouteMapIs( {} );
         if( raises ) one.map->versionIs( 50 );
      } );
      sub.map->mapEntryIs( 2 );
      sub.raise();
      EXPECT_TRUE( gone.ran );
      EXPECT_EQ( one.reactor->pendingUpdate().empty(), raises ) << "with its version, the configuration has the last word";
      one.run();
      one.raise();
      one.run();
      EXPECT_EQ( one.seq( 10 )->subRouteMap(), nullptr );
      EXPECT_EQ( one.undefined(), 0 );
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, anUpdateOfAnAbsentSequenceIsDropped ) {
   withSequences( rm, { 10 } );
   rm.start();
   rm.reactor->pendingUpdateIs( 30 )->matcherChangeIs( tagOption )->matcherIs( makeNode<FixedMatcher>( true ) );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_THAT( rm.seqnos(), ElementsAre( 10 ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aClauseMayChangeWhileAChangeOfItsListIsRecorded ) {
   const struct {
      const char * name;
      bool raises;
      bool otherList;   // or none
   } rows[] = {
      { "removed", false, false },
      { "removed, with a version", true, false },
      { "another list", false, true },
      { "another list, with a version", true, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      List old( agent, "OLD" ), other( agent, "OTHER" );
      old.publish();
      other.publish();
      Compiled one( agent, "ONE" );
      one.map->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( "OLD" ) );
      one.start();
      ASSERT_EQ( listOf( one.seq( 10 ) ), old.symbol->status().get() );
      Once edit( *one.symbol, false, [ & ] {
         if( row.otherList )
            one.map->mapEntry( 10 )->matchRuleIs( matchPrefixList( "OTHER" ) );
         else
            one.map->mapEntry( 10 )->matchRuleDel( prefixListOption );
         if( row.raises ) one.map->versionIs( 50 );
      } );
      old.publish();
      EXPECT_TRUE( edit.ran );
      const auto pending = one.reactor->pendingUpdate( 10 );
      const bool last = row.raises || !row.otherList;
      EXPECT_TRUE( !last || !pending || pending->matcherChange().empty() ) << "the configuration has the last word";
      one.run();
      one.raise();
      one.run();
      EXPECT_EQ( shapeOf( *one.status() ), row.otherList ? "10:1+0" : "10:0+0" );
      EXPECT_EQ( listOf( one.seq( 10 ) ), row.otherList ? other.symbol->status().get() : nullptr );
      expectSettled( one );
   }
}

// --- while an update is applied

TEST_F( RouteMapConfigSymbolSmReactionTest, aSequenceMayBeReplacedWhenItsUpdateLeavesTheMailbox ) {
   List found( agent, "FOUND" );
   Compiled one( agent, "ONE" );
   one.map->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( "FOUND" ) );
   one.start();
   found.publish();
   ASSERT_TRUE( one.reactor->pendingUpdate( 10 ) );
   Reaction leaves( *one.reactor );
   leaves.function = [ & ]( const Quoin::Change & ) {
      if( one.reactor->pendingUpdate( 10 ) ) return;
      leaves.function = {};
      one.map->mapEntryDel( 10 );
      one.map->mapEntryIs( 10 )->distanceIs( 7 );
   };
   one.map->mapEntryIs( 5 );
   one.raise();
   one.run();
   one.raise();
   EXPECT_EQ( shapeOf( *one.status() ), "5:0+0 10:0+1" );
   expectSettled( one );
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aListMayBeDeletedWhenItsUpdateLeavesTheMailbox ) {
   for( const bool byVersion : { false, true } ) {
      SCOPED_TRACE( byVersion ? "the version applies it" : "the task applies it" );
      std::optional<List> found( std::in_place, agent, "FOUND" );
      Compiled one( agent, "ONE" );
      one.map->mapEntryIs( 10 )->matchRuleIs( matchPrefixList( "FOUND" ) );
      one.start();
      found->publish();
      ASSERT_TRUE( one.reactor->pendingUpdate( 10 ) );
      const Reaction leaves( *one.reactor, [ & ]( const Quoin::Change & ) {
         if( !one.reactor->pendingUpdate( 10 ) ) found.reset();
      } );
      one.map->mapEntryIs( 20 );
      byVersion ? one.raise() : one.run();
      EXPECT_FALSE( found );
      one.run();
      one.raise();
      EXPECT_EQ( listOf( one.seq( 10 ) ), nullptr ) << "as it was published before";
      expectSettled( one );
   }
}

// --- while a clause is recorded

// The name is too long to be kept inside the rule.
constexpr const char * longName = "a-name-of-a-prefix-list-that-is-long-enough-for-memory-of-its-own";

TEST_F( RouteMapConfigSymbolSmReactionTest, aClauseMayBeDeletedWhileItIsRecorded ) {
   withSequences( rm, { 10 } );
   rm.start();
   Once gone( *rm.symbol, false, [ & ] { entry( 10 )->matchRuleDel( prefixListOption ); } );
   entry( 10 )->matchRuleIs( matchPrefixList( longName ) );
   EXPECT_TRUE( gone.ran );
   EXPECT_TRUE( entry( 10 )->matchRule().empty() );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( shapeOf( *rm.status() ), "10:0+0" );
   EXPECT_EQ( rm.undefined(), 0 );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, otherClausesMayBeAddedWhileOneIsRecorded ) {
   withSequences( rm, { 10 } );
   rm.start();
   Once others( *rm.symbol, false, [ & ] {   // many, so that the rules find another place in memory
      entry( 10 )->matchRuleIs( matchTag( 5 ) );
      for( unsigned number = 3; number <= 100; ++number ) entry( 10 )->matchRuleIs( listRule( MatchOption( number ), "OTHER" ) );
   } );
   entry( 10 )->matchRuleIs( matchPrefixList( longName ) );
   EXPECT_TRUE( others.ran );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.run(), 0 );
   const auto matcher = dynamic_cast<const PrefixListMatcher *>( rm.seq( 10 )->matcher( prefixListOption ).get() );
   ASSERT_TRUE( matcher );
   EXPECT_EQ( matcher->name(), longName );
   EXPECT_TRUE( rm.seq( 10 )->matcher( tagOption ) );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aVersionRaisedWhileAClauseIsRecordedIncludesTheClause ) {
   list.publish();
   for( const auto & rule : { matchTag( 5 ), matchPrefixList( "PL" ) } ) {
      SCOPED_TRACE( textOf( rule ) );
      Compiled one( agent, "ONE" );
      withSequences( one, { 10 } );
      one.start();
      Once raises( *one.symbol, false, [ & ] { EXPECT_EQ( one.raise(), 1 ); } );
      one.map->mapEntry( 10 )->matchRuleIs( rule );
      EXPECT_TRUE( raises.ran );
      one.run();
      EXPECT_EQ( shapeOf( *one.status() ), "10:1+0" );
      EXPECT_EQ( listOf( one.seq( 10 ) ), rule.option == prefixListOption ? present() : nullptr );
      expectSettled( one );
   }
}

// --- while changes are applied

TEST_F( RouteMapConfigSymbolSmReactionTest, anEditWhileChangesAreAppliedWaitsForTheNextVersion ) {
   startWithListRecorded();
   Generations published( rm );
   Once edit( *rm.symbol, false, [ & ] {
      entry( 10 )->matchRuleIs( matchTag( 7 ) );
      entry( 10 )->distanceIs( 9 );
      continues( entry( 10 ) );
      entry( 10 )->subRouteMapIs( { "SUB", true } );
   } );
   rm.raise();
   EXPECT_TRUE( edit.ran );
   rm.run();
   EXPECT_THAT( published.shapes, IsEmpty() ) << "half of the edit would be in it";
   EXPECT_FALSE( rm.symbol->statusCurrent() ) << "an edit waits";
   rm.raise();
   rm.run();
   EXPECT_EQ( shapeOf( *rm.status() ), "5:0+0 10:2+1 20:0+0" ) << "nothing of it is lost";
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   EXPECT_EQ( rm.next( 10 ), 20u );
   EXPECT_TRUE( rm.seq( 10 )->subInvert() );
   EXPECT_EQ( rm.undefined(), UndefinedPolicyReferenceBitfield::subRouteMapUndefined );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, editsWhileChangesAreAppliedPublishNothingHalf ) {
   const auto add = []( Compiled & one, uint32_t seqno ) { one.map->mapEntryIs( seqno )->distanceIs( 4 ); };
   using Published = testing::Matcher<Texts>;
   const struct {
      const char * name;
      std::function<void( Compiled & )> edit;   // while the list of sequence 10 is applied, before sequence 20
      Published published;                      // by this version
      const char * last;                        // by the next one
   } rows[] = {
      { "a version", []( auto & one ) { one.map->versionIs( 50 ); }, ElementsAre( "5:0+0 10:1+0 20:1+0" ), "5:0+0 10:1+0 20:1+0" },
      { "clauses and a version",
        []( auto & one ) {
           one.map->mapEntry( 10 )->matchRuleIs( matchTag( 7 ) );
           one.map->mapEntry( 5 )->distanceIs( 9 );   // done already
           one.map->mapEntry( 20 )->distanceIs( 9 );
           one.map->versionIs( 50 );
        },
        Contains( "5:0+1 10:2+0 20:1+1" ), "5:0+1 10:2+0 20:1+1" },
      { "deletion of the sequence before", []( auto & one ) { one.map->mapEntryDel( 5 ); }, ElementsAre( "10:1+0 20:1+0" ),
        "10:1+0 20:1+0" },
      { "deletion of the sequence", []( auto & one ) { one.map->mapEntryDel( 10 ); }, ElementsAre( "5:0+0 20:1+0" ), "5:0+0 20:1+0" },
      { "deletion of the next", []( auto & one ) { one.map->mapEntryDel( 20 ); }, ElementsAre( "5:0+0 10:1+0" ), "5:0+0 10:1+0" },
      { "replacement of the sequence", [ & ]( auto & one ) { one.map->mapEntryDel( 10 ), add( one, 10 ); }, testing::_,
        "5:0+0 10:0+1 20:1+0" },
      { "a new first sequence", [ & ]( auto & one ) { add( one, 1 ); }, testing::_, "1:0+1 5:0+0 10:1+0 20:1+0" },
      { "a new next sequence", [ & ]( auto & one ) { add( one, 15 ); }, testing::_, "5:0+0 10:1+0 15:0+1 20:1+0" },
      { "a new last sequence", [ & ]( auto & one ) { add( one, 30 ); }, testing::_, "5:0+0 10:1+0 20:1+0 30:0+1" },
   };
   list.publish();
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Compiled one( agent, "ONE" );
      withSequences( one, { 5, 10, 20 } );
      one.start();
      one.map->mapEntry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
      one.map->mapEntry( 20 )->matchRuleIs( matchTag( 5 ) );
      one.symbol->statusCurrentIs( true );
      Generations published( one );
      Once edit( *one.symbol, false, [ & ] { row.edit( one ); } );
      one.raise();
      EXPECT_TRUE( edit.ran );
      one.run();
      EXPECT_THAT( published.shapes, row.published );
      one.raise();
      one.run();
      EXPECT_EQ( shapeOf( *one.status() ), row.last );
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, theLoopMayRunWhileChangesAreApplied ) {
   List early( agent, "EARLY" );
   early.publish();
   list.publish();
   withSequences( rm, { 5, 10, 20 } )->mapEntry( 5 )->matchRuleIs( matchPrefixList( "EARLY" ) );
   rm.start();
   entry( 10 )->matchRuleIs( matchPrefixList( "PL" ) );
   rm.symbol->statusCurrentIs( true );
   Generations published( rm );
   Once runs( *rm.symbol, false, [ & ] {
      early.publish();   // of a sequence that has been walked already
      agent.scheduler->runUntilIdle();
   } );
   rm.raise();
   EXPECT_TRUE( runs.ran );
   EXPECT_THAT( published.shapes, IsEmpty() ) << "a list is still to be taken in";
   EXPECT_FALSE( agent.scheduler->idle() ) << "the run that was put off comes again";
   rm.run();
   EXPECT_THAT( published.shapes, ElementsAre( "5:1+0 10:1+0 20:0+0" ) );
   EXPECT_EQ( listOf( rm.seq( 5 ) ), early.symbol->status().get() );
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   expectSettled();
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aVersionRaisedWhileAnUpdateIsAppliedDoesNotSetStatusCurrent ) {
   startWithList();
   list.publish();
   Texts order;
   Reaction onReactor( *rm.reactor, [ & ]( const Quoin::Change & change ) {
      if( change.field != Quoin::FieldId( RmConfigSymbolReactor::Field::pendingUpdate ) || rm.reactor->pendingUpdate( 10 ) ) return;
      order.push_back( "taken" );
      rm.map->versionIs( 50 );
      order.push_back( rm.symbol->statusCurrent() ? "current" : "not yet" );
   } );
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_THAT( order, ElementsAre( "taken", "not yet" ) );
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   expectSettled();
}

// --- while the next generation is built

class RouteMapConfigSymbolSmUsersTest : public RouteMapConfigSymbolSmReactionTest {
 protected:
   Compiled bare{ agent, "BARE", makeNode<BareHelper>() };
   static void actionIs( Compiled & one, Acl::MatchPermit action ) {
      one.map->mapEntry( 10 )->permitIs( action );
      one.bare( 10 ).sequenceChange()->permitChangeIs( true );
   }
   static void start( Compiled & one ) {
      withSequences( one, { 10, 20 } );
      one.start();
   }
   /// Sequence 10 denies, and begins to match an aggregate role: the users hear of that while the generation is made.
   static int publishRole( Compiled & one ) {
      actionIs( one, deny );
      const auto change = one.bare( 10 ).sequenceChange()->matcherChangeIs( tagOption );
      change->matcherIs( makeNode<FixedMatcher>( true, RouteMapFeatures( RouteMapFeatures::matchAggregateRole ) ) );
      return one.raise();
   }
};

TEST_F( RouteMapConfigSymbolSmUsersTest, aSubscriberOfTheUsersMayDeleteASequence ) {
   for( const uint32_t gone : { 10u, 20u } ) {
      SCOPED_TRACE( gone );
      const Agent own;
      Compiled one( own, "ONE", makeNode<BareHelper>() );
      start( one );
      bool ran = false;
      Reaction onUsers( *own.users, [ & ]( const Quoin::Change & ) {
         if( !std::exchange( ran, true ) ) one.map->mapEntryDel( gone );
      } );
      publishRole( one );
      EXPECT_TRUE( ran );
      one.run();
      EXPECT_THAT( one.seqnos(), ElementsAre( gone == 10 ? 20u : 10u ) );
      EXPECT_EQ( own.users->mapNameHas( "ONE" ), gone == 20 ) << "as the last generation says";
      expectSettled( one );
   }
}

TEST_F( RouteMapConfigSymbolSmUsersTest, aSubscriberOfTheUsersMayRaiseTheVersion ) {
   start( bare );
   std::vector<Acl::MatchPermit> actions;
   Reaction onVersion( *bare.symbol->notifier(), [ & ]( const Quoin::Change & ) { actions.push_back( bare.seq( 10 )->matchAction() ); } );
   bool ran = false;
   Reaction onUsers( *agent.users, [ & ]( const Quoin::Change & ) {
      if( std::exchange( ran, true ) ) return;
      actionIs( bare, permit );
      bare.map->versionIs( 50 );
   } );
   EXPECT_EQ( publishRole( bare ), 2 );
   EXPECT_TRUE( ran );
   EXPECT_THAT( actions, ElementsAre( deny, permit ) ) << "the later edit is published last";
   EXPECT_TRUE( bare.seq( 10 )->matcher( tagOption ) );
   expectSettled( bare );
}

TEST_F( RouteMapConfigSymbolSmUsersTest, aSubscriberOfTheUsersMayRunTheLoop ) {
   start( bare );
   const auto old = makeNode<DistanceSetter>( 5 ), later = makeNode<DistanceSetter>( 6 );
   bare.bare( 20 ).sequenceChange()->setterChangeIs( distanceOption )->setterIs( old );
   bare.raise();
   bool ran = false;
   Reaction onUsers( *agent.users, [ & ]( const Quoin::Change & ) {
      if( std::exchange( ran, true ) ) return;
      bare.reactor->pendingUpdateIs( 20 )->setterChangeIs( distanceOption )->setterIs( later );
      agent.scheduler->runUntilIdle();
   } );
   publishRole( bare );
   EXPECT_TRUE( ran );
   bare.run();
   EXPECT_EQ( shapeOf( *bare.status() ), "10:1+0 20:0+1" );
   EXPECT_EQ( bare.seq( 20 )->setter( distanceOption ), later );
   expectSettled( bare );
}

// --- statusCurrent

TEST_F( RouteMapConfigSymbolSmReactionTest, isNotCurrentWhileAnUpdateIsPending ) {
   startWithList();
   Compiled caller( agent, "CALLER" );
   caller.map->mapEntryIs( 10 )->subRouteMapIs( { "RM", false } );
   caller.start();
   list.publish();
   EXPECT_FALSE( rm.symbol->statusCurrent() );
   entry( 30 );
   rm.map->mapEntryDel( 30 );
   EXPECT_FALSE( rm.symbol->statusCurrent() ) << "a sequence that was never published has gone";
   EXPECT_FALSE( nothingPending() );
   caller.map->mapEntry( 10 )->permitIs( deny );
   EXPECT_EQ( caller.raise(), 0 ) << "it waits";
   EXPECT_EQ( rm.run(), 1 );
   EXPECT_EQ( caller.run(), 1 ) << "both changes at once";
   EXPECT_EQ( caller.seq( 10 )->subRouteMap(), rm.status() );
   EXPECT_EQ( caller.seq( 10 )->matchAction(), deny );
   EXPECT_TRUE( caller.symbol->statusCurrent() );
   expectSettled();
}

// --- released machines

using RouteMapConfigSymbolSmHeldTest = RouteMapConfigSmFixture;

TEST_F( RouteMapConfigSymbolSmHeldTest, aReleasedMachineThatIsHeldRunsNoTask ) {
   const Agent agent{ root };
   for( const bool ofList : { true, false } )
      for( const bool before : { true, false } ) {
         SCOPED_TRACE( testing::Message() << ( ofList ? "a list" : "a called map" ) << ( before ? ", before" : ", after" )
                                          << " the deletion" );
         raw->routeMapDelAll();
         start();
         List used( agent, "USED" );
         used.publish();
         add( "SUB" );
         add( "RM" )->mapEntry( 10 )->matchRuleIs( matchPrefixList( "USED" ) );
         raw->routeMap( "RM" )->mapEntryIs( 20 )->subRouteMapIs( { "SUB", false } );
         raise( "RM" );
         run();
         const auto kept = symbol( "RM" );
         const auto held = compiler( "RM" );
         ASSERT_TRUE( kept->rmStatus() );
         ASSERT_EQ( kept->rmStatus()->seqStatus().count(), 2u );
         const auto change = [ & ] {
            if( ofList ) return used.publish();
            add( "SUB", raw->routeMap( "SUB" )->version() + 1, 20 );
         };
         if( before ) change();
         del( "RM" );
         if( !before ) change();
         run();
         EXPECT_TRUE( held->zombieReactors() );
         EXPECT_EQ( kept->rmStatus(), nullptr );
         EXPECT_TRUE( held->modifiedRmSeqStatusList()->seqStatus().empty() );
         change();
         run();
         EXPECT_EQ( kept->rmStatus(), nullptr );
         EXPECT_TRUE( scheduler->idle() );
      }
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aStoppedMachineAppliesNoUpdate ) {
   startWithList();
   const auto before = rm.status();
   list.publish();
   rm.sm->hasNotificationActiveIs( false );   // as its owner does to stop it
   rm.sm->plinthDoZombieReactors( true );
   TraceLog log( "RouteMapConfigSymbolSm" );
   EXPECT_EQ( rm.run(), 0 );
   EXPECT_THAT( log.take(), Not( Contains( "RM symbol update task" ) ) );
   EXPECT_EQ( rm.status(), before );
   EXPECT_THAT( rm.listed(), IsEmpty() );
   EXPECT_TRUE( rm.reactor->pendingUpdate( 10 ) ) << "left for a successor";
}

TEST_F( RouteMapConfigSymbolSmReactionTest, aReleasedMachineLeavesItsSuccessorsList ) {
   withSequences( rm, { 10 } );
   rm.start();
   auto first = rm.sm;
   rm.start();
   ASSERT_NE( rm.sm, first );
   EXPECT_EQ( rm.reactor->modifiedRmSeqStatusList(), rm.sm->modifiedRmSeqStatusList() );
   first = nullptr;
   EXPECT_EQ( rm.reactor->modifiedRmSeqStatusList(), rm.sm->modifiedRmSeqStatusList() );
   rm.sm = nullptr;
   EXPECT_EQ( rm.reactor->modifiedRmSeqStatusList(), nullptr );
}

// --- between construction and notification

class CommonComponentSymbolSeqSmReactionTest : public testing::Test {
 protected:
   Ptr<MapEntry> entry = makeNode<MapEntry>( 10 );
   Ptr<RouteMapSymbol> rmSymbol = makeNode<RouteMapSymbol>( "RM" ), called = makeNode<RouteMapSymbol>( "SUB" );
   Ptr<MatchSymbolSeq> matchSymbols = makeNode<MatchSymbolSeq>( 10 );
   Ptr<SubRouteMapSymbolSeq> subSymbol = makeNode<SubRouteMapSymbolSeq>( 10 );
   Ptr<RmConfigSymbolReactor> reactor = makeNode<RmConfigSymbolReactor>( "RM" );
   Ptr<PrefixListSymbol> list = makeNode<PrefixListSymbol>( "PL" );

   void useList() {
      entry->matchRuleIs( matchPrefixList( "PL" ) );
      const auto used = makeNode<PolicyMatchSymbolList>( prefixListOption );
      used->policySymbolIs( list );
      matchSymbols->policySymbolListIs( prefixListOption, used );
   }
   void settle() {
      reactor->pendingUpdateDelAll();
      rmSymbol->statusCurrentIs( true );
   }
   void publishList() {
      list->statusIs( makeNode<PrefixListStatus>( "PL", Ferule::AddressFamily::ipv4 ) );
      list->notifier()->versionInc( 1 );
   }
   Ptr<CommonComponentSymbolSeqSm> make() const {
      return commonComponentSymbolSeqSmFactory( entry, rmSymbol, matchSymbols, subSymbol, reactor, nullptr );
   }
   void expectNothingRecorded() const {
      EXPECT_TRUE( reactor->pendingUpdate().empty() );
      EXPECT_TRUE( rmSymbol->statusCurrent() );
   }
};

TEST_F( CommonComponentSymbolSeqSmReactionTest, symbolsThatChangeBeforeItIsSwitchedOnAreFollowed ) {
   for( const bool come : { false, true } ) {
      SCOPED_TRACE( come ? "they come into use" : "they go out of use" );
      const auto use = [ & ]( bool used ) {
         if( used ) useList();
         if( !used ) matchSymbols->policySymbolListDel( prefixListOption );
         subSymbol->symbolIs( used ? called : nullptr );
      };
      use( !come );
      const auto sm =
         makeNode<CommonComponentSymbolSeqSm>( entry, rmSymbol, matchSymbols, subSymbol, reactor, Ptr<const RouteMapOpModeNotifier>() );
      use( come );
      EXPECT_EQ( sm->matchSymNotifierMap().contains( prefixListOption ), !come ) << "not yet";
      sm->hasNotificationActiveIs( true );
      EXPECT_EQ( sm->matchSymbolNotifierColl().contains( prefixListOption ), come );
      EXPECT_EQ( sm->matchSymNotifierMap().contains( prefixListOption ), come );
      EXPECT_EQ( sm->subRouteMapSymbolNotifier() != nullptr, come );
      settle();
      publishList();
      EXPECT_EQ( !reactor->pendingUpdate().empty(), come );
      settle();
      called->updateAndNotify( Fixtures::routeMap( "SUB" ) );
      EXPECT_EQ( !reactor->pendingUpdate().empty(), come );
      settle();
   }
}

// --- nested machines

TEST_F( CommonComponentSymbolSeqSmReactionTest, nestedMachinesStopThoughSomebodyHoldsThem ) {
   for( const bool machineGoes : { true, false } ) {
      SCOPED_TRACE( machineGoes ? "the machine goes" : "the clause goes" );
      useList();
      auto sm = make();
      const auto nested = *sm->matchSymNotifierMap().find( prefixListOption );
      const auto member = *nested->matchSymNotifier().find( list );
      ASSERT_TRUE( member );
      settle();
      if( machineGoes )
         sm = nullptr;
      else
         matchSymbols->policySymbolListDel( prefixListOption );
      EXPECT_EQ( nested->notifier(), nullptr );
      EXPECT_EQ( member->notifier(), nullptr );
      EXPECT_TRUE( nested->matchSymNotifier().empty() );
      publishList();
      expectNothingRecorded();
   }
}

// --- null arguments

TEST_F( CommonComponentSymbolSeqSmReactionTest, withoutSymbolsOrSequenceItsHandlersDoNothing ) {
   entry->matchRuleIs( matchPrefixList( "PL" ) );
   const auto sm = commonComponentSymbolSeqSmFactory( entry, rmSymbol, nullptr, nullptr, reactor, nullptr );
   for( unsigned number = 1; number <= Routing::RouteMap::kMatchOptionMax; ++number ) sm->handleMatchSymbolSeq( MatchOption( number ) );
   sm->handleSubRouteMapSymbol();
   sm->handleInitialized();
   EXPECT_TRUE( sm->matchSymbolNotifierColl().empty() );
   EXPECT_EQ( sm->subRouteMapSymbolNotifier(), nullptr );
   expectNothingRecorded();
   useList();
   settle();
   const auto withoutSequence = commonComponentSymbolSeqSmFactory( nullptr, rmSymbol, matchSymbols, subSymbol, reactor, nullptr );
   EXPECT_EQ( withoutSequence->seqno(), 0u );
   EXPECT_TRUE( withoutSequence->matchSymNotifierMap().contains( prefixListOption ) );
   publishList();
   expectNothingRecorded();
}

// --- switched off for a time

TEST_F( RouteMapConfigSymbolSmReactionTest, aMachineSwitchedOffRecordsNothing ) {
   Compiled sub( agent, "SUB" );
   withSequences( sub, { 1 } );
   sub.start();
   entry( 20 )->subRouteMapIs( { "SUB", false } );
   startWithList();
   const auto before = rm.status();
   rm.sm->hasNotificationActiveIs( false );
   const auto nothing = [ & ]( const char * when ) {
      EXPECT_TRUE( nothingPending() ) << when;
      EXPECT_FALSE( rm.sm->hasModifiedSequence() ) << when;
      EXPECT_TRUE( rm.symbol->statusCurrent() ) << when;
      EXPECT_EQ( rm.run(), 0 ) << when;
      EXPECT_EQ( rm.status(), before ) << when;
   };
   list.publish();
   nothing( "list" );
   sub.map->mapEntryIs( 2 );
   EXPECT_EQ( sub.raise(), 1 );
   nothing( "called map" );
   entry( 10 )->distanceIs( 5 );
   entry( 10 )->matchRuleIs( matchTag( 5 ) );
   nothing( "clauses" );
   entry( 30 );
   rm.map->versionIs( 7 );
   rm.reactor->reevaluateInc( 1 );
   nothing( "version" );
   rm.sm->hasNotificationActiveIs( true );
   nothing( "on again" );
   EXPECT_FALSE( rm.sm->seqConfigSm().find( 30 ) );
   list.publish();
   sub.map->mapEntryIs( 3 );
   sub.raise();
   EXPECT_EQ( rm.run(), 1 ) << "notified again";
   EXPECT_EQ( listOf( rm.seq( 10 ) ), present() );
   EXPECT_EQ( rm.seq( 20 )->subRouteMap(), sub.status() );
   entry( 10 )->distanceIs( 6 );
   EXPECT_EQ( rm.raise(), 1 );
   EXPECT_EQ( rm.seq( 10 )->setter().count(), 1u );
   expectSettled();
}

}   // namespace
