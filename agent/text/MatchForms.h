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

#include "text/Daemon.h"
#include "text/Dialect.h"
#include "text/ThingKind.h"

namespace Agent {

/// The word behind the name of a list; empty for none.
constexpr std::string_view wordOf( ListComparison comparison ) noexcept {
   constexpr std::string_view kWords[] = { "", "exact-match", "any" };
   return kWords[ size_t( comparison ) ];
}

/// The form of one match clause.
struct MatchForm {
   enum class Operand : uint8_t {
      name,
      comparedName,     // "NAME"; in the dialect of FRR, "NAME [exact-match|any]"
      invertibleName,   // "NAME [invert]"
      nextHop,          // "[address] ADDRESS", or the name of an access list
      number,
      protocol,
      keyword,   // one of `keywords`; its index is the number of the clause
      address,   // of the family of the clause
      peer,      // "ADDRESS", "NAME" or "local"
      text,      // the rest of the line
      none
   };
   /// The part of a route that the clause tests, if it has forms for both families; `other` for all other clauses.
   enum class Subject : uint8_t { other, prefix, nextHop };

   std::string_view words;   // after "match"
   MatchOption option;
   Operand operand;
   std::string_view what;   // the operand in error messages: "the name of a tag set"
   std::optional<ThingKind> refersTo{};
   Subject subject = Subject::other;
   uint64_t max = 0;   // the highest number that the operand allows; in the dialect of FRR, no number has more than 32 bits
   std::span<const std::string_view> keywords{};
   std::optional<Dialect> only{};   // the dialect that has the clause; none: both
   /// The field of a route (table/RouteField.h) that answers the clause, or "" if only an assumption does. None: each route answers it.
   std::optional<std::string_view> field{};
   Daemons daemons = kAllDaemons;   // of FRR, that have the clause
   bool isRemovedWhole = false;     // FRR refuses "no" and the words without an operand
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
