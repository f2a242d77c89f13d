#include "policy/NexthopMatcher.h"

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Ferule::AddressFamily;
using Ferule::IpGenAddr;
using Quoin::makeNode;

TEST( NexthopMatcher, matchesItsNextHopOnly ) {
   const struct {
      const char * name;
      IpGenAddr matcher, input;
      bool match;
   } rows[] = {
      { "same IPv4", IpGenAddr( "10.0.0.1" ), IpGenAddr( "10.0.0.1" ), true },
      { "last bit of IPv4", IpGenAddr( "10.0.0.1" ), IpGenAddr( "10.0.0.0" ), false },
      { "first bit of IPv4", IpGenAddr( "10.0.0.1" ), IpGenAddr( "138.0.0.1" ), false },
      { "same IPv6", IpGenAddr( "fe80::1" ), IpGenAddr( "fe80::1" ), true },
      { "last bit of IPv6", IpGenAddr( "fe80::1" ), IpGenAddr( "fe80::" ), false },
      { "zero of either family", IpGenAddr( "0.0.0.0" ), IpGenAddr( "::" ), false },
      { "same bits, other family", IpGenAddr( "10.0.0.1" ), IpGenAddr( "a00:1::" ), false },
      { "unset input", IpGenAddr( "0.0.0.0" ), IpGenAddr(), false },
      { "unset on both sides", IpGenAddr(), IpGenAddr(), true },
   };
   for( const auto & row : rows ) {
      MatchInput_ input;
      input.nexthopIs( row.input );
      EXPECT_EQ( matches( *makeNode<NexthopMatcher>( row.matcher ), input ), row.match ) << row.name;
   }
}

TEST( NexthopMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      IpGenAddr getNexthop() const override { return IpGenAddr( "10.0.0.1" ); }
   } input;
   input.nexthopIs( IpGenAddr( "10.0.0.2" ) );
   EXPECT_TRUE( matches( *makeNode<NexthopMatcher>( IpGenAddr( "10.0.0.1" ) ), input ) );
   EXPECT_FALSE( matches( *makeNode<NexthopMatcher>( IpGenAddr( "10.0.0.2" ) ), input ) );
}

TEST( NexthopMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<NexthopMatcher>( IpGenAddr( "10.20.30.40" ) );
   EXPECT_EQ( matcher->nexthop(), IpGenAddr( "10.20.30.40" ) );
   EXPECT_EQ( matcher->toStrep(), "NexthopMatcher next-hop 10.20.30.40" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "NexthopMatcher next-hop 10.20.30.40" );
   EXPECT_EQ( makeNode<NexthopMatcher>( IpGenAddr( "2001:db8::1" ) )->toStrep(), "NexthopMatcher next-hop 2001:db8::1" );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
