/// @file agent/table/FrrPath.h
/// One path of a prefix as FRR prints it, with or without `detail`:
///
///    { "valid": true, "metric": 50, "locPrf": 200, "path": "65001 65002", "origin": "IGP", "nexthops": [ { "ip": "192.0.2.9" } ] }
///    { "aspath": { "string": "65001 65002" }, "metric": 50, "locPrf": 200, "tag": 77, "community": { "string": "65000:1 no-export" },
///      "nexthops": [ { "ip": "192.0.2.9" } ] }
///
/// and as a route that a neighbor sent or receives: { "nextHop": "192.0.2.9", "metric": 50, "path": "65001 65002" }. Only `detail` prints
/// communities and tags. Extended communities that ExtCommunity.h cannot read are skipped. A route without a tag has tag 0: unlike a table
/// dump, the daemon knows tags.
///
/// Of several next hops the first is used, which is the global one of IPv6. The peer is "peerId", or with `detail` "peer": { "peerId": ... },
/// if it is an address; routes that a neighbor sent or receives have none.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "table/JsonValue.h"
#include "table/LineResult.h"
#include "table/TableRoute.h"

namespace Agent {

class FrrPath {
 public:
   void clear();
   /// `at` is the place within the path, such as "metric" or "nexthops[].ip". Places that are of no interest are ignored.
   void valueIs( std::string_view at, const JsonValue & value );

   /// Sets all but the prefix. The header that `detail` prints in front of the paths is nothing; a path that waits for its removal is
   /// skipped.
   LineResult route( TableRoute & route ) const;
   /// The path was printed without `detail`.
   bool isShort() const noexcept { return isShort_; }

 private:
   void textIs( std::string & text, std::string_view at, const JsonValue & value );
   void numberIs( std::optional<uint32_t> & number, std::string_view at, const JsonValue & value );
   void faultIs( std::string_view at, const char * what );

   std::string asPath_;
   std::string communities_;
   std::string largeCommunities_;
   std::string extCommunities_;
   std::string nextHop_;
   std::string peer_;
   std::optional<Origin> origin_;
   std::optional<uint32_t> metric_;
   std::optional<uint32_t> localPreference_;
   std::optional<uint32_t> tag_;
   bool hasNextHop_ = false;
   bool isPath_ = false;
   bool isRemoved_ = false;
   bool isShort_ = false;
   std::string fault_;   // the first one
};

}   // namespace Agent
