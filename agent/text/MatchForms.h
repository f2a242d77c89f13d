/// @file agent/text/MatchForms.h
/// How the match clauses of a route map are written. What reads lines and what writes them go by one table.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "text/PolicyText.h"

namespace Agent {

struct MatchForm {
   enum class Operand : uint8_t {
      name,
      invertibleName,   // "NAME [invert]"
      nextHop,          // "[address] ADDRESS", or the name of an access list
      number,
      protocol
   };
   std::string_view words;   // behind "match"
   MatchOption option;
   Operand operand;
   std::string_view what;   // the operand is
   uint64_t max = 0;        // of a number
};

/// One form per option; those of more words before those that they begin with.
std::span<const MatchForm> matchForms() noexcept;
/// Null for an option that no line can say.
const MatchForm * matchForm( MatchOption option ) noexcept;

}   // namespace Agent
