/// @file rolestatus/AllRouteMapStatus.h
/// Records whether any route map in use matches on an aggregate role. Compilation writes the names (MatchAggregateRoleUsers), and
/// AllRouteMapStatusSm turns them into one bit (AllRouteMapStatus).
/// Threading: the activity thread.
#pragma once

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

/// A property of all route maps together. An agent has one object for configured route maps, one for functions of the policy language, and
/// one for both.
class ROUTEPOLICY_API AllRouteMapStatus final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { hasMatchAggregateRole };
   ~AllRouteMapStatus() override;
   /// Whether at least one route map matches on an aggregate role.
   PLINTH_ATTR( hasMatchAggregateRole, hasMatchAggregateRoleIs, Field::hasMatchAggregateRole, bool );
};

/// Creates an AllRouteMapStatus.
ROUTEPOLICY_API Quoin::Ptr<AllRouteMapStatus> AllRouteMapStatusIs();

/// The route maps that match on an aggregate role, by name.
class ROUTEPOLICY_API MatchAggregateRoleUsers final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { mapName };
   using MapNames = Plinth::HashSet2018<Quoin::String>;
   ~MatchAggregateRoleUsers() override;
   /// The names of the route maps.
   PLINTH_SET( mapName, mapNameHas, mapNameIs, mapNameDel, mapNameDelAll, Field::mapName, MapNames );
};

}   // namespace Routing::Policy
