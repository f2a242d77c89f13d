#include "substrate/plinth/Subscription.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/NotifieeConst.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/NotifyingNode.h"

namespace {

using Plinth::Subscription;
using Quoin::Change;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;

class Watched final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { size = 1, rule };
   PLINTH_ATTR( size, sizeIs, Field::size, int );
   // NOLINTNEXTLINE(performance-unnecessary-value-param): keys may alias a member
   PLINTH_COLLECTION( rule, ruleIs, ruleDel, ruleDelAll, Field::rule, Plinth::RbTreeMap<std::string, int> );
};

class SubscriptionTest : public testing::Test {
 protected:
   /// Writes each change down as "name:field", or "name:key" of a collection.
   Subscription::Function note( const std::string & name ) {
      return [ this, name ]( const Change & change ) {
         log.push_back( name + ":" + ( change.key ? Plinth::keyOf<std::string>( change ) : std::to_string( change.field ) ) );
      };
   }
   std::vector<std::string> log;
   Ptr<Watched> watched = makeNode<Watched>();
};

static_assert( !std::is_copy_constructible_v<Subscription> && !std::is_move_constructible_v<Subscription> );
static_assert( !std::is_copy_assignable_v<Subscription> && !std::is_move_assignable_v<Subscription> );

TEST_F( SubscriptionTest, callsForEachChangeInsideTheWrite ) {
   const Subscription a( *watched, [ this ]( const Change & ) { log.push_back( std::to_string( watched->size() ) ); } );
   EXPECT_TRUE( a.subscribed() );
   EXPECT_THAT( log, IsEmpty() );
   watched->sizeIs( 5 );
   log.emplace_back( "written" );
   watched->sizeIs( 5 );   // no change
   watched->ruleIs( "r", 6 );
   EXPECT_THAT( log, ElementsAre( "5", "written", "5" ) );
}

TEST_F( SubscriptionTest, theFunctionGetsTheChange ) {
   const Subscription a( *watched, note( "a" ) );
   watched->sizeIs( 5 );
   watched->ruleIs( "r", 6 );
   watched->ruleDel( "r" );
   EXPECT_THAT( log, ElementsAre( "a:1", "a:r", "a:r" ) );
}

TEST_F( SubscriptionTest, callsEndWithTheSubscription ) {
   std::optional<Subscription> a( std::in_place, *watched, note( "a" ) );
   const Subscription b( *watched, note( "b" ) );
   watched->sizeIs( 1 );
   a.reset();
   watched->sizeIs( 2 );
   EXPECT_THAT( log, ElementsAre( "a:1", "b:1", "b:1" ) );
}

TEST_F( SubscriptionTest, callsEndWithTheObject ) {
   const Subscription a( *watched, note( "a" ) );
   EXPECT_EQ( watched->useCount(), 1u ) << "the object is not held";
   watched->sizeIs( 1 );
   watched = nullptr;
   EXPECT_FALSE( a.subscribed() );
   EXPECT_THAT( log, ElementsAre( "a:1" ) );
}

TEST_F( SubscriptionTest, anObjectThatPublishesNothingCausesNoCall ) {
   struct Silent : Quoin::Node {};
   const auto silent = makeNode<Silent>();
   const Subscription a( *silent, note( "a" ) );
   EXPECT_FALSE( a.subscribed() );
}

TEST_F( SubscriptionTest, anEmptyFunctionIsRefused ) {
   EXPECT_THROW( Subscription( *watched, nullptr ), std::bad_function_call );
   watched->sizeIs( 1 );   // nothing is left of it
}

TEST_F( SubscriptionTest, itsOwnCallMayDestroyIt ) {
   auto kept = std::make_shared<std::string>( "kept" );
   std::optional<Subscription> a;
   const std::weak_ptr<std::string> watch = kept;
   a.emplace( *watched, [ this, &a, kept ]( const Change & ) {
      a.reset();
      log.push_back( *kept );   // what the function holds is whole to the end of the call
   } );
   kept.reset();
   const Subscription b( *watched, note( "b" ) );
   watched->sizeIs( 1 );
   EXPECT_FALSE( a );
   EXPECT_TRUE( watch.expired() ) << "the function has gone with the call";
   watched->sizeIs( 2 );
   EXPECT_THAT( log, ElementsAre( "kept", "b:1", "b:1" ) );
}

TEST_F( SubscriptionTest, anInnerDeliveryMayDestroyItWhileTheOuterCallRuns ) {
   auto kept = std::make_shared<std::string>( "kept" );
   std::optional<Subscription> a;
   a.emplace( *watched, [ this, &a, kept = std::move( kept ) ]( const Change & ) {
      if( watched->size() == 1 ) {
         watched->sizeIs( 2 );   // runs this function once more, which destroys the subscription
         log.push_back( *kept );
      } else {
         a.reset();
      }
   } );
   watched->sizeIs( 1 );
   EXPECT_THAT( log, ElementsAre( "kept" ) );
}

TEST_F( SubscriptionTest, anotherCallMayDestroyItBeforeItsTurn ) {
   std::optional<Subscription> b;
   const Subscription a( *watched, [ & ]( const Change & ) { b.reset(); } );
   b.emplace( *watched, note( "b" ) );
   const Subscription c( *watched, note( "c" ) );
   watched->sizeIs( 1 );
   EXPECT_THAT( log, ElementsAre( "c:1" ) );
}

TEST_F( SubscriptionTest, itsOwnCallMayDestroyTheObject ) {
   const Subscription a( *watched, [ this ]( const Change & ) {
      watched = nullptr;
      log.emplace_back( "gone" );
   } );
   {
      Quoin::ReleaseScope scope;   // keeps the object whole to the end of the write
      watched->sizeIs( 1 );
   }
   EXPECT_THAT( log, ElementsAre( "gone" ) );
   EXPECT_FALSE( a.subscribed() );
}

TEST_F( SubscriptionTest, oneMadeDuringADeliveryIsCalledFromTheNextChangeOn ) {
   std::optional<Subscription> b;
   const Subscription a( *watched, [ & ]( const Change & ) {
      if( !b ) b.emplace( *watched, note( "b" ) );
   } );
   watched->sizeIs( 1 );
   EXPECT_THAT( log, IsEmpty() );
   watched->sizeIs( 2 );
   EXPECT_THAT( log, ElementsAre( "b:1" ) );
}

TEST_F( SubscriptionTest, whatAFunctionHoldsMayWriteWhenItIsDestroyed ) {
   struct Writer {
      Ptr<Watched> watched;
      ~Writer() { watched->sizeIs( 2 ); }
   };
   int calls = 0;
   {
      auto writer = std::make_shared<Writer>();
      writer->watched = watched;
      const Subscription a( *watched, [ &calls, writer = std::move( writer ) ]( const Change & ) { ++calls; } );
      watched->sizeIs( 1 );
   }
   EXPECT_EQ( calls, 1 );
   EXPECT_EQ( watched->size(), 2 );
}

}   // namespace
