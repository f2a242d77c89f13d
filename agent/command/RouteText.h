/// @file agent/command/RouteText.h
/// Answers about routes in words and in JSON: the same everywhere in this program.
#pragma once

#include <string>
#include <vector>

#include "command/RouteEvaluator.h"

namespace Agent {

/// "EDGE-IN 30", and "CUSTOMERS 10, EDGE-IN 30, 60" for several; printable.
std::string textOf( const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices );

/// What differs between two states of a route: "distance 20, metric 5 -> 10, community 64500:1 -> none"; empty for nothing.
std::string changesOf( const AgentResult & from, const AgentResult & to );
/// What policy changes of a permitted route.
inline std::string changesOf( const TableRoute & route, const AgentResult & result ) {
   return changesOf( AgentResult( route ), result );
}

/// What policy reads of a route, but for its prefix: "via 192.0.2.1, tag 64500, as-path 64500 64501"; printable, empty for nothing.
std::string attributesOf( const TableRoute & route );

/// What tells a route from others of its table: "198.18.1.0/24 via 192.0.2.17"; and as members of a JSON object. Both append.
void appendName( std::string & to, const TableRoute & route );
void appendJsonName( std::string & to, const TableRoute & route );

/// "permit  198.18.1.0/24 via 192.0.2.17  distance 20  by EDGE-IN 30"; appends, with a line end.
void appendLine( std::string & to, const RouteEvaluator & evaluator, const TableRoute & route, const RouteAnswer & answer );

/// The same as one JSON object; appends.
///    {"prefix":"198.18.1.0/24","nextHop":"192.0.2.17","verdict":"permit","changes":{"distance":{"to":20},
///     "metric":{"from":5,"to":10}},"sequences":[{"routeMap":"EDGE-IN","sequence":30}]}
/// Without nextHop, changes and from where there is none.
void appendJson( std::string & to, const RouteEvaluator & evaluator, const TableRoute & route, const RouteAnswer & answer );
/// Members of such an object, behind others.
void appendJsonAttributes( std::string & to, const TableRoute & route );
void appendJsonChanges( std::string & to, const TableRoute & route, const AgentResult & result );
void appendJsonSequences( std::string & to, const std::vector<RouteEvaluator::Sequence> & all, const std::vector<uint32_t> & indices );

/// A text as a JSON string, quotes included. Bytes that are no UTF-8 become U+FFFD.
std::string jsonString( std::string_view text );
/// The same without quotes and escapes.
std::string validUtf8( std::string_view text );

}   // namespace Agent
