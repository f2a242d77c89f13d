#include "substrate/quoin/Publisher.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/plinth/Exception.h"
#include "tests/substrate/quoin/Program.h"

namespace {

using Quoin::Change;
using Quoin::FieldId;
using Quoin::Publisher;
using Quoin::Subscriber;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Log = std::vector<std::string>;

/// Writes down each change as "name:field" and then does what it was told to do.
struct Listener : Subscriber {
   Listener( Log & l, std::string n, std::function<void()> a = {} ) : log( l ), name( std::move( n ) ), action( std::move( a ) ) {}
   void onChange( const Change & change ) override {
      log.push_back( name + ":" + std::to_string( change.field ) );
      if( const auto now = action ) now();   // a copy: this may be gone behind the call
   }
   Log & log;
   std::string name;
   std::function<void()> action;
};

class PublisherTest : public testing::Test {
 protected:
   Log log;
   std::unique_ptr<Publisher> publisher = std::make_unique<Publisher>();
   std::unique_ptr<Listener> a = std::make_unique<Listener>( log, "a" ), b = std::make_unique<Listener>( log, "b" ),
                             c = std::make_unique<Listener>( log, "c" );
   void subscribeAll() {
      for( auto * l : { &a, &b, &c } ) publisher->subscriberAdd( l->get() );
   }
};

TEST_F( PublisherTest, nobodyHearsWithoutSubscribers ) {
   publisher->publishChange( 1 );
   publisher->publishChangeRecursive( 1, nullptr, nullptr, nullptr );
   EXPECT_THAT( log, IsEmpty() );
   EXPECT_FALSE( a->subscribed() );
}

TEST_F( PublisherTest, allHearInTheOrderOfTheirComing ) {
   subscribeAll();
   EXPECT_TRUE( a->subscribed() && b->subscribed() && c->subscribed() );
   publisher->publishChange( 7 );
   publisher->publishChange( 65535 );
   EXPECT_THAT( log, ElementsAre( "a:7", "b:7", "c:7", "a:65535", "b:65535", "c:65535" ) );
}

TEST_F( PublisherTest, aPlainChangeCarriesTheFieldAlone ) {
   struct Check : Subscriber {
      void onChange( const Change & change ) override {
         EXPECT_EQ( change.field, 5 );
         EXPECT_EQ( change.key, nullptr );
         EXPECT_EQ( change.oldValue, nullptr );
         EXPECT_EQ( change.keyIsEq, nullptr );
         ++heard;
      }
      int heard = 0;
   } check;
   publisher->subscriberAdd( &check );
   publisher->publishChange( 5 );
   EXPECT_EQ( check.heard, 1 );
}

bool intIsEq( const void * x, const void * y ) {
   return *static_cast<const int *>( x ) == *static_cast<const int *>( y );
}

TEST_F( PublisherTest, aKeyedChangeCarriesKeyOldValueAndComparison ) {
   struct Check : Subscriber {
      void onChange( const Change & change ) override { seen = change; }
      Change seen{ 0 };
   } check;
   publisher->subscriberAdd( &check );
   const int key = 3, sameKey = 3, otherKey = 4, old = 9;
   publisher->publishChangeRecursive( 6, &key, &old, intIsEq );
   EXPECT_EQ( check.seen.field, 6 );
   EXPECT_EQ( check.seen.key, &key );
   EXPECT_EQ( check.seen.oldValue, &old );
   ASSERT_EQ( check.seen.keyIsEq, intIsEq );
   EXPECT_TRUE( check.seen.keyIsEq( check.seen.key, &sameKey ) );
   EXPECT_FALSE( check.seen.keyIsEq( check.seen.key, &otherKey ) );
}

TEST_F( PublisherTest, aNullSubscriberIsRaisedAndChangesNothing ) {
   const auto raised = [ this ]( bool active ) -> std::string {
      try {
         publisher->subscriberAdd( nullptr, active );
      } catch( const Plinth::MutatorArgNullPointerException & e ) { return e.what(); }
      return "nothing";
   };
   for( const bool active : { true, false } ) EXPECT_EQ( raised( active ), "Publisher::subscriberAdd: the argument is null" );
   publisher->publishChange( 1 );
   subscribeAll();
   EXPECT_EQ( raised( true ), "Publisher::subscriberAdd: the argument is null" );
   publisher->publishChange( 2 );
   EXPECT_THAT( log, ElementsAre( "a:2", "b:2", "c:2" ) );
}

TEST_F( PublisherTest, removingNobodyDoesNothing ) {
   publisher->subscriberRemove( nullptr );
   subscribeAll();
   publisher->subscriberRemove( nullptr );
   publisher->publishChange( 1 );
   EXPECT_THAT( log, ElementsAre( "a:1", "b:1", "c:1" ) );
}

TEST_F( PublisherTest, anInactiveOneKeepsItsPlaceAndHearsNothing ) {
   subscribeAll();
   publisher->subscriberAdd( b.get(), false );
   EXPECT_TRUE( b->subscribed() );
   publisher->publishChange( 1 );
   publisher->subscriberAdd( b.get(), true );
   publisher->publishChange( 2 );
   EXPECT_THAT( log, ElementsAre( "a:1", "c:1", "a:2", "b:2", "c:2" ) );
}

TEST_F( PublisherTest, aPublisherThatGoesLetsAllGo ) {
   subscribeAll();
   publisher = std::make_unique<Publisher>();
   EXPECT_FALSE( a->subscribed() || b->subscribed() || c->subscribed() );
   subscribeAll();
   publisher->publishChange( 1 );
   EXPECT_THAT( log, ElementsAre( "a:1", "b:1", "c:1" ) );
}

/// What `b`, the middle one of three, does when it hears of field 1, and what is heard of fields 1 and then 2.
TEST_F( PublisherTest, aHandlerMayChangeWhoListens ) {
   const auto remove = [ this ]( auto & l ) { return [ this, &l ] { publisher->subscriberRemove( l.get() ); }; };
   const auto destroy = [ this ]( auto & l ) { return [ &l ] { l.reset(); }; };
   auto newcomer = std::make_unique<Listener>( log, "new" );
   const auto add = [ & ] { publisher->subscriberAdd( newcomer.get() ); };
   const struct {
      const char * name;
      std::function<void()> action;
      Log heard;
   } rows[] = {
      { "removes one before it", remove( a ), { "a:1", "b:1", "c:1", "b:2", "c:2" } },
      { "removes itself", remove( b ), { "a:1", "b:1", "c:1", "a:2", "c:2" } },
      { "removes the next", remove( c ), { "a:1", "b:1", "a:2", "b:2" } },
      { "destroys one before it", destroy( a ), { "a:1", "b:1", "c:1", "b:2", "c:2" } },
      { "is destroyed", destroy( b ), { "a:1", "b:1", "c:1", "a:2", "c:2" } },
      { "destroys the next", destroy( c ), { "a:1", "b:1", "a:2", "b:2" } },
      { "removes all", [ & ] { remove( c )(), remove( b )(), remove( a )(); }, { "a:1", "b:1" } },
      { "destroys all", [ & ] { a.reset(), c.reset(), b.reset(); }, { "a:1", "b:1" } },
      { "turns the next off", [ & ] { publisher->subscriberAdd( c.get(), false ); }, { "a:1", "b:1", "a:2", "b:2" } },
      { "adds one", add, { "a:1", "b:1", "c:1", "a:2", "b:2", "c:2", "new:2" } },
      { "replaces the next by one", [ & ] { remove( c )(), add(); }, { "a:1", "b:1", "a:2", "b:2", "new:2" } },
      { "takes itself off and on",
        [ & ] { remove( b )(), publisher->subscriberAdd( b.get() ); },
        { "a:1", "b:1", "c:1", "a:2", "c:2", "b:2" } },
      { "takes the next off and on", [ & ] { remove( c )(), publisher->subscriberAdd( c.get() ); }, { "a:1", "b:1", "a:2", "b:2", "c:2" } },
      { "moves one before it to the end",
        [ & ] { remove( a )(), publisher->subscriberAdd( a.get() ); },
        { "a:1", "b:1", "c:1", "b:2", "c:2", "a:2" } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      publisher = std::make_unique<Publisher>();
      a = std::make_unique<Listener>( log, "a" );
      b = std::make_unique<Listener>( log, "b" );
      c = std::make_unique<Listener>( log, "c" );
      newcomer = std::make_unique<Listener>( log, "new" );
      subscribeAll();
      b->action = [ & ] {
         b->action = {};
         row.action();
      };
      log.clear();
      publisher->publishChange( 1 );
      publisher->publishChange( 2 );
      EXPECT_EQ( log, row.heard );
   }
}

TEST_F( PublisherTest, nestedChangesAreDeliveredAtOnce ) {
   subscribeAll();
   b->action = [ this ] {
      if( log.size() < 8 ) publisher->publishChange( FieldId( log.size() ) );
   };
   publisher->publishChange( 1 );
   EXPECT_THAT( log, ElementsAre( "a:1", "b:1", "a:2", "b:2", "a:4", "b:4", "a:6", "b:6", "c:6", "c:4", "c:2", "c:1" ) );
}

TEST_F( PublisherTest, aPublisherMayGoInItsOwnDelivery ) {
   for( int depth = 1; depth <= 3; ++depth ) {
      SCOPED_TRACE( depth );
      log.clear();
      publisher = std::make_unique<Publisher>();
      subscribeAll();
      int left = depth;
      b->action = [ & ] {
         if( --left )
            publisher->publishChange( 2 );
         else
            publisher.reset();
      };
      publisher->publishChange( 1 );
      EXPECT_EQ( std::count( log.begin(), log.end(), "c:1" ) + std::count( log.begin(), log.end(), "c:2" ), 0 );
      EXPECT_EQ( log.size(), size_t( 2 * depth ) );
      EXPECT_FALSE( a->subscribed() || b->subscribed() || c->subscribed() );
      publisher = std::make_unique<Publisher>();
      publisher->subscriberAdd( c.get() );
      publisher->publishChange( 3 );
      EXPECT_EQ( log.back(), "c:3" );
   }
}

TEST_F( PublisherTest, aSubscriberMayDestroyThePublisherAndItself ) {
   subscribeAll();
   b->action = [ this ] {
      publisher.reset();
      b.reset();
   };
   publisher->publishChange( 1 );
   EXPECT_THAT( log, ElementsAre( "a:1", "b:1" ) );
}

using PublisherDeathTest = PublisherTest;

TEST_F( PublisherDeathTest, anExceptionOfASubscriberEndsTheProcess ) {
   subscribeAll();
   const struct {
      const char * name;
      std::function<void()> action;
      const char * text;
   } rows[] = {
      { "a failure", [] { throw std::runtime_error( "no" ); }, "exception in a reaction: no\n" },
      { "no memory", [] { throw std::bad_alloc(); }, "out of memory\n" },
      { "no std::exception", [] { throw 1; }, "exception in a reaction\n" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      b->action = row.action;
      EXPECT_DEATH( publisher->publishChange( 1 ), HasSubstr( row.text ) );
   }
}

/// One step of a random program over a few publishers and subscribers. A step that is somebody's reaction runs in a handler.
struct Step {
   enum Kind { add, addInactive, remove, publish, renewSubscriber, renewPublisher, react } kind;
   uint32_t subscriber, publisher;   // picks
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = {
         "add", "add inactive", "remove", "publish", "renew subscriber", "renew publisher", "next is a reaction of"
      };
      return os << names[ s.kind ] << " s" << s.subscriber << " p" << s.publisher;
   }
};

constexpr uint32_t kSubscribers = 6, kPublishers = 2;

/// What both worlds share: who hears what, and the reactions that wait for each subscriber to hear something.
template <class World>
struct Player {
   explicit Player( const std::vector<Step> & program ) {
      for( size_t i = 0; i < program.size(); ++i ) {
         if( program[ i ].kind == Step::react ) {
            if( i + 1 < program.size() && program[ i + 1 ].kind != Step::react )
               reactions[ program[ i ].subscriber ].push_back( program[ i + 1 ] );
            ++i;
         } else {
            play( program[ i ] );
         }
      }
   }
   void play( const Step & s ) {
      switch( s.kind ) {
         case Step::add: return world.add( s.subscriber, s.publisher, true );
         case Step::addInactive: return world.add( s.subscriber, s.publisher, false );
         case Step::remove: return world.remove( s.subscriber, s.publisher );
         case Step::publish: return world.publish( s.publisher, FieldId( ++published ) );
         case Step::renewSubscriber: return world.renewSubscriber( s.subscriber );
         case Step::renewPublisher: return world.renewPublisher( s.publisher );
         case Step::react: return;
      }
   }
   void heard( uint32_t subscriber, FieldId field ) {
      log.push_back( { subscriber, field } );
      auto & queue = reactions[ subscriber ];
      if( queue.empty() ) return;
      const Step next = queue.front();
      queue.pop_front();
      play( next );
   }
   std::vector<std::pair<uint32_t, FieldId>> log;
   std::deque<Step> reactions[ kSubscribers ];
   uint32_t published = 0;
   World world{ *this };
};

struct RealWorld {
   struct Ear : Subscriber {
      Ear( RealWorld & w, uint32_t i ) : world( w ), id( i ) {}
      void onChange( const Change & change ) override { world.player.heard( id, change.field ); }
      RealWorld & world;
      uint32_t id;
   };
   explicit RealWorld( Player<RealWorld> & p ) : player( p ) {
      for( uint32_t i = 0; i < kSubscribers; ++i ) renewSubscriber( i );
      for( uint32_t i = 0; i < kPublishers; ++i ) renewPublisher( i );
   }
   void add( uint32_t s, uint32_t p, bool active ) { publishers[ p ]->subscriberAdd( subscribers[ s ].get(), active ); }
   void remove( uint32_t s, uint32_t p ) { publishers[ p ]->subscriberRemove( subscribers[ s ].get() ); }
   void publish( uint32_t p, FieldId field ) { publishers[ p ]->publishChange( field ); }
   void renewSubscriber( uint32_t s ) { subscribers[ s ] = std::make_unique<Ear>( *this, s ); }
   void renewPublisher( uint32_t p ) { publishers[ p ] = std::make_unique<Publisher>(); }
   Player<RealWorld> & player;
   std::unique_ptr<Ear> subscribers[ kSubscribers ];
   std::unique_ptr<Publisher> publishers[ kPublishers ];
};

/// Every subscription has a number of its own. A change goes to those that are there when it is published, if they still are.
struct ModelWorld {
   struct Subscription {
      uint64_t number;
      uint32_t subscriber;
      bool active;
   };
   explicit ModelWorld( Player<ModelWorld> & p ) : player( p ) {}
   Subscription * find( uint32_t p, uint64_t number ) {
      for( auto & s : lists[ p ] )
         if( s.number == number ) return &s;
      return nullptr;
   }
   void add( uint32_t s, uint32_t p, bool active ) {
      for( auto & present : lists[ p ] ) {
         if( present.subscriber != s ) continue;
         present.active = active;
         return;
      }
      renewSubscriber( s );
      lists[ p ].push_back( { ++numbers, s, active } );
   }
   void remove( uint32_t s, uint32_t p ) {
      std::erase_if( lists[ p ], [ s ]( const auto & present ) { return present.subscriber == s; } );
   }
   void publish( uint32_t p, FieldId field ) {
      const auto atFirst = lists[ p ];
      for( const auto & s : atFirst )
         if( auto * present = find( p, s.number ); present && present->active ) player.heard( s.subscriber, field );
   }
   void renewSubscriber( uint32_t s ) {
      for( uint32_t p = 0; p < kPublishers; ++p ) remove( s, p );
   }
   void renewPublisher( uint32_t p ) { lists[ p ].clear(); }
   Player<ModelWorld> & player;
   std::vector<Subscription> lists[ kPublishers ];
   uint64_t numbers = 0;
};

RC_GTEST_PROP( Publisher, deliversAsTheModelDoes, () ) {
   const auto kind = rc::gen::weightedElement<Step::Kind>( { { 6, Step::add },
                                                             { 1, Step::addInactive },
                                                             { 2, Step::remove },
                                                             { 6, Step::publish },
                                                             { 1, Step::renewSubscriber },
                                                             { 1, Step::renewPublisher },
                                                             { 12, Step::react } } );
   const auto program =
      *programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::subscriber, rc::gen::inRange<uint32_t>( 0, kSubscribers ) ),
                        rc::gen::set( &Step::publisher, rc::gen::weightedElement<uint32_t>( { { 4, 0 }, { 1, 1 } } ) ) );
   const Player<RealWorld> real( program );
   const Player<ModelWorld> model( program );
   RC_ASSERT( real.log == model.log );
   for( uint32_t s = 0; s < kSubscribers; ++s ) {
      bool subscribed = false;
      for( const auto & list : model.world.lists )
         for( const auto & present : list ) subscribed |= present.subscriber == s;
      RC_ASSERT( real.world.subscribers[ s ]->subscribed() == subscribed );
   }
}

}   // namespace
