/// @file agent/text/MatchForms.h
/// The match clauses of a route map: one row says how a clause is written, and what it refers to. Reading, writing, references and
/// analysis go by this table.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/ThingKind.h"

namespace Agent {

struct MatchForm {
   enum class Operand : uint8_t {
      name,
      invertibleName,   // "NAME [invert]"
      nextHop,          // "[address] ADDRESS", or the name of an access list
      number,
      protocol
   };
   /// What of a route the clause looks at, where clauses of both families do.
   enum class Subject : uint8_t { other, prefix, nextHop };

   std::string_view words;   // behind "match"
   MatchOption option;
   Operand operand;
   std::string_view what;   // the operand is
   std::optional<ThingKind> refersTo{};
   Subject subject = Subject::other;
   uint64_t max = 0;   // of a number
};

/// One form per option; forms of more words before those that they begin with.
std::span<const MatchForm> matchForms() noexcept;
/// Null for an option that no line can say.
const MatchForm * matchForm( MatchOption option ) noexcept;
/// The words that may come next behind `begun`, which is empty or ends with a blank: of "ip " these are "address" and "next-hop".
std::vector<std::string_view> matchWordsBehind( std::string_view begun );

/// The family of the routes that the clause can hold for; empty where it holds for both.
std::optional<AddressFamily> familyOf( const MatchForm & form ) noexcept;
/// What a clause names; empty where it names nothing that a policy defines.
std::optional<ThingKind> thingNamedBy( MatchOption option, const MatchClause & clause ) noexcept;
/// The clause of the same subject and family that names another kind of thing.
const MatchForm * matchFormNaming( ThingKind kind, const MatchForm & inPlaceOf ) noexcept;

}   // namespace Agent
