#include "policy/RouteProtoHelper.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/Ptr.h"

namespace {

using Routing::RouteProto;
using Routing::Policy::RouteProtoHelper;

/// The protocol of every number that a kind of route can have.
std::vector<uint32_t> ofAllTypes( RouteProto ( *look )( unsigned ) ) {
   std::vector<uint32_t> protocols;
   for( unsigned t = 0; t <= UINT8_MAX; ++t ) protocols.push_back( uint32_t( look( t ) ) );
   return protocols;
}

/// `table` from 1 on, and none outside of it.
std::vector<uint32_t> withNoneAround( std::vector<uint32_t> table ) {
   table.insert( table.begin(), 0 );
   table.resize( UINT8_MAX + 1, 0 );
   return table;
}

TEST( RouteProtoHelper, givesTheProtocolOfEveryIpv4Type ) {
   const std::vector<uint32_t> table = { 1,  1,  1,  0,  1, 0, 4,  0,  2,  9,  1,  0,  10, 47, 24, 24, 24, 24, 24, 24, 10,  10,  10,
                                         10, 10, 15, 15, 0, 4, 31, 31, 31, 31, 31, 31, 31, 16, 0,  52, 0,  0,  0,  4,  118, 120, 28 };
   ASSERT_EQ( table.size(), 46u );
   EXPECT_EQ( ofAllTypes( []( unsigned t ) { return RouteProtoHelper::routeProto( Routing::Fib::RouteType( t ) ); } ),
              withNoneAround( table ) );
}

TEST( RouteProtoHelper, givesTheProtocolOfEveryIpv6Type ) {
   const std::vector<uint32_t> table = { 1,  1,  1,  4,  2,  9,  1, 0, 10, 47, 24, 24, 24, 24, 24, 24,  24,  10, 10,
                                         10, 10, 10, 10, 15, 15, 0, 4, 16, 0,  52, 0,  0,  0,  4,  118, 120, 28 };
   ASSERT_EQ( table.size(), 37u );
   EXPECT_EQ( ofAllTypes( []( unsigned t ) { return RouteProtoHelper::routeProto6( Routing6::Fib::RouteType( t ) ); } ),
              withNoneAround( table ) );
}

TEST( RouteProtoHelper, isANodeWithoutAttributes ) {
   static_assert( sizeof( RouteProtoHelper ) == sizeof( Quoin::Node ) );
   const auto helper = Quoin::makeNode<RouteProtoHelper>();
   EXPECT_EQ( helper->routeProto( Routing::Fib::RouteType( 46 ) ), RouteProto( 28 ) );
   EXPECT_EQ( helper->routeProto6( Routing6::Fib::RouteType( 37 ) ), RouteProto( 28 ) );
}

}   // namespace
