/// @file agent/live/AccessList.h
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <vector>

#include "substrate/lists/IpAccessListStatus.h"
#include "text/PolicyText.h"

namespace Agent {

/// A compiled access list of FRR: the lowest line that matches the prefix of a route decides; if none matches, the list denies. Lines with
/// the same mask and the same lengths make a group, which is looked up at once: a list of many prefixes has few groups.
/// Threading: read-only.
class AccessList final : public Routing::RouteMap::IpAccessListStatus {
 public:
   AccessList( const Quoin::String & name, const AccessListText & text );
   bool permits( const Ferule::IpGenPrefix & prefix ) const;

 private:
   using Lengths = std::array<uint64_t, 3>;   // a bit for each length of a prefix
   struct Line {
      uint32_t number;
      bool permits;
   };
   struct Group {
      Ferule::Bits128 mask;
      Lengths lengths;
      uint32_t lowest;                         // of the numbers
      std::map<Ferule::Bits128, Line> lines;   // by address under the mask; of equal lines, the lowest
   };
   static Lengths lengthsOf( const AccessListLine & line );

   Ferule::AddressFamily af_ = Ferule::AddressFamily::unset;
   std::vector<Group> groups_;   // ascending by their lowest numbers
};

}   // namespace Agent
