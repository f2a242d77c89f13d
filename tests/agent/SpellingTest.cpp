#include "text/Spelling.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/agent/RandomText.h"

namespace Agent {
namespace {

TEST( Spelling, distances ) {
   struct Row {
      std::string_view a;
      std::string_view b;
      size_t limit;
      size_t distance;
   };
   const Row rows[] = {
      { "", "", 0, 0 },
      { "", "abc", 3, 3 },
      { "routemap", "routemap", 0, 0 },
      { "routmap", "routemap", 1, 1 },     // one to put in
      { "routeemap", "routemap", 1, 1 },   // one to take out
      { "rootemap", "routemap", 1, 1 },    // one to replace
      { "ruotemap", "routemap", 2, 2 },    // two that changed places
      { "ruotemap", "routemap", 1, 2 },    // above the limit
      { "abcdef", "ghijkl", 2, 3 },        // far above it
      { "a", "abcdefgh", 2, 3 },           // by the length alone
      { "kitten", "sitting", 9, 3 },
      { "A", "a", 1, 1 },
      { "\xff\xfe", "\xff", 1, 1 },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( editDistance( row.a, row.b, row.limit ), row.distance ) << row.a << ' ' << row.b;
      EXPECT_EQ( editDistance( row.b, row.a, row.limit ), row.distance ) << row.b << ' ' << row.a;
   }
}

// Any number of mistakes makes a distance of no more than that, and the limit changes no distance below it.
TEST( Spelling, mistakesAreCounted ) {
   forRandomCases( 100, []( Random & random ) {
      std::string word;
      for( auto n = below( random, 12 ); n; --n ) word += static_cast<char>( 'a' + below( random, 3 ) );
      std::string other = word;
      const auto mistakes = below( random, 5 );
      for( auto n = mistakes; n; --n ) {
         const auto at = below( random, other.size() + 1 );
         if( oneIn( random, 2 ) )
            other.insert( at, 1, static_cast<char>( 'a' + below( random, 3 ) ) );
         else
            other.erase( at, 1 );
      }
      const size_t distance = editDistance( word, other, 100 );
      EXPECT_LE( distance, mistakes ) << word << ' ' << other;
      for( size_t limit = 0; limit < 6; ++limit ) {
         const size_t limited = editDistance( word, other, limit );
         EXPECT_TRUE( distance <= limit ? limited == distance : limited > limit ) << word << ' ' << other << ' ' << limit;
      }
   } );
}

TEST( Spelling, lowerCaseChangesLettersAlone ) {
   EXPECT_EQ( lowerCase( "" ), "" );
   EXPECT_EQ( lowerCase( "AZaz@[`{-09 \xc4\xff" ), "azaz@[`{-09 \xc4\xff" );
   EXPECT_EQ( lowerCase( std::string_view( "A\0B", 3 ) ), std::string_view( "a\0b", 3 ) );
}

}   // namespace
}   // namespace Agent
