/// @file agent/table/RouteField.h
/// The attributes of a route by their names, as lines of a table (PrefixLine.h) and options of the command line give them:
///
///    next-hop 192.0.2.1   tag 64500   metric 100   protocol ospf   interface eth0   local-preference 200
///    community 64500:1,no-export   as-path 64500 64501 {64502,64503}
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "table/TableRoute.h"

namespace Agent {

bool isFieldName( std::string_view key ) noexcept;
/// "next-hop, tag, ...": all of them.
std::string fieldNames();

/// Sets one attribute in place of what it was. Nothing, or why it cannot be; the route stays as it is then.
[[nodiscard]] std::optional<std::string> setField( TableRoute & route, std::string_view key, std::string_view value );

}   // namespace Agent
