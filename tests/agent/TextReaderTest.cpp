#include "table/TextReader.h"

#include "tests/agent/TableFixture.h"

namespace Agent {
namespace {

struct Line {
   uint64_t number;
   std::string text;
   bool tooLong;
   bool terminated;
   bool operator==( const Line & ) const = default;
};

void PrintTo( const Line & line, std::ostream * os ) {
   *os << line.number << ": \"" << line.text << "\"" << ( line.tooLong ? " too long" : "" ) << ( line.terminated ? "" : " unterminated" );
}

std::vector<Line> linesOf( std::string_view bytes, size_t maxLine = 1000, size_t step = 1 << 20 ) {
   TricklingSource source( bytes, step );
   Input input( source );
   TextReader text( input, maxLine );
   std::vector<Line> lines;
   while( text.nextLine() ) lines.push_back( { text.lineNumber(), std::string( text.line() ), text.lineTooLong(), text.lineTerminated() } );
   EXPECT_FALSE( text.nextLine() ) << "the end stays the end";
   return lines;
}

TEST( TextReaderTest, linesEndAsTheyMay ) {
   struct Row {
      const char * name;
      std::string_view bytes;
      std::vector<Line> expected;
   };
   const Row rows[] = {
      { "nothing", "", {} },
      { "one blank line", "\n", { { 1, "", false, true } } },
      { "line feeds", "a\nbc\n", { { 1, "a", false, true }, { 2, "bc", false, true } } },
      { "carriage returns", "a\r\n\r\nbc\r\n", { { 1, "a", false, true }, { 2, "", false, true }, { 3, "bc", false, true } } },
      { "no end to the last", "a\nbc", { { 1, "a", false, true }, { 2, "bc", false, false } } },
      { "a carriage return ends the last", "a\nbc\r", { { 1, "a", false, true }, { 2, "bc", false, false } } },
      { "a carriage return within", "a\rb\n", { { 1, "a\rb", false, true } } },
   };
   for( const auto & row : rows )
      for( const size_t step : { 1, 2, 3, 1000 } )
         EXPECT_EQ( linesOf( row.bytes, 1000, step ), row.expected ) << row.name << " by " << step;
}

TEST( TextReaderTest, longestLineIsWholeAndOneMoreIsNot ) {
   for( const std::string_view end : { "\n", "\r\n" } ) {
      const std::string bytes = "12345678" + std::string( end ) + "123456789" + std::string( end ) + "x" + std::string( end );
      const std::vector<Line> expected = { { 1, "12345678", false, true }, { 2, "12345678", true, true }, { 3, "x", false, true } };
      EXPECT_EQ( linesOf( bytes, 8 ), expected );
   }
   const std::vector<Line> unterminated = { { 1, "12345678", true, false } };
   EXPECT_EQ( linesOf( "123456789", 8 ), unterminated );
   EXPECT_EQ( linesOf( "123456789abcdefg", 8 ), unterminated );
}

TEST( TextReaderTest, hugeLineIsSkippedAndTheNextOneIsRead ) {
   for( const size_t size : { 65'535, 65'536, 65'537, 200'000, 3'000'000 } ) {
      const std::string bytes = "a\n" + std::string( size, 'x' ) + "\nb\n";
      const std::vector<Line> expected = { { 1, "a", false, true }, { 2, std::string( 1000, 'x' ), true, true }, { 3, "b", false, true } };
      EXPECT_EQ( linesOf( bytes ), expected ) << size;
      EXPECT_EQ( linesOf( bytes, 1000, 4099 ), expected ) << size;
   }
}

TEST( TextReaderTest, lineOfManyBuffersIsGivenWhole ) {
   const std::string bytes = "a\n" + std::string( 300'000, 'x' ) + "\nb\n";
   const std::vector<Line> expected = { { 1, "a", false, true }, { 2, std::string( 300'000, 'x' ), false, true }, { 3, "b", false, true } };
   EXPECT_EQ( linesOf( bytes, 1 << 20 ), expected );
   EXPECT_EQ( linesOf( bytes, 300'000, 777 ), expected );
}

TEST( TextReaderTest, linesAcrossBuffersAreWhole ) {
   std::string bytes;
   std::vector<Line> expected;
   for( uint64_t i = 1; i <= 20'000; ++i ) {
      const std::string line( i % 61, static_cast<char>( 'a' + i % 26 ) );
      bytes += line + "\n";
      expected.push_back( { i, line, false, true } );
   }
   EXPECT_TRUE( linesOf( bytes ) == expected );
   EXPECT_TRUE( linesOf( bytes, 1000, 97 ) == expected );
}

TEST( TextReaderTest, charactersKnowTheirPlace ) {
   MemorySource source( "ab\n\nc" );
   Input input( source );
   TextReader text( input, 100 );
   struct Row {
      int c;
      uint64_t line;
      uint64_t column;
   };
   for( const Row & row : { Row{ 'a', 1, 1 }, { 'b', 1, 2 }, { '\n', 1, 3 }, { '\n', 2, 1 }, { 'c', 3, 1 } } ) {
      EXPECT_EQ( text.peek(), row.c );
      EXPECT_EQ( text.get(), row.c );
      EXPECT_EQ( text.lineNumber(), row.line );
      EXPECT_EQ( text.column(), row.column );
   }
   EXPECT_EQ( text.peek(), TextReader::kEnd );
   EXPECT_EQ( text.get(), TextReader::kEnd );
}

TEST( TextReaderTest, bytesAbove127AreCharactersAndNotTheEnd ) {
   MemorySource source( "\xff" );
   Input input( source );
   TextReader text( input, 100 );
   EXPECT_EQ( text.get(), 0xff );
   EXPECT_EQ( text.get(), TextReader::kEnd );
}

TEST( TextReaderTest, lookingBehindSpaceTakesNothing ) {
   struct Row {
      const char * name;
      std::string bytes;
      int expected;
   };
   const Row rows[] = {
      { "empty", "", TextReader::kEnd },
      { "only space", " \t\r\n", TextReader::kEnd },
      { "at once", "[", '[' },
      { "behind space", "\n  [", '[' },
      { "behind a byte order mark", "\xef\xbb\xbf [", '[' },
      { "byte order mark elsewhere", " \xef\xbb\xbf[", 0xef },
      { "behind more space than is looked at", std::string( 100'000, ' ' ) + "[", TextReader::kEnd },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      TricklingSource source( row.bytes, 1000 );
      Input input( source );
      TextReader text( input, 1 << 20 );
      EXPECT_EQ( text.peekBehindSpace(), row.expected );
      std::string again;
      for( int c = text.get(); c != TextReader::kEnd; c = text.get() ) again += static_cast<char>( c );
      EXPECT_TRUE( again == row.bytes );
   }
}

TEST( TextReaderTest, blocksOfBytesAreWholeWhereverBuffersEnd ) {
   std::string bytes;
   for( int i = 0; i < 400'000; ++i ) bytes += static_cast<char>( i * 31 % 251 );
   for( const size_t step : { 7, 65'536, 1 << 20 } ) {
      TricklingSource source( bytes, step );
      Input input( source );
      TextReader text( input, 100 );
      EXPECT_EQ( text.peekBytes( 5 ), bytes.substr( 0, 5 ) );
      size_t at = 0;
      for( const size_t size : { 0, 5, 60'000, 1, 200'000, 65'536 } ) {
         EXPECT_TRUE( text.peekBytes( size ) == bytes.substr( at, size ) ) << size;
         EXPECT_TRUE( text.takeBytes( size ) == bytes.substr( at, size ) ) << size;
         at += size;
      }
      EXPECT_EQ( text.skipBytes( 70'000 ), 70'000u );
      at += 70'000;
      EXPECT_TRUE( text.takeBytes( 1 << 20 ) == bytes.substr( at ) ) << "fewer at the end";
      EXPECT_EQ( text.takeBytes( 1 ), "" );
      EXPECT_EQ( text.skipBytes( 1 ), 0u );
   }
}

TEST( TextReaderTest, printableShowsWhatATerminalMayShow ) {
   using namespace std::string_view_literals;
   EXPECT_EQ( printable( "10.0.0.0/8", 64 ), "10.0.0.0/8" );
   EXPECT_EQ( printable( "a\x1b[31m\0\x7f\xc3\xa4"sv, 64 ), "a\\x1b[31m\\x00\\x7f\\xc3\\xa4" );
   EXPECT_EQ( printable( "abcd", 4 ), "abcd" );
   EXPECT_EQ( printable( "abcde", 4 ), "abcd..." );
}

}   // namespace
}   // namespace Agent
