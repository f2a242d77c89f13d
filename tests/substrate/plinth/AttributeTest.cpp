#include "substrate/plinth/Attribute.h"

#include <algorithm>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/plinth/Exception.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/PlainRecord.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"
#include "substrate/zeugma/BaseNotifyingType.h"
#include "tests/substrate/plinth/Members.h"
#include "tests/substrate/quoin/Program.h"

namespace {

using Quoin::Change;
using Quoin::makeNode;
using Quoin::Ptr;
using Quoin::String;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

struct Rule : Quoin::Node {
   explicit Rule( int i ) : id( i ) {}
   int id;
};

/// One attribute of each kind.
class Entry final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { seq = 1, name, head, rule, weight };
   PLINTH_ATTR( seq, seqIs, Field::seq, uint16_t );
   PLINTH_ATTR( name, nameIs, Field::name, String );
   PLINTH_ATTR( head, headIs, Field::head, Ptr<const Rule> );
   PLINTH_COLLECTION( rule, ruleIs, ruleDel, ruleDelAll, Field::rule, Plinth::RbTreeMap<uint32_t, Ptr<const Rule>> );
   // NOLINTNEXTLINE(performance-unnecessary-value-param): keys may alias a member
   PLINTH_COLLECTION( weight, weightIs, weightDel, weightDelAll, Field::weight, Plinth::HashMap2018<String, int> );

 public:
   void clone( const BaseNotifyingType & other ) override {
      const auto & source = static_cast<const Entry &>( other );
      seqIs( source.seq() );
      nameIs( source.name() );
      headIs( source.head() );
      Plinth::cloneMembers( publisher_, Quoin::FieldId( Field::rule ), rule_, source.rule() );
   }
};

/// Writes down what it hears, with what the entry holds at that moment.
struct Watcher : Quoin::Subscriber {
   explicit Watcher( Entry & e ) : entry( e ) { entry.publisher()->subscriberAdd( this ); }
   void onChange( const Change & change ) override {
      switch( Entry::Field( change.field ) ) {
         case Entry::Field::seq: return note( "seq=" + std::to_string( entry.seq() ), change );
         case Entry::Field::name: return note( "name=" + std::string( entry.name() ), change );
         case Entry::Field::head: return note( "head=" + show( entry.head() ), change );
         case Entry::Field::rule: {
            const auto key = *static_cast<const uint32_t *>( change.key );
            const auto & old = *static_cast<const Ptr<const Rule> *>( change.oldValue );
            return note( "rule[" + std::to_string( key ) + "] " + show( old ) + "->" + show( entry.rule( key ) ) );
         }
         case Entry::Field::weight: {
            const auto & key = *static_cast<const String *>( change.key );
            const int old = *static_cast<const int *>( change.oldValue );
            return note( "weight[" + std::string( key ) + "] " + std::to_string( old ) + "->" + std::to_string( entry.weight( key ) ) );
         }
      }
      note( "unknown" );
   }
   static std::string show( const Ptr<const Rule> & rule ) { return rule ? std::to_string( rule->id ) : "null"; }
   void note( std::string text ) {
      log.push_back( std::move( text ) );
      if( reaction ) reaction();
   }
   void note( const std::string & text, const Change & plain ) {
      note( plain.key || plain.oldValue || plain.keyIsEq ? text + " with a key" : text );
   }
   std::vector<std::string> take() { return std::exchange( log, {} ); }
   Entry & entry;
   std::vector<std::string> log;
   std::function<void()> reaction;
};

class AttributeTest : public testing::Test {
 protected:
   Entry entry;
   Watcher watcher{ entry };
   Ptr<const Rule> one = makeNode<Rule>( 1 ), two = makeNode<Rule>( 2 );
};

static_assert( std::is_same_v<decltype( std::declval<Entry>().seq() ), uint16_t>, "small values are read by value" );
static_assert( std::is_same_v<decltype( std::declval<Entry>().name() ), const String &>, "others in place" );
static_assert( std::is_same_v<decltype( std::declval<Entry>().head() ), const Ptr<const Rule> &> );

TEST_F( AttributeTest, startsDefaultBuilt ) {
   EXPECT_EQ( entry.seq(), 0 );
   EXPECT_EQ( entry.name(), "" );
   EXPECT_EQ( entry.head(), nullptr );
   EXPECT_TRUE( entry.rule().empty() && entry.weight().empty() );
   EXPECT_EQ( entry.rule( 7 ), nullptr );
   EXPECT_EQ( entry.weight( "w" ), 0 );
}

TEST_F( AttributeTest, aWriteStoresFirstAndPublishesAfter ) {
   entry.seqIs( 10 );
   entry.nameIs( "RM1" );
   entry.headIs( one );
   entry.headIs( nullptr );   // a plain handle may be null
   EXPECT_THAT( watcher.log, ElementsAre( "seq=10", "name=RM1", "head=1", "head=null" ) );
   EXPECT_EQ( entry.seq(), 10 );
   EXPECT_EQ( entry.name(), "RM1" );
}

TEST_F( AttributeTest, sameValueTwicePublishesOnce ) {
   for( int i = 0; i < 2; ++i ) {
      entry.seqIs( 10 );
      entry.nameIs( "RM1" );
      entry.headIs( one );
      entry.ruleIs( 3, one );
      entry.weightIs( "w", 5 );
   }
   EXPECT_THAT( watcher.log, ElementsAre( "seq=10", "name=RM1", "head=1", "rule[3] null->1", "weight[w] 0->5" ) );
}

TEST_F( AttributeTest, theInitialValuePublishesNothing ) {
   entry.seqIs( 0 );
   entry.nameIs( "" );
   entry.headIs( nullptr );
   EXPECT_THAT( watcher.log, IsEmpty() );
}

TEST_F( AttributeTest, aValueMayBeWrittenFromItself ) {
   entry.nameIs( String( std::string( 100, 'x' ) ) );
   entry.headIs( one );
   watcher.take();
   entry.nameIs( entry.name() );
   entry.headIs( entry.head() );
   EXPECT_THAT( watcher.log, IsEmpty() );
   EXPECT_EQ( entry.name(), String( std::string( 100, 'x' ) ) );
   entry.nameIs( entry.name() + "y" );
   EXPECT_EQ( entry.name().size(), 101u );
}

TEST_F( AttributeTest, aKeyedChangeCarriesTheComparisonOfItsKeys ) {
   struct Check : Quoin::Subscriber {
      void onChange( const Change & change ) override {
         const String same = "w", other = "x";
         EXPECT_TRUE( change.keyIsEq( change.key, &same ) );
         EXPECT_FALSE( change.keyIsEq( change.key, &other ) );
         ++heard;
      }
      int heard = 0;
   } check;
   entry.publisher()->subscriberAdd( &check );
   entry.weightIs( "w", 5 );
   entry.weightDel( "w" );
   entry.weightIs( "w", 5 );
   entry.weightDelAll();
   EXPECT_EQ( check.heard, 4 );
}

TEST_F( AttributeTest, delAllEmptiesFirstAndTellsOfEachMember ) {
   for( uint32_t k : { 5u, 3u, 4u } ) entry.ruleIs( k, k == 4 ? two : one );
   for( const char * k : { "v", "w" } ) entry.weightIs( k, 7 );
   watcher.take();
   watcher.reaction = [ this ] { EXPECT_EQ( entry.rule().count(), 0u ); };
   entry.ruleDelAll();
   EXPECT_THAT( watcher.take(), ElementsAre( "rule[3] 1->null", "rule[4] 2->null", "rule[5] 1->null" ) );
   entry.weightDelAll();
   EXPECT_THAT( watcher.take(), UnorderedElementsAre( "weight[v] 7->0", "weight[w] 7->0" ) );
   EXPECT_EQ( one->useCount(), 1u );
   EXPECT_EQ( entry.rule().version(), 4u );
}

TEST_F( AttributeTest, membersWrittenInReactionToDelAllStay ) {
   entry.ruleIs( 3, one );
   entry.ruleIs( 4, one );
   watcher.take();
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      entry.ruleIs( 4, two );
   };
   entry.ruleDelAll();
   EXPECT_THAT( watcher.log, ElementsAre( "rule[3] 1->null", "rule[4] null->2", "rule[4] 1->2" ) );
   EXPECT_THAT( membersOf( entry.rule() ), ElementsAre( Pair( 4, two ) ) );
}

TEST_F( AttributeTest, aNullMemberIsRefusedUnderTheNameOfTheMutator ) {
   entry.ruleIs( 3, one );
   watcher.take();
   const uint32_t version = entry.rule().version();
   for( uint32_t key : { 3u, 4u } ) {
      SCOPED_TRACE( key );
      try {
         entry.ruleIs( key, nullptr );
         ADD_FAILURE() << "stored";
      } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "ruleIs: the argument is null" ); }
   }
   EXPECT_THAT( watcher.log, IsEmpty() );
   EXPECT_THAT( membersOf( entry.rule() ), ElementsAre( Pair( 3, one ) ) );
   EXPECT_EQ( entry.rule().version(), version );
   entry.weightIs( "w", 0 );   // a zero is a value
   EXPECT_EQ( entry.weight().count(), 1u );
}

TEST_F( AttributeTest, keysMayBeThoseOfAMember ) {
   const String longKey( std::string( 100, 'k' ) );
   entry.weightIs( longKey, 5 );
   entry.ruleIs( 3, one );
   watcher.take();
   entry.weightIs( entry.weight().begin()->first, 6 );
   entry.weightDel( entry.weight().begin()->first );
   entry.ruleIs( entry.rule().begin()->first, two );
   entry.ruleDel( entry.rule().begin()->first );
   const std::string shown = "weight[" + std::string( longKey ) + "] ";
   EXPECT_THAT( watcher.log, ElementsAre( shown + "5->6", shown + "6->0", "rule[3] 1->2", "rule[3] 2->null" ) );
}

TEST_F( AttributeTest, aReactionMayTakeAwayTheMemberThatIsToldOf ) {
   const String longKey( std::string( 100, 'k' ) );
   Watcher second( entry );   // hears of the change when the member has gone
   entry.weightIs( longKey, 5 );
   watcher.take(), second.take();
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      entry.weightDel( entry.weight().begin()->first );
   };
   entry.weightIs( entry.weight().begin()->first, 6 );
   const std::string shown = "weight[" + std::string( longKey ) + "] ";
   EXPECT_THAT( watcher.log, ElementsAre( shown + "5->6", shown + "6->0" ) );
   EXPECT_THAT( second.log, ElementsAre( shown + "6->0", shown + "5->0" ) );
}

TEST_F( AttributeTest, aReplacedMemberLivesUntilItsChangeHasBeenTold ) {
   const auto * raw = one.get();
   entry.ruleIs( 3, std::move( one ) );
   uint32_t uses = 0;
   watcher.reaction = [ & ] { uses = raw->useCount(); };
   entry.ruleIs( 3, two );
   EXPECT_EQ( uses, 1u );
   EXPECT_EQ( watcher.log.back(), "rule[3] 1->2" );
}

TEST_F( AttributeTest, anOldValueGoesWhenTheNewOneStands ) {
   struct Last : Rule {
      explicit Last( std::function<void()> f ) : Rule( 7 ), atEnd( std::move( f ) ) {}
      ~Last() override { atEnd(); }
      std::function<void()> atEnd;
   };
   Ptr<const Rule> seen;
   entry.headIs( makeNode<Last>( [ & ] { seen = entry.head(); } ) );
   entry.headIs( one );
   EXPECT_EQ( seen, one );
}

TEST_F( AttributeTest, clonePublishesTheDifferenceOnly ) {
   Entry source;
   for( Entry * e : { &entry, &source } ) {
      e->seqIs( 10 );
      e->ruleIs( 2, one );   // the same in both
      e->ruleIs( 4, one );
   }
   entry.ruleIs( 1, one );   // here alone
   entry.ruleIs( 3, one );
   entry.headIs( one );
   source.nameIs( "RM1" );
   source.ruleIs( 4, two );   // different
   source.ruleIs( 5, two );   // there alone
   watcher.take();
   entry.clone( source );
   EXPECT_THAT( watcher.take(),
                ElementsAre( "name=RM1", "head=null", "rule[1] 1->null", "rule[3] 1->null", "rule[4] 1->2", "rule[5] null->2" ) );
   EXPECT_EQ( membersOf( entry.rule() ), membersOf( source.rule() ) );
   entry.clone( source );
   entry.clone( entry );
   EXPECT_THAT( watcher.log, IsEmpty() );
}

TEST_F( AttributeTest, aReactionMayWriteTheCollectionThatIsCloned ) {
   const Entry empty;
   for( uint32_t k = 0; k < 10; ++k ) entry.ruleIs( k, one );
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      entry.ruleDel( 1 );
      entry.ruleDel( 7 );
   };
   entry.clone( empty );
   EXPECT_TRUE( entry.rule().empty() );
   EXPECT_EQ( entry.rule().version(), 20u );
}

/// A node that holds its key, as a value that may be long.
class Named final : public Quoin::Node {
 public:
   explicit Named( String n ) : name_( std::move( n ) ) {}
   const String & name() const noexcept { return name_; }

 private:
   String name_;
};

/// One collection of each further kind, under the publisher that `Base` has.
template <class Base>
class Shelf : public Base {
 public:
   enum class Field : Quoin::FieldId { node = 1, made, tag };
   using Nodes = Plinth::RbTreeMap<String, Ptr<Named>>;
   using MadeNodes = Plinth::HashMap2018<String, Ptr<Named>>;
   using Tags = Plinth::HashSet2018<String>;
   // NOLINTBEGIN(performance-unnecessary-value-param): keys may alias a member
   PLINTH_NODES( node, nodeIs, nodeDel, nodeDelAll, Field::node, name, Nodes );
   PLINTH_MADE_NODES( made, madeIs, madeDel, madeDelAll, Field::made, MadeNodes );
   PLINTH_SET( tag, tagHas, tagIs, tagDel, tagDelAll, Field::tag, Tags );
   // NOLINTEND(performance-unnecessary-value-param)
};

class NotifyingShelf final : public Shelf<Quoin::NotifyingNode> {};
class PlainShelf final : public Shelf<Plinth::PlainRecord> {};

/// Writes down each change, with what stands under its key at that moment.
struct ShelfWatcher : Quoin::Subscriber {
   explicit ShelfWatcher( NotifyingShelf & s ) : shelf( s ) { shelf.publisher()->subscriberAdd( this ); }
   void onChange( const Change & change ) override {
      const auto & key = *static_cast<const String *>( change.key );
      const std::string shown( key );
      EXPECT_TRUE( change.keyIsEq( change.key, &key ) );
      const String otherKey = key + "x";
      EXPECT_FALSE( change.keyIsEq( change.key, &otherKey ) );
      const auto * old = static_cast<const Ptr<Named> *>( change.oldValue );
      switch( NotifyingShelf::Field( change.field ) ) {
         case NotifyingShelf::Field::node: return note( "node[" + shown + "] " + show( *old ) + "->" + show( shelf.node( key ) ) );
         case NotifyingShelf::Field::made: return note( "made[" + shown + "] " + show( *old ) + "->" + show( shelf.made( key ) ) );
         case NotifyingShelf::Field::tag:
            EXPECT_EQ( old, nullptr );
            return note( "tag[" + shown + "] " + ( shelf.tagHas( key ) ? "in" : "out" ) );
      }
      note( "unknown" );
   }
   /// The nodes that the test knows by a number, in the order of their making.
   std::string show( const Ptr<Named> & node ) {
      if( !node ) return "null";
      const auto found = std::find( known.begin(), known.end(), node.get() );
      return found == known.end() ? "new" : std::to_string( found - known.begin() );
   }
   void note( std::string text ) {
      log.push_back( std::move( text ) );
      if( const auto now = reaction ) now();
   }
   std::vector<std::string> take() { return std::exchange( log, {} ); }
   NotifyingShelf & shelf;
   std::vector<const Named *> known;
   std::vector<std::string> log;
   std::function<void()> reaction;
};

class ShelfTest : public testing::Test {
 protected:
   Ptr<Named> named( const String & name ) {
      auto made = makeNode<Named>( name );
      for( auto * w : { &watcher, &second } ) w->known.push_back( made.get() );
      return made;
   }
   NotifyingShelf shelf;
   ShelfWatcher watcher{ shelf }, second{ shelf };
   const String longKey{ std::string( 100, 'k' ) };
};

TEST_F( ShelfTest, startsEmpty ) {
   EXPECT_TRUE( shelf.node().empty() && shelf.made().empty() && shelf.tag().empty() );
   EXPECT_EQ( shelf.node( "a" ), nullptr );
   EXPECT_EQ( shelf.made( "a" ), nullptr );
   EXPECT_FALSE( shelf.tagHas( "a" ) );
}

TEST_F( ShelfTest, aNodeStandsUnderTheKeyThatItHolds ) {
   const auto a = named( "a" ), b = named( "b" ), otherA = named( "a" );
   for( int i = 0; i < 2; ++i ) {
      shelf.nodeIs( b );
      shelf.nodeIs( a );
   }
   EXPECT_THAT( watcher.take(), ElementsAre( "node[b] null->1", "node[a] null->0" ) );
   EXPECT_EQ( shelf.node( "a" ), a );
   shelf.nodeIs( otherA );
   EXPECT_THAT( watcher.take(), ElementsAre( "node[a] 0->2" ) );
   EXPECT_THAT( membersOf( shelf.node() ), ElementsAre( Pair( "a", otherA ), Pair( "b", b ) ) );
   EXPECT_EQ( shelf.node().version(), 3u );
}

TEST_F( ShelfTest, takingANodeOutGivesIt ) {
   const auto a = named( "a" );
   shelf.nodeIs( a );
   watcher.take();
   EXPECT_EQ( shelf.nodeDel( "b" ), nullptr );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   EXPECT_EQ( shelf.nodeDel( "a" ), a );
   EXPECT_THAT( watcher.take(), ElementsAre( "node[a] 0->null" ) );
   EXPECT_EQ( shelf.nodeDel( "a" ), nullptr );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   EXPECT_EQ( a->useCount(), 1u );
   EXPECT_EQ( shelf.node().version(), 2u );
}

TEST_F( ShelfTest, aMadeNodeIsToldOfWhenItIsMade ) {
   const auto a = shelf.madeIs( "a" );
   ASSERT_NE( a, nullptr );
   EXPECT_EQ( a->name(), "a" );
   watcher.known.push_back( a.get() );
   EXPECT_THAT( watcher.take(), ElementsAre( "made[a] null->new" ) );
   EXPECT_EQ( shelf.madeIs( "a" ), a );   // stands there already
   EXPECT_EQ( shelf.made( "a" ), a );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   EXPECT_EQ( shelf.madeDel( "b" ), nullptr );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   EXPECT_EQ( shelf.madeDel( "a" ), a );
   EXPECT_THAT( watcher.take(), ElementsAre( "made[a] 0->null" ) );
   EXPECT_NE( shelf.madeIs( "a" ), a );   // a new one
   EXPECT_EQ( shelf.made().version(), 3u );
}

TEST_F( ShelfTest, aMadeNodeIsGivenAlsoWhenAReactionTakesItOut ) {
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      shelf.madeDel( "a" );
   };
   const auto a = shelf.madeIs( "a" );
   ASSERT_NE( a, nullptr );
   EXPECT_EQ( a->useCount(), 1u );
   EXPECT_THAT( watcher.log, ElementsAre( "made[a] null->new", "made[a] new->null" ) );
   EXPECT_TRUE( shelf.made().empty() );
}

TEST_F( ShelfTest, whatIsGivenIsTheNodeThatStandsThereInTheEnd ) {
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      shelf.madeDel( "a" );
      shelf.madeIs( "a" );
   };
   const auto a = shelf.madeIs( "a" );
   ASSERT_NE( a, nullptr );
   EXPECT_EQ( a, shelf.made( "a" ) ) << "what is written into it is not lost";
   EXPECT_EQ( shelf.made().version(), 3u );
}

/// A set of handles, under the publisher that `Base` has.
template <class Base>
class HandleShelf final : public Base {
 public:
   enum class Field : Quoin::FieldId { member = 1 };
   PLINTH_SET( member, memberHas, memberIs, memberDel, memberDelAll, Field::member, Plinth::HashSet2018<Ptr<Named>> );
};

template <class S>
class HandleSetTest : public testing::Test {};
using HandleShelves = testing::Types<HandleShelf<Quoin::NotifyingNode>, HandleShelf<Plinth::PlainRecord>>;
TYPED_TEST_SUITE( HandleSetTest, HandleShelves );

TYPED_TEST( HandleSetTest, aNullIsRefusedUnderTheNameOfTheMutator ) {
   TypeParam handles;
   const auto one = makeNode<Named>( "one" );
   handles.memberIs( one );
   const uint32_t version = handles.member().version();
   try {
      handles.memberIs( nullptr );
      ADD_FAILURE() << "stored";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "memberIs: the argument is null" ); }
   EXPECT_FALSE( handles.memberHas( nullptr ) );
   handles.memberDel( nullptr );
   EXPECT_EQ( handles.member().count(), 1u );
   EXPECT_EQ( handles.member().version(), version );
   EXPECT_TRUE( handles.memberHas( one ) );
}

TEST_F( ShelfTest, aSetTellsOfComingAndGoing ) {
   for( int i = 0; i < 2; ++i ) shelf.tagIs( "a" );
   EXPECT_THAT( watcher.take(), ElementsAre( "tag[a] in" ) );
   EXPECT_TRUE( shelf.tagHas( "a" ) );
   EXPECT_FALSE( shelf.tagHas( "b" ) );
   for( int i = 0; i < 2; ++i ) shelf.tagDel( "a" );
   shelf.tagDel( "b" );
   EXPECT_THAT( watcher.take(), ElementsAre( "tag[a] out" ) );
   EXPECT_TRUE( shelf.tag().empty() );
   EXPECT_EQ( shelf.tag().version(), 2u );
}

TEST_F( ShelfTest, delAllEmptiesFirstAndTellsOfEachMember ) {
   const auto a = named( "a" ), b = named( "b" );
   shelf.nodeIs( b );
   shelf.nodeIs( a );
   shelf.madeIs( "c" );
   shelf.madeIs( "d" );
   shelf.tagIs( "e" );
   shelf.tagIs( "f" );
   watcher.take();
   watcher.reaction = [ this ] { EXPECT_TRUE( shelf.node().empty() ); };
   shelf.nodeDelAll();
   EXPECT_THAT( watcher.take(), ElementsAre( "node[a] 0->null", "node[b] 1->null" ) );
   watcher.reaction = [ this ] { EXPECT_TRUE( shelf.made().empty() ); };
   shelf.madeDelAll();
   EXPECT_THAT( watcher.take(), UnorderedElementsAre( "made[c] new->null", "made[d] new->null" ) );
   watcher.reaction = [ this ] { EXPECT_TRUE( shelf.tag().empty() ); };
   shelf.tagDelAll();
   EXPECT_THAT( watcher.take(), UnorderedElementsAre( "tag[e] out", "tag[f] out" ) );
   EXPECT_EQ( a->useCount(), 1u );
   EXPECT_EQ( shelf.node().version(), 3u );
   EXPECT_EQ( shelf.made().version(), 3u );
   EXPECT_EQ( shelf.tag().version(), 3u );
   shelf.nodeDelAll();
   shelf.madeDelAll();
   shelf.tagDelAll();
   EXPECT_THAT( watcher.take(), IsEmpty() );
   EXPECT_EQ( shelf.node().version() + shelf.made().version() + shelf.tag().version(), 9u );
}

TEST_F( ShelfTest, membersWrittenInReactionToDelAllStay ) {
   const auto a = named( "a" );
   shelf.nodeIs( a );
   shelf.madeIs( "a" );
   shelf.tagIs( "a" );
   watcher.reaction = [ & ] {
      watcher.reaction = {};
      shelf.nodeIs( a );
      shelf.madeIs( "b" );
      shelf.tagIs( "a" );
   };
   shelf.nodeDelAll();
   EXPECT_EQ( shelf.node( "a" ), a );
   EXPECT_EQ( shelf.made().count(), 2u );
   EXPECT_TRUE( shelf.tagHas( "a" ) );
}

TEST_F( ShelfTest, keysMayBeThoseOfAMember ) {
   shelf.nodeIs( named( longKey ) );
   shelf.madeIs( longKey );
   shelf.tagIs( longKey );
   watcher.take(), second.take();
   shelf.madeIs( shelf.made().begin()->first );
   shelf.tagIs( *shelf.tag().begin() );
   EXPECT_THAT( second.take(), IsEmpty() );
   EXPECT_NE( shelf.nodeDel( shelf.node().begin()->first ), nullptr );
   EXPECT_NE( shelf.madeDel( shelf.made().begin()->second->name() ), nullptr );
   shelf.tagDel( *shelf.tag().begin() );
   const std::string in = "[" + std::string( longKey ) + "] ";
   EXPECT_THAT( second.log, ElementsAre( "node" + in + "0->null", "made" + in + "new->null", "tag" + in + "out" ) );
   EXPECT_TRUE( shelf.node().empty() && shelf.made().empty() && shelf.tag().empty() );
}

TEST_F( ShelfTest, aReactionMayClearTheCollectionThatIsToldOf ) {
   const std::string in = "[" + std::string( longKey ) + "] ";
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      shelf.nodeDelAll();
   };
   const auto held = named( longKey );   // keeps the node, so that no new node gets its address
   shelf.nodeIs( held );
   EXPECT_THAT( second.take(), ElementsAre( "node" + in + "0->null", "node" + in + "null->null" ) );
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      shelf.madeDel( shelf.made().begin()->first );
   };
   shelf.madeIs( longKey );
   EXPECT_THAT( second.take(), ElementsAre( "made" + in + "new->null", "made" + in + "null->null" ) );
   watcher.reaction = [ this ] {
      watcher.reaction = {};
      shelf.tagDel( *shelf.tag().begin() );
   };
   shelf.tagIs( longKey );
   EXPECT_THAT( second.take(), ElementsAre( "tag" + in + "out", "tag" + in + "out" ) );
}

TEST_F( ShelfTest, aReactionMayDropTheNodeThatIsToldOf ) {
   const std::string in = "[" + std::string( longKey ) + "] ";
   auto held = named( longKey );
   watcher.reaction = [ & ] {   // the caller's handle, and the shelf's
      watcher.reaction = {};
      held = nullptr;
      shelf.nodeDel( longKey );
   };
   shelf.nodeIs( held );
   EXPECT_THAT( second.log, ElementsAre( "node" + in + "0->null", "node" + in + "null->null" ) );
}

TEST_F( ShelfTest, anOwnerMayGoWhileItsLastChangeIsTold ) {
   const struct {
      const char * name;
      std::function<void( NotifyingShelf & )> write;
   } rows[] = {
      { "nodeIs", [ & ]( auto & s ) { s.nodeIs( makeNode<Named>( longKey ) ); } },
      { "nodeDel", [ & ]( auto & s ) { EXPECT_NE( s.nodeDel( "a" ), nullptr ); } },
      { "nodeDelAll", []( auto & s ) { s.nodeDelAll(); } },
      { "madeIs", [ & ]( auto & s ) { EXPECT_EQ( s.madeIs( longKey )->name(), longKey ); } },
      { "madeDel", []( auto & s ) { EXPECT_NE( s.madeDel( "a" ), nullptr ); } },
      { "madeDelAll", []( auto & s ) { s.madeDelAll(); } },
      { "tagIs", [ & ]( auto & s ) { s.tagIs( longKey ); } },
      { "tagDel", []( auto & s ) { s.tagDel( "a" ); } },
      { "tagDelAll", []( auto & s ) { s.tagDelAll(); } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      auto owned = makeNode<NotifyingShelf>();
      for( const char * key : { "a", "b" } ) {
         owned->nodeIs( makeNode<Named>( key ) );
         owned->madeIs( key );
         owned->tagIs( key );
      }
      struct Dropper : Quoin::Subscriber {
         void onChange( const Change & ) override {
            ++heard;
            *owner = nullptr;
         }
         Ptr<NotifyingShelf> * owner = nullptr;
         int heard = 0;
      } dropper;
      dropper.owner = &owned;
      owned->publisher()->subscriberAdd( &dropper );
      row.write( *owned );
      EXPECT_EQ( owned, nullptr );
      EXPECT_GE( dropper.heard, 1 );
      EXPECT_FALSE( dropper.subscribed() );
   }
}

TEST( PlainShelf, takesTheSameWritesAndTellsNobody ) {
   PlainShelf shelf;
   EXPECT_EQ( shelf.publisher(), nullptr );
   const auto a = makeNode<Named>( "a" );
   shelf.nodeIs( a );
   shelf.nodeIs( a );
   EXPECT_EQ( shelf.node( "a" ), a );
   EXPECT_EQ( shelf.node().version(), 1u );
   EXPECT_THROW( shelf.nodeIs( nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_EQ( shelf.nodeDel( "a" ), a );
   const auto made = shelf.madeIs( "b" );
   EXPECT_EQ( shelf.madeIs( "b" ), made );
   EXPECT_EQ( shelf.madeDel( "b" ), made );
   shelf.tagIs( "c" );
   EXPECT_TRUE( shelf.tagHas( "c" ) );
   shelf.tagDelAll();
   shelf.nodeDelAll();
   shelf.madeDelAll();
   EXPECT_TRUE( shelf.node().empty() && shelf.made().empty() && shelf.tag().empty() );
}

/// A plain value, of which nobody is told.
class Bounds final {
   PLINTH_VALUE( low, lowIs, = 5, int );
   PLINTH_VALUE( name, nameIs, { "none" }, String );
};

TEST( PlainValue, hasItsInitialValueUntilItIsWritten ) {
   Bounds bounds;
   EXPECT_EQ( bounds.low(), 5 );
   EXPECT_EQ( bounds.name(), "none" );
   const Bounds copy = bounds;
   bounds.lowIs( 6 );
   bounds.nameIs( bounds.name() + "!" );
   EXPECT_EQ( bounds.low(), 6 );
   EXPECT_EQ( bounds.name(), "none!" );
   EXPECT_EQ( copy.low(), 5 );
}

// What has gone by when it is taken out stays cloned, and what is put in behind is cloned too.
TEST_F( AttributeTest, aReactionMayWriteTheSourceOfAClone ) {
   const struct {
      const char * name;
      std::function<void( Ptr<Entry> & )> reaction;   // to the first rule, 10 of 10..13
      std::vector<uint32_t> cloned;
   } rows[] = {
      { "nothing", []( auto & ) {}, { 10, 11, 12, 13 } },
      { "empties it", []( auto & source ) { source->ruleDelAll(); }, { 10 } },
      { "deletes where it stands", []( auto & source ) { source->ruleDel( 10 ); }, { 10, 11, 12, 13 } },
      { "deletes what is next", []( auto & source ) { source->ruleDel( 11 ); }, { 10, 12, 13 } },
      { "fills it",
        [ this ]( auto & source ) {
           for( uint32_t k = 1; k < 9; ++k ) source->ruleIs( k, one );
           for( uint32_t k = 14; k < 40; ++k ) source->ruleIs( k, one );
           for( uint32_t k = 14; k < 39; ++k ) source->ruleDel( k );
        },
        { 10, 11, 12, 13, 39 } },
      { "replaces what is next", [ this ]( auto & source ) { source->ruleIs( 11, two ); }, { 10, 11, 12, 13 } },
      { "drops it", []( auto & source ) { source = nullptr; }, { 10, 11, 12, 13 } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      watcher.reaction = {};
      entry.ruleDelAll();
      auto source = makeNode<Entry>();
      for( uint32_t k = 10; k < 14; ++k ) source->ruleIs( k, one );
      bool first = true;
      watcher.reaction = [ & ] {
         if( std::exchange( first, false ) ) row.reaction( source );
      };
      entry.clone( *source );
      std::vector<uint32_t> cloned;
      for( const auto & [ key, rule ] : entry.rule() ) {
         cloned.push_back( key );
         EXPECT_EQ( rule, source && source->rule( key ) ? source->rule( key ) : one ) << key;
      }
      EXPECT_EQ( cloned, row.cloned );
   }
}

// The same of members whose memory goes with them.
TEST_F( AttributeTest, textsAreClonedWholeThoughAReactionTakesThemAway ) {
   struct Texts final : Zeugma::BaseNotifyingType {
      PLINTH_COLLECTION( text, textIs, textDel, textDelAll, 1, Plinth::RbTreeMap<uint32_t, String> );

    public:
      void clone( const BaseNotifyingType & other ) override {
         Plinth::cloneMembers( publisher_, 1, text_, static_cast<const Texts &>( other ).text() );
      }
   };
   struct Reaction : Quoin::Subscriber {
      explicit Reaction( std::function<void( uint32_t )> f ) : react( std::move( f ) ) {}
      void onChange( const Change & change ) override { react( *static_cast<const uint32_t *>( change.key ) ); }
      std::function<void( uint32_t )> react;
   };
   Texts source, target;
   const String text( std::string( 40, 't' ) );
   for( uint32_t k = 1; k <= 4; ++k ) source.textIs( k, text );
   Reaction reaction( [ & ]( uint32_t key ) { source.textDel( key ); } );
   target.publisher()->subscriberAdd( &reaction );
   target.clone( source );
   EXPECT_THAT( membersOf( target.text() ), ElementsAre( Pair( 1, text ), Pair( 2, text ), Pair( 3, text ), Pair( 4, text ) ) );
   EXPECT_TRUE( source.text().empty() );
}

struct Step {
   enum Kind { seqIs, ruleIs, ruleDel, ruleDelAll, weightIs, weightDel, weightDelAll, clone } kind;
   uint32_t key, value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "seqIs", "ruleIs", "ruleDel", "ruleDelAll", "weightIs", "weightDel", "weightDelAll", "clone" };
      return os << names[ s.kind ] << ' ' << s.key << ' ' << s.value;
   }
};

RC_GTEST_PROP( Attribute, publishesEachRealChangeOnceInRandomPrograms, () ) {
   const auto kind = rc::gen::weightedElement<Step::Kind>( { { 5, Step::seqIs },
                                                             { 20, Step::ruleIs },
                                                             { 10, Step::ruleDel },
                                                             { 1, Step::ruleDelAll },
                                                             { 20, Step::weightIs },
                                                             { 10, Step::weightDel },
                                                             { 1, Step::weightDelAll },
                                                             { 1, Step::clone } } );
   const auto program = *programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::key, rc::gen::inRange<uint32_t>( 0, 8 ) ),
                                          rc::gen::set( &Step::value, rc::gen::inRange<uint32_t>( 0, 3 ) ) );
   const Ptr<const Rule> rules[] = { makeNode<Rule>( 0 ), makeNode<Rule>( 1 ), makeNode<Rule>( 2 ) };
   Entry entry, other;   // `other` is what is cloned from: each rule behind its key
   for( uint32_t k = 0; k < 3; ++k ) other.ruleIs( 2 * k, rules[ k ] );
   other.seqIs( 1 );
   Watcher watcher( entry );
   uint32_t seq = 0;
   std::map<uint32_t, uint32_t> rule, weight;
   const auto show = []( const std::map<uint32_t, uint32_t> & m, uint32_t k, const char * none ) {
      return m.contains( k ) ? std::to_string( m.at( k ) ) : none;
   };
   for( const Step & step : program ) {
      std::vector<std::string> expected;
      const auto edit = [ & ]( const char * name, auto & map, const char * none, uint32_t key, bool present, uint32_t value ) {
         if( map.contains( key ) == present && ( !present || map[ key ] == value ) ) return;
         const std::string old = show( map, key, none );
         if( present )
            map[ key ] = value;
         else
            map.erase( key );
         expected.push_back( name + ( "[" + std::to_string( key ) ) + "] " + old + "->" + show( map, key, none ) );
      };
      const auto seqTo = [ & ]( uint32_t value ) {
         if( seq != value ) expected.push_back( "seq=" + std::to_string( value ) );
         seq = value;
      };
      const String weightKey( std::to_string( step.key ) );
      switch( step.kind ) {
         case Step::seqIs:
            seqTo( step.value );
            entry.seqIs( uint16_t( step.value ) );
            break;
         case Step::ruleIs:
            edit( "rule", rule, "null", step.key, true, step.value );
            entry.ruleIs( step.key, rules[ step.value ] );
            break;
         case Step::ruleDel:
            edit( "rule", rule, "null", step.key, false, 0 );
            entry.ruleDel( step.key );
            break;
         case Step::ruleDelAll:
            for( uint32_t k = 0; k < 8; ++k ) edit( "rule", rule, "null", k, false, 0 );
            entry.ruleDelAll();
            break;
         case Step::weightIs:
            edit( "weight", weight, "0", step.key, true, step.value );
            entry.weightIs( weightKey, int( step.value ) );
            break;
         case Step::weightDel:
            edit( "weight", weight, "0", step.key, false, 0 );
            entry.weightDel( weightKey );
            break;
         case Step::weightDelAll:
            for( uint32_t k = 0; k < 8; ++k ) edit( "weight", weight, "0", k, false, 0 );
            entry.weightDelAll();
            std::sort( watcher.log.begin(), watcher.log.end() );
            break;
         case Step::clone:
            seqTo( 1 );
            for( uint32_t k = 0; k < 8; ++k )
               if( k % 2 || k > 4 ) edit( "rule", rule, "null", k, false, 0 );
            for( uint32_t k = 0; k < 3; ++k ) edit( "rule", rule, "null", 2 * k, true, k );
            entry.clone( other );
            break;
      }
      RC_ASSERT( watcher.take() == expected );
      RC_ASSERT( entry.seq() == seq );
      RC_ASSERT( entry.rule().count() == rule.size() );
      RC_ASSERT( entry.weight().count() == weight.size() );
      for( uint32_t k = 0; k < 8; ++k ) {
         RC_ASSERT( Watcher::show( entry.rule( k ) ) == show( rule, k, "null" ) );
         RC_ASSERT( std::to_string( entry.weight( String( std::to_string( k ) ) ) ) == show( weight, k, "0" ) );
      }
   }
}

}   // namespace
