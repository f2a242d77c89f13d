/// @file agent/live/CompileRouteMaps.h
#pragma once

#include "compile/RouteMapConfigSm.h"
#include "live/ClauseKind.h"
#include "live/SetClausesSm.h"

namespace Agent {

/// Compiles route maps with the library's common options and all of the agent's own.
/// Ownership: who keeps the machine keeps policy following the configuration. Threading: the activity thread.
Quoin::Ptr<Routing::Policy::RouteMapConfigSm> compileRouteMaps( const Quoin::Ptr<const Routing::RouteMap::Config> & config,
                                                                const Quoin::Ptr<SetClauseTable> & setClauses, const ListTables & tables,
                                                                const Quoin::Ptr<Zeugma::TaskScheduler> & scheduler );

}   // namespace Agent
