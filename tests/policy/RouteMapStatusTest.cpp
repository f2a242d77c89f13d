#include "policy/RouteMapStatus.h"

#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DistanceSetter.h"
#include "policy/InterfaceMatcher.h"
#include "policy/TagMatcher.h"
#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Field = RouteMapStatus::Field;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using Zeugma::DumpContext;

// The order of the attributes.
static_assert( int( Field::seqStatus ) == 0 && int( Field::features ) == 1 && int( Field::updateFeaturesOnSeqStatusChange ) == 2 &&
               int( Field::undefined ) == 3 && int( Field::undefinedReferences ) == 4 );
static_assert( std::is_base_of_v<Zeugma::BaseNotifyingType, RouteMapStatus> );

/// What a subscriber finds: the new value of the field, the features beside a change of the sequences.
std::string describe( const RouteMapStatus & map, const Quoin::Change & change ) {
   const auto plain = [ & ]( const std::string & text ) {
      return change.key || change.oldValue || change.keyIsEq ? text + " with a key" : text;
   };
   const auto yesNo = []( bool b ) { return std::string( b ? "yes" : "no" ); };
   switch( Field( change.field ) ) {
      case Field::seqStatus: {
         using Seq = Ptr<const RouteMapSeqStatus>;
         const auto seqno = *static_cast<const uint32_t *>( change.key );
         const auto textOf = []( const Seq & s ) { return s ? Acl::stringValue( s->matchAction() ) : "null"; };
         return "seqStatus[" + std::to_string( seqno ) + "] " + textOf( *static_cast<const Seq *>( change.oldValue ) ) + "->" +
            textOf( map.seqStatus( seqno ) ) + " at features " + std::to_string( map.features().value() );
      }
      case Field::features: return plain( "features=" + std::to_string( map.features().value() ) );
      case Field::updateFeaturesOnSeqStatusChange:
         return plain( "updateFeaturesOnSeqStatusChange=" + yesNo( map.updateFeaturesOnSeqStatusChange() ) );
      case Field::undefined: return plain( "undefined=" + yesNo( map.undefined() ) );
      case Field::undefinedReferences: return plain( "undefinedReferences=" + std::to_string( map.undefinedReferences().value ) );
   }
   return "unknown";
}

class RouteMapStatusTest : public testing::Test {
 protected:
   static std::string dumpOf( const RouteMapStatus & map, unsigned indent ) {
      const auto context = makeNode<DumpContext>();
      map.dumpState( context, indent );
      return std::string( context->text() );
   }
   static Watcher watch( RouteMapStatus & map ) {
      return { map, [ &map ]( const Quoin::Change & change ) { return describe( map, change ); } };
   }
   static std::vector<uint32_t> numbersOf( const RouteMapStatus & map ) {
      std::vector<uint32_t> numbers;
      for( const auto & [ seqno, s ] : map.seqStatus() ) {
         EXPECT_EQ( s->seqno(), seqno );
         numbers.push_back( seqno );
      }
      return numbers;
   }
   /// A sequence whose features are `features`.
   static Ptr<RouteMapSeqStatus> seqWith( uint32_t seqno, uint32_t features, Acl::MatchPermit action = permit ) {
      return seq( seqno, action, { { MatchOption::matchTag, makeNode<FixedMatcher>( true, features ) } } );
   }
   /// Sequences 1 to `count`, each with a matcher that counts; features are not computed.
   Ptr<RouteMapStatus> manySequences( uint32_t count ) {
      auto map = routeMap( "MANY" );
      map->updateFeaturesOnSeqStatusChangeIs( false );
      for( uint32_t seqno = 1; seqno <= count; ++seqno ) {
         counting.push_back( makeNode<FixedMatcher>( true, 1u << seqno % 32 ) );
         map->seqStatusIs( seq( seqno, permit, { { MatchOption::matchTag, counting.back() } } ) );
      }
      return map;
   }
   void expectEachComputed( int times ) const {
      for( const auto & m : counting ) ASSERT_EQ( m->featuresRead, times );
   }
   std::vector<Ptr<const FixedMatcher>> counting;
};

TEST_F( RouteMapStatusTest, startsWithItsNameAndTheDefaults ) {
   for( const char * name : { "", "RM1" } ) {
      const RouteMapStatus map( name );
      EXPECT_EQ( map.name(), name );
      EXPECT_EQ( map.seqStatus().count(), 0u );
      EXPECT_EQ( map.features(), 0u );
      EXPECT_TRUE( map.updateFeaturesOnSeqStatusChange() );
      EXPECT_FALSE( map.undefined() );
      EXPECT_EQ( map.undefinedReferences().value, 0xff );
   }
   static_assert( sizeof( RouteMapStatus( "" ).undefinedReferences() ) == 1 );
}

TEST_F( RouteMapStatusTest, sequencesStandUnderTheirOwnNumbersInAscendingOrder ) {
   const auto map = routeMap( "RM1", { seq( 30 ), seq( 0xffffffff ), seq( 10 ), seq( 0 ), seq( 20 ) } );
   EXPECT_THAT( numbersOf( *map ), ElementsAre( 0, 10, 20, 30, 0xffffffff ) );
   EXPECT_EQ( map->seqStatus( 20 )->seqno(), 20u );
   EXPECT_EQ( map->seqStatus( 15 ), nullptr );
}

TEST_F( RouteMapStatusTest, aSequenceOfTheSameNumberReplaces ) {
   const auto map = routeMap( "RM1", { seqWith( 10, 1 ), seqWith( 20, 2 ) } );
   const auto other = seqWith( 10, 4, deny );
   auto watcher = watch( *map );
   map->seqStatusIs( other );
   EXPECT_EQ( map->seqStatus( 10 ), other );
   EXPECT_THAT( numbersOf( *map ), ElementsAre( 10, 20 ) );
   EXPECT_THAT( watcher.log, ElementsAre( "features=6", "seqStatus[10] permit->deny at features 6" ) );
}

TEST_F( RouteMapStatusTest, sameValueTwicePublishesOnce ) {
   const auto map = routeMap( "RM1" );
   const auto s = seqWith( 10, 2 );
   auto watcher = watch( *map );
   const struct {
      const char * name;
      std::function<void()> write;
      std::vector<std::string> told;
   } rows[] = {
      { "a sequence", [ & ] { map->seqStatusIs( s ); }, { "features=2", "seqStatus[10] null->permit at features 2" } },
      { "features", [ & ] { map->featuresIs( 5 ); }, { "features=5" } },
      { "the switch, off", [ & ] { map->updateFeaturesOnSeqStatusChangeIs( false ); }, { "updateFeaturesOnSeqStatusChange=no" } },
      { "the switch, on", [ & ] { map->updateFeaturesOnSeqStatusChangeIs( true ); }, { "updateFeaturesOnSeqStatusChange=yes" } },
      { "undefined", [ & ] { map->undefinedIs( true ); }, { "undefined=yes" } },
      { "defined", [ & ] { map->undefinedIs( false ); }, { "undefined=no" } },
      { "undefined references", [ & ] { map->undefinedReferencesIs( { 3 } ); }, { "undefinedReferences=3" } },
      { "a deletion", [ & ] { map->seqStatusDel( 10 ); }, { "features=0", "seqStatus[10] permit->null at features 0" } },
      { "deletion of all that is gone", [ & ] { map->seqStatusDelAll(); }, {} },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      row.write();
      EXPECT_EQ( watcher.take(), row.told );
      row.write();
      EXPECT_THAT( watcher.take(), IsEmpty() );
   }
}

TEST_F( RouteMapStatusTest, defaultsWrittenOverDefaultsPublishNothing ) {
   RouteMapStatus map( "RM1" );
   auto watcher = watch( map );
   map.featuresIs( {} );
   map.updateFeaturesOnSeqStatusChangeIs( true );
   map.undefinedIs( false );
   map.undefinedReferencesIs( { 0xff } );
   map.seqStatusDel( 10 );
   map.seqStatusDelAll();
   map.handleSeqStatus();
   map.updateFeatures();
   EXPECT_THAT( watcher.log, IsEmpty() );
}

TEST_F( RouteMapStatusTest, aNullSequenceIsRefusedAndNothingIsLost ) {
   const auto map = routeMap( "RM1", { seqWith( 10, 2 ) } );
   auto watcher = watch( *map );
   EXPECT_THROW( map->seqStatusIs( nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_THAT( watcher.log, IsEmpty() );
   EXPECT_THAT( numbersOf( *map ), ElementsAre( 10 ) );
   EXPECT_EQ( map->features(), 2u );
}

TEST_F( RouteMapStatusTest, featuresAreComputedBeforeAChangeOfTheSequencesIsTold ) {
   const auto map = routeMap( "RM1" );
   auto watcher = watch( *map );
   map->seqStatusIs( seqWith( 10, 2 ) );
   map->seqStatusIs( seqWith( 20, 8 ) );
   map->seqStatusIs( seqWith( 30, 8 ) );
   map->seqStatusDel( 10 );
   EXPECT_THAT( watcher.take(),
                ElementsAre( "features=2", "seqStatus[10] null->permit at features 2", "features=10",
                             "seqStatus[20] null->permit at features 10", "seqStatus[30] null->permit at features 10", "features=8",
                             "seqStatus[10] permit->null at features 8" ) );
   map->seqStatusDelAll();
   EXPECT_THAT( watcher.take(),
                ElementsAre( "features=0", "seqStatus[20] permit->null at features 0", "seqStatus[30] permit->null at features 0" ) );
}

TEST_F( RouteMapStatusTest, whileSwitchedOffChangesAreToldAndFeaturesStand ) {
   const auto map = routeMap( "RM1", { seqWith( 10, 2 ) } );
   map->updateFeaturesOnSeqStatusChangeIs( false );
   auto watcher = watch( *map );
   map->seqStatusIs( seqWith( 20, 8 ) );
   map->seqStatusDel( 10 );
   map->seqStatusDelAll();
   map->handleSeqStatus();
   EXPECT_THAT( watcher.log,
                ElementsAre( "seqStatus[20] null->permit at features 2", "seqStatus[10] permit->null at features 2",
                             "seqStatus[20] permit->null at features 2" ) );
   EXPECT_FALSE( map->updateFeaturesOnSeqStatusChange() );
}

TEST_F( RouteMapStatusTest, aStoreComputesOverAllSequencesAndTheSameSequenceOverNone ) {
   const auto m = makeNode<FixedMatcher>( true, 1 );
   const auto first = seq( 10, permit, { { MatchOption::matchTag, m } } );
   const auto map = routeMap( "RM1", { first, seq( 20 ) } );
   EXPECT_EQ( m->featuresRead, 2 );
   map->seqStatusIs( first );
   map->seqStatusDel( 30 );
   EXPECT_EQ( m->featuresRead, 2 );
   map->seqStatusDel( 20 );
   EXPECT_EQ( m->featuresRead, 3 );
}

TEST_F( RouteMapStatusTest, handleSeqStatusComputesWhileSwitchedOn ) {
   const auto s = seq( 10 );
   const auto map = routeMap( "RM1", { s } );
   s->matcherIs( MatchOption::matchTag, makeNode<FixedMatcher>( true, 4 ) );
   EXPECT_EQ( map->features(), 0u );
   map->handleSeqStatus();
   EXPECT_EQ( map->features(), 4u );
}

TEST_F( RouteMapStatusTest, updateFeaturesStartsEmptyAndEndsSwitchedOn ) {
   const auto map = routeMap( "RM1", { seqWith( 10, 2 ) } );
   map->featuresIs( 0xf0 );
   map->updateFeaturesOnSeqStatusChangeIs( false );
   auto watcher = watch( *map );
   map->updateFeatures();
   EXPECT_THAT( watcher.take(), ElementsAre( "features=2", "updateFeaturesOnSeqStatusChange=yes" ) );
   map->updateFeatures();
   EXPECT_THAT( watcher.take(), IsEmpty() );
}

TEST_F( RouteMapStatusTest, updateFeaturesAsksTheSequencesInOrder ) {
   struct Asked : Matcher {
      Asked( std::vector<int> & o, int n ) : order( o ), number( n ) {}
      bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override { return true; }
      void formatDerivedType( std::ostream & ) const override {}
      RouteMapFeatures getFeatures() const override { return order.push_back( number ), RouteMapFeatures( 1u << number ); }
      std::vector<int> & order;
      int number;
   };
   std::vector<int> order;
   const auto map = routeMap( "RM1" );
   map->updateFeaturesOnSeqStatusChangeIs( false );
   for( int i : { 3, 1, 2 } )
      map->seqStatusIs( seq( uint32_t( 10 * i ), permit, { { MatchOption::matchTag, makeNode<Asked>( order, i ) } } ) );
   EXPECT_THAT( order, IsEmpty() );
   map->updateFeatures();
   EXPECT_THAT( order, ElementsAre( 1, 2, 3 ) );
   EXPECT_EQ( map->features(), 0xeu );
}

TEST_F( RouteMapStatusTest, featuresIncludeThoseOfASubRouteMap ) {
   const auto sub =
      routeMap( "SUB", { seq( 10, permit, { { MatchOption::matchInterface, makeNode<InterfaceMatcher>( Ferule::IntfId( 3 ) ) } } ) } );
   const auto caller = seq( 10 );
   caller->subRouteMapIs( sub );
   const auto map = routeMap( "RM1", { caller } );
   EXPECT_EQ( map->features().value() & 2, 2u );
   const auto above = seq( 10 );
   above->subRouteMapIs( map );
   EXPECT_EQ( routeMap( "RM0", { above } )->features(), 2u );
}

TEST_F( RouteMapStatusTest, newFromComputesFeaturesOnce ) {
   const auto source = manySequences( 1000 );
   const auto copy = RouteMapStatus::newFrom( source, "COPY" );
   expectEachComputed( 1 );
   EXPECT_TRUE( copy->updateFeaturesOnSeqStatusChange() );
   EXPECT_EQ( copy->features(), 0xffffffffu );
}

TEST_F( RouteMapStatusTest, newFromTakesEverythingButTheName ) {
   const auto s = seqWith( 10, 2 ), t = seqWith( 20, 8, deny );
   s->continueSeqIs( t );
   const auto source = routeMap( "RM1", { s, t } );
   source->undefinedIs( true );
   source->undefinedReferencesIs( { 6 } );
   source->updateFeaturesOnSeqStatusChangeIs( false );
   source->featuresIs( 0xf0 );
   const auto copy = RouteMapStatus::newFrom( source, "RM2" );
   EXPECT_EQ( copy->name(), "RM2" );
   EXPECT_THAT( numbersOf( *copy ), ElementsAre( 10, 20 ) );
   EXPECT_EQ( copy->seqStatus( 10 ), s );   // the pointers
   EXPECT_EQ( copy->seqStatus( 20 ), t );
   EXPECT_EQ( copy->features(), 10u ) << "computed, whatever the source had";
   EXPECT_TRUE( copy->undefined() );
   EXPECT_EQ( copy->undefinedReferences().value, 6 );
   EXPECT_TRUE( copy->updateFeaturesOnSeqStatusChange() );
   EXPECT_EQ( copy->useCount(), 1u );
   EXPECT_FALSE( source->updateFeaturesOnSeqStatusChange() ) << "the source stays as it was";
   EXPECT_EQ( source->features(), 0xf0u );
}

TEST_F( RouteMapStatusTest, newFromNothingIsANewRouteMap ) {
   const auto fresh = RouteMapStatus::newFrom( nullptr, "RM1" );
   EXPECT_EQ( dumpOf( *fresh, 0 ),
              "RouteMapStatus RM1 features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no\n" );
}

TEST_F( RouteMapStatusTest, clonePublishesAsForAWriteOfEach ) {
   const auto source = routeMap( "SRC", { seqWith( 20, 2 ), seqWith( 30, 4 ) } );
   source->undefinedIs( true );
   source->undefinedReferencesIs( { 3 } );
   const auto target = routeMap( "RM1", { seqWith( 10, 1 ), seqWith( 20, 8, deny ) } );
   auto watcher = watch( *target );
   target->clone( *source );
   EXPECT_THAT( watcher.take(),
                ElementsAre( "features=8", "seqStatus[10] permit->null at features 8", "features=2",
                             "seqStatus[20] deny->permit at features 2", "features=6", "seqStatus[30] null->permit at features 6",
                             "undefined=yes", "undefinedReferences=3" ) );
   EXPECT_EQ( target->name(), "RM1" );
   EXPECT_EQ( target->seqStatus( 20 ), source->seqStatus( 20 ) );
   target->clone( *source );
   target->clone( *target );
   EXPECT_THAT( watcher.log, IsEmpty() );
}

TEST_F( RouteMapStatusTest, cloneTakesTheSwitchAndTheFeaturesThatGoWithIt ) {
   const auto source = routeMap( "SRC" );
   source->updateFeaturesOnSeqStatusChangeIs( false );
   source->seqStatusIs( seqWith( 10, 2 ) );
   const auto target = routeMap( "RM1" );
   target->clone( *source );
   EXPECT_EQ( target->features(), 0u );
   EXPECT_FALSE( target->updateFeaturesOnSeqStatusChange() );
   target->clone( RouteMapStatus( "NEW" ) );
   EXPECT_THAT( numbersOf( *target ), IsEmpty() );
   EXPECT_TRUE( target->updateFeaturesOnSeqStatusChange() );
}

// What has gone by when it is taken out stays cloned, and what is put in behind is cloned too.
TEST_F( RouteMapStatusTest, aReactionMayWriteTheSourceOfAClone ) {
   const struct {
      const char * name;
      std::function<void( Ptr<RouteMapStatus> & )> reaction;   // to the first sequence, 10 of 10..13
      std::vector<uint32_t> cloned;
      uint32_t features;
   } rows[] = {
      { "nothing", []( auto & ) {}, { 10, 11, 12, 13 }, 2 },
      { "empties it", []( auto & source ) { source->seqStatusDelAll(); }, { 10 }, 0 },   // the features that the source has then
      { "deletes where it stands", []( auto & source ) { source->seqStatusDel( 10 ); }, { 10, 11, 12, 13 }, 2 },
      { "deletes what is next", []( auto & source ) { source->seqStatusDel( 11 ); }, { 10, 12, 13 }, 2 },
      { "fills it",
        []( auto & source ) {
           for( uint32_t seqno : { 1, 2, 3, 4, 5, 6, 7, 8, 14 } ) source->seqStatusIs( seqWith( seqno, 4 ) );
        },
        { 10, 11, 12, 13, 14 },
        6 },
      { "drops it", []( auto & source ) { source = nullptr; }, { 10, 11, 12, 13 }, 2 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      auto source = routeMap( "SRC", { seqWith( 10, 2 ), seqWith( 11, 2 ), seqWith( 12, 2 ), seqWith( 13, 2 ) } );
      RouteMapStatus target( "RM1" );
      bool first = true;
      const Watcher reaction( target, [ & ]( const Quoin::Change & change ) {
         if( Field( change.field ) == Field::seqStatus && std::exchange( first, false ) ) row.reaction( source );
         return "";
      } );
      target.clone( *source );
      EXPECT_FALSE( first );
      EXPECT_EQ( numbersOf( target ), row.cloned );
      EXPECT_EQ( target.features().value(), row.features );
   }
}

TEST_F( RouteMapStatusTest, deepCopyHasSequencesOfItsOwn ) {
   RecordingSetter::Log log;
   const auto m1 = makeNode<FixedMatcher>( true, 1 ), m2 = makeNode<FixedMatcher>( true, 2 );
   const auto s1 = makeNode<RecordingSetter>( log ), s2 = makeNode<RecordingSetter>( log );
   const auto sub = routeMap( "SUB", { seqWith( 5, 8 ) } );
   const auto first = seq( 10, deny, { { MatchOption::matchTag, m1 }, { MatchOption::matchInterface, m2 } },
                           { { SetOption::setTag, s1 }, { SetOption::setDistance, s2 } } );
   first->subRouteMapIs( sub );
   first->subInvertIs( true );
   const auto map = routeMap( "RM1", { first, seq( 20 ) } );
   const auto copy = map->deepCopy();
   EXPECT_EQ( copy->name(), "RM1" );
   EXPECT_THAT( numbersOf( *copy ), ElementsAre( 10, 20 ) );
   const auto ofCopy = copy->seqStatus( 10 );
   EXPECT_NE( ofCopy, first );
   EXPECT_NE( copy->seqStatus( 20 ), map->seqStatus( 20 ) );
   EXPECT_EQ( ofCopy->matchAction(), deny );
   EXPECT_EQ( copy->seqStatus( 20 )->matchAction(), permit );
   EXPECT_EQ( ofCopy->subRouteMap(), sub );   // the pointer, as with matchers and setters
   EXPECT_TRUE( ofCopy->subInvert() );
   EXPECT_EQ( ofCopy->matcher().count(), 2u );
   EXPECT_EQ( ofCopy->matcher( MatchOption::matchTag ), m1 );
   EXPECT_EQ( ofCopy->matcher( MatchOption::matchInterface ), m2 );
   EXPECT_EQ( ofCopy->setter().count(), 2u );
   EXPECT_EQ( ofCopy->setter( SetOption::setTag ), s1 );
   EXPECT_EQ( ofCopy->setter( SetOption::setDistance ), s2 );
   EXPECT_EQ( copy->features(), 11u );
   EXPECT_TRUE( copy->updateFeaturesOnSeqStatusChange() );
   EXPECT_EQ( copy->useCount(), 1u );
}

TEST_F( RouteMapStatusTest, deepCopyHasNoContinuesAndNothingForAggregates ) {
   const auto m = makeNode<FixedMatcher>( true );
   const auto first = seq( 10, permit, { { MatchOption::matchTag, m } } ), second = seq( 20 );
   first->continueSeqIs( second );
   first->aggRoleAttrMapIs( routeMap( "AGG" ) );
   const auto copy = routeMap( "RM1", { first, second } )->deepCopy();
   EXPECT_EQ( copy->seqStatus( 10 )->continueSeq(), nullptr );
   EXPECT_EQ( copy->seqStatus( 10 )->aggRoleAttrMap(), nullptr );
   EXPECT_EQ( copy->seqStatus( 10 )->matcher( MatchOption::matchTag ), m );
   EXPECT_EQ( first->continueSeq(), second );
}

TEST_F( RouteMapStatusTest, deepCopyHasTheDefaultsOtherwise ) {
   const auto map = routeMap( "RM1", { seqWith( 10, 2 ) } );
   map->undefinedIs( true );
   map->undefinedReferencesIs( { 4 } );
   map->featuresIs( 0xf0 );
   map->updateFeaturesOnSeqStatusChangeIs( false );
   const auto copy = map->deepCopy();
   EXPECT_FALSE( copy->undefined() );
   EXPECT_EQ( copy->undefinedReferences().value, 0xff );
   EXPECT_EQ( copy->features(), 2u );
   EXPECT_TRUE( copy->updateFeaturesOnSeqStatusChange() );
}

TEST_F( RouteMapStatusTest, deepCopyComputesFeaturesOnce ) {
   const auto map = manySequences( 1000 );
   EXPECT_EQ( map->deepCopy()->features(), 0xffffffffu );
   expectEachComputed( 1 );
   EXPECT_EQ( makeNode<RouteMapStatus>( "EMPTY" )->deepCopy()->seqStatus().count(), 0u );
}

TEST_F( RouteMapStatusTest, aNewRouteMapDumpsItsUndefinedReferencesAsAllBits ) {
   EXPECT_EQ( dumpOf( RouteMapStatus( "RM1" ), 0 ),
              "RouteMapStatus RM1 features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no\n" );
}

TEST_F( RouteMapStatusTest, dumpsEveryAttributeAtEveryIndent ) {
   const struct {
      uint32_t features;
      bool update;
      uint8_t undefinedReferences;
      bool undefined;
      const char * text;
   } rows[] = {
      { 0, true, 0, true, "features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0x00, undefined=yes" },
      { 2, false, 0x0a, false, "features=<matchInterface>, updateFeaturesOnSeqStatusChange=no, undefinedReferences=0x0a, undefined=no" },
      { 0x2001, true, 0x10, false,
        "features=<matchPrefixDependent|matchBestpath>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0x10, undefined=no" },
   };
   for( const auto & row : rows ) {
      RouteMapStatus map( "RM-1 b" );
      map.featuresIs( row.features );
      map.updateFeaturesOnSeqStatusChangeIs( row.update );
      map.undefinedReferencesIs( { row.undefinedReferences } );
      map.undefinedIs( row.undefined );
      for( unsigned indent : { 0u, 1u, 2u, 9u } )
         EXPECT_EQ( dumpOf( map, indent ), std::string( indent, ' ' ) + "RouteMapStatus RM-1 b " + row.text + "\n" ) << indent;
   }
}

TEST_F( RouteMapStatusTest, dumpsItsSequencesInOrderTwoColumnsDeeper ) {
   const auto tag = seq( 20, deny, { { MatchOption::matchTag, makeNode<TagMatcher>( 7 ) } },
                         { { SetOption::setDistance, makeNode<DistanceSetter>( 9 ) } } );
   const auto first = seq( 10 );
   first->continueSeqIs( tag );
   const auto map = routeMap( "RM1", { tag, first } );
   const char * const lines[] = {
      "RouteMapStatus RM1 features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no",
      "  RouteMapSeqStatus permit 10",
      "    continueSeq",
      "  RouteMapSeqStatus deny 20",
      "    matchOption=matchTag TagMatcher tag 7",
      "    setOption=setDistance DistanceSetter distance 9",
   };
   for( unsigned indent : { 0u, 1u, 4u } ) {
      std::string expected;
      for( const char * line : lines ) expected += std::string( indent, ' ' ) + line + "\n";
      EXPECT_EQ( dumpOf( *map, indent ), expected ) << indent;
   }
}

TEST_F( RouteMapStatusTest, aSequenceOfTwoRouteMapsIsDumpedOncePerContext ) {
   const auto shared = seq( 10 );
   const auto a = routeMap( "A", { shared } ), b = routeMap( "B", { shared } );
   const auto context = makeNode<DumpContext>();
   a->dumpState( context, 0 );
   b->dumpState( context, 0 );
   b->dumpState( context, 3 );
   const std::string rest = " features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no\n";
   const std::string duplicate = "  RouteMapSeqStatus " + Quoin::DisplayPointer::toString( shared.get() ) + " (duplicate)\n";
   EXPECT_EQ( std::string( context->text() ),
              "RouteMapStatus A" + rest + "  RouteMapSeqStatus permit 10\n" + "RouteMapStatus B" + rest + duplicate +
                 "   RouteMapStatus B" + rest + "   " + duplicate );
}

TEST_F( RouteMapStatusTest, aSubRouteMapThatCallsBackIsDumpedToAnEnd ) {
   const auto s = seq( 10 );
   const auto map = routeMap( "A", { s } );
   s->subRouteMapIs( map );
   const std::string rest = " features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no\n";
   EXPECT_EQ( dumpOf( *map, 0 ),
              "RouteMapStatus A" + rest +
                 "  RouteMapSeqStatus permit 10\n"
                 "    subRouteMap=A\n"
                 "      RouteMapStatus A" +
                 rest + "        RouteMapSeqStatus " + Quoin::DisplayPointer::toString( s.get() ) + " (duplicate)\n" );
   s->subRouteMapIs( nullptr );
}

/// 200,000 sequences, each continuing to the next.
Ptr<RouteMapStatus> routeMapOfContinues() {
   constexpr uint32_t kSequences = 200'000;
   std::vector<Ptr<RouteMapSeqStatus>> sequences;
   for( uint32_t seqno = 1; seqno <= kSequences; ++seqno ) {
      sequences.push_back( seq( seqno ) );
      if( seqno > 1 ) sequences[ seqno - 2 ]->continueSeqIs( sequences.back() );
   }
   auto map = makeNode<RouteMapStatus>( "LONG" );
   map->updateFeaturesOnSeqStatusChangeIs( false );
   for( const auto & s : sequences ) map->seqStatusIs( s );
   map->updateFeatures();
   return map;
}

TEST_F( RouteMapStatusTest, manySequencesThatContinueAreReleasedOnASmallStack ) {
   auto map = routeMapOfContinues();
   EXPECT_EQ( map->seqStatus().count(), 200'000u );
   const auto last = map->seqStatus( 200'000 );
   onSmallStack( [ map = std::move( map ) ]() mutable { map = nullptr; } );
   EXPECT_EQ( last->useCount(), 1u );
}

TEST_F( RouteMapStatusTest, manySequencesThatContinueAreDeletedOnASmallStack ) {
   const auto map = routeMapOfContinues();
   const auto last = map->seqStatus( 200'000 );
   onSmallStack( [ & ] { map->seqStatusDelAll(); } );
   EXPECT_EQ( last->useCount(), 1u );
}

TEST_F( RouteMapStatusTest, deeplyNestedSubRouteMapsAreReleasedOnASmallStack ) {
   const auto innermost = routeMap( "RM", { seqWith( 10, 2 ) } );
   Ptr<const RouteMapStatus> outer = innermost;
   for( int i = 0; i < 50'000; ++i ) {
      const auto caller = seq( 10 );
      caller->subRouteMapIs( outer );
      outer = routeMap( "RM", { caller } );
   }
   EXPECT_EQ( outer->features(), 2u );
   onSmallStack( [ outer = std::move( outer ) ]() mutable { outer = nullptr; } );
   EXPECT_EQ( innermost->useCount(), 1u );
}

TEST_F( RouteMapStatusTest, aReactionMayDropTheRouteMap ) {
   using Map = RouteMapStatus;
   const auto two = [] { return routeMap( "RM", { seqWith( 10, 2 ), seqWith( 20, 4 ) } ); };
   EXPECT_EQ( toldWhileDropped<Map>( two(), []( Map & m ) { m.seqStatusIs( seqWith( 30, 8 ) ); } ), 2 );
   EXPECT_EQ( toldWhileDropped<Map>( two(), []( Map & m ) { m.seqStatusDel( 10 ); } ), 2 );
   EXPECT_EQ( toldWhileDropped<Map>( two(), []( Map & m ) { m.seqStatusDelAll(); } ), 3 );
   EXPECT_EQ( toldWhileDropped<Map>( routeMap( "RM" ), [ & ]( Map & m ) { m.clone( *two() ); } ), 4 );
   EXPECT_EQ( toldWhileDropped<Map>( two(), []( Map & m ) { m.featuresIs( 1 ); } ), 1 );
}

TEST_F( RouteMapStatusTest, aReactionMayDropTheRouteMapWhoseFeaturesAreUpdated ) {
   auto stale = routeMap( "RM", { seqWith( 10, 2 ) } );
   stale->updateFeaturesOnSeqStatusChangeIs( false );
   stale->featuresIs( 1 );
   EXPECT_EQ( toldWhileDropped<RouteMapStatus>( std::move( stale ), []( RouteMapStatus & m ) { m.updateFeatures(); } ), 2 );
}

}   // namespace
