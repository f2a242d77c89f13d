/// @file agent/live/AsPathList.h
#pragma once

#include <vector>

#include "live/CompiledExpression.h"
#include "substrate/lists/ListStatus.h"
#include "table/TableRoute.h"
#include "text/PolicyText.h"

namespace Agent {

/// An AS path list as evaluation asks it: the lowest line whose expression matches the text of the route's path decides, none denies.
/// Threading: read-only.
class AsPathList final : public Routing::RouteMap::AsPathListStatus {
 public:
   AsPathList( const Quoin::String & name, const AsPathListText & text );
   bool permits( const TableRoute & route ) const;

 private:
   struct Line {
      MatchPermit action;
      CompiledExpression expression;
   };
   std::vector<Line> lines_;
};

}   // namespace Agent
