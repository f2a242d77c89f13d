/// @file substrate/routemap/Config.h
#pragma once

#include "substrate/routemap/Map.h"
#include "substrate/routemap/Options.h"

namespace Routing::RouteMap {

/// The root of one set of configured route maps. Ownership: the agent's. Threading: the activity thread.
class ROUTEPOLICY_API Config final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { routeMap, routeMapOpMode };
   using RouteMaps = Plinth::TreeMap<Quoin::String, Quoin::Ptr<Map>>;

   Config() = default;
   ~Config() override;

   /// The route maps by name.
   PLINTH_MADE_NODES( routeMap, routeMapIs, routeMapDel, routeMapDelAll, Field::routeMap, RouteMaps );
   /// The operating mode of the route map feature; passed on unread.
   PLINTH_ATTR( routeMapOpMode, routeMapOpModeIs, Field::routeMapOpMode, RouteMapOpModeType );
};

}   // namespace Routing::RouteMap
