#include "substrate/routemap/MatchRule.h"

#include <functional>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

using namespace Routing::RouteMap;

TEST( MatchRule, aNewOneIsOfNoOption ) {
   const MatchRule rule;
   EXPECT_TRUE( rule.listName.empty() );
   EXPECT_EQ( rule.numericValue, 0u );
   EXPECT_EQ( rule.option, MatchOption::none );
   EXPECT_FALSE( rule.invertResult );
}

TEST( MatchRule, isCopiedWholeAndComparedByEveryField ) {
   const struct {
      const char * name;
      std::function<void( MatchRule & )> change;
   } rows[] = {
      { "listName", []( MatchRule & r ) { r.listName = "PL2"; } },
      { "numericValue", []( MatchRule & r ) { r.numericValue = 1; } },
      { "numericValue, high half", []( MatchRule & r ) { r.numericValue |= uint64_t( 1 ) << 32; } },
      { "option", []( MatchRule & r ) { r.option = MatchOption::matchIpv6PrefixList; } },
      { "invertResult", []( MatchRule & r ) { r.invertResult = true; } },
   };
   const MatchRule rule{ "PL1", 0, MatchOption::matchIpPrefixList, false, {} };
   for( const auto & row : rows ) {
      MatchRule other = rule;
      EXPECT_TRUE( MatchRule::isEq( other, rule ) );
      EXPECT_EQ( other, rule );
      row.change( other );
      EXPECT_FALSE( MatchRule::isEq( other, rule ) ) << row.name;
      EXPECT_NE( other, rule ) << row.name;
      const MatchRule copy = other;
      EXPECT_EQ( copy, other ) << row.name;
   }
}

TEST( CommListSet, isAValueLikeAnyOther ) {
   static_assert( std::is_default_constructible_v<CommListSet> && std::is_copy_constructible_v<CommListSet> );
   const CommListSet a, b = a;
   EXPECT_EQ( a, b );
   EXPECT_TRUE( CommListSet::isEq( a, b ) );
}

TEST( SubRouteMap, aNewOneCallsNothing ) {
   const SubRouteMap call;
   EXPECT_TRUE( call.name.empty() );
   EXPECT_FALSE( call.invertResult );
}

TEST( SubRouteMap, isComparedByBothFields ) {
   const struct {
      const char * name;
      SubRouteMap a, b;
      bool equal;
   } rows[] = {
      { "two new ones", {}, {}, true },
      { "the same", { "RM", true }, { "RM", true }, true },
      { "another name", { "RM", true }, { "RM2", true }, false },
      { "another result", { "RM", true }, { "RM", false }, false },
      { "no name, inverted, and a new one", { "", true }, {}, false },
      { "no name, inverted, twice", { "", true }, { "", true }, true },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( SubRouteMap::isEq( row.a, row.b ), row.equal ) << row.name;
      EXPECT_EQ( SubRouteMap::isEq( row.b, row.a ), row.equal ) << row.name;
      EXPECT_EQ( row.a == row.b, row.equal ) << row.name;
   }
}

}   // namespace
