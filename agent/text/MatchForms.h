/// @file agent/text/MatchForms.h
/// The table of match clauses. One row describes one clause: its words, its operand, and the kind of named thing (such as a tag set) to
/// which it refers. Readers, writers, references and findings use the rows.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/Dialect.h"
#include "text/ThingKind.h"

namespace Agent {

/// The form of one match clause.
struct MatchForm {
   enum class Operand : uint8_t {
      name,
      invertibleName,   // "NAME [invert]"
      nextHop,          // "[address] ADDRESS", or the name of an access list
      number,
      protocol
   };
   /// The part of a route that the clause tests, if it has forms for both families; `other` for all other clauses.
   enum class Subject : uint8_t { other, prefix, nextHop };

   std::string_view words;   // after "match"
   MatchOption option;
   Operand operand;
   std::string_view what;   // the operand in error messages: "the name of a tag set"
   std::optional<ThingKind> refersTo{};
   Subject subject = Subject::other;
   uint64_t max = 0;                // the highest number that the operand allows
   std::optional<Dialect> only{};   // the dialect that has the clause; none: both
};

/// All forms, one per option. If the words of one form begin with the words of another form, the longer form comes first.
std::span<const MatchForm> matchForms() noexcept;
/// The form of an option; null if it has none.
const MatchForm * matchForm( MatchOption option ) noexcept;
/// The words that may follow `begun`, which is empty or ends with a blank: after "ip ", these are "address" and "next-hop".
/// Of the clauses of that dialect, or of all clauses.
std::vector<std::string_view> matchWordsBehind( std::string_view begun, std::optional<Dialect> dialect = std::nullopt );

/// The family of the routes that the clause can match; none if it can match both families.
std::optional<AddressFamily> familyOf( const MatchForm & form ) noexcept;
/// The kind of thing that a clause names; none if the clause has only a value.
std::optional<ThingKind> thingNamedBy( MatchOption option, const MatchClause & clause ) noexcept;
/// The clause of the same subject and family that names another kind of thing.
const MatchForm * matchFormNaming( ThingKind kind, const MatchForm & inPlaceOf ) noexcept;

}   // namespace Agent
