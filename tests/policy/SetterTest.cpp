#include "policy/Setter.h"

#include <csignal>
#include <sstream>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::KilledBySignal;

/// Has what a setter must have and nothing else.
struct BareSetter : Setter {
   void setValue( Result_ * result ) const override { result->tagIs( 7 ); }
   void formatDerivedType( std::ostream & os ) const override { os << "BareSetter " << 42; }
};

static_assert( sizeof( SetParams ) == sizeof( Quoin::Node ), "no attributes of its own" );

TEST( Setter, hasNoFeaturesByDefault ) {
   EXPECT_EQ( makeNode<BareSetter>()->getFeatures(), RouteMapFeatures() );
}

TEST( Setter, everyHandlePrintsTheTextOfTheDerivedSetterAndANullPrintsAsNull ) {
   const auto own = makeNode<BareSetter>();
   std::ostringstream os;
   os << own << ';' << Quoin::Ptr<const BareSetter>( own ) << ';' << Quoin::Ptr<Setter>( own ) << ';' << Quoin::Ptr<const Setter>( own )
      << ';' << static_cast<const Setter *>( own.get() ) << ';' << own->toStrep();
   EXPECT_EQ( os.str(), "BareSetter 42;BareSetter 42;BareSetter 42;BareSetter 42;BareSetter 42;BareSetter 42" );
   std::ostringstream nulls;
   nulls << Quoin::Ptr<BareSetter>() << ';' << Quoin::Ptr<const Setter>() << ';' << static_cast<const Setter *>( nullptr ) << ';';
   EXPECT_EQ( nulls.str(), "NULL;NULL;NULL;" );
}

TEST( SetterDeathTest, whatMustBeOverriddenEndsTheProcess ) {
   const auto setter = makeNode<BareSetter>();
   Result_ result;
   const auto text = HasSubstr( "0 && \"Must override in derived class\"" );
   EXPECT_EXIT( setter->filterCommValue( &result ), KilledBySignal( SIGABRT ), text );
   EXPECT_EXIT( setter->deferredSetValue( &result ), KilledBySignal( SIGABRT ), text );
   EXPECT_EXIT( setter->createSkipIbgp(), KilledBySignal( SIGABRT ), text );
   EXPECT_EXIT( setter->testDeferredSetValue( result ), KilledBySignal( SIGABRT ), text );
}

TEST( Setter, testDoorsTakeAConstResult ) {
   RecordingSetter::Log log;
   const auto setter = makeNode<RecordingSetter>( log, "s" );
   Result_ result;
   const Result_ & asConst = result;
   makeNode<BareSetter>()->testSetValue( asConst );
   EXPECT_EQ( result.tag(), 7u );
   setter->testSetValue( asConst );
   EXPECT_THAT( log, ElementsAre( "s" ) );
   setter->testDeferredSetValue( asConst );
   EXPECT_THAT( log, ElementsAre( "s", "late s" ) );
}

TEST( Setter, testSetValueLeavesADeferringSetterRegistered ) {
   RecordingSetter::Log log;
   const auto setter = makeNode<RecordingSetter>( log, "s", true );
   Result_ result;
   setter->testSetValue( result );
   EXPECT_TRUE( result.deferredSetter( setter.get() ) );
   EXPECT_THAT( log, ElementsAre( "s" ) );
}

TEST( Setter, testFullSetValueRunsAPlainSetterOnce ) {
   RecordingSetter::Log log;
   const auto setter = makeNode<RecordingSetter>( log, "s" );
   Result_ result;
   setter->testFullSetValue( result );
   EXPECT_THAT( log, ElementsAre( "s" ) );
   EXPECT_EQ( result.dps(), nullptr );
}

TEST( Setter, testFullSetValueRunsTheLateHalfAndUnregisters ) {
   RecordingSetter::Log log;
   const auto setter = makeNode<RecordingSetter>( log, "s", true );
   Result_ result;
   setter->testFullSetValue( result );
   EXPECT_THAT( log, ElementsAre( "s", "late s" ) );
   EXPECT_FALSE( result.deferredSetter( setter.get() ) );
   EXPECT_TRUE( result.dps() );
   setter->testFullSetValue( result );   // with a list that is there already
   EXPECT_THAT( log, ElementsAre( "s", "late s", "s", "late s" ) );
}

TEST( Setter, testFullSetValueIsRegisteredDuringItsLateHalf ) {
   struct Curious : BareSetter {
      void setValue( Result_ * result ) const override { result->deferredSetterIs( this ); }
      void deferredSetValue( Result_ * result ) const override { wasRegistered = result->deferredSetter( this ); }
      mutable bool wasRegistered = false;
   };
   const auto setter = makeNode<Curious>();
   setter->testFullSetValue( Result_() );
   EXPECT_TRUE( setter->wasRegistered );
}

TEST( Setter, testFullSetValueLeavesOtherSettersAlone ) {
   RecordingSetter::Log log;
   const auto other = makeNode<RecordingSetter>( log, "other", true ), setter = makeNode<RecordingSetter>( log, "s", true ),
              plain = makeNode<RecordingSetter>( log, "plain" );
   Result_ result;
   other->setValue( &result );
   setter->testFullSetValue( result );
   plain->testFullSetValue( result );
   EXPECT_THAT( log, ElementsAre( "other", "s", "late s", "plain" ) );
   EXPECT_THAT( result.dps()->setters(), ElementsAre( other.get() ) );
}

TEST( SetterDeathTest, testFullSetValueRefusesASetterThatIsRegistered ) {
   RecordingSetter::Log log;
   const auto setter = makeNode<RecordingSetter>( log, "s" );
   Result_ result;
   result.deferredSetterIs( setter.get() );
   EXPECT_EXIT( setter->testFullSetValue( result ), KilledBySignal( SIGABRT ),
                HasSubstr( "( NULL == r.dps() ) || ( !r.deferredSetter( this ) )\n" ) );
}

TEST( SetterDeathTest, testFullSetValueRefusesASetterThatStaysRegistered ) {
   struct Twice : BareSetter {
      void setValue( Result_ * result ) const override {
         result->deferredSetterIs( this );
         result->dps()->setters().push_back( this );   // past the guard of deferredSetterIs()
      }
      void deferredSetValue( Result_ * ) const override {}
   };
   EXPECT_EXIT( makeNode<Twice>()->testFullSetValue( Result_() ), KilledBySignal( SIGABRT ),
                HasSubstr( "Assertion failed: !nonConstResultPtr->deferredSetter( this )\n" ) );
}

TEST( Setter, virtualOperationsStandInSlotOrder ) {
   if( slotOf( &Setter::setValue ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const std::vector<long> slots = { slotOf( &Setter::setValue ),         slotOf( &Setter::filterCommValue ),
                                     slotOf( &Setter::deferredSetValue ), slotOf( &Setter::formatDerivedType ),
                                     slotOf( &Setter::createSkipIbgp ),   slotOf( &Setter::getFeatures ) };
   EXPECT_THAT( slots, ElementsAre( 4, 5, 6, 7, 8, 9 ) );
   for( long other : { slotOf( &Setter::toStrep ), slotOf( &Setter::testSetValue ), slotOf( &Setter::testFullSetValue ) } )
      EXPECT_EQ( other, -1 );
}

}   // namespace
