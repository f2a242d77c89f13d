/// @file substrate/routemap/Options.h
/// The options of match and set clauses. An option is the key of a clause in a sequence; clauses are evaluated in ascending order of
/// option. Options can have a number without a name here. The names are stable texts.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "routepolicy_export.h"

// The name and the number of every option that has a name.
#define ROUTEMAP_MATCH_OPTIONS( X )             \
   X( none, 0 )                                 \
   X( matchIpAccessList, 1 )                    \
   X( matchIpPrefixList, 2 )                    \
   X( matchInterface, 3 )                       \
   X( matchMetric, 4 )                          \
   X( matchIpNexthop, 5 )                       \
   X( matchIpv6Nexthop, 6 )                     \
   X( matchIpNexthopPrefixList, 14 )            \
   X( matchIpResolvedNexthopPrefixList, 15 )    \
   X( matchCommunity, 103 )                     \
   X( matchExtCommunity, 104 )                  \
   X( matchAsPath, 105 )                        \
   X( matchIsisInstance, 106 )                  \
   X( matchSourceProtocol, 113 )                \
   X( matchTag, 115 )                           \
   X( matchIpv6PrefixList, 116 )                \
   X( matchIpv6NexthopPrefixList, 118 )         \
   X( matchIpv6ResolvedNexthopPrefixList, 119 ) \
   X( matchRouterIdPrefixList, 120 )            \
   X( matchIpAggregatePrefixList, 123 )         \
   X( matchIpv6AggregatePrefixList, 124 )       \
   X( matchLargeCommunity, 127 )                \
   X( matchOspfInstance, 131 )                  \
   X( matchTagSet, 132 )

#define ROUTEMAP_SET_OPTIONS( X )         \
   X( none, 0 )                           \
   X( setMetric, 1 )                      \
   X( setTag, 2 )                         \
   X( setLocalPreference, 3 )             \
   X( setDistance, 9 )                    \
   X( setCommunityList, 11 )              \
   X( setCommunityListAdditive, 12 )      \
   X( setCommunityListDelete, 13 )        \
   X( setCommunity, 14 )                  \
   X( setExtCommunityList, 22 )           \
   X( setLargeCommunityList, 35 )         \
   X( setLargeCommunityListAdditive, 36 ) \
   X( setLargeCommunityListDelete, 37 )

#define ROUTEMAP_ENUMERATOR( name, number ) name = number,

namespace Routing::RouteMap {

/// The kind of a match clause.
enum class MatchOption : uint8_t { ROUTEMAP_MATCH_OPTIONS( ROUTEMAP_ENUMERATOR ) };
/// The greatest number of a match option.
constexpr unsigned kMatchOptionMax = 132;
/// Whether a number is a match option, with or without a name: 1 to 16, and 100 to kMatchOptionMax.
constexpr bool isMatchOption( MatchOption option ) noexcept {
   const unsigned number = unsigned( option );
   return ( number >= 1 && number <= 16 ) || ( number >= 100 && number <= kMatchOptionMax );
}

/// The kind of a set clause.
enum class SetOption : uint8_t { ROUTEMAP_SET_OPTIONS( ROUTEMAP_ENUMERATOR ) };

#undef ROUTEMAP_ENUMERATOR

/// The name of the enumerator; for an option without a name, "matchOption" or "setOption" and the number. The text is never deleted.
ROUTEPOLICY_API const char * stringValue( MatchOption option );
ROUTEPOLICY_API const char * stringValue( SetOption option );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, MatchOption option );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, SetOption option );

/// The protocols that a clause can name. Agents define the meaning of the numbers.
enum class Protocol : uint8_t { protocol1 = 1, protocol2, protocol3, protocol4, protocol5, protocol6, protocol7, protocol8, protocol9 };
/// Whether a number is a Protocol: 1 to 9. An agent asks before it writes a number of its user into a MatchRule.
constexpr bool isProtocol( uint64_t number ) noexcept {
   return number >= uint64_t( Protocol::protocol1 ) && number <= uint64_t( Protocol::protocol9 );
}

/// The mode of the route map feature. This library stores it and does not use it.
enum class RouteMapOpModeType : uint8_t {};
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, RouteMapOpModeType mode );

}   // namespace Routing::RouteMap
