/// @file rolestatus/AllRouteMapStatus.h
/// Whether any route map in use matches on an aggregate role. Threading: the activity thread.
#pragma once

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

/// What is known of all route maps together. One is of the configured ones, one of those of the policy language, one of both.
class ROUTEPOLICY_API AllRouteMapStatus final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { hasMatchAggregateRole };
   ~AllRouteMapStatus() override;
   PLINTH_ATTR( hasMatchAggregateRole, hasMatchAggregateRoleIs, Field::hasMatchAggregateRole, bool );
};

ROUTEPOLICY_API Quoin::Ptr<AllRouteMapStatus> AllRouteMapStatusIs();

/// The route maps that match on an aggregate role, by name.
class ROUTEPOLICY_API MatchAggregateRoleUsers final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { mapName };
   using MapNames = Plinth::HashSet2018<Quoin::String>;
   ~MatchAggregateRoleUsers() override;
   PLINTH_SET( mapName, mapNameHas, mapNameIs, mapNameDel, mapNameDelAll, Field::mapName, MapNames );
};

}   // namespace Routing::Policy
