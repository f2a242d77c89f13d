#include "substrate/routemap/RouteMapFeatures.h"

#include <cstdint>
#include <ios>
#include <sstream>

#include <gmock/gmock.h>

namespace {

using Routing::RouteMap::RouteMapFeatures;

static_assert( sizeof( RouteMapFeatures ) == 4 );

TEST( RouteMapFeatures, startsEmpty ) {
   EXPECT_EQ( RouteMapFeatures().value(), 0u );
   EXPECT_EQ( RouteMapFeatures().toStrep(), "" );
}

TEST( RouteMapFeatures, everyNamedBitHasItsNumberAndText ) {
   const struct {
      const char * text;
      RouteMapFeatures::Bit bit;
      uint32_t value;
   } rows[] = {
      { "matchPrefixDependent", RouteMapFeatures::matchPrefixDependent, 1 },
      { "matchInterface", RouteMapFeatures::matchInterface, 2 },
      { "matchResolvedNexthop", RouteMapFeatures::matchResolvedNexthop, 4 },
      { "matchRouterId", RouteMapFeatures::matchRouterId, 8 },
      { "matchBestpath", RouteMapFeatures::matchBestpath, 1u << 13 },
      { "matchAggregateRole", RouteMapFeatures::matchAggregateRole, 1u << 14 },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( uint32_t( row.bit ), row.value ) << row.text;
      EXPECT_EQ( RouteMapFeatures( row.bit ).toStrep(), row.text );
   }
}

TEST( RouteMapFeatures, updateFromIsTheUnion ) {
   const struct {
      const char * name;
      uint32_t a, b, both;
   } rows[] = {
      { "nothing and nothing", 0, 0, 0 },
      { "nothing into something", 5, 0, 5 },
      { "something into nothing", 0, 5, 5 },
      { "overlapping", 3, 6, 7 },
      { "the same", 9, 9, 9 },
      { "first and last bit", 1, 0x80000000, 0x80000001 },
      { "everything", 0xffffffff, 0x12345678, 0xffffffff },
   };
   for( const auto & row : rows ) {
      RouteMapFeatures features = row.a;
      features.updateFrom( row.b );
      EXPECT_EQ( features.value(), row.both ) << row.name;
   }
}

TEST( RouteMapFeatures, bitsAreReadAndWrittenAlone ) {
   RouteMapFeatures features = 0xfffffff0;
   EXPECT_FALSE( features.has( RouteMapFeatures::matchInterface ) );
   EXPECT_TRUE( features.has( RouteMapFeatures::matchBestpath ) );
   features.bitIs( RouteMapFeatures::matchInterface, true );
   features.bitIs( RouteMapFeatures::matchBestpath, false );
   EXPECT_EQ( features.value(), 0xffffdff2u );
   features.bitIs( RouteMapFeatures::matchBestpath, false );
   EXPECT_EQ( features.value(), 0xffffdff2u );
}

TEST( RouteMapFeatures, textNamesEveryBitTheLowestFirst ) {
   EXPECT_EQ( RouteMapFeatures( 0x600f ).toStrep(),
              "matchPrefixDependent|matchInterface|matchResolvedNexthop|matchRouterId|matchBestpath|matchAggregateRole" );
   EXPECT_EQ( RouteMapFeatures( 0x80000012 ).toStrep(), "matchInterface|4|31" );
   std::ostringstream os;
   os << std::hex << RouteMapFeatures( 1u << 12 ) << ';' << RouteMapFeatures();
   EXPECT_EQ( os.str(), "12;" );
}

}   // namespace
