#include "substrate/zeugma/BaseOutputSm.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/zeugma/BaseNotifyingType.h"

namespace {

using Quoin::Change;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;
using Zeugma::BaseOutputSm;
using Zeugma::makeSm;

using Log = std::vector<std::string>;

class Item final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { weight = 1 };
   explicit Item( uint32_t i ) : id( i ) {}
   PLINTH_ATTR( weight, weightIs, Field::weight, int );

 public:
   void clone( const BaseNotifyingType & ) override {}
   const uint32_t id;
};

class Group final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { limit = 1, item };
   using Items = Plinth::TreeMap<uint32_t, Ptr<Item>>;
   PLINTH_ATTR( limit, limitIs, Field::limit, int );
   PLINTH_MADE_NODES( item, itemIs, itemDel, itemDelAll, Field::item, Items );

 public:
   void clone( const BaseNotifyingType & ) override {}
};

/// What the machines note, and what is to happen when they note it.
struct Story {
   void note( const std::string & text ) {
      log.push_back( text );
      const auto found = then.find( text );
      if( found == then.end() ) return;
      const auto action = found->second;
      then.erase( found );   // once
      action();
   }
   Log take() { return std::exchange( log, {} ); }
   Log log;
   std::map<std::string, std::function<void()>> then;
};

std::string flagsOf( const BaseOutputSm & sm ) {
   return std::string( sm.hasNotificationActive() ? "on" : "off" ) + ( sm.zombieReactors() ? " zombie" : "" );
}

class ItemSm final : public BaseOutputSm {
 public:
   ItemSm( Story & story, const Ptr<const Item> & item ) : story_( story ), item_( *item ), name_( "i" + std::to_string( item->id ) ) {
      reactor_.notifierIs( item );
      story_.note( name_ + " scan " + std::to_string( item_.weight() ) );
   }
   ~ItemSm() override {
      story_.note( name_ + " goes " + flagsOf( *this ) );
      stop();
   }
   void formatDerivedType( std::ostream & os ) const override { os << name_; }

 private:
   void handleChangeMissed() override { story_.note( name_ + " again " + std::to_string( item_.weight() ) ); }
   void handleItem( const Change & ) { story_.note( name_ + " weight " + std::to_string( item_.weight() ) ); }

   Story & story_;
   const Item & item_;
   std::string name_;
   Zeugma::Reactor<ItemSm> reactor_{ *this, &ItemSm::handleItem };
};

/// Watches a group, and the item at its side if there is one. Each item of the group has a machine nested in this one.
class GroupSm final : public BaseOutputSm {
 public:
   GroupSm( Story & story, const Ptr<const Group> & group, const Ptr<const Item> & side = nullptr ) : story_( story ), group_( *group ) {
      groupReactor_.notifierIs( group );
      sideReactor_.notifierIs( side );
      story_.note( "subscribed" );
      scan();
      story_.note( "scanned" );
   }
   ~GroupSm() override { stop(); }
   Zeugma::NestedSms<uint32_t, ItemSm> itemSm{ *this };
   Zeugma::NestedSms<int, ItemSm> otherSm{ *this };
   int limit = 0;

 private:
   void scan() {
      handleLimit();
      for( auto i = group_.item().first(); i; i.next() ) handleItem( i.key() );
   }
   void handleChangeMissed() override {
      scan();
      story_.note( "again" );   // the machine may be gone behind this
   }
   void handleGroup( const Change & change ) {
      switch( Group::Field( change.field ) ) {
         case Group::Field::limit: return handleLimit();
         case Group::Field::item: return handleItem( Plinth::keyOf<uint32_t>( change ) );
      }
   }
   void handleLimit() {
      limit = group_.limit();
      story_.note( "limit " + std::to_string( limit ) );
   }
   void handleItem( uint32_t id ) {
      const auto item = group_.item( id );
      if( !item )
         itemSm.erase( id );
      else if( !itemSm.find( id ) )
         itemSm.put( id, makeNode<ItemSm>( story_, item ) );
      story_.note( "item " + std::to_string( id ) );
   }
   void handleSide( const Change & ) { story_.note( "side" ); }

   Story & story_;
   const Group & group_;
   Zeugma::Reactor<GroupSm> groupReactor_{ *this, &GroupSm::handleGroup };
   Zeugma::Reactor<GroupSm> sideReactor_{ *this, &GroupSm::handleSide };
};

class BaseOutputSmTest : public testing::Test {
 protected:
   /// A machine that is switched on, of a group with these items.
   void build( std::initializer_list<uint32_t> items = {} ) {
      for( const uint32_t id : items ) group->itemIs( id );
      sm = makeSm<GroupSm>( story, group, side );
      story.take();
   }
   Story story;
   Ptr<Group> group = makeNode<Group>();
   Ptr<Item> side = makeNode<Item>( 99 );
   Ptr<GroupSm> sm;
};

using BaseOutputSmDeathTest = BaseOutputSmTest;

TEST_F( BaseOutputSmTest, whatStandsIsSeenByTheScanBeforeNotificationIsOn ) {
   group->limitIs( 7 );
   group->itemIs( 4 );
   group->itemIs( 3 )->weightIs( 5 );
   sm = makeNode<GroupSm>( story, group );
   EXPECT_THAT( story.log, ElementsAre( "subscribed", "limit 7", "i3 scan 5", "item 3", "i4 scan 0", "item 4", "scanned" ) );
   EXPECT_FALSE( sm->hasNotificationActive() );
   EXPECT_EQ( sm->itemSm.machines().count(), 2u );
}

TEST_F( BaseOutputSmTest, theFactorySwitchesNotificationOnAndNothingIsScannedTwice ) {
   group->itemIs( 3 );
   sm = makeSm<GroupSm>( story, group );
   EXPECT_THAT( story.take(), ElementsAre( "subscribed", "limit 0", "i3 scan 0", "item 3", "scanned" ) );
   EXPECT_EQ( flagsOf( *sm ), "on" );
   EXPECT_EQ( flagsOf( *sm->itemSm.find( 3 ) ), "on" );
   group->limitIs( 8 );
   group->item( 3 )->weightIs( 6 );
   EXPECT_THAT( story.log, ElementsAre( "limit 8", "i3 weight 6" ) );
}

TEST_F( BaseOutputSmTest, nothingIsDeliveredBeforeNotificationIsOn ) {
   sm = makeNode<GroupSm>( story, group, side );
   story.take();
   group->limitIs( 8 );
   side->weightIs( 1 );
   EXPECT_THAT( story.log, IsEmpty() );
}

TEST_F( BaseOutputSmTest, aMachineWithoutAnInputWorks ) {
   side = nullptr;
   build();
   group->limitIs( 8 );
   sm->hasNotificationActiveIs( false );
   sm->hasNotificationActiveIs( true );
   group->limitIs( 9 );
   EXPECT_THAT( story.log, ElementsAre( "limit 8", "limit 9" ) );
}

TEST_F( BaseOutputSmTest, aChangeBehindTheScanIsScannedWhenNotificationComesOn ) {
   const struct {
      const char * name;
      std::function<void()> change;
      Log seen;
   } rows[] = {
      { "of an attribute", [ & ] { group->limitIs( 8 ); }, { "limit 8", "again" } },
      { "of a collection", [ & ] { group->itemIs( 3 ); }, { "limit 0", "i3 scan 0", "item 3", "again" } },
      { "of several", [ & ] { group->itemIs( 3 ), group->limitIs( 8 ); }, { "limit 8", "i3 scan 0", "item 3", "again" } },
      { "of one that is watched beside", [ & ] { side->weightIs( 1 ); }, { "limit 0", "again" } },
      { "back to what it was", [ & ] { group->limitIs( 8 ), group->limitIs( 0 ); }, { "limit 0", "again" } },
      { "to what it is", [ & ] { group->limitIs( 0 ); }, {} },
      { "none", [] {}, {} },
   };
   for( const bool inConstruction : { true, false } ) {
      for( const auto & row : rows ) {
         SCOPED_TRACE( row.name );
         SCOPED_TRACE( inConstruction );
         group = makeNode<Group>();
         side = makeNode<Item>( 99 );
         if( inConstruction ) story.then[ "scanned" ] = row.change;
         sm = makeNode<GroupSm>( story, group, side );
         if( !inConstruction ) row.change();
         story.take();
         sm->hasNotificationActiveIs( true );
         EXPECT_EQ( story.take(), row.seen );
         sm->hasNotificationActiveIs( false );   // once only
         sm->hasNotificationActiveIs( true );
         EXPECT_THAT( story.take(), IsEmpty() );
         EXPECT_EQ( sm->limit, group->limit() );
         EXPECT_EQ( sm->itemSm.machines().count(), group->item().count() );
      }
   }
}

TEST_F( BaseOutputSmTest, aChangeBetweenSubscribingAndTheScanIsSeenByTheScan ) {
   story.then[ "subscribed" ] = [ this ] {
      group->itemIs( 3 );
      group->limitIs( 8 );
   };
   sm = makeNode<GroupSm>( story, group );
   EXPECT_THAT( story.log, ElementsAre( "subscribed", "limit 8", "i3 scan 0", "item 3", "scanned" ) );
}

TEST_F( BaseOutputSmTest, aChangeThatTheScanItselfMakesIsNotLost ) {
   story.then[ "limit 0" ] = [ this ] { group->limitIs( 8 ); };
   build();
   EXPECT_EQ( sm->limit, 8 );
}

TEST_F( BaseOutputSmTest, aNestedMachineSeesToWhatItMissedItself ) {
   group->itemIs( 3 );
   story.then[ "i3 scan 0" ] = [ this ] { group->item( 3 )->weightIs( 6 ); };
   sm = makeSm<GroupSm>( story, group );
   EXPECT_THAT( story.log, ElementsAre( "subscribed", "limit 0", "i3 scan 0", "i3 again 6", "item 3", "scanned" ) );
}

TEST_F( BaseOutputSmTest, theScanAfterAMissedChangeFindsNotificationOn ) {
   story.then[ "scanned" ] = [ this ] { group->limitIs( 8 ); };
   story.then[ "again" ] = [ this ] { EXPECT_EQ( flagsOf( *sm ), "on" ); };
   story.then[ "limit 8" ] = [ this ] { group->limitIs( 9 ); };   // heard at once
   sm = makeNode<GroupSm>( story, group );
   story.take();
   sm->hasNotificationActiveIs( true );
   EXPECT_THAT( story.log, ElementsAre( "limit 8", "limit 9", "again" ) );
}

TEST_F( BaseOutputSmTest, aMachineMayGoInItsScanAfterAMissedChange ) {
   story.then[ "scanned" ] = [ this ] { group->limitIs( 8 ); };
   story.then[ "again" ] = [ this ] { sm = nullptr; };
   sm = makeNode<GroupSm>( story, group );
   auto * const raw = sm.get();
   raw->hasNotificationActiveIs( true );
   EXPECT_EQ( sm, nullptr );
   story.take();
   group->limitIs( 9 );
   EXPECT_THAT( story.log, IsEmpty() );
}

TEST_F( BaseOutputSmTest, aMachineMadeAtRunTimeIsSwitchedOn ) {
   build();
   const auto item = group->itemIs( 3 );
   EXPECT_THAT( story.take(), ElementsAre( "i3 scan 0", "item 3" ) );
   EXPECT_EQ( flagsOf( *sm->itemSm.find( 3 ) ), "on" );
   item->weightIs( 6 );
   EXPECT_THAT( story.log, ElementsAre( "i3 weight 6" ) );
}

TEST_F( BaseOutputSmTest, writingWhatStandsRunsNoReactor ) {
   build( { 3 } );
   group->limitIs( 8 );
   group->item( 3 )->weightIs( 6 );
   story.take();
   group->limitIs( 8 );
   group->item( 3 )->weightIs( 6 );
   group->itemIs( 3 );
   group->itemDel( 4 );
   side->weightIs( 0 );
   EXPECT_THAT( story.log, IsEmpty() );
}

TEST_F( BaseOutputSmTest, notificationIsTurnedOffAndOnForAllThatIsNested ) {
   build( { 3, 4 } );
   sm->otherSm.put( 1, makeNode<ItemSm>( story, side ) );
   story.take();
   for( const bool active : { false, true, false, true } ) {
      SCOPED_TRACE( active );
      sm->hasNotificationActiveIs( active );
      const char * flags = active ? "on" : "off";
      EXPECT_EQ( flagsOf( *sm ), flags );
      EXPECT_EQ( flagsOf( *sm->itemSm.find( 3 ) ), flags );
      EXPECT_EQ( flagsOf( *sm->itemSm.find( 4 ) ), flags );
      EXPECT_EQ( flagsOf( *sm->otherSm.find( 1 ) ), flags );
      const int next = group->limit() + 1;
      group->limitIs( next );
      group->item( 4 )->weightIs( next );
      side->weightIs( next );
      const std::string n = std::to_string( next );
      EXPECT_THAT( story.take(),
                   UnorderedElementsAreArray( active ? Log( { "limit " + n, "i4 weight " + n, "side", "i99 weight " + n } ) : Log() ) );
   }
}

TEST_F( BaseOutputSmTest, thePresentNotificationValueDoesNothingAlsoForTheNested ) {
   build( { 3, 4 } );
   const auto nested = sm->itemSm.find( 3 );
   nested->hasNotificationActiveIs( false );   // so that it differs from its owner
   sm->hasNotificationActiveIs( true );
   EXPECT_EQ( flagsOf( *nested ), "off" );
   sm->hasNotificationActiveIs( false );
   nested->hasNotificationActiveIs( true );
   sm->hasNotificationActiveIs( false );
   EXPECT_EQ( flagsOf( *nested ), "on" );
   EXPECT_EQ( flagsOf( *sm->itemSm.find( 4 ) ), "off" );
   EXPECT_THAT( story.log, IsEmpty() );
}

TEST_F( BaseOutputSmTest, thePresentNotificationValueKeepsThePlacesOfTheSubscriptions ) {
   build();
   Story second;
   const auto other = makeSm<GroupSm>( second, group );
   second.then[ "limit 8" ] = [ this ] { EXPECT_EQ( sm->limit, 8 ) << "the first has heard of it already"; };
   sm->hasNotificationActiveIs( true );
   group->limitIs( 8 );
   EXPECT_TRUE( second.then.empty() );
}

TEST_F( BaseOutputSmTest, aZombiesReactorsAreSkipped ) {
   build( { 3 } );
   sm->otherSm.put( 1, makeNode<ItemSm>( story, side ) );
   story.take();
   for( const bool zombie : { true, false, true, false } ) {
      SCOPED_TRACE( zombie );
      sm->plinthDoZombieReactors( zombie );
      const char * flags = zombie ? "on zombie" : "on";   // it is the flag that skips them
      EXPECT_EQ( flagsOf( *sm ), flags );
      EXPECT_EQ( flagsOf( *sm->itemSm.find( 3 ) ), flags );
      EXPECT_EQ( flagsOf( *sm->otherSm.find( 1 ) ), flags );
      const int next = group->limit() + 1;
      group->limitIs( next );
      group->item( 3 )->weightIs( next );
      side->weightIs( next );
      const std::string n = std::to_string( next );
      EXPECT_THAT( story.take(),
                   UnorderedElementsAreArray( zombie ? Log() : Log( { "limit " + n, "i3 weight " + n, "side", "i99 weight " + n } ) ) );
   }
}

TEST_F( BaseOutputSmTest, thePresentZombieValueDoesNothingAlsoForTheNested ) {
   build( { 3 } );
   const auto nested = sm->itemSm.find( 3 );
   nested->plinthDoZombieReactors( true );
   sm->plinthDoZombieReactors( false );
   EXPECT_EQ( flagsOf( *nested ), "on zombie" );
   sm->plinthDoZombieReactors( true );
   nested->plinthDoZombieReactors( false );
   sm->plinthDoZombieReactors( true );
   EXPECT_EQ( flagsOf( *nested ), "on" );
}

/// Writes down what it is told, and under what flags of its machine.
struct Probe final : Zeugma::SmPart {
   Probe( BaseOutputSm & o, Story & s, std::string n ) : SmPart( o ), owner( o ), story( s ), name( std::move( n ) ) {}
   ~Probe() { note( "goes" ); }
   void partNotificationActiveIs( bool active ) override { note( active ? "on" : "off" ); }
   void partZombieIs( bool zombie ) override { note( zombie ? "zombie" : "no zombie" ); }
   bool partChangeMissed() override { return std::exchange( missed, false ); }
   void note( const std::string & what ) const { story.note( name + " " + what + " (" + flagsOf( owner ) + ")" ); }
   BaseOutputSm & owner;
   Story & story;
   std::string name;
   bool missed = false;
};

struct ProbeSm final : BaseOutputSm {
   explicit ProbeSm( Story & s ) : story( s ) {}
   ~ProbeSm() override { stop(); }
   void handleChangeMissed() override { story.note( "again" ); }
   Story & story;
   Probe a{ *this, story, "a" }, b{ *this, story, "b" };
};

TEST_F( BaseOutputSmTest, destructionTurnsOffMarksAndLetsGo ) {
   auto probe = makeSm<ProbeSm>( story );
   EXPECT_THAT( story.take(), ElementsAre( "a on (on)", "b on (on)" ) );
   probe = nullptr;
   EXPECT_THAT( story.log,
                ElementsAre( "a off (off)", "b off (off)", "a zombie (off zombie)", "b zombie (off zombie)", "b goes (off zombie)",
                             "a goes (off zombie)" ) );
}

TEST_F( BaseOutputSmTest, destructionOfOneThatIsOffMarksIt ) {
   makeNode<ProbeSm>( story );
   EXPECT_THAT( story.log, ElementsAre( "a zombie (off zombie)", "b zombie (off zombie)", "b goes (off zombie)", "a goes (off zombie)" ) );
}

TEST_F( BaseOutputSmTest, onePartThatMissedAChangeIsEnoughForOneScan ) {
   for( const int missed : { 0, 1, 2, 3 } ) {
      SCOPED_TRACE( missed );
      story.take();
      const auto probe = makeNode<ProbeSm>( story );
      probe->a.missed = missed & 1;
      probe->b.missed = missed & 2;
      probe->hasNotificationActiveIs( true );
      Log expected{ "a on (on)", "b on (on)" };   // all are on before the scan
      if( missed ) expected.push_back( "again" );
      EXPECT_EQ( story.take(), expected );
   }
}

TEST_F( BaseOutputSmTest, whatIsMissedIsForgottenWhenTheMachineIsTurnedOff ) {
   const auto probe = makeSm<ProbeSm>( story );
   probe->a.missed = true;
   probe->hasNotificationActiveIs( false );
   probe->hasNotificationActiveIs( true );
   EXPECT_THAT( story.log, ElementsAre( "a on (on)", "b on (on)", "a off (off)", "b off (off)", "a on (on)", "b on (on)" ) );
}

TEST_F( BaseOutputSmTest, theNestedAreOffAndMarkedWhenTheyGoWithTheirOwner ) {
   build( { 3, 4 } );
   const auto write = [ this ] {   // in the middle of the teardown
      group->limitIs( group->limit() + 1 );
      group->itemIs( 5 );
      for( const uint32_t id : { 3u, 4u } ) group->item( id )->weightIs( group->limit() );
   };
   story.then[ "i3 goes off zombie" ] = write;
   story.then[ "i4 goes off zombie" ] = write;
   sm = nullptr;
   EXPECT_THAT( story.log, UnorderedElementsAre( "i3 goes off zombie", "i4 goes off zombie" ) );
   EXPECT_EQ( group->useCount(), 1u );
   EXPECT_EQ( group->item( 3 )->useCount(), 2u );   // the group's, and the one just asked for
}

TEST_F( BaseOutputSmTest, aMachineThatHasGoneLeavesItsInputs ) {
   build( { 3 } );
   sm = nullptr;
   story.take();
   group->limitIs( 8 );
   group->itemIs( 4 );
   group->item( 3 )->weightIs( 6 );
   side->weightIs( 6 );
   EXPECT_THAT( story.log, IsEmpty() );
}

TEST_F( BaseOutputSmTest, aMachineMayGoInsideItsOwnHandler ) {
   const struct {
      const char * name;
      const char * note;
      std::function<void()> write;
   } rows[] = {
      { "an attribute is written", "limit 8", [ & ] { group->limitIs( 8 ); } },
      { "a member comes", "item 5", [ & ] { group->itemIs( 5 ); } },
      { "a member goes", "item 3", [ & ] { group->itemDel( 3 ); } },
      { "an object beside is written", "side", [ & ] { side->weightIs( 1 ); } },
      { "a nested machine hears", "i4 weight 6", [ & ] { group->item( 4 )->weightIs( 6 ); } },
   };
   for( const bool groupToo : { false, true } ) {
      for( const auto & row : rows ) {
         SCOPED_TRACE( row.name );
         SCOPED_TRACE( groupToo );
         group = makeNode<Group>();
         side = makeNode<Item>( 99 );
         build( { 3, 4 } );
         const auto kept = group;
         Story second;
         auto other = groupToo ? nullptr : makeSm<GroupSm>( second, group, side );
         second.take();
         story.then[ row.note ] = [ & ] {
            sm = nullptr;
            if( groupToo ) group = nullptr;   // `kept` still has it, since the write needs it
         };
         const auto write = row.write;
         write();
         EXPECT_EQ( sm, nullptr );
         EXPECT_TRUE( story.then.empty() );
         story.take();
         if( groupToo ) {
            EXPECT_EQ( kept->useCount(), 1u );
            kept->limitIs( 20 );
         } else {
            EXPECT_THAT( second.take(), Contains( row.note ) ) << "the one behind it hears all the same";
            group->limitIs( 20 );
            EXPECT_THAT( second.take(), ElementsAre( "limit 20" ) );
         }
         EXPECT_THAT( story.take(), IsEmpty() );
      }
   }
}

TEST_F( BaseOutputSmTest, aMachineMayTakeWhatItWatchesAlongInsideItsOwnHandler ) {
   build( { 3 } );
   auto & raw = *group;
   story.then[ "limit 8" ] = [ this ] {
      group = nullptr;
      EXPECT_NE( sm->itemSm.find( 3 ), nullptr );   // the machine holds what it watches
      sm = nullptr;
   };
   raw.limitIs( 8 );
   EXPECT_EQ( sm, nullptr );
   EXPECT_EQ( story.log.back(), "i3 goes off zombie" );
}

TEST_F( BaseOutputSmTest, aNestedMachineMayBeErasedInsideItsOwnHandler ) {
   const struct {
      const char * name;
      std::function<void()> erase;
      Log heard;
      size_t left;
   } rows[] = {
      { "by its key", [ & ] { sm->itemSm.erase( 3 ); }, { "i3 weight 6", "i3 goes off zombie" }, 1 },
      { "with all of its kind", [ & ] { sm->itemSm.clear(); }, { "i3 weight 6", "i3 goes off zombie", "i4 goes off zombie" }, 0 },
      { "since its item goes", [ & ] { group->itemDel( 3 ); }, { "i3 weight 6", "i3 goes off zombie", "item 3" }, 1 },
      { "by another in its place",
        [ & ] { sm->itemSm.put( 3, makeNode<ItemSm>( story, side ) ); },
        { "i3 weight 6", "i99 scan 0", "i3 goes off zombie" },
        2 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      sm = nullptr;
      group = makeNode<Group>();
      build( { 3, 4 } );
      const auto item = group->item( 3 );
      story.then[ "i3 weight 6" ] = row.erase;
      item->weightIs( 6 );
      EXPECT_EQ( story.log.front(), row.heard.front() );
      EXPECT_THAT( story.take(), UnorderedElementsAreArray( row.heard ) ) << "those that go together do so in any order";
      EXPECT_EQ( sm->itemSm.machines().count(), row.left );
      item->weightIs( 7 );
      EXPECT_THAT( story.take(), IsEmpty() );
      group->limitIs( 8 );
      EXPECT_THAT( story.take(), ElementsAre( "limit 8" ) );
   }
}

TEST_F( BaseOutputSmTest, aNestedMachineMayGoWhileAllAreSwitchedOn ) {
   struct OwnerSm final : BaseOutputSm {
      ~OwnerSm() override { stop(); }
      void handleChangeMissed() override {}
      Zeugma::NestedSms<int, ProbeSm> nested{ *this };
   };
   const auto owner = makeSm<OwnerSm>();
   for( const int key : { 1, 2, 3 } ) owner->nested.put( key, makeNode<ProbeSm>( story ) );
   owner->hasNotificationActiveIs( false );
   owner->nested.find( 2 )->a.missed = true;
   story.then[ "again" ] = [ & ] { owner->nested.erase( 2 ); };
   owner->hasNotificationActiveIs( true );
   EXPECT_EQ( owner->nested.machines().count(), 2u );
   EXPECT_EQ( flagsOf( *owner->nested.find( 1 ) ), "on" );
   EXPECT_EQ( flagsOf( *owner->nested.find( 3 ) ), "on" );
}

TEST_F( BaseOutputSmTest, aMachineLetGoWhileACollectionIsClearedHearsNoMore ) {
   build( { 3, 4, 5 } );
   story.then[ "item 3" ] = [ this ] { sm = nullptr; };
   group->itemDelAll();
   EXPECT_EQ( sm, nullptr );
   EXPECT_THAT( story.log, Not( Contains( "item 4" ) ) ) << "its last use has gone before";
}

TEST_F( BaseOutputSmTest, whatIsGivenUpHearsNothingMoreAlsoWhereItIsHeld ) {
   build( { 3, 4 } );
   const auto three = sm->itemSm.find( 3 ), four = sm->itemSm.find( 4 );
   sm->itemSm.erase( 3 );
   sm->itemSm.clear();
   story.take();
   for( const uint32_t key : { 3u, 4u } ) group->item( key )->weightIs( 7 );
   EXPECT_THAT( story.take(), IsEmpty() );
   EXPECT_FALSE( three->hasNotificationActive() || four->hasNotificationActive() );
}

TEST_F( BaseOutputSmTest, whatIsPutIntoAZombieIsOneToo ) {
   build();
   sm->plinthDoZombieReactors( true );
   const auto late = makeNode<ItemSm>( story, side );
   sm->otherSm.put( 1, late );
   EXPECT_EQ( flagsOf( *late ), "on zombie" );
   side->weightIs( 6 );
   sm->plinthDoZombieReactors( false );   // it is taken back
   EXPECT_EQ( flagsOf( *late ), "on" );
   story.take();
   side->weightIs( 7 );
   EXPECT_THAT( story.log, UnorderedElementsAre( "side", "i99 weight 7" ) );
}

TEST_F( BaseOutputSmTest, whatIsPutIntoOneThatIsOffIsOffUntilThatIsOn ) {
   build();
   sm->hasNotificationActiveIs( false );
   const auto late = makeNode<ItemSm>( story, side );
   sm->otherSm.put( 1, late );
   EXPECT_EQ( flagsOf( *late ), "off" );
   story.take();
   side->weightIs( 6 );
   EXPECT_THAT( story.take(), IsEmpty() );
   sm->hasNotificationActiveIs( true );
   EXPECT_EQ( flagsOf( *late ), "on" );
   EXPECT_THAT( story.take(), ElementsAre( "i99 again 6" ) ) << "behind its own scan, and before it was first on";
   side->weightIs( 7 );
   EXPECT_THAT( story.log, UnorderedElementsAre( "side", "i99 weight 7" ) );
}

TEST_F( BaseOutputSmTest, aZombieThatIsSwitchedOnScansNothing ) {
   const auto probe = makeNode<ProbeSm>( story );
   probe->a.missed = true;
   probe->plinthDoZombieReactors( true );
   probe->hasNotificationActiveIs( true );
   EXPECT_EQ( flagsOf( *probe ), "on zombie" );
   EXPECT_THAT( story.log, Not( Contains( "again" ) ) );
}

/// Others are nested in it, among parts of its own.
struct NestSm final : BaseOutputSm {
   explicit NestSm( Story & s ) : story( s ) {}
   ~NestSm() override { stop(); }
   void handleChangeMissed() override { story.note( "owner again" ); }
   Story & story;
   Probe first{ *this, story, "first" };
   Zeugma::NestedSms<int, ProbeSm> nested{ *this };
   Probe last{ *this, story, "last" };
};

class NestedSmsTest : public BaseOutputSmTest {
 protected:
   /// Off, with this many nested machines; the first of them, and the owner itself, have missed a change.
   NestedSmsTest() { owner->hasNotificationActiveIs( false ); }
   void nest( int count ) {
      for( int key = 1; key <= count; ++key ) owner->nested.put( key, makeNode<ProbeSm>( story ) );
      owner->nested.find( 1 )->a.missed = true;
      owner->first.missed = true;
      story.take();
   }
   Ptr<NestSm> owner = makeSm<NestSm>( story );
};

TEST_F( NestedSmsTest, aNestedMachineMayTurnItsOwnerOffWhileAllAreSwitchedOn ) {
   nest( 1 );
   story.then[ "again" ] = [ this ] { owner->hasNotificationActiveIs( false ); };
   owner->hasNotificationActiveIs( true );
   EXPECT_EQ( flagsOf( *owner ), "off" );
   EXPECT_EQ( flagsOf( *owner->nested.find( 1 ) ), "off" );
   EXPECT_THAT(
      story.take(),
      ElementsAre( "first on (on)", "a on (on)", "b on (on)", "again", "first off (off)", "a off (off)", "b off (off)", "last off (off)" ) )
      << "what stands behind it is never on, and the owner does not scan while it is off";
   owner->hasNotificationActiveIs( true );
   EXPECT_THAT( story.log, ElementsAre( "first on (on)", "a on (on)", "b on (on)", "last on (on)" ) );
}

TEST_F( NestedSmsTest, theSiblingsOfOneThatTurnsItsOwnerOffStayOffToo ) {
   nest( 3 );
   story.then[ "again" ] = [ this ] { owner->hasNotificationActiveIs( false ); };
   owner->hasNotificationActiveIs( true );
   EXPECT_EQ( flagsOf( *owner ), "off" );
   for( const int key : { 1, 2, 3 } ) EXPECT_EQ( flagsOf( *owner->nested.find( key ) ), "off" ) << key;
}

TEST_F( NestedSmsTest, aNestedMachineMayDropItsOwnerWhileAllAreSwitchedOn ) {
   nest( 2 );
   auto * const raw = owner.get();
   story.then[ "again" ] = [ this ] { owner = nullptr; };
   raw->hasNotificationActiveIs( true );
   EXPECT_EQ( owner, nullptr );
   EXPECT_THAT( story.log, Not( Contains( "last on (on)" ) ) );
   EXPECT_THAT( story.log, Not( Contains( "owner again" ) ) );
   EXPECT_EQ( story.log.back(), "first goes (off zombie)" ) << "it has gone, behind all that was nested in it";
}

TEST_F( NestedSmsTest, whatIsPutIntoOneThatIsGivenUpIsOff ) {
   struct OuterSm final : BaseOutputSm {
      ~OuterSm() override { stop(); }
      void handleChangeMissed() override {}
      Zeugma::NestedSms<int, NestSm> nested{ *this };
   };
   const auto outer = makeSm<OuterSm>();
   outer->nested.put( 1, owner );
   EXPECT_EQ( flagsOf( *owner ), "on" );
   outer->nested.erase( 1 );
   const auto late = makeNode<ProbeSm>( story );
   owner->nested.put( 1, late );
   EXPECT_EQ( flagsOf( *late ), "off zombie" );
   outer->nested.put( 2, owner );
   EXPECT_EQ( flagsOf( *late ), "on" ) << "and comes back with it";
}

TEST_F( NestedSmsTest, whatIsPutIntoOneThatIsBeingMadeIsOn ) {
   const auto made = makeNode<NestSm>( story );
   const auto early = makeNode<ProbeSm>( story );
   made->nested.put( 1, early );
   EXPECT_EQ( flagsOf( *made ), "off" );
   EXPECT_TRUE( made->switchesOnNested() );
   EXPECT_EQ( flagsOf( *early ), "on" );
}

TEST_F( NestedSmsTest, whatAMachineWasNestingIsGivenUpWhenItsConstructorThrows ) {
   struct ThrowingSm final : BaseOutputSm {
      explicit ThrowingSm( const Ptr<ProbeSm> & sm ) {
         nested.put( 1, sm );
         throw std::runtime_error( "no" );
      }
      ~ThrowingSm() override { stop(); }
      void handleChangeMissed() override {}
      Zeugma::NestedSms<int, ProbeSm> nested{ *this };
   };
   const auto held = makeNode<ProbeSm>( story );
   EXPECT_THROW( makeSm<ThrowingSm>( held ), std::runtime_error );
   EXPECT_EQ( flagsOf( *held ), "off zombie" );
   EXPECT_EQ( held->useCount(), 1u );
}

TEST_F( NestedSmsTest, aNullIsRefused ) {
   nest( 1 );
   const auto one = owner->nested.find( 1 );
   for( const int key : { 1, 2 } ) { EXPECT_THROW( owner->nested.put( key, nullptr ), Plinth::MutatorArgNullPointerException ) << key; }
   EXPECT_EQ( owner->nested.find( 1 ), one );
   EXPECT_EQ( owner->nested.machines().count(), 1u );
   EXPECT_THAT( story.log, IsEmpty() );
}

/// With one machine in it.
struct OneNestSm final : BaseOutputSm {
   ~OneNestSm() override { stop(); }
   void handleChangeMissed() override {}
   Zeugma::NestedSm<ProbeSm> nested{ *this };
};

TEST_F( NestedSmsTest, theOneMachineFollowsItsOwner ) {
   auto outer = makeNode<OneNestSm>();
   EXPECT_EQ( outer->nested.machine(), nullptr );
   outer->nested.create( story );
   const ProbeSm & one = *outer->nested.machine();
   EXPECT_EQ( flagsOf( one ), "on" ) << "also while its owner is being made";
   outer->hasNotificationActiveIs( true );
   outer->hasNotificationActiveIs( false );
   EXPECT_EQ( flagsOf( one ), "off" );
   outer->hasNotificationActiveIs( true );
   EXPECT_EQ( flagsOf( one ), "on" );
   outer->plinthDoZombieReactors( true );
   EXPECT_EQ( flagsOf( one ), "on zombie" );
}

TEST_F( NestedSmsTest, theOneMachineIsStoppedWithItsOwner ) {
   auto outer = makeSm<OneNestSm>();
   outer->nested.create( story );
   const ProbeSm & one = *outer->nested.machine();
   const Quoin::ReleaseScope keepsTheObjects;
   outer = nullptr;
   EXPECT_EQ( flagsOf( one ), "off zombie" );
}

TEST_F( NestedSmsTest, theOneMachineOfAnOwnerThatIsOffIsOff ) {
   const auto outer = makeSm<OneNestSm>();
   outer->hasNotificationActiveIs( false );
   outer->nested.create( story );
   EXPECT_EQ( flagsOf( *outer->nested.machine() ), "off" );
}

TEST_F( NestedSmsTest, theOneMachineIsCreatedOnce ) {
   const auto outer = makeSm<OneNestSm>();
   outer->nested.create( story );
   EXPECT_DEATH( outer->nested.create( story ), "the nested machine exists" );
}

TEST_F( BaseOutputSmTest, nestedMachinesAreFoundByTheirKey ) {
   build();
   Zeugma::NestedSms<int, ItemSm> & nested = sm->otherSm;
   EXPECT_EQ( nested.find( 1 ), nullptr );
   EXPECT_EQ( nested.erase( 1 ), nullptr );
   const auto one = makeNode<ItemSm>( story, side ), two = makeNode<ItemSm>( story, side );
   nested.put( 1, one );
   nested.put( 2, two );
   EXPECT_TRUE( one->hasNotificationActive() && two->hasNotificationActive() );
   EXPECT_EQ( nested.find( 1 ), one );
   EXPECT_EQ( nested.machines().count(), 2u );
   nested.put( 1, two );   // takes the place
   EXPECT_FALSE( one->hasNotificationActive() );
   EXPECT_EQ( one->useCount(), 1u );
   EXPECT_EQ( nested.erase( 2 ), two );
   nested.clear();
   EXPECT_TRUE( nested.machines().empty() );
   EXPECT_EQ( two->useCount(), 1u );
}

TEST_F( BaseOutputSmTest, aNestedMachineIsReadByItsKey ) {
   class OwnerSm final : public BaseOutputSm {
    public:
      explicit OwnerSm( const Ptr<ProbeSm> & sm ) { probeSm_.put( 7, sm ); }
      ~OwnerSm() override { stop(); }

    private:
      void handleChangeMissed() override {}
      ZEUGMA_NESTED_SMS( probeSm, int, ProbeSm );
   };
   const auto probe = makeNode<ProbeSm>( story );
   const auto owner = makeSm<OwnerSm>( probe );
   EXPECT_EQ( owner->probeSm( 7 ), probe );
   EXPECT_EQ( owner->probeSm( 8 ), nullptr );
   EXPECT_EQ( owner->probeSm().count(), 1u );
   EXPECT_EQ( flagsOf( *probe ), "on" );
}

TEST_F( BaseOutputSmDeathTest, anExceptionOfARepeatedScanEndsTheProcess ) {
   story.then[ "i99 scan 0" ] = [ this ] { side->weightIs( 6 ); };
   story.then[ "i99 again 6" ] = [] { throw std::runtime_error( "no" ); };
   EXPECT_DEATH( makeSm<ItemSm>( story, side ), HasSubstr( "exception in a reaction: no\n" ) );
}

TEST_F( BaseOutputSmDeathTest, aMachineMayLeaveItsOwnerWhileItIsSwitchedOn ) {
   EXPECT_EXIT(
      {
         build();
         story.then[ "i99 scan 0" ] = [ this ] { side->weightIs( 6 ); };
         story.then[ "i99 again 6" ] = [ this ] { sm->otherSm.erase( 1 ); };
         sm->otherSm.put( 1, makeNode<ItemSm>( story, side ) );
         std::_Exit( sm->otherSm.machines().empty() ? 0 : 1 );
      },
      testing::ExitedWithCode( 0 ), "" );
}

TEST_F( BaseOutputSmTest, tracesCallAMachineByItsDerivedType ) {
   build( { 3 } );
   std::ostringstream derived, plain;
   derived << *sm->itemSm.find( 3 );
   EXPECT_EQ( derived.str(), "i3" );
   plain << *sm;
   EXPECT_EQ( plain.str(), std::string( Quoin::DisplayPointer::toString( sm.get() ) ) );
}

TEST_F( BaseOutputSmTest, aMachineWithoutADumpOfItsOwnPrintsItsIdentity ) {
   build();
   const auto ctx = makeNode<const Zeugma::DumpContext>();
   sm->dumpState( ctx, 0 );
   sm->dumpState( ctx, 2 );
   const std::string line = std::string( Quoin::DisplayPointer::toString( sm.get() ) ) + "\n";
   EXPECT_EQ( std::string( ctx->text() ), line + "  " + line );
}

}   // namespace
