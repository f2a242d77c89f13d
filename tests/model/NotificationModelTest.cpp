// A subscriber hears of a change if it was subscribed when the change was published and still is when its turn comes; machines built
// on that mirror what they watch, whatever is written inside their handlers.

#include "tests/model/NotificationModel.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/NotifieeConst.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/zeugma/BaseOutputSm.h"
#include "tests/model/RandomCases.h"

namespace {

using namespace notification;
using Quoin::Change;
using Quoin::makeNode;
using Quoin::Ptr;

class Object final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { value = 1, member };
   explicit Object( size_t & a ) : alive( a ) { ++alive; }
   ~Object() override { --alive; }
   PLINTH_ATTR( value, valueIs, Field::value, uint32_t );
   PLINTH_COLLECTION( member, memberIs, memberDel, memberDelAll, Field::member, Plinth::RbTreeMap<uint32_t, uint32_t> );

 public:
   size_t & alive;
};

class Real {
 public:
   explicit Real( Player<Real> & player ) : player_( player ) {
      for( uint32_t o = 0; o < kObjects; ++o ) renewObject( o );
      for( uint32_t w = 0; w < kWatchers; ++w ) renewWatcher( w );
   }

   void write( uint32_t o, uint32_t value ) { objects_[ o ]->valueIs( value ); }
   void put( uint32_t o, uint32_t key, uint32_t value ) { objects_[ o ]->memberIs( key, value ); }
   void del( uint32_t o, uint32_t key ) { objects_[ o ]->memberDel( key ); }
   void delAll( uint32_t o ) { objects_[ o ]->memberDelAll(); }
   void writeWatched( uint32_t w, uint32_t value ) {
      if( Object * object = watched( w ) ) object->valueIs( value );
   }
   void subscribe( uint32_t w, uint32_t o ) { watch( w, objects_[ o ].get() ); }
   void unsubscribe( uint32_t w ) {
      if( isReactor( w ) )
         reactors_[ w ]->notifierIs( nullptr );
      else
         ears_[ w ]->unsubscribe();
   }
   void follow( uint32_t w, uint32_t other ) {
      if( Object * object = watched( other ) ) watch( w, object );
   }
   void activeIs( uint32_t w, bool active ) {
      if( isReactor( w ) )
         reactors_[ w ]->hasNotificationActiveIs( active );
      else if( Object * object = watched( w ) )
         object->publisher()->subscriberAdd( ears_[ w ].get(), active );
   }
   void readMissed( uint32_t w ) {
      if( isReactor( w ) ) player_.heard( { w, lives_[ w ] - 1, kMissed, reactors_[ w ]->changeMissed() } );
   }
   void renewWatcher( uint32_t w ) {
      const uint32_t life = lives_[ w ]++;
      if( isReactor( w ) )
         reactors_[ w ] = std::make_unique<Reactor>( *this, w, life );
      else
         ears_[ w ] = std::make_unique<Ear>( *this, w, life );
   }
   void renewObject( uint32_t o ) { objects_[ o ] = makeNode<Object>( alive_ ); }

   bool watches( uint32_t w ) const { return isReactor( w ) ? reactors_[ w ]->notifier() != nullptr : ears_[ w ]->subscribed(); }
   bool reactorActive( uint32_t w ) const { return isReactor( w ) && reactors_[ w ]->hasNotificationActive(); }
   size_t objects() const { return alive_; }

 private:
   struct Ear final : Quoin::Subscriber {
      Ear( Real & r, uint32_t w, uint32_t l ) : real( r ), watcher( w ), life( l ) {}
      void onChange( const Change & change ) override { real.hear( watcher, life, *object, change ); }
      Real & real;
      uint32_t watcher, life;
      Object * object = nullptr;   // good while subscribed
   };
   // As it stands in a machine: a member, which goes at once when its owner does.
   struct Reactor final : Plinth::NotifieeConst {
      Reactor( Real & r, uint32_t w, uint32_t l ) : real( r ), watcher( w ), life( l ) {}
      void handleChange( const Change & change ) override {
         real.hear( watcher, life, static_cast<const Object &>( *notifier() ), change );
      }
      Real & real;
      uint32_t watcher, life;
   };
   void hear( uint32_t w, uint32_t life, const Object & object, const Change & change ) {
      if( !change.key ) return player_.heard( { w, life, 0, object.value() } );
      const auto key = Plinth::keyOf<uint32_t>( change );
      const uint32_t * now = object.member().find( key );
      player_.heard( { w, life, 1 + key, now ? *now : kNone } );
   }
   Object * watched( uint32_t w ) {
      if( !isReactor( w ) ) return ears_[ w ]->subscribed() ? ears_[ w ]->object : nullptr;
      return const_cast<Object *>( static_cast<const Object *>( reactors_[ w ]->notifier().get() ) );
   }
   void watch( uint32_t w, Object * object ) {
      if( isReactor( w ) ) return reactors_[ w ]->notifierIs( Ptr<const Quoin::Node>( object ) );
      ears_[ w ]->object = object;
      object->publisher()->subscriberAdd( ears_[ w ].get() );
   }

   Player<Real> & player_;
   size_t alive_ = 0;
   Ptr<Object> objects_[ kObjects ];
   std::unique_ptr<Ear> ears_[ kWatchers ];
   std::unique_ptr<Reactor> reactors_[ kWatchers ];
   uint32_t lives_[ kWatchers ] = {};
};

TEST( NotificationModel, watchersHearAsTheModelSays ) {
   size_t cases = 0, reactions = 0, heard = 0;
   forRandomCases( 100, [ & ]( Random & random ) {
      const auto program = randomProgram( random );
      const Player<Real> real( program );
      const Player<Model> model( program );
      EXPECT_EQ( real.log, model.log );
      EXPECT_EQ( real.world.objects(), model.world.objects() );
      for( uint32_t w = 0; w < kWatchers; ++w ) {
         EXPECT_EQ( real.world.watches( w ), model.world.watches( w ) ) << 'w' << w;
         EXPECT_EQ( real.world.reactorActive( w ), model.world.reactorActive( w ) ) << 'w' << w;
      }
      ++cases;
      reactions += model.reacted;
      heard += model.log.size();
   } );
   EXPECT_GT( reactions, 2 * cases ) << "the programs are too dull";
   EXPECT_GT( heard, 10 * cases ) << "the programs are too dull";
}

/// The other half: what a machine keeps of a group and its items, by a machine nested for each.
class Item final : public Quoin::NotifyingNode {
 public:
   explicit Item( uint32_t i ) : id( i ) {}
   PLINTH_ATTR( weight, weightIs, 1, uint32_t );

 public:
   const uint32_t id;
};

class Group final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { limit = 1, item };
   using Items = Plinth::RbTreeMap<uint32_t, Ptr<Item>>;
   PLINTH_ATTR( limit, limitIs, Field::limit, uint32_t );
   PLINTH_MADE_NODES( item, itemIs, itemDel, itemDelAll, Field::item, Items );
};

struct Mirror {
   bool operator==( const Mirror & ) const = default;
   friend std::ostream & operator<<( std::ostream & os, const Mirror & m ) {
      return os << m.limit << ' ' << testing::PrintToString( m.weights );
   }
   uint32_t limit = 0;
   std::map<uint32_t, uint32_t> weights;
};

Mirror mirrorOf( const Group & group ) {
   Mirror mirror{ group.limit(), {} };
   for( const auto & [ id, item ] : group.item() ) mirror.weights[ id ] = item->weight();
   return mirror;
}

/// Edits of a group, and those that wait for a machine to react.
class Edits {
 public:
   explicit Edits( Random & r ) : random( r ) {}
   void edit();
   void reacted() {
      if( nested == 5 || oneIn( random, 3 ) ) return;
      ++nested;
      edit();
      --nested;
   }
   Random & random;
   Ptr<Group> group = makeNode<Group>();
   Ptr<class GroupSm> sm;
   std::vector<Ptr<Item>> old;   // taken out of the group; who watched them must have left
   int nested = 0;
   size_t machines = 0;
   size_t edits = 0;
};

class ItemSm final : public Zeugma::BaseOutputSm {
 public:
   ItemSm( Edits & edits, Mirror & mirror, const Ptr<const Item> & i ) : item( i ), edits_( edits ), mirror_( mirror ) {
      ++edits_.machines;
      reactor_.notifierIs( item );
      handleWeight();
   }
   ~ItemSm() override {
      stop();
      --edits_.machines;
   }
   const Ptr<const Item> item;

 private:
   void handleChangeMissed() override { handleWeight(); }
   void handleItem( const Change & ) { handleWeight(); }
   void handleWeight() {
      mirror_.weights[ item->id ] = item->weight();
      edits_.reacted();   // this may be gone behind it
   }
   Edits & edits_;
   Mirror & mirror_;
   Zeugma::Reactor<ItemSm> reactor_{ *this, &ItemSm::handleItem };
};

class GroupSm final : public Zeugma::BaseOutputSm {
 public:
   GroupSm( Edits & edits, const Ptr<const Group> & group ) : edits_( edits ), group_( group ) {
      ++edits_.machines;
      reactor_.notifierIs( group );
      scan();
   }
   ~GroupSm() override {
      stop();
      --edits_.machines;
   }
   Mirror mirror;

 private:
   void scan() {
      handleLimit();
      for( auto i = group_->item().first(); i; i.next() ) handleItem( i.key() );
   }
   void handleChangeMissed() override {
      for( auto i = itemSm_.machines().first(); i; i.next() ) handleItem( i.key() );   // those that have gone
      scan();
   }
   void handleGroup( const Change & change ) {
      switch( Group::Field( change.field ) ) {
         case Group::Field::limit: return handleLimit();
         case Group::Field::item: return handleItem( Plinth::keyOf<uint32_t>( change ) );
      }
   }
   void handleLimit() {
      mirror.limit = group_->limit();
      edits_.reacted();
   }
   void handleItem( uint32_t id ) {
      const Ptr<GroupSm> self( this );   // what a nested machine writes may drop the handle on this one
      const auto item = group_->item( id );
      const auto nested = itemSm_.find( id );
      if( nested ? nested->item == item : !item ) return;
      if( nested ) nested->hasNotificationActiveIs( false );   // a caller may hold it beyond its end here
      if( !item ) {
         itemSm_.erase( id );
         mirror.weights.erase( id );
         edits_.reacted();
         return;
      }
      const auto made = makeNode<ItemSm>( edits_, mirror, item );
      if( group_->item( id ) == item ) {
         itemSm_.put( id, made );
      } else {   // taken out, and perhaps replaced, while the machine was made
         if( !itemSm_.find( id ) ) mirror.weights.erase( id );
         handleItem( id );
      }
   }
   Edits & edits_;
   const Ptr<const Group> group_;
   Zeugma::NestedSms<uint32_t, ItemSm> itemSm_{ *this };
   Zeugma::Reactor<GroupSm> reactor_{ *this, &GroupSm::handleGroup };
};

void Edits::edit() {
   ++edits;
   const auto key = [ this ] { return static_cast<uint32_t>( below( random, 5 ) ); };
   const auto weight = [ this ] { return static_cast<uint32_t>( below( random, 4 ) ); };
   const uint32_t kind = random.below( 12 );
   const auto say = [ & ]( const char * what, uint32_t which ) {
      random.say( nested ? "inside: " : "", what, ' ', which );
      return which;
   };
   if( kind == 0 ) return group->limitIs( say( "limit", weight() ) );
   if( kind <= 3 ) return static_cast<void>( group->itemIs( say( "create item", key() ) ) );
   if( kind <= 5 ) {
      if( auto gone = group->itemDel( say( "delete item", key() ) ) ) old.push_back( std::move( gone ) );
      return;
   }
   if( kind <= 9 ) {
      if( const auto item = group->item( say( "write item", key() ) ) ) item->weightIs( say( "weight", weight() ) );
      return;
   }
   if( kind == 10 ) {
      if( oneIn( random, 3 ) ) {
         random.say( "delete all items" );
         group->itemDelAll();
      } else if( !old.empty() ) {
         const auto & item = old[ below( random, old.size() ) ];
         item->weightIs( say( "weight of a deleted item", weight() ) );
      }
      return;
   }
   random.say( nested ? "inside: " : "", "another machine" );
   sm = Zeugma::makeSm<GroupSm>( *this, group );
}

TEST( NotificationModel, machinesMirrorWhatTheyWatchWhateverIsWrittenInTheirHandlers ) {
   size_t outer = 0, all = 0;
   forRandomCases( 20, [ & ]( Random & random ) {
      Edits edits( random );
      edits.edit();
      edits.sm = Zeugma::makeSm<GroupSm>( edits, edits.group );
      for( auto n = below( random, 60 ); n && !caseFailed() && random.step(); --n ) {
         edits.edit();
         ++outer;
         EXPECT_EQ( edits.sm->mirror, mirrorOf( *edits.group ) );
         EXPECT_EQ( edits.machines, 1 + edits.group->item().count() );   // those that were let go have gone
      }
      all += edits.edits;
      edits.sm = nullptr;
      EXPECT_EQ( edits.machines, 0u );
   } );
   EXPECT_GT( all, 2 * outer ) << "too little is written in handlers";
}

}   // namespace
