#include "substrate/lists/ListStatus.h"

#include <type_traits>

#include <gmock/gmock.h>

namespace {

using namespace Routing::RouteMap;
using Ferule::AddressFamily;
using Quoin::makeNode;

static_assert( std::is_base_of_v<CommListStatus, StandardCommListStatus> && std::is_base_of_v<CommListStatus, ExtCommListStatus> &&
               std::is_base_of_v<CommListStatus, LargeCommListStatus> );

template <class Status>
class NamedListStatusTest : public testing::Test {};
using Kinds = testing::Types<NamedListStatus, AsPathListStatus, CommListStatus, StandardCommListStatus, ExtCommListStatus,
                             LargeCommListStatus, RoaTableStatus, SrLabelRangeStatus, DynPrefixListStatus>;
TYPED_TEST_SUITE( NamedListStatusTest, Kinds );

TYPED_TEST( NamedListStatusTest, isHeldByHandleAndKnownByItsName ) {
   const auto status = makeNode<TypeParam>( "L" );
   const Quoin::Ptr<const NamedListStatus> held = status;
   EXPECT_EQ( held->name(), "L" );
   EXPECT_EQ( Quoin::dynamicPtrCast<const TypeParam>( held ), status );
}

TYPED_TEST( NamedListStatusTest, mayBeDerivedFrom ) {
   struct Own final : TypeParam {
      explicit Own( bool & g ) : TypeParam( "L" ), gone( g ) {}
      ~Own() override { gone = true; }
      bool & gone;
   };
   bool gone = false;
   Quoin::Ptr<const NamedListStatus> held = makeNode<Own>( gone );
   EXPECT_FALSE( gone );
   held = nullptr;
   EXPECT_TRUE( gone );
}

TEST( DynPrefixListStatus, hasAListPerFamilyEitherOfWhichMayBeMissing ) {
   const auto status = makeNode<DynPrefixListStatus>( "DYN" );
   EXPECT_EQ( status->v4PrefixList(), nullptr );
   EXPECT_EQ( status->v6PrefixList(), nullptr );
   const auto v4 = makeNode<PrefixListStatus>( "v4", AddressFamily::ipv4 ), v6 = makeNode<PrefixListStatus>( "v6", AddressFamily::ipv6 );
   status->v4PrefixListIs( v4 );
   EXPECT_EQ( status->v4PrefixList(), v4 );
   EXPECT_EQ( status->v6PrefixList(), nullptr );
   status->v6PrefixListIs( v6 );
   status->v4PrefixListIs( nullptr );
   EXPECT_EQ( status->v4PrefixList(), nullptr );
   EXPECT_EQ( status->v6PrefixList(), v6 );
   EXPECT_EQ( v4->useCount(), 1u );
}

}   // namespace
