#include "CompileRouteMaps.h"

#include "CommunityMatcher.h"
#include "compile/CommonHelpers.h"
#include "policy/RouteMetricMatcher.h"

namespace BgpAgent {

using Quoin::makeNode;
using Quoin::Ptr;

namespace {

// One row for each match option of this agent. The library watches the list that a clause names: no code is needed here.
constexpr MatchOptionRow kMatchOptions[] = {
   listOption<CommunityMatcher>( MatchOption::matchCommunity, kCommunityLists ),
   valueOption( MatchOption::matchMetric,
                []( const MatchRule & rule ) { return makeNode<RouteMetricMatcher>( Zeugma::MaybeU63( rule.numericValue ) ); } ),
};

}   // namespace

Ptr<RouteMapConfigSm> compileRouteMaps( const Ptr<const Config> & config, const Ptr<SetterTable> & setters, const Ptr<PolicyRoot> & root,
                                        const Ptr<Zeugma::TaskScheduler> & scheduler ) {
   const AgentOptions options{ kMatchOptions, setters };
   return routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<CommonRmConfigFilterSmHelper>( options.match ),
                                   makeNode<CommonRmConfigSymbolSmHelper>( root, options ), scheduler, nullptr );
}

}   // namespace BgpAgent
