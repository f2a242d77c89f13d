#include "live/CompileRouteMaps.h"

#include "compile/CommonHelpers.h"
#include "live/OwnOptions.h"

namespace Agent {

using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::Config;

Ptr<RouteMapConfigSm> compileRouteMaps( const Ptr<const Config> & config, const Ptr<SetterTable> & setters, const Ptr<AgentRoot> & root,
                                        const Ptr<Zeugma::TaskScheduler> & scheduler, Dialect dialect ) {
   const AgentOptions options{ ownMatchOptions( dialect ), setters };
   return routeMapConfigSmFactory( config, makeNode<Config>(), root, makeNode<CommonRmConfigFilterSmHelper>( options.match ),
                                   makeNode<CommonRmConfigSymbolSmHelper>( root, options ), scheduler, nullptr );
}

}   // namespace Agent
