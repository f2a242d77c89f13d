/// @file examples/evaluate_table/BgpdumpLine.h
/// Lines as `bgpdump -m` prints them: fields with a bar behind each,
///
///    TABLE_DUMP2|time|B|peer address|peer AS|prefix|AS path|origin|next hop|local preference|MED|communities|atomic aggregate|aggregator|
///
/// for an entry of a table, and the same with BGP4MP and A for an announcement. Withdrawals (W) and changes of a session (STATE)
/// have fewer fields and are no routes. Read are the prefix, the next hop, the MED as metric, and the last number of the AS path,
/// the AS that the route comes from, as tag: a table dump has no tags, and this gives tag matchers something to match.
#pragma once

#include <string_view>

#include "LineResult.h"
#include "TableRoute.h"

namespace RouteTable {

/// Whether a line is meant to be of this form, be it broken.
bool looksLikeBgpdump( std::string_view line ) noexcept;

/// `route` is set whole when the line is a route. An empty next hop or MED is none. A path that ends in a set of ASes gives tag 0.
LineResult parseBgpdumpLine( std::string_view line, TableRoute & route );

}   // namespace RouteTable
