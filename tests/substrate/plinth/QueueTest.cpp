#include "substrate/plinth/Queue.h"

#include <deque>
#include <memory>
#include <ostream>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "tests/substrate/plinth/Assignments.h"
#include "tests/substrate/plinth/AtEnd.h"
#include "tests/substrate/plinth/Members.h"
#include "tests/substrate/quoin/Program.h"

namespace {

using testing::ElementsAre;

using Queue = Plinth::Queue<int>;

TEST( Queue, emptyHoldsNothing ) {
   Queue queue;
   EXPECT_TRUE( queue.empty() );
   EXPECT_EQ( queue.count(), 0u );
   EXPECT_EQ( queue.front(), nullptr );
   EXPECT_EQ( queue.back(), nullptr );
   EXPECT_EQ( queue.dequeue(), 0 );
   queue.clear();
   EXPECT_EQ( queue.version(), 0u );
   EXPECT_THAT( membersOf( queue ), ElementsAre() );
}

TEST( Queue, versionMovesByAssignmentAndByBeingMovedFrom ) {
   Queue one, other;
   for( int v : { 10, 20, 30 } ) {
      one.enqueue( v );
      other.enqueue( v + 1 );
   }
   expectVersionsMoveWithAssignments( one, other );
   one = other;
   EXPECT_THAT( membersOf( one ), ElementsAre( 11, 21, 31 ) );
}

TEST( Queue, oldValuesGoWhenTheChangeStands ) {
   Plinth::Queue<std::shared_ptr<int>> queue;
   int ends = 0;
   for( int v = 0; v < 3; ++v )
      queue.enqueue( atEnd( [ &, v ] {
         ++ends;
         EXPECT_EQ( queue.count(), v == 0 ? 2u : 0u );
         EXPECT_EQ( queue.version(), v == 0 ? 4u : 5u );
      } ) );
   queue.dequeue();
   EXPECT_EQ( ends, 1 );
   queue.clear();
   EXPECT_EQ( ends, 3 );
}

struct Step {
   enum Kind { enqueue, dequeue, clear } kind;
   int value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "enqueue", "dequeue", "clear" };
      return os << names[ s.kind ] << ' ' << s.value;
   }
};

RC_GTEST_PROP( Queue, behavesAsTheModelInRandomPrograms, () ) {
   const auto kind = rc::gen::weightedElement<Step::Kind>( { { 20, Step::enqueue }, { 15, Step::dequeue }, { 1, Step::clear } } );
   const auto program = *programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::value, rc::gen::inRange( 1, 100 ) ) );
   Queue queue;
   std::deque<int> model;
   uint32_t changes = 0;
   for( const Step & step : program ) {
      switch( step.kind ) {
         case Step::enqueue:
            queue.enqueue( step.value );
            model.push_back( step.value );
            ++changes;
            break;
         case Step::dequeue:
            RC_ASSERT( queue.dequeue() == ( model.empty() ? 0 : model.front() ) );
            if( model.empty() ) break;
            model.pop_front();
            ++changes;
            break;
         case Step::clear:
            queue.clear();
            changes += !model.empty();
            model.clear();
            break;
      }
      RC_ASSERT( queue.version() == changes );
      RC_ASSERT( queue.count() == model.size() );
      RC_ASSERT( queue.empty() == model.empty() );
      RC_ASSERT( ( queue.front() ? *queue.front() : 0 ) == ( model.empty() ? 0 : model.front() ) );
      RC_ASSERT( ( queue.back() ? *queue.back() : 0 ) == ( model.empty() ? 0 : model.back() ) );
      RC_ASSERT( std::deque<int>( queue.begin(), queue.end() ) == model );
   }
}

}   // namespace
