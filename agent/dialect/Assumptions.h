/// @file agent/dialect/Assumptions.h
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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
   /// Adds "CLAUSE=match" or "CLAUSE=no-match". CLAUSE is a whole clause, or the first words of some. Returns what is wrong with it; then it
   /// is not added.
   [[nodiscard]] std::optional<std::string> add( std::string_view assumption );
   /// Whether the clause holds; nothing if it is not assumed.
   std::optional<bool> of( MatchOption option, const MatchClause & clause ) const;
   bool empty() const noexcept { return byWords_.empty(); }
   /// The words that no clause of the text begins with; ascending.
   std::vector<std::string> unusedIn( const PolicyText & text ) const;
   /// The name of a daemon: "zebra". Returns what is wrong with it; then it is not taken.
   [[nodiscard]] std::optional<std::string> daemonIs( std::string_view name );
   Daemon daemon() const noexcept { return daemon_.value_or( Daemon::bgpd ); }
   /// The daemon was named.
   bool namesDaemon() const noexcept { return daemon_.has_value(); }

 private:
   std::optional<Daemon> daemon_;
   std::map<std::string, bool, std::less<>> byWords_;
};

}   // namespace Agent
