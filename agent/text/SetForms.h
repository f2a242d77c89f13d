/// @file agent/text/SetForms.h
/// The set clauses of a route map. One row of a table gives the form of a clause; reading and writing use it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "text/Dialect.h"
#include "text/LineCursor.h"
#include "text/ThingKind.h"

namespace Agent {

struct SetForm {
   SetKind kind;
   std::string_view words;                                              // after "set"
   void ( *take )( LineCursor & line, SetClause &, const SetForm & );   // reads the operand. Errors: LineError
   std::string ( *text )( const SetClause & );                          // the operand as it is written; may be empty
   std::optional<Dialect> only{};                                       // the dialect that has the clause; none: both
   std::string_view what{};                                             // a number in error messages: "a tag"
   uint64_t min = 0;
   uint64_t max = 0;
   std::optional<ThingKind> refersTo{};   // the kind of list that the clause names
   /// What FRR takes between "no" and the end of the line, beside the words of the clause.
   enum class Removal : uint8_t { anyOperand, wholeOperand, noOperand };
   Removal removal = Removal::anyOperand;
   bool removesRefused = false;   // FRR takes operands behind "no" that it refuses otherwise
   std::string_view bare{};       // the word of the operand that may also stand alone behind "no"
};

/// A row for each kind, in the order of the kinds.
std::span<const SetForm> setForms() noexcept;
const SetForm & setForm( SetKind kind ) noexcept;

/// The kind of list that a clause names; none if it has only a value.
std::optional<ThingKind> thingNamedBy( const SetClause & clause ) noexcept;

}   // namespace Agent
