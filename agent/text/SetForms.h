/// @file agent/text/SetForms.h
/// The set clauses of a route map. One row of a table gives the form of a clause; reading and writing use it.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/Dialect.h"
#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

struct SetForm {
   SetKind kind;
   std::string_view word;                              // after "set"
   void ( *take )( LineCursor & line, SetClause & );   // reads the operand. Errors: LineError
   std::string ( *text )( const SetClause & );         // the operand as it is written
   std::optional<Dialect> only{};                      // the dialect that has the clause; none: both
};

/// A row for each kind, in the order of the kinds.
std::span<const SetForm> setForms() noexcept;
const SetForm & setForm( SetKind kind ) noexcept;

/// The words after "set" in that dialect.
std::vector<std::string_view> setWords( Dialect dialect );

}   // namespace Agent
