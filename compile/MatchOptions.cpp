#include "compile/MatchOptions.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "compile/CommonComponent.h"
#include "policy/IsisInstanceMatcher.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/SourceProtoMatcher.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"

namespace Routing::Policy {

using Quoin::makeNode;
using Routing::RouteMap::MatchRule;

namespace {

/// An option whose matcher compares the low 32 bits of the value of the rule.
template <class M>
constexpr MatchOptionRow numberOption( MatchOption option ) noexcept {
   return valueOption( option, []( const MatchRule & rule ) { return makeNode<M>( static_cast<uint32_t>( rule.numericValue ) ); } );
}

/// An option whose clause names a list, and whose matcher the agent supplies.
constexpr MatchOptionRow agentOption( MatchOption option, const ListKind & list ) noexcept {
   return { .option = option, .list = &list };
}

constexpr MatchOptionRow kMatchOptions[] = {
   listOption<IpAccessListMatcher>( MatchOption::matchIpAccessList, kIpv4AccessLists ),
   listOption<PrefixListMatcher>( MatchOption::matchIpPrefixList, kIpv4PrefixLists ),
   { .option = MatchOption{ 7 }, .isRecorded = false },
   { .option = MatchOption{ 10 }, .isRecorded = false },
   agentOption( MatchOption::matchIpNexthopPrefixList, kIpv4PrefixLists ),
   agentOption( MatchOption::matchIpResolvedNexthopPrefixList, kIpv4PrefixLists ),
   agentOption( MatchOption::matchCommunity, kCommunityLists ),
   agentOption( MatchOption::matchExtCommunity, kExtCommunityLists ),
   numberOption<IsisInstanceMatcher>( MatchOption::matchIsisInstance ),
   valueOption( MatchOption::matchSourceProtocol,
                []( const MatchRule & rule ) {
                   const auto protocol = Routing::RouteMap::Protocol( static_cast<uint8_t>( rule.numericValue ) );
                   return makeNode<SourceProtoMatcher>( routeMapProtocolToRouteProto( protocol ) );
                } ),
   numberOption<TagMatcher>( MatchOption::matchTag ),
   listOption<PrefixListMatcher>( MatchOption::matchIpv6PrefixList, kIpv6PrefixLists ),
   agentOption( MatchOption::matchIpv6NexthopPrefixList, kIpv6PrefixLists ),
   agentOption( MatchOption::matchIpv6ResolvedNexthopPrefixList, kIpv6PrefixLists ),
   agentOption( MatchOption::matchRouterIdPrefixList, kIpv4PrefixLists ),
   agentOption( MatchOption::matchIpAggregatePrefixList, kIpv4PrefixLists ),
   agentOption( MatchOption::matchIpv6AggregatePrefixList, kIpv6PrefixLists ),
   agentOption( MatchOption::matchLargeCommunity, kLargeCommunityLists ),
   numberOption<OspfInstanceMatcher>( MatchOption::matchOspfInstance ),
   listOption<TagSetMatcher>( MatchOption::matchTagSet, kTagSets ),
};

static_assert( std::ranges::is_sorted( kMatchOptions, {}, &MatchOptionRow::option ) );

// The place of each option's row plus one; 0 for an option without a row.
constexpr auto kMatchOptionAt = [] {
   std::array<uint8_t, 256> at{};
   for( uint8_t i = 0; const auto & row : kMatchOptions ) at[ size_t( row.option ) ] = ++i;
   return at;
}();

struct SetOptionRow {
   SetOption option;
   const ListKind * list;
};
constexpr SetOptionRow kSetOptions[] = {
   { SetOption::setCommunityList, &kCommunityLists },
   { SetOption::setCommunityListAdditive, &kCommunityLists },
   { SetOption::setCommunityListDelete, &kCommunityLists },
   { SetOption::setExtCommunityList, &kExtCommunityLists },
   { SetOption::setLargeCommunityList, &kLargeCommunityLists },
   { SetOption::setLargeCommunityListAdditive, &kLargeCommunityLists },
   { SetOption::setLargeCommunityListDelete, &kLargeCommunityLists },
};

}   // namespace

std::span<const MatchOptionRow> commonMatchOptions() noexcept {
   return kMatchOptions;
}

const MatchOptionRow * findMatchOption( MatchOption option, std::span<const MatchOptionRow> own ) noexcept {
   for( const auto & row : own )
      if( row.option == option ) return &row;
   const size_t at = kMatchOptionAt[ size_t( option ) ];
   return at != 0 ? &kMatchOptions[ at - 1 ] : nullptr;
}

const ListKind * listOfSetOption( SetOption option ) noexcept {
   const auto * row = std::ranges::find( kSetOptions, option, &SetOptionRow::option );
   return row != std::end( kSetOptions ) ? row->list : nullptr;
}

}   // namespace Routing::Policy
