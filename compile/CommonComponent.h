/// @file compile/CommonComponent.h
/// Functions and a base class that the machines of the common match options share. The machines look up symbols, and record matchers for
/// the next compilation.
/// Threading: the activity thread.
#pragma once

#include <algorithm>

#include "compile/MatchOptions.h"
#include "compile/RouteMapSeqConfigSmBase.h"

namespace Routing::Policy {

// The symbol of a name in a table. Each name has one symbol.
ROUTEPOLICY_API Quoin::Ptr<Routing::RouteMap::PrefixListSymbol>
getPrefixListSymbol( Quoin::String name, const Quoin::Ptr<const Routing::RouteMap::PrefixListSymbolDedupTable> & table );
ROUTEPOLICY_API Quoin::Ptr<Routing::RouteMap::IpAccessListSymbol>
getIpAccessListSymbol( Quoin::String name, const Quoin::Ptr<const Routing::RouteMap::IpAccessListSymbolDedupTable> & table );
ROUTEPOLICY_API Quoin::Ptr<Routing::RouteMap::TagSetSymbol>
getTagSetSymbol( Quoin::String name, const Quoin::Ptr<const Routing::RouteMap::TagSetSymbolDedupTable> & table );

/// The protocol of routes that a configured protocol means. Errors: a number outside 1 to 9 ends the process; see isProtocol().
ROUTEPOLICY_API RouteProto routeMapProtocolToRouteProto( Routing::RouteMap::Protocol protocol );

/// The row of an option whose clauses name a list. Errors: any other option ends the process.
ROUTEPOLICY_API const MatchOptionRow & listOptionRow( MatchOption option, std::span<const MatchOptionRow> own = {} );

/// Records the matcher of a clause, created from the current status of the list of `symbol`, and whether this list is undefined.
/// `symbol` is null for a clause that names no list. Errors: exceptions of the row are passed on; MutatorArgNullPointerException if the row
/// returns null.
ROUTEPOLICY_API void matcherIs( MatcherChange & change, const MatchOptionRow & row, const Routing::RouteMap::MatchRule & rule,
                                const Routing::RouteMap::PolicySymbol * symbol );

/// Records the matcher of a clause, and the symbol of the list that the clause names. `own`: the rows of the agent. Errors: an option
/// without a row that compiles it ends the process. A number that is not an option leaves a null matcher.
ROUTEPOLICY_API void matchRuleIs( MatcherChange & change, MatcherChangeSymbol & symbols, const Routing::RouteMap::MatchRule & rule,
                                  const PolicyRoot & policyRoot, std::span<const MatchOptionRow> own = {} );

/// The base of the machines of the common component. They support each option that a row of MatchOptions.h compiles (IP access list, IPv4
/// and IPv6 prefix list, tag set, tag, source protocol, IS-IS and OSPF instance) and the options of the agent.
class ROUTEPOLICY_API CommonComponentRmSeqConfigSmInterface : public RmSeqConfigSmInterface {
 public:
   /// `own`: the rows of the agent. They outlive the machine.
   explicit CommonComponentRmSeqConfigSmInterface( std::span<const MatchOptionRow> own = {} ) noexcept : ownOptions_( own ) {}
   ~CommonComponentRmSeqConfigSmInterface() override;
   /// Whether a row compiles the option. The common component calls this function without virtual dispatch: only rows add options.
   bool matchRuleSupported( MatchOption option ) const override;
   /// The rows of the agent.
   std::span<const MatchOptionRow> ownOptions() const noexcept { return ownOptions_; }

 protected:
   /// The row of a supported option.
   const MatchOptionRow & matchOption( MatchOption option ) const;
   /// Whether the agent has a row for the option.
   bool isOwn( MatchOption option ) const noexcept {
      return std::ranges::find( ownOptions_, option, &MatchOptionRow::option ) != ownOptions_.end();
   }
   /// Calls `visit( option )` for every supported option.
   template <class Visit>
   void forEachSupported( Visit && visit ) const {
      for( const auto rows : { commonMatchOptions(), ownOptions_ } )
         for( const auto & row : rows )
            if( row.makeMatcher ) visit( row.option );
   }

 private:
   std::span<const MatchOptionRow> ownOptions_;
};

}   // namespace Routing::Policy
