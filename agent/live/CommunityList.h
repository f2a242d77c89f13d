/// @file agent/live/CommunityList.h
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "live/CompiledExpression.h"
#include "substrate/lists/ListStatus.h"
#include "table/TableRoute.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// A compiled list of communities of one kind: the lowest line that matches decides; if none matches, the list denies. A standard line
/// matches a route that has all its communities, or exactly these, or any of them; a line without communities matches every route. An
/// expanded line matches if its expression matches the communities of the route, as "64500:1 64500:2"; in the dialect of FRR, well-known
/// communities have their names there.
/// Threading: read-only.
template <class C>
class CommunityListOf final : public Routing::RouteMap::CommListStatus {
 public:
   CommunityListOf( const Quoin::String & name, const CommunityListTextOf<C> & text, Dialect dialect );
   bool permits( const TableRoute & route, ListComparison comparison = ListComparison::all ) const;
   /// Whether a set clause that names the list deletes the community.
   bool deletes( const C & community ) const { return permits( { &community, 1 }, ListComparison::any ); }

 private:
   struct Line {
      MatchPermit action;
      std::vector<C> communities;
      std::optional<CompiledExpression> expression;
   };
   bool permits( std::span<const C> communities, ListComparison comparison ) const;

   bool expanded_;
   bool hasNames_;   // in the text that expressions match
   std::vector<Line> lines_;
};

using CommunityList = CommunityListOf<Community>;
using LargeCommunityList = CommunityListOf<LargeCommunity>;
using ExtCommunityList = CommunityListOf<ExtCommunity>;

}   // namespace Agent
