#include "table/TableReader.h"

#include <sys/resource.h>

#include "tests/agent/TableFixture.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace Agent {
namespace {

constexpr std::string_view kBgpdump =
   "TABLE_DUMP2|1700000000|B|192.0.2.9|64496|198.51.100.0/24|64496 64500|IGP|192.0.2.9|0|70||NAG||\n"
   "TABLE_DUMP2|1700000000|B|2001:db8::9|64496|2001:db8:100::/40|64496 64501|IGP|2001:db8::9|0|0||NAG||\n"
   "BGP4MP|1700000000|A|192.0.2.9|64496|203.0.113.0/24|64496|IGP|192.0.2.9|0|0||NAG||\n"
   "BGP4MP|1700000000|W|192.0.2.9|64496|203.0.113.0/24\n";

constexpr std::string_view kPrefixes = "# a list\n"
                                       "198.51.100.0/24\t64500\n"
                                       "\n"
                                       "2001:db8:100::/40\t64501\n"
                                       "203.0.113.0/24\n";

constexpr std::string_view kJson = "[{\"dst\":\"198.51.100.0/24\",\"gateway\":\"192.0.2.9\"},\n"
                                   " {\"dst\":\"2001:db8:100::/40\",\"dev\":\"eth0\"},\n"
                                   " {\"type\":\"local\",\"dst\":\"192.0.2.7\"},\n"
                                   " {\"dst\":\"203.0.113.0/24\"}]\n";

const Strings kThree = { "198.51.100.0/24", "2001:db8:100::/40", "203.0.113.0/24" };

TEST( TableReaderTest, everyFormInEveryCompression ) {
   struct Row {
      TableForm form;
      std::string_view text;
      uint64_t skipped;
   };
   for( const Row & row : { Row{ TableForm::bgpdump, kBgpdump, 1 }, { TableForm::prefixes, kPrefixes, 0 }, { TableForm::json, kJson, 1 } } )
      for( const auto how : kCompressions ) {
         SCOPED_TRACE( std::string( row.text.substr( 0, 20 ) ) + ", " + stringValue( how ) );
         const auto table = readBack( compressed( row.text, how ) );
         EXPECT_EQ( table.summary.form, row.form );
         EXPECT_EQ( table.summary.compression, how );
         EXPECT_EQ( table.summary.fault, "" );
         EXPECT_EQ( table.summary.skipped, row.skipped );
         EXPECT_EQ( table.broken, Strings() );
         EXPECT_EQ( table.prefixes(), kThree );
      }
}

TEST( TableReaderTest, formIsToldByTheContent ) {
   const std::string kMark = "\xef\xbb\xbf";
   struct Row {
      const char * name;
      std::string text;
      TableForm form;
      uint64_t routes;
   };
   const Row rows[] = {
      { "nothing", "", TableForm::empty, 0 },
      { "blank lines", "\n \n\t\n", TableForm::empty, 0 },
      { "comments", "# a\n#b", TableForm::empty, 0 },
      { "JSON behind space", "\n\n  []", TableForm::json, 0 },
      { "JSON behind a byte order mark", kMark + "[{\"dst\":\"10.0.0.0/8\"}]", TableForm::json, 1 },
      { "JSON that is no array", "{}", TableForm::json, 0 },
      { "prefixes behind a byte order mark", kMark + "10.0.0.0/8\n", TableForm::prefixes, 1 },
      { "table dump behind a byte order mark", kMark + "TABLE_DUMP2|1|B|192.0.2.1|1|10.0.0.0/8|1|IGP|||||||\n", TableForm::bgpdump, 1 },
      { "comment with a bracket", "# [\n10.0.0.0/8\n", TableForm::prefixes, 1 },
      { "blank lines first", "\n\n10.0.0.0/8", TableForm::prefixes, 1 },
      { "table dump behind comments", "# rib\nTABLE_DUMP2|1|B|192.0.2.1|1|10.0.0.0/8|1|IGP|||||||", TableForm::bgpdump, 1 },
      { "broken table dump", "TABLE_DUMP2|", TableForm::bgpdump, 0 },
      { "anything else", "what is this\n", TableForm::prefixes, 0 },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( row.text );
      EXPECT_EQ( table.summary.form, row.form ) << row.name;
      EXPECT_EQ( table.summary.routes, row.routes ) << row.name;
   }
}

TEST( TableReaderTest, bytesOfWhichNothingIsReadAreNoTable ) {
   const std::string record = std::string( 4, '\0' ) + std::string( "\0\x0d\0\x06", 4 ) + std::string( 4, '\0' );
   struct Row {
      const char * name;
      std::string text;
      std::string fault;   // empty: a table
   };
   const Row rows[] = {
      { "nothing", "", "it is empty" },
      { "blank lines", "\n \n", "it has blank lines and comments only" },
      { "comments", "# a", "it has blank lines and comments only" },
      { "broken lines", "what\nis this\n", "every line is broken" },
      { "one broken line of two", "what\n10.0.0.0/8\n", "" },
      { "withdrawals", "BGP4MP|1|W|192.0.2.9|64496|203.0.113.0/24\n", "" },
      { "withdrawals and broken lines", "what\nBGP4MP|1|W|192.0.2.9|64496|203.0.113.0/24\n", "" },
      { "no entries", "[]", "it has no entries" },
      { "no entries in an object", "{}", "it has no entries" },
      { "broken entries", "[5]", "every entry is broken" },
      { "the host's own addresses", R"([{"type":"local","dst":"192.0.2.7"}])", "" },
      { "other records", record + record, "it has no record with routes of IPv4 or IPv6 unicast" },
   };
   for( const auto & row : rows ) {
      const auto table = readBack( row.text );
      EXPECT_EQ( table.summary.fault, row.fault ) << row.name;
      EXPECT_EQ( table.summary.isNoTable, !row.fault.empty() ) << row.name;
   }
   const auto damaged = readBack( compressed( "10.0.0.0/8\n", Compression::gzip ).substr( 0, 12 ) );
   EXPECT_EQ( damaged.summary.fault, "gzip data is cut short" );
   EXPECT_FALSE( damaged.summary.isNoTable ) << "what was cut off may hold routes";
}

TEST( TableReaderTest, brokenLinesAreCountedReportedAndSkipped ) {
   const auto table = readBack( "# numbers count every line\n"
                                "10.0.0.0/8\n"
                                "10.0.0.0/33\n"
                                "\n"
                                "TABLE_DUMP2|1700000000|B|192.0.2.9|64496|198.51.100.0/24|64496 645\n"
                                "10.1.0.0/8\n"
                                "2001:db8::/32\n"
                                "|\n" );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.0.0.0/8", "2001:db8::/32" } ) );
   EXPECT_EQ( table.broken,
              ( Strings{
                 "line 3: prefix length \"33\": above 32",
                 "line 5: cut short: 6 of 14 fields",
                 "line 6: 10.1.0.0/8: bits are set after the prefix length; did you mean 10.0.0.0/8?",
                 "line 8: \"\": neither TABLE_DUMP2 nor BGP4MP",
              } ) );
   EXPECT_EQ( table.summary.fault, "" );
}

TEST( TableReaderTest, carriageReturnsDoNotMatter ) {
   for( const std::string_view text : { kBgpdump, kPrefixes, kJson } ) {
      std::string other;
      for( const char c : text ) other += c == '\n' ? "\r\n" : std::string( 1, c );
      const auto table = readBack( other );
      EXPECT_EQ( table.prefixes(), kThree );
      EXPECT_EQ( table.broken, Strings() );
   }
}

TEST( TableReaderTest, lastLineNeedsNoEnd ) {
   for( const std::string_view text : { kBgpdump, kPrefixes, kJson } ) {
      const auto table = readBack( text.substr( 0, text.size() - 1 ) );
      EXPECT_EQ( table.prefixes(), kThree );
      EXPECT_EQ( table.broken, Strings() );
      EXPECT_EQ( table.summary.fault, "" );
   }
}

TEST( TableReaderTest, linesOfBothKindsMayBeJoined ) {
   const auto table = readBack( std::string( kPrefixes ) + std::string( kBgpdump ) );
   EXPECT_EQ( table.summary.form, TableForm::prefixes );
   EXPECT_EQ( table.summary.routes, 6u );
   EXPECT_EQ( table.broken, Strings() );
}

TEST( TableReaderTest, documentsMayBeJoined ) {
   const auto table = readBack( std::string( kJson ) + "[{\"dst\":\"default\",\"pref\":\"medium\"}][]\n\n[{},5]" );
   EXPECT_EQ( table.prefixes(), ( Strings{ "198.51.100.0/24", "2001:db8:100::/40", "203.0.113.0/24", "::/0" } ) );
   EXPECT_EQ( table.broken, Strings{ "entry 1: not an object" } ) << "counted within its document";
   EXPECT_EQ( table.summary.skipped, 2u );
   EXPECT_EQ( table.summary.fault, "" );
}

TEST( TableReaderTest, malformedJsonEndsTheTableWithLineAndColumn ) {
   const auto table = readBack( "\n" + std::string( kJson ) + "\n[{\"dst\":\"10.0.0.0/8\"},\n  nonsense ]" );
   EXPECT_EQ( table.summary.routes, 4u );
   EXPECT_TRUE( table.summary.fault.starts_with( "line 8, column 4: " ) ) << table.summary.fault;
   const auto lines = readBack( std::string( kJson ) + "10.0.0.0/8\n" );
   EXPECT_EQ( lines.summary.routes, 3u );
   EXPECT_TRUE( lines.summary.fault.starts_with( "line 5, column " ) ) << lines.summary.fault;
}

TEST( TableReaderTest, hugeLineIsReportedAndTheNextOneIsRead ) {
   const auto table = readBack( "10.0.0.0/8\n" + std::string( 5'000'000, '1' ) + "\n10.1.0.0/16\n" );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.0.0.0/8", "10.1.0.0/16" } ) );
   EXPECT_EQ( table.broken, Strings{ "line 2: longer than 1048576 bytes" } );
}

TEST( TableReaderTest, longPathIsNoHugeLine ) {
   std::string path = "64496";
   while( path.size() < 200'000 ) path += " 64500";
   const auto table = readBack( "TABLE_DUMP2|1|B|192.0.2.9|64496|10.0.0.0/8|" + path + "|IGP|192.0.2.9|0|0||NAG||\n" );
   EXPECT_EQ( table.prefixes(), Strings{ "10.0.0.0/8" } );
   EXPECT_EQ( table.broken, Strings() );
}

// The memory of a process only ever grows, so that a reader which keeps a line shows here.
TEST( TableReaderTest, lineOfAnyLengthTakesLittleMemory ) {
   class Endless final : public ByteSource {
    public:
      size_t read( char * to, size_t capacity ) override {
         const size_t count = std::min( capacity, left_ );
         std::fill_n( to, count, 'x' );
         left_ -= count;
         return count;
      }

    private:
      size_t left_ = size_t( 1 ) << 30;
   };
   rusage before;
   getrusage( RUSAGE_SELF, &before );
   Endless source;
   const auto table = readBack( source );
   EXPECT_EQ( table.broken, Strings{ "line 1: longer than 1048576 bytes" } );
   rusage after;
   getrusage( RUSAGE_SELF, &after );
   EXPECT_LT( after.ru_maxrss - before.ru_maxrss, 64 * 1024 ) << "KiB";
}

TEST( TableReaderTest, cutStreamKeepsWholeLinesAndReportsTheHalfOne ) {
   std::string text;
   for( int i = 0; i < 50'000; ++i )
      text += "10." + std::to_string( i / 200 % 200 ) + "." + std::to_string( i % 200 ) + ".0/24\t" + std::to_string( i * 7919 ) + "\n";
   for( const auto how : { Compression::gzip, Compression::bzip2, Compression::xz } ) {
      SCOPED_TRACE( stringValue( how ) );
      const auto bytes = compressed( text, how );
      const auto table = readBack( std::string_view( bytes ).substr( 0, bytes.size() * 9 / 10 ) );
      EXPECT_EQ( table.summary.fault, std::string( stringValue( how ) ) + " data is cut short" );
      EXPECT_LT( table.routes.size(), 50'000u );
      if( how != Compression::bzip2 ) { EXPECT_GT( table.routes.size(), 40'000u ); }   // of bzip2 a whole block is lost
      for( size_t i = 0; i < table.routes.size(); ++i ) ASSERT_EQ( table.routes[ i ].tag, i * 7919 );
      ASSERT_LE( table.broken.size(), 1u );
      if( !table.broken.empty() ) {
         EXPECT_EQ( table.broken[ 0 ], "line " + std::to_string( table.routes.size() + 1 ) + ": cut short: " + table.summary.fault );
      }
   }
}

TEST( TableReaderTest, halfALineIsNotTakenForAWholeOne ) {
   const auto bytes = compressed( "10.0.0.0/8\n128.0.0.0/16\n", Compression::gzip );
   TableLimits limits;
   limits.maxText = std::string_view( "10.0.0.0/8\n128.0.0.0/1" ).size();
   const auto table = readBack( bytes, limits );
   EXPECT_EQ( table.prefixes(), Strings{ "10.0.0.0/8" } );
   EXPECT_EQ( table.broken.size(), 1u );
}

TEST( TableReaderTest, cutJsonTellsTheCauseAndKeepsWhatCameBefore ) {
   std::string text = "[";
   for( int i = 0; i < 20'000; ++i )
      text += "{\"dst\":\"10." + std::to_string( i / 200 ) + "." + std::to_string( i % 200 ) +
         ".0/24\",\"metric\":" + std::to_string( i * 7919 ) + "},\n";
   text += "{}]";
   const auto bytes = compressed( text, Compression::gzip );
   const auto table = readBack( std::string_view( bytes ).substr( 0, bytes.size() / 2 ) );
   EXPECT_EQ( table.summary.fault, "gzip data is cut short" );
   EXPECT_GT( table.routes.size(), 5'000u );
   for( size_t i = 0; i < table.routes.size(); ++i ) ASSERT_EQ( table.routes[ i ].metric, Zeugma::MaybeU63( i * 7919 ) );
}

TEST( TableReaderTest, slowSourceGivesTheSame ) {
   for( const std::string_view text : { kBgpdump, kPrefixes, kJson } )
      for( const auto how : kCompressions ) {
         const auto bytes = compressed( text, how );
         TricklingSource source( bytes, 1 );
         EXPECT_EQ( readBack( source ).prefixes(), kThree );
      }
}

TEST( TableReaderTest, sourceThatFailsKeepsWhatCameBefore ) {
   class Failing final : public ByteSource {
    public:
      size_t read( char * to, size_t capacity ) override {
         if( const size_t count = rest_.read( to, std::min<size_t>( capacity, 16 ) ) ) return count;
         throw std::system_error( std::make_error_code( std::errc::io_error ), "cannot read" );
      }

    private:
      MemorySource rest_{ "10.0.0.0/8\n10.1.0.0/16\n10.2.0.0/1" };
   };
   Failing source;
   const auto table = readBack( source );
   EXPECT_EQ( table.prefixes(), ( Strings{ "10.0.0.0/8", "10.1.0.0/16" } ) );
   EXPECT_EQ( table.summary.fault, "cannot read: Input/output error" );
   EXPECT_EQ( table.broken, Strings{ "line 3: cut short: cannot read: Input/output error" } );
}

TEST( TableReaderTest, bytesOfNoFormAreBrokenLines ) {
   using namespace std::string_view_literals;
   const auto table = readBack( "\x00\x01\x02\n\xff\xfe\n\x1b]0;title\x07\n10.0.0.0/8\n"sv );
   EXPECT_EQ( table.prefixes(), Strings{ "10.0.0.0/8" } );
   EXPECT_EQ( table.broken,
              ( Strings{
                 "line 1: \"\\x00\\x01\\x02\": not an address",
                 "line 2: \"\\xff\\xfe\": not an address",
                 "line 3: \"\\x1b]0;title\\x07\": not an address",
              } ) );
}

TEST( TableReaderTest, noAllocationForALine ) {
   struct Counting final : TableHandler {
      uint64_t routes = 0;
      void handleRoute( const TableRoute & ) override { ++routes; }
      void handleBroken( const Broken & ) override {}
   };
   constexpr std::string_view kLongLine = "TABLE_DUMP2|1700000000|B|2001:db8::9|64496|2001:db8:100::/40|64496 64501 64502 64503 64504|IGP|"
                                          "2001:db8::9|100|70|64496:1 64496:2 64496:3|NAG||\n";
   constexpr std::string_view kWithFields =
      "2001:db8:100::/40 next-hop 2001:db8::9 metric 5 interface ethernet-with-a-name community 1:3,1:2,1:1 as-path 64500 64501 64502\n";
   for( const std::string_view line : { kLongLine, kWithFields, std::string_view( "198.51.100.0/24 64500\n" ) } ) {
      const auto allocationsOf = [ & ]( uint64_t lines ) {
         std::string bytes;
         for( uint64_t i = 0; i < lines; ++i ) bytes += line;
         MemorySource source( bytes );
         Counting counting;
         const size_t before = allocationCount();
         EXPECT_EQ( readTable( source, counting ).routes, lines );
         EXPECT_EQ( counting.routes, lines );
         return allocationCount() - before;
      };
      EXPECT_EQ( allocationsOf( 10 ), allocationsOf( 10'000 ) ) << line;
   }
}

TEST( TableReaderTest, placesInWords ) {
   EXPECT_EQ( placeOf( { Broken::Unit::line, 3, "" } ), "line 3" );
   EXPECT_EQ( placeOf( { Broken::Unit::entry, 0, "" } ), "entry 0" );
   EXPECT_EQ( placeOf( { Broken::Unit::record, 17, "" } ), "record 17" );
   EXPECT_EQ( placeOf( { Broken::Unit::message, 5, "" } ), "message 5" );
}

}   // namespace
}   // namespace Agent
