/// @file agent/table/BgpdumpLine.h
/// Lines as `bgpdump -m` prints them: fields that end with a bar,
///
///    TABLE_DUMP2|time|B|peer address|peer AS|prefix|AS path|origin|next hop|local preference|MED|communities|atomic aggregate|aggregator|
///
/// for an entry of a table, and the same with BGP4MP and A for an announcement. With paths that have identifiers, the name of the record
/// ends with _AP, and the identifier follows the prefix; it is not used. The names of updates also have _ET and _LOCAL. Withdrawals (W) and
/// changes of a session (STATE) have fewer fields and are no routes. A local preference of 0 means absent, as the tool prints it. The tool
/// also prints an absent MED as 0, but 0 is a valid MED as well: it stays 0 here, where MRT of the same table (MrtReader.h) may have none.
/// The last number of the AS path, the origin AS of the route, becomes the tag: a table dump has no tags, and tag matchers need something
/// to match. The communities may be large ones, too; other words are skipped. The peer address is the peer, except in updates with _LOCAL:
/// the router itself has sent these.
#pragma once

#include <string_view>

#include "table/LineResult.h"
#include "table/TableRoute.h"

namespace Agent {

/// Whether a line is meant to have this form, even if it is broken.
bool looksLikeBgpdump( std::string_view line ) noexcept;

/// `route` is set whole when the line is a route. An empty peer address, next hop or MED is absent. A path that ends in a set of ASes gives tag 0.
LineResult parseBgpdumpLine( std::string_view line, TableRoute & route );

}   // namespace Agent
