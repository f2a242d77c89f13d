/// @file agent/dialect/Assumptions.h
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "text/Daemon.h"
#include "text/PolicyText.h"

namespace Agent {

/// What the operator assumes: which daemon applies the route maps, and the answers of match clauses that a route does not answer, by the first
/// words of the clauses:
///
///    rpki=no-match          no "match rpki ..." clause holds
///    rpki valid=match       but "match rpki valid" does: the longer words count
class Assumptions {
 public:
   /// Adds "CLAUSE=match" or "CLAUSE=no-match". Returns what is wrong with it; then it is not added.
   [[nodiscard]] std::optional<std::string> add( std::string_view assumption );
   /// Whether the clause holds; nothing if it is not assumed.
   std::optional<bool> of( MatchOption option, const MatchClause & clause ) const;
   /// The name of a daemon: "zebra". Returns what is wrong with it; then it is not taken.
   [[nodiscard]] std::optional<std::string> daemonIs( std::string_view name );
   Daemon daemon() const noexcept { return daemon_; }

 private:
   Daemon daemon_ = Daemon::bgpd;
   std::map<std::string, bool, std::less<>> byWords_;
};

}   // namespace Agent
