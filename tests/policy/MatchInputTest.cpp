#include "policy/MatchInput.h"

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Ferule::IpAddr;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefix;
using Routing::RouteProto;
using Zeugma::MaybeU63;

const Quoin::Ptr<const ResolvedNexthopInfoSet> kInfo = Quoin::makeNode<ResolvedNexthopInfoSet>();

static_assert( std::has_virtual_destructor_v<MatchInput_> );

/// A field, the text of its default, and a value that is not the default.
struct Row {
   const char * name;
   const char * defaultText;
   std::function<void( MatchInput_ & )> set;
   std::string text;
};

// In the order of the text form.
const std::vector<Row> kRows = {
   { "metric", "none", []( MatchInput_ & i ) { i.metricIs( 16 ); }, "16" },
   { "protocol", "0", []( MatchInput_ & i ) { i.protocolIs( RouteProto( 31 ) ); }, "31" },
   { "prefix", "unset", []( MatchInput_ & i ) { i.prefixIs( IpGenPrefix( "10.1.0.0/16" ) ); }, "10.1.0.0/16" },
   { "nexthop", "unset", []( MatchInput_ & i ) { i.nexthopIs( IpGenAddr( "fe80::1" ) ); }, "fe80::1" },
   { "routerId", "0.0.0.0", []( MatchInput_ & i ) { i.routerIdIs( IpAddr( "1.2.3.4" ) ); }, "1.2.3.4" },
   { "tag", "0", []( MatchInput_ & i ) { i.tagIs( 0xffffffff ); }, "4294967295" },
   { "resolvedNexthopInfoSet", "NULL", []( MatchInput_ & i ) { i.resolvedNexthopInfoSetIs( kInfo ); },
     Quoin::DisplayPointer::toString( kInfo.get() ) },
   { "ospfInstance", "0", []( MatchInput_ & i ) { i.ospfInstanceIs( 17 ); }, "17" },
   { "isisInstance", "0", []( MatchInput_ & i ) { i.isisInstanceIs( 18 ); }, "18" },
   { "matchInterface", "no", []( MatchInput_ & i ) { i.matchInterfaceIs( true ); }, "yes" },
   { "matchResolvedNexthopInfo", "no", []( MatchInput_ & i ) { i.matchResolvedNexthopInfoIs( true ); }, "yes" },
   { "denyResolvedNexthop", "no", []( MatchInput_ & i ) { i.denyResolvedNexthopIs( true ); }, "yes" },
};

/// The text of an input in which only the fields that `isSet` names have the values of their rows.
std::string expectedText( const std::function<bool( const Row & )> & isSet ) {
   std::string text = "Routing::Policy::MatchInput_(";
   for( const Row & row : kRows ) {
      if( &row != &kRows.front() ) text += ", ";
      text += row.name + std::string( "=" ) + ( isSet( row ) ? row.text : row.defaultText );
   }
   return text + ")";
}

TEST( MatchInput, startsDefaultBuilt ) {
   const MatchInput_ input;
   EXPECT_FALSE( input.metric().present() );
   EXPECT_EQ( input.protocol(), RouteProto( 0 ) );
   EXPECT_EQ( input.prefix(), IpGenPrefix() );
   EXPECT_EQ( input.nexthop(), IpGenAddr() );
   EXPECT_EQ( input.routerId(), IpAddr() );
   EXPECT_EQ( input.tag(), 0u );
   EXPECT_EQ( input.resolvedNexthopInfoSet(), nullptr );
   EXPECT_EQ( input.ospfInstance(), 0u );
   EXPECT_EQ( input.isisInstance(), 0u );
   EXPECT_FALSE( input.matchInterface() || input.matchResolvedNexthopInfo() || input.denyResolvedNexthop() );
   EXPECT_FALSE( bool( input ) );
   EXPECT_EQ( testing::PrintToString( input ), expectedText( []( const Row & ) { return false; } ) );
}

TEST( MatchInput, everyFieldCountsAlone ) {
   for( const Row & row : kRows ) {
      SCOPED_TRACE( row.name );
      const MatchInput_ plain;
      MatchInput_ one, same;
      row.set( one );
      row.set( same );
      EXPECT_TRUE( bool( one ) );
      EXPECT_FALSE( one == plain );
      EXPECT_FALSE( MatchInput_::isEq( &one, &plain ) );
      EXPECT_FALSE( MatchInput_::isEq( &plain, &one ) );
      EXPECT_TRUE( MatchInput_::isEq( &one, &same ) );
      EXPECT_EQ( textOnOddStream( one ), expectedText( [ & ]( const Row & r ) { return &r == &row; } ) );
      one = plain;
      EXPECT_FALSE( bool( one ) );
      EXPECT_TRUE( one == plain );
   }
}

TEST( MatchInput, absentMetricsAreEqualAndAnAbsentOneEqualsNoPresentOne ) {
   const struct {
      const char * name;
      MaybeU63 a, b;
      bool equal;
   } rows[] = {
      { "absent on both sides", {}, {}, true },
      { "absent on both sides, other low bits", MaybeU63( MaybeU63::kAbsent | 5 ), {}, true },
      { "absent on one side, 0 on the other", {}, 0, false },
      { "absent with the low bits of the present one", MaybeU63( MaybeU63::kAbsent | 5 ), 5, false },
      { "both 5", 5, 5, true },
      { "5 and 6", 5, 6, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      MatchInput_ a, b;
      a.metricIs( row.a );
      b.metricIs( row.b );
      EXPECT_EQ( MatchInput_::isEq( &a, &b ), row.equal );
      EXPECT_EQ( MatchInput_::isEq( &b, &a ), row.equal );
   }
}

TEST( MatchInput, anAbsentMetricWithLowBitsIsStillTheDefault ) {
   MatchInput_ input;
   input.metricIs( MaybeU63( MaybeU63::kAbsent | 5 ) );
   EXPECT_FALSE( bool( input ) );
}

TEST( MatchInput, infoSetsAreComparedByIdentity ) {
   MatchInput_ a, b;
   a.resolvedNexthopInfoSetIs( Quoin::makeNode<ResolvedNexthopInfoSet>() );
   b.resolvedNexthopInfoSetIs( Quoin::makeNode<ResolvedNexthopInfoSet>() );
   EXPECT_FALSE( MatchInput_::isEq( &a, &b ) );
   b = a;
   EXPECT_TRUE( MatchInput_::isEq( &a, &b ) );
}

TEST( MatchInput, theGettersGiveTheFields ) {
   MatchInput_ input;
   for( const Row & row : kRows ) row.set( input );
   EXPECT_EQ( input.getMetric(), MaybeU63( 16 ) );
   EXPECT_EQ( input.getProtocol(), RouteProto( 31 ) );
   EXPECT_EQ( input.getPrefixPointer(), &input.prefix() );
   EXPECT_EQ( *input.getPrefixPointer(), IpGenPrefix( "10.1.0.0/16" ) );
   EXPECT_EQ( input.getNexthop(), IpGenAddr( "fe80::1" ) );
   EXPECT_EQ( input.getRouterId(), IpAddr( "1.2.3.4" ) );
   EXPECT_EQ( input.getResolvedNexthopInfoSet(), kInfo );
   EXPECT_EQ( input.getTag(), 0xffffffff );
   EXPECT_EQ( input.getOspfInstance(), 17u );
   EXPECT_EQ( input.getIsisInstance(), 18u );
}

TEST( MatchInput, virtualOperationsStandInSlotOrder ) {
   if( slotOf( &MatchInput_::getMetric ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const std::vector<long> slots = { slotOf( &MatchInput_::getMetric ),        slotOf( &MatchInput_::getProtocol ),
                                     slotOf( &MatchInput_::getPrefixPointer ), slotOf( &MatchInput_::getNexthop ),
                                     slotOf( &MatchInput_::getRouterId ),      slotOf( &MatchInput_::getResolvedNexthopInfoSet ),
                                     slotOf( &MatchInput_::getTag ),           slotOf( &MatchInput_::getOspfInstance ),
                                     slotOf( &MatchInput_::getIsisInstance ),  slotOf( &MatchInput_::getOwnKeys ) };
   EXPECT_THAT( slots, testing::ElementsAre( 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 ) );
}

}   // namespace
