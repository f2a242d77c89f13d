#include "substrate/zeugma/MaybeU63.h"

#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/quoin/Exception.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Zeugma::MaybeU63;

constexpr uint64_t kTop = uint64_t( 1 ) << 63;

TEST( MaybeU63, defaultIsAbsent ) {
   constexpr MaybeU63 value;
   EXPECT_FALSE( value.present() );
   EXPECT_EQ( value.value(), 0u );
   EXPECT_EQ( value.toStrep(), "none" );
   EXPECT_EQ( value, MaybeU63( MaybeU63::kAbsent ) );
}

TEST( MaybeU63, hashSpreads ) {
   std::set<uint32_t> hashes{ MaybeU63().hash() };
   for( uint64_t v = 0; v < 1000; ++v ) hashes.insert( MaybeU63( v ).hash() ), hashes.insert( MaybeU63( ( v + 1 ) << 40 ).hash() );
   EXPECT_GT( hashes.size(), 1900u );
}

TEST( MaybeU63, readsWhatItPrints ) {
   const struct {
      const char * text;
      MaybeU63 value;
   } rows[] = { { "none", {} }, { "0", 0 }, { "1", 1 }, { "4294967296", uint64_t( 1 ) << 32 }, { "9223372036854775807", kTop - 1 } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.text );
      EXPECT_EQ( row.value.toStrep(), row.text );
      EXPECT_EQ( MaybeU63::parse( row.text ), row.value );
      std::ostringstream os;
      os << row.value;
      EXPECT_EQ( os.str(), row.text );
   }
}

TEST( MaybeU63, refusesEveryOtherText ) {
   const struct {
      const char * name;
      std::string_view text;
   } rows[] = {
      { "no text at all", std::string_view() },
      { "empty", "" },
      { "capitals", "None" },
      { "the beginning of none", "non" },
      { "more than none", "none " },
      { "none and a zero byte", "none\0"sv },
      { "a zero byte", "\0"sv },
      { "a number and a zero byte", "1\0"sv },
      { "blank before", " 1" },
      { "blank behind", "1 " },
      { "plus", "+1" },
      { "minus", "-1" },
      { "hexadecimal", "0x10" },
      { "fraction", "1.5" },
      { "two to the 63rd", "9223372036854775808" },
      { "all 64 bits", "18446744073709551615" },
      { "two to the 64th", "18446744073709551616" },
      { "no ASCII", "\xff" },
   };
   for( const auto & row : rows ) EXPECT_THROW( MaybeU63::parse( row.text ), Quoin::RangeException ) << row.name;
   EXPECT_THROW( MaybeU63::parse( std::string( 1 << 20, '1' ) ), Quoin::RangeException );
}

RC_GTEST_PROP( MaybeU63, behavesAsAnOptionalNumber, ( uint64_t a, uint64_t b ) ) {
   const MaybeU63 x( a ), y( *rc::gen::element( a, b, a ^ kTop, b | kTop ) );
   RC_ASSERT( x.present() == ( a < kTop ) );
   RC_ASSERT( x.value() == ( a < kTop ? a : 0 ) );
   RC_ASSERT( ( x == y ) == ( x.present() == y.present() && x.value() == y.value() ) );
   RC_ASSERT( MaybeU63::isEq( &x, &y ) == ( x == y ) );
   if( x == y ) { RC_ASSERT( x.hash() == y.hash() ); }
   RC_ASSERT( MaybeU63::parse( x.toStrep() ) == x );
}

RC_GTEST_PROP( MaybeU63, anyBytesAreAValueOrARangeFault, () ) {
   const auto anyText =
      rc::gen::oneOf( rc::gen::container<std::string>( rc::gen::elementOf( "0123456789"s ) ),
                      rc::gen::container<std::string>( rc::gen::elementOf( "none 019"s ) ),
                      rc::gen::element( "none"s, "9223372036854775807"s, "9223372036854775808"s ), rc::gen::arbitrary<std::string>() );
   for( const auto & text : *rc::gen::container<std::vector<std::string>>( anyText ) ) {
      try {
         const MaybeU63 value = MaybeU63::parse( text );
         RC_ASSERT( MaybeU63::parse( value.toStrep() ) == value );
         RC_ASSERT( value.present() == ( text != "none" ) );
      } catch( const Quoin::RangeException & ) { RC_ASSERT( text != "none" ); }
   }
}

}   // namespace
