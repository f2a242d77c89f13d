#include "substrate/plinth/LinkStack.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "tests/substrate/plinth/Assignments.h"
#include "tests/substrate/plinth/AtEnd.h"
#include "tests/substrate/quoin/Program.h"

namespace {

using Stack = Plinth::LinkStack<int>;

TEST( LinkStack, emptyHoldsNothing ) {
   Stack stack;
   EXPECT_TRUE( stack.empty() );
   EXPECT_EQ( stack.count(), 0u );
   EXPECT_EQ( stack.top(), nullptr );
   EXPECT_EQ( stack.bottom(), nullptr );
   EXPECT_EQ( stack.find( 0 ), nullptr );
   EXPECT_EQ( stack.pop(), 0 );
   EXPECT_FALSE( stack.erase( 0 ) );
   stack.reset();
   EXPECT_EQ( stack.version(), 0u );
}

TEST( LinkStack, othersKeepTheirIndexWhenOneGoes ) {
   Stack stack;
   for( int v : { 10, 20, 30 } ) stack.push( v );
   EXPECT_TRUE( stack.erase( 1 ) );
   EXPECT_FALSE( stack.erase( 1 ) );
   EXPECT_EQ( *stack.find( 2 ), 30 );
   stack.push( 40 );
   EXPECT_EQ( *stack.find( 3 ), 40 );   // one above the top's
   EXPECT_TRUE( stack.erase( 0 ) );
   EXPECT_EQ( *stack.bottom(), 30 );
   stack.reset();
   stack.push( 50 );
   EXPECT_EQ( *stack.find( 0 ), 50 );
}

TEST( LinkStack, versionMovesByAssignmentAndByBeingMovedFrom ) {
   Stack one, other;
   for( int v : { 10, 20, 30 } ) {
      one.push( v );
      other.push( v + 1 );
   }
   expectVersionsMoveWithAssignments( one, other );
   one = other;
   EXPECT_EQ( one.count(), 3u );
   EXPECT_EQ( *one.top(), 31 );
}

TEST( LinkStack, anOldValueGoesWhenTheChangeStands ) {
   using Handles = Plinth::LinkStack<std::shared_ptr<int>>;
   const struct {
      const char * name;
      std::function<void( Handles & )> change;
      size_t count;
   } rows[] = {
      { "erase", []( Handles & s ) { s.erase( 1 ); }, 2 },
      { "reset", []( Handles & s ) { s.reset(); }, 0 },
      { "pop", []( Handles & s ) { s.pop(), s.pop(); }, 1 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Handles stack;
      int ends = 0;
      for( int v = 0; v < 3; ++v )
         stack.push( v != 1 ? std::make_shared<int>() : atEnd( [ & ] {
            ++ends;
            EXPECT_EQ( stack.count(), row.count );
            EXPECT_EQ( stack.version(), row.count == 1 ? 5u : 4u );
            EXPECT_EQ( stack.find( 1 ), nullptr );
         } ) );
      row.change( stack );
      EXPECT_EQ( ends, 1 );
   }
}

struct Step {
   enum Kind { push, pop, erase, reset } kind;
   uint32_t index;
   int value;
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "push", "pop", "erase", "reset" };
      return os << names[ s.kind ] << ' ' << s.index << ' ' << s.value;
   }
};

RC_GTEST_PROP( LinkStack, behavesAsTheModelInRandomPrograms, () ) {
   const auto kind =
      rc::gen::weightedElement<Step::Kind>( { { 20, Step::push }, { 10, Step::pop }, { 10, Step::erase }, { 1, Step::reset } } );
   const auto program =
      *programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::index, rc::gen::inRange<uint32_t>( 0, 12 ) ),
                        rc::gen::set( &Step::value, rc::gen::inRange( 1, 100 ) ) );
   Stack stack;
   std::vector<std::pair<uint32_t, int>> model;
   uint32_t changes = 0;
   for( const Step & step : program ) {
      const auto at = std::find_if( model.begin(), model.end(), [ & ]( auto & m ) { return m.first == step.index; } );
      switch( step.kind ) {
         case Step::push:
            stack.push( step.value );
            model.emplace_back( model.empty() ? 0 : model.back().first + 1, step.value );
            ++changes;
            break;
         case Step::pop:
            RC_ASSERT( stack.pop() == ( model.empty() ? 0 : model.back().second ) );
            if( model.empty() ) break;
            model.pop_back();
            ++changes;
            break;
         case Step::erase:
            RC_ASSERT( stack.erase( step.index ) == ( at != model.end() ) );
            if( at == model.end() ) break;
            model.erase( at );
            ++changes;
            break;
         case Step::reset:
            stack.reset();
            changes += !model.empty();
            model.clear();
            break;
      }
      RC_ASSERT( stack.version() == changes );
      RC_ASSERT( stack.count() == model.size() );
      RC_ASSERT( stack.empty() == model.empty() );
      RC_ASSERT( ( stack.top() ? *stack.top() : 0 ) == ( model.empty() ? 0 : model.back().second ) );
      RC_ASSERT( ( stack.bottom() ? *stack.bottom() : 0 ) == ( model.empty() ? 0 : model.front().second ) );
      for( uint32_t index = 0; index < 16; ++index ) {
         const auto m = std::find_if( model.begin(), model.end(), [ & ]( auto & e ) { return e.first == index; } );
         RC_ASSERT( ( stack.find( index ) ? *stack.find( index ) : 0 ) == ( m == model.end() ? 0 : m->second ) );
      }
   }
}

}   // namespace
