#include "substrate/lists/Ip4PrefixIndex.h"

#include <algorithm>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/ferule/IpPrefix.h"

namespace {

using Ferule::IpGenPrefix;
using Routing::RouteMap::ChunkedRow;
using Routing::RouteMap::Ip4PrefixIndex;
using Prefix = Ip4PrefixIndex::Prefix;

Prefix prefixOf( const char * text ) {
   const IpGenPrefix p( text );
   return { p.ipGenAddr().v4Addr().value(), p.length() };
}

struct Ip4PrefixIndexTest : testing::Test {
   void add( Prefix prefix ) {
      prefixes.push_back( prefix );
      index.add( root, prefix, uint32_t( prefixes.size() - 1 ), [ this ]( uint32_t n ) { return prefixes[ n ]; } );
   }
   void add( const char * text ) { add( prefixOf( text ) ); }
   uint32_t find( Prefix asked ) const {
      return index.longestMatch( root, asked, [ this ]( uint32_t n ) { return prefixes[ n ]; } );
   }
   uint32_t find( const char * asked ) const { return find( prefixOf( asked ) ); }

   Ip4PrefixIndex index;
   Ip4PrefixIndex::Root root = Ip4PrefixIndex::kNone;
   std::vector<Prefix> prefixes;
};

constexpr auto kNone = Ip4PrefixIndex::kNone;

TEST_F( Ip4PrefixIndexTest, theLongestPrefixThatContainsTheOtherIsFound ) {
   EXPECT_EQ( find( "0.0.0.0/0" ), kNone );
   for( const char * text : { "10.1.1.1/32", "10.1.1.0/24", "10.1.0.0/16", "10.1.0.0/15", "10.0.0.0/8", "255.255.255.255/32" } )
      add( text );
   const struct {
      const char * asked;
      uint32_t found;
   } rows[] = {
      { "10.1.1.1/32", 0 },        { "10.1.1.1/31", 1 },
      { "10.1.1.2/32", 1 },        { "10.1.1.0/24", 1 },
      { "10.1.1.0/23", 2 },        { "10.1.1.1/16", 2 },
      { "10.0.255.0/24", 3 },      { "10.128.0.0/9", 4 },
      { "10.255.255.255/8", 4 },   { "10.0.0.0/7", kNone },
      { "0.0.0.0/0", kNone },      { "11.0.0.0/8", kNone },
      { "255.255.255.255/32", 5 }, { "255.255.255.254/32", kNone },
   };
   for( const auto & row : rows ) EXPECT_EQ( find( row.asked ), row.found ) << row.asked;
   add( "0.0.0.0/0" );
   EXPECT_EQ( find( "0.0.0.0/0" ), 6u );
   EXPECT_EQ( find( "255.255.255.254/32" ), 6u );
   EXPECT_EQ( find( "10.1.1.1/32" ), 0u );
}

TEST_F( Ip4PrefixIndexTest, aPrefixInsideAnEarlierOneIsNotAdded ) {
   add( "10.0.0.0/8" );
   add( "11.0.0.0/24" );
   const auto before = index.bytes();
   for( int i = 0; i < 100; ++i )
      for( const char * text : { "10.0.0.0/8", "10.1.0.0/16", "11.0.0.0/24", "11.0.0.1/32" } ) add( text );
   EXPECT_EQ( index.bytes(), before );
   EXPECT_EQ( find( "10.1.0.0/16" ), 0u );
   EXPECT_EQ( find( "11.0.0.1/32" ), 1u );
}

TEST_F( Ip4PrefixIndexTest, setsDoNotMix ) {
   add( "10.0.0.0/8" );
   Ip4PrefixIndex::Root other = kNone;
   const auto eight = [ this ]( uint32_t n ) { return Prefix{ prefixes[ n - 100 ].bits ^ 0x01000000, 8 }; };   // 11.0.0.0/8
   index.add( other, prefixOf( "11.0.0.0/8" ), 100, eight );
   EXPECT_EQ( find( "11.0.0.0/8" ), kNone );
   EXPECT_EQ( index.longestMatch( other, prefixOf( "11.0.0.0/8" ), eight ), 100u );
   EXPECT_EQ( index.longestMatch( other, prefixOf( "10.0.0.0/8" ), eight ), kNone );
}

// Longest first, every prefix is added, and all nodes grow to their full size and through more than one chunk.
TEST_F( Ip4PrefixIndexTest, everyPrefixOfAWholeSpaceIsFound ) {
   for( unsigned length = 32; length >= 17; --length )
      for( uint32_t v = 0; v < 1u << ( length - 16 ); ++v ) add( Prefix{ 0x0A010000 | v << ( 32 - length ), length } );
   for( uint32_t n = 0; n < prefixes.size(); ++n ) ASSERT_EQ( find( prefixes[ n ] ), n ) << n;
   EXPECT_EQ( find( "10.1.0.0/16" ), kNone );
   EXPECT_GT( index.bytes(), size_t( 2 * 4 ) << 16 );
   EXPECT_LT( index.bytes(), prefixes.size() * 20 ) << "freed blocks are used again";
}

TEST( ChunkedRow, growsOverChunksAndKeepsWhatLiesTogetherInOne ) {
   ChunkedRow<uint32_t, 4> row;   // 16 elements a chunk
   EXPECT_EQ( row.bytes(), 0u );
   for( uint32_t i = 0; i < 14; ++i ) row.append( i );
   EXPECT_EQ( row.extend( 3 ), 16u ) << "2 places are skipped";
   for( size_t i = 16; i < 19; ++i ) row[ i ] = uint32_t( i );
   EXPECT_EQ( row.extend( 13 ), 19u ) << "fills the chunk";
   EXPECT_EQ( row.extend( 16 ), 32u );
   row.append( 48 );
   for( uint32_t i = 0; i < 14; ++i ) EXPECT_EQ( row[ i ], i );
   for( uint32_t i = 16; i < 19; ++i ) EXPECT_EQ( row[ i ], i );
   EXPECT_EQ( &row[ 32 ] + 15, &row[ 47 ] );
   EXPECT_EQ( row.size(), 49u );
   EXPECT_EQ( row.bytes(), 4 * 4 * 16u );
   row.trim();
   EXPECT_EQ( row.bytes(), 4 * ( 3 * 16u + 1 ) );
   EXPECT_EQ( row[ 48 ], 48u );
   row.append( 49 );
   EXPECT_EQ( row[ 48 ] + 1, row[ 49 ] );
   EXPECT_TRUE( row.dropChunk() );
   EXPECT_EQ( row.size(), 48u );
   while( row.dropChunk() ) {}
   EXPECT_EQ( row.size(), 0u );
   EXPECT_EQ( row.bytes(), 0u );
}

TEST( ChunkedRow, aSmallRowTakesNoWholeChunk ) {
   ChunkedRow<uint32_t, 16> row;
   for( uint32_t i = 0; i < 5; ++i ) row.append( i );
   EXPECT_LE( row.bytes(), 8 * sizeof( uint32_t ) );
   row.trim();
   EXPECT_EQ( row.bytes(), 5 * sizeof( uint32_t ) );
   for( uint32_t i = 0; i < 5; ++i ) EXPECT_EQ( row[ i ], i );
}

}   // namespace
