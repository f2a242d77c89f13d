/// @file compile/CompileFwd.h
/// Declares the classes of compilation that an agent holds, and the handle, for the headers of the agent. A header that only names a class
/// includes this file. A source that uses a class includes the header of that class.
#pragma once

#include "substrate/quoin/PtrFwd.h"

namespace Routing::Policy {

// Names and their symbols.
class PolicyRoot;
class RouteMapSymbol;
class AllRouteMapSymbol;
class PublishedRouteMap;

// Machines.
class RouteMapConfigSm;
class RouteMapConfigFilterSm;
class RouteMapConfigSymbolSm;
class AclConfigSm;
class IpAclTypeConfigSm;

// Base classes for an agent with options of its own.
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
