#include "substrate/plinth/NotifieeConst.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/zeugma/BaseNotifyingType.h"

namespace {

using Quoin::Change;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;

using Log = std::vector<std::string>;

class Watched final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { size = 1, rule };
   explicit Watched( std::function<void()> f = {} ) : atEnd( std::move( f ) ) {}
   ~Watched() override {
      if( atEnd ) atEnd();
   }
   PLINTH_ATTR( size, sizeIs, Field::size, int );
   // NOLINTNEXTLINE(performance-unnecessary-value-param): keys may alias a member
   PLINTH_COLLECTION( rule, ruleIs, ruleDel, ruleDelAll, Field::rule, Plinth::RbTreeMap<std::string, int> );

 public:
   void clone( const BaseNotifyingType & ) override {}
   const std::function<void()> atEnd;
};

/// Writes down what it hears, and when its last use has gone.
class Ear : public Plinth::NotifieeConst {
 public:
   Ear( Log & l, std::string n, std::function<void()> a = {} ) : log( l ), name( std::move( n ) ), action( std::move( a ) ) {}
   ~Ear() override { log.push_back( "~" + name ); }
   void handleChange( const Change & change ) override {
      log.push_back( change.key ? name + ":" + Plinth::keyOf<std::string>( change ) : name + ":" + std::to_string( change.field ) );
      if( const auto now = action ) now();   // a copy: this may be gone behind the call
   }
   void onZeroReferences() override {
      log.push_back( "zero " + name );
      if( notifier() ) log.push_back( "whole" );
   }
   Log & log;
   std::string name;
   std::function<void()> action;
};

class NotifieeConstTest : public testing::Test {
 protected:
   Ptr<Ear> ear( const std::string & name, std::function<void()> action = {} ) {
      auto made = makeNode<Ear>( log, name, std::move( action ) );
      made->notifierIs( watched );
      made->hasNotificationActiveIs( true );
      return made;
   }
   Log take() { return std::exchange( log, {} ); }
   Log log;
   Ptr<Watched> watched = makeNode<Watched>(), other = makeNode<Watched>();
};

TEST_F( NotifieeConstTest, aNewOneWatchesNothingAndIsOff ) {
   const auto a = makeNode<Ear>( log, "a" );
   EXPECT_EQ( a->notifier(), nullptr );
   EXPECT_FALSE( a->hasNotificationActive() );
   EXPECT_FALSE( a->changeMissed() );
}

TEST_F( NotifieeConstTest, hearsEachChangeInsideTheWrite ) {
   const auto a = ear( "a", [ this ] { log.push_back( std::to_string( watched->size() ) ); } );
   watched->sizeIs( 5 );
   log.push_back( "written" );
   watched->ruleIs( "r", 6 );
   EXPECT_THAT( log, ElementsAre( "a:1", "5", "written", "a:r", "5" ) );
   EXPECT_EQ( a->notifier(), watched );
}

TEST_F( NotifieeConstTest, hearsOnlyWhileNotificationIsOn ) {
   const auto a = makeNode<Ear>( log, "a" );
   a->notifierIs( watched );
   watched->sizeIs( 1 );
   EXPECT_THAT( take(), IsEmpty() );
   a->hasNotificationActiveIs( true );
   EXPECT_TRUE( a->hasNotificationActive() );
   EXPECT_THAT( take(), IsEmpty() );   // nothing is told late
   watched->sizeIs( 2 );
   EXPECT_THAT( take(), ElementsAre( "a:1" ) );
   a->hasNotificationActiveIs( false );
   watched->sizeIs( 3 );
   EXPECT_THAT( take(), IsEmpty() );
   a->hasNotificationActiveIs( true );
   watched->sizeIs( 4 );
   EXPECT_THAT( take(), ElementsAre( "a:1" ) );
}

TEST_F( NotifieeConstTest, thePresentValueKeepsItsPlace ) {
   const auto a = ear( "a" ), b = ear( "b" );
   a->hasNotificationActiveIs( true );
   a->notifierIs( watched );
   watched->sizeIs( 1 );
   EXPECT_THAT( take(), ElementsAre( "a:1", "b:1" ) );
   a->hasNotificationActiveIs( false );
   a->hasNotificationActiveIs( true );   // it has left and come again
   watched->sizeIs( 2 );
   EXPECT_THAT( log, ElementsAre( "b:1", "a:1" ) );
}

TEST_F( NotifieeConstTest, remembersThatItMissedAChangeUntilThatIsRead ) {
   const auto a = makeNode<Ear>( log, "a" );
   watched->sizeIs( 1 );
   a->notifierIs( watched );
   EXPECT_FALSE( a->changeMissed() );   // that was before
   watched->sizeIs( 1 );
   EXPECT_FALSE( a->changeMissed() );   // that is no change
   watched->sizeIs( 2 );
   watched->ruleIs( "r", 1 );
   EXPECT_TRUE( a->changeMissed() );
   EXPECT_FALSE( a->changeMissed() );
   watched->ruleDel( "r" );
   a->hasNotificationActiveIs( true );
   EXPECT_TRUE( a->changeMissed() );
   watched->sizeIs( 3 );
   EXPECT_FALSE( a->changeMissed() );   // that it heard
   EXPECT_THAT( log, ElementsAre( "a:1" ) );
}

TEST_F( NotifieeConstTest, anotherObjectsChangesAreNotMissed ) {
   const auto a = makeNode<Ear>( log, "a" );
   a->notifierIs( watched );
   watched->sizeIs( 1 );
   a->notifierIs( other );   // what was missed of the old one is of no interest
   watched->sizeIs( 2 );
   EXPECT_FALSE( a->changeMissed() );
   other->sizeIs( 1 );
   EXPECT_TRUE( a->changeMissed() );
}

TEST_F( NotifieeConstTest, watchesOneObjectAtATime ) {
   const auto a = ear( "a" );
   a->notifierIs( other );
   EXPECT_EQ( a->notifier(), other );
   EXPECT_TRUE( a->hasNotificationActive() );
   watched->sizeIs( 1 );
   other->sizeIs( 1 );
   EXPECT_THAT( take(), ElementsAre( "a:1" ) );
   a->notifierIs( nullptr );
   other->sizeIs( 2 );
   EXPECT_THAT( log, IsEmpty() );
   EXPECT_EQ( watched->useCount() + other->useCount(), 2u );
   a->notifierIs( watched );
   watched->sizeIs( 2 );
   EXPECT_THAT( log, ElementsAre( "a:1" ) );
}

TEST_F( NotifieeConstTest, anObjectThatTellsOfNothingMayBeWatched ) {
   struct Silent : Quoin::Node {};
   const auto silent = makeNode<Silent>();
   const auto a = ear( "a" );
   a->notifierIs( silent );
   EXPECT_EQ( a->notifier(), silent );
   watched->sizeIs( 1 );
   a->hasNotificationActiveIs( false );
   a->hasNotificationActiveIs( true );
   EXPECT_FALSE( a->changeMissed() );
   a->notifierIs( watched );
   watched->sizeIs( 2 );
   EXPECT_THAT( log, ElementsAre( "a:1" ) );
}

TEST_F( NotifieeConstTest, holdsWhatItWatches ) {
   bool gone = false;
   watched = makeNode<Watched>( [ & ] { gone = true; } );
   auto a = ear( "a" );
   watched = nullptr;
   EXPECT_FALSE( gone );
   a->hasNotificationActiveIs( false );
   EXPECT_FALSE( gone );
   a = nullptr;
   EXPECT_TRUE( gone );
}

TEST_F( NotifieeConstTest, theOldObjectGoesWhenTheNewOneIsWatched ) {
   Ptr<Ear> a;
   Ptr<const Quoin::Node> seen;
   watched = makeNode<Watched>( [ & ] { seen = a->notifier(); } );
   a = ear( "a" );
   watched = nullptr;
   a->notifierIs( other );
   EXPECT_EQ( seen, other );
}

TEST_F( NotifieeConstTest, tellsOfItsEndWhileItIsWhole ) {
   auto a = ear( "a" );
   auto second = a;
   a = nullptr;
   EXPECT_THAT( log, IsEmpty() );
   second = nullptr;
   EXPECT_THAT( log, ElementsAre( "zero a", "whole", "~a" ) );
}

TEST_F( NotifieeConstTest, oneThatHasGoneHearsNothing ) {
   auto a = ear( "a" );
   const auto b = ear( "b" );
   a = nullptr;
   take();
   watched->sizeIs( 1 );
   EXPECT_THAT( log, ElementsAre( "b:1" ) );
   EXPECT_EQ( watched->useCount(), 2u );
}

TEST_F( NotifieeConstTest, oneLetGoInTheMidstOfADelAllHearsNoMore ) {
   for( const char * rule : { "r", "s", "t" } ) watched->ruleIs( rule, 1 );
   auto a = ear( "a" );
   const auto b = ear( "b" );
   a->action = [ & ] { a = nullptr; };
   take();
   watched->ruleDelAll();
   EXPECT_EQ( a, nullptr );
   EXPECT_THAT( log, ElementsAre( "a:r", "zero a", "whole", "b:r", "b:s", "b:t", "~a" ) ) << "a ReleaseScope keeps it a while";
}

TEST_F( NotifieeConstTest, isOffWhenItsLastUseHasGone ) {
   struct Off final : Plinth::NotifieeConst {
      explicit Off( bool & o ) : on( o ) {}
      void handleChange( const Change & ) override { ADD_FAILURE() << "heard"; }
      void onZeroReferences() override { on = hasNotificationActive(); }
      bool & on;
   };
   bool on = true;
   auto off = makeNode<Off>( on );
   off->notifierIs( watched );
   off->hasNotificationActiveIs( true );
   const Quoin::ReleaseScope scope;
   off = nullptr;
   EXPECT_FALSE( on );
   watched->sizeIs( 1 );
}

/// What the middle one of three does when it hears of the first of two changes.
TEST_F( NotifieeConstTest, aHandlerMayChangeWhoWatches ) {
   Ptr<Ear> a, b, c, newcomer;
   const struct {
      const char * name;
      std::function<void()> action;
      Log heard;
   } rows[] = {
      { "goes", [ & ] { b = nullptr; }, { "a:1", "b:1", "zero b", "whole", "~b", "c:1", "a:2", "c:2" } },
      { "destroys the one before", [ & ] { a = nullptr; }, { "a:1", "b:1", "zero a", "whole", "~a", "c:1", "b:2", "c:2" } },
      { "destroys the next", [ & ] { c = nullptr; }, { "a:1", "b:1", "zero c", "whole", "~c", "a:2", "b:2" } },
      { "turns itself off", [ & ] { b->hasNotificationActiveIs( false ); }, { "a:1", "b:1", "c:1", "a:2", "c:2" } },
      { "turns the next off", [ & ] { c->hasNotificationActiveIs( false ); }, { "a:1", "b:1", "a:2", "b:2" } },
      { "turns the next off and on",
        [ & ] { c->hasNotificationActiveIs( false ), c->hasNotificationActiveIs( true ); },
        { "a:1", "b:1", "a:2", "b:2", "c:2" } },
      { "watches another object", [ & ] { b->notifierIs( other ); }, { "a:1", "b:1", "c:1", "a:2", "c:2" } },
      { "has the next watch another", [ & ] { c->notifierIs( other ); }, { "a:1", "b:1", "a:2", "b:2" } },
      { "adds one", [ & ] { newcomer = ear( "new" ); }, { "a:1", "b:1", "c:1", "a:2", "b:2", "c:2", "new:2" } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      a = ear( "a" ), b = ear( "b" ), c = ear( "c" );
      b->action = [ & ] {
         b->action = {};
         row.action();
      };
      take();
      watched->publisher()->publishChange( 1 );
      watched->publisher()->publishChange( 2 );
      EXPECT_EQ( log, row.heard );
      a = b = c = newcomer = nullptr;
   }
}

TEST_F( NotifieeConstTest, theLastWatchersMayTakeTheObjectThatTellsAlong ) {
   Ptr<Ear> a, b;
   bool gone = false;
   watched = makeNode<Watched>( [ & ] { gone = true; } );
   auto & raw = *watched;
   a = ear( "a", [ & ] {   // the last that hold it
      b = nullptr;
      a = nullptr;
   } );
   b = ear( "b" );
   watched = nullptr;
   take();
   raw.sizeIs( 1 );
   EXPECT_TRUE( gone );
   EXPECT_THAT( log, ElementsAre( "a:1", "zero b", "whole", "~b", "zero a", "whole", "~a" ) );
}

TEST_F( NotifieeConstTest, aHandlerMayWriteWhatItWatches ) {
   const auto a = ear( "a", [ this ] {
      if( watched->size() < 3 ) watched->sizeIs( watched->size() + 1 );
      log.push_back( std::to_string( watched->size() ) );
   } );
   watched->sizeIs( 1 );
   EXPECT_THAT( log, ElementsAre( "a:1", "a:1", "a:1", "3", "3", "3" ) );
}

class ManyNotifieesTest : public testing::Test {
 protected:
   static constexpr size_t kCount = 100000;
   struct Counter final : Plinth::NotifieeConst {
      explicit Counter( ManyNotifieesTest & t ) : test( t ) {}
      void handleChange( const Change & ) override {
         ++heard;
         test.oneHeard();
      }
      ManyNotifieesTest & test;
      int heard = 0;
   };
   ManyNotifieesTest() {
      for( size_t i = 0; i < kCount; ++i ) {
         all.push_back( makeNode<Counter>( *this ) );
         all.back()->notifierIs( watched );
         all.back()->hasNotificationActiveIs( true );
      }
      std::iota( order.begin(), order.end(), 0 );
      std::shuffle( order.begin(), order.end(), std::mt19937_64( 1 ) );
   }
   void oneHeard() {
      ++heard;
      if( whenHeard ) whenHeard();
   }
   /// Takes away the next `n` in random order, in one of three ways.
   void remove( size_t n ) {
      for( ; n; --n, ++removed ) {
         auto & picked = all[ order[ removed ] ];
         if( removed % 3 == 0 )
            picked = nullptr;
         else if( removed % 3 == 1 )
            picked->hasNotificationActiveIs( false );
         else
            picked->notifierIs( nullptr );
      }
   }
   Ptr<Watched> watched = makeNode<Watched>();
   std::vector<Ptr<Counter>> all;
   std::vector<size_t> order = std::vector<size_t>( kCount );
   size_t removed = 0, heard = 0;
   std::function<void()> whenHeard;
};

TEST_F( ManyNotifieesTest, allHearAndEachMayLeaveInAnyOrder ) {
   watched->sizeIs( 1 );
   EXPECT_EQ( heard, kCount );
   EXPECT_TRUE( std::all_of( all.begin(), all.end(), []( const auto & c ) { return c->heard == 1; } ) );
   for( int left = 4; left; --left ) {
      remove( kCount / 4 );
      heard = 0;
      watched->sizeIs( left + 1 );
      EXPECT_EQ( heard, kCount - removed );
   }
   all.clear();
   EXPECT_EQ( watched->useCount(), 1u );
}

TEST_F( ManyNotifieesTest, eachMayLeaveInTheMiddleOfADelivery ) {
   std::vector<bool> had( kCount );   // been told of the change before its leaving
   size_t expected = 0;
   whenHeard = [ & ] {
      const size_t picked = order[ removed ];
      had[ picked ] = all[ picked ]->heard != 0;
      expected += had[ picked ];
      remove( 1 );
   };
   watched->sizeIs( 1 );
   EXPECT_EQ( heard, removed );
   for( size_t i = removed; i < kCount; ++i ) expected += all[ order[ i ] ]->heard == 1;
   EXPECT_EQ( heard, expected );   // once each, and none after its leaving
   const size_t left = kCount - removed;
   EXPECT_LT( left, kCount );
   whenHeard = {};
   heard = 0;
   watched->sizeIs( 2 );
   EXPECT_EQ( heard, left );
}

}   // namespace
