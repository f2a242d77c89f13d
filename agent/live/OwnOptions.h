/// @file agent/live/OwnOptions.h
/// The match options that this agent compiles beyond the library's.
#pragma once

#include <span>

#include "compile/MatchOptions.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// A row for each match option. The root of their lists is an AgentRoot.
std::span<const Routing::Policy::MatchOptionRow> ownMatchOptions( Dialect dialect ) noexcept;

/// A match clause in the form of a MapEntry.
Routing::RouteMap::MatchRule matchRuleOf( MatchOption option, const MatchClause & clause );

}   // namespace Agent
