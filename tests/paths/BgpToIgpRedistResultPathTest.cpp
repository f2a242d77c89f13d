#include "paths/BgpToIgpRedistResultPath.h"

#include <sstream>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using Ferule::AddressFamily;
using L3::VrfName;
using Routing::Policy::GenPolicyName;
using Routing::Policy::getBgpToIgpRedistResultPath;
using Kind = GenPolicyName::Kind;

template <class T>
std::string textOf( const T & value ) {
   std::ostringstream os;
   os << value;
   return os.str();
}

TEST( RedistResultPath, namesFamilyVrfKindAndPolicy ) {
   const struct {
      const char * what;
      AddressFamily af;
      const char * vrf;
      GenPolicyName policy;
      const char * path;
   } rows[] = {
      { "route map", AddressFamily::ipv4, "v", { "m", Kind::routeMap }, "routing/rib/filteredRtStatus/ipv4/v/routeMap/m" },
      { "function", AddressFamily::ipv4, "v", { "m", Kind::gyre }, "routing/rib/filteredRtStatus/ipv4/v/gyre/m" },
      { "IPv6", AddressFamily::ipv6, "default", { "RM1", Kind::routeMap }, "routing/rib/filteredRtStatus/ipv6/default/routeMap/RM1" },
      { "no policy name", AddressFamily::ipv4, "v", { "", Kind::routeMap }, "routing/rib/filteredRtStatus/ipv4/v/routeMap/" },
      { "no function name", AddressFamily::ipv6, "v", { "", Kind::gyre }, "routing/rib/filteredRtStatus/ipv6/v/gyre/" },
      { "no VRF name", AddressFamily::ipv4, "", { "m", Kind::routeMap }, "routing/rib/filteredRtStatus/ipv4//routeMap/m" },
      { "slashes", AddressFamily::ipv4, "a/b", { "/c d/", Kind::gyre }, "routing/rib/filteredRtStatus/ipv4/a/b/gyre//c d/" },
      { "no family", AddressFamily::unset, "v", { "m", Kind::routeMap }, "routing/rib/filteredRtStatus/unset/v/routeMap/m" },
   };
   for( const auto & row : rows ) EXPECT_EQ( getBgpToIgpRedistResultPath( row.af, VrfName( row.vrf ), row.policy ), row.path ) << row.what;
}

TEST( RedistResultPath, keepsEveryByteOfTheNames ) {
   const std::string zero( "a\0b", 3 );
   EXPECT_EQ( getBgpToIgpRedistResultPath( AddressFamily::ipv4, VrfName( zero ), { zero, Kind::gyre } ),
              Quoin::String( "routing/rib/filteredRtStatus/ipv4/" + zero + "/gyre/" + zero ) );
}

TEST( RedistResultPathDeathTest, endsTheProcessAtAnyOtherKind ) {
   for( const int kind : { 2, 3, 127, 255 } )
      EXPECT_DEATH( getBgpToIgpRedistResultPath( AddressFamily::ipv4, VrfName( "v" ), { "m", Kind( kind ) } ), "Assertion failed: false\n" )
         << kind;
}

RC_GTEST_PROP( RedistResultPath, isTheConcatenation, ( const std::string & vrf, const std::string & name, bool gyre, bool v6 ) ) {
   const std::string path =
      std::string( "routing/rib/filteredRtStatus/" ) + ( v6 ? "ipv6" : "ipv4" ) + "/" + vrf + ( gyre ? "/gyre/" : "/routeMap/" ) + name;
   RC_ASSERT( getBgpToIgpRedistResultPath( v6 ? AddressFamily::ipv6 : AddressFamily::ipv4, VrfName( vrf ),
                                           { name, gyre ? Kind::gyre : Kind::routeMap } ) == path );
}

TEST( GenPolicyName, isByDefaultARouteMapWithoutName ) {
   const GenPolicyName none;
   EXPECT_EQ( none.name, "" );
   EXPECT_EQ( none.kind, Kind::routeMap );
   static_assert( sizeof( Kind ) == 1 && int( Kind::routeMap ) == 0 && int( Kind::gyre ) == 1 );
}

TEST( GenPolicyName, printsKindAndName ) {
   EXPECT_EQ( textOf( GenPolicyName{ "m", Kind::routeMap } ), "routeMap m" );
   EXPECT_EQ( textOf( GenPolicyName{ "m", Kind::gyre } ), "gyre m" );
   EXPECT_EQ( textOf( GenPolicyName{ "m", Kind( 7 ) } ), "7 m" );
   std::ostringstream os;
   os << std::hex << Kind( 255 );
   EXPECT_EQ( os.str(), "255" );
}

RC_GTEST_PROP( GenPolicyName, comparesNameAndThenKind, () ) {
   const auto some =
      rc::gen::build<GenPolicyName>( rc::gen::set( &GenPolicyName::name,
                                                   rc::gen::map( rc::gen::element<std::string>( "", "a", "ab", "b" ),
                                                                 []( std::string s ) { return Quoin::String( std::move( s ) ); } ) ),
                                     rc::gen::set( &GenPolicyName::kind, rc::gen::element( Kind::routeMap, Kind::gyre ) ) );
   const GenPolicyName a = *some, b = *some;
   const auto key = []( const GenPolicyName & p ) { return std::pair( std::string( p.name.view() ), int( p.kind ) ); };
   RC_ASSERT( ( a <=> b ) == ( key( a ) <=> key( b ) ) );
   RC_ASSERT( ( a == b ) == ( key( a ) == key( b ) ) );
   RC_ASSERT( GenPolicyName::isEq( &a, &b ) == ( key( a ) == key( b ) ) );
   if( a == b ) RC_ASSERT( a.hash() == b.hash() );
   if( a.name == b.name && a.kind != b.kind ) RC_ASSERT( a.hash() != b.hash() );
}

}   // namespace
