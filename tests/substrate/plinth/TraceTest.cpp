#include "substrate/plinth/Trace.h"

#include <cstdint>
#include <limits>
#include <locale>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/ferule/IpAddr.h"
#include "substrate/quoin/String.h"

namespace {

using Plinth::Hex;
using Plinth::TraceFacility;
using Plinth::TraceHandle;
using Plinth::TraceRecord;
using Plinth::TraceStream;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TraceHandle loadTrace( "TraceTestLoad" );   // as handles are made

class TraceTest : public testing::Test {
 protected:
   TraceTest() {
      TraceHandle::sinkIs( [ this ]( const TraceRecord & r ) { texts.emplace_back( r.text ); } );
   }
   ~TraceTest() override { TraceHandle::sinkIs( nullptr ); }
   std::vector<std::string> take() { return std::exchange( texts, {} ); }
   TraceHandle handle{ "TraceTest" };
   std::vector<std::string> texts;
};

TEST_F( TraceTest, aHandleIsOffAtFirst ) {
   EXPECT_STREQ( loadTrace.name(), "TraceTestLoad" );
   EXPECT_EQ( loadTrace.level(), TraceFacility::kOff );
   PLINTH_TRACE( loadTrace, level0 ) << "text";
   EXPECT_THAT( texts, IsEmpty() );
}

TEST_F( TraceTest, aHandleTellsItsOwnLevelAndCoarserOnes ) {
   for( int level = TraceFacility::kOff; level <= TraceFacility::level9; ++level ) {
      SCOPED_TRACE( level );
      handle.levelIs( level );
      EXPECT_EQ( handle.level(), level );
      for( int of = TraceFacility::level0; of <= TraceFacility::level9; ++of )
         EXPECT_EQ( handle.enabled( TraceFacility::FacilityLevel( of ) ), of <= level ) << of;
   }
   handle.levelIs( 5 );
   PLINTH_TRACE( handle, level4 ) << "4";
   PLINTH_TRACE( handle, level5 ) << "5";
   PLINTH_TRACE( handle, level6 ) << "6";
   EXPECT_THAT( texts, ElementsAre( "4", "5" ) );
}

TEST_F( TraceTest, nothingIsEvaluatedBelowTheLevel ) {
   int evaluated = 0;
   const auto value = [ & ] { return ++evaluated; };
   handle.levelIs( 7 );
   PLINTH_TRACE( handle, level8 ) << value() << value();
   EXPECT_EQ( evaluated, 0 );
   handle.levelIs( 8 );
   PLINTH_TRACE( handle, level8 ) << value() << value();
   EXPECT_EQ( evaluated, 2 );
   EXPECT_THAT( texts, ElementsAre( "12" ) );
}

TEST_F( TraceTest, aStatementIsOneStatement ) {
   handle.levelIs( 8 );
   for( const int n : { 1, 2 } ) {
      if( n == 1 ) {
         PLINTH_TRACE( handle, level8 ) << "one";
      } else
         PLINTH_TRACE( handle, level8 ) << "other";
   }
   for( int i = 0; i < 2; ++i ) PLINTH_TRACE( handle, level8 ) << i;
   EXPECT_THAT( texts, ElementsAre( "one", "other", "0", "1" ) );
}

enum Color { red, green };
std::ostream & operator<<( std::ostream & os, Color c ) {
   return os << ( c == red ? "red" : "green" );
}

template <class... Values>
std::string textOf( const Values &... values ) {
   TraceStream stream;
   ( stream << ... << values );
   return std::string( stream.text() );
}

TEST( TraceStream, takesStringsAndIntegersAndWhatHasAStreamForm ) {
   const Ferule::IpAddr address( 0x0a000001 );
   const struct {
      const char * name;
      std::string text, expected;
   } rows[] = {
      { "nothing", std::string( TraceStream().text() ), "" },
      { "a literal", textOf( "RM1" ), "RM1" },
      { "an empty literal", textOf( "" ), "" },
      { "no literal", textOf( static_cast<const char *>( nullptr ) ), "NULL" },
      { "a string", textOf( std::string( "RM1" ) ), "RM1" },
      { "a view", textOf( std::string_view( "RM12" ).substr( 0, 3 ) ), "RM1" },
      { "a platform string", textOf( Quoin::String( "RM1" ) ), "RM1" },
      { "zero bytes", textOf( Quoin::String( std::string( "a\0b", 3 ) ) ), std::string( "a\0b", 3 ) },
      { "a character", textOf( 'c' ), "c" },
      { "false", textOf( false ), "0" },
      { "true", textOf( true ), "1" },
      { "the least byte", textOf( int8_t( -128 ) ), "-128" },
      { "the greatest byte", textOf( uint8_t( 255 ) ), "255" },
      { "a byte that is a letter", textOf( uint8_t( 'A' ) ), "65" },
      { "16 bits", textOf( uint16_t( 65535 ) ), "65535" },
      { "the least number", textOf( std::numeric_limits<int64_t>::min() ), "-9223372036854775808" },
      { "the greatest number", textOf( std::numeric_limits<uint64_t>::max() ), "18446744073709551615" },
      { "zero", textOf( 0 ), "0" },
      { "hexadecimal", textOf( Hex{ 0xabcdef } ), "abcdef" },
      { "hexadecimal zero", textOf( Hex{ 0 } ), "0" },
      { "all the digits", textOf( Hex{ ~uint64_t( 0 ) } ), "ffffffffffffffff" },
      { "an enumerator with a stream form", textOf( green ), "green" },
      { "a fraction", textOf( 0.5 ), "0.5" },
      { "an object with a stream form", textOf( address ), "10.0.0.1" },
      { "several", textOf( "route map ", Quoin::String( "RM1" ), " seq ", 10, ' ', true, Hex{ 255 } ), "route map RM1 seq 10 1ff" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      EXPECT_EQ( row.text, row.expected );
   }
}

TEST_F( TraceTest, aRecordSaysWhereItComesFrom ) {
   struct Seen {
      const TraceHandle * handle;
      int level, line;
      std::string file, text;
   };
   std::vector<Seen> seen;
   TraceHandle::sinkIs( [ & ]( const TraceRecord & r ) {
      seen.push_back( { &r.handle, r.level, r.line, r.file, std::string( r.text ) } );
   } );
   handle.levelIs( 9 );
   const int line = __LINE__ + 1;
   PLINTH_TRACE( handle, level6 ) << "a" << 1;
   ASSERT_EQ( seen.size(), 1u );
   EXPECT_EQ( seen[ 0 ].handle, &handle );
   EXPECT_EQ( seen[ 0 ].level, 6 );
   EXPECT_EQ( seen[ 0 ].line, line );
   EXPECT_EQ( seen[ 0 ].file, __FILE__ );
   EXPECT_EQ( seen[ 0 ].text, "a1" );
}

TEST_F( TraceTest, eachStatementIsToldWhenItEnds ) {
   handle.levelIs( 9 );
   const auto inner = [ this ] {
      PLINTH_TRACE( handle, level1 ) << "inner";
      return 1;
   };
   PLINTH_TRACE( handle, level1 ) << "outer " << inner();
   EXPECT_THAT( texts, ElementsAre( "inner", "outer 1" ) );
}

TEST_F( TraceTest, aSinkIsReplacedAndGivenBack ) {
   handle.levelIs( 9 );
   std::vector<std::string> others;
   TraceHandle::sinkIs( [ & ]( const TraceRecord & r ) { others.emplace_back( r.text ); } );
   PLINTH_TRACE( handle, level1 ) << "to the other";
   EXPECT_THAT( others, ElementsAre( "to the other" ) );
   TraceHandle::sinkIs( nullptr );
   testing::internal::CaptureStderr();
   const int line = __LINE__ + 1;
   PLINTH_TRACE( handle, level3 ) << "to standard error";
   PLINTH_TRACE( handle, level0 ) << Quoin::String( std::string( 300, 'x' ) );
   const std::string told = testing::internal::GetCapturedStderr();
   const std::string expected = "TraceTest 3 " __FILE__ ":" + std::to_string( line ) + " to standard error\n" +
      "TraceTest 0 " __FILE__ ":" + std::to_string( line + 1 ) + " " + std::string( 300, 'x' ) + "\n";
   EXPECT_EQ( told, expected );
   EXPECT_THAT( others, ElementsAre( "to the other" ) );
   EXPECT_THAT( texts, IsEmpty() );
}

TEST_F( TraceTest, aLevelIsSetByName ) {
   TraceHandle second( "TraceTest" ), other( "TraceTestOther" );
   EXPECT_EQ( TraceHandle::levelIs( "TraceTest", 4 ), 2u );   // a name may be shared
   EXPECT_EQ( handle.level(), 4 );
   EXPECT_EQ( second.level(), 4 );
   EXPECT_EQ( other.level(), TraceFacility::kOff );
   EXPECT_EQ( TraceHandle::levelIs( "TraceTes", 5 ), 0u );
   EXPECT_EQ( TraceHandle::levelIs( "", 5 ), 0u );
   EXPECT_EQ( handle.level(), 4 );
   EXPECT_EQ( TraceHandle::levelIs( "TraceTest", TraceFacility::kOff ), 2u );
   EXPECT_EQ( second.level(), TraceFacility::kOff );
}

TEST_F( TraceTest, aStarNamesEveryHandle ) {
   std::vector<int> before;   // those of the library are among them
   for( const TraceHandle * h : TraceHandle::all() ) before.push_back( h->level() );
   EXPECT_EQ( TraceHandle::levelIs( "*", 3 ), TraceHandle::all().size() );
   for( const TraceHandle * h : TraceHandle::all() ) EXPECT_EQ( h->level(), 3 ) << h->name();
   for( size_t i = 0; i < before.size(); ++i ) TraceHandle::all()[ i ]->levelIs( before[ i ] );
   EXPECT_EQ( handle.level(), TraceFacility::kOff );
}

TEST_F( TraceTest, theProcessKnowsItsHandles ) {
   EXPECT_THAT( TraceHandle::all(), AllOf( Contains( &loadTrace ), Contains( &handle ) ) );
   auto made = std::make_unique<TraceHandle>( "TraceTestMade" );
   const TraceHandle * const raw = made.get();
   EXPECT_THAT( TraceHandle::all(), Contains( raw ) );
   made = nullptr;
   EXPECT_THAT( TraceHandle::all(), Not( Contains( raw ) ) );
   EXPECT_EQ( TraceHandle::levelIs( "TraceTestMade", 1 ), 0u );
}

TEST_F( TraceTest, anExceptionOutOfAStatementPasses ) {
   handle.levelIs( 9 );
   const auto raise = []() -> int { throw std::runtime_error( "r" ); };
   EXPECT_THROW( PLINTH_TRACE( handle, level1 ) << "begun " << raise(), std::runtime_error );
}

TEST_F( TraceTest, whatASinkThrowsIsLost ) {
   handle.levelIs( 9 );
   int told = 0;
   TraceHandle::sinkIs( [ & ]( const TraceRecord & ) {
      if( ++told == 1 ) throw std::runtime_error( "full" );
      if( told == 2 ) throw told;
   } );
   for( int i = 0; i < 3; ++i ) PLINTH_TRACE( handle, level1 ) << "text";
   EXPECT_EQ( told, 3 ) << "it is told of the next one all the same";
}

TEST_F( TraceTest, zeroBytesReachStandardError ) {
   handle.levelIs( 9 );
   TraceHandle::sinkIs( nullptr );
   testing::internal::CaptureStderr();
   PLINTH_TRACE( handle, level1 ) << Quoin::String( std::string( "a\0b", 3 ) );
   const std::string written = testing::internal::GetCapturedStderr();
   EXPECT_THAT( written, testing::EndsWith( std::string( " a\0b\n", 5 ) ) );
   EXPECT_THAT( written, testing::StartsWith( "TraceTest 1 " ) );
}

/// Writes 1234 as "1'2'3'4".
struct Grouping final : std::numpunct<char> {
   char do_thousands_sep() const override { return '\''; }
   std::string do_grouping() const override { return "\1"; }
};
struct Amount {
   int value;
   friend std::ostream & operator<<( std::ostream & os, const Amount & amount ) { return os << amount.value; }
};

TEST_F( TraceTest, theTextIsTheSameUnderAnyLocale ) {
   handle.levelIs( 9 );
   const std::locale before = std::locale::global( std::locale( std::locale::classic(), new Grouping ) );
   PLINTH_TRACE( handle, level1 ) << Amount{ 1234 } << ' ' << 1234 << ' ' << 1234.5;
   std::locale::global( before );
   EXPECT_THAT( texts, ElementsAre( "1234 1234 1234.5" ) );
}

}   // namespace
