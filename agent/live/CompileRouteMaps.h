/// @file agent/live/CompileRouteMaps.h
#pragma once

#include "compile/RouteMapConfigSm.h"
#include "compile/SetterTable.h"
#include "live/AgentRoot.h"
#include "text/Dialect.h"

namespace Agent {

/// Compiles route maps with the library's common options and all of the agent's own.
/// Ownership: policy follows the configuration while the caller keeps the machine. Threading: the activity thread.
Quoin::Ptr<Routing::Policy::RouteMapConfigSm> compileRouteMaps( const Quoin::Ptr<const Routing::RouteMap::Config> & config,
                                                                const Quoin::Ptr<Routing::Policy::SetterTable> & setters,
                                                                const Quoin::Ptr<AgentRoot> & root,
                                                                const Quoin::Ptr<Zeugma::TaskScheduler> & scheduler, Dialect dialect );

}   // namespace Agent
