#include "substrate/acl/AclPrefixEntry.h"

#include <gmock/gmock.h>

namespace {

TEST( AclPrefixEntry, aNewOneDeniesAndCoversNothing ) {
   const AclPrefixEntry entry;
   EXPECT_EQ( entry.seqno, 0u );
   EXPECT_EQ( entry.permit, Acl::MatchPermit::deny );
   EXPECT_EQ( entry.source, Ferule::IpGenAddrWithFullMask() );
   EXPECT_FALSE( entry.source.contains( Ferule::IpGenAddr( "0.0.0.0" ) ) );
   EXPECT_FALSE( entry.source.contains( Ferule::IpGenAddr( "::" ) ) );
}

TEST( AclPrefixEntry, keepsTheSourceAsItCame ) {
   const Ferule::IpAddr address( "10.1.2.3" ), mask( "255.0.255.0" );
   const AclPrefixEntry entry{ 10, Ferule::IpAddrWithFullMask{ address, mask }, Acl::MatchPermit::permit };
   const AclPrefixEntry copy = entry;
   EXPECT_EQ( copy.seqno, 10u );
   EXPECT_EQ( copy.permit, Acl::MatchPermit::permit );
   EXPECT_EQ( copy.source.address(), Ferule::IpGenAddr( address ) );
   EXPECT_EQ( copy.source.mask(), Ferule::IpGenAddr( mask ).bits() );
}

}   // namespace
