/// @file agent/table/BgpJson.h
/// BGP tables that routing daemons print as JSON. FRR prints with `show bgp ipv4 unicast json`, also for IPv6, a view or all VRFs, and with
/// `detail` behind it (FrrPath.h)
///
///    { "vrfName": "default", "routes": { "198.51.100.0/24": [ PATH, PATH ], "203.0.113.0/24": [ PATH ] } }
///    { "default": { "routes": { ... } }, "RED": { "routes": { ... } } }
///    { "receivedRoutes": { "198.51.100.0/24": PATH } }
///    { "prefix": "198.51.100.0/24", "paths": [ PATH ] }
///
/// GoBGP prints with `gobgp global rib -j`, and for a neighbor's tables (GobgpPath.h)
///
///    { "198.51.100.0/24": [ PATH, PATH ], "203.0.113.0/24": [ PATH ] }
///
/// Each path is a route, in the order of the text. Paths are read one at a time, so that a table of any length needs the memory of one.
#pragma once

#include <cstddef>
#include <string>

#include "table/FormHandler.h"
#include "table/TextReader.h"

namespace Agent {

/// Reads one document, an object, from where the reader stands, and not a character more. Paths count from 0 within the document.
/// Returns an empty text, or why the document is malformed, with line and column, or has no routes: reading cannot continue then.
/// A path longer than `maxEntry` bytes is such a fault.
[[nodiscard]] std::string readBgpJson( TextReader & text, size_t maxEntry, FormHandler & handler );

}   // namespace Agent
