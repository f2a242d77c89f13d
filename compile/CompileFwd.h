/// @file compile/CompileFwd.h
/// Declares the classes of compilation that an agent holds, and the handle, for the agent's own headers.
/// A header that only names them includes this; a source that uses one of them includes that class's own header.
#pragma once

#include "substrate/quoin/PtrFwd.h"

namespace Routing::Policy {

// Names, and what stands behind them.
class PolicyRoot;
class RouteMapSymbol;
class AllRouteMapSymbol;

// Machines.
class RouteMapConfigSm;
class RouteMapConfigFilterSm;
class RouteMapConfigSymbolSm;
class AclConfigSm;
class IpAclTypeConfigSm;

// What an agent with options of its own derives from.
class RmConfigFilterSmHelperBase;
class RmConfigSymbolSmHelperBase;
class RmSeqConfigFilterSmBase;
class RmSeqConfigSymbolSmBase;

}   // namespace Routing::Policy

namespace Routing::RouteMap {

class Config;
class Map;
class MapEntry;

}   // namespace Routing::RouteMap
