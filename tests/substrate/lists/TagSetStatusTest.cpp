#include "substrate/lists/TagSetStatus.h"

#include <gmock/gmock.h>

#include "substrate/quoin/Ptr.h"
#include "tests/substrate/plinth/Members.h"

namespace {

using Quoin::makeNode;
using Routing::RouteMap::TagSetStatus;

TEST( TagSetStatus, holdsEachTagOnce ) {
   const auto set = makeNode<TagSetStatus>( "TS", std::initializer_list<Routing::RouteTag>{ 10, 0, 4294967295u, 10 } );
   EXPECT_EQ( set->name(), "TS" );
   EXPECT_THAT( membersOf( set->tag() ), testing::UnorderedElementsAre( 0u, 10u, 4294967295u ) );
   EXPECT_TRUE( makeNode<TagSetStatus>( "TS" )->tag().empty() );
}

TEST( TagSetStatus, writersTellWhetherSomethingChanged ) {
   const auto set = makeNode<TagSetStatus>( "TS" );
   EXPECT_FALSE( set->tagDel( 0 ) );
   EXPECT_TRUE( set->tagIs( 0 ) );
   EXPECT_FALSE( set->tagIs( 0 ) );
   EXPECT_EQ( set->tag().count(), 1u );
   EXPECT_TRUE( set->tagDel( 0 ) );
   EXPECT_TRUE( set->tag().empty() );
}

}   // namespace
