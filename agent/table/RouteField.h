/// @file agent/table/RouteField.h
/// The attributes of a route by name, as in lines of a table (PrefixLine.h) and in options of the command line:
///
///    next-hop 192.0.2.1   tag 64500   metric 100   protocol ospf   interface eth0   local-preference 200
///    community 64500:1,no-export   large-community 64500:1:2,64500:1:3   extcommunity rt:64500:1,soo:192.0.2.1:1   ospf-instance 1
///    isis-instance 1   origin igp   peer 192.0.2.1   rpki valid   as-path 64500 64501 {64502,64503}
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "table/TableRoute.h"

namespace Agent {

bool isFieldName( std::string_view key ) noexcept;
/// "next-hop, tag, ...": all of them.
std::string fieldNames();
/// The attribute name that an unknown word in front of that value was probably meant to be: written in other case or without hyphens; or,
/// if the value fits the attribute, mistyped by a letter or two, or the name that other tools use. Empty for no such name.
std::string_view fieldMeantBy( std::string_view word, std::string_view value );

/// Sets one attribute. Returns nothing, or an error that begins with the key; the route does not change then.
[[nodiscard]] std::optional<std::string> setField( TableRoute & route, std::string_view key, std::string_view value );

/// Attributes for the routes that lack them. Threading: thread-safe once they are added.
class RouteDefaults {
 public:
   /// Adds "NAME=VALUE". Returns an error as setField(); then it is not added.
   [[nodiscard]] std::optional<std::string> add( std::string_view attribute );
   /// Whether the attribute with this name of a field was added.
   bool has( std::string_view name ) const;
   void fill( TableRoute & route ) const;

 private:
   TableRoute values_;
   std::vector<void ( * )( TableRoute &, const TableRoute & )> fills_;
};

}   // namespace Agent
