/// @file examples/evaluate_table/PrefixLine.h
/// Lines that begin with a prefix:
///
///    # customers
///    198.18.0.0/16    64500        a comment, or whatever else
///    2001:db8:100::/40
///    192.0.2.1                     an address alone is a host prefix
///
/// Columns are parted by blanks or tabs. A second column that is a number is the route's tag; every other column is passed over.
/// What follows a # at the beginning of a column is a comment. Both families may be mixed.
#pragma once

#include <string_view>

#include "LineResult.h"
#include "TableRoute.h"

namespace RouteTable {

/// `route` is set whole when the line is a route. A tag above 32 bits breaks the line.
LineResult parsePrefixLine( std::string_view line, TableRoute & route );

}   // namespace RouteTable
