// The program's answers about whole tables against those of the naive evaluator.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "command/RouteEvaluator.h"
#include "table/TableReader.h"
#include "tests/agent/RandomPolicy.h"
#include "text/LineLoader.h"

namespace Agent {
namespace {

constexpr uint64_t kMismatchesShown = 5;

ModelAnswer answerOf( const RouteEvaluator & evaluator, const RouteAnswer & answer, const TableRoute & route ) {
   const AgentResult result = answer.permitted ? answer.result : AgentResult( route );
   ModelAnswer all{ answer.permitted,   {}, result.metric(), result.tag(), result.route.localPreference, result.route.communities,
                    result.preference() };
   for( const uint32_t i : answer.sequences ) {
      const auto & sequence = evaluator.sequences().at( i );
      EXPECT_EQ( answer.permitted, sequence.permits );
      all.sequences.emplace_back( sequence.routeMap, sequence.number );
   }
   return all;
}

std::string textOf( const ModelAnswer & answer ) {
   std::ostringstream text;
   text << ( answer.permitted ? "permit" : "deny" );
   for( const auto & [ routeMap, number ] : answer.sequences ) text << ' ' << routeMap << ' ' << number;
   text << ", distance " << answer.distance << ", metric " << ( answer.metric.present() ? std::to_string( answer.metric.value() ) : "none" )
        << ", tag " << answer.tag << ", " << answer.communities.size() << " communities";
   return text.str();
}

/// Holds route by route of a table against the model.
class Comparer final : public TableHandler {
 public:
   /// `policy` outlives this, and has the route map in force.
   Comparer( const LivePolicy & policy, const std::string & routeMap )
         : routeMap_( routeMap ), model_( policy.text() ), evaluator_( policy.routeMap( routeMap ), policy.text().dialect ) {}

   void handleRoute( const TableRoute & route ) override {
      evaluator_.evaluate( route, answer_ );
      const ModelAnswer expected = model_.evaluate( routeMap_, route ), found = answerOf( evaluator_, answer_, route );
      ++routes;
      permitted += found.permitted;
      if( expected != found && ++mismatches <= kMismatchesShown )
         ADD_FAILURE() << routeMap_ << ", " << route.prefix.toStrep().view() << ": expected " << textOf( expected ) << "; found "
                       << textOf( found );
   }
   void handleBroken( const Broken & place ) override { ADD_FAILURE() << placeOf( place ) << ": " << place.reason; }

   uint64_t routes = 0;
   uint64_t permitted = 0;
   uint64_t mismatches = 0;

 private:
   std::string routeMap_;
   PolicyModel model_;
   RouteEvaluator evaluator_;
   RouteAnswer answer_;
};

void applyEdge( LivePolicy & policy ) {
   std::ifstream file( "agent/share/edge.conf", std::ios::binary );
   std::ostringstream content;
   content << file.rdbuf();
   LineLoader loader( Dialect::native );
   loader.load( "edge.conf", content.str() );
   ASSERT_TRUE( loader.errors().empty() );
   policy.apply( loader.text() );
   ASSERT_TRUE( policy.routeMap( "EDGE-IN" ) );
}

void readInto( const std::string & file, Comparer & comparer ) {
   FileSource source( file );
   const auto summary = readTable( source, comparer );
   EXPECT_EQ( summary.fault, "" ) << file;
   EXPECT_EQ( summary.routes, comparer.routes ) << file;
   EXPECT_EQ( comparer.mismatches, 0u ) << file;
}

TEST( WholeTable, answersForTheSampleTableAreThoseOfTheModel ) {
   LivePolicy policy;
   applyEdge( policy );
   for( const char * routeMap : { "EDGE-IN", "CUSTOMERS" } ) {
      Comparer comparer( policy, routeMap );
      readInto( "agent/share/sample-table.txt", comparer );
      EXPECT_EQ( comparer.routes, 275u );
   }
}

TEST( WholeTable, answersOfRandomPoliciesAreThoseOfTheModel ) {
   constexpr int kRoutes = 20000, kPolicies = 20;
   RandomPolicy random( 7 );
   std::vector<TableRoute> table;
   for( int i = 0; i < kRoutes; ++i ) table.push_back( random.route() );
   uint64_t permitted = 0, denied = 0;
   for( int i = 0; i < kPolicies; ++i ) {
      PolicyText text;
      for( int changes = 0; changes < 150; ++changes ) random.change( text );
      LivePolicy policy;
      policy.apply( text );
      for( const auto & [ name, routeMap ] : text.routeMaps ) {
         if( !policy.routeMap( name ) ) continue;
         Comparer comparer( policy, name );
         for( const auto & route : table ) comparer.handleRoute( route );
         EXPECT_EQ( comparer.mismatches, 0u ) << "policy " << i;
         permitted += comparer.permitted;
         denied += comparer.routes - comparer.permitted;
      }
   }
   EXPECT_GT( permitted, 10u * kRoutes );
   EXPECT_GT( denied, 10u * kRoutes );
}

TEST( WholeTable, answersForRealTablesAreThoseOfTheModel ) {
   const char * const folder = std::getenv( "ROUTEPOLICY_TEST_DATA" );
   if( !folder ) GTEST_SKIP() << "ROUTEPOLICY_TEST_DATA names no folder with routing tables";
   LivePolicy policy;
   applyEdge( policy );
   size_t tables = 0;
   for( const char * name :
        { "ipv4-table-2014.tsv.gz", "ipv6-table-2015.tsv.gz", "rib-ipv4-2014.bgpdump-m.xz", "rib-ipv6-2015.bgpdump-m.xz" } ) {
      const auto file = std::filesystem::path( folder ) / name;
      if( !std::filesystem::exists( file ) ) continue;
      ++tables;
      Comparer comparer( policy, "EDGE-IN" );
      readInto( file.string(), comparer );
      std::cout << name << ": " << comparer.routes << " routes, " << comparer.permitted << " permitted, " << comparer.mismatches
                << " answered otherwise than the model\n";
   }
   EXPECT_NE( tables, 0u ) << "none of the tables is in " << folder;
}

}   // namespace
}   // namespace Agent
