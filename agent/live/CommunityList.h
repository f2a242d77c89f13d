/// @file agent/live/CommunityList.h
#pragma once

#include <optional>
#include <vector>

#include "live/CompiledExpression.h"
#include "substrate/lists/ListStatus.h"
#include "table/TableRoute.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// A compiled community list: the lowest line that matches decides; if none matches, the list denies. A standard line matches a route that
/// has all its communities. An expanded line matches if its expression matches the communities of the route, as "64500:1 64500:2"; in the
/// dialect of FRR, well-known communities have their names there.
/// Threading: read-only.
class CommunityList final : public Routing::RouteMap::StandardCommListStatus {
 public:
   CommunityList( const Quoin::String & name, const CommunityListText & text, Dialect dialect = Dialect::native );
   bool permits( const TableRoute & route ) const;

 private:
   struct Line {
      MatchPermit action;
      std::vector<Community> communities;
      std::optional<CompiledExpression> expression;
   };
   bool expanded_;
   bool hasNames_;   // in the text that expressions match
   std::vector<Line> lines_;
};

}   // namespace Agent
