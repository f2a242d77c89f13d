#include "live/ClauseKind.h"

#include <set>

#include <gtest/gtest.h>

#include "tests/agent/LiveFixture.h"

namespace Agent {

namespace {

using Routing::RouteMap::MatchRule;

TEST( ClauseKind, everyOptionHasOneAndCommonOptionsHaveNone ) {
   std::set<MatchOption> own;
   for( const auto & kind : ownClauseKinds() ) {
      EXPECT_TRUE( own.insert( kind.option ).second ) << kind.option;
      EXPECT_EQ( ownClauseKind( kind.option ), &kind ) << kind.option;
   }
   for( const auto option : { MatchOption::matchIpAccessList, MatchOption::matchIpPrefixList, MatchOption::matchTag } )
      EXPECT_EQ( ownClauseKind( option ), nullptr ) << option;
}

TEST( ClauseKind, aNextHopIsAnAddressOrAListWhateverItsNameLooksLike ) {
   const ListTables tables{ Quoin::makeNode<Routing::Policy::PolicyRoot>(),
                            Quoin::makeNode<Routing::RouteMap::IpAccessListSymbolDedupTable>() };
   const auto & kind = *ownClauseKind( MatchOption::matchIpNexthop );
   EXPECT_EQ( kind.symbolOf( matchRuleOf( kind.option, address( "10.0.0.1" ) ), tables ), nullptr );
   const auto list = kind.symbolOf( matchRuleOf( kind.option, named( "10.0.0.1" ) ), tables );
   ASSERT_NE( list, nullptr );
   EXPECT_EQ( list->name(), "10.0.0.1" );
}

TEST( ClauseKind, aRuleHasWhatTheClauseSays ) {
   EXPECT_EQ( matchRuleOf( MatchOption::matchTag, number( 5 ) ), ( MatchRule{ .numericValue = 5, .option = MatchOption::matchTag } ) );
   EXPECT_EQ( matchRuleOf( MatchOption::matchIpPrefixList, named( "L", true ) ),
              ( MatchRule{ .listName = "L", .option = MatchOption::matchIpPrefixList, .invertResult = true } ) );
}

}   // namespace

}   // namespace Agent
