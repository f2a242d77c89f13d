#include "table/Input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <system_error>

#include "tests/agent/TableFixture.h"

namespace Agent {
namespace {

struct ReadResult {
   std::string text;
   std::string fault;
   Compression compression;
};

ReadResult readAll( ByteSource & source, size_t chunk = 4096, uint64_t maxBytes = Input::kNoLimit,
                    uint64_t freeGrowth = Input::kFreeGrowth ) {
   Input input( source, maxBytes, freeGrowth );
   std::string text;
   std::vector<char> buffer( chunk );
   while( const size_t count = input.read( buffer.data(), buffer.size() ) ) text.append( buffer.data(), count );
   EXPECT_EQ( input.read( buffer.data(), buffer.size() ), 0u ) << "an input that has ended stays so";
   return { text, input.fault(), input.compression() };
}

ReadResult readAll( std::string_view bytes, size_t chunk = 4096, uint64_t maxBytes = Input::kNoLimit ) {
   MemorySource source( bytes );
   return readAll( source, chunk, maxBytes );
}

// Text that does not shrink much, and is longer than every buffer on its way.
std::string longText() {
   std::mt19937 random( 7 );
   std::string text;
   while( text.size() < 300'000 ) text += std::to_string( random() ) + "\n";
   return text;
}

TEST( InputTest, everyCompressionGivesTheTextBack ) {
   const std::string text = longText();
   for( const auto how : kCompressions ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto bytes = compressed( text, how );
      for( const size_t chunk : { 1, 7, 4096, 1 << 20 } ) {
         const auto result = readAll( bytes, chunk );
         EXPECT_EQ( result.fault, "" );
         EXPECT_EQ( result.compression, how );
         EXPECT_TRUE( result.text == text ) << "chunks of " << chunk;
      }
   }
}

TEST( InputTest, sourceThatDeliversByteByByte ) {
   for( const auto how : kCompressions ) {
      SCOPED_TRACE( stringValue( how ) );
      const std::string bytes = compressed( "10.0.0.0/8\n", how );
      TricklingSource source( bytes, 1 );
      const auto result = readAll( source );
      EXPECT_EQ( result.text, "10.0.0.0/8\n" );
      EXPECT_EQ( result.compression, how );
      EXPECT_EQ( result.fault, "" );
   }
}

TEST( InputTest, nothingAtAll ) {
   for( const auto how : kCompressions ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto result = readAll( compressed( "", how ) );
      EXPECT_EQ( result.text, "" );
      EXPECT_EQ( result.fault, "" );
      EXPECT_EQ( result.compression, how );
   }
}

TEST( InputTest, joinedStreamsAreOneText ) {
   for( const auto how : kCompressions ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto result = readAll( compressed( "one\n", how ) + compressed( "", how ) + compressed( "two\n", how ) );
      EXPECT_EQ( result.text, "one\ntwo\n" );
      EXPECT_EQ( result.fault, "" );
   }
}

TEST( InputTest, joinedStreamsWhoseBorderFallsBetweenTwoReads ) {
   for( const auto how : kCompressions ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto first = compressed( "one\n", how );
      const auto bytes = first + compressed( "two\n", how );
      TricklingSource source( bytes, first.size() );
      EXPECT_EQ( readAll( source ).text, "one\ntwo\n" );
   }
}

TEST( InputTest, cutAnywhereKeepsWhatWasReadAndSaysSo ) {
   const std::string text = longText().substr( 0, 2000 );
   for( const auto how : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto bytes = compressed( text, how );
      for( size_t size = 10; size < bytes.size(); ++size ) {
         const auto result = readAll( std::string_view( bytes ).substr( 0, size ) );
         ASSERT_EQ( result.compression, how ) << size;
         ASSERT_EQ( result.fault, std::string( stringValue( how ) ) + " data is cut short" ) << size << " of " << bytes.size();
         ASSERT_TRUE( text.starts_with( result.text ) ) << size;
      }
   }
}

TEST( InputTest, cutStreamGivesAllTextThatItsBytesHold ) {
   const std::string text = longText();
   for( const auto how : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto bytes = compressed( text, how );
      const auto cut = std::string_view( bytes ).substr( 0, bytes.size() * 9 / 10 );
      const auto result = readAll( cut, 1 << 20 );
      // A bzip2 block is all or nothing; the other two decode up to the cut.
      const size_t least = how == Compression::bzip2 ? 0 : text.size() * 8 / 10;
      EXPECT_GE( result.text.size(), least );
      EXPECT_EQ( result.text, readAll( cut, 1 ).text ) << "whatever the size of the buffer";
   }
}

TEST( InputTest, damageIsReportedAndNeverPassesUnseen ) {
   const std::string text = longText().substr( 0, 3000 );
   for( const auto how : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      SCOPED_TRACE( stringValue( how ) );
      auto bytes = compressed( text, how );
      size_t noticed = 0;
      for( size_t at = bytes.size() / 4; at < bytes.size() * 3 / 4; ++at ) {   // inside of the data, which the sums cover
         bytes[ at ] = static_cast<char>( bytes[ at ] ^ 0x10 );
         const auto result = readAll( bytes );
         ASSERT_NE( result.fault, "" ) << "byte " << at;
         noticed += result.fault.ends_with( "data is damaged" );
         bytes[ at ] = static_cast<char>( bytes[ at ] ^ 0x10 );
      }
      EXPECT_GT( noticed, 0u );
   }
}

TEST( InputTest, zerosBehindAGzipStreamAreSkipped ) {
   const std::string one = compressed( "one\n", Compression::gzip ), two = compressed( "two\n", Compression::gzip );
   struct Row {
      const char * name;
      std::string bytes;
      const char * text;
      const char * fault;
   };
   const Row rows[] = {
      { "one", one + '\0', "one\n", "" },
      { "more than any buffer", one + std::string( 300'000, '\0' ), "one\n", "" },
      { "between two", one + std::string( 512, '\0' ) + two, "one\ntwo\n", "" },
      { "and something else", one + std::string( 512, '\0' ) + "something else", "one\n", "gzip data is damaged" },
      { "and half a stream", one + std::string( 512, '\0' ) + two.substr( 0, 5 ), "one\n", "gzip data is cut short" },
   };
   for( const auto & row : rows )
      for( const size_t step : { size_t( 1 ), one.size(), one.size() + 1, size_t( 1 ) << 20 } ) {
         TricklingSource source( row.bytes, step );
         const auto result = readAll( source );
         EXPECT_EQ( result.text, row.text ) << row.name << ", " << step;
         EXPECT_EQ( result.fault, row.fault ) << row.name << ", " << step;
      }
}

TEST( InputTest, bytesBehindTheStreamAreDamage ) {
   for( const auto how : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto result = readAll( compressed( "10.0.0.0/8\n", how ) + "something else" );
      EXPECT_EQ( result.text, "10.0.0.0/8\n" );
      EXPECT_EQ( result.fault, std::string( stringValue( how ) ) + " data is damaged" );
   }
}

TEST( InputTest, xzThatWantsTooMuchMemoryIsRefused ) {
   auto bytes = compressed( "10.0.0.0/8\n", Compression::xz );
   // Block header: its size, flags, perhaps sizes; then filter 0x21, whose one byte of properties is the dictionary's size: 40
   // stands for 4 GiB less a byte. The sum of the header is made good again, or it would be plain damage.
   const size_t header = 12;
   const size_t headerSize = ( size_t( static_cast<unsigned char>( bytes[ header ] ) ) + 1 ) * 4;
   const size_t filter = bytes.find( "\x21\x01", header );
   ASSERT_LT( filter, header + headerSize - 4 );
   bytes[ filter + 2 ] = 40;
   uint32_t crc = 0xffffffff;
   for( size_t i = header; i < header + headerSize - 4; ++i ) {
      crc ^= static_cast<unsigned char>( bytes[ i ] );
      for( int bit = 0; bit < 8; ++bit ) crc = crc >> 1 ^ ( crc & 1 ? 0xedb88320u : 0 );
   }
   crc = ~crc;
   for( size_t i = 0; i < 4; ++i ) bytes[ header + headerSize - 4 + i ] = static_cast<char>( crc >> ( 8 * i ) );
   EXPECT_EQ( readAll( bytes ).fault, "xz data needs more than 100 MB of memory to be unpacked" );
}

TEST( InputTest, compressionIsToldByTheFirstBytes ) {
   using namespace std::string_view_literals;
   struct Row {
      const char * name;
      std::string_view bytes;
      Compression expected;
   };
   const Row rows[] = {
      { "empty", "", Compression::none },
      { "one byte of two", "\x1f", Compression::none },
      { "gzip", "\x1f\x8b\x08", Compression::gzip },
      { "compress", "\x1f\x9d\x90", Compression::none },
      { "bzip2", "BZh91AY&SY", Compression::bzip2 },
      { "empty bzip2", "BZh9\x17\x72\x45\x38\x50\x90", Compression::bzip2 },
      { "bzip2 without a level", "BZh01AY&SY", Compression::none },
      { "text that begins as bzip2 does", "BZh9 is no prefix", Compression::none },
      { "xz",
        "\xfd"
        "7zXZ\0\0\0"sv,
        Compression::xz },
      { "xz cut in its mark",
        "\xfd"
        "7zXZ"sv,
        Compression::none },
      { "table dump", "TABLE_DUMP2|1", Compression::none },
      { "JSON", "[{\"dst\":\"d", Compression::none },
   };
   for( const auto & row : rows ) EXPECT_EQ( compressionOf( row.bytes ), row.expected ) << row.name;
}

TEST( InputTest, limitEndsTheInputWithAFault ) {
   for( const auto how : kCompressions ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto bytes = compressed( std::string( 10'000, '\n' ), how );
      const auto result = readAll( bytes, 4096, 5000 );
      EXPECT_EQ( result.text.size(), 5000u );
      EXPECT_EQ( result.fault, "the text is longer than the limit of 5000 bytes" );
      const auto whole = readAll( bytes, 4096, 10'000 );
      EXPECT_EQ( whole.text.size(), 10'000u );
      EXPECT_EQ( whole.fault, "" ) << "the limit itself is allowed";
      EXPECT_EQ( readAll( bytes, 4096, 9'999 ).fault, "the text is longer than the limit of 9999 bytes" );
      EXPECT_EQ( readAll( std::string_view( bytes ).substr( 0, bytes.size() - 1 ), 4096, 10'000 ).fault != "", how != Compression::none );
   }
}

TEST( InputTest, aStreamThatUnpacksToAThousandTimesItsSizeEndsOnceItIsLong ) {
   const std::string zeros( 20'000'000, '\0' );
   for( const auto how : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto bytes = compressed( zeros, how );
      ASSERT_LT( bytes.size() * Input::kMostGrowth, zeros.size() );
      MemorySource source( bytes );
      const auto result = readAll( source, 4096, Input::kNoLimit, 1'000'000 );
      EXPECT_EQ( result.fault, std::string( stringValue( how ) ) + " data unpacks to more than 1000 times its size" );
      EXPECT_GE( result.text.size(), 1'000'000u );
      EXPECT_LT( result.text.size(), zeros.size() );
      EXPECT_EQ( readAll( bytes ).fault, "" ) << "a shorter one may grow";
   }
   const std::string text = longText();
   for( const auto how : kCompressions ) {
      const auto bytes = compressed( text, how );
      MemorySource source( bytes );
      EXPECT_EQ( readAll( source, 4096, Input::kNoLimit, 0 ).fault, "" ) << stringValue( how );
   }
}

TEST( InputTest, fileIsRead ) {
   char path[] = "/tmp/InputTestXXXXXX";
   const int fd = mkstemp( path );
   ASSERT_GE( fd, 0 );
   const auto bytes = compressed( "10.0.0.0/8\n", Compression::gzip );
   ASSERT_EQ( write( fd, bytes.data(), bytes.size() ), static_cast<ssize_t>( bytes.size() ) );
   close( fd );
   {
      FileSource source( path );
      EXPECT_EQ( readAll( source ).text, "10.0.0.0/8\n" );
   }
   unlink( path );
}

TEST( InputTest, aMissingFileThrows ) {
   EXPECT_THROW( FileSource( "/nonexistent/table" ), std::system_error );
}

TEST( InputTest, directoryIsAFault ) {
   FileSource source( "/" );
   const auto result = readAll( source );
   EXPECT_EQ( result.text, "" );
   EXPECT_EQ( result.fault, "cannot read: Is a directory" );
}

}   // namespace
}   // namespace Agent
