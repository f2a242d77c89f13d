/// @file agent/text/ThingKind.h
/// The kinds of thing that have names in a policy: lists, tag sets and route maps. One table describes them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "text/PolicyText.h"

namespace Agent {

enum class ThingKind : uint8_t {
   ipv4PrefixList,
   ipv6PrefixList,
   ipv4AccessList,
   ipv6AccessList,
   tagSet,
   communityList,
   largeCommunityList,
   extCommunityList,
   asPathList,
   routeMap
};

/// All kinds, in order.
std::span<const ThingKind> thingKinds() noexcept;
/// The first words of its lines: "ip prefix-list".
std::string_view nameOf( ThingKind kind ) noexcept;
/// Empty for a kind that has no family.
std::optional<AddressFamily> addressFamilyOf( ThingKind kind ) noexcept;
/// "IPv4" or "IPv6"; empty for a kind that has no family.
std::string_view familyOf( ThingKind kind ) noexcept;
/// The same kind of list in the other family; none for a kind that has no family.
std::optional<ThingKind> inOtherFamily( ThingKind kind ) noexcept;

/// Calls `visit( kind, map of names to texts )` for every kind.
template <class Visit>
void forEachKind( const PolicyText & text, Visit && visit ) {
   visit( ThingKind::ipv4PrefixList, text.ipv4PrefixLists );
   visit( ThingKind::ipv6PrefixList, text.ipv6PrefixLists );
   visit( ThingKind::ipv4AccessList, text.ipv4AccessLists );
   visit( ThingKind::ipv6AccessList, text.ipv6AccessLists );
   visit( ThingKind::tagSet, text.tagSets );
   visit( ThingKind::communityList, text.communityLists );
   visit( ThingKind::largeCommunityList, text.largeCommunityLists );
   visit( ThingKind::extCommunityList, text.extCommunityLists );
   visit( ThingKind::asPathList, text.asPathLists );
   visit( ThingKind::routeMap, text.routeMaps );
}

}   // namespace Agent
