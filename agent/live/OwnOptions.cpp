#include "live/OwnOptions.h"

#include "live/AgentMatchers.h"
#include "live/AgentRoot.h"
#include "live/FrrMatchers.h"
#include "policy/NexthopMatcher.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RouteMetricMatcher.h"
#include "text/ValueOptions.h"

namespace Agent {

using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::MatchRule;

namespace {

// numericValue of a rule for a next hop whose name is an address. The name alone does not show this: a list may have such a name, too.
constexpr uint64_t kNameIsAddress = 1;

constexpr auto kIpv6AccessLists = listsIn<&AgentRoot::ipv6AclListTable>();
constexpr auto kSteps = listsIn<&AgentRoot::stepTable>();

// The matchers of the clauses that the dialects do not share.
struct NativeMatchers {
   using Metric = RouteMetricMatcher;
   using NextHop = NexthopMatcher;
   using AccessList = IpAccessListMatcher;
   using NextHopAccessList = NexthopAccessListMatcher;
   using NextHopPrefixList = NexthopPrefixListMatcher;
};
struct FrrMatchers {
   using Metric = FrrMetricMatcher;
   using NextHop = FrrNextHopMatcher;
   using AccessList = FrrAccessListMatcher;
   using NextHopAccessList = FrrNextHopListMatcher<FrrAccessListMatcher, Routing::RouteMap::IpAccessListStatus>;
   using NextHopPrefixList = FrrNextHopListMatcher<PrefixListMatcher, Routing::RouteMap::PrefixListStatus>;
};

// The row of "match ip next-hop" and of its IPv6 form, which name an address or an access list.
template <class Matchers, class S>
constexpr MatchOptionRow nexthopOption( MatchOption option, const ListKindOf<S> & list ) noexcept {
   auto row = listOption<typename Matchers::NextHopAccessList>( option, list );
   row.namesList = []( const MatchRule & rule ) { return rule.numericValue != kNameIsAddress; };
   row.makeMatcher = []( const MatchRule & rule, const ListKind::Symbol * symbol ) -> Ptr<const Matcher> {
      if( !symbol ) return makeNode<typename Matchers::NextHop>( Ferule::IpGenAddr( rule.listName.view() ) );
      const auto & named = static_cast<const S &>( *symbol );
      return makeNode<typename Matchers::NextHopAccessList>( named.name(), named.status() );
   };
   return row;
}

// The row of a list of communities, whose clause tells how it compares.
template <class M, class S>
constexpr MatchOptionRow comparedOption( MatchOption option, const ListKindOf<S> & list ) noexcept {
   auto row = listOption<M>( option, list );
   row.makeMatcher = []( const MatchRule & rule, const ListKind::Symbol * symbol ) -> Ptr<const Matcher> {
      const auto & named = static_cast<const S &>( *symbol );
      return makeNode<M>( named.name(), named.status(), ListComparison( rule.numericValue ) );
   };
   return row;
}

template <class Matchers>
constexpr MatchOptionRow kOptions[] = {
   valueOption( MatchOption::matchInterface, []( const MatchRule & rule ) { return makeNode<InterfaceNameMatcher>( rule.listName ); } ),
   valueOption( MatchOption::matchMetric,
                []( const MatchRule & rule ) { return makeNode<typename Matchers::Metric>( Zeugma::MaybeU63( rule.numericValue ) ); } ),
   nexthopOption<Matchers>( MatchOption::matchIpNexthop, kIpv4AccessLists ),
   nexthopOption<Matchers>( MatchOption::matchIpv6Nexthop, kIpv6AccessLists ),
   listOption<typename Matchers::NextHopPrefixList>( MatchOption::matchIpNexthopPrefixList, kIpv4PrefixLists ),
   listOption<typename Matchers::NextHopPrefixList>( MatchOption::matchIpv6NexthopPrefixList, kIpv6PrefixLists ),
   listOption<typename Matchers::AccessList>( MatchOption::matchIpAccessList, kIpv4AccessLists ),
   listOption<typename Matchers::AccessList>( kMatchIpv6AccessList, kIpv6AccessLists ),
   comparedOption<CommunityMatcherOf<Community>>( MatchOption::matchCommunity, kCommunityLists ),
   comparedOption<CommunityMatcherOf<LargeCommunity>>( MatchOption::matchLargeCommunity, kLargeCommunityLists ),
   comparedOption<CommunityMatcherOf<ExtCommunity>>( MatchOption::matchExtCommunity, kExtCommunityLists ),
   listOption<AsPathMatcher>( MatchOption::matchAsPath, kAsPathLists ),
   listOption<FrrRouteSourceMatcher<typename Matchers::AccessList, Routing::RouteMap::IpAccessListStatus>>( kMatchRouteSource,
                                                                                                            kIpv4AccessLists ),
   listOption<FrrRouteSourceMatcher<PrefixListMatcher, Routing::RouteMap::PrefixListStatus>>( kMatchRouteSourcePrefixList,
                                                                                              kIpv4PrefixLists ),
   listOption<StepMatcher>( kMatchStep, kSteps ),
};

}   // namespace

std::span<const MatchOptionRow> ownMatchOptions( Dialect dialect ) noexcept {
   if( dialect == Dialect::frr ) return kOptions<FrrMatchers>;
   return kOptions<NativeMatchers>;
}

MatchRule matchRuleOf( MatchOption option, const MatchClause & clause ) {
   if( clause.address ) return { .listName = clause.address->toStrep(), .numericValue = kNameIsAddress, .option = option };
   return { .listName = clause.name, .numericValue = clause.number, .option = option, .invertResult = clause.invert };
}

}   // namespace Agent
