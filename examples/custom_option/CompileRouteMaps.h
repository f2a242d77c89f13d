/// @file examples/custom_option/CompileRouteMaps.h
#pragma once

#include "SetClauses.h"
#include "compile/RouteMapConfigSm.h"

namespace BgpAgent {

/// Compiles route maps with the library's common options and the agent's own: "match community" and "set local-preference".
/// Ownership: the agent keeps the machine for as long as policy is to follow the configuration. Threading: the activity thread.
Quoin::Ptr<Routing::Policy::RouteMapConfigSm> compileRouteMaps( const Quoin::Ptr<const Routing::RouteMap::Config> & config,
                                                                const Quoin::Ptr<SetClauses> & setClauses,
                                                                const Quoin::Ptr<Routing::Policy::PolicyRoot> & root,
                                                                const Quoin::Ptr<Zeugma::TaskScheduler> & scheduler );

}   // namespace BgpAgent
