#include "text/LineDiff.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/model/RandomCases.h"

namespace Agent {
namespace {

std::string joined( const std::vector<std::string> & lines ) {
   std::string text;
   for( const auto & line : lines ) text += line;
   return text;
}

TEST( LineDiff, oneHunkForEachPlaceThatDiffers ) {
   const std::string before = "a\nb\nc\nd\ne\nf\n", after = "a\nB\nc\nnew\nd\nf\n";
   const auto hunks = differingLines( before, after );
   ASSERT_EQ( hunks.size(), 3u );
   const Hunk expected[] = { { "b\n", "B\n", 2, 2 }, { "", "new\n", 4, 4 }, { "e\n", "", 5, 6 } };
   for( size_t i = 0; i < hunks.size(); ++i ) {
      EXPECT_EQ( hunks[ i ].before, expected[ i ].before );
      EXPECT_EQ( hunks[ i ].after, expected[ i ].after );
      EXPECT_EQ( hunks[ i ].lineBefore, expected[ i ].lineBefore );
      EXPECT_EQ( hunks[ i ].lineAfter, expected[ i ].lineAfter );
   }
}

// Long lines, so that blocks of bytes differ in their midst, and few of them, so that equal lines are often in wrong places.
std::vector<std::string> randomLines( Random & random, size_t most ) {
   std::vector<std::string> lines;
   for( auto n = below( random, most ); n; --n )
      lines.push_back(
         anyOf<std::string>( random, { "\n", "a\n", "ab\n", "b\n", std::string( 5000, 'x' ) + "\n", std::string( 300, 'x' ) + "\n" } ) );
   return lines;
}

TEST( LineDiffModel, hunksTurnOneTextIntoTheOther ) {
   forRandomCases( 20, []( Random & random ) {
      auto lines = randomLines( random, 100 );
      std::string before = joined( lines );
      for( auto edits = below( random, 4 ); edits; --edits ) {
         const auto at = lines.begin() + static_cast<std::ptrdiff_t>( below( random, lines.size() + 1 ) );
         if( oneIn( random, 2 ) || at == lines.end() ) {
            const auto more = randomLines( random, oneIn( random, 4 ) ? 50 : 3 );
            lines.insert( at, more.begin(), more.end() );
         } else {
            lines.erase( at );
         }
      }
      std::string after = joined( lines );
      for( auto * text : { &before, &after } )
         if( oneIn( random, 5 ) && !text->empty() ) text->pop_back();

      std::string made;
      size_t at = 0;
      for( const auto & hunk : differingLines( before, after ) ) {
         const size_t start = static_cast<size_t>( hunk.before.data() - before.data() );
         const size_t startAfter = static_cast<size_t>( hunk.after.data() - after.data() );
         ASSERT_LE( at, start );
         made += before.substr( at, start - at );
         ASSERT_EQ( made.size(), startAfter );
         ASSERT_TRUE( hunk.before != hunk.after );
         const auto lineAt = []( const std::string & text, size_t place ) {
            return 1 + std::count( text.begin(), text.begin() + static_cast<std::ptrdiff_t>( place ), '\n' );
         };
         ASSERT_EQ( hunk.lineBefore, lineAt( before, start ) );
         ASSERT_EQ( hunk.lineAfter, lineAt( after, startAfter ) );
         for( const auto & [ text, place ] : { std::pair( &before, start ), std::pair( &after, startAfter ) } )
            ASSERT_TRUE( place == 0 || ( *text )[ place - 1 ] == '\n' );
         made += hunk.after;
         at = start + hunk.before.size();
      }
      made += before.substr( at );
      ASSERT_EQ( made, after );
   } );
}

TEST( LineDiff, linesAreCountedWithoutTheLastEndToo ) {
   EXPECT_EQ( countLines( "" ), 0u );
   EXPECT_EQ( countLines( "a" ), 1u );
   EXPECT_EQ( countLines( "a\n" ), 1u );
   EXPECT_EQ( countLines( std::string( 1000, '\n' ) + "a" ), 1001u );
   EXPECT_EQ( lineAbove( "a\nb\nc\n", 4 ), "b\n" );
   EXPECT_EQ( lineAbove( "a\nb\n", 2 ), "a\n" );
   EXPECT_EQ( lineAbove( "\nb\n", 1 ), "\n" );
   EXPECT_EQ( lineAbove( "a\n", 0 ), "" );
}

}   // namespace
}   // namespace Agent
