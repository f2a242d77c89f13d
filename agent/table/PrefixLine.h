/// @file agent/table/PrefixLine.h
/// Lines that begin with a prefix:
///
///    # customers
///    198.18.0.0/16    64500        a remark
///    2001:db8:100::/40
///    192.0.2.1                     an address alone is a host prefix
///    198.19.0.0/16    next-hop 192.0.2.1 metric 20 community 64500:1,64500:2 as-path 64500 64501
///
/// Columns are separated by blanks or tabs. A second column that is a number is the route's tag. If the next column is a name of
/// RouteField.h, names and values follow; an AS path extends to the end of the line. Else the rest is a remark and is skipped. A # at the
/// beginning of a column starts a comment. Both families may be mixed.
///
/// A line that was probably meant otherwise is broken: a remark that begins with a word similar to a name ("metrc 5"), or an address
/// without a length in front of what may be the length ("10.0.0.0 8", "10.0.0.0 255.0.0.0").
#pragma once

#include <string_view>

#include "table/LineResult.h"
#include "table/TableRoute.h"

namespace Agent {

/// `route` is set whole when the line is a route. A tag above 32 bits breaks the line.
LineResult parsePrefixLine( std::string_view line, TableRoute & route );

}   // namespace Agent
