/// @file agent/table/BgpdumpLine.h
/// Lines as `bgpdump -m` prints them: fields with a bar behind each,
///
///    TABLE_DUMP2|time|B|peer address|peer AS|prefix|AS path|origin|next hop|local preference|MED|communities|atomic aggregate|aggregator|
///
/// for an entry of a table, and the same with BGP4MP and A for an announcement. Withdrawals (W) and changes of a session (STATE)
/// have fewer fields and are no routes. A local preference of 0 is none, as the tool prints it for none. It prints a MED that there is
/// not as 0, too, but 0 is a MED as good as any: it stays 0 here, where MRT of the same table (MrtReader.h) may have none. The last
/// number of the AS path, the AS that the route comes from, is the tag: a table dump has no tags, and this gives tag matchers something
/// to match. Words among the communities that are none, such as large communities, are passed over.
#pragma once

#include <string_view>

#include "table/LineResult.h"
#include "table/TableRoute.h"

namespace Agent {

/// Whether a line is meant to be of this form, be it broken.
bool looksLikeBgpdump( std::string_view line ) noexcept;

/// `route` is set whole when the line is a route. An empty next hop or MED is none. A path that ends in a set of ASes gives tag 0.
LineResult parseBgpdumpLine( std::string_view line, TableRoute & route );

}   // namespace Agent
