#include "policy/Result.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;
using testing::ElementsAre;
using testing::IsEmpty;
using Zeugma::MaybeU63;

static_assert( SeqNumberType::seqNum10 != SeqNumberType::seqNum20 );
static_assert( std::has_virtual_destructor_v<Result_> );

class ResultTest : public testing::Test {
 protected:
   Result_ result;
   RecordingSetter::Log log;
   Quoin::Ptr<const Setter> a = makeNode<RecordingSetter>( log, "a" ), b = makeNode<RecordingSetter>( log, "b" ),
                            c = makeNode<RecordingSetter>( log, "c" );
};

/// Keeps preference and tag in places of its own, and counts.
struct OwnResult : Result_ {
   PolicyApplicationType applicationType() const override { return PolicyApplicationType::bgp; }
   void setPreference( Routing::RoutePreference p ) override { calls.push_back( "setPreference" ), ownPreference = p; }
   Routing::RoutePreference getPreference() const override { return calls.push_back( "getPreference" ), ownPreference; }
   void setTag( Routing::RouteTag t ) override { calls.push_back( "setTag" ), ownTag = t; }
   Routing::RouteTag getTag() const override { return calls.push_back( "getTag" ), ownTag; }
   mutable std::vector<std::string> calls;
   Routing::RoutePreference ownPreference = 3;
   Routing::RouteTag ownTag = 4;
};

TEST_F( ResultTest, startsDefaultBuilt ) {
   EXPECT_EQ( result.preferenceStorage(), 0 );
   EXPECT_EQ( result.tagStorage(), 0u );
   EXPECT_FALSE( result.metric().present() );
   EXPECT_EQ( result.dps(), nullptr );
   EXPECT_EQ( result.deferredSetters(), 0u );
}

TEST_F( ResultTest, theBaseIsOfTheDefaultApplication ) {
   EXPECT_EQ( result.applicationType(), PolicyApplicationType::defaultApplication );
   EXPECT_EQ( int( result.applicationType() ), 2 );
   EXPECT_NE( PolicyApplicationType::bgp, PolicyApplicationType::redistIgp );
   EXPECT_NE( PolicyApplicationType::bgp, PolicyApplicationType::defaultApplication );
   EXPECT_NE( PolicyApplicationType::redistIgp, PolicyApplicationType::defaultApplication );
   EXPECT_EQ( static_cast<const Result_ &>( OwnResult() ).applicationType(), PolicyApplicationType::bgp );
}

TEST_F( ResultTest, theAccessorsOfTheBaseKeepTheirValuesInTheFields ) {
   result.preferenceIs( 200 );
   result.tagIs( 0xffffffff );
   EXPECT_EQ( result.preferenceStorage(), 200 );
   EXPECT_EQ( result.tagStorage(), 0xffffffff );
   EXPECT_EQ( result.preference(), 200 );
   EXPECT_EQ( result.getPreference(), 200 );
   EXPECT_EQ( result.tag(), 0xffffffff );
   EXPECT_EQ( result.getTag(), 0xffffffff );
   result.preferenceStorageIs( 5 );
   result.tagStorageIs( 6 );
   EXPECT_EQ( result.preference(), 5 );
   EXPECT_EQ( result.tag(), 6u );
}

TEST_F( ResultTest, aDerivedResultSeesEachChange ) {
   OwnResult own;
   Result_ & base = own;
   base.preferenceIs( 1 );
   base.tagIs( 2 );
   EXPECT_EQ( base.preference(), 1 );
   EXPECT_EQ( base.tag(), 2u );
   EXPECT_THAT( own.calls, ElementsAre( "setPreference", "setTag", "getPreference", "getTag" ) );
   EXPECT_EQ( base.preferenceStorage(), 0 );
   EXPECT_EQ( base.tagStorage(), 0u );
}

TEST_F( ResultTest, deferredSettersStandInOrderOfRegistrationAndOnce ) {
   for( const auto & s : { b, a, b, c, a } ) result.deferredSetterIs( s.get() );
   ASSERT_TRUE( result.dps() );
   EXPECT_THAT( result.dps()->setters(), ElementsAre( b.get(), a.get(), c.get() ) );
   EXPECT_EQ( result.deferredSetters(), 3u );
}

TEST_F( ResultTest, theListIsCreatedOnFirstUseAndKept ) {
   EXPECT_FALSE( result.deferredSetter( a.get() ) );
   result.deferredSetterDel( a.get() );
   result.deferredSetterDelAll();
   EXPECT_EQ( result.dps(), nullptr );
   result.deferredSetterIs( a.get() );
   EXPECT_TRUE( result.deferredSetter( a.get() ) );
   EXPECT_FALSE( result.deferredSetter( b.get() ) );
   const auto list = result.dps();
   ASSERT_TRUE( list );
   result.deferredSetterIs( b.get() );
   result.deferredSetterDel( b.get() );
   result.deferredSetterDel( a.get() );
   EXPECT_EQ( result.dps(), list );
   EXPECT_EQ( result.deferredSetters(), 0u );
}

TEST_F( ResultTest, theListKeepsNoSetterAlive ) {
   result.deferredSetterIs( a.get() );
   EXPECT_EQ( a->useCount(), 1u );
}

TEST_F( ResultTest, deletionTakesOneAndKeepsTheOrder ) {
   for( const auto & s : { a, b, c } ) result.deferredSetterIs( s.get() );
   result.deferredSetterDel( b.get() );
   EXPECT_THAT( result.dps()->setters(), ElementsAre( a.get(), c.get() ) );
   result.deferredSetterDel( b.get() );
   EXPECT_THAT( result.dps()->setters(), ElementsAre( a.get(), c.get() ) );
   result.dps()->setters() = { a.get(), b.get(), a.get() };   // past the guard of deferredSetterIs()
   result.deferredSetterDel( a.get() );
   EXPECT_THAT( result.dps()->setters(), ElementsAre( b.get(), a.get() ) );
}

TEST_F( ResultTest, delAllEmptiesTheListAndLetsGoOfIt ) {
   for( const auto & s : { a, b } ) result.deferredSetterIs( s.get() );
   const auto list = result.dps();
   result.deferredSetterDelAll();
   EXPECT_EQ( result.dps(), nullptr );
   EXPECT_THAT( list->setters(), IsEmpty() );
   EXPECT_FALSE( result.deferredSetter( a.get() ) );
   result.deferredSetterIs( b.get() );
   EXPECT_THAT( result.dps()->setters(), ElementsAre( b.get() ) );
}

TEST_F( ResultTest, everyFieldCountsForEquality ) {
   const struct {
      const char * name;
      void ( *set )( Result_ &, const Setter * );
   } rows[] = {
      { "preference", []( Result_ & r, const Setter * ) { r.preferenceIs( 1 ); } },
      { "tag", []( Result_ & r, const Setter * ) { r.tagIs( 1 ); } },
      { "metric", []( Result_ & r, const Setter * ) { r.metricIs( 1 ); } },
      { "dps", []( Result_ & r, const Setter * s ) { r.deferredSetterIs( s ); } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const Result_ plain;
      Result_ one;
      row.set( one, a.get() );
      EXPECT_FALSE( one == plain );
      EXPECT_FALSE( Result_::isEq( &one, &plain ) );
      EXPECT_FALSE( Result_::isEq( &plain, &one ) );
      const Result_ copy = one;
      EXPECT_TRUE( Result_::isEq( &one, &copy ) );
   }
}

TEST_F( ResultTest, equalityIsOfWhatTheAccessorsGive ) {
   OwnResult one, two;
   EXPECT_TRUE( one == two );
   two.ownPreference = 5;
   EXPECT_FALSE( one == two );
   two.ownPreference = one.ownPreference;
   two.ownTag = 5;
   EXPECT_FALSE( one == two );
   EXPECT_FALSE( one == result );
   result.preferenceIs( 3 );
   result.tagIs( 4 );
   EXPECT_TRUE( one == result );
}

TEST_F( ResultTest, listsAreComparedByIdentity ) {
   Result_ other;
   result.deferredSetterIs( a.get() );
   other.deferredSetterIs( a.get() );
   EXPECT_FALSE( Result_::isEq( &result, &other ) );
   other = result;
   other.deferredSetterIs( b.get() );   // the list is shared
   EXPECT_TRUE( Result_::isEq( &result, &other ) );
   EXPECT_EQ( result.deferredSetters(), 2u );
}

TEST_F( ResultTest, absentMetricsAreEqualAndAnAbsentOneEqualsNoPresentOne ) {
   const struct {
      const char * name;
      MaybeU63 a, b;
      bool equal;
   } rows[] = {
      { "absent on both sides", {}, {}, true },
      { "absent on both sides, other low bits", MaybeU63( MaybeU63::kAbsent | 5 ), {}, true },
      { "absent on one side, 0 on the other", {}, 0, false },
      { "both 0", 0, 0, true },
      { "5 and 6", 5, 6, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Result_ one, two;
      one.metricIs( row.a );
      two.metricIs( row.b );
      EXPECT_EQ( Result_::isEq( &one, &two ), row.equal );
      EXPECT_EQ( Result_::isEq( &two, &one ), row.equal );
   }
}

TEST_F( ResultTest, textNamesEveryFieldInOrder ) {
   EXPECT_EQ( testing::PrintToString( result ), "Routing::Policy::Result_(preferenceStorage=0, tagStorage=0, metric=none, dps=NULL)" );
   result.preferenceIs( 65 );   // not 'A'
   result.tagIs( 4294967295u );
   result.metricIs( 1000 );
   result.deferredSetterIs( a.get() );
   EXPECT_EQ( textOnOddStream( result ),
              "Routing::Policy::Result_(preferenceStorage=65, tagStorage=4294967295, metric=1000, dps=" +
                 Quoin::DisplayPointer::toString( result.dps().get() ) + ")" );
}

TEST_F( ResultTest, virtualOperationsStandInSlotOrder ) {
   if( slotOf( &Result_::applicationType ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const std::vector<long> slots = { slotOf( &Result_::applicationType ), slotOf( &Result_::setPreference ),
                                     slotOf( &Result_::getPreference ), slotOf( &Result_::setTag ), slotOf( &Result_::getTag ) };
   EXPECT_THAT( slots, ElementsAre( 2, 3, 4, 5, 6 ) );
   EXPECT_EQ( slotOf( &Result_::preference ), -1 );
   EXPECT_EQ( slotOf( &Result_::metricIs ), -1 );
}

}   // namespace
