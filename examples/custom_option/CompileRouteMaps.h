/// @file examples/custom_option/CompileRouteMaps.h
#pragma once

#include "BgpRoute.h"
#include "compile/RouteMapConfigSm.h"
#include "compile/SetterTable.h"

namespace BgpAgent {

/// Compiles route maps with the common options of the library and three options of the agent: "match community", "match metric" and "set
/// local-preference". `setters` holds the last one, as a LocalPreferenceSetter.
/// Ownership: policy follows the configuration while the agent keeps the machine. Threading: the activity thread.
Quoin::Ptr<RouteMapConfigSm> compileRouteMaps( const Quoin::Ptr<const Config> & config, const Quoin::Ptr<SetterTable> & setters,
                                               const Quoin::Ptr<PolicyRoot> & root, const Quoin::Ptr<Zeugma::TaskScheduler> & scheduler );

}   // namespace BgpAgent
