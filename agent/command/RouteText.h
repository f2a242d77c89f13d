/// @file agent/command/RouteText.h
/// Routes and answers in words and in JSON. All commands use these forms.
#pragma once

#include <string>
#include <vector>

#include "command/Json.h"
#include "command/RouteEvaluator.h"

namespace Agent {

/// A sequence as members of a JSON object: "routeMap":"EDGE-IN","sequence":30, or "filter":"prefix-list CUSTOMERS (ipv4 unicast, in)".
std::string jsonMembersOf( const RouteEvaluator::Sequence & sequence );

/// "EDGE-IN 30", and "CUSTOMERS 10, EDGE-IN 30, 60" for several; printable.
std::string textOf( const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices );

/// The differences between two states of a route: "distance 20, metric 5 -> 10, community 64500:1 -> none"; empty if equal.
std::string changesOf( const AgentResult & from, const AgentResult & to );
/// The changes that policy makes to a permitted route.
inline std::string changesOf( const TableRoute & route, const AgentResult & result ) {
   return changesOf( AgentResult( route ), result );
}

/// The attributes of a route, without its prefix: "via 192.0.2.1, tag 64500, as-path 64500 64501"; printable, may be empty.
std::string attributesOf( const TableRoute & route );

/// Prefix and next hop of a route: "198.18.1.0/24 via 192.0.2.17"; and as members of a JSON object. Both append.
void appendName( std::string & to, const TableRoute & route );
void appendJsonName( std::string & to, const TableRoute & route );

/// "permit  198.18.1.0/24 via 192.0.2.17  distance 20  by EDGE-IN 30"; appends, with a line end.
void appendLine( std::string & to, const RouteEvaluator & evaluator, const TableRoute & route, const RouteAnswer & answer );

/// ", without edge.conf:12": the lines that were left out, if any. At most three are told.
std::string withoutText( const std::vector<std::string> & leftOut );

/// The same as one JSON object; appends. By hand, as eval prints one for each route.
///    {"prefix":"198.18.1.0/24","nextHop":"192.0.2.17","verdict":"permit","changes":{"distance":{"to":20},
///     "metric":{"from":5,"to":10}},"sequences":[{"routeMap":"EDGE-IN","sequence":30}]}
/// The members nextHop, changes and from are left out if the route has none. "leftOut":["edge.conf:12"] follows if lines were left out.
void appendJson( std::string & to, const RouteEvaluator & evaluator, const TableRoute & route, const RouteAnswer & answer );
/// Members of such an object, after other members.
void appendJsonAttributes( std::string & to, const TableRoute & route );
void appendJsonChanges( std::string & to, const TableRoute & route, const AgentResult & result );
void appendJsonLeftOut( std::string & to, const std::vector<std::string> & leftOut );
void appendJsonSequences( std::string & to, const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices );

// The same as members of a JSON document, for commands that print few of them.
void addName( Json & to, const TableRoute & route );
void addChanges( Json & to, const TableRoute & route, const AgentResult & result );
void addSequences( Json & to, const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices );

/// A text as a JSON string, quotes included. Invalid UTF-8 becomes U+FFFD.
std::string jsonString( std::string_view text );
/// The text with invalid UTF-8 replaced by U+FFFD.
std::string validUtf8( std::string_view text );

}   // namespace Agent
