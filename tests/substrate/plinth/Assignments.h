/// @file tests/substrate/plinth/Assignments.h
/// Whole collections written over each other.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include <gtest/gtest.h>

/// What is written to moves its version, what is moved from too, and nothing else does. `one` and `other` have seen as
/// many changes, so that a version that was taken along with the members would show, and neither is empty.
template <class Collection>
void expectVersionsMoveWithAssignments( const Collection & one, const Collection & other ) {
   using C = Collection;
   const struct {
      const char * name;
      std::function<void( C & a, C & b )> action;
      bool aMoves, bMoves;
   } rows[] = {
      { "a is copied from b", []( C & a, C & b ) { a = b; }, true, false },
      { "a is moved from b", []( C & a, C & b ) { a = std::move( b ); }, true, true },
      { "a is built from b", []( C & a, C & b ) { a = C( b ); }, true, false },
      { "another is copied from b", []( C &, C & b ) { const C c( b ); }, false, false },
      { "another is moved from b", []( C &, C & b ) { const C c( std::move( b ) ); }, false, true },
      { "the two are swapped", []( C & a, C & b ) { std::swap( a, b ); }, true, true },
   };
   for( const auto & row : rows ) {
      C a( one ), b( other );
      ASSERT_EQ( a.version(), b.version() );
      const uint32_t before = a.version();
      row.action( a, b );
      EXPECT_EQ( a.version() != before, row.aMoves ) << row.name << ": a";
      EXPECT_EQ( b.version() != before, row.bMoves ) << row.name << ": b";
   }
}
