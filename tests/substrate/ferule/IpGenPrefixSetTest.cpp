#include "substrate/ferule/IpGenPrefixSet.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/quoin/Ptr.h"
#include "tests/substrate/ferule/Bits.h"

namespace {

using Ferule::IpGenPrefix;
using Ferule::IpGenPrefixSet;
using testing::ElementsAre;

TEST( IpGenPrefixSet, holdsEachPrefixOnceInOrder ) {
   const auto set = Quoin::makeNode<IpGenPrefixSet>();
   EXPECT_EQ( set->count(), 0u );
   EXPECT_FALSE( set->contains( IpGenPrefix( "10.0.0.0/8" ) ) );
   EXPECT_TRUE( set->insert( IpGenPrefix( "::/0" ) ) );
   EXPECT_TRUE( set->insert( IpGenPrefix( "10.0.0.0/16" ) ) );
   EXPECT_TRUE( set->insert( IpGenPrefix( "10.0.0.0/8" ) ) );
   EXPECT_FALSE( set->insert( IpGenPrefix( "10.0.0.0/8" ) ) );
   EXPECT_EQ( set->count(), 3u );
   EXPECT_THAT( std::vector( set->begin(), set->end() ),
                ElementsAre( IpGenPrefix( "10.0.0.0/8" ), IpGenPrefix( "10.0.0.0/16" ), IpGenPrefix( "::/0" ) ) );
}

TEST( IpGenPrefixSet, containsThePrefixItselfAndNoneInsideOfIt ) {
   IpGenPrefixSet set;
   set.insert( IpGenPrefix( "10.0.0.0/8" ) );
   EXPECT_TRUE( set.contains( IpGenPrefix( "10.0.0.0/8" ) ) );
   for( const char * other : { "10.0.0.0/9", "10.0.0.0/7", "10.0.0.1/8", "10.1.0.0/16", "a00::/8" } )
      EXPECT_FALSE( set.contains( IpGenPrefix( other ) ) ) << other;
}

TEST( IpGenPrefixSet, printsItsPrefixesInOrder ) {
   IpGenPrefixSet set;
   EXPECT_EQ( set.toStrep(), "{}" );
   set.insert( IpGenPrefix( "a00::/8" ) );
   EXPECT_EQ( set.toStrep(), "{a00::/8}" );
   set.insert( IpGenPrefix( "10.1.2.3/32" ) );
   set.insert( IpGenPrefix( "10.0.0.0/8" ) );
   std::ostringstream os;
   os << std::hex << set;
   EXPECT_EQ( os.str(), "{10.0.0.0/8, 10.1.2.3/32, a00::/8}" );
}

TEST( IpGenPrefixSet, isComparedByItsPrefixesHoweverTheyCameIn ) {
   const char * const prefixes[] = { "10.0.0.0/8", "10.0.0.0/9", "a00::/8" };
   IpGenPrefixSet a, b;
   for( size_t i = 0; i < std::size( prefixes ); ++i ) {
      a.insert( IpGenPrefix( prefixes[ i ] ) );
      EXPECT_FALSE( IpGenPrefixSet::isEq( &a, &b ) ) << i;
      EXPECT_NE( a, b ) << i;
      b.insert( IpGenPrefix( prefixes[ std::size( prefixes ) - 1 - i ] ) );
   }
   EXPECT_TRUE( IpGenPrefixSet::isEq( &a, &b ) );
   EXPECT_EQ( a, b );
   EXPECT_EQ( a.hash(), b.hash() );
   EXPECT_EQ( a.toStrep(), b.toStrep() );
}

RC_GTEST_PROP( IpGenPrefixSet, behavesAsASortedList, () ) {
   const auto pool = *rc::gen::container<std::vector<std::pair<Ferule::IpGenAddr, uint8_t>>>(
      rc::gen::pair( anyIpGenAddr(), rc::gen::element<uint8_t>( 0, 8, 32, 128 ) ) );
   IpGenPrefixSet set;
   std::vector<IpGenPrefix> model;
   for( const auto & [ address, length ] : pool ) {
      const IpGenPrefix p( address, length );
      const bool fresh = std::find( model.begin(), model.end(), p ) == model.end();
      RC_ASSERT( set.contains( p ) == !fresh );
      RC_ASSERT( set.insert( p ) == fresh );
      if( fresh ) model.push_back( p );
      RC_ASSERT( set.count() == model.size() );
   }
   std::sort( model.begin(), model.end() );
   RC_ASSERT( std::equal( set.begin(), set.end(), model.begin(), model.end() ) );
}

}   // namespace
