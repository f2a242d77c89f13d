#include "policy/RouteMapSeqStatus.h"

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DistanceSetter.h"
#include "policy/InterfaceMatcher.h"
#include "policy/RouteMapStatus.h"
#include "policy/TagMatcher.h"
#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Field = RouteMapSeqStatus::Field;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Zeugma::DumpContext;

// The order of the attributes.
static_assert( int( Field::matcher ) == 0 && int( Field::subRouteMap ) == 1 && int( Field::aggRoleAttrMap ) == 2 &&
               int( Field::setter ) == 3 && int( Field::continueSeq ) == 4 && int( Field::subInvert ) == 5 &&
               int( Field::matchAction ) == 6 );
static_assert( std::is_base_of_v<Zeugma::BaseNotifyingType, RouteMapSeqStatus> );

/// "field", and for a collection the key and what the member was and is.
std::string describe( const RouteMapSeqStatus & s, const Quoin::Change & change ) {
   const auto member = [ & ]( const char * field, auto key, const auto & now ) {
      const auto & old = *static_cast<const std::decay_t<decltype( now )> *>( change.oldValue );
      const auto textOf = []( const auto & p ) { return p ? std::string( p->toStrep() ) : "null"; };
      return field + std::string( "[" ) + std::to_string( int( key ) ) + "] " + textOf( old ) + "->" + textOf( now );
   };
   const auto plain = [ & ]( const char * field ) {
      return field + std::string( change.key || change.oldValue || change.keyIsEq ? " with a key" : "" );
   };
   switch( Field( change.field ) ) {
      case Field::matcher: {
         const auto key = *static_cast<const MatchOption *>( change.key );
         return member( "matcher", key, s.matcher( key ) );
      }
      case Field::subRouteMap: return plain( "subRouteMap" );
      case Field::aggRoleAttrMap: return plain( "aggRoleAttrMap" );
      case Field::setter: {
         const auto key = *static_cast<const SetOption *>( change.key );
         return member( "setter", key, s.setter( key ) );
      }
      case Field::continueSeq: return plain( "continueSeq" );
      case Field::subInvert: return plain( "subInvert" );
      case Field::matchAction: return plain( "matchAction" );
   }
   return "unknown";
}

class RouteMapSeqStatusTest : public testing::Test {
 protected:
   static std::string dumpOf( const RouteMapSeqStatus & s, unsigned indent ) {
      const auto context = makeNode<DumpContext>();
      s.dumpState( context, indent );
      return std::string( context->text() );
   }
   Watcher watch( RouteMapSeqStatus & s ) const {
      return { s, [ &s ]( const Quoin::Change & change ) { return describe( s, change ); } };
   }
   /// Every attribute away from its default.
   Ptr<RouteMapSeqStatus> fullSeq( uint32_t seqno ) const {
      auto full =
         seq( seqno, deny, { { MatchOption::matchTag, m1 }, { MatchOption::matchInterface, m2 } }, { { SetOption::setDistance, s1 } } );
      full->subRouteMapIs( sub );
      full->aggRoleAttrMapIs( agg );
      full->continueSeqIs( next );
      full->subInvertIs( true );
      return full;
   }
   RecordingSetter::Log log;
   Ptr<const FixedMatcher> m1 = makeNode<FixedMatcher>( true, 1, "m1" ), m2 = makeNode<FixedMatcher>( true, 2, "m2" );
   Ptr<const RecordingSetter> s1 = makeNode<RecordingSetter>( log, "s1" ), s2 = makeNode<RecordingSetter>( log, "s2" );
   Ptr<const RouteMapStatus> sub = routeMap( "SUB" ), agg = routeMap( "AGG" );
   Ptr<const RouteMapSeqStatus> next = seq( 99 );
};

TEST_F( RouteMapSeqStatusTest, startsWithItsNumberAndTheDefaults ) {
   for( uint32_t seqno : { 0u, 10u, 0xffffffffu } ) {
      const RouteMapSeqStatus s( seqno );
      EXPECT_EQ( s.seqno(), seqno );
      EXPECT_EQ( s.matcher().count(), 0u );
      EXPECT_EQ( s.subRouteMap(), nullptr );
      EXPECT_EQ( s.aggRoleAttrMap(), nullptr );
      EXPECT_EQ( s.setter().count(), 0u );
      EXPECT_EQ( s.continueSeq(), nullptr );
      EXPECT_FALSE( s.subInvert() );
      EXPECT_EQ( s.matchAction(), permit );
      EXPECT_EQ( int( s.matchAction() ), 1 );
      EXPECT_EQ( s.subRouteMapRawPtr(), nullptr );
      EXPECT_EQ( s.aggRoleAttrMapRawPtr(), nullptr );
      EXPECT_EQ( s.getFeatures(), 0u );
   }
}

TEST_F( RouteMapSeqStatusTest, membersStandInAscendingOrderOfOption ) {
   RouteMapSeqStatus s( 10 );
   for( int option : { 132, 0, 115, 2, 255, 1 } ) s.matcherIs( MatchOption( option ), m1 );
   for( int option : { 37, 1, 255, 9, 0 } ) s.setterIs( SetOption( option ), s1 );
   std::vector<int> matchers, setters;
   for( const auto & member : s.matcher() ) matchers.push_back( int( member.first ) );
   for( const auto & member : s.setter() ) setters.push_back( int( member.first ) );
   EXPECT_THAT( matchers, ElementsAre( 0, 1, 2, 115, 132, 255 ) );
   EXPECT_THAT( setters, ElementsAre( 0, 1, 9, 37, 255 ) );
}

TEST_F( RouteMapSeqStatusTest, sameValueTwicePublishesOnce ) {
   RouteMapSeqStatus s( 10 );
   const auto target = seq( 98 );
   auto watcher = watch( s );
   const struct {
      const char * told;
      std::function<void()> write;
   } rows[] = {
      { "matcher[115] null->m1", [ & ] { s.matcherIs( MatchOption::matchTag, m1 ); } },
      { "matcher[115] m1->m2", [ & ] { s.matcherIs( MatchOption::matchTag, m2 ); } },
      { "matcher[1] null->m1", [ & ] { s.matcherIs( MatchOption::matchIpAccessList, m1 ); } },
      { "matcher[115] m2->null", [ & ] { s.matcherDel( MatchOption::matchTag ); } },
      { "matcher[1] m1->null", [ & ] { s.matcherDelAll(); } },
      { "setter[9] null->s1", [ & ] { s.setterIs( SetOption::setDistance, s1 ); } },
      { "setter[9] s1->s2", [ & ] { s.setterIs( SetOption::setDistance, s2 ); } },
      { "setter[2] null->s1", [ & ] { s.setterIs( SetOption::setTag, s1 ); } },
      { "setter[9] s2->null", [ & ] { s.setterDel( SetOption::setDistance ); } },
      { "setter[2] s1->null", [ & ] { s.setterDelAll(); } },
      { "subRouteMap", [ & ] { s.subRouteMapIs( sub ); } },
      { "subRouteMap", [ & ] { s.subRouteMapIs( agg ); } },
      { "subRouteMap", [ & ] { s.subRouteMapIs( nullptr ); } },
      { "aggRoleAttrMap", [ & ] { s.aggRoleAttrMapIs( agg ); } },
      { "aggRoleAttrMap", [ & ] { s.aggRoleAttrMapIs( nullptr ); } },
      { "continueSeq", [ & ] { s.continueSeqIs( next ); } },
      { "continueSeq", [ & ] { s.continueSeqIs( target ); } },
      { "continueSeq", [ & ] { s.continueSeqIs( nullptr ); } },
      { "subInvert", [ & ] { s.subInvertIs( true ); } },
      { "subInvert", [ & ] { s.subInvertIs( false ); } },
      { "matchAction", [ & ] { s.matchActionIs( deny ); } },
      { "matchAction", [ & ] { s.matchActionIs( permit ); } },
   };
   int i = 0;
   for( const auto & row : rows ) {
      SCOPED_TRACE( std::to_string( i++ ) + ": " + row.told );
      row.write();
      EXPECT_THAT( watcher.take(), ElementsAre( row.told ) );
      row.write();
      EXPECT_THAT( watcher.take(), IsEmpty() );
   }
}

TEST_F( RouteMapSeqStatusTest, defaultsWrittenOverDefaultsPublishNothing ) {
   RouteMapSeqStatus s( 10 );
   auto watcher = watch( s );
   s.subRouteMapIs( nullptr );
   s.aggRoleAttrMapIs( nullptr );
   s.continueSeqIs( nullptr );
   s.subInvertIs( false );
   s.matchActionIs( permit );
   s.matcherDel( MatchOption::matchTag );
   s.matcherDelAll();
   s.setterDel( SetOption::setTag );
   s.setterDelAll();
   EXPECT_THAT( watcher.log, IsEmpty() );
}

TEST_F( RouteMapSeqStatusTest, aNullMemberIsRefusedAndNothingIsLost ) {
   const auto s = seq( 10, permit, { { MatchOption::matchTag, m1 } }, { { SetOption::setTag, s1 } } );
   auto watcher = watch( *s );
   for( auto option : { MatchOption::matchTag, MatchOption::matchTagSet } )
      EXPECT_THROW( s->matcherIs( option, nullptr ), Plinth::MutatorArgNullPointerException ) << option;
   for( auto option : { SetOption::setTag, SetOption::setMetric } )
      EXPECT_THROW( s->setterIs( option, nullptr ), Plinth::MutatorArgNullPointerException ) << option;
   EXPECT_THAT( watcher.log, IsEmpty() );
   EXPECT_THAT( std::vector( s->matcher().begin(), s->matcher().end() ), ElementsAre( Pair( MatchOption::matchTag, m1 ) ) );
   EXPECT_THAT( std::vector( s->setter().begin(), s->setter().end() ), ElementsAre( Pair( SetOption::setTag, s1 ) ) );
}

TEST_F( RouteMapSeqStatusTest, rawPointersAreThoseOfTheHandles ) {
   const auto s = fullSeq( 10 );
   EXPECT_EQ( s->subRouteMapRawPtr(), sub.get() );
   EXPECT_EQ( s->aggRoleAttrMapRawPtr(), agg.get() );
   static_assert( std::is_same_v<decltype( s->subRouteMapRawPtr() ), const RouteMapStatus *> );
   static_assert( std::is_same_v<decltype( s->aggRoleAttrMapRawPtr() ), const RouteMapStatus *> );
}

TEST_F( RouteMapSeqStatusTest, featuresAreThoseOfMatchersThenSettersThenTheSubRouteMap ) {
   struct Asked : Matcher {
      Asked( std::vector<int> & o, int n ) : order( o ), number( n ) {}
      bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override { return true; }
      void formatDerivedType( std::ostream & ) const override {}
      RouteMapFeatures getFeatures() const override { return order.push_back( number ), 1u << number; }
      std::vector<int> & order;
      int number;
   };
   struct AskedSetter : Setter {
      AskedSetter( std::vector<int> & o, int n ) : order( o ), number( n ) {}
      void setValue( Result_ * ) const override {}
      void formatDerivedType( std::ostream & ) const override {}
      RouteMapFeatures getFeatures() const override { return order.push_back( number ), 1u << number; }
      std::vector<int> & order;
      int number;
   };
   std::vector<int> order;
   const auto s = seq( 10, permit,
                       { { MatchOption( 132 ), makeNode<Asked>( order, 3 ) },
                         { MatchOption( 1 ), makeNode<Asked>( order, 1 ) },
                         { MatchOption( 2 ), makeNode<Asked>( order, 2 ) } },
                       { { SetOption( 9 ), makeNode<AskedSetter>( order, 5 ) }, { SetOption( 2 ), makeNode<AskedSetter>( order, 4 ) } } );
   const auto called = routeMap( "SUB" );
   called->featuresIs( 0x80000000u );   // as it stands there: a sub route map is not computed anew
   s->subRouteMapIs( called );
   EXPECT_EQ( s->getFeatures(), 0x8000003eu );
   EXPECT_THAT( order, ElementsAre( 1, 2, 3, 4, 5 ) );
}

TEST_F( RouteMapSeqStatusTest, whatIsAppliedToAggregatesHasNoFeatures ) {
   const auto s = seq( 10, permit, { { MatchOption::matchTag, m1 } } );
   const auto aggregates = routeMap( "AGG" );
   aggregates->featuresIs( 0x10 );
   s->aggRoleAttrMapIs( aggregates );
   EXPECT_EQ( s->getFeatures(), 1u );
}

TEST_F( RouteMapSeqStatusTest, newFromTakesEverythingButTheNumber ) {
   const auto source = fullSeq( 10 );
   const auto copy = RouteMapSeqStatus::newFrom( source, 20 );
   EXPECT_EQ( copy->seqno(), 20u );
   EXPECT_THAT( std::vector( copy->matcher().begin(), copy->matcher().end() ),
                ElementsAre( Pair( MatchOption::matchInterface, m2 ), Pair( MatchOption::matchTag, m1 ) ) );
   EXPECT_EQ( copy->subRouteMap(), sub );
   EXPECT_EQ( copy->aggRoleAttrMap(), agg );
   EXPECT_THAT( std::vector( copy->setter().begin(), copy->setter().end() ), ElementsAre( Pair( SetOption::setDistance, s1 ) ) );
   EXPECT_EQ( copy->continueSeq(), next );
   EXPECT_TRUE( copy->subInvert() );
   EXPECT_EQ( copy->matchAction(), deny );
   EXPECT_EQ( copy->useCount(), 1u );
}

TEST_F( RouteMapSeqStatusTest, clonePublishesAsForAWriteOfEach ) {
   const auto source = fullSeq( 10 );
   const auto target =
      seq( 20, permit, { { MatchOption::matchTag, m2 }, { MatchOption::matchTagSet, m1 } }, { { SetOption::setTag, s2 } } );
   auto watcher = watch( *target );
   target->clone( *source );
   EXPECT_THAT( watcher.take(),
                testing::UnorderedElementsAre( "matcher[132] m1->null", "matcher[115] m2->m1", "matcher[3] null->m2", "subRouteMap",
                                               "aggRoleAttrMap", "setter[2] s2->null", "setter[9] null->s1", "continueSeq", "subInvert",
                                               "matchAction" ) );
   EXPECT_EQ( target->seqno(), 20u );
   EXPECT_EQ( dumpOf( *target, 0 ), dumpOf( *RouteMapSeqStatus::newFrom( source, 20 ), 0 ) );
   target->clone( *source );
   target->clone( *target );
   EXPECT_THAT( watcher.log, IsEmpty() );
}

TEST_F( RouteMapSeqStatusTest, cloneOfADefaultSequenceClears ) {
   const auto target = fullSeq( 20 );
   target->clone( RouteMapSeqStatus( 10 ) );
   EXPECT_EQ( dumpOf( *target, 0 ), "RouteMapSeqStatus permit 20\n" );
   EXPECT_FALSE( target->subInvert() );
}

TEST_F( RouteMapSeqStatusTest, dumpsEveryLineAtEveryIndent ) {
   const auto called = routeMap( "SUB", { seq( 5, deny ) } ), aggregates = routeMap( "AGG" );
   called->undefinedReferencesIs( {} );
   // Options out of order, one without a name.
   const auto s = seq( 10, deny,
                       { { MatchOption::matchTag, makeNode<TagMatcher>( 7 ) },
                         { MatchOption::matchInterface, makeNode<InterfaceMatcher>( Ferule::IntfId( 3 ) ) },
                         { MatchOption( 50 ), m1 } },
                       { { SetOption::setDistance, makeNode<DistanceSetter>( 65 ) }, { SetOption::setTag, s1 } } );
   s->subRouteMapIs( called );
   s->aggRoleAttrMapIs( aggregates );
   s->continueSeqIs( next );
   s->subInvertIs( true );
   const char * const lines[] = {
      "RouteMapSeqStatus deny 10",
      "  subRouteMap=SUB",
      "    RouteMapStatus SUB features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0x00, undefined=no",
      "      RouteMapSeqStatus deny 5",
      "  aggRoleAttrMap=AGG",
      "    RouteMapStatus AGG features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no",
      "  matchOption=matchInterface InterfaceMatcher interface 3",
      "  matchOption=matchOption50 m1",
      "  matchOption=matchTag TagMatcher tag 7",
      "  setOption=setTag s1",
      "  setOption=setDistance DistanceSetter distance 65",
      "  continueSeq",
   };
   for( unsigned indent : { 0u, 1u, 2u, 7u } ) {
      SCOPED_TRACE( indent );
      std::string expected;
      for( const char * line : lines ) expected += std::string( indent, ' ' ) + line + "\n";
      EXPECT_EQ( dumpOf( *s, indent ), expected );
   }
}

TEST_F( RouteMapSeqStatusTest, dumpsARouteMapThatItCallsTwiceOnce ) {
   const auto s = seq( 10 );
   s->subRouteMapIs( sub );
   s->aggRoleAttrMapIs( sub );
   EXPECT_EQ( dumpOf( *s, 0 ),
              "RouteMapSeqStatus permit 10\n"
              "  subRouteMap=SUB\n"
              "    RouteMapStatus SUB features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no\n"
              "  aggRoleAttrMap=SUB\n"
              "    RouteMapStatus " +
                 Quoin::DisplayPointer::toString( sub.get() ) + " (duplicate)\n" );
}

TEST_F( RouteMapSeqStatusTest, aTextOfPercentSignsIsDumpedAsItStands ) {
   const auto s = seq( 10, permit, { { MatchOption::matchTag, makeNode<FixedMatcher>( true, 0, "100%s %n" ) } } );
   s->subRouteMapIs( routeMap( "%s%n" ) );
   EXPECT_EQ( dumpOf( *s, 0 ),
              "RouteMapSeqStatus permit 10\n"
              "  subRouteMap=%s%n\n"
              "    RouteMapStatus %s%n features=<>, updateFeaturesOnSeqStatusChange=yes, undefinedReferences=0xff, undefined=no\n"
              "  matchOption=matchTag 100%s %n\n" );
}

/// 1 -> 2 -> ... -> 200,000; gives the first, which alone has a user.
Ptr<RouteMapSeqStatus> chainOfContinues() {
   auto first = seq( 200'000 );
   for( uint32_t seqno = 200'000; seqno-- > 1; ) {
      auto before = seq( seqno );
      before->continueSeqIs( first );
      first = before;
   }
   return first;
}

TEST_F( RouteMapSeqStatusTest, aLongChainOfContinuesIsReleasedOnASmallStack ) {
   auto chain = chainOfContinues();
   Ptr<const RouteMapSeqStatus> last = chain;
   while( last->continueSeq() ) last = last->continueSeq();
   EXPECT_EQ( last->seqno(), 200'000u );
   EXPECT_EQ( last->useCount(), 2u );
   onSmallStack( [ chain = std::move( chain ) ]() mutable { chain = nullptr; } );
   EXPECT_EQ( last->useCount(), 1u );
}

TEST_F( RouteMapSeqStatusTest, aLongChainOfContinuesIsCutOnASmallStack ) {
   const auto chain = chainOfContinues();
   onSmallStack( [ & ] { chain->continueSeqIs( nullptr ); } );
   EXPECT_EQ( chain->continueSeq(), nullptr );
}

TEST_F( RouteMapSeqStatusTest, aReactionMayDropTheSequence ) {
   const auto full = [] {
      return seq(
         10, deny,
         { { MatchOption::matchTag, makeNode<FixedMatcher>( true ) }, { MatchOption::matchMetric, makeNode<FixedMatcher>( true ) } },
         { { SetOption::setMetric, makeNode<DistanceSetter>( 1 ) }, { SetOption::setDistance, makeNode<DistanceSetter>( 2 ) } } );
   };
   using Seq = RouteMapSeqStatus;
   EXPECT_EQ( toldWhileDropped<Seq>( full(), []( Seq & s ) { s.matcherDelAll(); } ), 2 );
   EXPECT_EQ( toldWhileDropped<Seq>( full(), []( Seq & s ) { s.setterDelAll(); } ), 2 );
   EXPECT_EQ( toldWhileDropped<Seq>( seq( 10 ), [ & ]( Seq & s ) { s.clone( *full() ); } ), 5 );
   EXPECT_EQ( toldWhileDropped<Seq>( full(), []( Seq & s ) { s.clone( *seq( 10 ) ); } ), 5 );
}

}   // namespace
