#include "compile/DescendingSeqnoKey.h"

#include <sstream>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/TreeMap.h"

namespace {

using Routing::Policy::DescendingSeqnoKey;
using testing::ElementsAre;

static_assert( std::is_trivially_copyable_v<DescendingSeqnoKey> && sizeof( DescendingSeqnoKey ) == sizeof( uint32_t ) );

std::vector<uint32_t> walk( const Plinth::TreeMap<DescendingSeqnoKey, int> & collection ) {
   std::vector<uint32_t> numbers;
   for( auto i = collection.first(); i; i.next() ) numbers.push_back( i.key().seqno );
   return numbers;
}

TEST( DescendingSeqnoKey, isOrderedFromTheHighestDown ) {
   const struct {
      const char * name;
      uint32_t a, b;
      bool equal, less;
   } rows[] = {
      { "equal", 10, 10, true, false },
      { "higher comes first", 20, 10, false, true },
      { "lower comes later", 10, 20, false, false },
      { "the two ends", 4294967295u, 0, false, true },
      { "the two ends, turned", 0, 4294967295u, false, false },
      { "across the sign", 0x80000000u, 0x7fffffffu, false, true },
   };
   for( const auto & row : rows ) {
      const DescendingSeqnoKey a{ row.a }, b{ row.b };
      EXPECT_EQ( a == b, row.equal ) << row.name;
      EXPECT_EQ( a != b, !row.equal ) << row.name;
      EXPECT_EQ( a < b, row.less ) << row.name;
   }
}

TEST( DescendingSeqnoKey, aWalkInOrderOfKeyGoesDown ) {
   Plinth::TreeMap<DescendingSeqnoKey, int> collection;
   for( const uint32_t seqno : { 10, 30, 20 } ) collection.put( { seqno }, 0 );
   EXPECT_THAT( walk( collection ), ElementsAre( 30u, 20u, 10u ) );
   collection.put( { 0 }, 0 );
   collection.put( { 4294967295u }, 0 );
   collection.put( { 20 }, 1 );   // there already
   EXPECT_THAT( walk( collection ), ElementsAre( 4294967295u, 30u, 20u, 10u, 0u ) );
   collection.erase( { 20 } );
   EXPECT_THAT( walk( collection ), ElementsAre( 4294967295u, 30u, 10u, 0u ) );
   EXPECT_EQ( collection.find( { 20 } ), nullptr );
}

TEST( DescendingSeqnoKey, equalOnesHaveOneHash ) {
   const DescendingSeqnoKey a{ 10 }, same{ 10 }, other{ 20 };
   EXPECT_TRUE( DescendingSeqnoKey::isEq( &a, &same ) );
   EXPECT_FALSE( DescendingSeqnoKey::isEq( &a, &other ) );
   EXPECT_EQ( a.hash(), same.hash() );
   EXPECT_NE( a.hash(), other.hash() );
}

TEST( DescendingSeqnoKey, printsItsNumber ) {
   std::ostringstream os;
   os << std::hex << std::showbase << DescendingSeqnoKey{ 4294967295u };
   EXPECT_EQ( os.str(), "4294967295" );
   EXPECT_EQ( DescendingSeqnoKey{}.seqno, 0u );
}

}   // namespace
