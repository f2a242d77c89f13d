#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DecisionObserver.h"
#include "policy/DistanceSetter.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/Policy.h"
#include "policy/TagMatcher.h"
#include "tests/policy/EvalFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace EvalTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

/// "1: SUB 5 denies for 10, inverted, at 4": depth, route map, deciding sequence, answer, calling sequence, precedence.
std::string textOf( const Decision & d ) {
   EXPECT_NE( d.routeMap == nullptr, d.function == nullptr );
   EXPECT_EQ( d.caller == nullptr, d.depth == 0 );
   EXPECT_FALSE( d.permitted && d.routeMap && !d.sequence );
   EXPECT_TRUE( !d.sequence || ( d.sequence->matchAction() == Acl::MatchPermit::permit ) == d.permitted );
   std::string text = std::to_string( d.depth ) + ": ";
   text += d.function ? "function " + std::string( d.function->funcName() ) : std::string( d.routeMap->name() );
   if( d.routeMap ) text += d.sequence ? " " + std::to_string( d.sequence->seqno() ) : " none";
   text += d.permitted ? " permits" : " denies";
   if( d.caller ) text += " for " + std::to_string( d.caller->seqno() );
   if( d.inverted ) text += ", inverted";
   if( d.precedence ) text += ", at " + std::to_string( d.precedence->value() );
   return text;
}

struct Reports final : DecisionObserver {
   void decided( const Decision & decision ) override {
      texts.push_back( textOf( decision ) );
      if( during ) during();
   }
   Texts texts;
   std::function<void()> during;
};

Texts textsOf( const DecisionChain & chain ) {
   Texts texts;
   for( const Decision & d : chain ) texts.push_back( textOf( d ) );
   for( size_t depth = 0; depth < chain.size(); ++depth ) EXPECT_EQ( textOf( chain[ depth ] ), texts[ depth ] );
   EXPECT_EQ( chain.empty(), texts.empty() );
   return texts;
}

// ---- one route map

struct Row {
   const char * name;
   std::function<Ptr<RouteMapStatus>()> map;   // made afresh for each evaluation: matchers count their calls
   bool permitted;
   Texts reports;
   Texts chain;   // where it is not all reports, the last first
};

std::vector<Row> rows() {
   const auto permits = [] { return routeMap( "SUB", { seq( 5 ) } ); };
   const auto denies = [] { return routeMap( "SUB", { seq( 5 ).deny() } ); };
   const auto silent = [] { return routeMap( "SUB", { seq( 5 ).match( false ) } ); };
   const auto empty = [] { return routeMap( "SUB" ); };
   return {
      { "a permit",
        [] {
           return routeMap( "RM", { seq( 10 ).match( false ), seq( 20 ), seq( 30 ) } );
        },
        true,
        { "0: RM 20 permits" },
        {} },
      { "a deny",
        [] {
           return routeMap( "RM", { seq( 10 ).match( false ), seq( 20 ).deny() } );
        },
        false,
        { "0: RM 20 denies" },
        {} },
      { "no sequence matches",
        [] {
           return routeMap( "RM", { seq( 10 ).match( false ), seq( 20 ).deny().match( false ) } );
        },
        false,
        { "0: RM none denies" },
        {} },
      { "no sequences, asked directly", [] { return routeMap( "RM" ); }, false, { "0: RM none denies" }, {} },
      { "a permit behind a continue: the last that matched",
        [] {
           return routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ) } );
        },
        true,
        { "0: RM 20 permits" },
        {} },
      { "a continue beyond the end",
        [] {
           return routeMap( "RM", { seq( 10 ).continueTo( 30 ), seq( 20 ).deny() } );
        },
        true,
        { "0: RM 10 permits" },
        {} },
      { "a continue to what does not match",
        [] {
           return routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).match( false ), seq( 30 ).deny().match( false ) } );
        },
        true,
        { "0: RM 10 permits" },
        {} },
      { "a deny behind a continue",
        [] {
           return routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).deny() } );
        },
        false,
        { "0: RM 20 denies" },
        {} },
      { "a continue backwards: the visit that matched last",
        [] {
           return routeMap( "RM",
                            { seq( 10 ).match( { true, false } ).continueTo( 20 ), seq( 20 ).match( { true, false } ).continueTo( 10 ) } );
        },
        true,
        { "0: RM 20 permits" },
        {} },
      { "a call that permits",
        [ = ] { return routeMap( "RM", { seq( 10 ).call( permits() ) } ); },
        true,
        { "1: SUB 5 permits for 10", "0: RM 10 permits" },
        {} },
      { "a deny sequence whose call permits",
        [ = ] { return routeMap( "RM", { seq( 10 ).deny().call( permits() ) } ); },
        false,
        { "1: SUB 5 permits for 10", "0: RM 10 denies" },
        {} },
      { "a call that denies: its caller is passed over",
        [ = ] {
           return routeMap( "RM", { seq( 10 ).deny().call( denies() ), seq( 20 ) } );
        },
        true,
        { "1: SUB 5 denies for 10", "0: RM 20 permits" },
        { "0: RM 20 permits" } },
      { "a call in which nothing matches, and then nothing else",
        [ = ] { return routeMap( "RM", { seq( 10 ).call( silent() ) } ); },
        false,
        { "1: SUB none denies for 10", "0: RM none denies" },
        { "0: RM none denies" } },
      { "an inverted call that denies",
        [ = ] { return routeMap( "RM", { seq( 10 ).callInverted( denies() ) } ); },
        true,
        { "1: SUB 5 denies for 10, inverted", "0: RM 10 permits" },
        {} },
      { "an inverted call in which nothing matches",
        [ = ] { return routeMap( "RM", { seq( 10 ).deny().callInverted( silent() ) } ); },
        false,
        { "1: SUB none denies for 10, inverted", "0: RM 10 denies" },
        {} },
      { "an inverted call that permits",
        [ = ] { return routeMap( "RM", { seq( 10 ).callInverted( permits() ) } ); },
        false,
        { "1: SUB 5 permits for 10, inverted", "0: RM none denies" },
        { "0: RM none denies" } },
      { "a call of a route map without sequences",
        [ = ] {
           return routeMap( "RM", { seq( 10 ).call( empty() ).continueTo( 20 ), seq( 20 ).deny().callInverted( empty() ) } );
        },
        false,
        { "0: RM 20 denies" },
        {} },
      { "a call behind a matcher that fails is not made",
        [ = ] {
           return routeMap( "RM", { seq( 10 ).match( false ).call( permits() ), seq( 20 ) } );
        },
        true,
        { "0: RM 20 permits" },
        {} },
      { "a call, a continue, and a sequence without a call",
        [ = ] {
           return routeMap( "RM", { seq( 10 ).call( permits() ).continueTo( 20 ), seq( 20 ) } );
        },
        true,
        { "1: SUB 5 permits for 10", "0: RM 20 permits" },
        { "0: RM 20 permits" } },
      { "a call, a continue, and calls that do not match",
        [ = ] {
           return routeMap(
              "RM",
              { seq( 10 ).call( routeMap( "OUTER", { seq( 7 ).call( permits() ) } ) ).continueTo( 20 ),
                seq( 20 ).call( routeMap( "OTHER", { seq( 8 ).call( permits() ).continueTo( 9 ), seq( 9 ).deny().call( permits() ) } ) ),
                seq( 30 ).callInverted( permits() ) } );
        },
        true,
        { "2: SUB 5 permits for 7", "1: OUTER 7 permits for 10", "2: SUB 5 permits for 8", "2: SUB 5 permits for 9",
          "1: OTHER 9 denies for 20", "1: SUB 5 permits for 30, inverted", "0: RM 10 permits" },
        { "0: RM 10 permits", "1: OUTER 7 permits for 10", "2: SUB 5 permits for 7" } },
      { "a call, a continue, and another call",
        [ = ] {
           return routeMap( "RM",
                            { seq( 10 ).call( routeMap( "OUTER", { seq( 7 ).call( permits() ) } ) ).continueTo( 20 ),
                              seq( 20 ).deny().call( routeMap( "OTHER", { seq( 8 ) } ) ) } );
        },
        false,
        { "2: SUB 5 permits for 7", "1: OUTER 7 permits for 10", "1: OTHER 8 permits for 20", "0: RM 20 denies" },
        { "0: RM 20 denies", "1: OTHER 8 permits for 20" } },
      { "the same sequence calls twice: the visit that matched last",
        [ = ] {
           const auto sub = routeMap( "SUB", { seq( 5 ).match( { true, false, false } ), seq( 6 ).match( { true, false } ) } );
           return routeMap( "RM", { seq( 10 ).call( sub ).continueTo( 10 ) } );
        },
        true,
        { "1: SUB 5 permits for 10", "1: SUB 6 permits for 10", "1: SUB none denies for 10", "0: RM 10 permits" },
        { "0: RM 10 permits", "1: SUB 6 permits for 10" } },
      { "calls in calls, the innermost inverted",
        [ = ] {
           return routeMap( "RM", { seq( 10 ).call( routeMap( "MID", { seq( 7 ).match( false ), seq( 8 ).callInverted( silent() ) } ) ) } );
        },
        true,
        { "2: SUB none denies for 8, inverted", "1: MID 8 permits for 10", "0: RM 10 permits" },
        {} },
   };
}

/// The ways to evaluate, none of which may change a report.
enum class Watching { nothing, context, timers, log };

void watch( PolicyEval & eval, Watching watching ) {
   if( watching == Watching::nothing ) return;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.context()->enableTrailmarkIs( watching == Watching::timers );
   eval.shouldLogEvalIs( watching == Watching::log );
}

TEST( Decision, tellsWhatDecidedOneRouteMap ) {
   const MatchInput_ input;
   for( const auto & row : rows() ) {
      SCOPED_TRACE( row.name );
      const PolicyEval eval;
      const auto map = row.map(), same = row.map();
      MatchedRouteMapSequences matched, expected;
      Reports reports;
      EXPECT_EQ( eval.evalRouteMapMatchers( &input, map.get(), &matched, reports ), row.permitted );
      EXPECT_EQ( reports.texts, row.reports );
      EXPECT_EQ( eval.evalRouteMapMatchers( &input, same.get(), &expected ), row.permitted );
      EXPECT_EQ( seqnosOf( matched ), seqnosOf( expected ) );
   }
}

TEST( Decision, aChainIsTheVerdictAndTheCallsBehindIt ) {
   const MatchInput_ input;
   DecisionChain chain;
   for( const auto & row : rows() ) {
      SCOPED_TRACE( row.name );
      const PolicyEval eval;
      const auto map = row.map();
      MatchedRouteMapSequences matched;
      chain.clear();
      EXPECT_THAT( textsOf( chain ), IsEmpty() );
      EXPECT_EQ( eval.evalRouteMapMatchers( &input, map.get(), &matched, chain ), row.permitted );
      EXPECT_EQ( textsOf( chain ), row.chain.empty() ? Texts( row.reports.rbegin(), row.reports.rend() ) : row.chain );
   }
}

TEST( Decision, isTheSameWithContextTimersAndLogs ) {
   const MatchInput_ input;
   for( const auto & row : rows() )
      for( const auto watching : { Watching::nothing, Watching::context, Watching::timers, Watching::log } ) {
         SCOPED_TRACE( row.name );
         PolicyEval eval, unobserved;
         watch( eval, watching );
         watch( unobserved, watching );
         Texts expected;
         for( const auto & report : row.reports ) expected.push_back( report + ", at 4" );
         const auto map = row.map(), same = row.map();
         if( map->seqStatus().empty() ) continue;   // skipped in a list
         Result_ result;
         Reports reports;
         EXPECT_EQ( eval.eval( &input, listOf( { { 4, map } } ), &result, reports ), row.permitted );
         EXPECT_EQ( reports.texts, expected );
         EXPECT_EQ( unobserved.eval( &input, listOf( { { 4, same } } ), &result ), row.permitted );
         if( watching != Watching::log ) continue;
         ASSERT_EQ( eval.evaluationLogs()->count(), 1u );
         EXPECT_EQ( fieldsOf( *eval.context()->evaluationLogDeq() ), fieldsOf( *unobserved.context()->evaluationLogDeq() ) );
      }
}

TEST( Decision, anInstalledLogIsWrittenBesideTheReports ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   const MatchInput_ input;
   const auto map = routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 5 ).deny() } ) ), seq( 20 ).deny() } );
   const auto log = makeNode<PolicyEvaluationLog>( map );
   eval.context()->logIs( log );
   MatchedRouteMapSequences matched;
   Reports reports;
   EXPECT_FALSE( eval.evalRouteMapMatchers( &input, map.get(), &matched, reports ) );
   EXPECT_THAT( reports.texts, ElementsAre( "1: SUB 5 denies for 10", "0: RM 20 denies" ) );
   EXPECT_EQ( fieldsOf( *log ), "10{none call SUB( 5{none deny} deny )=deny} 20{none deny} deny" );
   EXPECT_EQ( eval.context()->callStack().count(), 1u );
}

TEST( Decision, pointsAtTheObjectsThatDecided ) {
   struct Pointers final : DecisionObserver {
      void decided( const Decision & d ) override { all.push_back( d ); }
      std::vector<Decision> all;
   } pointers;
   const MatchInput_ input;
   const auto sub = routeMap( "SUB", { seq( 5 ).deny() } );
   const auto map = routeMap( "RM", { seq( 10 ).callInverted( sub ) } );
   MatchedRouteMapSequences matched;
   PolicyEval().evalRouteMapMatchers( &input, map.get(), &matched, pointers );
   ASSERT_EQ( pointers.all.size(), 2u );
   const Decision &callee = pointers.all[ 0 ], &caller = pointers.all[ 1 ];
   EXPECT_EQ( callee.routeMap, sub.get() );
   EXPECT_EQ( callee.sequence, sub->seqStatus( 5 ).get() );
   EXPECT_EQ( callee.caller, map->seqStatus( 10 ).get() );
   EXPECT_TRUE( callee.callerMatches() );
   EXPECT_EQ( caller.routeMap, map.get() );
   EXPECT_EQ( caller.sequence, map->seqStatus( 10 ).get() );
   EXPECT_FALSE( caller.callerMatches() );
   EXPECT_FALSE( caller.precedence );
}

// ---- a list

TEST( Decision, eachEntryOfAListReports ) {
   const auto permits = [] { return routeMap( "P", { seq( 1 ) } ); };
   const auto denies = [] { return routeMap( "D", { seq( 2 ).deny() } ); };
   struct ListRow {
      const char * name;
      Ptr<RouteMapStatusList> list;
      Texts reports;
   };
   const ListRow list[] = {
      { "nothing", listOf( {} ), {} },
      { "only route maps without sequences", listOf( { { 0, routeMap( "E" ) }, { 4, routeMap( "E" ) } } ), {} },
      { "all permit",
        listOf( { { 0, permits() }, { 4, permits() }, { 7, permits() } } ),
        { "0: P 1 permits, at 0", "0: P 1 permits, at 4", "0: P 1 permits, at 7" } },
      { "the last report is the deny's",
        listOf( { { 0, permits() }, { 4, denies() }, { 6, permits() } } ),
        { "0: P 1 permits, at 0", "0: D 2 denies, at 4" } },
      { "a route map without sequences is skipped", listOf( { { 0, routeMap( "E" ) }, { 5, denies() } } ), { "0: D 2 denies, at 5" } },
      { "a callee has its entry's precedence",
        listOf( { { 6, routeMap( "RM", { seq( 10 ).call( routeMap( "MID", { seq( 3 ).call( permits() ) } ) ) } ) } } ),
        { "2: P 1 permits for 3, at 6", "1: MID 3 permits for 10, at 6", "0: RM 10 permits, at 6" } },
   };
   const MatchInput_ input;
   for( const auto & row : list )
      for( const auto watching : { Watching::nothing, Watching::context, Watching::timers, Watching::log } ) {
         SCOPED_TRACE( row.name );
         PolicyEval eval;
         watch( eval, watching );
         Result_ result;
         Reports reports, ofMatchers;
         const bool permitted = eval.eval( &input, row.list, &result, reports );
         EXPECT_EQ( permitted, eval.eval( &input, row.list, &result ) );
         EXPECT_EQ( reports.texts, row.reports );
         MatchedRouteMapSequences matched;
         EXPECT_EQ( permitted, eval.evalPolicyMatchers( &input, row.list, &matched, nullptr, ofMatchers ) );
         EXPECT_EQ( ofMatchers.texts, row.reports );
      }
}

TEST( Decision, aChainOfAListIsThatOfTheLastEntryEvaluated ) {
   const auto calling = routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 5 ) } ) ) } );
   const auto denying = routeMap( "D", { seq( 1 ).match( false ), seq( 2 ).deny() } );
   const MatchInput_ input;
   Result_ result;
   DecisionChain chain;
   const PolicyEval eval;
   EXPECT_FALSE( eval.eval( &input, listOf( { { 0, denying }, { 4, calling } } ), &result, chain ) );
   EXPECT_THAT( textsOf( chain ), ElementsAre( "0: D 2 denies, at 0" ) );
   EXPECT_TRUE( eval.eval( &input, listOf( { { 0, calling }, { 4, calling } } ), &result, chain ) );
   EXPECT_THAT( textsOf( chain ), ElementsAre( "0: RM 10 permits, at 4", "1: SUB 5 permits for 10, at 4" ) );
   EXPECT_FALSE( eval.eval( &input, listOf( { { 0, calling }, { 4, denying } } ), &result, chain ) );
   EXPECT_THAT( textsOf( chain ), ElementsAre( "0: D 2 denies, at 4" ) );
}

TEST( Decision, aPeerFilterReportsAsTheRouteMapOfThePoint ) {
   const MatchInput_ input;
   const PolicyEval eval;
   Reports reports;
   EXPECT_FALSE( eval.evalPeerFilter( routeMap( "RM", { seq( 10 ).deny() } ), &input, reports ) );
   EXPECT_THAT( reports.texts, ElementsAre( "0: RM 10 denies, at 4" ) );
   reports.texts.clear();
   EXPECT_TRUE( eval.evalPeerFilter( routeMap( "RM" ), &input, reports ) );
   EXPECT_TRUE( eval.evalPeerFilter( nullptr, &input, reports ) );
   EXPECT_THAT( reports.texts, IsEmpty() );
}

TEST( Decision, allReportsComeBeforeTheSetters ) {
   Journal journal;
   Reports reports;
   reports.during = [ & ] { journal.push_back( "report" ); };
   const auto set = [ & ] { return seq( 10 ).set( makeNode<RecordingSetter>( journal, "set" ) ); };
   const MatchInput_ input;
   Result_ result;
   PolicyEval().eval( &input, listOf( { { 0, routeMap( "A", { set() } ) }, { 4, routeMap( "B", { set() } ) } } ), &result, reports );
   EXPECT_THAT( journal, ElementsAre( "report", "report", "set", "set" ) );
}

// ---- functions

struct DecisionOfFunctionsTest : testing::Test {
   DecisionOfFunctionsTest() {
      contexts->contextIs( RmPrecedence( 4 ), makeNode<FakeContext>( journal, "gyre" ) );
      contexts->contextIs( RmPrecedence( 6 ), makeNode<FakeContext>( journal, "maint" ) );
   }
   Ptr<const Gyre::FunctionStatusBase> answering( const char * name, ResultCode code ) {
      return function( name, makeNode<FakeFunction>( journal, code ) );
   }
   /// What is reported, the same in all ways to evaluate.
   Texts reportsOf( const Ptr<RouteMapStatusList> & list ) {
      Texts first;
      for( const auto watching : { Watching::nothing, Watching::context, Watching::timers, Watching::log } ) {
         PolicyEval eval;
         watch( eval, watching );
         Reports reports;
         chain.clear();
         MatchedRouteMapSequences matched;
         permitted = eval.evalPolicyMatchers( &input, list, &matched, contexts, reports );
         EXPECT_EQ( permitted, eval.evalPolicyMatchers( &input, list, &matched, contexts, chain ) );
         if( watching == Watching::nothing ) first = reports.texts;
         EXPECT_EQ( reports.texts, first );
      }
      return first;
   }
   Journal journal;
   const MatchInput_ input;
   bool permitted = false;
   DecisionChain chain;
   Ptr<Gyre::Eval::GyreEvalContextMap> contexts = makeNode<Gyre::Eval::GyreEvalContextMap>();
};

TEST_F( DecisionOfFunctionsTest, reportAtTheirPlaceInTheList ) {
   const auto rm = [] { return routeMap( "RM", { seq( 10 ) } ); };
   const auto list = listOf( { { 0, rm() }, { 4, rm() }, { 5, rm() }, { 6, rm() }, { 7, rm() } } );
   list->gyreStatusIs( answering( "F", kPermit ) );
   list->gyreStatusMaintIs( answering( "M", kPermit ) );
   EXPECT_THAT( reportsOf( list ),
                ElementsAre( "0: RM 10 permits, at 0", "0: function F permits, at 4", "0: RM 10 permits, at 5",
                             "0: function M permits, at 6", "0: RM 10 permits, at 7" ) );
   EXPECT_TRUE( permitted );
   list->gyreStatusMaintIs( answering( "M", kDeny ) );
   EXPECT_THAT(
      reportsOf( list ),
      ElementsAre( "0: RM 10 permits, at 0", "0: function F permits, at 4", "0: RM 10 permits, at 5", "0: function M denies, at 6" ) );
   EXPECT_FALSE( permitted );
   EXPECT_THAT( textsOf( chain ), ElementsAre( "0: function M denies, at 6" ) );
}

TEST_F( DecisionOfFunctionsTest, anUndefinedOneDenies ) {
   const auto list = listOf( { { 0, routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 5 ) } ) ) } ) } } );
   list->gyreStatusIs( Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" ) );
   EXPECT_THAT( reportsOf( list ), ElementsAre( "1: SUB 5 permits for 10, at 0", "0: RM 10 permits, at 0", "0: function F denies, at 4" ) );
   EXPECT_FALSE( permitted );
   EXPECT_THAT( textsOf( chain ), ElementsAre( "0: function F denies, at 4" ) );
   EXPECT_THAT( journal, IsEmpty() );
}

using DecisionOfFunctionsDeathTest = DecisionOfFunctionsTest;

TEST_F( DecisionOfFunctionsDeathTest, contextsAreNeededAsWithoutAnObserver ) {
   const auto list = listOf( {} );
   list->gyreStatusIs( answering( "F", kPermit ) );
   const PolicyEval eval;
   Result_ result;
   MatchedRouteMapSequences matched;
   Reports reports;
   EXPECT_DEATH( eval.eval( &input, list, &result, reports ), HasSubstr( "Assertion failed: !gyrePresent || gyreCtxMap\n" ) );
   EXPECT_DEATH( eval.evalPolicyMatchers( &input, list, &matched, makeNode<Gyre::Eval::GyreEvalContextMap>(), reports ),
                 HasSubstr( "Assertion failed: gyreCtx->result()\n" ) );
}

// ---- exceptions

TEST( Decision, whatAMatcherEndsByThrowingIsNotReported ) {
   for( const auto watching : { Watching::nothing, Watching::context, Watching::timers, Watching::log } ) {
      const auto throws = matcher( true, [] { throw std::runtime_error( "out of order" ); } );
      const auto sub = routeMap( "SUB", { seq( 5 ).call( routeMap( "INNER", { seq( 1 ) } ) ).continueTo( 6 ), seq( 6 ).match( throws ) } );
      const auto list =
         listOf( { { 0, routeMap( "FIRST", { seq( 3 ) } ) },
                   { 4, routeMap( "RM", { seq( 10 ).match( false ), seq( 20 ).continueTo( 30 ), seq( 30 ).call( sub ) } ) } } );
      PolicyEval eval;
      watch( eval, watching );
      const MatchInput_ input;
      Result_ result;
      Reports reports;
      EXPECT_THROW( eval.eval( &input, list, &result, reports ), std::runtime_error );
      EXPECT_THAT( reports.texts, ElementsAre( "0: FIRST 3 permits, at 0", "2: INNER 1 permits for 5, at 4" ) );
      DecisionChain chain;
      EXPECT_THROW( eval.eval( &input, list, &result, chain ), std::runtime_error );
      chain.clear();
      const auto denies = listOf( { { 4, routeMap( "D", { seq( 5 ).deny() } ) } } );   // as long as the chain points into it
      EXPECT_FALSE( eval.eval( &input, denies, &result, chain ) );
      EXPECT_THAT( textsOf( chain ), ElementsAre( "0: D 5 denies, at 4" ) );
   }
}

TEST( Decision, whatAnObserverThrowsGoesThrough ) {
   for( const auto watching : { Watching::nothing, Watching::context, Watching::timers, Watching::log } )
      for( const size_t at : { 1u, 2u, 3u } ) {
         Journal journal;
         const auto list =
            listOf( { { 0, routeMap( "FIRST", { seq( 3 ).set( makeNode<RecordingSetter>( journal ) ) } ) },
                      { 4, routeMap( "RM", { seq( 10 ).match( noting( journal, "10" ) ).call( routeMap( "SUB", { seq( 5 ) } ) ) } ) } } );
         PolicyEval eval;
         watch( eval, watching );
         const MatchInput_ input;
         Result_ result;
         Reports reports;
         reports.during = [ & ] {
            if( reports.texts.size() == at ) throw std::runtime_error( "observer" );
         };
         EXPECT_THROW( eval.eval( &input, list, &result, reports ), std::runtime_error );
         EXPECT_EQ( reports.texts.size(), at );
         EXPECT_EQ( journal, at == 1 ? Journal() : Journal{ "10" } );   // no setter ran
         if( watching == Watching::nothing ) continue;
         EXPECT_FALSE( eval.context()->log() );
         EXPECT_FALSE( eval.context()->callStackTop() );
         EXPECT_TRUE( eval.evaluationLogs()->empty() );
      }
}

// ---- what an observer may do, and what it costs

TEST( Decision, thePolicyMayBeDroppedMeanwhile ) {
   for( const bool byObserver : { false, true } ) {
      SCOPED_TRACE( byObserver );
      Ptr<const RouteMapStatusList> list;   // the only use
      const auto drop = [ & ] { list = nullptr; };
      list = listOf( { { 4,
                         routeMap( "RM",
                                   { seq( 10 ).call( routeMap(
                                        "SUB", { seq( 5 ).match( matcher( true, byObserver ? std::function<void()>() : drop ) ) } ) ),
                                     seq( 20 ) } ) },
                       { 5, routeMap( "NEXT", { seq( 30 ).deny() } ) } } );
      const MatchInput_ input;
      Result_ result;
      Reports reports;
      if( byObserver ) reports.during = drop;
      EXPECT_FALSE( PolicyEval().eval( &input, list, &result, reports ) );
      EXPECT_FALSE( list );
      EXPECT_THAT( reports.texts, ElementsAre( "1: SUB 5 permits for 10, at 4", "0: RM 10 permits, at 4", "0: NEXT 30 denies, at 5" ) );
   }
}

TEST( Decision, anObserverMayEvaluate ) {
   const auto other = routeMap( "OTHER", { seq( 1 ).deny() } );
   const auto map = routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 5 ) } ) ) } );
   const MatchInput_ input;
   const PolicyEval eval;
   Reports inner, outer;
   outer.during = [ & ] {
      MatchedRouteMapSequences matched;
      EXPECT_FALSE( eval.evalRouteMapMatchers( &input, other.get(), &matched, inner ) );
   };
   MatchedRouteMapSequences matched;
   EXPECT_TRUE( eval.evalRouteMapMatchers( &input, map.get(), &matched, outer ) );
   EXPECT_THAT( outer.texts, ElementsAre( "1: SUB 5 permits for 10", "0: RM 10 permits" ) );
   EXPECT_THAT( inner.texts, ElementsAre( "0: OTHER 1 denies", "0: OTHER 1 denies" ) );
}

TEST( Decision, callsAThousandDeepKeepAChainAsLong ) {
   Ptr<RouteMapStatus> map = routeMap( "RM", { seq( 1 ) } );
   for( uint32_t i = 2; i <= 1000; ++i ) map = routeMap( "RM", { seq( i ).call( map ) } );
   const MatchInput_ input;
   DecisionChain chain;
   MatchedRouteMapSequences matched;
   EXPECT_TRUE( PolicyEval().evalRouteMapMatchers( &input, map.get(), &matched, chain ) );
   ASSERT_EQ( chain.size(), 1000u );
   for( uint32_t depth = 0; depth < 1000; ++depth ) {
      EXPECT_EQ( chain[ depth ].depth, depth );
      EXPECT_EQ( chain[ depth ].sequence->seqno(), 1000 - depth );
   }
}

TEST( Decision, reportingAllocatesNothing ) {
   struct Count final : DecisionObserver {
      void decided( const Decision & d ) override { sum += d.depth + d.permitted; }
      uint64_t sum = 0;
   };
   const MatchInput_ input;
   for( const auto watching : { Watching::nothing, Watching::context, Watching::timers } ) {
      PolicyEval eval;
      watch( eval, watching );
      for( const auto & row : rows() ) {
         SCOPED_TRACE( row.name );
         const auto map = row.map();
         const auto list = listOf( { { 0, routeMap( "FIRST", { seq( 1 ).set( makeNode<DistanceSetter>( 9 ) ) } ) }, { 4, map } } );
         Count count;
         DecisionChain chain;
         Result_ result;
         MatchedRouteMapSequences matched;
         const auto evaluate = [ & ] {
            chain.clear();
            matched.clear();
            eval.evalRouteMapMatchers( &input, map.get(), &matched, count );
            eval.eval( &input, list, &result, count );
            eval.eval( &input, list, &result, chain );
            eval.evalPeerFilter( map, &input, count );
         };
         for( int i = 0; i < 4; ++i ) evaluate();   // until matchers that count their calls give their last answer
         const size_t before = allocationCount();
         for( int i = 0; i < 100; ++i ) evaluate();
         EXPECT_EQ( allocationCount(), before );
      }
   }
}

TEST( Decision, aLongChainAllocatesOnlyUntilOneAsLongWasKept ) {
   Ptr<RouteMapStatus> map = routeMap( "RM", { seq( 1 ) } );
   for( uint32_t i = 2; i <= 100; ++i ) map = routeMap( "RM", { seq( i ).call( map ) } );
   const auto list = listOf( { { 4, map } } );
   const MatchInput_ input;
   const PolicyEval eval;
   DecisionChain chain;
   MatchedRouteMapSequences matched;
   matched.reserve( 100 );
   const auto evaluate = [ & ] {
      chain.clear();
      matched.clear();
      eval.evalRouteMapMatchers( &input, map.get(), &matched, chain );
   };
   evaluate();
   const size_t before = allocationCount();
   evaluate();
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( chain.size(), 100u );
}

TEST( Decision, threadsWithObserversOfTheirOwnShareAnEvaluator ) {
   const PolicyEval eval;
   const auto map = routeMap( "RM",
                              { seq( 10 ).match( makeNode<TagMatcher>( 1 ) ).call( routeMap( "SUB", { seq( 5 ) } ) ),
                                seq( 20 ).match( makeNode<TagMatcher>( 2 ) ).deny() } );
   const auto run = [ & ]( Routing::RouteTag tag, const Texts & expected ) {
      MatchInput_ input;
      input.tagIs( tag );
      int wrong = 0;
      for( int i = 0; i < 2000; ++i ) {
         DecisionChain chain;
         MatchedRouteMapSequences matched;
         eval.evalRouteMapMatchers( &input, map.get(), &matched, chain );
         wrong += textsOf( chain ) != expected;
      }
      EXPECT_EQ( wrong, 0 );
   };
   std::thread first( run, 1, Texts{ "0: RM 10 permits", "1: SUB 5 permits for 10" } ), second( run, 2, Texts{ "0: RM 20 denies" } );
   run( 3, { "0: RM none denies" } );
   first.join();
   second.join();
}

}   // namespace
