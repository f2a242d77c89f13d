#include "live/OwnOptions.h"

#include <set>

#include <gtest/gtest.h>

#include "live/AgentRoot.h"
#include "tests/agent/LiveFixture.h"
#include "text/MatchForms.h"
#include "text/ValueOptions.h"

namespace Agent {

namespace {

using Routing::Policy::findMatchOption;
using Routing::RouteMap::MatchRule;

TEST( OwnOptions, everyClauseThatCanBeWrittenIsCompiledOnce ) {
   std::set<MatchOption> own;
   for( const auto & row : ownMatchOptions( Dialect::native ) ) {
      EXPECT_TRUE( own.insert( row.option ).second ) << row.option << " has two rows";
      EXPECT_TRUE( row.makeMatcher ) << row.option;
      EXPECT_EQ( matchForm( row.option ) == nullptr, row.option == kMatchStep ) << row.option << ": only a step can be written in no line";
      const auto * common = findMatchOption( row.option );
      // FRR's access lists have a row of their own, so the other dialect has one, too.
      const bool isLibrarys = common && common->makeMatcher && row.option != MatchOption::matchIpAccessList;
      EXPECT_FALSE( isLibrarys ) << row.option << " is compiled by the library";
   }
   for( const auto & form : matchForms() ) {
      const auto * row = findMatchOption( form.option, ownMatchOptions( Dialect::native ) );
      EXPECT_EQ( row && row->makeMatcher, !isValueOption( form.option ) ) << form.option << ": only a value of FRR alone is left to steps";
   }
}

TEST( OwnOptions, aNextHopIsAnAddressOrAListWhateverItsNameLooksLike ) {
   const auto & row = *findMatchOption( MatchOption::matchIpNexthop, ownMatchOptions( Dialect::native ) );
   EXPECT_FALSE( row.namesList( matchRuleOf( row.option, address( "10.0.0.1" ) ) ) );
   EXPECT_TRUE( row.namesList( matchRuleOf( row.option, named( "10.0.0.1" ) ) ) );
}

TEST( OwnOptions, aRuleHasWhatTheClauseSays ) {
   EXPECT_EQ( matchRuleOf( MatchOption::matchTag, number( 5 ) ), ( MatchRule{ .numericValue = 5, .option = MatchOption::matchTag } ) );
   EXPECT_EQ( matchRuleOf( MatchOption::matchIpPrefixList, named( "L", true ) ),
              ( MatchRule{ .listName = "L", .option = MatchOption::matchIpPrefixList, .invertResult = true } ) );
}

}   // namespace

}   // namespace Agent
