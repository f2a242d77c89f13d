#include "live/AgentSetters.h"

#include <gtest/gtest.h>

#include "tests/agent/LiveFixture.h"

namespace Agent {

namespace {

using Communities = std::vector<Community>;

TEST( AgentSetters, communitiesTakeThePlaceOfOthersOrJoinThem ) {
   const Communities has = { 2, 4 };
   const struct {
      const char * name;
      SetCommunity set;
      Communities expected;
   } rows[] = {
      { "replace", { { 1, 9 }, false }, { 1, 9 } },
      { "take off", { {}, false }, {} },
      { "add before, between and behind", { { 1, 3, 9 }, true }, { 1, 2, 3, 4, 9 } },
      { "add what is there", { { 2, 4 }, true }, { 2, 4 } },
      { "add nothing", { {}, true }, { 2, 4 } },
   };
   for( const auto & row : rows ) {
      AgentResult result;
      result.communities = has;
      CommunitySetter( row.set ).setValue( &result );
      EXPECT_EQ( result.communities, row.expected ) << row.name;
   }
}

TEST( AgentSetters, theResultOfAnotherAgentIsLeftAlone ) {
   Routing::Policy::Result_ other;
   const Routing::Policy::Result_ before = other;
   LocalPreferenceSetter( 5 ).setValue( &other );
   CommunitySetter( { { 1 }, false } ).setValue( &other );
   EXPECT_EQ( other, before );
   TagSetter( 5 ).setValue( &other );   // which every result has
   EXPECT_EQ( other.tag(), 5u );
}

TEST( AgentSetters, theirTextsSayWhatTheySet ) {
   EXPECT_EQ( TagSetter( 5 ).toStrep(), "TagSetter tag 5" );
   EXPECT_EQ( LocalPreferenceSetter( 5 ).toStrep(), "LocalPreferenceSetter 5" );
   EXPECT_EQ( CommunitySetter( { { community( 1, 2 ), community( 3, 4 ) }, true } ).toStrep(), "CommunitySetter 1:2 3:4 additive" );
   EXPECT_EQ( CommunitySetter( { { community( 1, 2 ) }, false } ).toStrep(), "CommunitySetter 1:2" );
   EXPECT_EQ( CommunitySetter( { {}, false } ).toStrep(), "CommunitySetter none" );
}

}   // namespace

}   // namespace Agent
