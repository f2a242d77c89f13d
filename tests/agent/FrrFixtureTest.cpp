#include "tests/agent/FrrFixture.h"

#include <gtest/gtest.h>

#include <set>

#include "text/Constants.h"

namespace Agent {
namespace {

const FrrRoute & routeOf( const FrrTable & table, std::string_view prefix ) {
   for( const auto & route : table.routes )
      if( route.route.prefix == Ferule::IpGenPrefix( prefix ) ) return route;
   throw std::runtime_error( std::string( prefix ) );
}

TEST( FrrFixture, readsARow ) {
   const FrrFixture fixture = readFrrFixture( "row-04.json" );
   EXPECT_EQ( fixture.daemon, "bgpd 8.4.4" );
   ASSERT_EQ( fixture.tables.size(), 1u );
   const FrrTable & table = fixture.tables[ 0 ];
   ASSERT_EQ( table.routes.size(), 10u );

   const FrrRoute & came = table.routes[ 0 ];
   TableRoute expected;
   expected.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   expected.nextHop = Ferule::IpGenAddr( "0.0.0.0" );
   expected.metric = 5;
   expected.tag = 7;
   expected.localPreference = 100;
   expected.asPath = "65001";
   expected.communities = { 65000u << 16 | 1 };
   expected.origin = Origin::igp;
   expected.otherIs( "weight", "32768" );
   EXPECT_EQ( came.route, expected );
   EXPECT_TRUE( came.others.empty() );
   const FrrRoute & empty = routeOf( table, "192.0.2.0/24" );
   EXPECT_FALSE( empty.route.localPreference );
   EXPECT_EQ( empty.route.asPath, "" );

   ASSERT_EQ( table.policies.size(), 1u );
   const FrrPolicy & policy = table.policies[ 0 ];
   EXPECT_EQ( policy.name, "row-04" );
   EXPECT_EQ( policy.says, "goes to the next higher sequence" );
   EXPECT_EQ( policy.lines.size(), 9u );
   EXPECT_EQ( policy.lines[ 4 ], "on-match goto 15" );
   EXPECT_TRUE( policy.refused.empty() );
   ASSERT_EQ( policy.after.size(), 10u );
   FrrRoute became = came;
   became.route.metric = 1;
   became.route.localPreference = 20;
   EXPECT_EQ( policy.after[ 0 ], became );
}

TEST( FrrFixture, readsADeniedRouteAndARefusedLine ) {
   const FrrFixture fixture = readFrrFixture( "row-15.json" );
   const FrrPolicy & policy = fixture.tables.at( 0 ).policies.at( 0 );
   EXPECT_EQ( policy.refused, std::vector<std::string>{ "on-match next" } );
   EXPECT_FALSE( policy.after.at( 0 ) );
   EXPECT_TRUE( policy.after.at( 4 ) );
}

TEST( FrrFixture, anAttributeCanBeTakenAway ) {
   FrrRoute route;
   const nlohmann::json attributes = {
      { "metric", 4294967295u },
      { "localPreference", 0 },
      { "tag", 9 },
      { "asPath", "1 2" },
      { "communities", "65000:1 no-llgr" },
      { "nextHop", "2001:db8::1" },
      { "atomicAggregate", true },
      { "aggregatorAs", 65000 },
      { "aggregatorId", "192.0.2.1" },
      { "largeCommunities", "1:2:3 4:5:6" },
      { "extendedCommunities", "SoO:65000:1 RT:192.0.2.1:3 RT:65536:2" },
      { "origin", "EGP" },
      { "unknown", 1 },
   };
   for( const auto & [ name, value ] : attributes.items() ) setFrrAttribute( route, name, value );
   EXPECT_EQ( route.route.metric, Zeugma::MaybeU63( kMax32 ) );
   EXPECT_EQ( route.route.localPreference, 0u );
   EXPECT_EQ( route.route.nextHop, Ferule::IpGenAddr( "2001:db8::1" ) );
   EXPECT_EQ( route.route.communities, ( std::vector<Community>{ 65000u << 16 | 1, 0xffff0007 } ) );
   EXPECT_EQ( *route.route.other( "atomic-aggregate" ), "true" );
   EXPECT_EQ( *route.route.other( "aggregator" ), "as 65000 192.0.2.1" );
   EXPECT_EQ( route.route.largeCommunities, ( std::vector<LargeCommunity>{ { 1, 2, 3 }, { 4, 5, 6 } } ) );
   EXPECT_EQ(
      route.route.extCommunities,
      ( std::vector{ ExtCommunity( 0x0003fde800000001 ), ExtCommunity( 0x0102c00002010003 ), ExtCommunity( 0x0202000100000002 ) } ) );
   EXPECT_EQ( route.route.origin, Origin::egp );
   EXPECT_EQ( route.others.at( "unknown" ), "1" );
   for( const auto & [ name, value ] : attributes.items() ) setFrrAttribute( route, name, nullptr );
   EXPECT_EQ( route, FrrRoute() );
}

TEST( FrrFixture, communitiesHaveTheNamesOfBgpd ) {
   const FrrFixture fixture = readFrrFixture( "row-16.json" );
   const FrrPolicy & policy = fixture.tables.at( 0 ).policies.at( 0 );
   std::vector<Community> expected;
   for( uint32_t value = 0; value < 10; ++value ) expected.push_back( 0xffff0000 + value );
   for( const uint32_t value : { 666u, 65281u, 65282u, 65283u, 65284u, 65285u } ) expected.push_back( 0xffff0000 + value );
   ASSERT_TRUE( policy.after.at( 0 ) );
   EXPECT_EQ( policy.after[ 0 ]->route.communities, expected );
   EXPECT_EQ( frrCommunitiesOf( frrCommunitiesText( expected ) ), expected );
   EXPECT_EQ( "bgp community-list expanded E permit ^" + frrCommunitiesText( expected ) + "$", policy.lines.at( 0 ) );
}

TEST( FrrFixture, everyFileCanBeRead ) {
   std::set<std::string> names;
   for( const auto & file : frrRowFiles() ) {
      const FrrFixture fixture = readFrrFixture( file );
      ASSERT_EQ( fixture.tables.size(), 1u ) << file;
      ASSERT_EQ( fixture.tables[ 0 ].policies.size(), 1u ) << file;
      EXPECT_EQ( fixture.tables[ 0 ].policies[ 0 ].name + ".json", file );
      EXPECT_FALSE( fixture.tables[ 0 ].policies[ 0 ].says.empty() ) << file;
      names.insert( file );
   }
   EXPECT_GE( names.size(), 26u );

   size_t policies = 0, denied = 0, changed = 0, unchanged = 0;
   for( const auto & table : readFrrFixture( "random.json.gz" ).tables )
      for( const auto & policy : table.policies ) {
         EXPECT_TRUE( names.insert( policy.name ).second ) << policy.name;
         ++policies;
         for( size_t i = 0; i < table.routes.size(); ++i )
            ++( !policy.after[ i ] ? denied : *policy.after[ i ] == table.routes[ i ] ? unchanged : changed );
      }
   EXPECT_GE( policies, 400u );
   for( const size_t count : { denied, changed, unchanged } ) EXPECT_GE( count, ( denied + changed + unchanged ) / 10 );
}

TEST( FrrFixture, aFileThatDoesNotExistIsAnError ) {
   EXPECT_THROW( readFrrFixture( "undefined.json" ), std::system_error );
}

}   // namespace
}   // namespace Agent
