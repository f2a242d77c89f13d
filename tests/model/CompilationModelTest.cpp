// Random edits of a whole configuration: once all has settled, what is published is what the configuration says, and what a machine built
// fresh publishes; and it came in as few generations as it should.
//    COMPILATION_PROGRAMS=20000   that many programs
//    COMPILATION_SEED=17          this one alone
// A program that fails is shrunk and printed step by step.

#include "tests/model/CompilationModel.h"

#include <cstdlib>

#include "tests/model/RandomCases.h"
#include "tests/model/Shrinking.h"

namespace {

using namespace CompilationModel;
using Routing::Policy::CompileFixtures::Reaction;

unsigned numberOf( const char * variable, unsigned otherwise ) {
   const char * value = std::getenv( variable );
   return value ? unsigned( std::atoi( value ) ) : otherwise;
}

constexpr int kEdits = 150;

void runPrograms( unsigned share, Inside inside, bool scopes = false ) {
   const unsigned first = numberOf( "COMPILATION_SEED", 1 );
   const unsigned programs = std::getenv( "COMPILATION_SEED" ) ? 1 : numberOf( "COMPILATION_PROGRAMS", 1200 / kCaseShare ) / share;
   uint64_t publications = 0;
   for( unsigned seed = first; seed < first + programs && !testing::Test::HasFailure(); ++seed )
      Shrinking::run( seed, "COMPILATION_SEED=" + std::to_string( seed ), [ & ]( Choices & choices ) {
         Program program( choices, {}, inside );
         if( scopes ) program.useScopes();
         program.run( kEdits );
         publications += program.publications();
         if( !caseFailed() ) program.checkNothingIsLeft();
      } );
   if( programs > 20 && !testing::Test::HasFailure() ) {
      EXPECT_GT( publications, programs );   // else they do nothing
   }
}

TEST( CompilationModel, whatIsPublishedIsWhatIsConfigured ) {
   runPrograms( 1, Inside::changes );
}

TEST( CompilationModel, thingsMayComeAndGoInsideANotification ) {
   runPrograms( 4, Inside::everything );
}

TEST( CompilationModel, editScopesPutPublicationOff ) {
   runPrograms( 3, Inside::everything, true );
}

/// A configuration of one map with one sequence, and something to do inside the next publication of that map.
struct OneMap {
   explicit OneMap( const MatchRule & rule = {} ) {
      map = agent.config->routeMapIs( "A" );
      const auto entry = map->mapEntryIs( 10 );
      if( rule.option != MatchOption::none ) entry->matchRuleIs( rule );
      map->versionIs( 1 );
   }
   void start() {
      agent.start();
      while( agent.scheduler->runOne() ) {}
   }
   void settle() {
      const auto m = agent.config->routeMap( "A" );
      m->versionIs( m->version() + 1 );
      while( agent.scheduler->runOne() ) {}
   }
   Agent agent{ makeNode<Config>() };
   Ptr<Map> map;
   Ptr<RouteMapSymbol> symbol = agent.root->routeMapTable()->symbol( "A" );
   std::function<void()> once;
   Reaction reaction{ *symbol->notifier(), [ this ]( const Quoin::Change & ) {
                        if( const auto now = std::exchange( once, {} ) ) now();
                     } };
};

TEST( CompilationModel, aSequenceThatComesBackInsideItsDeletionIsFollowed ) {
   OneMap one;
   one.start();
   one.once = [ & ] { one.map->mapEntryIs( 10 ); };
   one.map->mapEntryDel( 10 );
   ASSERT_FALSE( one.once );
   one.map->mapEntry( 10 )->permitIs( Acl::MatchPermit::deny );
   one.settle();
   ASSERT_TRUE( one.symbol->rmStatus()->seqStatus( 10 ) );
   EXPECT_EQ( one.symbol->rmStatus()->seqStatus( 10 )->matchAction(), Acl::MatchPermit::deny );
}

TEST( CompilationModel, aListThatLandsInsideADeletionLeavesNothingOfTheSequence ) {
   MatchRule rule;
   rule.option = MatchOption::matchTagSet;
   rule.listName = "TS";
   OneMap one( rule );
   TagSetProducer tags( one.agent.root->tagSetTable(), "TS" );
   one.start();
   one.once = [ & ] { tags.publish(); };
   one.map->mapEntryDel( 10 );
   ASSERT_FALSE( one.once );
   ASSERT_TRUE( one.agent.machine->rmConfigSymbolReactorColl()->reactor( "A" )->pendingUpdate().empty() );   // its task would go astray
   one.settle();
   EXPECT_TRUE( one.symbol->rmStatus()->seqStatus().empty() );
}

TEST( CompilationModel, aMapThatIsReplacedWhileTheMachineIsMadeIsFollowed ) {
   OneMap one;
   one.once = [ & ] {
      one.agent.config->routeMapDel( "A" );
      one.agent.config->routeMapIs( "A" )->mapEntryIs( 20 );
   };
   one.start();
   ASSERT_FALSE( one.once );
   one.settle();
   ASSERT_TRUE( one.symbol->rmStatus() );
   EXPECT_TRUE( one.symbol->rmStatus()->seqStatus( 20 ) );
   EXPECT_FALSE( one.symbol->rmStatus()->seqStatus( 10 ) );
}

TEST( CompilationModel, aSeedSaysAll ) {
   std::set<std::string> texts;
   for( unsigned seed = 1; seed <= 10 && !HasFailure(); ++seed ) {
      Choices choices( seed ), again( seed );
      Program one( choices ), other( again );
      one.run( kEdits );
      other.run( kEdits );
      EXPECT_EQ( one.text(), other.text() ) << seed;
      texts.insert( one.text() );
   }
   EXPECT_GT( texts.size(), 5u );
}

}   // namespace
