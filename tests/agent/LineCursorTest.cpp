#include "text/LineCursor.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Agent {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;

std::vector<std::string> words( std::string_view bytes ) {
   std::vector<std::string> words;
   for( LineCursor line( bytes ); !line.atEnd(); ) {
      const Token token = line.take();
      words.push_back( std::to_string( token.column ) + " " + std::string( token.text ) );
   }
   return words;
}

TEST( LineCursor, wordsAndTheirColumns ) {
   EXPECT_THAT( words( "" ), ElementsAre() );
   EXPECT_THAT( words( " \t \r" ), ElementsAre() );
   EXPECT_THAT( words( "a" ), ElementsAre( "1 a" ) );
   EXPECT_THAT( words( "a bc\td" ), ElementsAre( "1 a", "3 bc", "6 d" ) );
   EXPECT_THAT( words( "  a  b \r" ), ElementsAre( "3 a", "6 b" ) );
}

TEST( LineCursor, whatIsMissingIsBehindTheLastWord ) {
   LineCursor line( "ab cd  " );
   line.take();
   line.take();
   EXPECT_TRUE( line.atEnd() );
   EXPECT_EQ( line.peek().column, 6u );
   line.take();
   EXPECT_EQ( line.peek().column, 6u );
   try {
      line.take( "more" );
      ADD_FAILURE();
   } catch( const LineError & error ) {
      EXPECT_EQ( error.column, 6u );
      EXPECT_EQ( error.reason, "expected more, found the end of the line" );
   }
}

TEST( LineCursor, allOfTheWordsOrNone ) {
   LineCursor line( "ip next-hop\tprefix-list A" );
   EXPECT_FALSE( line.takeWords( "ip address" ) );
   EXPECT_FALSE( line.takeWords( "ip next" ) );
   EXPECT_FALSE( line.takeWords( "ip next-hop prefix-list A B" ) );
   EXPECT_EQ( line.peek().text, "ip" );
   EXPECT_TRUE( line.takeWords( "ip next-hop prefix-list" ) );
   EXPECT_EQ( line.peek().text, "A" );
   EXPECT_EQ( line.place( line.peek() ).column, 25u );
}

TEST( LineCursor, theRestKeepsItsBlanks ) {
   LineCursor line( " description  a  b\t c \r" );
   line.take();
   EXPECT_EQ( line.takeRest( "text" ).text, "a  b\t c" );
   EXPECT_TRUE( line.atEnd() );
   EXPECT_THROW( line.takeRest( "text" ), LineError );
   line.expectEnd();
}

TEST( LineCursor, placesAndIndentation ) {
   EXPECT_FALSE( LineCursor( "a" ).indented() );
   EXPECT_TRUE( LineCursor( "\ta" ).indented() );
   const Place place = LineCursor( "  a", 3, 7 ).place();
   EXPECT_EQ( place.file, 3u );
   EXPECT_EQ( place.line, 7u );
   EXPECT_EQ( place.column, 3u );
}

TEST( LineCursor, controlBytes ) {
   struct Row {
      std::string_view line;
      uint32_t column;   // 0: it has none
   };
   for( const auto & row :
        { Row{ "a\tb\r", 0 }, Row{ "a\xff\x80", 0 }, Row{ "ab\0"sv, 3 }, Row{ "\x1b", 1 }, Row{ "a \x7f", 3 }, Row{ "\v", 1 },
          // U+0080 to U+009F
          Row{ "a\xc2\x80", 2 }, Row{ "\xc2\x9f", 1 }, Row{ "\xc2\xa0", 0 }, Row{ "\xc2\x7e", 0 }, Row{ "a\xc2", 0 },
          Row{ "\xc2\xc2\x9b", 2 }, Row{ "\xc3\x9b", 0 } } ) {
      uint32_t column = 0;
      try {
         LineCursor( row.line ).expectNoControlBytes();
      } catch( const LineError & error ) { column = error.column; }
      EXPECT_EQ( column, row.column ) << printable( row.line );
   }
}

}   // namespace
}   // namespace Agent
