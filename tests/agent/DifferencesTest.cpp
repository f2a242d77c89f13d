#include "live/Differences.h"

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Agent {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Map = std::map<int, char>;

// "3 a->b", with a dot where there is nothing.
std::string pairText( int key, const char * was, const char * is ) {
   return std::to_string( key ) + ' ' + ( was ? *was : '.' ) + "->" + ( is ? *is : '.' );
}

std::vector<std::string> differences( const Map & before, const Map & after ) {
   std::vector<std::string> texts;
   const size_t count =
      forEachDifference( before, after, [ & ]( int key, auto * was, auto * is ) { texts.push_back( pairText( key, was, is ) ); } );
   EXPECT_EQ( count, texts.size() );
   return texts;
}

TEST( Differences, areToldInOrderWithBothSides ) {
   EXPECT_THAT( differences( { { 1, 'a' }, { 3, 'a' }, { 5, 'a' } }, { { 2, 'b' }, { 3, 'b' }, { 5, 'a' }, { 7, 'b' } } ),
                ElementsAre( "1 a->.", "2 .->b", "3 a->b", "7 .->b" ) );
   EXPECT_THAT( differences( { { 1, 'a' } }, {} ), ElementsAre( "1 a->." ) );
   EXPECT_THAT( differences( {}, { { 1, 'a' } } ), ElementsAre( "1 .->a" ) );
   EXPECT_THAT( differences( { { 1, 'a' } }, { { 1, 'a' } } ), IsEmpty() );
   EXPECT_THAT( differences( {}, {} ), IsEmpty() );
}

TEST( Differences, pairsIncludeWhatIsTheSame ) {
   std::vector<std::string> texts;
   forEachPair( Map{ { 1, 'a' }, { 2, 'a' } }, Map{ { 2, 'a' }, { 3, 'a' } },
                [ & ]( int key, auto * was, auto * is ) { texts.push_back( pairText( key, was, is ) ); } );
   EXPECT_THAT( texts, ElementsAre( "1 a->.", "2 a->a", "3 .->a" ) );
}

}   // namespace

}   // namespace Agent
