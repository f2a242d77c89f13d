/// @file agent/table/TableRoute.h
/// One route of a table, independent of the form of the table.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "substrate/ferule/IpPrefix.h"
#include "substrate/zeugma/MaybeU63.h"
#include "text/ExtCommunity.h"
#include "text/LargeCommunity.h"
#include "text/Origin.h"
#include "text/RpkiState.h"
#include "text/SourceProtocol.h"

namespace Agent {

/// An attribute that no match clause reads. Its name is the words of the set clause that changes it, such as "originator-id", and its value
/// the operand. "metric", "next-hop" and "as-path" are here too while they have a value that only a daemon knows, such as "rtt".
struct OtherAttribute {
   std::string_view name;   // lives as long as the program
   std::string value;
   friend bool operator==( const OtherAttribute &, const OtherAttribute & ) = default;
};

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
   std::vector<ExtCommunity> extCommunities;       // in the order of the route
   std::optional<Origin> origin;
   Ferule::IpGenAddr otherNextHop;       // in the other family than `nextHop`: FRR gives each route one of each; without a family: none
   std::vector<OtherAttribute> others;   // ascending by name
   Ferule::IpGenAddr peer;   // the neighbor that announced the route, zero for this router; without a family: the table does not tell it
   std::optional<RpkiState> rpki;   // only PrefixLine.h and the command line give it
   friend bool operator==( const TableRoute &, const TableRoute & ) = default;
   /// The value of another attribute; null if it is absent.
   const std::string * other( std::string_view name ) const noexcept {
      const auto at = std::ranges::find( others, name, &OtherAttribute::name );
      return at == others.end() ? nullptr : &at->value;
   }
   void otherIs( std::string_view name, std::string_view value ) {
      const auto at = std::ranges::lower_bound( others, name, {}, &OtherAttribute::name );
      if( at != others.end() && at->name == name )
         at->value = value;
      else
         others.insert( at, { name, std::string( value ) } );
   }
   void otherDel( std::string_view name ) {
      std::erase_if( others, [ = ]( const OtherAttribute & other ) { return other.name == name; } );
   }
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
      otherNextHop = fresh.otherNextHop;
      others.clear();
      peer = fresh.peer;
      rpki.reset();
   }
};

}   // namespace Agent
