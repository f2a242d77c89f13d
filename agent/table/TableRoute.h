/// @file agent/table/TableRoute.h
/// One route of a table, independent of the form of the table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "substrate/ferule/IpPrefix.h"
#include "substrate/zeugma/MaybeU63.h"
#include "text/LargeCommunity.h"
#include "text/Origin.h"
#include "text/SourceProtocol.h"

namespace Agent {

/// Threading: a plain value. Readers reuse one route, so that its strings and vectors keep their memory.
struct TableRoute {
   Ferule::IpGenPrefix prefix;   // no bit set after its length
   Ferule::IpGenAddr nextHop;    // without a family: the table has none, or the route discards
   Zeugma::MaybeU63 metric;      // of BGP, the MED
   uint32_t tag = 0;             // of a table dump, the last AS of the path
   std::optional<uint32_t> localPreference;
   SourceProtocol protocol = SourceProtocol::none;
   uint32_t ospfInstance = 0;   // only PrefixLine.h and the command line give instances
   uint32_t isisInstance = 0;
   std::string interface;                          // the first of several; empty for none
   std::string asPath;                             // "64500 64501 {64502,64503}"; empty for none
   std::vector<uint32_t> communities;              // ascending, each once; the AS in the upper half
   std::vector<LargeCommunity> largeCommunities;   // ascending, each once
   std::vector<uint64_t> extCommunities;           // the octets of each, in the order of the route
   std::optional<Origin> origin;
   Ferule::IpGenAddr peer;   // the neighbor that announced the route; without a family: the table does not tell it
   friend bool operator==( const TableRoute &, const TableRoute & ) = default;
   void clear() {
      const TableRoute fresh;
      prefix = fresh.prefix;
      nextHop = fresh.nextHop;
      metric = fresh.metric;
      tag = 0;
      localPreference.reset();
      protocol = SourceProtocol::none;
      ospfInstance = 0;
      isisInstance = 0;
      interface.clear();
      asPath.clear();
      communities.clear();
      largeCommunities.clear();
      extCommunities.clear();
      origin.reset();
      peer = fresh.peer;
   }
};

}   // namespace Agent
