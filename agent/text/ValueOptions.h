/// @file agent/text/ValueOptions.h
/// The options of match clauses for which the library has none. Steps test these clauses (dialect/CompiledRules.h).
#pragma once

#include <cstdint>

#include "text/PolicyText.h"

namespace Agent {

/// Above all options of the library, which never gets one of these.
enum class ValueOption : uint8_t {
   localPreference = 200,
   origin,
   probability,
   ipPrefixLength,
   ipv6PrefixLength,
   ipNextHopLength,
   ipNextHopBlackhole,
   ipv6NextHopBlackhole,
   ipNextHopAddress,
   ipv6NextHopAddress,
   sourceProtocol,
   sourceInstance,
   peer,
   rpki,
   rpkiExtCommunity,
   sourcePeer,
   communityLimit,
   extCommunityLimit,
   // Nothing in a route answers these.
   sourceVrf,
   vrlSourceVrf,
   evpnRouteType,
   evpnVni,
   evpnRd,
   evpnDefaultRoute,
   alias,
   macAddress,
   multicastSource,
   multicastGroup,
   multicastInterface,
   multicastIif,
   script
};

constexpr MatchOption optionOf( ValueOption option ) noexcept {
   return MatchOption( uint8_t( option ) );
}
constexpr bool isValueOption( MatchOption option ) noexcept {
   return uint8_t( option ) >= uint8_t( ValueOption::localPreference );
}
static_assert( !Routing::RouteMap::isMatchOption( optionOf( ValueOption::localPreference ) ) );

/// The options of "match ip route-source LIST" and "match ip route-source prefix-list LIST". The library has their numbers, but no names.
constexpr MatchOption kMatchRouteSource{ 8 };
constexpr MatchOption kMatchRouteSourcePrefixList{ 9 };

}   // namespace Agent
