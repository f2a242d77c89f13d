#include "policy/PolicyEvalContext.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;
using testing::ElementsAre;
using testing::IsEmpty;

using LogPtr = PolicyEvalContext::LogPtr;

struct PolicyEvalContextTest : testing::Test {
   static LogPtr newLog() { return makeNode<PolicyEvaluationLog>( routeMap( "RM" ) ); }
   std::vector<LogPtr> stack() const {
      std::vector<LogPtr> logs;
      for( uint32_t i = 0; logs.size() < context.callStack().count() && i < 100; ++i )
         if( context.callStack().find( i ) ) logs.push_back( context.callStack( i ) );
      return logs;
   }
   std::vector<Ptr<const EvaluationLogBase>> queue() const { return { context.evaluationLog().begin(), context.evaluationLog().end() }; }
   PolicyEvalContext context;
   const LogPtr a = newLog(), b = newLog(), c = newLog(), null{};
};

TEST_F( PolicyEvalContextTest, startsWithNothing ) {
   EXPECT_FALSE( context.enableTrailmark() );
   EXPECT_FALSE( context.log() );
   EXPECT_THAT( queue(), IsEmpty() );
   EXPECT_THAT( stack(), IsEmpty() );
}

TEST_F( PolicyEvalContextTest, enableTrailmarkIsAPlainSwitch ) {
   context.enableTrailmarkIs( true );
   EXPECT_TRUE( context.enableTrailmark() );
   context.enableTrailmarkIs( false );
   EXPECT_FALSE( context.enableTrailmark() );
}

TEST_F( PolicyEvalContextTest, aLogIsInstalledAsTheOnlyElementOfTheCallStack ) {
   context.callStackPush( b );
   context.callStackPush( c );
   context.logIs( a );
   EXPECT_EQ( context.log(), a );
   EXPECT_THAT( stack(), ElementsAre( a ) );
   EXPECT_EQ( context.callStack( 0 ), a );
}

TEST_F( PolicyEvalContextTest, theLogThatIsInstalledAlreadyChangesNothing ) {
   context.logIs( a );
   context.callStackPush( b );
   const uint32_t version = context.callStack().version();
   context.logIs( a );
   EXPECT_EQ( context.log(), a );
   EXPECT_THAT( stack(), ElementsAre( a, b ) );
   EXPECT_EQ( context.callStack().version(), version );
}

TEST_F( PolicyEvalContextTest, nullInstalledLeavesOneElementWithANullLog ) {
   context.logIs( a );
   context.callStackPush( b );
   context.logIs( nullptr );
   EXPECT_FALSE( context.log() );
   EXPECT_THAT( stack(), ElementsAre( null ) );
   EXPECT_FALSE( context.callStackTop() );
   EXPECT_FALSE( context.callStackPeek() );
   EXPECT_FALSE( context.callStackPop() );
   EXPECT_TRUE( context.callStack().empty() );   // there was one
}

TEST_F( PolicyEvalContextTest, installingLeavesTheQueueAlone ) {
   context.evaluationLogEnq( b );
   context.logIs( a );
   context.logIs( nullptr );
   EXPECT_THAT( queue(), ElementsAre( b ) );
}

TEST_F( PolicyEvalContextTest, theCallStackIsLastInFirstOut ) {
   for( const auto & log : { a, null, c } ) context.callStackPush( log );
   EXPECT_THAT( stack(), ElementsAre( a, null, c ) );
   EXPECT_EQ( context.callStackTop(), c );
   EXPECT_EQ( context.callStackPeek(), c );
   EXPECT_EQ( context.callStackBottom(), a );
   EXPECT_EQ( context.callStackPop(), c );
   EXPECT_FALSE( context.callStackTop() );
   EXPECT_EQ( context.callStackBottom(), a );
   EXPECT_FALSE( context.callStackPop() );   // the null log
   EXPECT_EQ( context.callStackPop(), a );
   EXPECT_TRUE( context.callStack().empty() );
}

TEST_F( PolicyEvalContextTest, anEmptyCallStackGivesNullAndStaysAsItIs ) {
   context.logIs( a );
   context.callStackDelAll();
   const uint32_t version = context.callStack().version();
   EXPECT_FALSE( context.callStackPop() );
   EXPECT_FALSE( context.callStackPeek() );
   EXPECT_FALSE( context.callStackTop() );
   EXPECT_FALSE( context.callStackBottom() );
   EXPECT_FALSE( context.callStack( 0 ) );
   context.callStackDel( 0 );
   EXPECT_EQ( context.callStack().version(), version );
   EXPECT_EQ( context.log(), a );
}

TEST_F( PolicyEvalContextTest, peekGoesByIndexAndTopByPlace ) {
   const struct {
      const char * name;
      std::vector<uint32_t> deleted;   // of the indices 0 to 2
      LogPtr peek, top, bottom;
   } rows[] = {
      { "none", {}, c, c, a },
      { "the bottom", { 0 }, b, c, b },
      { "the middle", { 1 }, null, c, a },
      { "the top", { 2 }, b, b, a },
      { "bottom and middle", { 0, 1 }, null, c, c },
      { "middle and top", { 1, 2 }, a, a, a },
      { "all", { 0, 1, 2 }, null, null, null },
      { "what is not there", { 3, 4294967295 }, c, c, a },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      context.callStackDelAll();
      for( const auto & log : { a, b, c } ) context.callStackPush( log );
      for( const uint32_t index : row.deleted ) context.callStackDel( index );
      EXPECT_EQ( context.callStackPeek(), row.peek );
      EXPECT_EQ( context.callStackTop(), row.top );
      EXPECT_EQ( context.callStackBottom(), row.bottom );
   }
}

TEST_F( PolicyEvalContextTest, resetLeavesOneElementAndTheInstalledLog ) {
   context.logIs( a );
   context.callStackPush( b );
   context.callStackReset( c );
   EXPECT_EQ( context.log(), a );
   EXPECT_THAT( stack(), ElementsAre( c ) );
   context.callStackReset( nullptr );
   EXPECT_EQ( context.log(), a );
   EXPECT_THAT( stack(), ElementsAre( null ) );
}

TEST_F( PolicyEvalContextTest, deletingAllEmptiesTheCallStackAlone ) {
   context.logIs( a );
   context.evaluationLogEnq( b );
   context.callStackDelAll();
   EXPECT_THAT( stack(), IsEmpty() );
   EXPECT_EQ( context.log(), a );
   EXPECT_THAT( queue(), ElementsAre( b ) );
}

TEST_F( PolicyEvalContextTest, theQueueIsFirstInFirstOut ) {
   const auto other = makeNode<FakeLog>( "other" );
   context.evaluationLogEnq( a );
   context.evaluationLogEnq( other );
   context.evaluationLogEnq( a );   // what stands in it may stand in it again
   context.evaluationLogEnq( c );
   EXPECT_EQ( context.evaluationLogFront(), a );
   EXPECT_EQ( context.evaluationLogBack(), c );
   EXPECT_THAT( queue(), ElementsAre( a, other, a, c ) );
   EXPECT_EQ( context.evaluationLogDeq(), a );
   EXPECT_EQ( context.evaluationLogDeq(), other );
   EXPECT_EQ( context.evaluationLogFront(), a );
   EXPECT_EQ( context.evaluationLogDeq(), a );
   EXPECT_EQ( context.evaluationLogDeq(), c );
   EXPECT_TRUE( context.evaluationLog().empty() );
}

TEST_F( PolicyEvalContextTest, anEmptyQueueGivesNull ) {
   EXPECT_FALSE( context.evaluationLogFront() );
   EXPECT_FALSE( context.evaluationLogBack() );
   EXPECT_FALSE( context.evaluationLogDeq() );
   context.evaluationLogDelAll();
   EXPECT_EQ( context.evaluationLog().version(), 0u );
}

}   // namespace
