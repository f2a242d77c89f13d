#include "policy/UndefinedPolicyReference.h"

#include <ios>
#include <locale>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

namespace {

using Bits = Routing::Policy::UndefinedPolicyReferenceBitfield;

static_assert( sizeof( Bits ) == 1 );

TEST( UndefinedPolicyReference, startsWithNone ) {
   EXPECT_EQ( Bits().value, 0 );
}

TEST( UndefinedPolicyReference, eachKindHasItsBit ) {
   const struct {
      const char * name;
      Bits::Bit bit;
      int value;
   } rows[] = {
      { "sub route map", Bits::subRouteMapUndefined, 1 },
      { "prefix list", Bits::prefixListUndefined, 2 },
      { "community list", Bits::commListUndefined, 4 },
      { "aggregate role", Bits::aggRoleAttrMapUndefined, 8 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      EXPECT_EQ( int( row.bit ), row.value );
      for( const int value : { 0, 1, 2, 4, 8, 15, 240, 255 } )
         ASSERT_EQ( Bits{ uint8_t( value ) }.has( row.bit ), ( value & row.value ) != 0 ) << value;
   }
}

TEST( UndefinedPolicyReference, allIsEveryBitAndNoneIsZero ) {
   Bits bits{ 6 };
   bits.setAllUndefined();
   EXPECT_EQ( bits.value, 255 );   // those without a name too
   bits.setNoneUndefined();
   EXPECT_EQ( bits.value, 0 );
}

TEST( UndefinedPolicyReference, orIsBitwiseAndEqualityIsThatOfTheByte ) {
   const Bits a{ 3 }, same{ 3 }, b{ 10 };
   EXPECT_EQ( ( a | b ).value, 11 );
   EXPECT_TRUE( a == same && Bits::isEq( &a, &same ) && a.hash() == same.hash() );
   EXPECT_FALSE( a == b || Bits::isEq( &a, &b ) || a.hash() == b.hash() );
}

/// Groups digits one by one.
struct Grouping : std::numpunct<char> {
   char do_thousands_sep() const override { return '\''; }
   std::string do_grouping() const override { return "\1"; }
};

TEST( UndefinedPolicyReference, printsTheNamesOfItsBits ) {
   const struct {
      uint8_t value;
      const char * text;
   } rows[] = {
      { 0, "none" },
      { 1, "subRouteMapUndefined" },
      { 2, "prefixListUndefined" },
      { 4, "commListUndefined" },
      { 8, "aggRoleAttrMapUndefined" },
      { 10, "prefixListUndefined|aggRoleAttrMapUndefined" },
      { 0x10, "4" },
      { 0x82, "prefixListUndefined|7" },
      { 255, "subRouteMapUndefined|prefixListUndefined|commListUndefined|aggRoleAttrMapUndefined|4|5|6|7" },
   };
   for( const auto & row : rows ) {
      std::ostringstream os;
      os.imbue( std::locale( std::locale::classic(), new Grouping ) );
      os << std::oct << std::uppercase << Bits{ row.value };
      EXPECT_EQ( os.str(), row.text );
   }
}

}   // namespace
