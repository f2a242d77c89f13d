#include "substrate/plinth/Attribute.h"

#include <algorithm>
#include <functional>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/plinth/Exception.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/RbTreeMap.h"
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

TEST_F( AttributeTest, aKeyedChangeCarriesKeyAndOldValue ) {
   entry.ruleIs( 3, one );
   entry.ruleIs( 4, one );
   entry.ruleIs( 3, two );
   entry.ruleDel( 4 );
   entry.weightIs( "w", 5 );
   entry.weightIs( "w", 6 );
   entry.weightDel( "w" );
   EXPECT_THAT( watcher.log,
                ElementsAre( "rule[3] null->1", "rule[4] null->1", "rule[3] 1->2", "rule[4] 1->null", "weight[w] 0->5", "weight[w] 5->6",
                             "weight[w] 6->0" ) );
   EXPECT_THAT( membersOf( entry.rule() ), ElementsAre( Pair( 3, two ) ) );
   EXPECT_EQ( entry.rule( 3 ), two );
   EXPECT_TRUE( entry.weight().empty() );
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

TEST_F( AttributeTest, deletingWhatIsNotTherePublishesNothing ) {
   entry.ruleDel( 3 );
   entry.ruleDelAll();
   entry.weightDel( "w" );
   entry.weightDelAll();
   EXPECT_THAT( watcher.log, IsEmpty() );
   EXPECT_EQ( entry.rule().version() + entry.weight().version(), 0u );
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

TEST( Attr, assignTellsOfARealChange ) {
   Plinth::Attr<String> attr;
   EXPECT_FALSE( attr.assign( "" ) );
   EXPECT_TRUE( attr.assign( "a" ) );
   EXPECT_FALSE( attr.assign( "a" ) );
   EXPECT_EQ( attr.value, "a" );
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

TEST_F( AttributeTest, aReactionThatThrowsLeavesTheRestOfADelAllUntold ) {
   for( uint32_t k : { 3u, 4u, 5u } ) entry.ruleIs( k, one );
   watcher.take();
   watcher.reaction = [] { throw std::runtime_error( "enough" ); };
   EXPECT_THROW( entry.ruleDelAll(), std::runtime_error );
   EXPECT_THAT( watcher.log, ElementsAre( "rule[3] 1->null" ) );
   EXPECT_TRUE( entry.rule().empty() ) << "the change itself stands";
   EXPECT_EQ( one->useCount(), 1u );
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
