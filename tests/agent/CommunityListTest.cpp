#include "live/CommunityList.h"

#include <gtest/gtest.h>

#include "tests/agent/LiveFixture.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace Agent {

namespace {

TableRoute carrying( std::vector<Community> communities ) {
   TableRoute route;
   route.communities = std::move( communities );
   return route;
}

bool permits( const CommunityListText & text, const TableRoute & route ) {
   return Quoin::makeNode<CommunityList>( "L", text, Dialect::native )->permits( route );
}

TEST( CommunityList, aStandardLineAsksForAllOfItsCommunities ) {
   CommunityListText text;
   text.lines = { { 10, { kPermit, { 2, 4 }, {}, {} } } };
   const struct {
      const char * name;
      std::vector<Community> has;
      bool permitted;
   } rows[] = {
      { "none", {}, false },      { "one of two", { 2 }, false },          { "the other", { 4 }, false },
      { "both", { 2, 4 }, true }, { "and more", { 1, 2, 3, 4, 5 }, true }, { "others", { 1, 3, 5 }, false },
   };
   for( const auto & row : rows ) EXPECT_EQ( permits( text, carrying( row.has ) ), row.permitted ) << row.name;
}

TEST( CommunityList, aStandardLineAsksForJustItsCommunitiesOrForAnyOfThem ) {
   CommunityListText text;
   text.lines = { { 10, { kPermit, { 2, 4 }, {}, {} } } };
   const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
   const struct {
      std::vector<Community> has;
      bool exact;
      bool any;
   } rows[] = {
      { {}, false, false }, { { 2 }, false, true }, { { 2, 4 }, true, true }, { { 2, 3, 4 }, false, true }, { { 3, 5 }, false, false },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( list->permits( carrying( row.has ), ListComparison::exact ), row.exact );
      EXPECT_EQ( list->permits( carrying( row.has ), ListComparison::any ), row.any );
   }
   text.lines = { { 10, { kPermit, {}, {}, {} } } };   // internet
   for( const auto comparison : { ListComparison::exact, ListComparison::any } )
      EXPECT_TRUE( Quoin::makeNode<CommunityList>( "L", text, Dialect::native )->permits( carrying( { 1 } ), comparison ) );
}

TEST( CommunityList, theLowestLineThatMatchesDecides ) {
   CommunityListText text;
   text.lines = { { 10, { kDeny, { 1 }, {}, {} } }, { 20, { kPermit, {}, {}, {} } }, { 30, { kDeny, { 2 }, {}, {} } } };
   EXPECT_FALSE( permits( text, carrying( { 1, 2 } ) ) );
   EXPECT_TRUE( permits( text, carrying( { 2 } ) ) );   // a line without communities matches every route
   EXPECT_TRUE( permits( text, carrying( {} ) ) );
   text.lines.erase( 20 );
   EXPECT_FALSE( permits( text, carrying( { 3 } ) ) );
}

TEST( CommunityList, anExpandedLineReadsTheCommunitiesAsText ) {
   const struct {
      const char * expression;
      std::vector<Community> has;
      bool permitted;
   } rows[] = {
      { "^64500:1 64500:2$", { community( 64500, 1 ), community( 64500, 2 ) }, true },
      { "_64500:1_", { community( 64499, 1 ), community( 64500, 1 ) }, true },
      { "_64500:1_", { community( 64500, 12 ) }, false },
      { "65535:65281", { community( 65535, 65281 ) }, true },
      { "^$", {}, true },
      { "^$", { 1 }, false },
      { "0:1", { 1 }, true },
   };
   for( const auto & row : rows ) {
      CommunityListText text;
      text.expanded = true;
      text.lines = { { 10, { kPermit, {}, row.expression, {} } } };
      EXPECT_EQ( permits( text, carrying( row.has ) ), row.permitted ) << row.expression;
   }
}

TEST( CommunityList, aStandardListIsAskedWithoutAllocating ) {
   CommunityListText text;
   text.lines = { { 10, { kPermit, { 1, 2 }, {}, {} } } };
   const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
   const auto route = carrying( std::vector<Community>( 200, 1 ) );
   const size_t before = allocationCount();
   list->permits( route );
   EXPECT_EQ( allocationCount(), before );
}

TEST( CommunityList, manyCommunitiesBecomeALongText ) {
   CommunityListText text;
   text.expanded = true;
   text.lines = { { 10, { kPermit, {}, "_65535:500$", {} } } };
   TableRoute route;
   for( uint32_t n = 1; n <= 500; ++n ) route.communities.push_back( community( 65535, n ) );
   EXPECT_TRUE( permits( text, route ) );
   route.communities.push_back( community( 65535, 501 ) );
   EXPECT_FALSE( permits( text, route ) );
}

}   // namespace

}   // namespace Agent
