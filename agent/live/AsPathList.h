/// @file agent/live/AsPathList.h
#pragma once

#include <string_view>
#include <vector>

#include "live/CompiledExpression.h"
#include "substrate/lists/ListStatus.h"
#include "table/TableRoute.h"
#include "text/PolicyText.h"

namespace Agent {

/// A compiled AS path list: the lowest line whose expression matches the text of the route's AS path decides; if none, the list denies.
/// Threading: read-only.
class AsPathList final : public Routing::RouteMap::AsPathListStatus {
 public:
   AsPathList( const Quoin::String & name, const AsPathListText & text, Dialect dialect );
   bool permits( const TableRoute & route ) const { return permits( route.asPath ); }
   bool permits( std::string_view asPath ) const;

 private:
   struct Line {
      MatchPermit action;
      CompiledExpression expression;
   };
   std::vector<Line> lines_;
};

}   // namespace Agent
