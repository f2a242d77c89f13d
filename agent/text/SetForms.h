/// @file agent/text/SetForms.h
/// The set clauses of a route map. One row of a table gives the form of a clause and its member of SetClauses; reading and writing use it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

template <class Value>
struct SetForm {
   std::string_view word;   // after "set"
   std::optional<Value> SetClauses::*value;
   Place SetClauses::Places::*place;
   Value ( *take )( LineCursor & line );     // Errors: LineError
   std::string ( *text )( const Value & );   // as it is written
};

namespace SetOperands {

uint64_t takeMetric( LineCursor & line );
uint8_t takeDistance( LineCursor & line );
uint32_t takeTag( LineCursor & line );
uint32_t takeLocalPreference( LineCursor & line );
SetCommunity takeCommunity( LineCursor & line );
std::string setCommunityText( const SetCommunity & set );
template <class Number>
std::string numberText( const Number & number ) {
   return std::to_string( number );
}

}   // namespace SetOperands

/// In the order of writing.
inline constexpr std::tuple kSetForms{
   SetForm<uint64_t>{ "metric", &SetClauses::metric, &SetClauses::Places::metric, SetOperands::takeMetric, SetOperands::numberText },
   SetForm<uint8_t>{ "distance", &SetClauses::distance, &SetClauses::Places::distance, SetOperands::takeDistance, SetOperands::numberText },
   SetForm<uint32_t>{ "tag", &SetClauses::tag, &SetClauses::Places::tag, SetOperands::takeTag, SetOperands::numberText },
   SetForm<uint32_t>{ "local-preference", &SetClauses::localPreference, &SetClauses::Places::localPreference,
                      SetOperands::takeLocalPreference, SetOperands::numberText },
   SetForm<SetCommunity>{ "community", &SetClauses::community, &SetClauses::Places::community, SetOperands::takeCommunity,
                          SetOperands::setCommunityText },
};

/// Calls `visit( form )` for each form until it returns true. Returns whether it did.
template <class Visit>
bool anySetForm( Visit && visit ) {
   return std::apply( [ & ]( const auto &... form ) { return ( visit( form ) || ... ); }, kSetForms );
}

/// The words after "set".
std::vector<std::string_view> setWords();

}   // namespace Agent
