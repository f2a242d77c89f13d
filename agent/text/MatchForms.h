/// @file agent/text/MatchForms.h
/// The match clauses of a route map. One row of a table gives the form of a clause and the kind of thing that it names; reading, writing,
/// references and analysis use this table.
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
   std::string_view what;   // names the operand in errors: "the name of a tag set"
   std::optional<ThingKind> refersTo{};
   Subject subject = Subject::other;
   uint64_t max = 0;   // of a number
};

/// One form per option. A form stands before every form that it begins with.
std::span<const MatchForm> matchForms() noexcept;
/// Null for an option that has no form.
const MatchForm * matchForm( MatchOption option ) noexcept;
/// The words that may come next behind `begun`, which is empty or ends with a blank: of "ip " these are "address" and "next-hop".
std::vector<std::string_view> matchWordsBehind( std::string_view begun );

/// The family of the routes that the clause can match; none if it can match both.
std::optional<AddressFamily> familyOf( const MatchForm & form ) noexcept;
/// The kind of thing that a clause names; none if it names nothing that a policy defines.
std::optional<ThingKind> thingNamedBy( MatchOption option, const MatchClause & clause ) noexcept;
/// The clause of the same subject and family that names another kind of thing.
const MatchForm * matchFormNaming( ThingKind kind, const MatchForm & inPlaceOf ) noexcept;

}   // namespace Agent
