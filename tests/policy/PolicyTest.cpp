#include "policy/Policy.h"

#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include "policy/DistanceSetter.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/RouteMetricSetter.h"
#include "policy/TagMatcher.h"
#include "substrate/trailmark/Trailmark.h"
#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Ptr<const Setter> recording( Journal & journal, const char * name, bool defers = false ) {
   return makeNode<RecordingSetter>( journal, name, defers );
}

// ---- the walk over one route map

struct WalkRow {
   const char * name;
   Ptr<const RouteMapStatus> map;
   std::string answer;   // and the sequences that the walk leaves as matched, also on a deny
   std::string fields;   // of the log
   bool permit() const { return answer.starts_with( "permit" ); }
};

/// Fresh every time, since some matchers have a script.
std::vector<WalkRow> walkRows() {
   const auto permits = [] { return routeMap( "SUB", { seq( 1 ) } ); };
   const auto denies = [] { return routeMap( "SUB", { seq( 1 ).deny() } ); };
   const auto defaults = [] { return routeMap( "SUB", { seq( 1 ).match( false ) } ); };
   const auto empty = [] { return routeMap( "SUB" ); };
   return {
      { "no sequences", routeMap( "RM" ), "deny", "deny default" },
      { "no sequence matches", routeMap( "RM", { seq( 10 ).match( false ), seq( 20 ).match( false ) } ), "deny",
        "10{failed matchTag} 20{failed matchTag} deny default" },
      { "the first that matches permits", routeMap( "RM", { seq( 10 ).match( false ), seq( 20 ).match( true ), seq( 30 ).deny() } ),
        "permit 20", "10{failed matchTag} 20{permit} permit" },
      { "the first that matches denies", routeMap( "RM", { seq( 10 ).match( false ), seq( 20 ).deny().match( true ), seq( 30 ) } ), "deny",
        "10{failed matchTag} 20{deny} deny" },
      { "a deny that does not match denies nothing", routeMap( "RM", { seq( 10 ).deny().match( false ), seq( 20 ) } ), "permit 20",
        "10{failed matchTag} 20{none permit} permit" },
      { "no matchers, permit", routeMap( "RM", { seq( 10 ), seq( 20 ).deny() } ), "permit 10", "10{none permit} permit" },
      { "no matchers, deny", routeMap( "RM", { seq( 10 ).deny(), seq( 20 ) } ), "deny", "10{none deny} deny" },
      { "the lowest number first, whatever the order of writing",
        routeMap( "RM", { seq( 30 ).deny(), seq( 4294967295 ).deny(), seq( 0 ) } ), "permit 0", "0{none permit} permit" },

      { "continue beyond the last sequence", routeMap( "RM", { seq( 10 ).continueTo( 99 ), seq( 20 ).deny() } ), "permit 10",
        "10{none permit >99} permit" },
      { "continue to a matching deny", routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).deny() } ), "deny 10",
        "10{none permit >20} 20{none deny} deny" },
      { "continue, and nothing matches from there",
        routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).match( false ), seq( 30 ).deny().match( false ) } ), "permit 10",
        "10{none permit >20} 20{failed matchTag} 30{failed matchTag} permit" },
      { "continue, and a sequence behind the target permits",
        routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).match( false ), seq( 30 ) } ), "permit 10 30",
        "10{none permit >20} 20{failed matchTag} 30{none permit} permit" },
      { "continue, and a sequence behind the target denies",
        routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).match( false ), seq( 30 ).deny() } ), "deny 10",
        "10{none permit >20} 20{failed matchTag} 30{none deny} deny" },
      { "continue over what stands between", routeMap( "RM", { seq( 10 ).continueTo( 30 ), seq( 20 ).deny(), seq( 30 ) } ), "permit 10 30",
        "10{none permit >30} 30{none permit} permit" },
      { "continue to a number that has gone",
        routeMap( "RM", { seq( 10 ).continueTo( 25 ), seq( 20 ).deny(), seq( 30 ), seq( 40 ).deny() } ), "permit 10 30",
        "10{none permit >25} 30{none permit} permit" },
      { "continue from continue to continue",
        routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).continueTo( 30 ), seq( 30 ).continueTo( 40 ) } ), "permit 10 20 30",
        "10{none permit >20} 20{none permit >30} 30{none permit >40} permit" },
      { "a deny does not continue", routeMap( "RM", { seq( 10 ).deny().continueTo( 20 ), seq( 20 ) } ), "deny", "10{none deny} deny" },
      { "a failed matcher does not continue", routeMap( "RM", { seq( 10 ).match( false ).continueTo( 30 ), seq( 20 ), seq( 30 ).deny() } ),
        "permit 20", "10{failed matchTag} 20{none permit} permit" },
      { "continue to itself until it fails", routeMap( "RM", { seq( 10 ).match( { true, true, false } ).continueTo( 10 ) } ),
        "permit 10 10", "10{failed matchTag permit >10} permit" },
      { "continue back to what now permits", routeMap( "RM", { seq( 10 ).match( { false, true } ), seq( 20 ).continueTo( 10 ) } ),
        "permit 20 10", "10{failed matchTag permit} 20{none permit >10} permit" },
      { "continue back to what now denies", routeMap( "RM", { seq( 10 ).deny().match( { false, true } ), seq( 20 ).continueTo( 5 ) } ),
        "deny 20", "10{failed matchTag deny} 20{none permit >5} deny" },

      { "sub route map permits", routeMap( "RM", { seq( 10 ).call( permits() ) } ), "permit 1 10",
        "10{none call SUB( 1{none permit} permit )=permit permit} permit" },
      { "sub route map denies", routeMap( "RM", { seq( 10 ).call( denies() ), seq( 20 ) } ), "permit 20",
        "10{none call SUB( 1{none deny} deny )=deny} 20{none permit} permit" },
      { "sub route map denies by default", routeMap( "RM", { seq( 10 ).call( defaults() ), seq( 20 ) } ), "permit 20",
        "10{none call SUB( 1{failed matchTag} deny default )=deny} 20{none permit} permit" },
      { "inverted sub route map permits", routeMap( "RM", { seq( 10 ).callInverted( permits() ), seq( 20 ) } ), "permit 20",
        "10{none call SUB( 1{none permit} permit )=permit inverted} 20{none permit} permit" },
      { "inverted sub route map denies", routeMap( "RM", { seq( 10 ).callInverted( denies() ), seq( 20 ).deny() } ), "permit 10",
        "10{none call SUB( 1{none deny} deny )=deny inverted permit} permit" },
      { "inverted sub route map denies behind a continue",
        routeMap( "RM", { seq( 10 ).callInverted( routeMap( "SUB", { seq( 1 ).continueTo( 2 ), seq( 2 ).deny() } ) ) } ), "permit 10",
        "10{none call SUB( 1{none permit >2} 2{none deny} deny )=deny inverted permit} permit" },
      { "deny whose sub route map permits", routeMap( "RM", { seq( 10 ).deny().call( permits() ), seq( 20 ) } ), "deny 1",
        "10{none call SUB( 1{none permit} permit )=permit deny} deny" },
      { "deny whose sub route map denies is skipped", routeMap( "RM", { seq( 10 ).deny().call( denies() ), seq( 20 ) } ), "permit 20",
        "10{none call SUB( 1{none deny} deny )=deny} 20{none permit} permit" },
      { "deny whose inverted sub route map permits is skipped", routeMap( "RM", { seq( 10 ).deny().callInverted( permits() ), seq( 20 ) } ),
        "permit 20", "10{none call SUB( 1{none permit} permit )=permit inverted} 20{none permit} permit" },
      { "deny whose inverted sub route map denies", routeMap( "RM", { seq( 10 ).deny().callInverted( denies() ), seq( 20 ) } ), "deny",
        "10{none call SUB( 1{none deny} deny )=deny inverted deny} deny" },
      { "skipped for its sub route map, and nothing else", routeMap( "RM", { seq( 10 ).call( denies() ) } ), "deny",
        "10{none call SUB( 1{none deny} deny )=deny} deny default" },
      { "a failed matcher keeps the sub route map from being asked",
        routeMap( "RM", { seq( 10 ).match( false ).call( permits() ), seq( 20 ) } ), "permit 20",
        "10{failed matchTag call SUB( deny )=deny} 20{none permit} permit" },
      { "matchers and sub route map", routeMap( "RM", { seq( 10 ).match( true ).call( permits() ) } ), "permit 1 10",
        "10{call SUB( 1{none permit} permit )=permit permit} permit" },
      { "sub route map without sequences", routeMap( "RM", { seq( 10 ).call( empty() ) } ), "permit 10",
        "10{none call SUB( deny )=deny permit} permit" },
      { "inverted sub route map without sequences", routeMap( "RM", { seq( 10 ).callInverted( empty() ), seq( 20 ).deny() } ), "permit 10",
        "10{none call SUB( deny )=deny permit} permit" },
      { "inversion of no sub route map", routeMap( "RM", { seq( 10 ).callInverted( nullptr ), seq( 20 ).deny() } ), "permit 10",
        "10{none permit} permit" },
      { "deny with an inverted sub route map without sequences", routeMap( "RM", { seq( 10 ).deny().callInverted( empty() ), seq( 20 ) } ),
        "deny", "10{none call SUB( deny )=deny deny} deny" },
      { "sub route map that continues",
        routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 1 ).continueTo( 3 ), seq( 2 ).deny(), seq( 3 ) } ) ) } ), "permit 1 3 10",
        "10{none call SUB( 1{none permit >3} 3{none permit} permit )=permit permit} permit" },
      { "sub route map that permits by a continue into nothing",
        routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 1 ).continueTo( 9 ) } ) ), seq( 20 ).deny() } ), "permit 1 10",
        "10{none call SUB( 1{none permit >9} permit )=permit permit} permit" },
      { "a sub route map's continue is not its caller's",
        routeMap( "RM", { seq( 10 ).callInverted( routeMap( "SUB", { seq( 1 ).continueTo( 9 ) } ) ) } ), "deny",
        "10{none call SUB( 1{none permit >9} permit )=permit inverted} deny default" },
      { "a continue into a sequence that its sub route map skips",
        routeMap( "RM", { seq( 10 ).continueTo( 20 ), seq( 20 ).call( denies() ) } ), "permit 10",
        "10{none permit >20} 20{none call SUB( 1{none deny} deny )=deny} permit" },
      { "what stood in the list before the sub route map stays",
        routeMap( "RM", { seq( 5 ).call( permits() ).continueTo( 10 ), seq( 10 ).callInverted( permits() ), seq( 20 ) } ), "permit 1 5 20",
        "5{none call SUB( 1{none permit} permit )=permit permit >10} 10{none call SUB( 1{none permit} permit )=permit inverted} 20{none "
        "permit} permit" },
      { "one sub route map called twice",
        [ &permits ] {
           const auto sub = permits();
           return routeMap( "RM", { seq( 10 ).call( sub ).continueTo( 20 ), seq( 20 ).call( sub ) } );
        }(),
        "permit 1 10 1 20",
        "10{none call SUB( 1{none permit} permit )=permit permit >20} 20{none call SUB( 1{none permit} permit )=permit permit} permit" },
      { "a second visit finds the first one's log of the sub route map",
        routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 1 ).match( { true, false } ) } ) ).continueTo( 10 ) } ), "permit 1 10",
        "10{none call SUB( 1{failed matchTag permit} permit default )=deny permit >10} permit" },
      { "three levels, all permit", routeMap( "RM", { seq( 10 ).call( routeMap( "MID", { seq( 5 ).call( permits() ) } ) ) } ),
        "permit 1 5 10", "10{none call MID( 5{none call SUB( 1{none permit} permit )=permit permit} permit )=permit permit} permit" },
      { "three levels, the innermost denies",
        routeMap( "RM", { seq( 10 ).call( routeMap( "MID", { seq( 5 ).call( denies() ) } ) ), seq( 20 ) } ), "permit 20",
        "10{none call MID( 5{none call SUB( 1{none deny} deny )=deny} deny default )=deny} 20{none permit} permit" },
      { "three levels, the middle one denies behind the innermost",
        routeMap( "RM", { seq( 10 ).call( routeMap( "MID", { seq( 5 ).deny().call( permits() ) } ) ), seq( 20 ) } ), "permit 20",
        "10{none call MID( 5{none call SUB( 1{none permit} permit )=permit deny} deny )=deny} 20{none permit} permit" },
      { "three levels, the innermost inverted",
        routeMap( "RM", { seq( 10 ).call( routeMap( "MID", { seq( 5 ).callInverted( denies() ) } ) ) } ), "permit 5 10",
        "10{none call MID( 5{none call SUB( 1{none deny} deny )=deny inverted permit} permit )=permit permit} permit" },
      { "three levels, inverted twice",
        routeMap( "RM", { seq( 10 ).callInverted( routeMap( "MID", { seq( 5 ).callInverted( permits() ) } ) ), seq( 20 ).deny() } ),
        "permit 10",
        "10{none call MID( 5{none call SUB( 1{none permit} permit )=permit inverted} deny default )=deny inverted permit} permit" },
   };
}

std::string walk( const PolicyEval & eval, const RouteMapStatus & map, MatchedRouteMapSequences matched = {} ) {
   const MatchInput_ input;
   std::string answer = eval.evalRouteMapMatchers( &input, &map, &matched ) ? "permit" : "deny";
   for( const uint32_t seqno : seqnosOf( matched ) ) answer += " " + std::to_string( seqno );
   return answer;
}

TEST( PolicyEval, walksOneRouteMap ) {
   for( const auto & row : walkRows() ) EXPECT_EQ( walk( PolicyEval(), *row.map ), row.answer ) << row.name;
}

TEST( PolicyEval, aLogHoldsWhatTheWalkMet ) {
   for( const auto & row : walkRows() ) {
      SCOPED_TRACE( row.name );
      PolicyEval eval;
      eval.contextIs( makeNode<PolicyEvalContext>() );
      const auto log = makeNode<PolicyEvaluationLog>( row.map );
      eval.context()->logIs( log );
      EXPECT_EQ( walk( eval, *row.map ), row.answer );
      EXPECT_EQ( fieldsOf( *log ), row.fields );
      EXPECT_EQ( eval.context()->callStack().count(), 1u );   // what was pushed has been popped
      EXPECT_EQ( eval.context()->callStackTop(), log );
      EXPECT_EQ( eval.context()->log(), log );
   }
}

TEST( PolicyEval, aWalkAppendsToWhatIsThere ) {
   const auto before = seq( 7 ).get();
   for( const auto & row : walkRows() ) {
      std::string expected = row.answer;
      expected.insert( row.permit() ? 6 : 4, " 7" );
      EXPECT_EQ( walk( PolicyEval(), *row.map, { before.get() } ), expected ) << row.name;
   }
}

TEST( PolicyEval, matchersAreAskedInOrderOfOptionUpToTheFirstThatFails ) {
   Journal journal;
   const auto map = routeMap( "RM",
                              { seq( 10 )
                                   .match( noting( journal, "tag set" ), MatchOption::matchTagSet )
                                   .match( noting( journal, "tag", false ), MatchOption::matchTag )
                                   .match( noting( journal, "access list" ), MatchOption::matchIpAccessList )
                                   .match( noting( journal, "metric" ), MatchOption::matchMetric ),
                                seq( 20 ).match( noting( journal, "20" ), MatchOption::matchMetric ) } );
   EXPECT_EQ( walk( PolicyEval(), *map ), "permit 20" );
   EXPECT_THAT( journal, ElementsAre( "access list", "metric", "tag", "20" ) );
}

TEST( PolicyEval, matchersGetTheInputAndTheContext ) {
   struct Asked final : Matcher {
      bool match( const MatchInput_ * input, const Ptr<PolicyEvalContext> & context ) const override {
         seen.emplace_back( input, context.get() );
         return true;
      }
      void formatDerivedType( std::ostream & ) const override {}
      mutable std::vector<std::pair<const MatchInput_ *, const PolicyEvalContext *>> seen;
   };
   const auto asked = makeNode<Asked>();
   const auto map = routeMap( "RM", { seq( 10 ).match( asked ).call( routeMap( "SUB", { seq( 1 ).match( asked ) } ) ) } );
   const MatchInput_ input;
   MatchedRouteMapSequences matched;
   PolicyEval eval;
   eval.evalRouteMapMatchers( &input, map.get(), &matched );
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.evalRouteMapMatchers( &input, map.get(), &matched );
   const auto none = std::pair<const MatchInput_ *, const PolicyEvalContext *>( &input, nullptr );
   const auto some = std::pair<const MatchInput_ *, const PolicyEvalContext *>( &input, eval.context().get() );
   EXPECT_THAT( asked->seen, ElementsAre( none, none, some, some ) );
}

TEST( PolicyEval, nothingIsLoggedUnlessALogIsInstalled ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   const auto log = makeNode<PolicyEvaluationLog>( routeMap( "RM" ) );
   eval.context()->callStackPush( log );   // on the stack alone it is not asked for
   for( const auto & row : walkRows() ) walk( eval, *row.map );
   EXPECT_EQ( fieldsOf( *log ), "deny" );
   EXPECT_TRUE( log->seq().empty() );
   EXPECT_TRUE( eval.evaluationLogs()->empty() );
}

TEST( PolicyEval, whetherToLogIsDecidedOnEntry ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   Ptr<PolicyEvaluationLog> log;
   auto install = [ & ] { eval.context()->logIs( log ); };
   const auto map = routeMap( "RM", { seq( 10 ).match( matcher( false, install ) ), seq( 20 ) } );
   log = makeNode<PolicyEvaluationLog>( map );
   EXPECT_EQ( walk( eval, *map ), "permit 20" );
   EXPECT_EQ( eval.context()->log(), log );
   EXPECT_TRUE( log->seq().empty() );
}

// ---- changes during a walk

TEST( PolicyEval, aRouteMapMayChangeUnderTheWalk ) {
   const struct {
      const char * name;
      void ( *change )( RouteMapStatus & );   // from within the call of the matcher of 20
      bool answer;                            // of that matcher
      bool permit;
      Journal ran;
   } rows[] = {
      { "an insertion in front", []( RouteMapStatus & m ) { m.seqStatusIs( seq( 15 ).deny() ); }, false, true, { "30" } },
      { "an insertion right behind", []( RouteMapStatus & m ) { m.seqStatusIs( seq( 25 ).deny() ); }, false, false, {} },
      { "an insertion at the end", []( RouteMapStatus & m ) { m.seqStatusIs( seq( 40 ).deny() ); }, false, true, { "30" } },
      { "the next goes", []( RouteMapStatus & m ) { m.seqStatusDel( 30 ); }, false, false, {} },
      { "the one before goes", []( RouteMapStatus & m ) { m.seqStatusDel( 10 ); }, false, true, { "30" } },
      { "the very one goes, and fails", []( RouteMapStatus & m ) { m.seqStatusDel( 20 ); }, false, true, { "30" } },
      { "the very one goes, and matches", []( RouteMapStatus & m ) { m.seqStatusDel( 20 ); }, true, true, { "20", "30" } },
      { "the very one is replaced", []( RouteMapStatus & m ) { m.seqStatusIs( seq( 20 ).deny() ); }, false, true, { "30" } },
      { "everything goes, and it fails", []( RouteMapStatus & m ) { m.seqStatusDelAll(); }, false, false, {} },
      { "everything goes, and it matches", []( RouteMapStatus & m ) { m.seqStatusDelAll(); }, true, true, { "20" } },
      { "everything is replaced",
        []( RouteMapStatus & m ) { m.seqStatusDelAll(), m.seqStatusIs( seq( 21 ).deny() ), m.seqStatusIs( seq( 19 ) ); },
        false,
        false,
        {} },
      { "much is inserted",
        []( RouteMapStatus & m ) {
           for( uint32_t n = 0; n < 1000; ++n ) m.seqStatusIs( seq( 31 + n ).deny() );
        },
        false,
        true,
        { "30" } },
   };
   for( const auto & row : rows )
      for( const bool logs : { false, true } )
         for( const bool asSub : { false, true } ) {
            SCOPED_TRACE( std::string( row.name ) + ( logs ? ", logged" : "" ) + ( asSub ? ", in a sub route map" : "" ) );
            Journal ran;
            auto map = routeMap( "RM" );
            map->seqStatusIs( seq( 10 ).match( false ) );
            const auto change = [ &row, map = map.get() ] { row.change( *map ); };
            map->seqStatusIs( seq( 20 ).match( matcher( row.answer, change ) ).set( recording( ran, "20" ) ).continueTo( 30 ) );
            map->seqStatusIs( seq( 30 ).set( recording( ran, "30" ) ) );
            const auto list = listOf( { { 4, asSub ? routeMap( "CALLER", { seq( 1 ).call( map ) } ) : map } } );
            PolicyEval eval;
            eval.contextIs( makeNode<PolicyEvalContext>() );
            eval.shouldLogEvalIs( logs );
            const MatchInput_ input;
            Result_ result;
            EXPECT_EQ( eval.eval( &input, list, &result ), row.permit );
            EXPECT_EQ( ran, row.ran );
            EXPECT_EQ( eval.evaluationLogs()->count(), logs ? 1u : 0u );
         }
}

TEST( PolicyEval, aSequenceMayChangeUnderTheWalk ) {
   const struct {
      const char * name;
      void ( *change )( RouteMapSeqStatus & );   // from within the call of the matcher of matchMetric
      Journal asked;
   } rows[] = {
      { "the very matcher goes",
        []( RouteMapSeqStatus & s ) { s.matcherDel( MatchOption::matchMetric ); },
        { "interface", "metric", "tag" } },
      { "the next goes", []( RouteMapSeqStatus & s ) { s.matcherDel( MatchOption::matchTag ); }, { "interface", "metric" } },
      { "the one before goes",
        []( RouteMapSeqStatus & s ) { s.matcherDel( MatchOption::matchInterface ); },
        { "interface", "metric", "tag" } },
      { "all go", []( RouteMapSeqStatus & s ) { s.matcherDelAll(); }, { "interface", "metric" } },
      { "one is inserted behind",
        []( RouteMapSeqStatus & s ) { s.matcherIs( MatchOption::matchTagSet, matcher( false ) ); },
        { "interface", "metric", "tag" } },
      { "its sub route map goes", []( RouteMapSeqStatus & s ) { s.subRouteMapIs( nullptr ); }, { "interface", "metric", "tag" } },
      { "its continue goes", []( RouteMapSeqStatus & s ) { s.continueSeqIs( nullptr ); }, { "interface", "metric", "tag" } },
   };
   for( const auto & row : rows ) {
      Journal asked;
      auto s = seq( 10 ).call( routeMap( "SUB", { seq( 1 ) } ) ).continueTo( 20 );
      const auto change = [ &, s = s.get().get() ] {
         asked.push_back( "metric" );
         row.change( *s );
      };
      s.match( noting( asked, "tag" ), MatchOption::matchTag );
      s.match( matcher( true, change ), MatchOption::matchMetric );
      s.match( noting( asked, "interface" ), MatchOption::matchInterface );
      const auto map = routeMap( "RM", { s } );
      const MatchInput_ input;
      Result_ result;
      PolicyEval().eval( &input, listOf( { { 0, map } } ), &result );
      EXPECT_EQ( asked, row.asked ) << row.name;
   }
}

TEST( PolicyEval, everythingMayBeDroppedUnderTheWalk ) {
   for( const bool logs : { false, true } ) {
      SCOPED_TRACE( logs );
      Journal ran;
      Ptr<const RouteMapStatusList> list;   // the only use of all there is
      auto drop = [ & ] { list = nullptr; };
      list = listOf( { { 4,
                         routeMap( "RM",
                                   { seq( 10 ).match( matcher( true, drop ) ).set( recording( ran, "10" ) ).continueTo( 20 ),
                                     seq( 20 ).match( matcher( true ) ).set( recording( ran, "20" ) ) } ) },
                       { 5, routeMap( "NEXT", { seq( 30 ).set( recording( ran, "30" ) ) } ) } } );
      PolicyEval eval;
      eval.contextIs( makeNode<PolicyEvalContext>() );
      eval.shouldLogEvalIs( logs );
      const MatchInput_ input;
      Result_ result;
      EXPECT_TRUE( eval.eval( &input, list, &result ) );
      EXPECT_THAT( ran, ElementsAre( "10", "20", "30" ) );
   }
}

TEST( PolicyEval, aListMayChangeUnderTheWalk ) {
   const struct {
      const char * name;
      void ( *change )( RouteMapStatusList & );   // from within the call of the matcher at 4
      Journal asked;
      bool permit;
   } rows[] = {
      { "the very entry goes",
        []( RouteMapStatusList & l ) { l.rmStatusDel( RmPrecedence::routeMapPrecedence ); },
        { "0", "4", "8" },
        true },
      { "the next goes", []( RouteMapStatusList & l ) { l.rmStatusDel( RmPrecedence::missingPolicyDenyPrecedence ); }, { "0", "4" }, true },
      { "an entry comes in front",
        []( RouteMapStatusList & l ) { l.rmStatusIs( RmPrecedence( 1 ), routeMap( "DENY", { seq( 10 ).deny() } ) ); },
        { "0", "4", "8" },
        true },
      { "an entry comes behind",
        []( RouteMapStatusList & l ) { l.rmStatusIs( RmPrecedence( 5 ), routeMap( "DENY", { seq( 10 ).deny() } ) ); },
        { "0", "4" },
        false },
      { "all go", []( RouteMapStatusList & l ) { l.rmStatusDelAll(); }, { "0", "4" }, true },
   };
   for( const auto & row : rows )
      for( const bool logs : { false, true } ) {
         SCOPED_TRACE( std::string( row.name ) + ( logs ? ", logged" : "" ) );
         Journal asked;
         auto list = makeNode<RouteMapStatusList>();
         const auto change = [ &, list = list.get() ] {
            asked.push_back( "4" );
            row.change( *list );
         };
         list->rmStatusIs( RmPrecedence( 0 ), routeMap( "RM0", { seq( 10 ).match( noting( asked, "0" ) ) } ) );
         list->rmStatusIs( RmPrecedence( 4 ), routeMap( "RM4", { seq( 10 ).match( matcher( true, change ) ) } ) );
         list->rmStatusIs( RmPrecedence( 8 ), routeMap( "RM8", { seq( 10 ).match( noting( asked, "8" ) ) } ) );
         PolicyEval eval;
         eval.contextIs( makeNode<PolicyEvalContext>() );
         eval.shouldLogEvalIs( logs );
         const MatchInput_ input;
         Result_ result;
         EXPECT_EQ( eval.eval( &input, list, &result ), row.permit );
         EXPECT_EQ( asked, row.asked );
      }
}

// ---- setters

TEST( PolicyEval, settersRunInOrderOfMatchAndThenOfOption ) {
   Journal ran;
   const auto sequence = [ & ]( uint32_t seqno, const char * metric, const char * distance ) {
      return seq( seqno ).set( recording( ran, distance ), SetOption::setDistance ).set( recording( ran, metric ), SetOption::setMetric );
   };
   const auto inner = routeMap( "INNER", { sequence( 1, "inner metric", "inner distance" ) } );
   const auto outer = routeMap( "OUTER", { sequence( 5, "outer metric", "outer distance" ).call( inner ) } );
   const auto map =
      routeMap( "RM", { sequence( 10, "metric", "distance" ).call( outer ).continueTo( 20 ), sequence( 20, "20 metric", "20 distance" ) } );
   const MatchInput_ input;
   MatchedRouteMapSequences matched;
   Result_ result;
   ASSERT_TRUE( PolicyEval().evalRouteMapMatchers( &input, map.get(), &matched ) );
   EXPECT_THAT( ran, IsEmpty() );   // matching sets nothing
   PolicyEval().applyPolicySetters( &matched, &result );
   EXPECT_THAT(
      ran,
      ElementsAre( "inner metric", "inner distance", "outer metric", "outer distance", "metric", "distance", "20 metric", "20 distance" ) );
   EXPECT_FALSE( result.dps() );
}

TEST( PolicyEval, aLaterSequenceOverwritesWhatAnEarlierOneSet ) {
   const auto map = routeMap( "RM",
                              { seq( 10 )
                                   .set( makeNode<DistanceSetter>( 1 ), SetOption::setDistance )
                                   .set( makeNode<RouteMetricSetter>( 100 ), SetOption::setMetric )
                                   .continueTo( 20 ),
                                seq( 20 ).set( makeNode<DistanceSetter>( 2 ), SetOption::setDistance ) } );
   const MatchInput_ input;
   Result_ result;
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, map } } ), &result ) );
   EXPECT_EQ( result.preference(), 2 );
   EXPECT_EQ( result.metric(), Zeugma::MaybeU63( 100 ) );
}

TEST( PolicyEval, nothingToApplyChangesNothing ) {
   const MatchedRouteMapSequences matched;
   Result_ result;
   PolicyEval().applyPolicySetters( &matched, &result );
   EXPECT_EQ( result, Result_() );
}

TEST( PolicyEval, deferredSettersRunOnceBehindAllOthersInOrderOfRegistration ) {
   Journal ran;
   const auto map = routeMap(
      "RM",
      { seq( 10 ).set( recording( ran, "b", true ), SetOption::setTag ).set( recording( ran, "c" ), SetOption::setMetric ).continueTo( 20 ),
        seq( 20 ).set( recording( ran, "a", true ), SetOption::setTag ).set( recording( ran, "d" ), SetOption::setDistance ) } );
   const MatchInput_ input;
   Result_ result;
   for( int times = 0; times < 2; ++times ) {
      ran.clear();
      EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, map } } ), &result ) );
      EXPECT_THAT( ran, ElementsAre( "c", "b", "a", "d", "late b", "late a" ) );
      EXPECT_EQ( result.deferredSetters(), 0u );
   }
}

TEST( PolicyEval, aDeferredSetterSeesFinalValues ) {
   struct DoublesThePreference final : Setter {
      void setValue( Result_ * result ) const override { result->deferredSetterIs( this ); }
      void deferredSetValue( Result_ * result ) const override { result->preferenceIs( uint8_t( 2 * result->preference() ) ); }
      void formatDerivedType( std::ostream & ) const override {}
   };
   const auto map = routeMap(
      "RM", { seq( 10 ).set( makeNode<DoublesThePreference>() ).continueTo( 20 ), seq( 20 ).set( makeNode<DistanceSetter>( 21 ) ) } );
   const MatchInput_ input;
   Result_ result;
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, map } } ), &result ) );
   EXPECT_EQ( result.preference(), 42 );
}

TEST( PolicyEval, whatWasRegisteredBeforehandRunsToo ) {
   Journal ran;
   const RecordingSetter setter( ran, "a" );
   Result_ result;
   result.deferredSetterIs( &setter );
   const MatchedRouteMapSequences matched;
   PolicyEval().applyPolicySetters( &matched, &result );
   EXPECT_THAT( ran, ElementsAre( "late a" ) );
   EXPECT_TRUE( result.dps() );
   EXPECT_EQ( result.deferredSetters(), 0u );
}

TEST( PolicyEval, whatWasRegisteredBeforehandRunsBehindAPermitWithoutSetters ) {
   Journal ran;
   const RecordingSetter setter( ran, "a" );
   Result_ result;
   result.deferredSetterIs( &setter );
   const MatchInput_ input;
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, routeMap( "RM", { seq( 10 ) } ) } } ), &result ) );
   EXPECT_THAT( ran, ElementsAre( "late a" ) );
}

/// Defers; does what it was told to do in the late half.
struct LateSetter final : Setter {
   LateSetter( Journal & j, std::string n, std::function<void( Result_ * )> l )
         : journal( j ), name( std::move( n ) ), late( std::move( l ) ) {}
   void setValue( Result_ * result ) const override { result->deferredSetterIs( this ); }
   void deferredSetValue( Result_ * result ) const override {
      journal.push_back( name );
      if( late ) late( result );
   }
   void formatDerivedType( std::ostream & ) const override {}
   Journal & journal;
   std::string name;
   std::function<void( Result_ * )> late;
};

TEST( PolicyEval, deferredSettersMayRegisterOthers ) {
   Journal ran;
   std::vector<Ptr<LateSetter>> more;   // enough of them that the list must grow under the loop
   for( int i = 0; i < 100; ++i ) more.push_back( makeNode<LateSetter>( ran, "more", nullptr ) );
   Ptr<LateSetter> first;
   first = makeNode<LateSetter>( ran, "first", [ & ]( Result_ * result ) {
      result->deferredSetterIs( first.get() );   // it is registered already
      for( const auto & m : more ) result->deferredSetterIs( m.get() );
   } );
   const auto map =
      routeMap( "RM", { seq( 10 ).set( first ).continueTo( 20 ), seq( 20 ).set( makeNode<LateSetter>( ran, "second", nullptr ) ) } );
   const MatchInput_ input;
   Result_ result;
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, map } } ), &result ) );
   Journal expected{ "first", "second" };
   expected.insert( expected.end(), 100, "more" );
   EXPECT_EQ( ran, expected );
   EXPECT_EQ( result.deferredSetters(), 0u );
   EXPECT_TRUE( result.dps() );
}

TEST( PolicyEval, aDeferredSetterMayCallTheRestOff ) {
   Journal ran;
   const auto map =
      routeMap( "RM",
                { seq( 10 ).set( makeNode<LateSetter>( ran, "first", []( Result_ * r ) { r->deferredSetterDelAll(); } ) ).continueTo( 20 ),
                  seq( 20 ).set( makeNode<LateSetter>( ran, "second", nullptr ) ) } );
   const MatchInput_ input;
   Result_ result;
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, map } } ), &result ) );
   EXPECT_THAT( ran, ElementsAre( "first" ) );
   EXPECT_FALSE( result.dps() );
}

// A list in which each deferred setter may do something to the list in its late half.
struct PolicyEvalLateTest : testing::Test {
   Ptr<LateSetter> late( const char * name, std::function<void( Result_ * )> work = nullptr ) {
      setters.push_back( makeNode<LateSetter>( ran, name, std::move( work ) ) );
      return setters.back();
   }
   Journal apply() {
      auto map = makeNode<RouteMapStatus>( "RM" );
      for( uint32_t i = 0; i < matched.size(); ++i ) {
         const auto s = makeNode<RouteMapSeqStatus>( 10 * ( i + 1 ) );
         s->setterIs( SetOption::setMetric, matched[ i ] );
         steps.push_back( s.get() );
         map->seqStatusIs( s );
      }
      PolicyEval().applyPolicySetters( &steps, &result );
      EXPECT_EQ( result.deferredSetters(), 0u );
      return ran;
   }
   Journal ran;
   Result_ result;
   MatchedRouteMapSequences steps;
   std::vector<Ptr<LateSetter>> setters;   // all that were made
   std::vector<Ptr<LateSetter>> matched;   // those that matched sequences hold
};

TEST_F( PolicyEvalLateTest, oneMayTakeItselfOff ) {
   Ptr<LateSetter> self;
   self = late( "a", [ & ]( Result_ * r ) { r->deferredSetterDel( self.get() ); } );
   matched = { self, late( "b" ), late( "c" ) };
   EXPECT_THAT( apply(), ElementsAre( "a", "b", "c" ) );
}

TEST_F( PolicyEvalLateTest, oneMayTakeOthersOff ) {
   const auto a = late( "a" );
   const auto c = late( "c" );
   const auto b = late( "b", [ & ]( Result_ * r ) {
      r->deferredSetterDel( a.get() );
      r->deferredSetterDel( c.get() );
   } );
   matched = { a, b, c, late( "d" ) };
   EXPECT_THAT( apply(), ElementsAre( "a", "b", "d" ) );
}

TEST_F( PolicyEvalLateTest, theWorkOfOneRunsOnceHoweverOftenItComesBack ) {
   Ptr<LateSetter> a, b;
   const auto comeBack = []( const Ptr<LateSetter> & self ) {
      return [ &self ]( Result_ * r ) {
         r->deferredSetterDel( self.get() );
         r->deferredSetterIs( self.get() );
      };
   };
   a = late( "a", comeBack( a ) );
   b = late( "b", comeBack( b ) );
   matched = { a, b };
   EXPECT_THAT( apply(), ElementsAre( "a", "b" ) );
}

TEST_F( PolicyEvalLateTest, aNewListInPlaceOfTheOldOneRunsToo ) {
   const auto other = late( "other" );
   matched = { late( "a",
                     [ & ]( Result_ * r ) {
                        r->deferredSetterDelAll();
                        r->deferredSetterIs( other.get() );
                     } ),
               late( "b" ) };
   EXPECT_THAT( apply(), ElementsAre( "a", "other" ) );
}

// ---- snapshots

TEST( PolicyEval, aSnapshotHoldsTheMatchFromIndexOneOnAndThatOfADenyIsNull ) {
   const MatchInput_ input;
   for( const auto & row : walkRows() ) {
      const auto snapshot = PolicyEval().evalRouteMapMatchersSnapshot( input, row.map );
      ASSERT_EQ( bool( snapshot ), row.permit() ) << row.name;   // null on a deny
      if( !snapshot ) continue;
      std::string held = "permit";
      for( uint32_t i = 1; i < snapshot->seqStatus().size(); ++i ) held += " " + std::to_string( snapshot->seqStatus( i )->seqno() );
      EXPECT_EQ( held, row.answer ) << row.name;
      EXPECT_FALSE( snapshot->seqStatus( 0 ) ) << row.name;
   }
}

TEST( PolicyEval, aSnapshotRunsDeferredSetters ) {
   Journal ran;
   const auto map =
      routeMap( "RM", { seq( 10 ).set( recording( ran, "a", true ) ).continueTo( 20 ), seq( 20 ).set( recording( ran, "b" ) ) } );
   const Result_ result;
   PolicyEval().applyPolicySettersSnapshot( PolicyEval().evalRouteMapMatchersSnapshot( MatchInput_(), map ), result );
   EXPECT_THAT( ran, ElementsAre( "a", "b", "late a" ) );
}

TEST( PolicyEval, aSnapshotOutlivesTheRouteMap ) {
   Journal ran;
   auto map =
      routeMap( "RM", { seq( 10 ).set( recording( ran, "10" ) ).call( routeMap( "SUB", { seq( 1 ).set( recording( ran, "1" ) ) } ) ) } );
   const auto snapshot = PolicyEval().evalRouteMapMatchersSnapshot( MatchInput_(), map );
   map->seqStatusDelAll();
   map = nullptr;
   const Result_ result;
   for( int times = 0; times < 2; ++times ) PolicyEval().applyPolicySettersSnapshot( snapshot, result );
   EXPECT_THAT( ran, ElementsAre( "1", "10", "1", "10" ) );
}

TEST( PolicyEval, aSnapshotOfNothingAppliesNothing ) {
   const auto snapshot = makeNode<MatchedRouteMapSequencesSnapshot>();
   const Result_ result;
   PolicyEval().applyPolicySettersSnapshot( snapshot, result );
   PolicyEval().applyPolicySettersSnapshot( nullptr, result );   // of a deny
   EXPECT_EQ( result, Result_() );
}

TEST( PolicyEval, unsetPlacesOfASnapshotAreLeftOut ) {
   Journal ran;
   const auto snapshot = makeNode<MatchedRouteMapSequencesSnapshot>();
   snapshot->seqStatusIs( 5, seq( 10 ).set( recording( ran, "5" ) ) );
   snapshot->seqStatusIs( 0, seq( 10 ).set( recording( ran, "0" ) ) );
   snapshot->seqStatusIs( 2, seq( 10 ).set( recording( ran, "2" ) ) );
   const Result_ result;
   PolicyEval().applyPolicySettersSnapshot( snapshot, result );
   EXPECT_THAT( ran, ElementsAre( "0", "2", "5" ) );
}

// ---- lists

TEST( PolicyEval, anEmptyListPermitsAndSetsNothing ) {
   const MatchInput_ input;
   Result_ result;
   result.preferenceIs( 7 );
   const Result_ before = result;
   MatchedRouteMapSequences matched;
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( {} ), &result ) );
   EXPECT_TRUE( PolicyEval().evalPolicyMatchers( &input, listOf( {} ), &matched, nullptr ) );
   EXPECT_EQ( result, before );
   EXPECT_THAT( matched, IsEmpty() );
}

TEST( PolicyEval, allEntriesRunInOrderOfPrecedenceAndEachMustPermit ) {
   const struct {
      const char * name;
      std::vector<std::pair<int, bool>> entries;   // precedence and answer
      Journal asked;
      bool permit;
   } rows[] = {
      { "two that permit, written backwards", { { 8, true }, { 0, true } }, { "0", "8" }, true },
      { "a deny in the first ends it", { { 0, false }, { 4, true } }, { "0" }, false },
      { "a deny in the last", { { 0, true }, { 4, false } }, { "0", "4" }, false },
      { "every precedence",
        { { 255, true },
          { 8, true },
          { 7, true },
          { 6, true },
          { 5, true },
          { 4, true },
          { 3, true },
          { 2, true },
          { 1, true },
          { 0, true } },
        { "0", "1", "2", "3", "4", "5", "6", "7", "8", "255" },
        true },
      { "a deny in the middle", { { 1, true }, { 3, true }, { 5, false }, { 6, true } }, { "1", "3", "5" }, false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      Journal asked, ran;
      const auto list = makeNode<RouteMapStatusList>();
      for( const auto & [ p, answer ] : row.entries )
         list->rmStatusIs( RmPrecedence( uint8_t( p ) ),
                           routeMap( "RM",
                                     { seq( 10 )
                                          .match( noting( asked, std::to_string( p ), answer ) )
                                          .set( makeNode<RecordingSetter>( ran, std::to_string( p ) ) ) } ) );
      const MatchInput_ input;
      Result_ result;
      EXPECT_EQ( PolicyEval().eval( &input, list, &result ), row.permit );
      EXPECT_EQ( asked, row.asked );
      EXPECT_EQ( ran, row.permit ? row.asked : Journal() );   // setters in the same order, and none on a deny
   }
}

TEST( PolicyEval, aRouteMapWithoutSequencesIsSkippedInAList ) {
   const MatchInput_ input;
   for( const int p : { 0, 1, 4, 5, 6, 8 } ) {
      MatchedRouteMapSequences matched;
      EXPECT_TRUE( PolicyEval().evalPolicyMatchers( &input, listOf( { { p, routeMap( "RM" ) } } ), &matched, nullptr ) ) << p;
      EXPECT_THAT( matched, IsEmpty() ) << p;
   }
   Result_ result;
   EXPECT_FALSE(
      PolicyEval().eval( &input, listOf( { { 0, routeMap( "RM" ) }, { 4, routeMap( "RM", { seq( 10 ).deny() } ) } } ), &result ) );
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 0, routeMap( "RM" ) }, { 4, routeMap( "RM", { seq( 10 ) } ) } } ), &result ) );
}

TEST( PolicyEval, aDenyLeavesTheResultUntouched ) {
   Journal ran;
   const auto permit = routeMap( "PERMIT", { seq( 10 ).set( recording( ran, "permit" ) ) } );
   const MatchInput_ input;
   for( const auto & [ name, map ] :
        { std::pair(
             "a deny behind a continue",
             routeMap( "RM",
                       { seq( 10 ).set( recording( ran, "10" ) ).continueTo( 20 ), seq( 20 ).deny().set( recording( ran, "20" ) ) } ) ),
          std::pair( "a deny with setters", routeMap( "RM", { seq( 10 ).deny().set( recording( ran, "10" ) ) } ) ),
          std::pair( "the default deny", routeMap( "RM", { seq( 10 ).match( false ).set( recording( ran, "10" ) ) } ) ) } ) {
      Result_ result;
      EXPECT_FALSE( PolicyEval().eval( &input, listOf( { { 0, permit }, { 4, map } } ), &result ) ) << name;
      EXPECT_THAT( ran, IsEmpty() ) << name;
      EXPECT_EQ( result, Result_() ) << name;
   }
}

TEST( PolicyEval, aSubRouteMapWhoseAnswerIsInvertedSetsNothing ) {
   Journal ran;
   const auto sub = []( auto s ) { return routeMap( "SUB", { s } ); };
   const MatchInput_ input;
   Result_ result;
   const auto skipped = routeMap( "RM",
                                  { seq( 10 ).set( recording( ran, "10" ) ).callInverted( sub( seq( 1 ).set( recording( ran, "1" ) ) ) ),
                                    seq( 20 ).set( recording( ran, "20" ) ) } );
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, skipped } } ), &result ) );
   EXPECT_THAT( std::exchange( ran, {} ), ElementsAre( "20" ) );
   const auto passed =
      routeMap( "RM", { seq( 10 ).set( recording( ran, "10" ) ).callInverted( sub( seq( 1 ).deny().set( recording( ran, "1" ) ) ) ) } );
   EXPECT_TRUE( PolicyEval().eval( &input, listOf( { { 4, passed } } ), &result ) );
   EXPECT_THAT( ran, ElementsAre( "10" ) );
}

// ---- functions of a list

struct Roles {
   bool gyre, maint;
};

struct PolicyEvalRolesTest : testing::Test {
   PolicyEvalRolesTest() {
      contexts->contextIs( RmPrecedence( 4 ), gyre );
      contexts->contextIs( RmPrecedence( 6 ), maint );
   }
   Ptr<RouteMapStatus> asking( int p, bool answer = true ) {
      return routeMap( "RM",
                       { seq( 10 )
                            .match( noting( journal, "asks " + std::to_string( p ), answer ) )
                            .set( makeNode<DistanceSetter>( Routing::RoutePreference( p + 100 ) ) ) } );
   }
   Ptr<RouteMapStatusList> listWith( Roles roles ) {
      const auto list = makeNode<RouteMapStatusList>();
      if( roles.gyre ) list->gyreStatusIs( function( "F", gyreBody ) );
      if( roles.maint ) list->gyreStatusMaintIs( function( "M", maintBody ) );
      return list;
   }
   /// What ran, in one line; what was said of logs is left out.
   std::string run( const Ptr<RouteMapStatusList> & list ) {
      journal.clear();
      matched.clear();
      permit = eval.evalPolicyMatchers( &input, list, &matched, contexts );
      std::string line;
      for( const auto & entry : journal )
         if( entry.find( " log" ) == std::string::npos ) line += ( line.empty() ? "" : ", " ) + entry;
      return line;
   }
   Journal journal;
   const MatchInput_ input;
   PolicyEval eval;
   MatchedRouteMapSequences matched;
   bool permit = false;
   Ptr<FakeContext> gyre = makeNode<FakeContext>( journal, "gyre" ), maint = makeNode<FakeContext>( journal, "maint" );
   Ptr<FakeFunction> gyreBody = makeNode<FakeFunction>( journal, kPermit ), maintBody = makeNode<FakeFunction>( journal, kPermit );
   Ptr<Gyre::Eval::GyreEvalContextMap> contexts = makeNode<Gyre::Eval::GyreEvalContextMap>();
};

TEST_F( PolicyEvalRolesTest, functionsRunAtTheirPlaceAmongTheRouteMaps ) {
   const struct {
      const char * name;
      Roles roles;
      std::vector<int> routeMaps;
      const char * order;
   } rows[] = {
      { "no function, route map at 4", { false, false }, { 4 }, "asks 4" },
      { "no function, all route maps",
        { false, false },
        { 0, 1, 2, 3, 4, 5, 6, 7, 8 },
        "asks 0, asks 1, asks 2, asks 3, asks 4, asks 5, asks 6, asks 7, asks 8" },

      { "gyre alone", { true, false }, {}, "gyre runs" },
      { "gyre, route map at 0", { true, false }, { 0 }, "asks 0, gyre gets 100, gyre runs" },
      { "gyre, route map at 1", { true, false }, { 1 }, "asks 1, gyre gets 101, gyre runs" },
      { "gyre, route map at 2", { true, false }, { 2 }, "asks 2, gyre gets 102, gyre runs" },
      { "gyre, route map at 3", { true, false }, { 3 }, "asks 3, gyre gets 103, gyre runs" },
      { "gyre, route map at 4", { true, false }, { 4 }, "gyre runs" },
      { "gyre, route map at 5", { true, false }, { 5 }, "gyre runs, asks 5" },
      { "gyre, route map at 6", { true, false }, { 6 }, "gyre runs, asks 6" },
      { "gyre, route map at 7", { true, false }, { 7 }, "gyre runs, asks 7" },
      { "gyre, route map at 8", { true, false }, { 8 }, "gyre runs, asks 8" },
      { "gyre, route map at 255", { true, false }, { 255 }, "gyre runs, asks 255" },
      { "gyre, all route maps",
        { true, false },
        { 0, 1, 2, 3, 4, 5, 6, 7, 8 },
        "asks 0, asks 1, asks 2, asks 3, gyre gets 100, gyre gets 101, gyre gets 102, gyre gets 103, gyre runs, asks 5, asks 6, asks 7, "
        "asks 8" },

      { "maint alone", { false, true }, {}, "maint runs" },
      { "maint, route map at 0", { false, true }, { 0 }, "asks 0, maint gets 100, maint runs" },
      { "maint, route map at 1", { false, true }, { 1 }, "asks 1, maint gets 101, maint runs" },
      { "maint, route map at 2", { false, true }, { 2 }, "asks 2, maint gets 102, maint runs" },
      { "maint, route map at 3", { false, true }, { 3 }, "asks 3, maint gets 103, maint runs" },
      { "maint, route map at 4", { false, true }, { 4 }, "asks 4, maint gets 104, maint runs" },
      { "maint, route map at 5", { false, true }, { 5 }, "asks 5, maint gets 105, maint runs" },
      { "maint, route map at 6", { false, true }, { 6 }, "maint runs" },
      { "maint, route map at 7", { false, true }, { 7 }, "maint runs, asks 7" },
      { "maint, route map at 8", { false, true }, { 8 }, "maint runs, asks 8" },
      { "maint, route maps at 4, 6 and 8", { false, true }, { 4, 6, 8 }, "asks 4, maint gets 104, maint runs, asks 8" },

      { "both alone", { true, true }, {}, "gyre runs, maint runs" },
      { "both, route map at 0", { true, true }, { 0 }, "asks 0, gyre gets 100, gyre runs, maint runs" },
      { "both, route map at 1", { true, true }, { 1 }, "asks 1, gyre gets 101, gyre runs, maint runs" },
      { "both, route map at 2", { true, true }, { 2 }, "asks 2, gyre gets 102, gyre runs, maint runs" },
      { "both, route map at 3", { true, true }, { 3 }, "asks 3, gyre gets 103, gyre runs, maint runs" },
      { "both, route map at 4", { true, true }, { 4 }, "gyre runs, maint runs" },
      { "both, route map at 5", { true, true }, { 5 }, "gyre runs, asks 5, maint gets 105, maint runs" },
      { "both, route map at 6", { true, true }, { 6 }, "gyre runs, maint runs" },
      { "both, route map at 7", { true, true }, { 7 }, "gyre runs, maint runs, asks 7" },
      { "both, route map at 8", { true, true }, { 8 }, "gyre runs, maint runs, asks 8" },
      { "both, all route maps",
        { true, true },
        { 0, 1, 2, 3, 4, 5, 6, 7, 8 },
        "asks 0, asks 1, asks 2, asks 3, gyre gets 100, gyre gets 101, gyre gets 102, gyre gets 103, gyre runs, asks 5, maint gets 105, "
        "maint runs, "
        "asks 7, asks 8" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto list = listWith( row.roles );
      std::vector<const RouteMapSeqStatus *> left;   // behind the last function
      const int last = row.roles.maint ? 6 : row.roles.gyre ? 4 : -1;
      for( const int p : row.routeMaps ) {
         const auto map = asking( p );
         list->rmStatusIs( RmPrecedence( uint8_t( p ) ), map );
         if( p > last ) left.push_back( map->seqStatus().begin()->second.get() );
      }
      EXPECT_EQ( run( list ), row.order );
      EXPECT_TRUE( permit );
      EXPECT_EQ( std::vector( matched.begin(), matched.end() ), left );
   }
}

TEST_F( PolicyEvalRolesTest, aDenyAnywhereEndsTheEvaluation ) {
   const struct {
      const char * name;
      ResultCode gyreCode, maintCode;
      int denyingRouteMap;   // none: -1
      const char * order;
      bool permit;
   } rows[] = {
      { "nobody denies", kPermit, kPermit, -1, "asks 0, gyre gets 100, gyre runs, asks 5, maint gets 105, maint runs, asks 8", true },
      { "the route map before both", kPermit, kPermit, 0, "asks 0", false },
      { "gyre", kDeny, kPermit, -1, "asks 0, gyre gets 100, gyre runs", false },
      { "the route map between", kPermit, kPermit, 5, "asks 0, gyre gets 100, gyre runs, asks 5", false },
      { "maint", kPermit, kDeny, -1, "asks 0, gyre gets 100, gyre runs, asks 5, maint gets 105, maint runs", false },
      { "the route map behind both", kPermit, kPermit, 8, "asks 0, gyre gets 100, gyre runs, asks 5, maint gets 105, maint runs, asks 8",
        false },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      gyreBody->code = row.gyreCode;
      maintBody->code = row.maintCode;
      const auto list = listWith( { true, true } );
      for( const int p : { 0, 5, 8 } ) list->rmStatusIs( RmPrecedence( uint8_t( p ) ), asking( p, p != row.denyingRouteMap ) );
      EXPECT_EQ( run( list ), row.order );
      EXPECT_EQ( permit, row.permit );
   }
}

TEST_F( PolicyEvalRolesTest, aDenyBehindTheLastEntryCountsToo ) {
   const struct {
      const char * name;
      ResultCode gyreCode, maintCode;
      const char * order;
   } rows[] = {
      { "gyre", kDeny, kPermit, "asks 0, gyre gets 100, gyre runs" },
      { "maint", kPermit, kDeny, "asks 0, gyre gets 100, gyre runs, maint runs" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      gyreBody->code = row.gyreCode;
      maintBody->code = row.maintCode;
      const auto list = listWith( { true, true } );
      list->rmStatusIs( RmPrecedence( 0 ), asking( 0 ) );
      EXPECT_EQ( run( list ), row.order );
      EXPECT_FALSE( permit );
   }
}

TEST_F( PolicyEvalRolesTest, aRouteMapWithoutSequencesStillMarksThePlace ) {
   for( const bool empty : { false, true } ) {
      const auto list = listWith( { true, false } );
      gyreBody->code = kDeny;
      list->rmStatusIs( RmPrecedence( 4 ), empty ? routeMap( "RM" ) : asking( 4 ) );
      list->rmStatusIs( RmPrecedence( 5 ), asking( 5 ) );
      EXPECT_EQ( run( list ), "gyre runs" ) << empty;
      EXPECT_FALSE( permit );
   }
}

TEST_F( PolicyEvalRolesTest, onlyTheResultCodeTwoPermits ) {
   for( const uint32_t code : { 0u, 1u, 2u, 3u, 4u, 0x80000002u, 0xffffffffu } ) {
      gyreBody->code = ResultCode( code );
      run( listWith( { true, false } ) );
      EXPECT_EQ( permit, code == 2 ) << code;
      maintBody->code = ResultCode( code );
      run( listWith( { false, true } ) );
      EXPECT_EQ( permit, code == 2 ) << code;
   }
}

TEST_F( PolicyEvalRolesTest, aFunctionWithoutABodyDeniesAndSetsNothing ) {
   for( const bool asMaint : { false, true } ) {
      const auto undefined = Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" );
      const auto list = makeNode<RouteMapStatusList>();
      asMaint ? list->gyreStatusMaintIs( undefined ) : list->gyreStatusIs( undefined );
      list->rmStatusIs( RmPrecedence( 0 ), asking( 0 ) );
      EXPECT_EQ( run( list ), "asks 0" ) << asMaint;
      EXPECT_FALSE( permit ) << asMaint;
   }
}

TEST_F( PolicyEvalRolesTest, theOtherTwoFunctionsAreNotEvaluated ) {
   const auto list = makeNode<RouteMapStatusList>();
   list->gyreStatusFilterIs( function( "FILTER", gyreBody ) );
   list->gyreStatusDefaultOriginateIs( function( "ORIGINATE", maintBody ) );
   list->rmStatusIs( RmPrecedence( 4 ), asking( 4 ) );
   list->rmStatusIs( RmPrecedence( 6 ), asking( 6 ) );
   contexts = nullptr;
   EXPECT_EQ( run( list ), "asks 4, asks 6" );
   EXPECT_TRUE( permit );
}

TEST_F( PolicyEvalRolesTest, whatWasInTheListOfMatchesIsAppliedAndTakenOut ) {
   const auto before = seq( 1 ).set( makeNode<DistanceSetter>( 1 ) ).get();
   matched.push_back( before.get() );
   EXPECT_TRUE( eval.evalPolicyMatchers( &input, listWith( { true, true } ), &matched, contexts ) );
   EXPECT_THAT( matched, IsEmpty() );
   EXPECT_EQ( gyre->resultOf.preference(), 1 );
   EXPECT_EQ( maint->resultOf.preference(), 0 );
}

TEST_F( PolicyEvalRolesTest, deferredSettersRunOnTheFunctionsResult ) {
   Journal ran;
   const auto list = listWith( { true, false } );
   list->rmStatusIs( RmPrecedence( 0 ), routeMap( "RM", { seq( 10 ).set( recording( ran, "a", true ) ) } ) );
   gyreBody->during = [ & ] { ran.push_back( "function" ); };
   run( list );
   EXPECT_THAT( ran, ElementsAre( "a", "late a", "function" ) );
   EXPECT_TRUE( gyre->resultOf.dps() );
   EXPECT_EQ( gyre->resultOf.deferredSetters(), 0u );
}

TEST_F( PolicyEvalRolesTest, theContextsLoggingFlagFollowsAndIsClearedAgain ) {
   eval.contextIs( makeNode<PolicyEvalContext>() );
   const auto list = listWith( { true, true } );
   run( list );
   EXPECT_THAT( journal, ElementsAre( "gyre does not log", "gyre runs", "maint does not log", "maint runs" ) );
   EXPECT_TRUE( eval.evaluationLogs()->empty() );
   eval.shouldLogEvalIs( true );
   run( list );
   EXPECT_THAT( journal,
                ElementsAre( "gyre logs", "gyre runs", "gyre hands out its log", "gyre does not log", "maint logs", "maint runs",
                             "maint hands out its log", "maint does not log" ) );
}

TEST_F( PolicyEvalRolesTest, logsOfFunctionsAreQueuedInTheOrderOfEvaluation ) {
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   for( const auto code : { kPermit, kDeny } ) {
      maintBody->code = code;
      const auto gyreLog = makeNode<FakeLog>( "gyre log" ), maintLog = makeNode<FakeLog>( "maint log" );
      gyre->log = gyreLog;
      maint->log = maintLog;
      run( listWith( { true, true } ) );
      EXPECT_EQ( permit, code == kPermit );
      EXPECT_EQ( eval.context()->evaluationLogDeq(), gyreLog );
      EXPECT_EQ( eval.context()->evaluationLogDeq(), maintLog );
      EXPECT_TRUE( eval.evaluationLogs()->empty() );
      EXPECT_FALSE( gyre->log );   // taken, not copied
   }
   // Behind the route map of the point.
   const auto list = listWith( { false, true } );
   list->rmStatusIs( RmPrecedence( 4 ), asking( 4 ) );
   const auto maintLog = makeNode<FakeLog>( "maint log" );
   maint->log = maintLog;
   run( list );
   ASSERT_EQ( eval.evaluationLogs()->count(), 2u );
   EXPECT_EQ( fieldsOf( *eval.context()->evaluationLogFront() ), "10{permit} permit" );
   EXPECT_EQ( eval.context()->evaluationLogBack(), maintLog );
}

TEST_F( PolicyEvalRolesTest, withoutAContextThereAreNoLogsAndTheSameAnswers ) {
   const auto list = listWith( { true, true } );
   for( const int p : { 0, 5, 7 } ) list->rmStatusIs( RmPrecedence( uint8_t( p ) ), asking( p ) );
   for( const auto code : { kPermit, kDeny } ) {
      maintBody->code = code;
      gyre->log = maint->log = makeNode<FakeLog>( "log" );
      eval.shouldLogEvalIs( false );
      const auto unlogged = run( list );
      EXPECT_EQ( permit, code == kPermit );
      eval.shouldLogEvalIs( true );
      EXPECT_EQ( run( list ), unlogged );
      EXPECT_EQ( permit, code == kPermit );
      EXPECT_EQ( journal[ 2 ], "gyre logs" );   // the function's own log is its context's business
      EXPECT_EQ( eval.evaluationLogs(), nullptr );
   }
}

using PolicyEvalRolesDeathTest = PolicyEvalRolesTest;

TEST_F( PolicyEvalRolesDeathTest, aFunctionWithoutContextsEndsTheProcess ) {
   const char * const text = "!gyrePresent || gyreCtxMap";
   Result_ result;
   contexts = nullptr;
   const auto list = listWith( { true, false } );
   EXPECT_DEATH( eval.evalPolicyMatchers( &input, list, &matched, nullptr ),
                 HasSubstr( std::string( "Assertion failed: " ) + text + "\n" ) );
   EXPECT_DEATH( eval.eval( &input, list, &result ), HasSubstr( text ) );
   // Before anything else is looked at.
   const auto undefined = makeNode<RouteMapStatusList>();
   undefined->gyreStatusIs( Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" ) );
   undefined->rmStatusIs( RmPrecedence( 0 ), routeMap( "RM", { seq( 10 ).deny() } ) );
   EXPECT_DEATH( eval.eval( &input, undefined, &result ), HasSubstr( text ) );
}

TEST_F( PolicyEvalRolesDeathTest, aNullArgumentEndsTheProcess ) {
   Result_ result;
   const auto list = listWith( {} );
   const auto map = routeMap( "RM", { seq( 10 ) } );
   EXPECT_DEATH( eval.eval( &input, nullptr, &result ), HasSubstr( "Assertion failed: list && result\n" ) );
   EXPECT_DEATH( eval.eval( &input, list, nullptr ), HasSubstr( "Assertion failed: list && result\n" ) );
   EXPECT_DEATH( eval.evalPolicyMatchers( &input, nullptr, &matched, contexts ), HasSubstr( "Assertion failed: list && matched\n" ) );
   EXPECT_DEATH( eval.evalRouteMapMatchers( &input, nullptr, &matched ), HasSubstr( "Assertion failed: rmStatus && matched\n" ) );
   EXPECT_DEATH( eval.evalRouteMapMatchers( &input, map.get(), nullptr ), HasSubstr( "Assertion failed: rmStatus && matched\n" ) );
   EXPECT_DEATH( eval.evalRouteMapMatchersSnapshot( input, nullptr ), HasSubstr( "Assertion failed: rmStatus\n" ) );
   EXPECT_DEATH( eval.applyPolicySetters( nullptr, &result ), HasSubstr( "Assertion failed: matched && result\n" ) );
}

TEST_F( PolicyEvalRolesDeathTest, aRouteMapThatCallsItselfEndsTheProcess ) {
   const auto map = routeMap( "RM" );
   const auto sequence = RouteMapSeqStatus::newFrom( nullptr, 10 );
   sequence->subRouteMapIs( map );
   map->seqStatusIs( sequence );
   EXPECT_DEATH( eval.evalRouteMapMatchers( &input, map.get(), &matched ), HasSubstr( "Assertion failed: a route map calls itself\n" ) );
   map->seqStatusDel( 10 );   // the two hold each other
}

// The class of a matcher is not checked: an agent stores its own matchers under any option.
TEST( PolicyEval, aMatcherUnderTheOptionOfAnotherKindIsAskedAndTheOptionIsLogged ) {
   const auto tag = makeNode<TagMatcher>( 7 );
   const auto list = listOf( { { 4, routeMap( "RM", { seq( 10 ).match( tag, MatchOption::matchIpPrefixList ) } ) } } );
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   MatchInput_ input;
   Result_ result;
   EXPECT_FALSE( eval.eval( &input, list, &result ) );
   EXPECT_EQ( fieldsOf( *eval.context()->evaluationLogDeq() ), "10{failed matchIpPrefixList} deny default" );
   input.tagIs( 7 );
   EXPECT_TRUE( eval.eval( &input, list, &result ) );
   EXPECT_EQ( fieldsOf( *eval.context()->evaluationLogDeq() ), "10{permit} permit" );
}

TEST_F( PolicyEvalRolesDeathTest, aContextWithoutAResultEndsTheProcess ) {
   const char * const text = "Assertion failed: gyreCtx->result()\n";
   gyre->hasResult = maint->hasResult = false;
   EXPECT_DEATH( run( listWith( { true, false } ) ), HasSubstr( text ) );
   EXPECT_DEATH( run( listWith( { false, true } ) ), HasSubstr( text ) );
   EXPECT_DEATH( eval.evalGyre( function( "F", gyreBody ), gyre ), HasSubstr( text ) );
   gyreBody->code = kDeny;   // the contract is checked before the answer is known
   EXPECT_DEATH( run( listWith( { true, false } ) ), HasSubstr( text ) );
}

TEST_F( PolicyEvalRolesDeathTest, anAbsentContextEndsTheProcess ) {
   const auto text = HasSubstr( "Assertion failed: gyreCtx->result()\n" );
   const auto other = Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( RmPrecedence( 5 ), gyre );
   EXPECT_DEATH( eval.evalPolicyMatchers( &input, listWith( { true, false } ), &matched, other ), text );
   EXPECT_DEATH( eval.evalPolicyMatchers( &input, listWith( { false, true } ), &matched, other ), text );
   EXPECT_DEATH( eval.evalPolicyMatchers( &input, listWith( { false, true } ), &matched, nullptr ), text );
   EXPECT_DEATH( eval.evalGyre( function( "F", gyreBody ), nullptr ), text );
}

// ---- one route map, or one function, as the policy of a point

TEST( PolicyEval, aPeerFilterAnswersAndSetsNothing ) {
   for( const auto & row : walkRows() ) {
      Journal ran;
      const auto map = makeNode<RouteMapStatus>( "RM" );
      for( const auto & [ seqno, sequence ] : row.map->seqStatus() ) {
         const auto copy = RouteMapSeqStatus::newFrom( sequence, seqno );
         copy->setterIs( SetOption::setMetric, recording( ran, "ran", true ) );
         map->seqStatusIs( copy );
      }
      const bool skipped = map->seqStatus().empty();
      const MatchInput_ input;
      EXPECT_EQ( PolicyEval().evalPeerFilter( map, &input ), skipped || row.permit() ) << row.name;
      EXPECT_THAT( ran, IsEmpty() ) << row.name;
   }
}

TEST( PolicyEval, aPeerFilterThatSaysNothingPermits ) {
   const MatchInput_ input;
   EXPECT_TRUE( PolicyEval().evalPeerFilter( routeMap( "RM" ), &input ) );
   EXPECT_TRUE( PolicyEval().evalPeerFilter( nullptr, &input ) );
   MatchedRouteMapSequences matched;
   EXPECT_FALSE( PolicyEval().evalRouteMapMatchers( &input, routeMap( "RM" ).get(), &matched ) );
}

TEST( PolicyEval, aPeerFilterIsLoggedAsTheRouteMapOfThePoint ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   const MatchInput_ input;
   eval.evalPeerFilter( routeMap( "RM", { seq( 10 ).deny() } ), &input );
   ASSERT_EQ( eval.evaluationLogs()->count(), 1u );
   EXPECT_EQ( fieldsOf( *eval.context()->evaluationLogFront() ), "10{none deny} deny" );
   eval.evalPeerFilter( routeMap( "RM" ), &input );
   EXPECT_EQ( eval.evaluationLogs()->count(), 1u );   // skipped: nothing to tell
}

TEST_F( PolicyEvalRolesTest, aFunctionAloneAnswersOnItsContext ) {
   for( const auto code : { kPermit, kDeny, ResultCode( 0 ) } ) {
      journal.clear();
      gyreBody->code = code;
      EXPECT_EQ( eval.evalGyre( function( "F", gyreBody ), gyre ), code == kPermit );
      EXPECT_THAT( journal, ElementsAre( "gyre does not log", "gyre runs" ) );
   }
   EXPECT_FALSE( eval.evalGyre( Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" ), gyre ) );
   EXPECT_TRUE( eval.evalGyre( nullptr, nullptr ) );   // nothing to evaluate
}

TEST_F( PolicyEvalRolesTest, aFunctionAloneIsLogged ) {
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   const auto log = makeNode<FakeLog>( "log" );
   gyre->log = log;
   EXPECT_TRUE( eval.evalGyre( function( "F", gyreBody ), gyre ) );
   ASSERT_EQ( eval.evaluationLogs()->count(), 1u );
   EXPECT_EQ( eval.context()->evaluationLogFront(), log );
}

// ---- logs of a list

struct PolicyEvalLogTest : testing::Test {
   PolicyEvalLogTest() {
      eval.contextIs( makeNode<PolicyEvalContext>() );
      eval.shouldLogEvalIs( true );
   }
   bool run( const Ptr<RouteMapStatusList> & list ) { return eval.eval( &input, list, &result ); }
   std::vector<std::string> logs() const {
      std::vector<std::string> all;
      for( const auto & log : *eval.evaluationLogs() )
         all.push_back( std::string( dynamic_cast<const PolicyEvaluationLog &>( *log ).rmStatus()->name() ) + ": " + fieldsOf( *log ) );
      return all;
   }
   const MatchInput_ input;
   Result_ result;
   PolicyEval eval;
};

TEST_F( PolicyEvalLogTest, theRouteMapOfThePointIsLoggedAndNoOther ) {
   const auto list = makeNode<RouteMapStatusList>();
   for( uint8_t p = 0; p < 10; ++p )
      list->rmStatusIs( RmPrecedence( p ), routeMap( ( "RM" + std::to_string( p ) ).c_str(), { seq( 10 ) } ) );
   EXPECT_TRUE( run( list ) );
   EXPECT_THAT( logs(), ElementsAre( "RM4: 10{none permit} permit" ) );
}

TEST_F( PolicyEvalLogTest, aDenyIsQueuedAsAPermitIs ) {
   run( listOf( { { 4, routeMap( "A", { seq( 10 ).deny() } ) } } ) );
   run( listOf( { { 4, routeMap( "B", { seq( 10 ).match( false ) } ) } } ) );
   run( listOf( { { 4, routeMap( "C", { seq( 10 ) } ) }, { 5, routeMap( "D", { seq( 10 ).deny() } ) } } ) );
   run( listOf( { { 0, routeMap( "E", { seq( 10 ).deny() } ) }, { 4, routeMap( "F", { seq( 10 ) } ) } } ) );   // not reached
   EXPECT_THAT( logs(), ElementsAre( "A: 10{none deny} deny", "B: 10{failed matchTag} deny default", "C: 10{none permit} permit" ) );
}

TEST_F( PolicyEvalLogTest, aSkippedEntryQueuesNothing ) {
   EXPECT_TRUE( run( listOf( { { 4, routeMap( "RM" ) } } ) ) );
   Journal journal;
   const auto list = listOf( { { 4, routeMap( "RM", { seq( 10 ) } ) } } );
   list->gyreStatusIs( function( "F", makeNode<FakeFunction>( journal, kPermit ) ) );
   MatchedRouteMapSequences matched;
   const auto contexts =
      Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( RmPrecedence( 4 ), makeNode<FakeContext>( journal, "gyre" ) );
   EXPECT_TRUE( eval.evalPolicyMatchers( &input, list, &matched, contexts ) );
   EXPECT_THAT( logs(), IsEmpty() );   // displaced by the function, which left none
}

TEST_F( PolicyEvalLogTest, theLogIsInstalledWhileItsRouteMapRunsAndNoLonger ) {
   Ptr<PolicyEvaluationLog> seen, outside;
   const auto list =
      listOf( { { 0, routeMap( "BEFORE", { seq( 10 ).match( matcher( true, [ & ] { outside = eval.context()->log(); } ) ) } ) },
                { 4,
                  routeMap( "RM",
                            { seq( 10 ).match( matcher( true,
                                                        [ & ] {
                                                           seen = eval.context()->log();
                                                           EXPECT_EQ( eval.context()->callStack().count(), 1u );
                                                           EXPECT_EQ( eval.context()->callStackTop(), seen );
                                                           EXPECT_TRUE( eval.evaluationLogs()->empty() );   // queued when it is finished
                                                        } ) ) } ) },
                { 5, routeMap( "BEHIND", { seq( 10 ).match( matcher( true, [ & ] { outside = eval.context()->log(); } ) ) } ) } } );
   EXPECT_TRUE( run( list ) );
   ASSERT_TRUE( seen );
   EXPECT_FALSE( outside );
   EXPECT_EQ( seen->rmStatus(), list->rmStatus( RmPrecedence( 4 ) ) );
   EXPECT_EQ( eval.context()->evaluationLogFront(), seen );
   EXPECT_FALSE( eval.context()->log() );
   EXPECT_EQ( eval.context()->callStack().count(), 1u );   // of a null log
   EXPECT_FALSE( eval.context()->callStackTop() );
}

TEST_F( PolicyEvalLogTest, aSubRouteMapIsOnTheCallStackWhileItRuns ) {
   std::vector<std::string> stack;
   const auto note = [ & ] {
      std::string line;
      for( uint32_t i = 0; i < eval.context()->callStack().count(); ++i ) {
         const auto log = eval.context()->callStack( i );
         line += ( i ? " " : "" ) + std::string( log ? log->rmStatus()->name() : "NULL" );
      }
      stack.push_back( line );
   };
   const auto inner = routeMap( "INNER", { seq( 1 ).match( matcher( true, note ) ) } );
   const auto outer = routeMap(
      "OUTER", { seq( 1 ).match( matcher( true, note ) ).call( inner ).continueTo( 2 ), seq( 2 ).match( matcher( true, note ) ) } );
   run( listOf( { { 4, routeMap( "RM", { seq( 1 ).call( outer ).continueTo( 2 ), seq( 2 ).match( matcher( true, note ) ) } ) } } ) );
   EXPECT_THAT( stack, ElementsAre( "RM OUTER", "RM OUTER INNER", "RM OUTER", "RM" ) );
}

TEST_F( PolicyEvalLogTest, aQueuedLogHoldsItsRouteMap ) {
   run( listOf( { { 4, routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 1 ) } ) ) } ) } } ) );
   EXPECT_THAT( logs(), ElementsAre( "RM: 10{none call SUB( 1{none permit} permit )=permit permit} permit" ) );   // the list has gone
}

TEST_F( PolicyEvalLogTest, nothingIsLoggedUnlessAskedFor ) {
   eval.shouldLogEvalIs( false );
   EXPECT_TRUE( run( listOf( { { 4, routeMap( "RM", { seq( 10 ) } ) } } ) ) );
   EXPECT_THAT( logs(), IsEmpty() );
   eval.shouldLogEvalIs( true );
   eval.contextIs( nullptr );
   EXPECT_TRUE( run( listOf( { { 4, routeMap( "RM", { seq( 10 ) } ) } } ) ) );
   EXPECT_EQ( eval.evaluationLogs(), nullptr );
   EXPECT_FALSE( run( listOf( { { 4, routeMap( "RM", { seq( 10 ).deny() } ) } } ) ) );
}

TEST_F( PolicyEvalLogTest, aClientsOwnLogAndCallStackStandAsideWhileAListRuns ) {
   eval.shouldLogEvalIs( false );
   const auto map = routeMap( "RM", { seq( 10 ) } );
   const auto own = makeNode<PolicyEvaluationLog>( map );
   const std::string unwritten = fieldsOf( *own );
   const auto below = makeNode<PolicyEvaluationLog>( routeMap( "below" ) );
   eval.context()->logIs( own );
   eval.context()->callStackReset( below );
   eval.context()->callStackPush( own );
   const auto throws = matcher( true, [ & ] {
      EXPECT_FALSE( eval.context()->log() );
      throw std::runtime_error( "matcher" );
   } );
   EXPECT_TRUE( run( listOf( { { 4, map }, { 5, map } } ) ) );
   EXPECT_THROW( run( listOf( { { 4, routeMap( "RM", { seq( 10 ).match( throws ) } ) } } ) ), std::runtime_error );
   EXPECT_EQ( eval.context()->log(), own );
   EXPECT_EQ( eval.context()->callStack().count(), 2u );
   EXPECT_EQ( eval.context()->callStackTop(), own );
   EXPECT_EQ( eval.context()->callStackBottom(), below );
   EXPECT_EQ( fieldsOf( *own ), unwritten );
   EXPECT_THAT( logs(), IsEmpty() );
}

TEST( PolicyEval, aChangeOfShouldLogEvalEmptiesTheQueue ) {
   const struct {
      const char * name;
      bool before, after;
      size_t left;
   } rows[] = {
      { "turned on", false, true, 0 }, { "turned off", true, false, 0 }, { "on again", true, true, 2 }, { "off again", false, false, 2 }
   };
   for( const auto & row : rows ) {
      PolicyEval eval;
      eval.contextIs( makeNode<PolicyEvalContext>() );
      eval.shouldLogEvalIs( row.before );
      for( int i = 0; i < 2; ++i ) eval.context()->evaluationLogEnq( makeNode<FakeLog>( "log" ) );
      eval.shouldLogEvalIs( row.after );
      EXPECT_EQ( eval.shouldLogEval(), row.after ) << row.name;
      EXPECT_EQ( eval.evaluationLogs()->count(), row.left ) << row.name;
      EXPECT_EQ( eval.evaluationLogs(), &eval.context()->evaluationLog() ) << row.name;
   }
}

TEST( PolicyEval, resetEmptiesTheQueueAlone ) {
   PolicyEval eval;
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   const auto log = makeNode<PolicyEvaluationLog>( routeMap( "RM" ) );
   eval.context()->logIs( log );
   eval.context()->evaluationLogEnq( log );
   eval.resetEvaluationLog();
   EXPECT_TRUE( eval.evaluationLogs()->empty() );
   EXPECT_TRUE( eval.shouldLogEval() );
   EXPECT_EQ( eval.context()->log(), log );
   EXPECT_EQ( eval.context()->callStackTop(), log );
}

TEST_F( PolicyEvalLogTest, bothFormsOfTheWorkedExample ) {
   const auto sub = routeMap( "SUB", { seq( 5 ) } );
   run( listOf( { { 4, routeMap( "RM1", { seq( 10 ).match( true ).call( sub ).continueTo( 20 ), seq( 20 ).match( false ) } ) } } ) );
   ASSERT_EQ( eval.evaluationLogs()->count(), 1u );
   const auto & log = dynamic_cast<const PolicyEvaluationLog &>( *eval.context()->evaluationLogFront() );
   EXPECT_EQ( withoutAddresses( log.toStrep( 0 ) ),
              "0x-\n"
              "Route Map Name: RM1\n"
              "Matcher debug key: 10\n"
              "   0x-\n"
              "   seqno: 10\n"
              "   Seq matched \n"
              "   Result: called a sub route map: \n"
              "      0x-\n"
              "      Route Map Name: SUB\n"
              "      Matcher debug key: 5\n"
              "         0x-\n"
              "         seqno: 5\n"
              "         The sequence had no matchers\n"
              "         This sequence is permit\n"
              "      result was permit\n"
              "      end SUB\n"
              "   This sequence is permit\n"
              "   Continue triggered to seq 20\n"
              "Matcher debug key: 20\n"
              "   0x-\n"
              "   seqno: 20\n"
              "   The following matcher failed:\n"
              "   matchTag\n"
              "result was permit\n"
              "end RM1\n" );
   EXPECT_EQ(
      jsonOf( log ),
      R"("rmname":"RM1","seqs":{"10":{"passedMatchers":["matchTag"],"subRouteMap":{"rmname":"SUB","seqs":{"5":{"passedMatchers":[],)"
      R"("hadNoMatchers":true,"matchActionDeny":false,"result":true,"continue":0}},"result":true,"defaultDeny":false},)"
      R"("subRouteMapInvertResult":false,"hadNoMatchers":false,"matchActionDeny":false,"result":true,"continue":20},)"
      R"("20":{"passedMatchers":[],"failingMatcher":"matchTag","hadNoMatchers":false,"matchActionDeny":false,"result":false,"continue":0}},)"
      R"("result":true,"defaultDeny":false)" );
}

TEST_F( PolicyEvalLogTest, aSubRouteMapWithoutSequencesEndsTheTextThere ) {
   run( listOf( { { 4, routeMap( "RM1", { seq( 10 ).callInverted( routeMap( "SUB" ) ).continueTo( 20 ) } ) } } ) );
   const auto & log = dynamic_cast<const PolicyEvaluationLog &>( *eval.context()->evaluationLogFront() );
   EXPECT_EQ( withoutAddresses( log.toStrep( 0 ) ),
              "0x-\n"
              "Route Map Name: RM1\n"
              "Matcher debug key: 10\n"
              "   0x-\n"
              "   seqno: 10\n"
              "   The sequence had no matchers\n"
              "   Result: called a sub route map: \n"
              "      0x-\n"
              "      Route Map Name: SUB\n"
              "      result was deny\n"
              "      end SUB\n"
              "result was permit\n"
              "end RM1\n" );
   EXPECT_EQ( jsonOf( log ),
              R"("rmname":"RM1","seqs":{"10":{"passedMatchers":[],"subRouteMap":{"rmname":"SUB","seqs":{},"result":false,)"
              R"("defaultDeny":false},"subRouteMapInvertResult":false,"hadNoMatchers":true,"matchActionDeny":false,"result":true,)"
              R"("continue":20}},"result":true,"defaultDeny":false)" );
}

// ---- exceptions

TEST_F( PolicyEvalLogTest, whatAMatcherThrowsGoesThroughAndLeavesNoLogInstalled ) {
   bool throws = true;
   const auto map = routeMap( "RM", { seq( 10 ).match( matcher( true, [ & ] {
                                 if( throws ) throw std::runtime_error( "out of order" );
                              } ) ) } );
   const auto called = routeMap( "RM", { seq( 10 ).set( makeNode<DistanceSetter>( 1 ) ).call( map ) } );
   for( const auto & list : { listOf( { { 4, map } } ), listOf( { { 4, called } } ), listOf( { { 0, called }, { 4, map } } ) } ) {
      throws = true;
      EXPECT_THROW( run( list ), std::runtime_error );
      EXPECT_FALSE( eval.context()->log() );
      EXPECT_LE( eval.context()->callStack().count(), 1u );
      EXPECT_FALSE( eval.context()->callStackTop() );
      EXPECT_THAT( logs(), IsEmpty() );
      EXPECT_EQ( result, Result_() );
      throws = false;
      EXPECT_TRUE( run( list ) );
      EXPECT_EQ( logs().size(), 1u );
      eval.resetEvaluationLog();
      result = Result_();
   }
}

TEST_F( PolicyEvalLogTest, whatIsDroppedInAWalkThatThrowsGoes ) {
   struct Counted final : Matcher {
      explicit Counted( int & a ) : alive( a ) { ++alive; }
      ~Counted() override { --alive; }
      bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override { return true; }
      void formatDerivedType( std::ostream & ) const override {}
      int & alive;
   };
   int alive = 0;
   Ptr<RouteMapStatusList> list;
   const auto dropAndThrow = [ & ] {
      list = nullptr;
      throw std::runtime_error( "out of order" );
   };
   list = listOf(
      { { 4,
          routeMap(
             "RM",
             { seq( 10 ).match( makeNode<Counted>( alive ), MatchOption::matchInterface ).match( matcher( true, dropAndThrow ) ) } ) } } );
   EXPECT_EQ( alive, 1 );
   EXPECT_THROW( run( list ), std::runtime_error );
   EXPECT_EQ( alive, 0 );
}

// ---- timers

constexpr std::string_view kRouteMap = "PolicyEval::evalRouteMapMatchers(const MatchInput*, const Routing::Policy::RouteMapStatus*, "
                                       "Routing::Policy::MatchedRouteMapSequences*) const";
constexpr std::string_view kSetters =
   "PolicyEval::applyPolicySetters(const Routing::Policy::MatchedRouteMapSequences*, Routing::Policy::Result*) const";
constexpr std::string_view kSub =
   "evalSubRouteMapMatchers(Routing::Policy::PolicyEval::RawPtrConst, Routing::Policy::PolicyEvalContext::Ptr, bool, const MatchInput*, "
   "const Routing::Policy::RouteMapSeqStatus*, Routing::Policy::MatchedRouteMapSequences*)";
constexpr std::string_view kList =
   "PolicyEval::evalPolicyMatchers(const MatchInput*, const PtrConst&, Routing::Policy::MatchedRouteMapSequences*, const Ptr&) const";

struct PolicyEvalTimerTest : testing::Test {
   PolicyEvalTimerTest() {
      eval.contextIs( makeNode<PolicyEvalContext>() );
      eval.context()->enableTrailmarkIs( true );
   }
   /// The texts of the timers that have ended since the last call, in the order of their ends: the inner before the outer.
   std::vector<std::string_view> timers() {
      const auto & handle = Trailmark::defaultTrailmarkHandle();
      std::vector<std::string_view> texts;
      for( const auto & record : handle.read() )
         if( record.number > seen ) texts.push_back( record.message->text() );
      seen = handle.written();
      return texts;
   }
   uint64_t seen = Trailmark::defaultTrailmarkHandle().written();
   const MatchInput_ input;
   Result_ result;
   MatchedRouteMapSequences matched;
   PolicyEval eval;
   Ptr<RouteMapStatus> plain = routeMap( "RM", { seq( 10 ) } );
   Ptr<RouteMapStatus> calling =
      routeMap( "RM", { seq( 10 ).call( routeMap( "OUTER", { seq( 1 ).call( routeMap( "INNER", { seq( 1 ) } ) ) } ) ) } );
};

TEST_F( PolicyEvalTimerTest, oneRouteMap ) {
   eval.evalRouteMapMatchers( &input, plain.get(), &matched );
   EXPECT_THAT( timers(), ElementsAre( kRouteMap ) );
   eval.evalRouteMapMatchers( &input, routeMap( "RM" ).get(), &matched );
   EXPECT_THAT( timers(), ElementsAre( kRouteMap ) );
}

TEST_F( PolicyEvalTimerTest, subRouteMapsStandInsideTheirStageAndThatInsideTheCaller ) {
   eval.evalRouteMapMatchers( &input, calling.get(), &matched );
   EXPECT_THAT( timers(), ElementsAre( kRouteMap, kSub, kRouteMap, kSub, kRouteMap ) );
}

TEST_F( PolicyEvalTimerTest, snapshots ) {
   const auto snapshot = eval.evalRouteMapMatchersSnapshot( input, plain );
   EXPECT_THAT( timers(), ElementsAre( kRouteMap ) );
   eval.applyPolicySettersSnapshot( snapshot, result );
   EXPECT_THAT( timers(), ElementsAre( kSetters ) );
}

TEST_F( PolicyEvalTimerTest, listsAndTheirSettersStandSideBySide ) {
   EXPECT_TRUE( eval.eval( &input, listOf( { { 0, plain }, { 4, plain } } ), &result ) );
   EXPECT_THAT( timers(), ElementsAre( kRouteMap, kRouteMap, kList, kSetters ) );
   EXPECT_FALSE( eval.eval( &input, listOf( { { 0, routeMap( "RM", { seq( 10 ).deny() } ) } } ), &result ) );
   EXPECT_THAT( timers(), ElementsAre( kRouteMap, kList ) );
   EXPECT_TRUE( eval.evalPolicyMatchers( &input, listOf( {} ), &matched, nullptr ) );
   EXPECT_THAT( timers(), ElementsAre( kList ) );
   EXPECT_TRUE( eval.evalPeerFilter( plain, &input ) );
   EXPECT_THAT( timers(), ElementsAre( kRouteMap, kList ) );
}

TEST_F( PolicyEvalTimerTest, settersForAFunctionStandInsideTheList ) {
   Journal journal;
   EXPECT_TRUE( eval.evalGyre( function( "F", makeNode<FakeFunction>( journal, kPermit ) ), makeNode<FakeContext>( journal, "gyre" ) ) );
   EXPECT_THAT( timers(), ElementsAre( kSetters, kList ) );
}

TEST_F( PolicyEvalTimerTest, onlyWhenAskedFor ) {
   const auto runAll = [ & ] {
      eval.eval( &input, listOf( { { 4, calling } } ), &result );
      eval.evalPeerFilter( calling, &input );
      eval.applyPolicySettersSnapshot( eval.evalRouteMapMatchersSnapshot( input, calling ), result );
   };
   eval.context()->enableTrailmarkIs( false );
   runAll();
   EXPECT_THAT( timers(), IsEmpty() );
   eval.contextIs( nullptr );
   runAll();
   EXPECT_THAT( timers(), IsEmpty() );
   eval.contextIs( makeNode<PolicyEvalContext>() );
   runAll();
   EXPECT_THAT( timers(), IsEmpty() );
   eval.context()->enableTrailmarkIs( true );
   runAll();
   EXPECT_EQ( timers().size(), 7u + 6u + 6u );
}

}   // namespace
