// The library's evaluation against the model's, on hand-made policies and on thousands of random ones. Environment:
//    ROUTEPOLICY_MODEL_CASES=100000   random policies per test, instead of each test's own number, 1500 to 10000 in a release
//    ROUTEPOLICY_MODEL_SEED=4711      the first policy's seed; the others follow
#include "tests/model/EvaluationModel.h"
#include "policy/MatchedRouteMapSequences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/model/EvaluationTwin.h"
#include "tests/model/RouteMapGenerator.h"
#include "tests/model/Shrinking.h"

namespace EvaluationModel {
namespace {

// ---- hand-made policies

// What stands where in the hand-made policies.
enum : size_t { kHolds, kFails };
enum : size_t { kA, kB, kC, kLate1, kLate10, kMetric100 };
enum : size_t { kPermits, kDenies, kUndefined };

const std::vector<Clause> kHolding = { { 115, kHolds } };
const std::vector<Clause> kFailing = { { 115, kFails } };

std::vector<Clause> sets( size_t setter ) {
   return { { 9, setter } };
}

Policy policyOf( std::vector<RouteMap> routeMaps, std::vector<List> lists = {} ) {
   Policy p;
   p.matchers = { { Fixed{ true } }, { Fixed{ false } } };
   p.setters = { { SetNothing{} }, { SetNothing{} }, { SetNothing{} }, { SetLate{ 1 } }, { SetLate{ 10 } }, { SetMetric{ 100 } } };
   p.functions = { { Body{ 2, 7 } }, { Body{ 3, 8 } }, {} };
   p.routeMaps = std::move( routeMaps );
   p.lists = std::move( lists );
   return p;
}

std::string differences( const Policy & policy, const Route & route = {}, const Result & before = {} ) {
   Twin twin( policy );
   std::string all;
   for( const Watching watching : kAllWatching ) all += differencesOf( twin, route, before, watching );
   return all;
}

// The setters that ran, late ones as "late".
std::vector<std::string> ran( const Result & result ) {
   static const char * const kNames[] = { "A", "B", "C", "1", "10", "100" };
   std::vector<std::string> names;
   for( const Event & e : result.events )
      if( e.kind == Event::set || e.kind == Event::setLate )
         names.push_back( ( e.kind == Event::set ? "" : "late " ) + std::string( kNames[ e.what ] ) );
   return names;
}

TEST( EvaluationModel, answersHandMadeRouteMapsAsWritten ) {
   const RouteMap permitting{ "SUB", { { .number = 5, .setters = sets( kB ) } } };
   const RouteMap denying{ "SUB", { { .number = 5, .permit = false } } };
   const RouteMap empty{ "SUB", {} };
   struct Row {
      const char * name;
      std::vector<RouteMap> routeMaps;   // the last one is asked
      bool permitted;
      std::vector<std::string> ran;
      bool defaultDeny;
   };
   const Row rows[] = {
      { "no sequences", { empty }, false, {}, true },
      { "a sequence without matchers", { { "R", { { .number = 10, .setters = sets( kA ) } } } }, true, { "A" }, false },
      { "a sequence whose matcher fails", { { "R", { { .number = 10, .matchers = kFailing } } } }, false, {}, true },
      { "one of two matchers fails", { { "R", { { .number = 10, .matchers = { { 115, kHolds }, { 131, kFails } } } } } }, false, {}, true },
      { "the lowest number is first, wherever it stands",
        { { "R", { { .number = 20, .permit = false }, { .number = 10, .setters = sets( kA ) } } } },
        true,
        { "A" },
        false },
      { "a deny whose matcher fails is passed over",
        { { "R", { { .number = 10, .permit = false, .matchers = kFailing }, { .number = 20, .setters = sets( kA ) } } } },
        true,
        { "A" },
        false },
      { "continue beyond the end",
        { { "R", { { .number = 10, .setters = sets( kA ), .continueTo = 30 }, { .number = 20, .permit = false } } } },
        true,
        { "A" },
        false },
      { "continue to a deny",
        { { "R", { { .number = 10, .setters = sets( kA ), .continueTo = 20 }, { .number = 20, .permit = false } } } },
        false,
        {},
        false },
      { "continue to what does not match, and nothing later does",
        { { "R", { { .number = 10, .setters = sets( kA ), .continueTo = 20 }, { .number = 20, .permit = false, .matchers = kFailing } } } },
        true,
        { "A" },
        false },
      { "continue to a number that is missing lands on the next higher",
        { { "R",
            { { .number = 10, .setters = sets( kA ), .continueTo = 21 },
              { .number = 20, .permit = false },
              { .number = 30, .setters = sets( kB ) } } } },
        true,
        { "A", "B" },
        false },
      { "continue passes over what lies between",
        { { "R",
            { { .number = 10, .setters = sets( kA ), .continueTo = 30 },
              { .number = 20, .permit = false },
              { .number = 30, .setters = sets( kC ) } } } },
        true,
        { "A", "C" },
        false },
      { "a sub route map that permits runs its setters first",
        { permitting, { "R", { { .number = 10, .setters = sets( kA ), .subRouteMap = 0 } } } },
        true,
        { "B", "A" },
        false },
      { "a sub route map that denies, of a deny: skipped all the same",
        { denying, { "R", { { .number = 10, .permit = false, .subRouteMap = 0 }, { .number = 20, .setters = sets( kC ) } } } },
        true,
        { "C" },
        false },
      { "an inverted sub route map that permits: skipped, its setters dropped",
        { permitting,
          { "R",
            { { .number = 10, .setters = sets( kA ), .subRouteMap = 0, .subInvert = true }, { .number = 20, .setters = sets( kC ) } } } },
        true,
        { "C" },
        false },
      { "an inverted sub route map that denies: only the parent's setters",
        { denying, { "R", { { .number = 10, .setters = sets( kA ), .subRouteMap = 0, .subInvert = true } } } },
        true,
        { "A" },
        false },
      { "what an inverted sub route map matched before it denied is dropped",
        { { "SUB", { { .number = 5, .setters = sets( kB ), .continueTo = 6 }, { .number = 6, .permit = false } } },
          { "R", { { .number = 10, .setters = sets( kA ), .subRouteMap = 0, .subInvert = true } } } },
        true,
        { "A" },
        false },
      { "an empty sub route map, inverted: passed",
        { empty, { "R", { { .number = 10, .setters = sets( kA ), .subRouteMap = 0, .subInvert = true } } } },
        true,
        { "A" },
        false },
      { "nested: the innermost first",
        { { "C", { { .number = 1, .setters = sets( kC ) } } },
          { "B", { { .number = 1, .setters = sets( kB ), .subRouteMap = 0 } } },
          { "A", { { .number = 1, .setters = sets( kA ), .subRouteMap = 1 } } } },
        true,
        { "C", "B", "A" },
        false },
      { "setters by option, not by place",
        { { "R", { { .number = 10, .setters = { { 9, kB }, { 1, kA }, { 200, kC } } } } } },
        true,
        { "A", "B", "C" },
        false },
      { "a late setter, registered twice, runs once and last",
        { { "R",
            { { .number = 10, .setters = { { 1, kLate1 }, { 9, kLate10 } }, .continueTo = 20 },
              { .number = 20, .setters = { { 1, kLate1 }, { 9, kMetric100 } } } } } },
        true,
        { "1", "10", "1", "100", "late 1", "late 10" },
        false },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.name );
      const Policy policy = policyOf( row.routeMaps );
      const size_t asked = policy.routeMaps.size() - 1;
      const Route route;
      Matched matched;
      RouteMapLog log{ asked };
      Evaluation model( policy, route );
      Result result;
      EXPECT_EQ( model.routeMap( asked, matched, &log ), row.permitted );
      if( row.permitted ) model.applySetters( matched, result );
      EXPECT_EQ( ran( result ), row.ran );
      EXPECT_EQ( log.permitResult, row.permitted );
      EXPECT_EQ( log.defaultDeny, row.defaultDeny );
      EXPECT_EQ( differences( policy ), "" );
   }
}

TEST( EvaluationModel, lateSettersSeeTheFinalValues ) {
   const Policy policy = policyOf( { { "R", { { .number = 10, .setters = { { 1, kLate1 }, { 9, kMetric100 }, { 200, kLate10 } } } } } } );
   Result result;
   Evaluation( policy, Route() ).applySetters( { { 0, 10 } }, result );
   EXPECT_EQ( result.metric, Metric( 111 ) );
   ASSERT_TRUE( result.deferred );
   EXPECT_TRUE( result.deferred->empty() ) << "the list stays, emptied";
   EXPECT_EQ( differences( policy ), "" );
}

TEST( EvaluationModel, answersHandMadeListsAsWritten ) {
   enum : size_t { kEmpty, kPermitA, kPermitB, kDeny, kPermitC };
   const std::vector<RouteMap> routeMaps = { { "EMPTY", {} },
                                             { "A", { { .number = 1, .setters = sets( kA ) } } },
                                             { "B", { { .number = 1, .setters = sets( kB ) } } },
                                             { "DENY", { { .number = 1, .permit = false } } },
                                             { "C", { { .number = 1, .setters = sets( kC ) } } } };
   using Ran = std::vector<std::string>;
   struct Row {
      const char * name;
      List list;
      bool permitted;
      Ran ranAt4;     // on the result of the function's context
      Ran ranAt6;     // on that of the one for maintenance
      Matched left;   // for the caller to apply
   };
   const Row rows[] = {
      { "nothing", {}, true, {}, {}, {} },
      { "only an empty route map", { { { 4, kEmpty } } }, true, {}, {}, {} },
      { "ascending, all of them", { { { 5, kPermitB }, { 0, kPermitA } } }, true, {}, {}, { { kPermitA, 1 }, { kPermitB, 1 } } },
      { "a deny ends it", { { { 5, kPermitB }, { 4, kDeny }, { 0, kPermitA } } }, false, {}, {}, { { kPermitA, 1 } } },
      { "a deny at the marker counts", { { { 8, kDeny } } }, false, {}, {}, {} },
      { "a function displaces the route map", { { { 4, kDeny } }, kPermits }, true, {}, {}, {} },
      { "a function takes what came before it",
        { { { 0, kPermitA }, { 3, kPermitC }, { 5, kPermitB } }, kPermits },
        true,
        { "A", "C" },
        {},
        { { kPermitB, 1 } } },
      { "a function behind the last route map", { { { 3, kPermitA } }, kPermits }, true, { "A" }, {}, {} },
      { "a function denies", { { { 0, kPermitA }, { 5, kPermitB } }, kDenies }, false, { "A" }, {}, {} },
      { "a function is undefined: nothing is applied", { { { 0, kPermitA } }, kUndefined }, false, {}, {}, { { kPermitA, 1 } } },
      { "a function for maintenance runs behind 5",
        { { { 4, kPermitA }, { 5, kPermitB }, { 7, kPermitC } }, {}, kPermits },
        true,
        {},
        { "A", "B" },
        { { kPermitC, 1 } } },
      { "a function for maintenance displaces the route map", { { { 6, kDeny } }, {}, kPermits }, true, {}, {}, {} },
      { "both functions, first that of the point",
        { { { 0, kPermitA }, { 5, kPermitB }, { 255, kPermitC } }, kPermits, kPermits },
        true,
        { "A" },
        { "B" },
        { { kPermitC, 1 } } },
      { "the first of two functions denies", { { { 0, kPermitA } }, kDenies, kPermits }, false, { "A" }, {}, {} },
      { "the other functions take no part", { { { 4, kPermitA } }, {}, {}, kDenies, kUndefined }, true, {}, {}, { { kPermitA, 1 } } },
   };
   for( const Row & row : rows ) {
      SCOPED_TRACE( row.name );
      const Policy policy = policyOf( routeMaps, { row.list } );
      Result at4, at6;
      Matched left;
      std::vector<FinishedLog> queue;
      EXPECT_EQ( Evaluation( policy, Route() ).list( row.list, left, &at4, &at6, false, queue ), row.permitted );
      EXPECT_EQ( ran( at4 ), row.ranAt4 );
      EXPECT_EQ( ran( at6 ), row.ranAt6 );
      EXPECT_EQ( left, row.left );
      EXPECT_EQ( differences( policy ), "" );
   }
}

TEST( EvaluationModel, rendersTheSample ) {
   const Policy policy = policyOf(
      { { "SUB", { { .number = 5 } } },
        { "RM1",
          { { .number = 10, .matchers = kHolding, .subRouteMap = 0, .continueTo = 20 }, { .number = 20, .matchers = kFailing } } } } );
   const Route route;
   RouteMapLog log{ 1 };
   Matched matched;
   EXPECT_TRUE( Evaluation( policy, route ).routeMap( 1, matched, &log ) );
   EXPECT_EQ( text( policy, log, 0 ),
              "<address>\n"
              "Route Map Name: RM1\n"
              "Matcher debug key: 10\n"
              "   <address>\n"
              "   seqno: 10\n"
              "   Seq matched \n"
              "   Result: called a sub route map: \n"
              "      <address>\n"
              "      Route Map Name: SUB\n"
              "      Matcher debug key: 5\n"
              "         <address>\n"
              "         seqno: 5\n"
              "         The sequence had no matchers\n"
              "         This sequence is permit\n"
              "      result was permit\n"
              "      end SUB\n"
              "   This sequence is permit\n"
              "   Continue triggered to seq 20\n"
              "Matcher debug key: 20\n"
              "   <address>\n"
              "   seqno: 20\n"
              "   The following matcher failed:\n"
              "   matchTag\n"
              "result was permit\n"
              "end RM1\n" );
   EXPECT_EQ(
      json( policy, log ),
      R"("rmname":"RM1","seqs":{"10":{"passedMatchers":["matchTag"],"subRouteMap":{"rmname":"SUB","seqs":{"5":{"passedMatchers":[],)"
      R"("hadNoMatchers":true,"matchActionDeny":false,"result":true,"continue":0}},"result":true,"defaultDeny":false},)"
      R"("subRouteMapInvertResult":false,"hadNoMatchers":false,"matchActionDeny":false,"result":true,"continue":20},)"
      R"("20":{"passedMatchers":[],"failingMatcher":"matchTag","hadNoMatchers":false,"matchActionDeny":false,"result":false,)"
      R"("continue":0}},"result":true,"defaultDeny":false)" );
   EXPECT_EQ( differences( policy ), "" );
}

TEST( EvaluationModel, aComparisonTellsWhatDiffers ) {
   const Policy ours = policyOf( { { "R", { { .number = 10, .permit = false } } } } );
   const Policy theirs = policyOf( { { "R", { { .number = 10, .matchers = kFailing, .setters = sets( kA ) } } } } );
   const Route route;
   const Result before;
   Twin twin( theirs );
   Comparison comparison( twin, route, before, Watching::log );
   comparison.routeMap( ours, 0, twin.routeMaps[ 0 ] );
   for( const char * what : { "matchers asked", "R 10, failedMatcher", "R 10, matchActionDeny", "R, defaultDeny", "text", "json" } )
      EXPECT_THAT( comparison.differences(), testing::HasSubstr( what ) );
   EXPECT_THAT( comparison.differences(), testing::Not( testing::HasSubstr( "evalRouteMapMatchers" ) ) ) << "both deny";
}

// ---- random policies

uint64_t environment( const char * name, uint64_t otherwise ) {
   const char * text = std::getenv( name );
   return text && *text ? std::strtoull( text, nullptr, 10 ) : otherwise;
}

// An instrumented build is ten times slower.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ ) || !defined( __OPTIMIZE__ )
constexpr uint64_t kSlowness = 5;
#else
constexpr uint64_t kSlowness = 1;
#endif

// What a check finds wrong with the policy that the choices make; empty for nothing.
using Check = std::function<std::string( Choices & )>;

void forRandomPolicies( uint64_t cases, const Check & check ) {
   cases = environment( "ROUTEPOLICY_MODEL_CASES", cases / kSlowness );
   const uint64_t first = environment( "ROUTEPOLICY_MODEL_SEED", 1 );
   for( uint64_t seed = first; seed != first + cases && !testing::Test::HasFailure(); ++seed )
      Shrinking::run( seed, "ROUTEPOLICY_MODEL_SEED=" + std::to_string( seed ), [ & ]( Choices & choices ) {
         const std::string difference = check( choices );
         if( difference.empty() ) return;
         ADD_FAILURE() << difference;
         Choices again( choices.made() );
         if( choices.keepsText() ) choices.say( "\n", describe( Generator( again ).policy() ) );
      } );
}

// A policy, its twin, and some routes to ask about.
struct Case {
   explicit Case( Choices & choices ) : generator( choices ), policy( generator.policy() ), twin( policy ) {}
   template <class Ask>
   std::string forRoutes( int routes, Ask ask ) {
      for( int i = 0; i < routes; ++i ) {
         const Route route = generator.route();
         const Result before = generator.resultBefore( policy );
         const std::string differences = ask( route, before );
         if( !differences.empty() ) return differences + describe( route );
      }
      return "";
   }
   Generator generator;
   const Policy policy;
   Twin twin;
};

TEST( EvaluationModel, routeMapsAnswerAsTheModel ) {
   forRandomPolicies( 10000, []( Choices & choices ) {
      Case c( choices );
      return c.forRoutes( 4, [ & ]( const Route & route, const Result & before ) {
         Comparison comparison( c.twin, route, before, Watching::nothing );
         for( size_t i = 0; i < c.policy.routeMaps.size(); ++i ) comparison.routeMap( i );
         return comparison.differences();
      } );
   } );
}

TEST( EvaluationModel, listsAndFunctionsAnswerAsTheModel ) {
   forRandomPolicies( 10000, []( Choices & choices ) {
      Case c( choices );
      return c.forRoutes( 4, [ & ]( const Route & route, const Result & before ) {
         std::string differences;
         for( const Watching watching : { Watching::nothing, Watching::log } ) {
            Comparison comparison( c.twin, route, before, watching );
            for( const List & list : c.policy.lists ) comparison.list( list );
            for( size_t i = 0; i < c.policy.functions.size(); ++i ) comparison.function( i );
            differences += comparison.differences();
         }
         return differences;
      } );
   } );
}

// The model's log as a document of the structured form.
nlohmann::json documentOf( const Policy & policy, const RouteMapLog & log ) {
   const RouteMap & map = policy.routeMaps[ log.routeMap ];
   nlohmann::json seqs = nlohmann::json::object();
   for( const auto & [ number, record ] : log.seq ) {
      nlohmann::json seq;
      seq[ "passedMatchers" ] = nlohmann::json::array();
      for( const Clause & clause : inOrder( firstFrom( map, number )->matchers ) ) {
         if( clause.option == record.failedMatcher ) break;
         seq[ "passedMatchers" ].push_back( optionName( clause.option ) );
      }
      if( record.failedMatcher != 0 ) seq[ "failingMatcher" ] = optionName( record.failedMatcher );
      if( record.failedMatcher == 0 && record.sub ) {
         seq[ "subRouteMap" ] = documentOf( policy, *record.sub );
         seq[ "subRouteMapInvertResult" ] = record.subRouteMapInvertResult;
      }
      seq[ "hadNoMatchers" ] = record.hadNoMatchers;
      seq[ "matchActionDeny" ] = record.matchActionDeny;
      seq[ "result" ] = record.permitResult;
      seq[ "continue" ] = record.continueSeq;
      seqs[ std::to_string( number ) ] = seq;
   }
   return { { "rmname", map.name }, { "seqs", seqs }, { "result", log.permitResult }, { "defaultDeny", log.defaultDeny } };
}

TEST( EvaluationModel, logsAndTheirRenderingsAreTheModels ) {
   forRandomPolicies( 10000, []( Choices & choices ) {
      Case c( choices );
      return c.forRoutes( 2, [ & ]( const Route & route, const Result & before ) {
         Comparison comparison( c.twin, route, before, Watching::log );
         for( size_t i = 0; i < c.policy.routeMaps.size(); ++i ) comparison.routeMap( i );
         std::string differences = comparison.differences();
         // As text all were compared. One is read back, the last: it calls the others.
         const auto & [ log, rendered ] = comparison.rendered().back();
         const auto document = documentOf( c.policy, log );
         const auto parsed = nlohmann::json::parse( "{" + rendered + "}", nullptr, false );
         if( parsed != nlohmann::json{ { "routemap", document } } ) differences += "not " + document.dump() + ": " + rendered + "\n";
         return differences;
      } );
   } );
}

TEST( EvaluationModel, loggingAndTimersChangeNothing ) {
   forRandomPolicies( 1500, []( Choices & choices ) {
      Case c( choices );
      return c.forRoutes( 2, [ & ]( const Route & route, const Result & before ) {
         std::string differences;
         for( const Watching watching : kAllWatching ) differences += differencesOf( c.twin, route, before, watching );
         return differences;
      } );
   } );
}

TEST( EvaluationModel, copiesAnswerAsTheModelAndADeepCopyWithoutContinues ) {
   forRandomPolicies( 1500, []( Choices & choices ) {
      Case c( choices );
      return c.forRoutes( 2, [ & ]( const Route & route, const Result & before ) {
         std::string differences;
         for( size_t i = 0; i < c.policy.routeMaps.size(); ++i )
            for( const Watching watching : { Watching::nothing, Watching::logAndTimers } )
               differences += differencesOfCopies( c.twin, i, route, before, watching );
         return differences;
      } );
   } );
}

TEST( EvaluationModel, aSnapshotOutlivesItsPolicy ) {
   forRandomPolicies( 2000, []( Choices & choices ) {
      Generator generator( choices );
      const Policy policy = generator.policy();
      const Route route = generator.route();
      const size_t index = policy.routeMaps.size() - 1;
      Matched matched;
      Evaluation model( policy, route );
      Result expected;
      if( model.routeMap( index, matched ) ) model.applySetters( matched, expected );

      const auto eval = makeNode<Lib::PolicyEval>();
      Ptr<const Lib::MatchedRouteMapSequencesSnapshot> snapshot;
      {
         Twin twin( policy );
         snapshot = eval->evalRouteMapMatchersSnapshot( twinOf( route ), twin.routeMaps[ index ] );
      }
      WatchedResult result;
      if( snapshot ) eval->applyPolicySettersSnapshot( snapshot, result );
      return result.events == expected.events && metricOf( result.metric() ) == expected.metric ? "" : "the snapshot's setters\n";
   } );
}

// ---- what the random policies amount to

class Corners {
 public:
   void count( const Policy & policy, const RouteMapLog & log, unsigned depth = 0 ) {
      const RouteMap & map = policy.routeMaps[ log.routeMap ];
      if( map.sequences.empty() ) seen[ "empty route map" ]++;
      seen[ log.defaultDeny ? "default deny" : log.permitResult ? "permit" : "deny" ]++;
      if( depth == 4 ) seen[ "four deep" ]++;
      bool continued = false;
      for( const auto & [ number, record ] : log.seq ) {
         const Sequence & s = *firstFrom( map, number );
         const bool emptySub = record.sub && policy.routeMaps[ record.sub->routeMap ].sequences.empty();
         if( record.hadNoMatchers ) seen[ "no matchers" ]++;
         if( record.failedMatcher && inOrder( s.matchers ).back().option != record.failedMatcher )
            seen[ "a matcher fails, others are not asked" ]++;
         if( record.continueSeq && record.failedMatcher ) seen[ "visited again" ]++;
         if( record.continueSeq && record.continueSeq <= number ) seen[ "continue backwards" ]++;
         if( record.continueSeq > number ) {
            const Sequence * target = firstFrom( map, record.continueSeq );
            seen[ !target                                   ? "continue beyond the end"
                     : target->number == record.continueSeq ? "continue to a number that is there"
                                                            : "continue to a missing number" ]++;
         }
         if( continued && record.matchActionDeny ) seen[ "deny behind a continue" ]++;
         continued = continued || record.continueSeq;
         if( record.sub && !record.failedMatcher ) {
            if( emptySub ) seen[ record.permitResult && s.subInvert ? "empty sub route map, inverted" : "empty sub route map" ]++;
            if( !emptySub )
               seen[ std::string( s.subInvert ? "inverted " : "" ) + "sub route map that " +
                     ( record.subRouteMapResult ? "permits" : "denies" ) ]++;
            count( policy, *record.sub, depth + 1 );
         }
      }
   }
   void count( const Decisions & decisions, const Decisions & chain ) {
      if( chain.size() >= 3 ) seen[ "a chain of three" ]++;
      for( const Decision & d : chain )
         if( d.inverted ) seen[ "a chain through an inverted call" ]++;
      if( !chain.front().permitted && chain.size() > 1 ) seen[ "a chain of a deny" ]++;
      // What keeps the last decision of each depth does not have the chain.
      for( unsigned depth = 1; depth < chain.size(); ++depth ) {
         const auto last = std::find_if( decisions.rbegin(), decisions.rend(), [ & ]( const Decision & d ) { return d.depth == depth; } );
         if( *last != chain[ depth ] ) seen[ "a call behind that of the chain" ]++;
      }
   }
   std::map<std::string, int> seen;
};

TEST( EvaluationModel, randomPoliciesReachEveryCorner ) {
   Corners corners;
   auto & seen = corners.seen;
   for( uint64_t seed = 1; seed <= 2000; ++seed ) {
      Choices choices( seed );
      Generator generator( choices );
      const Policy policy = generator.policy();
      const Route route = generator.route();
      const Result before = generator.resultBefore( policy );
      for( size_t i = 0; i < policy.routeMaps.size(); ++i ) {
         Evaluation model( policy, route );
         RouteMapLog log{ i };
         Matched matched;
         if( !model.routeMap( i, matched, &log ) ) {
            seen[ "deny with something matched" ] += !matched.empty();
         } else {
            Result result = before;
            std::map<size_t, int> times;
            model.applySetters( matched, result );
            for( const Event & e : result.events ) {
               seen[ "late setter" ] += e.kind == Event::setLate;
               if( e.kind == Event::set && ++times[ e.what ] == 2 && std::holds_alternative<SetLate>( policy.setters[ e.what ].effect ) )
                  seen[ "late setter registered twice" ]++;
            }
            seen[ "three matched" ] += matched.size() >= 3;
         }
         corners.count( policy, log );
         corners.count( model.decisions, model.chain );
      }
      for( const List & list : policy.lists ) {
         Evaluation model( policy, route );
         Result at4 = before, at6 = before;
         Matched matched;
         std::vector<FinishedLog> queue;
         const bool permitted = model.list( list, matched, &at4, &at6, true, queue );
         seen[ permitted ? "list permits" : "list denies" ]++;
         for( const FinishedLog & log : queue ) seen[ log.index() == 0 ? "route map logged" : "function logged" ]++;
         bool function = false;
         for( const Event & e : at4.events ) function = function || e.kind == Event::functionRanLogging;
         seen[ "setters run on a function's result" ] += function && at4.events.front().kind == Event::set;
         seen[ "a function, and something matched behind it" ] += function && permitted && !matched.empty();
         seen[ "a function denies" ] += function && !permitted;
         seen[ "an undefined function denies" ] += list.gyre && !function && !permitted;
      }
   }
   const char * const kExpected[] = { "empty route map",
                                      "default deny",
                                      "permit",
                                      "deny",
                                      "four deep",
                                      "no matchers",
                                      "a matcher fails, others are not asked",
                                      "visited again",
                                      "continue backwards",
                                      "continue beyond the end",
                                      "continue to a number that is there",
                                      "continue to a missing number",
                                      "deny behind a continue",
                                      "deny with something matched",
                                      "empty sub route map",
                                      "empty sub route map, inverted",
                                      "sub route map that permits",
                                      "sub route map that denies",
                                      "inverted sub route map that permits",
                                      "inverted sub route map that denies",
                                      "late setter",
                                      "late setter registered twice",
                                      "three matched",
                                      "a chain of three",
                                      "a chain through an inverted call",
                                      "a chain of a deny",
                                      "a call behind that of the chain",
                                      "list permits",
                                      "list denies",
                                      "route map logged",
                                      "function logged",
                                      "setters run on a function's result",
                                      "a function, and something matched behind it",
                                      "a function denies",
                                      "an undefined function denies" };
   for( const char * corner : kExpected ) EXPECT_GE( seen[ corner ], 20 ) << corner;
}

TEST( EvaluationModel, everyMatcherBothHoldsAndFails ) {
   std::map<size_t, std::map<bool, int>> answers;   // by the kind's place in Condition
   for( uint64_t seed = 1; seed <= 2000; ++seed ) {
      Choices choices( seed );
      Generator generator( choices );
      Policy policy = generator.policy();
      const Route route = generator.route();
      for( size_t i = 0; i < policy.matchers.size(); ++i ) {
         policy.routeMaps = { { "R", { { .number = 1, .matchers = { { 115, i } } } } } };
         Matched matched;
         answers[ policy.matchers[ i ].test.index() ][ Evaluation( policy, route ).routeMap( 0, matched ) ]++;
      }
   }
   for( size_t kind = 0; kind < std::variant_size_v<Condition>; ++kind ) {
      const bool neverHolds = kind == Condition( Gateway{} ).index();
      const bool holdsAtFirst = kind == Condition( Countdown{} ).index();
      EXPECT_GE( answers[ kind ][ true ], neverHolds ? 0 : 20 ) << "kind " << kind;
      EXPECT_GE( answers[ kind ][ false ], holdsAtFirst ? 0 : 20 ) << "kind " << kind;
   }
}

TEST( EvaluationModel, theSameChoicesMakeTheSamePolicy ) {
   for( uint64_t seed = 1; seed <= 100; ++seed ) {
      Choices random( seed );
      const std::string once = describe( Generator( random ).policy() );
      Choices again( random.made() );
      EXPECT_EQ( describe( Generator( again ).policy() ), once ) << "seed " << seed;
   }
   Choices zeros( std::vector<uint32_t>{} );
   const Policy simplest = Generator( zeros ).policy();
   ASSERT_EQ( simplest.routeMaps.size(), 1u );
   EXPECT_EQ( simplest.routeMaps[ 0 ].sequences.size(), 1u );
}

}   // namespace
}   // namespace EvaluationModel
