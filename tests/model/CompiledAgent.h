/// @file tests/model/CompiledAgent.h
/// An agent as small as possible: a configuration, its machine, the lists of one root and a scheduler. The models of compilation edit it,
/// and compare it with a second agent that compiles the same configuration afresh. It needs no test framework, so that fuzz programs use it
/// too.
/// Threading: one thread.
#pragma once

#include <string>
#include <utility>

#include "compile/CommonHelpers.h"
#include "compile/RouteMapConfigSm.h"

namespace CompilationModel {

using namespace Routing::RouteMap;
using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;

/// "RM0", "RM1", ...
Quoin::String mapName( unsigned i );
/// "PL0", "PL1", ... with the stem "PL". The stems are PL for IPv4 prefix lists, P6 for IPv6 prefix lists, AL for access lists and TS for
/// tag sets.
Quoin::String listName( const char * stem, unsigned i );

/// One route map in one line; called maps by name and text.
std::string textOf( const RouteMapStatus * status );

/// A configuration with its machine, and the lists of one root.
struct Agent {
   Ptr<Config> config;
   Ptr<Config> filtered = makeNode<Config>();
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<MatchAggregateRoleUsers> aggregateUsers;   // may be null
   AgentOptions options;
   Ptr<RouteMapConfigSm> machine;
   explicit Agent( Ptr<Config> c ) : config( std::move( c ) ) {}
   void start();
};

/// Removes calls until no call closes a cycle. Which call of a cycle is refused depends on the order of the edits.
void breakCycles( const Ptr<Config> & config );

/// Compiles the configuration of `agent` afresh, with the present statuses of the first `lists` lists of each kind. Returns one line for
/// each of the first `maps` route maps that `agent` publishes differently.
std::string differencesFromFresh( const Agent & agent, unsigned maps, unsigned lists );

}   // namespace CompilationModel
