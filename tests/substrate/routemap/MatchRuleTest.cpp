#include "substrate/routemap/MatchRule.h"

#include <functional>
#include <sstream>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

using namespace Routing::RouteMap;

template <class T>
std::string textOf( const T & value ) {
   std::ostringstream os;
   os << std::hex << value;
   return os.str();
}

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
      EXPECT_TRUE( MatchRule::isEq( &other, &rule ) );
      EXPECT_EQ( other, rule );
      row.change( other );
      EXPECT_FALSE( MatchRule::isEq( &other, &rule ) ) << row.name;
      EXPECT_NE( other, rule ) << row.name;
      const MatchRule copy = other;
      EXPECT_EQ( copy, other ) << row.name;
      EXPECT_EQ( copy.hash(), other.hash() ) << row.name;
      EXPECT_NE( rule.hash(), other.hash() ) << row.name;
   }
}

TEST( MatchRule, printsItsOptionAndTheOperandsThatAreSet ) {
   const struct {
      MatchRule rule;
      const char * text;
   } rows[] = {
      { {}, "none" },
      { { "PL1", 0, MatchOption::matchIpPrefixList, false, {} }, "matchIpPrefixList listName PL1" },
      { { "PL1", 0, MatchOption::matchIpPrefixList, true, {} }, "matchIpPrefixList listName PL1 invert-result" },
      { { "", 18446744073709551615u, MatchOption::matchTag, false, {} }, "matchTag numericValue 18446744073709551615" },
      { { "A", 7, MatchOption( 17 ), true, {} }, "matchOption17 listName A numericValue 7 invert-result" },
   };
   for( const auto & row : rows ) EXPECT_EQ( textOf( row.rule ), row.text );
}

TEST( SubRouteMap, aNewOneCallsNothing ) {
   const SubRouteMap call;
   EXPECT_TRUE( call.name.empty() );
   EXPECT_FALSE( call.invertResult );
}

TEST( SubRouteMap, printsItsNameAndTheInversion ) {
   EXPECT_EQ( textOf( SubRouteMap{ "RM", false } ), "RM" );
   EXPECT_EQ( textOf( SubRouteMap{ "RM", true } ), "RM invert-result" );
   EXPECT_EQ( textOf( SubRouteMap{} ), "" );
}

}   // namespace
