/// @file tests/policy/PlanFixtures.h
/// What the tests of plans share: everything that an evaluation does that others can see, as one row of words, and the content of a plan in
/// a form that can be compared. The walk over all sequences is the definition of an evaluation. An evaluation with a context takes this walk;
/// an evaluation without a context takes the plan.
///    expectAsTheWalk( { map, list }, input, journal, restart );
#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "policy/DecisionObserver.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/Policy.h"

namespace PlanTest {

using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;

/// What happened, in order: numbers and addresses. `nameOf` may replace the addresses, so that two equal policies can be compared.
struct Journal {
   enum class What : uint64_t { asked, set, setLate, decided, matched, answer, thrown };
   void note( What what ) { words.push_back( uint64_t( what ) ); }
   void note( What what, const void * who ) {
      note( what );
      note( who );
   }
   void note( const void * who ) { words.push_back( nameOf ? nameOf( who ) : uint64_t( reinterpret_cast<uintptr_t>( who ) ) ); }
   void note( const Decision & d ) {
      note( What::decided );
      for( const void * who : std::initializer_list<const void *>{ d.routeMap, d.function, d.sequence, d.caller } ) note( who );
      words.push_back( d.precedence ? d.precedence->value() : ~0u );
      words.push_back( uint64_t( d.depth ) << 2 | uint64_t( d.permitted ) << 1 | uint64_t( d.inverted ) );
   }
   void note( const Result_ & r ) {
      const auto metric = r.metric();
      for( const uint64_t word :
           { uint64_t( r.preference() ), uint64_t( r.tag() ), metric.present() ? metric.value() + 1 : 0, uint64_t( r.deferredSetters() ) } )
         words.push_back( word );
   }
   std::vector<uint64_t> words;
   std::function<uint64_t( const void * )> nameOf;
};

struct NotingObserver final : DecisionObserver {
   explicit NotingObserver( Journal & j ) : journal( j ) {}
   void decided( const Decision & decision ) override { journal.note( decision ); }
   Journal & journal;
};

/// What is evaluated: a route map, and a list that has it.
struct Policies {
   Ptr<const RouteMapStatus> map;
   Ptr<const RouteMapStatusList> list;
   Ptr<const Setter> deferred = {};   // registered in each result before the evaluation, unless it is null
};

/// The calls of PolicyEval.
enum class Way : unsigned { map, mapObserved, snapshot, peerFilter, list, listObserved, listMatchers, batch };
constexpr unsigned kWays = 8;

inline bool evaluate( PolicyEval & eval, Way way, const Policies & policies, const MatchInput_ & input, Result_ & result,
                      Journal & journal ) {
   NotingObserver observer( journal );
   MatchedRouteMapSequences matched;
   const auto finish = [ & ]( bool permitted ) {
      if( !permitted ) return false;
      for( const auto * seq : matched ) journal.note( Journal::What::matched, seq );
      eval.applyPolicySetters( &matched, &result );
      return true;
   };
   switch( way ) {
      case Way::map: return finish( eval.evalRouteMapMatchers( &input, policies.map.get(), &matched ) );
      case Way::mapObserved: return finish( eval.evalRouteMapMatchers( &input, policies.map.get(), &matched, observer ) );
      case Way::snapshot: {
         const auto snapshot = eval.evalRouteMapMatchersSnapshot( input, policies.map );
         eval.applyPolicySettersSnapshot( snapshot, result );
         return bool( snapshot );
      }
      case Way::peerFilter: return eval.evalPeerFilter( policies.map, &input, observer );
      case Way::list: return eval.eval( &input, policies.list, &result );
      case Way::listObserved: return eval.eval( &input, policies.list, &result, observer );
      case Way::batch: {   // of the same route three times
         Result_ others[ 2 ] = { result, result };
         PolicyEval::BatchRoute routes[] = { { &input, &result }, { &input, &others[ 0 ] }, { &input, &others[ 1 ] } };
         eval.evalBatch( routes, policies.list );
         for( const auto & route : routes ) {
            journal.words.push_back( route.permitted );
            journal.note( *route.result );
         }
         return routes[ 0 ].permitted;
      }
      case Way::listMatchers: return finish( eval.evalPolicyMatchers( &input, policies.list, &matched, nullptr, observer ) );
   }
   return false;
}

/// One evaluation: what it did is in `journal`, to which the matchers and setters of the policy write.
inline std::vector<uint64_t> outcomeOf( bool byWalk, Way way, const Policies & policies, const MatchInput_ & input, Journal & journal ) {
   static const auto context = makeNode<PolicyEvalContext>();
   const auto eval = makeNode<PolicyEval>();
   if( byWalk ) eval->contextIs( context );
   journal.words.clear();
   Result_ result;
   if( policies.deferred ) result.deferredSetterIs( policies.deferred.get() );
   try {
      const bool permitted = evaluate( *eval, way, policies, input, result, journal );
      journal.note( Journal::What::answer );
      journal.words.push_back( permitted );
      journal.note( result );
   } catch( const std::exception & ) { journal.note( Journal::What::thrown ); }
   return std::exchange( journal.words, {} );
}

/// `restart` is called before each evaluation.
inline void expectAsTheWalk(
   const Policies & policies, Way way, const MatchInput_ & input, Journal & journal, const std::function<void()> & restart = [] {} ) {
   restart();
   const auto planned = outcomeOf( false, way, policies, input, journal );
   restart();
   const auto walked = outcomeOf( true, way, policies, input, journal );
   if( planned != walked )
      ADD_FAILURE() << "way " << unsigned( way ) << ", " << input << "\n"
                    << testing::PrintToString( planned ) << "\n"
                    << testing::PrintToString( walked );
}

/// What a plan consists of. The rows of a list are in no order.
struct PlainContent {
   explicit PlainContent( const RouteMapPlan::Content & content ) : undecided( content.undecided ) {
      for( const auto & [ seqno, seq ] : content.sequences ) sequences.emplace_back( seqno, seq.get() );
      for( const auto & [ seqno, step ] : content.always ) always.emplace( seqno, step );
      for( size_t attribute = 0; attribute < content.keys.size(); ++attribute )
         for( const auto & [ value, steps ] : content.keys[ attribute ] )
            keys.emplace( std::tuple( attribute, value ), std::vector( steps.all().begin(), steps.all().end() ) );
      for( const auto & [ seqno, step ] : content.listed ) listed.emplace( seqno, step );
      for( const auto & [ seqno, list ] : content.asked )
         asked.emplace( seqno, std::pair( list.rows, std::vector( list.steps.all().begin(), list.steps.all().end() ) ) );
      for( const auto & [ seqno, step ] : content.calls ) calls.emplace( seqno, step );
      for( size_t family = 0; family < rows.size(); ++family ) {
         if( !content.rows[ family ] ) continue;
         content.rows[ family ]->visitAll( [ & ]( const Ferule::IpGenPrefix & prefix, Routing::RouteMap::PrefixRow row ) {
            rows[ family ].emplace_back( prefix.ipGenAddr().bits().high, prefix.ipGenAddr().bits().low, prefix.length(),
                                         row.bare().word() );
         } );
         EXPECT_FALSE( rows[ family ].empty() ) << "rows without a row cost each look-up";
         std::ranges::sort( rows[ family ] );
      }
   }

   std::vector<std::pair<uint32_t, const RouteMapSeqStatus *>> sequences;
   std::map<uint32_t, PlanStep> always, listed, calls;
   size_t undecided;
   std::map<uint32_t, std::pair<const Routing::RouteMap::PrefixListRows *, std::vector<PlanStep>>> asked;
   std::map<std::tuple<size_t, uint64_t>, std::vector<PlanStep>> keys;   // by attribute and value
   std::array<std::vector<std::tuple<uint64_t, uint64_t, unsigned, uint64_t>>, 2> rows;
};

inline void expectEqual( const PlainContent & a, const PlainContent & b ) {
   EXPECT_TRUE( a.sequences == b.sequences );
   EXPECT_TRUE( a.always == b.always );
   EXPECT_TRUE( a.listed == b.listed );
   EXPECT_EQ( a.undecided, b.undecided );
   EXPECT_TRUE( a.asked == b.asked );
   EXPECT_TRUE( a.calls == b.calls );
   EXPECT_TRUE( a.keys == b.keys );
   EXPECT_EQ( a.rows, b.rows );
}

/// The content of a plan of the same sequences that is made of nothing else.
inline PlainContent freshContent( const RouteMapStatus & map ) {
   std::vector<const RouteMapStatus *> callees;
   return PlainContent( RouteMapPlan::of( map.seqStatus(), nullptr, callees )->content() );
}

/// The plan exists, and is that of the present sequences.
inline void expectPlanned( const RouteMapStatus & map ) {
   ASSERT_TRUE( map.plan() ) << map.name();
   expectEqual( PlainContent( map.plan()->content() ), freshContent( map ) );
}

}   // namespace PlanTest
