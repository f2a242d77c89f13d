#include "substrate/zeugma/Dedup.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/plinth/Exception.h"
#include "tests/substrate/quoin/Program.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using testing::HasSubstr;
using Zeugma::assertIsDeduped;
using Zeugma::DedupContentHandle;
using Zeugma::DedupHandleBase;
using Zeugma::DedupHashTable;
using Zeugma::DedupHashTableUnorderedSet;

/// An object whose content is one number. Three contents share each hash, so that comparison decides.
struct Number final : Zeugma::DedupHandleBase {
   explicit Number( int v ) : value( v ) { ++alive; }
   ~Number() override { --alive; }
   uint32_t hash() const override { return hashOf( value ); }
   bool compare( const DedupHandleBase * other ) const override { return value == static_cast<const Number *>( other )->value; }
   bool compareByContent( const DedupContentHandle & content ) const override { return value == content.content<int>(); }
   static uint32_t hashOf( int v ) { return uint32_t( v / 3 ); }
   const int value;
   static inline std::atomic<int> alive = 0;
};

int valueOf( const Ptr<DedupHandleBase> & p ) {
   return static_cast<const Number &>( *p ).value;
}

Ptr<DedupHandleBase> intern( DedupHashTable & table, int value ) {
   return table.findOrDedup( DedupContentHandle( value ), Number::hashOf( value ), [ &value ] { return makeNode<Number>( value ); } );
}

/// Every case with both kinds of table.
class Dedup : public testing::TestWithParam<bool> {
 protected:
   ~Dedup() override { EXPECT_EQ( Number::alive, 0 ); }
   Ptr<DedupHashTable> table = makeNode<DedupHashTableUnorderedSet>( GetParam() );
};

INSTANTIATE_TEST_SUITE_P( Dedup, Dedup, testing::Bool(), []( const auto & shared ) { return shared.param ? "shared" : "oneThread"; } );

TEST_P( Dedup, theFirstOfAContentEnters ) {
   const auto first = makeNode<Number>( 7 );
   EXPECT_FALSE( first->isDeduped() );
   EXPECT_EQ( first->getDedupHashTable(), nullptr );
   EXPECT_EQ( table->dedup( first ), first );
   EXPECT_TRUE( first->isDeduped() );
   EXPECT_EQ( first->getDedupHashTable(), table.get() );
   EXPECT_EQ( table->count(), 1u );
   EXPECT_EQ( first->useCount(), 1u );   // the table's is weak
}

TEST_P( Dedup, findMakesAnObjectOnlyForANewContent ) {
   int made = 0;
   const int content = 7;
   const DedupHashTable::Allocator allocator = [ & ] {
      ++made;
      return makeNode<Number>( content );
   };
   const auto first = table->findOrDedup( DedupContentHandle( content ), Number::hashOf( content ), allocator );
   EXPECT_TRUE( first->isDeduped() );
   EXPECT_EQ( valueOf( first ), 7 );
   EXPECT_EQ( table->findOrDedup( DedupContentHandle( content ), Number::hashOf( content ), allocator ), first );
   EXPECT_EQ( made, 1 );
}

TEST_P( Dedup, aHitDoesNotAllocate ) {
   const auto first = intern( *table, 7 );
   size_t before = allocationCount();
   const auto hit = intern( *table, 7 );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( hit, first );
   const auto second = makeNode<Number>( 7 );
   before = allocationCount();
   const auto same = table->dedup( second );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( same, first );
   const auto miss = intern( *table, 8 );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

TEST_P( Dedup, objectsKeepTheirTable ) {
   auto a = intern( *table, 1 ), b = intern( *table, 2 );
   auto * raw = table.get();
   EXPECT_EQ( raw->useCount(), 3u );
   table = nullptr;
   EXPECT_EQ( intern( *raw, 1 ), a );
   a = nullptr;
   EXPECT_EQ( raw->useCount(), 1u );
   EXPECT_EQ( raw->count(), 1u );
   const auto last = Ptr<DedupHashTable>( raw );
   b = nullptr;
   EXPECT_EQ( last->useCount(), 1u );
}

TEST_P( Dedup, theLastObjectMayTakeItsTableAlong ) {
   auto a = intern( *table, 1 );
   table = nullptr;
   EXPECT_EQ( a->getDedupHashTable()->useCount(), 1u );
   a = nullptr;
   EXPECT_EQ( Number::alive, 0 );
}

TEST_P( Dedup, oneThatHasLeftMakesRoomForAnother ) {
   auto old = intern( *table, 7 );
   old->doRemoveFromDedupTable();
   EXPECT_FALSE( old->isDeduped() );
   EXPECT_EQ( old->getDedupHashTable(), nullptr );
   EXPECT_EQ( table->count(), 0u );
   old->doRemoveFromDedupTable();   // nothing happens
   const auto fresh = intern( *table, 7 );
   EXPECT_NE( fresh, old );
   old = nullptr;   // must not take the other out
   EXPECT_EQ( table->count(), 1u );
   EXPECT_EQ( intern( *table, 7 ), fresh );
}

TEST_P( Dedup, leavingIsNotPutOffWithTheRelease ) {
   {
      Quoin::ReleaseScope scope;
      auto old = intern( *table, 7 );
      const auto * raw = old.get();
      old = nullptr;
      EXPECT_EQ( table->count(), 0u );
      EXPECT_EQ( Number::alive, 1 );
      EXPECT_FALSE( raw->isDeduped() );
      const auto fresh = intern( *table, 7 );
      EXPECT_NE( fresh.get(), raw );
      EXPECT_EQ( table->count(), 1u );
   }
   EXPECT_EQ( Number::alive, 0 );
   EXPECT_EQ( table->count(), 0u );
}

TEST_P( Dedup, anAllocatorMayUseTheTable ) {
   auto dropped = intern( *table, 1 );
   Ptr<DedupHandleBase> inner;
   const int content = 2;
   const auto outer = table->findOrDedup( DedupContentHandle( content ), Number::hashOf( content ), [ & ] {
      dropped = nullptr;
      for( int v = 100; v < 1000; ++v ) inner = intern( *table, v );   // more than the table had room for
      return makeNode<Number>( content );
   } );
   EXPECT_EQ( table->count(), 2u );
   EXPECT_EQ( intern( *table, 2 ), outer );
   EXPECT_EQ( intern( *table, 999 ), inner );
}

TEST_P( Dedup, anAllocatorMayEnterTheVeryContent ) {
   const int content = 7;
   Ptr<DedupHandleBase> other;
   const auto enter = [ & ] { return table->dedup( makeNode<Number>( content ) ); };
   const struct {
      const char * name;
      DedupHashTable::Allocator allocator;
   } rows[] = {
      { "and give what is in the table", enter },
      { "by a look-up of its own", [ & ] { return intern( *table, content ); } },
      { "and give another",
        [ & ] {
           other = enter();
           return makeNode<Number>( content );
        } },
      { "and let go of it, and give another",
        [ & ] {
           enter();
           return makeNode<Number>( content );
        } },
      { "and give nothing",
        [ & ] {
           other = enter();
           return nullptr;
        } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      auto found = table->findOrDedup( DedupContentHandle( content ), Number::hashOf( content ), row.allocator );
      ASSERT_TRUE( found );
      EXPECT_TRUE( found->isDeduped() );
      EXPECT_EQ( table->count(), 1u );
      EXPECT_EQ( Number::alive, 1 );
      EXPECT_TRUE( !other || found == other );
      EXPECT_EQ( intern( *table, content ), found );
      found = other = nullptr;
      EXPECT_EQ( table->count(), 0u );
      EXPECT_EQ( Number::alive, 0 );
      EXPECT_EQ( table->useCount(), 1u );
   }
}

TEST_P( Dedup, anObjectThatIsTakenOutByHandIsOut ) {
   auto object = intern( *table, 7 );
   object->setDedupHashTable( table );   // where it stands already
   EXPECT_EQ( table->count(), 1u );
   EXPECT_EQ( intern( *table, 7 ), object );
   object->setDedupHashTable( nullptr );
   EXPECT_FALSE( object->isDeduped() );
   EXPECT_EQ( table->count(), 0u );
   EXPECT_EQ( table->useCount(), 1u );
   const auto fresh = intern( *table, 7 );
   EXPECT_NE( fresh, object );
   object = nullptr;   // must not take the other out
   EXPECT_EQ( table->count(), 1u );
   EXPECT_EQ( Number::alive, 1 );
}

TEST_P( Dedup, theTableThatAnObjectIsTakenFromLosesIt ) {
   const Ptr<DedupHashTable> other = makeNode<DedupHashTableUnorderedSet>( GetParam() );
   auto object = intern( *table, 7 );
   object->setDedupHashTable( other );
   EXPECT_EQ( object->getDedupHashTable(), other.get() );
   EXPECT_EQ( table->count(), 0u );
   EXPECT_EQ( table->useCount(), 1u );
   object = nullptr;
   EXPECT_EQ( Number::alive, 0 );
   EXPECT_EQ( other->useCount(), 1u );
   EXPECT_EQ( valueOf( intern( *table, 7 ) ), 7 );
}

/// What a call raises.
std::string raisedBy( const std::function<void()> & call ) {
   try {
      call();
   } catch( const Plinth::MutatorArgNullPointerException & e ) { return e.what(); }
   return "nothing";
}

TEST_P( Dedup, nullIsRaisedAndChangesNothing ) {
   const auto held = intern( *table, 1 );
   const int content = 7;
   EXPECT_EQ( raisedBy( [ & ] { table->dedup( nullptr ); } ), "DedupHashTableUnorderedSet::dedup: the argument is null" );
   const DedupHashTable::Allocator none = [] { return nullptr; };
   EXPECT_EQ( raisedBy( [ & ] { table->findOrDedup( DedupContentHandle( content ), Number::hashOf( content ), none ); } ),
              "DedupHashTableUnorderedSet::findOrDedup: the argument is null" );
   EXPECT_EQ( table->count(), 1u );
   EXPECT_EQ( table->useCount(), 2u );
   EXPECT_EQ( valueOf( intern( *table, 7 ) ), 7 );
   EXPECT_EQ( intern( *table, 1 ), held );
}

TEST_P( Dedup, anAllocatorThatThrowsLeavesTheTableAsItWas ) {
   const int content = 7;
   const auto look = [ & ]( const DedupHashTable::Allocator & allocator ) {
      return table->findOrDedup( DedupContentHandle( content ), Number::hashOf( content ), allocator );
   };
   EXPECT_THROW( look( []() -> Ptr<DedupHandleBase> { throw std::runtime_error( "none left" ); } ), std::runtime_error );
   EXPECT_EQ( table->count(), 0u );
   const auto found = look( [ & ] { return makeNode<Number>( content ); } );
   EXPECT_EQ( table->count(), 1u );
   std::thread( [ & ] { EXPECT_EQ( table->count(), 1u ); } ).join();   // and no lock is left behind
}

TEST_P( Dedup, theDefaultOrderIsThatOfIdentity ) {
   const auto a = makeNode<Number>( 1 ), b = makeNode<Number>( 1 );
   EXPECT_EQ( a->compareLessThan( b.get() ), a.get() < b.get() );
   EXPECT_EQ( b->compareLessThan( a.get() ), b.get() < a.get() );
   EXPECT_FALSE( a->compareLessThan( a.get() ) );
   EXPECT_FALSE( a->compareLessThanByContent( DedupContentHandle( 0 ) ) );
}

/// One step of a random life of handles: each slot holds a handle or none.
struct Step {
   enum Kind { find, dedup, copy, drop } kind;
   uint32_t slot, other;
   int value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "find", "dedup", "copy", "drop" };
      return os << names[ s.kind ] << ' ' << s.slot << ' ' << s.other << ' ' << s.value;
   }
};

void behavesAsTheModel( const std::vector<Step> & program, bool shared ) {
   constexpr size_t kSlots = 10;
   const Ptr<DedupHashTable> table = makeNode<DedupHashTableUnorderedSet>( shared );
   {
      std::vector<Ptr<DedupHandleBase>> slots( kSlots );
      std::vector<int> model( kSlots, -1 );
      for( const Step & step : program ) {
         switch( step.kind ) {
            case Step::find:
               slots[ step.slot ] = intern( *table, step.value );
               model[ step.slot ] = step.value;
               break;
            case Step::dedup:
               slots[ step.slot ] = table->dedup( makeNode<Number>( step.value ) );
               model[ step.slot ] = step.value;
               break;
            case Step::copy:
               slots[ step.slot ] = slots[ step.other ];
               model[ step.slot ] = model[ step.other ];
               break;
            case Step::drop:
               slots[ step.slot ] = nullptr;
               model[ step.slot ] = -1;
               break;
         }
         std::set<int> contents( model.begin(), model.end() );
         contents.erase( -1 );
         RC_ASSERT( table->count() == contents.size() );
         RC_ASSERT( Number::alive == int( contents.size() ) );
         RC_ASSERT( table->useCount() == 1 + contents.size() );
         for( size_t a = 0; a < kSlots; ++a ) {
            RC_ASSERT( ( slots[ a ] ? valueOf( slots[ a ] ) : -1 ) == model[ a ] );
            for( size_t b = 0; b < a; ++b ) RC_ASSERT( ( slots[ a ] == slots[ b ] ) == ( model[ a ] == model[ b ] ) );
         }
      }
   }
   RC_ASSERT( table->count() == 0u );
   RC_ASSERT( table->useCount() == 1u );
   RC_ASSERT( Number::alive == 0 );
}

RC_GTEST_PROP( DedupHashTable, randomUsesLeaveItEmpty, () ) {
   const auto kind = rc::gen::element( Step::find, Step::dedup, Step::copy, Step::drop );
   const auto program = *programOf<Step>(
      rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::slot, rc::gen::inRange<uint32_t>( 0, 10 ) ),
      rc::gen::set( &Step::other, rc::gen::inRange<uint32_t>( 0, 10 ) ), rc::gen::set( &Step::value, rc::gen::inRange( 0, 8 ) ) );
   behavesAsTheModel( program, false );
   behavesAsTheModel( program, true );
}

TEST( DedupShared, theLastUserMayGoOnAnotherThread ) {
   const Ptr<DedupHashTable> table = makeNode<DedupHashTableUnorderedSet>( true );
   auto object = intern( *table, 7 );
   std::thread( [ object = std::move( object ) ]() mutable { object = nullptr; } ).join();
   EXPECT_EQ( table->count(), 0u );
   EXPECT_EQ( Number::alive, 0 );
}

// One thread looks up the same few contents again and again while others drop what it hands them.
TEST( DedupShared, lookUpsBearReleasesOnOtherThreads ) {
   constexpr int kThreads = 3, kRounds = 60000;
   const Ptr<DedupHashTable> table = makeNode<DedupHashTableUnorderedSet>( true );
   std::mutex mutex;
   std::condition_variable more;
   std::deque<Ptr<DedupHandleBase>> handed;
   bool done = false;
   std::vector<std::thread> threads;
   threads.reserve( kThreads );
   for( int t = 0; t < kThreads; ++t )
      threads.emplace_back( [ & ] {
         for( std::unique_lock lock( mutex );; ) {
            more.wait( lock, [ & ] { return done || !handed.empty(); } );
            if( handed.empty() ) return;
            auto mine = std::move( handed.front() );
            handed.pop_front();
            lock.unlock();
            assertIsDeduped( *mine );
            mine = nullptr;
            lock.lock();
         }
      } );
   int wrong = 0;
   for( int i = 0; i < kRounds; ++i ) {
      const int value = i * 7 % 5;
      auto object = i % 2 ? intern( *table, value ) : table->dedup( makeNode<Number>( value ) );
      wrong += valueOf( object ) != value || !object->isDeduped();
      wrong += intern( *table, value ) != object;   // held, so it must be the one
      {
         const std::lock_guard lock( mutex );
         handed.push_back( std::move( object ) );
      }
      more.notify_one();
   }
   {
      const std::lock_guard lock( mutex );
      done = true;
   }
   more.notify_all();
   for( auto & t : threads ) t.join();
   EXPECT_EQ( wrong, 0 );
   EXPECT_EQ( table->count(), 0u );
   EXPECT_EQ( table->useCount(), 1u );
   EXPECT_EQ( Number::alive, 0 );
}

class DedupDeathTest : public testing::Test {
 protected:
   DedupDeathTest() { table->dedup( inside ); }
   ~DedupDeathTest() override { Zeugma::dedupHandleDisableIsDedupedAssert = Zeugma::dedupHandleDisableSmartPointerOperations = false; }
   const Ptr<DedupHashTable> table = makeNode<DedupHashTableUnorderedSet>( false );
   const Ptr<Number> inside = makeNode<Number>( 1 ), outside = makeNode<Number>( 2 );
};

TEST_F( DedupDeathTest, aHandleOutsideOfATableEndsTheProcess ) {
   assertIsDeduped( *inside );
   assertIsDeduped( Ptr<const DedupHandleBase>( inside ) );
   assertIsDeduped( Ptr<const DedupHandleBase>() );
   EXPECT_DEATH( assertIsDeduped( *outside ), HasSubstr( "Assertion failed: isDeduped()\n" ) );
   EXPECT_DEATH( assertIsDeduped( Ptr<const DedupHandleBase>( outside ) ), HasSubstr( "Assertion failed: isDeduped()\n" ) );
   inside->doRemoveFromDedupTable();
   EXPECT_DEATH( assertIsDeduped( *inside ), HasSubstr( "isDeduped()" ) );
}

TEST_F( DedupDeathTest, anObjectOfAnotherTableEndsTheProcess ) {
   const Ptr<DedupHashTable> other = makeNode<DedupHashTableUnorderedSet>( false );
   const auto text = HasSubstr( "Assertion failed: !isDeduped()\n" );
   EXPECT_DEATH( other->dedup( inside ), text );
   const int content = 1;
   EXPECT_DEATH( other->findOrDedup( DedupContentHandle( content ), Number::hashOf( content ), [ this ] { return inside; } ), text );
   const auto same = makeNode<Number>( 1 );
   other->dedup( same );
   EXPECT_EQ( other->dedup( inside ), same ) << "which has one of its content";
   EXPECT_EQ( inside->getDedupHashTable(), table.get() );
}

TEST_F( DedupDeathTest, oneSwitchTurnsTheCheckOffEverywhere ) {
   Zeugma::dedupHandleDisableIsDedupedAssert = true;
   assertIsDeduped( *outside );
   assertIsDeduped( Ptr<const DedupHandleBase>( outside ) );
   Zeugma::dedupHandleDisableIsDedupedAssert = false;
   EXPECT_DEATH( assertIsDeduped( *outside ), HasSubstr( "isDeduped()" ) );
}

TEST_F( DedupDeathTest, theOtherTurnsItOffForCountedHandlesAlone ) {
   Zeugma::dedupHandleDisableSmartPointerOperations = true;
   assertIsDeduped( Ptr<const DedupHandleBase>( outside ) );
   EXPECT_DEATH( assertIsDeduped( *outside ), HasSubstr( "isDeduped()" ) );
   Zeugma::dedupHandleDisableSmartPointerOperations = false;
   EXPECT_DEATH( assertIsDeduped( Ptr<const DedupHandleBase>( outside ) ), HasSubstr( "isDeduped()" ) );
}

}   // namespace
