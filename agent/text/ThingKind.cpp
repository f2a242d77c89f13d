#include "text/ThingKind.h"

#include <array>
#include <cstddef>
#include <iterator>

namespace Agent {

namespace {

struct Row {
   ThingKind kind;
   std::string_view name;
   std::optional<AddressFamily> family{};
   std::optional<ThingKind> inOtherFamily{};
};
constexpr Row kRows[] = {
   { ThingKind::ipv4PrefixList, "ip prefix-list", AddressFamily::ipv4, ThingKind::ipv6PrefixList },
   { ThingKind::ipv6PrefixList, "ipv6 prefix-list", AddressFamily::ipv6, ThingKind::ipv4PrefixList },
   { ThingKind::ipv4AccessList, "access-list", AddressFamily::ipv4, ThingKind::ipv6AccessList },
   { ThingKind::ipv6AccessList, "ipv6 access-list", AddressFamily::ipv6, ThingKind::ipv4AccessList },
   { ThingKind::tagSet, "tag-set" },
   { ThingKind::communityList, "bgp community-list" },
   { ThingKind::largeCommunityList, "bgp large-community-list" },
   { ThingKind::extCommunityList, "bgp extcommunity-list" },
   { ThingKind::asPathList, "bgp as-path access-list" },
   { ThingKind::routeMap, "route-map" },
};

// Rows stand in the order of the kinds.
constexpr bool isInOrder() {
   for( size_t i = 0; i < std::size( kRows ); ++i )
      if( size_t( kRows[ i ].kind ) != i ) return false;
   return true;
}
static_assert( isInOrder() );

constexpr auto kKinds = [] {
   std::array<ThingKind, std::size( kRows )> kinds{};
   for( size_t i = 0; i < kinds.size(); ++i ) kinds[ i ] = kRows[ i ].kind;
   return kinds;
}();

const Row & rowOf( ThingKind kind ) noexcept {
   return kRows[ size_t( kind ) ];
}

}   // namespace

std::span<const ThingKind> thingKinds() noexcept {
   return kKinds;
}

std::string_view nameOf( ThingKind kind ) noexcept {
   return rowOf( kind ).name;
}

std::optional<AddressFamily> addressFamilyOf( ThingKind kind ) noexcept {
   return rowOf( kind ).family;
}

std::string_view familyOf( ThingKind kind ) noexcept {
   const auto family = rowOf( kind ).family;
   if( !family ) return {};
   return *family == AddressFamily::ipv4 ? "IPv4" : "IPv6";
}

std::optional<ThingKind> inOtherFamily( ThingKind kind ) noexcept {
   return rowOf( kind ).inOtherFamily;
}

}   // namespace Agent
