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
      Communities communities;
      bool additive;
      Communities expected;
   } rows[] = {
      { "replace", { 1, 9 }, false, { 1, 9 } },
      { "take off", {}, false, {} },
      { "add before, between and behind", { 1, 3, 9 }, true, { 1, 2, 3, 4, 9 } },
      { "add what is there", { 2, 4 }, true, { 2, 4 } },
      { "add nothing", {}, true, { 2, 4 } },
   };
   for( const auto & row : rows ) {
      AgentResult result;
      result.route.communities = has;
      CommunitySetter( setCommunities( row.communities, row.additive ) ).setValue( &result );
      EXPECT_EQ( result.route.communities, row.expected ) << row.name;
   }
}

TEST( AgentSetters, theResultOfAnotherAgentIsLeftAlone ) {
   Routing::Policy::Result_ other;
   const Routing::Policy::Result_ before = other;
   LocalPreferenceSetter( 5 ).setValue( &other );
   CommunitySetter( setCommunities( { 1 } ) ).setValue( &other );
   EXPECT_EQ( other, before );
   TagSetter( 5 ).setValue( &other );   // which every result has
   EXPECT_EQ( other.tag(), 5u );
}

TEST( AgentSetters, theirTextsSayWhatTheySet ) {
   EXPECT_EQ( TagSetter( 5 ).toStrep(), "TagSetter tag 5" );
   EXPECT_EQ( LocalPreferenceSetter( 5 ).toStrep(), "LocalPreferenceSetter 5" );
   EXPECT_EQ( CommunitySetter( setCommunities( { community( 1, 2 ), community( 3, 4 ) }, true ) ).toStrep(),
              "CommunitySetter 1:2 3:4 additive" );
   EXPECT_EQ( CommunitySetter( setCommunities( { community( 1, 2 ) } ) ).toStrep(), "CommunitySetter 1:2" );
   EXPECT_EQ( CommunitySetter( setCommunities( {} ) ).toStrep(), "CommunitySetter none" );
}

}   // namespace

}   // namespace Agent
