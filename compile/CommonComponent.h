/// @file compile/CommonComponent.h
/// What the machines of the common match options share. Threading: the activity thread.
#pragma once

#include "compile/PolicyRoot.h"
#include "compile/RouteMapSeqConfigSmBase.h"

namespace Routing::Policy {

// The one symbol of that name in a table.
ROUTEPOLICY_API Quoin::Ptr<Routing::RouteMap::PrefixListSymbol>
getPrefixListSymbol( Quoin::String name, const Quoin::Ptr<const Routing::RouteMap::PrefixListSymbolDedupTable> & table );
ROUTEPOLICY_API Quoin::Ptr<Routing::RouteMap::IpAccessListSymbol>
getIpAccessListSymbol( Quoin::String name, const Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> & table );
ROUTEPOLICY_API Quoin::Ptr<Routing::RouteMap::TagSetSymbol>
getTagSetSymbol( Quoin::String name, const Quoin::Ptr<const Routing::RouteMap::TagSetSymbolDedupTable> & table );

/// The protocol of a route that a clause means. Errors: a number outside of 1 to 9 ends the process.
ROUTEPOLICY_API RouteProto routeMapProtocolToRouteProto( Routing::RouteMap::Protocol protocol );

/// Makes the matcher of a clause that refers to a list, by what the list's symbol has now.
/// Errors: an option that refers to no list of the common ones ends the process.
ROUTEPOLICY_API void listMatcherIs( MatcherChange & change, const Routing::RouteMap::MatchRule & rule,
                                    const Routing::RouteMap::PolicySymbol & symbol );
/// Whether a matcher was made of the very list that the symbol has now. Errors: as above.
ROUTEPOLICY_API bool isOfPresentList( const Matcher & matcher, MatchOption option, const Routing::RouteMap::PolicySymbol & symbol );

/// Makes a clause's matcher, and records the symbol that it stands on. Errors: an option that the switch misses ends the process.
ROUTEPOLICY_API void matchRuleIs( MatcherChange & change, MatcherChangeSymbol & symbols, const Routing::RouteMap::MatchRule & rule,
                                  const PolicyRoot & policyRoot );

/// The base of those machines. The options are IP access list, IPv4 and IPv6 prefix list, tag set, tag, source protocol, and the
/// instances of IS-IS and OSPF.
class ROUTEPOLICY_API CommonComponentRmSeqConfigSmInterface : public RmSeqConfigSmInterface {
 public:
   ~CommonComponentRmSeqConfigSmInterface() override;
   /// The common component itself calls this very function: what an agent overrides does not widen it.
   bool matchRuleSupported( MatchOption option ) const override;
};

}   // namespace Routing::Policy
