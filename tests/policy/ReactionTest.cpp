// Evaluation and records whose matchers, setters, functions and subscribers change, drop or throw while they run.

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "policy/MatchedRouteMapSequences.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/trailmark/Trailmark.h"
#include "tests/policy/EvalFixtures.h"

namespace {

using namespace EvalTest;
using Fixtures::toldWhileDropped;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr RmPrecedence kPrefixList = RmPrecedence::prefixListPrecedence;
constexpr RmPrecedence kRouteMap = RmPrecedence::routeMapPrecedence;
constexpr RmPrecedence kMaint = RmPrecedence::routeMapMaintPrecedence;

/// Tells how many of the functions that it was handed to are still there.
class Witness {
 public:
   std::shared_ptr<const int> hold() const { return token_; }
   long held() const { return token_.use_count() - 1; }

 private:
   std::shared_ptr<const int> token_ = std::make_shared<const int>( 0 );
};

/// Does what it was told to; with `late`, it defers itself.
struct ScriptedSetter final : Setter {
   using Work = std::function<void( Result_ * )>;
   explicit ScriptedSetter( Work n, Work l = {} ) : now( std::move( n ) ), late( std::move( l ) ) {}
   void setValue( Result_ * result ) const override {
      if( late ) result->deferredSetterIs( this );
      if( now ) now( result );
   }
   void deferredSetValue( Result_ * result ) const override { late( result ); }
   void formatDerivedType( std::ostream & os ) const override { os << "ScriptedSetter"; }
   Work now, late;
};

Ptr<const Setter> recording( Journal & journal, const char * name, bool defers = false ) {
   return makeNode<RecordingSetter>( journal, name, defers );
}

[[noreturn]] void throwOutOfOrder() {
   throw std::runtime_error( "out of order" );
}

// ---- snapshots

struct ReactionSnapshotTest : testing::Test {
   /// Sequence 10, whose matcher runs `change`, continues to 20.
   void build( bool answer ) {
      const auto during = [ this ] {
         if( !change ) return;
         change( *this );
         EXPECT_EQ( whole.held(), 1 );   // the walk still stands on what has been dropped
      };
      asked = makeNode<ScriptedMatcher>( std::vector<bool>{ answer }, during );
      const auto witness = makeNode<ScriptedSetter>( [ held = whole.hold(), this ]( Result_ * ) { ran.push_back( "10" ); } );
      map = routeMap( "RM", { seq( 10 ).match( asked ).set( witness ).continueTo( 20 ), seq( 20 ).set( recording( ran, "20" ) ) } );
   }
   const MatchInput_ input{};
   Witness whole;   // of sequence 10
   Journal ran;
   void ( *change )( ReactionSnapshotTest & ) = nullptr;
   Ptr<ScriptedMatcher> asked;
   Ptr<const RouteMapStatus> map;
   Ptr<const MatchedRouteMapSequencesSnapshot> kept;
   RouteMapStatus & writable() { return const_cast<RouteMapStatus &>( *map ); }
};

TEST_F( ReactionSnapshotTest, whatAMatcherDropsIsHeldByTheSnapshotAllTheSame ) {
   const struct {
      const char * name;
      void ( *change )( ReactionSnapshotTest & );
      Journal matched, unmatched;   // what the snapshot applies when the matcher of 10 holds, and when not
      bool keeps = false;           // a snapshot of an earlier evaluation is there
   } rows[] = {
      { "the sequence it stands in", []( auto & t ) { t.writable().seqStatusDel( 10 ); }, { "10", "20" }, { "20" } },
      { "every sequence", []( auto & t ) { t.writable().seqStatusDelAll(); }, { "10" }, {} },
      { "the route map, by the very handle", []( auto & t ) { t.map = nullptr; }, { "10", "20" }, { "20" } },
      { "every sequence and the route map",
        []( auto & t ) {
           t.writable().seqStatusDelAll();
           t.map = nullptr;
        },
        { "10" },
        {} },
      { "an earlier snapshot, the last to hold them",
        []( auto & t ) {
           t.writable().seqStatusDelAll();
           EXPECT_EQ( t.map->seqStatus().count(), 0u );
           t.kept = nullptr;
        },
        { "10" },
        {},
        true },
   };
   for( const auto & row : rows )
      for( const bool answer : { true, false } ) {
         SCOPED_TRACE( std::string( row.name ) + ( answer ? ", and it holds" : ", and it does not" ) );
         const auto & expected = answer ? row.matched : row.unmatched;
         build( true );
         change = nullptr;
         if( row.keeps ) kept = PolicyEval().evalRouteMapMatchersSnapshot( MatchInput_(), map );
         asked->answers = { answer };
         asked->calls = 0;
         change = row.change;
         auto snapshot = PolicyEval().evalRouteMapMatchersSnapshot( MatchInput_(), map );
         EXPECT_EQ( asked->calls, 1u );
         EXPECT_EQ( whole.held(), answer ? 1 : 0 );   // by the snapshot alone
         EXPECT_EQ( bool( snapshot ), !expected.empty() );
         ran.clear();
         const Result_ result;
         PolicyEval().applyPolicySettersSnapshot( snapshot, result );
         EXPECT_EQ( ran, expected );
         snapshot = nullptr;
         EXPECT_EQ( whole.held(), 0 );
      }
}

TEST( Reaction, aSetterMayDropTheLastHandleOfTheSnapshot ) {
   for( const bool late : { false, true } ) {
      SCOPED_TRACE( late );
      Journal ran;
      Witness whole;
      Ptr<const MatchedRouteMapSequencesSnapshot> snapshot;
      ScriptedSetter::Work drop = [ &, held = whole.hold() ]( Result_ * ) {
         snapshot = nullptr;
         EXPECT_EQ( whole.held(), 1 );
         ran.push_back( "drops" );
      };
      {
         const auto dropping =
            late ? makeNode<ScriptedSetter>( nullptr, std::move( drop ) ) : makeNode<ScriptedSetter>( std::move( drop ) );
         const auto map = routeMap(
            "RM",
            { seq( 10 ).set( dropping, SetOption::setMetric ).set( recording( ran, "10", true ), SetOption::setTag ).continueTo( 20 ),
              seq( 20 ).set( recording( ran, "20" ) ) } );
         snapshot = PolicyEval().evalRouteMapMatchersSnapshot( MatchInput_(), map );
      }
      drop = nullptr;
      ASSERT_EQ( whole.held(), 1 );   // by the setter, and that by the snapshot
      const Result_ result;
      PolicyEval().applyPolicySettersSnapshot( snapshot, result );
      if( late )
         EXPECT_THAT( ran, ElementsAre( "10", "20", "drops", "late 10" ) );
      else
         EXPECT_THAT( ran, ElementsAre( "drops", "10", "20", "late 10" ) );
      EXPECT_EQ( whole.held(), 0 );
      EXPECT_EQ( result.deferredSetters(), 0u );
   }
}

TEST( Reaction, aSetterMayDropThePolicyThatItRunsFrom ) {
   Journal ran;
   Witness whole;
   Ptr<const RouteMapStatusList> list;
   {
      auto drop = [ &, held = whole.hold() ]( Result_ * ) {
         list = nullptr;
         EXPECT_EQ( whole.held(), 1 );
      };
      auto map = makeNode<RouteMapStatus>( "RM" );
      map->seqStatusIs( seq( 10 )
                           .set( makeNode<ScriptedSetter>( std::move( drop ) ), SetOption::setMetric )
                           .set( recording( ran, "10", true ), SetOption::setTag ) );
      list = listOf( { { 0, map }, { 4, routeMap( "NEXT", { seq( 20 ).set( recording( ran, "20" ) ) } ) } } );
   }
   const MatchInput_ input{};
   Result_ result;
   EXPECT_TRUE( PolicyEval().eval( &input, list, &result ) );
   EXPECT_THAT( ran, ElementsAre( "10", "20", "late 10" ) );
   EXPECT_EQ( whole.held(), 0 );
}

TEST_F( ReactionSnapshotTest, whatAMatcherDropsIsWholeUnderAnyEvaluation ) {
   const struct {
      const char * name;
      std::function<bool()> evaluate;
   } rows[] = {
      { "a peer filter", [ & ] { return PolicyEval().evalPeerFilter( map, &input ); } },
      { "a list",
        [ & ] {
           Result_ result;
           return PolicyEval().eval( &input, listOf( { { 4, map } } ), &result );
        } },
      { "the matchers of a list",
        [ & ] {
           MatchedRouteMapSequences matched;
           return PolicyEval().evalPolicyMatchers( &input, listOf( { { 4, map } } ), &matched, nullptr );
        } },
      { "one route map",
        [ & ] {
           MatchedRouteMapSequences matched;
           return PolicyEval().evalRouteMapMatchers( &input, map.get(), &matched );
        } },
   };
   for( const auto & row : rows )
      for( const bool answer : { true, false } ) {
         SCOPED_TRACE( std::string( row.name ) + ( answer ? ", and it holds" : ", and it does not" ) );
         build( answer );
         change = []( auto & t ) { t.writable().seqStatusDelAll(); };
         EXPECT_EQ( row.evaluate(), answer );
         EXPECT_EQ( whole.held(), 0 );
      }
}

TEST( Reaction, aSetterMayTakeItselfOutOfItsSequence ) {
   const auto evaluate = []( const PolicyEval & eval, const Ptr<RouteMapStatus> & map, Result_ * result ) {
      const MatchInput_ input;
      return eval.eval( &input, listOf( { { 4, map } } ), result );
   };
   const auto applyAlone = []( const PolicyEval & eval, const Ptr<RouteMapStatus> & map, Result_ * result ) {
      const MatchInput_ input;
      MatchedRouteMapSequences matched;
      const bool permit = eval.evalRouteMapMatchers( &input, map.get(), &matched );
      eval.applyPolicySetters( &matched, result );
      return permit;
   };
   const auto applySnapshot = []( const PolicyEval & eval, const Ptr<RouteMapStatus> & map, Result_ * result ) {
      PolicyEval().applyPolicySettersSnapshot( eval.evalRouteMapMatchersSnapshot( MatchInput_(), map ), *result );
      return true;
   };
   const struct {
      const char * name;
      bool ( *evaluate )( const PolicyEval &, const Ptr<RouteMapStatus> &, Result_ * );
   } rows[] = { { "a list", evaluate }, { "the setters alone", applyAlone }, { "a snapshot", applySnapshot } };
   for( const auto & row : rows )
      for( const bool late : { false, true } ) {
         SCOPED_TRACE( std::string( row.name ) + ( late ? ", late" : "" ) );
         Journal ran;
         Witness whole;
         const auto s = makeNode<RouteMapSeqStatus>( 10 );
         ScriptedSetter::Work work = [ &ran, &whole, held = whole.hold(), s = s.get() ]( Result_ * ) {
            s->setterDel( SetOption::setMetric );
            EXPECT_EQ( whole.held(), 1 );
            ran.push_back( "goes" );
         };
         s->setterIs( SetOption::setMetric,
                      late ? makeNode<ScriptedSetter>( nullptr, std::move( work ) ) : makeNode<ScriptedSetter>( std::move( work ) ) );
         s->setterIs( SetOption::setTag, recording( ran, "tag" ) );
         work = nullptr;
         const auto map = makeNode<RouteMapStatus>( "RM" );
         map->seqStatusIs( s );
         Result_ result;
         EXPECT_TRUE( row.evaluate( PolicyEval(), map, &result ) );
         EXPECT_EQ( ran, ( late ? Journal{ "tag", "goes" } : Journal{ "goes", "tag" } ) );
         EXPECT_EQ( whole.held(), 0 );
         EXPECT_EQ( s->setter().count(), 1u );
      }
}

// ---- functions that change the list they run from

struct ReactionFunctionTest : testing::Test {
   ReactionFunctionTest() {
      contexts->contextIs( kRouteMap, makeNode<FakeContext>( journal, "gyre" ) );
      contexts->contextIs( kMaint, makeNode<FakeContext>( journal, "maint" ) );
   }
   Ptr<RouteMapStatus> asking( const std::string & name, bool answer = true ) {
      const auto note = [ this, name, held = whole.hold() ] { journal.push_back( "asks " + name ); };
      return routeMap( "RM", { seq( 10 ).match( matcher( answer, note ) ) } );
   }
   Ptr<RouteMapStatus> denying() { return routeMap( "DENY", { seq( 10 ).deny().match( noting( journal, "asks the deny" ) ) } ); }
   void put( int p, const Ptr<const RouteMapStatus> & map ) { list->rmStatusIs( RmPrecedence( uint8_t( p ) ), map ); }
   void take( int p ) { list->rmStatusDel( RmPrecedence( uint8_t( p ) ) ); }
   /// Functions of both roles, and entries at these places.
   void build( std::initializer_list<int> places ) {
      journal.clear();
      matched.clear();
      list = makeNode<RouteMapStatusList>();
      list->gyreStatusIs( function( "F", gyreBody ) );
      list->gyreStatusMaintIs( function( "M", maintBody ) );
      for( const int p : places ) put( p, asking( std::to_string( p ) ) );
   }
   /// `change` runs within the function.
   void during( FakeFunction & body, void ( *change )( ReactionFunctionTest & ) ) {
      body.during = [ this, change ] {
         const long before = whole.held();
         change( *this );
         EXPECT_GE( whole.held(), before );   // what was taken out is whole until the evaluation ends
      };
   }
   bool evaluate() { return eval.evalPolicyMatchers( &input, list, &matched, contexts ); }
   /// What ran, in one line; what was said of logs is left out.
   std::string ran() const {
      std::string line;
      for( const auto & entry : journal )
         if( entry.find( " log" ) == std::string::npos ) line += ( line.empty() ? "" : ", " ) + entry;
      return line;
   }
   Witness whole;   // of the route maps
   Journal journal;
   const MatchInput_ input{};
   PolicyEval eval;
   MatchedRouteMapSequences matched;
   Ptr<FakeFunction> gyreBody = makeNode<FakeFunction>( journal, kPermit ), maintBody = makeNode<FakeFunction>( journal, kPermit );
   Ptr<Gyre::Eval::GyreEvalContextMap> contexts = makeNode<Gyre::Eval::GyreEvalContextMap>();
   Ptr<RouteMapStatusList> list;
};

constexpr const char * kUndisturbed = "gyre runs, asks 5, maint runs, asks 7, asks 8";

TEST_F( ReactionFunctionTest, aFunctionMayChangeTheListWhileItStandsAtAnEntry ) {
   using Self = ReactionFunctionTest;
   const struct {
      const char * name;
      bool atGyre;   // the function of role 4 changes it, before the entry at 5; otherwise that of role 6, before the one at 7
      void ( *change )( Self & );
      const char * ran;
      bool permit = true;
   } rows[] = {
      { "nothing", true, []( Self & ) {}, kUndisturbed },
      { "all entries go", true, []( Self & t ) { t.list->rmStatusDelAll(); }, "gyre runs, maint runs" },
      { "the very entry goes", true, []( Self & t ) { t.take( 5 ); }, "gyre runs, maint runs, asks 7, asks 8" },
      { "the next entry goes", true, []( Self & t ) { t.take( 7 ); }, "gyre runs, asks 5, maint runs, asks 8" },
      { "the last entry goes", true, []( Self & t ) { t.take( 8 ); }, "gyre runs, asks 5, maint runs, asks 7" },
      { "all but the last go", true, []( Self & t ) { t.take( 5 ), t.take( 7 ); }, "gyre runs, maint runs, asks 8" },
      { "a deny comes far in front", true, []( Self & t ) { t.put( 0, t.denying() ); }, kUndisturbed },
      { "a deny comes right in front", true, []( Self & t ) { t.put( 4, t.denying() ); }, kUndisturbed },
      { "a deny comes at the place of the other function", true, []( Self & t ) { t.put( 6, t.denying() ); }, kUndisturbed },
      { "the very entry becomes a deny", true, []( Self & t ) { t.put( 5, t.denying() ); }, "gyre runs, asks the deny", false },
      { "the next entry becomes a deny", true, []( Self & t ) { t.put( 7, t.denying() ); }, "gyre runs, asks 5, maint runs, asks the deny",
        false },
      { "many entries come behind", true,
        []( Self & t ) {
           for( int p = 9; p < 200; ++p ) t.put( p, routeMap( "EMPTY" ) );
           t.put( 200, t.asking( "200" ) );
        },
        "gyre runs, asks 5, maint runs, asks 7, asks 8, asks 200" },
      { "all entries are replaced", true,
        []( Self & t ) { t.list->rmStatusDelAll(), t.put( 3, t.denying() ), t.put( 9, t.asking( "9" ) ); },
        "gyre runs, maint runs, asks 9" },
      { "both functions go", true, []( Self & t ) { t.list->gyreStatusIs( nullptr ), t.list->gyreStatusMaintIs( nullptr ); },
        kUndisturbed },
      { "the contexts go", true, []( Self & t ) { t.contexts = nullptr; }, kUndisturbed },
      { "the list goes", true, []( Self & t ) { t.list = nullptr; }, kUndisturbed },
      { "the evaluation's context goes", true, []( Self & t ) { t.eval.contextIs( nullptr ); }, kUndisturbed },

      { "all entries go", false, []( Self & t ) { t.list->rmStatusDelAll(); }, "gyre runs, asks 5, maint runs" },
      { "the very entry goes", false, []( Self & t ) { t.take( 7 ); }, "gyre runs, asks 5, maint runs, asks 8" },
      { "the next entry goes", false, []( Self & t ) { t.take( 8 ); }, "gyre runs, asks 5, maint runs, asks 7" },
      { "a deny comes at 0 and 5", false, []( Self & t ) { t.put( 0, t.denying() ), t.put( 5, t.denying() ); }, kUndisturbed },
      { "a deny comes at the end", false, []( Self & t ) { t.put( 9, t.denying() ); },
        "gyre runs, asks 5, maint runs, asks 7, asks 8, asks the deny", false },
      { "the list goes", false, []( Self & t ) { t.list = nullptr; }, kUndisturbed },
   };
   for( const auto & row : rows )
      for( const bool logs : { false, true } ) {
         SCOPED_TRACE( std::string( row.name ) + ( row.atGyre ? "" : ", at 7" ) + ( logs ? ", logged" : "" ) );
         const auto keptContexts = contexts;
         eval.contextIs( logs ? makeNode<PolicyEvalContext>() : nullptr );
         eval.shouldLogEvalIs( logs );
         gyreBody->during = maintBody->during = nullptr;
         during( row.atGyre ? *gyreBody : *maintBody, row.change );
         build( { 5, 7, 8 } );
         EXPECT_EQ( evaluate(), row.permit );
         EXPECT_EQ( ran(), row.ran );
         list = nullptr;
         EXPECT_EQ( whole.held(), 0 );
         contexts = keptContexts;
      }
}

TEST_F( ReactionFunctionTest, theLastHandleOfTheContextsMayGo ) {
   struct Counted final : Gyre::Eval::GyreEvalContextMap {
      explicit Counted( bool & g ) : gone( g ) {}
      ~Counted() override { gone = true; }
      bool & gone;
   };
   bool gone = false;
   auto counted = makeNode<Counted>( gone );
   for( const auto role : { kRouteMap, kMaint } ) counted->contextIs( role, contexts->context( role ) );
   contexts = std::move( counted );
   gyreBody->during = [ & ] {
      contexts = nullptr;
      EXPECT_FALSE( gone );   // the other function's is still to be found
   };
   build( { 5, 7, 8 } );
   EXPECT_TRUE( evaluate() );
   EXPECT_EQ( ran(), kUndisturbed );
   EXPECT_TRUE( gone );
}

TEST_F( ReactionFunctionTest, behindTheLastEntryTheListIsNotReadAgain ) {
   during( *gyreBody, []( ReactionFunctionTest & t ) { t.put( 5, t.denying() ), t.put( 9, t.denying() ); } );
   build( { 0 } );
   EXPECT_TRUE( evaluate() );
   EXPECT_EQ( ran(), "asks 0, gyre runs, maint runs" );
}

TEST_F( ReactionFunctionTest, aFunctionAloneMayDropItself ) {
   Ptr<const Gyre::FunctionStatusBase> only;
   bool gone = false;
   struct Body final : Gyre::Eval::FunctionBase {
      Body( Ptr<const Gyre::FunctionStatusBase> & h, bool & g ) : handle( h ), gone( g ) {}
      ~Body() override { gone = true; }
      ResultCode evaluate( const Ptr<Gyre::Eval::EvalContextBase> & ) const override {
         const bool & g = gone;
         handle = nullptr;
         return g ? kDeny : kPermit;
      }
      void dumpState( const Zeugma::DumpContextPtr &, unsigned ) const override {}
      Ptr<const Gyre::FunctionStatusBase> & handle;
      bool & gone;
   };
   only = function( "F", makeNode<Body>( only, gone ) );
   EXPECT_TRUE( eval.evalGyre( only, makeNode<FakeContext>( journal, "gyre" ) ) );
   EXPECT_FALSE( only );
   EXPECT_TRUE( gone );   // and nobody has kept it
}

TEST_F( ReactionFunctionTest, aFunctionMayBecomeUndefinedWhileItRuns ) {
   struct Body final : Gyre::Eval::FunctionBase {
      Body( Gyre::FunctionStatusBase & s, bool & g ) : status( s ), gone( g ) {}
      ~Body() override { gone = true; }
      ResultCode evaluate( const Ptr<Gyre::Eval::EvalContextBase> & ) const override {
         bool & g = gone;
         status.aetIs( nullptr );
         return g ? kDeny : kPermit;
      }
      void dumpState( const Zeugma::DumpContextPtr &, unsigned ) const override {}
      Gyre::FunctionStatusBase & status;
      bool & gone;
   };
   for( const bool alone : { false, true } ) {
      SCOPED_TRACE( alone );
      bool gone = false;
      const auto status = Gyre::FunctionStatusBase::FunctionStatusBaseIs( "F" );
      status->aetIs( makeNode<Body>( *status, gone ) );
      build( { 5 } );
      list->gyreStatusIs( status );
      EXPECT_TRUE( alone ? eval.evalGyre( status, contexts->context( kRouteMap ) ) : evaluate() );
      EXPECT_TRUE( gone );
      EXPECT_FALSE( alone ? eval.evalGyre( status, contexts->context( kRouteMap ) ) : evaluate() );
   }
}

TEST_F( ReactionFunctionTest, aFunctionWithoutALogQueuesNothing ) {
   eval.contextIs( makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   build( { 0, 8 } );
   EXPECT_TRUE( evaluate() );
   EXPECT_TRUE( eval.evaluationLogs()->empty() );
   EXPECT_THAT( journal,
                ElementsAre( "asks 0", "gyre logs", "gyre runs", "gyre hands out its log", "gyre does not log", "maint logs", "maint runs",
                             "maint hands out its log", "maint does not log", "asks 8" ) );
   // The one that has a log queues it, and the other nothing beside it.
   const auto log = makeNode<FakeLog>( "maint log" );
   static_cast<FakeContext &>( *contexts->context( kMaint ) ).log = log;
   build( { 0, 8 } );
   EXPECT_TRUE( evaluate() );
   EXPECT_EQ( eval.evaluationLogs()->count(), 1u );
   EXPECT_EQ( eval.context()->evaluationLogFront(), log );
   eval.resetEvaluationLog();
   EXPECT_TRUE( eval.evalGyre( function( "F", gyreBody ), contexts->context( kRouteMap ) ) );
   EXPECT_TRUE( eval.evaluationLogs()->empty() );
}

TEST_F( ReactionFunctionTest, aFunctionMayTakeTheContextAway ) {
   const auto log = makeNode<FakeLog>( "gyre log" );
   const auto kept = makeNode<PolicyEvalContext>();
   eval.contextIs( kept );
   eval.shouldLogEvalIs( true );
   static_cast<FakeContext &>( *contexts->context( kRouteMap ) ).log = log;
   during( *gyreBody, []( ReactionFunctionTest & t ) { t.eval.contextIs( nullptr ); } );
   build( { 5, 7, 8 } );
   EXPECT_TRUE( evaluate() );
   EXPECT_EQ( ran(), kUndisturbed );
   EXPECT_TRUE( kept->evaluationLog().empty() );
}

// ---- matchers that take the context or its log away

/// Tells when it goes.
struct CountedContext final : PolicyEvalContext {
   explicit CountedContext( int & a ) : alive( a ) { ++alive; }
   ~CountedContext() override { --alive; }
   int & alive;
};

/// A route map whose first matcher runs `change`, in front of a sub route map and a continue.
struct ReactionContextTest : testing::Test {
   Ptr<RouteMapStatus> map = routeMap( "RM",
                                       { seq( 10 )
                                            .match( matcher( true,
                                                             [ this ] {
                                                                if( change ) change();
                                                             } ) )
                                            .call( routeMap( "SUB", { seq( 1 ) } ) )
                                            .continueTo( 20 ),
                                         seq( 20 ).match( true ) } );
   bool run( int precedence ) { return eval.eval( &input, listOf( { { precedence, map } } ), &result ); }
   static constexpr const char * kWhole = "10{call SUB( 1{none permit} permit )=permit permit >20} 20{permit} permit";
   static constexpr const char * kWithoutSub = "10{call SUB( deny )=permit permit >20} 20{permit} permit";
   int alive = 0;
   std::function<void()> change;
   const MatchInput_ input{};
   Result_ result;
   PolicyEval eval;
};

TEST_F( ReactionContextTest, aMatcherMayTakeTheContextAwayFromAListThatIsLogged ) {
   const auto context = makeNode<CountedContext>( alive );
   eval.contextIs( context );
   eval.shouldLogEvalIs( true );
   change = [ & ] { eval.contextIs( nullptr ); };
   EXPECT_TRUE( run( 4 ) );
   EXPECT_EQ( eval.evaluationLogs(), nullptr );
   ASSERT_EQ( context->evaluationLog().count(), 1u );                      // to where it was asked for
   EXPECT_EQ( fieldsOf( *context->evaluationLogFront() ), kWithoutSub );   // which a new walk, without a context, does not write
   EXPECT_FALSE( context->log() );
   EXPECT_EQ( context->callStack().count(), 1u );
   EXPECT_FALSE( context->callStackTop() );
}

TEST_F( ReactionContextTest, theLastHandleOfTheContextMayGoUnderAnyEvaluation ) {
   const auto rows = std::vector<std::pair<const char *, std::function<bool()>>>{
      { "a logged list", [ & ] { return run( 4 ); } },
      { "an entry that is not logged", [ & ] { return run( 0 ); } },
      { "a peer filter", [ & ] { return eval.evalPeerFilter( map, &input ); } },
      { "a snapshot", [ & ] { return bool( eval.evalRouteMapMatchersSnapshot( input, map ) ); } },
      { "one route map",
        [ & ] {
           MatchedRouteMapSequences matched;
           return eval.evalRouteMapMatchers( &input, map.get(), &matched );
        } },
      { "a call",
        [ & ] {
           MatchedRouteMapSequences matched;
           const auto caller =
              routeMap( "CALLER", { seq( 1 ).call( map ).continueTo( 2 ), seq( 2 ).call( routeMap( "SUB", { seq( 1 ) } ) ) } );
           return eval.evalRouteMapMatchers( &input, caller.get(), &matched );
        } },
   };
   for( const auto & [ name, evaluate ] : rows )
      for( const bool timers : { false, true } ) {
         SCOPED_TRACE( std::string( name ) + ( timers ? ", timed" : "" ) );
         eval.contextIs( makeNode<CountedContext>( alive ) );
         eval.shouldLogEvalIs( true );
         eval.context()->enableTrailmarkIs( timers );
         eval.context()->logIs( makeNode<PolicyEvaluationLog>( map ) );
         bool changed = false;
         change = [ & ] {
            changed = true;
            EXPECT_EQ( alive, 1 );
            eval.contextIs( nullptr );
            EXPECT_EQ( alive, 1 );   // the walk still writes into it
         };
         EXPECT_TRUE( evaluate() );
         EXPECT_TRUE( changed );
         EXPECT_EQ( alive, 0 );
      }
}

TEST_F( ReactionContextTest, anotherContextIsForWhatComesBehind ) {
   const auto before = makeNode<PolicyEvalContext>(), behind = makeNode<PolicyEvalContext>();
   eval.contextIs( before );
   eval.shouldLogEvalIs( true );
   Ptr<PolicyEvalContext> seen;
   struct Looks final : Matcher {
      explicit Looks( Ptr<PolicyEvalContext> & s ) : seen( s ) {}
      bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & context ) const override {
         seen = context;
         return true;
      }
      void formatDerivedType( std::ostream & ) const override {}
      Ptr<PolicyEvalContext> & seen;
   };
   change = [ & ] { eval.contextIs( behind ); };
   const auto list = listOf( { { 4, map }, { 5, routeMap( "NEXT", { seq( 10 ).match( makeNode<Looks>( seen ) ) } ) } } );
   EXPECT_TRUE( eval.eval( &input, list, &result ) );
   EXPECT_EQ( seen, behind );
   EXPECT_EQ( before->evaluationLog().count(), 1u );
   EXPECT_FALSE( before->log() );
   EXPECT_TRUE( behind->evaluationLog().empty() );
   EXPECT_TRUE( behind->callStack().empty() );
}

TEST_F( ReactionContextTest, aClientsLogComesBackToTheContextThatWasTakenAway ) {
   const auto context = makeNode<PolicyEvalContext>();
   const auto own = makeNode<PolicyEvaluationLog>( map );
   context->logIs( own );
   eval.contextIs( context );
   change = [ & ] {
      EXPECT_FALSE( context->log() );
      eval.contextIs( nullptr );
   };
   EXPECT_TRUE( run( 0 ) );
   EXPECT_EQ( context->log(), own );
   EXPECT_EQ( context->callStackTop(), own );
   EXPECT_TRUE( own->seq().empty() );
}

TEST_F( ReactionContextTest, aMatcherMayTakeTheLogAway ) {
   const struct {
      const char * name;
      void ( *change )( PolicyEval & );
      const char * fields;
   } rows[] = {
      { "the log", []( PolicyEval & e ) { e.context()->logIs( nullptr ); }, kWithoutSub },
      { "the call stack", []( PolicyEval & e ) { e.context()->callStackDelAll(); }, kWhole },
      { "both", []( PolicyEval & e ) { e.context()->logIs( nullptr ), e.context()->callStackDelAll(); }, kWithoutSub },
      { "the queue", []( PolicyEval & e ) { e.resetEvaluationLog(); }, kWhole },
      { "the wish for logs", []( PolicyEval & e ) { e.shouldLogEvalIs( false ); }, kWhole },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      eval.contextIs( makeNode<CountedContext>( alive ) );
      eval.shouldLogEvalIs( true );
      change = [ & ] { row.change( eval ); };
      EXPECT_TRUE( run( 4 ) );
      ASSERT_EQ( eval.evaluationLogs()->count(), 1u );
      EXPECT_EQ( fieldsOf( *eval.context()->evaluationLogFront() ), row.fields );
      EXPECT_FALSE( eval.context()->log() );
      EXPECT_FALSE( eval.context()->callStackTop() );
   }
}

// ---- exceptions

struct ReactionThrowTest : testing::Test {
   /// A throws now or late, between two that defer.
   Ptr<RouteMapStatus> throwing( bool late ) {
      const auto work = [ this ]( Result_ * result ) {
         ran.push_back( "throws" );
         if( meanwhile ) meanwhile( result );
         if( throws ) throwOutOfOrder();
      };
      const auto setter = late ? makeNode<ScriptedSetter>( nullptr, work ) : makeNode<ScriptedSetter>( work );
      return routeMap( "RM",
                       { seq( 10 ).set( recording( ran, "a", true ) ).continueTo( 20 ), seq( 20 ).set( setter ).continueTo( 30 ),
                         seq( 30 ).set( recording( ran, "b", true ) ) } );
   }
   Journal ran;
   bool throws = true;
   std::function<void( Result_ * )> meanwhile;
   const MatchInput_ input{};
   Result_ result;
   PolicyEval eval;
};

TEST_F( ReactionThrowTest, noSetterStaysDeferredBehindOneThatThrows ) {
   const struct {
      const char * name;
      std::function<void( const Ptr<RouteMapStatus> & )> evaluate;
   } rows[] = {
      { "a list",
        [ & ]( const auto & map ) {
           eval.eval( &input, listOf( { { 4, map } } ), &result );
        } },
      { "a list of two",
        [ & ]( const auto & map ) {
           eval.eval( &input, listOf( { { 0, map }, { 4, routeMap( "NEXT", { seq( 10 ).set( recording( ran, "next" ) ) } ) } } ), &result );
        } },
      { "the setters alone",
        [ & ]( const auto & map ) {
           MatchedRouteMapSequences matched;
           eval.evalRouteMapMatchers( &input, map.get(), &matched );
           eval.applyPolicySetters( &matched, &result );
        } },
      { "a snapshot",
        [ & ]( const auto & map ) { eval.applyPolicySettersSnapshot( eval.evalRouteMapMatchersSnapshot( input, map ), result ); } },
   };
   for( const auto & row : rows )
      for( const bool late : { false, true } )
         for( const bool timers : { false, true } ) {
            SCOPED_TRACE( std::string( row.name ) + ( late ? ", late" : "" ) + ( timers ? ", timed" : "" ) );
            eval.contextIs( makeNode<PolicyEvalContext>() );
            eval.context()->enableTrailmarkIs( timers );
            result = Result_();
            throws = true;
            EXPECT_THROW( row.evaluate( throwing( late ) ), std::runtime_error );   // the policy goes with it
            std::erase( ran, "next" );
            EXPECT_EQ( std::exchange( ran, {} ), ( late ? Journal{ "a", "b", "late a", "throws" } : Journal{ "a", "throws" } ) );
            EXPECT_TRUE( result.dps() );
            EXPECT_EQ( result.deferredSetters(), 0u );
            throws = false;
            row.evaluate( throwing( late ) );   // only what it defers itself runs late
            std::erase( ran, "next" );
            EXPECT_EQ( std::exchange( ran, {} ),
                       ( late ? Journal{ "a", "b", "late a", "throws", "late b" } : Journal{ "a", "throws", "b", "late a", "late b" } ) );
            EXPECT_EQ( result.deferredSetters(), 0u );
         }
}

TEST_F( ReactionThrowTest, whatWasDeferredBeforehandGoesToo ) {
   const RecordingSetter before( ran, "before" );
   result.deferredSetterIs( &before );
   EXPECT_THROW( eval.eval( &input, listOf( { { 4, throwing( false ) } } ), &result ), std::runtime_error );
   EXPECT_EQ( result.deferredSetters(), 0u );
   EXPECT_THAT( ran, ElementsAre( "a", "throws" ) );
}

TEST_F( ReactionThrowTest, whatThrowsMayHaveLetGoOfTheListOfDeferredSetters ) {
   meanwhile = []( Result_ * r ) { r->deferredSetterDelAll(); };
   for( const bool late : { false, true } ) {
      EXPECT_THROW( eval.eval( &input, listOf( { { 4, throwing( late ) } } ), &result ), std::runtime_error );
      EXPECT_FALSE( result.dps() );
   }
}

TEST_F( ReactionThrowTest, aSetterThatThrowsKeepsTheFunctionFromRunning ) {
   Journal journal;
   const auto list = listOf( { { 0, throwing( false ) } } );
   list->gyreStatusIs( function( "F", makeNode<FakeFunction>( journal, kPermit ) ) );
   const auto context = makeNode<FakeContext>( journal, "gyre" );
   const auto contexts = Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( kRouteMap, context );
   MatchedRouteMapSequences matched;
   EXPECT_THROW( eval.evalPolicyMatchers( &input, list, &matched, contexts ), std::runtime_error );
   EXPECT_THAT( journal, IsEmpty() );
   EXPECT_EQ( context->resultOf.deferredSetters(), 0u );
   throws = false;
   matched.clear();
   EXPECT_TRUE( eval.evalPolicyMatchers( &input, list, &matched, contexts ) );
   EXPECT_THAT( journal, ElementsAre( "gyre does not log", "gyre runs" ) );
}

TEST_F( ReactionThrowTest, aClientsLogIsUsableBehindASubRouteMapThatThrows ) {
   const auto thrower = [ & ] {
      return matcher( true, [ & ] {
         if( throws ) throwOutOfOrder();
      } );
   };
   const struct {
      const char * name;
      Ptr<const RouteMapStatus> map;
      std::string half, whole;   // the log behind the walk that throws, and behind the next one
   } rows[] = {
      { "called", routeMap( "RM", { seq( 10 ).call( routeMap( "SUB", { seq( 1 ).match( thrower() ) } ) ) } ),
        "10{none call SUB( 1{} deny )=deny} deny", "10{none call SUB( 1{permit} permit )=permit permit} permit" },
      { "called inverted", routeMap( "RM", { seq( 10 ).callInverted( routeMap( "SUB", { seq( 1 ).deny().match( thrower() ) } ) ) } ),
        "10{none call SUB( 1{} deny )=deny} deny", "10{none call SUB( 1{deny} deny )=deny inverted permit} permit" },
      { "called by what is called",
        routeMap( "RM", { seq( 10 ).call( routeMap( "MID", { seq( 5 ).call( routeMap( "SUB", { seq( 1 ).match( thrower() ) } ) ) } ) ) } ),
        "10{none call MID( 5{none call SUB( 1{} deny )=deny} deny )=deny} deny",
        "10{none call MID( 5{none call SUB( 1{permit} permit )=permit permit} permit )=permit permit} permit" },
      { "behind a continue",
        routeMap(
           "RM",
           { seq( 10 ).continueTo( 20 ), seq( 20 ).call( routeMap( "SUB", { seq( 1 ).match( false ), seq( 2 ).match( thrower() ) } ) ) } ),
        "10{none permit >20} 20{none call SUB( 1{failed matchTag} 2{} deny )=deny} permit",
        "10{none permit >20} 20{none call SUB( 1{failed matchTag} 2{permit} permit )=permit permit} permit" },
   };
   for( const auto & row : rows )
      for( const bool wished : { false, true } ) {
         SCOPED_TRACE( std::string( row.name ) + ( wished ? ", with logs of lists asked for" : "" ) );
         eval.contextIs( makeNode<PolicyEvalContext>() );
         eval.shouldLogEvalIs( wished );
         const auto log = makeNode<PolicyEvaluationLog>( row.map );
         eval.context()->logIs( log );
         const auto standsAlone = [ & ] {
            EXPECT_EQ( eval.context()->log(), log );
            EXPECT_EQ( eval.context()->callStack().count(), 1u );
            EXPECT_EQ( eval.context()->callStackTop(), log );
            EXPECT_TRUE( eval.evaluationLogs()->empty() );
         };
         MatchedRouteMapSequences matched;
         throws = true;
         EXPECT_THROW( eval.evalRouteMapMatchers( &input, row.map.get(), &matched ), std::runtime_error );
         standsAlone();
         EXPECT_EQ( fieldsOf( *log ), row.half );
         throws = false;
         matched.clear();
         EXPECT_TRUE( eval.evalRouteMapMatchers( &input, row.map.get(), &matched ) );
         standsAlone();
         EXPECT_EQ( fieldsOf( *log ), row.whole );
      }
}

TEST_F( ReactionThrowTest, aFunctionThatThrowsLeavesTheNextEvaluationAsTheFirst ) {
   Journal journal;
   const auto body = makeNode<FakeFunction>( journal, kPermit );
   body->during = [ & ] {
      if( throws ) throwOutOfOrder();
   };
   const auto context = makeNode<FakeContext>( journal, "gyre" );
   context->log = makeNode<FakeLog>( "gyre log" );
   const auto contexts = Gyre::Eval::GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( kRouteMap, context );
   const auto list = listOf( { { 0, routeMap( "RM", { seq( 10 ).match( noting( journal, "asks 0" ) ) } ) } } );
   list->gyreStatusIs( function( "F", body ) );
   eval.contextIs( makeNode<PolicyEvalContext>() );
   const auto rows = std::vector<std::pair<const char *, std::function<bool()>>>{
      { "a list",
        [ & ] {
           MatchedRouteMapSequences matched;
           return eval.evalPolicyMatchers( &input, list, &matched, contexts );
        } },
      { "the function alone",
        [ & ] {
           journal.push_back( "asks 0" );
           return eval.evalGyre( list->gyreStatus(), context );
        } },
   };
   for( const auto & [ name, evaluate ] : rows ) {
      SCOPED_TRACE( name );
      throws = true;
      eval.shouldLogEvalIs( true );
      EXPECT_THROW( evaluate(), std::runtime_error );
      EXPECT_THAT( std::exchange( journal, {} ), ElementsAre( "asks 0", "gyre logs", "gyre runs", "gyre does not log" ) );
      EXPECT_TRUE( eval.evaluationLogs()->empty() );
      EXPECT_FALSE( eval.context()->log() );
      throws = false;
      EXPECT_TRUE( evaluate() );
      EXPECT_THAT( std::exchange( journal, {} ),
                   ElementsAre( "asks 0", "gyre logs", "gyre runs", "gyre hands out its log", "gyre does not log" ) );
      EXPECT_EQ( eval.evaluationLogs()->count(), 1u );
      context->log = eval.context()->evaluationLogDeq();
      // Where no logs are asked for there is nothing to clear.
      throws = true;
      eval.shouldLogEvalIs( false );
      EXPECT_THROW( evaluate(), std::runtime_error );
      EXPECT_THAT( std::exchange( journal, {} ), ElementsAre( "asks 0", "gyre does not log", "gyre runs" ) );
   }
}

// ---- subscribers that drop the list

using StatusList = RouteMapStatusList;

/// Sequence 10 reads `features`.
Ptr<RouteMapStatus> reading( uint32_t features, const char * name ) {
   const auto m = matcher( true );
   m->features = features;
   return routeMap( name, { seq( 10 ).match( m ) } );
}

Journal noJournal;

Ptr<Gyre::FunctionStatusBase> functionReading( uint32_t features, const char * name ) {
   const auto body = makeNode<FakeFunction>( noJournal, kPermit );
   body->features = features;
   return function( name, body );
}

struct ReactionListTest : testing::Test {
   /// Two entries and a function of each role, each with a feature of its own.
   Ptr<StatusList> full() {
      auto list = listOf( { { 0, first }, { 4, second } } );
      list->gyreStatusIs( functions[ 0 ] );
      list->gyreStatusFilterIs( functions[ 1 ] );
      list->gyreStatusDefaultOriginateIs( functions[ 2 ] );
      list->gyreStatusMaintIs( functions[ 3 ] );
      return list;
   }
   const Ptr<RouteMapStatus> first = reading( 1u << 1, "FIRST" ), second = reading( 1u << 2, "SECOND" ),
                             other = reading( 1u << 3, "OTHER" );
   const Ptr<Gyre::FunctionStatusBase> functions[ 4 ] = { functionReading( 1u << 4, "F" ), functionReading( 1u << 5, "FILTER" ),
                                                          functionReading( 1u << 6, "ORIGINATE" ), functionReading( 1u << 7, "MAINT" ) };
   const Ptr<Gyre::FunctionStatusBase> otherFunction = functionReading( 1u << 8, "OTHER" );
};

TEST_F( ReactionListTest, aReactionMayDropTheList ) {
   const struct {
      const char * name;
      std::function<void( StatusList & )> write;
      int told;   // the features, and then the member, or each of the members
   } rows[] = {
      { "a new entry", [ & ]( StatusList & l ) { l.rmStatusIs( kMaint, other ); }, 2 },
      { "another entry", [ & ]( StatusList & l ) { l.rmStatusIs( kRouteMap, other ); }, 2 },
      { "a null entry", [ & ]( StatusList & l ) { l.rmStatusIs( kRouteMap, nullptr ); }, 2 },
      { "an entry that is not there", [ & ]( StatusList & l ) { l.rmStatusIs( RmPrecedence( 1 ), l.rmStatus( kRouteMap ) ); }, 1 },
      { "rmStatusDel", []( StatusList & l ) { l.rmStatusDel( kRouteMap ); }, 2 },
      { "rmStatusDelAll", []( StatusList & l ) { l.rmStatusDelAll(); }, 3 },
      { "another gyreStatus", [ & ]( StatusList & l ) { l.gyreStatusIs( otherFunction ); }, 2 },
      { "another gyreStatusFilter", [ & ]( StatusList & l ) { l.gyreStatusFilterIs( otherFunction ); }, 2 },
      { "another gyreStatusDefaultOriginate", [ & ]( StatusList & l ) { l.gyreStatusDefaultOriginateIs( otherFunction ); }, 2 },
      { "another gyreStatusMaint", [ & ]( StatusList & l ) { l.gyreStatusMaintIs( otherFunction ); }, 2 },
      { "no gyreStatus", []( StatusList & l ) { l.gyreStatusIs( nullptr ); }, 2 },
      { "no gyreStatusFilter", []( StatusList & l ) { l.gyreStatusFilterIs( nullptr ); }, 2 },
      { "no gyreStatusDefaultOriginate", []( StatusList & l ) { l.gyreStatusDefaultOriginateIs( nullptr ); }, 2 },
      { "no gyreStatusMaint", []( StatusList & l ) { l.gyreStatusMaintIs( nullptr ); }, 2 },
      { "features", []( StatusList & l ) { l.featuresIs( 1 ); }, 1 },
      { "a bit", []( StatusList & l ) { l.matchBestpathIs( true ); }, 1 },
      { "the other bit", []( StatusList & l ) { l.matchPrefixDependentIs( true ); }, 1 },
   };
   for( const auto & row : rows ) EXPECT_EQ( toldWhileDropped<StatusList>( full(), row.write ), row.told ) << row.name;
}

/// Lets go of the last handle of a list at its first change, and writes down what it is told of entries all the same.
struct Reader final : Quoin::Subscriber {
   explicit Reader( Ptr<StatusList> l ) : list( std::move( l ) ) { list->publisher()->subscriberAdd( this ); }
   void onChange( const Quoin::Change & change ) override {
      list = nullptr;
      if( StatusList::Field( change.field ) != StatusList::Field::rmStatus ) return;
      const auto & old = *static_cast<const Ptr<const RouteMapStatus> *>( change.oldValue );
      told.push_back( std::to_string( static_cast<const RmPrecedence *>( change.key )->value() ) + " " +
                      ( old ? std::string( old->name() ) : "null" ) );
   }
   Ptr<StatusList> list;
   Journal told;
};

TEST( Reaction, whatIsToldOfADroppedListIsWhole ) {
   const auto list = [] { return listOf( { { 0, reading( 2, "FIRST" ) }, { 4, reading( 4, "SECOND" ) } } ); };   // which holds them alone
   const struct {
      const char * name;
      void ( *write )( StatusList & );
      Journal told;
   } rows[] = {
      { "a new entry", []( StatusList & l ) { l.rmStatusIs( kMaint, reading( 8, "NEW" ) ); }, { "6 null" } },
      { "another entry", []( StatusList & l ) { l.rmStatusIs( kRouteMap, reading( 8, "NEW" ) ); }, { "4 SECOND" } },
      { "rmStatusDel", []( StatusList & l ) { l.rmStatusDel( kRouteMap ); }, { "4 SECOND" } },
      { "rmStatusDel, by the key as it is stored", []( StatusList & l ) { l.rmStatusDel( l.rmStatus().begin()->first ); }, { "0 FIRST" } },
      { "rmStatusDelAll", []( StatusList & l ) { l.rmStatusDelAll(); }, { "0 FIRST", "4 SECOND" } },
   };
   for( const auto & row : rows ) {
      Reader reader( list() );
      StatusList & l = *reader.list;
      row.write( l );
      EXPECT_FALSE( reader.list ) << row.name;
      EXPECT_EQ( reader.told, row.told ) << row.name;
   }
}

TEST_F( ReactionListTest, threeFunctionsAreDumpedInTheOrderOfTheirRoles ) {
   auto list = full();
   list->rmStatusDelAll();
   const auto dump = [ & ]( unsigned indent, Zeugma::DumpContext::Mode mode = Zeugma::DumpContext::Mode::classText ) {
      const auto context = makeNode<Zeugma::DumpContext>( mode );
      list->dumpState( context, indent );
      return std::string( context->text() );
   };
   const auto addressOf = []( const void * p ) { return Quoin::DisplayPointer::toString( p ); };
   const std::string head = "RouteMapStatusList " + addressOf( list.get() ) + " #0\n";
   const auto expected = [ & ]( const std::string & blanks ) {
      std::string text = blanks;
      text += head;
      for( const char * name : { "F", "FILTER", "MAINT" } ) {
         text.append( blanks ).append( "  GYRE FunctionStatus for function " ).append( name ).append( "\n" );
         text.append( blanks ).append( "    ExternalMatchers NULL\n" );
         text.append( blanks ).append( "    FakeFunction\n" );
      }
      return text;
   };
   EXPECT_EQ( dump( 0 ), expected( "" ) );
   EXPECT_EQ( dump( 6 ), expected( "      " ) );
   EXPECT_EQ( dump( 0, Zeugma::DumpContext::Mode::generic ),
              head + "  FunctionStatus " + addressOf( functions[ 0 ].get() ) + "\n  FunctionStatus " + addressOf( functions[ 1 ].get() ) +
                 "\n  FunctionStatus " + addressOf( functions[ 3 ].get() ) + "\n" );
   list->gyreStatusFilterIs( nullptr );
   EXPECT_EQ( dump( 0, Zeugma::DumpContext::Mode::generic ),
              head + "  FunctionStatus " + addressOf( functions[ 0 ].get() ) + "\n  FunctionStatus NULL\n  FunctionStatus " +
                 addressOf( functions[ 3 ].get() ) + "\n" );
}

// ---- a context's own members as arguments

struct CountedLog final : PolicyEvaluationLog {
   explicit CountedLog( int & a ) : PolicyEvaluationLog( routeMap( "RM" ) ), alive( a ) { ++alive; }
   ~CountedLog() override { --alive; }
   int & alive;
};

TEST( Reaction, aContextMayBeGivenWhatItHoldsItself ) {
   using Context = PolicyEvalContext;
   // The stack holds the only handles of three logs.
   const struct {
      const char * name;
      void ( *write )( Context & );
      std::vector<int> stack;   // the logs that are left on it, from the bottom
      int log;                  // the one that is installed; -1 for none
   } rows[] = {
      { "reset to the top", []( Context & c ) { c.callStackReset( *c.callStack().top() ); }, { 2 }, -1 },
      { "reset to the bottom", []( Context & c ) { c.callStackReset( *c.callStack().bottom() ); }, { 0 }, -1 },
      { "reset to the middle", []( Context & c ) { c.callStackReset( *c.callStack().find( 1 ) ); }, { 1 }, -1 },
      { "the top installed", []( Context & c ) { c.logIs( *c.callStack().top() ); }, { 2 }, 2 },
      { "the bottom installed", []( Context & c ) { c.logIs( *c.callStack().bottom() ); }, { 0 }, 0 },
      { "the installed one installed again, behind more",
        []( Context & c ) { c.logIs( *c.callStack().top() ), c.callStackPush( c.log() ), c.logIs( c.log() ); },
        { 2, 2 },
        2 },
      { "reset to the installed one",
        []( Context & c ) { c.logIs( *c.callStack().bottom() ), c.callStackDelAll(), c.callStackReset( c.log() ); },
        { 0 },
        0 },
      { "pushed until the stack must move",
        []( Context & c ) {
           while( c.callStack().count() < 9 ) c.callStackPush( *c.callStack().bottom() );
        },
        { 0, 1, 2, 0, 0, 0, 0, 0, 0 },
        -1 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      int alive = 0;
      const PolicyEvaluationLog * logs[ 3 ] = {};
      {
         Context context;
         for( auto & log : logs ) {
            auto made = makeNode<CountedLog>( alive );
            log = made.get();
            context.callStackPush( made );
         }
         row.write( context );
         std::vector<const PolicyEvaluationLog *> expected, found;
         for( const int i : row.stack ) expected.push_back( logs[ i ] );
         for( uint32_t i = 0; i < context.callStack().count(); ++i ) found.push_back( context.callStack( i ).get() );
         EXPECT_EQ( found, expected );
         EXPECT_EQ( context.log().get(), row.log < 0 ? nullptr : logs[ row.log ] );
         EXPECT_EQ( alive, row.stack.size() < 3 ? 1 : 3 );   // the others have gone
      }
      EXPECT_EQ( alive, 0 );
   }
}

TEST( Reaction, aQueueMayBeGivenWhatItHoldsItself ) {
   int alive = 0;
   {
      PolicyEvalContext context;
      context.evaluationLogEnq( makeNode<CountedLog>( alive ) );
      const auto * log = context.evaluationLogFront().get();
      for( int i = 0; i < 1000; ++i ) context.evaluationLogEnq( *context.evaluationLog().front() );
      EXPECT_EQ( context.evaluationLog().count(), 1001u );
      for( const auto & queued : context.evaluationLog() ) ASSERT_EQ( queued.get(), log );
      EXPECT_EQ( alive, 1 );
   }
   EXPECT_EQ( alive, 0 );
}

// ---- timers

struct ReactionTimerTest : testing::Test {
   ReactionTimerTest() {
      eval.contextIs( makeNode<PolicyEvalContext>() );
      eval.context()->enableTrailmarkIs( true );
   }
   /// The timers that have ended since the last call, shortened, in the order of their ends.
   std::vector<std::string> timers() {
      const auto & handle = Trailmark::defaultTrailmarkHandle();
      std::vector<std::string> names;
      for( const auto & record : handle.read() ) {
         if( record.number <= seen ) continue;
         const std::string_view text = record.message->text();
         names.emplace_back( text.substr( 0, text.find( '(' ) ) );
      }
      seen = handle.written();
      return names;
   }
   bool walk( const Ptr<const RouteMapStatus> & map ) {
      MatchedRouteMapSequences matched;
      return eval.evalRouteMapMatchers( &input, map.get(), &matched );
   }
   uint64_t seen = Trailmark::defaultTrailmarkHandle().written();
   const MatchInput_ input{};
   PolicyEval eval;
};

constexpr const char * kWalk = "PolicyEval::evalRouteMapMatchers";
constexpr const char * kCall = "evalSubRouteMapMatchers";

TEST_F( ReactionTimerTest, aSubRouteMapWithoutSequencesIsNotTimed ) {
   const auto empty = routeMap( "SUB" ), one = routeMap( "SUB", { seq( 1 ).match( false ) } );
   const struct {
      const char * name;
      Ptr<const RouteMapStatus> map;
      std::vector<std::string> timers;
   } rows[] = {
      { "empty", routeMap( "RM", { seq( 10 ).call( empty ) } ), { kWalk } },
      { "empty and inverted", routeMap( "RM", { seq( 10 ).callInverted( empty ) } ), { kWalk } },
      { "empty, on a deny", routeMap( "RM", { seq( 10 ).deny().call( empty ) } ), { kWalk } },
      { "none", routeMap( "RM", { seq( 10 ).call( nullptr ) } ), { kWalk } },
      { "one that denies by default", routeMap( "RM", { seq( 10 ).call( one ) } ), { kWalk, kCall, kWalk } },
      { "one that is not reached", routeMap( "RM", { seq( 10 ).match( false ).call( one ) } ), { kWalk } },
      { "an empty one, then another",
        routeMap( "RM", { seq( 10 ).call( empty ).continueTo( 20 ), seq( 20 ).call( one ) } ),
        { kWalk, kCall, kWalk } },
   };
   for( const auto & row : rows ) {
      walk( row.map );
      EXPECT_EQ( timers(), row.timers ) << row.name;
   }
}

TEST_F( ReactionTimerTest, aSubRouteMapThatIsEmptiedOnTheWayIsNotTimed ) {
   const auto sub = routeMap( "SUB", { seq( 1 ).deny() } );
   const auto map = routeMap( "RM", { seq( 10 ).match( matcher( true, [ & ] { sub->seqStatusDelAll(); } ) ).call( sub ) } );
   EXPECT_TRUE( walk( map ) );
   EXPECT_THAT( timers(), ElementsAre( kWalk ) );
}

TEST_F( ReactionTimerTest, timersEndWhenAMatcherThrows ) {
   const auto sub = routeMap( "SUB", { seq( 1 ).match( matcher( true, throwOutOfOrder ) ) } );
   EXPECT_THROW( walk( routeMap( "RM", { seq( 10 ).call( sub ) } ) ), std::runtime_error );
   EXPECT_THAT( timers(), ElementsAre( kWalk, kCall, kWalk ) );
}

}   // namespace
