// The naive evaluator of FRR's rules against what bgpd answered.
#include "tests/agent/FrrModel.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/agent/FrrComparison.h"
#include "tests/agent/FrrFixture.h"
#include "text/LineLoader.h"

namespace Agent {

namespace {

/// Lines as the agent reads them.
class Read {
 public:
   /// `refused`: the lines that bgpd refuses. The agent may refuse them too.
   explicit Read( const std::vector<std::string> & lines, const std::vector<std::string> & refused = {} )
         : lines_( lines ), refused_( refused ) {
      std::string bytes;
      for( const auto & line : lines ) bytes += line + "\n";
      loader_.load( "p", bytes );
   }
   const PolicyText & text() const { return loader_.text(); }
   /// Why not all lines were read; empty if they were.
   std::string fault() const {
      for( const auto & error : loader_.errors() )
         if( std::find( refused_.begin(), refused_.end(), lines_[ error.place.line - 1 ] ) == refused_.end() )
            return loader_.toString( error );
      return text().skippedStanzas == 0 ? "" : std::to_string( text().skippedStanzas ) + " stanzas were skipped";
   }

 private:
   std::vector<std::string> lines_, refused_;
   LineLoader loader_{ Dialect::frr };
};

/// The first difference between the model and bgpd; empty if there is none.
std::string differenceOf( const PolicyText & text, const FrrTable & table, const FrrPolicy & policy ) {
   const FrrModel model( text );
   if( !model.hasAnswer( kFrrRouteMap ) ) return "the model has no answer";
   for( size_t i = 0; i < table.routes.size(); ++i ) {
      const FrrRoute & came = table.routes[ i ];
      const auto & expected = policy.after[ i ];
      const FrrAnswer answer = model.evaluate( kFrrRouteMap, came.route );
      FrrRoute becomes{ answer.route, came.others };   // what a TableRoute cannot hold does not change
      becomes.route.otherNextHop = {};                 // bgpd does not show it
      if( answer.permitted == expected.has_value() && ( !expected || becomes == *expected ) ) continue;
      const std::string ours = answer.permitted ? attributesOf( answer.route ) : "denied";
      const std::string theirs = expected ? attributesOf( expected->route ) : "denied";
      return std::string( came.route.prefix.toStrep().view() ) + "\n model " + ours + "\n bgpd  " + theirs;
   }
   // And the agent answers like the model.
   LivePolicy policyInForce( Dialect::frr );
   policyInForce.apply( text );
   std::vector<TableRoute> routes;
   for( const auto & came : table.routes ) routes.push_back( came.route );
   return differenceToModel( policyInForce, kFrrRouteMap, routes );
}

/// Why the policy cannot be compared, or how the model differs from bgpd; empty if neither.
std::string faultOf( const FrrTable & table, const FrrPolicy & policy ) {
   const Read read( policy.lines, policy.refused );
   const std::string fault = read.fault();
   return fault.empty() ? differenceOf( read.text(), table, policy ) : fault;
}

std::string textOf( const FrrPolicy & policy ) {
   std::string text = policy.name + ": " + policy.row + "\n";
   for( const auto & line : policy.lines ) text += line + "\n";
   return text;
}

TEST( FrrModel, answersTheRowsLikeBgpd ) {
   const auto files = frrRowFiles();
   EXPECT_GE( files.size(), 67u );
   for( const auto & file : files ) {
      const FrrFixture fixture = readFrrFixture( file );
      const FrrTable & table = fixture.tables.at( 0 );
      const FrrPolicy & policy = table.policies.at( 0 );
      EXPECT_EQ( faultOf( table, policy ), "" ) << textOf( policy );
   }
}

// ROUTEPOLICY_FRR_ANSWERS in the environment names other answers (scripts/compare-frr).
TEST( FrrModel, answersRandomPoliciesLikeBgpd ) {
   const char * const answers = std::getenv( "ROUTEPOLICY_FRR_ANSWERS" );
   const FrrFixture fixture = readFrrFixture( answers ? answers : "random.json.gz" );
   size_t policies = 0;
   for( const auto & table : fixture.tables )
      for( const auto & policy : table.policies ) {
         ++policies;
         EXPECT_EQ( faultOf( table, policy ), "" ) << textOf( policy );
      }
   EXPECT_GE( policies, answers ? 1u : 400u );
}

// From one random policy to the next: first all but its lists, then these too, so that every kind of clause is edited where it is in force.
TEST( FrrModel, answersLikeAPolicyThatIsEdited ) {
   constexpr size_t kRoutes = 20;
   const FrrFixture fixture = readFrrFixture( "random.json.gz" );
   LivePolicy edited( Dialect::frr );
   size_t compared = 0;
   for( const auto & table : fixture.tables ) {
      std::vector<TableRoute> routes;
      for( const auto & came : table.routes )
         if( routes.size() < kRoutes ) routes.push_back( came.route );
      for( const auto & policy : table.policies ) {
         const Read next( policy.lines, policy.refused );
         PolicyText mixed = edited.text();
         mixed.routeMaps = next.text().routeMaps;
         for( const auto & text : { mixed, next.text() } ) {
            edited.apply( text );
            if( !FrrModel( text ).hasAnswer( kFrrRouteMap ) ) continue;
            ++compared;
            ASSERT_EQ( differenceToModel( edited, kFrrRouteMap, routes ), "" ) << textOf( policy );
         }
         ASSERT_TRUE( edited.verify().empty() ) << textOf( policy );
      }
   }
   EXPECT_GE( compared, 790u );
}

// ---- What has no answer of bgpd.

PolicyText read( const std::vector<std::string> & lines ) {
   return Read( lines ).text();
}

TEST( FrrModel, tenNestedCallsHaveAnAnswerElevenHaveNot ) {
   std::vector<std::string> lines;
   for( int i = 0; i < 11; ++i ) {
      lines.push_back( "route-map M" + std::to_string( i ) + " permit 10" );
      lines.push_back( "call M" + std::to_string( i + 1 ) );
   }
   lines.push_back( "route-map M11 permit 10" );
   const PolicyText text = read( lines );
   const FrrModel model( text );
   EXPECT_TRUE( model.hasAnswer( "M1" ) );
   EXPECT_FALSE( model.hasAnswer( "M0" ) );
   EXPECT_TRUE( model.evaluate( "M1", {} ).permitted );
   EXPECT_EQ( model.evaluate( "M1", {} ).matched.size(), 11u );
}

TEST( FrrModel, aCycleOfCallsHasNoAnswer ) {
   const PolicyText text = read( { "route-map A permit 10", "call B", "route-map B permit 10", "call A", "route-map C permit 10", "call A",
                                   "route-map D deny 10", "call A", "route-map E permit 10", "call D", "call UNDEFINED" } );
   const FrrModel model( text );
   for( const char * name : { "A", "B", "C", "UNDEFINED" } ) EXPECT_FALSE( model.hasAnswer( name ) ) << name;
   // A deny ignores its call.
   for( const char * name : { "D", "E" } ) EXPECT_TRUE( model.hasAnswer( name ) ) << name;
}

TEST( FrrModel, tellsTheSequencesThatMatched ) {
   const PolicyText text = read( { "route-map M permit 10", "set tag 1", "call S", "on-match next", "route-map M deny 20", "match tag 9",
                                   "route-map M permit 30", "match tag 2", "set distance 7", "route-map S permit 5", "set tag 2" } );
   const FrrAnswer answer = FrrModel( text ).evaluate( "M", {} );
   EXPECT_TRUE( answer.permitted );
   EXPECT_EQ( answer.matched, ( FrrAnswer::Sequences{ { "M", 10 }, { "S", 5 }, { "M", 30 } } ) );
   EXPECT_EQ( answer.route.tag, 2u );
   EXPECT_EQ( answer.distance, 7 );
}

TEST( FrrModel, aDeniedRouteIsAsItCame ) {
   const PolicyText text = read( { "route-map M permit 10", "set tag 1", "set distance 7", "on-match next", "route-map M deny 20" } );
   const FrrAnswer answer = FrrModel( text ).evaluate( "M", {} );
   EXPECT_EQ( answer, ( FrrAnswer{ false, { { "M", 10 }, { "M", 20 } }, {}, {} } ) );
}

TEST( FrrModel, aClauseThatFrrDoesNotHaveIsAnError ) {
   for( const char * clause : { "match tag-set T", "match ospf-instance 1", "match isis-instance 1",
                                "match ip address prefix-list P invert", "call S invert" } ) {
      LineLoader native( Dialect::native );
      native.load( "p", std::string( "route-map M permit 10\n" ) + clause );
      EXPECT_THROW( FrrModel( native.text() ).evaluate( "M", {} ), std::invalid_argument ) << clause;
      EXPECT_NE( Read( { "route-map M permit 10", clause } ).fault(), "" ) << clause;
   }
}

}   // namespace

}   // namespace Agent
