#include "live/ClauseKind.h"

#include <algorithm>

#include "live/AgentMatchers.h"
#include "policy/NexthopMatcher.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RouteMetricMatcher.h"

namespace Agent {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;

namespace {

// In numericValue of a next hop's rule: the name is an address. A list may be called like one.
constexpr uint64_t kNameIsAddress = 1;

// ---- clauses with a value

Ptr<const PolicySymbol> noList( const MatchRule &, const ListTables & ) {
   return nullptr;
}

void interfaceMatcherIs( MatcherChange & change, const MatchRule & rule, const PolicySymbol * ) {
   change.matcherIs( makeNode<InterfaceNameMatcher>( rule.listName ) );
}

void metricMatcherIs( MatcherChange & change, const MatchRule & rule, const PolicySymbol * ) {
   change.matcherIs( makeNode<RouteMetricMatcher>( Zeugma::MaybeU63( rule.numericValue ) ) );
}

// ---- clauses with a list

template <auto Table>   // of the root
Ptr<const PolicySymbol> symbolIn( const MatchRule & rule, const ListTables & tables ) {
   return ( *tables.root.*Table )()->symbol( rule.listName );
}

Ptr<const PolicySymbol> ipv6AccessList( const MatchRule & rule, const ListTables & tables ) {
   return tables.ipv6AccessLists->symbol( rule.listName );
}

template <class M, class Symbol>
void listMatcherIs( MatcherChange & change, const MatchRule &, const PolicySymbol * symbol ) {
   const auto & list = static_cast<const Symbol &>( *symbol );
   const bool undefined = !list.status();
   change.matcherIs( makeNode<M>( list.name(), list.status() ) );
   change.prefixListUndefinedIs( undefined && std::is_same_v<Symbol, PrefixListSymbol> );
   change.commListUndefinedIs( undefined && std::is_same_v<Symbol, CommListSymbol> );   // for AS path and access lists there is no bit
}

// ---- next hops: either

template <Ptr<const PolicySymbol> ( *SymbolOf )( const MatchRule &, const ListTables & )>
Ptr<const PolicySymbol> nexthopList( const MatchRule & rule, const ListTables & tables ) {
   return rule.numericValue == kNameIsAddress ? nullptr : SymbolOf( rule, tables );
}

void nexthopMatcherIs( MatcherChange & change, const MatchRule & rule, const PolicySymbol * symbol ) {
   if( symbol ) return listMatcherIs<NexthopAccessListMatcher, IpAccessListSymbol>( change, rule, symbol );
   change.matcherIs( makeNode<NexthopMatcher>( Ferule::IpGenAddr( rule.listName.view() ) ) );
}

constexpr ClauseKind kKinds[] = {
   { MatchOption::matchInterface, noList, interfaceMatcherIs },
   { MatchOption::matchMetric, noList, metricMatcherIs },
   { MatchOption::matchIpNexthop, nexthopList<symbolIn<&PolicyRoot::ipv4AclListTable>>, nexthopMatcherIs },
   { MatchOption::matchIpv6Nexthop, nexthopList<ipv6AccessList>, nexthopMatcherIs },
   { MatchOption::matchIpNexthopPrefixList, symbolIn<&PolicyRoot::ipv4PrefixListTable>,
     listMatcherIs<NexthopPrefixListMatcher, PrefixListSymbol> },
   { MatchOption::matchIpv6NexthopPrefixList, symbolIn<&PolicyRoot::ipv6PrefixListTable>,
     listMatcherIs<NexthopPrefixListMatcher, PrefixListSymbol> },
   { kMatchIpv6AccessList, ipv6AccessList, listMatcherIs<IpAccessListMatcher, IpAccessListSymbol> },
   { MatchOption::matchCommunity, symbolIn<&PolicyRoot::commListTable>, listMatcherIs<CommunityMatcher, CommListSymbol> },
   { MatchOption::matchAsPath, symbolIn<&PolicyRoot::asPathListTable>, listMatcherIs<AsPathMatcher, AsPathListSymbol> },
};

}   // namespace

std::span<const ClauseKind> ownClauseKinds() noexcept {
   return kKinds;
}

const ClauseKind * ownClauseKind( MatchOption option ) noexcept {
   const auto * kind = std::ranges::find( kKinds, option, &ClauseKind::option );
   return kind == std::end( kKinds ) ? nullptr : kind;
}

MatchRule matchRuleOf( MatchOption option, const MatchClause & clause ) {
   if( clause.address ) return { .listName = clause.address->toStrep(), .numericValue = kNameIsAddress, .option = option };
   return { .listName = clause.name, .numericValue = clause.number, .option = option, .invertResult = clause.invert };
}

}   // namespace Agent
