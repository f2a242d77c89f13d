/// @file agent/live/Change.h
/// What set clauses do to a route. Both dialects change routes here and nowhere else.
#pragma once

#include <vector>

#include "dialect/CompiledRules.h"
#include "live/AsPathList.h"
#include "live/CommunityList.h"
#include "table/TableRoute.h"

namespace Agent {

/// The lists that set clauses name, compiled. Null: the list is not named or has no lines, and deletes nothing. Threading: read-only.
struct CompiledSetLists {
   CompiledSetLists() = default;
   explicit CompiledSetLists( const SetLists & lists );
   Quoin::Ptr<const CommunityList> communities;
   Quoin::Ptr<const LargeCommunityList> largeCommunities;
   Quoin::Ptr<const ExtCommunityList> extCommunities;
   Quoin::Ptr<const AsPathList> ases;
};

/// Applies a set clause, but for a distance, which is no attribute of a route. A value that only a daemon knows, and a value that no match
/// clause reads, become another attribute of the route (TableRoute.h), by the words of the clause.
void change( TableRoute & route, const SetClause & clause, const CompiledSetLists & lists = {} );

}   // namespace Agent
