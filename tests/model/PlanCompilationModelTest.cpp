// The plans of compiled route maps. Random edits of a whole configuration: each published route map has a plan, which answers as the walk,
// and compilation does not change what a plan has read.
#include <gtest/gtest.h>

#include "policy/RouteMapPlan.h"
#include "tests/model/CompilationModel.h"
#include "tests/model/RandomCases.h"
#include "tests/policy/PlanFixtures.h"

namespace {

using namespace CompilationModel;

/// Hears of every publication of a program.
class Publications {
 public:
   explicit Publications( Choices & choices ) : choices_( choices ) {}
   void heard( const Ptr<const RouteMapStatus> & map ) {
      checkSeals();
      if( !map ) return;
      planned( *map );
      for( const auto & [ seqno, seq ] : map->seqStatus() )
         if( seq->subRouteMap() ) planned( *seq->subRouteMap() );
      ask( map );
      if( kept_.size() > 5 ) kept_.erase( kept_.begin() + choices_.below( unsigned( kept_.size() ) ) );
      kept_.push_back( map );
      ask( anyOf( choices_, kept_ ) );
   }

   void checkSeals() {
      EXPECT_EQ( Quoin::Seal::broken(), broken_ ) << "compilation has changed what a plan has read";
      broken_ = Quoin::Seal::broken();
   }

 private:
   // A route map without sequences needs no plan.
   static void planned( const RouteMapStatus & map ) {
      if( !map.seqStatus().empty() ) PlanTest::expectPlanned( map );
   }

   void ask( const Ptr<const RouteMapStatus> & map ) {
      planned( *map );
      const auto list = makeNode<RouteMapStatusList>();
      list->rmStatusIs( RmPrecedence::routeMapPrecedence, map );
      for( int i = 0; i < 3; ++i ) {
         const auto input = EvaluationModel::twinOf( anyOf( choices_, sampleRoutes() ) );
         PlanTest::expectAsTheWalk( { map, list }, PlanTest::Way( choices_.below( PlanTest::kWays ) ), input, journal_ );
      }
   }

   Choices & choices_;
   uint64_t broken_ = Quoin::Seal::broken();
   std::vector<Ptr<const RouteMapStatus>> kept_;
   PlanTest::Journal journal_;
};

void runPrograms( unsigned programs, Inside inside, bool scopes ) {
   forRandomCases( programs, [ & ]( Random & random ) {
      Choices asking( random() );
      Publications publications( asking );
      Program program(
         random, [ & ]( unsigned, const auto & map ) { publications.heard( map ); }, inside );
      if( scopes ) program.useScopes();
      program.run( 80 );
      publications.checkSeals();
   } );
}

TEST( PlanCompilationModel, eachGenerationHasAPlanThatAnswersAsTheWalk ) {
   runPrograms( 8, Inside::changes, false );
}

TEST( PlanCompilationModel, alsoIfEditsComeInsideNotifications ) {
   runPrograms( 4, Inside::everything, true );
}

}   // namespace
