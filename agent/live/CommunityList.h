/// @file agent/live/CommunityList.h
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "live/ExpressionLines.h"
#include "live/IndexedLines.h"
#include "live/RouteKeys.h"
#include "substrate/lists/ListStatus.h"
#include "table/TableRoute.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// A compiled list of communities of one kind: the lowest line that matches decides; if none matches, the list denies. A standard line
/// matches a route that has all its communities, or exactly these, or any of them; a line without communities matches every route. An
/// expanded line matches if its expression matches the communities of the route, as "64500:1 64500:2"; in the dialect of FRR, well-known
/// communities have their names there.
///
/// A standard line is looked up by one of its communities, and by the others if any of them is enough:
///
///    5 permit 64500:1 64501:1        64500:1 -> line 5        64501:1 -> line 5, for "any"
///    6 permit 64500:1 64501:2        64501:2 -> line 6        64500:1 -> line 6, for "any"
///
/// That one is the community that the fewest lines are looked up by when the line is added. So a community that all lines have costs a
/// route that has it nothing.
/// Threading: read-only once published.
template <class C>
class CommunityListOf final : public Routing::RouteMap::CommListStatus {
 public:
   CommunityListOf( const Quoin::String & name, const CommunityListTextOf<C> & text, Dialect dialect );
   /// The next generation, to be edited. Its lines are those of `from`, and share the memory.
   CommunityListOf( const Quoin::String & name, const CommunityListOf & from );

   bool permits( const TableRoute & route, ListComparison comparison = ListComparison::all ) const;
   /// Whether a set clause that names the list deletes the community.
   bool deletes( const C & community ) const { return permits( { &community, 1 }, ListComparison::any ); }

   /// Tells which routes it can permit, if few communities say it. Returns whether it did.
   bool tellKeys( Routing::Policy::MatchKeys & keys, ListComparison comparison = ListComparison::all ) const;

   /// Adds a line; the number is free.
   void lineIs( uint32_t number, const CommunityListLineOf<C> & line );
   /// Removes this line.
   void lineDel( uint32_t number, const CommunityListLineOf<C> & line );

 private:
   // Under one of its communities.
   struct StandardLine {
      MatchPermit action;
      std::vector<C> others;   // the other ones
      friend bool operator==( const StandardLine &, const StandardLine & ) = default;
   };
   // It matches all routes that come to it.
   struct OpenLine {
      MatchPermit action;
      friend bool operator==( const OpenLine &, const OpenLine & ) = default;
   };
   bool permits( std::span<const C> communities, ListComparison comparison ) const;
   bool permitsStandard( std::span<const C> communities, ListComparison comparison ) const;

   bool expanded_;
   bool hasNames_;                                      // in the text that expressions match
   IndexedLines<C, StandardLine, OpenLine> standard_;   // without communities: an open line
   IndexedLines<C, OpenLine, OpenLine> further_;        // the standard lines under each of their other communities
   ExpressionLines expressions_;
};

using CommunityList = CommunityListOf<Community>;
using LargeCommunityList = CommunityListOf<LargeCommunity>;
using ExtCommunityList = CommunityListOf<ExtCommunity>;

}   // namespace Agent
