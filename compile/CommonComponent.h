/// @file compile/CommonComponent.h
/// What the machines of the common match options share. Threading: the activity thread.
#pragma once

#include <algorithm>

#include "compile/MatchOptions.h"
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

/// The row of an option whose clauses name a list. Errors: any other option ends the process.
ROUTEPOLICY_API const MatchOptionRow & listOptionRow( MatchOption option, std::span<const MatchOptionRow> own = {} );

/// Records the matcher of a clause, made of the list behind `symbol` as it is now, and whether that list is undefined. `symbol` is null
/// for a clause that names no list.
ROUTEPOLICY_API void matcherIs( MatcherChange & change, const MatchOptionRow & row, const Routing::RouteMap::MatchRule & rule,
                                const Routing::RouteMap::PolicySymbol * symbol );

/// Records the matcher of a clause, and the symbol of the list that the clause names. `own` are the agent's rows.
/// Errors: an option that no row compiles ends the process; a number that is no option leaves a null matcher.
ROUTEPOLICY_API void matchRuleIs( MatcherChange & change, MatcherChangeSymbol & symbols, const Routing::RouteMap::MatchRule & rule,
                                  const PolicyRoot & policyRoot, std::span<const MatchOptionRow> own = {} );

/// The base of the machines of the common component. They support the options that a row of MatchOptions.h compiles: IP access list, IPv4
/// and IPv6 prefix list, tag set, tag, source protocol, the instances of IS-IS and OSPF, and an agent's own.
class ROUTEPOLICY_API CommonComponentRmSeqConfigSmInterface : public RmSeqConfigSmInterface {
 public:
   /// `own` are the agent's rows; they outlive the machine.
   explicit CommonComponentRmSeqConfigSmInterface( std::span<const MatchOptionRow> own = {} ) noexcept : ownOptions_( own ) {}
   ~CommonComponentRmSeqConfigSmInterface() override;
   /// The common component calls this very function, not an agent's override: only rows widen what it supports.
   bool matchRuleSupported( MatchOption option ) const override;
   std::span<const MatchOptionRow> ownOptions() const noexcept { return ownOptions_; }

 protected:
   /// The row of a supported option.
   const MatchOptionRow & matchOption( MatchOption option ) const;
   /// Whether the option is one of the agent's rows.
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
