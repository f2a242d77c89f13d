/// @file agent/table/GobgpPath.h
/// One path of a prefix as `gobgp global rib -j` prints it: its attributes (RFC 4271 5) by their numbers,
///
///    { "nlri": { "prefix": "198.51.100.0/24" }, "best": true, "attrs": [ { "type": 1, "value": 0 },
///      { "type": 2, "as_paths": [ { "segment_type": 2, "asns": [ 65001 ] } ] }, { "type": 3, "nexthop": "192.0.2.9" },
///      { "type": 4, "metric": 50 }, { "type": 5, "value": 200 }, { "type": 8, "communities": [ 4259840001 ] },
///      { "type": 32, "value": [ { "ASN": 65000, "LocalData1": 1, "LocalData2": 2 } ] } ], "stale": false,
///      "neighbor-ip": "192.0.2.9" }
///
/// The daemon has no tags: the last AS of the path becomes the tag, as with BgpdumpLine.h. "neighbor-ip" is the peer, if it is an address.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "table/JsonValue.h"
#include "table/LineResult.h"
#include "table/TableRoute.h"

namespace Agent {

class GobgpPath {
 public:
   void clear();
   /// `at` is the place within the path, such as "attrs[].type". Places that are of no interest are ignored.
   void valueIs( std::string_view at, const JsonValue & value );
   /// An object of an array ends: "attrs[]".
   void elementEnds( std::string_view at );

   /// The path is one of this daemon.
   bool isGiven() const noexcept { return isGiven_; }
   /// Sets all but the prefix.
   LineResult route( TableRoute & route ) const;

 private:
   void finishSegment();
   void takePart( uint32_t LargeCommunity::*part, const JsonValue & value );
   void finishAttribute();
   void faultIs( std::string text );

   struct Attribute {
      std::optional<uint64_t> type;
      std::optional<uint32_t> value;
      std::optional<uint32_t> metric;
      std::string nextHop;
      std::string asPath;
      std::vector<uint32_t> communities;
      std::vector<LargeCommunity> largeCommunities;
      std::string fault;   // the first one; it counts if the attribute is read
      void clear();
   };
   Attribute attribute_;   // the present one
   std::optional<uint32_t> segmentType_;
   std::vector<uint32_t> segment_;

   std::string asPath_;
   std::string nextHop_;
   std::string peer_;
   std::vector<uint32_t> communities_;
   std::vector<LargeCommunity> largeCommunities_;
   std::optional<uint32_t> metric_;
   std::optional<uint32_t> localPreference_;
   std::optional<Origin> origin_;
   bool hasMpNextHop_ = false;
   bool isGiven_ = false;
   std::string fault_;   // the first one
};

}   // namespace Agent
