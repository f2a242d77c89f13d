/// @file tests/agent/FrrComparison.h
/// The policy that is compiled from FRR's rules, compared with the naive evaluator of these rules.
#pragma once

#include <string>
#include <vector>

#include "command/RouteEvaluator.h"
#include "command/RouteText.h"
#include "live/LivePolicy.h"
#include "tests/agent/FrrModel.h"

namespace Agent {

/// What both answer, in one form: "permit metric 5, ... by IN 10, SUB 5".
struct ComparedAnswer {
   bool permitted = false;
   TableRoute route;
   uint32_t distance = 0;
   FrrAnswer::Sequences sequences;
   friend bool operator==( const ComparedAnswer &, const ComparedAnswer & ) = default;

   std::string text() const {
      if( !permitted ) return "deny";
      std::string text = "permit " + attributesOf( route ) + ", distance " + std::to_string( distance ) + " by";
      for( const auto & [ name, number ] : sequences ) text += " " + name + " " + std::to_string( number );
      return text;
   }
};

inline ComparedAnswer comparedAnswerOf( const FrrAnswer & answer ) {
   if( !answer.permitted ) return {};
   return { true, answer.route, answer.distance.value_or( 0 ), answer.matched };
}

inline ComparedAnswer comparedAnswerOf( const RouteEvaluator & evaluator, const TableRoute & route ) {
   RouteAnswer answer;
   evaluator.evaluate( route, answer );
   if( !answer.permitted ) return {};
   FrrAnswer::Sequences sequences;
   for( const uint32_t i : answer.sequences )
      sequences.emplace_back( evaluator.sequences()[ i ].routeMap, evaluator.sequences()[ i ].number );
   return { true, answer.result.route, uint32_t( answer.result.preference() ), sequences };
}

/// The first route that the policy in force answers differently; empty if there is none. The route map has an answer.
inline std::string differenceToModel( const LivePolicy & policy, const std::string & routeMap, const std::vector<TableRoute> & routes ) {
   const auto status = policy.routeMap( routeMap );
   if( !status ) return routeMap + " is not in force";
   const RouteEvaluator evaluator( status, Dialect::frr );
   const FrrModel model( policy.text() );
   for( const auto & route : routes ) {
      const auto ours = comparedAnswerOf( evaluator, route ), expected = comparedAnswerOf( model.evaluate( routeMap, route ) );
      if( !( ours == expected ) )
         return std::string( route.prefix.toStrep().view() ) + "\n compiled " + ours.text() + "\n model    " + expected.text();
   }
   return {};
}

}   // namespace Agent
