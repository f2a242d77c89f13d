/// @file tests/agent/LiveFixture.h
/// What the tests of agent/live share: policies written by hand, and what a compiled route map makes of a route, in the model's words.
#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "live/AgentRoute.h"
#include "live/LivePolicy.h"
#include "policy/MatchedRouteMapSequences.h"
#include "policy/Policy.h"
#include "tests/agent/PolicyModel.h"

namespace Agent {

constexpr MatchPermit kPermit = MatchPermit::permit;
constexpr MatchPermit kDeny = MatchPermit::deny;

constexpr Community community( uint32_t as, uint32_t number ) {
   return as << 16 | number;
}

// ---- a text

inline PrefixListLine prefixLine( MatchPermit action, const char * prefix, std::optional<uint32_t> le = {},
                                  std::optional<uint32_t> ge = {} ) {
   return { action, Ferule::IpGenPrefix( prefix ), ge, le, {} };
}
inline AccessListLine accessLine( MatchPermit action, const char * prefix ) {
   const Ferule::IpGenPrefix p( prefix );
   return { action, { p.ipGenAddr(), Ferule::Bits128::leadingOnes( p.length() ) }, {} };
}
/// Of IPv4; one bits of the mask must agree.
inline AccessListLine maskedLine( MatchPermit action, const char * address, const char * mask ) {
   return { action, { Ferule::IpGenAddr( address ), Ferule::IpGenAddr( mask ).bits() }, {} };
}

// The operands of match clauses.
inline MatchClause named( const std::string & name, bool invert = false ) {
   return { name, {}, 0, invert, {} };
}
inline MatchClause number( uint64_t n ) {
   return { {}, {}, n, false, {} };
}
inline MatchClause address( const char * a ) {
   return { {}, Ferule::IpGenAddr( a ), 0, false, {} };
}

// Set clauses.
inline SetClause set( SetKind kind, uint64_t number ) {
   return { .kind = kind, .number = number };
}
inline SetClause setCommunities( std::vector<Community> communities, bool additive = false ) {
   return { .kind = SetKind::community, .communities = std::move( communities ), .additive = additive };
}

using Match = std::map<MatchOption, MatchClause>;
inline SequenceText sequence( MatchPermit action, Match match = {}, SetClauses set = {} ) {
   SequenceText s;
   s.action = action;
   s.match = std::move( match );
   s.set = std::move( set );
   return s;
}
inline SequenceText calling( MatchPermit action, const std::string & routeMap, bool invert = false ) {
   SequenceText s = sequence( action );
   s.call = CallClause{ routeMap, invert, {} };
   return s;
}

/// A text with the route map IN, of this one sequence.
inline PolicyText textOf( SequenceText s ) {
   PolicyText text;
   text.routeMaps[ "IN" ].sequences[ 10 ] = std::move( s );
   return text;
}

inline TableRoute routeTo( const char * prefix ) {
   TableRoute route;
   route.prefix = Ferule::IpGenPrefix( prefix );
   return route;
}

// ---- what becomes of a route

inline void placesOf( const Routing::Policy::RouteMapStatus & map,
                      std::map<const Routing::Policy::RouteMapSeqStatus *, std::pair<std::string, uint32_t>> & places ) {
   for( auto i = map.seqStatus().first(); i; i.next() ) {
      const bool isNew = places.emplace( i.value().get(), std::pair( std::string( map.name().view() ), i.key() ) ).second;
      if( isNew && i.value()->subRouteMap() ) placesOf( *i.value()->subRouteMap(), places );
   }
}

/// As the model tells it, but for which sequence denies.
inline ModelAnswer answerOf( const Quoin::Ptr<const Routing::Policy::RouteMapStatus> & map, const TableRoute & route ) {
   std::map<const Routing::Policy::RouteMapSeqStatus *, std::pair<std::string, uint32_t>> places;
   placesOf( *map, places );
   const Routing::Policy::PolicyEval eval;
   const AgentRoute input( route );
   AgentResult result( route );
   Routing::Policy::MatchedRouteMapSequences matched;
   ModelAnswer answer;
   answer.permitted = eval.evalRouteMapMatchers( &input, map.get(), &matched );
   if( answer.permitted ) {
      for( const auto * s : matched ) answer.sequences.push_back( places.at( s ) );
      eval.applyPolicySetters( &matched, &result );
   }
   answer.metric = result.metric();
   answer.tag = result.tag();
   answer.localPreference = result.route.localPreference;
   answer.communities = result.route.communities;
   answer.distance = result.preference();
   return answer;
}

/// Whether IN permits the route; `policy` has it in force.
inline bool permits( const LivePolicy & policy, const TableRoute & route ) {
   return answerOf( policy.routeMap( "IN" ), route ).permitted;
}

}   // namespace Agent
