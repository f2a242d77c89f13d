#include "policy/ResolvedNexthopInfoSet.h"

#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using Ferule::IntfId;
using Ferule::IpGenAddr;
using Routing::Policy::ResolvedNexthopInfoSet;
using testing::ElementsAre;
using testing::Pair;

TEST( ResolvedNexthopInfoSet, startsEmpty ) {
   const ResolvedNexthopInfoSet info;
   EXPECT_EQ( info.intfId().count(), 0u );
   EXPECT_EQ( info.resolvedNexthop().count(), 0u );
}

TEST( ResolvedNexthopInfoSet, holdsEachInterfaceOnce ) {
   ResolvedNexthopInfoSet info;
   EXPECT_TRUE( info.intfIdIs( IntfId( 7 ) ) );
   EXPECT_FALSE( info.intfIdIs( IntfId( 7 ) ) );
   EXPECT_TRUE( info.intfIdIs( IntfId() ) );   // "none" is a value too
   EXPECT_EQ( info.intfId().count(), 2u );
   EXPECT_TRUE( info.intfId().contains( IntfId( 7 ) ) );
   EXPECT_FALSE( info.intfId().contains( IntfId( 8 ) ) );
   EXPECT_TRUE( info.intfIdDel( IntfId( 7 ) ) );
   EXPECT_FALSE( info.intfIdDel( IntfId( 7 ) ) );
   EXPECT_FALSE( info.intfId().contains( IntfId( 7 ) ) );
   EXPECT_TRUE( info.intfId().contains( IntfId() ) );
   info.intfIdDelAll();
   EXPECT_EQ( info.intfId().count(), 0u );
}

TEST( ResolvedNexthopInfoSet, holdsNextHopsInAscendingOrder ) {
   ResolvedNexthopInfoSet info;
   for( const char * address : { "fe80::2", "10.0.0.2", "::", "255.255.255.255", "10.0.0.1" } )
      EXPECT_TRUE( info.resolvedNexthopIs( IpGenAddr( address ), address[ 0 ] == '1' ) );
   const auto & held = info.resolvedNexthop();
   EXPECT_THAT( std::vector( held.begin(), held.end() ),
                ElementsAre( Pair( IpGenAddr( "10.0.0.1" ), true ), Pair( IpGenAddr( "10.0.0.2" ), true ),
                             Pair( IpGenAddr( "255.255.255.255" ), false ), Pair( IpGenAddr( "::" ), false ),
                             Pair( IpGenAddr( "fe80::2" ), false ) ) );
}

TEST( ResolvedNexthopInfoSet, aFlagIsReplacedAndANextHopDeleted ) {
   ResolvedNexthopInfoSet info;
   const IpGenAddr a( "10.0.0.1" ), b( "10.0.0.2" );
   EXPECT_TRUE( info.resolvedNexthopIs( a, false ) );
   EXPECT_FALSE( info.resolvedNexthopIs( a, false ) );
   EXPECT_TRUE( info.resolvedNexthopIs( a, true ) );
   EXPECT_TRUE( *info.resolvedNexthop().find( a ) );
   EXPECT_FALSE( info.resolvedNexthopDel( b ) );
   EXPECT_TRUE( info.resolvedNexthopDel( a ) );
   EXPECT_EQ( info.resolvedNexthop().find( a ), nullptr );
   info.resolvedNexthopIs( b, true );
   info.resolvedNexthopDelAll();
   EXPECT_EQ( info.resolvedNexthop().count(), 0u );
}

TEST( ResolvedNexthopInfoSet, interfacesAndNextHopsAreApart ) {
   ResolvedNexthopInfoSet info;
   info.intfIdIs( IntfId( 7 ) );
   info.resolvedNexthopIs( IpGenAddr( "10.0.0.1" ), true );
   info.intfIdDelAll();
   EXPECT_EQ( info.resolvedNexthop().count(), 1u );
   info.intfIdIs( IntfId( 7 ) );
   info.resolvedNexthopDelAll();
   EXPECT_EQ( info.intfId().count(), 1u );
}

}   // namespace
