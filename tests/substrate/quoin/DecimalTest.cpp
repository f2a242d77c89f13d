#include "substrate/quoin/Decimal.h"

#include <cstdint>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/quoin/Exception.h"

namespace {

using namespace std::string_view_literals;
using Quoin::parseDecimal;

constexpr uint64_t kMax64 = ~uint64_t( 0 );

TEST( Decimal, readsDigits ) {
   const struct {
      const char * name;
      std::string_view text;
      uint64_t max;
      uint64_t value;
   } rows[] = {
      { "zero", "0", 10, 0 },
      { "zero where only zero is allowed", "0", 0, 0 },
      { "leading zeros", "00032", 32, 32 },
      { "the upper bound", "32", 32, 32 },
      { "the highest of all", "18446744073709551615", kMax64, kMax64 },
      { "a part of a longer text", "123456"sv.substr( 1, 3 ), 1000, 234 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      EXPECT_EQ( parseDecimal( row.text, row.max, "number" ), row.value );
   }
}

TEST( Decimal, refusesEverythingElse ) {
   const struct {
      const char * name;
      std::string_view text;
      uint64_t max;
      const char * reason;
   } rows[] = {
      { "no text at all", std::string_view(), 10, "not a decimal number" },
      { "empty", "", 10, "not a decimal number" },
      { "plus", "+1", 10, "not a decimal number" },
      { "minus", "-1", 10, "not a decimal number" },
      { "minus zero", "-0", 10, "not a decimal number" },
      { "blank before", " 1", 10, "not a decimal number" },
      { "blank behind", "1 ", 10, "not a decimal number" },
      { "zero byte behind", "1\0"sv, 10, "not a decimal number" },
      { "hexadecimal", "0x1", 10, "not a decimal number" },
      { "fraction", "1.0", 10, "not a decimal number" },
      { "exponent", "1e1", 10, "not a decimal number" },
      { "letters", "ten", 10, "not a decimal number" },
      { "one past the bound", "33", 32, "above 32" },
      { "one where only zero is allowed", "1", 0, "above 0" },
      { "one past 64 bits", "18446744073709551616", kMax64, "above 18446744073709551615" },
      { "far past 64 bits", "99999999999999999999999999", 32, "above 32" },
      { "far past 64 bits and no number", "99999999999999999999999999x", 32, "not a decimal number" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      try {
         const uint64_t value = parseDecimal( row.text, row.max, "prefix length" );
         ADD_FAILURE() << "read as " << value;
      } catch( const Quoin::RangeException & e ) {
         const std::string expected = "prefix length \"" + std::string( row.text ) + "\": " + row.reason;
         EXPECT_EQ( e.what(), std::string( expected.c_str() ) );   // what() ends at a zero byte of the text
      }
   }
}

TEST( Decimal, hugeTextIsOnlyARangeFault ) {
   EXPECT_THROW( parseDecimal( std::string( 1 << 20, '9' ), kMax64, "number" ), Quoin::RangeException );
   EXPECT_EQ( parseDecimal( std::string( 1 << 20, '0' ) + "7", 10, "number" ), 7u );
}

RC_GTEST_PROP( Decimal, readsWhatIsPrintedUpToTheBound, ( uint64_t value, uint64_t max ) ) {
   const std::string text = std::to_string( value );
   if( value <= max )
      RC_ASSERT( parseDecimal( text, max, "number" ) == value );
   else
      RC_ASSERT_THROWS_AS( parseDecimal( text, max, "number" ), Quoin::RangeException );
}

}   // namespace
