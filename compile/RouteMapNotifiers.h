/// @file compile/RouteMapNotifiers.h
/// Two small publishers that the machines of one configuration share. Threading: the activity thread.
#pragma once

#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/routemap/Options.h"

namespace Routing::Policy {

/// Moves whenever the filtered copy of a route map takes on a version, or goes: calls that were kept out as a cycle are then looked
/// at again. Those who hear of it may raise it: that is told once, when all of them have heard, so that a cascade needs no depth of
/// stack.
class ROUTEPOLICY_API RouteMapUpdateNotifier final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { version };
   ~RouteMapUpdateNotifier() override;

   uint32_t version() const noexcept { return version_; }
   void versionIs( uint32_t version );
   void versionInc( uint32_t delta ) { versionIs( version() + delta ); }

 private:
   uint32_t version_ = 0;
   bool telling_ = false;
};

/// The mode of the route map feature. A change is published with the old value.
class ROUTEPOLICY_API RouteMapOpModeNotifier final : public Quoin::NotifyingNode {
 public:
   using RouteMapOpModeType = Routing::RouteMap::RouteMapOpModeType;
   enum class Field : Quoin::FieldId { routeMapOpMode };
   ~RouteMapOpModeNotifier() override;

   RouteMapOpModeType routeMapOpMode() const noexcept { return routeMapOpMode_; }
   void routeMapOpModeIs( RouteMapOpModeType mode );

 private:
   RouteMapOpModeType routeMapOpMode_{};
};

}   // namespace Routing::Policy
