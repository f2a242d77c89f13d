/// @file agent/table/RouteField.h
/// The attributes of a route by their names, as lines of a table (PrefixLine.h) and options of the command line give them:
///
///    next-hop 192.0.2.1   tag 64500   metric 100   protocol ospf   interface eth0   local-preference 200
///    community 64500:1,no-export   ospf-instance 1   isis-instance 1   as-path 64500 64501 {64502,64503}
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "table/TableRoute.h"

namespace Agent {

bool isFieldName( std::string_view key ) noexcept;
/// "next-hop, tag, ...": all of them.
std::string fieldNames();
/// The name that a word which is none was most likely to be, with that value behind it: in other letters or without its hyphens; or,
/// where the value is one of that attribute, with a letter or two wrong, or as other tools call it. Empty for none.
std::string_view fieldMeantBy( std::string_view word, std::string_view value );

/// Sets one attribute in place of what it was. Nothing, or why it cannot be, beginning with the key; the route stays as it is then.
[[nodiscard]] std::optional<std::string> setField( TableRoute & route, std::string_view key, std::string_view value );

}   // namespace Agent
